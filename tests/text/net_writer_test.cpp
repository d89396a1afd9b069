// What WriteNet_bn writes: a text laid out by hand, and nets of every kind that must come back as they were.

#include "Basic/Text.h"
#include "Bn/files/NetWriter.h"
#include "Bn/model/TableForms.h"
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
  for (int i = 0; i < 300; ++i) texts.push_back(RandomText(random));
  for (const std::string& text : texts) {
    const Net net(NewNet_bn("Texts", env));
    SetNetTitle_bn(net.get(), text.c_str());
    const std::string written = Written(net);
    CheckTextLines(written);
    EXPECT_EQ(GetNetTitle_bn(Read(written).get()), text) << written;
  }
  EXPECT_EQ(Reports(), "");
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

TEST_F(NetWriterTest, NamesOfDefineNodesAreTaken) {
  net = Read("// ~->[DNET-1]->~\nbnet t {define node N1 {}; define node b1 {}; node b {states = (x, y);};};");
  EXPECT_EQ(NewNode_bn("b1", 2, net.get()), nullptr);
  EXPECT_EQ(SetNodeName_bn(At("b"), "N1"), -1);
  EXPECT_EQ(Gist(), "5 5512 NewNode_bn b1 t; 5 5512 SetNodeName_bn N1 t");
  NewNode_bn(nullptr, 2, net.get());
  nodelist_bn list = List({At("b")});
  FreeNodeList_bn(DuplicateNodes_bn(list, net.get()));
  FreeNodeList_bn(list);
  EXPECT_EQ(Names(Nodes(net)), "b N2 b2");
}

// Placeholders of deleted nodes that had all the same name, each of which is another one in the file.
TEST_F(NetWriterTest, PlaceholdersOfOneNameGetNumbers) {
  constexpr int NUM = 4000;
  for (int i = 0; i < NUM; ++i) {
    node_bn parent = New("a");
    New(("c" + std::to_string(i)).c_str(), 2, {parent});
    DeleteNode_bn(parent);
  }
  const std::string text = Written(net);
  EXPECT_THAT(text, ::testing::HasSubstr("\nparam a {"));
  EXPECT_THAT(text, ::testing::HasSubstr("\nparam a3999 {"));
  EXPECT_EQ(Written(Read(text)), text);
}

TEST_F(NetWriterTest, NumbersOfStatesFollowTheBase) {
  net = Read(
      "// ~->[DNET-1]->~\nbnet t {node a {numstates = 20;}; node b {parents = (a); states = (x); numcases = 1;};};");
  EnterFinding_bn(At("a"), 17);
  printOptions.hexNumbers = true;
  const std::string text = Written(net);
  EXPECT_THAT(text, ::testing::HasSubstr("numstates = 14;"));
  EXPECT_THAT(text, ::testing::HasSubstr("evidence = #11;"));
  EXPECT_EQ(GetNodeFinding_bn(Named(Read(text), "a")), 17);
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
  std::snprintf(belief, sizeof belief, "\tbelief = (%.6g, ", double(Belief(net, "tub", "yes")));
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
