#include "Bn/engine/learn/OrderWalk.h"

#include <algorithm>
#include <cmath>

namespace bravic::engine {
namespace {

constexpr int FARTHEST_MOVE = 1000;  // places
constexpr double ROUNDING = 1e-12;   // of the score

}  // namespace

OrderWalk::OrderWalk(std::span<const ParentSets> sets, std::span<const int> order, std::uint64_t seed,
                     Interrupt& interrupt)
    : sets_(sets),
      order_(order.begin(), order.end()),
      place_(Count(order)),
      choice_(Count(order)),
      random_(seed),
      interrupt_(interrupt) {
  for (int p = 0; p < order_.size(); ++p) place_[order_[p]] = p;
  for (int v = 0; v < order_.size(); ++v) choice_[v] = FirstFrom(0, v);
  leastGain_ = ROUNDING * std::abs(Score());
}

bool OrderWalk::LiesBefore(int node, int set) const {
  return std::ranges::all_of(sets_[node].Set(set), [&](int member) { return place_[member] < place_[node]; });
}

int OrderWalk::FirstFrom(int set, int node) const {
  for (; set < sets_[node].NumSets(); ++set)
    if (LiesBefore(node, set)) return set;
  return NO_SET;
}

// The node's best set, now that this one lies before it as well.
int OrderWalk::FirstWith(int gained, int node) const {
  const SetBits bit = BitOf(gained);
  const int present = choice_[node];
  const int end = present == NO_SET ? sets_[node].NumSets() : present;
  for (int set = 0; set < end; ++set)
    if ((sets_[node].bits[set] & bit) != 0 && LiesBefore(node, set)) return set;
  return present;
}

double OrderWalk::ScoreOf(int node) const {
  return choice_[node] == NO_SET ? IMPOSSIBLE_SCORE : sets_[node].scores[choice_[node]];
}

double OrderWalk::Score() const {
  double sum = 0;
  for (int v = 0; v < choice_.size(); ++v) sum += ScoreOf(v);
  return sum;
}

// The node at that place and the next one change places. Answers what that adds to the score.
double OrderWalk::Swap(int place) {
  const int first = order_[place], second = order_[place + 1];
  steps_.push_back({first, second, choice_[first], choice_[second]});
  const double firstBefore = ScoreOf(first), secondBefore = ScoreOf(second);
  std::swap(order_[place], order_[place + 1]);
  std::swap(place_[first], place_[second]);
  choice_[first] = FirstWith(second, first);
  if (choice_[second] != NO_SET && !LiesBefore(second, choice_[second]))
    choice_[second] = FirstFrom(choice_[second] + 1, second);
  return (ScoreOf(first) - firstBefore) + (ScoreOf(second) - secondBefore);
}

void OrderWalk::TakeBack(int numSteps) {
  for (; numSteps > 0; --numSteps) {
    const Step step = steps_.back();
    steps_.pop_back();
    std::swap(place_[step.first], place_[step.second]);
    order_[place_[step.first]] = step.first;
    order_[place_[step.second]] = step.second;
    choice_[step.first] = step.firstChoice;
    choice_[step.second] = step.secondChoice;
  }
}

// The node goes to the place where the score is highest. Answers whether that is higher than before.
bool OrderWalk::MoveToBest(int node) {
  const int home = place_[node], last = order_.size() - 1;
  double bestGain = leastGain_;
  int bestPlace = home;
  for (int direction : {-1, 1}) {
    double gain = 0;
    steps_.clear();
    while (steps_.size() < FARTHEST_MOVE && place_[node] + direction >= 0 && place_[node] + direction <= last) {
      gain += Swap(direction < 0 ? place_[node] - 1 : place_[node]);
      if (gain < IMPOSSIBLE_SCORE / 2) break;
      if (gain > bestGain) {
        bestGain = gain;
        bestPlace = place_[node];
      }
    }
    interrupt_.Halts(steps_.size() + 1);
    TakeBack(steps_.size());
  }
  steps_.clear();
  while (place_[node] > bestPlace) Swap(place_[node] - 1);
  while (place_[node] < bestPlace) Swap(place_[node]);
  return bestPlace != home;
}

void OrderWalk::Climb() {
  const int n = order_.size();
  for (int v = 0, numAtRest = 0; numAtRest < n && !interrupt_.halted; v = (v + 1) % n) {
    ++numAtRest;
    if (!MoveToBest(v)) continue;
    ++numMoves_;
    numAtRest = 0;
  }
}

// Some node to some place, as near to it as it can come.
void OrderWalk::MoveAtRandom() {
  const int node = order_[random_.Below(order_.size())];
  const int from = std::max(place_[node] - FARTHEST_MOVE, 0);
  const int to = std::min(place_[node] + FARTHEST_MOVE, order_.size() - 1);
  const int goal = from + random_.Below(to - from + 1);
  steps_.clear();
  while (place_[node] != goal) {
    if (Swap(goal < place_[node] ? place_[node] - 1 : place_[node]) > IMPOSSIBLE_SCORE / 2) continue;
    TakeBack(1);
    break;
  }
}

bool OrderWalk::Leap() {
  constexpr int MOST_MOVES = 6;
  const Vector<int> order = order_, place = place_, choice = choice_;
  const double score = Score();
  for (int numMoves = 1 + random_.Below(MOST_MOVES); numMoves > 0; --numMoves) MoveAtRandom();
  const int movesBefore = numMoves_;
  Climb();
  const double reached = Score();
  if (reached >= score) return reached > score + leastGain_;
  order_ = order;
  place_ = place;
  choice_ = choice;
  numMoves_ = movesBefore;
  return false;
}

}  // namespace bravic::engine
