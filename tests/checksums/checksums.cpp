// Prints checksums of what the library computes and writes, bit for bit, one a line: two builds agree when they print
// the same. Arguments: net files. The nets drawn at random are always among what is checked.
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "bravic.h"
#include "support/files.h"
#include "support/nets.h"

namespace bravic::testing {
namespace {

constexpr int RANDOM_NETS = 60, CASES = 200;

// Of all that it was given: FNV-1a.
class Checksum {
 public:
  void Add(const void* bytes, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      hash_ = (hash_ ^ static_cast<const unsigned char*>(bytes)[i]) * 0x100000001B3u;
    }
  }
  void Add(double value) { Add(&value, sizeof value); }
  void Add(int value) { Add(&value, sizeof value); }
  void Add(const std::string& text) { Add(text.c_str(), text.size() + 1); }
  void Add(const std::vector<float>& values) { Add(values.data(), values.size() * sizeof(float)); }
  unsigned long long Value() const { return hash_; }

 private:
  std::uint64_t hash_ = 0xCBF29CE484222325u;
};

struct Subject {
  environ_ns env;
  std::string name;
  Net net;
  std::vector<node_bn> nodes, nature;
  std::string file;  // to write to
};

void Print(const Subject& subject, const char* what, Checksum sum) {
  std::string reports;
  for (report_ns report = nullptr; (report = GetError_ns(subject.env, 0, report));) {
    reports += std::to_string(ErrorNumber_ns(report)) + " " + ErrorMessage_ns(report) + "\n";
  }
  ClearErrors_ns(subject.env, 6);
  // Names of files differ from build to build.
  for (std::size_t at; (at = reports.find(subject.file)) != std::string::npos;) reports.erase(at, subject.file.size());
  sum.Add(reports);
  std::printf("%s %s %016llx\n", subject.name.c_str(), what, sum.Value());
}

nodelist_bn List(const std::vector<node_bn>& nodes, environ_ns env) {
  nodelist_bn list = NewNodeList_bn(0, env);
  for (node_bn node : nodes) AddNodeToList_bn(node, list, LengthNodeList_bn(list));
  return list;
}

Checksum Beliefs(const Subject& subject) {
  Checksum sum;
  for (node_bn node : subject.nature) {
    const probtype* beliefs = GetNodeBeliefs_bn(node);
    sum.Add(beliefs, static_cast<std::size_t>(NumStates(node)) * sizeof *beliefs);
  }
  sum.Add(CaseProbability_bn(subject.net.get()));
  return sum;
}

Checksum Tables(const Subject& subject) {
  Checksum sum;
  for (node_bn node : subject.nature) {
    std::vector<statetype> states;
    const std::vector<node_bn> parents = Nodes(GetNodeParents_bn(node));
    states.assign(parents.size() + 1, 0);
    do {
      const probtype* row = GetNodeProbs_bn(node, states.data());
      if (row) sum.Add(row, static_cast<std::size_t>(NumStates(node)) * sizeof *row);
      sum.Add(GetNodeExperience_bn(node, states.data()));
    } while (NextConfiguration(parents, states));
  }
  return sum;
}

void Infer(const Subject& subject) {
  net_bn net = subject.net.get();
  CompileNet_bn(net);
  Checksum tree;
  tree.Add(JunctionTreeReport_bn(net));
  Print(subject, "tree", tree);
  Print(subject, "beliefs", Beliefs(subject));

  nodelist_bn all = List(subject.nodes, subject.env);
  for (int seed = 1; seed <= 3; ++seed) {
    SeedRandom_ns(seed, subject.env);
    RandomCase_bn(all, 0, 1);
    Checksum drawn;
    std::vector<statetype> states;
    for (node_bn node : subject.nature) states.push_back(GetNodeFinding_bn(node));
    for (statetype state : states) drawn.Add(state);
    Print(subject, "draw", drawn);
    RetractAllFindings_bn(net);
    for (std::size_t i = static_cast<std::size_t>(seed); i < states.size(); i += 3) {
      if (states[i] >= 0) EnterFinding_bn(subject.nature[i], states[i]);
    }
    std::vector<float> likelihood;
    for (int s = 0; s < NumStates(subject.nature[0]); ++s) likelihood.push_back(1.0f / static_cast<float>(s + 3));
    EnterNodeLikelihood_bn(subject.nature[0], likelihood.data());
    Print(subject, "given-findings", Beliefs(subject));
    if (seed > 1) continue;
    SetNetFindMPE_bn(net, 1);
    CompileNet_bn(net);
    Checksum mpe = Beliefs(subject);
    for (node_bn node : subject.nature) mpe.Add(GetNodeMostProbable_bn(node));
    Print(subject, "most-probable", mpe);
    SetNetFindMPE_bn(net, 0);
    CompileNet_bn(net);
  }
  FreeNodeList_bn(all);
  RetractAllFindings_bn(net);
}

void Learn(const Subject& subject) {
  filespec_ns file = FileNamed_ns(subject.file.c_str(), subject.env);
  nodelist_bn nature = List(subject.nature, subject.env);
  GenerateCases_bn(nature, CASES, file, 1, 0, 0);
  Checksum cases;
  cases.Add(ReadWhole(subject.file));
  Print(subject, "cases", cases);
  CaseFileRevisesProbs_bn(file, nature, 0, 0.7);
  Print(subject, "learned", Tables(subject));
  for (node_bn node : subject.nature) FadeProbs_bn(node, 0.3);
  Print(subject, "faded", Tables(subject));
  FreeNodeList_bn(nature);
  FreeFileSpec_ns(file);
  std::filesystem::remove(subject.file);
}

void Write(const Subject& subject, const char* what) {
  filespec_ns file = FileNamed_ns(subject.file.c_str(), subject.env);
  WriteNet_bn(subject.net.get(), file);
  Checksum written;
  written.Add(ReadWhole(subject.file));
  Print(subject, what, written);
  FreeFileSpec_ns(file);
  std::filesystem::remove(subject.file);
}

void Decide(const Subject& subject) {
  nodelist_bn all = List(subject.nodes, subject.env);
  OptimizeDecisions_bn(all);
  FreeNodeList_bn(all);
  Checksum decided;
  decided.Add(GetExpectedUtility_bn(subject.net.get()));
  Print(subject, "decided", decided);
  Write(subject, "decisions-written");
}

void Absorb(const Subject& subject) {
  std::vector<node_bn> some;
  for (std::size_t i = 0; i < subject.nature.size() && some.size() < 3; i += 2) some.push_back(subject.nature[i]);
  AbsorbNodes_bn(List(some, subject.env));
  Write(subject, "absorbed");
}

void Check(Subject subject) {
  subject.nodes = Nodes(subject.net);
  bool decision = false;
  for (node_bn node : subject.nodes) {
    decision |= GetNodeKind_bn(node) == DECISION_NODE;
    if (GetNodeKind_bn(node) == NATURE_NODE) subject.nature.push_back(node);
  }
  if (subject.nature.empty()) return;
  Infer(subject);
  if (decision) {
    Decide(subject);
  } else {
    Learn(subject);
    Write(subject, "written");
  }
  if (subject.nodes.size() <= 30) Absorb(subject);
}

int Run(int count, char** paths) {
  char message[MESG_LEN_ns];
  environ_ns env = NewBravicEnviron_bn();
  if (InitBravic_bn(env, message) < 0) return std::puts(message), 1;
  const TemporaryDirectory directory;
  const std::string file = directory.Path("file");
  for (int i = 0; i < count; ++i) {
    const std::string name = std::filesystem::path(paths[i]).stem().string();
    Net net(ReadNet_bn(FileNamed_ns(paths[i], env), 0));
    if (!net) return std::printf("%s cannot be read\n", paths[i]), 1;
    Check({env, name, std::move(net), {}, {}, file});
  }
  for (int i = 0; i < RANDOM_NETS; ++i) {
    Random random(static_cast<std::uint64_t>(i));
    Check({env, "random" + std::to_string(i), RandomNet(env, random), {}, {}, file});
  }
  return CloseBravic_bn(env, message) < 0;
}

}  // namespace
}  // namespace bravic::testing

int main(int argc, char** argv) {
  return bravic::testing::Run(argc - 1, argv + 1);
}
