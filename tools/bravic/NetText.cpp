#include "NetText.h"

#include <fstream>
#include <iterator>
#include <string_view>

namespace {

bool IsWordCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// The place after the closing text, or the end.
std::size_t After(std::string_view text, std::string_view closing, std::size_t from) {
  const std::size_t at = text.find(closing, from);
  return at == text.npos ? text.size() : at + closing.size();
}

std::size_t AfterQuote(std::string_view text, std::size_t at) {
  for (++at; at < text.size() && text[at] != '"'; ++at) at += text[at] == '\\';
  return at + 1;
}

}  // namespace

int NumberOfNets(const std::string& path) {
  constexpr std::size_t HEAD = 4096;
  constexpr char INDICATOR[] = "~->[";
  std::ifstream file(path, std::ios::binary);
  std::string bytes(HEAD, 0);
  file.read(bytes.data(), HEAD);
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  if (bytes.find(INDICATOR) == std::string::npos) return 1;
  bytes.append(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  const std::string_view text = bytes;
  int number = 0, depth = 0;
  for (std::size_t at = 0; at < text.size();) {
    const std::string_view opener = text.substr(at, 2);
    std::size_t end = at + 1;
    if (opener == "//") {
      end = text.find_first_of("\r\n", at);
    } else if (opener == "/*" || opener == "/#") {
      end = After(text, opener == "/*" ? "*/" : "#/", at + 2);
    } else if (text[at] == '"') {
      end = AfterQuote(text, at);
    } else if (IsWordCharacter(text[at])) {
      while (end < text.size() && IsWordCharacter(text[end])) ++end;
      number += depth == 0 && text.substr(at, end - at) == "bnet";
    } else {
      depth += text[at] == '{' ? 1 : text[at] == '}' ? -1 : 0;
    }
    at = std::min(end, text.size());
  }
  return number;
}
