// Names that somebody may have meant.
#pragma once

#include <string>
#include <vector>

// The few names nearest to the text, by how many characters differ, capitals apart; none that is far off. At most 3.
std::vector<std::string> NearestNames(const std::string& text, const std::vector<std::string>& names);
// "; did you mean 'a' or 'b'?", or the other text when no name is near.
std::string DidYouMean(const std::string& text, const std::vector<std::string>& names,
                       const std::string& otherwise = "");
