// Variable elimination (Zhang & Poole 1994): the product of some tables is summed onto one variable, or onto none, by
// eliminating all others. Nothing is kept from one question to the next but room.
//
// A variable is eliminated by one pass over the product of the tables that hold it, which leaves a table over its
// neighbours, scaled by a power of two. Small passes run entry by entry in double precision.
#pragma once

#include <cstdint>
#include <span>

#include "Basic/Memory.h"
#include "Bn/engine/Pass.h"
#include "Bn/engine/Tournament.h"

namespace bravic::engine {

class Elimination {
 public:
  void Clear();
  int AddVariable(int numstates);  // answers its number
  // A factor begins at table + first and ends before table + size; no positive entry is below 2^low. Entries are
  // within [0, 1] and must stay until Run is over. Axes of the factor follow; it may have none.
  void AddFactor(const float* table, int first, int size, int low);
  void AddAxis(int variable, int stride);

  // Chooses the order of elimination that leaves one variable (-1: none) and answers what Run would cost, in
  // nanoseconds; infinity when there is no room for it, or when it looks like far more than the limit.
  double Plan(int keep, double limit);
  // to: the kept variable's table, up to a factor. Without one only the outcome counts.
  Outcome Run(const Kernels& kernels, double* to);

 private:
  static constexpr int MAX_VARIABLES = 1024;

  struct Factor {
    const float* table;
    int first, size, firstAxis, numAxes;
    int low;      // exponent of the smallest positive entry
    double loss;  // binary logarithm of what any entry may have lost
    bool padded;  // entries beyond its end may be read
    bool used;
  };
  struct Axis {
    int variable, stride, factor;
    int next;  // of the same variable's, or -1
  };
  struct Bucket {
    int variable;
    int firstNeighbour, numNeighbours;  // in neighbours_, the next to be eliminated first once the order is known
  };
  std::uint64_t* RowOf(int variable) { return rows_.data() + variable * words_; }
  void MakeMoralGraph();
  double WeightBeyond(const std::uint64_t* row, const std::uint64_t* other) const;
  Outcome Eliminate(const Bucket& bucket, const Kernels& kernels);
  void SumEntries(const Bucket& bucket);
  template <int INPUTS>
  void SumEntriesOf(const Bucket& bucket);
  void SumByPlan(const Bucket& bucket, const Kernels& kernels);
  Outcome Judge(double largest, double loss) const;

  int words_ = 1, keep_ = -1;
  Vector<int> sizes_;
  Vector<double> logs_;
  Vector<Factor> factors_;
  Vector<Axis> axes_;
  Vector<int> firstAxisOf_;     // [variable] index into axes_, or -1
  Vector<std::uint64_t> rows_;  // [variable][word] neighbours left, as bits
  Vector<double> fill_;         // [variable]
  Vector<Bucket> buckets_;
  Vector<int> neighbours_;
  Vector<int> position_;  // [variable] in the order
  Tournament tournament_;
  Vector<int> touched_, touchedAt_;
  // While it runs.
  Vector<int> inputs_;  // factors of the bucket
  Vector<double> sums_;
  Vector<float> store_, padding_, arena_;
  std::size_t stored_ = 0;
  PassShape shape_;
  PassPlan plan_;
  Vector<const float*> tables_;
};

}  // namespace bravic::engine
