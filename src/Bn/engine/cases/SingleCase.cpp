#include "Bn/engine/cases/SingleCase.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "Bn/engine/Numbers.h"
#include "Bn/engine/infer/Range.h"

namespace bravic::engine {

namespace {

constexpr int TOTAL = 0;
// Products that may be smaller are left to numbers of more range; sums of them are scaled by less than what is added.
constexpr int FLOOR = DOUBLE_FLOOR + 64;

}  // namespace

SingleCase::SingleCase(const CaseTree& tree) : tree_(tree), structure_(tree.structure) {
  const int numCliques = structure_.cliques.size();
  potentials_.resize(numCliques);
  places_.resize(structure_.separators.size());
  auto take = [&](int size) { return std::exchange(roomSize_, roomSize_ + size); };
  Vector<int> depth(numCliques, 0);
  for (int c : tree.order) {
    if (c == tree.root) continue;
    const int s = tree.upward[c], size = tree.SizeOf(tree.VariablesOf(s));
    depth[c] = depth[tree.parent[c]] + 1;
    places_[s].message = take(size);
    if (tree.isVisited[c]) places_[s].belief = take(size);
  }
  insideAt_.assign(tree.question.targets.size(), CaseTree::NOWHERE);
  for (int c = 0; c < numCliques; ++c) {
    for (int t : tree.readInside[c]) insideAt_[t] = take(structure_.numstates[tree.NodeOfTarget(t)]);
    // The potential, twice as many as there are separators, the total.
    mostTables_ = std::max(mostTables_, 2 + 2 * structure_.cliques[c].links.size() + tree.readInside[c].size() +
                                            tree.familiesAt[c].size());
  }
  for (int numStates : structure_.numstates) mostStates_ = std::max(mostStates_, numStates);
  int next = 0;
  for (int target : tree.question.targets)
    beliefAt_.push_back(std::exchange(next, next + tree.question.numstates[target]));
  for (int f = 0; f < tree.question.families.size(); ++f) {
    families_.push_back(tree.FamilyOf(tree.NodeOfFamily(f)));
    const int size = tree.question.FamilySize(tree.question.families[f]);
    tableAt_.push_back(take(size));
    familyAt_.push_back(std::exchange(next, next + size));
  }
  sortKey_.resize(tree.question.observed.size());
  std::iota(sortKey_.begin(), sortKey_.end(), 0);
  std::sort(sortKey_.begin(), sortKey_.end(), [&](int a, int b) {
    const int deepA = depth[tree_.topOf[tree_.NodeOfColumn(a)]], deepB = depth[tree_.topOf[tree_.NodeOfColumn(b)]];
    return deepA != deepB ? deepA > deepB : a < b;
  });
}

bool SingleCase::Fill(int c) {
  CaseTree::Weights weights;
  if (!tree_.Multiply(c, &weights)) return false;
  Potential& potential = potentials_[c];
  potential.low = Exponent(weights.low) - 1;
  if (potential.low < FLOAT_FLOOR) {
    potential.doubles = std::move(weights.entries);
  } else {
    potential.floats = TryMakeBlock<float>(weights.size);
    if (!potential.floats) return false;
    std::transform(weights.entries.get(), weights.entries.get() + weights.size, potential.floats.get(),
                   [](double entry) { return static_cast<float>(entry); });
  }
  exponent_ += weights.exponent;
  return true;
}

void SingleCase::TablesChanged() {
  numFilled_ = 0;
  exponent_ = 0;
  for (Potential& potential : potentials_) potential = {};
}

bool SingleCase::Prepare() {
  for (; numFilled_ < potentials_.size(); ++numFilled_)
    if (!Fill(numFilled_)) return false;
  return true;
}

SingleCase::Room::Room(const SingleCase& all)
    : tables_(TryMakeBlock<double>(all.roomSize_)),
      states_(all.structure_.NumNodes(), FREE),
      isStale_(all.structure_.cliques.size(), 1),
      low_(all.structure_.separators.size(), 0),
      exponent_(all.structure_.separators.size(), 0),
      maker_(all.structure_.numstates) {
  shape_.sizes.reserve(MAX_AXES);
  shape_.strides.reserve(static_cast<std::size_t>(MAX_AXES) * all.mostTables_);
  factors_.reserve(all.mostTables_);
  targets_.reserve(all.mostTables_);
  sums_.resize(all.mostStates_);
  isNeeded_.assign(all.structure_.cliques.size(), 1);
}

// Messages inward are stale from every clique on that holds a node of which something else is known.
void SingleCase::EnterStates(const int* states, Room* room) const {
  const bool isFirst = std::exchange(room->isFirst_, false);
  for (int k = 0; k < tree_.question.observed.size(); ++k) {
    const int v = tree_.NodeOfColumn(k), state = structure_.numstates[v] < 2 || states[k] < 0 ? FREE : states[k];
    if (std::exchange(room->states_[v], state) == state || isFirst) continue;
    for (int c : structure_.cliquesOf[v])
      for (; c != CaseTree::NOWHERE && !std::exchange(room->isStale_[c], 1); c = tree_.parent[c]) continue;
  }
}

// Visits the entries of a table that agree with what is known, the last variable fastest.
template <class Visit>
void SingleCase::ForEachEntry(std::span<const int> variables, const Room& room, Visit visit) const {
  ForEachAgreeing(
      variables, structure_.numstates, [](int) { return true; }, [&](int v) { return room.states_[v]; }, visit);
}

void SingleCase::AddFactor(std::span<const int> variables, const double* table, Room* room) const {
  int* const strides = room->shape_.AddFactor();
  room->maker_.Place(
      variables, [](int) { return true; }, strides, [&](int v, int stride) { table += room->states_[v] * stride; });
  room->factors_.push_back(table);
}

void SingleCase::AddTarget(std::span<const int> variables, double* table, Room* room) const {
  ForEachEntry(variables, *room, [&](int k) { table[k] = 0; });
  int* const strides = room->shape_.AddTarget();
  room->maker_.Place(
      variables, [](int) { return true; }, strides, [&](int v, int stride) { table += room->states_[v] * stride; });
  room->targets_.push_back({table, nullptr});
}

// A pass over the clique: the messages from its children, outward that from its parent too. No positive product is
// below 2^low.
void SingleCase::BeginPass(int c, bool isOutward, Room* room, int* low) const {
  const CliqueFacts& clique = structure_.cliques[c];
  room->factors_.clear();
  room->targets_.clear();
  room->maker_.Begin(
      clique.variables, [&](int v) { return room->states_[v] == FREE; }, &room->shape_);
  *low = potentials_[c].low;
  for (const Link& link : clique.links) {
    const bool isUp = link.separator == tree_.upward[c];
    if (isUp && !isOutward) continue;
    const Place& place = places_[link.separator];
    AddFactor(tree_.VariablesOf(link.separator), room->tables_.get() + (isUp ? place.belief : place.message), room);
    *low += room->low_[link.separator];
  }
}

void SingleCase::RunPass(int c, Room* room) const {
  int* const strides = room->shape_.Strides(0);
  int first = 0;
  room->maker_.Place(
      structure_.cliques[c].variables, [](int) { return true; }, strides,
      [&](int v, int stride) { first += room->states_[v] * stride; });
  const Potential& potential = potentials_[c];
  if (potential.doubles)
    RunPlainly(room->shape_, potential.doubles.get() + first, room->factors_.data(), room->targets_.data(), false);
  else
    RunPlainly(room->shape_, potential.floats.get() + first, room->factors_.data(), room->targets_.data(), false);
}

// Scales the largest entry to [0.5, 1), and finds the least; answers the exponent taken out.
int SingleCase::Scale(int s, double* table, Room* room) const {
  const Vector<int>& variables = tree_.VariablesOf(s);
  double largest = 0, least = 1;
  ForEachEntry(variables, *room, [&](int k) { largest = std::max(largest, table[k]); });
  const int exponent = largest > 0 ? Exponent(largest) : 0;
  const double scale = PowerOfTwo(NormalExponent(-exponent));
  ForEachEntry(variables, *room, [&](int k) {
    table[k] *= scale;
    if (table[k] > 0) least = std::min(least, table[k]);
  });
  room->low_[s] = Exponent(least) - 1;
  return exponent;
}

bool SingleCase::SendInward(int c, Room* room) const {
  const int s = tree_.upward[c];
  double* const message = room->tables_.get() + places_[s].message;
  int low;
  BeginPass(c, false, room, &low);
  if (low < FLOOR) return false;
  AddTarget(tree_.VariablesOf(s), message, room);
  RunPass(c, room);
  room->exponent_[s] = Scale(s, message, room);
  return true;
}

// The pass over a clique that has all messages: beliefs of the separators to visited children, each then divided by the
// message inward, and of nodes that are read here.
bool SingleCase::VisitOutward(int c, Room* room, float* beliefs) const {
  double* const tables = room->tables_.get();
  const bool isRoot = c == tree_.root;
  int low;
  BeginPass(c, !isRoot, room, &low);
  if (low < FLOOR) return false;
  if (isRoot) AddTarget({}, tables + TOTAL, room);
  for (const Link& link : structure_.cliques[c].links)
    if (link.separator != tree_.upward[c] && places_[link.separator].belief != CaseTree::NOWHERE)
      AddTarget(tree_.VariablesOf(link.separator), tables + places_[link.separator].belief, room);
  for (int t : tree_.readInside[c]) {
    const int v = tree_.NodeOfTarget(t);
    if (structure_.numstates[v] > 1) AddTarget(std::span<const int>(&v, 1), tables + insideAt_[t], room);
  }
  for (int f : tree_.familiesAt[c])
    if (!IsWhole(f, *room)) AddTarget(families_[f], tables + tableAt_[f], room);
  RunPass(c, room);
  if (!beliefs || !(tables[TOTAL] > 0)) return true;
  for (int f : tree_.familiesAt[c])
    if (!IsWhole(f, *room)) ReadFamily(f, room, beliefs);
  for (int t : tree_.readInside[c]) {
    const int v = tree_.NodeOfTarget(t);
    ReadBelief(t, std::span<const int>(&v, 1), tables + insideAt_[t], room, beliefs);
  }
  for (const Link& link : structure_.cliques[c].links) {
    const int s = link.separator;
    if (s == tree_.upward[c] || places_[s].belief == CaseTree::NOWHERE) continue;
    double* const belief = tables + places_[s].belief;
    for (int t : tree_.readAt[s]) ReadBelief(t, tree_.VariablesOf(s), belief, room, beliefs);
    // Where the divisor is 0 the message does not matter.
    const double* const divisor = tables + places_[s].message;
    ForEachEntry(tree_.VariablesOf(s), *room, [&](int k) { belief[k] = divisor[k] > 0 ? belief[k] / divisor[k] : 0; });
    Scale(s, belief, room);
  }
  return true;
}

// Whether nothing of the family is open.
bool SingleCase::IsWhole(int f, const Room& room) const {
  for (int v : families_[f])
    if (room.states_[v] == FREE) return false;
  return true;
}

// The cliques between the root and where families with something open are read.
void SingleCase::MarkNeeded(Room* room) const {
  if (families_.empty() || !tree_.question.targets.empty()) return;
  std::fill(room->isNeeded_.begin(), room->isNeeded_.end(), 0);
  room->isNeeded_[tree_.root] = 1;
  for (int f = 0; f < families_.size(); ++f) {
    if (IsWhole(f, *room)) continue;
    for (int c = tree_.homeOf[f]; !std::exchange(room->isNeeded_[c], 1); c = tree_.parent[c]) continue;
  }
}

void SingleCase::ReadFamily(int f, Room* room, float* beliefs) const {
  const double* const table = room->tables_.get() + tableAt_[f];
  double total = 0;
  ForEachEntry(families_[f], *room, [&](int k) { total += table[k]; });
  float* const to = beliefs + familyAt_[f];
  std::fill_n(to, tree_.question.FamilySize(tree_.question.families[f]), 0.0f);
  if (total > 0) ForEachEntry(families_[f], *room, [&](int k) { to[k] = static_cast<float>(table[k] / total); });
}

// Of a possible case. table: over the variables, the target among them.
void SingleCase::ReadBelief(int t, std::span<const int> variables, const double* table, Room* room,
                            float* beliefs) const {
  const int v = tree_.NodeOfTarget(t), numstates = structure_.numstates[v];
  float* const to = beliefs + beliefAt_[t];
  std::fill_n(to, numstates, 0.0f);
  if (numstates == 1 || room->states_[v] != FREE) {
    to[numstates == 1 ? 0 : room->states_[v]] = 1;
    return;
  }
  int stride = 1;
  for (int k = Count(variables); variables[--k] != v;) stride *= structure_.numstates[variables[k]];
  Vector<double>& sums = room->sums_;
  std::fill_n(sums.begin(), numstates, 0.0);
  ForEachEntry(variables, *room, [&](int k) { sums[k / stride % numstates] += table[k]; });
  const double total = std::accumulate(sums.begin(), sums.begin() + numstates, 0.0);
  for (int s = 0; s < numstates; ++s) to[s] = static_cast<float>(sums[s] / total);
}

CaseFate SingleCase::Solve(const int* states, Room* room, float* beliefs, double* logProb) const {
  EnterStates(states, room);
  for (int k = tree_.order.size(); k-- > 1;) {
    const int c = tree_.order[k];
    if (!room->isStale_[c]) continue;
    if (!SendInward(c, room)) return CaseFate::DOUBTFUL;
    room->isStale_[c] = 0;
  }
  room->isStale_[tree_.root] = 0;  // it is passed over in any case
  if (!VisitOutward(tree_.root, room, beliefs)) return CaseFate::DOUBTFUL;
  const double total = room->tables_[TOTAL];
  if (!(total > 0)) return CaseFate::IMPOSSIBLE;
  if (beliefs) MarkNeeded(room);
  for (int k = 1; k < tree_.order.size() && beliefs; ++k) {
    const int c = tree_.order[k];
    if (tree_.isVisited[c] && room->isNeeded_[c] && !VisitOutward(c, room, beliefs)) return CaseFate::DOUBTFUL;
  }
  const long long exponent = std::accumulate(room->exponent_.begin(), room->exponent_.end(), exponent_);
  *logProb = LogOfCase(total, exponent);
  return CaseFate::POSSIBLE;
}

}  // namespace bravic::engine
