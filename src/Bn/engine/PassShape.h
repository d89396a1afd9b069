// What a pass is about: the axes to walk through and, for every table that takes part, its strides along them.
#pragma once

#include "Bn/engine/Axes.h"

namespace bravic::engine {

// Strides are in entries, 0 for an axis that the table does not have. Tables are numbered: 0 the potential, then the
// factors, then the targets.
struct PassShape {
  int numAxes = 0;
  int numFactors = 0, numTargets = 0;
  Vector<int> sizes;    // [axis], slowest first; each at least 2
  Vector<int> strides;  // [table][axis]

  // Keeps the sizes of so many axes.
  void Clear(int axes) {
    numAxes = axes;
    numFactors = numTargets = 0;
    sizes.resize(axes);
    strides.assign(axes, 0);
  }
  int NumTables() const { return 1 + numFactors + numTargets; }
  int* Strides(int table) { return strides.data() + table * numAxes; }
  const int* Strides(int table) const { return strides.data() + table * numAxes; }
  // Strides of 0 to be filled in. Targets are added after the last factor.
  int* AddFactor() {
    ++numFactors;
    return AddTable();
  }
  int* AddTarget() {
    ++numTargets;
    return AddTable();
  }

 private:
  int* AddTable() {
    strides.resize(strides.size() + numAxes, 0);
    return strides.data() + strides.size() - numAxes;
  }
};

// Where the entries of a target are: in doubles or, for large tables, in floats. Cleared by the caller.
struct PassTarget {
  double* wide = nullptr;
  float* narrow = nullptr;
};

// Makes shapes of tables over variables: variables that are free become axes, those that are known only move where a
// table begins.
class ShapeMaker {
 public:
  // The numbers of states must outlive it.
  explicit ShapeMaker(std::span<const int> numstates) : numstates_(numstates), axisOf_(Count(numstates), NONE) {}

  // Begins a shape whose axes are the free ones of the variables, in their order.
  template <class IsFree>
  void Begin(std::span<const int> variables, IsFree isFree, PassShape* shape) {
    int axes = 0;
    shape->sizes.resize(Count(variables));
    for (int v : variables) {
      axisOf_[v] = isFree(v) ? axes : NONE;
      if (axisOf_[v] != NONE) shape->sizes[axes++] = numstates_[v];
    }
    shape->Clear(axes);
  }
  // Fills in the strides of a table that has[k] says has variables[k]. known(variable, stride) is told of those of its
  // variables that are no axes.
  template <class Has, class Known>
  void Place(std::span<const int> variables, Has has, int* strides, Known known) const {
    ForEachStride(variables, numstates_, has, [&](int k, int stride) {
      const int v = variables[k];
      if (numstates_[v] == 1) return;
      if (axisOf_[v] != NONE)
        strides[axisOf_[v]] = stride;
      else
        known(v, stride);
    });
  }
  // The same of a table over all of the variables, all of which are axes.
  void PlaceAll(std::span<const int> variables, int* strides) const {
    Place(
        variables, [](int) { return true; }, strides, [](int, int) {});
  }
  int AxisOf(int variable) const { return axisOf_[variable]; }

 private:
  static constexpr int NONE = -1;

  std::span<const int> numstates_;
  Vector<int> axisOf_;  // [variable]; stale for variables that the latest shape was not begun with
};

}  // namespace bravic::engine
