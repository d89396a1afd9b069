// Makes the passes of case programs: decides by what variable rows run and by which the groups of rows, and writes down
// the slots that each row needs.
#pragma once

#include <span>

#include "Bn/engine/cases/CaseProgram.h"

namespace bravic::engine {

class PassMaker {
 public:
  PassMaker(std::span<const int> numstates, CaseProgram* program) : numstates_(numstates), program_(*program) {}

  // A pass over a table of these variables, the last fastest.
  void Begin(std::span<const int> variables);
  // Tables over some of them, the last fastest, from the slot on.
  void AddFactor(int slot, std::span<const int> variables);
  void AddTarget(int slot, std::span<const int> variables);
  // Answers the number of the pass.
  int Make(std::span<const double> potential);

 private:
  struct Table {
    int slot, size;
    bool isTarget;
    Vector<int> strides;  // [axis] 0 where the table lacks it
    bool isStored = false;
  };
  enum class Met { GROUP, ROW, ENTRY };
  // Which axes belong to whom; rowAxis -1: rows of one entry.
  struct Layout {
    int rowAxis = -1;
    Vector<unsigned char> ofGroup;  // [axis]
    double cost = -1;
  };

  Table MakeTable(int slot, std::span<const int> variables, bool isTarget) const;
  Met MetAt(const Table& table, const Layout& layout) const;
  bool FindCost(Layout* layout) const;
  Layout ChooseLayout() const;
  bool HasZeroRow(const Layout& layout, std::span<const double> potential) const;
  void FindStored(const Layout& layout, std::span<const double> potential);
  void WriteRows(const Layout& layout, std::span<const double> potential, CasePass* pass);
  void WriteTables(const Layout& layout, CasePass* pass);

  std::span<const int> numstates_;
  CaseProgram& program_;
  Vector<int> variables_, sizes_, potentialStrides_;  // [axis]
  Vector<Table> tables_;                              // factors, then targets
};

}  // namespace bravic::engine
