// The door to many cases at once: a question is prepared, and then answered for any number of cases by several threads.
// The answers to a case are the same bits whatever other cases there are, in which order, and on however many threads.
//
// Cases are taken a vector at a time through one program (Lanes.h). Those whose numbers leave the range of floats are
// computed again in doubles, and what these do not hold either by inference of unlimited range.
#pragma once

#include "Bn/engine/Interrupt.h"
#include "Bn/engine/cases/CaseModel.h"
#include "Bn/engine/cases/Lanes.h"

namespace bravic::engine {

// What is known of the cases, and where the answers go.
struct CaseBatch {
  const int* states;  // [numCases x observed]; less than 0: not known
  std::ptrdiff_t numCases;
  float* beliefs;    // [numCases x states of all targets], or NULL
  double* logProbs;  // [numCases] or NULL: natural logarithm of the probability of what is known
};

class ManyCases {
 public:
  // runner: another than the fastest to test it.
  explicit ManyCases(CaseQuestion question, const LaneRunner<float>& runner = BestLaneRunner());

  // NoMemory, Halted: the answers are unfinished. numImpossible: cases that cannot be.
  Status Answer(const CaseBatch& batch, int numThreads, const ProgressFunction& progress,
                std::ptrdiff_t* numImpossible) const;

 private:
  // What has become of a case.
  enum class Fate : unsigned char { POSSIBLE, IMPOSSIBLE, DOUBTFUL };
  template <class Number>
  struct Workspace;
  struct Team;

  template <class Number>
  bool MakeRoom(int lanes, Workspace<Number>* space) const;
  template <class Number>
  void RunCases(const LaneRunner<Number>& runner, const CaseProgram& program, const CaseBatch& batch,
                std::span<const std::ptrdiff_t> cases, Workspace<Number>* space, Fate* fates) const;
  Status AnswerDoubtful(const CaseBatch& batch, const ProgressFunction& progress, Fate* fates) const;
  Status AnswerWidely(const CaseBatch& batch, std::ptrdiff_t number, Fate* fate) const;
  void AnswerImpossible(const CaseBatch& batch, std::ptrdiff_t number) const;

  const CaseQuestion question_;
  const CaseModel model_;
  const LaneRunner<float>& runner_;
  const CaseProgram program_;
};

}  // namespace bravic::engine
