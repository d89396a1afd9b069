// Writing and reading again loses nothing, and what is written then is byte for byte the same: nets made through the
// interface, files of others, and files with every mix of statements, inherited ones included.

#include "Basic/Text.h"
#include "Bn/model/Tables.h"
#include "Bn/model/Texts.h"
#include "support/changes.h"
#include "support/net_fixture.h"
#include "support/rich_net.h"

namespace bravic::testing {
namespace {

// What must come back of a node, to the bit.
std::string Tell(const bnode& node) {
  std::string told;
  const auto add = [&](const void* values, long long count) {
    told.append(static_cast<const char*>(values), values ? std::size_t(count) * sizeof(float) : 0);
    told += '|';
  };
  const bool continuous = node.discrete == CONTINUOUS;
  for (int number : {node.kind, node.discrete, node.numstates, node.preds.num, node.locked, node.evidence,
                     node.chance == CHANCE || node.chance == DETERMIN ? UNKNOWN_CHANCE : node.chance,
                     continuous && node.measure == ORDINAL ? UNKNOWN_MEASURE : node.measure}) {
    told += std::to_string(number) + "|";
  }
  for (const char* text : {node.name, node.units, node.title, node.comment, node.author, node.whochanged}) {
    told += std::string(OrEmpty(text)) + "|";
  }
  for (int i = 0; i < node.preds.num; ++i) {
    told += TagOf(node.preds.ar[i]) == STUB_TAG ? "?" : node.preds.ar[i]->name;
    told += std::string(" ") + OrEmpty(node.inputs ? node.inputs[i] : "") + "|";
  }
  for (int state = 0; state < node.numstates; ++state) {
    told += std::string(OrEmpty(node.states ? node.states[state] : "")) + "|";
  }
  ForEachText(node.texts, [&](const char* key, const char* text) { told += std::string(key) + "=" + text + "|"; });
  const long long rows = std::max(NumRows(node), 0LL);
  add(node.levels, 2 * (node.discrete == DISCRETE ? node.numstates : std::max(node.numstates + 1, 2)));
  // Tables that another one implies need not come back.
  if (!node.determin && !node.determinv) add(node.probs, rows * node.numstates);
  node.discrete == DISCRETE ? add(node.determin, rows) : add(node.determinv, rows);
  add(node.numcases, rows);
  add(&node.value, 2);
  add(node.likelihood, node.numstates);
  return told;
}

// A copy that was read from what was written of the net.
void ExpectSame(const Net& net, const Net& copy) {
  const auto before = Nodes(net), after = Nodes(copy);
  ASSERT_EQ(before.size(), after.size());
  for (std::size_t i = 0; i < before.size(); ++i) ASSERT_EQ(Tell(*after[i]), Tell(*before[i])) << before[i]->name;
}

class NetRoundTripTest : public NetTest {
 protected:
  void ComesBackWhole(const Net& whole, int options) {
    const std::string first = Written(whole);
    Reports();
    const Net copy = Read(first, options);
    std::string reports = Reports();
    // Nodes that lack their states are complained of each time.
    for (std::size_t at; (at = reports.find("5 1022 ")) != std::string::npos;) {
      reports.erase(at, reports.find('\n', at) + 1 - at);
    }
    ASSERT_EQ(reports, "") << first;
    ASSERT_TRUE(copy) << first;
    ExpectSame(whole, copy);
    ASSERT_EQ(Written(copy), first);
  }
};

TEST_F(NetRoundTripTest, RandomNetsAndNetFiles) {
  std::vector<std::string> paths = NetsIn(std::string(BRAVIC_SOURCE_DIR) + "/examples/nets");
  ASSERT_FALSE(paths.empty());
  for (const std::string& path : BenchmarkNets()) paths.push_back(path);
  for (std::size_t seed = 1; seed <= 400 + paths.size() && !HasFatalFailure(); ++seed) {
    SCOPED_TRACE(seed <= 400 ? "seed " + std::to_string(seed) : paths[seed - 401]);
    Random random(seed);
    net = seed <= 400 ? RandomRichNet(env, random) : ReadFrom(paths[seed - 401]);
    ASSERT_TRUE(net);
    ComesBackWhole(net, 0);
  }
}

// Statements of nodes in the order in which they are written, and values some of which fit some of the others.
struct Choice {
  const char* field;
  std::vector<const char*> values;
};
const std::vector<Choice> CHOICES = {
    {"kind", {"NATURE", "DECISION", "UTILITY", "ASSUME"}},
    {"discrete", {"TRUE", "TRUE", "FALSE", "FALSE", "UNKNOWN_DISCRETE", "PERHAPS"}},
    {"measure", {"NOMINAL", "ORDINAL", "ORDINAL", "RATIO"}},
    {"chance", {"CHANCE", "GAUSSIAN", "INVERTABLE"}},
    {"numstates", {"0", "1", "2", "3"}},
    {"states", {"(x, y)", "(x, y)", "(u, v, w)", "(x, )", "(p)"}},
    {"levels", {"(1, 2)", "(0, 1.5, inf)", "(1234567, 1234568, 1234569)", "(3, any)", "(1, 1)", "(0.1, 0.7)"}},
    {"units", {"\"mg\""}},
    {"inputs", {"(i)", "(i, j)", "(i, i)"}},
    {"parents", {"()", "(n0)", "(n1, n0)", "(n0, n0)", "(n2)", "(gone)", "(n3, n4)"}},
    {"functable", {"x", "(x, y)", "1.5", "(1, 0.1)", "#1", "@undef"}},
    {"probs", {"(0.5, 0.5)", "(0.2, 0.3, 0.5)", "((0.1, 0.9), (0.2, 0.8))", "(1)", "(0, 1)", "(@imposs, @imposs)"}},
    {"numcases", {"3", "1234567.5", "(1, 2)", "@undef", "0.1"}},
    {"title", {"\"T\"", "\"\""}},
    {"locked", {"TRUE", "FALSE"}},
    {"evidence", {"x", "y", "#0", "#1"}},
    {"value", {"1", "1.5", "1234568", "0.1", "9", "@undef"}},
    {"likelihood", {"(1, 0.5)", "(1, 2, 3)", "(0, 1)", "(3.4028235e+38, 1e-30)", "()"}},
    {"belief", {"(0.5, 0.5)", "(1)"}},
};

std::string RandomStatements(Random& random) {
  std::string statements;
  const double share = random.Chance(0.5) ? 0.5 : 0.2;
  for (const auto& [field, values] : CHOICES) {
    if (!random.Chance(share)) continue;
    const std::string statement = std::string(field) + " = " + random.Pick(values) + "; ";
    random.Chance(0.05) ? statements.insert(0, statement) : statements += statement;
  }
  return statements;
}

std::string RandomFile(Random& random) {
  std::string text = "// ~->[DNET-1]->~\nbnet t {\n", defines;
  const auto inherited = [&] {
    if (defines.empty() || random.Chance(0.3)) return std::string();
    return random.Chance(0.5) ? " (" + defines + ")" : " (" + defines.substr(defines.rfind(' ') + 1) + ")";
  };
  for (int i = random.Below(4); i > 0; i--) {
    const std::string name = "d" + std::to_string(i);
    text += "define node " + name + inherited() + " {" + RandomStatements(random) + "};\n";
    defines = defines.empty() ? name : name + ", " + defines;
  }
  if (random.Chance(0.5)) text += "param gone {" + RandomStatements(random) + "};\n";
  for (int i = random.Between(1, 5); i-- > 0;) {
    text += "node n" + std::to_string(i) + inherited() + " {" + RandomStatements(random) + "};\n";
  }
  return text + "};\n";
}

TEST_F(NetRoundTripTest, FilesWithEveryMixOfStatements) {
  constexpr int SEED = 11, ROUNDS = 2500;
  Random random(SEED);
  for (int round = 0; round < ROUNDS && !HasFatalFailure(); ++round) {
    const std::string text = RandomFile(random);
    SCOPED_TRACE("round " + std::to_string(round) + "\n" + text);
    const int options = random.Below(2);
    net = Read(text, options);
    ASSERT_TRUE(net);
    Reports();
    for (int changes = random.Chance(0.5) ? random.Below(4) : 0; changes > 0 && !Nodes(net).empty(); changes--) {
      const Changes any(net, random, directory.Path("cases.cas"), env);
      const int kind = random.Below(any.NumKinds());
      SCOPED_TRACE(any.Name(kind));
      any.Make(kind);
    }
    ArgumentChecking_ns(26, env);
    GetNetName_bn(net.get());
    ArgumentChecking_ns(25, env);
    const std::string reports = Reports(5);
    ASSERT_EQ(reports.find("is damaged"), std::string::npos) << reports;
    ComesBackWhole(net, random.Below(2));
  }
}

}  // namespace
}  // namespace bravic::testing
