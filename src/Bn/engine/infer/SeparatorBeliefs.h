// Beliefs read where two valid messages meet: their product is the belief of the separator.
#pragma once

#include "Bn/engine/PassPlan.h"
#include "Bn/engine/PassShape.h"
#include "Bn/engine/infer/Marginals.h"
#include "Bn/engine/infer/Messages.h"

namespace bravic::engine {

class SeparatorBeliefs {
 public:
  SeparatorBeliefs(const Structure& structure, const Findings& findings, const Messages& messages, Marginals& marginals,
                   const Mode& mode);

  // The beliefs of those nodes of the separator that are not known; both of its messages are valid. False where they
  // may not hold.
  bool Read(int separator, std::span<const int> nodes, const BeliefPlace& out);

  // Room for products of so many entries, so that reading them allocates nothing.
  void Reserve(int entries) { joint_.reserve(entries); }

 private:
  template <class Visit>
  void ForEachEntry(const Message& message, std::span<const int> variables, Visit visit) const;
  bool ReadLarge(int separator, std::span<const int> nodes, const BeliefPlace& out);
  bool ReadLargeOne(int separator, int node, std::span<float> to);

  const Structure& structure_;
  const Findings& findings_;
  const Messages& messages_;
  Marginals& marginals_;
  const Mode& mode_;
  // Scratch.
  Vector<double> joint_;
  ShapeMaker maker_;
  PassShape shape_;
  PassPlan plan_;
  PassRoom room_;
};

}  // namespace bravic::engine
