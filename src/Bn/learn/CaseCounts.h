// What cases say about the tables of some nodes, apart from the tables: counts_bn of bravic.h. The counts outlive
// changes of tables and findings; whether their nodes are still what they were is asked before each use.
#pragma once

#include <span>

#include "Bn/model/Records.h"

namespace bravic {

// A node counted: where its entries begin, [configurations of the parents x its states].
struct CountedNode {
  node_bn node;
  std::size_t first = 0;
  long long rows = 0;
};

inline constexpr double MOST_COUNTS = 0x1p31 - 2;  // entries
// No count grows beyond it, so that no sum of them is infinite.
inline constexpr double MOST_COUNT = 1e290;

}  // namespace bravic

struct counts_rec {
  bravic::TagWord tag = bravic::COUNTS_TAG;
  net_bn net = nullptr;          // not owned; may be gone
  unsigned long long birth = 0;  // the net's
  unsigned long long epoch = 0;  // the net's shapeEpoch when the nodes were last seen to be what they were
  bravic::Vector<char> look;     // what the nodes were when the counts were made
  bravic::Vector<bravic::CountedNode> nodes;
  bravic::Block<double> values;  // [size]
  long size = 0;
  counts_bn next = nullptr, *prev = nullptr;  // all counts, so that close frees what hosts leave
};

namespace bravic {

counts_bn NewCounts(std::span<const node_bn> nodes);  // of one net; NULL with an error posted
void FreeCounts(counts_bn counts);
// Whether the net is there and the nodes have the names, states and parents that they had.
bool AreCurrent(counts_rec& counts);
bool HaveSameNodes(const counts_rec& a, const counts_rec& b);
void AddToCounts(counts_rec& counts, const double* values);  // [size]

void StartCounts();
void StopCounts();

}  // namespace bravic
