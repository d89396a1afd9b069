#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "Basic/OutputChannel.h"
#include "support/files.h"
#include "support/random.h"

namespace bravic::testing {
namespace {

template <class T>
std::string Shortest(T value) {
  char text[NUMBER_TEXT_LEN];
  return {text, PrintShortest(value, text)};
}

std::string General(double value, int digits) {
  char text[NUMBER_TEXT_LEN];
  return {text, PrintGeneral(value, digits, text)};
}

template <class T>
std::string ShortestByTrying(T value) {
  char text[64];
  for (int digits = 6;; digits++) {
    std::snprintf(text, sizeof text, "%.*g", digits, static_cast<double>(value));
    if (static_cast<T>(sizeof value == sizeof(float) ? std::strtof(text, nullptr) : std::strtod(text, nullptr)) ==
        value) {
      return text;
    }
  }
}

template <class T>
void ExpectShortest(T value) {
  const std::string text = Shortest(value);
  if (std::abs(value) >= std::numeric_limits<T>::min()) {
    ASSERT_EQ(text, ShortestByTrying(value));
  } else {
    ASSERT_EQ(std::strtof(text.c_str(), nullptr), static_cast<float>(value)) << text;
  }
}

TEST(NumberText, ShortestFloatsReadBackAndAreShortest) {
  const std::pair<float, const char*> rows[] = {
      {0.0f, "0"},      {-0.0f, "-0"},   {0.0001f, "0.0001"},       {0.00001f, "1e-05"},     {1.0f / 3, "0.33333334"},
      {1e5f, "100000"}, {1e6f, "1e+06"}, {16777215.0f, "16777215"}, {123456.7f, "123456.7"}, {-HUGE_VALF, "-inf"},
      {1e-45f, "1e-45"}};
  for (const auto& [value, text] : rows) EXPECT_EQ(Shortest(value), text);
  EXPECT_EQ(Shortest(1.0 / 3), "0.3333333333333333");
  Random random(20);
  for (int i = 0; i < 100000; i++) {
    float value;
    switch (i % 4) {
      case 0:
        value = static_cast<float>(random.Share());
        break;
      case 1:
        value = static_cast<float>(random.Below(10000000)) / 1e6f;
        break;
      case 2:
        value = static_cast<float>(random.Below(2000000000));
        break;
      default: {
        const auto bits = static_cast<std::uint32_t>(random.Bits());
        std::memcpy(&value, &bits, sizeof value);
        if (!std::isfinite(value)) value = 1;
      }
    }
    ExpectShortest(value);
    ExpectShortest((i % 2 ? 1 : 1e200) * static_cast<double>(value) * random.Share());
    ExpectShortest(static_cast<double>(random.Below(2000000000)));
  }
}

TEST(NumberText, GeneralIsWhatPrintfPrints) {
  Random random(21);
  for (int i = 0; i < 100000; i++) {
    double value;
    const std::uint64_t bits = random.Bits();
    if (i % 2) {
      std::memcpy(&value, &bits, sizeof value);
      if (std::isnan(value)) value = 0;
    } else {
      value = (random.Below(2000001) - 1000000) / (i % 3 ? 1.0 : 64.0);
    }
    char expected[64];
    for (int digits : {6, 3, 15}) {
      std::snprintf(expected, sizeof expected, "%.*g", digits, value);
      ASSERT_EQ(General(value, digits), expected);
    }
  }
  EXPECT_EQ(General(-0.0, 6), "-0");
}

class OutputChannelTest : public ::testing::Test {
 protected:
  void SetUp() override { StartMemory(); }
  void TearDown() override { StopMemory(); }
};

TEST_F(OutputChannelTest, KeepsEveryByteInOrder) {
  const TemporaryDirectory directory;
  const std::string path = directory.Path("out.txt");
  OutputChannel file, memory;
  ASSERT_TRUE(file.OpenFile(path.c_str(), OutputChannel::Mode::Replace));
  memory.OpenMemory();
  std::string expected;
  Random random(22);
  for (int i = 0; i < 20000; i++) {
    const std::string piece(static_cast<std::size_t>(i % 500 == 7 ? 100000 + i : random.Below(80)),
                            static_cast<char>('a' + i % 26));
    for (OutputChannel* channel : {&file, &memory}) {
      channel->Put(piece);
      channel->Put('|');
      channel->PutRepeated(' ', i % 700);
      channel->PutInteger(-i);
      channel->PutGeneral(i / 8.0);
    }
    char number[64];
    std::snprintf(number, sizeof number, "%d%g", -i, i / 8.0);
    expected += piece + '|' + std::string(static_cast<std::size_t>(i % 700), ' ') + number;
  }
  EXPECT_TRUE(memory.Close() && file.Close());
  EXPECT_TRUE(memory.Text() == expected);
  EXPECT_TRUE(ReadWhole(path) == expected);
  ASSERT_TRUE(file.OpenFile(path.c_str(), OutputChannel::Mode::Append));
  file.Put("more");
  EXPECT_TRUE(file.Close());
  EXPECT_TRUE(ReadWhole(path) == expected + "more");
}

TEST_F(OutputChannelTest, WithoutMemoryForABuffer) {
  const TemporaryDirectory directory;
  const std::string path = directory.Path("out.txt"), piece(15000, 'y');
  SetHeapGate([](std::size_t) { return false; });
  OutputChannel file, memory;
  file.OpenFile(path.c_str(), OutputChannel::Mode::Replace);
  memory.OpenMemory();
  file.Put(piece);
  memory.Put("short");
  const bool fits = memory.Text() == "short";
  memory.Put(piece);
  const bool closed = file.Close(), kept = memory.Close();
  SetHeapGate(nullptr);
  EXPECT_TRUE(closed && fits && !kept);
  EXPECT_EQ(ReadWhole(path), piece);
  EXPECT_EQ(memory.Text(), "");
}

}  // namespace
}  // namespace bravic::testing
