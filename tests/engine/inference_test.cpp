// Beliefs and probabilities against the joint distribution enumerated, through random histories of findings,
// retractions, refills and readings, so that nothing stale is ever answered.

#include "engine/model.h"
#include "support/library.h"

namespace bravic::testing {
namespace {

using engine::Inference;
using engine::Status;
using InferenceTest = LibraryTest;

class History {
 public:
  History(std::uint64_t seed, const ModelOptions& options)
      : random_(seed), model_(RandomModel(random_, options)), compiled_(model_), findings_(model_.numstates.size()) {
    EXPECT_EQ(Engine().AllocatePotentials(nullptr), Status::Done);
    Engine().SetWay(static_cast<Inference::Way>(seed % 4));
    Refill();
  }
  Inference& Engine() { return *compiled_.inference; }

  void Step() {
    const int node = random_.Below(model_.NumNodes());
    const auto i = std::size_t(node);
    const int states = model_.numstates[i];
    switch (random_.Below(10)) {
      case 0:
      case 1:
      case 2:
      case 3: {
        const int state = random_.Below(states);
        Engine().SetState(node, state);
        findings_[i].assign(std::size_t(states), 0.0);
        findings_[i][std::size_t(state)] = 1;
        break;
      }
      case 4: {
        std::vector<float> weights;
        for (int s = 0; s < states; ++s) weights.push_back(random_.Share() < 0.2 ? 0.0f : float(3 * random_.Share()));
        if (*std::max_element(weights.begin(), weights.end()) == 0) weights[0] = 2;
        Engine().SetLikelihood(node, weights);
        findings_[i].assign(weights.begin(), weights.end());
        break;
      }
      case 5:
      case 6:
      case 7:
        Engine().ClearFinding(node);
        findings_[i].clear();
        break;
      case 8:
        RandomTable(model_, node, random_, 0.3);
        Engine().TableChanged(node);
        break;
      default:
        maximize_ = random_.Below(2) == 0;
        Engine().SetMaximize(maximize_);
    }
  }

  void CheckSingles() {
    const Joint joint = Enumerate(model_, findings_);
    CheckSingly(4, maximize_ ? joint.maxMarginals : joint.marginals,
                joint.total > 0 ? Status::Done : Status::Inconsistent);
  }

  void Check() {
    const Joint joint = Enumerate(model_, findings_);
    const double total = maximize_ ? joint.largest : joint.total;
    const auto& marginals = maximize_ ? joint.maxMarginals : joint.marginals;
    // What would be possible leaves what is known as it is.
    if (random_.Chance(0.3)) {
      const int node = random_.Below(model_.NumNodes()), state = random_.Below(model_.numstates[node]);
      Findings changed = findings_;
      changed[std::size_t(node)].assign(std::size_t(model_.numstates[node]), 0);
      changed[std::size_t(node)][std::size_t(state)] = 1;
      EXPECT_EQ(Engine().CheckState(node, state),
                Enumerate(model_, changed).total > 0 ? Status::Done : Status::Inconsistent);
    }
    // Single answers come before anything else has been asked for, or after.
    const Status expected = total > 0 ? Status::Done : Status::Inconsistent;
    CheckSingly(random_.Below(3), marginals, expected);
    const int next = random_.Below(3);
    if (next == 0) return;
    if (next == 1) CompareAll(marginals, expected);
    ASSERT_EQ(Engine().Propagate(), expected);
    if (total == 0) return;
    EXPECT_NEAR(Engine().Probability(), total, 1e-5 * total);
    EXPECT_NEAR(Engine().LogProbability(), std::log(total), 1e-5);
    if (random_.Chance(0.5)) CompareAll(marginals, expected);
  }

  // The joint distribution of some nodes, and what each entry of the tables is multiplied by, after any other question.
  void CheckSums() {
    if (maximize_) Engine().SetMaximize(maximize_ = false);
    const Joint joint = Enumerate(model_, findings_);
    if (random_.Below(2) == 0) CompareAll(joint.marginals, joint.total > 0 ? Status::Done : Status::Inconsistent);
    std::vector<int> some;
    for (int i = 0; i < model_.NumNodes(); ++i)
      if (random_.Below(3) == 0) some.insert(some.begin() + random_.Below(int(some.size()) + 1), i);
    std::vector<double> expected = EnumerateOnto(some, SizesOf(model_), FactorsOf(model_, findings_), false);
    std::vector<double> probs(expected.size(), -1);
    double entries;
    ASSERT_EQ(Engine().Joint(some, probs.data(), &entries), joint.total > 0 ? Status::Done : Status::Inconsistent);
    for (std::size_t i = 0; i < probs.size() && joint.total > 0; ++i)
      ASSERT_NEAR(probs[i], expected[i] / joint.total, 3e-6);
    Engine().BeginWeights();
    for (int node = 0, place = 0; node < model_.NumNodes(); ++node) {
      std::vector<Factor> factors = FactorsOf(model_, findings_);
      for (double& entry : factors[std::size_t(place)].entries) entry = 1;
      place += findings_[std::size_t(node)].empty() ? 1 : 2;
      expected = EnumerateOnto(model_.Family(node), SizesOf(model_), factors, false);
      std::vector<double> weights(expected.size(), -1);
      long long exponent = 0;
      ASSERT_EQ(Engine().WeightsOfTable(node, weights, &exponent), Status::Done);
      const double largest = *std::max_element(expected.begin(), expected.end());
      for (std::size_t i = 0; i < weights.size(); ++i)
        ASSERT_NEAR(std::ldexp(weights[i], int(exponent)), expected[i], 1e-5 * largest) << node << " " << i;
    }
  }

 private:
  void Refill() {
    Engine().SetTables([&](int k) { return model_.Table(k); });
  }
  void CheckSingly(int count, const std::vector<std::vector<double>>& marginals, Status expected) {
    for (; count > 0; --count) {
      const auto node = std::size_t(random_.Below(model_.NumNodes()));
      if (random_.Below(4) == 0) EXPECT_EQ(Engine().Check(), expected);
      std::vector<float> belief(marginals[node].size(), -1.0f);
      ASSERT_EQ(Engine().Belief(int(node), belief), expected);
      if (expected == Status::Done) Compare(belief, marginals[node]);
    }
  }
  void CompareAll(const std::vector<std::vector<double>>& marginals, Status expected) {
    std::vector<std::vector<float>> beliefs;
    for (const auto& m : marginals) beliefs.emplace_back(m.size(), -1.0f);
    ASSERT_EQ(Engine().AllBeliefs([&](int i) { return beliefs[std::size_t(i)].data(); }), expected);
    for (std::size_t i = 0; i < beliefs.size() && expected == Status::Done; ++i) Compare(beliefs[i], marginals[i]);
  }
  void Compare(const std::vector<float>& got, const std::vector<double>& weights) {
    double whole = 0;
    for (double w : weights) whole = maximize_ ? std::max(whole, w) : whole + w;
    ASSERT_GT(whole, 0);
    for (std::size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], weights[i] / whole, 3e-6);
  }

  Random random_;
  Model model_;
  Compiled compiled_;
  Findings findings_;
  bool maximize_ = false;
};

TEST_F(InferenceTest, AnswersAsTheJointAfterAnyHistory) {
  for (std::uint64_t seed = 1; seed <= 120; ++seed) {
    SCOPED_TRACE(seed);
    History history(seed, {1, 12, 1, 4, 3, seed % 5 ? 600.0 : 6000.0, seed % 2 ? 0.0 : 0.35});
    for (int step = 0; step < 25; ++step) {
      history.Check();
      for (int changes = 0; changes < step % 4; ++changes) history.Step();
      if (::testing::Test::HasFailure()) return;
    }
  }
}

// What is kept from one question to the next must not outlive a change.
TEST_F(InferenceTest, ManySingleQuestionsAnswerAsTheJoint) {
  for (std::uint64_t seed = 2; seed <= 90; seed += 3) {
    SCOPED_TRACE(seed);
    History history(seed, {4, 9, 2, 3, 2, 2000, seed % 2 ? 0.0 : 0.1});
    for (int step = 0; step < 40 && !::testing::Test::HasFailure(); ++step) {
      history.Step();
      history.CheckSingles();
    }
  }
}

// A hub of many parents, whose tree is far larger than what is left when most are known: sets of known nodes that come
// once, that come again in turn, and that come back after long, with tables changed between.
TEST_F(InferenceTest, ModelsWithoutTheKnownNodesComeAndGo) {
  constexpr int PARENTS = 12, HUB = PARENTS, SETS = 24;
  Model model;
  model.numstates.assign(PARENTS + 1, 2);
  model.parents.resize(PARENTS + 1);
  model.children.assign(PARENTS + 1, {HUB});
  model.children[HUB].clear();
  model.tables.resize(PARENTS + 1);
  for (int i = 0; i < PARENTS; ++i) model.parents[HUB].push_back(i);
  Random random(5);
  for (int i = 0; i <= PARENTS; ++i) RandomTable(model, i, random, 0);
  const Compiled compiled(model), other(model);
  Inference* const engines[] = {compiled.inference.get(), other.inference.get()};
  engines[0]->SetWay(Inference::Way::WITHOUT_TREE);
  engines[1]->SetWay(Inference::Way::TREE);
  for (Inference* engine : engines) {
    ASSERT_EQ(engine->AllocatePotentials(nullptr), Status::Done);
    engine->SetTables([&](int i) { return model.Table(i); });
  }
  std::vector<unsigned> sets;
  for (int k = 0; k < SETS; ++k)
    sets.push_back(0xfffu & ~(1u << random.Below(PARENTS)) & ~(1u << random.Below(PARENTS)));
  auto check = [&](unsigned known) {
    std::vector<std::vector<float>> beliefs[2];
    const unsigned states = unsigned(random.Below(1 << PARENTS));
    for (int e = 0; e < 2; ++e) {
      for (int i = 0; i < PARENTS; ++i)
        if (known >> i & 1)
          engines[e]->SetState(i, int(states >> i & 1));
        else
          engines[e]->ClearFinding(i);
      beliefs[e].assign(PARENTS + 1, std::vector<float>(2));
      EXPECT_EQ(engines[e]->AllBeliefs([&](int i) { return beliefs[e][std::size_t(i)].data(); }), Status::Done);
    }
    for (std::size_t i = 0; i <= PARENTS; ++i) EXPECT_NEAR(beliefs[0][i][0], beliefs[1][i][0], 1e-6);
  };
  for (int round = 0; round < 4; ++round) {
    for (unsigned known : sets) check(known);
    for (int k = 0; k < 5 * SETS; ++k) check(sets[std::size_t(k % (1 + 4 * round))]);
    const int changed = round % 2 ? HUB : random.Below(PARENTS);
    RandomTable(model, changed, random, 0);
    for (Inference* engine : engines) engine->TableChanged(changed);
  }
}

TEST_F(InferenceTest, SumsAreThoseOfTheJointAfterAnyHistory) {
  for (std::uint64_t seed = 1; seed <= 160; ++seed) {
    SCOPED_TRACE(seed);
    History history(seed, {2, 10, 1, 4, 3, 600, seed % 3 ? 0.35 : 0.0});
    for (int step = 0; step < 8 && !::testing::Test::HasFatalFailure(); ++step) {
      history.CheckSums();
      history.Check();
      for (int changes = 0; changes < step % 4; ++changes) history.Step();
    }
  }
}

TEST_F(InferenceTest, SeparateComponentsMultiply) {
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    History history(seed, {6, 10, 2, 3, 1, 2000, 0.1});
    for (int step = 0; step < 10; ++step) {
      history.Check();
      history.Step();
    }
  }
}

Model ChainModel(int length, const std::vector<float>& prior, const std::vector<float>& step) {
  Model model;
  for (int i = 0; i < length; ++i) {
    model.numstates.push_back(int(prior.size()));
    model.parents.push_back(i ? Vector<int>{i - 1} : Vector<int>{});
    model.children.push_back(i + 1 < length ? Vector<int>{i + 1} : Vector<int>{});
    model.tables.push_back(i ? step : prior);
  }
  return model;
}

TEST_F(InferenceTest, StampMovesWithEveryChangeAndOnlyThen) {
  const Model model = ChainModel(3, {0.5f, 0.5f}, {0.75f, 0.25f, 0.25f, 0.75f});
  const Compiled compiled(model);
  Inference& inference = *compiled.inference;
  ASSERT_EQ(inference.AllocatePotentials(nullptr), Status::Done);
  inference.SetTables([&](int i) { return model.Table(i); });
  inference.SetState(1, 1);
  const auto stamp = inference.Stamp();
  inference.SetState(1, 1);
  inference.ClearFinding(2);
  EXPECT_EQ(inference.Propagate(), Status::Done);
  EXPECT_EQ(inference.Stamp(), stamp);
  inference.SetState(1, 0);
  EXPECT_NE(inference.Stamp(), stamp);
}

int requestsGranted = 0;
bool GrantSome(std::size_t nbytes) {
  return nbytes < 1000 || requestsGranted-- > 0;
}

TEST_F(InferenceTest, FailsCleanlyAtAnyRequestForATable) {
  // Every table is larger than what the gate lets pass without counting.
  const std::vector<float> prior(400, 1.0f / 400), step(160000, 1.0f / 400);
  const Model model = ChainModel(4, prior, step);
  const Compiled compiled(model);
  Inference& inference = *compiled.inference;
  const std::size_t used = MemoryUsed();
  Status status = Status::NoMemory;
  int granted = 0;
  for (; status == Status::NoMemory && granted < 20; ++granted) {
    requestsGranted = granted;
    SetHeapGate(GrantSome);
    int failed = -1;
    status = inference.AllocatePotentials(&failed);
    SetHeapGate(nullptr);
    EXPECT_EQ(failed >= 0, status == Status::NoMemory);
    if (status != Status::NoMemory) break;
    EXPECT_EQ(MemoryUsed(), used);
    EXPECT_EQ(inference.Propagate(), Status::NoMemory);
  }
  EXPECT_EQ(granted, CUTS_SMALL_BLOCKS ? 3 : 12) << "three cliques and two kinds of numbers in four messages, together "
                                                    "if blocks are cut, and the tables of one clique";
  ASSERT_EQ(status, Status::Done);
  // Where the cliques' tables are not to be had together, each is had by itself.
  inference.DropPotentials();
  SetHeapGate([](std::size_t nbytes) { return nbytes < 2 * 160000 * sizeof(float); });
  EXPECT_EQ(inference.AllocatePotentials(nullptr), Status::Done);
  SetHeapGate(nullptr);
  inference.SetTables([&](int i) { return model.Table(i); });
  EXPECT_EQ(inference.Propagate(), Status::Done);
  EXPECT_NEAR(inference.Probability(), 1, 1e-6);
}

TEST_F(InferenceTest, ReadsSeparatorsOfAnySize) {
  // Two cliques that share two nodes of 1030 states.
  Model model;
  model.numstates = {1030, 1030, 2, 2};
  model.parents = {{}, {}, {0, 1}, {0, 1}};
  model.children = {{2, 3}, {2, 3}, {}, {}};
  Random random(3);
  model.tables.resize(4);
  for (int i = 0; i < 4; ++i) RandomTable(model, i, random, 0);
  const Compiled compiled(model);
  Inference& inference = *compiled.inference;
  ASSERT_EQ(inference.AllocatePotentials(nullptr), Status::Done);
  inference.SetTables([&](int i) { return model.Table(i); });
  for (int round : {1, 3}) {
    Findings findings(4);
    inference.ClearFinding(0);
    inference.SetState(2, round % 2);
    findings[2] = {round % 2 == 0 ? 1.0 : 0.0, round % 2 == 0 ? 0.0 : 1.0};
    if (round == 3) {
      inference.SetState(0, 7);
      findings[0].assign(1030, 0.0);
      findings[0][7] = 1;
    }
    const Joint joint = Enumerate(model, findings);
    std::vector<std::vector<float>> beliefs;
    for (int states : model.numstates) beliefs.emplace_back(std::size_t(states));
    ASSERT_EQ(inference.Propagate(), Status::Done);
    EXPECT_NEAR(inference.Probability(), joint.total, 1e-6 * joint.total);
    ASSERT_EQ(inference.AllBeliefs([&](int i) { return beliefs[std::size_t(i)].data(); }), Status::Done);
    for (std::size_t i = 0; i < 4; ++i)
      for (std::size_t k = 0; k < beliefs[i].size(); ++k)
        ASSERT_NEAR(beliefs[i][k], joint.marginals[i][k] / joint.total, 1e-6);
  }
}

}  // namespace
}  // namespace bravic::testing
