// Single cases for hosts: the current findings written as a row, a row read and entered as findings.
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

}  // namespace bravic
