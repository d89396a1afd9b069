// The tables of the nodes, as their owner holds them, and what inference has to know of them: which rows are
// distributions, how small entries are, what it computes with in place of rows that miss 1.
#pragma once

#include <functional>

#include "Bn/engine/infer/Structure.h"

namespace bravic::engine {

// What matters of a node's table beside its numbers.
struct TableFacts {
  bool known = false;     // looked up already
  bool informs = false;   // rows do not sum to 1, so that it says something of the parents by itself
  int low = 0;            // no positive entry is below 2^low
  Vector<float> cleaned;  // as it is computed with, where that differs from the table
  Vector<double> scales;  // [row] by what it is multiplied to be computed with; empty until that is asked for
};

// Tables of a model from which the known nodes were cut out.
struct CutTables {
  Vector<unsigned char> known;    // [node]; such a node has one state here and is nobody's parent
  Vector<Vector<float>> tables;   // [node] what agrees with the findings, or empty where that is all
  Vector<Vector<double>> scales;  // [node] of each row of those tables; a known node's have one entry
  // What the whole tables tell of their parts.
  struct Whole {
    bool serves = false;             // all rows are distributions as they are, and none has an entry that is very small
    int low = 0;                     // no positive entry is below 2^low
    const double* scales = nullptr;  // [row]
  };
  Vector<Whole> from;  // [node]
};

using TableSource = std::function<const float*(int node)>;

// Whether the row is a distribution, and by what it is multiplied to be computed with: 0 for an impossible one; rows
// that miss 1 by what rounding explains are normalized, others stay as they are.
bool IsDistribution(const float* row, int numstates, double* scale);

class NodeTables {
 public:
  explicit NodeTables(const Structure& structure);

  // cut: NULL, or what these tables were cut out of others by; must outlive their use.
  void Set(TableSource source, const CutTables* cut);
  void Drop() { source_ = nullptr; }
  void Forget(int node) { facts_[node].known = false; }
  bool AreSet() const { return source_ != nullptr; }
  // A node whose table counts as 1 throughout for now; NONE for none.
  static constexpr int NONE = -1;
  void SetAside(int node) { aside_ = node; }
  // [parent configurations x numstates], or NULL for a factor of 1.
  const float* operator[](int node) const { return node == aside_ ? nullptr : source_(node); }
  const TableFacts& FactsOf(int node);
  // [row] by what each is multiplied to be computed with; kept until the table changes. Not of tables that were cut.
  const Vector<double>& ScalesOf(int node);
  // Whether the row is a distribution of the node; by what it is multiplied to be computed with.
  bool IsDistributionOf(int node, const float* row, double* scale) const;
  // Copies the table times a factor, each row normalized before it is rounded; answers the end of the copy.
  template <class Number>
  Number* CopyScaled(int node, double factor, Number* to) const {
    ForEachEntry(node, factor, [&](double entry) { *to++ = static_cast<Number>(entry); });
    return to;
  }
  // Calls visit(entry) for each entry of the table times a factor, each row normalized.
  template <class Visit>
  void ForEachEntry(int node, double factor, Visit visit) const {
    const float* rows = source_(node);
    const int own = structure_.numstates[node];
    const double* scales = KeptScales(node);
    for (int left = structure_.TableSize(node); left > 0; left -= own, rows += own) {
      double scale;
      if (scales)
        scale = *scales++;
      else
        IsDistribution(rows, own, &scale);
      scale *= factor;
      for (int s = 0; s < own; ++s) visit(scale == 0 ? 0.0 : scale * rows[s]);
    }
  }

 private:
  const double* KeptScales(int node) const;

  const Structure& structure_;
  TableSource source_;
  const CutTables* cut_ = nullptr;
  int aside_ = NONE;
  Vector<TableFacts> facts_;  // [node]
};

}  // namespace bravic::engine
