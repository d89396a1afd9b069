// Texts at nets and nodes, finding by spelling, and nets as texts in memory.

#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

using ::testing::HasSubstr;

class TextsTest : public NetTest {
 protected:
  void SetUp() override {
    NetTest::SetUp();
    a = New("A", 3);
    SetNodeStateName_bn(a, 0, "low");
    SetNodeText_bn(a, "label", "Value >= 5.5 (high)");
    SetNodeText_bn(a, "state 0", "< 1");
    SetNodeText_bn(a, "state 2", "> \"7\"");
  }
  std::string TextOfNet() {
    std::string text(std::size_t(WriteNetText_bn(net.get(), nullptr, 0)), 'x');
    EXPECT_EQ(WriteNetText_bn(net.get(), text.data(), long(text.size())), long(text.size()));
    EXPECT_EQ(text.back(), 0);
    text.pop_back();
    return text;
  }
  Net FromText(const std::string& text, const char* name = "x.dne") {
    return Net(ReadNetText_bn(text.data(), long(text.size()), name, env));
  }

  node_bn a = nullptr;
};

TEST_F(TextsTest, AreSetChangedRemovedAndTakenBack) {
  const struct {
    const char *key, *text;
    int answer;
    const char* kept;
  } rows[] = {
      {"x", "1", 0, "1"},    {"x", "1", 1, "1"}, {"y", "2", 0, "2"}, {"x", "\n\"", 0, "\n\""}, {"x", nullptr, 0, ""},
      {"x", nullptr, 1, ""}, {"x", "", 1, ""},   {"y", "", 0, ""},   {"x", "3", 0, "3"},       {"z", "4", 0, "4"},
  };
  SetUndoDepth_bn(100, net.get());
  std::vector<std::string> looks = {Written(net)};
  for (const auto& row : rows) {
    EXPECT_EQ(SetNodeText_bn(a, row.key, row.text), row.answer) << row.key;
    EXPECT_STREQ(GetNodeText_bn(a, row.key), row.kept);
    SetNetText_bn(net.get(), row.key, row.text);
    EXPECT_STREQ(GetNetText_bn(net.get(), row.key), row.kept);
    if (row.answer == 0) looks.push_back(Written(net));
  }
  for (auto look = looks.rbegin() + 1; look != looks.rend(); ++look) {
    UndoLastChange_bn(net.get());
    UndoLastChange_bn(net.get());
    EXPECT_EQ(Written(net), *look);
  }
  for (auto look = looks.begin() + 1; look != looks.end(); ++look) {
    RedoLastChange_bn(net.get());
    RedoLastChange_bn(net.get());
    EXPECT_EQ(Written(net), *look);
  }
  EXPECT_STREQ(GetNodeText_bn(a, "label"), "Value >= 5.5 (high)");
}

TEST_F(TextsTest, OfTheNodeItselfMayBePassed) {
  SetUndoDepth_bn(0, net.get());
  const std::string label = GetNodeText_bn(a, "label");
  for (const char* key : {"k1", "k2", "k3", "k4", "k5", "label"}) {
    SetNodeText_bn(a, key, GetNodeText_bn(a, "label"));
    SetNodeText_bn(a, GetNodeText_bn(a, key), "as a key");
    EXPECT_EQ(GetNodeText_bn(a, key), label);
    EXPECT_STREQ(GetNodeText_bn(a, label.c_str()), "as a key");
  }
}

TEST_F(TextsTest, GoWhereTheirNodesAndStatesGo) {
  nodelist_bn list = List({a});
  const Net other(NewNet_bn("Other", env));
  nodelist_bn copies = DuplicateNodes_bn(list, other.get());
  node_bn copy = NthNode_bn(copies, 0);
  FreeNodeList_bn(list);
  FreeNodeList_bn(copies);
  SetNodeName_bn(copy, "B");
  EXPECT_STREQ(GetNodeText_bn(copy, "label"), "Value >= 5.5 (high)");
  EXPECT_STREQ(GetNodeText_bn(copy, "state 2"), "> \"7\"");
  SetNodeText_bn(copy, "state 2", "mine");
  EXPECT_STREQ(GetNodeText_bn(a, "state 2"), "> \"7\"");

  // Other intervals, of which the texts say nothing.
  node_bn real = New("R", 0);
  const double levels[] = {0, 1, 2, 3};
  SetNodeLevels_bn(real, 2, levels);
  for (const char* key : {"state 1", "stateful", "state 01", "state ", "label"}) SetNodeText_bn(real, key, key);
  SetNodeLevels_bn(real, 3, levels);
  EXPECT_STREQ(GetNodeText_bn(real, "state 1"), "");
  for (const char* key : {"stateful", "state 01", "state ", "label"}) EXPECT_STREQ(GetNodeText_bn(real, key), key);
  UndoLastChange_bn(net.get());
  EXPECT_STREQ(GetNodeText_bn(real, "state 1"), "state 1");
}

TEST_F(TextsTest, NodesAndStatesAreFoundByEitherSpelling) {
  node_bn b = New("B");
  SetNodeText_bn(b, "label", "A");
  node_bn c = New("C");
  SetNodeText_bn(c, "label", "Value >= 5.5 (high)");
  EXPECT_EQ(FindNode_bn("A", net.get()), a) << "a name goes before a label";
  EXPECT_EQ(FindNode_bn("Value >= 5.5 (high)", net.get()), a) << "the first in order";
  for (const char* none : {"", "value >= 5.5 (high)", "D"}) EXPECT_EQ(FindNode_bn(none, net.get()), nullptr);
  SetNodeText_bn(a, "state 1", "low");
  SetNodeText_bn(a, "state 3", "none");
  SetNodeText_bn(a, "state 4294967298", "too many");
  EXPECT_EQ(FindState_bn("low", a), 0);
  EXPECT_EQ(FindState_bn("< 1", a), 0);
  EXPECT_EQ(FindState_bn("> \"7\"", a), 2);
  for (const char* none : {"", "none", "too many", "7", "Value >= 5.5 (high)"}) EXPECT_EQ(FindState_bn(none, a), -3);
  EXPECT_EQ(Reports(), "");
}

TEST_F(TextsTest, AreSavedAsPairs) {
  SetNetText_bn(net.get(), "k", "t");
  SetNodeText_bn(a, "state 2", nullptr);
  const std::string written = Written(net);
  EXPECT_THAT(written, HasSubstr("bnet Test {\nuser = ((\"k\", \"t\"));\n"));
  EXPECT_THAT(written, HasSubstr("\tuser = ((\"label\", \"Value >= 5.5 (high)\"),\n\t\t(\"state 0\", \"< 1\"));\n"));
  EXPECT_EQ(Written(Read(written)), written);
  // Of doubled keys the first holds; what says nothing goes.
  const Net read = Read(
      "// ~->[DNET-1]->~\nbnet t { user = ();\nnode x {user = ((\"a\", \"1\"), /* b */\n(\"a\", \"2\"), "
      "(\"\", \"3\"),(\"b\",\"\"), (\"c\", \"4\")); numstates = 2; discrete = TRUE; };};");
  EXPECT_THAT(Reports(), HasSubstr("illegal value 'a' for `user` statement in node 'x', line 4"));
  EXPECT_THAT(Written(read), HasSubstr("\tuser = ((\"a\", \"1\"),\n\t\t(\"c\", \"4\"));\n"));
}

// What other programs keep in the statement is passed over, and what follows is read.
TEST_F(TextsTest, ForeignUserStatementsArePassedOver) {
  for (const char* foreign : {"Anything {a = 1; b = \"}\";}", "\"text\"", "(1, 2)", "((1, 2))", "((\"a\", b))",
                              "((\"a\", \"b\")", "((\"a\"), (\"b\"))", "((\"a\", \"b\", \"c\"))", "((\"a\" \"b\"))"}) {
    SCOPED_TRACE(foreign);
    const std::string statement = std::string("user = ") + foreign + ";";
    const bool isCut = foreign == std::string("((\"a\", \"b\")");
    const Net read = Read("// ~->[DNET-1]->~\nbnet t { " + statement + " title = \"T\";\nnode x {" + statement +
                          " title = \"X\"; numstates = 2; discrete = TRUE; };};");
    EXPECT_THAT(Reports(), HasSubstr("5 1131 ReadNet_bn: Error reading file"));
    if (isCut) continue;
    EXPECT_STREQ(GetNetTitle_bn(read.get()), "T");
    EXPECT_STREQ(GetNodeTitle_bn(Named(read, "x")), "X");
    EXPECT_EQ(Written(read).find("user"), std::string::npos);
  }
}

TEST_F(TextsTest, DefineNodesGiveThem) {
  const std::string text =
      "// ~->[DNET-1]->~\n\nbnet t {\n\ndefine node d {\n\tdiscrete = TRUE;\n\tstates = (x, y);\n"
      "\tuser = ((\"state 0\", \"1st\"));\n\t};\n\nnode a (d) {\n\tparents = ();\n\t};\n\nnode b (d) {\n\tparents = "
      "();\n"
      "\tuser = ((\"state 0\", \"own\"));\n\t};\n};\n";
  const Net read = Read(text);
  EXPECT_EQ(FindState_bn("1st", Named(read, "a")), 0);
  EXPECT_EQ(FindState_bn("1st", Named(read, "b")), -3);
  EXPECT_EQ(Written(read), text);
  SetNodeText_bn(Named(read, "a"), "state 0", "");
  EXPECT_STREQ(GetNodeText_bn(Named(Read(Written(read)), "a"), "state 0"), "");
}

TEST_F(TextsTest, NetsAreWrittenToAndReadFromTexts) {
  const std::string text = TextOfNet();
  EXPECT_EQ(text, Written(net));
  std::string small(text.size(), 'x');
  EXPECT_EQ(WriteNetText_bn(net.get(), small.data(), long(small.size())), long(text.size()) + 1);
  EXPECT_EQ(small, std::string(text.size(), 'x'));
  EXPECT_EQ(Written(FromText(text)), text);
  EXPECT_EQ(Written(FromText(text, nullptr)), text);
  EXPECT_EQ(Reports(), "");
  EXPECT_FALSE(FromText("", "empty.dne"));
  EXPECT_EQ(Reports(),
            "5 1033 ReadNetText_bn: Error reading file 'empty.dne':  missing or ill-formed file type indicator\n");
  FromText(text.substr(0, text.size() / 2), nullptr);
  EXPECT_THAT(Reports(), HasSubstr("ReadNetText_bn: Error reading file:  "));
}

TEST_F(TextsTest, BadArgumentsAreRefused) {
  char text[8] = "before";
  EXPECT_EQ(SetNodeText_bn(a, nullptr, "x"), -1);
  EXPECT_EQ(SetNetText_bn(net.get(), "", "x"), -1);
  EXPECT_STREQ(GetNodeText_bn(a, ""), "error");
  EXPECT_EQ(FindNode_bn(nullptr, net.get()), nullptr);
  EXPECT_EQ(FindState_bn(nullptr, a), UNDEF_STATE);
  EXPECT_EQ(ReadNetText_bn(nullptr, 1, "x", env), nullptr);
  EXPECT_EQ(ReadNetText_bn("x", -1, "x", env), nullptr);
  EXPECT_EQ(WriteNetText_bn(net.get(), text, -1), -1);
  EXPECT_STREQ(text, "before");
  EXPECT_EQ(Gist(),
            "5 5114 SetNodeText_bn NULL; 5 5142 SetNetText_bn; 5 5142 GetNodeText_bn; 5 5114 FindNode_bn NULL; "
            "5 5114 FindState_bn NULL; 5 2495 ReadNetText_bn text NULL; 5 2496 ReadNetText_bn length 0 -1; "
            "5 2496 WriteNetText_bn size 0 -1");
}

}  // namespace
}  // namespace bravic::testing
