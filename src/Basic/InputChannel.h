// Reading text: a channel over a whole file or a string that delivers characters, words, numbers and special
// number words, skips white space and comments, counts lines and keeps the first parse error. A file is read into
// memory at once, so every operation works on bytes in place.
#pragma once

#include <string_view>

#include "Basic/Errors.h"
#include "Basic/Memory.h"

namespace bravic {

inline constexpr int END_OF_INPUT = -1;
inline constexpr int PARSE_CANCELLED = -3999;

class InputChannel {
 public:
  static Failure OpenFile(const char* name, InputChannel* channel);
  void OpenString(std::string_view text);

  long Position() const;
  Failure SetPosition(long position);  // "setposn past file limits"
  long Line() const;                   // from 1, of the character read next

  int Next();  // raw
  int NextSignificant();
  void PushBack();  // one character
  bool Find(std::string_view text);
  // The text before the first of the terminators, as it stands in the channel; the terminator is in *ended.
  std::string_view ReadText(std::string_view terminators, int* ended);
  // A word: ends at white space, the terminators and comment openers; cut to maxchars.
  std::string_view ReadWord(std::string_view terminators, int maxchars, int* ended);
  double ReadReal(std::string_view text, bool* good);   // with the special words
  long ReadInteger(std::string_view text, bool* good);  // in the current base

  int base = 10;
  int parseState = 0;  // number of the first parse error, PARSE_CANCELLED, or 0
  long errorPosition = 0;

 private:
  Block<char> owned_;
  std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace bravic
