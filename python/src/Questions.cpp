// What is asked beyond beliefs, and decisions.
#include <nanobind/stl/vector.h>

#include <algorithm>

#include "Net.h"

namespace binding {
namespace {

// (configurations [n x nodes], probabilities [n])
nb::tuple BestConfigs(Net& net, int count) {
  std::vector<statetype> states;
  std::vector<double> probs;
  const int nodes = AskCompiled(net, [&] {
    const nodelist_bn all = GetNetNodes_bn(net.Get());
    const int length = LengthNodeList_bn(all);
    double most = 1;  // no more than there are
    for (int i = 0; i < length && most < count; ++i) most *= std::max(GetNodeNumberStates_bn(NthNode_bn(all, i)), 1);
    count = static_cast<int>(std::min<double>(count, most));
    states.resize(static_cast<std::size_t>(length) * static_cast<std::size_t>(count) + 1);
    probs.resize(static_cast<std::size_t>(count) + 1);
    const int found = MostProbableConfigs_bn(net.Get(), count, states.data(), probs.data());
    probs.resize(static_cast<std::size_t>(found < 0 ? 0 : found));
    return length;
  });
  states.resize(probs.size() * static_cast<std::size_t>(nodes));
  return nb::make_tuple(states, probs);
}

nb::tuple BestStates(Net& net, const std::vector<Key>& nodes) {
  std::vector<statetype> states(nodes.size() + 1);
  double prob = 0;
  AskCompiled(net, [&] { MostProbableStates_bn(NodeList(net, nodes), states.data(), &prob); });
  states.resize(nodes.size());
  return nb::make_tuple(states, prob);
}

void Joint(Net& net, const std::vector<Key>& nodes, nb::handle object) {
  const Array<double> probs(object, true);
  AskCompiled(net, [&] {
    double size = 1;
    for (Key node : nodes) size *= GetNodeNumberStates_bn(net.At(node));
    probs.CheckSize(size);
    if (!Failed()) JointBeliefs_bn(NodeList(net, nodes), probs.Data());
  });
}

using Gains = int(BRAVIC_CALL*)(node_bn, nodelist_bn, double*);
template <Gains GAINS>
std::vector<double> GainsOf(Net& net, Key target, const std::vector<Key>& others) {
  std::vector<double> gains(others.size() + 1);
  AskCompiled(net, [&] { GAINS(net.At(target), NodeList(net, others), gains.data()); });
  gains.resize(others.size());
  return gains;
}

nb::object Conflicting(Net& net, Key key, int state) {
  std::vector<Key> keys;
  const bool conflict = AskCompiled(net, [&] {
    const nodelist_bn found = ConflictingFindings_bn(net.At(key), state);
    if (!found) return false;
    const NodeList list(found);
    keys = net.KeysOf(found);
    return true;
  });
  return conflict ? nb::cast(keys) : nb::none();
}

std::vector<double> Impacts(Net& net, Key target, int state, const std::vector<Key>& observed) {
  std::vector<double> without(observed.size() + 1);
  AskCompiled(net, [&] { FindingImpacts_bn(net.At(target), state, NodeList(net, observed), without.data()); });
  without.resize(observed.size());
  return without;
}

// coefficients [entries of all tables x 4]
void Sensitivities(Net& net, Key target, int state, const std::vector<Key>& nodes, nb::handle object) {
  const Array<double> coefficients(object, true);
  AskCompiled(net, [&] {
    double size = 0;
    for (Key key : nodes) size += NumberOfRows(net.At(key)) * GetNodeNumberStates_bn(net.At(key));
    coefficients.CheckSize(size * 4);
    BeliefSensitivities_bn(net.At(target), state, NodeList(net, nodes), coefficients.Data());
  });
}

}  // namespace

void BindQuestions(NetClass& bound) {
  bound.def("best_configs", BestConfigs)
      .def("best_states", BestStates)
      .def("joint", Joint)
      .def("information", GainsOf<InformationGains_bn>)
      .def("variance", GainsOf<VarianceReductions_bn>)
      .def("separated",
           [](Net& net, const std::vector<Key>& some, const std::vector<Key>& others, const std::vector<Key>& given) {
             return AskLong([&] {
               return AreSeparated_bn(NodeList(net, some), NodeList(net, others), NodeList(net, given)) == 1;
             });
           })
      .def("blanket",
           [](Net& net, Key node) { return Ask([&] { return net.KeysOf(NodeList(MarkovBlanket_bn(net.At(node)))); }); })
      .def("conflicting", Conflicting)
      .def("conflict",
           [](Net& net) { return Infinite(AskCompiled(net, [&] { return FindingsConflict_bn(net.Get()); })); })
      .def("impacts", Impacts)
      .def("sensitivities", Sensitivities)
      .def("solve", [](Net& net, int method) { return AskLong([&] { return SolveDecisions_bn(net.Get(), method); }); })
      .def("value_of_observing",
           [](Net& net, Key node, Key decision) {
             return AskLong([&] { return ValueOfObserving_bn(net.At(node), net.At(decision)); });
           })
      .def("expected_utility", [](Net& net) { return AskLong([&] { return GetExpectedUtility_bn(net.Get()); }); });
}

}  // namespace binding
