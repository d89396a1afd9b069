// Times what hosts do one call at a time with findings that are new each time. Every cell is a median of processor
// times, in microseconds, each taken once and never repeated, so that nothing is ready from the time before; what
// looking at the clock takes by itself is taken off:
//
//   new findings    all findings are retracted, min (10, half of the nodes) nodes are entered with their states of a
//                   case drawn from the net, and every belief is read; other nodes each time
//   one question    after every belief was read without findings: a random node's finding is entered, and the belief
//                   of another random node read
//   compile         a net just read (the files store no elimination order): its first compiling
//   and all read    that, and every belief
//
//   bench_cells [--rounds=200] NET.dne ...
#include <algorithm>
#include <ctime>
#include <random>

#include "bench.h"

namespace {

constexpr int SEED = 20, MOST_FINDINGS = 10;
int rounds = 200;

double Now() {
  return Seconds(CLOCK_PROCESS_CPUTIME_ID) * 1e6;
}

double Median(std::vector<double> all) {
  std::nth_element(all.begin(), all.begin() + std::ssize(all) / 2, all.end());
  return all[all.size() / 2];
}

// Times one thing after another.
struct Times {
  std::vector<double> all;
  double began = 0;

  void Start() { began = Now(); }
  void Stop() { all.push_back(Now() - began); }
  double Median() const { return ::Median(all) - OfClock(); }
  static double OfClock() {
    static const double ofClock = [] {
      std::vector<double> nothing;
      for (int i = 0; i < 1000; ++i) {
        const double start = Now();
        nothing.push_back(Now() - start);
      }
      return ::Median(nothing);
    }();
    return ofClock;
  }
};

struct Subject {
  net_bn net;
  std::vector<node_bn> nodes;
  double checksum = 0;

  explicit Subject(const std::string& path) : net(ReadOrFail(path)) {
    nodelist_bn list = GetNetNodes_bn(net);
    for (int i = 0; i < LengthNodeList_bn(list); ++i) nodes.push_back(NthNode_bn(list, i));
  }
  ~Subject() { FreeNet_bn(net); }
  Subject(const Subject&) = delete;
  Subject& operator=(const Subject&) = delete;

  void ReadAll() {
    double sum = 0;
    for (node_bn node : nodes) sum += static_cast<double>(GetNodeBeliefs_bn(node)[0]);
    checksum = 0.5 * checksum + sum;
  }
};

struct Finding {
  node_bn node;
  statetype state;
};

// Findings of nodes drawn, with their states of one case drawn.
std::vector<Finding> Draw(Subject& subject, std::mt19937* random) {
  RetractAllFindings_bn(subject.net);
  nodelist_bn all = DupNodeList_bn(GetNetNodes_bn(subject.net));
  if (RandomCase_bn(all, 0, 1) != 0) Fail("cannot draw a case");
  FreeNodeList_bn(all);
  std::vector<Finding> findings;
  for (node_bn node : subject.nodes) {
    const statetype state = GetNodeFinding_bn(node);
    if (state >= 0) findings.push_back({node, state});
  }
  RetractAllFindings_bn(subject.net);
  std::shuffle(findings.begin(), findings.end(), *random);
  const auto size = std::min<std::ptrdiff_t>(std::ssize(subject.nodes) / 2, MOST_FINDINGS);
  findings.erase(findings.begin() + size, findings.end());
  return findings;
}

double NewFindings(const std::string& path, double* checksum) {
  Subject subject(path);
  SeedRandom_ns(SEED, env);
  std::mt19937 random(SEED);
  std::vector<std::vector<Finding>> sets;
  for (int i = 0; i < rounds; ++i) sets.push_back(Draw(subject, &random));
  CompileNet_bn(subject.net);
  subject.ReadAll();
  Times times;
  for (const std::vector<Finding>& set : sets) {
    times.Start();
    RetractAllFindings_bn(subject.net);
    for (const Finding& finding : set) EnterFinding_bn(finding.node, finding.state);
    subject.ReadAll();
    times.Stop();
  }
  *checksum = subject.checksum;
  return times.Median();
}

double OneQuestion(const std::string& path, double* checksum) {
  Subject subject(path);
  SeedRandom_ns(SEED, env);
  std::mt19937 random(SEED);
  std::vector<Finding> findings;
  for (int i = 0; i < rounds; ++i) findings.push_back(Draw(subject, &random).front());
  CompileNet_bn(subject.net);
  std::uniform_int_distribution<std::size_t> any(0, subject.nodes.size() - 1);
  Times times;
  for (const Finding& finding : findings) {
    RetractAllFindings_bn(subject.net);
    subject.ReadAll();
    const node_bn asked = subject.nodes[any(random)];
    times.Start();
    EnterFinding_bn(finding.node, finding.state);
    *checksum += static_cast<double>(GetNodeBeliefs_bn(asked)[0]);
    times.Stop();
  }
  return times.Median();
}

void Compile(const std::string& path, double* first, double* withBeliefs) {
  Times compiling, both;
  for (int i = 0; i < std::max(rounds / 10, 1); ++i) {
    Subject subject(path);
    compiling.Start();
    both.Start();
    CompileNet_bn(subject.net);
    compiling.Stop();
    subject.ReadAll();
    both.Stop();
  }
  *first = compiling.Median();
  *withBeliefs = both.Median();
}

}  // namespace

int main(int argc, char** argv) {
  BeginEnvironment();
  std::puts("| Net | New findings, us | One question, us | Compile, us | and all read, us | Checksums |");
  std::puts("| --- | ---: | ---: | ---: | ---: | --- |");
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--rounds=", 9) == 0) {
      rounds = std::atoi(argv[i] + 9);
      continue;
    }
    double sumOfAll = 0, sumOfOne = 0, compile, withBeliefs;
    const double all = NewFindings(argv[i], &sumOfAll), one = OneQuestion(argv[i], &sumOfOne);
    Compile(argv[i], &compile, &withBeliefs);
    if (GetError_ns(env, 5, nullptr)) Fail(argv[i]);
    std::printf("| %s | %.2f | %.2f | %.1f | %.1f | %.5f %.5f |\n",
                std::filesystem::path(argv[i]).stem().string().c_str(), all, one, compile, withBeliefs, sumOfAll,
                sumOfOne);
    std::fflush(stdout);
  }
  CloseEnvironment();
}
