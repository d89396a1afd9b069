// The program's commands and their options, as one table: the command line is read by it, and the help texts, the
// manual page and the shells' completions are made from it (Manual.h).
#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

class Session;

struct Option {
  std::string names = {};  // "--output,-o"; of an argument that is told by its place: what it is, "NET"
  std::string form = {};   // what the value looks like, "SECONDS"; empty for arguments and flags
  std::string help = {};
  // Borrowed. A list takes one value each time the option is given; an argument that is a list takes all that come.
  std::variant<bool*, int*, long*, double*, std::string*, std::vector<std::string>*> value = {};
  bool required = false;
  bool file = false;                                   // names a file
  std::string excludes = {};                           // another option that makes no sense beside this one
  std::string needs = {};                              // another option without which this one makes no sense
  std::string (*check)(const std::string&) = nullptr;  // what is wrong with a value; empty when nothing is

  bool IsArgument() const { return names[0] != '-'; }
  bool IsFlag() const { return std::holds_alternative<bool*>(value); }
  bool IsList() const { return std::holds_alternative<std::vector<std::string>*>(value); }
  std::vector<std::string> Spellings() const;  // "--output", "-o"
};

struct Command {
  std::string name, help;
  std::string notes = {};  // what else there is to say; lines are kept
  std::vector<Option> options = {};
  std::function<int(Session&)> run = {};  // answers the exit code

  void Add(Option option) { options.push_back(std::move(option)); }
};

struct Program {
  std::vector<Command> commands;
  long memoryLimit = 0;  // kilobytes; 0: none
};

// The options that every command has, to those that are there.
void AddCommonOptions(Program& program);

enum ExitCode { DONE = 0, REFUSED = 1, MISUSED = 2, INTERRUPTED = 130 };

// A command line that makes no sense.
struct Misuse : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Adds a command with options of its own: setup describes them, run does the work.
template <class Options>
void AddCommand(Program& program, const char* name, const char* help, void (*setup)(Command*, Options*),
                int (*run)(const Options&, Session&)) {
  auto options = std::make_shared<Options>();
  Command command{name, help};
  setup(&command, options.get());
  command.run = [options, run](Session& session) { return run(*options, session); };
  program.commands.push_back(std::move(command));
}

// The command of that name; throws Misuse when there is none.
const Command& FindCommand(const Program& program, const std::string& name);
// Gives the options of the command their values. Throws Misuse.
void ReadArguments(const Command& command, const std::vector<std::string>& arguments);

// Checks of values.
std::string CheckPositive(const std::string& text);
std::string CheckNotNegative(const std::string& text);
