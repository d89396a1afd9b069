// Small files of other programs that stand for very large tables: refused where the host has set a limit.

#include "formats/formats_fixture.h"

namespace bravic::testing {
namespace {

constexpr int NUM_PARENTS = 22;  // tables of 32 megabytes and more

std::string Repeated(const std::string& before, const std::string& after) {
  std::string text;
  for (int i = 0; i < NUM_PARENTS; ++i) text += before + std::to_string(i) + after;
  return text;
}

TEST_F(FormatsTest, TablesBeyondTheLimitAreRefused) {
  const std::string names = Repeated("a", " "), state = "<state id=\"x\"/><state id=\"y\"/>";
  struct {
    const char *format, *text;
    std::string whole;
  } const rows[] = {
      {"bif", "default row",
       Repeated("variable a", " { type discrete [2] { x, y }; }\n") + "variable c { type discrete [2] { x, y }; }\n" +
           Repeated("probability (a", ") { table 0.5 0.5; }\n") + "probability (c | " + names +
           ") { default 0.5 0.5; }\n"},
      {"net", "table left out",
       "net {}\n" + Repeated("node a", " { states = (\"x\" \"y\"); }\n") + "node c { states = (\"x\" \"y\"); }\n" +
           Repeated("potential (a", ") { data = (0.5 0.5); }\n") + "potential (c | " + names + ") { }\n"},
      {"net", "utility left out",
       "net {}\n" + Repeated("node a", " { states = (\"x\" \"y\"); }\n") + "utility c { }\n" +
           Repeated("potential (a", ") { data = (0.5 0.5); }\n") + "potential (c | " + names + ") { }\n"},
      {"xdsl", "noisy model",
       "<smile id=\"N\"><nodes>" +
           Repeated("<cpt id=\"a", "\">" + state + "<probabilities>0.5 0.5</probabilities></cpt>") +
           "<noisymax id=\"c\">" + state + "<parents>" + names + "</parents><strengths>" +
           Repeated("0 1 ", " ").substr(0, 0) +
           [] {
             std::string strengths;
             for (int i = 0; i < NUM_PARENTS; ++i) strengths += "0 1 ";
             return strengths;
           }() +
           "</strengths><parameters>" +
           [] {
             std::string columns;
             for (int i = 0; i < NUM_PARENTS; ++i) columns += "0.5 0.5 0 1 ";
             return columns + "0.1 0.9";
           }() +
           "</parameters></noisymax></nodes></smile>"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    SetMemoryLimit_ns(20000, env);
    net = ReadText(row.format, row.whole);
    EXPECT_EQ(net, nullptr);
    const std::string reports = Reports(5);
    EXPECT_TRUE(reports.find("5 809 ") != reports.npos || reports.find("5 2286 ") != reports.npos) << reports;
    EXPECT_EQ(std::count(reports.begin(), reports.end(), '\n'), 1) << reports;
    SetMemoryLimit_ns(0, env);
  }
  // The text itself counts.
  SetMemoryLimit_ns(2000, env);
  EXPECT_EQ(ReadText("bif", std::string(3000000, ' ')), nullptr);
  EXPECT_NE(Reports(5).find("5 809 "), std::string::npos);
}

}  // namespace
}  // namespace bravic::testing
