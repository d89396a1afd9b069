#include "formats/Names.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace formats {
namespace {

constexpr std::size_t MAX_LENGTH = 30;

bool IsLetter(char c) {
  return ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z');
}

bool IsDigit(char c) {
  return '0' <= c && c <= '9';
}

bool IsNameCharacter(char c) {
  return IsLetter(c) || IsDigit(c) || c == '_';
}

std::string WithNumber(const std::string& name, int number) {
  std::string end = "_";
  end += std::to_string(number);
  return name.substr(0, MAX_LENGTH - end.size()) + end;
}

}  // namespace

bool IsLegalName(std::string_view spelling) {
  return !spelling.empty() && spelling.size() <= MAX_LENGTH && IsLetter(spelling[0]) &&
         std::all_of(spelling.begin(), spelling.end(), IsNameCharacter);
}

std::string LegalName(std::string_view spelling, char letter) {
  if (IsLegalName(spelling)) return std::string(spelling);
  std::string name;
  bool skipped = false;
  for (char c : spelling) {
    if (!IsNameCharacter(c)) {
      skipped = true;
      continue;
    }
    if (skipped && !name.empty() && name.back() != '_' && c != '_') name += '_';
    skipped = false;
    name += c;
  }
  while (!name.empty() && name.front() == '_') name.erase(name.begin());
  if (name.empty() || !IsLetter(name[0])) name.insert(name.begin(), letter);
  if (name.size() > MAX_LENGTH) name.resize(MAX_LENGTH);
  while (name.back() == '_') name.pop_back();
  return name;
}

std::vector<std::string> LegalNames(const std::vector<std::string_view>& spellings, char letter) {
  std::unordered_set<std::string> taken;
  for (std::string_view spelling : spellings) {
    if (IsLegalName(spelling)) taken.emplace(spelling);
  }
  std::unordered_set<std::string_view> seen;
  std::unordered_map<std::string, int> lastNumber;  // of each name that was taken
  std::vector<std::string> names;
  names.reserve(spellings.size());
  for (std::string_view spelling : spellings) {
    if (IsLegalName(spelling) && seen.insert(spelling).second) {
      names.emplace_back(spelling);
      continue;
    }
    std::string name = spelling.empty() ? letter + std::to_string(names.size()) : LegalName(spelling, letter);
    if (!taken.insert(name).second) {
      const std::string base = name;
      int& number = lastNumber.try_emplace(base, 1).first->second;
      do name = WithNumber(base, ++number);
      while (!taken.insert(name).second);
    }
    names.push_back(std::move(name));
  }
  return names;
}

bool IsOriginalOf(std::string_view spelling, std::string_view name, char letter) {
  if (spelling.empty() || IsLegalName(spelling)) return false;
  const std::string base = LegalName(spelling, letter);
  if (base == name) return true;
  const std::size_t end = name.rfind('_');
  if (end == std::string_view::npos || end + 1 == name.size()) return false;
  const std::string_view number = name.substr(end + 1);
  return number.size() <= 9 && std::all_of(number.begin(), number.end(), IsDigit) &&
         WithNumber(base, std::stoi(std::string(number))) == name;
}

}  // namespace formats
