#include "Bn/engine/infer/SeparatorBeliefs.h"

#include "Bn/engine/Pass.h"

namespace bravic::engine {

SeparatorBeliefs::SeparatorBeliefs(const Structure& structure, const Findings& findings, const Messages& messages,
                                   Marginals& marginals, const Mode& mode)
    : structure_(structure),
      findings_(findings),
      messages_(messages),
      marginals_(marginals),
      mode_(mode),
      maker_(structure.numstates) {}

// Calls visit(i, entry) for the entries of the message that agree with the findings.
template <class Visit>
void SeparatorBeliefs::ForEachEntry(const Message& message, std::span<const int> variables, Visit visit) const {
  int i = 0;
  if (message.numFixed == findings_.NumFixed(variables))
    for (const int size = joint_.size(); i < size; ++i) visit(i, message.probs[i]);
  else
    findings_.ForEachFree(variables, message.fixedAt, [&](int index) { visit(i++, message.probs[index]); });
}

bool SeparatorBeliefs::Read(int s, std::span<const int> nodes, const BeliefPlace& out) {
  const std::span<const int> variables = structure_.separators[s].variables;
  const Message& one = messages_[MessageId(s, 0)];
  const Message& other = messages_[MessageId(s, 1)];
  if (!one.probs) return ReadLarge(s, nodes, out);
  joint_.resize(findings_.FreeSize(variables));
  ForEachEntry(one, variables, [&](int i, double entry) { joint_[i] = entry; });
  ForEachEntry(other, variables, [&](int i, double entry) { joint_[i] *= entry; });
  ProductRange range;
  range.Multiply(one.range);
  range.Multiply(other.range);
  const int lost = range.Lost(DOUBLE_FLOOR, 1);
  bool isSure = true;
  for (int node : nodes) {
    float* belief = out(node);
    if (!belief || !findings_.IsFree(node)) continue;
    isSure &= marginals_.Read(joint_.data(), variables, node, lost, std::span(belief, structure_.numstates[node]));
  }
  return isSure;
}

// Without room for the product.
bool SeparatorBeliefs::ReadLarge(int s, std::span<const int> nodes, const BeliefPlace& out) {
  bool isSure = true;
  for (int node : nodes) {
    float* belief = out(node);
    if (belief && findings_.IsFree(node))
      isSure &= ReadLargeOne(s, node, std::span(belief, structure_.numstates[node]));
  }
  return isSure;
}

// By a pass over one message with the other as factor.
bool SeparatorBeliefs::ReadLargeOne(int s, int node, std::span<float> to) {
  const std::span<const int> variables = structure_.separators[s].variables;
  maker_.Begin(
      variables, [&](int v) { return findings_.IsFree(v); }, &shape_);
  const float* tables[2];
  ProductRange range;
  for (int sender = 0; sender < 2; ++sender) {
    const Message& message = messages_[MessageId(s, sender)];
    int* strides = sender == 0 ? shape_.Strides(0) : shape_.AddFactor();
    tables[sender] = message.floats;
    range.Multiply(message.range);
    maker_.Place(
        variables, [&](int k) { return message.fixedAt[k] == FREE; }, strides,
        [&](int v, int stride) { tables[sender] += findings_[v].state * stride; });
  }
  shape_.AddTarget()[maker_.AxisOf(node)] = 1;
  MakePlan(shape_, &plan_);
  room_.GrowFor(plan_);
  joint_.assign(to.size(), 0.0);
  const PassTarget target{joint_.data(), nullptr};
  RunPlan(plan_, mode_.kernels, tables[0], tables + 1, &target, &room_, mode_.maximize);
  const int lost = range.Lost(FLOAT_FLOOR, findings_.FreeSize(variables));
  return marginals_.NormalizeSurely(joint_.data(), lost, to);
}

}  // namespace bravic::engine
