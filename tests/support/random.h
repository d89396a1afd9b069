// Random numbers for tests: the same from a seed on every platform (splitmix64).
#pragma once

#include <cstdint>

namespace bravic::testing {

class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t Bits() {
    std::uint64_t z = (state_ += 0x9E3779B97F4A7C15u);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
    return z ^ (z >> 31);
  }
  int Below(int n) { return int(Bits() % static_cast<std::uint64_t>(n)); }
  int Between(int low, int high) { return low + Below(high - low + 1); }
  double Share() { return double(Bits() >> 11) * 0x1p-53; }  // 0 <= x < 1
  template <class List>
  auto& Pick(List& from) {
    return from[std::size_t(Below(int(from.size())))];
  }
  bool Chance(double share) { return Share() < share; }

 private:
  std::uint64_t state_;
};

}  // namespace bravic::testing
