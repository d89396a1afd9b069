// Start-up and close by their stages, settings and version, through the interface as a host uses them.
#include "Bravic/Environment.h"

#include "Basic/Environ.h"
#include "Basic/Memory.h"
#include "Basic/TypedObject.h"
#include "bravic.h"
#include "support/test.h"

namespace bravic::testing {
namespace {

using ::testing::internal::CaptureStderr;
using ::testing::internal::GetCapturedStderr;

std::string Start(environ_ns env, int result = 0) {
  char message[MESG_LEN_ns];
  EXPECT_EQ(InitBravic_bn(env, message), result);
  return message;
}

std::string Close(environ_ns env, int result = 0) {
  char message[MESG_LEN_ns];
  EXPECT_EQ(CloseBravic_bn(env, message), result);
  return message;
}

std::string Framed(const char* text) {
  return std::string("\n*********\n") + text + "\n*********\n";
}

TEST(Environment, StartsAndClosesAsOftenAsAHostLikes) {
  for (int round = 0; round < 3; ++round) {
    environ_ns env = NewBravicEnviron_bn();
    EXPECT_EQ(Start(env), "Bravic (AtB) 1.06 Win\n");
    const char* version;
    EXPECT_EQ(GetBravicVersion_bn(env, &version), 106);
    EXPECT_STREQ(version, "1.06 Win, Bravic (AtB)");
    EXPECT_EQ(GetBravicVersion_bn(env, nullptr), 106);
    BoxDouble(round);  // left behind; close gives it back
    EXPECT_EQ(Start(env, -1), "Attempt to start Bravic twice with the same environment");
    EXPECT_EQ(Close(env), "Leaving Bravic.\n");
    EXPECT_EQ(MemoryUsed(), 0u);
    EXPECT_FALSE(HasReserve());
  }
}

TEST(Environment, IsOverOnceClosed) {
  environ_ns env = NewBravicEnviron_bn();
  Start(env);
  Close(env);
  EXPECT_EQ(Close(env), "");
  EXPECT_EQ(Start(env, -1), "Attempt to start Bravic twice with the same environment");
  CaptureStderr();
  EXPECT_EQ(HasFileIO_ns(-1, env), -1);
  EXPECT_EQ(GetError_ns(env, 0, nullptr), nullptr);
  EXPECT_EQ(SeedRandom_ns(1, env), -1);
  EXPECT_EQ(GetCapturedStderr(), Framed("HasFileIO_ns: NULL or damaged environ_ns passed (error 5527)") +
                                     Framed("damaged or freed environ_ns passed (error 5139)") +
                                     Framed("this function called before InitBravic_bn (error 5101)"));
  environ_ns again = NewBravicEnviron_bn();
  EXPECT_NE(again, nullptr);
  EXPECT_EQ(Close(again), "Leaving Bravic.\n") << "never started";
}

TEST(Environment, RefusesWhatIsNone) {
  short wrong[40] = {NODELIST_TAG};
  for (const auto bad : {environ_ns{}, reinterpret_cast<environ_ns>(wrong)}) {
    const std::string what = bad ? "the wrong type of environment (or a damaged one)" : "a NULL environment";
    EXPECT_EQ(Start(bad, -1), "Attempt to start Bravic with " + what);
    EXPECT_EQ(Close(bad, -1), "Attempt to close Bravic with " + what);
    EXPECT_EQ(InitBravic_bn(bad, nullptr), -1);
    EXPECT_EQ(CloseBravic_bn(bad, nullptr), -1);
    const char* version = "untouched";
    CaptureStderr();
    EXPECT_EQ(GetBravicVersion_bn(bad, &version), 0);
    EXPECT_EQ(ArgumentChecking_ns(24, bad), -1);
    EXPECT_EQ(GetCapturedStderr(), Framed("GetBravicVersion_bn: NULL or damaged environ_ns passed (error 5527)") +
                                       Framed("ArgumentChecking_ns: NULL or damaged environ_ns passed (error 5527)"));
    EXPECT_STREQ(version, "untouched");
  }
}

TEST(Environment, IsTheOnlyOne) {
  environ_ns env = NewBravicEnviron_bn();
  EXPECT_EQ(NewBravicEnviron_bn(), env) << "creation alone does not make it the current one";
  Start(env);
  CaptureStderr();
  EXPECT_EQ(NewBravicEnviron_bn(), nullptr);
  EXPECT_EQ(GetCapturedStderr(),
            Framed("Attempt to create 2 environments (currently Bravic only supports a single concurrent session) "
                   "(error 5526)"));
  env->stage = 15;
  EXPECT_EQ(Close(env, -1), "Attempt to close Bravic with an ill formed environ_ns");
  env->stage = STAGE_STARTED;
  Close(env);
}

TEST(Environment, SettingsKeepTheirRanges) {
  environ_ns env = NewBravicEnviron_bn();
  EXPECT_EQ(HasFileIO_ns(-1, env), -1);
  EXPECT_EQ(HasFileIO_ns(0, env), 0);
  EXPECT_EQ(HasUserInterpreter_ns(1, env), 1);
  CaptureStderr();
  EXPECT_EQ(SeedRandom_ns(1, env), -1);
  EXPECT_EQ(HasFileIO_ns(2, env), -1);
  EXPECT_EQ(GetCapturedStderr(),
            Framed("this function called before InitBravic_bn (error 5101)") +
                Framed("HasFileIO_ns: Argument 'setting' is 2, but it should be -1 or between 0 and 1 inclusive "
                       "(error 5531)"));
  Start(env);
  struct {
    int(BRAVIC_CALL* set)(int, environ_ns);
    int number, low, high, atStart;
  } const rows[] = {
      {ArgumentChecking_ns, 5529, 23, 26, 25},
      {HasUserInteraction_ns, 5528, 0, 1, 0},
      {HasGUI_ns, 5530, 0, 1, 0},
      {HasFileIO_ns, 5531, 0, 1, 0},
      {ShowProgress_ns, 5533, 0, 1, 0},
      {HasUserInterpreter_ns, 5532, 0, 1, 1},
      {SetThreads_ns, 2453, 0, 256, 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.number);
    EXPECT_EQ(row.set(-1, env), row.atStart);
    for (const int beyond : {row.low - 1 == -1 ? -2 : row.low - 1, row.high + 1}) {
      EXPECT_EQ(row.set(beyond, env), -1);
      EXPECT_EQ(ErrorNumber_ns(GetError_ns(env, 5, nullptr)), row.number);
      ClearErrors_ns(env, 6);
    }
    EXPECT_EQ(row.set(-1, env), row.atStart) << "a refused setting changes nothing";
    const bool answersBefore = row.set == ArgumentChecking_ns || row.set == SetThreads_ns;
    EXPECT_EQ(row.set(row.low, env), answersBefore ? row.atStart : row.low);
    EXPECT_EQ(row.set(-1, env), row.low);
    if (row.set == HasGUI_ns) continue;
    EXPECT_EQ(row.set(row.high, env), answersBefore ? row.low : row.high);
    EXPECT_EQ(row.set(-1, env), row.high);
    row.set(row.atStart, env);
  }
  EXPECT_EQ(HasGUI_ns(1, env), -1);
  EXPECT_STREQ(
      ErrorMessage_ns(GetError_ns(env, 5, nullptr)),
      "HasGUI_ns: Attempt to turn on GUI (setting = 1), but this version of Bravic doesn't have GUI capability");
  SetThreads_ns(7, env);
  ErrorDanger_ns(nullptr);  // leaves its call open
  Close(env);
  // Each start is a fresh one.
  env = NewBravicEnviron_bn();
  Start(env);
  EXPECT_EQ(ArgumentChecking_ns(-1, env), 25);
  EXPECT_EQ(SetThreads_ns(-1, env), 1);
  EXPECT_EQ(SeedRandom_ns(1, env), 0);
  EXPECT_EQ(GetError_ns(env, 0, nullptr), nullptr);
  Close(env);
}

std::string boxText;

TEST(Environment, RefusesSystemsThatAreTooOld) {
  SetSystemVersionQuestion([](int* major, bool*) {
    *major = 3;
    return true;
  });
  SetStartupBox([](const char* title, const char* text) { boxText = std::string(title) + ": " + text; });
  environ_ns env = NewBravicEnviron_bn();
  EXPECT_EQ(Start(env, -1),
            "Bravic (AtB) 1.06 Win\nOperating system not sufficient (requires at least Windows 95 or Windows NT 4.0)");
  EXPECT_EQ(boxText, "");
  EXPECT_EQ(MemoryUsed(), 0u);
  EXPECT_EQ(Close(env), "Leaving Bravic.\n");

  env = NewBravicEnviron_bn();
  EXPECT_EQ(InitBravic_bn(env, nullptr), -1);
  EXPECT_EQ(boxText, "Bravic Error: This program requires at least Windows 95 or Windows NT 4.0");
  EXPECT_EQ(Close(env), "Leaving Bravic.\n");
  SetSystemVersionQuestion(nullptr);
  SetStartupBox(nullptr);
}

int requestsUntilRefusal;

TEST(Environment, StartsWithoutLossWhateverRequestFails) {
  bool refused = true;
  for (int n = 0; refused; ++n) {
    SCOPED_TRACE("request " + std::to_string(n));
    requestsUntilRefusal = n;
    SetHeapGate([](std::size_t) { return requestsUntilRefusal-- != 0; });
    CaptureStderr();
    environ_ns env = NewBravicEnviron_bn();
    Start(env);
    refused = requestsUntilRefusal < 0;
    const bool warned = GetCapturedStderr().find("Dangerously low on memory") != std::string::npos;
    EXPECT_EQ(warned, refused && n > 0) << "the first request is for the reserve itself";
    EXPECT_EQ(HasReserve(), !refused);
    Close(env);
    SetHeapGate(nullptr);
    EXPECT_EQ(MemoryUsed(), 0u);
  }
}

}  // namespace
}  // namespace bravic::testing
