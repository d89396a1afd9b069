#include "Bn/model/Duplicate.h"

#include <algorithm>

#include "Basic/Text.h"
#include "Bn/model/NameLists.h"
#include "Bn/model/Node.h"
#include "Bn/model/NodeNames.h"
#include "Bn/model/Parents.h"
#include "Bn/model/Undo.h"

namespace bravic {
namespace {

node_bn CopyNode(const bnode& source) {
  node_bn copy = NewNodeRecord(&source);
  if (!copy) return nullptr;
  copy->inputs = DupNames(source.inputs, source.preds.num);
  return copy;
}

// Gives each copy a name that is free in the net, and among the copies.
void NameCopies(net_bn net, std::span<const node_bn> sources, std::span<const node_bn> copies) {
  char name[MAX_NAME_LEN + 1];
  for (std::size_t i = 0; i < copies.size(); ++i) {
    if (IsStub(*copies[i])) {
      copies[i]->name = DupText(sources[i]->name);
    } else {
      FreshName(sources[i]->name, net, 6, name);
      copies[i]->name = DupText(name);
      EnterNodeName(net, copies[i]);
    }
  }
  // The names were entered so that the copies' names differ from one another; the net enters them itself.
  for (node_bn copy : copies) {
    if (!IsStub(*copy)) RemoveNodeName(net, copy);
  }
}

// What stands for a parent among the parents of a copy.
class ParentCopies {
 public:
  ParentCopies(net_bn destination, std::span<const node_bn> sources, std::span<const node_bn> copies)
      : destination_(destination) {
    for (std::size_t i = 0; i < sources.size(); ++i) Pair(sources[i], copies[i]);
  }

  node_bn Of(node_bn parent) {
    if (IsPaired(parent)) return counterparts_[parent->scratch];
    if (parent->innet == destination_) return parent;
    node_bn stub = NewPlaceholder(*parent);
    stubs.push_back(stub);
    Pair(parent, stub);
    return stub;
  }

  Vector<node_bn> stubs;  // made for parents that are in another net

 private:
  // The scratch field of an original has its place among the pairs. It may be left over from other uses, so the place
  // counts only where it holds the original.
  void Pair(node_bn original, node_bn counterpart) {
    original->scratch = originals_.size();
    originals_.push_back(original);
    counterparts_.push_back(counterpart);
  }
  bool IsPaired(node_bn node) const {
    const int i = node->scratch;
    return i >= 0 && i < originals_.size() && originals_[i] == node;
  }

  net_bn destination_;
  Vector<node_bn> originals_, counterparts_;
};

void LinkCopy(const bnode& source, node_bn copy, ParentCopies& parents) {
  const int num = source.preds.num;
  auto* entries = NewArray<node_bn>(num + 1);
  for (int i = 0; i < num; ++i) entries[i] = parents.Of(source.preds.ar[i]);
  entries[num] = copy;
  Free(copy->preds.ar);
  copy->preds.ar = entries;
  copy->preds.num = num;
}

}  // namespace

Failure DuplicateNodes(const nodelist_rec& nodes, net_bn destination, nodelist_bn* copies) {
  *copies = DupList(nodes);
  if (!*copies) return Fail(NO_MEMORY_TO_DUPLICATE_NODES, nodes.num);
  nodelist_rec& list = **copies;
  for (int i = 0; i < list.num; ++i) {
    list.ar[i] = CopyNode(*nodes.ar[i]);
    if (list.ar[i]) continue;
    for (int k = 0; k < i; ++k) FreeNodeRecord(list.ar[k]);
    FreeList(*copies);
    *copies = nullptr;
    return Fail(NO_MEMORY_TO_DUPLICATE_NODES, nodes.num);
  }
  const auto sources = Entries(nodes), made = Entries(list);
  // All copies exist now, so that each can be given copies for parents. They enter the net together.
  NameCopies(destination, sources, made);
  ParentCopies parents(destination, sources, made);
  for (std::size_t i = 0; i < made.size(); ++i) LinkCopy(*sources[i], made[i], parents);

  Vector<node_bn> newnodes, newstubs = std::move(parents.stubs);
  for (node_bn copy : made) (IsStub(*copy) ? newstubs : newnodes).push_back(copy);
  if (list.num > 0) AddNodesToNet(destination, newnodes, newstubs);
  return nullptr;
}

}  // namespace bravic
