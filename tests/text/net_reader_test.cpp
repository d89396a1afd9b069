
#include "Bn/model/Records.h"
#include "Bn/model/Undo.h"
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

class NetReaderTest : public NetTest {
 protected:
  // Of a file whose net "t" has those statements, the first of them on line 3.
  Net ReadNet(const std::string& statements, int options = 0) {
    return Read("// ~->[DNET-1]->~\nbnet t {\n" + statements + "\n};\n", options);
  }
  // What was reported, without what every report of a file begins with.
  std::string Found() {
    std::string found = Reports(3);
    for (const char* first : {"ReadNet_bn: Error", "ReadNet_bn: While"}) {
      const std::string prefix = first + (" reading file '" + directory.Path("x.dne") + "':  ");
      for (std::size_t at; (at = found.find(prefix)) != std::string::npos;) found.erase(at, prefix.size());
    }
    return GistOf(found);
  }
};

// A node of two states without parents, to be one.
constexpr char A[] = "node a {discrete = TRUE; states = (x, y); probs = (0.5, 0.5);};\n";
// One of three states that comes after it.
constexpr char B[] = "node b {discrete = TRUE; states = (p, q, r); probs = (0.25, 0.25, 0.5);};\n";
// A child of both whose table is what follows; its statement stands on line 5.
std::string Child(const std::string& table) {
  return std::string(A) + B + "node c {discrete = TRUE; states = (m, n); parents = (a, b); " + table + ";};";
}
// Names that a number tells apart, with a comma behind each.
std::string Many(const std::string& stem, int count) {
  std::string names;
  for (int i = 0; i < count; ++i) names += stem + std::to_string(i) + ", ";
  return names;
}
std::string Lone(const std::string& statements) {
  return "node a {" + statements + "};";
}

TEST_F(NetReaderTest, ReportsWhatIsWrongWithAFile) {
  const struct {
    const char *text, *reports;
  } rows[] = {
      {"", "5 1033"},
      {"a\n\n// ~->[DNET]->~\n", "5 1033"},
      {"one\ntwo\nthree\n// ~->[DNET-1]->~\nbnet t {};", "5 1033"},
      {"one\nno\n\n//\ntwo\n// ~->[DNET-1]->~\n", "5 1162 bnet"},
      {"// ~->[CASE-1]->~\n", "5 1000 DNET CASE"},
      {"// ~->[DNET-2]->~\nbnet t {};", "4 1043 ReadNet_bn"},
      {"// ~->[DNET-1]->~\n bnet t {} x y; bnet u {} }", "5 1011 t 2; 4 1002 x DNET 2; 5 1011 u 2; 5 1001 } DNET 2"},
      {"// ~->[DNET-1]->~\nfoo {a;} ;\nbar (", "4 1002 foo DNET 2; 4 1002 bar DNET 3; 5 1157 3; 5 1162 bnet"},
      {"// ~->[DNET-1]->~\n= x;", "5 1001 = DNET 2; 5 1162 bnet"},
      {"// ~->[DNET-1]->~\n) bnet t {};", "5 1001 ) DNET 2"},
      {"// ~->[DNET-99999999999999999999]->~\nbnet t {};", "4 1043 ReadNet_bn"},
      {"// ~->[DNET-1]->~\nHexNumbers bnet t {};", "5 1157 2"},
      {"// ~->[DNET-1]->~\nbnet t node;", "5 1003 { t 2"},
      {"// ~->[DNET-1]->~\nbnet 2 + {};", "5 1024 name 2  2; 5 1003 { x 2"},
      {"// ~->[DNET-1]->~\nbnet t {\nnode a {\n", "5 1020 } a 3; 5 1010 } t"},
      {"// ~->[DNET-1]->~\nbnet t {};\n/* x", "5 199 /* 3"},
      {"// ~->[DNET-1]->~\nbnet t {};\n/# */", "5 199 /# 3"},
  };
  for (const auto& row : rows) {
    Read(row.text);
    EXPECT_EQ(Found(), row.reports) << row.text;
  }
  const Net nameless = Read(std::string("// ~->[DNET-1]->~\nbnet \0 {};", 28));
  EXPECT_EQ(Found(), "5 1024 name   2");
  EXPECT_STREQ(GetNetName_bn(nameless.get()), "x");
  Read("// ~->[DNET-0]->~\n");
  EXPECT_NE(Reports().find("x.dne has an illegal version number (=0)"), std::string::npos);
  Read("// ~->[DNET--12345678901234567890]->~\n");
  EXPECT_NE(Reports().find("(=-12345678901234567890)"), std::string::npos);
  Read("// ~->[DNETS-1]->~\n");
  EXPECT_NE(Reports().find("x.dne is of an unknown type ('DNETS')"), std::string::npos);
}

TEST_F(NetReaderTest, ReportsAFileThatIsNotThere) {
  EXPECT_EQ(ReadFrom("/no/such.dne"), nullptr);
  EXPECT_EQ(Reports(), "5 2012 ReadNet_bn: Error reading file '/no/such.dne':  file '/no/such.dne' does not exist\n");
}

struct Fault {
  std::string statements;
  const char* reports;
};

TEST_F(NetReaderTest, ReportsWhatIsWrongWithStatements) {
  const Fault rows[] = {
      // Of the net.
      {"title \"x\";", "5 1006 = title t 3"},
      {"title = \"x\"; title = \"y\";", "5 1023 title t 3"},
      {"title = \"x\"\nlocked = TRUE;", "5 1009 title t 4"},
      {"title = x;", "5 195 title t \" 3"},
      {"title = \"x;", "5 197 title t 3; 5 1010 } t"},
      {"locked = YES;", "5 182 YES locked t TRUE FALSE 3"},
      {"eqncontext = 1;", "5 1131 eqncontext"},
      {"numdimensions = 3a;", "5 187 3a numdimensions t 3"},
      {"numdimensions = 3000000000;", "5 187 3000000000 numdimensions t 3"},
      {"colour = {red; green;};", "4 1005 colour t 3"},
      {", locked = TRUE;", "5 1004 , t 3"},
      {"define = node a {};", "5 1044 = t 3"},
      {"ElimOrder = (z);", "5 181 z ElimOrder t 3"},
      {"define node d {}; ElimOrder = (d);", "5 1077 DEFINED d ElimOrder t 3"},
      {std::string(A) + B + "ElimOrder = (b);", "5 191 1 2 ElimOrder t 5"},
      {std::string(A) + "ElimOrder = (a, a);", "5 1024 a ElimOrder t 4"},
      {"ElimOrder = a;", "5 194 ElimOrder t 3"},
      {"ElimOrder = (a", "5 193 ElimOrder t 3"},
      {"ElimOrder = (a b);", "5 190 ElimOrder t 3"},
      {"ElimOrder = (a,,b);", "5 189 ElimOrder t 3"},
      {"ElimOrder = (a:b);", "5 188 : ElimOrder t 3"},
      // Of the head and the end of a node.
      {"node = a {};", "5 1045 = t 3"},
      {"node a-b {};", "5 1024 name a-b t 3"},
      {std::string(A) + A, "5 1012 a t 4"},
      {"node a x;", "5 1013 { a 3"},
      {"node a (d) {};", "5 1047 a d 3"},
      {"node a (=) {};", "5 1046 = a 3"},
      {"node a {} locked = TRUE;", "5 1007 a 3"},
      {"param a {} locked = TRUE;", "5 1008 a 3"},
      // Of nodes.
      {Lone("| kind = NATURE;"), "5 1014 | a 3"},
      {Lone("colour = red;"), "4 1005 colour a 3"},
      {Lone("visual = (1, 2);"), "5 1015 visual"},
      {Lone("kind NATURE;"), "5 1016 = kind a 3"},
      {Lone("kind = NATURE; kind = UTILITY;"), "5 1018 kind a 3"},
      {Lone("kind = NATURE locked = TRUE;"), "5 1019 kind a 3"},
      {Lone("kind = NATURAL;"), "5 1024 kind NATURAL a 3"},
      {Lone("measure = BIG;"), "5 1024 BIG measure a 3"},
      {Lone("discrete = true; states = (x);"), "5 1025 true discrete a 3"},
      {Lone("discrete = TRUE;"), "5 1022 numstates a"},
      {Lone("numstates = 0;"), "5 1026 numstates 0 1 a 3"},
      {Lone("numstates = 99999999;"), "5 183 99999999 16777217 numstates a 3"},
      {Lone("states = (x, y); numstates = 3;"), "5 1027 numstates 3 2 a 3"},
      {Lone("numstates = 3; states = (x, y);"), "5 1028 3 2 states a 3"},
      {Lone("states = ();"), "5 191 0 1 states a 3"},
      {Lone("states = (x, y, x);"), "5 1024 x states a 3"},
      {Lone("states = (x, 2y);"), "5 1024 2y states a 3"},
      {Lone("discrete = TRUE; states = (x, y);\nlevels = (1, 2, 3);"), "5 1029 levels 3 2 a 2 DISCRETE 4"},
      {Lone("discrete = FALSE; levels = (1);"), "5 1076 levels 1 2 a CONTINUOUS 3"},
      {Lone("levels = (1, 2);\ndiscrete = TRUE; states = (x, y);"), "5 1021 discrete levels a 3"},
      {Lone("discrete = FALSE; levels = (1, two);"), "5 184 two 2th levels a 3"},
      {Lone("discrete = FALSE; levels = (1, @two);"), "5 1090 two"},
      {Lone("discrete = FALSE; levels = (1, any);"), "5 184 any 2th levels a 3"},
      {Lone("discrete = FALSE; value = any;"), "5 187 any value a 3"},
      {Lone("discrete = FALSE; numcases = 3;"), "5 1092 a numcases 3"},
      {Lone("states = (x, y), (z); kind = NATURE;"), "5 1019 states a 3"},
      {Lone("states = (x, y); probs = (0, 1); functable = #1;"), "4 1161 probs a functable 3"},
      {Lone("states = (x, y); functable = #1; probs = (0, 1);"), "4 1161 functable a probs 3"},
      {Lone("states = (x, y); evidence = x; likelihood = (1, 2);"), "4 1161 evidence a likelihood 3"},
      {Lone("discrete = FALSE; levels = (1, 2, 3); evidence = #1; value = 1.5;"), "4 1161 evidence a value 3"},
      {Lone("discrete = FALSE; levels = (1, 2, 3); evidence = #1; value = 2.5; kind = NATURE;"), ""},
      {"node A_B {}; node c {parents = (A-B);};", "5 181 A-B parents c 3"},
      {"node A-B {};\nnode c {parents = (A-B, A_B);};", "5 1024 name A-B t 3"},
      {"node " + std::string("\0x", 2) + " {};", "5 1024 name  t 3"},
      {std::string(A) + "node b {parents = (a); inputs = (u, v);};", "5 1031 1 2 inputs b 4"},
      {std::string(A) + "node b {numparents = 2; parents = (a);};", "5 1032 numparents 2 1 b 4"},
      {"define node d {};\nnode b {parents = (d);};", "5 1038 DEFINED d parents b 4"},
      {"define node d {};\nnode b {children = (d);};", "5 1077 DEFINED d children b 4"},
      {Lone("parents = (z);"), "5 181 z parents a 3"},
      {Lone("discrete = FALSE; evidence = x;"), "5 1035 evidence a 3"},
      {Lone("states = (x, y); evidence = z;"), "5 1036 z evidence a 3"},
      {Lone("evidence = x; states = (x, y);"), "5 1021 states evidence a 3"},
      {Lone("states = (x, y); likelihood = (1);"), "5 1093 likelihood 1 2 a 3"},
      {Lone("states = (x, y); belief = (1, 0, 0);"), "5 1160 belief 3 2 a 3"},
      {Lone("states = (x, y); likelihood = (1, -z);"), "5 777 -z likelihood a 3"},
      {Lone("states = (x, y); likelihood = (0, 0);"), "5 777 likelihood a 3"},
      {Lone("discrete = FALSE; levels = (1, 2); value = 3;"), "5 777 value a 3"},
      {Lone("numstates = -1;"), "5 1026 numstates -1 1 a 3"},
      {Lone("numstates = ;"), "5 187  numstates a 3"},
      {Lone("numparents = one;"), "5 187 one numparents a 3"},
      {Lone("numchildren = 2;"), ""},
      {"whenchanged = -1;", "5 187 -1 whenchanged t 3"},
      {"whenchanged = 4294967296;", "5 187 4294967296 whenchanged t 3"},
      {"whenchanged = ;", "5 187  whenchanged t 3"},
      {"node a (d, ) {};", "5 1047 a d 3"},
      {"param p (a) {parents = (a); states = (x);};", "5 1047 p a 3; 5 1015 parents"},
      {Lone("states = (x, y); probs = ((0.5, 0.5));"), "5 1039 2 1 probs [] a 3"},
      {Lone("states = (x, y); numcases = (3, 4);"), "5 1089 ) numcases [] a 3"},
      {Lone("states = (x, y); numcases = (3;"), "5 1019 numcases a 3; 5 1048 0 1 numcases [] a 3"},
      {Lone("states = (x, y); numcases = (3 4);"), "5 1050 numcases [] a 3"},
      {Lone("states = (x, y); numcases = (3 = 4);"), "5 1040 = numcases [] a 3"},
      {Lone("states = (x, y); numcases = 1e39;"), "5 187 1e39 numcases [] a 3"},
      {Lone("states = (x, y); probs = (-inf, 1);"), "5 1042 probs [] a 3"},
      {Lone("states = (x, y); probs = ;"), "5 1049 probs [] a 3"},
      {Lone("states = (x, y); functable = ();"), "5 1049 functable [] a 3"},
      {Lone("states = (" + Many("s", 3000) + "s7);"), "5 1024 s7 states a 3"},
      // Of tables as wholes.
      {Lone("discrete = FALSE; probs = (1);"), "5 1092 a probs 3"},
      {"node a {discrete = FALSE;};\nnode b {states = (x, y); parents = (a); probs = (1, 0);};", "5 1091 b probs a 4"},
      {std::string(A) + "node b {states = (x, y); probs = (1, 0);\nparents = (a);};", "5 1053 probs b PREDS 4"},
      {Lone("probs = (1, 0); states = (x, y);"), "5 1021 states probs a 3"},
      {Lone("states = (x, y); parents = (z);\nprobs = (1, 0);"), "5 181 z parents a 3; 5 1074 probs parents a 4"},
      {Lone("discrete = TRUE; states = (x, y); functable = (x, y);"), "5 1089 ) functable [] a 3"},
      {Lone("discrete = TRUE; states = (x, y); numcases = ((3));"), "5 1039 2 1 numcases [] a 3"},
      {"define node d {states = (x, y);}; node a (d) {numstates = 3;};", "5 1054 numstates a 3"},
      {"define node d {states = (x, y);}; node a (d) {evidence = y;\nstates = (u, v);};",
       "5 1017 states a 4. Inherit in First Pass"},
  };
  for (const Fault& row : rows) {
    EXPECT_NE(ReadNet(row.statements), nullptr) << row.statements;
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
      {"probs = ((((0.5, 0.5))))", "5 1039 4 3 probs [a=any-value, b=any-value] c 5"},
      {"probs = (((0.5, 0.5), ((0.5, 0.5))))", "5 1039 2 1 probs [a=x, b=q] c 5"},
      {"probs = ((0.5, =))", "5 1040 = probs [a=x, b=any-value] c 5"},
      {"probs = ((0.5, 0.5), (0.5, 0.4))", "5 1042 1 probs [a=y, b=any-value] c 5"},
      {"probs = ((2, -0.5), (0.5, 0.5))", "5 1042 1 1 probs [a=x, b=any-value] c 5"},
      {"probs = (((0.5, 0.5)); evidence = m", "5 1048 2 3 probs [a=x, b=any-value] c 5"},
      {"probs = ((0.5), (0.5, 0.5))", "5 1049 probs [a=x, b=any-value] c 5"},
      {"probs = (((0.5, 0.5), (0.5, 0.5), (0.5, 0.5)), ((0.5, 0.5), (0.5, 0.5)))", "5 1051 1 probs [a=y, b=q] c 5"},
      {"functable = (((m)))", "5 1039 3 2 functable [a=any-value, b=any-value] c 5"},
      {"functable = ((m, n), (m, n, m))", "5 1051 0 functable [a=x, b=q] c 5"},
      {"probs = ((0.5, 0.5) (0.5, 0.5))", "5 1050 probs [a=x, b=any-value] c 5"},
      {"probs = ((0.5 0.5), (0.5, 0.5))", "5 1050 probs [a=x, b=any-value] c 5"},
      {"probs = ((0.5, 0.5), (0.5, 0.5)))", "5 1052 probs c 5"},
      {"probs = (0.5, 0.5))", "5 1052 probs c 5"},
      {"probs = ((0.5, 0.5)), (0.5, 0.5))", "5 1051 1 probs [a=any-value, b=any-value] c 5"},
      {"probs = ((0.5, @half))", "5 1087 half probs [a=x, b=any-value] c 5"},
      {"functable = ((m, n, o), m)", "5 1088 o functable [a=x, b=r] c 5"},
      {"functable = ((m, n, #2), m)", "5 1088 #2 functable [a=x, b=r] c 5"},
      {"probs = ((0.5, 0.25, 0.25), (0.5, 0.5))", "5 1089 ) probs [a=x, b=any-value] c 5"},
      {"probs = ((0.5, 0.5), (0.5, 0.5), (0.5, 0.5))", "5 1089 ) probs [a=y, b=any-value] c 5"},
      {"probs = (0.5, 0.5, 1, 0)", "5 1049 probs [a=x, b=r] c 5"},
      {"probs = (1,0, 1,0, 1,0, 1,0, 1,0, 1,0, 1)", "5 1089 ) FLAT probs [a=y, b=r] c 5"},
      {"probs = (1,0, 1,0, 1,0, 1,0, 1,0, 1,0; evidence = m", "5 1048 0 1 FLAT probs [a=y, b=r] c 5"},
      {"probs = (1,0, 1,0, 1,1)", "5 1042 1 probs [a=x, b=r] c 5"},
      {"probs = (0.5, half)", "5 187 half probs [a=any-value, b=any-value] c 5"},
      {"probs = 0.5", "5 194 probs [a=any-value, b=any-value] c 5"},
      {"numcases = (3, -2)", "5 1042 numcases [a=y, b=any-value] c 5"},
  };
  for (const auto& row : rows) {
    const Net net = ReadNet(Child(row.table));
    EXPECT_EQ(Found(), row.report) << row.table;
    ASSERT_NE(net, nullptr) << row.table;
    EXPECT_FALSE(HasRelation_bn(Named(net, "c"))) << row.table;
  }
}

TEST_F(NetReaderTest, RefusesTablesBeyondMemory) {
  std::string statements;
  for (char name : {'a', 'b', 'c'})
    statements += std::string("node ") + name + " {discrete = TRUE; numstates = 60000;};\n";
  Net net = ReadNet(statements + "node d {states = (x, y); parents = (a, b, c); probs = (1, 0);};");
  EXPECT_EQ(Found(), "5 1094 d 1.6875e+12");
}

TEST_F(NetReaderTest, GoesOnBehindABadStatement) {
  Net net = ReadNet(Child("colour = (a; b); kind = UNNATURAL; probs = ((0.5); numcases = 3; title = \"T\""));
  EXPECT_NE(Found(), "");
  EXPECT_STREQ(GetNodeTitle_bn(Named(net, "c")), "T");
  const statetype states[] = {1, 2};
  EXPECT_EQ(GetNodeExperience_bn(Named(net, "c"), states), 3);
}

TEST_F(NetReaderTest, TextsOfOneMeaningGiveOneNet) {
  const std::string halves = "((0.5, 0.5), (0.5, 0.5), (0.5, 0.5))", mnh = "((1, 0), (0, 1), (0.5, 0.5))",
                    byA = Child("probs = (((1, 0), (1, 0), (1, 0)), ((0, 1), (0, 1), (0, 1)))"),
                    byB = Child("probs = (" + mnh + ", " + mnh + ")"),
                    all = Child("probs = (((.1, .9), (.2, .8), (.3, .7)), ((.4, .6), (.5, .5), (.6, .4)))"),
                    function = Child("functable = ((m, m, m), (n, n, n))"),
                    special = Child("probs = ((@imposs, @imposs), (@undef, @undef))");
  const std::pair<std::string, std::string> rows[] = {
      {Child("probs = (0.5, 0.5)"), Child("probs = (" + halves + ", " + halves + ")")},
      {Child("probs = ((0.5, 0.5))"), Child("probs = (0.5, 0.5)")},
      {Child("probs = (((0.5, 0.5)))"), Child("probs = (0.5, 0.5)")},
      {Child("probs = ((1, 0), (0, 1))"), byA},
      {Child("probs = (((1, 0)), (0, 1))"), byA},
      {Child("probs = (1, 0, 1, 0, 1, 0, 0, 1, 0, 1, 0, 1)"), byA},
      {Child("probs = (((1, 0), (0, 1), (0.5, 0.5)))"), byB},
      {Child("probs = // a comment; with (marks)\n(((.1, /* c */ .9), // row\n (2e-1, 0.80000000), (0.3,+.7)), ((.4, "
             ".6),\n(.5,0.5),(0.6000,0.4)))//\n"),
       all},
      {Child("functable = n"), Child("functable = ((n, n, n), (n, n, n))")},
      {Child("functable = (m, n)"), function},
      {Child("functable = ((m, #0, m), (n))"), function},
      {Child("functable = (m, (n, n, n))"), function},
      {Child("functable = (m, m, m, n, n, n)"), function},
      {Child("probs = ((@imposs, x), (@undef, ?))"), special},
      {Child("numcases = ((1, @undef, 2.5), 0)"), Child("numcases = ((1, ?, 2.5), (0, 0, 0))")},
      {"node c {discrete = TRUE; states = (m, n); parents = (b, a); inputs = (u, );};\n" + std::string(A) + B,
       std::string(B) + A + "node c {discrete = TRUE; states = (m, n); inputs = (u, ); parents = (b, a);};"},
      {"ElimOrder = (a); " + std::string(A), A + std::string("ElimOrder = (a);")},
      {"title = \"one\\n\\\n\t\ttwo\\\r\n \\ three\"; backcomments = (u,v);",
       "title = \"one\\ntwo three\"; backcomments = (u, v);"},
      {std::string("backcomments = (u\0, v);", 23), "backcomments = (u_, v);"},
      // Just below the middle of two floats, at which a double puts it.
      {Lone("discrete = FALSE; functable = 1.00000017881393432617187499;"),
       Lone("discrete = FALSE; functable = 1.0000001;")},
      {Lone("discrete = TRUE; states = (x, y); probs = (0.500000089406967163085937499, 0.5);"),
       Lone("discrete = TRUE; states = (x, y); probs = (0.50000006, 0.5);")},
      {Lone("discrete = DISCRETE; states = (x, y); levels = (3, 4); evidence = y;"),
       Lone("discrete = TRUE; numstates = 2; states = (x, y); levels = (3, 4); evidence = #1; value = 4;")},
      {Lone("discrete = TRUE; states = ( , ); numchildren = 7; numcases = (3);"),
       Lone("discrete = TRUE; numstates = 2; numcases = 3;")},
      {Lone("discrete = TRUE; states = (" + Many("s", 3000) + "t); evidence = t;"),
       Lone("discrete = TRUE; states = (" + Many("s", 3000) + "t); evidence = #3000;")},
      {Child("inputs = ( , )"), Child("numstates = 2")},
      {"node b {children = (a);};" + std::string(A), "node b {};" + std::string(A)},
      {Lone("discrete = FALSE; levels = (- inf, 0, 1.5, INFinity); value = 1;"),
       Lone("discrete = FALSE; levels = (-inf, 0, 1.5, inf); value = 1;")},
  };
  for (const auto& [text, same] : rows) {
    EXPECT_EQ(Written(ReadNet(text)), Written(ReadNet(same))) << text;
    EXPECT_EQ(Found(), "") << text;
  }
  EXPECT_EQ(GetTable(Named(ReadNet(all), "c")),
            (std::vector<float>{.1f, .9f, .2f, .8f, .3f, .7f, .4f, .6f, .5f, .5f, .6f, .4f}));
  const std::string head = "// ~->[DNET-1]->~\n", ten = "bnet t {node a {discrete = TRUE; numstates = ";
  for (const char* hex : {"HexNumbers; ", "HexNumbers = TRUE; "}) {
    EXPECT_EQ(Written(Read(head + hex + ten + "10;};};")), Written(Read(head + ten + "16;};};"))) << hex;
  }
  EXPECT_EQ(Written(Read(head + "bnet first {};" + ten + "10;};};")),
            Written(Read(head + "HexNumbers = FALSE;" + ten + "10;};};")))
      << "the last net of a file is answered";
}

// Nodes stay in their order in a file that lists parents first.
TEST_F(NetReaderTest, NodesAndTheirParentsAreFoundWhereverTheyStand) {
  const Net listed = ReadNet(std::string(A) + "node z {};" + B + Child("").substr(std::strlen(A) + std::strlen(B)) +
                             "node y {states = (v, w); parents = (z, a);};");
  Found();
  EXPECT_EQ(Names(Nodes(listed)), "a z b c y");
  const Net inherited = ReadNet(
      "define node d {discrete = TRUE; states = (x, y); inputs = (u); parents = (b); probs = ((1, 0), (0, 1), (1, 0));"
      "};\nnode c (d) {};\n" +
      std::string(B));
  EXPECT_EQ(Found(), "");
  const node_bn b = Named(inherited, "b"), c = Named(inherited, "c");
  EXPECT_EQ(Nodes(GetNodeChildren_bn(b)), std::vector<node_bn>{c});
  EXPECT_EQ(GetTable(c), (std::vector<float>{1, 0, 0, 1, 1, 0}));
  EXPECT_STREQ(GetLinkName_bn(c, 0), "u");
  DeleteNode_bn(b);
  EXPECT_EQ(inherited->defines.ar[0]->preds.num, 0);
}

TEST_F(NetReaderTest, ReadsTheFieldsOfNetsAndNodes) {
  const Net read = ReadNet(
      "title = \"A \\\"title\\\" \\\\\"; autoupdate = TRUE; whenchanged = 4000000000;\n"
      "node a {kind = DECISION; discrete = FALSE; measure = RATIO; chance = GAUSSIAN; levels = (-inf, 0, inf);};\n"
      "node b {discrete = TRUE; states = (x, y); levels = (3, 4); evidence = y; belief = (.5, .5);};\n"
      "node c {discrete = TRUE; states = (x, y, z); likelihood = (1, 0, 0.5);};\n"
      "node u {kind = UTILITY; discrete = FALSE; functable = -inf;};");
  EXPECT_EQ(Found(), "");
  EXPECT_STREQ(GetNetTitle_bn(read.get()), "A \"title\" \\");
  EXPECT_EQ(read->whenchanged, 4000000000u);
  const node_bn a = Named(read, "a"), b = Named(read, "b");
  EXPECT_EQ(std::vector<int>({a->kind, a->discrete, a->measure, a->chance, a->numstates, read->autoupdate}),
            (std::vector<int>{DECISION_NODE, CONTINUOUS, RATIO, GAUSSIAN, 2, 1}));
  EXPECT_EQ(a->levels[2], inf_dbl_ns);
  EXPECT_EQ(GetNodeFinding_bn(b), 1);
  EXPECT_EQ(GetNodeValue_bn(b), 4);
  EXPECT_EQ(b->belief[1], 1);
  EXPECT_EQ(GetNodeLikelihood_bn(Named(read, "c"))[2], 0.5f);
  EXPECT_EQ(Named(read, "u")->determinv[0], -HUGE_VALF);
  EXPECT_EQ(std::vector<int>({read->numEvidence, read->numLikelihood, read->dirty, UndoSequence(read.get())}),
            (std::vector<int>{1, 1, 0, 0}));
}

TEST_F(NetReaderTest, NodesInheritFromDefineNodes) {
  const std::string defines =
      "define node d {kind = NATURE; discrete = TRUE; states = (x, y); title = \"of d\"; probs = (0.25, 0.75);};\n"
      "define node e (d) {title = \"of e\"; comment = \"c\";};\n";
  for (int options : {0, 1}) {
    const Net net = ReadNet(defines + "node a (d, e) {};\nnode b (e) {states = (u, v, w);};\n" +
                                "node c (e) {states = (x, z); probs = (1, 0);};",
                            options);
    EXPECT_EQ(Found(), "");
    EXPECT_EQ(net->defines.num, 2);
    const node_bn a = Named(net, "a"), b = Named(net, "b"), c = Named(net, "c");
    EXPECT_STREQ(GetNodeTitle_bn(a), "of d");
    EXPECT_STREQ(GetNodeComment_bn(a), "c");
    EXPECT_EQ(GetTable(Named(net, "a")), (std::vector<float>{0.25f, 0.75f}));
    EXPECT_EQ(a->fields[NODE_PROBS], FIELD_INHERITED);
    EXPECT_STREQ(GetNodeTitle_bn(b), "of e");
    EXPECT_STREQ(GetNodeStateName_bn(b, 2), "w");
    EXPECT_FALSE(HasRelation_bn(b)) << "a table of another size is not inherited";
    EXPECT_EQ(GetTable(Named(net, "c")), (std::vector<float>{1, 0}));
    EXPECT_STREQ(GetNodeStateName_bn(c, 1), "z");
    EXPECT_EQ(c->fields[NODE_STATES], FIELD_READ);
  }
}

}  // namespace
}  // namespace bravic::testing
