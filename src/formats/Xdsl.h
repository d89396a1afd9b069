// What the reader and the writer of XDSL share.
#pragma once

#include <string>
#include <string_view>

namespace formats {

// Texts in extensions/genie have "\n" for a line's end, and "\\" for a backslash.
std::string Unescaped(std::string_view text);
std::string EscapedLines(std::string_view text);

}  // namespace formats
