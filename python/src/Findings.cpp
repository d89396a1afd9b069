// Compiling, findings and beliefs.
#include <nanobind/stl/pair.h>
#include <nanobind/stl/vector.h>

#include "Net.h"

namespace binding {
namespace {

// Answers at once where beliefs are there; else other threads run meanwhile.
void GetBeliefs(Net& net, Key key, nb::handle object) {
  const Array<float> beliefs(object, true);
  const auto copy = [&] {
    node_bn node = net.At(key);
    const int states = GetNodeNumberStates_bn(node);
    beliefs.CheckSize(states);
    const probtype* probs = GetNodeBeliefs_bn(node);
    if (!Failed()) std::memcpy(beliefs.Data(), probs, sizeof(float) * static_cast<std::size_t>(states));
  };
  const bool isThere = Ask([&] {
    if (IsBeliefUpdated_bn(net.At(key)) != 1) return false;
    copy();
    return true;
  });
  if (!isThere) AskCompiled(net, copy);
}

// Of every node that has beliefs: name, names of states, probabilities.
struct Belief {
  Text name;
  std::vector<Text> states;
  std::vector<float> probs;
};

bool HasBeliefs(node_bn node) {
  return GetNodeKind_bn(node) == NATURE_NODE && GetNodeNumberStates_bn(node) > 0;
}

nb::list AllBeliefs(Net& net) {
  const std::vector<Belief> beliefs = AskCompiled(net, [&] {
    std::vector<Belief> all;
    const nodelist_bn nodes = GetNetNodes_bn(net.Get());
    const int count = LengthNodeList_bn(nodes);
    for (int i = 0; i < count && !Failed(); ++i) {
      node_bn node = NthNode_bn(nodes, i);
      if (!HasBeliefs(node)) continue;
      const int states = GetNodeNumberStates_bn(node);
      const probtype* probs = GetNodeBeliefs_bn(node);
      Belief belief{GetNodeName_bn(node), {}, {probs, probs + states}};
      for (int state = 0; state < states; ++state) belief.states.emplace_back(GetNodeStateName_bn(node, state));
      all.push_back(std::move(belief));
    }
    return all;
  });
  nb::list answer;
  for (const Belief& belief : beliefs) {
    nb::dict states;
    for (std::size_t i = 0; i < belief.probs.size(); ++i) {
      const std::string& name = belief.states[i].bytes;
      states[nb::cast(name.empty() ? Text(std::to_string(i).c_str()) : belief.states[i])] = nb::float_(belief.probs[i]);
    }
    answer.append(nb::make_tuple(belief.name, states));
  }
  return answer;
}

// Of a continuous node; of others the state tells all.
double ValueOf(node_bn node) {
  return GetNodeDiscrete_bn(node) ? undef_dbl_ns : GetNodeValue_bn(node);
}

constexpr int LIKELIHOOD = -6, NONE = -8;  // of GetNodeFinding_bn

// As GetNodeFinding_bn, but that equal weights other than 1 are a finding, too: the likelihood of each state; and that
// nodes without states may be asked.
int FindingOf(node_bn node) {
  if (GetNodeNumberStates_bn(node) == 0) return NONE;
  const int finding = GetNodeFinding_bn(node);
  return finding == NONE && GetNodeLikelihood_bn(node)[0] != 1 ? LIKELIHOOD : finding;
}

void EnterLikelihood(Net& net, Key key, nb::handle object) {
  const Array<float> likelihood(object, false);
  AskLong([&] {
    node_bn node = net.At(key);
    likelihood.CheckSize(GetNodeNumberStates_bn(node));
    EnterNodeLikelihood_bn(node, likelihood.Data());
  });
}

void GetLikelihood(Net& net, Key key, nb::handle object) {
  const Array<float> likelihood(object, true);
  Ask([&] {
    node_bn node = net.At(key);
    likelihood.CheckSize(GetNodeNumberStates_bn(node));
    std::memcpy(likelihood.Data(), GetNodeLikelihood_bn(node),
                sizeof(float) * static_cast<std::size_t>(likelihood.Size()));
  });
}

// Several calls as one step for undo: what was begun ends by keeping or by taking back.
void BindSteps(NetClass& bound) {
  bound.def("begin_changes", [](Net& net) { Ask([&] { BeginChanges_bn(net.Get()); }); })
      .def("end_changes", [](Net& net, bool keep) {
        Ask([&] {
          EndChanges_bn(net.Get(), keep);
          if (!keep) net.ForgetThoseGone();
        });
      });
}

}  // namespace

void BindFindings(NetClass& bound) {
  BindSteps(bound);
  bound.def("compile", [](Net& net) { AskLong([&] { CompileNet_bn(net.Get()); }); })
      .def("enter_state", [](Net& net, Key node, int state) { AskLong([&] { EnterFinding_bn(net.At(node), state); }); })
      .def("enter_not",
           [](Net& net, Key node, int state) { AskLong([&] { EnterFindingNot_bn(net.At(node), state); }); })
      .def("enter_value",
           [](Net& net, Key node, double value) { AskLong([&] { EnterNodeValue_bn(net.At(node), value); }); })
      .def("enter_likelihood", EnterLikelihood)
      .def("likelihood", GetLikelihood)
      .def("finding", [](Net& net, Key node) { return Ask([&] { return FindingOf(net.At(node)); }); })
      .def("value", [](Net& net, Key node) { return Number(Ask([&] { return ValueOf(net.At(node)); })); })
      .def("retract", [](Net& net, Key node) { AskLong([&] { RetractNodeFindings_bn(net.At(node)); }); })
      .def("retract_all", [](Net& net) { AskLong([&] { RetractAllFindings_bn(net.Get()); }); })
      .def("found",
           [](Net& net) {
             return Ask([&] {
               std::vector<Key> found;
               const nodelist_bn nodes = GetNetNodes_bn(net.Get());
               const int count = LengthNodeList_bn(nodes);
               for (int i = 0; i < count; ++i) {
                 node_bn node = NthNode_bn(nodes, i);
                 if (FindingOf(node) != NONE || ValueOf(node) != undef_dbl_ns) found.push_back(net.KeyOf(node));
               }
               return found;
             });
           })
      .def("beliefs", GetBeliefs)
      .def("all_beliefs", AllBeliefs)
      .def("probability",
           [](Net& net) {
             return AskCompiled(
                 net, [&] { return CaseProbability_bn(net.Get()); }, CONTRADICTION);
           })
      .def("log_probability",
           [](Net& net) {
             return Infinite(AskCompiled(
                 net, [&] { return CaseLogProbability_bn(net.Get()); }, CONTRADICTION));
           })
      .def("find_order", [](Net& net, double seconds) { AskLong([&] { FindElimOrder_bn(net.Get(), seconds); }); })
      .def("tree_report",
           [](Net& net) { return AskCompiled(net, [&] { return Text(JunctionTreeReport_bn(net.Get())); }); })
      .def("estimate", [](Net& net) {
        double sizes[3] = {};
        AskLong([&] { EstimateCompile_bn(net.Get(), sizes, sizes + 1, sizes + 2); });
        return nb::make_tuple(sizes[0], sizes[1], sizes[2]);
      });
}

}  // namespace binding
