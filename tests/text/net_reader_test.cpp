#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "Bn/model/Records.h"
#include "Bn/model/Undo.h"
#include "support/files.h"
#include "support/library.h"
#include "support/nets.h"

namespace bravic {
namespace {

using testing::Net;

class NetReaderTest : public testing::LibraryTest {
 protected:
  // The net of a file with that text.
  Net ReadFile(const std::string& text, int options = 0) {
    testing::WriteWhole(directory_.Path("x.dne"), text);
    filespec_ns file = FileNamed_ns(directory_.Path("x.dne").c_str(), env);
    Net net(ReadNet_bn(file, options));
    FreeFileSpec_ns(file);
    return net;
  }
  // Of a file whose net "t" has those statements, the first of them on line 3.
  Net Read(const std::string& statements, int options = 0) {
    return ReadFile("// ~->[DNET-1]->~\nbnet t {\n" + statements + "\n};\n", options);
  }
  // Reports without what every one of a file begins with.
  std::string Found() {
    std::string found = Reports(3);
    for (const char* first : {"ReadNet_bn: Error", "ReadNet_bn: While"}) {
      const std::string prefix = first + (" reading file '" + directory_.Path("x.dne") + "':  ");
      for (std::size_t at; (at = found.find(prefix)) != std::string::npos;) found.erase(at, prefix.size());
    }
    return found;
  }
  std::vector<float> Table(const Net& net, const char* node) { return testing::GetTable(testing::Named(net, node)); }

 private:
  testing::TemporaryDirectory directory_;
};

// A node of two states without parents, to be one.
constexpr char A[] = "node a {discrete = TRUE; states = (x, y); probs = (0.5, 0.5);};\n";
// One of three states that comes after it.
constexpr char B[] = "node b {discrete = TRUE; states = (p, q, r); probs = (0.25, 0.25, 0.5);};\n";
// A child of both whose table is what follows; its statement stands on line 5.
std::string Child(const std::string& table) {
  return std::string(A) + B + "node c {discrete = TRUE; states = (m, n); parents = (a, b); " + table + ";};";
}
std::string Lone(const std::string& statements) {
  return "node a {" + statements + "};";
}

TEST_F(NetReaderTest, ReportsWhatIsWrongWithAFile) {
  const struct {
    const char *text, *reports;
  } rows[] = {
      {"", "5 1033 missing or ill-formed file type indicator\n"},
      {"a\n\n// ~->[DNET]->~\n", "5 1033 missing or ill-formed file type indicator\n"},
      {"one\ntwo\nthree\n// ~->[DNET-1]->~\nbnet t {};", "5 1033 missing or ill-formed file type indicator\n"},
      {"one\nno\n\n//\ntwo\n// ~->[DNET-1]->~\n", ""},
      {"// ~->[CASE-1]->~\n", "5 1000 not a DNET file (it is a CASE file)\n"},
      {"// ~->[DNET-2]->~\nbnet t {};",
       "4 1043 ReadNet_bn: This bnet is stored using a new version of file format. It may not read completely\n"},
      {"// ~->[DNET-1]->~\n bnet t {} x y; bnet u {} }",
       "5 1011 missing semicolon at end of bnet 't', line 2\n4 1002 unknown object 'x' in DNET file, line 2\n"
       "5 1011 missing semicolon at end of bnet 'u', line 2\n5 1001 illegal symbol read: '}' in DNET file, line 2\n"},
      {"// ~->[DNET-1]->~\nfoo {a;} ;\nbar (",
       "4 1002 unknown object 'foo' in DNET file, line 2\n"
       "4 1002 unknown object 'bar' in DNET file, line 3\n"
       "5 1157 missing semicolon on line 3\n"},
      {"// ~->[DNET-1]->~\n= x;", "5 1001 illegal symbol read: '=' in DNET file, line 2\n"},
      {"// ~->[DNET-1]->~\nHexNumbers bnet t {};", "5 1157 missing semicolon on line 2\n"},
      {"// ~->[DNET-1]->~\nbnet t node;", "5 1003 missing '{' for bnet 't' on line 2\n"},
      {"// ~->[DNET-1]->~\nbnet 2 + {};",
       "5 1024 illegal `name` '2' in bnet '', line 2\n"
       "5 1003 missing '{' for bnet 'x' on line 2\n"},
      {"// ~->[DNET-1]->~\nbnet t {\nnode a {\n",
       "5 1020 no closing '}' for node 'a', starting on line 3\n"
       "5 1010 no terminating '}' for BNet 't'\n"},
      {"// ~->[DNET-1]->~\nbnet t {};\n/* x", "5 199 unterminated comment, starting with '/*', on line 3\n"},
      {"// ~->[DNET-1]->~\nbnet t {};\n/# */", "5 199 unterminated comment, starting with '/#', on line 3\n"},
  };
  for (const auto& row : rows) {
    ReadFile(row.text);
    EXPECT_EQ(Found(), row.reports) << row.text;
  }
  ReadFile("// ~->[DNET-0]->~\n");
  EXPECT_NE(Found().find("x.dne has an illegal version number (=0)"), std::string::npos);
  ReadFile("// ~->[DNETS-1]->~\n");
  EXPECT_NE(Found().find("x.dne is of an unknown type ('DNETS')"), std::string::npos);
}

TEST_F(NetReaderTest, ReportsAFileThatIsNotThere) {
  filespec_ns file = FileNamed_ns("/no/such.dne", env);
  EXPECT_EQ(ReadNet_bn(file, 0), nullptr);
  EXPECT_EQ(Reports(), "5 2012 ReadNet_bn: Error reading file '/no/such.dne':  file '/no/such.dne' does not exist\n");
  EXPECT_EQ(ReadNet_bn(nullptr, 0), nullptr);
  EXPECT_EQ(Reports(), "5 5103 ReadNet_bn: NULL passed for filespec_ns\n");
  FreeFileSpec_ns(file);
}

struct Fault {
  std::string statements;
  const char* reports;
};

TEST_F(NetReaderTest, ReportsWhatIsWrongWithStatements) {
  const Fault rows[] = {
      // Of the net.
      {"title \"x\";", "5 1006 missing '=' for `title` statement in bnet 't', line 3\n"},
      {"title = \"x\"; title = \"y\";", "5 1023 more than one `title` statement for bnet 't', line 3\n"},
      {"title = \"x\"\nlocked = TRUE;", "5 1009 missing semicolon after `title` statement of net 't', line 4\n"},
      {"title = x;", "5 195 missing structure in `title` statement of bnet 't', should start with '\"' on line 3\n"},
      {"title = \"x;",
       "5 197 unterminated quote (\") in `title` statement of bnet 't', line 3\n"
       "5 1010 no terminating '}' for BNet 't'\n"},
      {"locked = YES;",
       "5 182 illegal value 'YES' in `locked` statement of bnet 't' (should be TRUE or FALSE), line 3\n"},
      {"eqncontext = 1;", "5 1131 Cannot yet parse `eqncontext` field of bnet\n"},
      {"numdimensions = 3a;", "5 187 illegal number '3a' in `numdimensions` statement of bnet 't', line 3\n"},
      {"numdimensions = 3000000000;",
       "5 187 illegal number '3000000000' in `numdimensions` statement of bnet 't', line 3\n"},
      {"colour = {red; green;};", "4 1005 unknown data field: 'colour' in bnet 't', line 3\n"},
      {", locked = TRUE;", "5 1004 unexpected punctuation ',' in bnet 't', line 3\n"},
      {"define = node a {};", "5 1044 unexpected punctuation '=' in bnet 't', line 3\n"},
      {"ElimOrder = (z);", "5 181 undefined node 'z' in `ElimOrder` statement of bnet 't', line 3\n"},
      {"define node d {}; ElimOrder = (d);",
       "5 1077 a DEFINED node 'd' appears in the `ElimOrder` list of bnet 't', line 3\n"},
      {std::string(A) + B + "ElimOrder = (b);",
       "5 191 list has too few elements (has 1, should have 2) in `ElimOrder` statement of bnet 't', line 5\n"},
      {std::string(A) + "ElimOrder = (a, a);",
       "5 1024 illegal value 'a' for `ElimOrder` statement in bnet 't', line 4\n"},
      {"ElimOrder = a;", "5 194 missing open parenthesis in `ElimOrder` statement of bnet 't', line 3\n"},
      {"ElimOrder = (a", "5 193 missing close parenthesis in `ElimOrder` statement of bnet 't', starting line 3\n"},
      {"ElimOrder = (a b);", "5 190 missing comma in `ElimOrder` statement of bnet 't', line 3\n"},
      {"ElimOrder = (a,,b);",
       "5 189 list should not contain empty string in `ElimOrder` statement of bnet 't', line 3\n"},
      {"ElimOrder = (a:b);", "5 188 illegal punctuation ':' in `ElimOrder` statement of bnet 't', line 3\n"},
      // Of the head and the end of a node.
      {"node = a {};", "5 1045 unexpected punctuation '=' in bnet 't', line 3\n"},
      {"node a-b {};", "5 1024 illegal `name` 'a-b' in bnet 't', line 3\n"},
      {std::string(A) + A, "5 1012 duplicate node name 'a' of bnet 't', line 4\n"},
      {"node a x;", "5 1013 missing '{' for node 'a' on line 3\n"},
      {"node a (d) {};",
       "5 1047 declaration of node 'a' tries to inherit from node 'd' before it is defined, on line 3\n"},
      {"node a (=) {};", "5 1046 unexpected punctuation '=' in node 'a', line 3\n"},
      {"node a {} locked = TRUE;", "5 1007 missing semicolon at end of node 'a', line 3\n"},
      {"param a {} locked = TRUE;", "5 1008 missing semicolon at end of param 'a', line 3\n"},
      // Of nodes.
      {Lone("| kind = NATURE;"), "5 1014 unexpected punctuation '|' in node 'a', line 3\n"},
      {Lone("colour = red;"), "4 1005 unknown data field: 'colour' in node 'a', line 3\n"},
      {Lone("visual = (1, 2);"), "5 1015 Cannot yet parse `visual` field of node\n"},
      {Lone("kind NATURE;"), "5 1016 missing '=' for `kind` in node 'a', line 3\n"},
      {Lone("kind = NATURE; kind = UTILITY;"), "5 1018 more than one `kind` statement for node 'a', line 3\n"},
      {Lone("kind = NATURE locked = TRUE;"), "5 1019 missing semicolon after `kind` statement of node 'a', line 3\n"},
      {Lone("kind = NATURAL;"), "5 1024 illegal `kind` 'NATURAL' in node 'a', line 3\n"},
      {Lone("measure = BIG;"), "5 1024 illegal value 'BIG' for `measure` statement in node 'a', line 3\n"},
      {Lone("discrete = true; states = (x);"),
       "5 1025 illegal value 'true' for `discrete` statement in node 'a', line 3\n"},
      {Lone("discrete = TRUE;"), "5 1022 missing `numstates` statement for node 'a'\n"},
      {Lone("numstates = 0;"),
       "5 1026 `numstates` stated to be 0, but it must not be less than 1, in node 'a', line 3\n"},
      {Lone("numstates = 99999999;"),
       "5 183 number 99999999 too large (must be less than 16777217) in `numstates` statement of node 'a', line 3\n"},
      {Lone("states = (x, y); numstates = 3;"),
       "5 1027 `numstates` stated to be 3, but other statements imply it is 2 for node 'a', line 3\n"},
      {Lone("numstates = 3; states = (x, y);"),
       "5 1028 there are 3 states, but 2 names in `states` statement for node 'a', line 3\n"},
      {Lone("states = ();"),
       "5 191 list has too few elements (has 0, should have 1) in `states` statement of node 'a', "
       "line 3\n"},
      {Lone("states = (x, y, x);"), "5 1024 illegal value 'x' for `states` statement in node 'a', line 3\n"},
      {Lone("states = (x, 2y);"), "5 1024 illegal value '2y' for `states` statement in node 'a', line 3\n"},
      {Lone("discrete = TRUE; states = (x, y);\nlevels = (1, 2, 3);"),
       "5 1029 `levels` statement has 3 entries, but there should be 2, because node 'a' has 2 states and is DISCRETE, "
       "line 4\n"},
      {Lone("discrete = FALSE; levels = (1);"),
       "5 1076 `levels` statement has 1 entries, but minimum is 2, because node 'a' is CONTINUOUS, line 3\n"},
      {Lone("levels = (1, 2);\ndiscrete = TRUE; states = (x, y);"),
       "5 1021 missing `discrete` statement before `levels` statement in node 'a', line 3\n"},
      {Lone("discrete = FALSE; levels = (1, two);"),
       "5 184 'two' is not a legal number (2th number in `levels` statement of node 'a'), line 3\n"},
      {Lone("discrete = FALSE; levels = (1, @two);"), "5 1090 unknown escape name 'two'\n"},
      {std::string(A) + "node b {parents = (a); inputs = (u, v);};",
       "5 1031 there are 1 parents, but 2 names in `inputs` statement for node 'b', line 4\n"},
      {std::string(A) + "node b {numparents = 2; parents = (a);};",
       "5 1032 `numparents` stated to be 2, but other statements imply it is 1 for node 'b', line 4\n"},
      {"define node d {};\nnode b {parents = (d);};",
       "5 1038 A DEFINED node 'd' appears in the `parents` list of node 'b', line 4\n"},
      {"define node d {};\nnode b {children = (d);};",
       "5 1077 a DEFINED node 'd' appears in the `children` list of node 'b', line 4\n"},
      {Lone("parents = (z);"), "5 181 undefined node 'z' in `parents` statement of node 'a', line 3\n"},
      {Lone("discrete = FALSE; evidence = x;"),
       "5 1035 there should not be an `evidence` statement for node 'a' because it is not a discrete or discretized "
       "variable, line 3\n"},
      {Lone("states = (x, y); evidence = z;"),
       "5 1036 unknown label 'z' in `evidence` statement of node 'a', line 3\n"},
      {Lone("evidence = x; states = (x, y);"),
       "5 1021 missing `states` statement before `evidence` statement in node 'a', line 3\n"},
      {Lone("states = (x, y); likelihood = (1);"),
       "5 1093 `likelihood` statement has 1 entries, but there should be 2, because node 'a' has that many states, "
       "line 3\n"},
      {Lone("states = (x, y); belief = (1, 0, 0);"),
       "5 1160 `belief` statement has 3 entries, but there should be 2, because node 'a' has that many states, line "
       "3\n"},
      {Lone("states = (x, y); likelihood = (1, -z);"),
       "5 777 illegal number '-z' in `likelihood` statement of node 'a', line 3\n"},
      {Lone("states = (x, y); likelihood = (0, 0);"),
       "5 777 likelihood consists of all zeroes in `likelihood` statement of node 'a', line 3\n"},
      {Lone("discrete = FALSE; levels = (1, 2); value = 3;"),
       "5 777 a value outside all levels in `value` statement of node 'a', line 3\n"},
      // Of tables as wholes.
      {Lone("discrete = FALSE; probs = (1);"),
       "5 1092 node 'a' has a `probs` statement, but it shouldn't because it is not a discrete or discretized "
       "variable, "
       "line 3\n"},
      {"node a {discrete = FALSE;};\nnode b {states = (x, y); parents = (a); probs = (1, 0);};",
       "5 1091 node 'b' has a `probs` statement, but it shouldn't because it has a parent ('a') which is not a "
       "discrete "
       "or discretized variable, line 4\n"},
      {std::string(A) + "node b {states = (x, y); probs = (1, 0);\nparents = (a);};",
       "5 1053 `probs` statement for node 'b' should appear after PREDS, line 4\n"},
      {Lone("probs = (1, 0); states = (x, y);"),
       "5 1021 missing `states` statement before `probs` statement in node 'a', line 3\n"},
      {Lone("states = (x, y); parents = (z);\nprobs = (1, 0);"),
       "5 181 undefined node 'z' in `parents` statement of node 'a', line 3\n"
       "5 1074 can't read `probs` statement, because there is no `parents` statement in node 'a', line 4\n"},
      {Lone("discrete = TRUE; states = (x, y); functable = (x, y);"),
       "5 1089 too many items in list, or missing ')', within `functable` statement for [] of node 'a', line 3\n"},
      {Lone("discrete = TRUE; states = (x, y); numcases = ((3));"),
       "5 1039 too many open parenthesis (are 2, but should be 1) within `numcases` statement for [] of node 'a', line "
       "3\n"},
      {"define node d {states = (x, y);}; node a (d) {numstates = 3;};",
       "5 1054 `numstates` statement for node 'a' already inherited, line 3\n"},
      {"define node d {states = (x, y);}; node a (d) {evidence = y;\nstates = (u, v);};",
       "5 1017 `states` statement for node 'a' should appear earlier, line 4.  Or reread with 'Inherit in First Pass' "
       "off\n"},
  };
  for (const Fault& row : rows) {
    EXPECT_NE(Read(row.statements), nullptr) << row.statements;
    const std::string found = Found();
    // A file that ends within a list or a quote has more to complain of.
    EXPECT_EQ(found.substr(0, std::strlen(row.reports)), row.reports) << row.statements;
    if (row.statements.back() == ';') {
      EXPECT_EQ(found, row.reports) << row.statements;
    }
  }
}

TEST_F(NetReaderTest, ReportsWhatIsWrongWithTables) {
  const struct {
    const char *table, *report;
  } rows[] = {
      {"probs = ((((0.5, 0.5))))",
       "5 1039 too many open parenthesis (are 4, but should be 3) within `probs` statement for [a=any-value, "
       "b=any-value] "
       "of node 'c', line 5\n"},
      {"probs = (((0.5, 0.5), ((0.5, 0.5))))",
       "5 1039 too many open parenthesis (are 2, but should be 1) within `probs` statement for [a=x, b=q] of node 'c', "
       "line 5\n"},
      {"probs = ((0.5, =))",
       "5 1040 unexpected punctuation '=' in `probs` statement for [a=x, b=any-value] of node 'c', "
       "line 5\n"},
      {"probs = ((0.5, 0.5), (0.5, 0.4))",
       "5 1042 sum of probabilities isn't 1 in `probs` statement for [a=y, b=any-value] of node 'c', line 5\n"},
      {"probs = ((2, -0.5), (0.5, 0.5))",
       "5 1042 has a negative probability, has a probability greater than 1, sum of probabilities isn't 1 in "
       "`probs` statement for [a=x, "
       "b=any-value] "
       "of node 'c', line 5\n"},
      {"probs = (((0.5, 0.5)); evidence = m",
       "5 1048 only 2 close parenthesis (but should be 3) within `probs` statement for [a=x, b=any-value] of node 'c', "
       "line 5\n"},
      {"probs = ((0.5), (0.5, 0.5))",
       "5 1049 not enough entries in `probs` statement for [a=x, b=any-value] of node 'c', line 5\n"},
      {"probs = (((0.5, 0.5), (0.5, 0.5), (0.5, 0.5)), ((0.5, 0.5), (0.5, 0.5)))",
       "5 1051 too many close parenthesis (should be 1) within `probs` statement for [a=y, b=q] of node 'c', line 5\n"},
      {"functable = (((m)))",
       "5 1039 too many open parenthesis (are 3, but should be 2) within `functable` statement for [a=any-value, "
       "b=any-value] of node 'c', line 5\n"},
      {"functable = ((m, n), (m, n, m))",
       "5 1051 too many close parenthesis (should be 0) within `functable` statement for [a=x, b=q] of node 'c', line "
       "5\n"},
      {"probs = ((0.5, 0.5) (0.5, 0.5))",
       "5 1050 missing comma (,) in `probs` statement for [a=x, b=any-value] of node 'c', line 5\n"},
      {"probs = ((0.5 0.5), (0.5, 0.5))",
       "5 1050 missing comma (,) in `probs` statement for [a=x, b=any-value] of node 'c', line 5\n"},
      {"probs = ((0.5, 0.5), (0.5, 0.5)))",
       "5 1052 extra close parenthesis at end of `probs` statement for node 'c', line "
       "5\n"},
      {"probs = (0.5, 0.5))", "5 1052 extra close parenthesis at end of `probs` statement for node 'c', line 5\n"},
      {"probs = ((0.5, @half))",
       "5 1087 unknown escape name 'half' in `probs` statement for [a=x, b=any-value] of node 'c', line 5\n"},
      {"functable = ((m, n, o), m)",
       "5 1088 unknown state name 'o' in `functable` statement for [a=x, b=r] of node 'c', line 5\n"},
      {"functable = ((m, n, #2), m)",
       "5 1088 unknown state name '#2' in `functable` statement for [a=x, b=r] of node 'c', line 5\n"},
      {"probs = ((0.5, 0.25, 0.25), (0.5, 0.5))",
       "5 1089 too many items in list, or missing ')', within `probs` statement for [a=x, b=any-value] of node 'c', "
       "line "
       "5\n"},
      {"probs = ((0.5, 0.5), (0.5, 0.5), (0.5, 0.5))",
       "5 1089 too many items in list, or missing ')', within `probs` statement for [a=y, b=any-value] of node 'c', "
       "line "
       "5\n"},
      {"probs = (0.5, 0.5, 1, 0)",
       "5 1049 not enough entries in `probs` statement for [a=x, b=r] of node 'c', line 5\n"},
      {"probs = (1,0, 1,0, 1,0, 1,0, 1,0, 1,0, 1)",
       "5 1089 too many items in list, or missing ')', within FLAT `probs` statement for [a=y, b=r] of node 'c', line "
       "5\n"},
      {"probs = (1,0, 1,0, 1,0, 1,0, 1,0, 1,0; evidence = m",
       "5 1048 only 0 close parenthesis (but should be 1) within FLAT `probs` statement for [a=y, b=r] of node 'c', "
       "line "
       "5\n"},
      {"probs = (1,0, 1,0, 1,1)",
       "5 1042 sum of probabilities isn't 1 in `probs` statement for [a=x, b=r] of node 'c', line 5\n"},
      {"probs = (0.5, half)",
       "5 187 illegal number 'half' in `probs` statement for [a=any-value, b=any-value] of node 'c', line 5\n"},
      {"probs = 0.5",
       "5 194 missing open parenthesis in `probs` statement for [a=any-value, b=any-value] of node 'c', "
       "line 5\n"},
      {"numcases = (3, -2)",
       "5 1042 negative experience in `numcases` statement for [a=y, b=any-value] of node 'c', line 5\n"},
  };
  for (const auto& row : rows) {
    const Net net = Read(Child(row.table));
    EXPECT_EQ(Found(), row.report) << row.table;
    ASSERT_NE(net, nullptr) << row.table;
    EXPECT_FALSE(HasRelation_bn(testing::Named(net, "c"))) << row.table;
  }
}

TEST_F(NetReaderTest, RefusesTablesBeyondMemory) {
  std::string statements;
  for (char name : {'a', 'b', 'c'})
    statements += std::string("node ") + name + " {discrete = TRUE; numstates = 60000;};\n";
  Net net = Read(statements + "node d {states = (x, y); parents = (a, b, c); probs = (1, 0);};");
  EXPECT_EQ(Found(), "5 1094 not enough memory to read table of node 'd' (1.6875e+12 K bytes needed)\n");
}

TEST_F(NetReaderTest, GoesOnBehindABadStatement) {
  Net net = Read(Child("colour = (a; b); kind = UNNATURAL; probs = ((0.5); numcases = 3; title = \"T\""));
  EXPECT_NE(Found(), "");
  EXPECT_STREQ(GetNodeTitle_bn(testing::Named(net, "c")), "T");
  const statetype states[] = {1, 2};
  EXPECT_EQ(GetNodeExperience_bn(testing::Named(net, "c"), states), 3);
}

TEST_F(NetReaderTest, GroupsStandForAllTheConfigurationsBelowThem) {
  const std::vector<float> h(12, 0.5f), byA = {1, 0, 1, 0, 1, 0, 0, 1, 0, 1, 0, 1};
  const std::vector<float> byB = {1, 0, 0, 1, .5f, .5f, 1, 0, 0, 1, .5f, .5f};
  const std::vector<float> all = {.1f, .9f, .2f, .8f, .3f, .7f, .4f, .6f, .5f, .5f, .6f, .4f};
  const struct {
    const char* table;
    const std::vector<float>& rows;
  } rows[] = {
      {"probs = (0.5, 0.5)", h},
      {"probs = ((0.5, 0.5))", h},
      {"probs = (((0.5, 0.5)))", h},
      {"probs = ((1, 0), (0, 1))", byA},
      {"probs = (((1, 0)), (0, 1))", byA},
      {"probs = (((1, 0), (0, 1), (0.5, 0.5)))", byB},
      {"probs = (1, 0, 1, 0, 1, 0, 0, 1, 0, 1, 0, 1)", byA},
      {"probs = // a comment; with (marks)\n(((.1, /* c */ .9), // row\n (2e-1, 0.80000000), (0.3,+.7)), ((.4, .6),\n"
       "(.5,0.5),(0.6000,0.4)))//\n",
       all},
      {"functable = n", {}},
      {"functable = (m, n)", {}},
      {"functable = ((m, #0, m), (n))", {}},
      {"functable = (m, (n, n, n))", {}},
      {"functable = (m, m, m, n, n, n)", {}},
  };
  for (const auto& row : rows) {
    const Net net = Read(Child(row.table));
    EXPECT_EQ(Found(), "") << row.table;
    if (!row.rows.empty()) {
      EXPECT_EQ(Table(net, "c"), row.rows) << row.table;
      continue;
    }
    const node_bn c = testing::Named(net, "c");
    for (int i = 0; i < 6; i++) {
      const statetype states[] = {i / 3, i % 3};
      EXPECT_EQ(GetNodeFuncValue_bn(c, states), i / 3 || std::string_view(row.table) == "functable = n") << row.table;
    }
  }
}

TEST_F(NetReaderTest, ReadsEscapesAndSpecialEntries) {
  const Net net = Read(Child("probs = ((@imposs, x), (@undef, ?)); numcases = ((1, @undef, 2.5), 0)"));
  const std::vector<float> rows = Table(net, "c");
  EXPECT_EQ(std::vector<float>(rows.begin(), rows.begin() + 6), std::vector<float>(6, IMPOS_PROB));
  EXPECT_EQ(std::vector<float>(rows.begin() + 6, rows.end()), std::vector<float>(6, UNDEF_PROB));
  const statetype second[] = {0, 1}, third[] = {0, 2};
  const node_bn c = testing::Named(net, "c");
  EXPECT_EQ(GetNodeExperience_bn(c, second), undef_dbl_ns);
  EXPECT_EQ(GetNodeExperience_bn(c, third), 2.5);
  const Net utility = Read(std::string(A) +
                           "node u {kind = UTILITY; discrete = FALSE; parents = (a); functable = "
                           "(-inf, @undef);};");
  EXPECT_EQ(testing::Named(utility, "u")->determinv[0], -HUGE_VALF);
  EXPECT_EQ(testing::Named(utility, "u")->determinv[1], UNDEF_PROB);
}

TEST_F(NetReaderTest, ResolvesNamesOfLaterNodes) {
  const Net net = Read(
      "ElimOrder = (c, b, a); node c {discrete = TRUE; states = (m, n); inputs = (u, ); parents = (b, a); "
      "probs = (((1, 0), (0, 1)));};\n" +
      std::string(A) + B);
  EXPECT_EQ(Found(), "");
  const node_bn c = testing::Named(net, "c"), b = testing::Named(net, "b");
  EXPECT_EQ(Table(net, "c"), (std::vector<float>{1, 0, 0, 1, 1, 0, 0, 1, 1, 0, 0, 1}));
  EXPECT_EQ(testing::Nodes(GetNodeChildren_bn(b)), std::vector<node_bn>{c});
  EXPECT_STREQ(GetLinkName_bn(c, 0), "u");
  EXPECT_EQ(NthNode_bn(GetNetElimOrder_bn(net.get()), 2), testing::Named(net, "a"));
  EXPECT_EQ(testing::Nodes(net), (std::vector<node_bn>{b, testing::Named(net, "a"), c}));
}

TEST_F(NetReaderTest, KeepsTheOrderOfAFileThatListsParentsFirst) {
  const Net net = Read(std::string(A) + "node z {};" + B + Child("").substr(std::strlen(A) + std::strlen(B)) +
                       "node y {states = (v, w); parents = (z, a);};");
  Found();
  std::string order;
  for (node_bn node : testing::Nodes(net)) order += GetNodeName_bn(node);
  EXPECT_EQ(order, "azbcy");
}

TEST_F(NetReaderTest, ReadsTheFieldsOfNetsAndNodes) {
  const Net net = Read(
      "title = \"A \\\"title\\\" \\\\\"; comment = \"one\\n\\\n\t\ttwo\\\r\n \\ three\"; autoupdate = TRUE; "
      "whenchanged = "
      "4000000000; backcomments = (u,v);\n"
      "node a {kind = DECISION; discrete = FALSE; measure = RATIO; chance = GAUSSIAN; states = (low, , high); levels = "
      "(- inf, 0, 1.5, inf); units = \"mg\"; value = 1; author = \"me\"; locked = TRUE;};\n"
      "node b {discrete = TRUE; states = (x, y); levels = (3, 4); evidence = y; belief = (.5, .5);};\n"
      "node c {discrete = DISCRETE; states = (x, y, z); likelihood = (1, 0, 0.5);};\n"
      "node d {discrete = TRUE; numstates = 4; evidence = #3;};\n");
  EXPECT_EQ(Found(), "");
  EXPECT_STREQ(GetNetTitle_bn(net.get()), "A \"title\" \\");
  EXPECT_STREQ(GetNetComment_bn(net.get()), "one\ntwo three");
  EXPECT_EQ(net->autoupdate, 1);
  EXPECT_EQ(net->whenchanged, 4000000000u);
  EXPECT_STREQ(net->backcomments, "(u, v)");
  const node_bn a = testing::Named(net, "a"), b = testing::Named(net, "b"), c = testing::Named(net, "c");
  EXPECT_EQ(std::vector<int>({a->kind, a->discrete, a->measure, a->chance, a->numstates, a->locked}),
            (std::vector<int>{DECISION_NODE, CONTINUOUS, RATIO, GAUSSIAN, 3, 1}));
  EXPECT_EQ(std::vector<double>(a->levels, a->levels + 4), (std::vector<double>{-inf_dbl_ns, 0, 1.5, inf_dbl_ns}));
  EXPECT_STREQ(GetNodeStateName_bn(a, 1), "");
  EXPECT_STREQ(a->units, "mg");
  EXPECT_EQ(GetNodeValue_bn(a), 1);
  EXPECT_EQ(a->evidence, 1);
  EXPECT_EQ(GetNodeFinding_bn(b), 1);
  EXPECT_EQ(GetNodeValue_bn(b), 4);
  EXPECT_EQ(b->belief[1], 1);
  EXPECT_EQ(GetNodeLikelihood_bn(c)[2], 0.5f);
  EXPECT_EQ(GetNodeFinding_bn(testing::Named(net, "d")), 3);
  EXPECT_EQ(net->numEvidence, 3);
  EXPECT_EQ(net->numLikelihood, 1);
  EXPECT_FALSE(net->dirty);
  EXPECT_EQ(UndoSequence(net.get()), 0);
}

TEST_F(NetReaderTest, ReadsHexadecimalIntegers) {
  const struct {
    const char* head;
    int numstates;
  } rows[] = {{"HexNumbers;", 16}, {"HexNumbers = TRUE;", 16}, {"HexNumbers = FALSE;", 10}, {"", 10}};
  for (const auto& row : rows) {
    const Net net = ReadFile("// ~->[DNET-1]->~\n" + std::string(row.head) +
                             "bnet t {node a {discrete = TRUE; numstates = "
                             "10; probs = (1,0,0,0,0,0,0,0,0,0" +
                             (row.numstates == 16 ? ",0,0,0,0,0,0" : "") + ");};};");
    EXPECT_EQ(Found(), "") << row.head;
    EXPECT_EQ(GetNodeNumberStates_bn(testing::Named(net, "a")), row.numstates) << row.head;
  }
}

TEST_F(NetReaderTest, TheLastNetOfAFileIsAnswered) {
  const Net net = ReadFile("// ~->[DNET-1]->~\nbnet first {" + std::string(A) + "}; bnet last {" + B + "};");
  EXPECT_STREQ(GetNetName_bn(net.get()), "last");
  EXPECT_EQ(LengthNodeList_bn(GetNetNodes_bn(net.get())), 1);
}

TEST_F(NetReaderTest, NodesInheritFromDefineNodes) {
  const std::string defines =
      "define node d {kind = NATURE; discrete = TRUE; states = (x, y); title = \"of d\"; probs = (0.25, 0.75);};\n"
      "define node e (d) {title = \"of e\"; comment = \"c\";};\n";
  for (int options : {0, 1}) {
    const Net net = Read(defines + "node a (d, e) {};\nnode b (e) {states = (u, v, w);};\n" +
                             "node c (e) {states = (x, z); probs = (1, 0);};",
                         options);
    EXPECT_EQ(Found(), "");
    EXPECT_EQ(net->defines.num, 2);
    const node_bn a = testing::Named(net, "a"), b = testing::Named(net, "b"), c = testing::Named(net, "c");
    EXPECT_STREQ(GetNodeTitle_bn(a), "of d");
    EXPECT_STREQ(GetNodeComment_bn(a), "c");
    EXPECT_EQ(Table(net, "a"), (std::vector<float>{0.25f, 0.75f}));
    EXPECT_EQ(a->fields[NODE_PROBS], FIELD_INHERITED);
    EXPECT_STREQ(GetNodeTitle_bn(b), "of e");
    EXPECT_STREQ(GetNodeStateName_bn(b, 2), "w");
    EXPECT_FALSE(HasRelation_bn(b)) << "a table of another size is not inherited";
    EXPECT_EQ(Table(net, "c"), (std::vector<float>{1, 0}));
    EXPECT_STREQ(GetNodeStateName_bn(c, 1), "z");
    EXPECT_EQ(c->fields[NODE_STATES], FIELD_READ);
  }
}

TEST_F(NetReaderTest, InheritedParentsBecomeTheNodesOwn) {
  const Net net = Read(
      "define node d {discrete = TRUE; states = (x, y); inputs = (u); parents = (b); probs = ((1, 0), (0, "
      "1), (1, 0));};\nnode c (d) {};\n" +
      std::string(B));
  EXPECT_EQ(Found(), "");
  const node_bn b = testing::Named(net, "b"), c = testing::Named(net, "c");
  EXPECT_EQ(testing::Nodes(GetNodeChildren_bn(b)), std::vector<node_bn>{c});
  EXPECT_EQ(Table(net, "c"), (std::vector<float>{1, 0, 0, 1, 1, 0}));
  EXPECT_STREQ(GetLinkName_bn(c, 0), "u");
  DeleteNode_bn(b);
  EXPECT_EQ(net->defines.ar[0]->preds.num, 0);
}

TEST_F(NetReaderTest, PlaceholdersStandForMissingParents) {
  const Net net = Read(
      "param gone {discrete = TRUE; states = (x, y);};\n"
      "node c {discrete = TRUE; states = (m, n); parents = (gone); probs = ((1, 0), (0, 1));};");
  EXPECT_EQ(Found(), "");
  EXPECT_EQ(LengthNodeList_bn(GetNetNodes_bn(net.get())), 1);
  EXPECT_EQ(NodeNamed_bn("gone", net.get()), nullptr);
  const node_bn parent = NthNode_bn(GetNodeParents_bn(testing::Named(net, "c")), 0);
  EXPECT_EQ(TagOf(parent), STUB_TAG);
  EXPECT_STREQ(GetNodeStateName_bn(parent, 1), "y");
}

TEST_F(NetReaderTest, ReadsEveryBenchmarkNet) {
  const auto paths = testing::BenchmarkNets();
  if (paths.empty()) GTEST_SKIP() << "no benchmark nets on this machine";
  for (const std::string& path : paths) {
    filespec_ns file = FileNamed_ns(path.c_str(), env);
    const Net net(ReadNet_bn(file, 0));
    FreeFileSpec_ns(file);
    EXPECT_EQ(Reports(), "") << path;
    ASSERT_NE(net, nullptr) << path;
    for (node_bn node : testing::Nodes(net)) EXPECT_TRUE(HasRelation_bn(node)) << path << " " << GetNodeName_bn(node);
  }
}

}  // namespace
}  // namespace bravic
