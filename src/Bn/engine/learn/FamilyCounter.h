// Counts cases by the configurations of families. A node and its parents are prepared once, which numbers the cells
// that occur: configurations of the parents with a state of the node. Candidate parents are then counted against them,
// each by whatever is cheapest: the set bits that a cell and a state have in common, a walk over the rows, or, where
// there would be more counts than rows, sorting.
#pragma once

#include "Bn/engine/Interrupt.h"
#include "Bn/engine/learn/CaseColumns.h"
#include "Bn/engine/learn/ScoreTerms.h"

namespace bravic::engine {

class FamilyCounter {
 public:
  FamilyCounter(const CaseColumns& cases, int numThreads, Interrupt* interrupt);
  bool IsReady() const { return isReady_; }  // false: without memory

  // Followed by any number of calls of SumTerms.
  void Prepare(int node, std::span<const int> parents);
  double NumConfigs() const { return numConfigs_; }  // that the parents may have
  // The terms with each candidate, and without it. NO_CANDIDATE: with is of the parents alone.
  static constexpr int NO_CANDIDATE = -1;
  void SumTerms(const ScoreTerms& terms, std::span<const int> candidates, CandidateSums* sums);

  // How candidates are counted: always in one way, to test it.
  enum class Way { CHEAPEST, WALK, BITS, SORT };
  void SetWay(Way way) { way_ = way; }

 private:
  struct Key {
    std::uint64_t key;
    std::int64_t count;
  };
  struct Room {
    Block<unsigned char> counts;
    Block<Key> keys;
  };
  struct Team;

  std::ptrdiff_t NumRows() const { return cases_.NumRows(); }
  int StatesOf(int candidate) const { return candidate < 0 ? 1 : cases_.NumStates(candidate); }
  void Combine(int parent);
  int Relabel(const std::uint32_t* from, int numFrom, int node, std::uint32_t* to, int* firstOf);
  int RelabelDense(const std::uint32_t* from, int numFrom, int node, std::uint32_t* to, int* firstOf);
  int RelabelSorted(const std::uint32_t* from, int numFrom, int node, std::uint32_t* to, int* firstOf);
  Way WayFor(int candidate) const;
  bool MakeRooms(std::span<const int> candidates, int numThreads);
  bool MakeBits(std::span<const int> candidates);
  void MakeCellBits();
  CandidateSums SumOne(const ScoreTerms& terms, int candidate, Room* room) const;
  template <class Number>
  void CountWalking(int candidate, Number* counts) const;
  template <class Number>
  void CountBits(int candidate, Number* counts) const;
  template <class Number>
  CandidateSums SumCounts(const ScoreTerms& terms, int candidate, Number* counts) const;
  CandidateSums SumSorted(const ScoreTerms& terms, int candidate, Key* keys) const;

  const CaseColumns& cases_;
  const int numThreads_;
  Interrupt* const interrupt_;
  Way way_ = Way::CHEAPEST;
  bool isReady_ = true;
  std::int64_t mostCounts_ = 0;    // of a table
  std::ptrdiff_t numWords_ = 0;    // of a row of bits
  std::ptrdiff_t mostLabels_ = 0;  // of configurations that need not occur

  // Of what is prepared.
  int node_ = -1;
  double numConfigs_ = 1;
  int numFound_ = 0, numCells_ = 0;      // configurations of parents, cells, that occur
  Block<std::uint32_t> cellOf_, other_;  // [rows] cell; numCells where a cell is missing
  Block<std::uint32_t> labels_;          // [mostCounts] scratch
  Block<int> firstCell_;                 // [numFound + 1] of each configuration
  Block<std::uint64_t> cellBits_;        // [numCells x numWords], made for candidates counted by bits
  bool hasCellBits_ = false;
  Vector<Block<std::uint64_t>> bits_;  // [node] [states x numWords], made when first wanted
  Vector<Room> rooms_;                 // [thread]
};

}  // namespace bravic::engine
