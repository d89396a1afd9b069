// Nets through each format and back: the same nodes, spellings, parents and tables; and files of our own that are the
// same bytes when they are written again.

#include "formats/comparison.h"
#include "formats/formats_fixture.h"

namespace bravic::testing {
namespace {

struct FormatCase {
  const char* name;
  bool hasDecisions;
  Kept kept;
};
const std::vector<FormatCase> FORMATS = {
    {"bif", false, {}},
    {"xmlbif", true, {}},
    {"net", true, {.spellings = false, .titles = true, .comments = true, .levels = true}},
    {"uai", false, {.names = false}},
    {"xdsl", true, {.stateSpellings = false, .titles = true, .comments = true}},
};

class FormatRoundTripTest : public FormatsTest {
 protected:
  // Answers what is wrong, or nothing.
  std::string ThroughAndBack(const FormatCase& format, const Net& was) {
    const std::string first = Text(was, format.name);
    if (first.empty()) return "not written: " + Reports();
    ClearErrors_ns(env, 4);  // what the format cannot hold
    const Net read = ReadText(nullptr, first);
    if (!read) return "not read: " + Reports() + first.substr(0, 3000);
    if (std::string reports = Reports(); !reports.empty()) return "reading complains: " + reports;
    if (std::string what = DifferenceOf(read, was, format.kept); !what.empty()) return "another " + what;
    const std::string second = Text(read, format.name);
    if (second != first) return "other bytes: " + std::string(FirstLineThatDiffers(second, first));
    return "";
  }

  static std::string FirstLineThatDiffers(const std::string& is, const std::string& was) {
    std::size_t at = 0, begin = 0;
    for (; at < is.size() && at < was.size() && is[at] == was[at]; ++at) begin = is[at] == '\n' ? at + 1 : begin;
    return is.substr(begin, 200) + "\nwas " + was.substr(begin, 200);
  }

  static bool HasDecisions(const Net& net) {
    const auto nodes = Nodes(net);
    return std::any_of(nodes.begin(), nodes.end(), [](node_bn node) { return GetNodeKind_bn(node) != NATURE_NODE; });
  }

  void ExpectAllFormats(const Net& was) {
    for (const FormatCase& format : FORMATS) {
      if (HasDecisions(was) && !format.hasDecisions) continue;
      EXPECT_EQ(ThroughAndBack(format, was), "") << format.name;
      ClearErrors_ns(env, 5);
    }
  }
};

TEST_F(FormatRoundTripTest, NetsOfFilesComeBack) {
  std::vector<std::string> paths = NetsIn(BRAVIC_SOURCE_DIR "/examples/nets");
  for (const std::string& path : BenchmarkNets()) paths.push_back(path);
  for (const std::string& path : paths) {
    SCOPED_TRACE(path);
    const Net was = ReadFrom(path);
    ASSERT_NE(was, nullptr);
    ExpectAllFormats(was);
  }
  EXPECT_GT(paths.size(), 4u);
}

TEST_F(FormatRoundTripTest, PlainNetsAreWrittenWithoutAWord) {
  const Net plain = ChestClinic(env);
  for (const FormatCase& format : FORMATS) {
    const std::string text = Text(plain, format.name);
    EXPECT_EQ(Reports().empty(), format.kept.names) << format.name;  // the names are what UAI has no room for
    EXPECT_NE(ReadText(format.name, text), nullptr);
    EXPECT_EQ(Reports(), "") << format.name;
  }
}

TEST_F(FormatRoundTripTest, RandomNetsComeBack) {
  for (int seed = 0; seed < 25; ++seed) {
    Random random(seed);
    const Net was = RandomNet(env, random);
    SCOPED_TRACE(seed);
    ExpectAllFormats(was);
  }
}

// Each at two nodes' places, so that many of them fall together once they are made legal.
const std::vector<std::string> SPELLINGS = {"Value >= 5.5 (high)",
                                            "Value <= 5.5 (high)",
                                            "true",
                                            "1",
                                            "0.5-1.0",
                                            "a b",
                                            "a.b",
                                            "a,b",
                                            "a|b",
                                            "{a; b}",
                                            "[a] (b)",
                                            "// a",
                                            "/* a */",
                                            "% a",
                                            "# a",
                                            "say \"a\"",
                                            "it's",
                                            "back\\slash",
                                            "\\",
                                            "\"",
                                            "<a> & </b>",
                                            "&amp;",
                                            "]]>",
                                            " blank at both ends ",
                                            "\xC3\xA4\xC3\xB6\xC3\xBC",
                                            "\xC3\xA4\xC3\xB6\xC3\xB1",
                                            "default",
                                            "table",
                                            "probability",
                                            "a rather long name that has more than sixty characters in all, it seems",
                                            "a rather long name that has more than sixty characters in all, it seemed"};

TEST_F(FormatRoundTripTest, OriginalSpellingsComeBackAlsoBehindAFileOfOurs) {
  std::vector<node_bn> nodes;
  for (std::size_t i = 0; i < SPELLINGS.size(); ++i) {
    node_bn node = NewNode_bn(("n" + std::to_string(i)).c_str(), 3, net.get());
    SetNodeText_bn(node, "label", SPELLINGS[i].c_str());
    for (int s = 0; s < 3; ++s) {
      SetNodeStateName_bn(node, s, ("s" + std::to_string(s)).c_str());
      SetNodeText_bn(node, ("state " + std::to_string(s)).c_str(), SPELLINGS[(i + s) % SPELLINGS.size()].c_str());
    }
    if (i > 0) AddLink_bn(nodes[i / 2], node);
    Random random(static_cast<int>(i));
    RandomTable(node, random, 0.2);
    nodes.push_back(node);
  }
  const Net named = ReadText("bif", Text(net, "bif"));  // with the names that the rule makes
  ASSERT_EQ(DifferenceOf(named, net, {}), "");
  ExpectAllFormats(named);
  for (const char* format : {"bif", "xmlbif"}) {
    const std::string first = Text(named, format);
    const Net read = ReadText(format, first);
    ASSERT_NE(read, nullptr) << Reports();
    const Net detoured = Read(Written(read));
    EXPECT_EQ(Text(detoured, format), first);
  }
}

// Several decisions and utilities, one of them of nothing but a decision.
const char* const SHOP =
    "// ~->[DNET-1]->~\nbnet shop {\n"
    "node weather {kind = NATURE; discrete = TRUE; states = (sun, rain); parents = (); probs = (0.7, 0.3);};\n"
    "node forecast {kind = NATURE; discrete = TRUE; states = (good, bad); parents = (weather);"
    " probs = ((0.8, 0.2), (0.25, 0.75));};\n"
    "node order {kind = DECISION; discrete = TRUE; states = (none, few, many); parents = (forecast);};\n"
    "node price {kind = DECISION; discrete = TRUE; states = (low, high); parents = (forecast, order);};\n"
    "node cost {kind = UTILITY; discrete = FALSE; parents = (order); functable = (0, -10.5, -25);};\n"
    "node gain {kind = UTILITY; discrete = FALSE; parents = (weather, order, price);"
    " functable = (((0, 0), (12, 20.25), (30, 45)), ((0, 0), (10, 3), (11, 0.1)));};\n};\n";

TEST_F(FormatRoundTripTest, DecisionNetworksWithSeveralUtilitiesComeBack) {
  const Net shop = Read(SHOP);
  ASSERT_NE(shop, nullptr) << Reports();
  ExpectAllFormats(shop);
  for (const char* format : {"bif", "uai"}) {
    EXPECT_EQ(Text(shop, format), "");
    EXPECT_NE(Reports(5).find("cannot hold decision networks"), std::string::npos);
  }
}

TEST_F(FormatRoundTripTest, IntervalsBecomeStatesWhereAFormatHasNoOtherWay) {
  const Net was = Read(
      "// ~->[DNET-1]->~\nbnet t {node x {kind = NATURE; discrete = FALSE; levels = (-inf, 0, 1.5, inf); parents = ();"
      " probs = (0.25, 0.5, 0.25);}; node y {kind = NATURE; discrete = TRUE; states = (a, b); levels = (1, 2.5);"
      " parents = (x); probs = ((0.5, 0.5), (0.25, 0.75), (1, 0));};};");
  ASSERT_NE(was, nullptr) << Reports();
  ExpectAllFormats(was);
  const Net read = ReadText(nullptr, Text(was, "xdsl"));
  EXPECT_EQ(NumStates(Named(read, "x")), 3);
  EXPECT_EQ(GetNodeDiscrete_bn(Named(read, "x")), 1);
  ClearErrors_ns(env, 4);  // which tell of it
}

TEST_F(FormatRoundTripTest, TextsAndPlacesComeBack) {
  New("a");
  New("b", 2, {At("a")});
  for (const char* name : {"a", "b"}) {
    SetNodeTitle_bn(At(name), "Title \"of\" <it> & \\ that");
    SetNodeComment_bn(At(name), "First line,\n\tsecond \\n & third\n\n, last; {|} // \"or\" /* % # not");
    SetNodeText_bn(At(name), "position", "72.5 181");
    for (int s = 0; s < 2; ++s) SetNodeStateName_bn(At(name), s, s ? "no" : "yes");
  }
  SetTable(At("a"), {0.25F, 0.75F});
  SetTable(At("b"), {0.25F, 0.75F, 1, 0});
  SetNetTitle_bn(net.get(), "A title with \"quotes\"\tand a tab");
  SetNetComment_bn(net.get(), "Two\nlines");
  for (const FormatCase& format : FORMATS) {
    FormatCase whole = format;
    whole.kept.positions = std::string(format.name) != "uai";
    EXPECT_EQ(ThroughAndBack(whole, net), "") << format.name;
  }
  for (const char* format : {"net", "xdsl"}) {
    const Net read = ReadText(format, Text(net, format));
    EXPECT_STREQ(GetNetTitle_bn(read.get()), GetNetTitle_bn(net.get())) << format;
    EXPECT_STREQ(GetNetComment_bn(read.get()), GetNetComment_bn(net.get())) << format;
  }
  const std::string lines = Text(ReadText("xmlbif", "<BIF><NETWORK><NAME>n\n  1\t\r2</NAME></NETWORK></BIF>"), "xdsl");
  EXPECT_EQ(Text(ReadText("xdsl", lines), "xdsl"), lines);
  SetNodeText_bn(At("a"), "position", "");
  const std::string without = Text(net, "xdsl");
  for (const char* text : {"inf 2", "2 -inf", "1", "x 1", "1 y", "1 2 3"}) {
    SetNodeText_bn(At("a"), "position", text);
    EXPECT_EQ(Text(net, "xdsl"), without) << text << " is no place";
  }
  ClearErrors_ns(env, 5);
}

}  // namespace
}  // namespace bravic::testing
