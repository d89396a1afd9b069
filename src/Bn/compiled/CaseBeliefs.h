// Beliefs of many cases at once: each is a row of states, whatever findings the net has.
#pragma once

#include <span>

#include "Bn/model/Net.h"

namespace bravic {

// Arrays of a host's, as BeliefsOfCases_bn has them.
struct CaseArrays {
  const statetype* states;  // [numCases x observed]
  long numCases;
  probtype* beliefs;  // [numCases x states of the targets], or NULL
  double* logProbs;   // [numCases] or NULL
};

// Answers the number of impossible cases; negative with an error posted. The lists hold nodes of one compiled net.
long BeliefsOfCases(const nodelist_rec& observed, const nodelist_rec& targets, const CaseArrays& cases, int numThreads);

// Whether all states of the cases are their columns' or UNDEF_STATE, and whether the arrays fit into memory with so
// many numbers beside each case; reported otherwise.
bool CheckStatesOfCases(std::span<const node_bn> columns, const statetype* states, long numCases);
bool FitArrays(long numCases, double numbersOfCase);

}  // namespace bravic
