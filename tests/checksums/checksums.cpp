// Prints checksums of what the library computes and writes, bit for bit, one a line: two builds agree when they print
// the same. Arguments: net files. The nets drawn at random are always among what is checked. Files that are written and
// read back stand in the working folder for a moment; nothing but the C library is needed for them, so that WebAssembly
// can do the same.
#include <cstdio>
#include <string>
#include <vector>

#include "bravic.h"
#include "support/nets.h"

namespace bravic::testing {
namespace {

constexpr int RANDOM_NETS = 60, CASES = 200;

struct Subject {
  environ_ns env;
  std::string name;
  Net net;
  std::string path;  // to write to
};

// Of the text and of what was reported meanwhile: FNV-1a.
void Print(const Subject& subject, const char* what, std::string text) {
  for (report_ns report = nullptr; (report = GetError_ns(subject.env, 0, report));) {
    text += std::to_string(ErrorNumber_ns(report)) + " " + ErrorMessage_ns(report) + "\n";
  }
  ClearErrors_ns(subject.env, 6);
  // Names of files differ from build to build.
  for (std::size_t at; (at = text.find(subject.path)) != std::string::npos;) text.erase(at, subject.path.size());
  std::uint64_t hash = 0xCBF29CE484222325u;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
  std::printf("%s %s %016llx\n", subject.name.c_str(), what, static_cast<unsigned long long>(hash));
}

std::string ReadWhole(const std::string& path) {
  std::string text;
  char piece[4096];
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) return text;
  while (const std::size_t length = std::fread(piece, 1, sizeof piece, file)) text.append(piece, length);
  std::fclose(file);
  return text;
}

template <class T>
void AddBits(std::string& text, const T* values, int count) {
  text.append(reinterpret_cast<const char*>(values), static_cast<std::size_t>(count) * sizeof(T));
}

void PrintBeliefs(const Subject& subject, const std::vector<node_bn>& nature, const char* what) {
  std::string bits;
  for (node_bn node : nature) AddBits(bits, GetNodeBeliefs_bn(node), NumStates(node));
  const double probability = CaseProbability_bn(subject.net.get());
  AddBits(bits, &probability, 1);
  Print(subject, what, bits);
}

// The tables of a net file are exact.
void PrintNet(const Subject& subject, const char* what) {
  filespec_ns file = FileNamed_ns(subject.path.c_str(), subject.env);
  WriteNet_bn(subject.net.get(), file);
  FreeFileSpec_ns(file);
  Print(subject, what, ReadWhole(subject.path));
  std::remove(subject.path.c_str());
}

void Infer(const Subject& subject, const std::vector<node_bn>& nature) {
  net_bn net = subject.net.get();
  CompileNet_bn(net);
  Print(subject, "tree", JunctionTreeReport_bn(net));
  PrintBeliefs(subject, nature, "beliefs");
  for (int seed = 1; seed <= 3; ++seed) {
    SeedRandom_ns(seed, subject.env);
    RandomCase_bn(GetNetNodes_bn(net), 0, 1);
    std::vector<statetype> states;
    for (node_bn node : nature) states.push_back(GetNodeFinding_bn(node));
    std::string drawn;
    AddBits(drawn, states.data(), static_cast<int>(states.size()));
    Print(subject, "draw", drawn);
    RetractAllFindings_bn(net);
    for (std::size_t i = static_cast<std::size_t>(seed); i < states.size(); i += 3) {
      if (states[i] >= 0) EnterFinding_bn(nature[i], states[i]);
    }
    std::vector<float> likelihood;
    for (int s = 0; s < NumStates(nature[0]); ++s) likelihood.push_back(1.0f / static_cast<float>(s + 3));
    EnterNodeLikelihood_bn(nature[0], likelihood.data());
    PrintBeliefs(subject, nature, "given-findings");
  }
  SetNetFindMPE_bn(net, 1);
  CompileNet_bn(net);
  PrintBeliefs(subject, nature, "most-probable");
  SetNetFindMPE_bn(net, 0);
  RetractAllFindings_bn(net);
}

// Cases drawn, of each of which two thirds of the nodes are known.
void InferMany(const Subject& subject, const std::vector<node_bn>& nature) {
  constexpr int DRAWN = 20;
  net_bn net = subject.net.get();
  nodelist_bn list = NewNodeList_bn(0, subject.env);
  std::size_t width = 0;
  for (node_bn node : nature) {
    AddNodeToList_bn(node, list, LengthNodeList_bn(list));
    width += static_cast<std::size_t>(NumStates(node));
  }
  std::vector<statetype> states;
  SeedRandom_ns(1, subject.env);
  for (int number = 0; number < DRAWN; ++number) {
    RandomCase_bn(GetNetNodes_bn(net), 0, 1);
    for (std::size_t i = 0; i < nature.size(); ++i) {
      const statetype state = GetNodeFinding_bn(nature[i]);
      states.push_back(state >= 0 && (i + static_cast<std::size_t>(number)) % 3 > 0 ? state : UNDEF_STATE);
    }
    RetractAllFindings_bn(net);
  }
  std::vector<probtype> beliefs(width * DRAWN, -1.0f);
  BeliefsOfCases_bn(list, states.data(), DRAWN, list, beliefs.data(), nullptr, 2);
  FreeNodeList_bn(list);
  std::string bits;
  AddBits(bits, beliefs.data(), static_cast<int>(beliefs.size()));
  Print(subject, "many-cases", bits);
}

// With a finding, the best configurations and the best joint states of every third node.
void FindConfigs(const Subject& subject, const std::vector<node_bn>& nature) {
  constexpr int COUNT = 20;
  net_bn net = subject.net.get();
  nodelist_bn some = NewNodeList_bn(0, subject.env);
  for (std::size_t i = 0; i < nature.size() && i < 10; i += 3) AddNodeToList_bn(nature[i], some, 0);
  std::vector<statetype> states(COUNT * Nodes(subject.net).size() + nature.size(), -9);
  std::vector<double> probs(COUNT + 1, -9);
  CompileNet_bn(net);
  EnterNodeLikelihood_bn(nature.back(), std::vector<float>(std::size_t(NumStates(nature.back())), 0.3f).data());
  MostProbableConfigs_bn(net, COUNT, states.data(), probs.data());
  MostProbableStates_bn(some, states.data() + states.size() - nature.size(), probs.data() + COUNT);
  RetractAllFindings_bn(net);
  FreeNodeList_bn(some);
  std::string bits;
  AddBits(bits, states.data(), static_cast<int>(states.size()));
  AddBits(bits, probs.data(), static_cast<int>(probs.size()));
  Print(subject, "configurations", bits);
}

void Learn(const Subject& subject) {
  nodelist_bn all = GetNetNodes_bn(subject.net.get());
  filespec_ns file = FileNamed_ns(subject.path.c_str(), subject.env);
  GenerateCases_bn(all, CASES, file, 1, 0, 0);
  Print(subject, "cases", ReadWhole(subject.path));
  CaseFileRevisesProbs_bn(file, all, 0, 0.7);
  FreeFileSpec_ns(file);
  PrintNet(subject, "learned");
  for (node_bn node : Nodes(subject.net)) FadeProbs_bn(node, 0.3);
  PrintNet(subject, "faded");
}

void Check(const Subject& subject) {
  net_bn net = subject.net.get();
  const auto nodes = Nodes(subject.net);
  std::vector<node_bn> nature;
  for (node_bn node : nodes) {
    if (GetNodeKind_bn(node) == NATURE_NODE) nature.push_back(node);
  }
  if (nature.empty()) return;
  Infer(subject, nature);
  InferMany(subject, nature);
  FindConfigs(subject, nature);
  if (nature.size() == nodes.size()) Learn(subject);
  OptimizeDecisions_bn(GetNetNodes_bn(net));
  const double utility = GetExpectedUtility_bn(net);
  std::string bits;
  AddBits(bits, &utility, 1);
  Print(subject, "decided", bits);
  PrintNet(subject, "written");
  if (nodes.size() > 30) return;
  nodelist_bn some = NewNodeList_bn(0, subject.env);
  for (std::size_t i = 0; i < nature.size() && i < 6; i += 2) AddNodeToList_bn(nature[i], some, 0);
  AbsorbNodes_bn(some);
  PrintNet(subject, "absorbed");
}

int Run(int count, char** paths) {
  char message[MESG_LEN_ns];
  environ_ns env = NewBravicEnviron_bn();
  if (InitBravic_bn(env, message) < 0) return std::puts(message), 1;
  const std::string path = "checksums.tmp";
  for (int i = 0; i < count; ++i) {
    std::string name = paths[i];
    name = name.substr(name.find_last_of("/\\") + 1);
    name = name.substr(0, name.rfind('.'));
    Net net(ReadNet_bn(FileNamed_ns(paths[i], env), 0));
    if (!net) return std::printf("%s cannot be read\n", paths[i]), 1;
    Check({env, name, std::move(net), path});
  }
  for (int i = 0; i < RANDOM_NETS; ++i) {
    Random random(static_cast<std::uint64_t>(i));
    Check({env, "random" + std::to_string(i), RandomNet(env, random), path});
  }
  return CloseBravic_bn(env, message) < 0;
}

}  // namespace
}  // namespace bravic::testing

int main(int argc, char** argv) {
  return bravic::testing::Run(argc - 1, argv + 1);
}
