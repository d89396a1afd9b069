// Damaged files of other formats: whatever they hold, reading them ends, leaves no memory behind, and what comes of it
// is a net that its own format takes and gives back. Under sanitizers there are more of them.

#include "Basic/Memory.h"
#include "formats/comparison.h"
#include "formats/formats_fixture.h"
#include "support/mutated.h"

namespace bravic::testing {
namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr int ROUNDS = 1000;
#else
constexpr int ROUNDS = 250;
#endif

struct Subject {
  const char* format;
  const char* file;  // a seed of the fuzzers: something of everything that the format knows
  std::vector<const char*> pieces;
};

const std::vector<const char*> XML_PIECES = {
    "<",   ">",  "</",    "/>",  "<!--", "-->", "<![CDATA[", "]]>", "&lt;",       "&x;",  "&#0;",    "<?",      "\"",
    "0.5", "-1", "1e999", "nan", "inf",  "<a>", "</a>",      "\n",  "9999999999", "\xFF", "utility", "decision"};

const std::vector<Subject> SUBJECTS = {
    {"bif",
     "bif/whole.bif",
     {"{",   "}",  "(",     ")",     "[",       "]",           ";",        ",",           "|",       "\"",
      "//",  "/*", "*/",    "table", "default", "property",    "variable", "probability", "network", "type discrete",
      "0.5", "-1", "1e999", "nan",   "inf",     "99999999999", "\n",       "\xFF"}},
    {"net", "net_format/whole.net", {"{",          "}",          "(",         ")",           ";",
                                     "=",          "|",          "\"",        "\\",          "%",
                                     "data",       "states",     "potential", "node",        "utility",
                                     "decision",   "continuous", "class",     "subtype",     "state_values",
                                     "model_data", "experience", "infinity",  "0.5",         "-1",
                                     "1e999",      "nan",        "inf",       "99999999999", "\n",
                                     "\xFF"}},
    {"uai",
     "uai/whole.uai",
     {"BAYES", "MARKOV", "#", "\n", "0", "1", "2", "3", "-1", "0.5", "1e999", "nan", "inf", "99999999999", "\xFF"}},
    {"xmlbif", "xml/whole.bifxml", XML_PIECES},
    {"xdsl", "xml/whole.xdsl", XML_PIECES},
};

class FormatMutationTest : public FormatsTest {
 protected:
  static std::string Whole(const Subject& subject) {
    return ReadWhole(BRAVIC_SOURCE_DIR "/fuzz/corpus/" + std::string(subject.file));
  }

  // What is wrong after the text was read, or nothing.
  std::string Try(const char* format, const std::string& text, const Net& good) {
    const Net read = ReadText(format, text);
    const std::string reports = Reports(5);
    if (!read && reports.empty()) return "no net and no error";
    if (reports.find("nternal error") != std::string::npos) return reports;
    if (read) {
      const std::string first = Text(read, format);
      if (first.empty()) return "not written: " + Reports(5);
      const Net again = ReadText(format, first);
      if (!again) return "not read again: " + Reports(5) + first;
      if (Text(again, format) != first) return "other bytes than " + first;
    }
    const Net whole = ReadText(format, Text(good, format));
    const std::string difference = DifferenceOf(whole, good, {.names = false});
    Reports(0);
    return difference;
  }
};

TEST_F(FormatMutationTest, DamagedFilesGiveNetsThatComeBackOrNone) {
  for (const Subject& subject : SUBJECTS) {
    const std::string whole = Whole(subject);
    const Net good = ReadText(subject.format, whole);
    ASSERT_NE(good, nullptr) << subject.format << "\n" << Reports();
    Reports(0);
    constexpr int SEED = 20261122;
    Random random(SEED);
    ASSERT_EQ(Try(subject.format, whole, good), "") << subject.format;
    int numRead = 0;
    for (int round = 0; round < ROUNDS; ++round) {
      const std::string text = Mutated(whole, subject.pieces, random);
      const std::size_t used = MemoryUsed();
      numRead += ReadText(subject.format, text) != nullptr;
      Reports(0);
      ASSERT_EQ(Try(subject.format, text, good), "") << subject.format << " round " << round << "\n" << text;
      ASSERT_EQ(MemoryUsed(), used) << subject.format << " round " << round << "\n" << text;
    }
    EXPECT_GT(numRead, 0) << subject.format;
    EXPECT_LT(numRead, ROUNDS) << subject.format;
  }
}

TEST_F(FormatMutationTest, WhatTheFuzzersFoundIsReadOrRefused) {
  const std::string corpus = BRAVIC_SOURCE_DIR "/fuzz/corpus/";
  for (const char* folder : {"bif", "net_format", "uai", "xml"}) {
    for (const std::string& name : FilesIn(corpus + folder)) {
      const bool isRead = ReadText(nullptr, ReadWhole(corpus + folder + "/" + name)) != nullptr;
      EXPECT_EQ(Reports(5).empty(), isRead) << name;
    }
  }
}

TEST_F(FormatMutationTest, FilesMayEndAnywhere) {
  for (const Subject& subject : SUBJECTS) {
    const std::string whole = Whole(subject);
    const std::size_t used = MemoryUsed();
    for (std::size_t length = 0; length + 8 < whole.size(); length += ROUNDS < 1000 ? 5 : 1) {
      // Where nothing but the net's head is left there may be a net without nodes.
      const bool isRead = ReadText(subject.format, whole.substr(0, length)) != nullptr;
      EXPECT_EQ(Reports(5).empty(), isRead) << subject.format << " " << length;
      ASSERT_EQ(MemoryUsed(), used) << subject.format << " " << length;
    }
  }
}

TEST_F(FormatMutationTest, DeepNestingAndFloodsEnd) {
  const auto repeated = [](const std::string& piece) {
    std::string text;
    for (int i = 0; i < 100000; ++i) text += piece;
    return text;
  };
  const std::string xdsl = "<smile id=\"n\"><nodes>", bif = "network n {} variable a { type discrete [1] {x}; } ";
  for (const std::string& flood :
       {"net {} potential (a) { data = " + repeated("("), "net {} node a { states = " + repeated("("),
        bif + repeated("{"), bif + repeated("probability (b|a) {table 1;}"), "BAYES " + repeated("9 "),
        repeated("<BIF>"), xdsl + repeated("<cpt id=\"x\">"),
        xdsl + repeated("<mau id=\"m\"><parents>m</parents><weights>1</weights></mau>") + "</nodes></smile>",
        xdsl + "</nodes><extensions><genie>" + repeated("<submodel>") + repeated("</submodel>") +
            "</genie></extensions>",
        "<!DOCTYPE BIF [" + repeated("<!ENTITY a \"&b;&b;\">") + "]><BIF><NETWORK><NAME>&a;</NAME></NETWORK>"}) {
    ReadText(nullptr, flood);
    EXPECT_NE(Reports(5), "") << flood.substr(0, 60);
  }
}

// A few lines that stand for a table of a thousand million numbers.
TEST_F(FormatMutationTest, TablesThatNobodyCanHoldAreRefused) {
  std::string text = "<smile id=\"n\"><nodes>", parents, strengths, parameters;
  for (int i = 0; i < 30; ++i) {
    const std::string name = "p" + std::to_string(i);
    text += "<cpt id=\"" + name + "\"><state id=\"a\"/><state id=\"b\"/><probabilities>0.5 0.5</probabilities></cpt>";
    parents += name + " ";
    strengths += "0 1 ";
    parameters += "0.5 0.5 0 1 ";
  }
  text += "<noisymax id=\"m\"><state id=\"a\"/><state id=\"b\"/><parents>" + parents + "</parents><strengths>" +
          strengths + "</strengths><parameters>" + parameters + "0 1</parameters></noisymax></nodes></smile>";
  EXPECT_EQ(ReadText("xdsl", text), nullptr);
  EXPECT_NE(Reports(5).find("the table of element 'm' would be too large"), std::string::npos);
}

}  // namespace
}  // namespace bravic::testing
