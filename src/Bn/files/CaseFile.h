// Cases for hosts: the current findings written as a row, a row read and entered as findings, many rows read as states.
#pragma once

#include <span>

#include "Bn/model/Records.h"
#include "Win_Face/FileSpec.h"

namespace bravic {

// Appends the nodes' findings to the file. id, freq: -1 for none. The position of the row, or -1 with an error posted.
long WriteCase(std::span<const node_bn> nodes, filespec_ns file, long id, double freq);
// Makes a row of the file the findings of the net: the one at *position, an offset or one of FIRST_CASE, NEXT_CASE
// (NULL: the first); it receives where the row stands, NO_MORE_CASES at the end. id, freq: what the row says, may be
// NULL. Failures are posted.
void ReadCase(long* position, filespec_ns file, std::span<const node_bn> nodes, long* id, double* freq);

// A new list of the net's nodes that the file has a column for, as they stand there; NULL with a failure posted.
nodelist_bn ListCaseNodes(filespec_ns file, net_bn net);

// A block of rows, as many as are asked for at once.
struct CaseBlock {
  double* position;   // offset of the first row, 0 for that of the file; receives that after the last one
  long maxcases;      // rows that there is room for
  statetype* states;  // [maxcases x nodes]
  long* ids;          // [maxcases] or NULL
  double* freqs;      // [maxcases] or NULL
};
// Answers how many rows were read, 0 at the end, -1 when the first one is bad or cannot be read; failures are posted.
// Rows before a bad one are answered, and the next call begins with it.
long ReadCaseStates(filespec_ns file, std::span<const node_bn> nodes, const CaseBlock& block);

}  // namespace bravic
