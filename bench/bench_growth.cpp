// How time grows with the number of nodes: large simple nets are built, compiled, read, updated, saved, read back and
// deleted. Prints milliseconds of processor time for each step, and a sum of the beliefs read.
//
//   bench_growth [nodes] [shape ...]
#include <ctime>

#include "bench.h"

namespace {

double began;

double Now() {
  return static_cast<double>(std::clock()) * 1000 / CLOCKS_PER_SEC;
}

void Start() {
  began = Now();
}

void Stop() {
  std::printf(" %8.0f |", Now() - began);
  std::fflush(stdout);
}

// The parents of node i in a net of that shape.
std::vector<int> ParentsOf(const std::string& shape, int i) {
  if (shape == "chain" && i > 0) return {i - 1};
  if (shape == "tree" && i > 0) return {(i - 1) / 2};
  if (shape == "hub" && i > 0) return {0};
  if (shape == "hubs" && i % 100 > 0) return {i - i % 100};
  if (shape == "sinks" && i % 4 == 3) return {i - 3, i - 2, i - 1};
  if (shape == "grid") {
    std::vector<int> parents;
    if (i >= 3) parents.push_back(i - 3);
    if (i % 3 > 0) parents.push_back(i - 1);
    return parents;
  }
  return {};
}

std::vector<node_bn> Build(const std::string& shape, int num, net_bn net) {
  std::vector<node_bn> nodes;
  for (int i = 0; i < num; ++i) {
    node_bn node = NewNode_bn(nullptr, 2, net);
    nodes.push_back(node);
    const std::vector<int> parents = ParentsOf(shape, i);
    for (int parent : parents) AddLink_bn(nodes[static_cast<std::size_t>(parent)], node);
    std::vector<statetype> states(parents.size() + 1, 0);
    for (int row = 0; row < 1 << parents.size(); ++row) {
      for (std::size_t k = 0; k < parents.size(); ++k) states[k] = row >> k & 1;
      const float p = 0.1f + 0.01f * static_cast<float>((i * 7 + row * 31) % 80);
      const float probs[] = {p, 1 - p};
      SetNodeProbs_bn(node, states.data(), probs);
    }
  }
  return nodes;
}

double ReadBeliefs(const std::vector<node_bn>& nodes) {
  double sum = 0;
  for (node_bn node : nodes) sum += static_cast<double>(GetNodeBeliefs_bn(node)[0]);
  return sum;
}

void Measure(const std::string& shape, int num) {
  std::printf("| %-8s | %7d |", shape.c_str(), num);
  net_bn net = NewNet_bn("Growth", env);
  Start();
  std::vector<node_bn> nodes = Build(shape, num, net);
  Stop();
  Start();
  CompileNet_bn(net);
  Stop();
  Start();
  double sum = ReadBeliefs(nodes);
  Stop();
  Start();
  nodelist_bn list = GetNetNodes_bn(net);
  for (int i = 0; i < LengthNodeList_bn(list); ++i) sum += GetNodeNumberStates_bn(NthNode_bn(list, i));
  Stop();
  Start();
  for (int i = 0; i < num; i += 1000) EnterFinding_bn(nodes[static_cast<std::size_t>(i)], i / 1000 % 2);
  sum += ReadBeliefs(nodes);
  Stop();
  const std::string path = (std::filesystem::temp_directory_path() / "bravic_growth.dne").string();
  filespec_ns file = FileNamed_ns(path.c_str(), env);
  Start();
  WriteNet_bn(net, file);
  Stop();
  Start();
  net_bn copy = ReadNet_bn(file, 0);
  Stop();
  if (!copy) Fail("cannot read the net back");
  Start();
  for (node_bn node : nodes) DeleteNode_bn(node);
  Stop();
  nodelist_bn others = DupNodeList_bn(GetNetNodes_bn(copy));
  Start();
  while (LengthNodeList_bn(others) > 0) DeleteNode_bn(RemoveNthNode_bn(others, LengthNodeList_bn(others) - 1));
  Stop();
  std::printf(" %.6f |\n", sum);
  FreeNodeList_bn(others);
  FreeNet_bn(copy);
  FreeNet_bn(net);
  std::filesystem::remove(path);
  FreeFileSpec_ns(file);
  if (GetError_ns(env, 5, nullptr)) Fail(shape);
}

}  // namespace

int main(int argc, char** argv) {
  char message[MESG_LEN_ns];
  env = NewBravicEnviron_bn();
  if (InitBravic_bn(env, message) < 0) Fail(message);
  const int num = argc > 1 ? std::atoi(argv[1]) : 100000;
  std::vector<std::string> shapes(argv + std::min(argc, 2), argv + argc);
  if (shapes.empty()) shapes = {"unlinked", "chain", "tree", "hub", "hubs", "grid", "sinks"};
  std::puts(
      "| Shape    |   Nodes |    Build |  Compile |     Read |     Loop |   Update |     Save |Read back |   Delete | "
      "from end | Sum |");
  for (const std::string& shape : shapes) Measure(shape, num);
  CloseEnvironment();
}
