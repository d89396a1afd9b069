// How well a node's parents explain it in a data set: the node's share of a score that is a sum over families, higher
// is better, in natural logarithms. BIC (Schwarz 1978): the log likelihood less ln(N) / 2 for each free parameter; BDeu
// (Heckerman, Geiger & Chickering 1995): the probability of the data under even Dirichlet priors; or the log likelihood
// alone.
//
// Families with missing cells are scored by their complete cases, parent by parent, the one first that alone gains
// most: each adds by how much it improves the score of the cases in which it, those before it and the node are known,
// scaled to all cases. So a parent is judged by cases that are known with and without it, and with nothing missing the
// sum is the ordinary score.
//
// Counts are whole numbers, and the terms of a score are added up as whole numbers, too: the order in which cases are
// counted, the way in which it is done and the number of threads make no difference to any bit.
#pragma once

#include <span>

#include "Bn/engine/Interrupt.h"
#include "Bn/engine/learn/CaseColumns.h"
#include "Bn/engine/learn/FamilyCache.h"
#include "Bn/engine/learn/FamilyCounter.h"
#include "Bn/engine/learn/ScoreTerms.h"

namespace bravic::engine {

class FamilyScores {
 public:
  // The cases must outlive it. prior: equivalent sample size of BDeu. interrupt: asked during long counts, or NULL;
  // once it is halted scores mean nothing.
  FamilyScores(const CaseColumns& cases, ScoreKind kind, double prior, int numThreads = 1,
               Interrupt* interrupt = nullptr);
  // False without memory, from the start or since: scores then mean nothing.
  bool IsReady() const { return counter_.IsReady(); }

  void SetWay(FamilyCounter::Way way) { counter_.SetWay(way); }  // to test it

  const CaseColumns& Cases() const { return cases_; }
  int NumNodes() const { return cases_.NumNodes(); }
  // parents in any order, each once.
  double Score(int node, std::span<const int> parents);
  double Score(std::span<const Vector<int>> parents);  // of all nodes
  // For each of the others: the score if it were added to the parents or, where it is one, taken out.
  void ScoreToggled(int node, std::span<const int> parents, std::span<const int> others, double* scores);
  // What a complete family's log likelihood is lowered by for the number of its parameters.
  double Penalty(int node, std::span<const int> parents) const;

 private:
  double CountScore(int node, std::span<const int> parents);
  double ScoreChain(int node, std::span<const int> parents);
  double Strength(int node, int parent);
  double Gain(int node, int candidate, const CandidateSums& sums) const;
  bool HasMissing(int node, std::span<const int> parents) const;
  double ScaleToAll(std::int64_t weight) const;

  const CaseColumns& cases_;
  FamilyCounter counter_;
  ScoreTerms terms_;
  FamilyCache cache_;
  Vector<CandidateSums> sums_;
};

}  // namespace bravic::engine
