#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <map>

#include "Nearest.h"

namespace {

// Of each spelling what was added for it. The library's own search ends the program where memory is short.
using AddedOptions = std::map<std::string, CLI::Option*>;

void AddOption(CLI::App& app, const Option& option, AddedOptions* all) {
  CLI::Option* added = nullptr;
  const auto& names = option.names;
  if (auto* flag = std::get_if<bool*>(&option.value)) {
    added = app.add_flag(names, **flag);
  } else {
    std::visit([&](auto* value) { added = app.add_option(names, *value); }, option.value);
    if (!option.IsArgument()) added->allow_extra_args(false);
  }
  if (option.required) added->required();
  if (option.check) added->check(option.check);
  for (const std::string& spelling : option.Spellings()) (*all)[spelling] = added;
}

// Excluding and needing work in the library's own names, so all options must be there.
void AddRelations(const Command& command, const AddedOptions& all) {
  for (const Option& option : command.options) {
    CLI::Option* const added = all.at(option.Spellings()[0]);
    if (!option.excludes.empty()) added->excludes(all.at(option.excludes));
    if (!option.needs.empty()) added->needs(all.at(option.needs));
  }
}

std::string Hint(const Command& command) {
  return " (see bravic " + command.name + " --help)";
}

void RefuseUnknown(const Command& command, const std::vector<std::string>& unknown) {
  if (unknown.empty()) return;
  const std::string& text = unknown[0];
  if (text[0] != '-') throw Misuse("'" + text + "' is one argument too many" + Hint(command));
  std::vector<std::string> spellings = {"--help"};
  for (const Option& option : command.options) {
    if (option.IsArgument()) continue;
    for (const std::string& spelling : option.Spellings()) spellings.push_back(spelling);
  }
  const std::string name = text.substr(0, text.find('='));
  throw Misuse("bravic " + command.name + " has no option '" + name + "'" + DidYouMean(name, spellings, Hint(command)));
}

double NumberOf(const std::string& text, bool* good) {
  double number = 0;
  *good = CLI::detail::lexical_cast(text, number);
  return number;
}

}  // namespace

std::vector<std::string> Option::Spellings() const {
  return CLI::detail::split(names, ',');
}

std::string CheckPositive(const std::string& text) {
  bool good = false;
  return NumberOf(text, &good) > 0 && good ? "" : "'" + text + "' is not a positive number";
}

std::string CheckNotNegative(const std::string& text) {
  bool good = false;
  return NumberOf(text, &good) >= 0 && good ? "" : "'" + text + "' is not a number of 0 or more";
}

void AddCommonOptions(Program& program) {
  for (Command& command : program.commands) {
    command.Add({.names = "--memory-limit",
                 .form = "KILOBYTES",
                 .help = "refuse what the library would need more memory for than this, and what unpacks to more",
                 .value = &program.memoryLimit,
                 .check = CheckPositive});
  }
}

const Command& FindCommand(const Program& program, const std::string& name) {
  std::vector<std::string> names;
  for (const Command& command : program.commands) {
    if (command.name == name) return command;
    names.push_back(command.name);
  }
  throw Misuse("there is no command '" + name + "'" + DidYouMean(name, names, " (see bravic --help)"));
}

void ReadArguments(const Command& command, const std::vector<std::string>& arguments) {
  CLI::App app;
  app.set_help_flag();
  app.allow_extras();
  app.allow_windows_style_options(false);  // "/nets/clinic.dne" is a file there, too
  AddedOptions all;
  for (const Option& option : command.options) AddOption(app, option, &all);
  AddRelations(command, all);
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::ParseError& error) {
    RefuseUnknown(command, app.remaining());
    throw Misuse(error.what() + Hint(command));
  }
  RefuseUnknown(command, app.remaining());
}
