#include "Bn/learn/CaseCounts.h"

#include <algorithm>

#include "Basic/Errors.h"
#include "Basic/Text.h"
#include "Bn/model/Lists.h"
#include "Bn/model/Tables.h"

namespace bravic {
namespace {

counts_bn allCounts = nullptr;

void Note(Vector<char>& look, const void* data, std::size_t nbytes) {
  const char* bytes = static_cast<const char*>(data);
  look.insert(look.end(), bytes, bytes + nbytes);
}

void Note(Vector<char>& look, const char* text) {
  Note(look, OrEmpty(text), std::strlen(OrEmpty(text)) + 1);
}

// Names, states and levels of the nodes and their parents: what gives the entries their meaning.
Vector<char> LookOf(std::span<const CountedNode> nodes) {
  Vector<char> look;
  for (const CountedNode& counted : nodes) {
    for (node_bn member : Family(*counted.node)) {
      const int facts[] = {TagOf(member), member->kind, member->discrete, member->numstates};
      Note(look, &member, sizeof member);
      Note(look, facts, sizeof facts);
      Note(look, member->name);
      for (int state = 0; member->states && state < member->numstates; ++state) Note(look, member->states[state]);
      if (member->levels) Note(look, member->levels, BlockSize(member->levels));
    }
  }
  return look;
}

Failure CheckCounted(const bnode& node) {
  if (TagOf(&node) == STUB_TAG || node.kind != NATURE_NODE || node.numstates < 1)
    return Fail(NOT_TO_BE_COUNTED, node.name);
  for (node_bn parent : Entries(node.preds))
    if (TagOf(parent) == STUB_TAG || parent->numstates < 1)
      return Fail(PARENT_NOT_TO_BE_COUNTED, node.name, OrEmpty(parent->name));
  return nullptr;
}

Failure PlaceNodes(std::span<const node_bn> nodes, counts_rec& counts) {
  if (nodes.empty()) return Fail(NO_NODES_TO_COUNT);
  double size = 0;
  for (node_bn node : nodes) {
    if (Failure failure = CheckCounted(*node)) return failure;
    double entries = 1;
    for (node_bn member : Family(*node)) entries *= member->numstates;
    if (!(size + entries <= MOST_COUNTS)) return Fail(TOO_MANY_COUNTS, Count(nodes), size + entries, MOST_COUNTS);
    counts.nodes.push_back({node, static_cast<std::size_t>(size), NumRows(*node)});
    size += entries;
  }
  counts.size = static_cast<long>(size);
  counts.values = TryMakeBlock<double>(counts.size);
  if (!counts.values) return Fail(NO_MEMORY_FOR_CASE_COUNTS, size);
  std::fill_n(counts.values.get(), counts.size, 0.0);
  return nullptr;
}

}  // namespace

counts_bn NewCounts(std::span<const node_bn> nodes) {
  Owned<counts_rec> counts = MakeOwned<counts_rec>();
  if (Failure failure = PlaceNodes(nodes, *counts)) {
    Post(std::move(failure));
    return nullptr;
  }
  counts->net = nodes[0]->innet;
  counts->birth = counts->net->birth;
  counts->epoch = counts->net->shapeEpoch;
  counts->look = LookOf(counts->nodes);
  counts->next = allCounts;
  counts->prev = &allCounts;
  if (allCounts) allCounts->prev = &counts->next;
  return allCounts = counts.release();
}

void FreeCounts(counts_bn counts) {
  if (!counts) return;
  *counts->prev = counts->next;
  if (counts->next) counts->next->prev = counts->prev;
  counts->tag = NO_TAG;
  DeleteObject(counts);
}

// Other changes of the net than those of the nodes begin a new epoch as well, so that the nodes are then looked at.
bool AreCurrent(counts_rec& counts) {
  if (!IsRecord(counts.net, BNET_TAG) || counts.net->birth != counts.birth) return false;
  if (counts.net->shapeEpoch == counts.epoch) return true;
  for (const CountedNode& counted : counts.nodes)
    if (!IsPresentNode(counted.node) || counted.node->innet != counts.net) return false;
  if (LookOf(counts.nodes) != counts.look) return false;
  counts.epoch = counts.net->shapeEpoch;
  return true;
}

bool HaveSameNodes(const counts_rec& a, const counts_rec& b) {
  return std::equal(a.nodes.begin(), a.nodes.end(), b.nodes.begin(), b.nodes.end(),
                    [](const CountedNode& ofA, const CountedNode& ofB) { return ofA.node == ofB.node; });
}

void AddToCounts(counts_rec& counts, const double* values) {
  for (long i = 0; i < counts.size; ++i) counts.values[i] = std::min(counts.values[i] + values[i], MOST_COUNT);
}

void StartCounts() {
  RegisterType(COUNTS_TAG, "counts", sizeof(counts_rec),
               [](void* counts) { FreeCounts(static_cast<counts_bn>(counts)); });
}

void StopCounts() {
  while (allCounts) FreeCounts(allCounts);
}

}  // namespace bravic
