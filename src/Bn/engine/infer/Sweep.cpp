#include "Bn/engine/infer/Sweep.h"

#include <algorithm>

namespace bravic::engine {

Sweep::Sweep(const Structure& structure, const Findings& findings, Potentials& potentials, Messages& messages,
             CliquePasses& passes, SharedTree& shared, Propagation& propagation, Marginals& marginals,
             SeparatorBeliefs& separatorBeliefs)
    : structure_(structure),
      findings_(findings),
      potentials_(potentials),
      messages_(messages),
      passes_(passes),
      shared_(shared),
      propagation_(propagation),
      marginals_(marginals),
      separatorBeliefs_(separatorBeliefs) {}

// A quotient of numbers that lack something could lack anything, so each message is made by itself.
Outcome Sweep::SendSingly(int c, bool readsLone, const BeliefPlace& out) {
  for (int k : outgoing_)
    if (const Outcome outcome = propagation_.MakeMessage(c, k); outcome != Outcome::GOOD) return outcome;
  if (!readsLone) return Outcome::GOOD;
  const Sums sums = passes_.SumOnto(c, NodeSet::Lone(structure_, c));
  return marginals_.ReadAll(sums.entries, structure_.cliques[c].lone, sums.lost, out);
}

// Makes all messages out of the clique but the one to where we come from, and reads the beliefs of its lone variables.
Outcome Sweep::PassClique(int c, int source, const BeliefPlace& out) {
  const CliqueFacts& clique = structure_.cliques[c];
  messages_.ChooseOutgoing(c, source, &outgoing_);
  const bool readsLone =
      std::any_of(clique.lone.begin(), clique.lone.end(), [&](int v) { return findings_.IsFree(v); });
  if (outgoing_.empty() && !readsLone) return Outcome::GOOD;
  potentials_.Filled(c);
  passes_.ClearTargets();
  for (int k : outgoing_) {
    const MessageId id = clique.links[k].out;
    passes_.AddTarget(findings_.FreeSize(structure_.VariablesOf(id)), messages_[id].floats);
  }
  if (readsLone) passes_.AddTarget(findings_.FreeSize(clique.lone), nullptr);
  const Vector<PassTarget>& targets = passes_.Targets();
  const bool hasFloats = std::any_of(targets.begin(), targets.end(), [](const PassTarget& t) { return t.narrow; });
  if (passes_.MayLose(c, hasFloats)) return SendSingly(c, readsLone, out);
  const PassResult result = passes_.Run({.kind = PassRequest::Kind::SWEEP,
                                         .clique = c,
                                         .outLinks = outgoing_,
                                         .ontoNodes = readsLone,
                                         .nodes = {0, clique.lone}});
  const long long exponent = messages_.IncomingExponent(c, -1);
  for (int i = 0; i < outgoing_.size(); ++i) {
    const MessageSums sums = {targets[i], result.unscale, exponent, NO_LOSS};
    const Outcome outcome = messages_.Store(clique.links[outgoing_[i]].out, sums, true);
    if (outcome != Outcome::GOOD) return outcome;
  }
  return readsLone ? marginals_.ReadAll(targets.back().wide, clique.lone, NO_LOSS, out) : Outcome::GOOD;
}

bool Sweep::ReadAll(const BeliefPlace& out) {
  if (structure_.cliques.empty()) return true;
  shared_.ReadAll(propagation_.Pivot(), out);
  cliques_.assign(1, propagation_.Pivot());
  cameFrom_.assign(1, -1);
  for (int head = 0; head < cliques_.size(); ++head) {
    const int c = cliques_[head], source = cameFrom_[head];
    for (const Link& link : structure_.cliques[c].links) {
      if (link.neighbour == source) continue;
      cliques_.push_back(link.neighbour);
      cameFrom_.push_back(c);
    }
    if (!shared_.IsCliqueDone(c) && PassClique(c, source, out) != Outcome::GOOD) return false;
  }
  for (int s = 0; s < structure_.separators.size(); ++s) {
    const Vector<int>& nodes = structure_.separators[s].read;
    if (!nodes.empty() && !shared_.IsSeparatorRead(s) && !separatorBeliefs_.Read(s, nodes, out)) return false;
  }
  return true;
}

}  // namespace bravic::engine
