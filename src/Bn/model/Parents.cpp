#include "Bn/model/Parents.h"

#include <algorithm>
#include <cstring>

#include "Basic/Format.h"
#include "Basic/Text.h"
#include "Bn/model/Changes.h"
#include "Bn/model/Connect.h"
#include "Bn/model/Fields.h"
#include "Bn/model/Members.h"
#include "Bn/model/NameLists.h"
#include "Bn/model/Node.h"
#include "Bn/model/NodeOrder.h"
#include "Bn/model/Reshape.h"
#include "Bn/model/UndoRecord.h"

namespace bravic {
namespace {

// Cycles and double links are allowed with a warning.
constexpr int CYCLE_POLICY = 1, DOUBLE_LINK_POLICY = 1;
constexpr std::size_t LINK_NAME_LEN = 40;

// Old position to new: each old parent in the next place of the new list that holds the same node.
Vector<int> MatchParents(std::span<const node_bn> oldparents, std::span<const node_bn> newparents) {
  Vector<int> map(oldparents.size(), -1);
  Vector<unsigned char> taken(newparents.size(), 0);
  for (int i = 0; i < Count(oldparents); ++i) {
    for (int k = 0; k < Count(newparents); ++k) {
      // A parent that is linked twice takes its places in order.
      if (taken[k] || newparents[k] != oldparents[i]) continue;
      taken[k] = true;
      map[i] = k;
      break;
    }
  }
  return map;
}

Vector<int> Invert(std::span<const int> map, int num) {
  Vector<int> inverse(num, -1);
  for (int i = 0; i < Count(map); ++i) {
    if (map[i] >= 0) inverse[map[i]] = i;
  }
  return inverse;
}

// Labels the node and all its descendants.
int MarkDescendants(node_bn node) {
  const int mark = NewMark();
  Vector<node_bn> stack;
  node->mark = mark;
  stack.push_back(node);
  while (!stack.empty()) {
    node_bn next = stack.back();
    stack.pop_back();
    for (node_bn child : Entries(next->succs)) {
      if (child->mark == mark) continue;
      child->mark = mark;
      stack.push_back(child);
    }
  }
  return mark;
}

// What a policy makes of a link that it objects to: a warning, or an error and false.
using LinkError = ErrorFor<const char*, const char*>;
bool Allow(int policy, const bnode& parent, const bnode& child, LinkError warning, LinkError error) {
  Report(policy == 1 ? warning : error, parent.name, child.name);
  return policy == 1;
}

// The first added parent that is a descendant of the node.
bool CheckCycle(node_bn node, std::span<const node_bn> newparents, std::span<const int> inverse) {
  const int mark = MarkDescendants(node);
  for (int k = 0; k < Count(newparents); ++k) {
    if (inverse[k] >= 0 || newparents[k]->mark != mark) continue;
    return Allow(CYCLE_POLICY, *newparents[k], *node, LINK_MAKES_CYCLE, LINK_REFUSED_FOR_CYCLE);
  }
  return true;
}

// The first added parent that is linked already.
bool CheckDoubleLink(node_bn node, std::span<const node_bn> newparents, std::span<const int> inverse) {
  const int mark = NewMark();
  for (int k = 0; k < Count(newparents); ++k) {
    if (inverse[k] >= 0) newparents[k]->mark = mark;
  }
  for (int k = 0; k < Count(newparents); ++k) {
    if (inverse[k] >= 0 || IsStub(*newparents[k])) continue;
    if (newparents[k]->mark == mark) {
      return Allow(DOUBLE_LINK_POLICY, *newparents[k], *node, LINK_IS_SECOND, LINK_REFUSED_AS_SECOND);
    }
    newparents[k]->mark = mark;
  }
  return true;
}

// Tells the parents that come and go, each once.
void UpdateChildren(UndoRecord* undo, node_bn node, std::span<const node_bn> oldparents,
                    std::span<const node_bn> newparents) {
  // Marks tell membership in linear time: first of the new parents among the old ones, then the other way round.
  const int stays = NewMark();
  for (node_bn parent : newparents) parent->mark2 = stays;
  const int gone = NewMark();
  for (node_bn parent : oldparents) {
    if (parent->mark2 == stays || parent->mark2 == gone) continue;
    parent->mark2 = gone;
    RemoveChild(undo, parent, node);
  }
  const int linked = NewMark();
  for (node_bn parent : oldparents) parent->mark2 = linked;
  for (node_bn parent : newparents) {
    if (parent->mark2 == linked) continue;
    parent->mark2 = linked;
    InsertChild(undo, parent, node);
  }
}

// Kept parents keep their link names, added ones get the default unless a link has that name already.
void UpdateLinkNames(UndoRecord* undo, node_bn node, std::span<const node_bn> newparents,
                     std::span<const int> inverse) {
  if (!node->inputs) return;
  auto** names = NewCleared<char*>(newparents.size());
  const std::span<char*> all(names, newparents.size());
  char buffer[LINK_NAME_LEN];
  for (int k = 0; k < Count(all); ++k) {
    if (inverse[k] >= 0) names[k] = DupText(node->inputs[inverse[k]]);
  }
  for (int k = 0; k < Count(all); ++k) {
    if (inverse[k] >= 0) continue;
    const char* name = DefaultLinkName(*newparents[k], k, buffer);
    if (std::none_of(all.begin(), all.end(), [&](const char* other) { return EqualText(other, name); })) {
      names[k] = DupText(name);
    }
  }
  if (!HasAnyName(names, Count(newparents))) {
    FreeNames(names);
    names = nullptr;
  }
  ReplaceTexts(undo, node->inputs, names);
}

// Placeholders that were parents of the node and are nobody's now leave the net with this record.
void DropStubs(UndoRecord* undo, node_bn node, std::span<const node_bn> oldparents) {
  Vector<Member> stubs;
  for (node_bn parent : oldparents) {
    const bool listed =
        std::any_of(stubs.begin(), stubs.end(), [&](const Member& member) { return member.node == parent; });
    if (!IsStub(*parent) || !parent->innet || listed) continue;
    if (parent->numUses == 0) stubs.push_back({parent, 0});
  }
  if (stubs.empty()) return;
  TakeMembers(node->innet, {}, stubs);
  if (undo) {
    StructureOf(undo).stubs = std::move(stubs);
    StructureOf(undo).membersOut = true;
  } else {
    for (const Member& member : stubs) FreeNodeRecord(member.node);
  }
}

bool IsIdentity(std::span<const int> map, int num) {
  if (Count(map) != num) return false;
  for (int i = 0; i < num; ++i) {
    if (map[i] != i) return false;
  }
  return true;
}

// The new list holds the replacement in every slot that held the parent.
void ReplaceParent(node_bn child, node_bn parent, node_bn replacement) {
  const auto parents = Entries(child->preds);
  Vector<node_bn> list(parents.begin(), parents.end());
  std::replace(list.begin(), list.end(), parent, replacement);
  Vector<int> map(list.size());
  for (int i = 0; i < map.size(); ++i) map[i] = i;
  ChangeParents(child, list, map, false);
}

}  // namespace

int ChangeParents(node_bn node, std::span<const node_bn> newparents, std::span<const int> map, bool dropTables) {
  const Vector<node_bn> oldparents(node->preds.begin(), node->preds.end());
  const Vector<node_bn> parents(newparents.begin(), newparents.end());
  const Vector<int> forward = map.empty() ? MatchParents(oldparents, parents) : Vector<int>(map.begin(), map.end());
  const Vector<int> inverse = Invert(forward, parents.size());
  const bool removed = std::count(forward.begin(), forward.end(), -1) > 0;
  const bool added = std::count(inverse.begin(), inverse.end(), -1) > 0;
  if (!removed && !added && oldparents == parents) return PARENTS_UNCHANGED;
  if (added && (!CheckCycle(node, parents, inverse) || !CheckDoubleLink(node, parents, inverse))) {
    return PARENTS_REFUSED;
  }

  // From here on nothing is refused. Tables are reshaped while the node still has its old parents; placeholders that no
  // child needs any more leave the net last.
  net_bn net = node->innet;
  UndoRecord* undo = NewUndo(UNDO_PARENTS, net, node);
  if (net) HoldStructure(undo, net);
  int result = PARENTS_CHANGED;
  if (dropTables) {
    ReplaceTables(undo, node, nullptr, nullptr, nullptr, nullptr, node->normalized);
  } else if (!IsIdentity(forward, parents.size())) {
    if (!ReshapeTables(undo, node, parents, inverse)) result = PARENTS_TABLES_LOST;
  }
  auto* entries = NewArray<node_bn>(parents.size() + 1);
  *std::copy(parents.begin(), parents.end(), entries) = node;
  UpdateLinkNames(undo, node, parents, inverse);
  ReplaceList(undo, node->preds, entries, parents.size());
  UpdateChildren(undo, node, oldparents, parents);
  if (net) DropStubs(undo, node, oldparents);
  if (net) GraphChanged(net);
  if (result == PARENTS_TABLES_LOST) {
    Post(FailMemory(NO_MEMORY_TO_KEEP_TABLES, 0));
  }
  return result;
}

int AddLink(node_bn parent, node_bn child) {
  const auto parents = Entries(child->preds);
  Vector<node_bn> list(parents.begin(), parents.end());
  Vector<int> map(list.size());
  for (int i = 0; i < map.size(); ++i) map[i] = i;
  list.push_back(parent);
  return ChangeParents(child, list, map, false) == PARENTS_REFUSED ? -1 : child->preds.num - 1;
}

// The child's tables keep the slice of the parent's state finding, of its first state without one.
int DeleteLink(int index, node_bn child) {
  const auto parents = Entries(child->preds);
  Vector<node_bn> list(parents.begin(), parents.end());
  Vector<int> map(list.size());
  for (int i = 0; i < child->preds.num; ++i) {
    map[i] = i < index ? i : i == index ? -1 : i - 1;
  }
  node_bn parent = list[index];
  parent->state39 = std::max(parent->evidence, 0);
  list.erase(list.begin() + index);
  return ChangeParents(child, list, map, false);
}

Failure SwitchParent(int index, node_bn child, node_bn newparent) {
  const auto parents = Entries(child->preds);
  Vector<node_bn> list(parents.begin(), parents.end());
  node_bn& slot = list[index];
  if (slot == newparent) return nullptr;
  if (Failure failure = CheckConnection(index, *child, *newparent)) return failure;
  if (IsAncestor(child, newparent) &&
      !Allow(CYCLE_POLICY, *newparent, *child, SWITCH_MAKES_CYCLE, SWITCH_REFUSED_FOR_CYCLE)) {
    return nullptr;
  }
  if (IndexIn(child->preds, newparent) >= 0 &&
      !Allow(DOUBLE_LINK_POLICY, *newparent, *child, SWITCH_MAKES_SECOND_LINK, SWITCH_REFUSED_AS_SECOND)) {
    return nullptr;
  }
  slot = newparent;
  Vector<int> map(list.size());
  for (int i = 0; i < map.size(); ++i) map[i] = i;
  UndoGroup group(UNDO_SWITCH, child->innet);
  ChangeParents(child, list, map, false);
  return nullptr;
}

void DisconnectChildren(node_bn node) {
  const Vector<node_bn> children(node->succs.begin(), node->succs.end());
  if (children.empty()) return;
  UndoGroup group(UNDO_DISCONNECT, node->innet);
  node_bn stub = NewPlaceholder(*node);
  AddNodesToNet(node->innet, {}, {&stub, 1});
  // From the last, whose place among the children is found and left in no time.
  for (std::size_t i = children.size(); i-- > 0;) ReplaceParent(children[i], node, stub);
}

void DisconnectParents(node_bn node) {
  UndoGroup group(UNDO_DISCONNECT_ALL, node->innet);
  const Vector<node_bn> parents(node->preds.begin(), node->preds.end());
  for (node_bn parent : parents) {
    if (IsStub(*parent) || IndexIn(node->preds, parent) < 0) continue;
    node_bn stub = NewPlaceholder(*parent);
    AddNodesToNet(node->innet, {}, {&stub, 1});
    ReplaceParent(node, parent, stub);
  }
}

node_bn NewPlaceholder(const bnode& original) {
  node_bn stub = NewNodeRecord(nullptr);
  stub->tag = STUB_TAG;
  stub->name = DupText(original.name);
  CopyFields(original, CopyFor::Placeholder, stub);
  return stub;
}

const char* DefaultLinkName(const bnode& parent, int index, char* buffer) {
  if (!IsStub(parent)) return parent.name;
  FormatText(buffer, LINK_NAME_LEN, "Arg%d", index);
  return buffer;
}

const char* LinkName(const bnode& node, int index, char* buffer) {
  const char* stored = node.inputs ? OrEmpty(node.inputs[index]) : "";
  return *stored ? stored : DefaultLinkName(*node.preds.ar[index], index, buffer);
}

bool IsAncestor(node_bn ancestor, node_bn node) {
  if (ancestor == node) return true;
  if (ancestor->succs.num == 0 || node->preds.num == 0) return false;
  const int mark = MarkDescendants(ancestor);
  return node->mark == mark;
}

}  // namespace bravic
