// Tables of numbers, cut one behind the other from a few large blocks, for which the platform is asked to use large
// pages: where known nodes run fastest, passes read an entry here and there of tables that no cache holds.
#pragma once

#include <type_traits>

#include "Basic/Memory.h"
#include "Bn/engine/Kernels.h"

namespace bravic::engine {

class Slabs {
 public:
  // How many bytes are to be taken in all, so that they are had at once where that can be.
  void Expect(double nbytes) { expected_ = nbytes; }
  // What a table of so many numbers takes, at most.
  template <class Number>
  static double SizeOf(double entries) {
    const double nbytes = sizeof(Number) * (entries + SLACK<Number>);
    return nbytes + (nbytes < LINE ? BLOCK_ALIGNMENT - 1 : LINE);
  }
  // Room for so many numbers, at the start of a cache line where they fill one; floats have behind them the slack that
  // vectors read, which whoever fills the table clears. NULL without memory.
  template <class Number>
  Number* Take(int entries) {
    return static_cast<Number*>(TakeBytes(sizeof(Number) * (static_cast<std::size_t>(entries) + SLACK<Number>)));
  }
  void Drop() { *this = {}; }

 private:
  template <class Number>
  static constexpr int SLACK = std::is_same_v<Number, float> ? KERNEL_SLACK : 0;
  static constexpr std::size_t LINE = 64;

  void* TakeBytes(std::size_t nbytes);
  bool AddBlock(std::size_t nbytes);

  Vector<Block<unsigned char>> blocks_;
  unsigned char *next_ = nullptr, *end_ = nullptr;
  double expected_ = 0;
};

}  // namespace bravic::engine
