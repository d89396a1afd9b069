// Nets made of case files: the nodes, states and spellings, what is refused, and that the file then reads as it should.
#include "support/net_fixture.h"

namespace bravic::testing {
namespace {

class NetsOfCases : public NetTest {
 protected:
  std::string Path() { return directory.Path("cases.csv"); }
  Net Make(const std::string& text, const net_of_cases_bn* how = nullptr) {
    WriteWhole(Path(), text);
    const filespec_ns file = FileNamed_ns(Path().c_str(), env);
    Net made(NewNetOfCases_bn(file, "Made", how));
    FreeFileSpec_ns(file);
    return made;
  }
  // "Node(label): state=spelling ..." of each node.
  static std::string Said(const Net& made) {
    std::string text;
    if (!made) return "none";
    for (node_bn node : Nodes(made)) {
      text += GetNodeName_bn(node);
      if (const std::string label = GetNodeText_bn(node, "label"); !label.empty()) text += "(" + label + ")";
      text += ":";
      for (int i = 0; i < NumStates(node); ++i) {
        text += std::string(" ") + GetNodeStateName_bn(node, i);
        const std::string spelling = GetNodeText_bn(node, ("state " + std::to_string(i)).c_str());
        if (!spelling.empty()) text += "=" + spelling;
      }
      text += "; ";
    }
    return text;
  }
  std::string Complaints() {
    std::string text = Gist();
    for (std::size_t at; (at = text.find(directory.Path() + "/")) != text.npos;)
      text.erase(at, directory.Path().size() + 1);
    return text;
  }
};

TEST_F(NetsOfCases, HaveANodeForEachColumn) {
  const std::string text =
      ",Income (a year),\"a b\",a_b,7,Empty\n"
      "0,>50K,\"x, \"\"y\"\"\",1,z,\n"
      "1,<=50K,,01,Z,NA\n"
      "2,NA,-,?,z,*\n";
  Net made = Make(text);
  EXPECT_EQ(Said(made),
            "Income_a_year(Income (a year)): s50K=>50K s50K_2=<=50K; a_b_2(a b): x_y=x, \"y\" s=-; "
            "a_b: s1=1 s01=01; n7(7): z Z; ");
  EXPECT_EQ(Complaints(), "4 2506 NewNetOfCases_bn 2 1 cases.csv");
  EXPECT_EQ(UndoLastChange_bn(made.get()), 0);
  ClearErrors_ns(env, 6);
  const filespec_ns file = FileNamed_ns(Path().c_str(), env);
  const nodelist_bn nodes = GetNetNodes_bn(made.get());
  statetype states[12];
  double position = 0;
  EXPECT_EQ(ReadCaseStates_bn(file, nodes, &position, 3, states, nullptr, nullptr), 3);
  const std::vector<statetype> expected = {0, 0, 0, 0, 1, UNDEF_STATE, 1, 1, UNDEF_STATE, 1, UNDEF_STATE, 0};
  EXPECT_EQ(std::vector<statetype>(states, states + 12), expected);
  FreeFileSpec_ns(file);
  EXPECT_EQ(Complaints(), "4 2472 ReadCaseStates_bn cases.csv Made 2");

  // The library's own form; its number columns are no nodes.
  made = Make("// ~->[CASE-1]->~\nIDnum\tSky\tNumCases\n1\tclear\t2\n2\t*\t1\n3\t<1\t1\n");
  EXPECT_EQ(Said(made), "Sky: clear s1=<1; ");
  made = Make("IDnum,NumCases.,-IDnum\n1,few,x\n");  // names that such a file keeps for itself
  EXPECT_EQ(Said(made), "NumCases_2(NumCases.): few; IDnum_2(-IDnum): x; ");
  made = Make(std::string("IDnum\0,A\nfew,x\n", 15));
  EXPECT_EQ(Said(made).substr(0, 8), "IDnum_2(");
  made = Make("Sky\nclear\n");
  EXPECT_EQ(Said(made), "Sky: clear; ");
}

TEST_F(NetsOfCases, LeaveOutColumnsAndTakeNumbers) {
  const char *const omitted[] = {"Name"}, *const numbers[] = {"Age"}, *const wrong[] = {"name"};
  net_of_cases_bn how = {sizeof how, 3, 1, 1, omitted, numbers};
  const std::string text = "Name,Age,Kind\na,22,1\nb,,2\nc,4e1,3\nd,-0.5,2\ne,+7,1\n";
  const Net made = Make(text, &how);
  EXPECT_EQ(Said(made), "Age:; Kind: s1=1 s2=2 s3=3; ");
  const double bounds[] = {-inf_dbl_ns, 5, 30, inf_dbl_ns};
  EXPECT_EQ(SetNodeLevels_bn(Named(made, "Age"), 3, bounds), 0);
  const filespec_ns file = FileNamed_ns(Path().c_str(), env);
  statetype states[10];
  double position = 0;
  EXPECT_EQ(ReadCaseStates_bn(file, GetNetNodes_bn(made.get()), &position, 5, states, nullptr, nullptr), 5);
  const std::vector<statetype> expected = {1, 0, UNDEF_STATE, 1, 2, 2, 0, 1, 1, 0};
  EXPECT_EQ(std::vector<statetype>(states, states + 10), expected);
  FreeFileSpec_ns(file);
  EXPECT_EQ(Complaints(), "4 2472 ReadCaseStates_bn cases.csv Made 1");

  const std::string zero("A,B\n1,2\n1,2\0\n", 13);
  const struct {
    net_of_cases_bn how;
    std::string text;
    const char* complaint;
  } rows[] = {
      {{sizeof how, 2, 1, 1, omitted, numbers}, text, "2503 NewNetOfCases_bn cases.csv Kind 2 4 3 cases.csv"},
      {{sizeof how, 0, 1, 1, omitted, omitted}, text, ""},
      {{sizeof how, 0, 0, 1, nullptr, omitted}, text, "2504 NewNetOfCases_bn cases.csv a Name 2 1 cases.csv"},
      {{sizeof how, 0, 1, 0, wrong, nullptr}, text, "2505 NewNetOfCases_bn cases.csv name"},
      {{sizeof how, 0, 1, 0, nullptr, nullptr}, text, "2511 NewNetOfCases_bn NULL 1 omitted"},
      {{sizeof how, -1, 0, 0, nullptr, nullptr}, text, "2510 NewNetOfCases_bn maxstates 0 -1"},
      {{4, 0, 0, 0, nullptr, nullptr}, text, "2509 NewNetOfCases_bn how 4 net_of_cases_bn"},
      {{sizeof how, 0, 0, 0, nullptr, nullptr}, "A,B,A\n1,2,3\n", "2500 NewNetOfCases_bn cases.csv A 3 1 cases.csv"},
      {{sizeof how, 0, 0, 0, nullptr, nullptr}, zero, "2517 NewNetOfCases_bn cases.csv B 0 3 2 cases.csv"},
      {{sizeof how, 0, 0, 0, nullptr, nullptr}, "A,B\n", "2507 NewNetOfCases_bn cases.csv"},
      {{sizeof how, 0, 0, 0, nullptr, nullptr}, "A,B\n,NA\n", "2508 NewNetOfCases_bn cases.csv"},
      {{sizeof how, 0, 0, 0, nullptr, nullptr}, "A,B\n1,2\n1\n", "2088 NewNetOfCases_bn cases.csv 3 1 cases.csv"},
      {{sizeof how, 0, 0, 0, nullptr, nullptr}, "", "2080 NewNetOfCases_bn cases.csv CASE"},
  };
  for (const auto& row : rows) {
    const bool isFine = !*row.complaint;
    EXPECT_EQ(Make(row.text, &row.how) != nullptr, isFine) << row.complaint;
    EXPECT_EQ(Complaints(), isFine ? "" : std::string("5 ") + row.complaint);
  }
}

// Many columns, and many states, take memory and time in proportion; the names of all are different.
TEST_F(NetsOfCases, MayBeLarge) {
  std::string head, row, states = "X\n";
  for (int i = 0; i < 10000; ++i) {
    head += (i ? "," : "") + std::string("column ") + std::to_string(i);
    row += i ? ",1" : "1";
  }
  const Net wide = Make(head + "\n" + row + "\n");
  EXPECT_EQ(LengthNodeList_bn(GetNetNodes_bn(wide.get())), 10000);
  const filespec_ns file = FileNamed_ns(Path().c_str(), env);
  std::vector<statetype> found(10000, 7);
  double position = 0;
  EXPECT_EQ(ReadCaseStates_bn(file, GetNetNodes_bn(wide.get()), &position, 1, found.data(), nullptr, nullptr), 1);
  EXPECT_EQ(std::count(found.begin(), found.end(), 0), 10000);
  FreeFileSpec_ns(file);
  for (int i = 0; i < 100000; ++i)
    states += "-" + std::string(static_cast<std::size_t>(i % 50), '-') + std::to_string(i / 50) + "\n";
  EXPECT_EQ(Make(states), nullptr);
  EXPECT_EQ(Complaints(), "5 2503 NewNetOfCases_bn cases.csv X 1000 1002 1 cases.csv");
  const net_of_cases_bn how = {sizeof how, 1000000, 0, 0, nullptr, nullptr};
  const Net many = Make(states, &how);
  EXPECT_EQ(NumStates(Named(many, "X")), 100000);
  EXPECT_STREQ(GetNodeStateName_bn(Named(many, "X"), 99999), "s1999_50");
}

}  // namespace
}  // namespace bravic::testing
