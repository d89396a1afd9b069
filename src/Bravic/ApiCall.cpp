#include "Bravic/ApiCall.h"

#include "Basic/Callback.h"
#include "Basic/Errors.h"
#include "Basic/FieldChecks.h"
#include "Basic/Text.h"
#include "Win_Face/FileSpec.h"

namespace bravic {

namespace {

bool RefuseEnvironment(int number, const char* text) {
  PrintFramed(number, text);
  return false;
}

// The records' own consistency, checked at the deep level.
bool IsSound(environ_ns env) {
  const FieldOwner owner{"environment", PRODUCT_NAME, false};
  auto inRange = [&](int* value, int low, int high, Field field) {
    return CheckField(owner, value, {low, high, low, -5252, field});
  };
  return inRange(&env->hasFileIO, -1, 1, FIELD_HAS_FILE_IO) &&
         inRange(&env->hasUserInteraction, -1, 1, FIELD_HAS_USER_INTERACTION) &&
         inRange(&env->hasGUI, 0, 0, FIELD_HAS_GUI) &&
         inRange(&env->hasUserInterpreter, -1, 1, FIELD_HAS_USER_INTERPRETER) &&
         inRange(&env->repetitionMode, 1, 3, FIELD_REPETITION_MODE);
}

bool IsSound(report_ns report) {
  const FieldOwner owner{"error record", OrEmpty(report->mesg), false};
  auto inRange = [&](int* value, int high, Field field) {
    return CheckField(owner, value, {0, high, 0, -5253, field});
  };
  return inRange(&report->danger, INTERNAL_ERR, FIELD_DANGER) &&
         inRange(&report->displayStatus, DIALOG_DISPLAY, FIELD_DISPLAY_STATUS) &&
         inRange(&report->fixStatus, CANT_BE_FIXED, FIELD_FIX_STATUS);
}

constexpr char BEFORE_INIT[] = "this function called before InitBravic_bn";

}  // namespace

void ApiCall::Nest(const char* function, InCallback allowed) {
  if (IsInCallback()) {
    around_ = currentFunction;
    refused_ = allowed == InCallback::Refused && RefuseInCallback(function);
    return;
  }
  const char* running = currentFunction;
  currentFunction = nullptr;
  ReportWarning(-5114, "API function %s is calling API function %s", running, function);
}

bool ApiCall::RefuseWithoutReserve(int number) {
  if (!currentEnviron || currentEnviron->stage < STAGE_MEMORY) return RefuseEnvironment(-5101, BEFORE_INIT);
  ReportError(number, "not enough free memory to call %s", currentFunction);
  leaveSet_ = true;
  return false;
}

bool ApiCall::CheckEnviron(environ_ns env) {
  if (refused_) return false;
  if (!Basic()) return true;
  if (!env) return RefuseEnvironment(-5100, "NULL passed for environ_ns");
  if (TagOf(env) != ENVIRON_TAG || env->closed) return RefuseEnvironment(-5139, "damaged or freed environ_ns passed");
  if (env->stage < STAGE_MEMORY) return RefuseEnvironment(-5101, BEFORE_INIT);
  return !Deep() || IsSound(env);
}

bool ApiCall::CheckReport(report_ns report) {
  if (refused_) return false;
  if (!Basic()) return true;
  if (!report) {
    ReportError(-5102, "NULL passed for report_ns");
    return false;
  }
  if (!IsRecord(report, REPORT_TAG)) {
    ReportError(-5140, "damaged or freed report_ns passed");
    return false;
  }
  return !Deep() || IsSound(report);
}

bool ApiCall::CheckFile(filespec_ns file) {
  if (refused_) return false;
  if (!Basic()) return true;
  if (!file) {
    ReportError(-5103, "NULL passed for filespec_ns");
    return false;
  }
  if (!IsRecord(file, FILESPEC_TAG)) {
    ReportError(-5141, "damaged or freed filespec_ns passed");
    return false;
  }
  return true;
}

bool ApiCall::CheckNameGiven(const char* name) {
  if (!Basic()) return true;
  if (!name) {
    ReportError(-5114, "NULL passed for name");
    return false;
  }
  if (!*name) {
    ReportError(-5142, "empty string passed for name");
    return false;
  }
  return true;
}

bool ApiCall::CheckName(const char* name) {
  if (!Basic()) return true;
  if (!CheckNameGiven(name)) return false;
  char reason[NAME_REASON_LEN];
  if (!CheckNameText(name, reason)) return true;
  ReportError(-5118, "name string passed is bad because %s", reason);
  return false;
}

}  // namespace bravic
