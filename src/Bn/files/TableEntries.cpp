#include "Bn/files/TableEntries.h"

#include <charconv>
#include <cmath>
#include <cstring>

#include "Basic/Portable.h"
#include "Basic/Text.h"
#include "Bn/files/NetValues.h"
#include "Bn/model/VectorCheck.h"

namespace bravic {
namespace {

constexpr double BEYOND_FLOATS = 3.4028235677973366e38;  // what is below it rounds to the largest float at most

bool BeginsNoCase(std::string_view word, std::string_view prefix) {
  return word.size() >= prefix.size() && CompareTextNoCase(word.data(), prefix.data(), prefix.size()) == 0;
}

void StoreFloat(char* cell, float value) {
  std::memcpy(cell, &value, CELL);
}

void StoreState(char* cell, statetype state) {
  std::memcpy(cell, &state, CELL);
}

void StoreUndefined(const OpenTable& table, char* cell) {
  if (table.form == TableForm::States) return StoreState(cell, UNDEF_STATE);
  StoreFloat(cell, table.form == TableForm::Experience ? NO_EXPERIENCE : UNDEF_PROB);
}

void StoreImpossible(const OpenTable& table, char* cell) {
  if (table.form == TableForm::States) return StoreState(cell, IMPOS_STATE);
  StoreFloat(cell, table.form == TableForm::Experience ? NO_EXPERIENCE : IMPOS_PROB);
}

bool ReadEscape(OpenTable& table, char* cell) {
  std::string_view word = NextWord(table.reader);
  word.remove_prefix(1);
  if (BeginsNoCase(word, "undef")) return StoreUndefined(table, cell), true;
  if (BeginsNoCase(word, "imposs")) return StoreImpossible(table, cell), true;
  return UnknownEscape(table, word);
}

bool ReadStateEntry(OpenTable& table, char* cell) {
  const std::string_view word = NextWord(table.reader);
  const statetype state = StateOfWord(table.reader, table.node, word);
  if (state == UNDEF_STATE) return UnknownState(table, word);
  return StoreState(cell, state), true;
}

// The float nearest to the decimal text itself, not to its double.
float NearestFloat(std::string_view text, double value) {
  float nearest;
  const auto result = ReadDecimal(text.data(), text.data() + text.size(), nearest);
  return result.ec == std::errc() && result.ptr == text.data() + text.size() ? nearest : static_cast<float>(value);
}

bool ReadNumberEntry(OpenTable& table, char* cell) {
  const std::string_view text = table.reader.in.ReadNumberText(format::PUNCTUATION);
  double value;
  if (!ParseReal(text, &value) || value == ANY_DBL) return EntryFault(table, ILLEGAL_NUMBER, text);
  if (value == UNDEF_DBL) return StoreUndefined(table, cell), true;
  if (value == IMPOS_DBL) return StoreImpossible(table, cell), true;
  if (value == INF_DBL || value == -INF_DBL) {
    StoreFloat(cell, value > 0 ? HUGE_VALF : -HUGE_VALF);
  } else if (std::abs(value) >= BEYOND_FLOATS) {
    return EntryFault(table, ILLEGAL_NUMBER, text);
  } else {
    StoreFloat(cell, NearestFloat(text, value));
  }
  if (table.form == TableForm::Experience && value < 0) return BadEntry(table, "negative experience");
  return true;
}

// --- Rows of probabilities

constexpr float POWERS_OF_TEN[] = {1e0f, 1e1f, 1e2f, 1e3f, 1e4f, 1e5f, 1e6f, 1e7f, 1e8f, 1e9f, 1e10f};
constexpr unsigned EXACT_LIMIT = 1u << 24;  // integers up to here are floats

// A number that begins with a digit or a point; NULL for anything else. Up to seven digits the quotient of two exact
// floats is the nearest float.
const char* ReadPlainNumber(const char* at, const char* end, float* value) {
  // Digits before and behind the point are gathered into one integer, as long as it is exact as a float.
  const char* start = at;
  unsigned digits = 0;
  int decimals = 0;
  while (at < end && IsAsciiDigit(*at) && digits < EXACT_LIMIT / 10) digits = 10 * digits + (*at++ - '0');
  if (at < end && *at == '.') {
    ++at;
    while (at < end && IsAsciiDigit(*at) && decimals < 10 && digits < EXACT_LIMIT / 10) {
      digits = 10 * digits + (*at++ - '0');
      ++decimals;
    }
  }
  if (at < end && at > start && (*at == ',' || *at == ')' || IsAsciiSpace(*at)) &&
      (decimals > 0 || IsAsciiDigit(*start))) {
    *value = static_cast<float>(digits) / POWERS_OF_TEN[decimals];
    return at;
  }
  // Longer numbers and those with an exponent; a sign or a word is left to the general way.
  if (start == end || !(IsAsciiDigit(*start) || *start == '.')) return nullptr;
  const auto result = ReadDecimal(start, end, *value);
  return result.ec == std::errc() ? result.ptr : nullptr;
}

const char* SkipBlanks(const char* at, const char* end) {
  while (at < end && IsAsciiSpace(*at)) ++at;
  return at;
}

// A row of plain numbers behind its "(", up to its ")"; NULL when it is anything else.
const char* ReadPlainRow(const char* at, const char* end, char* cells, int length) {
  for (int i = 0; i < length; ++i) {
    float value;
    at = ReadPlainNumber(SkipBlanks(at, end), end, &value);
    if (!at) return nullptr;
    StoreFloat(cells + i * CELL, value);
    at = SkipBlanks(at, end);
    if (at == end || *at != (i + 1 < length ? ',' : ')')) return nullptr;
    if (i + 1 < length) ++at;
  }
  return at;
}

}  // namespace

bool ReadEntry(OpenTable& table, char* cell) {
  const int c = table.reader.in.Peek();
  if (c == ')' || IsEnd(c)) return NotEnoughEntries(table);
  if (IsPunctuation(c)) return UnexpectedPunctuation(table, c);
  if (c == '@') return ReadEscape(table, cell);
  return table.form == TableForm::States ? ReadStateEntry(table, cell) : ReadNumberEntry(table, cell);
}

bool CheckRow(OpenTable& table, const char* cells) {
  const auto* probs = reinterpret_cast<const float*>(cells);
  const unsigned flags = ValidateVector(std::span(probs, table.rowLength)) & VECTOR_FAULTS;
  if (!flags) return true;
  char reason[320];
  return BadEntry(table, VectorFaultText(flags, false, reason));
}

bool ReadRow(OpenTable& table, char* cells) {
  InputChannel& in = table.reader.in;
  if (const char* after = ReadPlainRow(in.Cursor(), in.End(), cells, table.rowLength)) {
    in.MoveTo(after);
    return CheckRow(table, cells);
  }
  // From the start of the row again, entry by entry.
  for (int i = 0; i < table.rowLength; ++i) {
    if (!ReadEntry(table, cells + i * CELL)) return false;
    const int c = in.Peek();
    if (i + 1 == table.rowLength) break;
    if (c == ')' || IsEnd(c)) return NotEnoughEntries(table);
    if (c != ',') return IsPunctuation(c) ? UnexpectedPunctuation(table, c) : MissingComma(table);
    in.Next();
  }
  const int c = in.Peek();
  if (c == ',' || c == '(') return TooManyItems(table);
  if (c != ')' && IsPunctuation(c) && !IsEnd(c)) return UnexpectedPunctuation(table, c);
  if (c != ')' && !IsEnd(c)) return MissingComma(table);
  return CheckRow(table, cells);
}

}  // namespace bravic
