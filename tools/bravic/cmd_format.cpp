// bravic format: a net file rewritten in the library's own form.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>

#include "Commands.h"

namespace {

struct Options {
  std::string net, output;
};

void Setup(CLI::App* command, Options* options) {
  command->add_option("NET", options->net, "net file")->required();
  command->add_option("--output,-o", options->output, "the file to write (may be NET itself); else the output")
      ->type_name("OUT");
}

// A folder of this process's own, gone at the end of the scope.
struct TemporaryFolder {
  std::filesystem::path path;
  TemporaryFolder() {
    const auto base = std::filesystem::temp_directory_path();
    std::random_device random;
    std::error_code error;
    do path = base / ("bravic-" + std::to_string(random()));
    while (!std::filesystem::create_directory(path, error) && !error);
    if (error) throw Refusal("can't make a temporary folder in " + base.string() + ": " + error.message());
    std::filesystem::permissions(path, std::filesystem::perms::owner_all, error);
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
};

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  if (!options.output.empty()) {
    session.Write(net, options.output);
    return 0;
  }
  const TemporaryFolder folder;
  const auto file = folder.path / "net.dne";
  session.Write(net, file.string());
  std::cout << std::ifstream(file, std::ios::binary).rdbuf() << std::flush;
  return std::cout ? 0 : 1;
}

}  // namespace

void AddFormat(Program& program) {
  AddCommand<Options>(program, "format", "Rewrite a net file in the library's own form", Setup, Run);
}
