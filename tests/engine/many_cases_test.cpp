// Many cases at once against the joint distribution, and against each other: on every instruction set, in any order and
// on any number of threads the same bits.
#include "Bn/engine/cases/ManyCases.h"
#include "engine/model.h"
#include "support/library.h"

namespace bravic::testing {
namespace {

using engine::CaseQuestion;
using engine::CaseWay;
using engine::ManyCases;
using engine::Status;
using ManyCasesTest = LibraryTest;

constexpr CaseWay WAYS[] = {CaseWay::LANES, CaseWay::OVER_TREE, CaseWay::WITHOUT_TREE};

struct Answers {
  std::vector<float> beliefs;
  std::vector<double> logs;
  std::ptrdiff_t impossible = 0;

  bool operator==(const Answers&) const = default;
};

// A model with a question about it, and cases.
struct Survey {
  Model model;
  Vector<int> observed, targets;
  std::vector<int> states;  // [case][observed]
  std::size_t width = 0;    // states of all targets

  Survey(Model drawn, Random& random, int numCases, double known) : model(std::move(drawn)) {
    for (int i = 0; i < model.NumNodes(); ++i) {
      if (random.Chance(0.7)) observed.push_back(i);
      if (random.Chance(0.6)) targets.push_back(i);
    }
    std::reverse(targets.begin(), targets.end());
    for (int t : targets) width += std::size_t(model.numstates[t]);
    for (int number = 0; number < numCases; ++number)
      for (int v : observed) states.push_back(random.Chance(known) ? random.Below(model.numstates[v]) : -3);
  }
  std::size_t NumCases() const { return observed.empty() ? 5 : states.size() / observed.size(); }
  CaseQuestion Question() const {
    CaseQuestion question{model.numstates, model.parents, {}, observed, targets};
    question.table = [this](int i) { return model.Table(i); };
    return question;
  }
  Answers Ask(ManyCases& many, const std::vector<int>& cases, int numThreads) const {
    const auto count = std::ptrdiff_t(NumCases());
    Answers answers{std::vector<float>(width * NumCases(), -1), std::vector<double>(NumCases(), 1), 0};
    EXPECT_EQ(many.Answer({cases.data(), count, answers.beliefs.data(), answers.logs.data()}, numThreads, nullptr,
                          &answers.impossible),
              Status::Done);
    return answers;
  }
  Answers Ask(CaseWay way, int runner = 0) const {
    ManyCases many(Question(), way, engine::LaneRunnerNumber(runner));
    return Ask(many, states, 1);
  }
  void Compare(const Answers& answers, std::size_t number) const {
    Findings findings(model.numstates.size());
    for (int k = 0; k < observed.size(); ++k) {
      const int state = states[number * observed.size() + std::size_t(k)];
      if (state < 0) continue;
      findings[std::size_t(observed[k])].assign(std::size_t(model.numstates[observed[k]]), 0);
      findings[std::size_t(observed[k])][std::size_t(state)] = 1;
    }
    const Joint joint = Enumerate(model, findings);
    if (joint.total > 0)
      EXPECT_NEAR(answers.logs[number], std::log(joint.total), 2e-6);
    else
      EXPECT_EQ(answers.logs[number], -INFINITY);
    const float* got = answers.beliefs.data() + number * width;
    for (int t : targets)
      for (double weight : joint.marginals[std::size_t(t)])
        EXPECT_NEAR(*got++, joint.total > 0 ? weight / joint.total : 0, 1e-6);
  }
};

TEST_F(ManyCasesTest, AnswersAsTheJoint) {
  for (std::uint64_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const Survey survey(RandomModel(random, {1, 10, 1, 4, 3, seed % 4 ? 600.0 : 6000.0, seed % 2 ? 0.0 : 0.35}), random,
                        20, random.Share());
    const Answers answers = survey.Ask(WAYS[seed % 3]);
    std::ptrdiff_t impossible = 0;
    for (std::size_t number = 0; number < survey.NumCases(); ++number) {
      survey.Compare(answers, number);
      impossible += answers.logs[number] < -1e300;
    }
    EXPECT_EQ(answers.impossible, impossible);
    if (HasFailure()) return;
  }
}

TEST_F(ManyCasesTest, AnswersAlikeWhereverAndInWhateverOrder) {
  for (std::uint64_t seed = 1; seed <= 8; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const Survey survey(RandomModel(random, {20, 40, 2, 4, 3, 1e300, 0.1}), random, 1500, 0.4);
    const CaseWay way = WAYS[seed % 3];
    ManyCases many(survey.Question(), way);
    const Answers answers = survey.Ask(many, survey.states, 1);
    for (int runner = 0; runner < engine::NumLaneRunners(); ++runner) EXPECT_EQ(survey.Ask(way, runner), answers);
    for (int numThreads : {2, 3, 7}) EXPECT_EQ(survey.Ask(many, survey.states, numThreads), answers);
    // The cases back to front.
    const auto width = std::size_t(survey.observed.size());
    std::vector<int> reversed;
    for (std::size_t number = survey.NumCases(); number-- > 0;)
      reversed.insert(reversed.end(), survey.states.begin() + std::ptrdiff_t(number * width),
                      survey.states.begin() + std::ptrdiff_t((number + 1) * width));
    const Answers backwards = survey.Ask(many, reversed, 2);
    EXPECT_EQ(backwards.impossible, answers.impossible);
    for (std::size_t number = 0; number < survey.NumCases(); ++number) {
      const std::size_t other = survey.NumCases() - 1 - number;
      EXPECT_EQ(backwards.logs[other], answers.logs[number]);
      EXPECT_TRUE(std::equal(answers.beliefs.begin() + std::ptrdiff_t(number * survey.width),
                             answers.beliefs.begin() + std::ptrdiff_t((number + 1) * survey.width),
                             backwards.beliefs.begin() + std::ptrdiff_t(other * survey.width)));
    }
  }
}

// Against inference one by one.
void CompareWithInference(const Model& model, const CaseQuestion& question, const std::vector<int>& states) {
  const auto width = std::size_t(question.observed.size());
  const std::size_t numCases = states.size() / width;
  std::size_t numBeliefs = 0;
  for (int t : question.targets) numBeliefs += std::size_t(model.numstates[t]);
  const Compiled compiled(model);
  ASSERT_EQ(compiled.inference->AllocatePotentials(nullptr), Status::Done);
  compiled.inference->SetTables(question.table);
  for (const CaseWay way : WAYS) {
    ManyCases many(question, way);
    std::vector<float> beliefs(numCases * numBeliefs, -1);
    std::vector<double> logs(numCases);
    std::ptrdiff_t impossible;
    ASSERT_EQ(
        many.Answer({states.data(), std::ptrdiff_t(numCases), beliefs.data(), logs.data()}, 1, nullptr, &impossible),
        Status::Done);
    for (std::size_t number = 0; number < numCases; ++number) {
      for (std::size_t k = 0; k < width; ++k) {
        const int state = states[number * width + k];
        if (state < 0)
          compiled.inference->ClearFinding(question.observed[k]);
        else
          compiled.inference->SetState(question.observed[k], state);
      }
      const Status status = compiled.inference->Propagate();
      const double log = compiled.inference->LogProbability();
      if (status == Status::Done)
        EXPECT_NEAR(logs[number], log, 2e-6 + 1e-7 * std::abs(log)) << number;
      else
        EXPECT_EQ(logs[number], -INFINITY) << number;
      const float* got = beliefs.data() + number * numBeliefs;
      for (int target : question.targets) {
        std::vector<float> belief(std::size_t(model.numstates[target]), 0);
        if (status == Status::Done) EXPECT_EQ(compiled.inference->Belief(target, belief), Status::Done);
        for (float b : belief) EXPECT_NEAR(*got++, b, 1e-6) << number << " " << target;
      }
    }
  }
}

// A chain in which states follow each other with probabilities near the least that there are: what floats lose doubles
// may hold, and what these lose wide numbers do.
TEST_F(ManyCasesTest, LosesNothingOfAChain) {
  constexpr int LENGTH = 60;
  Model model;
  model.parents.resize(LENGTH);
  model.children.resize(LENGTH);
  for (int i = 0; i < LENGTH; ++i) {
    model.numstates.push_back(2);
    if (i > 0) model.parents[i].push_back(i - 1);
    if (i + 1 < LENGTH) model.children[i].push_back(i + 1);
    const auto least = float(i % 3 == 0 ? 1e-37 : 1e-12);
    model.tables.push_back({1 - least, least, least, 1 - least});
  }
  model.tables[0] = {0.5f, 0.5f};
  CaseQuestion question{model.numstates, model.parents, {}, {}, {}};
  question.table = [&](int i) { return model.Table(i); };
  for (int i = 0; i < LENGTH; i += 2) question.observed.push_back(i);
  for (int i = 1; i < LENGTH; i += 2) question.targets.push_back(i);
  Random random(1);
  std::vector<int> states;
  for (int number = 0; number < 40; ++number)
    for (int k = 0; k < question.observed.size(); ++k)
      states.push_back(number < 20 ? (k * 20 > number * 30) : random.Below(3) - 1);
  CompareWithInference(model, question, states);
}

// A hub of which half of the leaves say what no double holds, and the other half takes it back.
struct Hub {
  static constexpr int LEAVES = 30, SEEN = 26, STATES = 3;
  Model model;

  Hub() {
    model.numstates = {STATES};
    model.parents.resize(LEAVES + 1);
    model.children.resize(LEAVES + 1);
    model.tables = {{0.25f, 0.5f, 0.25f}};
    for (int i = 1; i <= LEAVES; ++i) {
      model.numstates.push_back(2);
      model.parents[i].push_back(0);
      model.children[0].push_back(i);
      const float most = 1 - float(i) / 64, least = float(i) * 1e-37f;
      model.tables.push_back(i <= SEEN / 2 ? std::vector<float>{least, 1, most, 1 - most, 2 * least, 1}
                                           : std::vector<float>{most, 1 - most, least, 1, most / 2, 1 - most / 2});
    }
    // One may leave the hub's first state alone, the other all but that.
    model.tables[SEEN - 1] = {1, 0, 0, 1, 0, 1};
    model.tables[SEEN] = {1, 0, 0.25f, 0.75f, 0.5f, 0.5f};
  }
  long double Entry(int leaf, int hub, int state) const {
    return static_cast<long double>(model.Table(leaf)[2 * hub + state]);
  }
  // The joint weights of the hub and the leaves that are seen, whatever the others are.
  std::vector<long double> Weights(const int* row) const {
    std::vector<long double> weights;
    for (int h = 0; h < STATES; ++h) {
      weights.push_back(static_cast<long double>(model.Table(0)[h]));
      for (int k = 0; k < SEEN; ++k)
        if (row[k] >= 0) weights.back() *= Entry(k + 1, h, row[k]);
    }
    return weights;
  }
  // The belief of the hub, and those of some families, each scaled to sum 1; zeros where the case cannot be.
  std::vector<double> Answer(const int* row, const Vector<int>& families) const {
    const std::vector<long double> weights = Weights(row);
    const long double total = std::accumulate(weights.begin(), weights.end(), 0.0L);
    std::vector<double> answer;
    for (int h = 0; h < STATES; ++h) answer.push_back(total > 0 ? double(weights[std::size_t(h)] / total) : 0);
    for (const int leaf : families)
      for (int k = 0; k < 2 * STATES; ++k) {
        const int known = leaf <= SEEN ? row[leaf - 1] : -1;
        const double ofState = known < 0 ? double(Entry(leaf, k / 2, k % 2)) : known == k % 2;
        answer.push_back(answer[std::size_t(k / 2)] * ofState);
      }
    return answer;
  }
};

TEST_F(ManyCasesTest, LosesNothingOfAHub) {
  constexpr int NUM_CASES = 60, FIRST_OF_FAMILIES = Hub::STATES, FAMILY = 2 * Hub::STATES;
  const Hub hub;
  CaseQuestion question{hub.model.numstates, hub.model.parents, [&](int i) { return hub.model.Table(i); }, {}, {0}, {}};
  for (int i = 1; i <= Hub::SEEN; ++i) question.observed.push_back(i);
  Random random(1);
  std::vector<int> states;
  for (int number = 0; number < NUM_CASES; ++number) {
    for (int k = 0; k < Hub::SEEN - 2; ++k)
      states.push_back(random.Chance(number % 4 * 0.04) ? random.Below(3) - 1 : 0);
    states.push_back(number % 5 == 0 ? 0 : -1);
    states.push_back(number % 3 == 0 ? 1 : -1);
  }
  for (const CaseWay way : WAYS) {
    for (const Vector<int>& families : {Vector<int>{}, Vector<int>{Hub::LEAVES, 3}}) {
      question.families = families;
      const std::size_t width = std::size_t(FIRST_OF_FAMILIES + FAMILY * families.size());
      std::vector<float> beliefs(NUM_CASES * width, -1);
      std::vector<double> logs(NUM_CASES);
      std::ptrdiff_t impossible, expected = 0;
      ASSERT_EQ(ManyCases(question, way)
                    .Answer({states.data(), NUM_CASES, beliefs.data(), logs.data()}, 2, nullptr, &impossible),
                Status::Done);
      for (std::size_t number = 0; number < NUM_CASES; ++number) {
        const int* const row = states.data() + number * Hub::SEEN;
        const std::vector<long double> weights = hub.Weights(row);
        const double log = double(std::log(std::accumulate(weights.begin(), weights.end(), 0.0L)));
        EXPECT_TRUE(std::abs(logs[number] - log) < 1e-4 || logs[number] == log) << logs[number] << " for " << log;
        expected += std::isinf(log);
        float* const got = beliefs.data() + number * width;
        for (std::size_t first = FIRST_OF_FAMILIES; first < width; first += FAMILY) {  // up to factors
          const float sum = std::accumulate(got + first, got + first + FAMILY, 0.0f);
          for (float* entry = got + first; entry < got + first + FAMILY; ++entry) *entry /= sum > 0 ? sum : 1;
        }
        const std::vector<double> answer = hub.Answer(row, families);
        for (std::size_t k = 0; k < width; ++k) EXPECT_NEAR(got[k], answer[k], 1e-5) << number << " " << k;
      }
      EXPECT_EQ(impossible, expected);
      EXPECT_GT(expected, 3);
    }
  }
}

// The same by questions one by one, in every way.
TEST_F(ManyCasesTest, SingleQuestionsLoseNothingOfAHub) {
  const Hub hub;
  std::vector<int> row(Hub::SEEN, 0);
  row[Hub::SEEN - 1] = row[Hub::SEEN - 2] = -1;
  const std::vector<double> answer = hub.Answer(row.data(), {Hub::LEAVES});
  for (const engine::Way way :
       {engine::Way::CHEAPEST, engine::Way::TREE, engine::Way::WITHOUT_TREE, engine::Way::STRAIGHT}) {
    SCOPED_TRACE(int(way));
    const Compiled compiled(hub.model);
    engine::Inference& inference = *compiled.inference;
    ASSERT_EQ(inference.AllocatePotentials(nullptr), Status::Done);
    inference.SetTables([&](int i) { return hub.model.Table(i); });
    inference.SetWay(way);
    for (int i = 1; i <= Hub::SEEN - 2; ++i) inference.SetState(i, 0);
    std::vector<float> belief(Hub::STATES);
    EXPECT_EQ(inference.Belief(0, belief), Status::Done);
    for (std::size_t h = 0; h < Hub::STATES; ++h) EXPECT_NEAR(belief[h], answer[h], 1e-5);
    const int nodes[] = {0, Hub::LEAVES};
    std::vector<double> joint(2 * Hub::STATES);
    double entries;
    EXPECT_EQ(inference.Joint(nodes, joint.data(), &entries), Status::Done);
    for (std::size_t k = 0; k < joint.size(); ++k) EXPECT_NEAR(joint[k], answer[Hub::STATES + k], 1e-5);
  }
}

// More free neighbours of one node than are joined without the tree.
TEST_F(ManyCasesTest, AnswersAboutAStarOfManyTargets) {
  constexpr int LEAVES = 80;
  Random random(1);
  Model model;
  model.parents.resize(LEAVES + 1);
  model.children.resize(LEAVES + 1);
  model.tables.resize(LEAVES + 1);
  CaseQuestion question{{}, {}, [&](int i) { return model.Table(i); }, {0, 1}, {}, {}};
  for (int i = 0; i <= LEAVES; ++i) {
    model.numstates.push_back(2);
    if (i > 0) model.parents[i].push_back(0), model.children[0].push_back(i);
    RandomTable(model, i, random, 0);
    question.targets.push_back(i);
  }
  question.numstates = model.numstates, question.parents = model.parents;
  CompareWithInference(model, question, {-1, 1, 0, -1, -1, -1, 1, 0});
}

// Nets whose tables use the whole range of floats.
TEST_F(ManyCasesTest, LosesNothingOfTablesOfAnyRange) {
  for (std::uint64_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    Survey survey(RandomModel(random, {10, 30, 2, 3, 3, 1e300, 0.1}), random, 20, 0.5);
    const double range = 37 * random.Share();
    for (std::size_t i = 0; i < survey.model.tables.size(); ++i) {
      std::vector<float>& table = survey.model.tables[i];
      const auto own = std::size_t(survey.model.numstates[int(i)]);
      for (std::size_t row = 0; row < table.size(); row += own) {
        const std::size_t large = std::size_t(random.Below(int(own)));
        for (std::size_t s = 0; s < own; ++s) table[row + s] = float(std::pow(10.0, -range * random.Share()) / 4);
        table[row + large] = 0;
        table[row + large] =
            1 - std::accumulate(table.begin() + std::ptrdiff_t(row), table.begin() + std::ptrdiff_t(row + own), 0.0f);
      }
    }
    if (survey.observed.empty()) continue;
    CompareWithInference(survey.model, survey.Question(), survey.states);
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace bravic::testing
