// Makes the program that answers a question about every case, for as many cases at a time as fill so many bytes.
#pragma once

#include "Bn/engine/cases/CaseModel.h"
#include "Bn/engine/cases/CaseProgram.h"

namespace bravic::engine {

CaseProgram MakeCaseProgram(const CaseModel& model, const CaseQuestion& question, int slotBytes);

}  // namespace bravic::engine
