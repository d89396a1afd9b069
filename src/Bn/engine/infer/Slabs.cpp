#include "Bn/engine/infer/Slabs.h"

#include <algorithm>

#include "Win_Face/Platform.h"

namespace bravic::engine {

namespace {

// Bytes. Address checkers see each table in a block of its own, which ends where it does.
constexpr std::size_t MOST_AT_ONCE = CUTS_SMALL_BLOCKS ? 16 << 20 : 0;

std::size_t RoundUp(std::size_t nbytes, std::size_t unit) {
  return (nbytes + unit - 1) / unit * unit;
}

}  // namespace

bool Slabs::AddBlock(std::size_t nbytes) {
  Block<unsigned char> block = TryMakeBlock<unsigned char>(nbytes);
  if (!block) return false;
  UseLargePages(block.get(), nbytes);
  next_ = block.get();
  end_ = next_ + nbytes;
  blocks_.push_back(std::move(block));
  return true;
}

void* Slabs::TakeBytes(std::size_t nbytes) {
  const std::size_t unit = CUTS_SMALL_BLOCKS && nbytes >= LINE ? LINE : BLOCK_ALIGNMENT;
  const auto ahead = [&] {
    const auto address = reinterpret_cast<std::uintptr_t>(next_);
    return RoundUp(address, unit) - address;
  };
  if (CUTS_SMALL_BLOCKS) nbytes = RoundUp(nbytes, BLOCK_ALIGNMENT);
  if (static_cast<std::size_t>(end_ - next_) < ahead() + nbytes) {
    const auto more = static_cast<std::size_t>(std::min(expected_, static_cast<double>(MOST_AT_ONCE)));
    const std::size_t least = nbytes + unit - BLOCK_ALIGNMENT;
    const bool isShared = more > least && AddBlock(more);
    if (!isShared && !AddBlock(least)) return nullptr;
  }
  unsigned char* const table = next_ + ahead();
  expected_ -= static_cast<double>(table - next_ + nbytes);
  next_ = table + nbytes;
  return table;
}

}  // namespace bravic::engine
