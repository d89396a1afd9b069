// The lines of a case file, one after the other through one buffer, which grows with the longest line alone. They are
// counted as they go by, so that a pipe, which can be read only once, has its lines numbered too. A file can be closed
// between two lines: what is in the buffer is still read, and for what comes after it the file is opened again.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string_view>

#include "Basic/Errors.h"
#include "Basic/Memory.h"
#include "Win_Face/Platform.h"

namespace bravic {

inline constexpr std::size_t CASE_BLOCK = 256 * 1024;  // bytes read at a time

class CaseLines {
 public:
  CaseLines() = default;
  ~CaseLines() { Close(); }
  CaseLines(const CaseLines&) = delete;
  CaseLines& operator=(const CaseLines&) = delete;

  // To be called once. The name must outlive the reading. Answers why the file cannot be opened.
  Failure Open(const char* filename, std::size_t blockSize = CASE_BLOCK);
  void Close();
  // Whether the file is the one that was opened, unchanged since: what was read of it may be used, and read on from.
  bool IsCurrent() const;

  // Has the whole next line in the buffer; false at the end of the file, or when something failed.
  bool NeedLine();
  // Of that line, without its line feed or lone carriage return. Eight bytes after its end are readable.
  const char* Start() const { return at_; }
  const char* End() const { return lineEnd_; }
  std::string_view Line() const { return {at_, lineEnd_}; }
  bool IsTerminated() const { return lineEnd_ < end_; }
  void Consume();                      // goes on after the line
  void ConsumePart(const char* next);  // goes on within it
  long LineNumber();                   // its number in the file, from 1
  long long Position() const { return bufferStart_ + (at_ - buffer_.get()); }

  // Goes to a line's first byte, not before the given offset; false when no line begins there.
  bool Seek(long long position, long long first);
  // Goes back to the first line; false where a pipe's is gone.
  bool Rewind();
  // What failed, once; nothing more is read then.
  Failure TakeTrouble() {
    at_ = lineEnd_ = end_;
    return std::move(trouble_);
  }
  bool HasTrouble() const { return trouble_ != nullptr; }

  double ShareRead() const {
    return stamp_.size > 0 ? static_cast<double>(Position()) / static_cast<double>(stamp_.size) : 1;
  }
  long long FileSize() const { return stamp_.size; }
  bool EndsInLine();                                      // the file's last byte is not a line end
  const char* Terminator() const { return terminator_; }  // of its first line: "\n", "\r\n" or "\r"

 private:
  bool Refill();  // more bytes after what is unread; false at the end of the file, and with trouble_ on failure
  bool Grow(std::size_t kept);
  bool OpenAt(long long position);  // opens the file again if it is closed
  bool IsWithin(long long position, long long first) const;
  void PassByteOrderMark();
  void FindTerminator();
  long CountLines(long long position) const;  // before that offset
  long long BufferEnd() const { return bufferStart_ + (end_ - buffer_.get()); }

  std::FILE* file_ = nullptr;
  const char* filename_ = "";
  bool isRegular_ = false;  // and stamp_ is the file's as it was opened; else that is empty
  FileStamp stamp_;
  bool isSettled_ = false;  // a change after the opening will show in the stamp
  Block<char> buffer_;      // with eight readable bytes after its end
  std::size_t capacity_ = 0;
  long long bufferStart_ = 0;  // offset in the file of the buffer's first byte
  long long textStart_ = 0;    // of the first byte after a byte-order mark
  const char* at_ = nullptr;
  const char* end_ = nullptr;
  const char* lineEnd_ = nullptr;
  bool atEnd_ = false;
  const char* terminator_ = "\n";
  char lineBreak_ = '\n';       // the last character of a line's end
  long long basePosition_ = 0;  // the offset at which reading began, or went on after the last Seek
  long baseLine_ = 1;           // the number of the line there; 0 until it is counted
  long consumed_ = 0;           // lines since
  Failure trouble_;             // memory or the disk failed; nothing more can be read
};

}  // namespace bravic
