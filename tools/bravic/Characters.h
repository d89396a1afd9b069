// Texts of nets as characters.
#pragma once

#include <string>
#include <vector>

// Each character a text of UTF-8 by itself. Bytes that are not UTF-8 are taken as Latin 1.
std::vector<std::string> CharactersOf(const std::string& text);
inline bool IsControl(const std::string& character) {
  return static_cast<unsigned char>(character[0]) < 0x20 || character[0] == 0x7f;
}
