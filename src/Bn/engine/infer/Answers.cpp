#include "Bn/engine/infer/Answers.h"

#include <algorithm>

namespace bravic::engine {

Answers::Answers(const Structure& structure, const Findings& findings, const Potentials& potentials,
                 const NodeTables& tables, Messages& messages, CliquePasses& passes, WidePropagation& wide,
                 Propagation& propagation, Marginals& marginals, SeparatorBeliefs& separatorBeliefs, Sweep& sweep,
                 Question& question, StraightSweep& straight, ReducedModels& reduced, const Costs& costs,
                 const Mode& mode)
    : structure_(structure),
      findings_(findings),
      potentials_(potentials),
      tables_(tables),
      messages_(messages),
      passes_(passes),
      wide_(wide),
      propagation_(propagation),
      marginals_(marginals),
      separatorBeliefs_(separatorBeliefs),
      sweep_(sweep),
      question_(question),
      straight_(straight),
      reduced_(reduced),
      costs_(costs),
      mode_(mode) {}

Status Answers::Check() {
  if (propagation_.IsDone()) return propagation_.Answer();
  if (findings_.Unchecked().empty() && findings_.AreTablesChecked()) return Status::Done;
  Status answer = Status::Done;
  return question_.Ask(Question::NO_NODE, {}, &answer) ? answer : propagation_.Propagate(-1, {});
}

Status Answers::ReadWide(int node, std::span<float> to) {
  propagation_.GoWide();
  long long exponent;
  const double* sums = wide_.SumOnto(structure_.entry[node], std::span<const int>(&node, 1), &exponent);
  if (!sums) return mode_.watch->halted ? Status::Halted : Status::NoMemory;
  return marginals_.Normalize(sums, to) ? Status::Done : Status::Vanished;
}

// The belief of a node that is not known, after propagation: where two messages meet already or, if there is no such
// separator, in the nearest clique.
Status Answers::ReadFromTree(int node, std::span<float> to) {
  if (!propagation_.IsWide()) {
    for (int s : structure_.separatorsOf[node])
      if (messages_.AreBothValid(s) &&
          separatorBeliefs_.Read(s, std::span<const int>(&node, 1), [&](int) { return to.data(); }))
        return Status::Done;
    const int c = propagation_.CliqueForReading(node);
    if (propagation_.Collect(c) == Outcome::GOOD) {
      const Sums sums = passes_.SumOnto(c, NodeSet::Single(node));
      if (marginals_.NormalizeSurely(sums.entries, sums.lost, to)) return Status::Done;
    }
  }
  return ReadWide(node, to);
}

Status Answers::Belief(int node, std::span<float> out) {
  const int state = findings_[node].state;
  std::fill(out.begin(), out.end(), 0.0f);
  if (state != FREE || out.size() == 1) {
    const Status status = Check();
    if (status == Status::Done) out[std::max(state, 0)] = 1;
    return status;
  }
  if (propagation_.IsDone() && propagation_.Answer() != Status::Done) return propagation_.Answer();
  Status answer = Status::Done;
  if (question_.Ask(node, out, &answer)) return answer;
  if (!propagation_.IsDone()) {
    propagation_.SetPivot(propagation_.CliqueForReading(node));
    answer = propagation_.Propagate(node, out);
    if (answer != Status::Done || !propagation_.IsWide()) return answer;
  }
  return ReadFromTree(node, out);
}

// The first sweep may stay the only one, which counts all that has to be made for it; later ones count what serves them
// alone.
bool Answers::StraightPays() const {
  const double entries = structure_.tree->totalSize;
  if (entries <= cost::STRAIGHT_ALWAYS) return true;
  if (hasSwept_ || straight_.IsMade()) return straight_.Cost() <= costs_.OfSweepAlone(false) + cost::MESSAGE;
  return straight_.Cost() + cost::MAKE_STRAIGHT_ENTRY * entries <= costs_.OfSweep() + cost::MESSAGE;
}

// All beliefs of what is not known, and the probability of the findings; false leaves them to others.
bool Answers::SweepStraight(const BeliefPlace& out) {
  const bool isAnswered = propagation_.IsDone(), isWanted = mode_.way == Way::CHEAPEST || mode_.way == Way::STRAIGHT;
  if (!isWanted || !straight_.Serves() || propagation_.IsWide()) return false;
  if (isAnswered && propagation_.Answer() != Status::Done) return false;
  if (mode_.way == Way::CHEAPEST && !StraightPays()) return false;
  ScaledNumber probability;
  const Outcome outcome = straight_.ReadAll(out, &probability);
  if (outcome == Outcome::DOUBTFUL) return false;
  if (isAnswered) return outcome == Outcome::GOOD;
  probability.exponent += findings_.WeightExponent();
  propagation_.Take(outcome == Outcome::GOOD ? Status::Done : Status::Inconsistent, probability);
  return true;
}

void Answers::WriteKnown(const BeliefPlace& out) const {
  for (int node = 0; node < structure_.NumNodes(); ++node) {
    if (findings_.IsAxis(node)) continue;
    float* belief = out(node);
    if (!belief) continue;
    std::fill_n(belief, structure_.numstates[node], 0.0f);
    belief[std::max(findings_[node].state, 0)] = 1;
  }
}

bool Answers::AllStraight(const BeliefPlace& out, Status* answer) {
  if (!IsReady() || !SweepStraight(out)) return false;
  *answer = propagation_.Answer();
  if (*answer == Status::Done) WriteKnown(out);
  return true;
}

Status Answers::AllBeliefs(const BeliefPlace& out) {
  const bool isRead = IsReady() && reduced_.Sweep(out);
  if (const Status status = propagation_.Propagate(-1, {}); status != Status::Done) return status;
  WriteKnown(out);
  if (isRead) return Status::Done;
  hasSwept_ = true;
  const bool isSure = !propagation_.IsWide() &&
                      (structure_.cliques.empty() || propagation_.Collect(propagation_.Pivot()) == Outcome::GOOD) &&
                      sweep_.ReadAll(out);
  if (isSure) return Status::Done;
  propagation_.GoWide();
  for (int node = 0; node < structure_.NumNodes(); ++node) {
    float* belief = findings_.IsAxis(node) ? out(node) : nullptr;
    if (!belief) continue;
    const Status status = ReadFromTree(node, std::span(belief, structure_.numstates[node]));
    if (status != Status::Done) return status;
  }
  return Status::Done;
}

}  // namespace bravic::engine
