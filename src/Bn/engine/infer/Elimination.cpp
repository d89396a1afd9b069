#include "Bn/engine/infer/Elimination.h"

#include <algorithm>
#include <limits>

#include "Bn/engine/CostModel.h"
#include "Bn/engine/Pass.h"

namespace bravic::engine {

void Elimination::Clear() {
  order_.Clear();
  factors_.clear();
  axes_.clear();
  firstAxisOf_.clear();
}

int Elimination::AddVariable(int id, int numstates) {
  firstAxisOf_.push_back(-1);
  return order_.AddVariable(id, numstates);
}

void Elimination::AddFactor(const float* table, int first, int size, const Range& range, const TableKey& key) {
  factors_.push_back({table, first, size, axes_.size(), 0, range, false, false, key});
}

void Elimination::AddAxis(int variable, int stride) {
  const int axis = axes_.size(), factor = factors_.size() - 1;
  axes_.push_back({variable, stride, factor, firstAxisOf_[variable]});
  firstAxisOf_[variable] = axis;
  ++factors_.back().numAxes;
}

// The axes of a dense table, the last variable fastest.
void Elimination::AddDenseAxes(std::span<const int> variables) {
  int stride = 1;
  for (int k = Count(variables); k-- > 0;) {
    AddAxis(variables[k], stride);
    stride *= order_.SizeOf(variables[k]);
  }
}

double Elimination::Plan(int keep, double limit) {
  keep_ = keep;
  if (order_.NumVariables() > EliminationOrder::MAX_VARIABLES) return std::numeric_limits<double>::infinity();
  order_.BeginGraph();
  for (const Factor& factor : factors_) {
    const std::span<const Axis> axes = AxesOf(factor);
    for (int k = 1; k < Count(axes); ++k)
      for (int j = 0; j < k; ++j) order_.Join(axes[k].variable, axes[j].variable);
  }
  return order_.Find(keep, limit);
}

// The number of entries of the table that the step leaves.
int Elimination::SizeLeft(const Step& step) {
  int size = 1;
  for (int v : order_.NeighboursOf(step)) size *= order_.SizeOf(v);
  return size;
}

// The tables that hold the step's variable, which are used up by it.
Elimination::Product Elimination::GatherInputs(const Step& step) {
  Product product;
  inputs_.clear();
  for (int a = firstAxisOf_[step.variable]; a >= 0; a = axes_[a].next) {
    Factor& factor = factors_[axes_[a].factor];
    if (factor.used) continue;
    factor.used = true;
    inputs_.push_back(axes_[a].factor);
    product.range.Multiply(factor.range);
    product.key.Add(factor.key);
  }
  product.key.Mix(order_.IdOf(step.variable));
  return product;
}

// Of so many inputs (0: any number) whose tables and strides are ready.
template <int INPUTS>
void Elimination::SumEntriesOf(const Step& step) {
  const std::span<const int> variables = order_.NeighboursOf(step);
  const int numInputs = INPUTS > 0 ? INPUTS : inputs_.size(), numAxes = Count(variables);
  const int states = order_.SizeOf(step.variable);
  int sizes[MAX_AXES], at[MAX_AXES] = {};
  for (int k = 0; k < numAxes; ++k) sizes[k] = order_.SizeOf(variables[k]);
  const int* own = shape_.strides.data() + numAxes * numInputs;
  const float** tables = tables_.data();
  const int fastest = numAxes - 1;
  const int length = numAxes > 0 ? sizes[fastest] : 1;
  const int* inner = shape_.strides.data() + std::max(fastest, 0) * numInputs;
  double* out = sums_.data();
  auto product = [&](int j, int s) {
    double entry = tables[0][j * inner[0] + s * own[0]];
    for (int i = 1; i < numInputs; ++i) entry *= tables[i][j * inner[i] + s * own[i]];
    return entry;
  };
  constexpr int SHORT = 4;
  do {
    // The longer loop goes inside, where its steps do not wait for each other.
    if (length < SHORT) {
      for (int j = 0; j < length; ++j) {
        double sum = 0;
        for (int s = 0; s < states; ++s) sum += product(j, s);
        out[j] = sum;
      }
    } else {
      std::fill_n(out, length, 0.0);
      for (int s = 0; s < states; ++s)
        for (int j = 0; j < length; ++j) out[j] += product(j, s);
    }
    out += length;
  } while (StepOn(fastest, sizes, at, [&](int axis, int moves) {
             const int* strides = shape_.strides.data() + axis * numInputs;
             for (int i = 0; i < numInputs; ++i) tables[i] += moves * strides[i];
           }) >= 0);
}

// sums_ = the sum over the step's variable of the product of its inputs, entry by entry, in the order of its
// neighbours.
void Elimination::SumEntries(const Step& step) {
  const std::span<const int> variables = order_.NeighboursOf(step);
  const int numInputs = inputs_.size(), numAxes = Count(variables);
  // [axis][input] strides, those of the step's variable last.
  Vector<int>& strides = shape_.strides;
  strides.assign((numAxes + 1) * numInputs, 0);
  tables_.clear();
  for (int i = 0; i < numInputs; ++i) {
    const Factor& factor = factors_[inputs_[i]];
    tables_.push_back(factor.table + factor.first);
    for (const Axis& axis : AxesOf(factor)) {
      int k = numAxes;
      if (axis.variable != step.variable)
        for (k = 0; variables[k] != axis.variable;) ++k;
      strides[k * numInputs + i] += axis.stride;
    }
  }
  switch (numInputs) {
    case 1:
      return SumEntriesOf<1>(step);
    case 2:
      return SumEntriesOf<2>(step);
    case 3:
      return SumEntriesOf<3>(step);
    case 4:
      return SumEntriesOf<4>(step);
    default:
      return SumEntriesOf<0>(step);
  }
}

// The same in vectors.
void Elimination::SumByPlan(const Step& step, const Kernels& kernels) {
  const std::span<const int> variables = order_.NeighboursOf(step);
  const int numAxes = Count(variables) + 1;
  axisOf_.GrowTo(order_.NumVariables());
  // The variable to be summed is the slowest axis, so that rows are whole.
  shape_.Clear(numAxes);
  for (int k = 0; k < numAxes; ++k) {
    const int v = k == 0 ? step.variable : variables[k - 1];
    shape_.sizes[k] = order_.SizeOf(v);
    axisOf_[v] = k;
  }
  // Tables that are not followed by slack are copied.
  tables_.clear();
  int room = 0;
  for (int f : inputs_)
    if (!factors_[f].padded) room += factors_[f].size + KERNEL_SLACK;
  padding_.GrowTo(room);
  float* free = padding_.data();
  for (int input : inputs_) {
    const Factor& factor = factors_[input];
    int* strides = shape_.AddFactor();
    for (const Axis& axis : AxesOf(factor)) strides[axisOf_[axis.variable]] += axis.stride;
    if (factor.padded) {
      tables_.push_back(factor.table + factor.first);
      continue;
    }
    tables_.push_back(free + factor.first);
    free = std::copy_n(factor.table, factor.size, free);
    free = std::fill_n(free, KERNEL_SLACK, 0.0f);
  }
  int* strides = shape_.AddTarget();
  int stride = 1;
  for (int k = numAxes; k-- > 1;) {
    strides[k] = stride;
    stride *= shape_.sizes[k];
  }
  MakePlan(shape_, &plan_);
  room_.GrowFor(plan_);
  std::fill(sums_.begin(), sums_.end(), 0.0);
  const PassTarget target{sums_.data(), nullptr};
  RunPlan(plan_, kernels, nullptr, tables_.data(), &target, &room_, false);
}

// Products of floats may be too small for a float where those of doubles are not.
void Elimination::Sum(const Step& step, const Kernels& kernels, const ProductRange& range) {
  const int entries = sums_.size() * order_.SizeOf(step.variable);
  if (entries >= cost::PLANNED_FROM && range.StaysAbove(FLOAT_FLOOR))
    SumByPlan(step, kernels);
  else
    SumEntries(step);
}

// What was kept becomes a factor. Its axes stand as when the table was made.
void Elimination::TakeKept(const Step& step, const KeptTables::Table& table) {
  if (table.size == 1) return;
  factors_.push_back({kept_.EntriesOf(table), 0, table.size, axes_.size(), 0, table.range, true, false, table.key});
  const std::span<const int> ids = kept_.AxesOf(table);
  const std::span<const int> neighbours = order_.NeighboursOf(step);
  int stride = 1;
  for (int k = Count(ids); k-- > 0;) {
    const auto variable =
        std::find_if(neighbours.begin(), neighbours.end(), [&](int v) { return order_.IdOf(v) == ids[k]; });
    AddAxis(*variable, stride);
    stride *= order_.SizeOf(*variable);
  }
}

// Makes a factor of the sums, scaled to a largest entry in [0.5, 1), and keeps it where it lacks nothing. Its value
// does not matter when it is a single number: only whether it is 0.
Outcome Elimination::StoreSums(const Step& step, const Product& product, KeptTables::Table* place) {
  const int size = sums_.size(), lost = product.range.Lost(DOUBLE_FLOOR, order_.SizeOf(step.variable));
  double largest, least;
  FindRange(sums_.data(), size, &largest, &least);
  const bool isSingle = size == 1;
  // A table to be kept is followed by its slack like any other.
  float* const kept = place && lost == NO_LOSS ? kept_.MakeRoom(isSingle ? 0 : size + KERNEL_SLACK) : nullptr;
  const Outcome outcome = Judge(largest, lost);
  if (outcome != Outcome::GOOD) return outcome;
  if (isSingle) {
    if (kept) kept_.KeepPositive(place, product.key);
    return outcome;
  }
  float* const begin = kept ? kept : store_.data() + stored_;
  if (!kept) stored_ += size + KERNEL_SLACK;
  const int exponent = Exponent(largest);
  const Range range = StoredRange(least, exponent, lost, FLOAT_FLOOR);
  const double scale = PowerOfTwo(NormalExponent(-exponent));
  float* to = begin;
  for (double sum : sums_) *to++ = static_cast<float>(sum * scale);
  std::fill_n(to, KERNEL_SLACK, 0.0f);
  factors_.push_back({begin, 0, size, axes_.size(), 0, range, true, false, product.key});
  const std::span<const int> neighbours = order_.NeighboursOf(step);
  AddDenseAxes(neighbours);
  if (!kept) return outcome;
  kept_.Keep(place, product.key, kept, size, range);
  for (int v : neighbours) kept_.AddAxis(place, order_.IdOf(v));
  return outcome;
}

Outcome Elimination::Eliminate(const Step& step, const Kernels& kernels) {
  const Product product = GatherInputs(step);
  // A variable of no table is summed to a constant.
  if (inputs_.empty()) return Outcome::GOOD;
  KeptTables::Table* const place = kept_.PlaceFor(product.key);
  if (place && place->size > 0) {
    TakeKept(step, *place);
    return Outcome::GOOD;
  }
  const int size = SizeLeft(step);
  if (interrupt_ && interrupt_->Halts(size * order_.SizeOf(step.variable))) return Outcome::DOUBTFUL;
  sums_.resize(size);
  Sum(step, kernels, product.range);
  return StoreSums(step, product, place);
}

// Of a factor that has no other axis than the kept variable.
double Elimination::EntryOf(const Factor& factor, int state) const {
  int stride = 0;
  for (const Axis& axis : AxesOf(factor)) stride += axis.stride;
  return factor.table[factor.first + state * stride];
}

// The product of what is left, which holds the kept variable or nothing; without one only whether it is 0.
Outcome Elimination::MultiplyRest(double* to) {
  ProductRange range;
  inputs_.clear();
  for (int f = 0; f < factors_.size(); ++f) {
    const Factor& factor = factors_[f];
    if (factor.used) continue;
    if (factor.numAxes == 0) {
      if (factor.table[factor.first] == 0) return Outcome::ZERO;
      continue;
    }
    inputs_.push_back(f);
    range.Multiply(factor.range);
  }
  if (keep_ < 0) return Outcome::GOOD;
  const int states = order_.SizeOf(keep_);
  int lost = range.Lost(std::numeric_limits<int>::min(), 1);
  if (range.StaysAbove(DOUBLE_FLOOR)) {
    for (int s = 0; s < states; ++s) {
      to[s] = 1;
      for (int f : inputs_) to[s] *= EntryOf(factors_[f], s);
    }
  } else {
    Vector<WideNumber> products(states, {0.5, 1});
    for (int s = 0; s < states; ++s)
      for (int f : inputs_) products[s] = products[s] * ToWide(EntryOf(factors_[f], s));
    const long long exponent = std::max_element(products.begin(), products.end())->exponent;
    // What is too small for a double beside the largest does not count.
    for (int s = 0; s < states; ++s) to[s] = ToDouble(products[s], -exponent);
    if (lost != NO_LOSS) lost = static_cast<int>(std::min(0LL, lost - exponent));
  }
  return JudgeEach(to, states, lost);
}

Outcome Elimination::Run(const Kernels& kernels, double* to) {
  if (kept_.IsFull()) kept_.Forget();
  order_.SortNeighbours();
  int room = 0;
  for (const Step& step : order_.Steps()) room += SizeLeft(step) + KERNEL_SLACK;
  store_.GrowTo(room);
  stored_ = 0;
  for (const Step& step : order_.Steps())
    if (const Outcome outcome = Eliminate(step, kernels); outcome != Outcome::GOOD) return outcome;
  return MultiplyRest(to);
}

}  // namespace bravic::engine
