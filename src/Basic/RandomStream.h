// Random numbers of a computation's own, the same for a seed on every platform (Steele, Lea & Flood 2014).
#pragma once

#include <cstdint>

namespace bravic {

class RandomStream {
 public:
  explicit RandomStream(std::uint64_t seed) : state_(seed) {}
  std::uint64_t Bits() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15u);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
  }
  int Below(int n) { return static_cast<int>(Bits() % static_cast<std::uint64_t>(n)); }
  double Share() { return static_cast<double>(Bits() >> 11) * 0x1p-53; }  // [0, 1)

 private:
  std::uint64_t state_;
};

}  // namespace bravic
