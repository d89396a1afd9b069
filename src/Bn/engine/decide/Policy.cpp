#include "Bn/engine/decide/Policy.h"

#include <algorithm>

namespace bravic::engine {

namespace {

constexpr double NOISE = 1e-12;  // of the sum of what is added up to a value
constexpr double MAX_VALUES = (1 << 30) - 1;

template <class Number>
bool IsOver(const typename ValueElimination<Number>::Table& table, int variable) {
  return std::find(table.variables.begin(), table.variables.end(), variable) != table.variables.end();
}

template <class Number>
using Tables = Vector<typename ValueElimination<Number>::Table>;

// The tables that count: where choices are weighed all of them, else the utilities over the decision.
template <class Number>
Tables<Number> CountingTables(const ValueElimination<Number>& elimination, int decision, bool isWeighed) {
  Tables<Number> counting;
  for (const auto& table : elimination.Left()) {
    if (isWeighed || (table.utilities && IsOver<Number>(table, decision))) counting.push_back(table);
  }
  return counting;
}

template <class Number>
void FindDomain(const Tables<Number>& tables, int decision, Vector<int>* domain) {
  for (const auto& table : tables) domain->insert(domain->end(), table.variables.begin(), table.variables.end());
  std::sort(domain->begin(), domain->end());
  domain->erase(std::unique(domain->begin(), domain->end()), domain->end());
  domain->erase(std::remove(domain->begin(), domain->end(), decision), domain->end());
}

bool MakeRoom(std::span<const int> numstates, bool isWeighed, ChoiceValues* values) {
  double rows = 1;
  for (int v : values->domain) rows *= numstates[v];
  const double entries = rows * values->numstates;
  values->bytes = (isWeighed ? 2 : 1) * (entries + rows) * sizeof(double);
  if (entries > MAX_VALUES) return false;
  values->rows = static_cast<int>(rows);
  const auto numrows = static_cast<std::size_t>(values->rows), numvalues = static_cast<std::size_t>(entries);
  values->values = TryMakeBlock<double>(numvalues);
  values->noise = TryMakeBlock<double>(numrows);
  if (!isWeighed) return values->values && values->noise;
  values->weights = TryMakeBlock<double>(numvalues);
  values->rowWeights = TryMakeBlock<double>(numrows);
  return values->values && values->noise && values->weights && values->rowWeights;
}

// Goes through the rows of a decision's choices and finds of each what the tables make of it.
template <class Number>
class RowReader {
 public:
  RowReader(const Tables<Number>& tables, int decision, std::span<const int> numstates, ChoiceValues* values)
      : walk_(values->domain, numstates), values_(*values), products_(values->numstates) {
    for (const auto& table : tables) {
      inputs_.push_back({table, walk_.Add(table.variables), StrideOf(decision, table.variables, numstates)});
    }
  }
  bool Next() { return walk_.Next(); }
  void ReadValues(std::size_t row) {
    const int own = values_.numstates;
    double most = 0;
    for (int s = 0; s < own; ++s) {
      double sum = 0, terms = 0;
      for (const Input& input : inputs_) {
        if (!input.table.utilities) continue;
        const double term = input.table.utilities[walk_.At(input.place) + s * input.stride];
        sum += term;
        if (std::isfinite(term)) terms += std::fabs(term);
      }
      values_.values[row * own + s] = sum;
      most = std::max(most, terms);
    }
    values_.noise[row] = NOISE * most;
  }
  // Answers the largest weight of the row.
  Number ReadWeights(std::size_t row) {
    const int own = values_.numstates;
    Number most{};
    for (int s = 0; s < own; ++s) {
      bool isFirst = true;
      for (const Input& input : inputs_) {
        if (!input.table.probabilities) continue;
        const Number factor = input.table.probabilities[walk_.At(input.place) + s * input.stride];
        products_[s] = isFirst ? factor : products_[s] * factor;
        isFirst = false;
      }
      if (most < products_[s]) most = products_[s];
    }
    for (int s = 0; s < own; ++s) {
      values_.weights[row * own + s] = IsPositive(most) ? Ratio(products_[s], most) : 0.0;
    }
    return most;
  }

 private:
  struct Input {
    typename ValueElimination<Number>::Table table;
    int place, stride;
  };

  TableWalk walk_;
  ChoiceValues& values_;
  Vector<Input> inputs_;
  Vector<Number> products_;  // [state]
};

}  // namespace

template <class Number>
ValueOutcome FindChoiceValues(const ValueElimination<Number>& elimination, int decision, std::span<const int> numstates,
                              bool isWeighed, Interrupt* interrupt, ChoiceValues* values) {
  const Tables<Number> tables = CountingTables(elimination, decision, isWeighed);
  FindDomain<Number>(tables, decision, &values->domain);
  values->numstates = numstates[decision];
  if (!MakeRoom(numstates, isWeighed, values)) return ValueOutcome::NoMemory;
  Block<Number> rowProducts;
  if (isWeighed && !(rowProducts = TryMakeBlock<Number>(static_cast<std::size_t>(values->rows)))) {
    return ValueOutcome::NoMemory;
  }
  RowReader<Number> reader(tables, decision, numstates, values);
  Number largest{};
  std::size_t row = 0;
  do {
    if (interrupt->Halts(values->numstates)) return ValueOutcome::Halted;
    reader.ReadValues(row);
    if (isWeighed) {
      rowProducts[row] = reader.ReadWeights(row);
      if (largest < rowProducts[row]) largest = rowProducts[row];
    }
    ++row;
  } while (reader.Next());
  if (!isWeighed) return ValueOutcome::Done;
  if (!IsPositive(largest)) return ValueOutcome::Inconsistent;
  for (row = 0; row < static_cast<std::size_t>(values->rows); ++row) {
    values->rowWeights[row] = Ratio(rowProducts[row], largest);
  }
  return ValueOutcome::Done;
}

template ValueOutcome FindChoiceValues(const ValueElimination<double>&, int, std::span<const int>, bool, Interrupt*,
                                       ChoiceValues*);
template ValueOutcome FindChoiceValues(const ValueElimination<WideNumber>&, int, std::span<const int>, bool, Interrupt*,
                                       ChoiceValues*);

ValueOutcome ChooseBest(const ChoiceValues& values, std::span<const unsigned char> isAllowed, double takenOff,
                        Interrupt* interrupt, Policy* policy) {
  policy->domain = values.domain;
  policy->size = values.rows;
  policy->choices = TryMakeBlock<int>(static_cast<std::size_t>(values.rows));
  policy->isClose = TryMakeBlock<unsigned char>(static_cast<std::size_t>(values.rows));
  if (!policy->choices || !policy->isClose) return ValueOutcome::NoMemory;
  const int own = values.numstates;
  for (int row = 0; row < values.rows; ++row) {
    if (interrupt->Halts(own)) return ValueOutcome::Halted;
    const double* const value = values.values.get() + static_cast<std::ptrdiff_t>(row) * own;
    const double* const weight =
        values.weights ? values.weights.get() + static_cast<std::ptrdiff_t>(row) * own : nullptr;
    const double noise = values.noise[row] + NOISE * std::fabs(takenOff);
    int best = -1;
    double most = 0, least = 0;
    for (int s = 0; s < own; ++s) {
      if (!isAllowed[s]) continue;
      const double w = weight ? weight[s] : 1;
      const double score = w > 0 ? w * (value[s] - takenOff) : 0;
      if (std::isnan(score)) return ValueOutcome::Undefined;
      if (best < 0) least = score;
      least = std::min(least, score);
      if (best >= 0 && !(score > most + noise)) continue;
      best = s;
      most = score;
    }
    policy->choices[row] = best;
    policy->isClose[row] = !(most > least + noise);
  }
  return ValueOutcome::Done;
}

bool ValueOfPolicy(const ChoiceValues& values, const Policy& policy, double* value) {
  double weights = 0, sum = 0;
  for (int row = 0; row < values.rows; ++row) {
    const auto at = static_cast<std::ptrdiff_t>(row) * values.numstates + policy.choices[row];
    const double weight = values.rowWeights[row] * values.weights[at];
    if (!(weight > 0)) continue;
    weights += weight;
    sum += weight * values.values[at];
  }
  *value = sum / weights;
  return weights > 0;
}

ValueOutcome ProjectPolicy(const Policy& policy, std::span<const int> numstates, std::span<const unsigned char> isKept,
                           std::span<const int> only, const unsigned char* isPossible, Policy* onto, int* needed) {
  Vector<int> dropped;  // places in the domain
  for (int k = 0; k < policy.domain.size(); ++k) {
    const int v = policy.domain[k];
    if (!isKept[v]) {
      dropped.push_back(k);
      continue;
    }
    onto->domain.push_back(v);
    onto->size *= numstates[v];
  }
  const auto size = static_cast<std::size_t>(onto->size);
  onto->choices = TryMakeBlock<int>(size);
  onto->isClose = TryMakeBlock<unsigned char>(size);
  Block<int> from = TryMakeBlock<int>(size);  // the configuration that a row was taken from, -1 for none that counts
  if (!onto->choices || !onto->isClose || !from) return ValueOutcome::NoMemory;
  std::fill_n(from.get(), size, -1);
  std::fill_n(onto->choices.get(), size, -1);
  std::fill_n(onto->isClose.get(), size, static_cast<unsigned char>(1));
  TableWalk walk(policy.domain, numstates);
  walk.Add(onto->domain);
  *needed = -1;
  int row = 0;
  do {
    const int at = walk.At(0), here = row++;
    bool counts = isPossible[here];
    for (int k = 0; k < Count(only); ++k) counts = counts && (only[k] < 0 || walk.StateOf(k) == only[k]);
    if (counts) onto->isClose[at] = onto->isClose[at] && policy.isClose[here];
    if (counts && from[at] >= 0 && policy.choices[here] != onto->choices[at]) {
      int rest = from[at];
      for (int k = policy.domain.size(); k-- > 0;) {
        const int states = numstates[policy.domain[k]], state = rest % states;
        rest /= states;
        if (state != walk.StateOf(k) && std::find(dropped.begin(), dropped.end(), k) != dropped.end()) {
          *needed = policy.domain[k];
        }
      }
      return ValueOutcome::Done;
    }
    if ((counts && from[at] < 0) || onto->choices[at] < 0) onto->choices[at] = policy.choices[here];
    if (counts && from[at] < 0) from[at] = here;
  } while (walk.Next());
  return ValueOutcome::Done;
}

}  // namespace bravic::engine
