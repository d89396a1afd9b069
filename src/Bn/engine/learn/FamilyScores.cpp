#include "Bn/engine/learn/FamilyScores.h"

#include <algorithm>

namespace bravic::engine {

namespace {

constexpr int ALONE[] = {FamilyCounter::NO_CANDIDATE};

}  // namespace

FamilyScores::FamilyScores(const CaseColumns& cases, ScoreKind kind, double prior, int numThreads, Interrupt* interrupt)
    : cases_(cases), counter_(cases, numThreads, interrupt), terms_(kind, prior, cases.TotalUnits(), cases.Unit()) {}

bool FamilyScores::HasMissing(int node, std::span<const int> parents) const {
  return cases_.HasMissing(node) ||
         std::any_of(parents.begin(), parents.end(), [&](int parent) { return cases_.HasMissing(parent); });
}

// What a difference that was found in cases of this weight is worth in all of them.
double FamilyScores::ScaleToAll(std::int64_t weight) const {
  return weight > 0 ? static_cast<double>(cases_.TotalUnits()) / static_cast<double>(weight) : 0;
}

double FamilyScores::Score(std::span<const Vector<int>> parents) {
  double sum = 0;
  for (int node = 0; node < NumNodes(); ++node) sum += Score(node, parents[node]);
  return sum;
}

double FamilyScores::Score(int node, std::span<const int> parents) {
  Vector<int> sorted(parents.begin(), parents.end());
  std::sort(sorted.begin(), sorted.end());
  double score = 0;
  if (cache_.Find(node, sorted, &score)) return score;
  score = HasMissing(node, sorted) ? ScoreChain(node, sorted) : CountScore(node, sorted);
  if (IsReady()) cache_.Add(node, sorted, score);
  return score;
}

// Of a family without missing cells.
double FamilyScores::CountScore(int node, std::span<const int> parents) {
  CandidateSums sums;
  counter_.Prepare(node, parents);
  counter_.SumTerms(terms_, ALONE, &sums);
  return terms_.Score(sums.with, counter_.NumConfigs(), cases_.NumStates(node));
}

double FamilyScores::Penalty(int node, std::span<const int> parents) const {
  double numConfigs = 1;
  for (int parent : parents) numConfigs *= cases_.NumStates(parent);
  return terms_.Penalty(numConfigs, cases_.NumStates(node));
}

double FamilyScores::Strength(int node, int parent) {
  return Score(node, std::span(&parent, 1));
}

// Parents join by what they gain alone, the first of equals first.
double FamilyScores::ScoreChain(int node, std::span<const int> parents) {
  if (parents.empty()) {
    CandidateSums sums;
    counter_.Prepare(node, parents);
    counter_.SumTerms(terms_, ALONE, &sums);
    return terms_.Score(sums.with, 1, cases_.NumStates(node)) * ScaleToAll(sums.weight);
  }
  int weakest = parents[0];
  for (int parent : parents)
    if (Count(parents) > 1 && Strength(node, parent) <= Strength(node, weakest)) weakest = parent;
  Vector<int> rest;
  for (int parent : parents)
    if (parent != weakest) rest.push_back(parent);
  const double before = Score(node, rest);
  counter_.Prepare(node, rest);
  CandidateSums sums;
  counter_.SumTerms(terms_, std::span(&weakest, 1), &sums);
  return before + Gain(node, weakest, sums);
}

// Of what has been prepared, by the candidate's complete cases.
double FamilyScores::Gain(int node, int candidate, const CandidateSums& sums) const {
  const int states = cases_.NumStates(node);
  const double numConfigs = counter_.NumConfigs();
  return (terms_.Score(sums.with, numConfigs * cases_.NumStates(candidate), states) -
          terms_.Score(sums.without, numConfigs, states)) *
         ScaleToAll(sums.weight);
}

void FamilyScores::ScoreToggled(int node, std::span<const int> parents, std::span<const int> others, double* scores) {
  Vector<int> sorted(parents.begin(), parents.end()), family, counted, places;
  std::sort(sorted.begin(), sorted.end());
  double weakest = 0;
  for (int k = 0; k < Count(sorted) && (HasMissing(node, sorted) || HasMissing(node, others)); ++k)
    weakest = k == 0 ? Strength(node, sorted[k]) : std::min(weakest, Strength(node, sorted[k]));
  for (int k = 0; k < Count(others); ++k) {
    const int other = others[k];
    family = sorted;
    const auto at = std::lower_bound(family.begin(), family.end(), other);
    const bool isParent = at != family.end() && *at == other;
    if (isParent) {
      family.erase(at);
    } else {
      family.insert(at, other);
    }
    if (cache_.Find(node, family, &scores[k])) continue;
    // A family that is built up parent by parent is one step from what is prepared only if the other joins last.
    const bool joinsLast = sorted.empty() || !HasMissing(node, family) || Strength(node, other) < weakest;
    if (isParent || !joinsLast) {
      scores[k] = Score(node, family);
    } else {
      counted.push_back(other);
      places.push_back(k);
    }
  }
  if (counted.empty()) return;
  const double before = Score(node, sorted);
  sums_.resize(counted.size());
  counter_.Prepare(node, sorted);
  counter_.SumTerms(terms_, counted, sums_.data());
  for (int k = 0; k < counted.size(); ++k) {
    const int other = counted[k];
    family = sorted;
    family.insert(std::lower_bound(family.begin(), family.end(), other), other);
    double& score = scores[places[k]];
    score = HasMissing(node, family)
                ? before + Gain(node, other, sums_[k])
                : terms_.Score(sums_[k].with, counter_.NumConfigs() * cases_.NumStates(other), cases_.NumStates(node));
    if (IsReady()) cache_.Add(node, family, score);
  }
}

}  // namespace bravic::engine
