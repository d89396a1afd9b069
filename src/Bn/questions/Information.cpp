// The beliefs of all nodes given each state of the target, one sweep for each, tell everything: what a node says of the
// target is how its belief differs from one state of the target to the other (Pearl 1988, section 6.4).
#include "Bn/questions/Information.h"

#include <cmath>

#include "Bn/compiled/Beliefs.h"
#include "Bn/model/Levels.h"
#include "Bn/questions/Asked.h"

namespace bravic {
namespace {

// What is smaller is what rounding makes of independence.
constexpr double LEAST_INFORMATION = 1e-12;
constexpr double LN_2 = 0.69314718055994530942;

// The beliefs of some nodes given each state of a target, and the target's own.
class Conditionals {
 public:
  // False with an error posted.
  bool Find(node_bn target, const nodelist_rec& others);

  const Vector<double>& OfTarget() const { return prior_; }
  // Of the other one of that number given each possible state: calls visit(share of that state, the state, belief),
  // belief [numstates] normalized.
  template <class Visit>
  void ForEach(int k, Visit visit) {
    const int numstates = starts_[k + 1] - starts_[k];
    belief_.resize(numstates);
    for (statetype s = 0; s < prior_.size(); ++s) {
      if (!(prior_[s] > 0)) continue;
      const float* from = beliefs_.get() + static_cast<std::size_t>(s) * starts_.back() + starts_[k];
      double sum = 0;
      for (int x = 0; x < numstates; ++x) sum += from[x];
      for (int x = 0; x < numstates; ++x) belief_[x] = from[x] / sum;
      visit(prior_[s], s, belief_);
    }
  }
  // The mean of these.
  const Vector<double>& MeanOf(int k) {
    mean_.assign(starts_[k + 1] - starts_[k], 0.0);
    ForEach(k, [&](double share, statetype, const Vector<double>& belief) {
      for (int x = 0; x < mean_.size(); ++x) mean_[x] += share * belief[x];
    });
    return mean_;
  }

 private:
  Vector<double> prior_;
  Vector<int> starts_;  // [others + 1] where a node's belief begins among those given one state
  Block<float> beliefs_;
  Vector<double> belief_, mean_;
};

bool Conditionals::Find(node_bn target, const nodelist_rec& others) {
  net_bn net = target->innet;
  starts_.push_back(0);
  for (const bnode* node : Entries(others)) starts_.push_back(starts_.back() + node->numstates);
  if (UpdateBeliefs(net, Account::None) != Update::Done) return false;
  prior_.resize(target->numstates);
  beliefs_ = TryMakeBlock<float>(static_cast<std::size_t>(starts_.back()) * target->numstates);
  if (!beliefs_) {
    Post(FailAnswer(engine::Status::NoMemory));
    return false;
  }
  EngineLoan engine(net);
  Vector<int> place(engine.NumNodes(), -1);
  for (int k = 0; k < others.num; ++k) place[others.ar[k]->compiledIndex] = starts_[k];
  constexpr int COLLECT_AND_DISTRIBUTE = 2;
  return engine.Ask(COLLECT_AND_DISTRIBUTE * target->numstates, [&] {
    double unused;
    engine::Status status = engine->Joint(std::span<const int>(&target->compiledIndex, 1), prior_.data(), &unused);
    for (statetype s = 0; s < target->numstates && status == engine::Status::Done; ++s) {
      if (!(prior_[s] > 0)) continue;
      engine.SetState(*target, s);
      float* const to = beliefs_.get() + static_cast<std::size_t>(s) * starts_.back();
      status = engine->AllBeliefs([&](int i) { return place[i] < 0 ? nullptr : to + place[i]; });
    }
    return status;
  });
}

double Entropy(const Vector<double>& distribution) {
  double nats = 0;
  for (double p : distribution)
    if (p > 0) nats -= p * std::log(p);
  return std::max(nats, 0.0) / LN_2;
}

// The mean of how far each belief is from the mean of all (Kullback & Leibler 1951), in a form of which no term is
// below 0.
double Information(Conditionals& conditionals, int k) {
  const Vector<double>& mean = conditionals.MeanOf(k);
  double nats = 0;
  conditionals.ForEach(k, [&](double share, statetype, const Vector<double>& belief) {
    for (int x = 0; x < belief.size(); ++x) {
      const double p = belief[x], q = mean[x];
      if (q > 0) nats += share * std::max(0.0, p > 0 ? p * std::log(p / q) - p + q : q);
    }
  });
  const double bits = nats / LN_2;
  return bits < LEAST_INFORMATION ? 0 : bits;
}

// What stands for the state on the real axis: of an interval its middle.
double LevelOf(const bnode& node, statetype state) {
  return node.discrete == DISCRETE ? node.levels[state] : 0.5 * (node.levels[state] + node.levels[state + 1]);
}

double MeanLevel(const bnode& target, const Vector<double>& distribution) {
  double mean = 0;
  for (statetype s = 0; s < distribution.size(); ++s)
    if (distribution[s] > 0) mean += distribution[s] * LevelOf(target, s);
  return mean;
}

double Variance(const bnode& target, const Vector<double>& distribution) {
  const double mean = MeanLevel(target, distribution);
  double variance = 0;
  for (statetype s = 0; s < distribution.size(); ++s)
    if (distribution[s] > 0) variance += distribution[s] * (LevelOf(target, s) - mean) * (LevelOf(target, s) - mean);
  return variance;
}

// The variance of the target's mean given the node's state, which is what the variance falls by.
double Reduction(const bnode& target, Conditionals& conditionals, int k) {
  const double mean = MeanLevel(target, conditionals.OfTarget());
  const Vector<double>& belief = conditionals.MeanOf(k);
  Vector<double> shifts(belief.size(), 0.0);  // [state] of the mean, times the state's belief
  conditionals.ForEach(k, [&](double share, statetype s, const Vector<double>& given) {
    for (int x = 0; x < shifts.size(); ++x) shifts[x] += share * (LevelOf(target, s) - mean) * (given[x] - belief[x]);
  });
  double variance = 0;
  for (int x = 0; x < shifts.size(); ++x)
    if (belief[x] > 0) variance += shifts[x] * shifts[x] / belief[x];
  return variance < LEAST_INFORMATION * Variance(target, conditionals.OfTarget()) ? 0 : variance;
}

bool CheckAsked(node_bn target, const nodelist_rec& others) {
  return AreOfNet(others, *target) && CheckCompiled(*target->innet) && CheckHaveBeliefs(std::span(&target, 1)) &&
         CheckHaveBeliefs(Entries(others));
}

// Of what has a finding that is a state nothing more is to be learned; its belief is the same in all sweeps.
template <class OfOther, class OfTarget>
bool FindAll(node_bn target, const nodelist_rec& others, double* answers, OfOther ofOther, OfTarget ofTarget) {
  Conditionals conditionals;
  if (!conditionals.Find(target, others)) return false;
  for (int k = 0; k < others.num; ++k)
    answers[k] = others.ar[k] == target ? ofTarget(conditionals.OfTarget()) : ofOther(conditionals, k);
  return true;
}

}  // namespace

bool InformationGains(node_bn target, const nodelist_rec& others, double* bits) {
  return CheckAsked(target, others) && FindAll(target, others, bits, Information, Entropy);
}

bool VarianceReductions(node_bn target, const nodelist_rec& others, double* reductions) {
  if (!CheckAsked(target, others)) return false;
  for (statetype s = 0; s < target->numstates; ++s) {
    if (target->levels && std::isfinite(LevelOf(*target, s)) && std::abs(LevelOf(*target, s)) < INF_DBL / 2) continue;
    Report(TARGET_WITHOUT_LEVELS, target->name);
    return false;
  }
  return FindAll(
      target, others, reductions,
      [&](Conditionals& conditionals, int k) { return Reduction(*target, conditionals, k); },
      [&](const Vector<double>& distribution) { return Variance(*target, distribution); });
}

}  // namespace bravic
