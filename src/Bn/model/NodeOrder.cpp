// Sorts a net's nodes: breadth-first searches find the components, and a depth-first search of each puts parents before
// children and counts the links that close cycles. Strongly connected components (Sharir 1981, after Kosaraju) tell
// which nodes lie on common cycles, when a present order is to be kept as far as cycles let it.
#include "Bn/model/NodeOrder.h"

#include <algorithm>

#include "Basic/Errors.h"
#include "Bn/model/Members.h"

namespace bravic {
namespace {

// Marks are never used twice, so that no walk has to wipe those of earlier ones; after 2^31 of them they begin again.
constexpr int FIRST_MARK = 100, WARN_MARK = 2047483647, LAST_MARK = 2147483547;
int markCounter = FIRST_MARK;

// The slices of the sorted nodes that hold one component each; none where the order is not a sorted one.
void SetSubnets(net_bn net, std::span<const Subnet> subnets) {
  Free(net->subnets);
  net->subnets = nullptr;
  net->numsubnets = Count(subnets);
  if (subnets.empty()) {
    for (node_bn node : net->nodes) node->subnetnum = -1;
    return;
  }
  net->subnets = NewArray<Subnet>(subnets.size());
  std::copy(subnets.begin(), subnets.end(), net->subnets);
  for (int i = 0; i < net->numsubnets; ++i) {
    const Subnet& subnet = net->subnets[i];
    for (int k = subnet.first; k < subnet.first + subnet.count; ++k) net->nodes.ar[k]->subnetnum = i;
  }
}

void Renumber(nodelist_rec& list) {
  for (int i = 0; i < list.num; ++i) list.ar[i]->index = i;
}

// Appends the component that holds the node, in the order in which a breadth-first search reaches its members.
void AppendComponent(node_bn from, int mark, Vector<node_bn>& reached) {
  int next = reached.size();
  const auto reach = [&](node_bn node) {
    if (node->mark == mark || IsStub(*node)) return;
    node->mark = mark;
    reached.push_back(node);
  };
  reach(from);
  while (next < reached.size()) {
    node_bn node = reached[next++];
    for (node_bn parent : Entries(node->preds)) reach(parent);
    for (node_bn child : Entries(node->succs)) reach(child);
  }
}

// Parents first, depth-first from each node of the slice in turn. Answers the number of links that close a cycle.
int OrderSlice(std::span<const node_bn> slice, node_bn* output) {
  const int inProgress = NewMark(), done = NewMark();
  int numcycles = 0;
  Vector<node_bn> stack;
  for (node_bn start : slice) {
    if (start->mark == done) continue;
    stack.push_back(start);
    while (!stack.empty()) {
      node_bn node = stack.back();
      // A node may lie on the stack several times, once for each child met before it was done.
      if (node->mark == done) {
        stack.pop_back();
      } else if (node->mark == inProgress) {
        node->mark = done;
        stack.pop_back();
        *output++ = node;
      } else {
        // The node stays on the stack below its parents, and is put out when it comes up again. The first parent is to
        // be visited first, so it is pushed last.
        node->mark = inProgress;
        const auto parents = Entries(node->preds);
        for (std::size_t i = parents.size(); i-- > 0;) {
          if (IsStub(*parents[i])) continue;
          // A parent in progress has this node among its ancestors: the link closes a cycle.
          if (parents[i]->mark == inProgress) {
            ++numcycles;
          } else if (parents[i]->mark != done) {
            stack.push_back(parents[i]);
          }
        }
      }
    }
  }
  return numcycles;
}

void SortNodes(net_bn net) {
  Vector<node_bn> reached;
  Vector<Subnet> subnets;
  reached.reserve(PresentNodes(net).num);
  const int mark = NewMark();
  for (node_bn node : net->nodes) {
    if (node->mark == mark) continue;
    const int first = reached.size();
    AppendComponent(node, mark, reached);
    subnets.push_back({first, reached.size() - first});
  }
  net->numcycles = 0;
  for (const Subnet& subnet : subnets) {
    net->numcycles += OrderSlice(std::span(reached.data() + subnet.first, subnet.count), net->nodes.ar + subnet.first);
  }
  SetSubnets(net, subnets);
  Renumber(net->nodes);
  net->orderstate = net->numcycles ? ORDER_CYCLIC : ORDER_ACYCLIC;
}

// Whether a parent that matters to the node comes after it.
template <class Matters>
bool HasLateParent(net_bn net, Matters matters) {
  for (node_bn node : net->nodes) {
    for (node_bn parent : Entries(node->preds)) {
      if (!IsStub(*parent) && parent->index >= node->index && matters(*node, *parent)) return true;
    }
  }
  return false;
}

// Nodes on common cycles get the same label in their scratch field, others one of their own: strongly connected
// components by a second search, from the last of the sorted nodes on, against the direction of the first (Kosaraju).
void LabelCycles(net_bn net) {
  const int labelled = NewMark();
  Vector<node_bn> stack;
  for (int i = net->nodes.num; i-- > 0;) {
    const auto label = [&](node_bn node) {
      if (node->mark == labelled) return;
      node->mark = labelled;
      node->scratch = i;
      stack.push_back(node);
    };
    label(net->nodes.ar[i]);
    while (!stack.empty()) {
      node_bn node = stack.back();
      stack.pop_back();
      for (node_bn child : Entries(node->succs)) label(child);
    }
  }
}

}  // namespace

int NewMark() {
  if (markCounter >= LAST_MARK) {
    markCounter = FIRST_MARK;
  } else if (markCounter >= WARN_MARK) {
    Report(MARKS_RECYCLED);
  }
  return markCounter++;
}

const nodelist_rec& OrderedNodes(net_bn net) {
  if (net->orderstate == ORDER_UNKNOWN) SortNodes(net);
  return net->nodes;
}

// There are no slices where the present order is kept: components may lie in one another.
void KeepPresentOrder(net_bn net) {
  CloseUp(net);
  Renumber(net->nodes);
  net->numcycles = 0;
  net->orderstate = ORDER_ACYCLIC;
  if (!HasLateParent(net, [](const bnode&, const bnode&) { return true; })) return SetSubnets(net, {});
  // A parent comes late: the order may be kept only if all that come late lie on a cycle with their children. The
  // sorted order tells where there are cycles, and the labels which nodes lie on the same one.
  const Vector<node_bn> present(net->nodes.begin(), net->nodes.end());
  SortNodes(net);
  if (net->numcycles == 0) return;
  LabelCycles(net);
  const Vector<node_bn> sorted(net->nodes.begin(), net->nodes.end());
  std::copy(present.begin(), present.end(), net->nodes.ar);
  Renumber(net->nodes);
  if (!HasLateParent(net, [](const bnode& node, const bnode& parent) { return node.scratch != parent.scratch; })) {
    return SetSubnets(net, {});
  }
  std::copy(sorted.begin(), sorted.end(), net->nodes.ar);
  Renumber(net->nodes);
}

// An unknown order is held as unknown: whoever asks for it later has it sorted again.
HeldOrder KeepOrder(net_bn net) {
  HeldOrder order;
  order.orderstate = net->orderstate;
  if (net->orderstate == ORDER_UNKNOWN) return order;
  order.numcycles = net->numcycles;
  order.nodes.assign(net->nodes.begin(), net->nodes.end());
  order.subnets.assign(net->subnets, net->subnets + net->numsubnets);
  return order;
}

void SetOrder(net_bn net, const HeldOrder& order) {
  net->orderstate = order.orderstate;
  if (order.orderstate == ORDER_UNKNOWN) return;
  net->numcycles = order.numcycles;
  std::copy(order.nodes.begin(), order.nodes.end(), net->nodes.ar);
  SetSubnets(net, order.subnets);
  Renumber(net->nodes);
}

}  // namespace bravic
