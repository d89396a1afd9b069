#include "Measures.h"

#include <algorithm>
#include <cmath>
#include <numeric>

void Judged::Add(std::span<const float> beliefs, int actual, double weight) {
  beliefs_.insert(beliefs_.end(), beliefs.begin(), beliefs.end());
  actual_.push_back(actual);
  weights_.push_back(weight);
}

void Judged::Add(const Judged& more) {
  beliefs_.insert(beliefs_.end(), more.beliefs_.begin(), more.beliefs_.end());
  actual_.insert(actual_.end(), more.actual_.begin(), more.actual_.end());
  weights_.insert(weights_.end(), more.weights_.begin(), more.weights_.end());
}

template <class Value>
double Judged::Mean(Value value) const {
  double sum = 0, weight = 0;
  for (std::size_t i = 0; i < NumCases(); ++i) {
    sum += weights_[i] * value(Beliefs(i), static_cast<std::size_t>(actual_[i]));
    weight += weights_[i];
  }
  return sum / weight;
}

double Judged::LogLoss() const {
  static constexpr float LEAST = 1e-38f;
  return Mean([](std::span<const float> beliefs, std::size_t actual) {
    return -std::log(static_cast<double>(std::max(beliefs[actual], LEAST)));
  });
}

double Judged::Brier() const {
  return Mean([](std::span<const float> beliefs, std::size_t actual) {
    double sum = 0;
    for (std::size_t k = 0; k < beliefs.size(); ++k) {
      const double away = static_cast<double>(beliefs[k]) - (k == actual ? 1 : 0);
      sum += away * away;
    }
    return sum;
  });
}

double Judged::ErrorRate() const {
  return Mean([](std::span<const float> beliefs, std::size_t actual) {
    return std::max_element(beliefs.begin(), beliefs.end()) - beliefs.begin() != static_cast<std::ptrdiff_t>(actual);
  });
}

// Cases by falling belief: those in the state above those not in it, by their weights.
double Judged::AreaOf(std::size_t state, double* weight) const {
  const auto belief = [&](std::size_t i) { return beliefs_[i * numstates_ + state]; };
  std::vector<std::size_t> order(NumCases());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return belief(a) < belief(b); });
  double in = 0, out = 0, wins = 0;
  for (std::size_t i = 0; i < order.size();) {
    double inHere = 0, outHere = 0;
    const std::size_t first = i;
    for (; i < order.size() && belief(order[i]) == belief(order[first]); ++i)
      (actual_[order[i]] == static_cast<int>(state) ? inHere : outHere) += weights_[order[i]];
    wins += inHere * (out + outHere / 2);
    in += inHere;
    out += outHere;
  }
  *weight = in > 0 && out > 0 ? in : 0;
  return *weight > 0 ? wins / (in * out) : 0;
}

double Judged::RocArea() const {
  double sum = 0, all = 0;
  for (std::size_t state = 0; state < numstates_; ++state) {
    double weight = 0;
    const double area = AreaOf(state, &weight);
    sum += area * weight;
    all += weight;
  }
  return all > 0 ? sum / all : -1;
}

std::vector<Judged::Bin> Judged::Calibration() const {
  std::vector<Bin> bins(NUM_BINS);
  for (std::size_t i = 0; i < NumCases(); ++i) {
    const std::span<const float> beliefs = Beliefs(i);
    for (std::size_t k = 0; k < numstates_; ++k) {
      const auto belief = static_cast<double>(beliefs[k]);
      Bin& bin = bins[static_cast<std::size_t>(std::clamp(static_cast<int>(belief * NUM_BINS), 0, NUM_BINS - 1))];
      bin.count += weights_[i];
      bin.belief += weights_[i] * belief;
      if (static_cast<int>(k) == actual_[i]) bin.came += weights_[i];
    }
  }
  return bins;
}
