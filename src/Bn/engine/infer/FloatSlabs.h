// Tables of floats, cut one behind the other from a few large blocks, for which the platform is asked to use large
// pages: where known nodes run fastest, passes read an entry here and there of tables that no cache holds.
#pragma once

#include "Basic/Memory.h"

namespace bravic::engine {

class FloatSlabs {
 public:
  // How many floats are to be taken in all, so that they are had at once where that can be.
  void Expect(double floats) { expected_ = floats; }
  // Room for so many, at the start of a cache line, and for the slack that vectors read beyond them, which whoever
  // fills the table clears; NULL without memory.
  float* Take(int entries);
  void Drop();

 private:
  bool AddBlock(std::size_t floats);

  Vector<Block<float>> blocks_;
  float *next_ = nullptr, *end_ = nullptr;
  double expected_ = 0;
};

}  // namespace bravic::engine
