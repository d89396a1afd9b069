// Tables in a file: one line for each configuration of the parents, nested in parentheses, with the configuration in a
// comment. Entries are floats with the fewest digits that read back to the same float, so rows sum to what they summed
// to.
#pragma once

#include "Bn/files/NetPrinter.h"

namespace bravic {

enum class FunctionForm { None, States, Numbers };
FunctionForm FunctionFormOf(const bnode& node);
bool HasProbTable(const bnode& node);        // probs, and rows for it
bool HasExperienceTable(const bnode& node);  // numcases, and rows for it
// Each begins with a new line and leaves the statement to be closed.
void PrintProbs(NetPrinter& printer, const bnode& node);
void PrintFunction(NetPrinter& printer, const bnode& node);
void PrintExperience(NetPrinter& printer, const bnode& node);  // or a single number

}  // namespace bravic
