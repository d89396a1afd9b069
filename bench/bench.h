// What the benchmarks share: the environment, the way out when something fails, and the main loop.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
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

inline void BeginEnvironment() {
  char message[MESG_LEN_ns];
  env = NewBravicEnviron_bn();
  if (InitBravic_bn(env, message) < 0) Fail(message);
}

inline net_bn ReadOrFail(const std::string& path) {
  filespec_ns file = FileNamed_ns(path.c_str(), env);
  net_bn net = ReadNet_bn(file, 0);
  FreeFileSpec_ns(file);
  if (!net || GetError_ns(env, 5, nullptr)) Fail(path);
  return net;
}

inline double Seconds(clockid_t clock) {
  timespec time;
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// Runs what registerAll registers, given the folder of --nets=DIR.
template <class RegisterAll>
int RunBenchmarks(int argc, char** argv, RegisterAll registerAll) {
  BeginEnvironment();
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
