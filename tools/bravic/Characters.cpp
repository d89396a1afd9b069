#include "Characters.h"

namespace {

// The length of the UTF-8 character that begins there; 0 where none does.
std::size_t LengthOfCharacter(const std::string& text, std::size_t at) {
  const auto byte = [&](std::size_t k) { return k < text.size() ? static_cast<unsigned char>(text[k]) : 0u; };
  const unsigned first = byte(at);
  const std::size_t length = first < 0x80   ? 1
                             : first < 0xc2 ? 0
                             : first < 0xe0 ? 2
                             : first < 0xf0 ? 3
                             : first < 0xf5 ? 4
                                            : 0;
  for (std::size_t k = 1; k < length; ++k)
    if ((byte(at + k) & 0xc0) != 0x80) return 0;
  return length;
}

}  // namespace

std::vector<std::string> CharactersOf(const std::string& text) {
  std::vector<std::string> characters;
  for (std::size_t at = 0, length = 0; at < text.size(); at += length) {
    length = LengthOfCharacter(text, at);
    const auto byte = static_cast<unsigned char>(text[at]);
    if (length == 0) {
      length = 1;
      characters.push_back({static_cast<char>(0xc0 | byte >> 6), static_cast<char>(0x80 | (byte & 0x3f))});
    } else {
      characters.push_back(text.substr(at, length));
    }
  }
  return characters;
}
