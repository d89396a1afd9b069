// Exact draws given findings that forward sampling would seldom meet: the tables and findings of the sampled nodes are
// collected once over the compiled junction tree, which leaves for every clique the distribution of its nodes given
// those that it shares with the clique before it; a draw then goes outward, clique by clique (Dawid 1992).
#pragma once

#include <span>

#include "Bn/model/Records.h"
#include "Win_Face/Interaction.h"

namespace bravic {

class TreeSampler {
 public:
  // Collects. nodes: those sampled, ancestors included, all of a compiled net. What findings of other nodes say is not
  // looked at. False without memory, or when it is halted.
  bool Prepare(net_bn net, std::span<const node_bn> nodes, LongWork& work);
  // The share of unconditional draws that would meet the findings; a likelihood is met in proportion to its largest
  // entry. Below the range of doubles it is the smallest one; 0 means a contradiction.
  double Acceptance() const { return acceptance_; }
  // A draw, not of the impossible.
  void Draw();
  statetype State(const bnode& node) const { return states_[node.compiledIndex]; }

 private:
  struct Clique {
    Vector<int> members;  // compiled indices: what it shares with the clique before it, then the others
    int numShared = 0;
    std::size_t numOwn = 1;  // configurations of the others
    Vector<double> sums;     // [shared configurations x numOwn] running sums of each row
  };
  Vector<Clique> cliques_;  // in the order of drawing
  Vector<int> numstates_;
  Vector<statetype> states_;  // [compiled index]
  double acceptance_ = 0;

  class Collector;
};

}  // namespace bravic
