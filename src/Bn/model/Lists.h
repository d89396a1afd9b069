// Node lists: the pair of array and count used inside the records and handed to hosts.
#pragma once

#include <span>

#include "Bn/model/Records.h"

namespace bravic {

// A list of a host's own. That its entries passed the checks is remembered while nothing happens to the list, nor to a
// node in it.
struct HostList : nodelist_rec {
  unsigned long long checkedEpoch = 0;  // the epoch in which they passed; 0: they did not, or it is not known
  net_bn net = nullptr;                 // of the nodes among the entries that passed
};

// Where a list stands that a host passes. Any pointer may be asked about.
struct ListPlace {
  enum { NOWHERE, HOST, NET, NODE } owner = NOWHERE;
  net_bn net = nullptr;    // NET
  node_bn node = nullptr;  // NODE
};
ListPlace PlaceOf(nodelist_bn list);
// A node or placeholder of a net. One that was deleted may be kept for undo, but belongs to no net.
bool IsPresentNode(node_bn node);
bool HasPassed(const HostList& list);
void NotePassed(HostList& list, net_bn net);
void NoteNodeGone(const bnode& node);  // it is about to be freed, or to leave its net

// Host-owned lists (heap records).
nodelist_bn NewList(int length);                         // every entry NULL; NULL on shortage
nodelist_bn NewListOf(std::span<const node_bn> nodes);   // NULL on shortage
nodelist_bn DupList(const nodelist_rec& source);         // exactly num entries; NULL on shortage
void FreeList(nodelist_bn list);                         // record and array, never the nodes
bool InsertAt(HostList& list, node_bn node, int index);  // false on shortage, which is posted (NO_MEMORY_TO_ADD)
node_bn TakeAt(HostList& list, int index);
void PutAt(HostList& list, int index, node_bn node);

// Embedded lists. Append grows by at least 32 entries at a time and must succeed.
void Append(nodelist_rec& list, node_bn node);
void CopyList(nodelist_rec& to, std::span<const node_bn> from);  // replaces; must succeed
void ClearList(nodelist_rec& list);                              // frees the array; num 0
int IndexIn(const nodelist_rec& list, node_bn node);             // -1 when absent
void RemoveAt(nodelist_rec& list, int index);
inline std::span<const node_bn> Entries(const nodelist_rec& list) {
  return std::span(list.ar, list.num > 0 ? list.num : 0);
}
// Parents, then the node itself: the order of table dimensions.
inline std::span<const node_bn> Family(const bnode& node) {
  return std::span(node.preds.ar, node.preds.num + 1);
}

}  // namespace bravic
