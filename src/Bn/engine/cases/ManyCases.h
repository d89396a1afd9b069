// The door to many cases at once: a question is prepared, and then answered for any number of cases by several threads.
// The answers to a case are the same bits whatever other cases there are, in which order, and on however many threads.
//
// Cases of small and middling nets are taken a vector at a time through one program (Lanes.h), those of large ones one
// by one, over the tree (SingleCase.h) or over what is left of the net in the case (CaseElimination.h). Those whose
// numbers may have left the range of floats are computed again in doubles, and what these do not hold either by
// inference of unlimited range. Equal cases are computed once.
#pragma once

#include "Bn/engine/Interrupt.h"
#include "Bn/engine/cases/CaseElimination.h"
#include "Bn/engine/cases/DistinctCases.h"
#include "Bn/engine/cases/Lanes.h"
#include "Bn/engine/cases/SingleCase.h"

namespace bravic::engine {

// What is known of the cases, and where the answers go.
struct CaseBatch {
  const int* states;  // [numCases x observed]; less than 0: not known
  std::ptrdiff_t numCases;
  float* beliefs;    // [numCases x (states of all targets, tables of all families)], or NULL
  double* logProbs;  // [numCases] or NULL: natural logarithm of the probability of what is known
};

// How cases are computed: as the size of the net and what is known ask for, or, to test it, always in one way. Without
// the tree go all that fit.
enum class CaseWay { CHEAPEST, LANES, OVER_TREE, WITHOUT_TREE };

class ManyCases {
 public:
  // runner: the fastest, or another to test it.
  explicit ManyCases(CaseQuestion question, CaseWay way = CaseWay::CHEAPEST,
                     const LaneRunner<float>& runner = BestLaneRunner());

  const CaseQuestion& Question() const { return question_; }
  // Tables are other ones from now on, the question being the same.
  void TablesChanged();
  // Whether what is prepared for the next cases takes little room.
  bool IsSmall() const { return !single_ && isReady_; }
  // NoMemory, Halted: the answers are unfinished. numImpossible: cases that cannot be.
  Status Answer(const CaseBatch& batch, int numThreads, const ProgressFunction& progress,
                std::ptrdiff_t* numImpossible);

 private:
  template <class Number>
  struct Workspace;
  struct Team;
  using Cases = std::span<const std::ptrdiff_t>;

  template <class Number>
  bool MakeRoom(int lanes, Workspace<Number>* space) const;
  template <class Number>
  void RunLanes(const LaneRunner<Number>& runner, const CaseProgram& program, const CaseBatch& batch, Cases cases,
                Workspace<Number>* space, CaseFate* fates) const;
  struct SingleRoom;
  void RunSingly(const CaseBatch& batch, Cases cases, SingleRoom* room, CaseFate* fates) const;
  void Sort(const CaseBatch& batch, std::span<std::ptrdiff_t> cases) const;
  Status RunAll(const CaseBatch& batch, const DistinctCases& kinds, int numThreads, const ProgressFunction& progress,
                CaseFate* fates);
  Status AnswerDoubtful(const CaseBatch& batch, const ProgressFunction& progress, CaseFate* fates) const;
  Status AnswerWidely(const CaseBatch& batch, std::ptrdiff_t number, CaseFate* fate) const;
  void AnswerImpossible(const CaseBatch& batch, std::ptrdiff_t number) const;
  void CopyAnswers(const CaseBatch& batch, const DistinctCases& kinds, CaseFate* fates) const;

  const CaseQuestion question_;
  const CaseModel model_;
  const LaneRunner<float>& runner_;
  int numBeliefs_ = 0;    // of a case
  Owned<CaseTree> tree_;  // NULL where there is nothing to be computed
  CaseProgram program_;
  bool isReady_ = true;                 // false: the program could not be made for want of memory
  Owned<SingleCase> single_;            // NULL where cases are computed in lanes
  Owned<CaseElimination> elimination_;  // NULL without single_, too
};

}  // namespace bravic::engine
