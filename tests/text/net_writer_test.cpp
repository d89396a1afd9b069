// What WriteNet_bn writes: a text laid out by hand, and nets of every kind that must come back as they were.
#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
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

// Something in every statement that is ever written.
const char RAIN_TEXT[] = R"(// ~->[DNET-1]->~

bnet Rain {
numdimensions = 2;
autoupdate = TRUE;
title = "Rain \"and\" shine";
comment = "First line\n\
	The second line is longer than one line of a file may be, so \
	that it is broken.\n\
	\  A tab:\t and a backslash: \\";
author = "Ann";
whochanged = "Bob";
whenchanged = 1000000000;
locked = TRUE;
backcomments = (a, b);

param gone {
	kind = NATURE;
	discrete = TRUE;
	states = (y, n);
	};

node season {
	kind = NATURE;
	discrete = TRUE;
	measure = ORDINAL;
	states = (dry, wet);
	parents = ();
	probs = 
		// dry         wet         // 
		(0.6,        0.4);       // ;
	title = "Season";
	};

node temp {
	kind = NATURE;
	discrete = FALSE;
	levels = (-inf, 0, 20, inf);
	units = "C";
	parents = ();
	evidence = #1;
	value = 12.5;
	};

node rain {
	kind = NATURE;
	discrete = TRUE;
	levels = (0, 1.5);
	inputs = (when, );
	parents = (season, temp);
	probs = 
		// #0          #1          // season temp        
		(((0.9,        0.1),       // dry temp<0C
		  (@undef,     @undef),    // dry 0<=temp<20C
		  (0.33333334, 0.6666667)), // dry 20C<temp
		 ((@imposs,    @imposs),   // wet temp<0C
		  (1e-05,      0.99999),   // wet 0<=temp<20C
		  (0,          1)));       // wet 20C<temp;
	numcases = 
		//             // season temp        
		((10,         // dry temp<0C
		  @undef,     // dry 0<=temp<20C
		  @undef),    // dry 20C<temp
		 (@undef,     // wet temp<0C
		  2.5,        // wet 0<=temp<20C
		  @undef));   // wet 20C<temp;
	};

node umbrella {
	kind = NATURE;
	discrete = TRUE;
	states = (take, leave);
	parents = (rain);
	functable = 
		//             // rain   
		(leave,      // rain=0
		 take);      // rain=1;
	};

node plan {
	kind = DECISION;
	discrete = TRUE;
	states = (stay, go);
	parents = ();
	};

node profit {
	kind = UTILITY;
	discrete = FALSE;
	parents = (plan, umbrella);
	functable = 
		//             // plan umbrella 
		((10,         // stay take
		  -3.5),      // stay leave
		 (@undef,     // go   take
		  1e+09));    // go   leave;
	};

node news {
	kind = NATURE;
	discrete = TRUE;
	numstates = 2;
	parents = ();
	comment = "none";
	author = "Ann";
	whochanged = "Bob";
	locked = TRUE;
	likelihood = (0.25, 1);
	};

node orphan {
	kind = NATURE;
	discrete = TRUE;
	numstates = 2;
	parents = (gone);
	probs = 
		// #0          #1          // gone 
		((0.5,        0.5),       // y
		 (0.25,       0.75));     // n;
	numcases = 3;
	};
ElimOrder = (season, temp, rain, umbrella, plan, profit, news, orphan);
};
)";

TEST_F(NetWriterTest, WritesEveryStatement) {
  EXPECT_EQ(Written(Read(RAIN_TEXT)), RAIN_TEXT);
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
  net = Read(RAIN_TEXT);
  At("news")->whenchanged = 1000000000;
  for (const auto& row : rows) {
    row.set();
    const std::string written = Written(net);
    printOptions = {};
    for (const char* line : row.lines) EXPECT_THAT(written, ::testing::HasSubstr(line));
    if (row.readsBack) EXPECT_EQ(Written(Read(written)), RAIN_TEXT) << written;
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

template <class T>
bool SameTable(const T* a, const T* b, long long count) {
  if (!a || !b) return a == b;
  return std::memcmp(a, b, static_cast<std::size_t>(count) * sizeof(T)) == 0;
}

::testing::AssertionResult SameNode(const bnode& a, const bnode& b) {
  const auto differs = [&](const char* what) {
    return ::testing::AssertionFailure() << what << " of " << OrEmpty(a.name);
  };
  if (a.kind != b.kind || a.discrete != b.discrete || a.numstates != b.numstates) return differs("kinds and states");
  if (a.measure != b.measure && !(a.discrete == CONTINUOUS && a.measure == ORDINAL)) return differs("measure");
  if (a.preds.num != b.preds.num) return differs("parents");
  for (int i = 0; i < a.preds.num; i++) {
    if (TagOf(a.preds.ar[i]) != TagOf(b.preds.ar[i])) return differs("placeholders");
    if (TagOf(a.preds.ar[i]) == BNODE_TAG && !EqualText(a.preds.ar[i]->name, b.preds.ar[i]->name)) {
      return differs("names of parents");
    }
    if (!EqualText(OrEmpty(a.inputs ? a.inputs[i] : ""), OrEmpty(b.inputs ? b.inputs[i] : "")))
      return differs("inputs");
  }
  for (int state = 0; state < a.numstates; state++) {
    const char* name = a.states ? a.states[state] : "";
    if (!EqualText(OrEmpty(name), OrEmpty(b.states ? b.states[state] : ""))) return differs("states");
  }
  const int numlevels = a.discrete == DISCRETE ? a.numstates : std::max(a.numstates + 1, 2);
  if (!SameTable(a.levels, b.levels, numlevels)) return differs("levels");
  for (const auto text : {&bnode::units, &bnode::title, &bnode::comment, &bnode::author, &bnode::whochanged}) {
    if (!EqualText(OrEmpty(a.*text), OrEmpty(b.*text))) return differs("texts");
  }
  const long long rows = NumRows(a);
  // Tables that another one implies need not come back.
  if (!a.determin && !a.determinv && !SameTable(a.probs, b.probs, rows * a.numstates)) return differs("probs");
  if (a.discrete == DISCRETE && !SameTable(a.determin, b.determin, rows)) return differs("function of states");
  if (a.discrete != DISCRETE && !SameTable(a.determinv, b.determinv, rows)) return differs("function of values");
  if ((a.numcases != nullptr) != (b.numcases != nullptr)) return differs("experience");
  for (long long row = 0; a.numcases && row < rows; row++) {
    // A single number is printed with six digits.
    if (std::fabs(a.numcases[row] - b.numcases[row]) > 1e-5f * std::fabs(a.numcases[row])) return differs("experience");
  }
  if (a.locked != b.locked || a.evidence != b.evidence) return differs("locked or finding");
  if (std::fabs(a.value - b.value) > 1e-5 * std::fabs(a.value)) return differs("value");
  if ((a.likelihood != nullptr) != (b.likelihood != nullptr)) return differs("likelihood");
  for (int state = 0; a.likelihood && state < a.numstates; state++) {
    if (std::fabs(a.likelihood[state] - b.likelihood[state]) > 1e-5f) return differs("likelihood");
  }
  return ::testing::AssertionSuccess();
}

TEST_F(NetWriterTest, RandomNetsComeBackWhole) {
  for (std::uint64_t seed = 1; seed <= 500; seed++) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Random random(seed);
    const Net net = RandomRichNet(env, random);
    const std::string first = Written(net);
    const Net copy = Read(first);
    ASSERT_EQ(Reports(), "") << first;
    ASSERT_TRUE(copy);
    const auto before = Nodes(net), after = Nodes(copy);
    ASSERT_EQ(before.size(), after.size());
    for (std::size_t i = 0; i < before.size(); i++) {
      ASSERT_STREQ(before[i]->name, after[i]->name);
      ASSERT_TRUE(SameNode(*before[i], *after[i])) << first;
    }
    ASSERT_EQ(Written(copy), first);
    ASSERT_EQ(Reports(), "");
  }
}

TEST_F(NetWriterTest, NetFilesComeBackTheSame) {
  std::vector<std::string> paths = NetsIn(std::string(BRAVIC_SOURCE_DIR) + "/examples/nets");
  ASSERT_FALSE(paths.empty());
  for (const std::string& path : BenchmarkNets()) paths.push_back(path);
  for (const std::string& path : paths) {
    SCOPED_TRACE(path);
    const Net net = ReadFrom(path);
    ASSERT_TRUE(net);
    EXPECT_EQ(Reports(), "");
    const std::string first = Written(net);
    const Net copy = Read(first);
    ASSERT_TRUE(copy);
    const auto before = Nodes(net), after = Nodes(copy);
    ASSERT_EQ(before.size(), after.size());
    for (std::size_t i = 0; i < before.size(); i++) EXPECT_TRUE(SameNode(*before[i], *after[i]));
    EXPECT_TRUE(Written(copy) == first);
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

// Beliefs are worked out when they are asked for; those of an earlier state of the findings are not written.
TEST_F(NetWriterTest, BeliefsAreThoseOfTheFindings) {
  net = ChestClinic(env);
  CompileNet_bn(net.get());
  for (const char* name : {"tub", "xray"}) GetNodeBeliefs_bn(At(name));
  Observe(net, "xray", "yes");
  GetNodeBeliefs_bn(At("xray"));
  const std::string text = Written(net);
  char belief[64];
  std::snprintf(belief, sizeof belief, "\tbelief = (%.6g, ", static_cast<double>(Belief(net, "tub", "yes")));
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
