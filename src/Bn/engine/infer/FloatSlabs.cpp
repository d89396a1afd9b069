#include "Bn/engine/infer/FloatSlabs.h"

#include <algorithm>

#include "Bn/engine/Kernels.h"
#include "Win_Face/Platform.h"

namespace bravic::engine {

namespace {

// Floats. Address checkers see each table in a block of its own, which ends where it does.
constexpr std::size_t LINE = CUTS_SMALL_BLOCKS ? 64 / sizeof(float) : 1, MOST_AT_ONCE = CUTS_SMALL_BLOCKS ? 4 << 20 : 0;

std::size_t WholeLines(std::size_t floats) {
  return (floats + LINE - 1) / LINE * LINE;
}

}  // namespace

bool FloatSlabs::AddBlock(std::size_t floats) {
  Block<float> block = TryMakeBlock<float>(floats + LINE - 1);
  if (!block) return false;
  UseLargePages(block.get(), floats * sizeof(float));
  const std::size_t ahead = reinterpret_cast<std::uintptr_t>(block.get()) / sizeof(float) % LINE;
  next_ = block.get() + (LINE - ahead) % LINE;
  end_ = next_ + floats;
  blocks_.push_back(std::move(block));
  return true;
}

float* FloatSlabs::Take(int entries) {
  const std::size_t floats = WholeLines(static_cast<std::size_t>(entries) + KERNEL_SLACK);
  if (static_cast<std::size_t>(end_ - next_) < floats) {
    const auto more = static_cast<std::size_t>(std::min(expected_, static_cast<double>(MOST_AT_ONCE)));
    const bool isShared = more > floats && AddBlock(more);
    if (!isShared && !AddBlock(floats)) return nullptr;
  }
  float* const table = next_;
  next_ += floats;
  expected_ -= static_cast<double>(floats);
  return table;
}

void FloatSlabs::Drop() {
  *this = {};
}

}  // namespace bravic::engine
