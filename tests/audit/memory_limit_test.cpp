// What a host's limit on memory does: files and calls that ask for more are refused before it is had, the library goes
// on, and what is answered below the limit is what is answered without one.

#include <gmock/gmock.h>

#include "Basic/Memory.h"
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

using ::testing::FloatNear;
using ::testing::Pointwise;

constexpr long LIMIT = 4000;                    // kilobytes
constexpr std::size_t MORE = 2 * LIMIT * 1024;  // what must succeed may go beyond it by this: a list is doubled

std::size_t mostHeld;

// Looks at what is held before each request.
bool Watch(std::size_t) {
  mostHeld = std::max(mostHeld, MemoryUsed());
  return true;
}

class MemoryLimitTest : public NetTest {
 protected:
  template <class Call>
  void Within(long kilobytes, Call call) {
    mostHeld = 0;
    SetMemoryLimit_ns(kilobytes, env);
    SetHeapGate(Watch);
    call();
    SetHeapGate(nullptr);
  }
};

std::string Parents(int count) {
  std::string text = "parents = (a0";
  for (int i = 1; i < count; ++i) text += ", a" + std::to_string(i);
  return text + "); ";
}

// Nodes of some states each, then one that says the rest.
std::string Family(int count, const std::string& states, const std::string& rest) {
  std::string text = "// ~->[DNET-1]->~\nbnet Hostile {\n";
  const std::string kind = " {kind = NATURE; discrete = TRUE; states = " + states + "; ";
  for (int i = 0; i < count; ++i) text += "node a" + std::to_string(i) + kind + "};\n";
  return text + "node child" + kind + Parents(count) + rest + "};\n};\n";
}

TEST_F(MemoryLimitTest, HostileFilesAreRefusedBeforeTheyAreHad) {
  const auto compile = [](net_bn which) { CompileNet_bn(which); };
  const auto fill = [](net_bn which) {
    const node_bn child = NodeNamed_bn("child", which);
    const std::vector<statetype> every(100, EVERY_STATE);
    const probtype probs[] = {0.5f, 0.5f};
    SetNodeProbs_bn(child, every.data(), probs);
    SetNodeExperience_bn(child, every.data(), 3);
  };
  struct {
    const char* what;
    std::string text;
    void (*call)(net_bn);
    std::set<int> numbers;
  } const rows[] = {
      {"probabilities", Family(20, "(x, y)", "probs = (0.5, 0.5);"), nullptr, {1094}},
      {"function", Family(60, "(x, y)", "functable = (x);"), nullptr, {1094}},
      {"experience", Family(24, "(x, y)", "numcases = 5;"), nullptr, {1094}},
      {"tables by calls", Family(24, "(x, y)", ""), fill, {2286}},
      {"parents made neighbours", Family(2000, "(x)", "probs = (1);"), compile, {2296}},
      {"many nodes", Family(20000, "(x, y)", ""), nullptr, {1138}},
      {"one giant list",
       "// ~->[DNET-1]->~\nbnet Hostile {node a {kind = NATURE; states = (" + std::string(2000000, ',') + ");};};",
       nullptr,
       {1138}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const std::size_t before = MemoryUsed();
    std::set<int> numbers;
    Within(LIMIT, [&] {
      const Net hostile(ReadNetText_bn(row.text.data(), static_cast<long>(row.text.size()), "text", env));
      if (hostile && row.call == compile) {
        for (node_bn node : Nodes(hostile)) {
          const probtype one = 1;
          const std::vector<statetype> first(2001, 0);
          SetNodeProbs_bn(node, first.data(), &one);
        }
      }
      if (hostile && row.call) row.call(hostile.get());
      for (report_ns report = nullptr; (report = GetError_ns(env, 5, report));) numbers.insert(ErrorNumber_ns(report));
    });
    ClearErrors_ns(env, 6);
    EXPECT_LT(mostHeld, LIMIT * 1024 + MORE);
    for (int number : row.numbers) EXPECT_THAT(numbers, ::testing::Contains(number));
    EXPECT_TRUE(HasReserve());
    EXPECT_EQ(MemoryUsed(), before);
    net = ChestClinic(env);
    CompileNet_bn(net.get());
    EXPECT_NEAR(Belief(net, "tub", "yes"), 0.0104, 1e-6);
  }
}

// At any limit a net is read, compiled and asked with the answers that there are without one, or refused; and once the
// limit is lifted all is well.
TEST_F(MemoryLimitTest, AnswersAreRightOrRefused) {
  Random random(5);
  const std::string text =
      Written(RandomNet(env, random, {.minNodes = 12, .maxNodes = 12, .maxStates = 8, .maxConfigurations = 1e9}));
  net.reset();
  const auto ask = [&] {
    std::vector<float> beliefs;
    net.reset(ReadNetText_bn(text.data(), static_cast<long>(text.size()), "text", env));
    CompileNet_bn(net.get());
    for (node_bn node : Nodes(net)) {
      const probtype* belief = GetNodeBeliefs_bn(node);
      beliefs.insert(beliefs.end(), belief, belief + NumStates(node));
    }
    return beliefs;
  };
  const std::vector<float> right = ask();
  const long needed = static_cast<long>(MemoryUsed() / 1024);
  net.reset();
  int numRefused = 0, numAnswered = 0;
  for (long limit = 150; limit < needed + 600; limit += 4) {
    SCOPED_TRACE(limit);
    std::vector<float> beliefs;
    Within(limit, [&] { beliefs = ask(); });
    if (Reports(5).empty()) {
      ++numAnswered;
      EXPECT_THAT(beliefs, Pointwise(FloatNear(1e-6f), right));
    } else {
      ++numRefused;
    }
    net.reset();
    SetMemoryLimit_ns(0, env);
    EXPECT_TRUE(HasReserve());
    Reports(0);
  }
  EXPECT_GT(numRefused, 4);
  EXPECT_GT(numAnswered, 4);
  EXPECT_EQ(ask(), right);
}

TEST_F(MemoryLimitTest, IsAskedSetAndForgotten) {
  EXPECT_EQ(SetMemoryLimit_ns(-1, env), 0);
  EXPECT_EQ(SetMemoryLimit_ns(LIMIT, env), 0);
  EXPECT_EQ(SetMemoryLimit_ns(-2, env), -1);
  EXPECT_EQ(Gist(5), "5 2454 SetMemoryLimit_ns kilobytes -2 -1 0");
  EXPECT_EQ(SetMemoryLimit_ns(-1, env), LIMIT);
  // Less than there is: calls are refused, until it is raised.
  EXPECT_EQ(SetMemoryLimit_ns(1, env), LIMIT);
  for (int i = 0; i < 100; ++i) NewNode_bn(("n" + std::to_string(i)).c_str(), 2, net.get());
  SetNodeTitle_bn(At("n0"), std::string(100000, 'x').c_str());
  EXPECT_THAT(Reports(), ::testing::HasSubstr("Dangerously low on memory"));
  CompileNet_bn(net.get());
  EXPECT_THAT(Reports(), ::testing::HasSubstr("Not enough free memory to call"));
  EXPECT_EQ(SetMemoryLimit_ns(std::numeric_limits<long>::max(), env), 1);
  EXPECT_NE(NewNode_bn("another", 2, net.get()), nullptr);
  net.reset();
  char message[MESG_LEN_ns];
  CloseBravic_bn(env, message);
  LibraryTest::SetUp();
  EXPECT_EQ(SetMemoryLimit_ns(-1, env), 0) << "each start is a fresh one";
}

}  // namespace
}  // namespace bravic::testing
