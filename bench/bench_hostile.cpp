// How reading time grows with the size of files that nobody writes by hand: long lists, deep nesting, one giant line,
// thousands of errors or of names given twice, comments and quotes that are never closed; of every format, case files
// among them. Prints milliseconds of processor time for 1, 2, 4 and 8 times as much, and the power of the size that
// the time grows with: 1 is linear, and caches
// that are outgrown add a little. Exits with 1 where it is above 1.6 and the time worth a look.
//
//   bench_hostile [thousands of pieces at the least size] [text that the row's name holds]
#include <algorithm>
#include <cmath>
#include <fstream>
#include <functional>

#include "bench.h"
#include "bravic_formats.h"

namespace {

constexpr double WORST_POWER = 1.6, MILLISECONDS_WORTH_A_LOOK = 200;

struct Shape {
  std::string format, name, head;
  std::function<std::string(int)> piece;  // by its number
  std::string tail;
};

std::string N(int i) {
  return std::to_string(i);
}

const std::string DNE = "// ~->[DNET-1]->~\nbnet Hostile {\n", XMLBIF = "<BIF VERSION=\"0.3\"><NETWORK><NAME>h</NAME>";
const std::string XDSL = "<smile version=\"1.0\" id=\"h\"><nodes>";

std::function<std::string(int)> Same(const std::string& text) {
  return [text](int) { return text; };
}

const Shape SHAPES[] = {
    {"dne", "nodes", DNE, [](int i) { return "node n" + N(i) + " {states = (x, y); probs = (0.5, 0.5);};\n"; }, "};"},
    {"dne", "nodes of one name", DNE, Same("node n {states = (x, y);};\n"), "};"},
    {"dne", "long names alike at the start", DNE,
     [](int i) { return "node a_name_that_is_long_" + N(i) + " {states = (x, y);};\n"; }, "};"},
    {"dne", "names that have to be cut", DNE,
     [](int i) { return "node " + std::string(40, 'a') + N(i) + " {states = (x, y);};\n"; }, "};"},
    {"dne", "unknown parents", DNE, [](int i) { return "node n" + N(i) + " {parents = (m" + N(i) + ");};\n"; }, "};"},
    {"dne", "a chain", DNE,
     [](int i) { return "node n" + N(i) + " {states = (x); parents = (" + (i ? "n" + N(i - 1) : "") + ");};\n"; },
     "};"},
    {"dne", "children of one node", DNE + "node n {states = (x);};\n",
     [](int i) { return "node n" + N(i) + " {states = (x); parents = (n);};\n"; }, "};"},
    {"dne", "parents of one node", DNE + "node n {states = (x); parents = (m", [](int i) { return ",m" + N(i); },
     ");};};"},
    {"dne", "one parent many times", DNE + "node m {states = (x);}; node n {states = (x); parents = (m", Same(", m"),
     ");};};"},
    {"dne", "states", DNE + "node n {states = (x", [](int i) { return ", s" + N(i); }, ");};};"},
    {"dne", "states of one name", DNE + "node n {states = (x", Same(", s"), ");};};"},
    {"dne", "levels", DNE + "node n {discrete = FALSE; levels = (0", [](int i) { return ", " + N(i); }, ");};};"},
    {"dne", "numbers in a table", DNE + "node n {states = (x, y); probs = (0.5", Same(", 0.5"), ");};};"},
    {"dne", "parentheses", DNE + "node n {states = (x, y); probs = ", Same("("), ""},
    {"dne", "parentheses of a user field", DNE + "node n {user = ", Same("("), ";};};"},
    {"dne", "braces", DNE, Same("node n {"), ""},
    {"dne", "unclosed comments", DNE, Same("/* /# /* "), ""},
    {"dne", "comments", DNE, Same("/* a */ /# b #/ // c\n"), "};"},
    {"dne", "unclosed quotes", DNE, Same("title = \"\\\" ;\n"), ""},
    {"dne", "one long title", DNE + "title = \"", Same("\\n\\\nab"), "\";};"},
    {"dne", "unknown statements", DNE, [](int i) { return "what" + N(i) + " = 5;\n"; }, "};"},
    {"dne", "semicolons", DNE, Same(";"), "};"},
    {"dne", "texts under keys", DNE + "node n {user = ((\"a\", \"b\")",
     [](int i) { return ", (\"k" + N(i) + "\", \"t\")"; }, ");};};"},
    {"dne", "texts under one key", DNE + "node n {user = ((\"a\", \"b\")", Same(", (\"k\", \"t\")"), ");};};"},
    {"dne", "nets", "// ~->[DNET-1]->~\n", Same("bnet h {};\n"), ""},
    {"dne", "define nodes", DNE, [](int i) { return "define node d" + N(i) + " {states = (x, y);};\n"; }, "};"},
    {"dne", "who inherit from who inherits", DNE + "define node d0 {states = (x, y);};\n",
     [](int i) { return "define node d" + N(i + 1) + "(d" + N(i) + ") {};\n"; }, "};"},
    {"dne", "blanks", DNE, Same("          "), "};"},
    {"bif", "variables", "",
     [](int i) {
       return "variable n" + N(i) + " { type discrete [2] { x, y }; }\nprobability (n" + N(i) +
              ") { table 0.5 0.5; }\n";
     },
     ""},
    {"bif", "variables of one name", "", Same("variable n { type discrete [2] { x, y }; }\n"), ""},
    {"bif", "tables before their variables", "",
     [](int i) { return "probability (n" + N(i) + ") { table 0.5 0.5; }\n"; }, ""},
    {"bif", "tables of one variable", "variable n { type discrete [2] { x, y }; }\n",
     Same("probability (n) { table 0.5 0.5; }\n"), ""},
    {"bif", "a cycle", "",
     [](int i) {
       return "variable n" + N(i) + " { type discrete [1] { x }; }\nprobability (n" + N(i) + " | n" + N(i + 1) +
              ") { table 1; }\n";
     },
     "variable n0 { type discrete [1] { x }; }"},
    {"bif", "states", "variable n { type discrete [2] { x", [](int i) { return ", s" + N(i); }, "}; }"},
    {"bif", "parents", "variable n { type discrete [2] { x, y }; } probability (n | n",
     [](int i) { return ", m" + N(i); }, ") { table 1; }"},
    {"bif", "one row again and again",
     "variable m { type discrete [2] { x, y }; } variable n { type discrete [2] { x, y }; } probability (n | m) {",
     Same("(x) 0.5 0.5;\n"), "}"},
    {"bif", "unclosed blocks", "", Same("network {"), ""},
    {"bif", "unclosed comments", "", Same("/* // /*"), ""},
    {"bif", "unclosed quotes", "network h { property ", Same("\\\" a"), ""},
    {"bif", "bad words", "", Same("what "), ""},
    {"bif", "properties", "network h {", Same("property position = (1, 2);\n"), "}"},
    {"net", "nodes", "net {}\n",
     [](int i) {
       return "node n" + N(i) + " { states = (\"x\" \"y\"); }\npotential (n" + N(i) + ") { data = (1 1); }\n";
     },
     ""},
    {"net", "nodes of one name", "net {}\n", Same("node n { states = (\"x\"); }\n"), ""},
    {"net", "fields of one name", "net {}\nnode n {", Same("states = (\"x\");\n"), "}"},
    {"net", "parentheses", "net {}\nnode n { states = (\"x\"); } potential (n) { data = ", Same("("), ""},
    {"net", "closed parentheses", "net {}\nnode n { states = (\"x\"); } potential (n) { data = ", Same("()"), "; }"},
    {"net", "unclosed comments", "net {}\n", Same("/* % /*"), ""},
    {"net", "potentials without nodes", "net {}\n", [](int i) { return "potential (p" + N(i) + ") { }\n"; }, ""},
    {"net", "braces", "net {}\n", Same("node n {"), ""},
    {"uai", "variables of one state", "BAYES\n100000000\n", Same("1 "), ""},
    {"uai", "numbers too many", "BAYES\n1\n2\n1\n1 0\n2 0.5 0.5\n", Same("0.5 "), ""},
    {"uai", "tables of one variable", "BAYES\n1\n2\n100000000\n", Same("1 0\n"), ""},
    {"uai", "one giant table", "BAYES\n1\n100000000\n1\n1 0\n100000000\n", Same("0.5 "), ""},
    {"xmlbif", "variables", XMLBIF,
     [](int i) {
       return "<VARIABLE TYPE=\"nature\"><NAME>n" + N(i) +
              "</NAME><OUTCOME>x</OUTCOME></VARIABLE>\n<DEFINITION><FOR>n" + N(i) +
              "</FOR><TABLE>1</TABLE></DEFINITION>\n";
     },
     "</NETWORK></BIF>"},
    {"xmlbif", "variables of one name", XMLBIF, Same("<VARIABLE><NAME>n</NAME><OUTCOME>x</OUTCOME></VARIABLE>\n"),
     "</NETWORK></BIF>"},
    {"xmlbif", "elements that are unknown", XMLBIF, Same("<WHAT a=\"b\"/>\n"), "</NETWORK></BIF>"},
    {"xmlbif", "elements in elements", XMLBIF, Same("<W>"), ""},
    {"xmlbif", "closed elements in elements", XMLBIF, Same("<W>"), "</W></NETWORK></BIF>"},
    {"xmlbif", "attributes", "<BIF VERSION=\"0.3\"", [](int i) { return " a" + N(i) + "=\"b\""; }, "></BIF>"},
    {"xmlbif", "texts between elements", XMLBIF + "<PROPERTY>", Same("a<!-- c -->\n"), "</PROPERTY></NETWORK></BIF>"},
    {"xmlbif", "entities", XMLBIF + "<PROPERTY>", Same("&amp;&what;"), "</PROPERTY></NETWORK></BIF>"},
    {"xmlbif", "a table in pieces",
     XMLBIF + "<VARIABLE><NAME>n</NAME><OUTCOME>x</OUTCOME></VARIABLE><DEFINITION><FOR>n</FOR><TABLE>",
     Same("1 <!-- c -->\n"), "</TABLE></DEFINITION></NETWORK></BIF>"},
    {"xdsl", "nodes", XDSL,
     [](int i) { return "<cpt id=\"n" + N(i) + "\"><state id=\"x\"/><probabilities>1</probabilities></cpt>\n"; },
     "</nodes></smile>"},
    {"xdsl", "nodes of one name", XDSL, Same("<cpt id=\"n\"><state id=\"x\"/></cpt>\n"), "</nodes></smile>"},
    {"xdsl", "parents that are unknown", XDSL + "<cpt id=\"n\"><state id=\"x\"/><parents>",
     [](int i) { return "p" + N(i) + " "; }, "</parents><probabilities>1</probabilities></cpt></nodes></smile>"},
    {"xdsl", "states", XDSL + "<cpt id=\"n\">", [](int i) { return "<state id=\"s" + N(i) + "\"/>"; },
     "</cpt></nodes></smile>"},
    {"xdsl", "damage at the end", XDSL, Same("<cpt id=\"n\"><state id=\"x\"/></cpt>\n"), "</wrong>"},
    {"evid", "cases", "1000000000\n", Same("1 0 0\n"), ""},
    {"cas", "rows", "// ~->[CASE-1]->~\na b\n", Same("x y\n"), ""},
    {"cas", "different entries", "// ~->[CASE-1]->~\na b\n", [](int i) { return "x" + N(i) + " y\n"; }, ""},
    {"cas", "columns", "// ~->[CASE-1]->~\nc", [](int i) { return " c" + N(i); }, "\n1\n"},
    {"cas", "columns of one name", "// ~->[CASE-1]->~\nc", Same(" c"), "\n1\n"},
    {"csv", "different entries", "a,b\n", [](int i) { return "x" + N(i) + ",y\n"; }, ""},
    {"csv", "unclosed quotes", "a,b\n", Same("\"x,y\n"), ""},
    {"csv", "one long entry", "a,b\n\"", Same("xx\"\"\n"), "\",y\n"},
    {"csv", "ragged rows", "a,b\n", Same("x\n"), ""},
    {"csv", "one giant line", "a,b\n", Same("x,"), "\n"},
};

// Reads the text, whatever comes of it.
void Read(const Shape& shape, const std::string& text) {
  if (shape.format == "cas" || shape.format == "csv" || shape.format == "evid") {
    const std::string path = (std::filesystem::temp_directory_path() / ("bravic_hostile." + shape.format)).string();
    std::ofstream(path, std::ios::binary) << text;
    if (shape.format == "evid") {
      net_bn net = NewNet_bn("h", env);
      NewNode_bn("n", 2, net);
      ReadFindingsFormat_bn(net, path.c_str(), 1);
      FreeNet_bn(net);
    } else {
      filespec_ns file = FileNamed_ns(path.c_str(), env);
      net_of_cases_bn how = {};
      how.size = sizeof how;
      how.maxstates = 1 << 30;
      FreeNet_bn(NewNetOfCases_bn(file, "h", &how));
      FreeFileSpec_ns(file);
    }
    std::filesystem::remove(path);
  } else {
    FreeNet_bn(ReadNetFormatText_bn(text.data(), static_cast<long>(text.size()), shape.format.c_str(), "text", env));
  }
  ClearErrors_ns(env, 6);
}

// Milliseconds, the least of a few runs.
double Measure(const Shape& shape, int count) {
  std::string text = shape.head;
  for (int i = 0; i < count; ++i) text += shape.piece(i);
  text += shape.tail;
  double least = 0;
  for (int run = 0; run < 3; ++run) {
    const double before = Seconds(CLOCK_PROCESS_CPUTIME_ID);
    Read(shape, text);
    const double taken = (Seconds(CLOCK_PROCESS_CPUTIME_ID) - before) * 1000;
    least = run == 0 ? taken : std::min(least, taken);
    if (taken > 1000) break;
  }
  return least;
}

}  // namespace

int main(int argc, char** argv) {
  BeginEnvironment();
  const int least = (argc > 1 ? std::max(std::atoi(argv[1]), 1) : 20) * 1000;
  const std::string wanted = argc > 2 ? argv[2] : "";
  int worst = 0;
  for (const Shape& shape : SHAPES) {
    const std::string name = shape.format + ": " + shape.name;
    if (name.find(wanted) == name.npos) continue;
    std::printf("| %-45s |", name.c_str());
    double first = 0, last = 0;
    int factor = 1;
    for (; factor <= 8 && last < 10000; factor *= 2) {
      last = Measure(shape, least * factor);
      if (factor == 1) first = last;
      std::printf(" %8.1f |", last);
      std::fflush(stdout);
    }
    const double power = std::log2(last / first) / std::log2(factor / 2);
    const bool isBad = power > WORST_POWER && last > MILLISECONDS_WORTH_A_LOOK;
    std::printf(" %5.2f |%s\n", power, isBad ? " <--" : "");
    if (isBad) worst = 1;
  }
  CloseEnvironment();
  return worst;
}
