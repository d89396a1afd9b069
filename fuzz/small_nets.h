// Small nets made of bytes, and numbers compared, for the fuzzers that know what to expect.
#pragma once

#include "harness.h"
#include "support/joint.h"

namespace bravic::fuzz {

// In relation to the larger of 1 and what is expected.
bool AreNear(double is, double expected, double tolerance = 1e-5);
[[noreturn]] void FailAt(const std::string& what, double is, double expected, const Net& net);

struct SmallNet {
  int maxNodes = 8, maxStates = 4, maxParents = 3;
  double maxConfigurations = 3000;
  bool withTinyWeights = true;
  bool withDecisions = false;  // and utility nodes
};
Net MakeSmallNet(Bytes& bytes, const SmallNet& kind);
// What a case says of nodes: one state of each, or UNDEF_STATE.
testing::Weights WeightsOf(const std::vector<node_bn>& nodes, const statetype* states);
std::vector<float> RowOf(Bytes& bytes, int numstates, bool withTinyWeights = true);

}  // namespace bravic::fuzz
