#include "formats/Encoding.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string_view>

namespace formats {
namespace {

constexpr std::size_t HEAD_LEN = 500;  // in which an encoding may be told

int LineAt(std::string_view text, std::size_t at) {
  return 1 + static_cast<int>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n'));
}

// The length of the character that begins there, 0 where it is none of UTF-8 (or a longer form than it needs).
std::size_t CharacterLength(std::string_view text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0u; };
  const unsigned first = byte(0);
  if (first < 0x80) return 1;
  const std::size_t length = first >= 0xC2 && first < 0xE0 ? 2
                             : first < 0xE0                ? 0
                             : first < 0xF0                ? 3
                             : first < 0xF5                ? 4
                                                           : 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  if ((first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) >= 0xA0)) return 0;
  if ((first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) >= 0x90)) return 0;
  return length;
}

// The place of the first byte that is no UTF-8, or npos.
std::size_t FindOtherThanUtf8(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size()) {
    std::uint64_t eight;  // most texts are ASCII
    if (at + sizeof eight <= text.size()) {
      std::memcpy(&eight, text.data() + at, sizeof eight);
      if (!(eight & 0x8080808080808080u)) {
        at += sizeof eight;
        continue;
      }
    }
    const std::size_t length = CharacterLength(text, at);
    if (length == 0) return at;
    at += length;
  }
  return std::string_view::npos;
}

// Whether the head names Latin-1, by one of the names that it goes by.
bool SaysLatin1(std::string_view text) {
  std::string head(text.substr(0, HEAD_LEN));
  const std::string_view begin = text.substr(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
  const bool isXml = begin.starts_with("<?xml");
  if (isXml) {
    head.resize(std::min(head.find("?>"), head.size()));
  } else {
    std::string comments;
    for (std::size_t at = 0; at < head.size() && head[at] == '%';
         at = std::min(head.find('\n', at), head.size() - 1) + 1)
      comments += head.substr(at, head.find('\n', at) - at);
    head = comments;
  }
  for (char& c : head) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  for (const std::string_view name : {"8859-1", "8859_1", "latin1", "latin-1"}) {
    const std::size_t at = head.find(name), end = at + name.size();
    if (at != std::string::npos && !(end < head.size() && std::isdigit(static_cast<unsigned char>(head[end]))))
      return true;  // and not 8859-15
  }
  return false;
}

void ConvertLatin1(std::string* text) {
  std::string converted;
  converted.reserve(text->size() + text->size() / 8);
  for (char c : *text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      converted += c;
    } else {
      converted += static_cast<char>(0xC0 | byte >> 6);
      converted += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  *text = std::move(converted);
}

// "\r\n" and "\r" become "\n".
void ConvertLineEnds(std::string* text) {
  if (text->find('\r') == std::string::npos) return;
  std::size_t to = 0;
  for (std::size_t at = 0; at < text->size(); ++at) {
    const bool isReturn = (*text)[at] == '\r';
    if (isReturn && at + 1 < text->size() && (*text)[at + 1] == '\n') continue;
    (*text)[to++] = isReturn ? '\n' : (*text)[at];
  }
  text->resize(to);
}

}  // namespace

void MakePlain(std::string* text, Problems* problems) {
  constexpr std::string_view UTF_8_MARK = "\xEF\xBB\xBF";
  if (text->starts_with("\xFF\xFE") || text->starts_with("\xFE\xFF")) {
    problems->Add(WIDE_CHARACTERS, 0);
    return;
  }
  const bool isMarked = text->starts_with(UTF_8_MARK);
  if (isMarked) text->erase(0, UTF_8_MARK.size());
  ConvertLineEnds(text);
  const std::size_t zero = text->find('\0');
  if (zero != std::string::npos) {
    problems->Add(ZERO_BYTE, LineAt(*text, zero));
    return;
  }
  const bool saysLatin1 = !isMarked && SaysLatin1(*text);
  const std::size_t other = FindOtherThanUtf8(*text);
  if (!saysLatin1 && other == std::string_view::npos) return;
  if (!saysLatin1) problems->Add(TAKEN_AS_LATIN_1, LineAt(*text, other));
  ConvertLatin1(text);
}

}  // namespace formats
