#include "Basic/Text.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <string>

#include "Basic/Format.h"
#include "support/library.h"
#include "support/random.h"

namespace bravic::testing {
namespace {

const std::string A30(30, 'a');

TEST(Names, AreJudgedAndMended) {
  struct {
    std::string name;
    int problems;
    std::string reason, mended;
  } const rows[] = {
      {"Node_2b", 0, "", "Node_2b"},
      {A30, 0, "", A30},
      {A30 + "b", 8, "'" + A30 + "b...' is too long (31 characters, maximum is 30)", A30},
      {"", 4, "is empty (contains no characters)", ""},
      {"a-b", 16, "'a-b' contains the illegal character '-'", "a_b"},
      {"a\tb c", 16, "'a\tb c' contains a tab", "a_b_c"},
      {"a b\tc", 16, "'a b\tc' contains a space", "a_b_c"},
      {"a\rb", 16, "'a\rb' contains a 'return' character", "a_b"},
      {"a\nb", 16, "'a\nb' contains a 'new-line' character", "a_b"},
      {"a\x7f", 16, "'a\x7f' contains an illegal character (ascii code 127)", "a_"},
      {"\xe9", 48, "'\xe9' contains an illegal character (ascii code 233)", "x"},
      {"2cats", 32, "'2cats' starts with non-alphabetic character '2'", "xcats"},
      {"1 " + A30, 56, "'1 " + std::string(28, 'a') + "' contains a space", "x_" + std::string(28, 'a')},
  };
  char reason[NAME_REASON_LEN];
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    std::string name = row.name;
    reason[0] = 0;
    EXPECT_EQ(CheckNameText(name.c_str(), reason), row.problems);
    EXPECT_EQ(reason, row.reason);
    for (const int check : {4, 8, 16, 32}) {
      EXPECT_EQ(CheckNameText(name.data(), check, nullptr, false), row.problems & check);
    }
    EXPECT_EQ(CheckNameText(name.data(), NAME_ALL_CHECKS, nullptr, true), row.problems);
    EXPECT_STREQ(name.c_str(), row.mended.c_str());
  }
  EXPECT_EQ(CheckNameText(nullptr, reason), 1);
  EXPECT_STREQ(reason, "is missing");
  EXPECT_EQ(CheckNameText(UndefPtr(), reason), 2);
  EXPECT_STREQ(reason, "is undefined");
}

using TextTest = LibraryTest;

TEST_F(TextTest, NameListsTellWhatTheyHold) {
  EXPECT_EQ(CheckNameList(nullptr, 3, 1), 5);
  char *none[] = {nullptr, nullptr}, *full[] = {DupText("a"), DupText("b")}, empty[] = "";
  EXPECT_EQ(CheckNameList(none, 2, 1), 4);
  EXPECT_EQ(CheckNameList(full, 2, 1), 0);
  char* mixed[] = {full[0], DupText(""), nullptr};
  const int expected[] = {3, 3, 1, 2};
  for (int check = 1; check <= 4; ++check) EXPECT_EQ(CheckNameList(mixed, 3, check), expected[check - 1]);
  char* shared[] = {full[1], empty};
  EXPECT_EQ(CheckNameList(shared, 2, 4), 1);
  EXPECT_EQ(shared[1], nullptr);
  for (char* name : full) Free(name);
}

TEST_F(TextTest, CopiesAreCutOrRefused) {
  char to[16];
  EXPECT_EQ(CopyText(to, "abcdef", 4), to + 4);
  EXPECT_STREQ(to, "abcd");
  EXPECT_EQ(CopyTextMarked(to, "abcdef", 5), to + 5);
  EXPECT_STREQ(to, "ab...");
  CopyTextMarked(to, "abcdef", 6);
  EXPECT_STREQ(to, "abcdef");
  char* copy = TryDupText("some text");
  EXPECT_STREQ(copy, "some text");
  Free(copy);
  EXPECT_EQ(TryDupText(nullptr), nullptr);
  SetHeapGate([](std::size_t nbytes) { return nbytes != sizeof "some text" + 8; });
  EXPECT_EQ(TryDupText("some text"), nullptr);
  SetHeapGate(nullptr);
  EXPECT_EQ(Reports(), "5 2285 not enough memory to work with text starting '           some text...'\n");
}

int Sign(int n) {
  return (n > 0) - (n < 0);
}

TEST(Texts, CompareWithNullsAndCases) {
  EXPECT_TRUE(EqualText(nullptr, nullptr));
  EXPECT_FALSE(EqualText(nullptr, ""));
  EXPECT_EQ(CompareText(nullptr, ""), 0);
  EXPECT_LT(CompareText(nullptr, "a"), 0);
  EXPECT_TRUE(EqualTextNoCase("aB_z", "Ab_Z"));
  EXPECT_FALSE(EqualTextNoCase(nullptr, ""));
  EXPECT_EQ(Sign(CompareTextNoCase("_", "a")), 1) << "as upper case: '_' is above 'A'";
  EXPECT_EQ(Sign(CompareTextNoCase("abc", "ABD")), -1);
  EXPECT_EQ(CompareTextNoCase("abcx", "ABCy", 3), 0);
  EXPECT_EQ(CompareTextNoCase("ab", "abc", 2), 0);
  EXPECT_EQ(CompareTextNoCase("ab", "abc", 3), -1);
  EXPECT_TRUE(StartsWithNoCase("GetError_ns: x", "GETERROR_NS"));
  EXPECT_FALSE(StartsWith("Get", "GetE"));
  EXPECT_TRUE(EndsWith("a.dne", ".dne"));
  EXPECT_FALSE(EndsWith("e", ".dne"));
}

TEST(Texts, NumbersAtTheEnd) {
  struct {
    const char* text;
    long value;
    int start;
  } const rows[] = {{"node12", 12, 4}, {"12", 12, 0},  {"a1b", -1, 3},
                    {"", -1, 0},       {"a007", 7, 1}, {"x99999999999999999999", LONG_MAX, 1}};
  for (const auto& row : rows) {
    const char* start;
    EXPECT_EQ(TrailingNumber(row.text, &start), row.value) << row.text;
    EXPECT_EQ(start - row.text, row.start) << row.text;
  }
  char buffer[24];
  std::string all;
  for (const long n : {0L, 1L, 3L, 10L, 11L, 12L, 13L, 20L, 21L, 22L, 103L, 111L, 112L}) {
    all += std::string(Ordinal(n, buffer)) + " ";
  }
  EXPECT_EQ(all, "zeroth first third tenth 11th 12th 13th 20th 21st 22nd 103rd 111th 112th ");
}

// The C library's own printer, in the locale in which it agrees.
template <class... Args>
void ExpectAsPrintf(const char* format, Args... args) {
  char expected[500], printed[500];
  const int length = std::snprintf(expected, sizeof expected, format, args...);
  EXPECT_EQ(FormatText(printed, sizeof printed, format, args...), static_cast<std::size_t>(length)) << format;
  EXPECT_STREQ(printed, expected) << format;
}

TEST(Format, PrintsLikeTheStandardPrinter) {
  Random random(3);
  for (int i = 0; i < 300; ++i) {
    const double x = std::ldexp(random.Share() - 0.5, random.Between(-80, 80));
    for (const char* format : {"%g", "[%5.1f]", "%.3f", "%e", "%-12g|", "%+g", "% .2e", "%015.4f"}) {
      ExpectAsPrintf(format, x);
    }
    const int n = static_cast<int>(random.Bits());
    for (const char* format : {"%d", "%12d", "%-12d|", "%012d", "%+d"}) ExpectAsPrintf(format, n);
    for (const char* format : {"%u", "%x"}) ExpectAsPrintf(format, static_cast<unsigned>(n));
    ExpectAsPrintf("%ld", static_cast<long>(random.Bits()));
    ExpectAsPrintf("%lld %llu", static_cast<long long>(random.Bits()), static_cast<unsigned long long>(random.Bits()));
  }
  for (const double x : {0.0, -0.0, 1e300, DBL_MIN, 100000.0, 1e6, 0.0001, 1e-5, HUGE_VAL, -HUGE_VAL}) {
    ExpectAsPrintf("%g %12g %012g", x, x, x);
  }
  ExpectAsPrintf("%s|%10s|%-10s|%.2s|%*s|%.*s%%%c", "abc", "abc", "abc", "abc", 5, "x", 1, "yz", 'c');
  ExpectAsPrintf("%d %ld %zu", INT_MIN, LONG_MIN, static_cast<std::size_t>(-1));
}

TEST(Format, CutsToTheBufferAndTellsTheLength) {
  char text[8] = "#######";
  EXPECT_EQ(FormatText(text, 5, "%s-%d", "abc", 12345), 9u);
  EXPECT_STREQ(text, "abc-");
  EXPECT_EQ(text[5], '#');
  EXPECT_EQ(FormatText(nullptr, 0, "%d", 12), 2u);
  const char unended[3] = {'a', 'b', 'c'};
  FormatText(text, sizeof text, "%.3s", unended);
  EXPECT_STREQ(text, "abc");
}

}  // namespace
}  // namespace bravic::testing
