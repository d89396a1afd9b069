#include "Bn/engine/infer/StraightTree.h"

#include <algorithm>
#include <numeric>

#include "Bn/engine/Axes.h"

namespace bravic::engine {

StraightTree::StraightTree(const Structure& structure) : structure_(structure) {
  RankVariables();
  OrderParts();
  const int numLinks = 2 * structure.separators.size();
  ports.reserve(numLinks + structure.NumNodes());
  tables.reserve(structure.separators.size() + structure.NumNodes());
  for (const SeparatorFacts& separator : structure.separators) AddTable(separator.variables, separator.read);
  for (int p = 0; p < parts.size(); ++p) AddPart(p);
}

// What stands in most cliques goes last.
void StraightTree::RankVariables() {
  const int n = structure_.NumNodes();
  Vector<int> order(n);
  std::iota(order.begin(), order.end(), 0);
  std::sort(order.begin(), order.end(), [&](int a, int b) {
    const int inA = structure_.cliquesOf[a].size(), inB = structure_.cliquesOf[b].size();
    if (inA != inB) return inA < inB;
    const int sizeA = structure_.numstates[a], sizeB = structure_.numstates[b];
    return sizeA != sizeB ? sizeA < sizeB : a < b;
  });
  rank_.resize(n);
  for (int k = 0; k < n; ++k) rank_[order[k]] = k;
}

// Breadth first.
void StraightTree::OrderParts() {
  const int n = structure_.cliques.size();
  parts.reserve(n);
  partOf.assign(n, NONE);
  auto add = [&](int clique, int parent) {
    partOf[clique] = parts.size();
    Part part = {};
    part.clique = clique;
    part.parent = parent;
    parts.push_back(part);
  };
  if (n > 0) add(0, NONE);
  for (int p = 0; p < parts.size(); ++p)
    for (const Link& link : structure_.cliques[parts[p].clique].links)
      if (partOf[link.neighbour] == NONE) add(link.neighbour, p);
}

// One row of all entries.
StraightTree::Layout StraightTree::AddAxes(std::span<const int> members) {
  Layout layout = {variables.size(), Count(members), 0, 1, 1, numRuns};
  variables.insert(variables.end(), members.begin(), members.end());
  std::sort(variables.begin() + layout.firstAxis, variables.end(), [&](int a, int b) { return rank_[a] < rank_[b]; });
  strides.resize(variables.size());
  layout.length = ForEachStride(
      VariablesOf(layout), structure_.numstates, [](int) { return true; },
      [&](int k, int stride) { strides[layout.firstAxis + k] = stride; });
  numRuns += (layout.length + 1) / 2;
  return layout;
}

void StraightTree::AddTable(std::span<const int> members, std::span<const int> read) {
  const Layout layout = AddAxes(members);
  tables.push_back({numTableEntries, layout.length, layout, read});
  numTableEntries += layout.length;
  largestTable = std::max(largestTable, layout.length);
}

void StraightTree::AddPort(int p, int table, int neighbour) {
  ports.push_back({table, neighbour, 0, false});
  ++parts[p].numPorts;
}

void StraightTree::AddPart(int p) {
  Part& part = parts[p];
  const CliqueFacts& clique = structure_.cliques[part.clique];
  part.layout = AddAxes(clique.variables);
  part.begin = numEntries;
  part.size = part.layout.length;
  numEntries += part.size;
  largestPart = std::max(largestPart, part.size);
  part.firstPort = ports.size();
  for (const Link& link : clique.links)
    if (part.parent != NONE && link.neighbour == parts[part.parent].clique) AddPort(p, link.separator, part.parent);
  for (const Link& link : clique.links) {
    const int neighbour = partOf[link.neighbour];
    if (neighbour != part.parent) AddPort(p, link.separator, neighbour);
  }
  for (const int& node : clique.lone) {
    AddTable(std::span<const int>(&node, 1), std::span<const int>(&node, 1));
    AddPort(p, tables.size() - 1, NONE);
  }
  ChooseRows(p);
  PlaceRows(p);
}

// The last axis, and those before it that the same tables have.
void StraightTree::ChooseRows(int p) {
  const Part& part = parts[p];
  Layout& layout = parts[p].layout;
  const int last = layout.numAxes - 1;
  if (last < 0) return;
  auto has = [&](const Port& port, int axis) {
    const std::span<const int> members = VariablesOf(tables[port.table].layout);
    return std::find(members.begin(), members.end(), variables[layout.firstAxis + axis]) != members.end();
  };
  const auto itsPorts = std::span(ports.data() + part.firstPort, part.numPorts);
  for (Port& port : itsPorts) port.runsAlong = has(port, last);
  auto isAlike = [&](int axis) {
    return std::all_of(itsPorts.begin(), itsPorts.end(),
                       [&](const Port& port) { return has(port, axis) == port.runsAlong; });
  };
  layout.numOuter = last;
  while (layout.numOuter > 0 && isAlike(layout.numOuter - 1)) --layout.numOuter;
  const int first = layout.firstAxis + layout.numOuter;
  layout.length = strides[first] * structure_.numstates[variables[first]];
  layout.numRows = part.size / layout.length;
  for (int a = layout.firstAxis; a < first; ++a) strides[a] /= layout.length;
}

// Where each row meets each table.
void StraightTree::PlaceRows(int p) {
  const Part& part = parts[p];
  const std::span<const int> outer = VariablesOf(part.layout).first(part.layout.numOuter);
  int sizes[MAX_AXES], steps[MAX_AXES];
  for (int a = 0; a < Count(outer); ++a) sizes[a] = structure_.numstates[outer[a]];
  for (int k = 0; k < part.numPorts; ++k) {
    Port& port = ports[part.firstPort + k];
    const Layout& ofTable = tables[port.table].layout;
    // Both have their variables in the same order.
    for (int a = 0, j = 0; a < Count(outer); ++a) {
      const int axis = ofTable.firstAxis + j;
      const bool isThere = j < ofTable.numAxes && variables[axis] == outer[a];
      steps[a] = isThere ? strides[axis] : 0;
      j += isThere;
    }
    port.offsets = offsets.size();
    offsets.resize(offsets.size() + part.layout.numRows);
    ListOffsets(Count(outer), sizes, steps, offsets.data() + port.offsets);
  }
}

}  // namespace bravic::engine
