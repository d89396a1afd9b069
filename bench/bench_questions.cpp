// Questions beyond beliefs: about one node of each net, the one with most states. A checksum of the answers goes with
// each time.
#include <cmath>
#include <filesystem>

#include "bench.h"

namespace {

struct Subject {
  net_bn net;
  node_bn target;
  std::vector<node_bn> nodes;
};

Subject Prepare(const std::string& path) {
  Subject subject{ReadOrFail(path), nullptr, {}};
  CompileNet_bn(subject.net);
  nodelist_bn nodes = GetNetNodes_bn(subject.net);
  for (int i = 0; i < LengthNodeList_bn(nodes); ++i) {
    node_bn node = NthNode_bn(nodes, i);
    subject.nodes.push_back(node);
    if (!subject.target || GetNodeNumberStates_bn(node) > GetNodeNumberStates_bn(subject.target)) subject.target = node;
  }
  GetNodeBeliefs_bn(subject.target);
  if (GetError_ns(env, 5, nullptr)) Fail(path);
  return subject;
}

std::size_t SizeOfTable(node_bn node) {
  auto size = static_cast<std::size_t>(GetNodeNumberStates_bn(node));
  nodelist_bn parents = GetNodeParents_bn(node);
  for (int k = 0; k < LengthNodeList_bn(parents); ++k)
    size *= static_cast<std::size_t>(GetNodeNumberStates_bn(NthNode_bn(parents, k)));
  return size;
}

double Sum(const std::vector<double>& numbers) {
  double sum = 0;
  for (double number : numbers) sum += number;
  return sum;
}

// What one node tells of all others, or they of it.
double Information(const Subject& subject) {
  std::vector<double> bits(subject.nodes.size());
  InformationGains_bn(subject.target, GetNetNodes_bn(subject.net), bits.data());
  return Sum(bits);
}

// One belief by every entry of all tables.
double Sensitivity(const Subject& subject) {
  std::size_t size = 0;
  for (node_bn node : subject.nodes) size += SizeOfTable(node);
  std::vector<double> coefficients(4 * size);
  BeliefSensitivities_bn(subject.target, 0, GetNetNodes_bn(subject.net), coefficients.data());
  double sum = 0;
  for (const double* c = coefficients.data(); c < coefficients.data() + 4 * size; c += 4)
    sum += std::abs(c[0] * c[3] - c[1] * c[2]);
  return sum;
}

// With the first node of the net.
double Joint(const Subject& subject) {
  nodelist_bn list = NewNodeList_bn(1, env);
  SetNthNode_bn(list, 0, subject.target);
  double size = GetNodeNumberStates_bn(subject.target);
  if (subject.nodes[0] != subject.target) {
    AddNodeToList_bn(subject.nodes[0], list, 1);
    size *= GetNodeNumberStates_bn(subject.nodes[0]);
  }
  std::vector<double> probs(static_cast<std::size_t>(size));
  JointBeliefs_bn(list, probs.data());
  FreeNodeList_bn(list);
  return probs[0];
}

void Run(benchmark::State& state, const std::string& path, double (*ask)(const Subject&)) {
  const Subject subject = Prepare(path);
  double checksum = 0;
  for (auto _ : state) checksum = ask(subject);
  if (GetError_ns(env, 5, nullptr)) Fail(path);
  state.SetLabel("checksum " + std::to_string(checksum));
  FreeNet_bn(subject.net);
}

void RegisterAll(const std::filesystem::path& nets) {
  for (const char* name : {"alarm", "win95pts", "pigs", "mildew", "diabetes", "munin4"}) {
    const std::string path = nets / (std::string(name) + ".dne");
    if (!std::filesystem::exists(path)) continue;
    const struct {
      const char* name;
      double (*ask)(const Subject&);
    } questions[] = {{"information", Information}, {"sensitivity", Sensitivity}, {"joint", Joint}};
    for (const auto& question : questions) {
      benchmark::RegisterBenchmark((std::string(question.name) + "/" + name).c_str(), Run, path, question.ask)
          ->Unit(benchmark::kMillisecond);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  return RunBenchmarks(argc, argv, RegisterAll);
}
