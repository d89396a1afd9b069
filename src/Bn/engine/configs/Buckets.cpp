#include "Bn/engine/configs/Buckets.h"

#include <algorithm>
#include <type_traits>

#include "Bn/engine/Axes.h"

namespace bravic::engine {
namespace {

constexpr int LEAST_EXPONENT = -1000;  // products that are not below 2^-1000 are normal doubles

template <class Number>
Number FromWide(WideNumber x) {
  if constexpr (std::is_same_v<Number, double>)
    return ToDouble(x, 0);
  else
    return x;
}

// Calls visit(entry) for every entry of the table over those variables, the last fastest.
template <class Visit>
void ForEachTableEntry(const ConfigQuestion& question, int node, std::span<const int> variables, Visit visit) {
  bool isInformative;
  const Vector<double> scales = RowScales(question, node, &isInformative);
  const float* entries = question.table(node);
  const int own = question.numstates[node], numAxes = Count(variables);
  int sizes[MAX_AXES], strides[MAX_AXES] = {}, first = 0, stride = 1;
  for (int k = 0; k < numAxes; ++k) sizes[k] = question.numstates[variables[k]];
  auto place = [&](int v) {
    const auto at = std::find(variables.begin(), variables.end(), v);
    if (at != variables.end())
      strides[at - variables.begin()] += stride;
    else
      first += stride * question.OnlyState(v);
    stride *= question.numstates[v];
  };
  place(node);
  for (int k = question.parents[node].size(); k-- > 0;) place(question.parents[node][k]);
  ForEachOffset(numAxes, sizes, strides, [&](int offset) {
    const double scale = scales[(first + offset) / own];
    visit(scale == 0 ? 0.0 : scale * entries[first + offset]);
  });
}

}  // namespace

template <class Number>
Buckets<Number>::Buckets(const ConfigQuestion& question, const BucketOrder& order)
    : question_(question), order_(order), buckets_(order.variables.size()) {}

template <class Number>
auto Buckets<Number>::MakeTable(std::span<const int> variables) const -> Owned<Table> {
  auto table = MakeOwned<Table>();
  table->variables.assign(variables.begin(), variables.end());
  table->strides.resize(Count(variables));
  for (int k = Count(variables); k-- > 0;) {
    table->strides[k] = table->size;
    table->size *= question_.numstates[variables[k]];
  }
  table->entries = TryMakeBlock<Number>(table->size);
  if (!table->entries) table.reset();
  return table;
}

// Takes a table whose entries are filled in. Doubles are scaled to a largest entry in [0.5, 1).
template <class Number>
Status Buckets<Number>::Add(Owned<Table> table) {
  Number* const entries = table->entries.get();
  if constexpr (std::is_same_v<Number, double>) {
    double largest, least;
    FindRange(entries, table->size, &largest, &least);
    if (!(largest > 0)) return Status::Inconsistent;
    const int exponent = Exponent(largest);
    if (exponent < LEAST_EXPONENT || exponent > -LEAST_EXPONENT) return Status::Vanished;
    table->low = Exponent(least) - 1 - exponent;
    if (table->low < LEAST_EXPONENT) return Status::Vanished;
    const double factor = PowerOfTwo(-exponent);
    for (int i = 0; i < table->size; ++i) entries[i] *= factor;
    largest_.exponent += exponent;
  } else {
    const bool isZero = std::all_of(entries, entries + table->size, [](WideNumber x) { return x.mantissa == 0; });
    if (isZero) return Status::Inconsistent;
  }
  if (table->variables.empty()) {
    WideNumber constant;
    if constexpr (std::is_same_v<Number, double>)
      constant = ToWide(entries[0]);
    else
      constant = entries[0];
    largest_ = largest_ * constant;
    return Status::Done;
  }
  buckets_[order_.position[table->variables.back()]].push_back(std::move(table));
  return Status::Done;
}

template <class Number>
Status Buckets<Number>::AddNodeTable(int node) {
  if (!question_.table(node)) return Status::Done;
  Vector<int> variables;
  auto take = [&](int v) {
    if (question_.IsAxis(v) && std::find(variables.begin(), variables.end(), v) == variables.end())
      variables.push_back(v);
  };
  take(node);
  for (int parent : question_.parents[node]) take(parent);
  std::sort(variables.begin(), variables.end(), [&](int a, int b) { return order_.position[a] > order_.position[b]; });
  Owned<Table> table = MakeTable(variables);
  if (!table) return Status::NoMemory;
  Number* to = table->entries.get();
  ForEachTableEntry(question_, node, variables, [&](double entry) {
    if constexpr (std::is_same_v<Number, double>)
      *to++ = entry;
    else
      *to++ = ToWide(entry);
  });
  return Add(std::move(table));
}

template <class Number>
Status Buckets<Number>::AddWeights(int node) {
  const Vector<WideNumber>& weights = question_.known[node].weights;
  if (weights.empty() || question_.known[node].state != FREE) return Status::Done;
  // They may be anywhere beyond the range of doubles, but it is their proportions that must fit.
  const WideNumber largest = *std::max_element(weights.begin(), weights.end());
  if (largest.mantissa == 0) return Status::Inconsistent;
  const bool isAxis = question_.IsAxis(node);
  Owned<Table> table = MakeTable(std::span(&node, isAxis ? 1 : 0));
  if (!table) return Status::NoMemory;
  for (int s = 0; s < table->size; ++s) {
    const WideNumber weight = {weights[s].mantissa, weights[s].exponent - largest.exponent};
    if (std::is_same_v<Number, double> && weight.mantissa > 0 && weight.exponent < LEAST_EXPONENT)
      return Status::Vanished;
    table->entries[s] = FromWide<Number>(weight);
  }
  largest_.exponent += largest.exponent;
  return Add(std::move(table));
}

template <class Number>
Status Buckets<Number>::AddTables(int node) {
  if (const Status status = AddNodeTable(node); status != Status::Done) return status;
  return AddWeights(node);
}

// Sums or maximizes the product of the inputs, all of which have the variable as their fastest; INPUTS: how many, or 0
// for any number.
template <class Number>
template <int INPUTS>
void Buckets<Number>::Combine(std::span<const Owned<Table>> inputs, int place, Table* to, Interrupt* interrupt) const {
  const int numInputs = INPUTS > 0 ? INPUTS : Count(inputs);
  const int numStates = question_.numstates[order_.variables[place]];
  const Vector<int>& neighbours = order_.neighbours[place];
  const int numAxes = neighbours.size();
  const bool isSum = place < order_.numSummed;
  int sizes[MAX_AXES], states[MAX_AXES] = {};
  Vector<int> strides(numAxes * numInputs, 0);  // [axis][input]
  Vector<const Number*> at(numInputs);
  for (int k = 0; k < numAxes; ++k) {
    sizes[k] = question_.numstates[neighbours[k]];
    for (int i = 0; i < numInputs; ++i) {
      const Vector<int>& variables = inputs[i]->variables;
      const auto found = std::find(variables.begin(), variables.end(), neighbours[k]);
      if (found != variables.end()) strides[k * numInputs + i] = inputs[i]->strides[found - variables.begin()];
    }
  }
  for (int i = 0; i < numInputs; ++i) at[i] = inputs[i]->entries.get();
  constexpr int BETWEEN_LOOKS = 4096;
  Number* out = to->entries.get();
  const Number* const* const tables = at.data();
  int sinceLook = 0;
  do {
    if (++sinceLook == BETWEEN_LOOKS) {
      sinceLook = 0;
      if (interrupt->Halts(static_cast<double>(BETWEEN_LOOKS) * numStates)) return;
    }
    Number total{};
    for (int s = 0; s < numStates; ++s) {
      Number product = tables[0][s];
      for (int i = 1; i < numInputs; ++i) product = product * tables[i][s];
      if (isSum)
        total = total + product;
      else if (total < product)
        total = product;
    }
    *out++ = total;
  } while (StepOn(numAxes, sizes, states, [&](int axis, int steps) {
             for (int i = 0; i < numInputs; ++i) at[i] += steps * strides[axis * numInputs + i];
           }) >= 0);
  interrupt->Halts(static_cast<double>(sinceLook) * numStates);
}

template <class Number>
Status Buckets<Number>::Eliminate(int place, Interrupt* interrupt) {
  Vector<Owned<Table>>& inputs = buckets_[place];
  if constexpr (std::is_same_v<Number, double>) {
    int low = 0;
    for (const Owned<Table>& input : inputs) low = std::max(low + input->low, 2 * LEAST_EXPONENT);
    if (low < LEAST_EXPONENT) return Status::Vanished;
  }
  if (inputs.empty()) {  // a variable that no table speaks of
    if (place < order_.numSummed) largest_ = largest_ * ToWide(question_.numstates[order_.variables[place]]);
    return Status::Done;
  }
  Owned<Table> to = MakeTable(order_.neighbours[place]);
  if (!to) return Status::NoMemory;
  switch (inputs.size()) {
    case 1:
      Combine<1>(inputs, place, to.get(), interrupt);
      break;
    case 2:
      Combine<2>(inputs, place, to.get(), interrupt);
      break;
    case 3:
      Combine<3>(inputs, place, to.get(), interrupt);
      break;
    default:
      Combine<0>(inputs, place, to.get(), interrupt);
  }
  if (interrupt->halted) return Status::Halted;
  if (place < order_.numSummed) inputs.clear();
  return Add(std::move(to));
}

template <class Number>
Status Buckets<Number>::Run(std::span<const unsigned char> matters, Interrupt* interrupt) {
  for (int node = 0; node < question_.NumNodes(); ++node) {
    if (!matters.empty() && !matters[node]) continue;
    if (const Status status = AddTables(node); status != Status::Done) return status;
  }
  for (int place = 0; place < order_.variables.size(); ++place)
    if (const Status status = Eliminate(place, interrupt); status != Status::Done) return status;
  return Status::Done;
}

template <class Number>
void Buckets<Number>::Values(int place, std::span<const int> states, Vector<Number>* values) const {
  const int numStates = question_.numstates[order_.variables[place]];
  bool isFirst = true;
  values->resize(numStates);
  for (const Owned<Table>& table : buckets_[place]) {
    int offset = 0;
    for (int k = 0; k < table->variables.size() - 1; ++k) offset += table->strides[k] * states[table->variables[k]];
    for (int s = 0; s < numStates; ++s) {
      const Number entry = table->entries[offset + s];
      (*values)[s] = isFirst ? entry : (*values)[s] * entry;
    }
    isFirst = false;
  }
  if (isFirst) {
    for (Number& value : *values) value = FromWide<Number>(ToWide(1));
  }
}

template class Buckets<double>;
template class Buckets<WideNumber>;

}  // namespace bravic::engine
