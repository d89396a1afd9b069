// UAI and NET: which number lands where, what is kept, and what is written.

#include "formats/formats_fixture.h"

namespace bravic::testing {
namespace {

class UaiTest : public FormatsTest {};
class NetFormatTest : public FormatsTest {};

TEST_F(UaiTest, TheChildIsLastOfItsTableAndItsStatesRunFastest) {
  const char* const text =
      "BAYES\n3\n2 3 2\n3\n1 1\n3 1 2 0\n1 2\n\n3\n 0.2 0.3 0.5\n\n12\n"
      " 0.1 0.9\n 0.2 0.8\n 0.3 0.7\n 0.4 0.6\n 0.5 0.5\n 0.6 0.4\n\n2\n 1 0\n";
  const Net net = ReadText("uai", std::string("# a comment\n") + text);
  EXPECT_EQ(Reports(), "");
  EXPECT_EQ(Names(GetNetNodes_bn(net.get())), "X1 X2 X0");
  EXPECT_EQ(Table(net, "X1"), "0.2 0.3 0.5");
  EXPECT_EQ(Table(net, "X0"), "0.1 0.9 | 0.2 0.8 | 0.3 0.7 | 0.4 0.6 | 0.5 0.5 | 0.6 0.4");
  EXPECT_EQ(States(net, "X1"), "s0 s1 s2");
  const std::string written = Text(net, "uai");
  EXPECT_EQ(Reports(), "");
  EXPECT_EQ(written.substr(0, 20), "BAYES\n3\n2 3 2\n3\n3 1 ") << "in the order of the numbers in the names";
  EXPECT_EQ(Table(ReadText("uai", written), "X0"), Table(net, "X0"));
}

TEST_F(UaiTest, FindingsAreOneCaseOrAsManyAsTheFirstLineSays) {
  const Net net = ReadText("uai", "BAYES 2 2 3 2 1 0 2 0 1 2 0.5 0.5 6 1 0 0 0 0.5 0.5");
  const struct {
    const char* text;
    int number;
    const char *answer, *reports;
  } rows[] = {
      {"2 0 1 1 2", 1, "2: 1 2", ""},
      {"1\n1 0 1\n", 1, "1: 1 -8", ""},
      {"2\n1 0 0\n2 0 1 1 1", 2, "2: 1 1", ""},
      {"2\n0 1\n1 2\n", 1, "2: 1 2", ""},
      {"0", 1, "0: -8 -8", ""},
      {"1 0 1", 2, "-1: -8 -8", "5 890 ReadFindingsFormat_bn: x.evid: there is no case 2 (there are 1, from 1)\n"},
      {"2 0 1", 1, "-1: -8 -8",
       "5 891 ReadFindingsFormat_bn: x.evid:1: the numbers of findings do not fit the numbers that follow\n"},
      {"1\n5 0", 1, "-1: -8 -8",
       "5 864 ReadFindingsFormat_bn: x.evid:2: there is no variable 5 (there are 2, from 0)\n"},
      {"1 1 3", 1, "-1: -8 -8",
       "5 865 ReadFindingsFormat_bn: x.evid:1: variable 1 has no state 3 (it has 3, from 0)\n"},
      {"1 0 x", 1, "-1: -8 -8", "5 823 ReadFindingsFormat_bn: x.evid:1: 'x' is no number\n"},
  };
  for (const auto& row : rows) {
    const std::string path = directory.Path("x.evid");
    WriteWhole(path, row.text);
    std::ostringstream answer;
    answer << ReadFindingsFormat_bn(net.get(), path.c_str(), row.number) << ":";
    for (const char* name : {"X0", "X1"}) answer << " " << GetNodeFinding_bn(Named(net, name));
    EXPECT_EQ(answer.str(), row.answer) << row.text;
    std::string reports = Reports();
    if (const auto at = reports.find(path); at != reports.npos) reports.replace(at, path.size(), "x.evid");
    EXPECT_EQ(reports, row.reports) << row.text;
    RetractAllFindings_bn(net.get());
  }
  // A finding that contradicts one there was takes those before it back.
  CompileNet_bn(net.get());
  EnterFinding_bn(Named(net, "X1"), 0);
  const std::string path = directory.Path("x.evid");
  WriteWhole(path, "2 0 0 1 2");
  EXPECT_EQ(ReadFindingsFormat_bn(net.get(), path.c_str(), 1), -1);
  EXPECT_NE(Reports(), "");
  EXPECT_EQ(GetNodeFinding_bn(Named(net, "X0")), -8);
  EXPECT_EQ(GetNodeFinding_bn(Named(net, "X1")), 0);
}

TEST_F(NetFormatTest, BlocksOfAllKindsAreReadAndWritten) {
  const Net net = ReadText("net", R"(% a comment
class Shop { name = "Corner shop"; inputs = (); HR_Desc = "of \"two\"
lines";
discrete node Rain { label = "Rain or not"; position = (10 -20.5); states = ("yes, much" "no" "");
  HR_Desc = "seen"; HR_Group = "0"; subtype = number; state_values = (1 2.5 1e3); }
node Size { subtype = interval; state_values = (-infinity 0 2 infinity); states = ("low" "mid" "high"); }
decision Open { states = ("open" "shut"); }
utility Gain { label = ""; }
potential (Rain) { data = (2 1 1); }   % counts
potential (Size | Rain) { model_nodes = (); model_data = (Normal(0, 1)); experience = (4 5 0.5);
  data = ((0.5 0.25 0.25)
          (1 0 0)
          (0 0 1)); }
potential (Open | Rain) { }
potential (Gain | Open Rain) { data = ((10 -2 3.5) (0 0 1e-7)); }
})");
  EXPECT_EQ(Reports(),
            "4 852 ReadNetFormatText_bn: text:9: 1 of the 1 rows of node 'Rain' do not sum to 1 and are normalized "
            "(first: (), "
            "which sums to 4)\n");
  EXPECT_EQ(Table(net, "Rain"), "0.5 0.25 0.25");
  EXPECT_EQ(Table(net, "Size"), "0.5 0.25 0.25 | 1 0 0 | 0 0 1");
  EXPECT_EQ(Table(net, "Gain"), "10 | -2 | 3.5 | 0 | 0 | 1e-07");
  EXPECT_EQ(Names(GetNodeParents_bn(Named(net, "Open"))), "Rain");
  const node_bn rain = Named(net, "Rain"), size = Named(net, "Size");
  EXPECT_EQ(GetNodeLevel_bn(rain, 2), 1000);
  EXPECT_EQ(GetNodeDiscrete_bn(size), 0);
  EXPECT_EQ(GetNodeLevel_bn(size, 0), -inf_dbl_ns);
  const statetype row = 2;
  EXPECT_EQ(GetNodeExperience_bn(size, &row), 0.5);
  EXPECT_EQ(States(net, "Rain"), "yes_much no s2");
  EXPECT_STREQ(GetNodeTitle_bn(rain), "Rain or not");
  EXPECT_STREQ(GetNodeText_bn(rain, "position"), "10 -20.5");
  EXPECT_STREQ(GetNetName_bn(net.get()), "Corner_shop");
  EXPECT_STREQ(GetNetComment_bn(net.get()), "of \"two\"\nlines");
  const std::string written = Text(net, "net");
  EXPECT_EQ(written, R"(net
{
    name = "Corner shop";
    HR_Desc = "of \"two\"
lines";
}
node Rain
{
    label = "Rain or not";
    position = (10 -20.5);
    states = ("yes, much" "no" "s2");
    subtype = number;
    state_values = (1 2.5 1000);
    HR_Desc = "seen";
}
node Size
{
    states = ("low" "mid" "high");
    subtype = interval;
    state_values = (-infinity 0 2 infinity);
}
decision Open
{
    states = ("open" "shut");
}
utility Gain
{
}
potential (Rain)
{
    data = (0.5 0.25 0.25);
}
potential (Size | Rain)
{
    data = ((0.5 0.25 0.25)
            (1 0 0)
            (0 0 1));
    experience = (4 5 0.5);
}
potential (Open | Rain)
{
}
potential (Gain | Open Rain)
{
    data = ((10 -2 3.5)
            (0 0 1e-07));
}
)");
  EXPECT_EQ(Text(ReadText("net", written), "net"), written);
  EXPECT_EQ(Reports(), "");
  EXPECT_EQ(Text(net, "bif"), "");
  EXPECT_EQ(Gist(), "5 881 WriteNetFormatText_bn BIF Open");
}

TEST_F(NetFormatTest, OriginalSpellingsComeBackAfterADetour) {
  const Net net = ReadText("bif", R"bif(variable "Value >= 5.5 (high)" { type discrete [2] { "0.5-1.0", true }; }
variable "Value = 5.5 high" { type discrete [2] { 0, "0 " }; }
variable A_name_with_many_characters_more_than_are_taken_here_by_far { type discrete [1] { x }; }
probability ( "Value >= 5.5 (high)" ) { table 0.5 0.5; }
probability ( "Value = 5.5 high" ) { table 0.5 0.5; }
probability ( A_name_with_many_characters_more_than_are_taken_here_by_far ) { table 1; })bif");
  EXPECT_EQ(Reports(), "");
  EXPECT_EQ(Names(GetNetNodes_bn(net.get())), "Value_5_5_high Value_5_5_high_2 A_name_with_many_characters_mo");
  EXPECT_EQ(States(net, "Value_5_5_high_2"), "s0 s0_2");
  const std::string bif = Text(net, "bif");
  EXPECT_EQ(Text(ReadText("dne", Text(net, "dne")), "bif"), bif);
  EXPECT_EQ(Text(ReadText("net", Text(net, "net")), "bif"), bif);
  EXPECT_EQ(Reports(), "");
}

}  // namespace
}  // namespace bravic::testing
