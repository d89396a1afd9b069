// Times learning tables from cases, and sees what is learned from cases with holes.
//
//   bench_learning [--cases=100000] [--missing=0.2] [--iterations=10] [--seeds=5] [--threads=1] NET.dne ...
//
// Cases are drawn from the net. Prints nanoseconds a case and family of counting complete cases, seconds of an
// iteration of EM where that share of the cells is missing (processor time, medians of five), and how far learned
// tables are from the true ones: the mean over the nodes of the differences in a row, rows weighted by how probable
// they are; by counting each family's complete cases, and by so many iterations of EM that begin from these tables;
// means of some seeds, with the number of seeds in which EM is nearer. Last the memory of the process.
#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "bench.h"

namespace {

struct Options {
  long cases = 100000;
  double missing = 0.2;
  int iterations = 10, seeds = 5, threads = 1;
};

constexpr double PRIOR = 1;
constexpr int TIMES = 5;

struct Subject {
  net_bn truth, net;
  nodelist_bn nodes, trueNodes;
  std::vector<std::vector<std::size_t>> parents;
  std::vector<std::vector<statetype>> rows;  // [node] states of the parents, row by row
  std::vector<std::vector<double>> weights;  // [node] of the rows, by the true net
  counts_bn counts;
  std::vector<double> zeros;

  explicit Subject(const std::string& path) : truth(ReadOrFail(path)), net(ReadOrFail(path)) {
    nodes = DupNodeList_bn(GetNetNodes_bn(net));
    trueNodes = DupNodeList_bn(GetNetNodes_bn(truth));
    CompileNet_bn(truth);
    for (int i = 0; i < Num(); ++i) AddNode(NthNode_bn(trueNodes, i));
    counts = NewCounts_bn(nodes);
    if (!counts) Fail(path);
    zeros.assign(static_cast<std::size_t>(CountsSize_bn(counts)), 0);
  }
  ~Subject() {
    FreeCounts_bn(counts);
    FreeNodeList_bn(nodes);
    FreeNodeList_bn(trueNodes);
    FreeNet_bn(truth);
    FreeNet_bn(net);
  }
  Subject(const Subject&) = delete;
  Subject& operator=(const Subject&) = delete;

  int Num() const { return LengthNodeList_bn(nodes); }
  void AddNode(node_bn node) {
    nodelist_bn of = GetNodeParents_bn(node);
    const int num = LengthNodeList_bn(of);
    std::vector<std::size_t> places;
    std::size_t size = 1;
    for (int k = 0; k < num; ++k) {
      size *= static_cast<std::size_t>(GetNodeNumberStates_bn(NthNode_bn(of, k)));
      for (int i = 0; i < Num(); ++i)
        if (NthNode_bn(trueNodes, i) == NthNode_bn(of, k)) places.push_back(static_cast<std::size_t>(i));
    }
    std::vector<double> joint(size, 1);
    if (num > 0 && JointBeliefs_bn(of, joint.data()) < 0) Fail("joint");
    std::vector<statetype> states(size * static_cast<std::size_t>(num) + 1, 0);
    for (std::size_t row = 0; row < size; ++row) {
      std::size_t left = row;
      for (int k = num; k-- > 0;) {
        const auto n = static_cast<std::size_t>(GetNodeNumberStates_bn(NthNode_bn(of, k)));
        states[row * static_cast<std::size_t>(num) + static_cast<std::size_t>(k)] = static_cast<statetype>(left % n);
        left /= n;
      }
    }
    parents.push_back(places);
    rows.push_back(states);
    weights.push_back(joint);
  }

  std::vector<statetype> Draw(long cases, std::mt19937_64& random) const {
    const auto width = static_cast<std::size_t>(Num());
    std::vector<statetype> states(static_cast<std::size_t>(cases) * width);
    std::vector<const probtype*> tables;
    std::vector<int> sizes;
    for (int i = 0; i < Num(); ++i) {
      tables.push_back(GetNodeProbs_bn(NthNode_bn(trueNodes, i), rows[static_cast<std::size_t>(i)].data()));
      sizes.push_back(GetNodeNumberStates_bn(NthNode_bn(trueNodes, i)));
    }
    for (std::size_t first = 0; first < states.size(); first += width) {
      for (std::size_t i = 0; i < width; ++i) {
        std::size_t row = 0;
        for (const std::size_t p : parents[i])
          row = row * static_cast<std::size_t>(sizes[p]) + static_cast<std::size_t>(states[first + p]);
        const probtype* entry = tables[i] + row * static_cast<std::size_t>(sizes[i]);
        double left = static_cast<double>(random() >> 11) * 0x1p-53;
        int state = 0;
        while (state + 1 < sizes[i] && (left -= static_cast<double>(entry[state])) >= 0) ++state;
        states[first + i] = state;
      }
    }
    return states;
  }

  double Distance() const {
    double sum = 0;
    for (int i = 0; i < Num(); ++i) {
      const auto at = static_cast<std::size_t>(i);
      const probtype* a = GetNodeProbs_bn(NthNode_bn(trueNodes, i), rows[at].data());
      const probtype* b = GetNodeProbs_bn(NthNode_bn(nodes, i), rows[at].data());
      const int own = GetNodeNumberStates_bn(NthNode_bn(nodes, i));
      for (const double weight : weights[at])
        for (int s = 0; s < own; ++s) sum += weight * std::fabs(static_cast<double>(*a++) - static_cast<double>(*b++));
    }
    return sum / Num();
  }
};

template <class Work>
double Median(Work work) {
  std::vector<double> times;
  for (int i = 0; i < TIMES; ++i) {
    const double begin = Seconds(CLOCK_PROCESS_CPUTIME_ID);
    work();
    times.push_back(Seconds(CLOCK_PROCESS_CPUTIME_ID) - begin);
  }
  std::sort(times.begin(), times.end());
  return times[TIMES / 2];
}

void Run(const std::string& path, const Options& options) {
  Subject subject(path);
  double counting = 0, iteration = 0, ofCounts = 0, ofEm = 0;
  int nearer = 0;
  for (int seed = 1; seed <= options.seeds; ++seed) {
    std::mt19937_64 random(static_cast<std::uint64_t>(seed));
    std::vector<statetype> states = subject.Draw(options.cases, random);
    if (seed == 1)
      counting = Median([&] { CountCases_bn(subject.counts, subject.nodes, states.data(), nullptr, options.cases); });
    for (statetype& state : states)
      if (static_cast<double>(random() >> 11) * 0x1p-53 < options.missing) state = UNDEF_STATE;
    SetCounts_bn(subject.counts, subject.zeros.data());
    CountCases_bn(subject.counts, subject.nodes, states.data(), nullptr, options.cases);
    LearnCounts_bn(subject.counts, PRIOR);
    const double byCounts = subject.Distance();
    CompileNet_bn(subject.net);
    if (seed == 1)
      iteration = Median([&] {
        ExpectCounts_bn(subject.counts, subject.nodes, states.data(), nullptr, options.cases, nullptr, options.threads);
      });
    if (LearnTablesEMCases_bn(subject.nodes, states.data(), nullptr, options.cases, subject.nodes, options.iterations,
                              0, PRIOR, nullptr) < 0)
      Fail(path);
    const double byEm = subject.Distance();
    ofCounts += byCounts / options.seeds;
    ofEm += byEm / options.seeds;
    nearer += byEm < byCounts;
  }
  if (GetError_ns(env, 5, nullptr)) Fail(path);
  rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  std::printf(
      "%-16s %4d nodes  count %6.2f ns  iteration %8.4f s  distance %.5f by counts, %.5f by EM (nearer in %d of "
      "%d)  %ld MB\n",
      std::filesystem::path(path).stem().c_str(), subject.Num(),
      counting * 1e9 / static_cast<double>(options.cases) / subject.Num(), iteration, ofCounts, ofEm, nearer,
      options.seeds, usage.ru_maxrss / 1024);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  BeginEnvironment();
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string text = argv[i];
    const auto value = [&](const char* name) {
      const std::string head = std::string("--") + name + "=";
      return text.starts_with(head) ? std::atof(text.c_str() + head.size()) : -1;
    };
    if (value("cases") >= 0)
      options.cases = static_cast<long>(value("cases"));
    else if (value("missing") >= 0)
      options.missing = value("missing");
    else if (value("iterations") >= 0)
      options.iterations = static_cast<int>(value("iterations"));
    else if (value("seeds") >= 0)
      options.seeds = static_cast<int>(value("seeds"));
    else if (value("threads") >= 0)
      options.threads = static_cast<int>(value("threads"));
    else
      Run(text, options);
  }
  CloseEnvironment();
}
