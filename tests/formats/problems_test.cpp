// Bad files of the text formats, each with what is reported of it, its line included.

#if !defined(_WIN32)
#include <sys/resource.h>

#include <csignal>
#endif

#include "formats/formats_fixture.h"

namespace bravic::testing {
namespace {

class FormatProblemsTest : public FormatsTest {
 protected:
  // Each report as "danger number line: text", without the function's and the file's name.
  std::string Problems() {
    std::istringstream lines(Reports());
    std::string all, line;
    while (std::getline(lines, line)) {
      const std::size_t from = line.find(" Read"), to = line.find(": text");
      if (from != line.npos && to != line.npos) line.erase(from, to + 6 - from);
      all += (all.empty() ? "" : "\n") + line;
    }
    return all;
  }
};

struct BadText {
  const char *format, *text, *problems;  // danger 4 alone: the net is read
};

// What stands before a bad part: A with two states, in one line.
#define BIF_A "variable A { type discrete [2] { a, b }; } probability (A) { table 0.5, 0.5; }\n"
#define BIF_AB BIF_A "variable B { type discrete [2] { c, d }; }\n"
#define NET_AB \
  "net {} node A { states = (\"a\" \"b\"); } node B { states = (\"c\" \"d\"); } potential (A) { data = (0.5 0.5); }\n"

constexpr BadText BAD_TEXTS[] = {
    // Grammar.
    {"bif", BIF_A "\nvariabel B { type discrete [1] { c }; }\n",
     "5 820:3: found 'variabel' where network, variable or probability should stand"},
    {"bif", BIF_A "variable B {\n type discrete [2] { c, d };\n\n",
     "5 822:2: the block that begins here is never closed"},
    {"bif", BIF_A "/* never\nclosed", "5 822:2: the comment that begins here is never closed"},
    {"bif", BIF_A "network \"no end {\n}\n",
     "5 822:2: the quoted text that begins here is never closed\n5 821:4: the file ends where \"{\" should stand"},
    {"bif", BIF_AB "probability (B) { table 0.5,\n 0,5x; }",
     "5 850:3: the table of node 'B' has 3 numbers, but 2 were wanted\n5 823:4: '5x' is no number"},
    {"bif", "variable A { type discrete [3] { a, b }; }\nprobability (A) { table 0.5, 0.5; }",
     "5 824:1: node 'A' is said to have 3 states, but 2 are listed"},
    {"net", NET_AB "potential (B | A) { data = ((1 0) (0 1)\n}",
     "4 849:2: node 'B' has no table, which is taken as uniform\n5 820:3: found '}' where \")\" should stand"},
    {"net", "net { }\nnode A\n{\n states = (\"a\");\n",
     "5 822:2: the block that begins here is never closed\n4 849:2: node 'A' has no table, which is taken as uniform"},
    {"uai", "BAYES\n1\n2\n1\n1 0\n2\n0.5",
     "5 821:7: the file ends where a number of 2 in the table that begins in line 6 should stand"},
    {"uai", "BAYES\n2\n2 two\n", "5 820:3: found 'two' where a number of states should stand"},
    {"uai", "BAYES\n1\n2\n1\n1 0\n2\n0.5 0.5 0.5", "5 866:7: there is more after the last table, from '0.5' on"},
    // Rows.
    {"bif", BIF_AB "probability (B | A) {\n (a) 0.5 0.5;\n (e) 1 0; }", "5 825:5: 'e' is no state of node 'A'"},
    {"bif", BIF_AB "probability (B | A) {\n (a, b) 0.5 0.5;\n default 1 0; }",
     "5 826:4: a row of node 'B' names 2 states, but the node has 1 parents"},
    {"bif", BIF_AB "probability (B | A) {\n (a) 0.5 0.5;\n (b) 0.5 0.25 0.25; }",
     "5 827:5: a row of node 'B' has 3 numbers, but 2 were wanted"},
    {"bif", BIF_AB "probability (B | A) {\n (a) 0.5 0.5;\n (b) 1 0;\n (a) 0 1; }",
     "5 828:6: this row of node 'B' is given twice, here and in line 4"},
    {"bif", BIF_AB "probability (B | A) {\n (a) 0.5 0.5;\n (b) 1 0;\n (a) 0.5 0.5; }",
     "4 828:6: this row of node 'B' is given twice, here and in line 4"},
    {"bif", BIF_AB "probability (B | A) {\n (b) 0.5 0.5;\n}",
     "5 829:3: 1 of the 2 rows of node 'B' are not given (first: (a)), and there is no default"},
    {"bif", BIF_AB "probability (B | A) {\n (a) 0.5 0.5;\n (b) 0.5 0.4998; }",
     "5 852:5: row (b) of node 'B' sums to 0.9998"},
    {"bif", BIF_AB "probability (B | A) {\n (a) 0.5 0.5;\n (b) 0.5 0.49995; }", ""},
    {"bif", BIF_AB "probability (B | A) {\n (a) 0.5 0.5;\n (b) 1.5 -0.5; }",
     "5 853:5: row (b) of node 'B' has the number -0.5, which is no probability"},
    {"uai", "BAYES\n1\n2\n1\n1 0\n2\n0.5 0.6", "5 852:7: row () of node 'X0' sums to 1.1"},
    {"net", NET_AB "potential (B | A) { data = ((1 3)\n (0 0)); }",
     "4 852:2: 1 of the 2 rows of node 'B' do not sum to 1 and are normalized (first: (a), which sums to 4)\n"
     "5 852:3: row (b) of node 'B' sums to 0"},
    {"net", NET_AB "potential (B | A) { data = (1 0\n 1 inf); }",
     "5 853:3: row (b) of node 'B' has the number inf, which is no probability"},
    // What is there twice, missing or unknown.
    {"bif", BIF_A "variable A { type discrete [1] { c }; }", "5 840:2: node 'A' is given twice, in lines 1 and 2"},
    {"bif", "variable A { type discrete [2] { a,\n a }; } probability (A) { table 0.5 0.5; }",
     "5 841:2: state 'a' of node 'A' is given twice"},
    {"bif", "variable A { type discrete [0] { }; }", "5 842:1: node 'A' has no states"},
    {"bif", BIF_A "probability (a) { table 1; }", "5 843:2: a table is given for 'a', but there is no such node"},
    {"bif", BIF_AB "probability (B |\n a) { table 1 1 0 0; }", "5 844:4: parent 'a' of node 'B' is no node"},
    {"bif", BIF_AB "probability (B | A, A) { default 0.5 0.5; }", "5 845:3: parent 'A' of node 'B' is given twice"},
    {"bif",
     "variable A { type discrete [1] { a }; } variable B { type discrete [1] { a }; }\n"
     "probability (A | B) { (a) 1; }\nprobability (B | A) { (a) 1; }",
     "5 846:2: links make a cycle: 'B' (line 3) -> 'A' (line 2) -> 'B'"},
    {"bif", BIF_AB "probability (B) { table 1 0; }\nprobability (B) { table 0 1; }",
     "5 848:4: the table of node 'B' is given twice, in lines 3 and 4"},
    {"bif", BIF_AB "probability (B) { table 1 0; }\nprobability (B) { table 1 0; }",
     "4 848:4: the table of node 'B' is given twice, in lines 3 and 4"},
    {"bif", BIF_AB "probability (B | A) {\n table 1 1 0 0;\n table 1 1 0 0;\n}",
     "5 848:5: the table of node 'B' is given twice, in lines 4 and 5"},
    {"bif", BIF_AB "probability (B | A) {\n table 1 1 0 0;\n (b) 1 0;\n}",
     "5 848:5: the table of node 'B' is given twice, in lines 4 and 5"},
    {"bif", BIF_AB "probability (B | A) {\n\n default 1 0;\n table 1 1 0 0;\n}",
     "5 848:6: the table of node 'B' is given twice, in lines 5 and 6"},
    {"bif", BIF_AB "probability (B | A) {\n default 1 0;\n (a) 0 1;\n default 1 0; }",
     "4 828:6: this row of node 'B' is given twice, here and in line 4"},
    {"bif", BIF_AB "probability (B | A) {\n default 1 0;\n (a) 0 1;\n default 0 1; }",
     "5 828:6: this row of node 'B' is given twice, here and in line 4"},
    {"bif", BIF_AB "probability (B | A) {\n default 1 0 0;\n default 1 [0]; }",
     "5 827:4: a row of node 'B' has 3 numbers, but 2 were wanted\n5 820:5: found '[' where \";\" should stand"},
    {"bif", BIF_AB "probability (B | A) {\n (a 1 0;\n what;\n}",
     "5 820:4: found ';' where \")\" should stand\n5 820:5: found 'what' where a row, table, default, property or "
     "\"}\" should stand"},
    {"bif", BIF_AB "probability (B | A [2]) {\n default 1 0;\n}",
     "5 849:2: node 'B' has no table\n5 820:3: found '[' where \")\" should stand"},
    {"bif", BIF_AB "probability (B | A)\n [2] { default 1 0;\n}",
     "5 849:2: node 'B' has no table\n5 820:4: found '[' where \"{\" should stand"},
    {"bif", BIF_AB "probability {\n default 1 0;\n}",
     "5 849:2: node 'B' has no table\n5 820:3: found '{' where \"(\" should stand"},
    {"bif", BIF_AB "probability (B | A) {\n default 1 0;\n",
     "5 822:3: the block that begins here is never closed\n5 849:3: node 'B' has no table"},
    {"bif", BIF_A "probability (X | A) { default 1 0; }\nprobability (A) { ; table 1 0 }",
     "5 843:2: a table is given for 'X', but there is no such node\n5 848:3: the table of node 'A' is given twice, in "
     "lines 1 and 3"},
    {"bif", BIF_A "variable { type discrete [two] = { c, d } }\nvariable C;\nprobability (A) { }",
     "5 849: node '' has no table\n5 820:2: found '{' where a variable's name should stand\n5 823:2: 'two' is no "
     "number\n5 820:3: found ';' where \"{\" should stand"},
    {"bif", BIF_A "variable C { type [2] { c, d };\n type discrete [2 { c, d };\n type discrete { c [ d };\n what; }",
     "5 820:2: found '[' where discrete should stand\n5 849:2: node 'C' has no table\n5 820:3: found '{' where \"]\" "
     "should stand\n5 820:4: found '[' where \"}\" should stand\n5 820:5: found 'what' where type, property or \"}\" "
     "should stand"},
    {"bif", "network N {\n what; ; property a;\n property ; }\nnetwork [M] { }\nnetwork O {\n",
     "5 820:2: found 'what' where property or \"}\" should stand\n5 820:4: found '[' where \"{\" should stand\n5 "
     "822:5: the block that begins here is never closed"},
    {"bif", BIF_A "probability (A) { table 1 0; property never ends",
     "5 820:2: found 'never' where \";\" should stand\n5 822:2: the block that begins here is never closed\n5 848:2: "
     "the table of node 'A' is given twice, in lines 1 and 2"},
    {"bif", "what {\n is this; }\n" BIF_A, "5 820:1: found 'what' where network, variable or probability should stand"},
    {"net", "net\n{ name = ; label \"x\"; = 3; (x);\n states = (\"a\" (\"b\");\n}\n",
     "5 820:2: found 'x' where \"=\" should stand\n5 820:2: found '=' where an attribute should stand\n5 820:2: found "
     "'(' where an attribute should stand\n5 820:3: found ';' where \")\" should stand"},
    {"net", "what; node { states = (\"a\"); }\npotential (A, B) { }\npotential A { }\npotential (A | B { }\n",
     "4 849: node '' has no table, which is taken as uniform\n5 820:1: found 'what' where net, node, decision, utility "
     "or potential should stand\n5 820:1: found '{' where a node's name should stand\n5 859:2: a potential of 2 nodes "
     "cannot be represented\n5 820:3: found 'A' where \"(\" should stand\n5 820:4: found '{' where \")\" should stand"},
    {"net", "class C {\n name = ; node A { states = (\"a\"); }\n label = x;\n",
     "5 822:1: the block that begins here is never closed\n4 849:2: node 'A' has no table, which is taken as uniform"},
    {"net", "instance; node A x { }\nprobability (A) { }",
     "5 859:1: instance of a class cannot be represented\n5 820:1: found 'x' where \"{\" should stand\n5 859:2: "
     "probability block cannot be represented"},
    {"net", NET_AB "potential (B) { data = (1 0);\n data = (1 0); }",
     "5 848:3: the table of node 'B' is given twice, in lines 2 and 3"},
    {"net", NET_AB "potential (B) { data = (1 0); experience = (1 2); }",
     "4 855:2: the experience of node 'B' is left out: there is not one number for each row"},
    {"bif", BIF_AB, "5 849:2: node 'B' has no table"},
    {"net", NET_AB, "4 849:1: node 'B' has no table, which is taken as uniform"},
    {"uai", "BAYES\n2\n2 2\n2\n1 0\n1 0\n2 1 0\n2 1 0\n",
     "5 863:3: variable 1 has 0 tables, but every one needs one\n5 849:3: node 'X1' has no table\n5 863:5: variable 0 "
     "has 2 tables, but every one needs one"},
    {"bif", BIF_AB "probability (B | A) {\n table 0.5 0.5 0.5; }",
     "5 850:4: the table of node 'B' has 3 numbers, but 4 were wanted"},
    {"net", NET_AB "utility U { }\npotential (U | A) { data = (1 2 3); }",
     "4 849:1: node 'B' has no table, which is taken as uniform\n"
     "5 850:3: the table of node 'U' has 3 numbers, but 2 were wanted"},
    {"uai", "BAYES\n1\n2\n1\n1 0\n3\n0.5 0.25 0.25",
     "5 850:6: the table of node 'X0' has 3 numbers, but 2 were wanted"},
    {"uai", "BAYES\n1\n2\n1\n2 1 0\n2 1 0", "5 864:5: there is no variable 1 (there are 1, from 0)"},
    {"uai", "BAYES\n1\n999999999\n1\n1 0\n1 1", "5 851:3: the table of node 'X0' would be too large"},
    // What a net cannot be.
    {"bif", "variable A { type continuous; }\n",
     "5 858:1: node 'A' is continuous without intervals, which cannot be computed with"},
    {"net", "continuous node A { }\nclass C {\n instance I : D (x = y) { } class E { }\n}\nfunction F { }",
     "5 858:1: node 'A' is continuous without intervals, which cannot be computed with\n5 859:3: instance of a class "
     "'I' cannot be represented\n5 859:3: one of several classes 'E' cannot be represented\n5 859:5: function node 'F' "
     "cannot be represented"},
    {"net", NET_AB "\npotential (B) { model_nodes = (); model_data = (Distribution(0.5, 0.5)); }",
     "5 861:3: the table of node 'B' is an expression without its numbers"},
    {"net", NET_AB "utility U { } potential (U) { data = 1e39; } potential (B | U) { }",
     "5 847:2: utility node 'U' is a parent of node 'B', which cannot be\n5 854:2: utility node 'U' has the number "
     "1e+39, which is none to work with"},
    {"net",
     NET_AB "node C { subtype = interval; state_values = (0 2 1);\nstates = (\"x\" \"y\"); } potential (C) { data = (1 "
            "0); experience = (-1); }\n"
            "potential (B) { data = (1 0); }",
     "5 857:2: the intervals of node 'C' cannot be: their bounds are not in order\n4 855:3: the experience of node 'C' "
     "is left "
     "out: a number is negative or infinite"},
    {"net",
     NET_AB
     "node C { subtype = number; state_values = (0 2 1); states = (\"x\" \"y\"); } potential (C) { data = (1 0); }\n"
     "potential (B) { data = (1 0); } decision D { states = (\"x\"); } potential (D) { data = (1); }",
     "4 856:2: the numbers of the states of node 'C' are left out: there are 3 numbers, but 2 were wanted\n4 860:3: "
     "the "
     "table of decision node 'D' is left out"},
    {"uai", "# a field\nMARKOV\n1\n2", "5 862:2: is a Markov random field (MARKOV), which is no belief network"},
    // Files as such.
    {nullptr, "  \n// nothing\n", "5 802: there is nothing in it"},
    {nullptr, "<?xml version=\"1.0\"?>\n<html>\n</html>",
     "5 802: begins like a file of no known format (with '<html>')"},
    {nullptr, "\xFF\xFEn\0e\0t", "5 812: is UTF-16 or UTF-32 text, which is not read; convert it to UTF-8"},
    {"bif", BIF_A "\n// \xE9t\xE9\n", "4 813:3: is no UTF-8 and says of no encoding, so it is taken as Latin-1"},
    {"bif", "\n// nothing\n", "5 802: there is nothing in it"},
    {"bff", "", "5 800: there is no format 'bff'; there are dne bif xmlbif xdsl net uai"},
};

TEST_F(FormatProblemsTest, EachIsReportedWithItsLine) {
  for (const BadText& row : BAD_TEXTS) {
    const Net read = ReadText(row.format, row.text);
    EXPECT_EQ(Problems(), row.problems) << row.text;
    const bool isRefused = std::string(row.problems).starts_with("5") || strstr(row.problems, "\n5");
    EXPECT_EQ(read == nullptr, isRefused) << row.text;
  }
}

TEST_F(FormatProblemsTest, NumbersBeyondDoublesAreNothingOrInfinite) {
  const std::string zeros(400, '0');
  const std::pair<std::string, bool> rows[] = {
      {"1e-400", false},
      {"0." + zeros + "1", false},
      {"-0." + zeros + "1", false},
      {"0." + zeros + "1e+5", false},
      {"1e400", true},
      {"1" + zeros, true},
      {"0" + ("1" + zeros), true},
      {"1" + zeros + zeros + "e-400", true},
  };
  for (const auto& [number, isInfinite] : rows) {
    const Net read =
        ReadText("net", "node A { states = (\"a\" \"b\"); }\npotential (A) { data = (1 " + number + "); }");
    EXPECT_EQ(Problems(), isInfinite ? "5 853:2: row () of node 'A' has the number inf, which is no probability" : "")
        << number;
    if (read) EXPECT_EQ(GetTable(Named(read, "A")), (std::vector<float>{1, 0})) << number;
  }
}

TEST_F(FormatProblemsTest, OurOwnFilesAreKnownByTheirIndicator) {
  const std::string net = "bnet X { node A { discrete = TRUE; states = (a, b); probs = (0x, 1); }; };\n";
  for (const char* head : {"// ~->[DNET-1]->~\n", "\xEF\xBB\xBF// ~->[DNET-1]->~\n",
                           "/# node # x #/ // ~->[DNET-1]->~\n", "// ~->[DNET-1]->~\nHexNumbers = TRUE;\n"}) {
    EXPECT_TRUE(ReadText(nullptr, head + net)) << head;
    EXPECT_THAT(Problems(), ::testing::HasSubstr("of node 'A'")) << head;
  }
}

TEST_F(FormatProblemsTest, LineEndsAndEncodingsAreThoseOfTheFile) {
  const std::string text =
      "% encoding: ISO-8859-1\nnode A\n{\n label = \"\xE9t\xE9\"; states = (\"a\" \"b\");\n}\npotential (A) { data = "
      "(0.5 0.25 x); }\n";
  for (const char* end : {"\n", "\r\n", "\r"}) {
    std::string ended;
    for (char c : text) c == '\n' ? ended += end : ended += c;
    EXPECT_EQ(ReadText(nullptr, ended), nullptr);
    EXPECT_EQ(Problems(), "5 823:6: 'x' is no number\n5 850:6: the table of node 'A' has 3 numbers, but 2 were wanted");
    ended.replace(ended.find("0.25 x"), 6, "0.5");
    EXPECT_STREQ(GetNodeTitle_bn(Named(ReadText(nullptr, ended), "A")), "\xC3\xA9t\xC3\xA9");
  }
  EXPECT_STREQ(
      GetNodeTitle_bn(
          Named(ReadText(nullptr,
                         "\xEF\xBB\xBFnode A { label = \"\xC3\xA9\"; states = (\"a\"); } potential (A) { data = 1; }"),
                "A")),
      "\xC3\xA9");
  const std::pair<const char*, const char*> heads[] = {{"% Latin-1", "\xC3\x83\xC2\xA9"},
                                                       {"% iso-8859-15", "\xC3\xA9"},
                                                       {"net { name = \"<?xml latin1\"; }", "\xC3\xA9"}};
  for (const auto& [head, title] : heads) {
    const Net read =
        ReadText(nullptr, std::string(head) +
                              "\nnode A { label = \"\xC3\xA9\"; states = (\"a\"); } potential (A) { data = 1; }");
    EXPECT_STREQ(GetNodeTitle_bn(Named(read, "A")), title);
  }
  EXPECT_EQ(Problems(), "");
}

TEST_F(FormatProblemsTest, ManyAreCountedAndLongWordsAreCut) {
  std::string text;
  for (int i = 0; i < 1500; ++i) text += "variable " + std::string(300, 'x') + " { }\n";
  EXPECT_EQ(
      Net(ReadNetFormatText_bn(text.data(), static_cast<long>(text.size()), "bif", std::string(600, 'f').c_str(), env)),
      nullptr);
  const std::string reports = Reports();
  EXPECT_EQ(std::count(reports.begin(), reports.end(), '\n'), 1001);
  EXPECT_NE(reports.find("xxx...' has no states"), reports.npos);
  EXPECT_NE(reports.find(":500: node"), reports.npos);
  std::istringstream lines(reports);
  for (std::string line; std::getline(lines, line);) EXPECT_LT(line.size(), 530u);
}

#ifndef _WIN32
TEST_F(FormatProblemsTest, LinksAndPermissionsOfReplacedFilesStay) {
  const Net read = ReadText("bif", BIF_A);
  const std::string path = directory.Path("a.bif"), link = directory.Path("link.bif");
  WriteWhole(path, "old");
  std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  std::filesystem::create_symlink("a.bif", link);
  EXPECT_EQ(WriteNetFormat_bn(read.get(), link.c_str(), nullptr), 0);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms::owner_all);
  EXPECT_EQ(ReadWhole(path), Text(read, "bif"));
}
#endif

TEST_F(FormatProblemsTest, FilesAreReplacedWholeOrNotAtAll) {
  const Net read = ReadText("bif", BIF_A);
  const std::string path = directory.Path("a.bif");
  WriteWhole(path, "old");
  EXPECT_EQ(WriteNetFormat_bn(read.get(), path.c_str(), nullptr), 0);
  EXPECT_EQ(ReadWhole(path), Text(read, "bif"));
  const Net again(ReadNetFormat_bn(path.c_str(), nullptr, env));
  EXPECT_STREQ(GetNetName_bn(again.get()), "text");
  EXPECT_EQ(Reports(), "");
  // Refused: what was there stays, and nothing is left beside it.
  SetNodeKind_bn(Named(read, "A"), DECISION_NODE);
  EXPECT_EQ(WriteNetFormat_bn(read.get(), path.c_str(), nullptr), -1);
  EXPECT_EQ(WriteNetFormat_bn(again.get(), directory.Path("a.txt").c_str(), nullptr), -1);
  EXPECT_EQ(WriteNetFormat_bn(again.get(), directory.Path("none/a.bif").c_str(), nullptr), -1);
  EXPECT_EQ(WriteNetFormat_bn(again.get(), directory.Path().c_str(), "bif"), -1);
  EXPECT_EQ(WriteNetFormat_bn(again.get(), "", "bif"), -1);
  EXPECT_EQ(ReadNetFormat_bn(directory.Path("none").c_str(), nullptr, env), nullptr);
  HasFileIO_ns(0, env);
  EXPECT_EQ(ReadNetFormat_bn(path.c_str(), nullptr, env), nullptr);
  HasFileIO_ns(1, env);
  EXPECT_EQ(ReadNetFormatText_bn(nullptr, 1, nullptr, nullptr, env), nullptr);
  EXPECT_EQ(WriteNetFormatText_bn(again.get(), nullptr, nullptr, 0), -1);
  std::string numbers;
  std::istringstream lines(Reports());
  for (std::string line; std::getline(lines, line);) numbers += line.substr(0, 6);
  EXPECT_EQ(numbers, "5 881 5 801 5 808 5 808 5 803 5 807 5 806 5 804 5 805 ");
  EXPECT_EQ(FilesIn(directory.Path()), (std::vector<std::string>{"a.bif"}));
  EXPECT_EQ(ReadWhole(path), Text(again, "bif"));
}

#if !defined(_WIN32)
TEST_F(FormatProblemsTest, FilesThatCannotBeWrittenStayAsTheyWere) {
  namespace fs = std::filesystem;
  const Net read = ReadText("bif", BIF_A);
  const std::string whole = Text(read, "bif");
  const auto write = [&](const std::string& name) {
    return WriteNetFormat_bn(read.get(), (name[0] == '/' ? name : directory.Path(name)).c_str(), "bif");
  };
  for (const char* name : {"protected", "full", "taken.0.tmp"}) WriteWhole(directory.Path(name), "old");
  fs::permissions(directory.Path("protected"), fs::perms::owner_read);
  fs::create_symlink("round2", directory.Path("round1"));
  fs::create_symlink("round1", directory.Path("round2"));
  fs::create_symlink(directory.Path("new"), directory.Path("to new"));
  EXPECT_EQ(write("protected"), -1);
  EXPECT_EQ(write("round1"), -1);
  EXPECT_EQ(write("/dev/full"), -1);
  // A file may hold 10 bytes now.
  rlimit limit;
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit few = {10, limit.rlim_max};
  const auto ignored = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &few);
  const int full = write("full");
  setrlimit(RLIMIT_FSIZE, &limit);
  std::signal(SIGXFSZ, ignored);
  EXPECT_EQ(full, -1);
  std::string reasons, line;
  std::istringstream lines(Reports());
  while (std::getline(lines, line)) reasons += line.substr(0, 6) + line.substr(line.rfind(": ") + 2) + "; ";
  EXPECT_EQ(reasons,
            "5 808 it is write-protected; 5 808 too many symbolic links; 5 808 No space left on device; "
            "5 808 File too large; ");
  EXPECT_EQ(ReadWhole(directory.Path("protected")) + ReadWhole(directory.Path("full")), "oldold");
  // Where what stands there is no file, or a name is taken, the net is still written.
  EXPECT_EQ(write("/dev/null"), 0);
  EXPECT_EQ(write("to new"), 0);
  EXPECT_EQ(write("taken"), 0);
  EXPECT_EQ(ReadWhole(directory.Path("new")), whole);
  EXPECT_EQ(ReadWhole(directory.Path("taken")), whole);
  EXPECT_EQ(FilesIn(directory.Path()), (std::vector<std::string>{"full", "new", "protected", "round1", "round2",
                                                                 "taken", "taken.0.tmp", "to new"}));
  EXPECT_EQ(ReadNetFormat_bn(directory.Path().c_str(), "bif", env), nullptr);
  EXPECT_EQ(ReadNetFormat_bn("/dev/null", "bif", env), nullptr);
  EXPECT_EQ(WriteNetFormatText_bn(read.get(), "bif", nullptr, -1), -1);
  std::string numbers;
  for (std::istringstream reports(Reports()); std::getline(reports, line);) numbers += line.substr(0, 6);
  EXPECT_EQ(numbers, "5 807 5 802 5 804 ");
}
#endif

TEST_F(FormatProblemsTest, EarlierRecordsDoNotMatter) {
  ReportError_ns(env, 1, 5, "an error");
  ReportError_ns(env, 2, 4, "a warning");
  const Net read = ReadText("bif", BIF_A);
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(WriteNetFormat_bn(read.get(), directory.Path("a.dne").c_str(), nullptr), 0);
  EXPECT_EQ(Reports(), "5 1 ReportError_ns: An error\n4 2 ReportError_ns: A warning\n");
}

TEST_F(FormatProblemsTest, ReadingLeavesUndoAsItWas) {
  SetUndoDepth_bn(3, net.get());
  SetNetTitle_bn(net.get(), "changed");
  const Net read = ReadText("bif", BIF_A);
  EXPECT_EQ(SetUndoDepth_bn(-1, net.get()), 3);
  EXPECT_EQ(UndoLastChange_bn(read.get()), 0) << "it was made as a whole";
  EXPECT_EQ(UndoLastChange_bn(net.get()), 1);
  EXPECT_STREQ(GetNetTitle_bn(net.get()), "");
  SetUndoDepth_bn(1, net.get());
}

TEST_F(FormatProblemsTest, WhatAFormatCannotHoldIsListedOnce) {
  const Net read = ReadText("bif", BIF_AB "probability (B | A) { default 0.5 0.5; }");
  const node_bn a = Named(read, "A"), b = Named(read, "B");
  const double levels[] = {1, 2};
  const statetype row = 0;
  SetNodeTitle_bn(a, "Title");
  SetNodeTitle_bn(b, "Another");
  SetNodeLevels_bn(a, 2, levels);
  SetNodeExperience_bn(b, &row, 3);
  SetLinkName_bn(b, 0, "Cause");
  EnterFinding_bn(a, 1);
  Text(read, "bif");
  const std::string twice = Reports();
  EXPECT_EQ(twice.substr(0, twice.find('\n')),
            "4 880 WriteNetFormatText_bn: text: BIF cannot hold: numbers of states, titles, findings, names of links, "
            "experience");
  DeleteNodeRelation_bn(b);
  EXPECT_EQ(Text(read, "bif"), "");
  DeleteNode_bn(a);
  EXPECT_EQ(Text(read, "net"), "");
  EXPECT_EQ(Reports(5),
            "5 883 WriteNetFormatText_bn: text: node 'B' has no whole table: none was given\n"
            "5 884 WriteNetFormatText_bn: text: node 'B' has a parent that was removed\n");
}

}  // namespace
}  // namespace bravic::testing
