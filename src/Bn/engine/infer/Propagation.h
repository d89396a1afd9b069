// Propagation: messages are made where they are missing and collected at one clique, which tells the probability of the
// findings. Where floats and doubles may have lost what matters, all is done again in wide numbers.
#pragma once

#include "Bn/engine/infer/CliquePasses.h"
#include "Bn/engine/infer/Marginals.h"
#include "Bn/engine/infer/Messages.h"
#include "Bn/engine/infer/SharedTree.h"
#include "Bn/engine/infer/TreeWalk.h"
#include "Bn/engine/infer/WidePropagation.h"

namespace bravic::engine {

class Propagation {
 public:
  Propagation(const Structure& structure, Findings& findings, const NodeTables& tables, const Potentials& potentials,
              Messages& messages, CliquePasses& passes, SharedTree& shared, WidePropagation& wide,
              const Marginals& marginals, const Mode& mode);

  // Something has changed; the pivot says where.
  void Forget();
  void SetPivot(int clique) {
    pivot_ = clique;
    readNode_ = -1;
  }
  int Pivot() const { return pivot_; }

  // Makes the message, all into the clique but its opposite being valid.
  Outcome MakeMessage(int clique, int link);
  // Makes every message into the clique valid, as long as all goes well.
  Outcome Collect(int clique);
  // Finds out whether the findings are possible, and their probability; together with the belief of a node that the
  // pivot holds, unless wide numbers are needed (-1: without).
  Status Propagate(int node, std::span<float> to);
  // The same, found out by others.
  void Take(Status status, ScaledNumber probability);

  bool IsDone() const { return isDone_; }
  Status Answer() const { return status_; }                  // once it is done
  ScaledNumber Probability() const { return probability_; }  // of the findings
  // Whether the findings need the range of wide numbers.
  bool IsWide() const { return isWide_; }
  void GoWide() { isWide_ = true; }
  // How often messages have been collected.
  unsigned NumCollections() const { return numCollections_; }
  // Of the cliques that hold the node, the nearest to the pivot.
  int CliqueForReading(int node);

 private:
  Status PropagateNarrow(int node, std::span<float> to);
  Status PropagateWide();

  const Structure& structure_;
  Findings& findings_;
  const NodeTables& tables_;
  const Potentials& potentials_;
  Messages& messages_;
  CliquePasses& passes_;
  SharedTree& shared_;
  WidePropagation& wide_;
  const Marginals& marginals_;
  const Mode& mode_;
  int pivot_;  // clique to which messages are collected: where the latest change was
  bool isDone_ = false, isWide_ = false;
  Status status_ = Status::Done;
  ScaledNumber probability_;
  unsigned numCollections_ = 0;
  int readNode_ = -1, readClique_ = -1;  // the latest answer of CliqueForReading, for this pivot
  TreeWalk walk_;
  Vector<int> path_;  // scratch
};

}  // namespace bravic::engine
