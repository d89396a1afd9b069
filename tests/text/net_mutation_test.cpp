// Damaged net files: whatever a file holds, reading it ends, leaves no memory behind, and a net that comes of it is
// consistent.
#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <vector>

#include "Basic/Memory.h"
#include "support/files.h"
#include "support/library.h"
#include "support/nets.h"
#include "support/random.h"

namespace bravic {
namespace {

using testing::Random;

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

constexpr const char* PIECES[] = {"(",      ")",      "{",         "}",       ";",     "=",    ",",      "\"",
                                  "\\",     "//",     "/*",        "*/",      "/#",    "@",    "#",      "inf",
                                  "-",      "@undef", "99999",     "1e999",   "0",     "node", "define", "param",
                                  "states", "levels", "numstates", "parents", "probs", "late", "d",      "\n"};

std::string Mutated(std::string text, Random& random) {
  for (int n = random.Between(1, 4); n > 0 && !text.empty(); n--) {
    const auto at = static_cast<std::size_t>(random.Below(static_cast<int>(text.size())));
    const auto length = static_cast<std::size_t>(random.Between(1, 40));
    switch (random.Below(6)) {
      case 0:
        text[at] = static_cast<char>(random.Below(256));
        break;
      case 1:
        text.erase(at, length);
        break;
      case 2:
        text.insert(at, text.substr(static_cast<std::size_t>(random.Below(static_cast<int>(text.size()))), length));
        break;
      case 3:
        text.resize(at);
        break;
      default:
        text.insert(at, PIECES[random.Below(static_cast<int>(std::size(PIECES)))]);
    }
  }
  return text;
}

class NetMutationTest : public testing::LibraryTest {
 protected:
  net_bn Read(const std::string& text, int options) {
    testing::WriteWhole(directory_.Path("x.dne"), text);
    filespec_ns file = FileNamed_ns(directory_.Path("x.dne").c_str(), env);
    net_bn net = ReadNet_bn(file, options);
    FreeFileSpec_ns(file);
    return net;
  }

 private:
  testing::TemporaryDirectory directory_;
};

TEST_F(NetMutationTest, TheWholeFileIsGood) {
  const testing::Net net(Read(WHOLE, 0));
  EXPECT_EQ(Reports(), "");
  EXPECT_EQ(LengthNodeList_bn(GetNetNodes_bn(net.get())), 6);
}

TEST_F(NetMutationTest, DamagedFilesGiveConsistentNetsOrNone) {
  constexpr int SEED = 20250831, ROUNDS = 1500;
  Random random(SEED);
  const std::size_t used = MemoryUsed();
  int numRead = 0;
  for (int round = 0; round < ROUNDS; round++) {
    const std::string text = Mutated(WHOLE, random);
    net_bn net = Read(text, random.Below(2));
    numRead += net != nullptr;
    if (net) GetNetNodes_bn(net);
    FreeNet_bn(net);
    const std::string reports = Reports(5);
    ASSERT_EQ(reports.find("is damaged"), std::string::npos) << reports << text;
    ASSERT_EQ(reports.find("nternal error"), std::string::npos) << reports << text;
    ASSERT_EQ(MemoryUsed(), used) << "round " << round << " of seed " << SEED << "\n" << text;
  }
  EXPECT_GT(numRead, ROUNDS / 2);
  const testing::Net net(Read(WHOLE, 0));
  EXPECT_EQ(Reports(), "");
}

TEST_F(NetMutationTest, FilesMayEndAnywhere) {
  const std::string whole = WHOLE;
  const std::size_t used = MemoryUsed();
  for (std::size_t length = whole.find("bnet") + 1; length < whole.rfind('}'); length += 3) {
    FreeNet_bn(Read(whole.substr(0, length), 0));
    EXPECT_NE(Reports(5), "") << length;
    ASSERT_EQ(MemoryUsed(), used) << length;
  }
}

TEST_F(NetMutationTest, DeepNestingAndFloodsOfFaultsEnd) {
  const std::string head = "// ~->[DNET-1]->~\nbnet t {node a {discrete = TRUE; states = (x, y); parents = (); ";
  for (const std::string& flood :
       {"probs = " + std::string(300000, '('), "colour = " + std::string(300000, '{'), std::string(300000, '}'),
        std::string(300000, '|'), "states = (" + std::string(300000, ',')}) {
    FreeNet_bn(Read(head + flood, 0));
    EXPECT_NE(Reports(5), "");
  }
}

bool refuseLarge(std::size_t nbytes) {
  return nbytes < 1000000;
}

TEST_F(NetMutationTest, ATableWithoutMemoryIsLeftOut) {
  std::string text = "// ~->[DNET-1]->~\nbnet t {\n";
  for (char name : {'a', 'b'}) text += std::string("node ") + name + " {discrete = TRUE; numstates = 1000;};\n";
  text += "node c {discrete = TRUE; states = (x, y); parents = (a, b); probs = (1, 0); title = \"T\";};};";
  SetHeapGate(refuseLarge);
  const testing::Net net(Read(text, 0));
  SetHeapGate(nullptr);
  const std::string reports = Reports(5);
  EXPECT_NE(reports.find("not enough memory to read table of node 'c' (7812.5 K bytes needed)"), std::string::npos)
      << reports;
  ASSERT_NE(net, nullptr);
  EXPECT_STREQ(GetNodeTitle_bn(testing::Named(net, "c")), "T");
  EXPECT_FALSE(HasRelation_bn(testing::Named(net, "c")));
}

}  // namespace
}  // namespace bravic
