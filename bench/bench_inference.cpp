// Times what hosts do with nets: reading, compiling, updating beliefs, most probable configurations, saving. The nets
// are those of examples/nets and, where they are at hand, the larger ones of --nets=DIR.
//
// Beside each time stand the time per entry of the junction tree's cliques (to be compared with the plain passes over
// as much memory, "multiply" and "sum") and a checksum of the results, which must not change between builds.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench.h"

namespace {

constexpr int NUM_SETS = 8, FINDINGS_PER_SET = 10, SEED = 20;

void MustBeFine(const std::string& what) {
  if (GetError_ns(env, 5, nullptr)) Fail(what);
}

std::vector<node_bn> Nodes(nodelist_bn list) {
  std::vector<node_bn> nodes;
  for (int i = 0; i < LengthNodeList_bn(list); ++i) nodes.push_back(NthNode_bn(list, i));
  return nodes;
}

struct Finding {
  node_bn node;
  statetype state;
};
using Findings = std::vector<Finding>;

void Enter(const Findings& findings) {
  for (const Finding& finding : findings) EnterFinding_bn(finding.node, finding.state);
}

// A compiled net with sets of findings that each belong to one case drawn from it, so that none is impossible.
struct Subject {
  std::string path;
  filespec_ns file;
  net_bn net;
  std::vector<node_bn> nodes;
  std::vector<Findings> cases, sets;
  double entries = 0;  // of all cliques

  explicit Subject(const std::string& netPath) : path(netPath), file(FileNamed_ns(netPath.c_str(), env)) {
    net = ReadNet_bn(file, 0);
    MustBeFine(path);
    nodes = Nodes(GetNetNodes_bn(net));
    SeedRandom_ns(SEED, env);
    std::mt19937 random(SEED);
    nodelist_bn all = DupNodeList_bn(GetNetNodes_bn(net));
    for (int i = 0; i < NUM_SETS; ++i) {
      RetractAllFindings_bn(net);
      if (RandomCase_bn(all, 0, 1) != 0) Fail(path);
      Findings drawn;
      for (node_bn node : nodes) {
        const statetype state = GetNodeFinding_bn(node);
        if (state >= 0) drawn.push_back({node, state});  // a node drawn by its function may have a value alone
      }
      std::shuffle(drawn.begin(), drawn.end(), random);
      cases.push_back(drawn);
      const auto numFindings = std::min<std::ptrdiff_t>(std::ssize(drawn) / 2, FINDINGS_PER_SET);
      drawn.erase(drawn.begin() + numFindings, drawn.end());
      sets.push_back(drawn);
    }
    FreeNodeList_bn(all);
    RetractAllFindings_bn(net);
    CompileNet_bn(net);
    MustBeFine(path);
    const char* total = std::strstr(JunctionTreeReport_bn(net), "Total state space = ");
    entries = std::strtod(total + std::strlen("Total state space = "), nullptr);
  }
  ~Subject() {
    FreeNet_bn(net);
    FreeFileSpec_ns(file);
  }
  Subject(const Subject&) = delete;
  Subject& operator=(const Subject&) = delete;

  double ReadAllBeliefs() const {
    double sum = 0;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      sum += static_cast<double>(i + 1) * static_cast<double>(GetNodeBeliefs_bn(nodes[i])[0]);
    }
    return sum + CaseProbability_bn(net);
  }
  double ReadConfiguration() const {
    double sum = 0;
    for (std::size_t i = 0; i < nodes.size(); ++i) sum += static_cast<double>(i + 1) * GetNodeMostProbable_bn(nodes[i]);
    return sum + CaseProbability_bn(net);
  }
};

// Only the net being timed is held.
std::unique_ptr<Subject> subject;
Subject& SubjectOf(const std::string& path) {
  if (!subject || subject->path != path) {
    subject.reset();
    subject = std::make_unique<Subject>(path);
  }
  RetractAllFindings_bn(subject->net);
  return *subject;
}

void Report(benchmark::State& state, double entries, double checksum) {
  using benchmark::Counter;
  state.counters["s/entry"] = Counter(entries, Counter::kIsIterationInvariantRate | Counter::kInvert);
  state.counters["entries/s"] = Counter(entries, Counter::kIsIterationInvariantRate);
  state.counters["checksum"] = checksum;
}

// The results for every set of findings, whatever the number of iterations.
template <class Read>
double Checksum(const Subject& subject, Read read) {
  double sum = 0;
  for (const Findings& set : subject.sets) {
    RetractAllFindings_bn(subject.net);
    Enter(set);
    sum = 0.5 * sum + read();
  }
  RetractAllFindings_bn(subject.net);
  MustBeFine(subject.path);
  return sum;
}

void Read(benchmark::State& state, const std::string& path) {
  Subject& subject = SubjectOf(path);
  double numNodes = 0;
  for (auto _ : state) {
    net_bn net = ReadNet_bn(subject.file, 0);
    numNodes = LengthNodeList_bn(GetNetNodes_bn(net));
    FreeNet_bn(net);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(std::filesystem::file_size(path)));
  state.counters["checksum"] = numNodes;
}

void Compile(benchmark::State& state, const std::string& path) {
  Subject& subject = SubjectOf(path);
  double length = 0;
  for (auto _ : state) {
    state.PauseTiming();
    net_bn net = ReadNet_bn(subject.file, 0);
    state.ResumeTiming();
    CompileNet_bn(net);
    state.PauseTiming();
    length = static_cast<double>(std::strlen(JunctionTreeReport_bn(net)));
    FreeNet_bn(net);
    state.ResumeTiming();
  }
  Report(state, subject.entries, length);
}

void UpdateWithoutFindings(benchmark::State& state, const std::string& path) {
  Subject& subject = SubjectOf(path);
  double sum = 0;
  std::size_t next = 0;
  for (auto _ : state) {
    state.PauseTiming();
    Enter(subject.sets[next++ % NUM_SETS]);
    subject.ReadAllBeliefs();
    state.ResumeTiming();
    RetractAllFindings_bn(subject.net);
    sum = subject.ReadAllBeliefs();
  }
  Report(state, subject.entries, sum);
}

void UpdateWithFindings(benchmark::State& state, const std::string& path) {
  Subject& subject = SubjectOf(path);
  std::size_t next = 0;
  for (auto _ : state) {
    RetractAllFindings_bn(subject.net);
    Enter(subject.sets[next++ % NUM_SETS]);
    benchmark::DoNotOptimize(subject.ReadAllBeliefs());
  }
  Report(state, subject.entries, Checksum(subject, [&] { return subject.ReadAllBeliefs(); }));
}

// One finding moves from node to node, and one belief is read each time; other findings stay.
void ChangeOneBesides(benchmark::State& state, const std::string& path, const Findings& others) {
  Subject& subject = *::subject;
  const Findings& all = subject.cases[0];
  const std::size_t numFixed = others.size();
  std::mt19937 random(SEED);
  std::uniform_int_distribution<std::size_t> moving(numFixed, all.size() - 1), any(0, all.size() - 1);
  std::vector<std::pair<Finding, node_bn>> steps(8192);
  for (auto& step : steps) step = {all[moving(random)], all[any(random)].node};
  Enter(others);
  std::size_t next = 0;
  const auto change = [&] {
    const auto& [finding, asked] = steps[next++ % steps.size()];
    EnterFinding_bn(finding.node, finding.state);
    const double belief = static_cast<double>(GetNodeBeliefs_bn(asked)[0]);
    RetractNodeFindings_bn(finding.node);
    return belief;
  };
  for (auto _ : state) benchmark::DoNotOptimize(change());
  next = 0;
  double sum = 0;
  for (int i = 0; i < 32; ++i) sum += change();
  MustBeFine(path);
  Report(state, subject.entries, sum);
}

void ChangeOne(benchmark::State& state, const std::string& path) {
  SubjectOf(path);
  ChangeOneBesides(state, path, {});
}

void ChangeOneOfMany(benchmark::State& state, const std::string& path) {
  ChangeOneBesides(state, path, SubjectOf(path).sets[0]);
}

void MostProbable(benchmark::State& state, const std::string& path) {
  Subject& subject = SubjectOf(path);
  SetNetFindMPE_bn(subject.net, 1);
  std::size_t next = 0;
  for (auto _ : state) {
    RetractAllFindings_bn(subject.net);
    Enter(subject.sets[next++ % NUM_SETS]);
    benchmark::DoNotOptimize(subject.ReadConfiguration());
  }
  Report(state, subject.entries, Checksum(subject, [&] { return subject.ReadConfiguration(); }));
  SetNetFindMPE_bn(subject.net, 0);
}

std::filesystem::path TemporaryNet() {
  return std::filesystem::temp_directory_path() / ("bench_" + std::to_string(std::random_device{}()) + ".dne");
}

void Save(benchmark::State& state, const std::string& path) {
  Subject& subject = SubjectOf(path);
  const auto copy = TemporaryNet();
  filespec_ns file = FileNamed_ns(copy.string().c_str(), env);
  for (auto _ : state) WriteNet_bn(subject.net, file);
  MustBeFine(path);
  const auto size = static_cast<std::int64_t>(std::filesystem::file_size(copy));
  state.SetBytesProcessed(state.iterations() * size);
  state.counters["checksum"] = static_cast<double>(size);
  FreeFileSpec_ns(file);
  std::filesystem::remove(copy);
}

// What reading and writing a file costs in itself.
void CopyFile(benchmark::State& state, const std::string& path) {
  const auto copy = TemporaryNet();
  std::vector<char> block(1 << 16);
  for (auto _ : state) {
    std::FILE* from = std::fopen(path.c_str(), "rb");
    std::FILE* to = std::fopen(copy.string().c_str(), "wb");
    for (std::size_t n; (n = std::fread(block.data(), 1, block.size(), from)) > 0;) std::fwrite(block.data(), 1, n, to);
    std::fclose(from);
    std::fclose(to);
  }
  const auto size = static_cast<std::int64_t>(std::filesystem::file_size(copy));
  state.SetBytesProcessed(state.iterations() * size);
  state.counters["checksum"] = static_cast<double>(size);
  std::filesystem::remove(copy);
}

// What the memory itself allows: as many floats as the cliques have entries.
void Multiply(benchmark::State& state, const std::string& path) {
  const double entries = SubjectOf(path).entries;
  std::vector<float> table(static_cast<std::size_t>(entries), 1.0f);
  for (auto _ : state) {
    for (float& entry : table) entry *= 1.0000001f;
    benchmark::ClobberMemory();
  }
  Report(state, entries, 0);
}

void Sum(benchmark::State& state, const std::string& path) {
  const double entries = SubjectOf(path).entries;
  const std::vector<float> table(static_cast<std::size_t>(entries), 1.0f);
  for (auto _ : state) {
    float lanes[16] = {};
    std::size_t i = 0;
    for (; i + 16 <= table.size(); i += 16) {
      for (std::size_t lane = 0; lane < 16; ++lane) lanes[lane] += table[i + lane];
    }
    for (; i < table.size(); ++i) lanes[0] += table[i];
    benchmark::DoNotOptimize(lanes);
  }
  Report(state, entries, 0);
}

// Decision networks are not compiled.
bool IsBeliefNet(const std::string& path) {
  filespec_ns file = FileNamed_ns(path.c_str(), env);
  net_bn net = ReadNet_bn(file, 0);
  FreeFileSpec_ns(file);
  MustBeFine(path);
  const std::vector<node_bn> nodes = Nodes(GetNetNodes_bn(net));
  const bool answer =
      std::all_of(nodes.begin(), nodes.end(), [](node_bn node) { return GetNodeKind_bn(node) == NATURE_NODE; });
  FreeNet_bn(net);
  return answer;
}

void Register(const std::filesystem::path& path) {
  if (!IsBeliefNet(path.string())) return;
  const struct {
    const char* name;
    void (*run)(benchmark::State&, const std::string&);
  } benches[] = {{"read", Read},
                 {"compile", Compile},
                 {"update_none", UpdateWithoutFindings},
                 {"update_10", UpdateWithFindings},
                 {"change_one", ChangeOne},
                 {"change_one_of_11", ChangeOneOfMany},
                 {"mpe", MostProbable},
                 {"save", Save},
                 {"copy_file", CopyFile},
                 {"memory_multiply", Multiply},
                 {"memory_sum", Sum}};
  for (const auto& bench : benches) {
    const std::string name = path.stem().string() + "/" + bench.name;
    benchmark::RegisterBenchmark(name.c_str(),
                                 [run = bench.run, file = path.string()](benchmark::State& state) { run(state, file); })
        ->Unit(benchmark::kMicrosecond)
        ->ComputeStatistics("min", [](const std::vector<double>& v) { return *std::min_element(v.begin(), v.end()); });
  }
}

void RegisterFolder(const std::filesystem::path& folder) {
  if (!std::filesystem::is_directory(folder)) {
    std::fprintf(stderr, "no nets in %s: skipped\n", folder.c_str());
    return;
  }
  std::vector<std::filesystem::path> paths;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".dne") paths.push_back(entry.path());
  }
  std::sort(paths.begin(), paths.end());
  for (const auto& path : paths) Register(path);
}

}  // namespace

int main(int argc, char** argv) {
  const int result = RunBenchmarks(argc, argv, [](const std::filesystem::path& nets) {
    RegisterFolder(BRAVIC_SOURCE_DIR "/examples/nets");
    RegisterFolder(nets);
  });
  subject.reset();
  CloseEnvironment();
  return result;
}
