// What ways of answering would take, in the nanoseconds of CostModel.h, and what has been spent since the last change.
#pragma once

#include "Bn/engine/CostModel.h"
#include "Bn/engine/infer/Propagation.h"

namespace bravic::engine {

class Costs {
 public:
  Costs(const Structure& structure, const Findings& findings, const Potentials& potentials, const Messages& messages,
        const CliquePasses& passes, Propagation& propagation)
      : structure_(structure),
        findings_(findings),
        potentials_(potentials),
        messages_(messages),
        passes_(passes),
        propagation_(propagation) {}

  // The findings or tables have changed.
  void Forget();
  void Spend(double cost) { spent_ += cost; }

  // What messages would take to be made before the belief of the node (-1: the sum of everything) can be read from the
  // tree, as far as the limit.
  double OfTree(int node, double limit);
  // What messages from the latest change to where the belief is read would take in a tree that is up to date.
  double OfPath(int node);
  // What a sweep over the tree would take beside filling potentials; that; or both. Plans for cliques without
  // known nodes serve again whenever there are no findings, and may be left out.
  double OfSweepAlone(bool countsLasting = true) const;
  double OfFilling() const;
  double OfSweep() const { return OfSweepAlone() + OfFilling(); }
  // Whether single questions since the last change have taken so much that all at once would have been cheaper.
  bool SweepPays();

 private:
  static double OfNewLayout(bool isPrepared) { return isPrepared ? 0 : cost::NEW_LAYOUT; }
  double FreeEntries(int c, int* numFree = nullptr) const {
    double size = 1;
    for (int v : structure_.cliques[c].variables) {
      if (!findings_.IsFree(v)) continue;
      size *= structure_.numstates[v];
      if (numFree) ++*numFree;
    }
    return size;
  }
  double OfPass(int c) const {
    const Potential& potential = potentials_[c];
    return cost::MESSAGE + cost::MESSAGE_ENTRY * FreeEntries(c) +
           (potential.filled ? 0 : cost::FILL_ENTRY * potential.size);
  }

  const Structure& structure_;
  const Findings& findings_;
  const Potentials& potentials_;
  const Messages& messages_;
  const CliquePasses& passes_;
  Propagation& propagation_;
  double spent_ = 0;
  // What a sweep would take over the first so many cliques, as far as that has been asked since the last change.
  double sweepCost_ = 0;
  int numSwept_ = 0;
  Vector<int> path_, cliques_, cameFrom_;  // scratch
};

}  // namespace bravic::engine
