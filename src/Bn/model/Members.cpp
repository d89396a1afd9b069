#include "Bn/model/Members.h"

#include <algorithm>

#include "Bn/model/NodeNames.h"

namespace bravic {
namespace {

// The holes before the place.
int SumBelow(const Holes& holes, int place) {
  int sum = 0;
  for (int i = place; i > 0; i -= i & -i) sum += holes.counts[i];
  return sum;
}

void CountHole(Holes& holes, int place, int step) {
  for (int i = place + 1; i <= holes.size; i += i & -i) holes.counts[i] += step;
  holes.num += step;
}

void ForgetHoles(Holes& holes) {
  Free(holes.counts);
  holes = {};
}

// Makes room in the tree for all places that the list may come to have.
void FitHoles(const nodelist_rec& list, Holes& holes) {
  if (holes.size >= list.num) return;
  ForgetHoles(holes);
  holes.size = 2 * list.num;
  holes.counts = NewCleared<int>(holes.size + 1);
  for (int i = 0; i < list.num; ++i) {
    if (!list.ar[i]) CountHole(holes, i, 1);
  }
}

int PlaceWithoutHoles(const Holes& holes, int place) {
  return holes.num ? place - SumBelow(holes, place) : place;
}

void CloseUpList(nodelist_rec& list, Holes& holes) {
  if (holes.num) {
    int kept = 0;
    for (node_bn node : list) {
      if (!node) continue;
      node->index = kept;
      list.ar[kept++] = node;
    }
    list.num = kept;
  }
  ForgetHoles(holes);
}

void JoinNet(net_bn net, node_bn node) {
  node->innet = net;
  if (IsStub(*node)) return;
  EnterNodeName(net, node);
  if (net->keepsbeliefs && !node->belief) {
    node->belief = NewCleared<float>(node->numstates);
  }
  if (node->kind == ASSUME_NODE) net->noassume = false;
  CountFinding(net, *node, 1);
}

void LeaveNet(net_bn net, node_bn node) {
  NoteNodeGone(*node);
  node->innet = nullptr;
  node->index = -1;
  if (IsStub(*node)) return;
  RemoveNodeName(net, node);
  CountFinding(net, *node, -1);
}

// The positions noted are those without holes, so that they hold in a list that was closed up in the meantime.
void TakeFromList(net_bn net, nodelist_rec& list, Holes& holes, std::span<Member> members) {
  if (members.empty()) return;
  std::sort(members.begin(), members.end(),
            [](const Member& a, const Member& b) { return a.node->index < b.node->index; });
  for (Member& member : members) member.position = PlaceWithoutHoles(holes, member.node->index);
  FitHoles(list, holes);
  for (const Member& member : members) {
    list.ar[member.node->index] = nullptr;
    CountHole(holes, member.node->index, 1);
  }
  // Holes at the end are no holes but places that are free again.
  for (; list.num > 0 && !list.ar[list.num - 1]; --list.num) CountHole(holes, list.num - 1, -1);
  // Where half of the list is holes, walking over it would cost more than closing it up.
  constexpr int FEW_HOLES = 32;
  if (holes.num > FEW_HOLES && holes.num > list.num / 2) CloseUpList(list, holes);
  for (const Member& member : members) LeaveNet(net, member.node);
}

void PutInList(net_bn net, nodelist_rec& list, Holes& holes, std::span<const Member> members) {
  if (members.empty()) return;
  // Two lists by rising position are merged: the nodes that are there, and those that come back to their places.
  CloseUpList(list, holes);
  const Vector<node_bn> present(list.begin(), list.end());
  for (const Member& member : members) Append(list, member.node);
  auto next = present.begin();
  auto member = members.begin();
  for (int i = 0; i < list.num; ++i) {
    const bool put = next == present.end() || (member != members.end() && member->position <= i);
    list.ar[i] = put ? (member++)->node : *next++;
    list.ar[i]->index = i;
  }
  for (const Member& joined : members) JoinNet(net, joined.node);
}

}  // namespace

bool IsMember(const nodelist_rec& list, node_bn node) {
  return node->index >= 0 && node->index < list.num && list.ar[node->index] == node;
}

void CountFinding(net_bn net, const bnode& node, int step) {
  if (node.evidence != UNDEF_STATE || node.value != UNDEF_DBL) {
    net->numEvidence += step;
  } else if (node.likelihood) {
    net->numLikelihood += step;
  }
}

void AppendMembers(net_bn net, std::span<const node_bn> nodes, Vector<Member>* members) {
  for (node_bn node : nodes) {
    const bool isStub = IsStub(*node);
    nodelist_rec& list = isStub ? net->stubs : net->nodes;
    node->index = list.num;
    if (members) members->push_back({node, list.num - (isStub ? net->stubHoles : net->nodeHoles).num});
    Append(list, node);
    JoinNet(net, node);
  }
}

void PutMembers(net_bn net, std::span<const Member> nodes, std::span<const Member> stubs) {
  PutInList(net, net->nodes, net->nodeHoles, nodes);
  PutInList(net, net->stubs, net->stubHoles, stubs);
}

void TakeMembers(net_bn net, std::span<Member> nodes, std::span<Member> stubs) {
  TakeFromList(net, net->nodes, net->nodeHoles, nodes);
  TakeFromList(net, net->stubs, net->stubHoles, stubs);
}

void CloseUp(net_bn net) {
  if (!net->nodeHoles.size && !net->stubHoles.size) return;
  CloseUpList(net->nodes, net->nodeHoles);
  CloseUpList(net->stubs, net->stubHoles);
}

const nodelist_rec& PresentNodes(net_bn net) {
  CloseUp(net);
  return net->nodes;
}

}  // namespace bravic
