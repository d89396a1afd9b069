// Numbers drawn by a seed, the same on every machine (splitmix64: Steele, Lea and Flood, 2014).
#pragma once

#include <cstddef>
#include <cstdint>

class Draws {
 public:
  explicit Draws(int seed) : state_(static_cast<std::uint32_t>(seed)) {}
  double Share() { return static_cast<double>(Bits() >> 11) * 0x1p-53; }  // 0 to 1, never 1
  std::size_t Below(std::size_t n) { return static_cast<std::size_t>(Bits() % n); }

 private:
  std::uint64_t Bits() {
    std::uint64_t bits = (state_ += 0x9E3779B97F4A7C15u);
    bits = (bits ^ bits >> 30) * 0xBF58476D1CE4E5B9u;
    bits = (bits ^ bits >> 27) * 0x94D049BB133111EBu;
    return bits ^ bits >> 31;
  }
  std::uint64_t state_;
};
