// In which order the variables that are free in a case are eliminated: greedily, next the one whose elimination passes
// over the fewest entries, those with at most one neighbour first. What is known falls apart into many small pieces, so
// that neighbours stand in short lists of fixed room: nothing is allocated once it is made, and what does not fit is
// for others.
#pragma once

#include <span>

#include "Bn/engine/Tournament.h"

namespace bravic::engine {

// A step: a variable goes together with the tables of the variables that are left over and it has tables with.
struct Bucket {
  int variable;
  std::span<const int> others;  // with it in a table when it goes
  double size;                  // entries passed over
  int next;                     // the bucket that its message goes to, or -1
};

class FreeOrder {
 public:
  static constexpr int MOST_NEIGHBOURS = 64;

  explicit FreeOrder(std::span<const int> numstates);

  // Begins with no variables; they come with the tables that join them, all of which are to be eliminated.
  void Begin();
  void Join(std::span<const int> variables);
  // False when it does not fit, or the entries are too many.
  bool Find(double mostEntries);

  const Vector<Bucket>& Buckets() const { return buckets_; }
  int BucketOf(int variable) const { return bucketOf_[variable]; }
  double NumEntries() const { return numEntries_; }

 private:
  std::span<int> Neighbours(int v) { return {neighbours_.data() + v * MOST_NEIGHBOURS, Size(degree_[v])}; }
  static std::size_t Size(int count) { return static_cast<std::size_t>(count); }
  void AddEdge(int a, int b);
  void AddNeighbour(int v, int other);
  void AddIfSimple(int v);
  void Eliminate(int v);
  double SpaceOf(int v);

  std::span<const int> numstates_;
  Vector<int> variables_;
  Vector<int> neighbours_, degree_;             // [variable][place], [variable]
  Vector<int> bucketOf_;                        // [variable] -1 until it went
  Vector<unsigned char> takesPart_, isSimple_;  // [variable]
  Vector<int> simple_;                          // have at most one neighbour, and are to go
  Tournament tournament_;                       // of variables by their place
  Vector<int> placeOf_;                         // [variable] in the tournament, or -1
  Vector<int> players_;                         // [place]
  Vector<Bucket> buckets_;
  double numEntries_ = 0;
  bool fits_ = true;
};

}  // namespace bravic::engine
