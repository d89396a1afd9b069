// Search over orders of the nodes (Teyssier & Koller 2005): in an order each node takes the best of its listed parent
// sets that lies before it. Single nodes are moved to where the score rises most until no move helps (Alonso-Barba, de
// la Ossa & Puerta 2011); from there the walk goes on by random moves of a few nodes, which are taken back where they
// end lower.
#pragma once

#include "Basic/RandomStream.h"
#include "Bn/engine/Interrupt.h"
#include "Bn/engine/learn/ParentSets.h"

namespace bravic::engine {

class OrderWalk {
 public:
  // sets [node]: at least one set of each node lies before it in the order to begin with. The seed makes the random
  // moves. Steps are counted in the interrupt, which, once it halts, leaves the walk as it is, fit to be read.
  OrderWalk(std::span<const ParentSets> sets, std::span<const int> order, std::uint64_t seed, Interrupt& interrupt);

  // Moves nodes until no single move helps.
  void Climb();
  // Some random moves, and a climb from there; goes back where that ends lower. Answers whether it ended higher.
  bool Leap();

  double Score() const;  // summed in the order of the nodes
  std::span<const int> Order() const { return order_; }
  std::span<const int> Choice() const { return choice_; }  // [node]: the number of its set
  int NumMoves() const { return numMoves_; }               // that raised the score

 private:
  static constexpr int NO_SET = -1;
  struct Step {  // what two neighbours had before they changed places
    int first, second, firstChoice, secondChoice;
  };

  bool LiesBefore(int node, int set) const;
  int FirstFrom(int set, int node) const;
  int FirstWith(int gained, int node) const;
  double ScoreOf(int node) const;
  double Swap(int place);
  void TakeBack(int numSteps);
  bool MoveToBest(int node);
  void MoveAtRandom();

  std::span<const ParentSets> sets_;
  Vector<int> order_, place_;  // [place]: node, and [node]: place
  Vector<int> choice_;
  Vector<Step> steps_;
  RandomStream random_;
  Interrupt& interrupt_;
  double leastGain_;  // beyond rounding
  int numMoves_ = 0;
};

}  // namespace bravic::engine
