// Damaged net files: whatever a file holds, reading it ends, leaves no memory behind, and a net that comes of it is
// consistent.

#include "Basic/Memory.h"
#include "support/mutated.h"
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

// Something of everything that the format knows.
const std::string FILE_OF_ALL = BRAVIC_SOURCE_DIR "/tests/text/whole.dne";

const std::vector<const char*> PIECES = {"(",      ")",      "{",         "}",       ";",     "=",    ",",      "\"",
                                         "\\",     "//",     "/*",        "*/",      "/#",    "@",    "#",      "inf",
                                         "-",      "@undef", "99999",     "1e999",   "0",     "node", "define", "param",
                                         "states", "levels", "numstates", "parents", "probs", "late", "d",      "\n"};

using NetMutationTest = NetTest;

TEST_F(NetMutationTest, DamagedFilesGiveConsistentNetsOrNone) {
  constexpr int SEED = 20250831, ROUNDS = 1500;
  Random random(SEED);
  const std::string whole = ReadWhole(FILE_OF_ALL);
  const std::size_t used = MemoryUsed();
  int numRead = 0;
  for (int round = 0; round < ROUNDS; ++round) {
    const std::string text = Mutated(whole, PIECES, random);
    {
      const Net read = Read(text, random.Below(2));
      numRead += read != nullptr;
      if (read) {
        const std::string first = Written(read);
        ASSERT_EQ(Written(Read(first, random.Below(2))), first) << text;
      }
    }
    const std::string reports = Reports(5);
    ASSERT_EQ(reports.find("is damaged"), std::string::npos) << reports << text;
    ASSERT_EQ(reports.find("nternal error"), std::string::npos) << reports << text;
    ASSERT_EQ(MemoryUsed(), used) << "round " << round << " of seed " << SEED << "\n" << text;
  }
  EXPECT_GT(numRead, ROUNDS / 2);
  net = ReadFrom(FILE_OF_ALL);
  EXPECT_EQ(Reports(), "");
  EXPECT_EQ(Nodes(net).size(), 6u);
}

TEST_F(NetMutationTest, FilesMayEndAnywhere) {
  const std::string whole = ReadWhole(FILE_OF_ALL);
  const std::size_t used = MemoryUsed();
  for (std::size_t length = whole.find("bnet") + 1; length < whole.rfind('}'); length += 3) {
    Read(whole.substr(0, length));
    EXPECT_NE(Reports(5), "") << length;
    ASSERT_EQ(MemoryUsed(), used) << length;
  }
}

TEST_F(NetMutationTest, ProblemsBeyondAThousandAreCounted) {
  std::string text = "// ~->[DNET-1]->~\nbnet t {";
  for (int i = 0; i < 1500; ++i) text += "colour = red;\n";
  EXPECT_EQ(Nodes(Read(text + "node a {states = (x, y);};};")).size(), 1u);
  const std::string reports = Reports();
  EXPECT_EQ(std::count(reports.begin(), reports.end(), '\n'), 1001);
  EXPECT_EQ(reports.substr(0, 7), "4 1005 ");
  EXPECT_NE(reports.rfind("x.dne':  500 more problems were found"), std::string::npos);
}

TEST_F(NetMutationTest, DeepNestingAndFloodsOfFaultsEnd) {
  const std::string head = "// ~->[DNET-1]->~\nbnet t {node a {discrete = TRUE; states = (x, y); parents = (); ";
  for (const std::string& flood :
       {"probs = " + std::string(300000, '('), "colour = " + std::string(300000, '{'), std::string(300000, '}'),
        std::string(300000, '|'), "states = (" + std::string(300000, ',')}) {
    Read(head + flood);
    EXPECT_NE(Reports(5), "");
  }
}

}  // namespace
}  // namespace bravic::testing
