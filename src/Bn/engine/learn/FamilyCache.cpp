#include "Bn/engine/learn/FamilyCache.h"

#include <algorithm>

namespace bravic::engine {

namespace {

constexpr std::ptrdiff_t FIRST_SIZE = 1024, MOST_ENTRIES = 1 << 21;
constexpr int KEY_HEAD = 2;

std::uint64_t HashOf(int node, std::span<const int> parents) {
  constexpr std::uint64_t FACTOR = 0x9E3779B97F4A7C15u;
  std::uint64_t hash = (static_cast<std::uint64_t>(node) + 1) * FACTOR;
  for (int parent : parents) {
    hash = ((hash ^ (hash >> 32)) + static_cast<std::uint64_t>(parent) + 1) * FACTOR;
  }
  return hash ^ (hash >> 32);
}

}  // namespace

std::ptrdiff_t FamilyCache::Place(std::uint64_t hash, int node, std::span<const int> parents) const {
  auto at = static_cast<std::ptrdiff_t>(hash & static_cast<std::uint64_t>(size_ - 1));
  for (; entries_[at].start >= 0; at = (at + 1) & (size_ - 1)) {
    const int* key = pool_.get() + entries_[at].start;
    if (entries_[at].hash == hash && key[0] == Count(parents) && key[1] == node &&
        std::equal(parents.begin(), parents.end(), key + KEY_HEAD))
      break;
  }
  return at;
}

bool FamilyCache::Find(int node, std::span<const int> parents, double* score) const {
  if (size_ == 0) return false;
  const Entry& entry = entries_[Place(HashOf(node, parents), node, parents)];
  if (entry.start < 0) return false;
  *score = entry.score;
  return true;
}

void FamilyCache::Forget() {
  entries_.reset();
  pool_.reset();
  size_ = numUsed_ = poolUsed_ = poolRoom_ = 0;
}

// Twice the entries, at most half of which are in use.
bool FamilyCache::Grow() {
  if (numUsed_ >= MOST_ENTRIES) Forget();
  const std::ptrdiff_t size = std::max(2 * size_, FIRST_SIZE);
  Block<Entry> entries = TryMakeBlock<Entry>(static_cast<std::size_t>(size));
  if (!entries) return false;
  std::fill_n(entries.get(), size, Entry{0, 0, -1});
  for (std::ptrdiff_t i = 0; i < size_; ++i) {
    if (entries_[i].start < 0) continue;
    auto at = static_cast<std::ptrdiff_t>(entries_[i].hash & static_cast<std::uint64_t>(size - 1));
    while (entries[at].start >= 0) at = (at + 1) & (size - 1);
    entries[at] = entries_[i];
  }
  entries_ = std::move(entries);
  size_ = size;
  return true;
}

void FamilyCache::Add(int node, std::span<const int> parents, double score) {
  if (2 * (numUsed_ + 1) > size_ && !Grow()) return Forget();
  if (poolUsed_ + KEY_HEAD + Count(parents) > poolRoom_) {
    const std::ptrdiff_t room = 2 * (poolRoom_ + KEY_HEAD + Count(parents)) + FIRST_SIZE;
    Block<int> pool = TryMakeBlock<int>(static_cast<std::size_t>(room));
    if (!pool) return Forget();
    std::copy_n(pool_.get(), poolUsed_, pool.get());
    pool_ = std::move(pool);
    poolRoom_ = room;
  }
  const std::uint64_t hash = HashOf(node, parents);
  Entry& entry = entries_[Place(hash, node, parents)];
  if (entry.start < 0) {
    entry = {hash, score, poolUsed_};
    int* key = pool_.get() + poolUsed_;
    key[0] = Count(parents);
    key[1] = node;
    std::copy(parents.begin(), parents.end(), key + KEY_HEAD);
    poolUsed_ += KEY_HEAD + Count(parents);
    ++numUsed_;
  }
}

}  // namespace bravic::engine
