// What reading a file may hold here, beside what the core holds: the limit that the host has set with
// SetMemoryLimit_ns. Claimed are the file's text, and numbers that a few words of it stand for (default rows, noisy
// models, tables left out); what else there is grows with the text alone.
#pragma once

#include "bravic.h"

namespace formats {

// While one lives, claims are of its limit.
class MemoryLimit {
 public:
  explicit MemoryLimit(environ_ns env);
  ~MemoryLimit();
  MemoryLimit(const MemoryLimit&) = delete;
  MemoryLimit& operator=(const MemoryLimit&) = delete;

  // Throws std::bad_alloc where so much does not fit any more, and before it is had.
  static void Claim(double nbytes);

 private:
  double left_;
  MemoryLimit* const around_;
  static MemoryLimit* current_;
};

// A table that is filled with so many numbers.
inline void ClaimNumbers(double count) {
  MemoryLimit::Claim(count * sizeof(double));
}

}  // namespace formats
