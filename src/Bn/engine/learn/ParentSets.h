// The parent sets that a node may be given, with their scores: what searches over orders and over subsets of the nodes
// choose from, without looking at the data any more.
#pragma once

#include <cstdint>
#include <span>

#include "Basic/Memory.h"

namespace bravic::engine {

inline constexpr double IMPOSSIBLE_SCORE = -1e300;

// A set of nodes, each by its number modulo 64: the set itself where there are no more nodes.
using SetBits = std::uint64_t;
SetBits BitsOf(std::span<const int> members);
inline SetBits BitOf(int node) {
  return SetBits{1} << (node & 63);
}
inline bool IsPart(SetBits part, SetBits whole) {
  return (part & ~whole) == 0;
}

struct ParentSets {
  Vector<double> scores;  // [set], best first; of sets that score alike the smaller first, then the one named first
  Vector<SetBits> bits;   // [set]
  Vector<int> start;      // [set], and one more: where its members begin
  Vector<int> members;    // rising within a set

  int NumSets() const { return scores.size(); }
  std::span<const int> Set(int k) const { return std::span(members.data() + start[k], start[k + 1] - start[k]); }
};

// Gathers sets in any order.
class ParentSetList {
 public:
  void Add(std::span<const int> members, double score);  // members rise
  // Without those of which a part scores as well.
  ParentSets Sorted() const;

 private:
  ParentSets sets_;  // as they came; start without its last entry
};

}  // namespace bravic::engine
