// Other programs' names made legal. A name of ours has 1 to 30 characters: a letter, then letters, digits and
// underscores. The rule: whatever else stands between such characters becomes one underscore, none at the ends; a name
// that then begins with no letter gets the letter of its kind in front; it is cut after 30 characters; and where the
// name is taken it ends in "_2", "_3" ... Legal names are left alone, wherever they stand: they are taken first.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace formats {

bool IsLegalName(std::string_view spelling);

// Without regard to other names. letter: what a name gets that begins with none.
std::string LegalName(std::string_view spelling, char letter);

inline constexpr char NODE_LETTER = 'n', STATE_LETTER = 's';

// The names of things that need different ones, in the order of their spellings, which may repeat and be empty: such
// are called by their letter and number.
std::vector<std::string> LegalNames(const std::vector<std::string_view>& spellings, char letter);

// Whether the rule makes that name of the spelling, alone or with a number at its end, and would not leave it as it is:
// so it is known for the name's original, where a format has room for both.
bool IsOriginalOf(std::string_view spelling, std::string_view name, char letter);

}  // namespace formats
