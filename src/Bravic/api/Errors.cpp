// Error records: read, cleared and added by hosts. These functions work within the progress callback, too.
#include "Basic/Errors.h"

#include <cstdlib>

#include "Bravic/ApiCall.h"

using namespace bravic;

namespace {

constexpr int MAX_CLIENT_NUMBER = 999;

bool DangerInRange(ErrorFor<int, int> error, int danger) {
  if (!ApiCall::Basic() || (NOTHING_ERR <= danger && danger <= INTERNAL_ERR)) return true;
  Report(error, danger, INTERNAL_ERR);
  return false;
}

bool ClientNumberInRange(int number) {
  if (!ApiCall::Basic() || (0 <= number && number <= MAX_CLIENT_NUMBER)) return true;
  Report(NUMBER_TO_REPORT_OUT_OF_RANGE, number, MAX_CLIENT_NUMBER);
  return false;
}

}  // namespace

report_ns BRAVIC_CALL GetError_ns(environ_ns env, int danger, report_ns after) {
  ApiCall call("GetError_ns", ApiCall::InCallback::Allowed);
  if (!call.CheckEnviron(env) || !DangerInRange(DANGER_TO_GET_OUT_OF_RANGE, danger) ||
      (after && !call.CheckReport(after)))
    return nullptr;
  return OldestError(env, danger, after);
}

void BRAVIC_CALL ClearErrors_ns(environ_ns env, int danger) {
  ApiCall call("ClearErrors_ns", ApiCall::InCallback::Allowed);
  if (!call.CheckEnviron(env) || !DangerInRange(DANGER_TO_CLEAR_OUT_OF_RANGE, danger)) return;
  ClearErrors(env, danger);
}

void BRAVIC_CALL ClearError_ns(report_ns error) {
  ApiCall call("ClearError_ns", ApiCall::InCallback::Allowed);
  if (!error || !call.CheckReport(error)) return;
  ClearReport(error);
}

report_ns BRAVIC_CALL ReportError_ns(environ_ns env, int number, int danger, const char* mesg) {
  ApiCall call("ReportError_ns", ApiCall::InCallback::Allowed);
  if (!call.CheckEnviron(env) || !ClientNumberInRange(number) || !DangerInRange(DANGER_TO_REPORT_OUT_OF_RANGE, danger))
    return nullptr;
  return ReportText(-number, danger, mesg);
}

int BRAVIC_CALL ErrorNumber_ns(report_ns error) {
  ApiCall call("ErrorNumber_ns", ApiCall::InCallback::Allowed);
  if (!error || !call.CheckReport(error)) return 0;
  return std::abs(error->number);
}

const char* BRAVIC_CALL ErrorMessage_ns(report_ns error) {
  ApiCall call("ErrorMessage_ns", ApiCall::InCallback::Allowed);
  if (!error) return "";
  if (!call.CheckReport(error)) return "error";
  return MessageWithFunction(error);
}

int BRAVIC_CALL ErrorDanger_ns(report_ns error) {
  ApiCall call("ErrorDanger_ns", ApiCall::InCallback::Allowed);
  if (!error) call.LeaveNameSet();
  if (!error || !call.CheckReport(error)) return FALSE_ALERT;
  return error->danger;
}
