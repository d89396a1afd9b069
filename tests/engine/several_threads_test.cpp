// Large trees by several threads: the same bits as one thread answers, whatever was asked before, and the same when
// threads do not start, when numbers go beyond floats, and after the work was halted. Searches for elimination orders.
#include <bit>

#include "Win_Face/Threads.h"
#include "engine/model.h"
#include "support/library.h"

namespace bravic::testing {
namespace {

using engine::Inference;
using engine::Status;

// Grids of some width, hung onto one chain: large cliques, in several branches.
Model Grids(Random& random, int numGrids, int width, int length, double zeros) {
  Model model;
  auto add = [&](std::initializer_list<int> parents, int states) {
    const int node = model.numstates.size();
    model.numstates.push_back(states);
    Vector<int>& list = model.parents.emplace_back();
    model.children.emplace_back();
    for (int parent : parents)
      if (parent >= 0) list.push_back(parent);
    for (int parent : list) model.children[parent].push_back(node);
    return node;
  };
  for (int g = 0, link = -1; g < numGrids; ++g) {
    link = add({link}, 3);
    const int first = model.numstates.size();
    for (int i = 0; i < width * length; ++i) {
      const int above = i < width ? link : first + i - width, before = i % width ? first + i - 1 : -1;
      add({above, before}, random.Between(5, 8));
    }
  }
  model.tables.resize(std::size_t(model.NumNodes()));
  for (int i = 0; i < model.NumNodes(); ++i) RandomTable(model, i, random, zeros);
  return model;
}

// Everything that was answered, bit by bit.
struct Answers {
  Status status = Status::Done;
  std::vector<std::uint32_t> bits;
  std::uint64_t logProbability = 0;

  bool operator==(const Answers&) const = default;
};

int numStarted = 0;

class SharedTreeTest : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    numStarted = 0;
    SetThreadGate([](int) {
      ++numStarted;
      return true;
    });
  }
  void TearDown() override {
    SetThreadGate(nullptr);
    LibraryTest::TearDown();
  }

  static Owned<Inference> Start(const Compiled& compiled, const Model& model) {
    Owned<Inference> inference = Inference::Make(compiled.tree, model.numstates, model.parents);
    EXPECT_EQ(inference->AllocatePotentials(nullptr), Status::Done);
    inference->SetTables([&model](int i) { return model.Table(i); });
    inference->SetWay(Inference::Way::TREE);
    return inference;
  }

  static Answers AskAll(Inference& inference, const Model& model, int threads) {
    *ThreadsSetting() = threads;
    std::vector<std::vector<float>> beliefs;
    for (int states : model.numstates) beliefs.emplace_back(std::size_t(states), -1.0f);
    Answers answers;
    answers.status = inference.AllBeliefs([&](int i) { return beliefs[std::size_t(i)].data(); });
    answers.logProbability = std::bit_cast<std::uint64_t>(inference.LogProbability());
    for (const auto& belief : beliefs)
      for (float p : belief) answers.bits.push_back(std::bit_cast<std::uint32_t>(p));
    *ThreadsSetting() = 1;
    return answers;
  }
};

TEST_F(SharedTreeTest, AnswersTheSameBitsWithAnyNumberOfThreads) {
  for (std::uint64_t seed = 1; seed <= 4; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    Model model = Grids(random, 2, 5, 5, seed % 2 ? 0.0 : 0.1);
    const Compiled compiled(model);
    ASSERT_GT(compiled.tree.totalSize, 1200000);
    Owned<Inference> inferences[4];
    for (auto& inference : inferences) inference = Start(compiled, model);
    for (int step = 0; step < 12; ++step) {
      SCOPED_TRACE(step);
      const int node = random.Below(model.NumNodes()), states = model.numstates[node], state = random.Below(states);
      std::vector<float> weights;
      // Now and then of a range that no float has, so that other ways are needed.
      for (int s = 0; s < states; ++s) weights.push_back(float(random.Share()) * (step % 6 == 3 && s ? 1e-37f : 1.0f));
      if (step == 8) RandomTable(model, node, random, 0.0);
      Answers first;
      for (int threads = 1; threads <= 4; ++threads) {
        Inference& inference = *inferences[threads - 1];
        if (step == 8) inference.TableChanged(node);
        if (step % 4 == 1) inference.SetMaximize(step == 5);
        if (step % 3 == 0)
          inference.SetLikelihood(node, weights);
        else
          inference.SetState(node, state);
        // The last one finds half of the threads missing.
        if (threads == 4) SetThreadGate([](int worker) { return worker < 2; });
        const Answers answers = AskAll(inference, model, threads);
        if (threads == 1) first = answers;
        EXPECT_TRUE(answers == first) << threads << " threads";
      }
      SetThreadGate([](int) {
        ++numStarted;
        return true;
      });
    }
  }
  EXPECT_GT(numStarted, 50);
}

thread_local char anyone;
const char* caller;
int looks;

TEST_F(SharedTreeTest, HaltsAndGoesOnAfterwards) {
  Random random(7);
  const Model model = Grids(random, 2, 5, 5, 0.0);
  const Compiled compiled(model);
  const Owned<Inference> alone = Start(compiled, model), shared = Start(compiled, model);
  caller = &anyone;
  for (int after = 0; after < 12; after += 3) {
    SCOPED_TRACE(after);
    looks = after;
    shared->StartLong(
        [](double) {
          EXPECT_EQ(&anyone, caller) << "another thread has asked";
          return looks-- == 0;
        },
        2);
    AskAll(*shared, model, 3);
    EXPECT_EQ(shared->FinishLong(), looks < 0);
    const Answers expected = AskAll(*alone, model, 1), answers = AskAll(*shared, model, 3);
    EXPECT_EQ(answers.status, expected.status);
    for (std::size_t i = 0; i < expected.bits.size(); ++i)
      EXPECT_NEAR(std::bit_cast<float>(answers.bits[i]), std::bit_cast<float>(expected.bits[i]), 1e-6);
    for (Inference* inference : {alone.get(), shared.get()}) {
      inference->SetState(after, 1);
      inference->ClearFinding(after);
    }
  }
  EXPECT_GT(numStarted, 8);
}

// What each thread finds is judged alike, the time goes by for all, and the calling thread alone asks.
TEST_F(SharedTreeTest, SearchesForOrdersSideBySide) {
  for (std::uint64_t seed = 1; seed <= 3; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const Model model = Grids(random, 4, 6, 10, 0.0);
    const engine::Graph moral = engine::MoralGraph(model.parents, model.children);
    const engine::Order quick = engine::FindOrder(moral, model.numstates, nullptr);
    caller = &anyone;
    *ThreadsSetting() = 3;
    const auto search = [&](double seconds, bool halts) {
      looks = 0;
      const engine::Order order = engine::SearchOrder(moral, model.numstates, quick.nodes, seconds, [&](double) {
        EXPECT_EQ(&anyone, caller);
        return ++looks == 2 && halts;
      });
      EXPECT_EQ(order.halted, halts);
      EXPECT_LE(order.cost, quick.cost);
      EXPECT_EQ(order.cost, engine::OrderCost(moral, model.numstates, order.nodes));
      Vector<int> sorted = order.nodes;
      std::sort(sorted.begin(), sorted.end());
      for (int i = 0; i < model.NumNodes(); ++i) EXPECT_EQ(sorted[i], i);
    };
    search(0.1, false);
    search(1000, true);
    *ThreadsSetting() = 1;
  }
  EXPECT_EQ(numStarted, 2 * 2 * 3);
}

}  // namespace
}  // namespace bravic::testing
