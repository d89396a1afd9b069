// All beliefs in one sweep. Each clique is passed over once, with every incoming message multiplied in; an outgoing
// message is the sum on its separator divided by the incoming one. Beliefs are read at the separators, and in the
// cliques for variables that are in no separator.
#pragma once

#include "Bn/engine/infer/Propagation.h"
#include "Bn/engine/infer/SeparatorBeliefs.h"

namespace bravic::engine {

class Sweep {
 public:
  Sweep(const Structure& structure, const Findings& findings, Potentials& potentials, Messages& messages,
        CliquePasses& passes, SharedTree& shared, Propagation& propagation, Marginals& marginals,
        SeparatorBeliefs& separatorBeliefs);

  // Beliefs of all that is not known, all messages into the pivot being valid; false where they may not hold.
  bool ReadAll(const BeliefPlace& out);

 private:
  Outcome PassClique(int clique, int source, const BeliefPlace& out);
  Outcome SendSingly(int clique, bool readsLone, const BeliefPlace& out);

  const Structure& structure_;
  const Findings& findings_;
  Potentials& potentials_;
  Messages& messages_;
  CliquePasses& passes_;
  SharedTree& shared_;
  Propagation& propagation_;
  Marginals& marginals_;
  SeparatorBeliefs& separatorBeliefs_;
  // Scratch.
  Vector<int> outgoing_;            // links
  Vector<int> cliques_, cameFrom_;  // outward from the pivot
};

}  // namespace bravic::engine
