// Times the most probable configurations, and joint states of some nodes, of compiled nets.
//
//   bench_configs [--count=5] [--nodes=5] [--findings=10] NET.dne ...
//
// Prints processor time in milliseconds, the median of several calls: of the best configurations without findings and
// with some that are possible together; by how much the best one's logarithm misses what the net in the mode of
// SetNetFindMPE_bn has for it; of the joint states of some nodes, spread over the net; and, to compare, of one belief
// update in that mode.
#include <algorithm>
#include <cmath>

#include "bench.h"

namespace {

struct Options {
  int count = 5, nodes = 5, findings = 10;
};

template <class Call>
double MedianMilliseconds(Call call) {
  constexpr int RUNS = 5;
  std::vector<double> times;
  for (int i = 0; i < RUNS; ++i) {
    const double before = Seconds(CLOCK_PROCESS_CPUTIME_ID);
    call();
    times.push_back(1000 * (Seconds(CLOCK_PROCESS_CPUTIME_ID) - before));
  }
  std::nth_element(times.begin(), times.begin() + RUNS / 2, times.end());
  return times[RUNS / 2];
}

void CheckNothingReported(const char* what) {
  if (GetError_ns(env, 5, nullptr)) Fail(what);
}

struct Answer {
  double milliseconds, logarithm;
};

Answer FindConfigs(net_bn net, const Options& options) {
  std::vector<statetype> states(static_cast<std::size_t>(options.count) *
                                static_cast<std::size_t>(LengthNodeList_bn(GetNetNodes_bn(net))));
  std::vector<double> probs(static_cast<std::size_t>(options.count));
  Answer answer{};
  answer.milliseconds =
      MedianMilliseconds([&] { MostProbableConfigs_bn(net, options.count, states.data(), probs.data()); });
  CheckNothingReported("MostProbableConfigs_bn");
  answer.logarithm = std::log(probs[0]);
  return answer;
}

Answer Propagate(net_bn net) {
  Answer answer{};
  SetNetFindMPE_bn(net, 1);
  node_bn node = NthNode_bn(GetNetNodes_bn(net), 0);
  answer.milliseconds = MedianMilliseconds([&] {
    SetNetFindMPE_bn(net, 0);
    GetNodeBeliefs_bn(node);
    SetNetFindMPE_bn(net, 1);
    CaseProbability_bn(net);
  });
  answer.logarithm = CaseLogProbability_bn(net);
  SetNetFindMPE_bn(net, 0);
  CheckNothingReported("SetNetFindMPE_bn");
  return answer;
}

double FindStates(net_bn net, const Options& options) {
  nodelist_bn all = GetNetNodes_bn(net), some = NewNodeList_bn(0, env);
  const int n = LengthNodeList_bn(all), number = std::min(options.nodes, n);
  for (int i = 0; i < number; ++i) AddNodeToList_bn(NthNode_bn(all, i * n / number), some, i);
  std::vector<statetype> states(static_cast<std::size_t>(number));
  const double milliseconds = MedianMilliseconds([&] { MostProbableStates_bn(some, states.data(), nullptr); });
  FreeNodeList_bn(some);
  if (report_ns error = GetError_ns(env, 5, nullptr)) {
    std::printf("  (%s)\n", ErrorMessage_ns(error));
    ClearErrors_ns(env, 6);
    return -1;
  }
  return milliseconds;
}

void EnterDrawn(net_bn net, int number) {
  SeedRandom_ns(20, env);
  if (RandomCase_bn(GetNetNodes_bn(net), 0, 10) < 0) Fail("RandomCase_bn");
  const int n = LengthNodeList_bn(GetNetNodes_bn(net));
  for (int i = 0, left = 0; i < n; ++i) {
    const bool stays = i * number / n > left;
    left += stays;
    if (!stays) RetractNodeFindings_bn(NthNode_bn(GetNetNodes_bn(net), i));
  }
}

void Measure(const std::string& path, const Options& options) {
  net_bn net = ReadOrFail(path);
  CompileNet_bn(net);
  const Answer without = FindConfigs(net, options), propagated = Propagate(net);
  const double states = FindStates(net, options);
  EnterDrawn(net, options.findings);
  const Answer with = FindConfigs(net, options), propagatedWith = Propagate(net);
  std::printf("%-12s %9.2f %9.2f %10.1e %10.1e %9.2f %9.2f\n", GetNetName_bn(net), without.milliseconds,
              with.milliseconds, without.logarithm - propagated.logarithm, with.logarithm - propagatedWith.logarithm,
              states, propagated.milliseconds);
  FreeNet_bn(net);
}

}  // namespace

int main(int argc, char** argv) {
  BeginEnvironment();
  Options options;
  std::printf("%-12s %9s %9s %10s %10s %9s %9s\n", "net", "best", "findings", "misses", "findings", "states", "update");
  for (int i = 1; i < argc; ++i) {
    if (std::sscanf(argv[i], "--count=%d", &options.count) == 1) continue;
    if (std::sscanf(argv[i], "--nodes=%d", &options.nodes) == 1) continue;
    if (std::sscanf(argv[i], "--findings=%d", &options.findings) == 1) continue;
    Measure(argv[i], options);
  }
  CloseEnvironment();
  return 0;
}
