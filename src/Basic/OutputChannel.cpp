// One buffer serves files and memory: a full one is written out to the file, or grows by half. Without memory for it
// the channel has its small spare buffer, so that a file is written all the same, in smaller pieces, and a text in
// memory fails but still takes what it is given.
#include "Basic/OutputChannel.h"

#include <algorithm>
#include <cerrno>

namespace bravic {
namespace {

constexpr std::size_t FILE_BUFFER = 65536, FIRST_MEMORY = 4096;

WriteGate writeGate = nullptr;

// Asked before each step that tests may let fail.
bool GateAllows(WriteStep step, std::size_t nbytes) {
  errno = 0;
  return !writeGate || writeGate(step, nbytes);
}

}  // namespace

void SetWriteGate(WriteGate gate) {
  writeGate = gate;
}

bool OutputChannel::OpenFile(const char* path, Mode mode) {
  Close();
  inMemory_ = failed_ = false;
  systemError_ = 0;
  owned_ = TryMakeBlock<char>(FILE_BUFFER);
  buffer_ = owned_ ? owned_.get() : spare_;
  at_ = buffer_;
  end_ = buffer_ + (owned_ ? FILE_BUFFER : sizeof spare_);
  if (GateAllows(WriteStep::Open, 0)) file_ = std::fopen(path, mode == Mode::Append ? "ab" : "wb");
  if (!file_) {
    Fail();
    return false;
  }
  // The channel has a buffer of its own; a second one would only copy once more.
  std::setvbuf(file_, nullptr, _IONBF, 0);
  return true;
}

void OutputChannel::OpenMemory() {
  Close();
  failed_ = false;
  systemError_ = 0;
  owned_ = nullptr;
  buffer_ = at_ = spare_;
  end_ = spare_ + sizeof spare_;
  inMemory_ = true;
}

bool OutputChannel::Close(Flush flush) {
  if (!file_) return !failed_;
  WriteOut();
  if (flush && !failed_ && (!GateAllows(WriteStep::Flush, 0) || !flush(file_))) Fail();
  const bool allowed = GateAllows(WriteStep::Close, 0);
  if (std::fclose(file_) != 0 || !allowed) Fail();
  file_ = nullptr;
  owned_ = nullptr;
  buffer_ = at_ = spare_;
  end_ = spare_ + sizeof spare_;
  return !failed_;
}

std::string_view OutputChannel::Text() const {
  if (!inMemory_ || failed_) return {};
  return std::string_view(buffer_, at_ - buffer_);
}

// The system's first error is the one told.
void OutputChannel::Fail() {
  if (!failed_) systemError_ = errno;
  failed_ = true;
}

void OutputChannel::WriteOut() {
  const std::size_t nbytes = at_ - buffer_;
  at_ = buffer_;
  if (failed_ || nbytes == 0 || !file_) return;
  if (!GateAllows(WriteStep::Write, nbytes) || std::fwrite(buffer_, 1, nbytes, file_) != nbytes) Fail();
}

void OutputChannel::MakeRoom() {
  if (!inMemory_ || failed_) {
    WriteOut();
    return;
  }
  const std::size_t used = at_ - buffer_;
  const std::size_t size = std::max(FIRST_MEMORY, used + used / 2 + MAX_ROOM);
  Block<char> larger = TryMakeBlock<char>(size);
  if (!larger) {
    // From now on what comes is dropped, in the spare buffer.
    Fail();
    owned_ = nullptr;
    buffer_ = at_ = spare_;
    end_ = spare_ + sizeof spare_;
    return;
  }
  std::memcpy(larger.get(), buffer_, used);
  owned_ = std::move(larger);
  buffer_ = owned_.get();
  at_ = buffer_ + used;
  end_ = buffer_ + size;
}

void OutputChannel::PutLong(std::string_view text) {
  while (!text.empty()) {
    const std::size_t n = std::min(text.size(), NumFree());
    if (n == 0) {
      MakeRoom();
      continue;
    }
    std::memcpy(at_, text.data(), n);
    at_ += n;
    text.remove_prefix(n);
  }
}

void OutputChannel::PutRepeated(char c, int n) {
  while (n > 0) {
    const int now = std::min<int>(n, MAX_ROOM);
    std::memset(Room(now), c, now);
    at_ += now;
    n -= now;
  }
}

}  // namespace bravic
