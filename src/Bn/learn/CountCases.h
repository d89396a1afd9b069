// Cases counted, whole or with missing cells, and tables made of counts.
#pragma once

#include "Bn/engine/cases/ExpectedCounts.h"
#include "Bn/learn/CaseCounts.h"

namespace bravic {

// Arrays of a host's.
struct WeightedCases {
  std::span<const node_bn> columns;
  const statetype* states;  // [numCases x columns]
  const double* weights;    // [numCases], or NULL: 1 each
  long numCases;
};

// Whether the columns are nodes of that net, states theirs, weights finite and 0 or more; reported otherwise.
bool CheckCases(const WeightedCases& cases, net_bn net);
// Whether their net is compiled and infers from the columns, and the nodes have beliefs; reported otherwise.
bool CheckInferred(const WeightedCases& cases, std::span<const CountedNode> nodes, net_bn net);

// Checked cases. Failures are posted, the counts being as they were. The second answers the number of impossible cases.
bool CountCases(counts_rec& counts, const WeightedCases& cases);
long ExpectCounts(counts_rec& counts, const WeightedCases& cases, double* logLikelihood, int numThreads);
// The question that expectations of the nodes' tables are answers to; tables are those of the net.
engine::CaseQuestion AskForFamilies(std::span<const node_bn> columns, std::span<const CountedNode> nodes);

// The tables that counts make of a node's: owned until they are installed.
struct LearnedTable {
  Block<float> probs;     // [rows x states]
  Block<float> numcases;  // [rows]
};
// Whether the counts say anything of the node's table.
bool TellsOfTable(const CountedNode& counted, const double* counts, double prior);
// Rows by counts, where there are any or a prior; else as they are in old, [rows x states] or NULL, and impossible ones
// too. to has room.
void FillTable(const CountedNode& counted, const double* counts, double prior, const float* old, LearnedTable* to);
bool MakeRoom(const CountedNode& counted, LearnedTable* table);
void InstallTable(const CountedNode& counted, LearnedTable& table);

bool LearnCounts(const counts_rec& counts, double prior);

}  // namespace bravic
