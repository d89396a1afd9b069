#include "Bravic/Environment.h"

#include <cstring>

#include "Basic/ApiCall.h"
#include "Basic/Errors.h"
#include "Basic/Memory.h"
#include "Basic/Text.h"
#include "Bravic/Modules.h"
#include "Win_Face/FileSpec.h"
#include "Win_Face/Interaction.h"
#include "Win_Face/Platform.h"

namespace bravic {
namespace {

constexpr int VERSION_NUMBER = 106, OLDEST_SYSTEM = 4;
constexpr char BUILD_CODE[] = "AtB";
constexpr int UNDETERMINED = -1, JUST_ASKING = -1;

environ_rec theEnviron;
char versionText[64];
SystemVersionQuestion askSystemVersion = SystemVersion;
StartupBox showStartupBox = StartupMessageBox;

// A host's message buffer of MESG_LEN_ns characters, or NULL. What does not fit is cut.
class MessageBuffer {
 public:
  explicit MessageBuffer(char* text) : text_(text) {
    if (text_) text_[0] = 0;
  }
  void Append(const char* format, ...) BRAVIC_PRINTF(2, 3) {
    if (!text_) return;
    std::va_list arguments;
    va_start(arguments, format);
    length_ += FormatTextV(text_ + length_, MESG_LEN_ns - length_, format, arguments);
    va_end(arguments);
    if (length_ >= MESG_LEN_ns) length_ = MESG_LEN_ns - 1;
  }
  explicit operator bool() const { return text_ != nullptr; }

 private:
  char* text_;
  std::size_t length_ = 0;
};

environ_ns CreateEnviron() {
  if (currentEnviron) {
    PrintFramed(-2205, "Attempt to create 2 environments (currently Bravic only supports a single concurrent session)");
    return nullptr;
  }
  environ_rec& env = theEnviron;
  env = environ_rec();
  env.tag = ENVIRON_TAG;
  env.stage = STAGE_CREATED;
  env.hasFileIO = env.hasUserInteraction = env.spareTriState1 = UNDETERMINED;
  env.hasGUI = 0;
  env.spareTriState2 = env.hasUserInterpreter = UNDETERMINED;
  env.repetitionMode = 2;
  return &env;
}

// Makes a valid environment the current one; not while a callback runs.
bool ValidateEnviron(environ_ns env, const char* function) {
  if (RefuseInCallback(function)) return false;
  if (env && TagOf(env) == ENVIRON_TAG && !env->closed) {
    currentEnviron = env;
    return true;
  }
  char text[128];
  FormatText(text, sizeof text, "%s: NULL or damaged environ_ns passed", function);
  PrintFramed(-5527, text);
  return false;
}

void RegisterRecordTypes() {
  static constexpr struct {
    int tag;
    const char* name;
    std::size_t size;
  } ROWS[] = {{41, "vnet", 0},
              {42, "vnode", 0},
              {43, "vnpart", 0},
              {45, "probtype", sizeof(probtype)},
              {46, "statetype", sizeof(statetype)},
              {BNET_TAG, "bnet", 0},
              {BNODE_TAG, "bnode", 0},
              {STUB_TAG, "stub", 0},
              {NODELIST_TAG, "bndlist", 0}};
  for (const auto& row : ROWS) RegisterType(row.tag, row.name, row.size, nullptr);
  RegisterType(REPORT_TAG, "???", sizeof(report_rec),
               [](void* report) { ClearReport(static_cast<report_ns>(report)); });
  RegisterType(ENVIRON_TAG, "???", sizeof(environ_rec), nullptr);
}

void StartPlatformFirstHalf(environ_ns env) {
  RegisterType(27, "window", 0, nullptr);
  RegisterType(28, "dialog", 0, nullptr);
  RegisterType(FILESPEC_TAG, "filespec", 0, [](void* file) { FreeFileSpec(static_cast<filespec_ns>(file)); });
  if (env->hasFileIO == UNDETERMINED) env->hasFileIO = 1;
}

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

void SettleTriStates(environ_ns env) {
  for (int* setting : {&env->hasFileIO, &env->hasUserInteraction, &env->spareTriState1, &env->spareTriState2,
                       &env->hasUserInterpreter}) {
    if (*setting == UNDETERMINED) *setting = 0;
  }
}

int StartUp(environ_ns env, MessageBuffer* mesg) {
  currentEnviron = env;
  mesg->Append("%s (%s) %s %s\n", PRODUCT_NAME, BUILD_CODE, VERSION_TEXT, PLATFORM_NAME);
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
  env->programLocation = DupText("");
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
    Free(env->programLocation);
    env->programLocation = nullptr;
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
  env->closed = true;
}

// One setting: asks with -1, else stores a value within the range. Answers the setting now in force, or -1.
int Setting(int* field, int setting, int low, int high, const char* function, int number) {
  if (setting == JUST_ASKING) return *field;
  if (setting < low || setting > high) {
    ReportError(number, "%s: Argument 'setting' is %d, but it should be %d or between %d and %d inclusive", function,
                setting, JUST_ASKING, low, high);
    return -1;
  }
  return *field = setting;
}

int Flag(int environ_rec::*field, int setting, environ_ns env, const char* function, int number) {
  if (!ValidateEnviron(env, function)) return -1;
  return Setting(&(env->*field), setting, 0, 1, function, number);
}

}  // namespace

void SetSystemVersionQuestion(SystemVersionQuestion question) {
  askSystemVersion = question ? question : SystemVersion;
}

void SetStartupBox(StartupBox box) {
  showStartupBox = box ? box : StartupMessageBox;
}

}  // namespace bravic

using namespace bravic;

environ_ns BRAVIC_CALL NewBravicEnviron_bn(void) {
  if (RefuseInCallback("NewBravicEnviron_bn")) return nullptr;
  if (currentEnviron) {
    PrintFramed(-5526, "Attempt to create 2 environments (currently Bravic only supports a single concurrent session)");
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
  if (version) {
    FormatText(versionText, sizeof versionText, "%s %s, %s (%s)", VERSION_TEXT, PLATFORM_NAME, PRODUCT_NAME,
               BUILD_CODE);
    *version = versionText;
  }
  return VERSION_NUMBER;
}

int BRAVIC_CALL ArgumentChecking_ns(int setting, environ_ns env) {
  if (!ValidateEnviron(env, "ArgumentChecking_ns")) return -1;
  const int before = checkingLevel;
  return Setting(&checkingLevel, setting, CHECK_NOTHING, CHECK_DEEP, "ArgumentChecking_ns", -5529) < 0 ? -1 : before;
}

int BRAVIC_CALL HasUserInteraction_ns(int setting, environ_ns env) {
  return Flag(&environ_rec::hasUserInteraction, setting, env, "HasUserInteraction_ns", -5528);
}

int BRAVIC_CALL HasGUI_ns(int setting, environ_ns env) {
  if (!ValidateEnviron(env, "HasGUI_ns")) return -1;
  if (setting != 1) return Setting(&env->hasGUI, setting, 0, 1, "HasGUI_ns", -5530);
  ReportError(-5566,
              "HasGUI_ns: Attempt to turn on GUI (setting = %d), but this version of %s doesn't have GUI capability",
              setting, PRODUCT_NAME);
  return -1;
}

int BRAVIC_CALL HasFileIO_ns(int setting, environ_ns env) {
  return Flag(&environ_rec::hasFileIO, setting, env, "HasFileIO_ns", -5531);
}

int BRAVIC_CALL HasUserInterpreter_ns(int setting, environ_ns env) {
  return Flag(&environ_rec::hasUserInterpreter, setting, env, "HasUserInterpreter_ns", -5532);
}

int BRAVIC_CALL HaltOnInterrupt_ns(int setting, environ_ns env) {
  if (!ValidateEnviron(env, "HaltOnInterrupt_ns")) return -1;
  int wanted = InterruptsHalt();
  if (Setting(&wanted, setting, 0, 1, "HaltOnInterrupt_ns", -2452) < 0) return -1;
  HaltOnInterrupts(wanted != 0);
  return wanted;
}

int BRAVIC_CALL ShowProgress_ns(int setting, environ_ns env) {
  if (!ValidateEnviron(env, "ShowProgress_ns")) return -1;
  return Setting(ProgressSetting(), setting, 0, 1, "ShowProgress_ns", -5533);
}
