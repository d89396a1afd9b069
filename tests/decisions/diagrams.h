// Random decision networks, and what policies are worth in them, found world by world.
#pragma once

#include <algorithm>
#include <span>

#include "support/joint.h"

namespace bravic::testing {

using States = std::vector<statetype>;

// All configurations of a decision network with what they weigh, given the findings, and are worth. Decisions are the
// policies' to weigh.
class Worlds {
  struct World {
    States states;
    double weight, utility;
  };

 public:
  explicit Worlds(const Net& net) : nodes_(Nodes(net)) {
    const auto isVariable = [](node_bn node) { return GetNodeKind_bn(node) != UTILITY_NODE; };
    const auto utilities = std::stable_partition(nodes_.begin(), nodes_.end(), isVariable);
    for (node_bn node : nodes_) {
      parents_.emplace_back();
      for (node_bn parent : Nodes(GetNodeParents_bn(node))) parents_.back().push_back(PlaceOf(parent));
    }
    const std::vector<node_bn> variables(nodes_.begin(), utilities);
    for (node_bn node : variables) {
      if (GetNodeKind_bn(node) == DECISION_NODE && GetNodeFinding_bn(node) < 0) decisions.push_back(PlaceOf(node));
    }
    States states(variables.size(), 0);
    do {
      double weight = 1, utility = 0;
      for (int i = 0; i < int(nodes_.size()); ++i) {
        const States row = RowOf(i, states);
        if (GetNodeKind_bn(NodeAt(i)) == UTILITY_NODE) {
          utility += GetNodeFuncValue_bn(NodeAt(i), row.data());
          continue;
        }
        const statetype state = states[std::size_t(i)];
        weight *= GetNodeLikelihood_bn(NodeAt(i))[state];
        if (GetNodeKind_bn(NodeAt(i)) != NATURE_NODE || weight == 0) continue;
        weight *= std::max(0.0, double(GetNodeProbs_bn(NodeAt(i), row.data())[state]));
      }
      if (weight > 0) worlds_.push_back({states, weight, utility});
    } while (NextConfiguration(variables, states));
    nodes_ = variables;
  }

  // What the tables of the decisions are worth.
  double Value() const {
    double weights = 0, sum = 0;
    for (const World& world : worlds_) {
      const auto differs = [&](int d) { return ChoiceIn(world, d) != world.states[std::size_t(d)]; };
      if (std::any_of(decisions.begin(), decisions.end(), differs)) continue;
      weights += world.weight;
      sum += world.weight * world.utility;
    }
    return sum / weights;
  }
  // The most that they are worth when one row of the decision's table is another.
  double BestWithOneChange(int decision) const {
    struct Row {
      double weights[3] = {}, sums[3] = {};  // [choice]
      statetype present;
    };
    std::map<States, Row> rows;
    double weights = 0, sum = 0, best = -1e300;
    for (const World& world : worlds_) {
      const auto differs = [&](int d) { return d != decision && ChoiceIn(world, d) != world.states[std::size_t(d)]; };
      if (std::any_of(decisions.begin(), decisions.end(), differs)) continue;
      Row& row = rows[RowOf(decision, world.states)];
      const statetype choice = world.states[std::size_t(decision)];
      row.present = ChoiceIn(world, decision);
      row.weights[choice] += world.weight;
      row.sums[choice] += world.weight * world.utility;
      if (choice != row.present) continue;
      weights += world.weight;
      sum += world.weight * world.utility;
    }
    for (const auto& [states, row] : rows) {
      for (int choice = 0; choice < NumStates(NodeAt(decision)); ++choice) {
        if (GetNodeLikelihood_bn(NodeAt(decision))[choice] == 0) continue;
        const double weight = weights - row.weights[row.present] + row.weights[choice];
        if (weight > 1e-9) best = std::max(best, (sum - row.sums[row.present] + row.sums[choice]) / weight);
      }
    }
    return best;
  }
  // The largest value of a policy that forgets nothing; told: a node that the decision is told of. The expectation is a
  // quotient, so that what can be had beyond an amount is looked at, and the amount searched for.
  double Best(node_bn at = nullptr, node_bn told = nullptr) const {
    std::vector<int> sequence;
    const auto append = [&](int i) {
      if (std::find(sequence.begin(), sequence.end(), i) == sequence.end()) sequence.push_back(i);
    };
    for (int d : decisions) {
      for (node_bn parent : Nodes(GetNodeParents_bn(nodes_[d]))) append(PlaceOf(parent));
      if (nodes_[d] == at) append(PlaceOf(told));
      append(d);
    }
    for (int i = 0; i < int(nodes_.size()); ++i) append(i);
    std::vector<World> sorted = worlds_;
    const auto sortKey = [&](const World& world) {
      States key;
      for (int place : sequence) key.push_back(world.states[std::size_t(place)]);
      return key;
    };
    for (World& world : sorted) world.states = sortKey(world);
    std::sort(sorted.begin(), sorted.end(), [](const World& x, const World& y) { return x.states < y.states; });
    double low = -60, high = 60;
    for (int step = 0; step < 30; ++step) {
      const double middle = (low + high) / 2;
      (RollBack(sorted, sequence, 0, middle) > 0 ? low : high) = middle;
    }
    return low;
  }
  bool ArePossible() const { return !worlds_.empty(); }
  node_bn NodeAt(int place) const { return nodes_[std::size_t(place)]; }

  std::vector<int> decisions;  // not made, by their places

 private:
  statetype ChoiceIn(const World& world, int decision) const {
    return statetype(GetNodeFuncValue_bn(NodeAt(decision), RowOf(decision, world.states).data()));
  }
  int PlaceOf(node_bn node) const { return int(std::find(nodes_.begin(), nodes_.end(), node) - nodes_.begin()); }
  // A node's parents' states in a world.
  States RowOf(int place, const States& states) const {
    States row;
    for (int parent : parents_[std::size_t(place)]) row.push_back(states[std::size_t(parent)]);
    row.push_back(0);
    return row;
  }
  // Worlds by their states in the sequence, sorted.
  double RollBack(std::span<const World> worlds, const std::vector<int>& sequence, std::size_t at,
                  double takenOff) const {
    if (at == sequence.size()) return worlds[0].weight * (worlds[0].utility - takenOff);
    node_bn node = nodes_[std::size_t(sequence[at])];
    const bool decides = std::find(decisions.begin(), decisions.end(), sequence[at]) != decisions.end();
    double sum = 0, most = -1e300;
    for (statetype state = 0; state < NumStates(node); ++state) {
      std::size_t count = 0;
      while (count < worlds.size() && worlds[count].states[at] == state) ++count;
      const std::span<const World> those = worlds.first(count);
      worlds = worlds.subspan(count);
      if (decides && GetNodeLikelihood_bn(node)[state] == 0) continue;
      const double value = those.empty() ? 0 : RollBack(those, sequence, at + 1, takenOff);
      sum += value;
      most = std::max(most, value);
    }
    return decides ? most : sum;
  }

  std::vector<node_bn> nodes_;             // without the utilities
  std::vector<std::vector<int>> parents_;  // [place] places
  std::vector<World> worlds_;
};

struct DiagramOptions {
  int numDecisions = 2;
  bool forgets = false;   // a decision does not know what earlier ones knew
  bool findings = false;  // of chance nodes that follow from no decision
  bool late = false;      // of others too
  bool odd = false;       // rows of chance nodes are declared impossible or do not sum to 1
};

// Chance nodes and decisions in turn, each decision linked from the one before; utilities of a few of them.
Net RandomDiagram(environ_ns env, Random& random, const DiagramOptions& options);

}  // namespace bravic::testing
