// The commands: each file cmd_*.cpp adds one to the program.
#pragma once

#include "CommandLine.h"
#include "Session.h"

// What many commands say in the same words.
inline constexpr char NET_HELP[] = "net file, of any format; - is the standard input";
inline constexpr char CASES_HELP[] = "case file; - is the standard input";
inline constexpr char OUT_HELP[] =
    "write the net to this file, in the format of its extension; - is the standard output";
inline constexpr char FORCE_HELP[] = "write over NET even if parts of it could not be read";

void AddAbsorb(Program& program);
void AddBeliefs(Program& program);
void AddCheck(Program& program);
void AddCompile(Program& program);
void AddConvert(Program& program);
void AddDecide(Program& program);
void AddDiscretize(Program& program);
void AddEm(Program& program);
void AddExplain(Program& program);
void AddExplore(Program& program);
void AddFormat(Program& program);
void AddInfer(Program& program);
void AddInformation(Program& program);
void AddJoint(Program& program);
void AddLearn(Program& program);
void AddMpe(Program& program);
void AddSample(Program& program);
void AddScore(Program& program);
void AddSensitivity(Program& program);
void AddSeparated(Program& program);
void AddShow(Program& program);
void AddStructure(Program& program);
void AddValidate(Program& program);
