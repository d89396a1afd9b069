// bravic format: a net file rewritten in the library's own form.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>

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

// A file that is gone at the end of the scope.
struct TemporaryFile {
  std::filesystem::path path;
  TemporaryFile() {
    std::string name = (std::filesystem::temp_directory_path() / "bravic-XXXXXX").string();
    const int descriptor = mkstemp(name.data());
    if (descriptor < 0) throw Refusal("can't make a temporary file in " + path.parent_path().string());
    std::fclose(fdopen(descriptor, "w"));
    path = name;
  }
  ~TemporaryFile() {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
  }
};

int Run(const Options& options, Session& session) {
  const Net net = session.Read(options.net);
  if (!options.output.empty()) {
    session.Write(net, options.output);
    return 0;
  }
  const TemporaryFile file;
  session.Write(net, file.path.string());
  std::cout << std::ifstream(file.path, std::ios::binary).rdbuf() << std::flush;
  return std::cout ? 0 : 1;
}

}  // namespace

void AddFormat(Program& program) {
  AddCommand<Options>(program, "format", "Rewrite a net file in the library's own form", Setup, Run);
}
