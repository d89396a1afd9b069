// What the person at the terminal sees and does: complaints, the progress bar of long operations, interrupts, and
// whether there is a terminal at all.
#pragma once

#include <string>

#include "bravic.h"

bool OutputIsTerminal();
int TerminalWidth();              // of the output, 80 where it cannot be told
bool TerminalShowsBlocks();       // whether block characters (UTF-8) may be used
long long PeakMemoryKilobytes();  // of this process; -1 where it cannot be told

void Complain(const std::string& message);  // "bravic: ...", to the standard error stream

// From now on the first interrupt is remembered and halts the library; a second one ends the program.
void WatchInterrupts();
bool Interrupted();

// The library's progress callback: draws a bar on a terminal once an operation has taken a second. Answers whether
// to halt.
int BRAVIC_CALL ShowProgressBar(void* data, const char* what, double done, double total_seconds);
void EndProgressBar();  // wipes it
