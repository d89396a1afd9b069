// The order in which a question's variables are eliminated: greedy by the weight of the edges that an elimination would
// add, or that of the last question where most variables are the same.
#pragma once

#include <span>

#include "Bn/engine/BitRows.h"
#include "Bn/engine/Tournament.h"

namespace bravic::engine {

class EliminationOrder {
 public:
  // One variable's elimination.
  struct Step {
    int variable;
    int firstNeighbour, numNeighbours;  // what is left over these
  };
  static constexpr int MAX_VARIABLES = 1024;

  // Begins a question.
  void Clear();
  // id: the same for the same variable in all questions, from 0. Answers its number in this one.
  int AddVariable(int id, int numstates);
  int NumVariables() const { return sizes_.size(); }
  int SizeOf(int variable) const { return sizes_[variable]; }
  int IdOf(int variable) const { return ids_[variable]; }
  // Once all variables are there: the two stand in one table.
  void BeginGraph() { graph_.Reset(sizes_.size()); }
  void Join(int a, int b) {
    if (a == b) return;
    graph_.Set(a, b);
    graph_.Set(b, a);
  }

  // Finds an order that leaves one variable (-1: none); answers what it costs, or infinity when there is no room for
  // what its steps leave or the cost passes the limit.
  double Find(int keep, double limit);
  const Vector<Step>& Steps() const { return steps_; }
  std::span<int> NeighboursOf(const Step& step) {
    return std::span(neighbours_.data() + step.firstNeighbour, step.numNeighbours);
  }
  // Sorts the neighbours of every step: the next to be eliminated first, the one that is left last.
  void SortNeighbours();

 private:
  double WeightBeyond(int variable, int other) const;
  bool Record(int variable);
  void PlaceAll(bool onlyNew);
  void JoinNeighbours(const Step& step);
  bool FindGreedily(bool onlyNew);
  bool RepeatLast();
  void RememberOrder();

  Vector<int> sizes_, ids_;  // [variable]
  Vector<double> logs_;      // [variable] of its size
  BitRows graph_;            // of what is left
  int keep_ = -1;
  Vector<Step> steps_;
  Vector<int> neighbours_;
  double limit_ = 0, cost_ = 0, numStored_ = 0;
  // While it is found.
  Vector<int> position_;   // [variable] in the last order or in this one
  Vector<double> fill_;    // [variable] weight of the edges that it would add
  Tournament tournament_;  // of those
  Vector<int> touched_, touchedAt_;
  // The last order found from scratch.
  Vector<int> lastPosition_;  // [id] or -1
  Vector<int> lastIds_;
  double lastCost_ = 0;
};

}  // namespace bravic::engine
