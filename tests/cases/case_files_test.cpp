// Case files: what is written, what is read back, what is refused with which words.
#if defined(__linux__)
#include <sys/resource.h>
#include <unistd.h>
#endif

#include <chrono>
#include <thread>

#include "Basic/OutputChannel.h"
#include "support/mutated.h"
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

constexpr char INDICATOR[] = "// ~->[CASE-1]->~\n\n";
constexpr int NONE = -8;

class CaseFiles : public NetTest {
 protected:
  void SetUp() override {
    NetTest::SetUp();
    // One node of each sort that has entries of its own.
    const double levels[] = {1, 2, 4}, fewMany[] = {10, 100}, bounds[] = {0, 1, 5};
    named = AddNode(net, "Named", {"low", "medium", "high"});
    numbered = New("Numbered", 3);
    leveled = New("Leveled", 3);
    SetNodeLevels_bn(leveled, 3, levels);
    both = AddNode(net, "Both", {"few", "many"});
    SetNodeLevels_bn(both, 2, fewMany);
    ranged = New("Ranged", 0);
    SetNodeLevels_bn(ranged, 2, bounds);
    real = New("Real", 0);
    all = GetNetNodes_bn(net.get());
    file = FileNamed_ns(Path().c_str(), env);
  }
  void TearDown() override {
    FreeFileSpec_ns(file);
    NetTest::TearDown();
  }

  std::string Path() { return directory.Path("cases.cas"); }
  void Put(const std::string& text) { WriteWhole(Path(), text); }
  std::string Text() { return ReadWhole(Path()); }
  // The findings as "state or value" of each node, "-" for none.
  std::string Findings() {
    std::string text;
    for (node_bn node : Nodes(net)) {
      char entry[40] = "-";
      const double value = GetNodeDiscrete_bn(node) ? undef_dbl_ns : GetNodeValue_bn(node);
      if (value != undef_dbl_ns) {
        std::snprintf(entry, sizeof entry, "%g", value);
      } else if (NumStates(node) > 0 && GetNodeFinding_bn(node) != NONE) {
        std::snprintf(entry, sizeof entry, "#%d", GetNodeFinding_bn(node));
      }
      text += (text.empty() ? "" : " ") + std::string(entry);
    }
    return text;
  }
  // As ReadCaseStates_bn would have them.
  std::vector<statetype> FoundStates() {
    std::vector<statetype> states;
    for (node_bn node : Nodes(net)) {
      const statetype state = NumStates(node) > 0 ? GetNodeFinding_bn(node) : NONE;
      states.push_back(state >= 0 ? state : UNDEF_STATE);
    }
    return states;
  }
  long Read(long position) {
    ReadCase_bn(&position, file, all, nullptr, nullptr);
    return position;
  }
  // The gist of the reports, with the folder left out.
  std::string Complaints() {
    std::string text = Gist();
    for (std::size_t at; (at = text.find(directory.Path() + "/")) != text.npos;)
      text.erase(at, directory.Path().size() + 1);
    return text;
  }

  node_bn named = nullptr, numbered = nullptr, leveled = nullptr, both = nullptr, ranged = nullptr, real = nullptr;
  nodelist_bn all = nullptr;
  filespec_ns file = nullptr;
};

TEST_F(CaseFiles, HoldTheFindingsOfEachSortOfNode) {
  EXPECT_EQ(WriteCase_bn(all, file, -1, -1),
            std::string(INDICATOR).size() + std::strlen("Named Numbered Leveled Both Ranged Real\n"));
  EnterFinding_bn(named, 1);
  EnterFinding_bn(numbered, 2);
  EnterFinding_bn(leveled, 2);
  EnterFinding_bn(both, 1);
  EnterNodeValue_bn(ranged, 0.123456789);
  EnterNodeValue_bn(real, -2.5e30);
  const long second = WriteCase_bn(all, file, -1, -1);
  EXPECT_EQ(Text(), std::string(INDICATOR) + "Named\tNumbered\tLeveled\tBoth\tRanged\tReal\n" + "*\t*\t*\t*\t*\t*\n" +
                        "medium\t2\t#2\tmany\t0.123457\t-2.5e+30\n");
  EXPECT_EQ(second, static_cast<long>(Text().find("medium")));

  EXPECT_EQ(Read(FIRST_CASE), static_cast<long>(Text().find("*")));
  EXPECT_EQ(Findings(), "- - - - - -");
  EXPECT_EQ(Read(NEXT_CASE), second);
  EXPECT_EQ(Findings(), "#1 #2 #2 #1 0.123457 -2.5e+30");
  EXPECT_EQ(GetNodeFinding_bn(ranged), 0);
  EXPECT_EQ(GetNodeValue_bn(leveled), 4);
  EXPECT_EQ(Read(NEXT_CASE), NO_MORE_CASES);
  EXPECT_EQ(Findings(), "- - - - - -");
  EXPECT_EQ(Read(second), second);

  // A state finding gives a continuous node no value to write; a likelihood is no state.
  RetractAllFindings_bn(net.get());
  EnterFinding_bn(ranged, 1);
  EnterFindingNot_bn(named, 0);
  const long third = WriteCase_bn(all, file, -1, -1);
  EXPECT_EQ(Text().substr(std::size_t(third)), "*\t*\t*\t*\t*\t*\n");
}

TEST_F(CaseFiles, KeepNumbersAndFrequencies) {
  EnterFinding_bn(named, 2);
  nodelist_bn one = NewNodeList_bn(0, env);
  AddNodeToList_bn(named, one, 0);
  EXPECT_GE(WriteCase_bn(one, file, 7, 2.5), 0);
  EXPECT_GE(WriteCase_bn(one, file, 0, 1234567), 0);
  EXPECT_GE(WriteCase_bn(one, file, -1, -1), 0);
  EXPECT_EQ(Text(),
            std::string(INDICATOR) + "IDnum\tNumCases\tNamed\n7\t2.5\thigh\n0\t1.23457e+06\thigh\n" + "-1\t1\thigh\n");
  const struct {
    long id;
    double freq;
  } rows[] = {{7, 2.5}, {0, 1234570}, {-1, 1}};
  long position = NEXT_CASE;  // before any read: the first case
  for (const auto& row : rows) {
    long id = 99;
    double freq = 99;
    ReadCase_bn(&position, file, one, &id, &freq);
    EXPECT_EQ(id, row.id);
    EXPECT_EQ(freq, row.freq);
    position = NEXT_CASE;
  }
  Put(std::string(INDICATOR) + "Named\nlow\n");
  long id = 99;
  double freq = 99;
  ReadCase_bn(nullptr, file, one, &id, &freq);
  EXPECT_EQ(id, -1);
  EXPECT_EQ(freq, -1);
  // A number for which there is no column is dropped.
  EXPECT_GE(WriteCase_bn(one, file, 7, 2.5), 0);
  EXPECT_EQ(Text(), std::string(INDICATOR) + "Named\nlow\nlow\n");
  FreeNodeList_bn(one);
}

TEST_F(CaseFiles, AreAppendedToInTheirOwnOrder) {
  Put("~->[CASE-1]->~\r\nReal\tNumCases\tStranger\tNamed\tIDnum\tNamed\r\n1\t2\tx\tlow\t3\tlow\r\n");
  EnterFinding_bn(named, 2);
  EnterFinding_bn(numbered, 1);
  EnterNodeValue_bn(real, 0.5);
  EXPECT_GE(WriteCase_bn(all, file, 4, 5), 0);
  EXPECT_EQ(Complaints(), "4 2277 WriteCase_bn cases.cas 1 Named cases.cas; 4 2472 WriteCase_bn cases.cas Test 1");
  EXPECT_EQ(Text().substr(Text().find("low\r\n")), "low\r\n0.5\t5\t*\thigh\t4\t*\r\n");
  Put("~->[CASE-1]->~\rNamed\tReal\rlow\t1\r");
  EXPECT_GE(WriteCase_bn(all, file, 4, 5), 0);
  EXPECT_EQ(Text(), "~->[CASE-1]->~\rNamed\tReal\rlow\t1\rhigh\t0.5\r");
}

TEST_F(CaseFiles, ReadEntriesByTheirKind) {
  const struct {
    const char* entries;
    const char* findings;
    const char* complaint = "";
  } rows[] = {
      {"high\t2\t4\t100\t1\t7", "#2 #2 #2 #1 1 7"},
      {"#2\t#2\t#2\t#1\t#1\t+1e3", "#2 #2 #2 #1 #1 1000"},
      {"low\t0\t1.000001\tfew\t5\t0", "#0 #0 #0 #0 5 0"},
      {"*\t\t@\t@undef\t*\t*", "- - - - - -"},
      {"\t\t\t\t\t", "- - - - - -"},
      {"low 1 2  many 0.5   -1", "#0 #1 #1 #1 0.5 -1"},
      {"low\t1\t2\tmany\t0.5\t-1\t", "#0 #1 #1 #1 0.5 -1"},
      {"Low\t#3\t*\tmuch\t*\t*", "- - - - - -", "4 2473 ReadCase_bn cases.cas 3 Low Named 4"},
      // A bare number names no state of a node with names.
      {"2\t1\t*\t*\t*\t*", "- #1 - - - -", "4 2473 ReadCase_bn cases.cas 1 2 Named 4"},
      {"high\t1\t*\t*\t*\t*\r", "#2 #1 - - - -"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.entries);
    Put(std::string(INDICATOR) + "Named\tNumbered\tLeveled\tBoth\tRanged\tReal\n" + row.entries + "\n");
    Read(FIRST_CASE);
    EXPECT_EQ(Complaints(), row.complaint);
    EXPECT_EQ(Findings(), row.findings);
  }
  // Longer than the eight bytes that are hashed, and alike in them.
  Net other(NewNet_bn("Long", env));
  AddNode(other, "Sky", {"overcastAtNoon", "overcastAtDawn", "overcast"});
  for (statetype state = 0; state < 3; ++state) {
    Put(std::string(INDICATOR) + "Sky\n" + GetNodeStateName_bn(Named(other, "Sky"), state) + "\n");
    ReadCase_bn(nullptr, file, GetNetNodes_bn(other.get()), nullptr, nullptr);
    EXPECT_EQ(GetNodeFinding_bn(Named(other, "Sky")), state);
  }
}

TEST_F(CaseFiles, TakeEitherSpelling) {
  const std::string longName = "(" + std::string(60, '1') + ")";
  SetNodeText_bn(named, "label", longName.c_str());
  SetNodeText_bn(numbered, "label", "Named");
  for (const auto& [key, text] : {std::pair{"state 0", "low"}, {"state 1", "<=5.25(long)"}, {"state 2", "0"}})
    SetNodeText_bn(numbered, key, text);
  SetNodeText_bn(named, "state 2", "low");
  Put(INDICATOR + longName + "\tNumbered\nlow\tlow\nhigh\t<=5.25(long)\nmedium\t0\n*\t1\n");
  std::string found;
  for (long position = FIRST_CASE; Read(position) >= 0; position = NEXT_CASE) found += Findings() + "; ";
  EXPECT_EQ(found, "#0 #0 - - - -; #2 #1 - - - -; #1 #2 - - - -; - #1 - - - -; ");
  EXPECT_EQ(Reports(), "");
}

TEST_F(CaseFiles, ReadTheLineOfColumnsAsItStands) {
  const std::string cut(40, 'x');
  const char* files[] = {
      "// ~->[CASE-1]->~\n\nNamed\tReal\nhigh\t3\n",
      "~->[CASE-1]->~\r\n// Named\r\nReal  Named// more\r\n\r\n// a remark\r\n3\thigh\r\n",
      "// ~->[CASE-1]->~\rNamed Real\rhigh\t3\r",
      "// ~->[CASE-1]->~\n/* one\ntwo */ Named /# three\n #/ Real\nhigh 3\n",
      "a b\n1\nc ~->[CASE-1]->~ d\n\nNamed\tLeveled/**/Real\nhigh\t*\t3\n",
  };
  for (const char* text : files) {
    SCOPED_TRACE(text);
    RetractAllFindings_bn(net.get());
    Put(text);
    EXPECT_GE(Read(FIRST_CASE), 0);
    EXPECT_EQ(Complaints(), "");
    EXPECT_EQ(Findings(), "#2 - - - - 3");
    EXPECT_EQ(Read(NEXT_CASE), NO_MORE_CASES);
  }
  Put(std::string(INDICATOR) + cut + "\t" + cut + "IDnum\tNamed\nx\ty\tlow\n");
  EXPECT_GE(Read(FIRST_CASE), 0);
  EXPECT_EQ(Complaints(), "4 2472 ReadCase_bn cases.cas Test 2");
  EXPECT_EQ(Findings(), "#0 - - - - -");
}

// Of columns and entries that fit nothing a walk through the file tells once, and at its end how much came after.
TEST_F(CaseFiles, TellOfWhatFitsNothing) {
  Put(std::string(INDICATOR) + "A/B\tNamed\tReal\nx\tlow\t1\nx\tnone\t1\nx\t#9\t1\nx\tLow\t1\n");
  const char* complaints[] = {"4 2472 ReadCase_bn cases.cas Test 1", "4 2473 ReadCase_bn cases.cas 1 none Named 5", "",
                              "", "4 2473 ReadCase_bn cases.cas 2"};
  for (int round = 0; round < 2; ++round)
    for (int i = 0; i < 5; ++i) {
      Read(i == 0 ? FIRST_CASE : NEXT_CASE);
      EXPECT_EQ(Complaints(), complaints[i]) << i;
    }
  std::string names;
  for (int i = 0; i < 40; ++i) names += "Column" + std::to_string(i) + "\t";
  Put(INDICATOR + names + "Named\n");
  Read(FIRST_CASE);
  const std::string report = Reports();
  EXPECT_NE(report.find("are skipped (40): Column0, Column1, "), std::string::npos) << report;
  EXPECT_NE(report.find(", ...\n"), std::string::npos) << report;
}

TEST_F(CaseFiles, AreRefusedWithTheReason) {
  const std::string columns = std::string(INDICATOR) + "IDnum\tNumCases\tNamed\tReal\tRanged\n";
  const std::string whole = columns + "3\t1\tlow\t1\t1\n", unclosed = "Named /* Real\n\nhigh\n";
  const char* const kept = "#1 - - - - -";
  const struct {
    std::string text;
    const char* number;
    const char* complaint;
    long position = FIRST_CASE;
    const char* findings = "- - - - - -";
  } rows[] = {
      {"", "2080", " CASE", FIRST_CASE, kept},
      {"// ~->[DNET-1]->~\n", "2081", " CASE DNET", FIRST_CASE, kept},
      {INDICATOR, "2117", " cases.cas", FIRST_CASE, kept},
      {INDICATOR + unclosed, "199", " /* 3", FIRST_CASE, kept},
      {std::string(INDICATOR) + "IDnum,Named;Real\n1,low;2\n", "2471", " Test", FIRST_CASE, kept},
      {columns + "one\t1\tlow\t1\t1\n", "2185", " one 4 cases.cas"},
      {columns + "1.5\t1\tlow\t1\t1\n", "2185", " 1.5 4 cases.cas"},
      {columns + "\n3\tx1\tlow\t1\t1\n", "2083", " x1 3 5 cases.cas"},
      {columns + "3\t1\tlow\t1e\t1\n", "2085", " 1e Real 3 4 cases.cas"},
      {columns + "3\t1\tlow\t1e999\t1\n", "2085", " 1e999 Real 3 4 cases.cas"},
      {columns + "3\t1\tlow\t1\t5.01\n", "2086", " 5.01 Ranged 3 4 cases.cas", FIRST_CASE, "#0 - - - - 1"},
      {columns + "3\t1\tlow\t1\t1\t1\n", "2087", " 3 4 cases.cas"},
      {columns + "-1\t1\tlow\t1\n", "2088", " 4 cases.cas"},
      {columns + "3\t1\tlow", "2088", " 3 4 cases.cas"},
      {std::string(INDICATOR) + "Real\tNamed\n1\thig", "2118", " Named 4 cases.cas"},
      {whole, "5524", " *case_posn NO_MORE_CASES cases.cas", NO_MORE_CASES, kept},
      {whole, "2273", " cases.cas 99999", 99999, kept},
      {whole, "2273", " cases.cas 60", 60, kept},
      {whole, "2273", " cases.cas -2", -2, kept},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    RetractAllFindings_bn(net.get());
    EnterFinding_bn(named, 1);
    Put(row.text);
    long position = row.position, id = 99;
    double freq = 99;
    ReadCase_bn(&position, file, all, &id, &freq);
    EXPECT_EQ(Complaints(), "5 " + (row.number + (" ReadCase_bn cases.cas" + std::string(row.complaint))));
    EXPECT_EQ(Findings(), row.findings);
    if (row.findings[1] != '0') {
      EXPECT_EQ(position, row.position);
      EXPECT_EQ(id, 99);
    }
  }
}

TEST_F(CaseFiles, AreReadWithAWarning) {
  const std::pair<std::string, const char*> rows[] = {
      {"// ~->[CASE-2]->~\nNamed\nlow\n", "4 2082 ReadCase_bn 2"},
      {"// ~->[CASE-0]->~\nNamed\nlow\n", "4 2082 ReadCase_bn 0"},
      {"// ~->[CASE-99999999999]->~\nNamed\nlow\n", "4 2082 ReadCase_bn 99999999999"},
      {std::string(INDICATOR) + "IDnum\tIDnum\tNamed\n1\tx\tlow\n", "4 2274 ReadCase_bn cases.cas cases.cas"},
      {std::string(INDICATOR) + "Named\tNumCases\tNumCases\nlow\t1\tx\n", "4 2275 ReadCase_bn cases.cas cases.cas"},
      {std::string(INDICATOR) + "Named\tReal\nlow\t1", "4 2118 ReadCase_bn cases.cas 4 cases.cas"},
  };
  for (const auto& [text, complaint] : rows) {
    SCOPED_TRACE(text);
    RetractAllFindings_bn(net.get());
    Put(text);
    Read(FIRST_CASE);
    EXPECT_EQ(Complaints(), complaint);
    EXPECT_EQ(GetNodeFinding_bn(named), 0);
  }
}

TEST_F(CaseFiles, TellWhenTheyEnd) {
  Put(std::string(INDICATOR) + "Named\n");
  EXPECT_EQ(Read(FIRST_CASE), NO_MORE_CASES);
  ReadCase_bn(nullptr, file, all, nullptr, nullptr);
  EXPECT_EQ(Complaints(), "5 5525 ReadCase_bn cases.cas cases.cas NULL");
  // The file has become shorter since.
  Put(std::string(INDICATOR) + "Named\nlow\nmedium\n");
  Read(FIRST_CASE);
  Put(std::string(INDICATOR) + "Named\n");
  EXPECT_EQ(Read(NEXT_CASE), NEXT_CASE);
  EXPECT_EQ(Complaints(), "5 2128 ReadCase_bn cases.cas cases.cas 29");
}

TEST_F(CaseFiles, AreNotWrittenWhereTheyCannotBe) {
  filespec_ns nowhere = FileNamed_ns(directory.Path("nowhere/x.cas").c_str(), env);
  EXPECT_EQ(WriteCase_bn(all, nowhere, 1, 1), -1);
  FreeFileSpec_ns(nowhere);
  EXPECT_EQ(Complaints(), "5 2079 WriteCase_bn nowhere/x.cas");
  EXPECT_TRUE(FilesIn(directory.Path()).empty());
  const std::pair<std::string, const char*> texts[] = {
      {std::string(INDICATOR) + "Named\nlow\nhig", "2119"},
      {std::string(INDICATOR) + "Named,Real\nlow,1\n", "2476"},
      {std::string(INDICATOR) + "Named, Real\nlow, 1\n", "2476"},
      {"// ~->[DNET-1]->~\n", "2475"},
      {"notes\n", "2475"},
  };
  for (const auto& [text, number] : texts) {
    Put(text);
    EXPECT_EQ(WriteCase_bn(all, file, -1, -1), -1);
    EXPECT_NE(Reports(5).find(number), std::string::npos) << number;
    EXPECT_EQ(Text(), text);
  }
  static WriteStep failing;
  for (const std::string& text : {std::string(), std::string(INDICATOR) + "Named\nlow\n"})
    for (WriteStep step : {WriteStep::Write, WriteStep::Close}) {
      Put(text);
      failing = step;
      SetWriteGate([](WriteStep now, std::size_t) { return now != failing; });
      EXPECT_EQ(WriteCase_bn(all, file, -1, -1), -1);
      SetWriteGate(nullptr);
      EXPECT_EQ(Complaints(), "5 2120 WriteCase_bn cases.cas");
      EXPECT_EQ(Text(), text);
    }
  std::remove(Path().c_str());
  for (double freq : {inf_dbl_ns, std::numeric_limits<double>::infinity()}) {
    EXPECT_EQ(WriteCase_bn(all, file, -1, freq), -1);
    EXPECT_EQ(GenerateCases_bn(all, 1, file, 1, freq, 0), -1);
    EXPECT_EQ(Reports().find("5 2477 WriteCase_bn"), 0u);
  }
  for (const char* name : {"IDnum", "NumCases"}) {
    SetNodeName_bn(named, name);
    EXPECT_EQ(WriteCase_bn(all, file, -1, -1), -1);
    EXPECT_EQ(GistOf(Reports()), std::string("5 2474 WriteCase_bn ") + name);
  }
  EXPECT_EQ(Text(), "");
}

// So that a change made from now on shows in the file's time.
void LetTimePass() {
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
}

// A specification that has read a file before answers, after any change of file or net, what a new one does.
TEST_F(CaseFiles, AreReadAsTheyStandNow) {
  const std::vector<const char*> names = {"deep", "wide", "tall"};
  Random random(1313);
  std::vector<long> starts;
  const auto rewrite = [&](int numRows) {
    std::string text = std::string(INDICATOR) + "IDnum\tNamed\tLeveled\tReal\n";
    starts.clear();
    for (int i = 0; i < numRows; ++i) {
      starts.push_back(long(text.size()));
      text += std::to_string(random.Below(10)) + "\t" + random.Pick(names) + "\t1\t2\n";
    }
    Put(text);
  };
  const auto outcome = [&](filespec_ns through, long position, nodelist_bn nodes) {
    long id = -2;
    ReadCase_bn(&position, through, nodes, &id, nullptr);
    return std::to_string(position) + " " + std::to_string(id) + " " + Findings();
  };
  nodelist_bn few = List({named});
  std::size_t next = 0;  // the row after the one last read
  for (int round = 0; round < 10; ++round) {
    rewrite(6);
    LetTimePass();
    for (int step = 0; step < 40; ++step) {
      SCOPED_TRACE(std::to_string(round) + "." + std::to_string(step));
      if (random.Chance(0.05)) rewrite(random.Between(3, 6));
      if (random.Chance(0.1)) SetNodeStateName_bn(named, random.Below(3), random.Pick(names));
      if (random.Chance(0.05)) SetNodeStateName_bn(named, 0, "deep"), UndoLastChange_bn(net.get());
      if (random.Chance(0.1)) SetNodeName_bn(real, random.Chance(0.5) ? "Real" : "Other");
      ClearErrors_ns(env, 6);
      const bool goesOn = step > 0 && next < starts.size() && random.Chance(0.7);
      if (!goesOn) next = std::size_t(random.Below(int(starts.size())));
      nodelist_bn nodes = random.Chance(0.9) ? all : few;
      filespec_ns other = FileNamed_ns(Path().c_str(), env);
      const std::string now = outcome(file, goesOn ? NEXT_CASE : starts[next], nodes);
      EXPECT_EQ(now, outcome(other, starts[next], nodes));
      FreeFileSpec_ns(other);
      ++next;
    }
  }
  ClearErrors_ns(env, 6);
  FreeNodeList_bn(few);
}

// Blocks of any size hold what the rows hold that are read one by one.
TEST_F(CaseFiles, AreReadInBlocks) {
  const std::vector<std::vector<const char*>> entries = {{"low", "medium", "high", "*", "", "#1", "Low"},
                                                         {"0", "2", "#1", "*", "@"},
                                                         {"1", "4", "#2", "*"},
                                                         {"few", "many", "100", ""},
                                                         {"0.5", "5", "#0", "*"},
                                                         {"-1", "*"}};
  Random random(2026);
  std::string text =
      std::string(INDICATOR) + "NumCases\tNamed\tNumbered\tLeveled\tStranger\tBoth\tRanged\tReal\tIDnum\r\n";
  constexpr int NUM_ROWS = 500;
  for (int i = 0; i < NUM_ROWS; ++i) {
    text += std::to_string(random.Below(4)) + ".5";
    for (std::size_t k = 0; k < entries.size(); ++k)
      text += (k == 3 ? "\tx\t" : "\t") + std::string(random.Pick(entries[k]));
    text += "\t" + std::to_string(i) + (random.Chance(0.1) ? "\t\r\n\r\n// between\r\n" : "\r\n");
  }
  Put(text);
  const int numnodes = LengthNodeList_bn(all);
  std::vector<statetype> states(std::size_t(NUM_ROWS * numnodes), 99);
  std::vector<long> ids(NUM_ROWS, 99);
  std::vector<double> freqs(NUM_ROWS, 99);
  double position = 0;
  long numRead = 0;
  for (long got = 1; got > 0; numRead += got) {
    const long room = std::min<long>(random.Below(100) + 1, NUM_ROWS + 1 - numRead);
    states.resize(std::size_t((numRead + room) * numnodes));
    ids.resize(std::size_t(numRead + room));
    freqs.resize(std::size_t(numRead + room));
    got = ReadCaseStates_bn(file, all, &position, room, &states[std::size_t(numRead * numnodes)],
                            &ids[std::size_t(numRead)], &freqs[std::size_t(numRead)]);
  }
  EXPECT_EQ(numRead, NUM_ROWS);
  EXPECT_EQ(Findings(), "- - - - - -");
  const std::string complaints = Complaints();
  EXPECT_EQ(complaints.find("4 2472 ReadCaseStates_bn cases.cas Test 1; 4 2473 ReadCaseStates_bn "), 0u) << complaints;
  EXPECT_NE(complaints.rfind("4 2473"), complaints.find("4 2473"));  // the last: how many came after the first
  filespec_ns other = FileNamed_ns(Path().c_str(), env);
  for (int i = 0; i < NUM_ROWS; ++i) {
    SCOPED_TRACE(i);
    long at = i == 0 ? FIRST_CASE : NEXT_CASE, id = -2;
    double freq = -2;
    ReadCase_bn(&at, other, all, &id, &freq);
    ASSERT_EQ(ids[std::size_t(i)], id);
    ASSERT_EQ(freqs[std::size_t(i)], freq);
    const auto row = states.begin() + i * numnodes;
    ASSERT_EQ(std::vector<statetype>(row, row + numnodes), FoundStates());
  }
  FreeFileSpec_ns(other);
  ClearErrors_ns(env, 6);
}

// A file full of values that nothing holds does not fill the list of errors.
TEST_F(CaseFiles, TellOfAHundredUnfitValues) {
  constexpr long NUM_ROWS = 300;
  std::string text = std::string(INDICATOR) + "Ranged\tNamed\n";
  for (long i = 0; i < NUM_ROWS; ++i) text += "999\tlow\n";
  Put(text);
  nodelist_bn two = List({ranged, named});
  std::vector<statetype> states(2 * NUM_ROWS);
  double position = 0;
  EXPECT_EQ(ReadCaseStates_bn(file, two, &position, NUM_ROWS, states.data(), nullptr, nullptr), NUM_ROWS);
  for (long i = 0; i < NUM_ROWS; ++i)
    ASSERT_TRUE(states[std::size_t(2 * i)] == UNDEF_STATE && states[std::size_t(2 * i + 1)] == 0);
  const std::string reports = Reports();
  EXPECT_EQ(std::count(reports.begin(), reports.end(), '\n'), 101);
  EXPECT_NE(reports.find("line 103"), reports.npos) << "the hundredth row is the last that is told of";
  EXPECT_EQ(reports.find("line 104"), reports.npos);
  EXPECT_NE(reports.find("more entries of this kind are counted as missing"), reports.npos);
  FreeNodeList_bn(two);
  FreeFileSpec_ns(std::exchange(file, FileNamed_ns("/dev/null", env)));
  position = 5;
  EXPECT_EQ(ReadCaseStates_bn(file, all, &position, 1, states.data(), nullptr, nullptr), -1);
  EXPECT_NE(Reports(), "") << "there are no places in what is no file";
}

TEST_F(CaseFiles, TellTheirNodes) {
  Put(std::string(INDICATOR) + "Real\tStranger\tIDnum\tNamed\tNamed\n");
  nodelist_bn nodes = CaseFileNodes_bn(file, net.get());
  EXPECT_EQ(Names(nodes), "Real Named");
  FreeNodeList_bn(nodes);
  Put(std::string(INDICATOR) + "Stranger\n");
  EXPECT_EQ(CaseFileNodes_bn(file, net.get()), nullptr);
  EXPECT_EQ(Complaints(), "5 2471 CaseFileNodes_bn cases.cas Test");
}

// The rows before a bad one are answered, and the call after the one that refuses it goes on behind it.
TEST_F(CaseFiles, AreReadInBlocksUpToBadRows) {
  Put(std::string(INDICATOR) + "Named\nlow\nhigh\nlow\tlow\nmedium\n");
  statetype states[8];
  double position = 0;
  nodelist_bn one = List({named});
  const auto read = [&](long room) {
    const long got = ReadCaseStates_bn(file, one, &position, room, states, nullptr, nullptr);
    return std::to_string(got) + " " + std::to_string(int(position)) + " " + Complaints();
  };
  EXPECT_EQ(read(0), "0 0 ");
  EXPECT_EQ(read(8), "2 34 ");
  EXPECT_EQ(states[1], 2);
  EXPECT_EQ(read(8), "-1 42 5 2087 ReadCaseStates_bn cases.cas 6 cases.cas");
  EXPECT_EQ(read(8), "1 49 ");
  EXPECT_EQ(states[0], 1);
  EXPECT_EQ(read(8), "0 49 ");
  EXPECT_EQ(Read(NEXT_CASE), NO_MORE_CASES);
  position = 30;
  EXPECT_EQ(read(8), "-1 30 5 2273 ReadCaseStates_bn cases.cas cases.cas 30");
  FreeNodeList_bn(one);
}

#if defined(__linux__)
// The rows that were read with the last one are answered from memory, and the file is opened for those after them.
TEST_F(CaseFiles, AreNotOpenedForEachRow) {
  std::string text = std::string(INDICATOR) + "IDnum\tNamed\tNumbered\n";
  const std::size_t head = text.size();
  constexpr int NUM_ROWS = 20000;
  for (int i = 0; i < NUM_ROWS; ++i) text += std::to_string(10000 + i) + "\t*\t" + std::to_string(i % 3) + "\n";
  Put(text);
  LetTimePass();
  EXPECT_EQ(Read(FIRST_CASE), long(head));
  rlimit limit, none;
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  none = limit;
  none.rlim_cur = 0;
  int numOpenings = 0;
  for (int i = 1; i < NUM_ROWS; ++i) {
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    long position = NEXT_CASE, id = -1;
    ReadCase_bn(&position, file, all, &id, nullptr);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    if (!Reports(5).empty()) {
      ++numOpenings;
      position = NEXT_CASE;
      ReadCase_bn(&position, file, all, &id, nullptr);
    }
    ASSERT_EQ(id, 10000 + i);
    ASSERT_EQ(GetNodeFinding_bn(numbered), i % 3);
  }
  EXPECT_EQ(Complaints(), "");
  EXPECT_GT(numOpenings, 1);
  EXPECT_LT(numOpenings, 10);
  EXPECT_EQ(Read(NEXT_CASE), NO_MORE_CASES);
}

// What can be read only once is read from its start alone, and has its lines counted all the same.
TEST_F(CaseFiles, MayComeThroughAPipe) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const std::string text = std::string(INDICATOR) + "Named\n\nlow\tx\n";
  ASSERT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  close(ends[1]);
  filespec_ns piped = FileNamed_ns(("/dev/fd/" + std::to_string(ends[0])).c_str(), env);
  ReadCase_bn(nullptr, piped, all, nullptr, nullptr);
  EXPECT_NE(Reports().find("Too many entries on line 5 of file"), std::string::npos);
  long position = 29;
  ReadCase_bn(&position, piped, all, nullptr, nullptr);
  EXPECT_NE(Reports().find("5 2273 "), std::string::npos);
  FreeFileSpec_ns(piped);
  close(ends[0]);
}
#endif

TEST_F(CaseFiles, MayHaveRowsLongerThanTheBuffer) {
  const std::string row = "high\t" + std::string(700000, 'x') + "\t";
  Put(INDICATOR + ("Named\tStranger\tReal\n" + row) + "1\n" + row + "2\n");
  Read(FIRST_CASE);
  EXPECT_EQ(Findings(), "#2 - - - - 1");
  Read(NEXT_CASE);
  EXPECT_EQ(Findings(), "#2 - - - - 2");
  static int left;
  for (int allowed = 0; allowed < 3; ++allowed) {
    left = allowed;
    SetHeapGate([](std::size_t nbytes) { return nbytes < 200000 || left-- > 0; });
    Read(FIRST_CASE);
    SetHeapGate(nullptr);
    EXPECT_NE(Reports().find("not enough memory to read a"), std::string::npos) << allowed;
  }
  SetHeapGate([](std::size_t nbytes) { return nbytes < 60000; });
  Read(FIRST_CASE);
  SetHeapGate(nullptr);
  EXPECT_NE(Reports().find("not enough memory to read a case file"), std::string::npos);
  Put(std::string(INDICATOR) + "Named\n");
  std::filesystem::resize_file(Path(), 70 << 20);
  Read(FIRST_CASE);
  EXPECT_EQ(Complaints(), "5 2470 ReadCase_bn cases.cas 4 64");
}

// Damaged files are read to their end, in rows or in refusals, without harm.
TEST_F(CaseFiles, SurviveMutations) {
  std::string whole = std::string(INDICATOR) + "IDnum\tNumCases\tNamed\tNumbered\tLeveled\tBoth\tRanged\tReal\n";
  for (int i = 0; i < 20; ++i) whole += std::to_string(i) + "\t1.5\thigh\t2\t#2\tmany\t0.5\t-2.25e3\n";
  const std::vector<const char*> pieces = {"\t",
                                           "\n",
                                           "\r",
                                           "*",
                                           "@",
                                           "#",
                                           "//",
                                           "/*",
                                           "*/",
                                           "IDnum",
                                           "-",
                                           "e",
                                           "~->[",
                                           "Named",
                                           " ",
                                           "\xff",
                                           "999999999999999999999"};
  Random random(4711);
  int numRows = 0;
  for (int trial = 0; trial < 1000; ++trial) {
    SCOPED_TRACE(trial);
    Put(Mutated(whole, pieces, random));
    long position = FIRST_CASE;
    std::vector<statetype> states;  // row by row
    for (int i = 0; i < 200; ++i) {
      ReadCase_bn(&position, file, all, nullptr, nullptr);
      if (!Reports(5).empty() || position == NO_MORE_CASES) break;
      ++numRows;
      for (statetype state : FoundStates()) states.push_back(state);
      if (position >= 0) position = NEXT_CASE;
    }
    std::vector<statetype> block(states.size() + 6, 99);
    double offset = 0;
    const long numRead = ReadCaseStates_bn(file, all, &offset, long(block.size() / 6), block.data(), nullptr, nullptr);
    EXPECT_GE(std::max(numRead, 0L) * 6, long(states.size()));
    block.resize(states.size());
    EXPECT_EQ(block, states);
    CaseFileRevisesProbs_bn(file, all, 0, 1);
    ClearErrors_ns(env, 6);
  }
  EXPECT_GT(numRows, 3000);
  RetractAllFindings_bn(net.get());
}

}  // namespace
}  // namespace bravic::testing
