#include "Bn/engine/learn/CaseDraws.h"

#include <algorithm>
#include <bit>

namespace bravic::engine {
namespace {

constexpr double DRAWS_OF_A_CASE = 4, MOST_DRAWS = 4096;
constexpr int ROWS_AT_ONCE = 1024;

}  // namespace

CaseDraws::CaseDraws(const CaseColumns& cases, std::uint64_t seed, Interrupt& interrupt)
    : cases_(cases), random_(seed), interrupt_(interrupt) {
  const int n = NumNodes();
  std::ptrdiff_t numDraws = 0;
  for (std::ptrdiff_t row = 0; row < cases.NumRows(); ++row) {
    bool isWhole = true;
    for (int node = 0; node < n && isWhole; ++node) isWhole = cases.State(node, row) < cases.NumStates(node);
    if (isWhole) continue;
    rows_.push_back(row);
    starts_.push_back(numDraws);
    numDraws += NumDraws(row);
  }
  drawn_ = TryMakeBlock<int>(static_cast<std::size_t>(numDraws) * n);
  if (!drawn_) {
    isReady_ = false;
    return;
  }
  for (int k = 0; k < rows_.size(); ++k)
    for (int draw = 0; draw < NumDraws(rows_[k]); ++draw)
      for (int node = 0; node < n; ++node)
        Drawn(k, draw)[node] = std::min(cases.State(node, rows_[k]), cases.NumStates(node) - 1);
  Draw(Links(n), cases, 1);
}

// A power of two, so that shares of weights are exact.
int CaseDraws::NumDraws(std::ptrdiff_t row) const {
  const double wanted = std::clamp(DRAWS_OF_A_CASE * Weight(row), DRAWS_OF_A_CASE, MOST_DRAWS);
  return static_cast<int>(std::bit_ceil(static_cast<unsigned>(wanted)));
}

double CaseDraws::Weight(std::ptrdiff_t row) const {
  return cases_.Weights() ? static_cast<double>(cases_.Weights()[row]) * cases_.Unit() : cases_.Unit();
}

std::ptrdiff_t CaseDraws::Family::Entry(const int* states) const {
  std::ptrdiff_t entry = 0;
  for (int k = 0; k < members.size(); ++k) entry += strides[k] * states[members[k]];
  return entry;
}

std::ptrdiff_t CaseDraws::Family::Stride(int node) const {
  return strides[static_cast<int>(std::find(members.begin(), members.end(), node) - members.begin())];
}

bool CaseDraws::MakeFamilies(const Links& links, const CaseColumns& tables) {
  constexpr double MOST_ENTRIES = 0x7FFFFFFF, PRIOR = 1;
  const int n = NumNodes();
  families_.clear();
  families_.resize(n);
  children_.assign(n, {});
  for (int node = 0; node < n; ++node) {
    Family& family = families_[node];
    family.members = links[node];
    family.members.push_back(node);
    family.strides.resize(family.members.size());
    double size = 1;
    for (int k = family.members.size(); k-- > 0;) {
      family.strides[k] = static_cast<std::ptrdiff_t>(std::min(size, MOST_ENTRIES));
      size *= cases_.NumStates(family.members[k]);
    }
    if (size <= MOST_ENTRIES) family.probs = TryMakeBlock<double>(static_cast<std::size_t>(size));
    if (!family.probs) return false;
    CountFamily(tables, node, links[node], family.probs.get());
    const int states = cases_.NumStates(node);
    for (std::ptrdiff_t at = 0; at < static_cast<std::ptrdiff_t>(size); at += states) {
      double sum = PRIOR;
      for (int k = 0; k < states; ++k) sum += family.probs[at + k];
      for (int k = 0; k < states; ++k) family.probs[at + k] = (family.probs[at + k] + PRIOR / states) / sum;
    }
    for (int parent : links[node]) children_[parent].push_back(node);
  }
  return true;
}

// Given all other cells of the case: by its own family and those of its children.
void CaseDraws::DrawCell(int node, int* states) {
  const int numStates = cases_.NumStates(node);
  states[node] = 0;
  const double* own = families_[node].probs.get() + families_[node].Entry(states);
  weights_.assign(own, own + numStates);
  for (int child : children_[node]) {
    const double* probs = families_[child].probs.get() + families_[child].Entry(states);
    const std::ptrdiff_t stride = families_[child].Stride(node);
    double most = 0;
    for (int state = 0; state < numStates; ++state) {
      weights_[state] *= probs[state * stride];
      most = std::max(most, weights_[state]);
    }
    for (double& weight : weights_) weight /= most;  // far from underflow
  }
  double sum = 0;
  for (double weight : weights_) sum += weight;
  double left = random_.Share() * sum;
  int state = 0;
  while (state < numStates - 1 && (left -= weights_[state]) >= 0) ++state;
  states[node] = state;
}

void CaseDraws::Draw(const Links& links, const CaseColumns& tables, int numSweeps) {
  if (!isReady_ || !(isReady_ = MakeFamilies(links, tables))) return;
  const int n = NumNodes();
  Vector<int> missing;
  for (int k = 0; k < rows_.size(); ++k) {
    missing.clear();
    for (int node = 0; node < n; ++node)
      if (cases_.State(node, rows_[k]) >= cases_.NumStates(node)) missing.push_back(node);
    const int numDraws = NumDraws(rows_[k]);
    if (interrupt_.Halts(static_cast<double>(n) * numDraws * numSweeps)) return;
    for (int draw = 0; draw < numDraws; ++draw)
      for (int sweep = 0; sweep < numSweeps; ++sweep)
        for (int node : missing) DrawCell(node, Drawn(k, draw));
  }
}

Owned<CaseColumns> CaseDraws::Completed() {
  const int n = NumNodes();
  Vector<int> numstates(n), columns(n);
  for (int node = 0; node < n; ++node) {
    numstates[node] = cases_.NumStates(node);
    columns[node] = node;
  }
  Owned<CaseColumns> completed = MakeOwned<CaseColumns>(numstates);
  Vector<int> states;
  Vector<double> weights;
  const auto flush = [&](int room) {
    if (weights.size() < room || weights.empty()) return;
    isReady_ = isReady_ && completed->Add({states.data(), weights.size(), n, columns, weights.data()});
    states.clear();
    weights.clear();
  };
  for (std::ptrdiff_t row = 0, k = 0; row < cases_.NumRows() && isReady_; ++row) {
    const bool isWhole = k == rows_.size() || rows_[k] != row;
    const int numDraws = isWhole ? 1 : NumDraws(row);
    for (int draw = 0; draw < numDraws; ++draw) {
      for (int node = 0; node < n; ++node)
        states.push_back(isWhole ? cases_.State(node, row) : Drawn(static_cast<int>(k), draw)[node]);
      weights.push_back(Weight(row) / numDraws);
    }
    k += !isWhole;
    flush(ROWS_AT_ONCE);
  }
  flush(0);
  isReady_ = isReady_ && completed->Finish();
  if (!isReady_) completed.reset();
  return completed;
}

}  // namespace bravic::engine
