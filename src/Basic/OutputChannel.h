// Writing text: a channel to a file or into memory, through one buffer. Its error is sticky: after a failed write
// everything is accepted and dropped, and Close tells that something went wrong, so that a writer of many pieces asks
// once, at the end.
#pragma once

#include <cstdio>
#include <cstring>
#include <string_view>

#include "Basic/Memory.h"
#include "Basic/NumberText.h"

namespace bravic {

class OutputChannel {
 public:
  enum class Mode { Replace, Append };
  static constexpr std::size_t MAX_ROOM = 512;

  OutputChannel() = default;
  ~OutputChannel() { Close(); }
  OutputChannel(const OutputChannel&) = delete;
  OutputChannel& operator=(const OutputChannel&) = delete;

  // Closes what was open and starts without an error. False when the file cannot be opened.
  bool OpenFile(const char* path, Mode mode);
  void OpenMemory();
  // Writes out what is still held and closes; false when anything has failed since the channel was opened. A closed
  // channel closes again with the same answer. What was written into memory stays until the next opening.
  bool Close() { return Close(nullptr); }
  // The same for a file that has to last: what is still on its way to the disk is sent there first. flush answers
  // false when that failed, with errno set.
  using Flush = bool (*)(std::FILE* file);
  bool Close(Flush flush);

  bool HasFailed() const { return failed_; }
  int SystemError() const { return systemError_; }  // errno of the first failure, or 0
  // What was written into memory so far; empty after a failure.
  std::string_view Text() const;

  // At least n characters (up to MAX_ROOM) of the buffer, to be written in place; Advance says how far.
  char* Room(std::size_t n) {
    if (NumFree() < n) MakeRoom();
    return at_;
  }
  void Advance(char* at) { at_ = at; }

  void Put(char c) {
    *Room(1) = c;
    ++at_;
  }
  void Put(std::string_view text) {
    if (text.size() > NumFree()) {
      PutLong(text);
      return;
    }
    if (!text.empty()) std::memcpy(at_, text.data(), text.size());
    at_ += text.size();
  }
  void PutRepeated(char c, int n);
  void PutInteger(long long value, int base = 10) { Advance(PrintInteger(value, Room(NUMBER_TEXT_LEN), base)); }
  void PutGeneral(double value, int digits = 6) { Advance(PrintGeneral(value, digits, Room(NUMBER_TEXT_LEN))); }
  void PutShortest(float value) { Advance(PrintShortest(value, Room(NUMBER_TEXT_LEN))); }
  void PutShortest(double value) { Advance(PrintShortest(value, Room(NUMBER_TEXT_LEN))); }

 private:
  std::size_t NumFree() const { return end_ - at_; }
  void MakeRoom();  // MAX_ROOM characters, by writing out or by growing
  void PutLong(std::string_view text);
  void WriteOut();
  void Fail();

  std::FILE* file_ = nullptr;
  Block<char> owned_;  // the buffer, unless it is spare_
  char* buffer_ = spare_;
  char* at_ = spare_;
  char* end_ = spare_ + sizeof spare_;
  bool inMemory_ = false;
  bool failed_ = false;
  int systemError_ = 0;
  char spare_[MAX_ROOM];  // the buffer when there is no memory for a larger one, and after a failure
};

// For fault-injection tests: asked before each opening, write, flush and closing of a file; false makes it fail.
enum class WriteStep { Open, Write, Flush, Close };
using WriteGate = bool (*)(WriteStep step, std::size_t nbytes);
void SetWriteGate(WriteGate gate);

}  // namespace bravic
