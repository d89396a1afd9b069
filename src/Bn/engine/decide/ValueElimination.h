// Sums variables out of a product of probabilities and a sum of utilities (ValuePlan.h). Utilities are doubles.
// Probabilities are doubles too where their range allows it, else numbers of unlimited range.
#pragma once

#include <span>

#include "Bn/engine/Interrupt.h"
#include "Bn/engine/Numbers.h"
#include "Bn/engine/decide/ValuePlan.h"

namespace bravic::engine {

// Inconsistent: the product of the probabilities is 0 throughout. Doubtful: it may have left the range of doubles.
// Undefined: a utility that matters is not given.
enum class ValueOutcome { Done, Inconsistent, Doubtful, Undefined, NoMemory, Halted };

template <class Number>
class ValueElimination {
 public:
  struct Table {
    std::span<const int> variables;
    const Number* probabilities = nullptr;  // one of the two
    const double* utilities = nullptr;
  };

  // Both must outlive it.
  ValueElimination(std::span<const int> numstates, Interrupt* interrupt)
      : numstates_(numstates), interrupt_(*interrupt) {}

  // The entries must stay. head: the variable of which each row is a distribution, or -1.
  ValueOutcome AddProbabilities(const Vector<int>& variables, const double* entries, int head);
  ValueOutcome AddWeights(const Vector<int>& variables, const WideNumber* entries);
  void AddUtilities(const Vector<int>& variables, const double* entries);
  // Leaves tables over the variables that are kept.
  ValueOutcome Run(std::span<const unsigned char> isKept);
  Vector<Table> Left() const;
  double BytesNeeded() const { return bytesNeeded_; }

 private:
  struct Entries {
    const Number* probabilities = nullptr;
    const double* utilities = nullptr;
    Block<Number> ownProbabilities;
    Block<double> ownUtilities;
    int low = 0;  // no positive probability is below 2^low
  };

  int SizeOf(std::span<const int> variables) const;
  void Add(const Vector<int>& variables, const Number* entries, Block<Number> own, int head);
  void FindLow(Entries* entries, int size);
  ValueOutcome Condition(const ValuePlan::Step& step, double* conditional);
  ValueOutcome Expect(const ValuePlan::Step& step, const double* conditional);

  std::span<const int> numstates_;
  Interrupt& interrupt_;
  ValuePlan plan_;
  Vector<Entries> entries_;  // [table]
  double bytesNeeded_ = 0;
};

extern template class ValueElimination<double>;
extern template class ValueElimination<WideNumber>;

inline bool IsPositive(double x) {
  return x > 0;
}
inline bool IsPositive(WideNumber x) {
  return x.mantissa > 0;
}
inline double Ratio(double a, double b) {
  return a / b;
}
inline double Ratio(WideNumber a, WideNumber b) {
  return ToDouble(a / b, 0);
}

// Steps through the configurations of some axes, the last fastest, and keeps where each of several tables stands.
class TableWalk {
 public:
  TableWalk(std::span<const int> axes, std::span<const int> numstates) : axes_(axes), numstates_(numstates) {
    states_.assign(axes.size(), 0);
  }
  // Answers the table's number here.
  int Add(std::span<const int> variables) {
    strides_.push_back(Vector<int>(axes_.size(), 0));
    int stride = 1;
    for (int k = Count(variables); k-- > 0;) {
      for (int axis = 0; axis < Count(axes_); ++axis) {
        if (axes_[axis] == variables[k]) strides_.back()[axis] = stride;
      }
      stride *= numstates_[variables[k]];
    }
    offsets_.push_back(0);
    return offsets_.size() - 1;
  }
  int At(int table) const { return offsets_[table]; }
  int StateOf(int axis) const { return states_[axis]; }
  bool Next() {
    for (int axis = Count(axes_); axis-- > 0;) {
      const int size = numstates_[axes_[axis]];
      const bool wraps = ++states_[axis] == size;
      if (wraps) states_[axis] = 0;
      const int moved = wraps ? 1 - size : 1;
      for (int t = 0; t < offsets_.size(); ++t) offsets_[t] += moved * strides_[t][axis];
      if (!wraps) return true;
    }
    return false;
  }

 private:
  std::span<const int> axes_, numstates_;
  Vector<int> states_;           // [axis]
  Vector<Vector<int>> strides_;  // [table][axis]
  Vector<int> offsets_;          // [table]
};

// How far apart the states of a variable stand in a dense table; 0 where it is not one of the table's.
int StrideOf(int variable, std::span<const int> variables, std::span<const int> numstates);

}  // namespace bravic::engine
