// The environment, the settings of the library, and what hosts are told of progress.
#include "Bravic/Environment.h"

#include <algorithm>
#include <cstdint>

#include "Basic/Callback.h"
#include "Basic/Environ.h"
#include "Basic/ErrorTable.h"
#include "Basic/Errors.h"
#include "Basic/Memory.h"
#include "Bravic/ApiCall.h"
#include "Win_Face/Interaction.h"
#include "Win_Face/Platform.h"
#include "Win_Face/Threads.h"

using namespace bravic;

namespace {

constexpr int JUST_ASKING = -1;
constexpr std::uint64_t KILOBYTE = 1024;

// One setting: asks with -1, else stores a value within the range. Answers the setting now in force, or -1.
using SettingError = ErrorFor<int, int, int, int>;
int Setting(int* field, int setting, int low, int high, SettingError error) {
  if (setting == JUST_ASKING) return *field;
  if (setting < low || setting > high) {
    Report(error, setting, JUST_ASKING, low, high);
    return -1;
  }
  return *field = setting;
}

// A setting of 0 or 1.
int Flag(int environ_rec::*field, int setting, environ_ns env, const char* function, SettingError error) {
  if (!ValidateEnviron(env, function)) return -1;
  return Setting(&(env->*field), setting, 0, 1, error);
}

}  // namespace

environ_ns BRAVIC_CALL NewBravicEnviron_bn(void) {
  if (RefuseInCallback("NewBravicEnviron_bn")) return nullptr;
  if (currentEnviron) {
    PrintFramed(SECOND_ENVIRON);
    return nullptr;
  }
  return CreateEnviron();
}

int BRAVIC_CALL InitBravic_bn(environ_ns env, char* buffer) {
  MessageBuffer mesg(buffer);
  if (RefuseInCallback("InitBravic_bn")) {
    mesg.Append("Attempt to start %s from a progress callback", PRODUCT_NAME);
    return -1;
  }
  if (!env) {
    mesg.Append("Attempt to start %s with a NULL environment", PRODUCT_NAME);
    return -1;
  }
  if (TagOf(env) != ENVIRON_TAG) {
    mesg.Append("Attempt to start %s with the wrong type of environment (or a damaged one)", PRODUCT_NAME);
    return -1;
  }
  if (env->stage != STAGE_CREATED || env->closed) {
    mesg.Append("Attempt to start %s twice with the same environment", PRODUCT_NAME);
    return -1;
  }
  return StartUp(env, &mesg);
}

int BRAVIC_CALL CloseBravic_bn(environ_ns env, char* buffer) {
  MessageBuffer mesg(buffer);
  if (RefuseInCallback("CloseBravic_bn")) {
    mesg.Append("Attempt to close %s from a progress callback", PRODUCT_NAME);
    return -1;
  }
  if (!env) {
    mesg.Append("Attempt to close %s with a NULL environment", PRODUCT_NAME);
    return -1;
  }
  if (TagOf(env) != ENVIRON_TAG) {
    mesg.Append("Attempt to close %s with the wrong type of environment (or a damaged one)", PRODUCT_NAME);
    return -1;
  }
  if (env->closed) return 0;
  if (env->stage < STAGE_CREATED || env->stage > STAGE_STARTED || env->stage % 10 != 0) {
    currentEnviron = env;
    mesg.Append("Attempt to close %s with an ill formed environ_ns", PRODUCT_NAME);
    return -1;
  }
  ShutDown(env);
  mesg.Append("Leaving %s.\n", PRODUCT_NAME);
  return 0;
}

int BRAVIC_CALL GetBravicVersion_bn(environ_ns env, const char** version) {
  if (!ValidateEnviron(env, "GetBravicVersion_bn")) return 0;
  if (version) *version = VersionText();
  return VersionNumber();
}

int BRAVIC_CALL ArgumentChecking_ns(int setting, environ_ns env) {
  if (!ValidateEnviron(env, "ArgumentChecking_ns")) return -1;
  const int before = checkingLevel;
  return Setting(&checkingLevel, setting, CHECK_NOTHING, CHECK_DEEP, BAD_CHECKING_LEVEL) < 0 ? -1 : before;
}

int BRAVIC_CALL HasUserInteraction_ns(int setting, environ_ns env) {
  return Flag(&environ_rec::hasUserInteraction, setting, env, "HasUserInteraction_ns", BAD_USER_INTERACTION);
}

int BRAVIC_CALL HasGUI_ns(int setting, environ_ns env) {
  if (!ValidateEnviron(env, "HasGUI_ns")) return -1;
  if (setting != 1) return Setting(&env->hasGUI, setting, 0, 1, BAD_GUI_SETTING);
  Report(NO_GUI_TO_TURN_ON, setting, PRODUCT_NAME);
  return -1;
}

int BRAVIC_CALL HasFileIO_ns(int setting, environ_ns env) {
  return Flag(&environ_rec::hasFileIO, setting, env, "HasFileIO_ns", BAD_FILE_IO_SETTING);
}

int BRAVIC_CALL HasUserInterpreter_ns(int setting, environ_ns env) {
  return Flag(&environ_rec::hasUserInterpreter, setting, env, "HasUserInterpreter_ns", BAD_INTERPRETER_SETTING);
}

int BRAVIC_CALL ShowProgress_ns(int setting, environ_ns env) {
  if (!ValidateEnviron(env, "ShowProgress_ns")) return -1;
  return Setting(ProgressSetting(), setting, 0, 1, BAD_PROGRESS_SETTING);
}

int BRAVIC_CALL HaltOnInterrupt_ns(int setting, environ_ns env) {
  if (!ValidateEnviron(env, "HaltOnInterrupt_ns")) return -1;
  int wanted = InterruptsHalt();
  if (Setting(&wanted, setting, 0, 1, BAD_INTERRUPT_SETTING) < 0) return -1;
  HaltOnInterrupts(wanted != 0);
  return wanted;
}

int BRAVIC_CALL SetThreads_ns(int numthreads, environ_ns env) {
  if (!ValidateEnviron(env, "SetThreads_ns")) return -1;
  const int before = *ThreadsSetting();
  return Setting(ThreadsSetting(), numthreads, 0, MOST_THREADS, BAD_NUMBER_OF_THREADS) < 0 ? -1 : before;
}

long BRAVIC_CALL SetMemoryLimit_ns(long kilobytes, environ_ns env) {
  if (!ValidateEnviron(env, "SetMemoryLimit_ns")) return -1;
  const long before = env->memoryLimit;
  if (kilobytes == JUST_ASKING) return before;
  if (kilobytes < 0) {
    Report(BAD_MEMORY_LIMIT, kilobytes, JUST_ASKING);
    return -1;
  }
  env->memoryLimit = kilobytes;
  SetMemoryLimit(std::min(static_cast<std::uint64_t>(kilobytes), UINT64_MAX / KILOBYTE) * KILOBYTE);
  return before;
}

void BRAVIC_CALL SetProgressCallback_ns(progress_ns report, void* data, environ_ns env) {
  ApiCall call("SetProgressCallback_ns");
  if (!call.CheckEnviron(env)) return;
  SetHostProgress(report, data);
}
