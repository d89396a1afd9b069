// Times what is done with files of cases: learning every table of a net, reading rows one by one and in blocks, the
// beliefs of one node in each case, drawing cases into a file. Beside these stands the rate at which the same file is
// merely read and split at its tabs, and beside each time a checksum of what came out, which must not change between
// builds.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "bench.h"

namespace {

constexpr int SEED = 20;

struct Subject {
  std::string path;
  long numcases;
  net_bn net;
  filespec_ns cases;
  std::string casesPath;

  Subject(const std::string& netPath, long count) : path(netPath), numcases(count) {
    filespec_ns file = FileNamed_ns(path.c_str(), env);
    net = ReadNet_bn(file, 0);
    FreeFileSpec_ns(file);
    if (!net || GetError_ns(env, 5, nullptr)) Fail(path);
    casesPath = (std::filesystem::temp_directory_path() / ("bench_cases." + std::to_string(std::rand()))).string();
    cases = FileNamed_ns(casesPath.c_str(), env);
  }
  ~Subject() {
    FreeNet_bn(net);
    FreeFileSpec_ns(cases);
    std::filesystem::remove(casesPath);
  }
  Subject(const Subject&) = delete;
  Subject& operator=(const Subject&) = delete;

  void Draw() const {
    SeedRandom_ns(SEED, env);
    if (GenerateCases_bn(GetNetNodes_bn(net), numcases, cases, -1, 0, 0) != 0) Fail(path);
  }
  std::int64_t NumBytes() const { return static_cast<std::int64_t>(std::filesystem::file_size(casesPath)); }
  double SumOfTables() const {
    double sum = 0;
    nodelist_bn nodes = GetNetNodes_bn(net);
    for (int i = 0; i < LengthNodeList_bn(nodes); ++i) {
      const std::vector<statetype> first(static_cast<std::size_t>(LengthNodeList_bn(nodes)), 0);
      sum += static_cast<double>(GetNodeProbs_bn(NthNode_bn(nodes, i), first.data())[0]) +
             GetNodeExperience_bn(NthNode_bn(nodes, i), first.data());
    }
    return sum;
  }
};

void Report(benchmark::State& state, const Subject& subject, double checksum) {
  state.SetBytesProcessed(state.iterations() * subject.NumBytes());
  state.SetItemsProcessed(state.iterations() * subject.numcases);  // cases
  state.counters["checksum"] = checksum;
}

void Sample(benchmark::State& state, const std::string& path, long numcases) {
  const Subject subject(path, numcases);
  for (auto _ : state) subject.Draw();
  Report(state, subject, static_cast<double>(subject.NumBytes()));
}

void Learn(benchmark::State& state, const std::string& path, long numcases) {
  const Subject subject(path, numcases);
  subject.Draw();
  double checksum = 0;
  for (auto _ : state) {
    CaseFileRevisesProbs_bn(subject.cases, GetNetNodes_bn(subject.net), 0, 1);
    if (GetError_ns(env, 5, nullptr)) Fail(path);
    if (checksum == 0) checksum = subject.SumOfTables();
  }
  Report(state, subject, checksum);
}

// Each row as findings, and taken back by the next one.
void ReadRows(benchmark::State& state, const std::string& path, long numcases) {
  const Subject subject(path, numcases);
  subject.Draw();
  nodelist_bn nodes = GetNetNodes_bn(subject.net);
  double checksum = 0;
  for (auto _ : state) {
    checksum = 0;
    long position = FIRST_CASE;
    for (;; position = NEXT_CASE) {
      ReadCase_bn(&position, subject.cases, nodes, nullptr, nullptr);
      if (position == NO_MORE_CASES) break;
      checksum += GetNodeFinding_bn(NthNode_bn(nodes, 0)) + 1;
    }
    if (GetError_ns(env, 5, nullptr)) Fail(path);
  }
  Report(state, subject, checksum);
}

void ReadBlocks(benchmark::State& state, const std::string& path, long numcases) {
  constexpr long BLOCK = 4096;
  const Subject subject(path, numcases);
  subject.Draw();
  nodelist_bn nodes = GetNetNodes_bn(subject.net);
  const auto numnodes = static_cast<std::size_t>(LengthNodeList_bn(nodes));
  std::vector<statetype> states(BLOCK * numnodes);
  double checksum = 0;
  for (auto _ : state) {
    checksum = 0;
    double position = 0;
    for (long got;
         (got = ReadCaseStates_bn(subject.cases, nodes, &position, BLOCK, states.data(), nullptr, nullptr)) > 0;)
      for (std::size_t i = 0; i < static_cast<std::size_t>(got); ++i) checksum += states[i * numnodes] + 1;
    if (GetError_ns(env, 5, nullptr)) Fail(path);
  }
  Report(state, subject, checksum);
}

// What bravic score and bravic infer do with one target: blocks read, and of each case the target's beliefs given the
// rest and the probability of that.
void Infer(benchmark::State& state, const std::string& path, long numcases) {
  constexpr long BLOCK = 65536;
  const Subject subject(path, numcases);
  subject.Draw();
  CompileNet_bn(subject.net);
  nodelist_bn observed = DupNodeList_bn(GetNetNodes_bn(subject.net)), target = NewNodeList_bn(0, env);
  AddNodeToList_bn(RemoveNthNode_bn(observed, 0), target, 0);
  const auto numobserved = static_cast<std::size_t>(LengthNodeList_bn(observed));
  const auto numstates = static_cast<std::size_t>(GetNodeNumberStates_bn(NthNode_bn(target, 0)));
  std::vector<statetype> states(BLOCK * numobserved);
  std::vector<probtype> beliefs(BLOCK * numstates);
  std::vector<double> logprobs(BLOCK);
  double checksum = 0;
  for (auto _ : state) {
    checksum = 0;
    double position = 0;
    long got;
    while ((got = ReadCaseStates_bn(subject.cases, observed, &position, BLOCK, states.data(), nullptr, nullptr)) > 0) {
      BeliefsOfCases_bn(observed, states.data(), got, target, beliefs.data(), logprobs.data(), 1);
      for (std::size_t i = 0; i < static_cast<std::size_t>(got); ++i)
        checksum += static_cast<double>(beliefs[i * numstates]) - logprobs[i];
    }
    if (GetError_ns(env, 5, nullptr)) Fail(path);
  }
  FreeNodeList_bn(observed);
  FreeNodeList_bn(target);
  Report(state, subject, checksum);
}

void ReadAndSplit(benchmark::State& state, const std::string& path, long numcases) {
  const Subject subject(path, numcases);
  subject.Draw();
  std::vector<char> buffer(256 * 1024);
  std::size_t numEntries = 0;
  for (auto _ : state) {
    std::FILE* file = std::fopen(subject.casesPath.c_str(), "rb");
    numEntries = 0;
    for (std::size_t got; (got = std::fread(buffer.data(), 1, buffer.size(), file)) > 0;) {
      const char* end = buffer.data() + got;
      for (const char* p = buffer.data(); p < end; ++p) numEntries += *p == '\t' || *p == '\n';
    }
    std::fclose(file);
  }
  Report(state, subject, static_cast<double>(numEntries));
}

// numinferred: cases to infer from, fewer where the net is large.
void Register(const std::filesystem::path& path, long numcases, long numinferred) {
  if (!std::filesystem::exists(path)) {
    std::fprintf(stderr, "no net %s: skipped\n", path.c_str());
    return;
  }
  const struct {
    const char* name;
    void (*run)(benchmark::State&, const std::string&, long);
    long count;
  } benches[] = {
      {"learn", Learn, numcases},    {"read_rows", ReadRows, numcases},          {"read_blocks", ReadBlocks, numcases},
      {"infer", Infer, numinferred}, {"read_and_split", ReadAndSplit, numcases}, {"sample", Sample, numcases}};
  for (const auto& bench : benches) {
    const std::string name = path.stem().string() + "/" + bench.name + "/" + std::to_string(bench.count);
    benchmark::RegisterBenchmark(
        name.c_str(), [bench, file = path.string()](benchmark::State& state) { bench.run(state, file, bench.count); })
        ->Unit(benchmark::kMillisecond)
        ->ComputeStatistics("min", [](const std::vector<double>& v) { return *std::min_element(v.begin(), v.end()); });
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int result = RunBenchmarks(argc, argv, [](const std::filesystem::path& nets) {
    Register(std::filesystem::path(BRAVIC_SOURCE_DIR) / "examples/nets/chest_clinic.dne", 1000000, 1000000);
    Register(nets / "alarm.dne", 1000000, 1000000);
    Register(nets / "munin4.dne", 20000, 200);
  });
  CloseEnvironment();
  return result;
}
