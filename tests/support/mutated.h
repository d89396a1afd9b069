// Damaged texts.
#pragma once

#include <string>
#include <vector>

#include "support/random.h"

namespace bravic::testing {

// The text with a few random changes: characters and passages replaced, dropped or repeated, pieces put in, cut short.
inline std::string Mutated(std::string text, const std::vector<const char*>& pieces, Random& random) {
  for (int n = random.Between(1, 4); n > 0 && !text.empty(); --n) {
    const auto at = std::size_t(random.Below(int(text.size())));
    const auto length = std::size_t(random.Between(1, 40));
    switch (random.Below(6)) {
      case 0:
        text[at] = static_cast<char>(random.Below(256));
        break;
      case 1:
        text.erase(at, length);
        break;
      case 2:
        text.insert(at, text.substr(std::size_t(random.Below(int(text.size()))), length));
        break;
      case 3:
        text.resize(at);
        break;
      default:
        text.insert(at, random.Pick(pieces));
    }
  }
  return text;
}

}  // namespace bravic::testing
