// Damaged net files: whatever a file holds, reading it ends, leaves no memory behind, and a net that comes of it is
// consistent.
#include "Basic/Memory.h"
#include "support/mutated.h"
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

// Something of everything that the format knows.
constexpr char WHOLE[] = R"(// ~->[DNET-1]->~

HexNumbers = FALSE;
bnet whole {
	title = "quoted \"text\" \
		over lines\n";
	autoupdate = FALSE;
	backcomments = (p, q);
define node d {kind = NATURE; discrete = TRUE; states = (yes, no); probs = (0.25, 0.75);};
define node e (d) {parents = (a); probs = ((1, 0), (0, 1)); numcases = 12;};
param gone {discrete = TRUE; states = (g0, g1);};
node late {discrete = TRUE; states = (u, v); inputs = (x, , z); parents = (a, c, gone); numparents = 3;
	probs = // heading (one; two)
		(((0.5, 0.5), // row
		  (0.1, 0.9), (0.5, 0.5)), (((0.3, 0.7), (1, 0)), (@imposs, x), ((0.2, 0.8))));
	numcases = ((1, 2, 3), (3, (4, @undef), 5));
	likelihood = (1, 0.5);};
node a (d) {evidence = yes; belief = (1, 0);};
node b (e, d) {chance = CHANCE; states = (m, n);};
node c {discrete = FALSE; measure = RATIO; levels = (-inf, 0, 1.5, inf); units = "mg"; value = 1; parents = (a);
	functable = (0.5, /* half */ -inf);};
node f {discrete = TRUE; states = (s, t, ); levels = (1, 2, 4); parents = (a, b); functable = (s, #1, t, @undef);};
node u {kind = UTILITY; discrete = FALSE; parents = (late, f); functable = ((1, 2, 3), 4);};
ElimOrder = (f, late, a, b, c, u);
};
)";

const std::vector<const char*> PIECES = {"(",      ")",      "{",         "}",       ";",     "=",    ",",      "\"",
                                         "\\",     "//",     "/*",        "*/",      "/#",    "@",    "#",      "inf",
                                         "-",      "@undef", "99999",     "1e999",   "0",     "node", "define", "param",
                                         "states", "levels", "numstates", "parents", "probs", "late", "d",      "\n"};

using NetMutationTest = NetTest;

TEST_F(NetMutationTest, DamagedFilesGiveConsistentNetsOrNone) {
  constexpr int SEED = 20250831, ROUNDS = 1500;
  Random random(SEED);
  const std::size_t used = MemoryUsed();
  int numRead = 0;
  for (int round = 0; round < ROUNDS; round++) {
    const std::string text = Mutated(WHOLE, PIECES, random);
    {
      const Net read = Read(text, random.Below(2));
      numRead += read != nullptr;
      if (read) GetNetNodes_bn(read.get());
    }
    const std::string reports = Reports(5);
    ASSERT_EQ(reports.find("is damaged"), std::string::npos) << reports << text;
    ASSERT_EQ(reports.find("nternal error"), std::string::npos) << reports << text;
    ASSERT_EQ(MemoryUsed(), used) << "round " << round << " of seed " << SEED << "\n" << text;
  }
  EXPECT_GT(numRead, ROUNDS / 2);
  net = Read(WHOLE);
  EXPECT_EQ(Reports(), "");
  EXPECT_EQ(Nodes(net).size(), 6u);
}

TEST_F(NetMutationTest, FilesMayEndAnywhere) {
  const std::string whole = WHOLE;
  const std::size_t used = MemoryUsed();
  for (std::size_t length = whole.find("bnet") + 1; length < whole.rfind('}'); length += 3) {
    Read(whole.substr(0, length));
    EXPECT_NE(Reports(5), "") << length;
    ASSERT_EQ(MemoryUsed(), used) << length;
  }
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
