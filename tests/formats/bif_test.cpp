// BIF: which number lands where, what is kept, and what is written.

#include "formats/formats_fixture.h"

namespace bravic::testing {
namespace {

class BifTest : public FormatsTest {};

TEST_F(BifTest, RowsNameTheStatesOfTheParentsInTheOrderOfTheHead) {
  const Net net = ReadText("bif", R"(
// no network block
variable A { type discrete [ 2 ] { yes, no }; }
variable "B b" { type discrete[3] { 1, "2 and more", 0.5-1.0 }; property position = (12, 3.5) ; property a b; }
variable C { type discrete [ 2 ] { c0, c1 }; property "one; two" ; }
probability ( C A "B b" ) {   /* the bar may be missing */
  (no, "2 and more") 0.25 0.75;
  default 0.5, 0.5;
  (yes, 0.5-1.0) 0.125, 0.875; }
probability ( A ) { table 0.1 0.9; }
probability ( "B b" | A ) { table 0.2 0.5  0.3 0.25  0.5 0.25; }
)");
  EXPECT_EQ(Reports(), "");
  EXPECT_EQ(Table(net, "A"), "0.1 0.9");
  EXPECT_EQ(Table(net, "B_b"), "0.2 0.3 0.5 | 0.5 0.25 0.25");
  EXPECT_EQ(Table(net, "C"), "0.5 0.5 | 0.5 0.5 | 0.125 0.875 | 0.5 0.5 | 0.25 0.75 | 0.5 0.5");
  EXPECT_EQ(States(net, "B_b"), "s1 s2_and_more s0_5_1_0");
  EXPECT_EQ(FindNode_bn("B b", net.get()), Named(net, "B_b"));
  EXPECT_EQ(FindState_bn("2 and more", Named(net, "B_b")), 1);
  EXPECT_STREQ(GetNodeText_bn(Named(net, "B_b"), "position"), "12 3.5");
  EXPECT_STREQ(GetNodeComment_bn(Named(net, "B_b")), "a b");
  EXPECT_STREQ(GetNodeComment_bn(Named(net, "C")), "one; two");
  EXPECT_EQ(Text(net, "bif"), R"(network text {
}
variable A {
  type discrete [ 2 ] { yes, no };
}
variable "B b" {
  type discrete [ 3 ] { 1, "2 and more", 0.5-1.0 };
  property position = (12, 3.5) ;
  property a b ;
}
variable C {
  type discrete [ 2 ] { c0, c1 };
  property "one; two" ;
}
probability ( A ) {
  table 0.1, 0.9;
}
probability ( "B b" | A ) {
  (yes) 0.2, 0.3, 0.5;
  (no) 0.5, 0.25, 0.25;
}
probability ( C | A, "B b" ) {
  (yes, 1) 0.5, 0.5;
  (yes, "2 and more") 0.5, 0.5;
  (yes, 0.5-1.0) 0.125, 0.875;
  (no, 1) 0.5, 0.5;
  (no, "2 and more") 0.25, 0.75;
  (no, 0.5-1.0) 0.5, 0.5;
}
)");
}

TEST_F(BifTest, ATableThatSumsTheOtherWayAloneIsTakenSo) {
  const std::string head =
      "variable A { type discrete [2] { a, b }; } probability (A) { table 0.5 0.5; }\n"
      "variable B { type discrete [2] { a, b }; } probability (B | A) { table ";
  const Net proper = ReadText("bif", head + "0.05 0.01 0.95 0.99; }"),
            other = ReadText("bif", head + "0.05 0.95 0.01 0.99; }");
  EXPECT_EQ(Table(proper, "B"), "0.05 0.95 | 0.01 0.99");
  EXPECT_EQ(Table(other, "B"), "0.05 0.95 | 0.01 0.99");
  EXPECT_EQ(Reports(),
            "4 830 ReadNetFormatText_bn: text:2: the table of node 'B' has its own states fastest, and is taken so\n");
}

}  // namespace
}  // namespace bravic::testing
