// The formats in XML: which number lands where, what is passed over, and the exact report and line of every kind of
// problem.

#include "formats/comparison.h"
#include "formats/formats_fixture.h"

namespace bravic::testing {
namespace {

class XmlFormatTest : public FormatsTest {
 protected:
  // "danger number line: text", and "; " before the next one.
  std::string ShortReports() {
    std::string reports = Reports();
    for (const std::string& word : {std::string("ReadNetFormatText_bn: "), std::string("text:")}) {
      for (std::size_t at; (at = reports.find(word)) != std::string::npos;) reports.erase(at, word.size());
    }
    if (!reports.empty()) reports.pop_back();
    for (std::size_t at; (at = reports.find('\n')) != std::string::npos;) reports.replace(at, 1, "; ");
    return reports;
  }
};

std::string XmlBif(const std::string& network) {
  return "<?xml version=\"1.0\"?>\n<BIF VERSION=\"0.3\">\n<NETWORK>\n" + network + "</NETWORK>\n</BIF>\n";
}

std::string Xdsl(const std::string& nodes) {
  return "<?xml version=\"1.0\"?>\n<smile version=\"1.0\" id=\"n\">\n<nodes>\n" + nodes + "</nodes>\n</smile>\n";
}

const std::string A =  // lines 4 and 5
    "<VARIABLE TYPE=\"nature\"><NAME>a</NAME><OUTCOME>yes</OUTCOME><OUTCOME>no</OUTCOME></VARIABLE>\n"
    "<DEFINITION><FOR>a</FOR><TABLE>0.25 0.75</TABLE></DEFINITION>\n";
const std::string B =  // line 6
    "<VARIABLE><NAME>b</NAME><OUTCOME>x</OUTCOME><OUTCOME>y</OUTCOME><OUTCOME>z</OUTCOME></VARIABLE>\n";
const std::string P =
    "<cpt id=\"p\"><state id=\"on\"/><state id=\"off\"/><probabilities>0.25 0.75</probabilities></cpt>\n";

TEST_F(XmlFormatTest, XmlBifTablesHaveTheFirstParentSlowestAndMayHoldComments) {
  const Net read =
      ReadText(nullptr, XmlBif("<DEFINITION><FOR>b</FOR><GIVEN>a</GIVEN><GIVEN>c d</GIVEN><TABLE>0.1 0.2 0.7"
                               "<!-- no -->\n<![CDATA[0.2 0.2 0.6]]> 0.3 0.2 0.5 +4e-1 .2 0.4\r\n</TABLE>"
                               "</DEFINITION>\n" +
                               A + B +
                               "<VARIABLE><NAME>\n c d </NAME><VALUE>&lt; 1</VALUE><VALUE> <![CDATA[ 1]]> "
                               "</VALUE><PROPERTY>position = (inf, -2)</PROPERTY><PROPERTY>position = (1.5, "
                               "-2)</PROPERTY><PROPERTY> kept </PROPERTY>"
                               "<PROPERTY></PROPERTY></VARIABLE>\n"
                               "<DEFINITION><FOR>c d</FOR><TABLE>1 0</TABLE></DEFINITION>\n"));
  EXPECT_EQ(Reports(), "");
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(GetTable(Named(read, "b")),
            (std::vector<float>{0.1F, 0.2F, 0.7F, 0.2F, 0.2F, 0.6F, 0.3F, 0.2F, 0.5F, 0.4F, 0.2F, 0.4F}));
  node_bn c = FindNode_bn("c d", read.get());
  EXPECT_EQ(Names(GetNodeParents_bn(Named(read, "b"))), std::string("a ") + GetNodeName_bn(c));
  EXPECT_EQ(StateSpelling(c, 0), "< 1");
  EXPECT_EQ(StateSpelling(c, 1), " 1");
  EXPECT_STREQ(GetNodeText_bn(c, "position"), "1.5 -2");
  EXPECT_STREQ(GetNodeComment_bn(c), "position = (inf, -2)\nkept");
}

TEST_F(XmlFormatTest, HeadsMayTellAnEncodingAndEntitiesAreNotExpanded) {
  const Net latin = ReadText(nullptr,
                             "<?xml version='1.0' encoding='ISO-8859-1'?>\r\n<!DOCTYPE BIF SYSTEM \"no.dtd\" [\r\n"
                             "<!ENTITY e \"expanded\">\r\n]>\r\n<BIF><NETWORK><VARIABLE><NAME>\xE4</NAME>"
                             "<OUTCOME>&e;</OUTCOME></VARIABLE><DEFINITION><FOR>&#228;</FOR><TABLE>1</TABLE>"
                             "</DEFINITION></NETWORK></BIF>");
  EXPECT_EQ(Reports(), "");
  ASSERT_NE(latin, nullptr);
  EXPECT_EQ(Spelling(Nodes(latin)[0]), "\xC3\xA4");
  EXPECT_EQ(StateSpelling(Nodes(latin)[0], 0), "&e;");
}

// By hand: with F_leak = (1, 0.99, 0.95) from "high" to "none", F(a = on) = (1, 0.5, 0.2) and F(b = off, its strongest)
// = (1, 0.9, 0.6), the row of both is 1 - 0.99 x 0.5 x 0.9, that less 0.95 x 0.2 x 0.6, and the rest.
TEST_F(XmlFormatTest, NoisyMaxTablesAreFilledFromTheirParameters) {
  const Net read = ReadText(
      nullptr,
      Xdsl(
          "<noisymax id=\"y\"><state id=\"high\"/><state id=\"low\"/><state id=\"none\"/><parents>a b</parents>"
          "<strengths>0 1 1 0</strengths><parameters>0.5 0.3 0.2 0 0 1 0.1 0.3 0.6 0 0 1 0.01 0.04 0.95</parameters>"
          "</noisymax>\n<cpt id=\"a\"><state id=\"on\"/><state id=\"off\"/><probabilities>0.5 0.5</probabilities></cpt>"
          "\n<cpt id=\"b\"><state id=\"on\"/><state id=\"off\"/><probabilities>0.5 0.5</probabilities></cpt>\n"));
  EXPECT_EQ(Reports(), "");
  ASSERT_NE(read, nullptr);
  const std::vector<double> wanted = {1 - 0.495,  0.495 - 0.19,   0.19,   // on, on
                                      1 - 0.4455, 0.4455 - 0.114, 0.114,  // on, off
                                      0.01,       0.04,           0.95,   // off, on
                                      1 - 0.891,  0.891 - 0.57,   0.57};  // off, off
  const std::vector<float> table = GetTable(Named(read, "y"));
  ASSERT_EQ(table.size(), wanted.size());
  for (std::size_t i = 0; i < wanted.size(); ++i) EXPECT_NEAR(table[i], wanted[i], 1e-6) << i;
}

TEST_F(XmlFormatTest, DeterministicNodesNameAStateForEachRow) {
  const Net read = ReadText(nullptr, Xdsl(P + "<deterministic id=\"d\"><state id=\"x\"/><state id=\"y\"/><parents>p q"
                                              "</parents><resultingstates>x y y x</resultingstates></deterministic>\n"
                                              "<cpt id=\"q\"><state id=\"on\"/><state id=\"off\"/><probabilities>1 0"
                                              "</probabilities></cpt>\n"));
  EXPECT_EQ(Reports(), "");
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(GetTable(Named(read, "d")), (std::vector<float>{1, 0, 0, 1, 0, 1, 1, 0}));
}

// Sums of sums: u counts 2 x 3 in one and 0.5 in the other, v not at all in any.
TEST_F(XmlFormatTest, WeightsOfSumsAreMultipliedIntoTheUtilities) {
  const Net read =
      ReadText(nullptr, Xdsl(P + "<utility id=\"u\"><parents>p</parents><utilities>1 -2</utilities></utility>\n"
                                 "<utility id=\"v\"><parents>p</parents><utilities>5 7</utilities></utility>\n"
                                 "<mau id=\"s\"><parents>u</parents><weights>3</weights></mau>\n"
                                 "<mau id=\"t\"><parents>s u</parents><weights>2 0.5</weights></mau>\n"));
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(ShortReports(),
            "4 867 7: mau 's' is left out, and its weights are multiplied into the utilities; "
            "4 867 8: mau 't' is left out, and its weights are multiplied into the utilities");
  const statetype off = 1;
  EXPECT_EQ(GetNodeFuncValue_bn(Named(read, "u"), &off), -13);
  EXPECT_EQ(GetNodeFuncValue_bn(Named(read, "v"), &off), 7);
}

// In lines 5 and 6, below P.
std::string NoisyMax(const std::string& parts) {
  return Xdsl(P + "<noisymax id=\"m\"><state id=\"x\"/><state id=\"y\"/><parents>p</parents>\n" + parts +
              "</noisymax>\n");
}

struct BadFile {
  std::string text;
  const char* reports;
};

TEST_F(XmlFormatTest, ProblemsAreReportedWithTheirLinesAndElements) {
  const std::string u = "<VARIABLE TYPE=\"utility\"><NAME>u</NAME></VARIABLE>\n";
  const std::vector<BadFile> files = {
      // What is no XML, or another one.
      {"<BIF>\n<NETWORK>\n<NAME>x</NAME>\n", "5 871 2: element 'NETWORK' is never closed"},
      {"<BIF>\n<NETWORK>\n<NAME>x</NAM>\n</NETWORK></BIF>",
       "5 871 3: element 'NAME', which begins in line 3, is closed as 'NAM'"},
      {"<BIF>\n<NETWORK a='1>\n</NETWORK></BIF>\n",
       "5 870 2: this is no well-formed XML: error parsing element attribute"},
      {"<BIF>\n</BIF>\n<BIF>\n</BIF>", "5 872 3: element 'BIF' follows the end of 'BIF'"},
      {"<BIF></BIF>", "5 873 1: BIF has no NETWORK"},
      {"<SPEC>\n</SPEC>", "5 802  begins like a file of no known format (with '<SPEC>')"},
      // XMLBIF: variables.
      {XmlBif("<VARIABLE>\n<OUTCOME>x</OUTCOME></VARIABLE>\n"), "5 873 4: VARIABLE has no NAME"},
      {XmlBif("<VARIABLE>\n<NAME>a</NAME>\n<NAME>b</NAME></VARIABLE>\n"),
       "5 842 5: VARIABLE 'a' has no states; 5 874 6: VARIABLE has a second NAME, after that of line 5"},
      {XmlBif(A + "<VARIABLE TYPE=\"gaussian\"><NAME>g</NAME></VARIABLE>\n"),
       "5 859 6: VARIABLE 'g' of TYPE 'gaussian' cannot be represented"},
      {XmlBif(A + A),
       "5 840 6: VARIABLE 'a' is given twice, in lines 4 and 6; 4 848 7: the table of VARIABLE 'a' is given twice, in "
       "lines 5 and 7"},
      {XmlBif("<VARIABLE><NAME>b</NAME></VARIABLE><DEFINITION><FOR>b</FOR><TABLE></TABLE></DEFINITION>\n"),
       "5 842 4: VARIABLE 'b' has no states"},
      {XmlBif("<VARIABLE><NAME>b</NAME>\n<OUTCOME>x</OUTCOME>\n<OUTCOME>x</OUTCOME></VARIABLE>\n<DEFINITION><FOR>b"
              "</FOR><TABLE>0.5 0.5</TABLE></DEFINITION>"),
       "5 841 6: state 'x' of VARIABLE 'b' is given twice"},
      {XmlBif(A + "<VARIABLE TYPE=\"utility\"><NAME>u</NAME><OUTCOME>x</OUTCOME><OUTCOME>y</OUTCOME></VARIABLE>\n"
                  "<DEFINITION><FOR>u</FOR><TABLE>1</TABLE></DEFINITION>"),
       "5 879 6: VARIABLE 'u' is a utility, but has 2 states"},
      // XMLBIF: definitions.
      {XmlBif(A + B), "5 849 6: VARIABLE 'b' has no table"},
      {XmlBif(A + B + "<DEFINITION>\n<FOR>b</FOR><GIVEN>a</GIVEN>\n</DEFINITION>\n"),
       "5 849 7: VARIABLE 'b' has no table"},
      {XmlBif(A + "<DEFINITION>\n<FOR>c</FOR><TABLE>1</TABLE></DEFINITION>\n"),
       "5 843 7: a table is given for 'c', but there is no such node"},
      {XmlBif(A + "<DEFINITION><TABLE>1</TABLE></DEFINITION>\n"), "5 873 6: DEFINITION has no FOR"},
      {XmlBif(A + "<DEFINITION><FOR>a</FOR>\n<TABLE>0.5 0.5</TABLE></DEFINITION>\n"),
       "5 848 6: the table of VARIABLE 'a' is given twice, in lines 5 and 6"},
      {XmlBif(A + "<DEFINITION><FOR>a</FOR>\n<TABLE>0.25 0.75</TABLE></DEFINITION>\n"),
       "4 848 6: the table of VARIABLE 'a' is given twice, in lines 5 and 6"},
      {XmlBif(A + B +
              "<DEFINITION><FOR>b</FOR><GIVEN>a</GIVEN>\n<GIVEN>c</GIVEN>\n<TABLE>1 0 0</TABLE></DEFINITION>\n"),
       "5 844 8: parent 'c' of VARIABLE 'b' is no node"},
      {XmlBif(A + B + "<DEFINITION><FOR>b</FOR><GIVEN>a</GIVEN><GIVEN>a</GIVEN><TABLE>1 0 0</TABLE></DEFINITION>\n"),
       "5 845 7: parent 'a' of VARIABLE 'b' is given twice"},
      {XmlBif(A + B + "<DEFINITION><FOR>b</FOR><GIVEN>a</GIVEN>\n<TABLE>1 0 0\n0.5 0.5</TABLE></DEFINITION>\n"),
       "5 850 8: the table of VARIABLE 'b' has 5 numbers, but 6 were wanted"},
      {XmlBif(A + B + "<DEFINITION><FOR>b</FOR><GIVEN>a</GIVEN>\n<TABLE>1 0 0\n0.5 0.5 0.1</TABLE></DEFINITION>\n"),
       "5 852 9: row (no) of VARIABLE 'b' sums to 1.1"},
      {XmlBif(A + B + "<DEFINITION><FOR>b</FOR><TABLE>1.5 -0.5\n0</TABLE></DEFINITION>\n"),
       "5 853 7: row () of VARIABLE 'b' has the number -0.5, which is no probability"},
      {XmlBif(A + B + "<DEFINITION><FOR>b</FOR><TABLE>0.5\n0,5 0</TABLE></DEFINITION>\n"),
       "5 876 8: VARIABLE 'b': '0,5' in TABLE is no number"},
      {XmlBif(A + B + "<DEFINITION><FOR>b</FOR><TABLE>0.5 <b/> 0.5</TABLE></DEFINITION>\n"),
       "5 876 7: VARIABLE 'b': 'b' in TABLE is no number"},
      {XmlBif(A + B + "<DEFINITION><FOR>b</FOR><TABLE>1 0 0</TABLE><TABLE>1 0 0</TABLE></DEFINITION>\n"),
       "5 874 7: VARIABLE 'b' has a second TABLE, after that of line 7"},
      {XmlBif("<VARIABLE><NAME>p</NAME><OUTCOME>x</OUTCOME></VARIABLE>\n<VARIABLE><NAME>q</NAME><OUTCOME>x</OUTCOME>"
              "</VARIABLE>\n<DEFINITION><FOR>p</FOR><GIVEN>q</GIVEN><TABLE>1</TABLE></DEFINITION>\n"
              "<DEFINITION><FOR>q</FOR><GIVEN>p</GIVEN><TABLE>1</TABLE></DEFINITION>\n"),
       "5 846 6: links make a cycle: 'q' (line 7) -> 'p' (line 6) -> 'q'"},
      {XmlBif(A + u), "5 849 6: VARIABLE 'u' has no table"},
      {XmlBif(A + u + "<DEFINITION><FOR>u</FOR><GIVEN>a</GIVEN><TABLE>1 1e99</TABLE></DEFINITION>\n"),
       "5 854 7: utility VARIABLE 'u' has the number 1e+99, which is none to work with"},
      {XmlBif(A + u + B +
              "<DEFINITION><FOR>u</FOR><TABLE>1</TABLE></DEFINITION><DEFINITION><FOR>b</FOR><GIVEN>u</GIVEN>"
              "<TABLE>1 0 0</TABLE></DEFINITION>\n"),
       "5 847 8: utility VARIABLE 'u' is a parent of VARIABLE 'b', which cannot be"},
      // What is left out, with a warning.
      {XmlBif(A + "<SECRET/>\n<VARIABLE TYPE=\"decision\"><NAME>d</NAME><OUTCOME>x</OUTCOME></VARIABLE>\n"
                  "<DEFINITION><FOR>d</FOR><TABLE>1</TABLE></DEFINITION>\n"),
       "4 875 6: NETWORK: element 'SECRET' is passed over; 4 860 8: the table of decision node 'd' is left out"},
      // XDSL.
      {Xdsl("<cpt><state id=\"x\"/></cpt>\n"), "5 873 4: cpt has no id"},
      {Xdsl("<cpt id=\"x\"><state/>\n<probabilities>1</probabilities></cpt>\n"),
       "5 873 4: a state of cpt 'x' has no id"},
      {Xdsl(P + "<equation id=\"e\"><definition>e=2</definition></equation>\n"),
       "5 859 5: equation 'e' cannot be represented"},
      {Xdsl(P + P), "5 840 5: element 'p' is given twice, in lines 4 and 5"},
      {Xdsl("<cpt id=\"x\"><state id=\"a\"/>\n</cpt>\n"), "5 849 4: element 'x' has no table"},
      {Xdsl(P + "<cpt id=\"c\"><state id=\"a\"/>\n<parents>p\nq</parents><probabilities>1 1</probabilities></cpt>\n"),
       "5 844 7: parent 'q' of element 'c' is no node"},
      {Xdsl(P + "<cpt id=\"c\"><state id=\"a\"/><state id=\"b\"/>\n<parents>p</parents>\n<probabilities>1 0 0.5 0.4"
                "</probabilities></cpt>\n"),
       "5 852 7: row (off) of element 'c' sums to 0.9"},
      {Xdsl(P + "<deterministic id=\"d\"><state id=\"x\"/>\n<parents>p</parents>\n<resultingstates>x"
                "</resultingstates></deterministic>\n"),
       "5 877 7: deterministic 'd': resultingstates has 1 entries, but 2 were wanted"},
      {Xdsl(P + "<deterministic id=\"d\"><state id=\"x\"/>\n<parents>p</parents>\n<resultingstates>x\ny"
                "</resultingstates></deterministic>\n"),
       "5 825 8: 'y' is no state of element 'd'"},
      {NoisyMax("<strengths>0 0</strengths><parameters>1 0 0 1 0 1</parameters>"),
       "5 878 6: noisymax 'm': the strengths of parent 'p' are no order of its states"},
      {NoisyMax("<strengths>0 1</strengths><parameters>1 0 0 1 0</parameters>"),
       "5 877 6: noisymax 'm': parameters has 5 entries, but 6 were wanted"},
      {NoisyMax("<strengths>0 1</strengths><parameters>1 0\n0.5 0.4\n0 1</parameters>"),
       "5 878 7: noisymax 'm': column 2 of its parameters is no distribution"},
      {Xdsl(P + "<utility id=\"u\"><parents>p</parents><utilities>1 2</utilities></utility>\n<mau id=\"m\"><parents>u"
                "</parents>\n<expression>u*u</expression></mau>\n"),
       "5 859 7: the expression of mau 'm' cannot be represented"},
      {Xdsl(P + "<mau id=\"m\"><parents>p</parents><weights>1</weights></mau>\n"),
       "4 867 5: mau 'm' is left out, and its weights are multiplied into the utilities; 5 868 5: mau 'm': parent 'p' "
       "is no utility"},
      {Xdsl(P + "<mau id=\"m\"><parents>n</parents><weights>1</weights></mau>\n<mau id=\"n\"><parents>m</parents>"
                "<weights>1</weights></mau>\n"),
       "5 846 5: links make a cycle: through mau 'm'; 5 846 6: links make a cycle: through mau 'n'"},
      {"<smile id=\"n\">\n<nodes>\n" + P + "</nodes>\n<dynamic numslices=\"3\"/></smile>",
       "5 859 5: element 'dynamic', a net that goes through time, cannot be represented"},
      {"<smile id=\"n\">\n<extensions/></smile>", "5 873 1: smile has no nodes"},
      {XmlBif(A + "<VARIABLE><NAME>b</NAME><OUTCOME>x</OUTCOME>\n<HIDDEN/></VARIABLE><DEFINITION>\n<FOR>b</FOR>"
                  "<TABLE>1</TABLE><PROPERTY>none</PROPERTY><HIDDEN/></DEFINITION>\n"),
       "4 875 7: VARIABLE 'b': element 'HIDDEN' is passed over; 4 875 8: DEFINITION 'b': element 'HIDDEN' is passed "
       "over"},
      {XmlBif(A) + "<!-- behind -->\n<?and more?>\n", ""},
      {"<BIF><NETWORK>\n</NETWORK></BIF>\n</NETWORK>", "5 870 3: this is no well-formed XML: start-end tags mismatch"},
      {"<BIF>\n<!-- > --><NETWORK a='>' b=\"/>\">\n<![CDATA[</NETWORK>]]><NAME/>\n</BIF>",
       "5 871 4: element 'NETWORK', which begins in line 2, is closed as 'BIF'"},
      {Xdsl("<cpt id=\"x\"><state id=\"a\"/>\n<what/><property "
            "id=\"p\">1</property><probabilities>1</probabilities></cpt>\n"),
       "4 875 5: cpt 'x': element 'what' is passed over"},
      {Xdsl(P + "<deterministic id=\"d\"><state id=\"x\"/>\n<parents>p</parents></deterministic>\n"),
       "5 849 6: element 'd' has no table"},
      {Xdsl(P + "<deterministic id=\"d\"><state id=\"x\"/>\n<parents>q</parents>\n<resultingstates>x x"
                "</resultingstates></deterministic>\n"),
       "5 844 6: parent 'q' of element 'd' is no node"},
      {NoisyMax("<strengths>0 1</strengths>"), "5 873 5: noisymax 'm' has no parameters"},
      {NoisyMax("<parameters>1 0 0 1 0 1</parameters>"), "5 873 5: noisymax 'm' has no strengths"},
      {NoisyMax("<strengths>0</strengths><parameters>1 0 0 1 0 1</parameters>"),
       "5 877 6: noisymax 'm': strengths has 1 entries, but 2 were wanted"},
      {NoisyMax("<strengths>0 0.5</strengths><parameters>1 0 0 1 0 1</parameters>"),
       "5 878 6: noisymax 'm': the strengths of parent 'p' are no order of its states"},
      {NoisyMax("<strengths>0 2</strengths><parameters>1 0 0 1 0 1</parameters>"),
       "5 878 6: noisymax 'm': the strengths of parent 'p' are no order of its states"},
      {NoisyMax("<strengths>0 -1</strengths><parameters>1 0 0 1 0 1</parameters>"),
       "5 878 6: noisymax 'm': the strengths of parent 'p' are no order of its states"},
      {NoisyMax("<strengths>0 one</strengths><parameters>1 0 0 1 0 1</parameters>"),
       "5 876 6: noisymax 'm': 'one' in strengths is no number"},
      {NoisyMax("<strengths>0 1</strengths><parameters>1 0 0 one 0 1</parameters>"),
       "5 876 6: noisymax 'm': 'one' in parameters is no number"},
      {NoisyMax("<strengths>0 1</strengths><parameters>1.5 -0.5 0 1 0 1</parameters>"),
       "5 878 6: noisymax 'm': column 1 of its parameters is no distribution"},
      {Xdsl(P + "<mau id=\"m\"><parents>p</parents></mau>\n<mau id=\"n\"><weights>1</weights></mau>\n"
                "<mau id=\"o\"><parents>p</parents><weights>1 2</weights></mau>\n"
                "<mau id=\"r\"><parents>p</parents><weights>one</weights></mau>\n"),
       "5 873 5: mau 'm' has no weights; 5 873 6: mau 'n' has no parents; 5 877 7: mau 'o': weights has 2 entries, but "
       "1 were wanted; 5 876 8: mau 'r': 'one' in weights is no number"},
      {Xdsl(P + "<utility id=\"u\"><parents>p</parents><utilities>1 2</utilities></utility>\n"
                "<mau id=\"p\"><parents>u</parents><weights>1</weights></mau>\n"
                "<mau id=\"m\"><parents>u</parents><weights>1</weights></mau>\n"
                "<mau id=\"m\"><parents>u</parents><weights>1</weights></mau>\n"),
       "5 840 6: element 'p' is given twice, in lines 4 and 6; 4 867 6: mau 'p' is left out, and its weights are "
       "multiplied into the utilities; 4 867 7: mau 'm' is left out, and its weights are multiplied into the "
       "utilities; 5 840 8: element 'm' is given twice, in lines 7 and 8; 4 867 8: mau 'm' is left out, and its "
       "weights are multiplied into the utilities"},
      {"<smile id=\"n\">\n<nodes>" + P +
           "</nodes><extensions><genie name=\"N\"><submodel><node id=\"q\"/><node id=\"p\">"
           "<name>P</name>\n<position>1 2 three 4</position></node></submodel></genie></extensions></smile>",
       "4 860 4: the position of node 'p' is left out"},
      {"<smile id=\"n\">\n<nodes>" + P +
           "</nodes><extensions><genie><node id=\"p\">"
           "<position>1 2 inf 3</position></node></genie></extensions></smile>",
       "4 860 3: the position of node 'p' is left out"},
  };
  for (const BadFile& file : files) {
    ReadText(nullptr, file.text);
    EXPECT_EQ(ShortReports(), file.reports) << file.text;
  }
}

}  // namespace
}  // namespace bravic::testing
