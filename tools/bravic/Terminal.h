// What the person at the terminal sees and does: complaints, the progress bar of long operations, and whether
// there is a terminal at all.
#pragma once

#include <string>

#include "bravic.h"

bool OutputIsTerminal();
int TerminalWidth();              // of the output, 80 where it cannot be told
bool TerminalShowsBlocks();       // whether block characters (UTF-8) may be used
long long PeakMemoryKilobytes();  // of this process; -1 where it cannot be told

void Complain(const std::string& message);                              // "bravic: ...", to the standard error stream
void ComplainAt(const std::string& place, const std::string& message);  // "alarm.bif:12: ..."

// Makes sure that the three standard streams are open, so that no file of the program's takes their place; what was
// closed fails when it is read or written.
void OpenStandardStreams();
// Whether all of the output arrived; complains otherwise.
bool OutputArrived();

// The library's progress callback: draws a bar on a terminal once an operation has taken a second.
int BRAVIC_CALL ShowProgressBar(void* data, const char* what, double done, double total_seconds);
void EndProgressBar();  // wipes it
bool ProgressBarIsDrawn();
