#include "Bn/engine/infer/Findings.h"

#include <algorithm>

namespace bravic::engine {

Findings::Findings(const Structure& structure) : structure_(structure), findings_(structure.NumNodes()) {}

long long Findings::WeightExponent() const {
  long long exponent = 0;
  for (int i = 0; i < findings_.size() && numWeighted_ > 0; ++i)
    if (findings_[i].weighted) exponent += findings_[i].exponent;
  return exponent;
}

void Findings::SetChecked(int node, bool checked) {
  Finding& finding = findings_[node];
  if (finding.IsNone()) checked = true;
  if (finding.checked == checked) return;
  finding.checked = checked;
  if (checked)
    unchecked_.erase(std::find(unchecked_.begin(), unchecked_.end(), node));
  else
    unchecked_.push_back(node);
}

void Findings::ForgetChecks() {
  tablesChecked_ = false;
  for (int i = 0; i < findings_.size(); ++i) SetChecked(i, false);
}

void Findings::CheckAll() {
  tablesChecked_ = true;
  for (int node : unchecked_) findings_[node].checked = true;
  unchecked_.clear();
}

// Scales the weights, and says what doubles lack of them.
void Findings::DescribeWeights(Finding* finding) {
  constexpr long long LOWEST = -1000000;
  const Vector<WideNumber>& weights = finding->weights;
  WideNumber least;
  for (WideNumber w : weights)
    if (w.mantissa > 0 && (least.mantissa == 0 || w < least)) least = w;
  finding->exponent = std::max_element(weights.begin(), weights.end())->exponent;
  finding->range = {static_cast<int>(std::max(least.exponent - 1 - finding->exponent, LOWEST)), NO_LOSS};
  if (finding->range.low < DOUBLE_FLOOR) finding->range.lost = DOUBLE_FLOOR;
  finding->doubles.clear();
  for (WideNumber w : weights) finding->doubles.push_back(ToDouble(w, -finding->exponent));
  finding->floats.assign(weights.size() + KERNEL_SLACK, 0.0f);
  for (int s = 0; s < weights.size(); ++s) finding->floats[s] = static_cast<float>(finding->doubles[s]);
}

void Findings::Set(int node, int state, std::span<const WideNumber> weights) {
  Finding& finding = findings_[node];
  const bool isKnown = state != FREE, isWeighted = !weights.empty();
  numKnown_ += isKnown - !IsFree(node);
  numWeighted_ += isWeighted - finding.weighted;
  finding.state = state;
  finding.weighted = isWeighted;
  finding.serial = ++lastSerial_;
  finding.weights.assign(weights.begin(), weights.end());
  if (isWeighted) DescribeWeights(&finding);
  SetChecked(node, false);
}

}  // namespace bravic::engine
