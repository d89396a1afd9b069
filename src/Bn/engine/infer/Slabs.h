// Tables of numbers, cut one behind the other from a few large blocks, for which the platform is asked to use large
// pages: where known nodes run fastest, passes read an entry here and there of tables that no cache holds.
#pragma once

#include "Basic/Memory.h"

namespace bravic::engine {

class Slabs {
 public:
  // How many bytes are to be taken in all, so that they are had at once where that can be.
  void Expect(double nbytes) { expected_ = nbytes; }
  // What a table of so many numbers takes.
  template <class Number>
  static double SizeOf(double entries) {
    return (entries + MORE) * sizeof(Number);
  }
  // Room for so many numbers, at the start of a cache line, and for the slack that vectors read beyond them, which
  // whoever fills the table clears; NULL without memory.
  template <class Number>
  Number* Take(int entries) {
    return static_cast<Number*>(TakeBytes((static_cast<std::size_t>(entries) + SLACK) * sizeof(Number)));
  }
  void Drop() { *this = {}; }

 private:
  static constexpr int SLACK = 16, MORE = 2 * SLACK;  // entries: of a vector, and with what fills a line

  void* TakeBytes(std::size_t nbytes);
  bool AddBlock(std::size_t nbytes);

  Vector<Block<unsigned char>> blocks_;
  unsigned char *next_ = nullptr, *end_ = nullptr;
  double expected_ = 0;
};

}  // namespace bravic::engine
