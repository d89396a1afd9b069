#include "Bn/engine/learn/ParentSets.h"

#include <algorithm>
#include <numeric>

namespace bravic::engine {

SetBits BitsOf(std::span<const int> members) {
  SetBits bits = 0;
  for (int member : members) bits |= BitOf(member);
  return bits;
}

namespace {

void Append(std::span<const int> members, double score, ParentSets* sets) {
  sets->scores.push_back(score);
  sets->bits.push_back(BitsOf(members));
  sets->start.push_back(sets->members.size());
  for (int member : members) sets->members.push_back(member);
}

bool HasPart(const ParentSets& sets, std::span<const int> whole) {
  const SetBits bits = BitsOf(whole);
  for (int k = 0; k < sets.NumSets(); ++k) {
    if (!IsPart(sets.bits[k], bits)) continue;
    const int end = k + 1 < sets.NumSets() ? sets.start[k + 1] : sets.members.size();
    const std::span part(sets.members.data() + sets.start[k], end - sets.start[k]);
    if (std::includes(whole.begin(), whole.end(), part.begin(), part.end())) return true;
  }
  return false;
}

}  // namespace

void ParentSetList::Add(std::span<const int> members, double score) {
  Append(members, score, &sets_);
}

ParentSets ParentSetList::Sorted() const {
  const auto setAt = [&](int k) {
    const int end = k + 1 < sets_.NumSets() ? sets_.start[k + 1] : sets_.members.size();
    return std::span(sets_.members.data() + sets_.start[k], end - sets_.start[k]);
  };
  Vector<int> order(sets_.NumSets());
  std::iota(order.begin(), order.end(), 0);
  std::sort(order.begin(), order.end(), [&](int a, int b) {
    if (sets_.scores[a] != sets_.scores[b]) return sets_.scores[a] > sets_.scores[b];
    const auto one = setAt(a), other = setAt(b);
    if (one.size() != other.size()) return one.size() < other.size();
    return std::lexicographical_compare(one.begin(), one.end(), other.begin(), other.end());
  });
  ParentSets sorted;
  for (int k : order)
    if (!HasPart(sorted, setAt(k))) Append(setAt(k), sets_.scores[k], &sorted);
  sorted.start.push_back(sorted.members.size());
  return sorted;
}

}  // namespace bravic::engine
