// What arithmetic of limited range may have lost: the one place where it is judged whether numbers can be relied on.
// docs/numerics.md says what each table holds and why these bounds hold.
//
// Tables are scaled so that no entry is above 1. A product too small for the numbers it is computed with becomes 0 or
// loses digits; what it lacks is bounded in proportion to 1. Every sum adds up what its terms lack, and scaling the
// sums back to 1 makes the bound as much larger. Sums are trusted while the bound is far below their largest.
#pragma once

#include <algorithm>
#include <bit>

#include "Bn/engine/Numbers.h"

namespace bravic::engine {

// Numbers below 2^these lose bits or vanish.
inline constexpr int FLOAT_FLOOR = -126, DOUBLE_FLOOR = -1022;
// Products of floats up to 1 may be computed times 2^90: sums of as many as there can be stay far below 2^127.
inline constexpr int LIFT = 90;
// Of a table whose entries are exact but for rounding.
inline constexpr int NO_LOSS = -(1 << 29);
// A product of as many tables as a clique has lacks less than 2^this times what one multiplication may lose.
inline constexpr int PRODUCT_BITS = 16;

// Whether sums hold, are all 0, or may be wrong for want of range.
enum class Outcome { GOOD, ZERO, DOUBTFUL };

// Of a table with entries up to 1.
struct Range {
  int low = 0;         // no positive entry is below 2^low
  int lost = NO_LOSS;  // no entry lacks more than 2^lost
};

// The products of some tables, and their sums.
class ProductRange {
 public:
  // isLifted: the floats of a table that they cannot hold are its entries times 2^LIFT.
  void Multiply(const Range& table, bool isLifted = false) {
    low_ += table.low;
    if (table.low < FLOAT_FLOOR) {
      lowOfLifted_ = table.low;
      numLifted_ += isLifted && table.low >= FLOAT_FLOOR - LIFT ? 1 : 2;
    }
    ++numTables_;
    if (table.lost == NO_LOSS) return;
    lost_ = std::max(lost_, table.lost);
    ++numLossy_;
  }
  // Whether no product can be below the floor.
  bool StaysAbove(int floor) const { return low_ >= floor; }
  // Whether floats hold each table, and the products at least when they are lifted. A table that is lifted already may
  // come last, so that it does not help the rest.
  bool FitsFloats() const {
    if (numLifted_ > 1 || low_ < FLOAT_FLOOR - LIFT) return false;
    return numLifted_ == 0 || low_ - lowOfLifted_ >= FLOAT_FLOOR;
  }
  bool HasLifted() const { return numLifted_ > 0; }
  // What a sum of so many products may lack, as a binary logarithm.
  int Lost(int floor, double numTerms) const {
    if (numLossy_ == 0 && low_ >= floor) return NO_LOSS;
    const int lost = low_ < floor ? std::max(lost_, floor) : lost_;
    return std::min(
        0, lost + static_cast<int>(std::bit_width(static_cast<unsigned>(numLossy_ + numTables_))) + Exponent(numTerms));
  }

 private:
  int low_ = 0, lowOfLifted_ = 0, numLifted_ = 0, lost_ = NO_LOSS, numTables_ = 0, numLossy_ = 0;
};

// Whether sums, the largest of which is given, hold to far more digits than are answered.
inline Outcome Judge(double largest, int lost) {
  constexpr int ENOUGH = -30;
  if (!(largest > 0)) return lost == NO_LOSS ? Outcome::ZERO : Outcome::DOUBTFUL;
  return lost - Exponent(largest) > ENOUGH ? Outcome::DOUBTFUL : Outcome::GOOD;
}

// Whether weights hold, each of them: one that reads as 0 or next to it may not be a probability worth telling.
inline Outcome JudgeEach(const double* weights, std::size_t size, int lost) {
  constexpr int WORTH_TELLING = FLOAT_FLOOR + 22;  // about 5e-32
  double largest, least;
  FindRange(weights, size, &largest, &least);
  const Outcome outcome = Judge(largest, lost);
  if (outcome != Outcome::GOOD || lost - Exponent(largest) < WORTH_TELLING) return outcome;
  const double negligible = largest * PowerOfTwo(WORTH_TELLING);
  for (std::size_t i = 0; i < size; ++i)
    if (weights[i] < negligible) return Outcome::DOUBTFUL;
  return outcome;
}

// Of sums that are scaled by 2^-exponent to a largest entry of about 1 and stored in numbers with that floor.
inline Range StoredRange(double least, int exponent, int lost, int floor) {
  Range range;
  range.low = Exponent(least) - 1 - exponent;
  if (lost != NO_LOSS) range.lost = std::min(0, lost - exponent);
  if (range.low < floor) range.lost = std::max(range.lost, floor);
  return range;
}

}  // namespace bravic::engine
