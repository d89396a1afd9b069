#include "Bn/engine/learn/CaseDraws.h"

#include <algorithm>

namespace bravic::engine {
namespace {

constexpr int NUM_DRAWS = 4;  // a power of two, so that shares of weights are exact
constexpr int ROWS_AT_ONCE = 1024;

}  // namespace

CaseDraws::CaseDraws(const CaseColumns& cases, std::uint64_t seed, Interrupt& interrupt)
    : cases_(cases), random_(seed), interrupt_(interrupt) {
  const int n = NumNodes();
  for (std::ptrdiff_t row = 0; row < cases.NumRows(); ++row) {
    bool isWhole = true;
    for (int node = 0; node < n && isWhole; ++node) isWhole = cases.State(node, row) < cases.NumStates(node);
    if (!isWhole) rows_.push_back(row);
  }
  drawn_ = TryMakeBlock<int>(static_cast<std::size_t>(NUM_DRAWS) * rows_.size() * n);
  if (!drawn_) {
    isReady_ = false;
    return;
  }
  for (int draw = 0; draw < NUM_DRAWS; ++draw)
    for (int k = 0; k < rows_.size(); ++k)
      for (int node = 0; node < n; ++node)
        Drawn(draw, k)[node] = std::min(cases.State(node, rows_[k]), cases.NumStates(node) - 1);
  Draw(Links(n), cases, 1);
}

int* CaseDraws::Drawn(int draw, int k) {
  return drawn_.get() + (static_cast<std::size_t>(draw) * rows_.size() + k) * NumNodes();
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
    if (interrupt_.Halts(static_cast<double>(n) * NUM_DRAWS * numSweeps)) return;
    for (int draw = 0; draw < NUM_DRAWS; ++draw)
      for (int sweep = 0; sweep < numSweeps; ++sweep)
        for (int node : missing) DrawCell(node, Drawn(draw, k));
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
    for (int draw = 0; draw < (isWhole ? 1 : NUM_DRAWS); ++draw) {
      for (int node = 0; node < n; ++node)
        states.push_back(isWhole ? cases_.State(node, row) : Drawn(draw, static_cast<int>(k))[node]);
      weights.push_back(isWhole ? Weight(row) : Weight(row) / NUM_DRAWS);
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
