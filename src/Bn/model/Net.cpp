// Nets, and nodes that come and go. Adding and removing are one record each for undo: it keeps members, their
// positions, the links from parents that stay, and the order, so that all come back where hosts have seen them.
#include "Bn/model/Net.h"

#include <algorithm>

#include "Basic/Environ.h"
#include "Basic/ErrorTable.h"
#include "Basic/Text.h"
#include "Bn/model/Changes.h"
#include "Bn/model/Fields.h"
#include "Bn/model/Members.h"
#include "Bn/model/NameLists.h"
#include "Bn/model/Node.h"
#include "Bn/model/NodeNames.h"
#include "Bn/model/NodeOrder.h"
#include "Bn/model/Parents.h"
#include "Bn/model/UndoRecord.h"

namespace bravic {
namespace {

node_bn prototypeNode = nullptr;

void FreeNodes(const nodelist_rec& list) {
  for (node_bn node : list) FreeNodeRecord(node);
}

node_bn NewPrototype() {
  node_bn node = NewObject<bnode>();
  node->kind = NATURE_NODE;
  return node;
}

// Each parent once.
template <class Visit>
void VisitParents(node_bn node, Visit visit) {
  const int mark = NewMark();
  for (node_bn parent : Entries(node->preds)) {
    if (parent->mark2 == mark) continue;
    parent->mark2 = mark;
    visit(parent);
  }
}

// Nothing may be left behind that has a removed node among its parents.
Failure CheckRemoval(net_bn net, std::span<const node_bn> nodes, std::span<const node_bn> stubs) {
  const int mark = NewMark();
  for (node_bn node : nodes) node->mark = mark;
  for (node_bn node : nodes) {
    for (node_bn child : Entries(node->succs)) {
      if (child->mark == mark) continue;
      return Fail(CHILD_NOT_REMOVED_TOO, node->name, child->name);
    }
  }
  const auto areIn = [](const nodelist_rec& list, std::span<const node_bn> some) {
    return std::all_of(some.begin(), some.end(), [&list](node_bn node) { return IsMember(list, node); });
  };
  if (!areIn(net->nodes, nodes)) return Fail(NODES_NOT_IN_NET);
  if (!areIn(net->stubs, stubs)) return Fail(PLACEHOLDERS_NOT_IN_NET);
  return nullptr;
}

// RemoveNodesFromNet, but for closing up the lists of the net.
Failure TakeOut(net_bn net, std::span<const node_bn> nodes, std::span<const node_bn> stubs) {
  if (Failure failure = CheckRemoval(net, nodes, stubs)) {
    const char* reason = failure->mesg;
    return Rephrase(std::move(failure), AROUND_REMOVAL, net->name, reason);
  }
  UndoRecord* undo = NewUndo(UNDO_NODES_REMOVED, net);
  HoldStructure(undo, net);
  for (node_bn node : nodes) {
    VisitParents(node, [&](node_bn parent) { RemoveChild(undo, parent, node); });
  }
  // The record owns what is taken out, so that undo can put it back; without a record it is freed below.
  Vector<Member> outNodes, outStubs;
  for (node_bn node : nodes) outNodes.push_back({node, 0});
  for (node_bn stub : stubs) outStubs.push_back({stub, 0});
  TakeMembers(net, outNodes, outStubs);
  if (undo) {
    StructureChange& structure = StructureOf(undo);
    structure.nodes = std::move(outNodes);
    structure.stubs = std::move(outStubs);
    structure.membersOut = true;
  }
  GraphChanged(net);
  if (!undo) {
    for (node_bn node : nodes) FreeNodeRecord(node);
    for (node_bn stub : stubs) FreeNodeRecord(stub);
  }
  return nullptr;
}

}  // namespace

node_bn EmptyNode_bn = nullptr;
net_bn EmptyNet_bn = nullptr;

net_bn NewNetRecord(const char* name, environ_ns env) {
  net_bn net = NewObject<bnet>();
  net->name = DupText(name);
  net->env = env;
  return net;
}

void FreeNet(net_bn net) {
  if (!net) return;
  if (net->compiled) Uncompile(net);
  FreeUndo(net);
  for (nodelist_rec* list : {&net->nodes, &net->stubs, &net->defines}) {
    FreeNodes(*list);
    ClearList(*list);
  }
  ClearList(net->elimorder);
  Free(net->freshStems);
  Free(net->nodeHoles.counts);
  Free(net->stubHoles.counts);
  FreeTexts(*net);
  FreeNames(net->texts);
  for (char* text : {net->name, net->backcomments, net->report, net->filename, net->casefilename}) Free(text);
  Free(net->subnets);
  net->tag = NO_TAG;
  DeleteObject(net);
}

node_bn NewDefaultNode(const char* stem, net_bn net) {
  node_bn node = NewNodeRecord(nullptr);
  node->kind = NATURE_NODE;
  node->discrete = DISCRETE;
  node->numstates = 2;
  char name[MAX_NAME_LEN + 1];
  FreshName(stem ? stem : "Node", net, 2, name);
  node->name = DupText(name);
  AddNodesToNet(net, {&node, 1}, {});
  return node;
}

node_bn NewNode(const char* name, int numstates, net_bn net) {
  node_bn node = NewNodeRecord(prototypeNode);
  node->discrete = numstates != 0 ? DISCRETE : CONTINUOUS;
  node->numstates = numstates;
  char fresh[MAX_NAME_LEN + 1];
  if (!name) {
    FreshName("N", net, 2, fresh);
    name = fresh;
  } else if (!BRAVIC_ASSERT_TEXT(!FindNode(net, name), "nn != -1")) {
    FreeNodeRecord(node);
    return nullptr;
  }
  node->name = DupText(name);
  node->whochanged = DupText(net->env ? net->env->whoChanged : nullptr);
  AddNodesToNet(net, {&node, 1}, {});
  return node;
}

void AddNodesToNet(net_bn net, std::span<const node_bn> nodes, std::span<const node_bn> stubs) {
  UndoRecord* undo = NewUndo(UNDO_NODES_ADDED, net);
  HoldStructure(undo, net);
  AppendMembers(net, nodes, undo ? &StructureOf(undo).nodes : nullptr);
  AppendMembers(net, stubs, undo ? &StructureOf(undo).stubs : nullptr);
  for (node_bn node : nodes) {
    VisitParents(node, [&](node_bn parent) { InsertChild(undo, parent, node); });
  }
  GraphChanged(net);
}

Failure RemoveNodesFromNet(net_bn net, std::span<const node_bn> nodes, std::span<const node_bn> stubs) {
  Failure failure = TakeOut(net, nodes, stubs);
  CloseUp(net);
  return failure;
}

void DeleteNode(node_bn node) {
  net_bn net = node->innet;
  UndoGroup group(UNDO_NODE_DELETED, net);
  // Placeholders among its parents go with the node where no other node needs them.
  DisconnectChildren(node);
  Vector<node_bn> stubs;
  for (node_bn parent : Entries(node->preds)) {
    if (!IsStub(*parent) || parent->numUses > 1) continue;
    if (std::find(stubs.begin(), stubs.end(), parent) == stubs.end()) stubs.push_back(parent);
  }
  if (Failure failure = TakeOut(net, {&node, 1}, stubs)) Post(std::move(failure));
}

void StartModel() {
  RegisterType(BNET_TAG, "bnet", sizeof(bnet), [](void* net) { FreeNet(static_cast<net_bn>(net)); });
  RegisterType(BNODE_TAG, "bnode", sizeof(bnode), [](void* node) { DeleteNode(static_cast<node_bn>(node)); });
  RegisterType(STUB_TAG, "stub", sizeof(bnode), nullptr);
  RegisterType(NODELIST_TAG, "bndlist", sizeof(nodelist_rec), [](void*) {});
  RegisterType(UNDO_TAG, "bnundo", sizeof(UndoRecord), nullptr);
  StartUndo();
  undef_dbl_ns = UNDEF_DBL;
  inf_dbl_ns = INF_DBL;
  prototypeNode = NewPrototype();
  EmptyNode_bn = NewPrototype();
  EmptyNode_bn->name = DupText("Empty_Node");
  EmptyNet_bn = NewNetRecord("Empty_Net", nullptr);
}

void StopModel() {
  FreeNodeRecord(prototypeNode);
  FreeNodeRecord(EmptyNode_bn);
  FreeNet(EmptyNet_bn);
  prototypeNode = EmptyNode_bn = nullptr;
  EmptyNet_bn = nullptr;
}

}  // namespace bravic
