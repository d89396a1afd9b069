// Findings as improbable as they come, against exact arithmetic: hubs, chains, trees and thickets whose tables and
// likelihoods use the whole range of floats, answered in every way there is. BRAVIC_SEED and BRAVIC_NETS run more of
// them: the first seed and how many.

#include "engine/model.h"
#include "support/library.h"

namespace bravic::testing {
namespace {

using engine::Inference;
using engine::Status;
using engine::WideNumber;

// A long double with an exponent of its own.
struct Number {
  long double mantissa = 0;
  long long exponent = 0;

  Number() = default;
  Number(long double value, long long scale = 0) {
    if (!(value > 0)) return;
    int shift;
    mantissa = std::frexp(value, &shift);
    exponent = scale + shift;
  }
  Number operator*(Number b) const { return {mantissa * b.mantissa, exponent + b.exponent}; }
  Number operator/(Number b) const { return {mantissa / b.mantissa, exponent - b.exponent}; }
  bool operator<(Number b) const {
    if (mantissa == 0 || b.mantissa == 0) return b.mantissa > 0;
    return exponent != b.exponent ? exponent < b.exponent : mantissa < b.mantissa;
  }
  Number operator+(Number b) const {
    const Number &large = *this < b ? b : *this, &small = *this < b ? *this : b;
    if (small.mantissa == 0 || large.exponent - small.exponent > 200) return large;
    return {large.mantissa + std::ldexp(small.mantissa, int(small.exponent - large.exponent)), large.exponent};
  }
  double Log() const { return double(std::log(mantissa) + exponent * std::log(2.0L)); }
  double Share() const { return exponent < -2000 ? 0 : double(std::ldexp(mantissa, int(exponent))); }
};

struct Factor {
  std::vector<int> variables;  // last fastest
  std::vector<Number> entries;
};

// The problem: a model, findings as weights, and an order in which its nodes can be summed out.
struct Problem {
  Model model;
  std::vector<std::vector<Number>> weights;  // [node], empty: none
  std::vector<int> order;
  bool maximize = false;
};

std::size_t Index(int i) {
  return std::size_t(i);
}

// The product of factors summed onto one node, or onto none (-1).
std::vector<Number> Exact(const Problem& problem, int kept) {
  const Model& model = problem.model;
  std::vector<Factor> factors;
  std::vector<std::vector<int>> of(model.numstates.size());
  auto add = [&](Factor factor) {
    for (int v : factor.variables) of[Index(v)].push_back(int(factors.size()));
    factors.push_back(std::move(factor));
  };
  for (int i = 0; i < model.NumNodes(); ++i) {
    Factor factor{{model.parents[Index(i)].begin(), model.parents[Index(i)].end()}, {}};
    factor.variables.push_back(i);
    const std::vector<float>& table = model.tables[Index(i)];
    const std::size_t own = Index(model.numstates[Index(i)]);
    for (std::size_t row = 0; row < table.size(); row += own) {
      long double sum = 0;
      for (std::size_t s = row; s < row + own; ++s) sum += static_cast<long double>(table[s]);
      if (!(std::abs(sum - 1) < 1e-5L)) sum = 1;
      for (std::size_t s = row; s < row + own; ++s) factor.entries.push_back(static_cast<long double>(table[s]) / sum);
    }
    add(std::move(factor));
    if (!problem.weights[Index(i)].empty()) add({{i}, problem.weights[Index(i)]});
  }
  std::vector<unsigned char> used;
  Number scalar = 1;
  auto eliminate = [&](int node, bool sums) {
    Factor product{{node}, {}};
    std::vector<int> inputs;
    used.resize(factors.size(), 0);
    for (int f : of[Index(node)]) {
      if (used[Index(f)]) continue;
      used[Index(f)] = 1;
      inputs.push_back(f);
      for (int v : factors[Index(f)].variables)
        if (std::find(product.variables.begin(), product.variables.end(), v) == product.variables.end())
          product.variables.push_back(v);
    }
    std::size_t size = 1;
    for (int v : product.variables) size *= Index(model.numstates[Index(v)]);
    product.entries.assign(size, 1);
    std::vector<int> at(product.variables.size(), 0);
    for (int f : inputs) {
      const Factor& factor = factors[Index(f)];
      std::vector<std::size_t> strides(product.variables.size(), 0);
      std::size_t stride = 1;
      for (std::size_t k = factor.variables.size(); k-- > 0;) {
        const auto place = std::find(product.variables.begin(), product.variables.end(), factor.variables[k]);
        strides[std::size_t(place - product.variables.begin())] = stride;
        stride *= Index(model.numstates[Index(factor.variables[k])]);
      }
      for (Number& entry : product.entries) {
        std::size_t from = 0;
        for (std::size_t k = 0; k < at.size(); ++k) from += Index(at[k]) * strides[k];
        entry = entry * factor.entries[from];
        for (std::size_t k = at.size(); k-- > 0 && ++at[k] == model.numstates[Index(product.variables[k])];) at[k] = 0;
      }
    }
    if (!sums) return product.entries;
    // The node is the slowest.
    const std::size_t states = Index(model.numstates[Index(node)]), rest = size / states;
    std::vector<Number> sum(rest);
    for (std::size_t i = 0; i < size; ++i) {
      Number& to = sum[i % rest];
      to = !problem.maximize ? to + product.entries[i] : to < product.entries[i] ? product.entries[i] : to;
    }
    product.variables.erase(product.variables.begin());
    if (product.variables.empty())
      scalar = scalar * sum[0];
    else
      add({product.variables, sum});
    return sum;
  };
  for (int node : problem.order)
    if (node != kept) eliminate(node, true);
  if (kept < 0) return {scalar};
  std::vector<Number> belief = eliminate(kept, false);
  for (Number& b : belief) b = b * scalar;
  return belief;
}

class Generator {
 public:
  explicit Generator(std::uint64_t seed) : random_(seed) {
    style_ = random_.Below(5);
    alike_ = random_.Chance(0.4);
    known_ = 0.3 + 0.7 * random_.Share();
    rare_ = random_.Share();
    problem_.maximize = random_.Chance(0.15);
    switch (random_.Below(5)) {
      case 0:
        Hub(Size());
        break;
      case 1:
        Chain(Size());
        break;
      case 2:
        Thicket(2, 4, 2);
        break;
      case 3:
        Thicket(3, 6, 4);
        break;
      default:
        Tree(Size());
    }
    if (problem_.order.empty())
      for (int i = problem_.model.NumNodes(); i-- > 0;) problem_.order.push_back(i);
    EnterFindings();
  }
  Problem& Get() { return problem_; }
  Random& Source() { return random_; }

 private:
  int Size() {
    if (random_.Chance(0.004)) return random_.Between(2000, 10000);
    return random_.Chance(0.1) ? random_.Between(50, 400) : random_.Between(2, 30);
  }

  double Entry() {
    switch (style_) {
      case 0:
        return 0.02 + random_.Share();
      case 1:
        return std::pow(10.0, -7 * random_.Share());
      case 2:
        return std::pow(10.0, -37 * random_.Share());
      case 3:
        return random_.Chance(0.3) ? 0 : random_.Chance(0.5) ? 1 : 1e-30;
      default:
        return random_.Chance(0.5) ? 0.5 + 0.01 * random_.Share() : 2e-8 * (1 + random_.Share());
    }
  }

  int Add(const Vector<int>& parents, int states) {
    Model& model = problem_.model;
    const int node = model.NumNodes();
    model.numstates.push_back(states);
    model.parents.push_back(parents);
    model.children.emplace_back();
    for (int p : parents) model.children[Index(p)].push_back(node);
    model.tables.emplace_back();
    std::vector<float>& table = model.tables.back();
    const std::size_t size = model.RowCount(node) * Index(states);
    if (alike_ && model.tables.size() > 2 && model.tables[model.tables.size() - 2].size() == size &&
        model.parents[Index(node - 1)].size() == parents.size() && random_.Chance(0.99)) {
      table = model.tables[model.tables.size() - 2];
      return node;
    }
    while (table.size() < size) {
      std::vector<double> row;
      double sum = 0;
      for (int s = 0; s < states; ++s) row.push_back(Entry()), sum += row.back();
      if (sum == 0) sum = row[Index(random_.Below(states))] = 1;
      if (random_.Chance(0.02)) sum *= 0.999999 + 2e-6 * random_.Share();  // as near as a table has to be
      for (double x : row) table.push_back(float(x / sum));
    }
    return node;
  }

  void Hub(int size) {
    const int states = random_.Between(2, 3), hub = Add({}, states), own = random_.Between(2, 3);
    // Children of two kinds, so that what one kind says the other may take back.
    for (int i = 0; i < size; ++i) {
      if (alike_ && i == size / 2) {
        alike_ = false;
        Add({hub}, own);
        alike_ = true;
      } else {
        Add({hub}, own);
      }
    }
  }
  void Chain(int size) {
    const int states = random_.Between(2, 4), seen = random_.Between(2, 3);
    const bool isHidden = random_.Chance(0.5);
    int last = Add({}, states);
    for (int i = 1; i < size; ++i) {
      const int next = Add({last}, states);
      if (isHidden) Add({next}, seen);
      last = next;
    }
    // From one end to the other.
    for (int i = 0; i < problem_.model.NumNodes(); ++i) problem_.order.push_back(i);
    if (!isHidden) return;
    problem_.order.clear();
    for (int i = problem_.model.NumNodes(); i-- > 0;) problem_.order.push_back(i);
  }
  void Tree(int size) {
    const bool isWide = random_.Chance(0.5);
    Add({}, random_.Between(2, 3));
    for (int i = 1; i < size; ++i)
      Add({isWide ? random_.Below(i) : std::max(0, i - 1 - random_.Below(3))}, random_.Between(2, 3));
  }
  void Thicket(int leastStates, int mostNodes, int moreStates) {
    const int n = random_.Between(2, mostNodes + 3);
    double entries = 1;
    for (int i = 0; i < n; ++i) {
      Vector<int> parents;
      for (int p = i; p-- > 0 && parents.size() < 3;)
        if (random_.Chance(0.5)) parents.push_back(p);
      int states = leastStates + random_.Below(moreStates);
      if (entries * states > 40000) states = 1;
      entries *= states;
      Add(parents, states);
    }
  }

  void EnterFindings() {
    const Model& model = problem_.model;
    problem_.weights.resize(model.numstates.size());
    const double likely = random_.Chance(0.5) ? 0 : 0.4;
    const int form = random_.Below(3);
    std::vector<int> drawn;
    for (int i = 0; i < model.NumNodes(); ++i) {
      const int states = model.numstates[Index(i)];
      std::size_t row = 0;
      for (int p : model.parents[Index(i)]) row = row * Index(model.numstates[Index(p)]) + Index(drawn[Index(p)]);
      // A possible configuration: mostly as the tables have it or, where findings are to be rare, the least probable.
      const float* probs = model.Table(i) + row * Index(states);
      int state = 0;
      const bool least = random_.Chance(rare_);
      double whole = 0;
      for (int s = 0; s < states; ++s) {
        if (probs[s] == 0) continue;
        whole += double(probs[s]);
        if (probs[state] == 0 || (least ? probs[s] < probs[state] : random_.Share() * whole < double(probs[s])))
          state = s;
      }
      drawn.push_back(state);
      if (!random_.Chance(known_)) continue;
      std::vector<Number>& weights = problem_.weights[Index(i)];
      weights.assign(Index(states), Number());
      if (random_.Chance(likely)) {
        for (Number& weight : weights) {
          if (random_.Chance(0.1)) continue;
          const double power = form == 0   ? random_.Share()
                               : form == 1 ? 126 * (2 * random_.Share() - 1)
                                           : 2000 * random_.Share();
          weight = Number(float(std::exp2(power - std::floor(power))), static_cast<long long>(std::floor(power)));
        }
      }
      if (random_.Chance(0.01)) state = random_.Below(states);  // perhaps impossible
      if (weights[Index(state)].mantissa == 0) weights[Index(state)] = 1;
    }
  }

  Random random_;
  Problem problem_;
  int style_ = 0;
  bool alike_ = false;
  double known_ = 1, rare_ = 0;
};

class Checker {
 public:
  explicit Checker(std::uint64_t seed) : generator_(seed), compiled_(generator_.Get().model, seed % 4 != 0) {
    Inference& engine = *compiled_.inference;
    EXPECT_EQ(engine.AllocatePotentials(nullptr), Status::Done);
    engine.SetTables([this](int i) { return Get().model.Table(i); });
    engine.SetMaximize(Get().maximize);
    // A few probes, and the whole.
    for (int k = 0; k < 3; ++k) probes_.push_back(generator_.Source().Below(Get().model.NumNodes()));
    for (int probe : probes_) exact_.push_back(Exact(Get(), probe));
    whole_ = Exact(Get(), -1)[0];
  }

  void Run() {
    for (Inference::Way way :
         {Inference::Way::CHEAPEST, Inference::Way::TREE, Inference::Way::WITHOUT_TREE, Inference::Way::STRAIGHT}) {
      SCOPED_TRACE(int(way));
      Inference& engine = *compiled_.inference;
      engine.SetWay(way);
      EnterAgain();
      const bool allFirst = generator_.Source().Chance(0.5);
      if (allFirst) CheckAll();
      for (std::size_t k = 0; k < probes_.size(); ++k) {
        std::vector<float> belief(exact_[k].size());
        EXPECT_EQ(engine.Belief(probes_[k], belief), Expected());
        Compare(k, belief);
      }
      if (!allFirst) CheckAll();
      EXPECT_EQ(engine.Check(), Expected());
      EXPECT_EQ(engine.Propagate(), Expected());
      if (Expected() == Status::Done) EXPECT_NEAR(engine.LogProbability(), whole_.Log(), 1e-5);
      if (::testing::Test::HasFailure()) return;
    }
  }

 private:
  Problem& Get() { return generator_.Get(); }
  Status Expected() const { return whole_.mantissa > 0 ? Status::Done : Status::Inconsistent; }

  void EnterAgain() {
    Inference& engine = *compiled_.inference;
    for (int i = 0; i < Get().model.NumNodes(); ++i) {
      engine.ClearFinding(i);
      const std::vector<Number>& weights = Get().weights[Index(i)];
      if (weights.empty()) continue;
      const auto isPositive = [](const Number& w) { return w.mantissa > 0; };
      const auto first = std::find_if(weights.begin(), weights.end(), isPositive);
      std::vector<WideNumber> wide;
      for (const Number& w : weights) wide.push_back(engine::ToWide(double(w.mantissa), w.exponent));
      if (std::count_if(weights.begin(), weights.end(), isPositive) == 1 && first->Log() == 0)
        engine.SetState(i, int(first - weights.begin()));
      else
        engine.SetLikelihood(i, wide);
    }
  }

  void CheckAll() {
    std::vector<std::vector<float>> beliefs;
    for (int states : Get().model.numstates) beliefs.emplace_back(Index(states));
    EXPECT_EQ(compiled_.inference->AllBeliefs([&](int i) { return beliefs[Index(i)].data(); }), Expected());
    for (std::size_t k = 0; k < probes_.size(); ++k) Compare(k, beliefs[Index(probes_[k])]);
  }

  void Compare(std::size_t probe, const std::vector<float>& belief) {
    if (Expected() != Status::Done) return;
    for (std::size_t s = 0; s < belief.size(); ++s) {
      const double share = (exact_[probe][s] / whole_).Share();
      EXPECT_NEAR(belief[s], share, 1e-5) << "node " << probes_[probe];
      if (share > 1e-30) EXPECT_GT(belief[s], 0) << "node " << probes_[probe] << ", truth " << share;
      if (share == 0) EXPECT_EQ(belief[s], 0) << "node " << probes_[probe];
    }
  }

  Generator generator_;
  Compiled compiled_;
  std::vector<int> probes_;
  std::vector<std::vector<Number>> exact_;
  Number whole_;
};

using Numerics = LibraryTest;

TEST_F(Numerics, AgreeWithExactArithmetic) {
  const char *chosen = std::getenv("BRAVIC_SEED"), *count = std::getenv("BRAVIC_NETS");
  const std::uint64_t first = chosen ? std::strtoull(chosen, nullptr, 0) : 1;
  const std::uint64_t nets = count ? std::strtoull(count, nullptr, 0) : chosen ? 1 : 400;
  for (std::uint64_t seed = first; seed < first + nets && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Checker(seed).Run();
  }
}

}  // namespace
}  // namespace bravic::testing
