// What an entry is multiplied by in the probability of the findings is found for all entries of all tables from one
// propagation, and the same for the findings together with the target's state from another (Kjaerulff & van der Gaag
// 2000). The clique that a table is multiplied in has all messages then, and is summed onto the table's family with the
// table itself left out, so that entries of 0 have their weights, too.
#include "Bn/questions/Sensitivity.h"

#include <cmath>

#include "Bn/compiled/Beliefs.h"
#include "Bn/engine/infer/NodeTables.h"
#include "Bn/model/Tables.h"
#include "Bn/questions/Asked.h"

namespace bravic {
namespace {

// A line over an entry: slope * x + start.
struct Line {
  double slope, start;
};

// What depends on the entry: a row's entries in the proportions of probabilities, and what each is multiplied by.
// rest: what the other rows come to.
Line LineOf(std::span<const double> row, std::span<const double> weights, int entry, double rest) {
  double others = 0, sum = 0, plain = 0;
  const int n = Count(row);
  for (int k = 0; k < n; ++k) {
    if (k == entry) continue;
    others += row[k];
    sum += row[k] * weights[k];
    plain += weights[k];
  }
  // The only state has all of the row, whatever is said.
  const double ofOthers = n == 1 ? weights[entry] : others > 0 ? sum / others : plain / (n - 1);
  return {weights[entry] - ofOthers, rest + ofOthers};
}

double Dot(std::span<const double> a, std::span<const double> b) {
  double sum = 0;
  for (int k = 0; k < Count(a); ++k) sum += a[k] * b[k];
  return sum;
}

// The weights of all entries of some nodes' tables, for the findings and for these with the target's state.
class Sensitivities {
 public:
  // False without memory, with an error posted.
  bool MakeRoom(std::span<const node_bn> nodes);
  bool Find(node_bn target, statetype state);
  // Coefficients of the entries of the node's table, in their order.
  void Describe(int k, double* coefficients);

 private:
  struct Weights {
    Block<double> entries;        // of all tables
    Vector<long long> exponents;  // [node] by which 2^ its entries are to be multiplied
  };

  engine::Status FindWeights(EngineLoan& engine, Weights* weights) const;
  std::span<double> WeightsOf(const Weights& weights, int k) const {
    return std::span(weights.entries.get() + starts_[k], static_cast<std::size_t>(starts_[k + 1] - starts_[k]));
  }

  std::span<const node_bn> nodes_;
  Vector<int> starts_;  // [nodes + 1]
  Weights ofFindings_, ofBoth_;
  bool isPossible_ = true;  // the target's own finding allows the state
};

bool Sensitivities::MakeRoom(std::span<const node_bn> nodes) {
  nodes_ = nodes;
  starts_.push_back(0);
  double size = 0;
  for (const bnode* node : nodes) {
    size += static_cast<double>(NumRows(*node)) * node->numstates;
    if (size < engine::MAX_TABLE_ENTRIES) starts_.push_back(static_cast<int>(size));
  }
  const bool fits = size < engine::MAX_TABLE_ENTRIES;
  for (Weights* weights : {&ofFindings_, &ofBoth_}) {
    if (fits) weights->entries = TryMakeBlock<double>(static_cast<std::size_t>(size));
    if (weights->entries) continue;
    Post(FailAnswer(engine::Status::NoMemory));
    return false;
  }
  return true;
}

engine::Status Sensitivities::FindWeights(EngineLoan& engine, Weights* weights) const {
  engine->BeginWeights();
  weights->exponents.assign(Count(nodes_), 0);
  for (int k = 0; k < Count(nodes_); ++k) {
    const engine::Status status =
        engine->WeightsOfTable(nodes_[k]->compiledIndex, WeightsOf(*weights, k), &weights->exponents[k]);
    if (status != engine::Status::Done) return status;
  }
  return engine::Status::Done;
}

bool Sensitivities::Find(node_bn target, statetype state) {
  EngineLoan engine(target->innet);
  constexpr int BOTH_WAYS_TWICE = 4;
  return engine.Ask(BOTH_WAYS_TWICE, [&] {
    const engine::Status status = FindWeights(engine, &ofFindings_);
    if (status != engine::Status::Done) return status;
    isPossible_ = engine.AddState(*target, state);
    return isPossible_ ? FindWeights(engine, &ofBoth_) : status;
  });
}

void Sensitivities::Describe(int k, double* coefficients) {
  const bnode& node = *nodes_[k];
  const int numstates = node.numstates, size = starts_[k + 1] - starts_[k];
  const std::span<const double> below = WeightsOf(ofFindings_, k);
  Vector<double> above(size, 0.0), table;
  if (isPossible_) {
    const long long shift = std::clamp(ofBoth_.exponents[k] - ofFindings_.exponents[k], -4000LL, 4000LL);
    const std::span<const double> weights = WeightsOf(ofBoth_, k);
    for (int i = 0; i < size; ++i) above[i] = std::ldexp(weights[i], static_cast<int>(shift));
  }
  for (const float* row = node.probs; row < node.probs + size; row += numstates) {
    double scale;
    engine::IsDistribution(row, numstates, &scale);
    for (statetype s = 0; s < numstates; ++s) table.push_back(scale == 0 ? 0 : scale * row[s]);
  }
  const double whole = Dot(table, below), wholeAbove = Dot(table, above);
  for (int first = 0; first < size; first += numstates) {
    const auto rowOf = [&](const auto& numbers) {
      return std::span<const double>(numbers.data() + first, static_cast<std::size_t>(numstates));
    };
    const std::span<const double> row = rowOf(table);
    const double rest = std::max(whole - Dot(row, rowOf(below)), 0.0);
    const double restAbove = std::max(wholeAbove - Dot(row, rowOf(above)), 0.0);
    const bool isDeclaredImpossible = node.probs[first] < 0;
    for (int entry = 0; entry < numstates; ++entry) {
      Line top{0, wholeAbove}, bottom{0, whole};
      if (!isDeclaredImpossible) {
        top = LineOf(row, rowOf(above), entry, restAbove);
        bottom = LineOf(row, rowOf(below), entry, rest);
      }
      for (double x : {top.slope, top.start, bottom.slope, bottom.start}) *coefficients++ = x / whole;
    }
  }
}

bool CheckAsked(node_bn target, std::span<const node_bn> nodes) {
  if (!CheckCompiled(*target->innet) || !CheckHaveBeliefs(std::span(&target, 1)) || !CheckHaveBeliefs(nodes))
    return false;
  return UpdateBeliefs(target->innet, Account::None) == Update::Done;
}

}  // namespace

bool BeliefSensitivities(node_bn target, statetype state, const nodelist_rec& nodes, double* coefficients) {
  if (!AreOfNet(nodes, *target) || !CheckAsked(target, Entries(nodes))) return false;
  Sensitivities sensitivities;
  if (!sensitivities.MakeRoom(Entries(nodes)) || !sensitivities.Find(target, state)) return false;
  for (int k = 0; k < nodes.num; ++k) {
    sensitivities.Describe(k, coefficients);
    coefficients += static_cast<std::ptrdiff_t>(NUM_COEFFICIENTS) * NumRows(*nodes.ar[k]) * nodes.ar[k]->numstates;
  }
  return true;
}

bool BeliefSensitivity(node_bn target, statetype state, node_bn node, const statetype* parentstates, statetype entry,
                       double* coefficients) {
  const std::span<const node_bn> nodes(&node, 1);
  if (!CheckAsked(target, nodes)) return false;
  const auto row = static_cast<std::ptrdiff_t>(RowIndex(*node, parentstates));
  if (node->probs[row * node->numstates] < 0) {
    Report(ENTRY_OF_IMPOSSIBLE_ROW, node->name);
    return false;
  }
  Sensitivities sensitivities;
  if (!sensitivities.MakeRoom(nodes) || !sensitivities.Find(target, state)) return false;
  const std::ptrdiff_t entries = static_cast<std::ptrdiff_t>(NumRows(*node)) * node->numstates;
  const Block<double> all = TryMakeBlock<double>(static_cast<std::size_t>(entries) * NUM_COEFFICIENTS);
  if (!all) {
    Post(FailAnswer(engine::Status::NoMemory));
    return false;
  }
  sensitivities.Describe(0, all.get());
  std::copy_n(all.get() + (row * node->numstates + entry) * NUM_COEFFICIENTS, NUM_COEFFICIENTS, coefficients);
  return true;
}

}  // namespace bravic
