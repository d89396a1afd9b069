#include "Bn/files/CaseLines.h"

#include <algorithm>
#include <cstring>

#include "Basic/Text.h"

namespace bravic {

namespace {

constexpr std::size_t BUFFER_SLACK = 8;  // bytes behind the text that may be read, and are 0 at its end
constexpr std::size_t MAX_LINE = std::size_t{64} << 20;

// File systems count time in steps: those that know fractions of a second in steps of the system's clock, others in
// seconds, or two. A file that changed again within the step of its last change looks as if it had not.
bool IsSettled(const FileStamp& stamp) {
  constexpr std::int64_t CLOCK_STEP = 20000000, SECOND = 1000000000;
  const std::int64_t step = stamp.written % SECOND == 0 ? 2 * SECOND : CLOCK_STEP;
  return NanosecondsSince1970() - std::max(stamp.written, stamp.changed) > step;
}

bool IsLineEnd(int c) {
  return c == '\n' || c == '\r';
}

}  // namespace

void CaseLines::Close() {
  if (file_) std::fclose(file_);
  file_ = nullptr;
}

Failure CaseLines::Open(const char* filename, std::size_t blockSize) {
  filename_ = filename;
  file_ = std::fopen(filename_, "rb");
  if (!file_) {
    return FileExists(filename_) ? Fail(CANT_OPEN_CASES_FOR_READING, ShownPath(filename_).text)
                                 : Fail(NO_SUCH_CASE_FILE, ShownPath(filename_).text);
  }
  isRegular_ = GetStamp(file_, &stamp_);
  isSettled_ = isRegular_ && IsSettled(stamp_);
  capacity_ = blockSize;
  buffer_ = TryMakeBlock<char>(capacity_ + BUFFER_SLACK);
  at_ = end_ = lineEnd_ = buffer_.get();
  if (buffer_)
    FindTerminator();
  else
    trouble_ = FailMemory(NO_MEMORY_FOR_CASE_FILE, static_cast<double>(capacity_));
  return nullptr;
}

bool CaseLines::IsCurrent() const {
  FileStamp now;
  return isSettled_ && !trouble_ && GetStamp(filename_, &now) && now == stamp_;
}

bool CaseLines::OpenAt(long long position) {
  FileStamp now;
  if (!file_) {
    file_ = std::fopen(filename_, "rb");
    if (file_ && !(GetStamp(file_, &now) && now == stamp_)) Close();
  }
  return file_ && SeekFile(file_, position);
}

bool CaseLines::EndsInLine() {
  if (!isRegular_ || stamp_.size == 0 || !OpenAt(stamp_.size - 1)) return false;
  const bool endsInLine = !IsLineEnd(std::fgetc(file_));
  SeekFile(file_, BufferEnd());
  return endsInLine;
}

// That of UTF-8, which spreadsheets write at the beginning.
void CaseLines::PassByteOrderMark() {
  constexpr char MARK[] = "\xEF\xBB\xBF";
  constexpr std::ptrdiff_t LENGTH = sizeof MARK - 1;
  if (end_ - at_ < LENGTH || std::memcmp(at_, MARK, LENGTH) != 0) return;
  at_ += LENGTH;
  textStart_ = LENGTH;
}

// How the first line of the file ends, so do all.
void CaseLines::FindTerminator() {
  Refill();
  PassByteOrderMark();
  const char* first = std::find_if(at_, end_, IsLineEnd);
  terminator_ = "\n";
  if (first + 1 < end_ && *first == '\r') terminator_ = first[1] == '\n' ? "\r\n" : "\r";
  lineBreak_ = terminator_[std::strlen(terminator_) - 1];
}

bool CaseLines::Grow(std::size_t kept) {
  Block<char> larger = TryMakeBlock<char>(capacity_ * 2 + BUFFER_SLACK);
  if (!larger) {
    trouble_ = FailMemory(NO_MEMORY_FOR_CASE_LINE, 2 * static_cast<double>(capacity_));
    return false;
  }
  std::memcpy(larger.get(), at_, kept);
  bufferStart_ = Position();
  buffer_ = std::move(larger);
  capacity_ *= 2;
  return true;
}

// False when there is no more, or trouble. Positions stay right: bufferStart_ moves with what is dropped.
bool CaseLines::Refill() {
  if (atEnd_ || !buffer_) return false;
  if (!file_ && BufferEnd() >= stamp_.size) return false;
  if (!file_ && !OpenAt(BufferEnd())) trouble_ = Fail(CASE_FILE_READING_FAILED, static_cast<long>(BufferEnd()));
  // The part of a line that is there already moves to the front, in a larger buffer where it fills half of this one.
  // What fills less than half of the buffer stays as it is, so that the beginning of a small file can be read twice.
  const std::size_t kept = end_ - at_;
  if (kept == MAX_LINE) trouble_ = Fail(CASE_LINE_TOO_LONG, LineNumber(), static_cast<int>(MAX_LINE >> 20));
  const bool mustGrow = kept * 2 > capacity_ && capacity_ < MAX_LINE;  // a line longer than the buffer
  if (trouble_ || (mustGrow && !Grow(kept))) {
    atEnd_ = true;
    return false;
  }
  const bool hasRoom = !mustGrow && static_cast<std::size_t>(end_ - buffer_.get()) * 2 <= capacity_;
  if (!mustGrow && !hasRoom) {
    if (kept > 0) std::memmove(buffer_.get(), at_, kept);
    bufferStart_ = Position();
  }
  if (!hasRoom) at_ = buffer_.get();
  char* const free = buffer_.get() + (at_ - buffer_.get()) + kept;
  const std::size_t got = std::fread(free, 1, capacity_ - (free - buffer_.get()), file_);
  end_ = free + got;
  // Names are compared eight bytes at a time, also the last one of the file.
  std::memset(free + got, 0, BUFFER_SLACK);
  if (got > 0) return true;
  atEnd_ = true;
  if (std::ferror(file_)) trouble_ = Fail(CASE_FILE_READING_FAILED, static_cast<long>(Position()));
  return false;
}

bool CaseLines::NeedLine() {
  if (trouble_) return false;
  // Only what came with the last refill is looked through.
  for (std::size_t seen = 0;;) {
    const char* from = at_ + seen;
    const void* found = std::memchr(from, lineBreak_, end_ - from);
    if (found) {
      lineEnd_ = static_cast<const char*>(found);
      return true;
    }
    seen = end_ - at_;
    if (Refill()) continue;
    lineEnd_ = end_;
    return at_ < end_ && !trouble_;
  }
}

void CaseLines::Consume() {
  if (IsTerminated()) ++consumed_;
  at_ = std::min(lineEnd_ + 1, end_);
}

void CaseLines::ConsumePart(const char* next) {
  at_ = lineEnd_ = next;
}

// After a Seek the lines before it are counted only if a message asks.
long CaseLines::LineNumber() {
  if (baseLine_ == 0) baseLine_ = CountLines(basePosition_) + 1;
  return baseLine_ + consumed_;
}

long CaseLines::CountLines(long long position) const {
  std::FILE* file = std::fopen(filename_, "rb");
  if (!file) return 0;
  long numlines = 0;
  char block[4096];
  while (position > 0) {
    const std::size_t want = static_cast<std::size_t>(std::min<long long>(position, sizeof block));
    const std::size_t got = std::fread(block, 1, want, file);
    if (got == 0) break;
    numlines += static_cast<long>(std::count(block, block + got, lineBreak_));
    position -= static_cast<long long>(got);
  }
  std::fclose(file);
  return numlines;
}

bool CaseLines::Rewind() {
  if (bufferStart_ > 0 && !(isRegular_ && Seek(textStart_, textStart_))) return false;
  if (bufferStart_ == 0) at_ = lineEnd_ = buffer_.get() + textStart_;
  basePosition_ = textStart_;
  baseLine_ = 1;
  consumed_ = 0;
  return true;
}

// Whether the byte there is in the buffer, and with it the one before where that must end a line.
bool CaseLines::IsWithin(long long position, long long first) const {
  const bool isFree = position == first || position == stamp_.size;
  return position >= bufferStart_ + (isFree ? 0 : 1) && position <= BufferEnd();
}

// A position between lines, so that nothing is misread from the middle of one.
bool CaseLines::Seek(long long position, long long first) {
  if (position < first || position > stamp_.size) return false;
  if (position == Position()) return true;
  const bool mustFollowLine = position > first && position < stamp_.size;
  if (IsWithin(position, first)) {
    const char* target = buffer_.get() + (position - bufferStart_);
    if (mustFollowLine && !IsLineEnd(target[-1])) return false;
    at_ = lineEnd_ = target;
  } else {
    bufferStart_ = position;
    at_ = end_ = lineEnd_ = buffer_.get();
    atEnd_ = false;
    if (!OpenAt(mustFollowLine ? position - 1 : position)) return false;
    if (mustFollowLine && !IsLineEnd(std::fgetc(file_))) return false;
  }
  basePosition_ = position;
  baseLine_ = consumed_ = 0;
  return true;
}

}  // namespace bravic
