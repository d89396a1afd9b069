// All beliefs of a small net in one straight run over its tree: inward to the root, then outward, in double precision
// over tables whose layout never changes. Known variables shorten the runs of entries that are gone through; nothing is
// prepared for a set of findings, so findings about other nodes each time cost no more than the same. (Lauritzen &
// Spiegelhalter 1988, as Jensen's variant with products kept in the cliques.)
//
// Going inward, each clique keeps its product and tells its parent the sums. Outward, the product is multiplied by what
// the parent believes of their separator over what it was told; a quotient by 0 is 0, since what it is multiplied with
// is 0 as well. The next run begins with the cliques that hold nodes whose findings have changed.
//
// Where doubles might lose something for want of range, the sweep is left to others.
#pragma once

#include "Bn/engine/PassShape.h"
#include "Bn/engine/RunLoops.h"
#include "Bn/engine/infer/Marginals.h"
#include "Bn/engine/infer/NodeTables.h"
#include "Bn/engine/infer/StraightTree.h"

namespace bravic::engine {

class StraightSweep {
 public:
  StraightSweep(const Structure& structure, const Findings& findings, NodeTables& tables, Marginals& marginals,
                const Mode& mode);

  // Tables changed: of a node homed in the clique, or all.
  void TableChanged(int clique);
  void TablesChanged();
  void Drop();
  // Whether the tree is small enough.
  bool Serves() const;
  bool IsMade() const { return tree_ != nullptr; }
  // What a run would take, in the nanoseconds of CostModel.h.
  double Cost() const;
  // Beliefs of all that is not known, and the probability of the findings but for the weight of likelihoods. DOUBTFUL
  // leaves both to others; ZERO: the findings contradict each other.
  Outcome ReadAll(const BeliefPlace& out, ScaledNumber* probability);

 private:
  using Part = StraightTree::Part;
  using Port = StraightTree::Port;

  // What is known of a part's numbers.
  struct State {
    bool isFilled = false;    // the potential holds
    bool isInward = false;    // the product, and what it tells its parent
    bool hasProduct = false;  // apart from the potential
    int low = 0;              // no positive entry of the potential is below 2^low,
    int lowOfProduct = 0;     //   nor one of the product
    Runs runs = {};
  };
  // What a part has told its parent, scaled by a power of two, and what came back.
  struct Told {
    int low = 0;
    long long exponent = 0;
    int leastBack = 0;  // no positive quotient is below 2^this
    Runs runs = {};
  };
  struct Seen {
    int state = FREE;
    std::uint64_t serial = 0;  // of its likelihood

    bool operator==(const Seen&) const = default;
  };

  bool Make();
  void NoteFindings();
  template <bool FIRST>
  static void MultiplyAll(std::span<const int> sizes, std::span<const int> strides, const double* table, double* to);
  bool Fill(int part);
  Runs FindRuns(const StraightTree::Layout& layout);
  RowPlaces PlacesOf(const Port& port) const;
  const double* ProductOf(int part) const;
  Outcome GoInward(int part);
  void EnterLikelihood(int part, int node, const double* from);
  Outcome Tell(int part);
  const double* BeliefOf(int part);
  Outcome GoOutward(int part, const BeliefPlace& out);
  void SumOnto(int part, const double* from, const Port& port, double* sums);
  bool DivideByTold(int table);
  bool Read(int table, const BeliefPlace& out);

  const Structure& structure_;
  const Findings& findings_;
  NodeTables& tables_;
  Marginals& marginals_;
  const Mode& mode_;
  Owned<StraightTree> tree_;
  Vector<State> states_;  // [part]
  Vector<Told> told_;     // [table]
  Vector<Seen> seen_;     // [node]
  bool maximized_ = false;
  bool isLossy_ = false;  // some potential cannot be had in doubles
  Block<Run> runs_;
  Block<double> numbers_;                               // all of the following
  double *potentials_ = nullptr, *products_ = nullptr;  // [entry]
  double* inward_ = nullptr;                            // [entry of a table] sums that were told,
  double* outward_ = nullptr;                           //   and beliefs, then quotients
  double* scratch_ = nullptr;                           // of the largest part
  double* dense_ = nullptr;                             // of the largest table
  // Scratch.
  ShapeMaker maker_;
  PassShape shape_;
  Vector<double> factor_;
};

}  // namespace bravic::engine
