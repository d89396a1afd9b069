// Node lists, plain and of hosts. A host passes its list to call after call, and to check each entry every time would
// make every call linear. So a list that passed notes the epoch in which it did, and each of its nodes counts the
// places that it has in such lists. When a node goes that has any, a new epoch begins, and no list is known to be good
// any more.
#include "Bn/model/Lists.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Basic/Errors.h"
#include "Basic/Text.h"
#include "Basic/TypedObject.h"

namespace bravic {
namespace {

constexpr int GROWTH = 32;  // at least so many places more, and at least half as many again

std::size_t NumBytes(int length) {
  return length * sizeof(node_bn);
}

int Capacity(const nodelist_rec& list) {
  return static_cast<int>(BlockSize(list.ar) / sizeof(node_bn));
}

// The record that a list at that offset would be part of; NULL when there is none alive.
template <class Record>
Record* RecordAround(nodelist_bn list, std::size_t offset) {
  static_assert(std::is_standard_layout_v<Record>);
  auto* record = reinterpret_cast<Record*>(reinterpret_cast<char*>(list) - offset);
  return IsLiveBlock(record) && BlockSize(record) == sizeof(Record) ? record : nullptr;
}

// Counts the epochs in which no node went that was in a list known to have passed its checks.
unsigned long long listEpoch = 1;

void CountEntry(node_bn node, int step) {
  if (!node) return;
  if (node->listedEpoch != listEpoch) node->numListed = 0;
  node->listedEpoch = listEpoch;
  node->numListed += step;
}

// Of a list that passed: one entry goes, another comes. What is not known to fit ends the knowledge.
void NoteChange(HostList& list, node_bn gone, node_bn come) {
  if (!HasPassed(list)) return;
  CountEntry(gone, -1);
  const bool fits = !come || (IsPresentNode(come) && (!list.net || come->innet == list.net));
  if (come && fits) {
    list.net = come->innet;
    CountEntry(come, 1);
  }
  if (!fits) list.checkedEpoch = 0;
}

}  // namespace

bool IsPresentNode(node_bn node) {
  return (IsRecord(node, BNODE_TAG) || IsRecord(node, STUB_TAG)) && node->innet;
}

// A host's list is a block of its own. Other lists are parts of a net or node, so from the list's address that of the
// record is worked out; nothing is read there before the allocator knows such a block of the right size.
ListPlace PlaceOf(nodelist_bn list) {
  if (!list) return {};
  if (IsLiveBlock(list)) {
    if (TagOf(list) == NODELIST_TAG && BlockSize(list) == sizeof(HostList)) return {ListPlace::HOST};
    return {};
  }
  for (const std::size_t offset : {offsetof(bnet, nodes), offsetof(bnet, elimorder)}) {
    bnet* net = RecordAround<bnet>(list, offset);
    if (net && TagOf(net) == BNET_TAG) return {ListPlace::NET, net};
  }
  for (const std::size_t offset : {offsetof(bnode, preds), offsetof(bnode, succs)}) {
    bnode* node = RecordAround<bnode>(list, offset);
    if (node && IsPresentNode(node)) return {ListPlace::NODE, nullptr, node};
  }
  return {};
}

bool HasPassed(const HostList& list) {
  return list.checkedEpoch == listEpoch;
}

void NotePassed(HostList& list, net_bn net) {
  if (HasPassed(list)) return;
  for (node_bn node : list) CountEntry(node, 1);
  list.checkedEpoch = listEpoch;
  list.net = net;
}

void NoteNodeGone(const bnode& node) {
  if (node.listedEpoch == listEpoch && node.numListed > 0) ++listEpoch;
}

nodelist_bn NewList(int length) {
  Owned<HostList> list(static_cast<HostList*>(TryAllocate(sizeof(HostList))));
  if (!list) return nullptr;
  new (list.get()) HostList;
  if (length > 0) {
    list->ar = static_cast<node_bn*>(TryAllocateCleared(length, sizeof(node_bn)));
    if (!list->ar) return nullptr;
  }
  list->num = length;
  return list.release();
}

nodelist_bn NewListOf(std::span<const node_bn> nodes) {
  nodelist_bn list = NewList(Count(nodes));
  if (list) std::copy(nodes.begin(), nodes.end(), list->ar);
  return list;
}

nodelist_bn DupList(const nodelist_rec& source) {
  return NewListOf(Entries(source));
}

void FreeList(nodelist_bn list) {
  if (!list) return;
  if (HasPassed(static_cast<HostList&>(*list))) {
    for (node_bn node : *list) CountEntry(node, -1);
  }
  list->tag = NO_TAG;
  Free(list->ar);
  Free(list);
}

void Append(nodelist_rec& list, node_bn node) {
  list.num = std::max(list.num, 0);
  if (list.num >= Capacity(list)) {
    list.ar = static_cast<node_bn*>(Resize(list.ar, NumBytes(list.num + std::max(GROWTH, list.num / 2))));
  }
  list.ar[list.num++] = node;
}

void CopyList(nodelist_rec& to, std::span<const node_bn> from) {
  node_bn* ar = from.empty() ? nullptr : NewArray<node_bn>(from.size());
  std::copy(from.begin(), from.end(), ar);
  Free(to.ar);
  to.ar = ar;
  to.num = Count(from);
}

void ClearList(nodelist_rec& list) {
  Free(list.ar);
  list.ar = nullptr;
  list.num = 0;
}

int IndexIn(const nodelist_rec& list, node_bn node) {
  const auto entries = Entries(list);
  const auto at = std::find(entries.begin(), entries.end(), node);
  return at == entries.end() ? -1 : static_cast<int>(at - entries.begin());
}

void RemoveAt(nodelist_rec& list, int index) {
  std::copy(list.ar + index + 1, list.ar + list.num, list.ar + index);
  --list.num;
}

namespace {

bool InsertInList(nodelist_rec& list, node_bn node, int index) {
  if (Capacity(list) < list.num + 1) {
    const std::size_t nbytes = 2 * sizeof(node_bn) * (list.num + 5);
    void* ar = list.ar ? TryResize(list.ar, nbytes) : TryAllocate(nbytes);
    // A resize refused for want of the reserve answers the old block.
    if (!ar || BlockSize(ar) < nbytes) {
      Report(NO_MEMORY_TO_ADD, static_cast<int>(nbytes));
      return false;
    }
    list.ar = static_cast<node_bn*>(ar);
  }
  std::copy_backward(list.ar + index, list.ar + list.num, list.ar + list.num + 1);
  list.ar[index] = node;
  ++list.num;
  return true;
}

node_bn TakeFromList(nodelist_rec& list, int index) {
  node_bn node = list.ar[index];
  RemoveAt(list, index);
  if (list.num == 0) {
    ClearList(list);
  } else if (Capacity(list) > 4LL * list.num) {
    // Memory goes back when three quarters of it lie idle, so that taking out and putting in by turns moves nothing.
    list.ar = static_cast<node_bn*>(Resize(list.ar, NumBytes(list.num)));
  }
  return node;
}

}  // namespace

bool InsertAt(HostList& list, node_bn node, int index) {
  if (!InsertInList(list, node, index)) return false;
  NoteChange(list, nullptr, node);
  return true;
}

node_bn TakeAt(HostList& list, int index) {
  NoteChange(list, list.ar[index], nullptr);
  return TakeFromList(list, index);
}

void PutAt(HostList& list, int index, node_bn node) {
  NoteChange(list, list.ar[index], node);
  list.ar[index] = node;
}

}  // namespace bravic
