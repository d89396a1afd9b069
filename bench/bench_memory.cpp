// What compiling and reading every belief add to a net's memory: the largest resident size of a process that reads the
// net, compiles it, and reads every belief without findings and with one; less what it was once the net was read.
//
//   bench_memory NET.dne ...
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "bench.h"

namespace {

double LargestMegabytes() {
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) * 1024 / 1e6;
}

void ReadAll(net_bn net) {
  nodelist_bn nodes = GetNetNodes_bn(net);
  for (int i = 0; i < LengthNodeList_bn(nodes); ++i) GetNodeBeliefs_bn(NthNode_bn(nodes, i));
}

void Measure(const char* path) {
  BeginEnvironment();
  net_bn net = ReadOrFail(path);
  const double before = LargestMegabytes();
  CompileNet_bn(net);
  ReadAll(net);
  node_bn first = NthNode_bn(GetNetNodes_bn(net), 0);
  const probtype* belief = GetNodeBeliefs_bn(first);
  EnterFinding_bn(first,
                  static_cast<statetype>(std::max_element(belief, belief + GetNodeNumberStates_bn(first)) - belief));
  ReadAll(net);
  if (GetError_ns(env, 5, nullptr)) Fail(path);
  std::printf("| %s | %.1f MB |\n", std::filesystem::path(path).stem().string().c_str(), LargestMegabytes() - before);
  std::fflush(stdout);
}

}  // namespace

// Each net has a process of its own.
int main(int argc, char** argv) {
  std::puts("| Net | Peak |");
  std::puts("| --- | ---: |");
  std::fflush(stdout);
  int failures = 0;
  for (int i = 1; i < argc; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      Measure(argv[i]);
      std::_Exit(0);
    }
    int status = 1;
    waitpid(child, &status, 0);
    failures += status != 0;
  }
  return failures > 0;
}
