// One belief by the tables that matter to it. What does not is found along the arcs of the net (Shachter's "Bayes
// ball", 1998): tables of nodes that the findings separate from the one asked for, and those of nodes below which
// nothing is known, whose rows sum to 1. What is left is often a small part of a large net, and is summed by variable
// elimination in less time than messages would take to cross the tree.
//
// Whether the findings contradict each other is asked in the same way: of findings that are possible together,
// together with those entered since, only the part that matters to the latter can have become impossible.
#include <algorithm>
#include <limits>

#include "Bn/engine/infer/Propagation.h"

namespace bravic::engine {

namespace {

// In nanoseconds, from measurements on one machine; only the proportions matter.
constexpr double MESSAGE_COST = 120, NEW_LAYOUT_COST = 250, ENTRY_COST = 0.9, FILL_COST = 0.8;
constexpr double SMALL_COST = 1500;
constexpr double QUESTION_COST = 1000, VISIT_COST = 45, VARIABLE_COST = 180;
constexpr double LOOK_COST = 20;
constexpr int FEW_VARIABLES = 150, MAX_VARIABLES = 250;
constexpr double CATCHING_UP = 5;
constexpr double LOOKED_AHEAD = 20000, HUGE_COST = 1e15;

}  // namespace

// What a table is like is looked up when it first matters.
const TableFacts& Inference::Impl::FactsOf(int node) {
  TableFacts& facts = tableFacts[node];
  if (facts.known) return facts;
  facts = {};
  facts.known = true;
  const float* table = tableOf(node);
  if (!table) return facts;
  const int own = numstates[node], size = static_cast<int>(TableSize(node));
  // A sum that misses 1 by no more is as near as floats come.
  constexpr double NORMALIZED = 6e-8;
  float least = 1;
  for (int begin = 0; begin < size; begin += own) {
    for (int k = begin; k < begin + own; ++k)
      if (table[k] > 0) least = std::min(least, table[k]);
    double scale;
    facts.informs |= !ScaleOf(node, table + begin, &scale);
    if (std::abs(scale - 1) < NORMALIZED) continue;
    if (facts.cleaned.empty()) facts.cleaned.assign(table, table + size);
    for (int k = begin; k < begin + own; ++k)
      facts.cleaned[k] = scale == 0 ? 0 : static_cast<float>(scale * static_cast<double>(table[k]));
  }
  // Scaling moves what is small by less than a factor of 2.
  facts.low = std::ilogb(least) - !facts.cleaned.empty();
  return facts;
}

// Impossible rows can leave nothing possible at all, which only the whole of the tables can tell.
bool Inference::Impl::TablesAreSure() {
  for (int i = 0; i < tableFacts.size() && !tablesChecked; ++i)
    if (FactsOf(i).informs) return false;
  return tablesChecked = true;
}

// The nodes whose tables matter to the targets, which are taken as not known, in relevant.
void Inference::Impl::FindRelevant(std::span<const int> targets_) {
  relevant.clear();
  ++visitNumber;
  // A visit from a child goes on to parents and children, one from a parent to children; it turns back to the
  // parents where something is known.
  visits.clear();
  for (int node : targets_) {
    targetAt[node] = visitNumber;
    visits.push_back(2 * node);
  }
  auto toParents = [&](int node) {
    if (parentsVisited[node] == visitNumber) return;
    parentsVisited[node] = visitNumber;
    relevant.push_back(node);
    for (int parent : parents[node])
      if (parentsVisited[parent] != visitNumber) visits.push_back(2 * parent);
  };
  auto toChildren = [&](int node) {
    if (childrenVisited[node] == visitNumber) return;
    childrenVisited[node] = visitNumber;
    for (int child : children[node])
      if (parentsVisited[child] != visitNumber || childrenVisited[child] != visitNumber)
        visits.push_back(2 * child + 1);
  };
  while (!visits.empty()) {
    spent += LOOK_COST / 2;
    const int node = visits.back() / 2;
    const bool fromParent = visits.back() % 2;
    visits.pop_back();
    const Finding& finding = findings[node];
    const bool known = finding.state != FREE && targetAt[node] != visitNumber;
    if (fromParent ? known || finding.weighted || FactsOf(node).informs : !known) toParents(node);
    if (!known) toChildren(node);
  }
}

// Sets the elimination up for the relevant tables and the findings, all targets that are known included. Answers the
// number of the variable that stands for the node.
int Inference::Impl::GatherFactors(int node) {
  elimination.Clear();
  int kept = -1;
  auto isFree = [&](int v) { return findings[v].state == FREE && numstates[v] > 1; };
  for (int v : relevant) {
    if (!isFree(v)) continue;
    axisOf[v] = elimination.AddVariable(v, numstates[v]);
    if (v == node) kept = axisOf[v];
  }
  for (int v : relevant) {
    const TableFacts& facts = FactsOf(v);
    const Finding& finding = findings[v];
    if (const float* table = facts.cleaned.empty() ? tableOf(v) : facts.cleaned.data()) {
      const Vector<int>& family = parents[v];
      const int own = numstates[v];
      int first = std::max(finding.state, 0), stride = own;
      for (std::size_t k = family.size(); k-- > 0;) {
        const int state = findings[family[k]].state;
        if (state != FREE) first += state * stride;
        stride *= numstates[family[k]];
      }
      // The numbers follow from the table, from what is known of its family, and from where that begins.
      Elimination::Key key;
      key.Mix(static_cast<std::uint64_t>(v));
      key.Mix(static_cast<std::uint64_t>(first));
      std::uint64_t known = finding.state != FREE;
      for (int k = 0; k < family.size(); ++k) {
        known = 2 * known + (findings[family[k]].state != FREE);
        if (k % 32 == 31) key.Mix(known), known = 0;
      }
      key.Mix(known);
      elimination.AddFactor(table, first, stride, {facts.low, NO_LOSS}, key);
      if (isFree(v)) elimination.AddAxis(axisOf[v], 1);
      stride = own;
      for (std::size_t k = family.size(); k-- > 0;) {
        if (isFree(family[k])) elimination.AddAxis(axisOf[family[k]], stride);
        stride *= numstates[family[k]];
      }
    }
    if (finding.weighted) {
      Elimination::Key key;
      key.Mix(finding.serial);
      elimination.AddFactor(finding.floats.data(), 0, numstates[v], finding.range, key);
      if (isFree(v)) elimination.AddAxis(axisOf[v], 1);
    }
  }
  return kept;
}

double Inference::Impl::PassCost(int c) const {
  const CliqueState& clique = cliques[c];
  double size = 1;
  for (int v : clique.variables)
    if (findings[v].state == FREE) size *= numstates[v];
  return MESSAGE_COST + ENTRY_COST * size + (clique.filled ? 0 : FILL_COST * static_cast<double>(clique.size));
}

// What messages would take to be made before the belief can be read from the tree, as far as the limit.
double Inference::Impl::TreeCost(int node, double limit) {
  int target = pivot;
  if (node >= 0) {
    for (int s : separatorsOf[node])
      if (messages[2 * At(s)].valid && messages[2 * At(s) + 1].valid) return MESSAGE_COST;
    target = CliqueForReading(node);
  }
  auto passCost = [&](int c, const PassCache& cache) {
    return PassCost(c) + (cache.layout == cliques[c].layoutNumber ? 0 : NEW_LAYOUT_COST);
  };
  double cost = passCost(target, cliques[target].read);
  work.assign(1, target);
  cameFrom.assign(1, -1);
  for (int head = 0; head < work.size() && cost < limit; ++head) {
    const int c = work[head];
    for (const Link& link : cliques[c].links) {
      if (link.neighbour == cameFrom[head] || messages[link.in].valid) continue;
      for (const Link& back : cliques[link.neighbour].links)
        if (back.neighbour == c) cost += passCost(link.neighbour, back.send);
      work.push_back(link.neighbour);
      cameFrom.push_back(c);
    }
  }
  spent += LOOK_COST * static_cast<double>(work.size());
  return cost;
}

// What messages from the latest change to where the belief is read would take in a tree that is up to date.
double Inference::Impl::WayCost(int node) {
  FindWay(pivot, node >= 0 ? CliqueForReading(node) : pivot);
  double cost = 0;
  for (int c : path) cost += PassCost(c);
  spent += LOOK_COST * static_cast<double>(path.size());
  return cost;
}

// Whether messages would take less than the cost, or would once the tree is up to date and that is not far away.
bool Inference::Impl::TreeServes(int node, double cost) {
  const bool isNear = cost < LOOKED_AHEAD && 1.5 * WayCost(node) < cost;
  const double limit = isNear ? CATCHING_UP * cost : cost;
  return TreeCost(node, limit) < limit;
}

// A tree brought up to date once may serve questions to come at less. Where it did not, it has to wait longer.
bool Inference::Impl::TreeWouldPay(int node, double cost) {
  sinceTree += cost;
  if (sinceTree <= lookAgain) return false;
  lookAgain = 2 * sinceTree;
  const double ready = sinceTree / patience;
  if (TreeCost(node, ready) >= ready || WayCost(node) >= cost / 2) return false;
  patience *= 2;
  return true;
}

// The belief of a node that is not known (-1: none) and whether the findings are possible: Done or Inconsistent. False
// leaves it to the tree.
bool Inference::Impl::Ask(int node, std::span<float> to, Status* answer) {
  if (maximize || wide || chosenWay == Way::TREE) return false;
  if (!tablesChecked && !TablesAreSure()) return false;
  const bool compares = chosenWay == Way::CHEAPEST;
  const bool isAsked = node >= 0;
  if (!isAsked && unchecked.empty()) {
    *answer = Status::Done;
    return true;
  }
  if (compares && TreeCost(node, SMALL_COST) < SMALL_COST) return false;
  questions.clear();
  if (isAsked) questions.push_back(node);
  questions.insert(questions.end(), unchecked.begin(), unchecked.end());
  FindRelevant(questions);
  if (relevant.size() > MAX_VARIABLES) return false;
  // A likelihood that floats cannot hold.
  for (int v : relevant)
    if (findings[v].weighted && findings[v].range.low < FLOAT_FLOOR) return false;
  const double looking = QUESTION_COST + VISIT_COST * static_cast<double>(relevant.size());
  const double atLeast = looking + VARIABLE_COST * static_cast<double>(relevant.size());
  if (compares && TreeServes(node, atLeast)) return false;
  const int kept = GatherFactors(node);
  // Looking through the whole tree for what is out of date costs as much as a small question.
  double limit = HUGE_COST;
  if (compares) {
    const bool few = relevant.size() < FEW_VARIABLES;
    limit = TreeCost(node, few ? LOOKED_AHEAD : HUGE_COST);
    if (few && limit >= LOOKED_AHEAD) limit = HUGE_COST;
  }
  const double cost = looking + elimination.Plan(kept, limit);
  if (cost >= limit) return false;
  if (compares && (TreeServes(node, cost) || TreeWouldPay(node, cost))) return false;
  marginal.assign(isAsked ? to.size() : 1, 0.0);
  elimination.Watch(watch);
  const Outcome outcome = elimination.Run(*kernels, marginal.data());
  if (outcome == Outcome::DOUBTFUL) return false;
  *answer = outcome == Outcome::ZERO ? Status::Inconsistent : Status::Done;
  if (outcome == Outcome::ZERO) return true;
  CheckedAll();
  spent += cost;
  if (isAsked) Normalize(marginal.data(), to);
  return true;
}

void Inference::SetWay(Way way) {
  impl_->chosenWay = way;
}

bool Inference::SweepPays() const {
  Impl& impl = *impl_;
  if (!(impl.spent > SMALL_COST)) return false;
  while (impl.sweepCost <= impl.spent && impl.numSwept < impl.cliques.size()) {
    impl.sweepCost += 2 * impl.PassCost(impl.numSwept++);
  }
  return impl.sweepCost <= impl.spent;
}

}  // namespace bravic::engine
