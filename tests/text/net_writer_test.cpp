// What WriteNet_bn writes: a text laid out by hand, and nets of every kind that must come back as they were.
#include <gmock/gmock.h>

#include <cmath>
#include <functional>

#include "Basic/Text.h"
#include "Bn/model/Tables.h"
#include "Bn/services/NetWriter.h"
#include "support/net_fixture.h"
#include "support/rich_net.h"

namespace bravic::testing {
namespace {

class NetWriterTest : public NetTest {
 protected:
  void TearDown() override {
    printOptions = {};
    NetTest::TearDown();
  }
};

// Something in every statement that is ever written, as it is written.
const std::string RAIN = BRAVIC_SOURCE_DIR "/tests/text/rain.dne";

TEST_F(NetWriterTest, WritesEveryStatement) {
  EXPECT_EQ(Written(ReadFrom(RAIN)), ReadWhole(RAIN));
  EXPECT_EQ(Reports(), "");
}

// The same net in the forms that the printing options give it, in lines that each option changes.
TEST_F(NetWriterTest, PrintingOptions) {
  const struct {
    std::function<void()> set;
    std::vector<const char*> lines;
    bool readsBack = true;
  } rows[] = {
      {[] { printOptions.tableComments = false; },
       {"\tprobs = \n\t\t(((.9, .1),(@undef, @undef),(.33333334, .6666667)),\n"
        "\t\t((@imposs, @imposs),(1e-05, .99999),(0, 1)));\n"}},
      {[] { printOptions.tableComments = false, printOptions.flatTables = true; },
       {"\tfunctable = \n\t\t(10, -3.5,\n\t\t@undef, 1e+09);\n"}},
      {[] { printOptions.flatTables = true; }, {"bnet Rain {"}},
      {[] { printOptions.extraNetIndent = true; },
       {"bnet Rain {\n\tnumdimensions = 2;\n", "\n\n\tnode news {\n\t\tkind = NATURE;\n", "\n\t\t};\n\tElimOrder = ("}},
      {[] { printOptions.indentClosingBrace = false; }, {"\n};\n\nnode news"}},
      {[] { printOptions.hexNumbers = true; },
       {"// ~->[DNET-1]->~\n\nHexNumbers = TRUE;\n\nbnet Rain {\n", "whenchanged = 3b9aca00;\n"}},
      {[] { printOptions.derivedCounts = true; },
       {"\tparents = (rain);\n\tchildren = (profit);\n", "\twhenchanged = "}},
      {[] { printOptions.version = 7; }, {"// ~->[DNET-7]->~\n"}, false},
      {[] { printOptions.omitLastProb = 1; }, {"\t\t(((0.9),       // dry temp<0C\n"}, false},
  };
  net = ReadFrom(RAIN);
  const std::string text = Written(net);
  At("news")->whenchanged = 1000000000;
  for (const auto& row : rows) {
    row.set();
    const std::string written = Written(net);
    printOptions = {};
    for (const char* line : row.lines) EXPECT_THAT(written, ::testing::HasSubstr(line));
    if (row.readsBack) EXPECT_EQ(Written(Read(written)), text) << written;
  }
}

// Lines between quotes hold at most 64 characters, and a line that is not the last has no room for another word.
void CheckTextLines(const std::string& written) {
  const std::size_t end = written.find("\";\n");
  std::size_t at = written.find('"') + 1;
  for (std::size_t next; at < end; at = next) {
    const std::size_t line = std::min(written.find('\n', at), end);
    EXPECT_LE(line - at, 64u) << written.substr(at, line - at);
    next = written.find_first_not_of("\t", line + 1);
  }
}

TEST_F(NetWriterTest, TextsOfEveryKindComeBack) {
  std::vector<std::string> texts = {"\n",
                                    "a\n",
                                    "\n\n",
                                    " ",
                                    "\\",
                                    "\\n",
                                    "\"",
                                    std::string(200, ' '),
                                    std::string(64, 'x'),
                                    std::string(65, 'x'),
                                    std::string(63, 'x') + "\n",
                                    std::string(62, 'x') + "\"y",
                                    std::string(63, 'x') + " y",
                                    std::string(61, 'x') + "\xE2\x82\xAC\xE2\x82\xAC",
                                    std::string(64, '"'),
                                    "tab\tend\t",
                                    "\r",
                                    "\x01\x7F",
                                    "ends with blanks   ",
                                    "}; node x { \"; /* // /#"};
  Random random(31);
  for (int i = 0; i < 300; i++) texts.push_back(RandomText(random));
  for (const std::string& text : texts) {
    const Net net(NewNet_bn("Texts", env));
    SetNetTitle_bn(net.get(), text.c_str());
    const std::string written = Written(net);
    CheckTextLines(written);
    EXPECT_EQ(GetNetTitle_bn(Read(written).get()), text) << written;
  }
  EXPECT_EQ(Reports(), "");
}

// What must come back of a node: to the bit, and to the six digits that single numbers are printed with.
struct Told {
  std::string exact;
  std::vector<double> rounded;
};

Told Tell(const bnode& node) {
  Told told;
  const auto add = [&](const void* values, long long count) {
    told.exact.append(static_cast<const char*>(values), values ? static_cast<std::size_t>(count) * sizeof(float) : 0);
    told.exact += '|';
  };
  const bool continuous = node.discrete == CONTINUOUS;
  for (int number : {node.kind, node.discrete, node.numstates, node.preds.num, node.locked, node.evidence,
                     continuous && node.measure == ORDINAL ? UNKNOWN_MEASURE : node.measure}) {
    told.exact += std::to_string(number) + "|";
  }
  for (const char* text : {node.name, node.units, node.title, node.comment, node.author, node.whochanged}) {
    told.exact += std::string(OrEmpty(text)) + "|";
  }
  for (int i = 0; i < node.preds.num; i++) {
    told.exact += TagOf(node.preds.ar[i]) == STUB_TAG ? "?" : node.preds.ar[i]->name;
    told.exact += std::string(" ") + OrEmpty(node.inputs ? node.inputs[i] : "") + "|";
  }
  for (int state = 0; state < node.numstates; state++) {
    told.exact += std::string(OrEmpty(node.states ? node.states[state] : "")) + "|";
    told.rounded.push_back(node.likelihood ? static_cast<double>(node.likelihood[state]) : -1);
  }
  const long long rows = NumRows(node);
  add(node.levels, 2 * (continuous ? std::max(node.numstates + 1, 2) : node.numstates));
  // Tables that another one implies need not come back.
  if (!node.determin && !node.determinv) add(node.probs, rows * node.numstates);
  continuous ? add(node.determinv, rows) : add(node.determin, rows);
  for (long long row = 0; row < rows; row++) {
    told.rounded.push_back(node.numcases ? static_cast<double>(node.numcases[row]) : -1);
  }
  told.rounded.push_back(node.value);
  return told;
}

// A copy that was read from what was written of the net.
void ExpectSame(const Net& net, const Net& copy) {
  const auto before = Nodes(net), after = Nodes(copy);
  ASSERT_EQ(before.size(), after.size());
  for (std::size_t i = 0; i < before.size(); i++) {
    const Told was = Tell(*before[i]), is = Tell(*after[i]);
    ASSERT_EQ(is.exact, was.exact) << before[i]->name;
    ASSERT_EQ(is.rounded.size(), was.rounded.size()) << before[i]->name;
    for (std::size_t k = 0; k < is.rounded.size(); k++) {
      ASSERT_NEAR(is.rounded[k], was.rounded[k], 1e-5 * std::fabs(was.rounded[k])) << before[i]->name;
    }
  }
}

TEST_F(NetWriterTest, RandomNetsAndNetFilesComeBackWhole) {
  std::vector<std::string> paths = NetsIn(std::string(BRAVIC_SOURCE_DIR) + "/examples/nets");
  ASSERT_FALSE(paths.empty());
  for (const std::string& path : BenchmarkNets()) paths.push_back(path);
  for (std::size_t seed = 1; seed <= 400 + paths.size(); seed++) {
    SCOPED_TRACE(seed <= 400 ? "seed " + std::to_string(seed) : paths[seed - 401]);
    Random random(seed);
    net = seed <= 400 ? RandomRichNet(env, random) : ReadFrom(paths[seed - 401]);
    ASSERT_TRUE(net);
    const std::string first = Written(net);
    const Net copy = Read(first);
    ASSERT_EQ(Reports(), "") << first;
    ASSERT_TRUE(copy);
    ExpectSame(net, copy);
    ASSERT_TRUE(Written(copy) == first);
  }
}

// A net as its file has it is written as the file has it; what the host sets afterwards is the node's own.
TEST_F(NetWriterTest, DefineNodesStay) {
  const std::string text =
      "// ~->[DNET-1]->~\n\nbnet Defines {\n\n"
      "define node base {\n\tkind = NATURE;\n\tdiscrete = TRUE;\n\tstates = (lo, hi);\n\tparents = ();\n"
      "\tprobs = \n\t\t// lo          hi          // \n\t\t(0.5,        0.5);       // ;\n\ttitle = \"Base\";\n\t};\n\n"
      "node a (base) {\n\t};\n\n"
      "node b (base) {\n\ttitle = \"Own\";\n\t};\n};\n";
  const Net net = Read(text);
  EXPECT_EQ(Written(net), text);
  SetNodeTitle_bn(Named(net, "a"), "New");
  EnterFinding_bn(Named(net, "b"), 1);
  std::string expected = text;
  expected.replace(expected.find("(base) {\n\t};"), 12, "(base) {\n\ttitle = \"New\";\n\t};");
  expected.replace(expected.find("\"Own\";\n"), 7, "\"Own\";\n\tevidence = hi;\n");
  EXPECT_EQ(Written(net), expected);

  // What a node has lost no statement can say: it is written without its list.
  SetNodeTitle_bn(Named(net, "a"), "");
  printOptions.tableComments = false;
  EXPECT_THAT(Written(net),
              ::testing::HasSubstr("node a {\n\tkind = NATURE;\n\tdiscrete = TRUE;\n\tstates = (lo, hi);\n"
                                   "\tparents = ();\n\tprobs = \n\t\t(.5, .5);\n\t};\n"));
  EXPECT_EQ(Reports(), "");
}

// Saving works out no beliefs: those that have been read under the present findings are written.
TEST_F(NetWriterTest, BeliefsAreThoseOfTheFindings) {
  net = ChestClinic(env);
  CompileNet_bn(net.get());
  for (const char* name : {"tub", "xray"}) GetNodeBeliefs_bn(At(name));
  Observe(net, "xray", "yes");
  GetNodeBeliefs_bn(At("xray"));
  std::string text = Written(net);
  EXPECT_EQ(text.find("\tbelief"), text.rfind("\tbelief")) << "more than that of xray";
  char belief[64];
  std::snprintf(belief, sizeof belief, "\tbelief = (%.6g, ", static_cast<double>(Belief(net, "tub", "yes")));
  text = Written(net);
  EXPECT_THAT(text, ::testing::HasSubstr(belief));
  EXPECT_THAT(text, ::testing::HasSubstr("\tevidence = yes;\n\tbelief = (1, 0);\n"));
  Net copy = Read(text);
  EXPECT_EQ(Written(copy), text);
  EnterFinding_bn(Named(copy, "asia"), 0);
  EXPECT_EQ(Written(copy).find("belief"), std::string::npos);
  SetNodeProbs_bn(At("asia"), nullptr, std::vector<float>{0.5f, 0.5f}.data());
  EXPECT_EQ(Written(net).find("belief"), std::string::npos);
}

// A table of counts is written as probabilities and the counts as experience.
TEST_F(NetWriterTest, CountsBecomeProbabilities) {
  const Net net(NewNet_bn("Counts", env));
  const node_bn node = AddNode(net, "coin", {"heads", "tails"}, {}, {0.25f, 0.75f});
  EXPECT_EQ(UnnormalizeTable(node, 8).get(), nullptr);
  ASSERT_EQ(node->probs[0], 2);
  EXPECT_THAT(Written(net), ::testing::HasSubstr("(0.25,       0.75);      // ;\n\tnumcases = 8;\n"));
}

}  // namespace
}  // namespace bravic::testing
