// Greedy elimination, one run after another over the same graph: at each step the node goes that some measure of it
// favours. Nodes whose neighbours are all joined (simplicial ones) go first, at no cost to any order; those of the
// graph itself go once for all runs. What the measures need is kept up to date: a node that goes, and an edge that
// comes, change it for the nodes around alone, and by little.
#pragma once

#include <cstdint>
#include <span>

#include "Bn/engine/CostModel.h"
#include "Bn/engine/Graph.h"
#include "Bn/engine/Tournament.h"

namespace bravic::engine {

enum class Measure {
  FILL_OF_SPACE,  // the sum of the products of both ends' weights over the edges that join the clique's members,
                  // weights being logarithms of the number of states, times the root of the clique's entries
  LOG_FILL,       // that sum alone
  FILL,           // the number of those edges; of about equals the one whose clique has fewer entries
  WEIGHTED_FILL,  // the sum with the number of states as weights
  PLAIN_FILL,     // the number alone
  STATE_SPACE,    // the clique's entries
  SWEEP,          // their logarithm and the distance from one end of the graph: what is long and thin is gone through
  NUM_MEASURES
};

class GreedyRun {
 public:
  // The graph and the numbers must outlive it.
  GreedyRun(const Graph& moral, std::span<const int> numstates);

  // Nodes that choices are made about; they are numbered anew. When there are none every run gives the same order.
  int NumLeft() const { return nodeOf_.size(); }
  std::span<const int> NeighboursLeft(int k) const {
    return {pristine_.pool.data() + pristine_.nodes[k].start, static_cast<std::size_t>(pristine_.nodes[k].degree)};
  }
  // Whether runs take a time that is worth while: nodes with very many neighbours make them slow.
  bool IsQuick() const;
  // What the runs so far have taken, about, in nanoseconds; the same on every machine.
  double Work() const { return cost::GREEDY_NODE * numSteps_ + cost::GREEDY_LOOK * numLooks_; }

  // From now on tries allocate nothing, having twice the room of those so far; one that would need more gives up, as if
  // it had passed its limit.
  void KeepRoom();
  // The order's total state space; infinity as soon as it passes the limit. The measure of each node that is left is
  // multiplied by its factor.
  double Try(Measure measure, std::span<const double> factors, double limit, Vector<int>* order);

 private:
  struct Node {
    int start, length, room;  // its neighbours in the pool, nodes that are gone among them
    int degree;               // neighbours left
    int sets;                 // of the recorded sets that hold it, the first in entries; -1 for none
    double fill;              // pairs of neighbours that are not joined
    double weighted;          // sum over those of the product of their weights
    double weights;           // sum of its neighbours' weights
    double space;             // product of the states of it and its neighbours
  };
  struct Entry {
    int set, next;
  };
  // All that a run changes.
  struct State {
    Vector<Node> nodes;
    Vector<int> pool;
    Vector<Entry> entries;
    Vector<int> setSize;  // 0 once a member went: what is recorded then holds the rest of the set
  };

  static bool HasLogWeights(Measure measure) {
    return measure == Measure::FILL_OF_SPACE || measure == Measure::LOG_FILL;
  }
  void FillLists();
  void CountTriangles();
  void WeighPristine();
  void FindDistances();
  int FindDistancesFrom(int start);
  void EliminateSimplicial();
  void NumberAnew();
  void KeepSets(const Node& from, Node* to, Vector<int>* setAt);
  double Key(int node) const;
  double Eliminate(int node);
  int DropSets(const Node& node);
  void RecordSet();
  void TakeOut(int node);
  void JoinAround();
  void Join(int a, int b, int numCommon, double commonWeights);
  void Append(int node, int neighbour);
  // Whether so many more fit, or room may be had for them.
  template <class Entry>
  bool HasRoomFor(const Vector<Entry>& list, int count) {
    isFull_ |= keepsRoom_ && list.size() + count > static_cast<int>(list.capacity());
    return !isFull_;
  }
  std::span<const int> Neighbours(int node);
  void Touch(int node) {
    if (touchedAt_[node] == step_) return;
    touchedAt_[node] = step_;
    touched_.push_back(node);
  }

  const Graph& moral_;
  State state_, pristine_;
  Vector<double> sizes_, logs_;              // [node] number of states
  const Vector<double>* weights_ = &sizes_;  // of the measure
  Vector<int> distances_, reached_;          // [node left] from an end of the graph; nodes in order of that
  Vector<double> logWeighted_, logWeights_;  // [node left] weighted and weights, with logarithms
  Vector<int> prefix_;                       // nodes of the graph that go first in every run
  double prefixCost_ = 0;
  double numSteps_ = 0, numLooks_ = 0;  // nodes that runs took out, neighbours that they looked at
  Vector<int> nodeOf_;                  // [node left] its number in the graph
  Tournament tournament_;
  Measure measure_ = Measure::FILL;
  std::span<const double> factors_;
  Vector<unsigned char> gone_;
  Vector<std::int64_t> mark_, touchedAt_;
  std::int64_t stamp_ = 0, step_ = 0;
  Vector<int> around_, touched_;
  bool keepsRoom_ = false, isFull_ = false;
};

}  // namespace bravic::engine
