#include "Bn/learn/LegalNames.h"

#include <algorithm>
#include <cstring>

#include "Basic/NumberText.h"
#include "Basic/SymbolTable.h"

namespace bravic {
namespace {

// The names taken, each with the last number that was put behind it.
class TakenNames {
 public:
  explicit TakenNames(int most) {
    std::size_t size = 4;
    while (size < std::size_t{2} * most) size *= 2;
    slots_.resize(size);
  }
  bool Take(std::string_view name) {  // false where it is taken
    Slot& slot = Find(name);
    if (slot.lastNumber > 0) return false;
    name.copy(slot.name.text, MAX_NAME_LEN);
    slot.lastNumber = 1;
    return true;
  }
  int NextNumber(std::string_view name) { return ++Find(name).lastNumber; }

 private:
  struct Slot {
    NameText name = {};
    int lastNumber = 0;  // 0: free
  };
  Slot& Find(std::string_view name) {
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = HashName(name) & mask;
    while (slots_[at].lastNumber > 0 && name != slots_[at].name.text) at = (at + 1) & mask;
    return slots_[at];
  }
  Vector<Slot> slots_;
};

bool IsNameCharacter(char c) {
  return IsAsciiLetter(c) || IsAsciiDigit(c) || c == '_';
}

bool IsLegal(std::string_view spelling) {
  return spelling.size() <= MAX_NAME_LEN && IsAsciiLetter(spelling[0]) &&
         std::all_of(spelling.begin(), spelling.end(), IsNameCharacter);
}

// Without regard to other names.
std::size_t MakeLegal(std::string_view spelling, char letter, char* name) {
  std::size_t length = 0;
  bool skipped = false;
  for (char c : spelling) {
    if (length == MAX_NAME_LEN) break;
    if (!IsNameCharacter(c) || (c == '_' && length == 0)) {
      skipped = true;
      continue;
    }
    if (length == 0) {
      if (!IsAsciiLetter(c)) name[length++] = letter;
    } else if (skipped && name[length - 1] != '_' && c != '_') {
      name[length++] = '_';
    }
    skipped = false;
    if (length < MAX_NAME_LEN) name[length++] = c;
  }
  if (length == 0) name[length++] = letter;
  while (name[length - 1] == '_') --length;
  name[length] = '\0';
  return length;
}

void AppendNumber(int number, std::size_t length, char* name) {
  char digits[NUMBER_TEXT_LEN];
  const std::size_t numDigits = PrintInteger(number, digits) - digits;
  length = std::min(length, MAX_NAME_LEN - 1 - numDigits);
  name[length++] = '_';
  std::memcpy(name + length, digits, numDigits);
  name[length + numDigits] = '\0';
}

}  // namespace

Vector<NameText> LegalNames(std::span<const std::string_view> spellings, char letter,
                            std::span<const std::string_view> reserved) {
  TakenNames taken(2 * (Count(spellings) + Count(reserved)));
  for (std::string_view name : reserved) taken.Take(name);
  const auto isKept = [&](std::string_view spelling) {
    return IsLegal(spelling) && std::find(reserved.begin(), reserved.end(), spelling) == reserved.end();
  };
  for (std::string_view spelling : spellings) {
    if (isKept(spelling)) taken.Take(spelling);
  }
  Vector<NameText> names(spellings.size());
  for (int i = 0; i < names.size(); ++i) {
    char* const name = names[i].text;
    if (isKept(spellings[i])) {
      name[spellings[i].copy(name, MAX_NAME_LEN)] = '\0';
      continue;
    }
    const std::size_t length = MakeLegal(spellings[i], letter, name);
    const NameText base = names[i];
    while (!taken.Take(name)) AppendNumber(taken.NextNumber(base.text), length, name);
  }
  return names;
}

}  // namespace bravic
