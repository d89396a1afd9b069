#include "Bn/engine/infer/Slabs.h"

#include <algorithm>

#include "Bn/engine/Kernels.h"
#include "Win_Face/Platform.h"

namespace bravic::engine {

namespace {

// Bytes. Address checkers see each table in a block of its own, which ends where it does.
constexpr std::size_t LINE = CUTS_SMALL_BLOCKS ? 64 : sizeof(double), MOST_AT_ONCE = CUTS_SMALL_BLOCKS ? 16 << 20 : 0;

}  // namespace

bool Slabs::AddBlock(std::size_t nbytes) {
  Block<unsigned char> block = TryMakeBlock<unsigned char>(nbytes + LINE - BLOCK_ALIGNMENT);
  if (!block) return false;
  UseLargePages(block.get(), nbytes);
  const std::size_t ahead = reinterpret_cast<std::uintptr_t>(block.get()) % LINE;
  next_ = block.get() + (LINE - ahead) % LINE;
  end_ = next_ + nbytes;
  blocks_.push_back(std::move(block));
  return true;
}

void* Slabs::TakeBytes(std::size_t nbytes) {
  static_assert(SLACK == KERNEL_SLACK);
  if (CUTS_SMALL_BLOCKS) nbytes = (nbytes + LINE - 1) / LINE * LINE;
  if (static_cast<std::size_t>(end_ - next_) < nbytes) {
    const auto more = static_cast<std::size_t>(std::min(expected_, static_cast<double>(MOST_AT_ONCE))) / LINE * LINE;
    const bool isShared = more > nbytes && AddBlock(more);
    if (!isShared && !AddBlock(nbytes)) return nullptr;
  }
  void* const table = next_;
  next_ += nbytes;
  expected_ -= static_cast<double>(nbytes);
  return table;
}

}  // namespace bravic::engine
