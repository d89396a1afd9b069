// The numbers of one node's relation: as many as were wanted, each of them one to work with, rows that sum to 1.
#pragma once

#include <string>
#include <vector>

#include "formats/Description.h"
#include "formats/Problems.h"

namespace formats {

// Rows this near to 1 are left alone, bit for bit; those within the wider tolerance are normalized.
inline constexpr double EXACT_SUM = 1e-6, NEAR_SUM = 1e-4;

// parents: parallel to the node's. Normalizes rows, fills in tables that are left out, and clears what cannot be used.
void CheckTable(NodeDescription* node, const std::vector<const NodeDescription*>& parents, bool rowsAreCounts,
                Problems* problems);

inline constexpr long long MAX_ENTRIES = 1 << 26;  // of a table

// The product of the parents' numbers of states; -1 where the table, of perRow numbers each, would be too large.
int CountRows(const std::vector<const NodeDescription*>& parents, int perRow);

// "(yes, no)": the states that pick a row; "()" without parents.
std::string RowName(int row, const std::vector<const NodeDescription*>& parents);

}  // namespace formats
