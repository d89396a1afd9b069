// Case files as spreadsheets write them: told by their first line, and read to the same states as the library's own
// form.
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

class SeparatedValues : public NetTest {
 protected:
  void SetUp() override {
    NetTest::SetUp();
    income = AddNode(net, "Income", {"s50K", "s50K_2", "unknown_or_not_told_by_them"});
    SetNodeText_bn(income, "label", "Income (a year)");
    SetNodeText_bn(income, "state 0", "<=50K");
    SetNodeText_bn(income, "state 1", ">50K");
    SetNodeText_bn(income, "state 2", "unknown, or \"not told\" by them although they were asked");
    sex = AddNode(net, "Sex", {"f", "m"});
    const double bounds[] = {-inf_dbl_ns, 18, 65, inf_dbl_ns};
    age = New("Age", 0);
    SetNodeLevels_bn(age, 3, bounds);
    all = GetNetNodes_bn(net.get());
    file = FileNamed_ns(Path().c_str(), env);
  }
  void TearDown() override {
    FreeFileSpec_ns(file);
    NetTest::TearDown();
  }
  std::string Path() { return directory.Path("cases.txt"); }
  // The states of all rows, "-" where missing, and what was complained of.
  std::string Read(const std::string& text, filespec_ns from = nullptr, std::string path = "") {
    WriteWhole(path.empty() ? Path() : path, text);
    std::string rows;
    const auto width = static_cast<std::size_t>(LengthNodeList_bn(all));
    std::vector<statetype> states(4 * width);
    double position = 0;
    for (long got;
         (got = ReadCaseStates_bn(from ? from : file, all, &position, 4, states.data(), nullptr, nullptr)) > 0;) {
      for (std::size_t i = 0; i < static_cast<std::size_t>(got) * width; ++i)
        rows += (states[i] < 0 ? "-" : std::to_string(states[i])) + (i % width == width - 1 ? " " : "");
    }
    std::string complaints = Gist();
    for (std::size_t at; (at = complaints.find(directory.Path() + "/")) != complaints.npos;)
      complaints.erase(at, directory.Path().size() + 1);
    return rows + complaints;
  }

  node_bn income = nullptr, sex = nullptr, age = nullptr;
  nodelist_bn all = nullptr;
  filespec_ns file = nullptr;
};

TEST_F(SeparatedValues, AreToldByTheFirstLine) {
  const char* const texts[] = {
      "Income,Sex,Age\n<=50K,m,3\n>50K,f,70\n",
      "\xEF\xBB\xBFIncome,Sex,Age\r\n<=50K,m,3\r\n>50K,f,70",
      "\"Income (a year)\";Sex;Age\n\"<=50K\";\"m\";\"3\"\n s50K_2 ; \"f\" ;70\n\n",
      "Income;\"Sex\";Age;\"a,b,c,d\"\r<=50K;m;3;,\r>50K;f;7e1;\r",
      "// ~->[CASE-1]->~\n// with tabs, commas\nSex,Age,Income,IDnum\nm,3,<=50K,1\nf,70,>50K,2\n",
      "// ~->[CASE-1]->~\nSex\tIncome\tAge\nm\t<=50K\t3\nf\t>50K\t70\n",
      "// ~->[CASE-1]->~\nSex Income Age // one, two, three\nm\t<=50K\t3\nf\t>50K\t70\n",
  };
  for (const char* text : texts) {
    const std::string answer = Read(text);
    EXPECT_EQ(answer.substr(0, 8), "010 102 ") << text << "\n" << answer;
    EXPECT_EQ(answer.find("5 "), answer.npos) << text << "\n" << answer;
  }
  // Tabs and single columns have to be told by the name.
  EXPECT_EQ(Read("Sex\tAge\nm\t3\n"), "5 2080 ReadCaseStates_bn cases.txt CASE");
  EXPECT_EQ(Read("Sex\nm\nf\n"), "5 2080 ReadCaseStates_bn cases.txt CASE");
  EXPECT_EQ(Read("\"Sex\"\nm\n\"f\"\n"), "-1- -0- ");
  const std::string named = directory.Path("x.CSV");
  const filespec_ns sheet = FileNamed_ns(named.c_str(), env);
  EXPECT_EQ(Read("Sex\nm\nf\n", sheet, named), "-1- -0- ");
  EXPECT_EQ(Read("Sex\tAge\nm\t\"3\"\n", sheet, named), "-10 ");
  EXPECT_EQ(WriteCase_bn(all, sheet, -1, -1), -1);
  EXPECT_EQ(Reports(5).find("2476") == std::string::npos, false);
  FreeFileSpec_ns(sheet);
}

TEST_F(SeparatedValues, HaveMissingCells) {
  EXPECT_EQ(Read("Income,Sex,Age\n,,\n*,*,*\n?,NA,?\n\"\",\"?\",NA\n <=50K , ,  \n,m,\n"), "--- --- --- --- 0-- -1- ");
  EXPECT_EQ(Read("Income,Sex\n<50K,m\nunknown_or_not_told_by_them,M\n"),
            "-1- 2-- 4 2473 ReadCaseStates_bn cases.txt 2 <50K Income 2 1");
  const node_bn country = AddNode(net, "Country", {"NA", "SA"});
  SetNodeText_bn(country, "state 1", "?");
  all = GetNetNodes_bn(net.get());
  EXPECT_EQ(Read("Country,Sex\nNA,NA\n?,?\n,f\n"), "---0 ---1 -0-- ");
}

TEST_F(SeparatedValues, AreRefusedWithLineAndColumn) {
  const std::pair<const char*, const char*> rows[] = {
      {"Income,Sex\n<=50K,m\n<=50K\n", "01- 5 2088 ReadCaseStates_bn cases.txt 3 1 cases.txt"},
      {"Income,Sex\n<=50K,m,\n", "5 2087 ReadCaseStates_bn cases.txt 2 3 cases.txt"},
      {"Income,Sex\n\"<=50K,m\n\"<=50K\",m\n", "5 2501 ReadCaseStates_bn cases.txt 2 1 cases.txt"},
      {"Income,Sex\n<=50K,\"m\" x\n", "5 2502 ReadCaseStates_bn cases.txt 2 2 cases.txt"},
      {"Income,Sex\n<=50K,\"m\"\"\n", "5 2501 ReadCaseStates_bn cases.txt 2 2 cases.txt"},
      {"\nIncome,Sex,Age,Sex\n", "5 2500 ReadCaseStates_bn cases.txt Sex 4 2 cases.txt"},
      {"Income,Sex,Income (a year)\n", "5 2500 ReadCaseStates_bn cases.txt Income (a year) 3 1 cases.txt"},
      {"Income,\"Sex\n<=50K,m\n", "5 2501 ReadCaseStates_bn cases.txt 1 2 cases.txt"},
      {"Sky,Sun\n1,2\n", "5 2471 ReadCaseStates_bn cases.txt Test"},
      {"Sex,Age\nm,old\n", "5 2085 ReadCaseStates_bn cases.txt old Age 2 2 cases.txt"},
  };
  for (const auto& [text, answer] : rows) EXPECT_EQ(Read(text), answer) << text;
}

// Looking for a label brings the net's order up to date, which must not disturb what is being matched.
TEST_F(SeparatedValues, AreMatchedInANetWithoutOrder) {
  const Net fresh(NewNet_bn("Fresh", env));
  const node_bn node = NewNode_bn("Age", 0, fresh.get());
  const nodelist_bn list = List({node});
  WriteWhole(Path(), "Stranger,Age\nx,7\n");
  ReadCase_bn(nullptr, file, list, nullptr, nullptr);
  EXPECT_EQ(GetNodeValue_bn(node), 7);
  FreeNodeList_bn(list);
  EXPECT_EQ(Reports().substr(0, 6), "4 2472");
}

// A table of random cells reads the same in any form.
TEST_F(SeparatedValues, ReadAsTheLibrarysOwnFormDoes) {
  all = GetNetNodes_bn(net.get());
  const std::string spellings[] = {"<=50K", ">50K", "unknown, or \"not told\" by them although they were asked"};
  for (std::uint64_t seed = 1; seed <= 40; ++seed) {
    Random random(seed);
    const char separator = random.Below(2) ? ',' : ';';
    std::string own = "// ~->[CASE-1]->~\nIncome\tStranger\tSex\tAge\n",
                sheet = std::string("Income") + separator + "Stranger" + separator + "Sex" + separator + "Age\r\n";
    const auto put = [&](std::string cell, bool last) {
      bool quoted = random.Below(3) == 0 || cell.find_first_of(",;\"") != cell.npos;
      std::string text;
      for (char c : cell) text += c == '"' && quoted ? "\"\"" : std::string(1, c);
      if (quoted) text = "\"" + text + "\"";
      if (random.Below(4) == 0) text = std::string(random.Below(3), ' ') + text + " ";
      sheet += text + (last ? "\r\n" : std::string(1, separator));
    };
    const int numrows = 1 + random.Below(40);
    for (int i = 0; i < numrows; ++i) {
      const int state = random.Below(4), which = random.Below(3), years = random.Below(100);
      own += (state < 3 ? "#" + std::to_string(state) : "") + "\tx\t" +
             (which < 2 ? "#" + std::to_string(which) : "*") + "\t" + std::to_string(years) + "\n";
      put(state < 3 ? spellings[state] : "", false);
      put(std::string(random.Below(14), 'y'), false);
      put(which == 2 ? "NA" : which == 1 ? "m" : "f", false);
      put(std::to_string(years), true);
    }
    const std::string was = Read(own), is = Read(sheet);
    EXPECT_EQ(is, was) << "seed " << seed << "\n" << sheet;
    ASSERT_GT(was.size(), 4u * static_cast<unsigned>(numrows));
  }
}

}  // namespace
}  // namespace bravic::testing
