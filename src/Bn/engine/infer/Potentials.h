// The potentials: for each clique the product of the tables of the nodes homed there. A potential never changes with
// the findings. It is made where it is first needed, and again only after a table has changed.
//
// Small cliques hold doubles, larger ones floats, or doubles where some entry is too small for a float
// (docs/numerics.md).
#pragma once

#include "Bn/engine/PassPlan.h"
#include "Bn/engine/PassShape.h"
#include "Bn/engine/infer/NodeTables.h"
#include "Bn/engine/infer/Range.h"
#include "Bn/engine/infer/Slabs.h"
#include "Bn/engine/infer/Terms.h"

namespace bravic::engine {

inline constexpr double SMALL_CLIQUE = 32;  // entries; such potentials are doubles

struct Potential {
  float* floats = nullptr;  // NULL in small cliques
  Block<double> doubles;    // where not NULL, these hold and not the floats
  int size = 1;             // entries
  double unscale = 1;       // the weights are floats * unscale
  bool filled = false;
  Range range;
  // Whether each of the tables homed here sums to 1 for whatever its node's parents are.
  enum class Homed : unsigned char { UNKNOWN, PROPER, INFORMING } homed = Homed::UNKNOWN;
};

class Potentials {
 public:
  Potentials(const Structure& structure, NodeTables& tables, const Mode& mode);

  // Room for the clique's potential and for the tables of any; false without memory.
  bool Allocate(int clique);
  // To be called when all cliques have room.
  void FinishAllocation();
  bool AreAllocated() const { return allocated_; }
  void Drop();

  const Potential& operator[](int clique) const { return potentials_[clique]; }
  // The potential with its entries; without meaning when it was halted.
  const Potential& Filled(int clique) {
    if (!potentials_[clique].filled) Fill(clique);
    return potentials_[clique];
  }
  void Forget(int clique);  // a table homed there has changed
  // Whether summing all nodes out that are homed in the clique leaves 1.
  bool HomedAreProper(int clique);
  bool IsSmall(int clique) const { return structure_.tree->cliques[clique].size <= SMALL_CLIQUE; }
  // Whether floats are scaled by factors of their own, so that many alike are not all rounded the same way.
  bool SpreadsRounding() const { return spreadsRounding_; }

 private:
  double TableRoom() const;
  double BytesExpected() const;
  void Fill(int clique);
  int ShapeTables(int clique);
  bool FillDoubles(int clique);
  void FillFloats(int clique);
  void MultiplyTables(const Vector<const float*>& factors, Potential* potential);

  const Structure& structure_;
  NodeTables& tables_;
  const Mode& mode_;
  Vector<Potential> potentials_;  // [clique]
  Slabs slabs_;                   // of their floats
  bool allocated_ = false, spreadsRounding_ = false;
  // Scratch.
  Block<float> tableRoom_;  // for the tables of one clique
  Vector<double> tableDoubles_;
  ShapeMaker maker_;
  PassShape shape_;
  PassPlan plan_;
  Vector<PassRoom> rooms_;  // [worker]
};

}  // namespace bravic::engine
