// Reading text: a channel over a whole file or a string that delivers characters, words, numbers and special
// number words, skips white space and comments, counts lines and keeps the first parse error. A file is read into
// memory at once, so every operation works on bytes in place and what it answers points into the channel. Lines
// are counted when somebody asks, not while reading.
//
// Comments: from "//" to the end of the line, from "/*" to the first "*/", from "/#" to the first "#/".
#pragma once

#include <string_view>

#include "Basic/Errors.h"
#include "Basic/Memory.h"
#include "Basic/NumberText.h"

namespace bravic {

inline constexpr int END_OF_INPUT = -1;

// The parse state that stops every reader.
inline constexpr int PARSE_CANCELLED = -3999;
inline constexpr int MAX_ERROR_WORD = 40;

// Kept of the first error: what its message quotes and where it happened.
struct ParseFault {
  const ErrorRow* error = nullptr;  // NULL: there is none
  long position = 0;
  long line = 0;
  char word[MAX_ERROR_WORD + 1] = "";  // also a single character
  long count = 0, bound = 0;
};

class InputChannel {
 public:
  static Failure OpenFile(const char* name, InputChannel* channel);
  void OpenString(std::string_view text);  // borrowed

  long Position() const { return static_cast<long>(at_); }
  Failure SetPosition(long position);
  long Line() const { return LineOf(at_); }  // from 1, of the character read next
  long LineOf(std::size_t offset) const;

  int Next();  // raw
  int NextSignificant();
  int Peek();       // the next significant character, not read
  void PushBack();  // one character; after the end of the input nothing
  // Passes over the first occurrence of a text that does not begin with white space or a comment opener. Comments
  // and white space before its first character are skipped; the rest must follow as it stands.
  bool Find(std::string_view text);
  // The text before the first of the terminators, as it stands in the channel; the terminator is in *ended.
  std::string_view ReadText(std::string_view terminators, int* ended);
  // A word: begins at the next significant character, ends at white space, a terminator or a comment opener; cut to
  // maxchars. With ended, a terminator that follows (after white space and comments) is read too and answered in it;
  // 0 when something else follows, END_OF_INPUT at the end.
  std::string_view ReadWord(std::string_view terminators, int maxchars, int* ended);
  // A word that may be a number: "-" and the word after it are one.
  std::string_view ReadNumberText(std::string_view terminators);
  double ReadReal(std::string_view text, bool* good);  // with the special words
  int ReadInteger(std::string_view text, bool* good);  // in the current base
  // Passes over the rest of a statement, up to the next ";" or "}" outside groups and quotes.
  void SkipStatement();

  // Keeps the error unless one is kept already.
  void Report(const ErrorRow& error, std::string_view word = {}, long count = 0, long bound = 0);
  void ReportAt(const ErrorRow& error, std::size_t offset, std::string_view word = {}, long count = 0, long bound = 0);
  void ForgetError() { fault = {}, parseState = 0; }

  // The bytes not yet read, for readers with a loop of their own.
  const char* Cursor() const { return text_.data() + at_; }
  const char* End() const { return text_.data() + text_.size(); }
  void MoveTo(const char* cursor) { at_ = cursor - text_.data(), ended_ = false; }

  int base = 10;
  int parseState = 0;  // number of the first parse error, PARSE_CANCELLED, or 0
  ParseFault fault;

 private:
  bool SkipComment();  // false when no comment opens here

  Block<char> owned_;
  std::string_view text_;
  std::size_t at_ = 0;
  bool ended_ = false;  // the last character asked for was the end
  mutable std::size_t countedTo_ = 0;
  mutable long countedLine_ = 1;
};

// The message of a fault; context is the reader's own, such as " in `probs` statement of node 'x'".
const char* ParseErrorText(const ParseFault& fault, const char* context, char* buffer, std::size_t size);
// The real number of a text, with the special words; no channel needed.
bool ParseReal(std::string_view text, double* value);
bool ParseInteger(std::string_view text, int base, long long* value);

}  // namespace bravic
