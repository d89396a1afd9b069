// The call frame of an exported function, as a guard: complains of nesting, sets and clears the current
// function's name, tests the reserve and offers the argument checks that need no model. Model checks extend it
// (Bravic/NetCall.h). While the host's progress callback runs, every call but the error functions is refused by the
// first of the checks that it makes (Basic/Callback.h).
#pragma once

#include "Basic/Environ.h"
#include "Basic/ErrorTable.h"
#include "Basic/Memory.h"

namespace bravic {

// What calls that answer a text answer when they fail.
inline constexpr const char* NO_TEXT = "error";

class ApiCall {
 public:
  enum class InCallback { Refused, Allowed };
  // The function's name is spelled as exported in mixed case; static text.
  explicit ApiCall(const char* function, InCallback inCallback = InCallback::Refused) {
    if (currentFunction) [[unlikely]]
      Nest(function, inCallback);
    currentFunction = function;
  }
  // Clears the name, unless HasReserve has failed. Within a callback the name of the operation comes back.
  ~ApiCall() {
    if (!leaveSet_) currentFunction = around_;
  }
  ApiCall(const ApiCall&) = delete;
  ApiCall& operator=(const ApiCall&) = delete;

  // False, with the error reported, when the reserve is gone. The
  // function's name is then deliberately left set, so that the next call complains of nesting. Before memory
  // accounting runs: false, with "this function called before InitBravic_bn" written framed.
  bool HasReserve(ErrorFor<const char*> error = NO_RESERVE) {
    return !refused_ && (bravic::HasReserve() || RefuseWithoutReserve(error));
  }

  // Handle checks of the basic level; the deep level adds the record's own consistency.
  bool CheckEnviron(environ_ns env);  // faults are written framed, since they cannot be recorded
  bool CheckReport(report_ns report);
  bool CheckFile(filespec_ns file);
  bool CheckName(const char* name);       // NULL_NAME, EMPTY_NAME, ILLEGAL_NAME
  bool CheckNameGiven(const char* name);  // NULL and empty only; the setter judges the rest

  static bool Basic() { return checkingLevel > CHECK_NOTHING; }
  static bool Lists() { return checkingLevel >= CHECK_LISTS; }
  static bool Deep() { return checkingLevel >= CHECK_DEEP; }

  void LeaveNameSet() { leaveSet_ = !around_; }
  // In a callback: no check passes.
  bool IsRefused() const { return refused_; }

 private:
  void Nest(const char* function, InCallback inCallback);
  bool RefuseWithoutReserve(ErrorFor<const char*> error);

  const char* around_ = nullptr;  // the function whose callback this call comes from
  bool refused_ = false;
  bool leaveSet_ = false;
};

}  // namespace bravic
