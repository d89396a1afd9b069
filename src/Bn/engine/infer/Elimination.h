// Variable elimination (Zhang & Poole 1994): the product of some tables is summed onto one variable, or onto none, by
// eliminating all others.
//
// A variable is eliminated by one pass over the product of the tables that hold it, which leaves a table over its
// neighbours, scaled by a power of two. Small passes run entry by entry in double precision.
//
// Questions that follow each other are often much alike. Tables that a step left are kept under what they were made of
// and serve wherever the same step comes again; the order of the last question serves where most variables are the
// same.
#pragma once

#include <cstdint>
#include <span>

#include "Basic/Memory.h"
#include "Bn/engine/Interrupt.h"
#include "Bn/engine/Kernels.h"
#include "Bn/engine/Pass.h"
#include "Bn/engine/Tournament.h"
#include "Bn/engine/infer/Range.h"

namespace bravic::engine {

class Elimination {
 public:
  // Stands for the numbers of a table: equal keys, equal numbers.
  struct Key {
    std::uint64_t high = 0, low = 0;

    bool operator==(const Key&) const = default;
    void Mix(std::uint64_t value) {
      high = Scramble(high ^ value);
      low = Scramble(low + high + 0x9E3779B97F4A7C15u);
    }
    static std::uint64_t Scramble(std::uint64_t x) {
      x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9u;
      x = (x ^ (x >> 27)) * 0x94D049BB133111EBu;
      return x ^ (x >> 31);
    }
  };

  // Room for tables kept from one question to the next, in entries; none to begin with.
  void Keep(std::size_t entries) { capacity_ = entries; }
  // Keys may come to mean other numbers.
  void Forget();

  // Begins a question.
  void Clear();
  // id: the same for the same variable in all questions, from 0. Answers its number in this one.
  int AddVariable(int id, int numstates);
  // A factor begins at table + first and ends before table + size. Entries are within [0, 1] and must stay until Run is
  // over. Axes of the factor follow; it may have none.
  void AddFactor(const float* table, int first, int size, const Range& range, const Key& key);
  void AddAxis(int variable, int stride);

  // Chooses the order of elimination that leaves one variable (-1: none) and answers what Run would cost, in
  // nanoseconds; infinity when there is no room for it, or when it looks like far more than the limit.
  double Plan(int keep, double limit);
  // Who may halt it; the outcome is DOUBTFUL then.
  void Watch(Interrupt* interrupt) { interrupt_ = interrupt; }
  // to: the kept variable's table, up to a factor, each entry to be relied on. Without one only the outcome counts.
  Outcome Run(const Kernels& kernels, double* to);

 private:
  static constexpr int MAX_VARIABLES = 1024;

  struct Factor {
    const float* table;
    int first, size, firstAxis, numAxes;
    Range range;
    bool padded;  // entries beyond its end may be read
    bool used;
    Key key;
  };
  struct Axis {
    int variable, stride, factor;
    int next;  // of the same variable's, or -1
  };
  struct Bucket {
    int variable;
    int firstNeighbour, numNeighbours;  // in neighbours_, the next to be eliminated first once the order is known
  };
  // What a step left: a table over axes, the slowest first.
  struct Kept {
    Key key;
    std::size_t begin = 0;
    int size = 0;  // 0: a free place; 1: a positive number that need not be known
    int firstAxis = 0, numAxes = 0;
    Range range;
  };

  std::uint64_t* RowOf(int variable) { return rows_.data() + variable * words_; }
  void MakeMoralGraph();
  double WeightBeyond(const std::uint64_t* row, const std::uint64_t* other) const;
  bool Record(int variable);
  bool OrderGreedily(bool onlyNew);
  bool OrderAsBefore();
  Kept* PlaceFor(const Key& key);
  void TakeKept(const Bucket& bucket, const Kept& kept);
  Outcome Eliminate(const Bucket& bucket, const Kernels& kernels);
  void SumEntries(const Bucket& bucket);
  template <int INPUTS>
  void SumEntriesOf(const Bucket& bucket);
  void SumByPlan(const Bucket& bucket, const Kernels& kernels);
  Outcome MultiplyRest(double* to);

  Interrupt* interrupt_ = nullptr;
  int words_ = 1, keep_ = -1;
  Vector<int> sizes_, ids_;  // [variable]
  Vector<double> logs_;
  Vector<Factor> factors_;
  Vector<Axis> axes_;
  Vector<int> firstAxisOf_;     // [variable] index into axes_, or -1
  Vector<std::uint64_t> rows_;  // [variable][word] neighbours left, as bits
  Vector<double> fill_;         // [variable]
  Vector<Bucket> buckets_;
  Vector<int> neighbours_;
  Vector<int> position_;  // [variable] in the order
  double limit_ = 0, cost_ = 0, numStored_ = 0;
  // The last order found from scratch.
  Vector<int> lastPosition_;  // [id] or -1
  Vector<int> lastIds_;
  double lastCost_ = 0;
  Tournament tournament_;
  Vector<int> touched_, touchedAt_;
  // What is kept.
  std::size_t capacity_ = 0, numKeptEntries_ = 0;
  int numKept_ = 0;
  bool isFull_ = false;
  Block<float> keptEntries_;
  Vector<Kept> kept_;     // places found by key
  Vector<int> keptAxes_;  // ids
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
