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

#include <span>

#include "Bn/engine/Interrupt.h"
#include "Bn/engine/Kernels.h"
#include "Bn/engine/PassPlan.h"
#include "Bn/engine/infer/EliminationOrder.h"
#include "Bn/engine/infer/KeptTables.h"
#include "Bn/engine/infer/Range.h"

namespace bravic::engine {

class Elimination {
 public:
  // Room for tables kept from one question to the next, in entries; none to begin with.
  void Keep(std::size_t entries) { kept_.SetCapacity(entries); }
  // Keys may come to mean other numbers.
  void Forget() { kept_.Forget(); }

  // Begins a question.
  void Clear();
  // id: the same for the same variable in all questions, from 0. Answers its number in this one.
  int AddVariable(int id, int numstates);
  // A factor begins at table + first and ends before table + size. Entries are within [0, 1] and must stay until Run is
  // over. Axes of the factor follow; it may have none.
  void AddFactor(const float* table, int first, int size, const Range& range, const TableKey& key);
  void AddAxis(int variable, int stride);

  // Chooses the order of elimination that leaves one variable (-1: none) and answers what Run would cost, in
  // nanoseconds; infinity when there is no room for it, or when it looks like far more than the limit.
  double Plan(int keep, double limit);
  // Who may halt it; the outcome is DOUBTFUL then.
  void Watch(Interrupt* interrupt) { interrupt_ = interrupt; }
  // to: the kept variable's table, up to a factor, each entry to be relied on. Without one only the outcome counts.
  Outcome Run(const Kernels& kernels, double* to);

 private:
  using Step = EliminationOrder::Step;

  struct Factor {
    const float* table;
    int first, size, firstAxis, numAxes;
    Range range;
    bool padded;  // entries beyond its end may be read
    bool used;
    TableKey key;
  };
  struct Axis {
    int variable, stride, factor;
    int next;  // of the same variable's, or -1
  };
  // The product of a step's inputs.
  struct Product {
    TableKey key;
    ProductRange range;
  };

  std::span<const Axis> AxesOf(const Factor& factor) const {
    return std::span(axes_.data() + factor.firstAxis, factor.numAxes);
  }
  int SizeLeft(const Step& step);
  Product GatherInputs(const Step& step);
  Outcome Eliminate(const Step& step, const Kernels& kernels);
  void Sum(const Step& step, const Kernels& kernels, const ProductRange& range);
  void SumEntries(const Step& step);
  template <int INPUTS>
  void SumEntriesOf(const Step& step);
  void SumByPlan(const Step& step, const Kernels& kernels);
  Outcome StoreSums(const Step& step, const Product& product, KeptTables::Table* place);
  void AddDenseAxes(std::span<const int> variables);
  void TakeKept(const Step& step, const KeptTables::Table& table);
  Outcome MultiplyRest(double* to);
  double EntryOf(const Factor& factor, int state) const;

  Interrupt* interrupt_ = nullptr;
  EliminationOrder order_;
  KeptTables kept_;
  int keep_ = -1;
  Vector<Factor> factors_;
  Vector<Axis> axes_;
  Vector<int> firstAxisOf_;  // [variable] index into axes_, or -1
  // While it runs.
  Vector<int> inputs_;   // factors of the step
  Vector<double> sums_;  // over its neighbours
  Vector<float> store_;  // tables that steps left and that are not kept
  int stored_ = 0;
  Vector<int> axisOf_;  // [variable]
  PassShape shape_;
  PassPlan plan_;
  PassRoom room_;
  Vector<float> padding_;
  Vector<const float*> tables_;
};

}  // namespace bravic::engine
