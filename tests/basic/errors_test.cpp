#include "Basic/Errors.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Basic/Environ.h"
#include "support/library.h"
#include "support/random.h"

namespace bravic::testing {
namespace {

using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

constexpr ErrorRow CANT_OPEN{-2001, ERROR_ERR, "can't open '%s'"}, AROUND{0, AROUND_ERR, "can't read, because %s"},
    LATER{-2003, WARNING_ERR, "later"}, NO_MEMORY{-2005, ERROR_ERR, "not enough memory to sort %d"},
    ANY_TEXT{-3, ERROR_ERR, "%s"}, BAD{-9, ERROR_ERR, "bad"}, FIRST{-1, INTERNAL_ERR, "first"},
    SECOND{-2, INTERNAL_ERR, "second"};

class ErrorsTest : public LibraryTest {
 protected:
  // The numbers of the records of at least that danger, in the order of the walk.
  std::vector<int> Walk(int danger) {
    std::vector<int> numbers;
    for (report_ns at = GetError_ns(env, danger, nullptr); at; at = GetError_ns(env, danger, at)) {
      numbers.push_back(ErrorNumber_ns(at));
    }
    return numbers;
  }
  std::vector<int> WalkBack(int danger) {
    std::vector<int> numbers;
    for (report_ns at = NewestError(env, danger, nullptr); at; at = NewestError(env, danger, at)) {
      numbers.push_back(ErrorNumber_ns(at));
    }
    return numbers;
  }
};

TEST_F(ErrorsTest, WalksAndClearsLikeAPlainList) {
  struct Known {
    report_ns report;
    int number, danger;
  };
  Random random(5);
  std::vector<Known> known;
  for (int step = 1; step < 700; ++step) {
    const int act = random.Below(12), danger = random.Below(7);
    if (act < 9) {
      known.push_back({ReportError_ns(env, step, danger, "x"), step, danger});
    } else if (act < 11 && !known.empty()) {
      const auto victim = known.begin() + random.Below(static_cast<int>(known.size()));
      ClearError_ns(victim->report);
      known.erase(victim);
    } else if (random.Chance(0.3)) {
      ClearErrors_ns(env, danger);
      std::erase_if(known, [=](const Known& one) { return one.danger <= danger; });
    }
    int worst = 0;
    for (const Known& one : known) worst = std::max(worst, one.danger);
    ASSERT_EQ(env->errs->danger, worst) << "step " << step;
    const int least = random.Below(7);
    std::vector<int> expected;
    for (const Known& one : known) {
      if (one.danger >= least) expected.push_back(one.number);
    }
    ASSERT_EQ(Walk(least), expected) << "step " << step;
    std::reverse(expected.begin(), expected.end());
    ASSERT_EQ(WalkBack(least), expected) << "step " << step;
  }
  ClearErrors_ns(env, 6);
  EXPECT_EQ(Walk(0), std::vector<int>());
}

TEST_F(ErrorsTest, GroupsAreWalkedThroughAndRaiseWhatEnclosesThem) {
  ReportError_ns(env, 1, 3, "before");
  report_ns group = ReportError_ns(env, 2, 2, "group");
  env->currentGroup = group;
  ReportError_ns(env, 3, 3, "inner");
  ReportError_ns(env, 4, 5, "inner");
  env->currentGroup = env->errs;
  ReportError_ns(env, 5, 4, "after");
  EXPECT_EQ(ErrorDanger_ns(group), 5);
  EXPECT_EQ(Walk(0), (std::vector<int>{1, 3, 4, 5}));
  EXPECT_EQ(WalkBack(0), (std::vector<int>{5, 4, 3, 1}));
  EXPECT_EQ(Walk(4), (std::vector<int>{4, 5}));
  EXPECT_EQ(Walk(5), std::vector<int>{4});
  ClearErrors_ns(env, 3);
  EXPECT_EQ(Walk(0), (std::vector<int>{4, 5}));
  EXPECT_EQ(Reports(6), "");
}

TEST_F(ErrorsTest, OnlyTheDeepLevelLooksIntoTheRecords) {
  report_ns report = ReportError_ns(env, 1, 5, "x");
  report->fixStatus = 6;
  EXPECT_EQ(ErrorNumber_ns(report), 1);
  ArgumentChecking_ns(26, env);
  EXPECT_EQ(ErrorNumber_ns(report), 0);
  env->repetitionMode = 0;
  EXPECT_EQ(SeedRandom_ns(1, env), -1);
  ArgumentChecking_ns(25, env);
  EXPECT_EQ(SeedRandom_ns(1, env), 0);
  EXPECT_EQ(Gist(),
            "5 1 ReportError_ns; 5 5253 ErrorNumber_ns fix_status x 6 5; "
            "5 5252 SeedRandom_ns repetition_mode Bravic 0 1");
  report_rec foreign{};
  foreign.tag = REPORT_TAG;
  EXPECT_EQ(ErrorDanger_ns(&foreign), 1) << "not one of the library's";
  EXPECT_EQ(Gist(), "5 5140 ErrorDanger_ns report_ns");
}

TEST_F(ErrorsTest, MessagesTakeTheFunctionsNameOnceAndFewerThan512Characters) {
  const std::pair<const char*, const char*> rows[] = {
      {"node %s is 100% bad", "ReportError_ns: Node %s is 100% bad"},
      {"", "ReportError_ns: "},
      {nullptr, "ReportError_ns: Warning"},
      {"REPORTERROR_NS knows best", "REPORTERROR_NS knows best"},
      {"ReadOther_bn: x.txt: no such file", "ReadOther_bn: x.txt: no such file"},
      {"read_ns and so on: bad", "ReportError_ns: Read_ns and so on: bad"},
  };
  for (const auto& [given, answered] : rows) {
    report_ns report = ReportError_ns(env, 12, 4, given);
    for (int round : {1, 2}) EXPECT_STREQ(ErrorMessage_ns(report), answered) << round;
  }
  ClearErrors_ns(env, 6);
  report_ns longest = ReportError_ns(env, 1, 4, std::string(511, 'm').c_str());
  EXPECT_EQ(ErrorMessage_ns(longest), "ReportError_ns: M" + std::string(510, 'm'));
  EXPECT_EQ(ReportError_ns(env, 2, 4, std::string(512, 'm').c_str()), nullptr);
  EXPECT_STREQ(Report(ANY_TEXT, std::string(512, 'm').c_str())->mesg, "Internal failure");
  EXPECT_EQ(Walk(0), (std::vector<int>{1, 111, 111}));
  ClearErrors_ns(env, 6);
}

TEST_F(ErrorsTest, FailuresAreSeenOnlyOncePosted) {
  {
    Failure failure = Fail(CANT_OPEN, "f");
    const char* reason = failure->mesg;
    failure = Rephrase(std::move(failure), AROUND, reason);
    Post(Fail(LATER));
    EXPECT_EQ(Walk(0), std::vector<int>{2003});
    EXPECT_FALSE(HasErrorSince(env, nullptr, ERROR_ERR));
    report_ns mark = NewestRecord(env);
    Post(std::move(failure));
    EXPECT_TRUE(HasErrorSince(env, mark, ERROR_ERR));
    EXPECT_FALSE(HasErrorSince(env, NewestRecord(env), WARNING_ERR));
    const Failure dropped = Fail(BAD);
  }
  Post(FailMemory(NO_MEMORY, 1536, 7));
  Post(FailMemory(NO_MEMORY, 0, 7));
  EXPECT_EQ(Reports(),
            "4 2003 later\n5 2001 can't read, because can't open 'f'\n"
            "5 2005 not enough memory to sort 7 (1.5 K bytes needed)\n5 2005 not enough memory to sort 7\n");
}

TEST_F(ErrorsTest, ResultCodesBecomeTheSharedRecord) {
  EXPECT_EQ(FromResultCode(0), nullptr);
  EXPECT_EQ(FromResultCode(-7)->danger, 5);
  report_ns shared = FromResultCode(8);
  EXPECT_EQ(shared->danger, 2);
  EXPECT_EQ(shared->code, 8);
  ClearError_ns(shared);
  EXPECT_STREQ(ErrorMessage_ns(shared), "Error occurred");
}

TEST_F(ErrorsTest, AnInternalErrorWithinAnotherIsRefused) {
  SetDisplayHooks(nullptr, [](int, const char*) {
    ReportInternal(SECOND);
    return 1;
  });
  EXPECT_EQ(ReportInternal(FIRST), 1);
  EXPECT_EQ(Reports(), "6 1 first\n");
}

TEST_F(ErrorsTest, LabelsAreRecycledWithAWarning) {
  env->errorLabel = 2047483645;
  EXPECT_EQ(ReportError_ns(env, 1, 5, "x")->label, 2047483645);
  EXPECT_EQ(Reports(), "5 1 ReportError_ns: X\n");
  EXPECT_EQ(ReportError_ns(env, 1, 5, "x")->label, 2047483646);
  EXPECT_EQ(Reports(5), "5 1 ReportError_ns: X\n");
  env->errorLabel = 2147483546;
  ReportError_ns(env, 1, 5, "x");
  EXPECT_EQ(ReportError_ns(env, 1, 5, "x")->label, 1);
  ClearErrors_ns(env, 6);
}

TEST_F(ErrorsTest, RepeatedReportsAreShownByTheMode) {
  HasUserInteraction_ns(1, env);
  const std::string full = "ReportError_ns: Bad (error 9)\n",
                    more = "ReportError_ns: More errors of the form: Bad (error 9)\n";
  const std::string expected[] = {"", full, full + more, full + full + full, ""};
  for (int mode = 1; mode <= 4; ++mode) {
    env->repetitionMode = mode;
    ReportShown(NOT_DISPLAYED, BAD);  // was not shown, so it does not count
    CaptureStdout();
    for (int i = 0; i < 3; ++i) ReportError_ns(env, 9, 5, "bad");
    EXPECT_EQ(GetCapturedStdout(), expected[mode]) << "mode " << mode;
    ClearErrors_ns(env, 6);
  }
}

TEST_F(ErrorsTest, OutstandingErrorsAreShownFourAtMost) {
  HasUserInteraction_ns(1, env);
  for (int i = 1; i <= 6; ++i) {
    const ErrorRow row{-i, ERROR_ERR, "e%d"};
    PostRow(&row, NOT_DISPLAYED, i);
  }
  ReportShown(NOT_DISPLAYED, FIRST);
  CaptureStdout();
  ShowOutstandingErrors(env);
  EXPECT_EQ(GetCapturedStdout(),
            "E1 (error 1)\nE2 (error 2)\nE3 (error 3)\nE4 (error 4)\n"
            "There are more errors, but they won't be displayed (error 2202)\n");
  EXPECT_EQ(Walk(0), std::vector<int>{1});
  ClearErrors_ns(env, 6);
}

}  // namespace
}  // namespace bravic::testing
