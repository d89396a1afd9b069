// What is known of the nodes: states, likelihoods, and which of them are known to be possible together.
#pragma once

#include <cstdint>
#include <span>

#include "Bn/engine/Axes.h"
#include "Bn/engine/Numbers.h"
#include "Bn/engine/infer/Range.h"
#include "Bn/engine/infer/Structure.h"
#include "Bn/engine/infer/Terms.h"

namespace bravic::engine {

struct Finding {
  int state = FREE;
  bool checked = true;    // known to be possible together with all others that are
  bool weighted = false;  // a likelihood: the rest is about that
  Vector<WideNumber> weights;
  // The weights divided by 2^exponent to a largest entry in [0.5, 1); the floats are followed by slack.
  Vector<double> doubles;
  Vector<float> floats;
  long long exponent = 0;
  Range range;               // of the doubles
  std::uint64_t serial = 0;  // of the weights: never the same for others

  bool IsNone() const { return state == FREE && !weighted; }
};

class Findings {
 public:
  explicit Findings(const Structure& structure);

  const Finding& operator[](int node) const { return findings_[node]; }
  bool IsFree(int node) const { return findings_[node].state == FREE; }
  // Whether the node is an axis of tables: it is not known and has two states or more.
  bool IsAxis(int node) const { return IsFree(node) && structure_.numstates[node] > 1; }
  int NumKnown() const { return numKnown_; }
  bool HasLikelihoods() const { return numWeighted_ > 0; }
  // The number of configurations of what is free among the variables, which are in one clique that has a potential.
  int FreeSize(std::span<const int> variables) const {
    int size = 1;
    for (int v : variables)
      if (IsFree(v)) size *= structure_.numstates[v];
    return size;
  }
  int NumFixed(std::span<const int> variables) const {
    int count = 0;
    for (int v : variables) count += !IsFree(v);
    return count;
  }
  // The factor by which the largest weight of every likelihood is about 1, as a power of two.
  long long WeightExponent() const;

  // FREE and no weights: nothing is known. Weights are not negative and not all 0.
  void Set(int node, int state, std::span<const WideNumber> weights);

  // Findings that are not known to be possible together with those that are checked.
  const Vector<int>& Unchecked() const { return unchecked_; }
  // Whether the tables alone are known to be possible.
  bool AreTablesChecked() const { return tablesChecked_; }
  void SetTablesChecked() { tablesChecked_ = true; }
  void CheckAll();  // all are possible together
  void ForgetChecks();

  // Calls visit(index) for each configuration of the variables that agrees with the findings, last fastest: its
  // index in a table over those of them that fixedAt leaves free (all when it is empty).
  template <class Visit>
  void ForEachFree(std::span<const int> variables, std::span<const int> fixedAt, Visit visit) const {
    auto isInTable = [&](int k) { return fixedAt.empty() || fixedAt[k] == FREE; };
    ForEachAgreeing(
        variables, structure_.numstates, isInTable, [&](int v) { return findings_[v].state; }, visit);
  }

 private:
  void SetChecked(int node, bool checked);
  static void DescribeWeights(Finding* finding);

  const Structure& structure_;
  Vector<Finding> findings_;               // [node]
  int numKnown_ = 0, numWeighted_ = 0;     // nodes with a state, with a likelihood
  std::uint64_t lastSerial_ = 1ull << 40;  // beyond every number of a node
  Vector<int> unchecked_;
  bool tablesChecked_ = false;
};

}  // namespace bravic::engine
