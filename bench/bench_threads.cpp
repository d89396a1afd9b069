// Times all beliefs with one thread and with several: wall-clock time, and processor time of all threads together and
// of the calling one, which on a busy machine tells better than the wall clock how well the work is divided; the
// medians of rounds, in milliseconds, the numbers of threads taken in turn. Checksums of the bits of all beliefs must
// be the same for every number.
//
//   all stale      min (10, half of the nodes) other findings, after most probable states were asked for: no message is
//                  left of the time before
//   new findings   the same, but for that
//   first read     a net just read and compiled
//
//   bench_threads [--rounds=20] [--threads=3] NET.dne ...
#include <algorithm>
#include <cstdint>
#include <ctime>

#include "bench.h"

namespace {

constexpr int SEED = 20, MOST_FINDINGS = 10;
int rounds = 20, mostThreads = 3;

double Clock(clockid_t clock) {
  return Seconds(clock) * 1e3;
}

struct Times {
  std::vector<double> wall, processor, caller;
  std::uint64_t checksum = 0;
  double beganWall = 0, beganProcessor = 0, beganCaller = 0;

  void Start() {
    beganWall = Clock(CLOCK_MONOTONIC);
    beganProcessor = Clock(CLOCK_PROCESS_CPUTIME_ID);
    beganCaller = Clock(CLOCK_THREAD_CPUTIME_ID);
  }
  void Stop() {
    wall.push_back(Clock(CLOCK_MONOTONIC) - beganWall);
    processor.push_back(Clock(CLOCK_PROCESS_CPUTIME_ID) - beganProcessor);
    caller.push_back(Clock(CLOCK_THREAD_CPUTIME_ID) - beganCaller);
  }
  static double Median(std::vector<double> times) {
    std::nth_element(times.begin(), times.begin() + std::ssize(times) / 2, times.end());
    return times[times.size() / 2];
  }
};

void ReadBeliefs(net_bn net, std::uint64_t* checksum) {
  const nodelist_bn nodes = GetNetNodes_bn(net);
  for (int i = 0; i < LengthNodeList_bn(nodes); ++i) {
    const node_bn node = NthNode_bn(nodes, i);
    const probtype* beliefs = GetNodeBeliefs_bn(node);
    for (int s = 0; s < GetNodeNumberStates_bn(node); ++s) {
      std::uint32_t bits;
      std::memcpy(&bits, beliefs + s, sizeof bits);
      *checksum = (*checksum ^ bits) * 0x100000001B3u;
    }
  }
}

// New findings, of other nodes each time.
void Enter(net_bn net, int round) {
  const nodelist_bn nodes = GetNetNodes_bn(net);
  const int n = LengthNodeList_bn(nodes), count = std::min(n / 2, MOST_FINDINGS);
  SeedRandom_ns(SEED + round, env);
  RetractAllFindings_bn(net);
  nodelist_bn all = DupNodeList_bn(nodes);
  if (RandomCase_bn(all, 0, 1) != 0) Fail("cannot draw a case");
  FreeNodeList_bn(all);
  std::vector<int> states;
  for (int i = 0; i < n; ++i) states.push_back(GetNodeFinding_bn(NthNode_bn(nodes, i)));
  RetractAllFindings_bn(net);
  for (int k = 0; k < count; ++k) {
    const int i = static_cast<int>((static_cast<long long>(k) * n / count + 7LL * round) % n);
    if (states[static_cast<std::size_t>(i)] >= 0)
      EnterFinding_bn(NthNode_bn(nodes, i), states[static_cast<std::size_t>(i)]);
  }
}

void Print(const std::string& path, const char* cell, const std::vector<Times>& times) {
  for (std::size_t threads = 1; threads < times.size(); ++threads)
    std::printf("| %s | %s | %d | %.2f | %.2f | %.2f | %016llx |\n",
                std::filesystem::path(path).stem().string().c_str(), cell, static_cast<int>(threads),
                Times::Median(times[threads].wall), Times::Median(times[threads].processor),
                Times::Median(times[threads].caller), static_cast<unsigned long long>(times[threads].checksum));
  std::fflush(stdout);
}

void Update(const std::string& path, bool isStale) {
  // A net for each number of threads, so that each has seen the same before.
  std::vector<net_bn> nets;
  for (int threads = 0; threads <= mostThreads; ++threads) nets.push_back(ReadOrFail(path));
  for (net_bn net : nets) CompileNet_bn(net);
  std::vector<Times> times(nets.size());
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t threads = 1; threads < nets.size(); ++threads) {
      SetThreads_ns(static_cast<int>(threads), env);
      std::uint64_t unused = 0;
      if (isStale) {
        SetNetFindMPE_bn(nets[threads], 1);
        ReadBeliefs(nets[threads], &unused);
        SetNetFindMPE_bn(nets[threads], 0);
      }
      Enter(nets[threads], round);
      times[threads].Start();
      ReadBeliefs(nets[threads], &times[threads].checksum);
      times[threads].Stop();
    }
  }
  for (net_bn net : nets) FreeNet_bn(net);
  Print(path, isStale ? "all stale" : "new findings", times);
}

void ReadFirst(const std::string& path) {
  std::vector<Times> times(static_cast<std::size_t>(mostThreads) + 1);
  for (int round = 0; round < std::max(rounds / 4, 1); ++round) {
    for (std::size_t threads = 1; threads < times.size(); ++threads) {
      SetThreads_ns(static_cast<int>(threads), env);
      net_bn net = ReadOrFail(path);
      CompileNet_bn(net);
      times[threads].Start();
      ReadBeliefs(net, &times[threads].checksum);
      times[threads].Stop();
      FreeNet_bn(net);
    }
  }
  Print(path, "first read", times);
}

}  // namespace

int main(int argc, char** argv) {
  BeginEnvironment();
  std::puts("| Net | Beliefs | Threads | Wall, ms | Processor, ms | of the caller | Checksum |");
  std::puts("| --- | --- | ---: | ---: | ---: | ---: | --- |");
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--rounds=", 9) == 0) {
      rounds = std::atoi(argv[i] + 9);
    } else if (std::strncmp(argv[i], "--threads=", 10) == 0) {
      mostThreads = std::atoi(argv[i] + 10);
    } else {
      Update(argv[i], true);
      Update(argv[i], false);
      ReadFirst(argv[i]);
      if (GetError_ns(env, 5, nullptr)) Fail(argv[i]);
    }
  }
  CloseEnvironment();
}
