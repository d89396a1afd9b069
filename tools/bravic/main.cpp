// bravic: belief networks at the command line. A client of bravic.h and bravic_formats.h alone.
#include <cstdio>
#include <new>

#include "Commands.h"
#include "Manual.h"
#include "Nearest.h"
#include "Signals.h"
#include "Terminal.h"

namespace {

bool AsksForHelp(const std::vector<std::string>& arguments) {
  for (const std::string& argument : arguments) {
    if (argument == "--") return false;
    if (argument == "--help" || argument == "-h") return true;
  }
  return false;
}

int Print(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  return DONE;
}

int RunCommand(const Program& program, const std::string& name, const std::vector<std::string>& arguments) {
  const Command& command = FindCommand(program, name);
  if (AsksForHelp(arguments)) return Print(HelpOfCommand(command));
  ReadArguments(command, arguments);
  Session session(program.memoryLimit);
  return command.run(session);
}

int Run(const Program& program, const std::vector<std::string>& arguments) {
  const std::string first = arguments.empty() ? "--help" : arguments[0];
  if (first == "--version") return Print("bravic " BRAVIC_VERSION "\n");
  if (first == "--generate" && arguments.size() == 2) {  // for the build
    const std::string text = Generated(program, arguments[1]);
    if (!text.empty()) return Print(text);
  }
  if (first == "help" && arguments.size() > 1) return Print(HelpOfCommand(FindCommand(program, arguments[1])));
  if (first == "--help" || first == "-h" || first == "help") return Print(HelpOfProgram(program));
  if (first.starts_with('-'))
    throw Misuse("bravic has no option '" + first + "'" +
                 DidYouMean(first, {"--help", "--version"}, " (see bravic --help)"));
  return RunCommand(program, first, {arguments.begin() + 1, arguments.end()});
}

Program AllCommands() {
  Program program;
  for (auto* add :
       {AddAbsorb,  AddBeliefs, AddCheck,       AddCompile,   AddConvert,     AddDecide,    AddDiscretize, AddEm,
        AddExplain, AddExplore, AddFormat,      AddInfer,     AddInformation, AddJoint,     AddLearn,      AddMpe,
        AddSample,  AddScore,   AddSensitivity, AddSeparated, AddShow,        AddStructure, AddValidate})
    add(program);
  return program;
}

int RunReporting(int argc, char** argv) {
  try {
    Program program = AllCommands();
    AddCommonOptions(program);
    return Run(program, {argv + 1, argv + argc});
  } catch (const Misuse& misuse) {
    Complain(misuse.what());
    return MISUSED;
  } catch (const Refusal& refusal) {
    Complain(Message{.isError = true, .place = refusal.place, .text = refusal.what()});
    return REFUSED;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& failure) {
    Complain(failure.what());
    return REFUSED;
  }
}

// Without memory nothing is put together.
int RunInMemory(int argc, char** argv) {
  try {
    return RunReporting(argc, argv);
  } catch (const std::bad_alloc&) {
    std::fputs("bravic: not enough memory\n", stderr);
    return REFUSED;
  }
}

}  // namespace

int main(int argc, char** argv) {
  OpenStandardStreams();
  WatchSignals();
  const int code = RunInMemory(argc, argv);
  return code == DONE && !OutputArrived() ? REFUSED : code;
}
