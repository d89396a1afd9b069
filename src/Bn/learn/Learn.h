// Revising probability tables from cases by counting, and fading what was learned.
#pragma once

#include <span>

#include "Bn/model/Records.h"
#include "Win_Face/FileSpec.h"

namespace bravic {

// The case that the current findings describe, with a weight. Stops at the first failure, which is posted; nodes
// before it keep what they learned.
void LearnFindings(std::span<const node_bn> nodes, double degree);
// Every case of the file. What was counted before a bad row stays.
void LearnFile(filespec_ns file, std::span<const node_bn> nodes, double degree);
bool HasOwnRows(const bnode& node);           // a table of probabilities that does not follow from a function
void FadeTable(node_bn node, double degree);  // of a node that has them; 0 .. 1

}  // namespace bravic
