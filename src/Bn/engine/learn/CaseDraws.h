// Cases whose missing cells are filled in by draws: several of each case that has any, from the distribution of the
// cells given its known ones, under links and tables as they stand. A draw goes on from the last one, cell after cell
// given all others (Geman & Geman 1984), so that it costs the same however large a junction tree would be.
#pragma once

#include "Basic/RandomStream.h"
#include "Bn/engine/Interrupt.h"
#include "Bn/engine/learn/LinkSearch.h"

namespace bravic::engine {

class CaseDraws {
 public:
  // The cases must outlive it. At first every cell is drawn by its column alone.
  CaseDraws(const CaseColumns& cases, std::uint64_t seed, Interrupt& interrupt);
  // False without memory, from the start or since.
  bool IsReady() const { return isReady_; }

  // Draws each missing cell so many times, with the tables that those cases make, one case more in each row.
  void Draw(const Links& links, const CaseColumns& tables, int numSweeps);
  // Each draw as a case with its share of the weight. Empty without memory.
  Owned<CaseColumns> Completed();

 private:
  struct Family {
    Vector<int> members;             // parents, and the node
    Vector<std::ptrdiff_t> strides;  // of the members in the table
    Block<double> probs;             // [configurations of the parents x states]
    std::ptrdiff_t Entry(const int* states) const;
    std::ptrdiff_t Stride(int node) const;
  };

  int NumNodes() const { return cases_.NumNodes(); }
  double Weight(std::ptrdiff_t row) const;
  int* Drawn(int draw, int k);
  bool MakeFamilies(const Links& links, const CaseColumns& tables);
  void DrawCell(int node, int* states);

  const CaseColumns& cases_;
  RandomStream random_;
  Interrupt& interrupt_;
  bool isReady_ = true;
  Vector<std::ptrdiff_t> rows_;  // with missing cells
  Block<int> drawn_;             // [draw x row x node]
  Vector<Family> families_;
  Vector<Vector<int>> children_;
  Vector<double> weights_;  // of a cell's states
};

}  // namespace bravic::engine
