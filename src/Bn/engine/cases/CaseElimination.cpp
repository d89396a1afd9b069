#include "Bn/engine/cases/CaseElimination.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "Bn/engine/CostModel.h"
#include "Bn/engine/infer/Range.h"

namespace bravic::engine {

namespace {

// Products that may be smaller are left to numbers of more range; sums of them are scaled by less than what is added.
constexpr int FLOOR = DOUBLE_FLOOR + 64;
constexpr int MOST_ENTRIES = 1 << 19;  // of all buckets

}  // namespace

CaseElimination::CaseElimination(const CaseTree& tree, bool takesAll)
    : tree_(tree), structure_(tree.structure), takesAll_(takesAll) {
  const int n = structure_.NumNodes();
  Vector<int> numMissing(n, 0);
  for (int v = 0; v < n; ++v) {
    numMissing[v] = Count(structure_.parents[v]);
    if (numMissing[v] == 0) topological_.push_back(v);
  }
  for (int head = 0; head < topological_.size(); ++head)
    for (int child : structure_.children[topological_[head]])
      if (--numMissing[child] == 0) topological_.push_back(child);
  targetOf_.assign(n, NONE);
  int next = 0;
  for (int t = 0; t < tree.question.targets.size(); ++t) {
    targetOf_[tree.NodeOfTarget(t)] = t;
    beliefAt_.push_back(std::exchange(next, next + tree.question.numstates[tree.question.targets[t]]));
  }
}

bool CaseElimination::Prepare() {
  if (entries_) return true;
  const int n = structure_.NumNodes();
  NodeTables tables(structure_);
  tables.Set(tree_.model.table, nullptr);
  tables_.assign(n, {});
  always_.assign(n, 0);
  std::ptrdiff_t size = 0;
  for (int v = 0; v < n; ++v) {
    always_[v] = !tables[v] || tables.FactsOf(v).informs;
    if (!tables[v]) continue;
    tables_[v] = {size, tables.FactsOf(v).low};
    size += structure_.TableSize(v);
  }
  entries_ = TryMakeBlock<double>(size + 1);
  for (int v = 0; v < n && entries_; ++v)
    if (tables[v]) tables.CopyScaled(v, 1, entries_.get() + tables_[v].first);
  return entries_ != nullptr;
}

CaseElimination::Room::Room(const CaseElimination& all)
    : order_(all.structure_.numstates),
      states_(all.structure_.NumNodes(), FREE),
      isKnown_(all.structure_.NumNodes(), 0),
      matters_(all.structure_.NumNodes(), 0),
      nextNode_(all.structure_.NumNodes(), NONE),
      maker_(all.structure_.numstates) {
  const Vector<int>& numstates = all.structure_.numstates;
  const int sum = std::accumulate(numstates.begin(), numstates.end(), 0);
  tables_ = TryMakeBlock<double>(static_cast<std::ptrdiff_t>(MOST_ENTRIES) + 2 * sum);
  steps_.reserve(numstates.size());
  constant_.reserve(numstates.size());
  int mostMembers = FreeOrder::MOST_NEIGHBOURS + 1;
  for (const Vector<int>& family : all.structure_.families) mostMembers = std::max(mostMembers, family.size());
  members_.reserve(static_cast<std::size_t>(mostMembers));
  shape_.sizes.reserve(MAX_AXES);
  shape_.strides.reserve(static_cast<std::size_t>(MAX_AXES) * MOST_PLAIN_TABLES);
  factors_.reserve(MOST_PLAIN_TABLES);
  targets_.reserve(MOST_PLAIN_TABLES);
}

// Whether the same nodes are known as in the case before. A node of one state always is.
bool CaseElimination::EnterStates(const int* states, Room* room) const {
  for (int v = 0; v < structure_.NumNodes(); ++v) room->states_[v] = structure_.numstates[v] > 1 ? FREE : 0;
  for (int k = 0; k < tree_.question.observed.size(); ++k) {
    const int v = tree_.NodeOfColumn(k);
    if (states[k] >= 0 && structure_.numstates[v] > 1) room->states_[v] = states[k];
  }
  bool isSame = std::exchange(room->hasPattern_, true);
  for (int v = 0; v < structure_.NumNodes(); ++v) {
    const unsigned char isKnown = room->states_[v] != FREE;
    isSame &= std::exchange(room->isKnown_[v], isKnown) == isKnown;
  }
  return isSame;
}

// What messages over the whole tree would take without those of a case before.
double CaseElimination::CostOverTree(const Room& room) const {
  double cost = 0;
  for (int c = 0; c < structure_.cliques.size(); ++c) {
    double size = 1;
    for (int v : structure_.cliques[c].variables) size *= room.states_[v] == FREE ? structure_.numstates[v] : 1;
    cost += (1 + tree_.isVisited[c]) * (cost::CASE_CLIQUE + cost::CASE_CLIQUE_ENTRY * size);
  }
  return cost;
}

void CaseElimination::FindMattering(Room* room) const {
  Vector<unsigned char>& matters = room->matters_;
  for (int v = 0; v < structure_.NumNodes(); ++v) matters[v] = always_[v] || room->isKnown_[v] || targetOf_[v] != NONE;
  for (int k = topological_.size(); k-- > 0;)
    if (matters[topological_[k]])
      for (int parent : structure_.parents[topological_[k]]) matters[parent] = 1;
}

bool CaseElimination::FindOrder(Room* room) const {
  const double tree = CostOverTree(*room);
  const int n = structure_.NumNodes();
  FreeOrder& order = room->order_;
  order.Begin();
  int numFree = 0;
  for (int v = 0; v < n; ++v) {
    if (!room->matters_[v]) continue;
    numFree += room->states_[v] == FREE;
    room->members_.clear();
    for (int member : structure_.families[v])
      if (room->states_[member] == FREE) room->members_.push_back(member);
    if (room->members_.size() > FreeOrder::MOST_NEIGHBOURS) return false;
    order.Join(room->members_);
  }
  constexpr double WORTH_IT = 0.7;
  const double left = WORTH_IT * tree - (2 * cost::CASE_BUCKET + cost::CASE_FREE) * numFree - cost::CASE_NODE * n;
  if (takesAll_) return order.Find(MOST_ENTRIES);
  return left > 0 && order.Find(std::min<double>(MOST_ENTRIES, left / (2 * cost::CASE_BUCKET_ENTRY)));
}

int CaseElimination::SizeOf(std::span<const int> variables) const {
  int size = 1;
  for (int v : variables) size *= structure_.numstates[v];
  return size;
}

// Every table goes to the first bucket of its variables; false when a bucket has too many.
bool CaseElimination::PlaceTables(Room* room) const {
  const Vector<Bucket>& buckets = room->order_.Buckets();
  Vector<Step>& steps = room->steps_;
  steps.assign(buckets.size(), {});
  room->constant_.clear();
  for (int v = structure_.NumNodes(); v-- > 0;) {
    if (!room->matters_[v] || tables_[v].first == NONE) continue;
    int first = NONE;
    for (int member : structure_.families[v]) {
      const int bucket = room->states_[member] == FREE ? room->order_.BucketOf(member) : NONE;
      if (bucket != NONE && (first == NONE || bucket < first)) first = bucket;
    }
    if (first == NONE) {
      room->constant_.push_back(v);
      continue;
    }
    room->nextNode_[v] = std::exchange(steps[first].firstNode, v);
    ++steps[first].numTables;
  }
  int next = 0;
  for (int b = 0; b < buckets.size(); ++b) {
    Step& step = steps[b];
    const int size = SizeOf(buckets[b].others);
    step.message = std::exchange(next, next + size);
    step.belief = std::exchange(next, next + size);
    const int numStates = structure_.numstates[buckets[b].variable];
    step.own = std::exchange(next, next + numStates);
    step.gathered = std::exchange(next, next + numStates);
    if (buckets[b].next == NONE) continue;
    Step& receiver = steps[buckets[b].next];
    step.nextChild = std::exchange(receiver.firstChild, b);
    if (buckets[b].others.size() == 1)
      receiver.gathers = true;
    else
      receiver.numTables += 2;  // the message, and the way back
  }
  MarkVisited(room);
  constexpr int BESIDE = 4;  // the constant, what is gathered, the message back, the variable alone
  return std::none_of(steps.begin(), steps.end(),
                      [](const Step& step) { return step.numTables + BESIDE > MOST_PLAIN_TABLES; });
}

void CaseElimination::MarkVisited(Room* room) const {
  const Vector<Bucket>& buckets = room->order_.Buckets();
  for (int b = 0; b < buckets.size(); ++b) {
    room->steps_[b].isVisited |= targetOf_[buckets[b].variable] != NONE;
    if (room->steps_[b].isVisited && buckets[b].next != NONE) room->steps_[buckets[b].next].isVisited = true;
  }
}

bool CaseElimination::Suits(const int* states, Room* room) const {
  if (EnterStates(states, room)) return room->suits_;
  FindMattering(room);
  return room->suits_ = FindOrder(room) && PlaceTables(room);
}

void CaseElimination::AddTable(int node, Room* room) const {
  const double* table = entries_.get() + tables_[node].first;
  int* const strides = room->shape_.AddFactor();
  const auto isIn = [](int) { return true; };
  ForEachStride(structure_.families[node], structure_.numstates, isIn, [&](int k, int stride) {
    const int v = structure_.families[node][k];
    if (room->states_[v] == FREE)
      strides[room->maker_.AxisOf(v)] = stride;
    else
      table += room->states_[v] * stride;
  });
  room->factors_.push_back(table);
}

void CaseElimination::AddMessage(std::span<const int> variables, int first, Room* room) const {
  room->maker_.PlaceAll(variables, room->shape_.AddFactor());
  room->factors_.push_back(room->tables_.get() + first);
}

void CaseElimination::AddTarget(std::span<const int> variables, int first, Room* room) const {
  double* const table = room->tables_.get() + first;
  std::fill_n(table, SizeOf(variables), 0.0);
  room->maker_.PlaceAll(variables, room->shape_.AddTarget());
  room->targets_.push_back({table, nullptr});
}

// A pass over a bucket: its tables and the messages to it. No positive product is below 2^low.
void CaseElimination::BeginPass(int b, Room* room, int* low) const {
  const Bucket& bucket = room->order_.Buckets()[b];
  room->members_.assign(bucket.others.begin(), bucket.others.end());
  room->members_.push_back(bucket.variable);
  room->factors_.clear();
  room->targets_.clear();
  room->maker_.Begin(
      room->members_, [](int) { return true; }, &room->shape_);
  *low = 0;
  for (int node = room->steps_[b].firstNode; node != NONE; node = room->nextNode_[node]) {
    AddTable(node, room);
    *low += tables_[node].low;
  }
  const Step& step = room->steps_[b];
  if (step.gathers) {
    AddMessage(std::span<const int>(&bucket.variable, 1), step.gathered, room);
    *low += step.lowOfGathered;
  }
  for (int child = step.firstChild; child != NONE; child = room->steps_[child].nextChild) {
    const std::span<const int> others = room->order_.Buckets()[child].others;
    if (others.size() == 1) continue;
    AddMessage(others, room->steps_[child].message, room);
    *low += room->steps_[child].low;
  }
}

void CaseElimination::RunPass(Room* room) const {
  constexpr double ONE = 1;
  RunPlainly(room->shape_, &ONE, room->factors_.data(), room->targets_.data(), false);
}

// Scales the largest entry to [0.5, 1), and finds the least; answers the exponent taken out.
int CaseElimination::Scale(int first, int size, Room* room, int* low) const {
  double* const table = room->tables_.get() + first;
  double largest, least;
  FindRange(table, static_cast<std::size_t>(size), &largest, &least);
  const int exponent = largest > 0 ? Exponent(largest) : 0;
  const double scale = PowerOfTwo(NormalExponent(-exponent));
  for (int k = 0; k < size; ++k) table[k] *= scale;
  *low = largest > 0 ? Exponent(least * scale) - 1 : 0;
  return exponent;
}

CaseFate CaseElimination::SendInward(int b, Room* room) const {
  const Bucket& bucket = room->order_.Buckets()[b];
  Step& step = room->steps_[b];
  int low;
  BeginPass(b, room, &low);
  if (low < FLOOR) return CaseFate::DOUBTFUL;
  AddTarget(bucket.others, step.message, room);
  RunPass(room);
  const int size = SizeOf(bucket.others);
  step.exponent = Scale(step.message, size, room, &step.low);
  const double* const message = room->tables_.get() + step.message;
  if (std::none_of(message, message + size, [](double x) { return x > 0; })) return CaseFate::IMPOSSIBLE;
  const bool isAbout1 = bucket.others.size() == 1;
  if (isAbout1 && !Gather(step, size, &room->steps_[bucket.next], room)) return CaseFate::DOUBTFUL;
  return CaseFate::POSSIBLE;
}

// Messages about a variable alone are multiplied together, however many there are; false when the product may be too
// small.
bool CaseElimination::Gather(const Step& from, int numStates, Step* to, Room* room) const {
  double* const gathered = room->tables_.get() + to->gathered;
  const double* const message = room->tables_.get() + from.message;
  if (to->lowOfGathered + from.low < FLOOR) return false;
  for (int s = 0; s < numStates; ++s) gathered[s] *= message[s];
  to->exponentOfGathered += Scale(to->gathered, numStates, room, &to->lowOfGathered);
  return true;
}

// The pass over a bucket that has all messages: what goes back to the visited ones whose messages came, each divided by
// that message, and the belief of its variable.
bool CaseElimination::VisitOutward(int b, Room* room, float* beliefs) const {
  const Vector<Bucket>& buckets = room->order_.Buckets();
  Vector<Step>& steps = room->steps_;
  const int v = buckets[b].variable, numstates = structure_.numstates[v];
  int low;
  BeginPass(b, room, &low);
  if (buckets[b].next != NONE) {
    AddMessage(buckets[b].others, steps[b].belief, room);
    low += steps[b].low;
  }
  if (low < FLOOR) return false;
  const int target = targetOf_[v];
  if (target != NONE || steps[b].gathers) AddTarget(std::span<const int>(&v, 1), steps[b].own, room);
  for (int child = steps[b].firstChild; child != NONE; child = steps[child].nextChild)
    if (steps[child].isVisited && buckets[child].others.size() > 1)
      AddTarget(buckets[child].others, steps[child].belief, room);
  RunPass(room);
  const double* const own = room->tables_.get() + steps[b].own;
  if (target != NONE) {
    const double total = std::accumulate(own, own + numstates, 0.0);
    for (int s = 0; s < numstates; ++s) beliefs[beliefAt_[target] + s] = static_cast<float>(own[s] / total);
  }
  for (int child = steps[b].firstChild; child != NONE; child = steps[child].nextChild) {
    if (!steps[child].isVisited) continue;
    if (buckets[child].others.size() == 1) std::copy_n(own, numstates, room->tables_.get() + steps[child].belief);
    SendBack(child, room);
  }
  return true;
}

// The belief of what a bucket's message was about, divided by that message. Where it is 0 the quotient does not matter.
void CaseElimination::SendBack(int b, Room* room) const {
  Step& step = room->steps_[b];
  const int size = SizeOf(room->order_.Buckets()[b].others);
  double* const belief = room->tables_.get() + step.belief;
  const double* const divisor = room->tables_.get() + step.message;
  for (int k = 0; k < size; ++k) belief[k] = divisor[k] > 0 ? belief[k] / divisor[k] : 0;
  Scale(step.belief, size, room, &step.low);
}

// The entries of tables all of whose nodes are known.
ScaledNumber CaseElimination::MultiplyConstants(const Room& room) const {
  ScaledNumber product{1, 0};
  for (int node : room.constant_) {
    std::ptrdiff_t entry = tables_[node].first;
    const Vector<int>& family = structure_.families[node];
    const auto isIn = [](int) { return true; };
    ForEachStride(family, structure_.numstates, isIn,
                  [&](int k, int stride) { entry += room.states_[family[k]] * stride; });
    product.value *= entries_[entry];
    if (!(product.value > 0)) return {};
    const int exponent = Exponent(product.value);
    product.value *= PowerOfTwo(-exponent);
    product.exponent += exponent;
  }
  return product;
}

void CaseElimination::ReadKnown(const Room& room, float* beliefs) const {
  for (int t = 0; t < tree_.question.targets.size(); ++t) {
    const int v = tree_.NodeOfTarget(t);
    if (room.states_[v] == FREE) continue;
    std::fill_n(beliefs + beliefAt_[t], structure_.numstates[v], 0.0f);
    beliefs[beliefAt_[t] + room.states_[v]] = 1;
  }
}

CaseFate CaseElimination::Solve(Room* room, float* beliefs, double* logProb) const {
  ScaledNumber total = MultiplyConstants(*room);
  if (!(total.value > 0)) return CaseFate::IMPOSSIBLE;
  const Vector<Bucket>& buckets = room->order_.Buckets();
  for (int b = 0; b < buckets.size(); ++b) {
    Step& step = room->steps_[b];
    step.lowOfGathered = step.exponentOfGathered = 0;
    std::fill_n(room->tables_.get() + step.gathered, structure_.numstates[buckets[b].variable], 1.0);
  }
  for (int b = 0; b < buckets.size(); ++b) {
    if (const CaseFate fate = SendInward(b, room); fate != CaseFate::POSSIBLE) return fate;
    const Step& step = room->steps_[b];
    total.exponent += step.exponent + step.exponentOfGathered;
    if (buckets[b].next != NONE) continue;
    total.value *= room->tables_[step.message];
    const int exponent = Exponent(total.value);
    total.value *= PowerOfTwo(-exponent);
    total.exponent += exponent;
  }
  *logProb = LogOfCase(total.value, total.exponent);
  if (!beliefs) return CaseFate::POSSIBLE;
  ReadKnown(*room, beliefs);
  for (int b = buckets.size(); b-- > 0;)
    if (room->steps_[b].isVisited && !VisitOutward(b, room, beliefs)) return CaseFate::DOUBTFUL;
  return CaseFate::POSSIBLE;
}

}  // namespace bravic::engine
