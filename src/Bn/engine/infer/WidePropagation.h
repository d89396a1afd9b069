// Inference in numbers of unlimited range: a double with an exponent of its own per entry. It is for findings so
// unlikely under one part of a net that doubles lose what the rest needs; slow, rarely needed, and kept only until the
// findings change. So a quotient by 0 may be 0 here: what it is multiplied with is 0 as well.
#pragma once

#include "Bn/engine/PassShape.h"
#include "Bn/engine/infer/Findings.h"
#include "Bn/engine/infer/NodeTables.h"
#include "Bn/engine/infer/Potentials.h"
#include "Bn/engine/infer/TreeWalk.h"

namespace bravic::engine {

class WidePropagation {
 public:
  WidePropagation(const Structure& structure, const Findings& findings, const NodeTables& tables,
                  Potentials& potentials, const Mode& mode);

  // Drops all messages.
  void Forget();
  // The sum of everything, likelihoods with their whole weight, collected at the clique; false without memory or when
  // it was halted.
  bool SumAll(int clique, WideNumber* sum);
  // A table over the free ones of the nodes, as doubles to be multiplied by 2^exponent, the largest about 1; NULL as
  // above.
  const double* SumOnto(int clique, std::span<const int> nodes, long long* exponent);

 private:
  struct Target {
    std::span<const int> variables;
    Block<WideNumber>* to;
  };
  // The tables of one pass, as factors of the shape in their order, each from where the states that are known begin.
  struct Factors {
    Vector<const WideNumber*> starts;
    Vector<Vector<WideNumber>> own;  // what the starts of node tables point into
  };

  void AddNodeTables(int clique, Factors* factors);
  void AddMessages(int clique, int exceptLink, Factors* factors);
  bool AddTargets(std::span<const Target> targets);
  bool MultiplyAndSum(int clique, const Factors& factors, int potentialStart, std::span<const Target> targets);
  bool Pass(int clique, int exceptLink, std::span<const Target> targets);
  bool SendAll(int clique);
  bool Send(int clique, int link);
  bool Collect(int root);
  Block<WideNumber>& Of(MessageId id) { return messages_[id.Number()]; }

  const Structure& structure_;
  const Findings& findings_;
  const NodeTables& tables_;
  Potentials& potentials_;
  const Mode& mode_;
  Vector<Block<WideNumber>> messages_;  // over the free variables; NULL until made
  TreeWalk walk_;
  ShapeMaker maker_;
  PassShape shape_;
  Vector<double> sums_;
};

}  // namespace bravic::engine
