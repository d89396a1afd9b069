// Numbers in files: with a point whatever the locale is.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace formats {

// The whole of the text as a decimal number; also "inf", "infinity" with a sign or none, which are the infinities.
std::optional<double> ReadNumber(std::string_view text);
// As an integer of at least 0.
std::optional<int> ReadCount(std::string_view text);

// The fewest digits, at most nine, that read back to the same float; at most 17 for a double.
void AppendFloat(double value, std::string* text);
void AppendDouble(double value, std::string* text);
std::string NumberText(double value);  // for messages, six digits

}  // namespace formats
