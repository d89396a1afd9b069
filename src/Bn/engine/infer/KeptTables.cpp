#include "Bn/engine/infer/KeptTables.h"

#include <algorithm>
#include <bit>

#include "Bn/engine/Kernels.h"

namespace bravic::engine {

void KeptTables::Forget() {
  places_.clear();
  axes_.clear();
  numEntries_ = numTables_ = 0;
  isFull_ = false;
}

// Open addressing; at most half of the places are used.
KeptTables::Table* KeptTables::PlaceFor(const TableKey& key) {
  constexpr std::size_t ENTRIES_PER_PLACE = 32, FEWEST_PLACES = 1024, MOST_PLACES = 8192;
  if (capacity_ == 0 || isFull_) return nullptr;
  if (!entries_) entries_ = TryMakeBlock<float>(capacity_);
  if (!entries_) return nullptr;
  if (places_.empty())
    places_.resize(std::clamp(std::bit_ceil(capacity_ / ENTRIES_PER_PLACE), FEWEST_PLACES, MOST_PLACES));
  const std::size_t numPlaces = places_.size();
  for (std::size_t place = key.low % numPlaces;; place = (place + 1) % numPlaces)
    if (places_[place].size == 0 || places_[place].key == key) return &places_[place];
}

float* KeptTables::MakeRoom(std::size_t room) {
  if (numEntries_ + room > capacity_ || 2 * numTables_ > places_.size()) {
    isFull_ = true;
    return nullptr;
  }
  return entries_.get() + numEntries_;
}

void KeptTables::Keep(Table* place, const TableKey& key, const float* entries, int size, const Range& range) {
  const int begin = static_cast<int>(entries - entries_.get());
  *place = {key, begin, size, axes_.size(), 0, range};
  numEntries_ = begin + size + KERNEL_SLACK;
  ++numTables_;
}

void KeptTables::KeepPositive(Table* place, const TableKey& key) {
  *place = {key, 0, 1, 0, 0, {}};
  ++numTables_;
}

void KeptTables::AddAxis(Table* table, int id) {
  axes_.push_back(id);
  ++table->numAxes;
}

}  // namespace bravic::engine
