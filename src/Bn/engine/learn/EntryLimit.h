// A limit on the total entries of the junction tree, so that what is learned is certain to be computed fast. Entries
// are those of the net as the library compiles it once it has been written and read again: the nodes as the model sorts
// them, the order that is found for them, and its tree.
#pragma once

#include <span>

#include "Basic/Memory.h"

namespace bravic::engine {

class EntryLimit {
 public:
  // Of a net of the searched nodes alone, in that order.
  EntryLimit(double mostEntries, std::span<const int> numstates);
  // Of a larger net. numstates, parents: of all its nodes as they stand there; places: of the searched nodes among
  // them, which have no links with others.
  EntryLimit(double mostEntries, std::span<const int> numstates, std::span<const Vector<int>> parents,
             std::span<const int> places);

  // parents: of each searched node. The links must have no cycle.
  double Entries(std::span<const Vector<int>> parents);
  bool Allows(std::span<const Vector<int>> parents) { return Entries(parents) <= mostEntries_; }
  // With another family in place of the node's. A family that is too large by itself is refused at once.
  bool AllowsFamily(std::span<const Vector<int>> parents, int node, std::span<const int> family);
  double MostEntries() const { return mostEntries_; }

 private:
  void SetFamily(int node, std::span<const int> parents);

  double mostEntries_;
  Vector<int> numstates_;
  Vector<Vector<int>> all_;  // [node of the net] parents, ascending
  Vector<int> places_;
};

}  // namespace bravic::engine
