// Waits, questions and prompts, with a clock of the test's own and a file in place of the keyboard.
#include "Win_Face/Interaction.h"

#include "Basic/Environ.h"
#include "Basic/Memory.h"
#include "Win_Face/Platform.h"
#include "support/files.h"
#include "support/library.h"

namespace bravic::testing {
namespace {

constexpr ErrorRow LOST{-42, INTERNAL_ERR, "lost"}, LOST_COUNT{-42, INTERNAL_ERR, "lost %d"};

using ::testing::HasSubstr;
using ::testing::internal::CaptureStderr;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStderr;
using ::testing::internal::GetCapturedStdout;

long now;

class InteractionTest : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    now = 1000;
    SetWaitClock([] { return now; });
    HasUserInteraction_ns(1, env);
    ShowProgress_ns(1, env);
  }
  void TearDown() override {
    SetWaitClock(nullptr);
    RequestAbort(false);
    LibraryTest::TearDown();
  }
};

TEST_F(InteractionTest, WaitsAnnounceTheirTimeAndEnd) {
  struct {
    double estimate;
    const char* printed;
  } const rows[] = {
      {0, ""},
      {45.9, "\nWaiting 45 Secs: Sorting 7.\nFinished.     \n"},
      {60, "\nWaiting 1.0 Mins: Sorting 7.\nFinished.     \n"},
      {150, "\nWaiting 2.5 Mins: Sorting 7.\nFinished.     \n"},
  };
  for (const auto& row : rows) {
    CaptureStdout();
    EndWait(StartWait(Showing::WithEstimate, row.estimate, "Sorting %d", 7));
    EXPECT_EQ(GetCapturedStdout(), row.printed);
  }
  ShowProgress_ns(0, env);
  CaptureStdout();
  EndWait(StartWait(Showing::WithEstimate, 45, "quiet"));
  ShowProgress_ns(1, env);
  HasUserInteraction_ns(0, env);
  EndWait(StartWait(Showing::WithEstimate, 45, "quiet"));
  EXPECT_EQ(GetCapturedStdout(), "");
}

TEST_F(InteractionTest, NestedWaitsAreIndentedAndEndInOrder) {
  Type("");  // the failed assertions ask
  CaptureStdout();
  Wait* outer = StartWait(Showing::WithEstimate, 10, "Outer");
  Wait* inner = StartWait(Showing::WithEstimate, 10, nullptr);
  now += 2;
  EXPECT_FALSE(ReportProgress(outer, 0.5, 0)) << "not the innermost";
  EXPECT_FALSE(ReportProgress(inner, 0.5, 0));
  EndWait(outer);
  EndWait(inner);
  EndWait(outer);
  EXPECT_THAT(GetCapturedStdout(), ::testing::StartsWith("\nWaiting 10 Secs: Outer.\n\n"
                                                         "  Waiting 10 Secs: Operation in progress ...\n"));
  EXPECT_THAT(Reports(), HasSubstr("wait == Waits_fc[NumWaiting_fc - 1]"));
}

TEST_F(InteractionTest, AnyNumberOfWaitsAndLinesOfAnyLength) {
  std::vector<Wait*> waits;
  for (int i = 0; i < 70; ++i) waits.push_back(StartWait(Showing::Never, 0, "%d", i));
  now += 2;
  EXPECT_FALSE(ReportProgress(waits.back(), 0.5, 0));
  for (; !waits.empty(); waits.pop_back()) EndWait(waits.back());
  const std::string line(5000, 'x');
  CaptureStdout();
  PrintToUser("%s and %d", line.c_str(), 7);
  EXPECT_EQ(GetCapturedStdout(), line + " and 7");
}

TEST_F(InteractionTest, DelaysLastAsLongAsTheySay) {
  const std::uint32_t start = TickMilliseconds();
  Delay(0.03);
  EXPECT_GE(TickMilliseconds() - start, 30u);
}

TEST_F(InteractionTest, ProgressIsPrintedOnceASecond) {
  Wait* wait = StartWait(Showing::WithEstimate, 0, "x");
  CaptureStdout();
  ReportProgress(wait, 0.1, 0);
  now += 1;
  for (int i = 0; i < 5; ++i) ReportProgress(wait, 0.25, 0);
  now += 3;
  ReportProgress(wait, 0, 12);
  now += 1;
  ReportProgress(wait, 0, 0);
  ShowProgress_ns(0, env);
  now += 1;
  ReportProgress(wait, 0.5, 0);
  EndWait(wait);
  EXPECT_EQ(GetCapturedStdout(), " 25.0 % done.\r 25.0 % done.\r              \r");
}

struct Seen {
  std::vector<std::string> reports;
  int answer = 0;
  environ_ns env;
};

int BRAVIC_CALL Record(void* data, const char* what, double done, double seconds) {
  Seen* seen = static_cast<Seen*>(data);
  char text[80];
  std::snprintf(text, sizeof text, "%s %g %g", what, done, seconds);
  seen->reports.push_back(text);
  SeedRandom_ns(1, seen->env);
  return seen->answer;
}

TEST_F(InteractionTest, TheHostSeesProgressAndCanHalt) {
  HasUserInteraction_ns(0, env);
  Seen seen{{}, 0, env};
  SetProgressCallback_ns(Record, &seen, env);
  {
    WaitScope wait("learning");
    EXPECT_FALSE(wait.Progress(0.01));
    now += 2;
    currentFunction = "LongCall_ns";
    EXPECT_FALSE(wait.Progress(0.5));
    EXPECT_STREQ(currentFunction, "LongCall_ns");
    currentFunction = nullptr;
    EXPECT_FALSE(wait.Progress(0.6));
    now += 1;
    seen.answer = 1;
    EXPECT_TRUE(wait.Progress(0));
    SetProgressCallback_ns(nullptr, nullptr, env);
    EXPECT_TRUE(wait.Progress(0.7)) << "once halted it stays so";
  }
  {
    WaitScope wait("learning");
    now += 1;
    EXPECT_FALSE(wait.Progress(0.7));
    RequestAbort(true);
    now += 1;
    EXPECT_TRUE(wait.Progress(0.7));
  }
  EXPECT_EQ(seen.reports, (std::vector<std::string>{"learning 0.5 4", "learning 0 4"}));
  EXPECT_EQ(Reports(),
            "5 5114 API function LongCall_ns is calling API function SeedRandom_ns\n"
            "5 5114 API function a long operation is calling API function SeedRandom_ns\n");
}

TEST_F(InteractionTest, QuestionsTakeTheirDefaultsAndAnswers) {
  struct {
    const char* typed;
    bool ifYes, ifNo;  // the answer by either default
  } const rows[] = {{"y", true, true},      {"T", true, true},   {"1", true, true},   {"n", false, false},
                    {"F", false, false},    {"0", false, false}, {"\n", true, false}, {"\r", true, false},
                    {"qz?n", false, false}, {"", true, false},   {"qqq", true, false}};
  for (const auto& row : rows) {
    for (const bool byDefault : {true, false}) {
      Type(row.typed);
      CaptureStdout();
      EXPECT_EQ(AskYesNo(byDefault, "Save %s", "it"), byDefault ? row.ifYes : row.ifNo) << row.typed;
      EXPECT_EQ(GetCapturedStdout(), byDefault ? "Save it (YES/no)? " : "Save it (yes/NO)? ");
    }
  }
  HasUserInteraction_ns(0, env);
  Type("n");
  CaptureStdout();
  EXPECT_TRUE(AskYesNo(true, "Save"));
  EXPECT_EQ(GetCapturedStdout(), "");
  EXPECT_EQ(std::getchar(), 'n') << "nothing may be read from the console";
}

TEST_F(InteractionTest, InternalErrorsAskWhatToDo) {
  const std::string shown = "\nBravic internal error (42): lost 3\n";
  struct {
    const char *typed, *decision;
    int answer, memoryState;
  } const rows[] = {
      {"P", "PROCEED", 0, MEMORY_NORMAL}, {"p", "PROCEED", 0, MEMORY_NORMAL}, {"", "PROCEED", 0, MEMORY_NORMAL},
      {"S", "SKIP", 1, MEMORY_LOW},       {"?", "SKIP", 1, MEMORY_LOW},
  };
  for (const auto& row : rows) {
    SetMemoryState(MEMORY_NORMAL);
    WaitScope wait("x", Showing::Never);
    Type(row.typed);
    CaptureStdout();
    CaptureStderr();
    EXPECT_EQ(ReportInternal(LOST_COUNT, 3), row.answer);
    EXPECT_EQ(GetCapturedStderr(), shown);
    EXPECT_EQ(GetCapturedStdout(),
              "Lost 3 (internal error 42)\n" + shown + "(Exit, Skip, Proceed): " + row.decision + "\n\n");
    EXPECT_EQ(MemoryState(), row.memoryState);
    EXPECT_EQ(wait.Progress(0), row.answer == 1) << "to skip is to abandon what is going on";
    EXPECT_EQ(Reports(), "6 42 lost 3\n");
  }
  SetMemoryState(MEMORY_NORMAL);
  EXPECT_FALSE(WaitScope("x", Showing::Never).Progress(0));
  HasUserInteraction_ns(0, env);
  Type("s");
  CaptureStdout();
  CaptureStderr();
  EXPECT_EQ(ReportInternal(LOST), 0);
  EXPECT_EQ(GetCapturedStderr(), "");
  EXPECT_EQ(GetCapturedStdout(), "");
  EXPECT_EQ(Reports(), "6 42 lost\n");
}

using InteractionDeathTest = InteractionTest;

TEST_F(InteractionDeathTest, ExitEndsTheProcessWithTheNumber) {
#if defined(_WIN32)
  constexpr int STATUS = -42;
#else
  constexpr int STATUS = -42 & 0xFF;
#endif
  EXPECT_EXIT(
      {
        Type("x");
        ReportInternal(LOST);
      },
      ::testing::ExitedWithCode(STATUS), "Bravic internal error \\(42\\): lost");
}

}  // namespace
}  // namespace bravic::testing
