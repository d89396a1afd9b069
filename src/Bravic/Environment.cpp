#include "Bravic/Environment.h"

#include <cstring>

#include "Basic/Callback.h"
#include "Basic/Environ.h"
#include "Basic/ErrorTable.h"
#include "Basic/Errors.h"
#include "Basic/Memory.h"
#include "Basic/Text.h"
#include "Bravic/Modules.h"
#include "Win_Face/FileSpec.h"
#include "Win_Face/Interaction.h"
#include "Win_Face/Platform.h"
#include "Win_Face/Threads.h"

namespace bravic {
namespace {

constexpr int OLDEST_SYSTEM = 4;  // major version
// The version that hosts ask for and net files tell: the interface's, which packages of later versions keep.
constexpr int MAJOR = 1, MINOR = 6;
constexpr char BUILD_CODE[] = "AtB", PLATFORM_NAME[] = "Win";
constexpr int UNDETERMINED = -1;

environ_rec theEnviron;
char versionText[64];
SystemVersionQuestion askSystemVersion = SystemVersion;
StartupBox showStartupBox = StartupMessageBox;

// What typed objects can be of: the name under which messages speak of a record, and how it is freed.
void RegisterRecordTypes() {
  static constexpr struct {
    int tag;
    const char* name;
    std::size_t size;
  } ROWS[] = {{41, "vnet", 0},
              {42, "vnode", 0},
              {43, "vnpart", 0},
              {45, "probtype", sizeof(probtype)},
              {46, "statetype", sizeof(statetype)}};
  for (const auto& row : ROWS) RegisterType(row.tag, row.name, row.size, nullptr);
  RegisterType(REPORT_TAG, "???", sizeof(report_rec),
               [](void* report) { ClearReport(static_cast<report_ns>(report)); });
  RegisterType(ENVIRON_TAG, "???", sizeof(environ_rec), nullptr);
}

void StartPlatformFirstHalf(environ_ns env) {
  RegisterType(27, "window", 0, nullptr);
  RegisterType(28, "dialog", 0, nullptr);
  RegisterType(FILESPEC_TAG, "filespec", sizeof(filespec_rec),
               [](void* file) { FreeFileSpec(static_cast<filespec_ns>(file)); });
  if (env->hasFileIO == UNDETERMINED) env->hasFileIO = 1;
}

// Without a buffer for the message a box tells it.
int CheckOperatingSystem(MessageBuffer* mesg) {
  int major = 0;
  bool ntFamily = false;
  if (askSystemVersion(&major, &ntFamily) && major >= OLDEST_SYSTEM) return 0;
  if (*mesg) {
    mesg->Append("Operating system not sufficient (requires at least Windows 95 or Windows NT 4.0)");
  } else {
    showStartupBox("Bravic Error", "This program requires at least Windows 95 or Windows NT 4.0");
  }
  return -1;
}

// What the host has not set before the start is off.
void SettleTriStates(environ_ns env) {
  for (int* setting : {&env->hasFileIO, &env->hasUserInteraction, &env->hasUserInterpreter}) {
    if (*setting == UNDETERMINED) *setting = 0;
  }
}

}  // namespace

void SetSystemVersionQuestion(SystemVersionQuestion question) {
  askSystemVersion = question ? question : SystemVersion;
}

void SetStartupBox(StartupBox box) {
  showStartupBox = box ? box : StartupMessageBox;
}

// The record is static: a host may keep the pointer beyond the close, and is told then that it is closed.
environ_ns CreateEnviron() {
  environ_rec& env = theEnviron;
  env = environ_rec();
  env.tag = ENVIRON_TAG;
  env.stage = STAGE_CREATED;
  env.hasFileIO = env.hasUserInteraction = env.hasUserInterpreter = UNDETERMINED;
  env.hasGUI = 0;
  env.repetitionMode = 2;
  return &env;
}

bool ValidateEnviron(environ_ns env, const char* function) {
  if (RefuseInCallback(function)) return false;
  if (env && TagOf(env) == ENVIRON_TAG && !env->closed) {
    currentEnviron = env;
    return true;
  }
  PrintFramed(NO_ENVIRON_FOR_SETTING, function);
  return false;
}

// What has been started is told by env->stage, so that a close after a start-up that failed stops just that.
int StartUp(environ_ns env, MessageBuffer* mesg) {
  currentEnviron = env;
  mesg->Append("%s (%s) %d.%02d %s\n", PRODUCT_NAME, BUILD_CODE, MAJOR, MINOR, PLATFORM_NAME);
  StartTypes();
  RegisterRecordTypes();
  env->stage = STAGE_TYPES;
  StartPlatformFirstHalf(env);
  env->stage = STAGE_SYSTEM;
  if (const int result = CheckOperatingSystem(mesg); result < 0) return result;
  StartMemory();
  StartErrors(env);
  StartInteraction();
  env->stage = STAGE_MEMORY;
  if (env->hasGUI != 0) return -1;
  StartModules();
  SettleTriStates(env);
  env->stage = STAGE_STARTED;
  if (report_ns error = OldestError(env, ERROR_ERR, nullptr)) {
    mesg->Append("\nHad Error: %s\n", OrEmpty(error->mesg));
    return -1;
  }
  return 0;
}

void ShutDown(environ_ns env) {
  if (env->stage >= STAGE_STARTED) {
    StopModules();
  }
  if (env->stage >= STAGE_MEMORY) {
    HaltOnInterrupts(false);
    StopInteraction();
    StopErrors(env);
    StopMemory();
  }
  currentEnviron = nullptr;
  currentFunction = nullptr;
  checkingLevel = CHECK_LISTS;
  *ThreadsSetting() = 1;
  env->closed = true;
}

int VersionNumber() {
  return 100 * MAJOR + MINOR;
}

const char* VersionText() {
  FormatText(versionText, sizeof versionText, "%d.%02d %s, %s (%s)", MAJOR, MINOR, PLATFORM_NAME, PRODUCT_NAME,
             BUILD_CODE);
  return versionText;
}

}  // namespace bravic
