// The entries of a table, one by one or a row at a time. Rows of plain numbers take a short way; everything else
// (comments between entries, escapes, number words, errors) goes the general way from the start of the row.
#pragma once

#include "Bn/files/OpenTable.h"

namespace bravic {

// All answer false with the error reported.
bool ReadEntry(OpenTable& table, char* cell);        // one; the channel may stand before anything
bool ReadRow(OpenTable& table, char* cells);         // of probabilities, behind its "(", up to its ")"
bool CheckRow(OpenTable& table, const char* cells);  // whether it sums to 1

}  // namespace bravic
