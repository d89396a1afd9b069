// What the benchmarks share: the environment, the way out when something fails, and the main loop.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "bravic.h"

inline environ_ns env;

[[noreturn]] inline void Fail(const std::string& what) {
  report_ns error = GetError_ns(env, 5, nullptr);
  std::fprintf(stderr, "%s: %s\n", what.c_str(), error ? ErrorMessage_ns(error) : "failed");
  std::exit(1);
}

// Runs what registerAll registers, given the folder of --nets=DIR.
template <class RegisterAll>
int RunBenchmarks(int argc, char** argv, RegisterAll registerAll) {
  char message[MESG_LEN_ns];
  env = NewBravicEnviron_bn();
  if (InitBravic_bn(env, message) < 0) Fail(message);
  std::filesystem::path nets = BRAVIC_SOURCE_DIR "/../shared/nets";
  std::vector<char*> arguments;
  for (int i = 0; i < argc; ++i) {
    if (std::strncmp(argv[i], "--nets=", 7) == 0) {
      nets = argv[i] + 7;
    } else {
      arguments.push_back(argv[i]);
    }
  }
  registerAll(nets);
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}

inline void CloseEnvironment() {
  char message[MESG_LEN_ns];
  CloseBravic_bn(env, message);
}
