// Names made of the spellings in a case file, by the rule that other programs' files are read by: what stands between
// letters, digits and underscores becomes one underscore, none at the ends; a name that begins with no letter then gets
// one in front; it is cut after 30 characters, and where it is taken it ends in "_2", "_3" ... Legal names are left
// alone, wherever they stand: they are taken first.
#pragma once

#include <span>
#include <string_view>

#include "Basic/Memory.h"
#include "Basic/Text.h"

namespace bravic {

struct NameText {
  char text[MAX_NAME_LEN + 1];
};

// The names of different spellings that are not empty; one that is legal is its own name. letter: what a name gets that
// begins with none. reserved: names that none of them gets.
Vector<NameText> LegalNames(std::span<const std::string_view> spellings, char letter,
                            std::span<const std::string_view> reserved = {});

}  // namespace bravic
