// Texts made from the table of commands: help, the manual page, the shells' completions.
#pragma once

#include <string>

#include "CommandLine.h"

std::string HelpOfProgram(const Program& program);
std::string HelpOfCommand(const Command& command);

// what: "man" (a page in the language of man), or completions for "bash", "zsh" or "fish"; empty for anything else.
std::string Generated(const Program& program, const std::string& what);
