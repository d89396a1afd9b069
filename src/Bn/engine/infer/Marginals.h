// From sums to beliefs: marginals of small tables, normalized, and refused where what they may lack could show.
#pragma once

#include "Bn/engine/infer/Findings.h"
#include "Bn/engine/infer/Terms.h"

namespace bravic::engine {

class Marginals {
 public:
  Marginals(const Structure& structure, const Findings& findings, const Mode& mode)
      : structure_(structure), findings_(findings), mode_(mode) {}

  // To sum 1, or maximum 1 when maximizing; false where all are 0.
  bool Normalize(const double* from, std::span<float> to) const;
  // The same of weights that may lack so much; false too where that could matter.
  bool NormalizeSurely(const double* from, int lost, std::span<float> to) const;
  // The node's belief from a table over the free ones of the variables, last fastest, whose entries may lack so much.
  bool Read(const double* table, std::span<const int> variables, int node, int lost, std::span<float> to);
  // The beliefs of all of them that are not known.
  Outcome ReadAll(const double* table, std::span<const int> variables, int lost, const BeliefPlace& out);
  // Room for nodes of so many states, so that reading allocates nothing.
  void Reserve(int numstates) { sums_.reserve(numstates); }

 private:
  const Structure& structure_;
  const Findings& findings_;
  const Mode& mode_;
  Vector<double> sums_;  // scratch
};

}  // namespace bravic::engine
