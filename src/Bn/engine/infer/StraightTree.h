// A junction tree laid out for straight runs (StraightSweep.h): every clique with its axes, its rows and where each of
// them meets the tables that it shares with its neighbours. Made once and never changed.
//
// All tables have their variables in one order, so that those of a separator stand in both of its cliques as they stand
// in the separator. Variables that most cliques share go last. The last ones of a clique make its rows: as many as
// every table that it shares has all of or none of.
#pragma once

#include "Bn/engine/infer/Structure.h"

namespace bravic::engine {

struct StraightTree {
  static constexpr int NONE = -1;

  // How the entries of a table stand. Separators are of one row.
  struct Layout {
    int firstAxis, numAxes;  // the slowest first
    int numOuter;            // axes that are not within rows
    int length, numRows;
    int firstRun;  // room for its runs, which have two entries or are half of the rows at most
  };
  // A table over some variables of a clique, as the clique meets it: one of a separator, which two cliques meet, or one
  // of a lone variable.
  struct Port {
    int table;       // index into tables
    int neighbour;   // the part beyond it, or NONE for a lone variable
    int offsets;     // index into offsets: [row]
    bool runsAlong;  // it has the variables that make rows
  };
  struct Part {  // a clique
    int clique;
    int begin, size;  // entries
    Layout layout;
    int firstPort, numPorts;  // that to its parent first, unless it is the root
    int parent;               // part, or NONE
  };
  struct Table {
    int begin, size;  // entries
    Layout layout;
    std::span<const int> read;  // nodes whose beliefs are read there
  };

  explicit StraightTree(const Structure& structure);
  std::span<const int> VariablesOf(const Layout& layout) const {
    return std::span(variables.data() + layout.firstAxis, layout.numAxes);
  }

  Vector<Part> parts;  // parents first
  Vector<Port> ports;
  Vector<Table> tables;   // of the separators, then those of lone variables
  Vector<int> variables;  // [axis]
  Vector<int> strides;    // [axis] in rows, or in entries within a row
  Vector<int> offsets;
  Vector<int> partOf;  // [clique]
  int numEntries = 0, numTableEntries = 0, numRuns = 0, largestPart = 0, largestTable = 0;

 private:
  void RankVariables();
  void OrderParts();
  Layout AddAxes(std::span<const int> members);
  void AddTable(std::span<const int> members, std::span<const int> read);
  void AddPart(int part);
  void AddPort(int part, int table, int neighbour);
  void ChooseRows(int part);
  void PlaceRows(int part);

  const Structure& structure_;
  Vector<int> rank_;  // [node]
};

}  // namespace bravic::engine
