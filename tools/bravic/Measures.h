// How good beliefs in a target's states were, once it is known what came true: plain sums and ranks over cases, which
// know nothing of nets.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

// The beliefs in the states of a target in some cases, and what was so.
class Judged {
 public:
  explicit Judged(std::size_t numstates) : numstates_(numstates) {}
  // beliefs [states]; actual: the state that came true.
  void Add(std::span<const float> beliefs, int actual, double weight);
  void Add(const Judged& more);

  struct Bin {
    double count = 0, belief = 0, came = 0;  // sums over all states of all cases
  };
  static constexpr int NUM_BINS = 10;

  std::size_t NumCases() const { return actual_.size(); }
  double LogLoss() const;    // mean of -ln of the belief in what came true; beliefs below 1e-38 count as that
  double Brier() const;      // mean of the squared distances between beliefs and 0 or 1, summed over the states
  double ErrorRate() const;  // share of cases in which another state was believed in most
  // The chance that of two cases, one in a state and one not, the first has the greater belief in it, ties counting
  // half (area under the ROC curve); the mean over the states by how often they occur, which of two states is that of
  // either. Negative where all cases are in one state.
  double RocArea() const;
  std::vector<Bin> Calibration() const;  // [NUM_BINS] by belief

 private:
  double AreaOf(std::size_t state, double* weight) const;
  std::span<const float> Beliefs(std::size_t i) const { return {&beliefs_[i * numstates_], numstates_}; }
  template <class Value>
  double Mean(Value value) const;

  std::size_t numstates_;
  std::vector<float> beliefs_;  // [cases x states]
  std::vector<int> actual_;     // [cases]
  std::vector<double> weights_;
};
