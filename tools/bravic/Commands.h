// The subcommands: each file cmd_*.cpp adds one to the program.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "Session.h"

struct Program {
  CLI::App app;
  std::function<int(Session&)> run;  // of the subcommand chosen; answers the exit code
};

// Adds a subcommand with options of its own: setup fills it in, run does the work.
template <class Options>
void AddCommand(Program& program, const char* name, const char* help, void (*setup)(CLI::App*, Options*),
                int (*run)(const Options&, Session&)) {
  auto options = std::make_shared<Options>();
  CLI::App* command = program.app.add_subcommand(name, help);
  setup(command, options.get());
  command->callback(
      [&program, options, run] { program.run = [options, run](Session& session) { return run(*options, session); }; });
}

void AddAbsorb(Program& program);
void AddBeliefs(Program& program);
void AddCheck(Program& program);
void AddCompile(Program& program);
void AddDecide(Program& program);
void AddFormat(Program& program);
void AddLearn(Program& program);
void AddMpe(Program& program);
void AddSample(Program& program);
void AddScore(Program& program);
