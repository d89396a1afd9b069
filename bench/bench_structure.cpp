// Learns links from samples of known nets, and tells how long that took and how far what was found is from the truth.
//
//   bench_structure [--rows=10000] [--score=bic] [--method=hill] [--threads=1] [--entries=0] [--restarts=2] [--seed=1]
//                   NET.dne ...
//
// Prints processor and wall time, the score of the links found and of the net's own, the number of both's links, and
// the structural Hamming distance of what cases can tell of them: of the graphs in which a link has a direction where
// all nets that say the same have it (Chickering 1995; Tsamardinos, Brown & Aliferis 2006), each pair of nodes that
// differs counting 1.
#include <unistd.h>

#include <algorithm>
#include <map>

#include "bench.h"

namespace {

struct Options {
  long rows = 10000;
  int score = 0, method = 0, threads = 1, restarts = 0, seed = 1;
  double entries = 0;
};

using Parents = std::vector<std::vector<int>>;

// adjacent[a][b]: there is a link, and it may lead from a to b.
class Pattern {
 public:
  explicit Pattern(const Parents& parents) : n_(parents.size()), leads_(n_, std::vector<char>(n_, 0)) {
    for (std::size_t to = 0; to < n_; ++to)
      for (int from : parents[to]) leads_[At(from)][to] = leads_[to][At(from)] = 1;
    // Parents without a link between them make their directions known.
    for (std::size_t to = 0; to < n_; ++to)
      for (int a : parents[to])
        for (int b : parents[to])
          if (a != b && !Adjacent(At(a), At(b))) leads_[to][At(a)] = 0;
    while (Direct()) {
    }
  }
  static int Distance(const Pattern& p, const Pattern& q) {
    int distance = 0;
    for (std::size_t a = 0; a < p.n_; ++a)
      for (std::size_t b = 0; b < a; ++b)
        distance += p.leads_[a][b] != q.leads_[a][b] || p.leads_[b][a] != q.leads_[b][a];
    return distance;
  }

 private:
  static std::size_t At(int node) { return static_cast<std::size_t>(node); }
  bool Adjacent(std::size_t a, std::size_t b) const { return leads_[a][b] || leads_[b][a]; }
  bool Directed(std::size_t a, std::size_t b) const { return leads_[a][b] && !leads_[b][a]; }
  bool Undirected(std::size_t a, std::size_t b) const { return leads_[a][b] && leads_[b][a]; }

  // Meek's rules (1995).
  bool MustLead(std::size_t a, std::size_t b) const {
    std::vector<std::size_t> between;
    for (std::size_t c = 0; c < n_; ++c) {
      if (Directed(c, a) && !Adjacent(c, b)) return true;
      if (Directed(a, c) && Directed(c, b)) return true;
      if (Undirected(a, c) && Directed(c, b)) between.push_back(c);
    }
    for (std::size_t c : between)
      for (std::size_t d : between)
        if (c != d && !Adjacent(c, d)) return true;
    return false;
  }
  bool Direct() {
    bool changed = false;
    for (std::size_t a = 0; a < n_; ++a)
      for (std::size_t b = 0; b < n_; ++b)
        if (Undirected(a, b) && MustLead(a, b)) leads_[b][a] = 0, changed = true;
    return changed;
  }

  std::size_t n_;
  std::vector<std::vector<char>> leads_;
};

Parents ParentsOf(nodelist_bn nodes) {
  std::map<node_bn, int> places;
  for (int i = 0; i < LengthNodeList_bn(nodes); ++i) places[NthNode_bn(nodes, i)] = i;
  Parents parents;
  for (int i = 0; i < LengthNodeList_bn(nodes); ++i) {
    nodelist_bn list = GetNodeParents_bn(NthNode_bn(nodes, i));
    parents.emplace_back();
    for (int k = 0; k < LengthNodeList_bn(list); ++k) parents.back().push_back(places[NthNode_bn(list, k)]);
  }
  return parents;
}

std::size_t NumLinks(const Parents& parents) {
  std::size_t sum = 0;
  for (const auto& list : parents) sum += list.size();
  return sum;
}

// By a file, since that is how cases are drawn.
std::vector<statetype> Sample(nodelist_bn nodes, const Options& options) {
  const std::string path = std::filesystem::temp_directory_path() / ("bench_structure_" + std::to_string(getpid()));
  filespec_ns file = FileNamed_ns(path.c_str(), env);
  SeedRandom_ns(options.seed, env);
  if (GenerateCases_bn(nodes, options.rows, file, -1, 0, 0) < 0) Fail("sampling");
  std::vector<statetype> states(static_cast<std::size_t>(options.rows * LengthNodeList_bn(nodes)));
  double position = 0;
  if (ReadCaseStates_bn(file, nodes, &position, options.rows, states.data(), nullptr, nullptr) != options.rows)
    Fail("reading back");
  FreeFileSpec_ns(file);
  std::filesystem::remove(path);
  return states;
}

// The total state space that the net has once it has been written and read again, which is what a limit is on.
double EntriesReadAgain(net_bn net) {
  std::string text(static_cast<std::size_t>(WriteNetText_bn(net, nullptr, 0)), '\0');
  WriteNetText_bn(net, text.data(), static_cast<long>(text.size()));
  net_bn again = ReadNetText_bn(text.data(), static_cast<long>(text.size()) - 1, "again", env);
  if (!again) Fail("reading again");
  CompileNet_bn(again);
  const std::string report = JunctionTreeReport_bn(again);
  FreeNet_bn(again);
  return std::atof(report.c_str() + report.rfind(' '));
}

void Run(const std::string& path, const Options& options) {
  net_bn net = ReadOrFail(path);
  nodelist_bn nodes = DupNodeList_bn(GetNetNodes_bn(net));
  const std::vector<statetype> states = Sample(nodes, options);
  const Parents truth = ParentsOf(nodes);
  const double ofTruth = ScoreLinksCases_bn(nodes, states.data(), nullptr, options.rows, nodes, options.score, 1);
  learn_links_bn how = {};
  how.size = sizeof how;
  how.score = options.score;
  how.method = options.method;
  how.numthreads = options.threads;
  how.maxentries = options.entries;
  how.restarts = options.restarts;
  how.seed = options.seed;
  double score = 0;
  const double processorBegan = Seconds(CLOCK_PROCESS_CPUTIME_ID), wallBegan = Seconds(CLOCK_MONOTONIC);
  const int steps = LearnLinksCases_bn(nodes, states.data(), nullptr, options.rows, nodes, &how, &score);
  const double processor = Seconds(CLOCK_PROCESS_CPUTIME_ID) - processorBegan,
               wall = Seconds(CLOCK_MONOTONIC) - wallBegan;
  if (steps < 0) Fail(path);
  const Parents found = ParentsOf(nodes);
  const double entries = EntriesReadAgain(net);
  std::printf("| %s | %ld | %.2f | %.2f | %d | %.8g | %.8g | %+.2f%% | %zu | %zu | %d | %.0f |\n",
              std::filesystem::path(path).stem().string().c_str(), options.rows, processor, wall, steps, score, ofTruth,
              100 * (score - ofTruth) / std::abs(ofTruth), NumLinks(found), NumLinks(truth),
              Pattern::Distance(Pattern(found), Pattern(truth)), entries);
  std::fflush(stdout);
  FreeNodeList_bn(nodes);
  FreeNet_bn(net);
}

int Chosen(const std::string& name, const std::vector<std::string>& names) {
  const auto at = std::find(names.begin(), names.end(), name);
  if (at == names.end()) Fail(name);
  return static_cast<int>(at - names.begin());
}

}  // namespace

int main(int argc, char** argv) {
  BeginEnvironment();
  Options options;
  std::puts(
      "| Net | Cases | Processor, s | Wall, s | Steps | Score | of the truth | Better by | Links | of the truth | "
      "Distance | Entries |");
  std::puts("| --- | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: | ---: |");
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    auto text = [&](const char* name) {
      return argument.starts_with(name) ? argument.c_str() + std::strlen(name) : nullptr;
    };
    if (const char* rows = text("--rows=")) {
      options.rows = std::atol(rows);
    } else if (const char* score = text("--score=")) {
      options.score = Chosen(score, {"bic", "bdeu", "loglik"});
    } else if (const char* method = text("--method=")) {
      options.method = Chosen(method, {"hill", "order", "exact", "tree", "tan"});
    } else if (const char* threads = text("--threads=")) {
      options.threads = std::atoi(threads);
    } else if (const char* entries = text("--entries=")) {
      options.entries = std::atof(entries);
    } else if (const char* restarts = text("--restarts=")) {
      options.restarts = std::atoi(restarts);
    } else if (const char* seed = text("--seed=")) {
      options.seed = std::atoi(seed);
    } else {
      Run(argument, options);
    }
  }
  CloseEnvironment();
}
