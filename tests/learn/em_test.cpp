// Counts of cases and EM against slow and simple ones: cases counted one by one, the joint distribution enumerated.
#include <cmath>
#include <tuple>

#include "Basic/Memory.h"
#include "Bn/engine/cases/ExpectedCounts.h"
#include "Win_Face/Interaction.h"
#include "engine/model.h"
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

// A net, and cases of some of its nodes.
struct Data {
  std::vector<node_bn> columns, nodes;  // nodes: those to be learned
  std::vector<statetype> states;
  std::vector<double> weights;
  long Num() const { return long(weights.size()); }
};

Data RandomData(const Net& net, Random& random, long numCases, double missing, bool wholeWeights = false) {
  Data data;
  for (node_bn node : Nodes(net)) {
    if (random.Chance(0.85)) data.columns.insert(data.columns.begin(), node);
    if (random.Chance(0.85)) data.nodes.insert(data.nodes.begin(), node);
  }
  if (data.nodes.empty()) data.nodes = {Nodes(net)[0]};
  for (long number = 0; number < numCases; ++number) {
    for (node_bn node : data.columns)
      data.states.push_back(random.Chance(missing) ? int{UNDEF_STATE} : random.Below(NumStates(node)));
    data.weights.push_back(wholeWeights ? random.Below(4) : random.Chance(0.2) ? 0 : 3 * random.Share());
  }
  return data;
}

// Tables of doubles over families, and EM by enumeration.
class SlowEm {
 public:
  SlowEm(const Net& net, const Data& data) : data_(data), all_(Nodes(net)), sizes_(SizesOf(net.get())) {
    tables_ = FactorsOf(net.get(), {});
    tables_.resize(all_.size());
    for (node_bn column : data.columns) columns_.push_back(PlaceOf(column));
    for (node_bn node : data.nodes) learned_.push_back(PlaceOf(node));
  }
  int PlaceOf(node_bn node) const { return int(std::find(all_.begin(), all_.end(), node) - all_.begin()); }
  const std::vector<double>& TableOfNode(node_bn node) const { return tables_[std::size_t(PlaceOf(node))].entries; }
  // What is expected of the tables to be learned, and the log likelihood; answers the number of impossible cases.
  int Expect(std::vector<std::vector<double>>* counts, double* logLikelihood) const {
    int impossible = 0;
    *logLikelihood = 0;
    counts->clear();
    for (int node : learned_) counts->emplace_back(tables_[std::size_t(node)].entries.size(), 0.0);
    for (long number = 0; number < data_.Num(); ++number) {
      std::vector<Factor> factors = tables_;
      for (std::size_t k = 0; k < columns_.size(); ++k) {
        const int state = data_.states[std::size_t(number) * columns_.size() + k];
        if (state < 0) continue;
        std::vector<double> known(std::size_t(sizes_[std::size_t(columns_[k])]), 0.0);
        known[std::size_t(state)] = 1;
        factors.push_back(TableOf({columns_[k]}, sizes_, known));
      }
      const double total = Enumerate(sizes_, factors).total;
      const double weight = data_.weights[std::size_t(number)];
      impossible += !(total > 0);
      if (!(total > 0)) continue;
      *logLikelihood += weight * std::log(total);
      for (std::size_t i = 0; i < learned_.size(); ++i) {
        const std::vector<double> joint = EnumerateOnto(tables_[std::size_t(learned_[i])].variables, sizes_, factors);
        for (std::size_t e = 0; e < joint.size(); ++e) (*counts)[i][e] += weight * joint[e] / total;
      }
    }
    return impossible;
  }
  void Iterate(double prior) {
    std::vector<std::vector<double>> counts;
    double ignored;
    Expect(&counts, &ignored);
    for (std::size_t i = 0; i < learned_.size(); ++i) {
      std::vector<double>& table = tables_[std::size_t(learned_[i])].entries;
      const auto own = std::size_t(sizes_[std::size_t(learned_[i])]);
      for (std::size_t row = 0; row < table.size(); row += own) {
        double sum = prior;
        for (std::size_t k = 0; k < own; ++k) sum += counts[i][row + k];
        for (std::size_t k = 0; k < own && sum > 0; ++k)
          table[row + k] = (counts[i][row + k] + prior / double(own)) / sum;
      }
    }
  }

 private:
  const Data& data_;
  const std::vector<node_bn> all_;
  const std::vector<int> sizes_;
  std::vector<Factor> tables_;
  std::vector<int> columns_, learned_;
};

struct CountsFree {
  void operator()(counts_rec* counts) const { FreeCounts_bn(counts); }
};
using Counts = std::unique_ptr<counts_rec, CountsFree>;
struct ListFree {
  void operator()(nodelist_rec* list) const { FreeNodeList_bn(list); }
};
using NodeList = std::unique_ptr<nodelist_rec, ListFree>;

class EmTest : public NetTest {
 protected:
  void TearDown() override {
    SetWaitClock(nullptr);
    SetProgressCallback_ns(nullptr, nullptr, env);
    SetHeapGate(nullptr);
    NetTest::TearDown();
  }
  Counts NewFor(const Data& data) { return Counts(NewCounts_bn(NodeList(List(data.nodes)).get())); }
  std::vector<double> Values(const Counts& counts) {
    std::vector<double> values(std::size_t(CountsSize_bn(counts.get())), -1);
    GetCounts_bn(counts.get(), values.data());
    return values;
  }
  long Count(const Counts& counts, const Data& data, long first, long num, bool weighted = true) {
    return CountCases_bn(counts.get(), NodeList(List(data.columns)).get(),
                         data.states.data() + std::size_t(first) * data.columns.size(),
                         weighted ? data.weights.data() + first : nullptr, num);
  }
  long Expect(const Counts& counts, const Data& data, double* log, int threads) {
    return ExpectCounts_bn(counts.get(), NodeList(List(data.columns)).get(), data.states.data(), data.weights.data(),
                           data.Num(), log, threads);
  }
  int Learn(const Data& data, int iterations, double tolerance, double prior, double* log) {
    return LearnTablesEMCases_bn(NodeList(List(data.columns)).get(), data.states.data(), data.weights.data(),
                                 data.Num(), NodeList(List(data.nodes)).get(), iterations, tolerance, prior, log);
  }
  // cause -> seen, with cause hidden in half of the cases.
  Data Small() {
    AddNode(net, "cause", {"yes", "no"}, {}, {0.25f, 0.75f});
    AddNode(net, "seen", {"a", "b", "c"}, {"cause"}, {0.5f, 0.25f, 0.25f, 0.125f, 0.125f, 0.75f});
    CompileNet_bn(net.get());
    Data data{{At("cause"), At("seen")}, {At("cause"), At("seen")}, {}, {}};
    for (int i = 0; i < 12; ++i) {
      data.states.push_back(i % 2 ? int{UNDEF_STATE} : i / 2 % 2);
      data.states.push_back(i % 3);
      data.weights.push_back(1);
    }
    return data;
  }
};

TEST_F(EmTest, CountsAsOneByOneInAnyParts) {
  for (std::uint64_t seed = 1; seed <= 10; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    net = RandomNet(env, random, {3, 9, 1, 5, 4, 1e300, 0});
    const Data data = RandomData(net, random, 1500, 0.1, true);
    for (const bool weighted : {false, true}) {
      const Counts whole = NewFor(data), parts = NewFor(data), more = NewFor(data);
      EXPECT_EQ(Count(whole, data, 0, data.Num(), weighted), 0);
      for (long first = 0; first < data.Num(); first += 431)
        EXPECT_EQ(Count(first % 2 ? parts : more, data, first, std::min(431L, data.Num() - first), weighted), 0);
      AddCounts_bn(parts.get(), more.get());
      EXPECT_EQ(Values(parts), Values(whole));
      std::vector<double> slow;
      for (node_bn node : data.nodes) {
        const std::size_t begin = slow.size();
        std::vector<node_bn> family = Nodes(GetNodeParents_bn(node));
        family.push_back(node);
        std::size_t size = 1;
        for (node_bn member : family) size *= std::size_t(NumStates(member));
        slow.resize(begin + size, 0);
        for (std::size_t number = 0; number < std::size_t(data.Num()); ++number) {
          std::size_t entry = 0;
          bool known = true;
          for (node_bn member : family) {
            const auto at = std::find(data.columns.begin(), data.columns.end(), member) - data.columns.begin();
            known = known && std::size_t(at) < data.columns.size() &&
                    data.states[number * data.columns.size() + std::size_t(at)] >= 0;
            if (known)
              entry = entry * std::size_t(NumStates(member)) +
                      std::size_t(data.states[number * data.columns.size() + std::size_t(at)]);
          }
          if (known) slow[begin + entry] += weighted ? data.weights[number] : 1;
        }
      }
      EXPECT_EQ(Values(whole), slow);
    }
    if (HasFailure()) return;
  }
}

TEST_F(EmTest, AgreesWithEnumeration) {
  for (std::uint64_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    net = RandomNet(env, random, {2, 7, 1, 4, 3, 300, seed % 2 ? 0.0 : 0.15});
    CompileNet_bn(net.get());
    const Data data = RandomData(net, random, 25, 0.35);
    SlowEm slow(net, data);
    std::vector<std::vector<double>> expected;
    double slowLog, log;
    const int impossible = slow.Expect(&expected, &slowLog);
    const Counts counts = NewFor(data);
    EXPECT_EQ(Expect(counts, data, &log, 2), impossible);
    EXPECT_NEAR(log, slowLog, 1e-4);
    std::size_t at = 0;
    const std::vector<double> values = Values(counts);
    for (const std::vector<double>& table : expected)
      for (double count : table) EXPECT_NEAR(values[at++], count, 1e-4);
    const double prior = seed % 3 == 0 ? 0 : 2 * random.Share();
    const int iterations = random.Below(6);
    for (int i = 0; i < iterations; ++i) slow.Iterate(prior);
    EXPECT_EQ(Learn(data, iterations, 0, prior, &log), iterations);
    slow.Expect(&expected, &slowLog);
    EXPECT_NEAR(log, slowLog, 1e-4);
    for (node_bn node : Nodes(net)) {
      const std::vector<float> table = GetTable(node);
      const std::vector<double>& wanted = slow.TableOfNode(node);
      for (std::size_t e = 0; e < table.size(); ++e) EXPECT_NEAR(table[e], wanted[e], 1e-5) << GetNodeName_bn(node);
    }
    if (HasFailure()) return;
  }
}

// Large enough for several blocks and chunks.
TEST_F(EmTest, AnswersTheSameBitsOnAnyNumberOfThreads) {
  Random random(3);
  net = RandomNet(env, random, {25, 25, 2, 4, 3, 1e300, 0.05});
  CompileNet_bn(net.get());
  const Data data = RandomData(net, random, 3000, 0.3);
  const Counts one = NewFor(data);
  double logOfOne;
  const long impossible = Expect(one, data, &logOfOne, 1);
  for (int threads : {2, 3, 0}) {
    const Counts several = NewFor(data);
    double log;
    EXPECT_EQ(Expect(several, data, &log, threads), impossible);
    EXPECT_EQ(log, logOfOne);
    EXPECT_EQ(Values(several), Values(one));
  }
}

// The way of large nets against that of small ones.
TEST_F(EmTest, ExpectsAlikeOneByOneAndInLanes) {
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const Model model = RandomModel(random, {4, 25, 1, 4, 3, 1e300, 0.1});
    engine::CaseQuestion question{model.numstates, model.parents, [&](int i) { return model.Table(i); }, {}, {}, {}};
    int numEntries = 0;
    for (int i = 0; i < model.NumNodes(); ++i) {
      if (random.Chance(0.8)) question.observed.push_back(i);
      if (random.Chance(0.7)) question.families.push_back(i);
    }
    for (int node : question.families) numEntries += question.FamilySize(node);
    std::vector<int> states;
    for (int number = 0; number < 60; ++number)
      for (int node : question.observed)
        states.push_back(random.Chance(0.5) ? -3 : random.Below(model.numstates[node]));
    std::vector<double> sums[2];
    engine::ExpectedCounts::Outcome outcomes[2];
    for (int way : {0, 1}) {
      sums[way].assign(std::size_t(numEntries) + 1, -1);
      engine::ExpectedCounts expected(question, states.data(), nullptr, 60,
                                      way ? engine::CaseWay::LANES : engine::CaseWay::OVER_TREE);
      EXPECT_EQ(expected.Expect(1, nullptr, sums[way].data(), &outcomes[way]), engine::Status::Done);
      // Again, as if tables were new.
      expected.TablesChanged();
      EXPECT_EQ(expected.Expect(2, nullptr, sums[way].data(), &outcomes[way]), engine::Status::Done);
    }
    EXPECT_EQ(outcomes[0].numImpossible, outcomes[1].numImpossible);
    EXPECT_NEAR(outcomes[0].logLikelihood, outcomes[1].logLikelihood, 1e-3);
    for (std::size_t e = 0; e < sums[0].size(); ++e) EXPECT_NEAR(sums[0][e], sums[1][e], 1e-4);
    if (HasFailure()) return;
  }
}

TEST_F(EmTest, StopsByToleranceAndCanBeTakenBack) {
  const Data data = Small();
  const std::string before = Written(net);
  double log = 0, better = 0, best = 0;
  EXPECT_EQ(Learn(data, 0, 0, 0, &log), 0);
  EXPECT_EQ(Written(net), before);
  const int made = Learn(data, 1000, 1e-6, 0, &better);
  EXPECT_GT(made, 1);
  EXPECT_LT(made, 100);
  EXPECT_GT(better, log);
  const std::string after = Written(net);
  EXPECT_EQ(GetNodeExperience_bn(At("cause"), nullptr), 12);
  EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
  EXPECT_EQ(Written(net), before);
  EXPECT_EQ(RedoLastChange_bn(net.get()), 1);
  EXPECT_EQ(Written(net), after);
  CompileNet_bn(net.get());
  EXPECT_EQ(Learn(data, 50, 0, 0, &best), 50);
  EXPECT_GE(best, better - 1e-5);
}

TEST_F(EmTest, LearnsFromCounts) {
  Data data = Small();
  Counts counts = NewFor(data);
  const double values[] = {3, 1, 0, 0, 0, 2, 2, 0};
  SetCounts_bn(counts.get(), values);
  EXPECT_EQ(LearnCounts_bn(counts.get(), 0), 0);
  EXPECT_THAT(GetTable(At("cause")), ::testing::ElementsAre(0.75f, 0.25f));
  // A row without counts stays as it was.
  EXPECT_THAT(GetTable(At("seen")), ::testing::ElementsAre(0.5f, 0.25f, 0.25f, 0.5f, 0.5f, 0));
  EXPECT_EQ(LearnCounts_bn(counts.get(), 4), 0);
  EXPECT_THAT(GetTable(At("cause")), ::testing::ElementsAre(0.625f, 0.375f));
  EXPECT_EQ(GetNodeExperience_bn(At("cause"), nullptr), 8);
  EXPECT_FLOAT_EQ(GetTable(At("seen"))[1], 1.0f / 3);
  // One undo takes back all tables.
  UndoLastChange_bn(net.get());
  EXPECT_EQ(GetTable(At("cause"))[0], 0.75f);
  EXPECT_EQ(GetTable(At("seen"))[1], 0.25f);
}

TEST_F(EmTest, ReadsCaseFiles) {
  const Data data = Small();
  std::string text = "// ~->[CASE-1]->~\nNumCases\tseen\tcause\n";
  for (std::size_t i = 0; i < 12; ++i)
    text += "2\t" + std::string(1, char('a' + data.states[2 * i + 1])) + "\t" +
            (data.states[2 * i] < 0 ? "*"
             : data.states[2 * i]   ? "no"
                                    : "yes") +
            "\n";
  WriteWhole(directory.Path("x.cas"), text);
  filespec_ns file = FileNamed_ns(directory.Path("x.cas").c_str(), env);
  double fromFile = 0, fromArrays = 0;
  EXPECT_EQ(LearnTablesEM_bn(file, GetNetNodes_bn(net.get()), 5, 0, 0.5, &fromFile), 5);
  const std::vector<float> table = GetTable(At("seen"));
  UndoLastChange_bn(net.get());
  CompileNet_bn(net.get());
  Data twice = data;
  for (double& weight : twice.weights) weight = 2;
  EXPECT_EQ(Learn(twice, 5, 0, 0.5, &fromArrays), 5);
  EXPECT_EQ(fromFile, fromArrays);
  EXPECT_EQ(GetTable(At("seen")), table);
  EXPECT_EQ(LearnTablesEM_bn(file, GetNetNodes_bn(net.get()), 5, 0, 0.5, nullptr), -1);
  EXPECT_EQ(Gist(), "5 2077 LearnTablesEM_bn Test");
  FreeFileSpec_ns(file);
}

int looks, lastLook;
std::string heard;

int BRAVIC_CALL HaltAt(void*, const char* what, double, double) {
  heard = what;
  return ++looks > lastLook;
}

TEST_F(EmTest, KeepsTheBestWhenItIsHalted) {
  Random random(3);
  net = RandomNet(env, random, {12, 12, 2, 4, 3, 1e300, 0.05});
  CompileNet_bn(net.get());
  const Data data = RandomData(net, random, 2000, 0.3);
  SetWaitClock([] {
    static long seconds = 0;
    return ++seconds;
  });
  SetProgressCallback_ns(HaltAt, nullptr, env);
  const std::string before = Written(net);
  int last = -1;
  for (lastLook = 0; last < 3; ++lastLook) {
    looks = 0;
    double log = 1;
    const int made = Learn(data, 3, 0, 1, &log);
    ASSERT_GE(made, last);
    last = made;
    if (made == 3) break;
    EXPECT_EQ(Gist(),
              made < 0 ? "5 2450 LearnTablesEMCases_bn" : "4 2718 LearnTablesEMCases_bn " + std::to_string(made) + ";");
    if (made > 0) EXPECT_EQ(heard.substr(0, 14), "EM, iteration ");
    if (made > 0) EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
    EXPECT_EQ(Written(net), before);
    lastLook += 3;
    CompileNet_bn(net.get());
    Reports();
  }
  EXPECT_EQ(last, 3);
}

long requestsLeft;

bool RefuseOne(std::size_t) {
  return requestsLeft-- != 0;
}

TEST_F(EmTest, LosesNothingWhenMemoryIsShort) {
  const Data data = Small();
  const NodeList nodes(List(data.nodes));
  const std::string before = Written(net);
  Counts counts = NewFor(data);
  Count(counts, data, 0, 12);
  const std::vector<double> values = Values(counts);
  using Call = std::function<bool()>;
  for (const Call& call : {Call([&] { return Counts(NewCounts_bn(nodes.get())) != nullptr; }),
                           Call([&] { return Count(counts, data, 0, 12) == 0; }),
                           Call([&] { return Expect(counts, data, nullptr, 1) == 0; }),
                           Call([&] { return Learn(data, 2, 0, 1, nullptr) == 2; }),
                           Call([&] { return LearnCounts_bn(counts.get(), 1) == 0; })}) {
    bool done = false;
    for (long n = 0; !done; ++n) {
      ASSERT_LT(n, 2000);
      requestsLeft = n;
      SetHeapGate(RefuseOne);
      done = call();
      SetHeapGate(nullptr);
      Reports();
      if (done) continue;
      EXPECT_EQ(Written(net), before) << n;
      EXPECT_EQ(Values(counts), values) << n;
    }
    SetCounts_bn(counts.get(), values.data());
    if (Written(net) != before) UndoLastChange_bn(net.get());
    CompileNet_bn(net.get());
    EXPECT_EQ(Written(net), before);
  }
}

TEST_F(EmTest, RefusesWhatIsWrong) {
  Data data = Small();
  Counts counts = NewFor(data);
  data.weights[3] = -1;
  EXPECT_EQ(Count(counts, data, 0, 12), -1);
  data.weights[3] = 1;
  data.states[7] = 3;
  EXPECT_EQ(Count(counts, data, 0, 12), -1);
  EXPECT_EQ(Expect(counts, data, nullptr, 1), -1);
  EXPECT_EQ(Learn(data, 1, 0, 0, nullptr), -1);
  EXPECT_EQ(Gist(),
            "5 2711 CountCases_bn 3 -1 0; 5 2483 CountCases_bn 3 3 seen 0 2 UNDEF_STATE; "
            "5 2483 ExpectCounts_bn 3 3 seen 0 2 UNDEF_STATE; "
            "5 2483 LearnTablesEMCases_bn 3 3 seen 0 2 UNDEF_STATE");
  data.states[7] = 1;
  EXPECT_EQ(Learn(data, -1, 0, 0, nullptr), -1);
  EXPECT_EQ(Learn(data, 1, -1, 0, nullptr), -1);
  EXPECT_EQ(Learn(data, 1, 0, NAN, nullptr), -1);
  EXPECT_EQ(LearnCounts_bn(counts.get(), -1), -1);
  EXPECT_EQ(Gist().substr(0, 34), "5 2713 LearnTablesEMCases_bn maxit");
  const Net other = Chain(env, 2);
  EXPECT_EQ(CountCases_bn(counts.get(), GetNetNodes_bn(other.get()), data.states.data(), nullptr, 12), -1);
  EXPECT_EQ(CountCases_bn(counts.get(), GetNetNodes_bn(net.get()), nullptr, nullptr, 12), -1);
  EXPECT_EQ(CountCases_bn(counts.get(), GetNetNodes_bn(net.get()), nullptr, nullptr, -1), -1);
  EXPECT_EQ(Expect(counts, data, nullptr, -1), -1);
  node_bn constant = New("Constant");
  SetNodeKind_bn(constant, ASSUME_NODE);
  CompileNet_bn(net.get());
  Data more = data;
  more.columns[0] = constant;
  EXPECT_EQ(Expect(counts, more, nullptr, 1), -1);
  SetTable(At("cause"), {0.5f, 0.5f});
  EXPECT_EQ(Expect(counts, data, nullptr, 1), -1);
  EXPECT_EQ(Gist(),
            "5 2710 CountCases_bn N0; 5 2486 CountCases_bn NULL 12; 5 2485 CountCases_bn numcases 0 -1; "
            "5 2487 ExpectCounts_bn numthreads 0 -1; 5 2481 ExpectCounts_bn Constant; 5 2077 ExpectCounts_bn Test");
}

}  // namespace
}  // namespace bravic::testing
