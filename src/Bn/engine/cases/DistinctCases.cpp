#include "Bn/engine/cases/DistinctCases.h"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace bravic::engine {

namespace {

constexpr std::ptrdiff_t NONE = -1;

std::uint64_t HashOf(const int* row, int width) {
  constexpr std::uint64_t FACTOR = 0x9E3779B97F4A7C15u;
  std::uint64_t hash = 0;
  for (int k = 0; k < width; ++k) hash = (std::rotl(hash, 5) ^ static_cast<std::uint32_t>(row[k])) * FACTOR;
  return hash ^ hash >> 32;
}

}  // namespace

DistinctCases::DistinctCases(const int* states, std::ptrdiff_t numCases, int width, bool isThorough)
    : states_(states), numCases_(numCases), width_(width) {
  constexpr std::ptrdiff_t LOOKED_AT = 2048;
  const std::ptrdiff_t few = std::min(LOOKED_AT, numCases);
  const bool isPromising = isThorough || (Find(few) && numKinds_ <= few / 2);
  if (isPromising && Find(numCases)) return;
  first_.reset();
  same_.reset();
}

// Of the first so many cases, by open addressing; false without memory.
bool DistinctCases::Find(std::ptrdiff_t numCases) {
  const std::size_t numPlaces = std::bit_ceil(2 * static_cast<std::size_t>(numCases) + 1);
  const Block<std::ptrdiff_t> places = TryMakeBlock<std::ptrdiff_t>(numPlaces);
  first_ = TryMakeBlock<std::ptrdiff_t>(numCases + 1);
  same_ = TryMakeBlock<std::ptrdiff_t>(numCases + 1);
  if (!places || !first_ || !same_) return false;
  std::fill_n(places.get(), numPlaces, NONE);
  numKinds_ = 0;
  for (std::ptrdiff_t number = 0; number < numCases; ++number) {
    const int* const row = states_ + number * width_;
    std::size_t place = static_cast<std::size_t>(HashOf(row, width_)) & (numPlaces - 1);
    for (; places[place] != NONE; place = (place + 1) & (numPlaces - 1))
      if (std::equal(row, row + width_, states_ + places[place] * width_)) break;
    if (places[place] == NONE) {
      places[place] = number;
      first_[numKinds_++] = number;
    }
    same_[number] = places[place];
  }
  return true;
}

}  // namespace bravic::engine
