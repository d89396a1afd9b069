// How time grows with the number of nodes: large simple nets are built, compiled, read, updated, saved, read back and
// deleted. Prints milliseconds of processor time for each step, and a sum of the beliefs read.
//
//   bench_growth [nodes] [shape ...]
#include <ctime>

#include "bench.h"
#include "support/shapes.h"

namespace {

using bravic::testing::MakeShape;
using bravic::testing::NetShape;

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

std::vector<node_bn> Build(const NetShape& shape, net_bn net) {
  std::vector<node_bn> nodes;
  for (int i = 0; i < shape.Count(); ++i) {
    const auto at = static_cast<std::size_t>(i);
    node_bn node = NewNode_bn(nullptr, shape.states[at], net);
    nodes.push_back(node);
    for (int parent : shape.parents[at]) AddLink_bn(nodes[static_cast<std::size_t>(parent)], node);
    std::vector<float> probs(static_cast<std::size_t>(shape.states[at]));
    bravic::testing::ForEachRow(shape, i, [&](const std::vector<int>& states, int row) {
      probs[0] = 0.1f + 0.01f * static_cast<float>((i * 7 + row * 31) % 80);
      std::fill(probs.begin() + 1, probs.end(), (1 - probs[0]) / static_cast<float>(shape.states[at] - 1));
      SetNodeProbs_bn(node, states.data(), probs.data());
    });
  }
  return nodes;
}

double ReadBeliefs(const std::vector<node_bn>& nodes) {
  double sum = 0;
  for (node_bn node : nodes) sum += static_cast<double>(GetNodeBeliefs_bn(node)[0]);
  return sum;
}

void Measure(const std::string& name, int most) {
  // Of some shapes only so many can be computed with.
  const NetShape shape = MakeShape(name, name == "pedigree"  ? std::min(most, 724)
                                         : name == "medical" ? std::min(most, 186)
                                                             : most);
  const int num = shape.Count();
  std::printf("| %-8s | %7d |", name.c_str(), num);
  net_bn net = NewNet_bn("Growth", env);
  Start();
  std::vector<node_bn> nodes = Build(shape, net);
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
  if (GetError_ns(env, 5, nullptr)) Fail(name);
}

}  // namespace

int main(int argc, char** argv) {
  BeginEnvironment();
  const int num = argc > 1 ? std::atoi(argv[1]) : 100000;
  std::vector<std::string> shapes(argv + std::min(argc, 2), argv + argc);
  if (shapes.empty())
    shapes = {"unlinked", "chain", "tree", "polytree", "hub", "hubs", "grid", "grid8", "sinks", "pedigree", "medical"};
  std::puts(
      "| Shape    |   Nodes |    Build |  Compile |     Read |     Loop |   Update |     Save |Read back |   Delete | "
      "from end | Sum |");
  for (const std::string& shape : shapes) Measure(shape, num);
  CloseEnvironment();
}
