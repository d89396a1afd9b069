#include "formats/MemoryLimit.h"

#include <cstdlib>
#include <limits>
#include <new>

namespace formats {

MemoryLimit* MemoryLimit::current_ = nullptr;

MemoryLimit::MemoryLimit(environ_ns env) : left_(std::numeric_limits<double>::infinity()), around_(current_) {
  constexpr double KILOBYTE = 1024;
  const long kilobytes = SetMemoryLimit_ns(-1, env);
  if (kilobytes > 0) left_ = static_cast<double>(kilobytes) * KILOBYTE;
  current_ = this;
}

MemoryLimit::~MemoryLimit() {
  current_ = around_;
}

void MemoryLimit::Claim(double nbytes) {
  if (!current_) return;
  current_->left_ -= nbytes;
  if (current_->left_ >= 0) return;
#if defined(__cpp_exceptions)
  throw std::bad_alloc();
#else  // as where the heap itself has no more
  std::abort();
#endif
}

}  // namespace formats
