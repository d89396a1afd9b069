// bravic: belief networks at the command line. A client of bravic.h alone.
#include "Commands.h"
#include "Terminal.h"

namespace {

constexpr int REFUSED = 1, MISUSED = 2;

std::string Version() {
  Session session;
  const char* text = "";
  GetBravicVersion_bn(session.Environment(), &text);
  return text;
}

}  // namespace

int main(int argc, char** argv) {
  Program program;
  program.app.name("bravic");
  program.app.description("Belief networks and decision networks at the command line.");
  program.app.require_subcommand(1);
  program.app.set_version_flag("--version", Version);
  for (auto* add :
       {AddAbsorb, AddBeliefs, AddCheck, AddCompile, AddDecide, AddFormat, AddLearn, AddMpe, AddSample, AddScore})
    add(program);
  try {
    program.app.parse(argc, argv);
    Session session;
    return program.run(session);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return program.app.exit(error);
    Complain(error.what());
    return MISUSED;
  } catch (const std::exception& refusal) {
    Complain(refusal.what());
    return REFUSED;
  }
}
