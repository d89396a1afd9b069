// Times many cases at once, and compares what comes out with a few of the cases entered by hand.
//
//   bench_many [--cases=1000000] [--threads=1] [--share=0.5] [--targets=0] NET.dne ...
//
// Cases are drawn from the net, every node known with probability share; all nodes are targets, or the first few.
// Prints processor and wall time of the fastest of three calls, microseconds a case, those that a case entered by hand
// takes with its beliefs read, and the largest difference of a belief and of a logarithm from those of cases entered by
// hand. The arrays are touched before.
#include <algorithm>
#include <cmath>
#include <ctime>
#include <random>

#include "bench.h"

namespace {

struct Options {
  long cases = 1000000, byHand = 2000;
  int threads = 1, targets = 0;
  double share = 0.5;
};

struct Subject {
  net_bn net;
  nodelist_bn observed, targets;
  std::vector<node_bn> nodes;
  std::size_t width = 0;
  std::vector<statetype> states;
  std::vector<probtype> beliefs;
  std::vector<double> logProbs;

  Subject(const std::string& path, const Options& options) {
    net = ReadOrFail(path);
    CompileNet_bn(net);
    observed = DupNodeList_bn(GetNetNodes_bn(net));
    targets = DupNodeList_bn(GetNetNodes_bn(net));
    while (options.targets > 0 && LengthNodeList_bn(targets) > options.targets)
      RemoveNthNode_bn(targets, LengthNodeList_bn(targets) - 1);
    for (int i = 0; i < LengthNodeList_bn(observed); ++i) nodes.push_back(NthNode_bn(observed, i));
    for (int i = 0; i < LengthNodeList_bn(targets); ++i)
      width += static_cast<std::size_t>(GetNodeNumberStates_bn(NthNode_bn(targets, i)));
    Draw(options);
    beliefs.assign(width * static_cast<std::size_t>(options.cases), 1);
    logProbs.assign(static_cast<std::size_t>(options.cases), 1);
  }
  ~Subject() {
    FreeNodeList_bn(observed);
    FreeNodeList_bn(targets);
    FreeNet_bn(net);
  }
  Subject(const Subject&) = delete;
  Subject& operator=(const Subject&) = delete;

  // By the tables, each node after its parents.
  void Draw(const Options& options) {
    std::mt19937_64 random(20);
    std::uniform_real_distribution<double> uniform(0, 1);
    struct Drawn {
      std::size_t node;
      std::vector<std::size_t> parents;
      std::vector<int> sizes;
      std::vector<double> sums;
      int numStates;
    };
    std::vector<Drawn> order;
    std::vector<unsigned char> placed(nodes.size(), 0);
    auto indexOf = [&](node_bn node) {
      return static_cast<std::size_t>(std::find(nodes.begin(), nodes.end(), node) - nodes.begin());
    };
    while (order.size() < nodes.size()) {
      for (std::size_t i = 0; i < nodes.size(); ++i) {
        nodelist_bn parents = GetNodeParents_bn(nodes[i]);
        Drawn drawn{i, {}, {}, {}, GetNodeNumberStates_bn(nodes[i])};
        bool ready = !placed[i];
        std::size_t rows = 1;
        for (int k = 0; k < LengthNodeList_bn(parents); ++k) {
          drawn.parents.push_back(indexOf(NthNode_bn(parents, k)));
          drawn.sizes.push_back(GetNodeNumberStates_bn(NthNode_bn(parents, k)));
          rows *= static_cast<std::size_t>(drawn.sizes.back());
          ready = ready && placed[drawn.parents.back()];
        }
        if (!ready) continue;
        placed[i] = 1;
        std::vector<statetype> at(drawn.sizes.size() + 1, 0);
        for (std::size_t row = 0; row < rows; ++row) {
          std::size_t rest = row;
          for (std::size_t k = drawn.sizes.size(); k-- > 0;) {
            at[k] = static_cast<statetype>(rest % static_cast<std::size_t>(drawn.sizes[k]));
            rest /= static_cast<std::size_t>(drawn.sizes[k]);
          }
          const probtype* probs = GetNodeProbs_bn(nodes[i], at.data());
          double sum = 0;
          for (int s = 0; s < drawn.numStates; ++s)
            drawn.sums.push_back(sum += std::max(0.0, static_cast<double>(probs[s])));
        }
        order.push_back(std::move(drawn));
      }
    }
    std::vector<statetype> whole(nodes.size());
    for (long number = 0; number < options.cases; ++number) {
      for (const Drawn& drawn : order) {
        std::size_t row = 0;
        for (std::size_t k = 0; k < drawn.parents.size(); ++k)
          row = row * static_cast<std::size_t>(drawn.sizes[k]) + static_cast<std::size_t>(whole[drawn.parents[k]]);
        const double* sums = drawn.sums.data() + row * static_cast<std::size_t>(drawn.numStates);
        const double at = uniform(random) * sums[drawn.numStates - 1];
        whole[drawn.node] = static_cast<statetype>(
            std::min<std::ptrdiff_t>(std::upper_bound(sums, sums + drawn.numStates, at) - sums, drawn.numStates - 1));
      }
      for (statetype state : whole) states.push_back(uniform(random) < options.share ? state : UNDEF_STATE);
    }
  }

  long Run(const Options& options) {
    return BeliefsOfCases_bn(observed, states.data(), options.cases, targets, beliefs.data(), logProbs.data(),
                             options.threads);
  }

  // Answers the seconds that a case by hand took.
  double Compare(const Options& options, double* ofBeliefs, double* ofLogs) {
    *ofBeliefs = *ofLogs = 0;
    double spent = 0;
    for (long number = 0; number < std::min(options.cases, options.byHand); ++number) {
      const double began = Seconds(CLOCK_PROCESS_CPUTIME_ID);
      RetractAllFindings_bn(net);
      const statetype* row = states.data() + static_cast<std::size_t>(number) * nodes.size();
      for (std::size_t i = 0; i < nodes.size(); ++i)
        if (row[i] >= 0) EnterFinding_bn(nodes[i], row[i]);
      const probtype* got = beliefs.data() + static_cast<std::size_t>(number) * width;
      for (int t = 0; t < LengthNodeList_bn(targets); ++t) {
        const probtype* belief = GetNodeBeliefs_bn(NthNode_bn(targets, t));
        for (int s = 0; s < GetNodeNumberStates_bn(NthNode_bn(targets, t)); ++s)
          *ofBeliefs = std::max(*ofBeliefs, std::abs(static_cast<double>(belief[s]) - static_cast<double>(*got++)));
      }
      spent += Seconds(CLOCK_PROCESS_CPUTIME_ID) - began;
      *ofLogs = std::max(*ofLogs, std::abs(CaseLogProbability_bn(net) - logProbs[static_cast<std::size_t>(number)]));
    }
    RetractAllFindings_bn(net);
    return spent / static_cast<double>(std::min(options.cases, options.byHand));
  }
};

}  // namespace

int main(int argc, char** argv) {
  BeginEnvironment();
  Options options;
  std::puts(
      "| Net | Cases | Threads | Processor, s | Wall, s | us a case | by hand | Impossible | Belief off by | Logarithm "
      "|");
  std::puts("| --- | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: |");
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    auto option = [&](const char* name, auto* to) {
      if (!argument.starts_with(name)) return false;
      *to = static_cast<std::remove_pointer_t<decltype(to)>>(std::atof(argument.c_str() + std::strlen(name)));
      return true;
    };
    if (option("--cases=", &options.cases) || option("--threads=", &options.threads) ||
        option("--share=", &options.share) || option("--targets=", &options.targets) ||
        option("--by-hand=", &options.byHand))
      continue;
    Subject subject(argument, options);
    double processor = 1e30, wall = 1e30;
    long impossible = 0;
    for (int round = 0; round < 3; ++round) {
      const double processorBegan = Seconds(CLOCK_PROCESS_CPUTIME_ID), wallBegan = Seconds(CLOCK_MONOTONIC);
      impossible = subject.Run(options);
      processor = std::min(processor, Seconds(CLOCK_PROCESS_CPUTIME_ID) - processorBegan);
      wall = std::min(wall, Seconds(CLOCK_MONOTONIC) - wallBegan);
    }
    if (impossible < 0) Fail(argument);
    double ofBeliefs, ofLogs;
    const double byHand = subject.Compare(options, &ofBeliefs, &ofLogs);
    std::printf("| %s | %ld | %d | %.3f | %.3f | %.3f | %.1f | %ld | %.1e | %.1e |\n",
                std::filesystem::path(argument).stem().string().c_str(), options.cases, options.threads, processor,
                wall, processor * 1e6 / static_cast<double>(options.cases), byHand * 1e6, impossible, ofBeliefs,
                ofLogs);
    std::fflush(stdout);
  }
  CloseEnvironment();
}
