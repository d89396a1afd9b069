// The joint distribution of any nodes: read in a clique that holds them all or, where there is none, from a model of
// its own, made of what matters to them, in whose graph they are joined (as by a child of all of them), so that one of
// its cliques holds them. What is known or does not matter is cut out of it (CutModel.h).
#pragma once

#include "Bn/engine/infer/CliqueSums.h"
#include "Bn/engine/infer/CutModel.h"

namespace bravic::engine {

class JointSums {
 public:
  JointSums(const Structure& structure, const Findings& findings, NodeTables& tables, CliqueSums& sums,
            const Mode& mode)
      : structure_(structure), findings_(findings), tables_(tables), sums_(sums), mode_(mode) {}

  // to: [configurations of the nodes], normalized to sum 1, the last node fastest. The findings are known to be
  // possible. entries: of the tables of the model that was made, or for which there was no memory; else 0.
  Status Find(std::span<const int> nodes, double* to, double* entries);

 private:
  Status FindApart(const Vector<int>& free, std::span<const int> nodes, double* to, double* entries);
  void Spread(std::span<const double> sums, std::span<const int> nodes, double* to) const;

  const Structure& structure_;
  const Findings& findings_;
  NodeTables& tables_;
  CliqueSums& sums_;
  const Mode& mode_;
  int numAsked_ = 0;
};

}  // namespace bravic::engine
