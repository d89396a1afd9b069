// A text in memory and a place in it. What is read is answered as a view of the text, so nothing is copied. The line of
// a place is counted from the last place that was asked for, forwards or backwards, so that many questions close to
// each other take little time.
#include "Basic/InputChannel.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdio>
#include <cstring>

#include "Basic/Format.h"
#include "Basic/Portable.h"
#include "Basic/Text.h"

namespace bravic {
namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using OpenedFile = std::unique_ptr<std::FILE, FileCloser>;

constexpr std::size_t FIRST_PIECE = 65536;
constexpr std::size_t MAX_TEXT = LONG_MAX;  // positions are longs

bool IsSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

bool IsOneOf(char c, std::string_view set) {
  return set.find(c) != std::string_view::npos;
}

bool OpensComment(const char* at, const char* end) {
  return end - at >= 2 && *at == '/' && (at[1] == '/' || at[1] == '*' || at[1] == '#');
}

// Whether the text begins with the word, without regard to case; the word is in lower case.
bool BeginsWith(std::string_view text, std::string_view word) {
  if (text.size() < word.size()) return false;
  for (std::size_t i = 0; i < word.size(); ++i) {
    if (AsciiLower(static_cast<unsigned char>(text[i])) != word[i]) return false;
  }
  return true;
}

bool IsLettersAndDigits(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    return IsAsciiLetter(static_cast<unsigned char>(c)) || IsAsciiDigit(static_cast<unsigned char>(c));
  });
}

// The value of a special number word, after "-" and "@" are taken off.
bool ParseSpecial(std::string_view word, bool negative, double* value) {
  if (word == "?") return *value = UNDEF_DBL, true;
  if (word == "*") return *value = ANY_DBL, true;
  if (word.size() == 1 && BeginsWith(word, "x")) return *value = IMPOS_DBL, true;
  if (word.size() == 3 && BeginsWith(word, "any")) return *value = ANY_DBL, true;
  if (!IsLettersAndDigits(word)) return false;
  if (BeginsWith(word, "undef")) return *value = UNDEF_DBL, true;
  if (BeginsWith(word, "imposs")) return *value = IMPOS_DBL, true;
  if (BeginsWith(word, "inf")) return *value = negative ? -INF_DBL : INF_DBL, true;
  return false;
}

// The length the system tells, for a first guess; 0 where it cannot tell.
std::size_t ToldLength(std::FILE* file) {
  if (std::fseek(file, 0, SEEK_END) != 0) return 0;
  const long length = std::ftell(file);
  return std::fseek(file, 0, SEEK_SET) == 0 && length > 0 ? static_cast<std::size_t>(length) : 0;
}

// The whole file, also where its length cannot be told before (pipes): the block doubles until the end is met.
Failure ReadAll(std::FILE* file, Block<char>* block, std::size_t* length) {
  // A first piece before the told length is believed: a directory tells one too.
  const std::size_t told = ToldLength(file);
  std::size_t capacity = std::min(told + 1, FIRST_PIECE), used = 0;
  Block<char> bytes = TryMakeBlock<char>(capacity);
  while (bytes) {
    used += std::fread(bytes.get() + used, 1, capacity - used, file);
    if (used < capacity) break;
    capacity = std::max({2 * capacity, told + 1, FIRST_PIECE});
    Block<char> larger = capacity < MAX_TEXT ? TryMakeBlock<char>(capacity) : nullptr;
    if (larger) std::memcpy(larger.get(), bytes.get(), used);
    bytes = std::move(larger);
  }
  if (!bytes) return FailMemory(NO_MEMORY_FOR_READING, static_cast<double>(capacity));
  if (std::ferror(file)) return Fail(FILE_READING_FAILED, errno);
  *block = std::move(bytes);
  *length = used;
  return nullptr;
}

// Of a number too small or too large for a double: where its first digit other than 0 stands, the exponent counted in.
bool IsBelowOne(std::string_view text) {
  const std::size_t end = std::min(text.find_first_of("eE"), text.size());
  const std::string_view mantissa = text.substr(0, end);
  const auto point = static_cast<long long>(std::min(mantissa.find('.'), end));
  const auto first = static_cast<long long>(mantissa.find_first_of("123456789"));
  long long exponent = 0;
  if (end < text.size()) {
    const char* digits = text.data() + end + 1;
    if (*digits == '+') ++digits;
    const auto result = std::from_chars(digits, text.data() + text.size(), exponent);
    if (result.ec == std::errc::result_out_of_range) return *digits == '-';
  }
  return point - first + exponent <= 0;
}

}  // namespace

Failure InputChannel::OpenFile(const char* name, InputChannel* channel) {
  OpenedFile file(std::fopen(name, "rb"));
  if (!file) {
    if (errno == ENOENT) return Fail(FILE_DOES_NOT_EXIST, ShownPath(name).text);
    return Fail(CANT_OPEN_FOR_READING, ShownPath(name).text);
  }
  Block<char> bytes;
  std::size_t length = 0;
  if (Failure failure = ReadAll(file.get(), &bytes, &length)) {
    channel->parseState = PARSE_CANCELLED;
    return failure;
  }
  channel->OpenString({bytes.get(), length});
  channel->owned_ = std::move(bytes);
  return nullptr;
}

void InputChannel::OpenString(std::string_view text) {
  owned_.reset();
  text_ = text;
  at_ = 0;
  ended_ = false;
  countedTo_ = 0;
  countedLine_ = 1;
  base = 10;
  ForgetError();
}

Failure InputChannel::SetPosition(long position) {
  if (!BRAVIC_ASSERT_TEXT(position >= 0, "*posn >= 0")) return Fail(POSITION_BEYOND_END);
  if (static_cast<std::size_t>(position) > text_.size()) return Fail(POSITION_BEYOND_END);
  at_ = position;
  ended_ = false;
  return nullptr;
}

// Lines end at a line feed, a carriage return, or both together, which count once.
long InputChannel::LineOf(std::size_t offset) const {
  const auto endsLine = [&](std::size_t i) {
    return text_[i] == '\n' || (text_[i] == '\r' && !(i + 1 < text_.size() && text_[i + 1] == '\n'));
  };
  for (; countedTo_ < offset; ++countedTo_) countedLine_ += endsLine(countedTo_);
  for (; countedTo_ > offset; --countedTo_) countedLine_ -= endsLine(countedTo_ - 1);
  return countedLine_;
}

int InputChannel::Next() {
  ended_ = at_ >= text_.size();
  return ended_ ? END_OF_INPUT : static_cast<unsigned char>(text_[at_++]);
}

void InputChannel::PushBack() {
  if (!ended_ && at_ > 0) --at_;
  ended_ = false;
}

// Whether there was a comment here. One that is never closed is reported, and ends the text.
bool InputChannel::SkipComment() {
  if (!OpensComment(Cursor(), End())) return false;
  const std::size_t start = at_;
  const char kind = text_[at_ + 1];
  std::size_t end;
  if (kind == '/') {
    end = text_.find_first_of("\n\r\f", at_ + 2);
  } else {
    end = text_.find(kind == '*' ? "*/" : "#/", at_ + 2);
    if (end == std::string_view::npos) {
      ReportAt(UNTERMINATED_COMMENT, start, text_.substr(start, 2));
    } else {
      end += 2;
    }
  }
  at_ = std::min(end, text_.size());
  return true;
}

int InputChannel::NextSignificant() {
  do {
    while (at_ < text_.size() && IsSpace(text_[at_])) ++at_;
  } while (SkipComment());
  return Next();
}

int InputChannel::Peek() {
  const int c = NextSignificant();
  PushBack();
  return c;
}

bool InputChannel::Find(std::string_view text) {
  if (!BRAVIC_ASSERT(!text.empty() && !IsSpace(text[0]))) return false;
  if (!BRAVIC_ASSERT(!OpensComment(text.data(), text.data() + text.size()))) return false;
  for (int c = NextSignificant(); c != END_OF_INPUT; c = NextSignificant()) {
    if (c != static_cast<unsigned char>(text[0])) continue;
    std::size_t matched = 1;
    while (matched < text.size() && Next() == static_cast<unsigned char>(text[matched])) ++matched;
    if (matched == text.size()) return true;
    PushBack();
  }
  return false;
}

std::string_view InputChannel::ReadText(std::string_view terminators, int* ended) {
  const std::size_t start = at_;
  while (at_ < text_.size() && !IsOneOf(text_[at_], terminators)) ++at_;
  const std::string_view found = text_.substr(start, at_ - start);
  const int c = Next();
  if (c == END_OF_INPUT) Report(MISSING_CHARACTER, terminators);
  if (ended) *ended = c;
  return found;
}

std::string_view InputChannel::ReadWord(std::string_view terminators, int maxchars, int* ended) {
  NextSignificant();
  PushBack();
  const std::size_t start = at_;
  while (at_ < text_.size() && !IsSpace(text_[at_]) && !IsOneOf(text_[at_], terminators) &&
         !OpensComment(Cursor(), End())) {
    ++at_;
  }
  const std::string_view word = text_.substr(start, std::min<std::size_t>(at_ - start, maxchars));
  if (ended) {
    *ended = NextSignificant();
    if (*ended != END_OF_INPUT && !IsOneOf(static_cast<char>(*ended), terminators)) {
      PushBack();
      *ended = 0;
    }
  }
  return word;
}

std::string_view InputChannel::ReadNumberText(std::string_view terminators) {
  const std::string_view word = ReadWord(terminators, INT_MAX, nullptr);
  // A minus may stand apart from its number: then the text reaches from the one to the end of the other.
  if (word != "-") return word;
  const std::string_view rest = ReadWord(terminators, INT_MAX, nullptr);
  return std::string_view(word.data(), rest.data() + rest.size() - word.data());
}

bool ParseReal(std::string_view text, double* value) {
  std::string_view word = text;
  const bool negative = !word.empty() && word[0] == '-';
  if (negative) {
    word.remove_prefix(1);
    while (!word.empty() && IsSpace(word[0])) word.remove_prefix(1);
  }
  const bool escaped = !word.empty() && word[0] == '@';
  if (escaped) word.remove_prefix(1);
  if (ParseSpecial(word, negative, value)) return true;
  if (escaped) return false;
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  // Standard functions know words of their own ("nan", "infinity"), which are no numbers here.
  const char first = text.empty() ? 0 : text[text[0] == '-' && text.size() > 1 ? 1 : 0];
  if (!IsAsciiDigit(static_cast<unsigned char>(first)) && first != '.') return false;
  const char* end = text.data() + text.size();
  const auto result = ReadDecimal(text.data(), end, *value);
  if (result.ptr != end) return false;
  if (result.ec == std::errc()) return true;
  // Out of range: what is too small to be held is 0, what is too large is no number.
  const bool tiny = IsBelowOne(text);
  if (tiny) *value = 0;
  return tiny;
}

bool ParseInteger(std::string_view text, int base, long long* value) {
  *value = 0;
  if (text.empty()) return true;
  if (text.size() == 3 && BeginsWith(text, "inf")) return *value = INT_MAX, true;
  if (text.size() == 4 && BeginsWith(text, "-inf")) return *value = INT_MIN, true;
  const bool negative = text[0] == '-';
  if (negative || text[0] == '+') text.remove_prefix(1);
  if (base == 16 && BeginsWith(text, "0x")) text.remove_prefix(2);
  if (text.empty() || text[0] == '-') return false;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), *value, base);
  if (result.ec != std::errc() || result.ptr != text.data() + text.size()) return *value = 0, false;
  if (negative) *value = -*value;
  return true;
}

double InputChannel::ReadReal(std::string_view text, bool* good) {
  double value = 0;
  *good = ParseReal(text, &value);
  if (!*good) Report(ILLEGAL_NUMBER, text);
  return *good ? value : 0;
}

int InputChannel::ReadInteger(std::string_view text, bool* good) {
  long long value = 0;
  *good = ParseInteger(text, base, &value) && value >= INT_MIN && value <= INT_MAX;
  if (!*good) Report(ILLEGAL_NUMBER, text);
  return *good ? static_cast<int>(value) : 0;
}

// Groups are balanced by two counters: a "}" that closes a brace ends whatever parentheses were left open within it.
void InputChannel::SkipStatement() {
  long braces = 0, groups = 0, groupsOutside = 0;
  for (int c = NextSignificant(); c != END_OF_INPUT; c = NextSignificant()) {
    switch (c) {
      case '"':
        for (int q = Next(); q != '"' && q != END_OF_INPUT; q = Next()) {
          if (q == '\\') Next();
        }
        break;
      case '(':
      case '[':
        ++groups;
        break;
      case ')':
      case ']':
        if (groups > 0) --groups;
        break;
      case '{':
        if (braces++ == 0) groupsOutside = groups;
        break;
      case '}':
        if (braces == 0) return PushBack();
        if (--braces == 0) groups = groupsOutside;
        break;
      case ';':
        if (braces == 0 && groups == 0) return PushBack();
        break;
      default:
        break;
    }
  }
}

void InputChannel::Report(const ErrorRow& error, std::string_view word, long count, long bound) {
  ReportAt(error, at_, word, count, bound);
}

// Keeps the first error only: what follows one is mostly its consequence.
void InputChannel::ReportAt(const ErrorRow& error, std::size_t offset, std::string_view word, long count, long bound) {
  if (parseState != 0) return;
  parseState = error.number;
  fault.error = &error;
  fault.position = static_cast<long>(offset);
  fault.line = LineOf(offset);
  const std::size_t n = std::min<std::size_t>(word.size(), MAX_ERROR_WORD);
  std::copy_n(word.begin(), n, fault.word);
  fault.word[n] = 0;
  fault.count = count;
  fault.bound = bound;
}

// The rows' texts take the same few things in different orders; each case has the order of its rows.
const char* ParseErrorText(const ParseFault& fault, const char* context, char* buffer, std::size_t size) {
  const char *text = fault.error->text, *word = fault.word, *in = context;
  const long line = fault.line, count = fault.count, bound = fault.bound;
  const char first = word[0] ? word[0] : '?';
  switch (fault.error->number) {
    case UNDEFINED_NODE.number:
    case ILLEGAL_BOOLEAN.number:
    case ILLEGAL_NUMBER.number:
    case ILLEGAL_PUNCTUATION.number:
      FormatText(buffer, size, text, word, in, line);
      break;
    case NUMBER_TOO_LARGE.number:
    case TOO_FEW_ITEMS.number:
    case TOO_MANY_ITEMS.number:
      FormatText(buffer, size, text, count, bound, in, line);
      break;
    case ILLEGAL_LIST_NUMBER.number:
      FormatText(buffer, size, text, word, count, in, line);
      break;
    case MISSING_STRUCTURE.number:
      FormatText(buffer, size, text, in, first, line);
      break;
    case UNTERMINATED_STRUCTURE.number:
      FormatText(buffer, size, text, first, in, line);
      break;
    case UNTERMINATED_COMMENT.number:
    case MISSING_CHARACTER.number:
      FormatText(buffer, size, text, word, line, in);
      break;
    default:
      FormatText(buffer, size, text, in, line);
  }
  return buffer;
}

}  // namespace bravic
