// The values of statements: words, numbers, texts and lists. Each function reads one value, up to what follows it, and
// reports what is wrong with it together with the statement that it stands in; after a fault the caller abandons the
// statement. Lists are "(", items with commas between them, ")".
#include "Bn/files/NetValues.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "Basic/Text.h"
#include "Bn/model/NameLists.h"

namespace bravic {
namespace {

constexpr int FEW_NAMES = 16;  // up to here duplicates are looked for pair by pair

// Reports what the channel found wrong with the value of a statement.
bool ValueFault(NetReader& reader, const Statement& at, const ErrorRow& error, std::string_view word = {},
                long count = 0) {
  reader.in.Report(error, word, count);
  return ReportFault(reader, at);
}

// Words of the format are read without regard to case.
bool IsWord(std::string_view word, const char* text) {
  return word.size() == std::strlen(text) && CompareTextNoCase(word.data(), text, word.size()) == 0;
}

// Opens a list. The answer is false when the list cannot be read; *empty tells "()", which is read whole.
bool OpenList(NetReader& reader, const Statement& at, bool* empty) {
  const int c = reader.in.NextSignificant();
  if (c != '(') {
    reader.in.PushBack();
    return ValueFault(reader, at, MISSING_OPEN);
  }
  *empty = reader.in.Peek() == ')';
  if (*empty) reader.in.NextSignificant();
  return true;
}

// What follows an item: *more tells a comma from the closing parenthesis.
bool NextItem(NetReader& reader, const Statement& at, Place opened, bool* more) {
  if (IsStarved(reader)) return false;
  const int c = reader.in.NextSignificant();
  *more = c == ',';
  if (c == ',' || c == ')') return true;
  reader.in.PushBack();
  if (c == END_OF_INPUT || c == ';' || c == '}') {
    reader.in.ReportAt(MISSING_CLOSE, opened);
    return ValueFault(reader, at, MISSING_CLOSE);
  }
  const char mark = static_cast<char>(c);
  if (IsPunctuation(c)) return ValueFault(reader, at, ILLEGAL_PUNCTUATION, {&mark, 1});
  return ValueFault(reader, at, MISSING_COMMA);
}

void AppendLine(Vector<char>& text, int c) {
  if (c != 0) text.push_back(static_cast<char>(c));
}

// An escape of a quoted text, behind its backslash.
void ReadEscape(InputChannel& in, Vector<char>& text) {
  int c = in.Next();
  switch (c) {
    case 'n':
      return AppendLine(text, '\n');
    case 'r':
      return AppendLine(text, '\r');
    case 't':
      return AppendLine(text, '\t');
    // A broken line: the line end and the blanks and tabs of the next line stand for nothing.
    case '\r':
    case '\n':
      if (c == '\r' && in.Next() != '\n') in.PushBack();
      do {
        c = in.Next();
      } while (c == ' ' || c == '\t');
      return in.PushBack();
    case END_OF_INPUT:
      return;
    default:
      return AppendLine(text, c);
  }
}

// Long lists are sorted first, so that thousands of names do not take the square of the time.
bool HasDuplicate(char** names, int count, const char** duplicate) {
  if (count <= FEW_NAMES) {
    for (int i = 0; i < count; ++i) {
      for (int j = 0; names[i] && j < i; ++j) {
        if (names[j] && std::strcmp(names[i], names[j]) == 0) return *duplicate = names[i], true;
      }
    }
    return false;
  }
  Vector<const char*> sorted;
  sorted.reserve(count);
  for (int i = 0; i < count; ++i) {
    if (names[i]) sorted.push_back(names[i]);
  }
  std::sort(sorted.begin(), sorted.end(), [](const char* a, const char* b) { return std::strcmp(a, b) < 0; });
  const auto twin = std::adjacent_find(sorted.begin(), sorted.end(), EqualText);
  if (twin == sorted.end()) return false;
  *duplicate = *twin;
  return true;
}

bool IllegalValue(NetReader& reader, const Statement& at, std::string_view name) {
  ReadError(reader, ILLEGAL_VALUE_OF_FIELD, QuoteLength(name), name.data(), at.field, at.keyword, at.owner,
            LineNow(reader));
  return false;
}

}  // namespace

// A zero character would end the name early, so it is replaced before the name is mended.
void LegalName(std::string_view word, char* name) {
  const int length = std::min<int>(Count(word), MAX_NAME_LEN);
  std::replace_copy(word.begin(), word.begin() + length, name, '\0', '_');
  name[length] = 0;
  CheckNameText(name, NAME_ALL_CHECKS, nullptr, true);
}

bool ReadBlockName(NetReader& reader, const char* keyword, const char* owner, char* name, std::string_view* written) {
  const std::string_view word = NextWord(reader);
  if (written) *written = word;
  LegalName(word, name);
  const int quoted = QuoteLength(word);
  if (word != name) {
    ReadError(reader, ILLEGAL_NAME_IN_FILE, quoted, word.data(), keyword, owner, LineNow(reader));
  } else if (word.empty()) {
    ReadError(reader, EMPTY_NAME_IN_FILE, keyword, owner, LineNow(reader));
  }
  return !word.empty();
}

bool ReadBoolean(NetReader& reader, const Statement& at, int* value) {
  const std::string_view word = NextWord(reader);
  if (!IsWord(word, format::TRUE_WORD) && !IsWord(word, format::FALSE_WORD)) {
    return ValueFault(reader, at, ILLEGAL_BOOLEAN, word);
  }
  *value = IsWord(word, format::TRUE_WORD);
  return true;
}

bool ReadInt(NetReader& reader, const Statement& at, int* value) {
  const std::string_view word = reader.in.ReadNumberText(format::PUNCTUATION);
  bool good;
  const int number = reader.in.ReadInteger(word, &good);
  if (!good || word.empty()) return ValueFault(reader, at, ILLEGAL_NUMBER, word);
  *value = number;
  return true;
}

bool ReadUnsigned(NetReader& reader, const Statement& at, unsigned* value) {
  const std::string_view word = reader.in.ReadNumberText(format::PUNCTUATION);
  long long number;
  if (word.empty() || !ParseInteger(word, reader.in.base, &number) || number < 0 || number > UINT_MAX) {
    return ValueFault(reader, at, ILLEGAL_NUMBER, word);
  }
  *value = static_cast<unsigned>(number);
  return true;
}

// Reports a text that is no number under the number that belongs to its statement.
bool BadNumber(NetReader& reader, const Statement& at, std::string_view word, const ErrorRow& badNumber, long nth) {
  const int quoted = QuoteLength(word);
  if (!word.empty() && word[0] == '@') {
    ReadError(reader, UNKNOWN_ESCAPE, quoted - 1, word.data() + 1);
    return false;
  }
  if (&badNumber == &ILLEGAL_FINDING_NUMBER) {
    ReadError(reader, ILLEGAL_FINDING_NUMBER, quoted, word.data(), at.field, at.keyword, at.owner, LineNow(reader));
    return false;
  }
  return ValueFault(reader, at, badNumber, word, nth);
}

bool ReadNumber(NetReader& reader, const Statement& at, double* value) {
  const std::string_view word = reader.in.ReadNumberText(format::PUNCTUATION);
  return (ParseReal(word, value) && *value != ANY_DBL && *value != IMPOS_DBL) ||
         BadNumber(reader, at, word, ILLEGAL_NUMBER, 0);
}

bool ReadNumbers(NetReader& reader, const Statement& at, const ErrorRow& badNumber) {
  reader.numbers.clear();
  const Place opened = reader.in.Position();
  bool empty, more = true;
  if (!OpenList(reader, at, &empty)) return false;
  while (!empty && more) {
    const std::string_view word = reader.in.ReadNumberText(format::PUNCTUATION);
    const bool ended = word.empty() && !(reader.in.Peek() == ',' || reader.in.Peek() == ')');
    if (word.empty() && !ended) return ValueFault(reader, at, EMPTY_ITEM);
    double value;
    const long nth = reader.numbers.size() + 1;
    if (!ended && (!ParseReal(word, &value) || value == ANY_DBL)) return BadNumber(reader, at, word, badNumber, nth);
    if (!ended) reader.numbers.push_back(value);
    if (!NextItem(reader, at, opened, &more)) return false;
  }
  return true;
}

bool ReadQuoted(NetReader& reader, const Statement& at, char** text) {
  InputChannel& in = reader.in;
  *text = nullptr;
  if (in.NextSignificant() != '"') {
    in.PushBack();
    return ValueFault(reader, at, MISSING_STRUCTURE, "\"");
  }
  const Place opened = in.Position();
  reader.text.clear();
  for (int c = in.Next(); c != '"'; c = in.Next()) {
    if (c == END_OF_INPUT) {
      in.ReportAt(UNTERMINATED_QUOTE, opened);
      return ValueFault(reader, at, UNTERMINATED_QUOTE);
    }
    if (c == '\\') {
      ReadEscape(in, reader.text);
    } else {
      AppendLine(reader.text, c);
    }
  }
  if (!reader.text.empty()) *text = DupText(std::string_view(reader.text.data(), reader.text.size()));
  return true;
}

bool ReadNames(NetReader& reader, const Statement& at, bool allowEmpty, NameRange* names) {
  const Place opened = reader.in.Position();
  *names = {reader.words.size(), 0};
  bool empty, more = true;
  if (!OpenList(reader, at, &empty)) return false;
  // A word that is empty is an empty item where a comma or the end of the list follows, else something is wrong.
  while (!empty && more) {
    const std::string_view word = NextWord(reader);
    const int next = word.empty() ? reader.in.Peek() : 0;
    if (!allowEmpty && (next == ',' || next == ')')) return ValueFault(reader, at, EMPTY_ITEM);
    if (!NextItem(reader, at, opened, &more)) return false;
    reader.words.push_back(word);
    ++names->count;
  }
  return true;
}

bool MakeNames(NetReader& reader, const Statement& at, NameRange range, char*** names) {
  *names = NewCleared<char*>(range.count);
  bool good = true;
  for (int i = 0; i < range.count && good; ++i) {
    const std::string_view word = reader.words[range.first + i];
    char name[MAX_NAME_LEN + 1];
    LegalName(word, name);
    if (word.substr(0, MAX_NAME_LEN) != name) {
      good = IllegalValue(reader, at, word);
    } else if (!word.empty()) {
      (*names)[i] = DupText(name);
    }
  }
  const char* duplicate;
  if (good && HasDuplicate(*names, range.count, &duplicate)) good = IllegalValue(reader, at, duplicate);
  if (good) return true;
  FreeNames(*names);
  *names = nullptr;
  return false;
}

int FindWord(std::string_view word, const char* const* words, int num) {
  for (int i = 0; i < num; ++i) {
    if (word == words[i]) return i;
  }
  return -1;
}

statetype StateOfWord(const NetReader& reader, const bnode& node, std::string_view word) {
  if (!word.empty() && word[0] == '#') {
    long long number;
    if (word.size() < 2 || !ParseInteger(word.substr(1), reader.in.base, &number)) return UNDEF_STATE;
    return number >= 0 && number < node.numstates ? static_cast<statetype>(number) : UNDEF_STATE;
  }
  for (int i = 0; node.states && !word.empty() && i < node.numstates; ++i) {
    if (node.states[i] && word.substr(0, MAX_NAME_LEN) == node.states[i]) return i;
  }
  return UNDEF_STATE;
}

namespace {

bool ReadText(NetReader& reader, const Statement& at, char*& text) {
  char* read;
  if (!ReadQuoted(reader, at, &read)) return false;
  Free(text);
  text = read;
  return true;
}

bool ReadEnumerated(NetReader& reader, const Statement& at, const char* const* words, int num, int* value) {
  const std::string_view word = NextWord(reader);
  const int found = FindWord(word, words, num);
  if (found < 0) return IllegalValue(reader, at, word);
  *value = found;
  return true;
}

}  // namespace

template <class Record>
bool ReadField(NetReader& reader, const Statement& at, const FieldRow<Record>& row, Record& record) {
  switch (row.form) {
    case FieldForm::Own:
      return false;
    case FieldForm::Text:
      return ReadText(reader, at, record.*row.text);
    case FieldForm::Number:
      return ReadInt(reader, at, &(record.*row.number));
    case FieldForm::Seconds:
      return ReadUnsigned(reader, at, &(record.*row.seconds));
    case FieldForm::Flag:
      return ReadBoolean(reader, at, &(record.*row.number));
    case FieldForm::Word:
      return ReadEnumerated(reader, at, row.words, row.numWords, &(record.*row.number));
  }
  return false;
}

template bool ReadField(NetReader& reader, const Statement& at, const FieldRow<bnet>& row, bnet& record);
template bool ReadField(NetReader& reader, const Statement& at, const FieldRow<bnode>& row, bnode& record);

}  // namespace bravic
