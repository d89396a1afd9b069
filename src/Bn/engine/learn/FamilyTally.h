// Counts how often each configuration of some families occurs in cases, which come as rows of states. A block of rows
// is turned into columns; then family by family the places of its configurations are computed, all lanes alike, and
// counted. Cases of weight 1 are counted in integers, in several copies where a table is small, so that equal cases
// that follow each other do not wait for one another.
#pragma once

#include <cstdint>
#include <span>

#include "Basic/Memory.h"
#include "Bn/engine/Interrupt.h"

namespace bravic::engine {

// A family's table, last member fastest.
struct TalliedFamily {
  Vector<int> columns;  // [member] of the rows
  Vector<int> sizes;    // [member] numbers of states
  std::size_t first;    // its entries in the counts
  std::uint32_t size;   // how many there are
};

class FamilyTally {
 public:
  explicit FamilyTally(std::span<const TalliedFamily> families);

  bool IsMade() const { return isMade_; }  // false: no memory
  // states [numCases x width], less than 0 where missing; weights [numCases] or NULL: 1 each. False once it is halted.
  bool Add(const int* states, int width, const double* weights, std::ptrdiff_t numCases,
           const ProgressFunction& progress);
  // Adds what was counted to the counts; no one of them grows beyond most.
  void AddTo(double* counts, double most) const;

 private:
  static constexpr int ROWS = 256, PADDED_ROWS = ROWS + 16, COPIES = 4;
  struct Table {
    std::size_t sums = 0, integers = 0;  // where they begin
    std::uint32_t numCopies = 1;
  };

  void TurnRows(const int* states, int width, int numRows);
  void FindPlaces(const TalliedFamily& family, int numRows);
  void CountBlock(const double* weights, int numRows);
  void TakeIntegers();

  std::span<const TalliedFamily> families_;
  Vector<Table> tables_;  // [family]; behind its entries each has one for what is missing
  Vector<int> wanted_;    // columns that some family needs
  Vector<int> placeOf_;   // [column] among those, or -1
  Block<double> sums_;
  Block<std::uint32_t> integers_;
  Block<std::int32_t> turned_;  // [wanted x PADDED_ROWS]
  std::uint32_t places_[ROWS];  // of the rows in the table at hand
  std::size_t numSums_ = 0, numIntegers_ = 0;
  std::ptrdiff_t numTaken_ = 0;  // rows in the integers
  bool isMade_ = false;
};

}  // namespace bravic::engine
