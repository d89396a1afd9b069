#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "Basic/InputChannel.h"
#include "support/files.h"
#include "support/library.h"

namespace bravic {
namespace {

using InputChannelTest = testing::LibraryTest;

std::string Significant(std::string_view text) {
  InputChannel in;
  in.OpenString(text);
  std::string found;
  for (int c = in.NextSignificant(); c != END_OF_INPUT; c = in.NextSignificant()) found += static_cast<char>(c);
  return found + (in.parseState ? " " + std::to_string(in.parseState) : "");
}

TEST_F(InputChannelTest, SkipsWhiteSpaceAndComments) {
  const std::pair<const char*, const char*> rows[] = {
      {" \t\r\n\v\f a ", "a"},
      {"a / b", "a/b"},
      {"a//b\nc", "ac"},
      {"a//b\rc", "ac"},
      {"a//b\fc", "ac"},
      {"//", ""},
      {"a/*b/*c*/d", "ad"},
      {"a/#b*/c#/d", "ad"},
      {"a/#b/#c#/d#/e", "ad#/e"},
      {"/*/a*/b", "b"},
      {"a/*b", "a -199"},
      {"a/#b*/", "a -199"},
      {"/", "/"},
      {"///*\n*/", "*/"},
  };
  for (const auto& [text, significant] : rows) EXPECT_EQ(Significant(text), significant) << text;
}

TEST_F(InputChannelTest, PushesBackOneCharacterButNotTheEnd) {
  InputChannel in;
  in.OpenString("/x");
  EXPECT_EQ(in.NextSignificant(), '/');
  in.PushBack();
  EXPECT_EQ(in.NextSignificant(), '/');
  EXPECT_EQ(in.Next(), 'x');
  EXPECT_EQ(in.Next(), END_OF_INPUT);
  in.PushBack();
  EXPECT_EQ(in.Next(), END_OF_INPUT);
}

TEST_F(InputChannelTest, ReadsWordsUpToPunctuationSpaceAndComments) {
  const struct {
    const char *text, *word;
    int ended;
  } rows[] = {
      {"  kind = x", "kind", '='},  {"kind// c\n=x", "kind", '='},
      {"kind/*c*/more", "kind", 0}, {"a b", "a", 0},
      {"a", "a", END_OF_INPUT},     {"=", "", '='},
      {"", "", END_OF_INPUT},       {"a/b;", "a/b", ';'},
      {"-1.5e-3,", "-1.5e-3", ','}, {"abcdefghijklm;", "abcdefghij", ';'},
  };
  for (const auto& row : rows) {
    InputChannel in;
    in.OpenString(row.text);
    int ended = 99;
    EXPECT_EQ(in.ReadWord("=;,", 10, &ended), row.word) << row.text;
    EXPECT_EQ(ended, row.ended) << row.text;
  }
}

TEST_F(InputChannelTest, ReadsTextUpToATerminatorAndKeepsTheFirstError) {
  InputChannel in;
  in.OpenString("ab /*c*/\td;rest");
  int ended;
  EXPECT_EQ(in.ReadText(";|", &ended), "ab /*c*/\td");
  EXPECT_EQ(ended, ';');
  EXPECT_EQ(in.ReadText(";|", &ended), "rest");
  EXPECT_EQ(ended, END_OF_INPUT);
  bool good;
  in.ReadInteger("z", &good);
  char text[200];
  EXPECT_STREQ(ParseErrorText(in.fault, " here", text, sizeof text),
               "missing character (one of ';|').  It was expected somewhere on or after line 1 here");
  InputChannel other;
  other.OpenString("");
  other.ReadInteger(std::string(50, 'z'), &good);
  EXPECT_EQ(ParseErrorText(other.fault, "", text, sizeof text),
            "illegal number '" + std::string(40, 'z') + "', line 1");
  const std::pair<const ErrorRow*, const char*> rows[] = {
      {&MISSING_STRUCTURE, "missing structure here, should start with '(' on line 1"},
      {&UNTERMINATED_STRUCTURE, "unterminated structure starting with '(' here, starting on line 1"},
      {&ILLEGAL_NUMBER, "illegal number '(' here, line 1"},
      {&UNTERMINATED_COMMENT, "unterminated comment, starting with '(', on line 1 here"},
      {&UNTERMINATED_QUOTE, "unterminated quote (\") here, line 1"},
  };
  for (const auto& [row, said] : rows) {
    InputChannel each;
    each.OpenString("");
    each.Report(*row, "(");
    EXPECT_STREQ(ParseErrorText(each.fault, " here", text, sizeof text), said);
  }
}

TEST_F(InputChannelTest, FindsAFixedTextOutsideComments) {
  const struct {
    const char *text, *wanted, *rest;
  } rows[] = {
      {"x //]->~\n ]->~y", "]->~", "y"}, {"a]]->~b", "]->~", "b"}, {"ab", "c", nullptr},
      {"]-]->~z", "]->~", "z"},          {"q /* w */w", "w", ""},
  };
  for (const auto& row : rows) {
    InputChannel in;
    in.OpenString(row.text);
    EXPECT_EQ(in.Find(row.wanted), row.rest != nullptr) << row.text;
    if (row.rest) {
      EXPECT_EQ(std::string_view(in.Cursor(), static_cast<size_t>(in.End() - in.Cursor())), row.rest);
    }
  }
}

TEST_F(InputChannelTest, ReadsRealNumbersAndTheirSpecialWords) {
  const std::string zeros(400, '0');
  const std::pair<std::vector<std::string>, double> good[] = {
      {{"0.25", ".25", "+.25", "25e-2"}, 0.25},
      {{"-3e2", "-300", "-300."}, -300},
      {{"1e-400", "0." + zeros + "1", "0." + zeros + "1e+5", "12" + zeros + "e-800", "1e-99999999999999999999"}, 0},
      {{"?", "undef", "@UNDEF", "Undefined"}, UNDEF_DBL},
      {{"x", "@imposs", "impossible7"}, IMPOS_DBL},
      {{"*", "any"}, ANY_DBL},
      {{"inf"}, INF_DBL},
      {{"-inf", "- INFinity"}, -INF_DBL},
  };
  for (const auto& [texts, expected] : good) {
    for (const std::string& text : texts) {
      double value = 1;
      EXPECT_TRUE(ParseReal(text, &value)) << text;
      EXPECT_EQ(value, expected) << text;
      InputChannel in;
      in.OpenString("");
      bool isGood;
      EXPECT_EQ(in.ReadReal(text, &isGood), expected) << text;
      EXPECT_TRUE(isGood && in.parseState == 0) << text;
      EXPECT_EQ(in.ReadReal(text + "-", &isGood), 0) << text;
      EXPECT_FALSE(isGood || in.parseState == 0) << text;
    }
  }
  for (const std::string& bad :
       {"1" + zeros, "0" + ("5" + zeros), "1" + zeros + zeros + "e-400", "0." + zeros + "1e900"}) {
    double value;
    EXPECT_FALSE(ParseReal(bad, &value)) << bad;
  }
  for (const char* bad : {"1e400", "1e+99999999999999999999", "anyone", "undef-x", "@word", "nan", "-nan", "", "-",
                          "1x", "0x10", "--1", "+-1"}) {
    double value;
    EXPECT_FALSE(ParseReal(bad, &value)) << bad;
  }
}

TEST_F(InputChannelTest, ReadsIntegersInTheCurrentBase) {
  const struct {
    const char* text;
    int base;
    bool good;
    int value;
  } rows[] = {
      {"12", 10, true, 12},       {"-7", 10, true, -7},         {"", 10, true, 0},
      {"inf", 10, true, INT_MAX}, {"-inf", 10, true, INT_MIN},  {"12a", 10, false, 0},
      {"ff", 16, true, 255},      {"-0x1F", 16, true, -31},     {"ff", 10, false, 0},
      {"1.0", 10, false, 0},      {"--1", 10, false, 0},        {"99999999999999999999", 10, false, 0},
      {"+5", 10, true, 5},        {"2147483648", 10, false, 0}, {"-2147483648", 10, true, INT_MIN},
  };
  for (const auto& row : rows) {
    InputChannel in;
    in.OpenString("");
    in.base = row.base;
    bool good;
    EXPECT_EQ(in.ReadInteger(row.text, &good), row.value) << row.text;
    EXPECT_EQ(good, row.good) << row.text;
    EXPECT_EQ(in.parseState, row.good ? 0 : -187) << row.text;
  }
}

TEST_F(InputChannelTest, CountsLinesOfAllKindsForwardsAndBackwards) {
  InputChannel in;
  in.OpenString("a\nb\r\nc\rd");
  for (const auto& [at, line] : {std::pair(7, 4L), {5, 3}, {0, 1}, {2, 2}, {3, 2}, {4, 2}, {8, 4}}) {
    EXPECT_FALSE(in.SetPosition(at));
    EXPECT_EQ(in.Line(), line) << at;
  }
  EXPECT_STREQ(in.SetPosition(9)->mesg, "setposn past file limits");
}

TEST_F(InputChannelTest, SkipsTheRestOfAStatement) {
  const struct {
    const char *text, *rest;
  } rows[] = {
      {"a b;c", ";c"},   {"(a;b);c", ";c"}, {"{a;};c", ";c"},  {"[a;]}c", "}c"}, {"\"a;\\\";\";c", ";c"},
      {"a}c", "}c"},     {"(a}c", "}c"},    {"{(};c", ";c"},   {"a)];c", ";c"},  {"//;\n;c", ";c"},
      {"({};);c", ";c"}, {"abc", ""},       {"{{};};c", ";c"},
  };
  for (const auto& row : rows) {
    InputChannel in;
    in.OpenString(row.text);
    in.SkipStatement();
    EXPECT_EQ(std::string_view(in.Cursor(), static_cast<size_t>(in.End() - in.Cursor())), row.rest) << row.text;
  }
}

TEST_F(InputChannelTest, TellsWhyAFileCannotBeRead) {
  testing::TemporaryDirectory directory;
  InputChannel in;
  EXPECT_EQ(InputChannel::OpenFile(directory.Path("none").c_str(), &in)->number, -2012);
#if defined(_WIN32)
  constexpr int DIRECTORY = -2014;  // is not even opened
#else
  constexpr int DIRECTORY = -2015;
  testing::WriteWhole(directory.Path("file"), "x");
  EXPECT_EQ(InputChannel::OpenFile(directory.Path("file/within").c_str(), &in)->number, -2014);
#endif
  EXPECT_EQ(InputChannel::OpenFile(directory.Path().c_str(), &in)->number, DIRECTORY);
  testing::WriteWhole(directory.Path("empty"), "");
  EXPECT_FALSE(InputChannel::OpenFile(directory.Path("empty").c_str(), &in));
  EXPECT_EQ(in.Next(), END_OF_INPUT);
}

}  // namespace
}  // namespace bravic
