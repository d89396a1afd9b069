#include "Bn/engine/decide/ValueElimination.h"

#include <type_traits>

namespace bravic::engine {

namespace {

constexpr int SAFE_EXPONENT = -960;            // products of doubles above 2^this keep all their digits
constexpr int SMALL_EXPONENT = -64;            // tables all below 2^this are lifted
constexpr double MAX_ENTRIES = (1 << 30) - 1;  // of one table

// A table along a walk: where it stands for the first state of the variable that goes, and how far the next is.
template <class Number>
struct Input {
  const Number* entries;
  int stride;
};

}  // namespace

int StrideOf(int variable, std::span<const int> variables, std::span<const int> numstates) {
  int stride = 1;
  for (int k = Count(variables); k-- > 0;) {
    if (variables[k] == variable) return stride;
    stride *= numstates[variables[k]];
  }
  return 0;
}

template <class Number>
int ValueElimination<Number>::SizeOf(std::span<const int> variables) const {
  int size = 1;
  for (int v : variables) size *= numstates_[v];
  return size;
}

template <class Number>
void ValueElimination<Number>::FindLow(Entries* entries, int size) {
  if constexpr (std::is_same_v<Number, double>) {
    double largest, least;
    FindRange(entries->probabilities, static_cast<std::size_t>(size), &largest, &least);
    entries->low = largest > 0 ? Exponent(least) - 1 : 0;
  }
}

template <class Number>
void ValueElimination<Number>::Add(const Vector<int>& variables, const Number* entries, Block<Number> own, int head) {
  plan_.tables.push_back({false, head >= 0, variables, {}});
  if (head >= 0) plan_.tables.back().heads.push_back(head);
  Entries table;
  table.probabilities = entries;
  table.ownProbabilities = std::move(own);
  FindLow(&table, SizeOf(variables));
  entries_.push_back(std::move(table));
}

template <class Number>
ValueOutcome ValueElimination<Number>::AddProbabilities(const Vector<int>& variables, const double* entries, int head) {
  if constexpr (std::is_same_v<Number, double>) {
    Add(variables, entries, nullptr, head);
  } else {
    const int size = SizeOf(variables);
    Block<Number> wide = TryMakeBlock<Number>(static_cast<std::size_t>(size));
    if (!wide) return ValueOutcome::NoMemory;
    for (int i = 0; i < size; ++i) wide[i] = ToWide(entries[i]);
    const Number* const begin = wide.get();
    Add(variables, begin, std::move(wide), head);
  }
  return ValueOutcome::Done;
}

template <class Number>
ValueOutcome ValueElimination<Number>::AddWeights(const Vector<int>& variables, const WideNumber* entries) {
  const int size = SizeOf(variables);
  Block<Number> numbers = TryMakeBlock<Number>(static_cast<std::size_t>(size));
  if (!numbers) return ValueOutcome::NoMemory;
  for (int i = 0; i < size; ++i) {
    if constexpr (std::is_same_v<Number, double>) {
      numbers[i] = ToDouble(entries[i], 0);
      if (entries[i].mantissa > 0 && entries[i].exponent < SAFE_EXPONENT) return ValueOutcome::Doubtful;
    } else {
      numbers[i] = entries[i];
    }
  }
  const Number* const begin = numbers.get();
  Add(variables, begin, std::move(numbers), -1);
  return ValueOutcome::Done;
}

template <class Number>
void ValueElimination<Number>::AddUtilities(const Vector<int>& variables, const double* entries) {
  plan_.tables.push_back({true, false, variables, {}});
  Entries table;
  table.utilities = entries;
  entries_.push_back(std::move(table));
}

// The probabilities' product, summed: what is left of them, and of each state of the variable its share in the sum.
template <class Number>
ValueOutcome ValueElimination<Number>::Condition(const ValuePlan::Step& step, double* conditional) {
  const int own = numstates_[step.variable], numInputs = step.probabilities.size();
  TableWalk walk(step.condition, numstates_);
  Vector<Input<Number>> inputs;
  int low = 0;
  for (int t : step.probabilities) {
    const Vector<int>& variables = plan_.tables[t].variables;
    walk.Add(variables);
    inputs.push_back({entries_[t].probabilities, StrideOf(step.variable, variables, numstates_)});
    low += entries_[t].low;
  }
  if (low < SAFE_EXPONENT) return ValueOutcome::Doubtful;
  Block<Number> sums;
  const int size = SizeOf(step.condition);
  if (step.newProbability >= 0 && !(sums = TryMakeBlock<Number>(static_cast<std::size_t>(size)))) {
    return ValueOutcome::NoMemory;
  }
  Vector<Number> products(own);
  int row = 0;
  Number largest{};
  do {
    if (interrupt_.Halts(own)) return ValueOutcome::Halted;
    Number sum{};
    for (int s = 0; s < own; ++s) {
      Number product = inputs[0].entries[walk.At(0) + s * inputs[0].stride];
      for (int t = 1; t < numInputs; ++t) product = product * inputs[t].entries[walk.At(t) + s * inputs[t].stride];
      products[s] = product;
      sum = sum + product;
    }
    if (largest < sum) largest = sum;
    if (sums) sums[row] = sum;
    if (conditional) {
      for (int s = 0; s < own; ++s) *conditional++ = IsPositive(sum) ? Ratio(products[s], sum) : 0.0;
    }
    ++row;
  } while (walk.Next());
  if (!IsPositive(largest)) return ValueOutcome::Inconsistent;
  if (!sums) return ValueOutcome::Done;
  if constexpr (std::is_same_v<Number, double>) {
    const int exponent = Exponent(largest);
    if (exponent < SMALL_EXPONENT) {
      for (int i = 0; i < size; ++i) sums[i] *= PowerOfTwo(-exponent);
    }
  }
  Entries& table = entries_[step.newProbability];
  table.probabilities = sums.get();
  table.ownProbabilities = std::move(sums);
  FindLow(&table, size);
  return ValueOutcome::Done;
}

// The utilities' sum, expected.
template <class Number>
ValueOutcome ValueElimination<Number>::Expect(const ValuePlan::Step& step, const double* conditional) {
  const int own = numstates_[step.variable], numInputs = step.utilities.size();
  const Vector<int>& axes = plan_.tables[step.newUtility].variables;
  TableWalk walk(axes, numstates_);
  Vector<Input<double>> inputs;
  for (int t : step.utilities) {
    const Vector<int>& variables = plan_.tables[t].variables;
    walk.Add(variables);
    inputs.push_back({entries_[t].utilities, StrideOf(step.variable, variables, numstates_)});
  }
  const int condition = walk.Add(step.condition);
  Block<double> expected = TryMakeBlock<double>(static_cast<std::size_t>(SizeOf(axes)));
  if (!expected) return ValueOutcome::NoMemory;
  int row = 0;
  do {
    if (interrupt_.Halts(own)) return ValueOutcome::Halted;
    const double* shares = conditional + static_cast<std::ptrdiff_t>(walk.At(condition)) * own;
    double mean = 0;
    for (int s = 0; s < own; ++s) {
      if (!(shares[s] > 0)) continue;  // what cannot occur may be worth anything
      double sum = 0;
      for (int t = 0; t < numInputs; ++t) sum += inputs[t].entries[walk.At(t) + s * inputs[t].stride];
      mean += shares[s] * sum;
    }
    expected[row++] = mean;
  } while (walk.Next());
  Entries& table = entries_[step.newUtility];
  table.utilities = expected.get();
  table.ownUtilities = std::move(expected);
  return ValueOutcome::Done;
}

template <class Number>
ValueOutcome ValueElimination<Number>::Run(std::span<const unsigned char> isKept) {
  PlanElimination(numstates_, isKept, &plan_);
  entries_.resize(plan_.tables.size());
  bytesNeeded_ = plan_.held * sizeof(Number);
  if (plan_.largest > MAX_ENTRIES) return ValueOutcome::NoMemory;
  // Hours of work are not begun where it would end for want of memory.
  if (!TryMakeBlock<char>(static_cast<std::size_t>(bytesNeeded_))) return ValueOutcome::NoMemory;
  for (const ValuePlan::Step& step : plan_.steps) {
    Block<double> conditional;
    if (step.newUtility >= 0) {
      const auto size = static_cast<std::size_t>(SizeOf(step.condition)) * numstates_[step.variable];
      if (!(conditional = TryMakeBlock<double>(size))) return ValueOutcome::NoMemory;
    }
    if (step.newProbability >= 0 || conditional) {
      const ValueOutcome outcome = Condition(step, conditional.get());
      if (outcome != ValueOutcome::Done) return outcome;
    }
    if (conditional) {
      const ValueOutcome outcome = Expect(step, conditional.get());
      if (outcome != ValueOutcome::Done) return outcome;
    }
    for (const Vector<int>* inputs : {&step.probabilities, &step.utilities}) {
      for (int t : *inputs) entries_[t] = {};
    }
  }
  return ValueOutcome::Done;
}

template <class Number>
Vector<typename ValueElimination<Number>::Table> ValueElimination<Number>::Left() const {
  Vector<Table> tables;
  for (int t : plan_.left) {
    tables.push_back({plan_.tables[t].variables, entries_[t].probabilities, entries_[t].utilities});
  }
  return tables;
}

template class ValueElimination<double>;
template class ValueElimination<WideNumber>;

}  // namespace bravic::engine
