#include "Bn/engine/infer/Propagation.h"

#include <algorithm>

namespace bravic::engine {

Propagation::Propagation(const Structure& structure, Findings& findings, const NodeTables& tables,
                         const Potentials& potentials, Messages& messages, CliquePasses& passes, SharedTree& shared,
                         WidePropagation& wide, const Marginals& marginals, const Mode& mode)
    : structure_(structure),
      findings_(findings),
      tables_(tables),
      potentials_(potentials),
      messages_(messages),
      passes_(passes),
      shared_(shared),
      wide_(wide),
      marginals_(marginals),
      mode_(mode),
      pivot_(structure.smallestClique) {}

void Propagation::Forget() {
  isDone_ = isWide_ = false;
  wide_.Forget();
}

int Propagation::CliqueForReading(int node) {
  if (node == readNode_) return readClique_;
  structure_.FindPath(structure_.entry[node], pivot_, &path_);
  readNode_ = node;
  readClique_ = path_[0];
  for (int i = 1; i < path_.size() && structure_.IsInClique(node, path_[i]); ++i) readClique_ = path_[i];
  return readClique_;
}

Outcome Propagation::MakeMessage(int c, int k) {
  const Link& link = structure_.cliques[c].links[k];
  if (!link.tellsOfHomed && messages_.IsToldOnlyOver(link, messages_.NumInformative(c))) {
    messages_.StoreVacuous(link.out);
    return Outcome::GOOD;
  }
  const int size = findings_.FreeSize(structure_.VariablesOf(link.out));
  passes_.ClearTargets();
  passes_.AddTarget(size, messages_[link.out].floats);
  const PassResult result = passes_.Run(
      {.kind = PassRequest::Kind::SEND, .clique = c, .exceptLink = k, .outLinks = std::span<const int>(&k, 1)});
  const MessageSums sums = {passes_.Targets()[0], result.unscale, messages_.IncomingExponent(c, k),
                            result.LostInSums(size, mode_.maximize)};
  return messages_.Store(link.out, sums, false);
}

Outcome Propagation::Collect(int root) {
  ++numCollections_;
  Outcome outcome = Outcome::GOOD;
  shared_.Collect(root);
  walk_.Inward(
      structure_, root, [&](const Link& link) { return !messages_.IsValid(link.in); },
      [&](int clique, int link) {
        outcome = MakeMessage(clique, link);
        return outcome == Outcome::GOOD;
      });
  return outcome;
}

Status Propagation::PropagateNarrow(int node, std::span<float> to) {
  const Outcome collected = Collect(pivot_);
  if (collected == Outcome::ZERO) return Status::Inconsistent;
  if (collected == Outcome::DOUBTFUL) return PropagateWide();
  const bool isAsked = node >= 0;
  const Sums sums = passes_.SumOnto(pivot_, isAsked ? NodeSet::Single(node) : NodeSet::None());
  double& total = probability_.value;
  total = sums.entries[0];
  for (std::size_t s = 1; s < to.size(); ++s)
    total = mode_.maximize ? std::max(total, sums.entries[s]) : total + sums.entries[s];
  probability_.exponent = messages_.IncomingExponent(pivot_, -1);
  const Outcome outcome = isAsked ? JudgeEach(sums.entries, to.size(), sums.lost) : Judge(total, sums.lost);
  if (outcome == Outcome::DOUBTFUL) return PropagateWide();
  if (outcome == Outcome::ZERO) return Status::Inconsistent;
  if (isAsked) marginals_.Normalize(sums.entries, to);
  total *= sums.unscale;
  return Status::Done;
}

Status Propagation::PropagateWide() {
  isWide_ = true;
  WideNumber sum;
  if (!wide_.SumAll(pivot_, &sum)) return Status::NoMemory;
  // Likelihoods count with their whole weight there, and are scaled below.
  probability_ = {sum.mantissa, sum.exponent - findings_.WeightExponent()};
  return sum.mantissa > 0 ? Status::Done : Status::Inconsistent;
}

Status Propagation::Propagate(int node, std::span<float> to) {
  if (isDone_) return status_;
  if (!potentials_.AreAllocated() || !tables_.AreSet()) return Status::NoMemory;
  const bool isEmpty = structure_.cliques.empty();
  isDone_ = true;
  probability_ = {isEmpty ? 1.0 : 0.0, 0};
  status_ = isEmpty ? Status::Done : PropagateNarrow(node, to);
  // Likelihoods are entered with a largest weight of about 1.
  probability_.exponent += findings_.WeightExponent();
  if (status_ == Status::Done) findings_.CheckAll();
  return status_;
}

void Propagation::Take(Status status, ScaledNumber probability) {
  isDone_ = true;
  status_ = status;
  probability_ = probability;
  if (status_ == Status::Done) findings_.CheckAll();
}

}  // namespace bravic::engine
