// Nodes and placeholders in and out of their net. One that is taken out leaves a NULL entry, a hole, so that a net can
// be taken apart node by node in linear time; CloseUp moves the others together and numbers them anew. Nets whose order
// is known have no holes. Where a node would stand without the holes before it is found by a tree of their sums
// (Fenwick 1994).
#pragma once

#include "Bn/model/Lists.h"

namespace bravic {

// A node or placeholder that went into or out of the net.
struct Member {
  node_bn node;
  int position;  // in the net's nodes or placeholders
};

bool IsMember(const nodelist_rec& list, node_bn node);  // of a net
// Into the net's lists and name table, and out of them, leaving holes. The positions are those in the closed lists;
// what is put has them, else they are noted, by rising position.
void AppendMembers(net_bn net, std::span<const node_bn> nodes, Vector<Member>* members);
void PutMembers(net_bn net, std::span<const Member> nodes, std::span<const Member> stubs);
void TakeMembers(net_bn net, std::span<Member> nodes, std::span<Member> stubs);
void CountFinding(net_bn net, const bnode& node, int step);  // adds step to the counts its finding belongs to

const nodelist_rec& PresentNodes(net_bn net);  // as they stand
void CloseUp(net_bn net);                      // closes the holes that deleted nodes have left in its lists

}  // namespace bravic
