#include "Bravic/ApiCall.h"

#include "Basic/Callback.h"
#include "Basic/Errors.h"
#include "Basic/Text.h"
#include "Win_Face/FileSpec.h"

namespace bravic {

namespace {

bool RefuseEnvironment(ErrorFor<> error) {
  PrintFramed(error);
  return false;
}

// What a deep check reports of a field of a record.
using FieldError = ErrorFor<const char*, const char*, const char*, int, int>;
struct FieldErrors {
  FieldError tooLarge, tooSmall, offValue;
};
constexpr FieldErrors ENVIRON_ERRORS{ENVIRON_FIELD_TOO_LARGE, ENVIRON_FIELD_TOO_SMALL, ENVIRON_FIELD_OFF_VALUE};
constexpr FieldErrors REPORT_ERRORS{REPORT_FIELD_TOO_LARGE, REPORT_FIELD_TOO_SMALL, REPORT_FIELD_TOO_SMALL};

struct Record {
  const char *kind, *name;
  const FieldErrors& errors;
};

bool IsInRange(const Record& record, int value, int low, int high, const char* field) {
  if (low <= value && value <= high) return true;
  const auto& [tooLarge, tooSmall, offValue] = record.errors;
  Report(low == high    ? offValue
         : value > high ? tooLarge
                        : tooSmall,
         field, record.kind, record.name, value, value > high ? high : low);
  return false;
}

// The records' own consistency, checked at the deep level.
bool IsSound(environ_ns env) {
  const Record record{"environment", PRODUCT_NAME, ENVIRON_ERRORS};
  return IsInRange(record, env->hasFileIO, -1, 1, "HasFileIO") &&
         IsInRange(record, env->hasUserInteraction, -1, 1, "HasUserInteraction") &&
         IsInRange(record, env->hasGUI, 0, 0, "HasGUI") &&
         IsInRange(record, env->hasUserInterpreter, -1, 1, "HasUserInterpreter") &&
         IsInRange(record, env->repetitionMode, 1, 3, "repetition_mode");
}

bool IsSound(report_ns report) {
  const Record record{"error record", OrEmpty(report->mesg), REPORT_ERRORS};
  return IsInRange(record, report->danger, 0, INTERNAL_ERR, "danger") &&
         IsInRange(record, report->displayStatus, 0, DIALOG_DISPLAY, "display_status") &&
         IsInRange(record, report->fixStatus, 0, CANT_BE_FIXED, "fix_status");
}

// Before memory is accounted for there is no place for an error record.
}  // namespace

// The name of another function is set. Within a callback that is as it should be; else that function has found the
// memory reserve gone, or the host calls from a second thread, or has left a call by a jump.
void ApiCall::Nest(const char* function, InCallback allowed) {
  if (IsInCallback()) {
    around_ = currentFunction;
    refused_ = allowed == InCallback::Refused && RefuseInCallback(function);
    return;
  }
  const char* running = currentFunction;
  currentFunction = nullptr;
  Report(NESTED_CALL, running, function);
}

bool ApiCall::RefuseWithoutReserve(ErrorFor<const char*> error) {
  if (!currentEnviron || currentEnviron->stage < STAGE_MEMORY) return RefuseEnvironment(CALLED_BEFORE_INIT);
  Report(error, currentFunction);
  // The name stays set, so that the next call complains of nesting, too.
  leaveSet_ = true;
  return false;
}

bool ApiCall::CheckEnviron(environ_ns env) {
  if (refused_) return false;
  if (!Basic()) return true;
  if (!env) return RefuseEnvironment(NULL_ENVIRON);
  if (TagOf(env) != ENVIRON_TAG || env->closed) return RefuseEnvironment(DAMAGED_ENVIRON);
  if (env->stage < STAGE_MEMORY) return RefuseEnvironment(CALLED_BEFORE_INIT);
  return !Deep() || IsSound(env);
}

bool ApiCall::CheckReport(report_ns report) {
  if (refused_) return false;
  if (!Basic()) return true;
  if (!report) {
    Report(NULL_REPORT);
    return false;
  }
  if (!IsRecord(report, REPORT_TAG)) {
    Report(DAMAGED_REPORT);
    return false;
  }
  return !Deep() || IsSound(report);
}

bool ApiCall::CheckFile(filespec_ns file) {
  if (refused_) return false;
  if (!Basic()) return true;
  if (!file) {
    Report(NULL_FILE);
    return false;
  }
  if (!IsRecord(file, FILESPEC_TAG)) {
    Report(DAMAGED_FILE);
    return false;
  }
  return true;
}

bool ApiCall::CheckNameGiven(const char* name) {
  if (!Basic()) return true;
  if (!name) {
    Report(NULL_NAME);
    return false;
  }
  if (!*name) {
    Report(EMPTY_NAME);
    return false;
  }
  return true;
}

bool ApiCall::CheckName(const char* name) {
  if (!Basic()) return true;
  if (!CheckNameGiven(name)) return false;
  char reason[NAME_REASON_LEN];
  if (!CheckNameText(name, reason)) return true;
  Report(ILLEGAL_NAME, reason);
  return false;
}

}  // namespace bravic
