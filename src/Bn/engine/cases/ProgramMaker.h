// Makes the program that answers a question about every case, for as many cases at a time as fill so many bytes;
// false without memory.
#pragma once

#include "Bn/engine/cases/CaseProgram.h"
#include "Bn/engine/cases/CaseTree.h"

namespace bravic::engine {

bool MakeCaseProgram(const CaseTree& tree, int slotBytes, CaseProgram* program);

}  // namespace bravic::engine
