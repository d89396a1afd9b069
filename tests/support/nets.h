// Nets that tests share, built through the public interface.
#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "bravic.h"
#include "support/random.h"

namespace bravic::testing {

struct NetFree {
  void operator()(bnet* net) const { FreeNet_bn(net); }
};
using Net = std::unique_ptr<bnet, NetFree>;

std::vector<node_bn> Nodes(nodelist_bn list);
inline std::vector<node_bn> Nodes(const Net& net) {
  return Nodes(GetNetNodes_bn(net.get()));
}
node_bn Named(const Net& net, const std::string& name);
int NumStates(node_bn node);

// A node with named states and parents that exist already; rows: the whole table, last parent and own state fastest.
node_bn AddNode(const Net& net, const char* name, std::initializer_list<const char*> states,
                std::initializer_list<const char*> parents = {}, const std::vector<float>& rows = {});
void SetTable(node_bn node, const std::vector<float>& rows);
std::vector<float> GetTable(node_bn node);
// Steps a configuration of the nodes to the next, last node fastest; false after the last.
bool NextConfiguration(const std::vector<node_bn>& nodes, std::vector<statetype>& states);

// Visits each row of the node's table by the states of its parents.
template <class Visit>
void ForEachRow(node_bn node, Visit visit) {
  const auto parents = Nodes(GetNodeParents_bn(node));
  std::vector<statetype> states(parents.size() + 1, 0);
  do {
    visit(static_cast<const statetype*>(states.data()));
  } while (NextConfiguration(parents, states));
}

void Observe(const Net& net, const char* node, const char* state);
float Belief(const Net& net, const char* node, const char* state);

// asia -> tub, smoke -> lung and bronc, tub and lung -> either, either -> xray, either and bronc -> dysp.
Net ChestClinic(environ_ns env);
// N0 -> N1 -> ...; each node repeats its parent's state with probability 0.8.
Net Chain(environ_ns env, int length, int numstates = 2);

struct RandomNetOptions {
  int minNodes = 2, maxNodes = 12;
  int minStates = 1, maxStates = 4;
  int maxParents = 3;
  double maxConfigurations = 30000;  // of the joint distribution
  double zeros = 0.1;                // share of table entries that are exactly 0
};
Net RandomNet(environ_ns env, Random& random, const RandomNetOptions& options = {});
// One row of a table: at least one entry above 0.
std::vector<float> RandomRow(Random& random, int numstates, double zeros);
void RandomTable(node_bn node, Random& random, double zeros);

}  // namespace bravic::testing
