// Node absorption: influence diagrams solved by node removal and link reversal (Shachter 1986). A nature node is summed
// out after its links to its children are reversed; a decision node is maximized into its utility child, and the
// maximizing choices are its policy. The order is chosen step by step by cost. A nature node's children are taken in
// the net's node order, so that reversing a link never closes a cycle in an acyclic net.
#pragma once

#include <span>

#include "Bn/model/Net.h"
#include "Win_Face/Interaction.h"

namespace bravic {

// A decision's optimal table: for each configuration of its parents at that moment the state to choose.
struct Policy {
  node_bn decision = nullptr;
  Vector<node_bn> parents;
  Block<statetype> states;  // [configurations of parents]
};

// Absorbs the nodes for good, as one undo group; utility and assume nodes among them are passed over. A failure
// leaves the net as far as the absorption got. Policies found are appended, when a place for them is given.
Failure AbsorbNodes(net_bn net, std::span<const node_bn> nodes, Vector<Policy>* policies, LongWork& work);

}  // namespace bravic
