// The call frame of an exported function, as a guard: complains of nesting, sets and clears the current
// function's name, tests the reserve and offers the argument checks that need no model. Model checks extend it
// (Bn/model/NetCall.h).
#pragma once

#include "Basic/Environ.h"
#include "Basic/Memory.h"

namespace bravic {

class ApiCall {
 public:
  // The function's name is spelled as exported in mixed case; static text.
  explicit ApiCall(const char* function) {
    if (currentFunction) [[unlikely]]
      ComplainOfNesting(function);
    currentFunction = function;
  }
  // Clears the name, unless HasReserve has failed.
  ~ApiCall() {
    if (!leaveSet_) currentFunction = nullptr;
  }
  ApiCall(const ApiCall&) = delete;
  ApiCall& operator=(const ApiCall&) = delete;

  // False, with "not enough free memory to call %s" reported under the number, when the reserve is gone. The
  // function's name is then deliberately left set, so that the next call complains of nesting. Before memory
  // accounting runs: false, with "this function called before InitBravic_bn" written framed.
  bool HasReserve(int number) { return bravic::HasReserve() || RefuseWithoutReserve(number); }

  // Handle checks of the basic level; the deep level adds the record's own consistency.
  bool Check(environ_ns env);  // faults are written framed, since they cannot be recorded
  bool Check(report_ns report);
  bool Check(filespec_ns file);
  bool CheckName(const char* name);       // NULL -5114, empty -5142, illegal -5118
  bool CheckNameGiven(const char* name);  // NULL and empty only; the setter judges the rest

  static bool Basic() { return checkingLevel > CHECK_NOTHING; }
  static bool Lists() { return checkingLevel >= CHECK_LISTS; }
  static bool Deep() { return checkingLevel >= CHECK_DEEP; }

  void LeaveNameSet() { leaveSet_ = true; }

 private:
  static void ComplainOfNesting(const char* function);  // leaves the name cleared
  bool RefuseWithoutReserve(int number);

  bool leaveSet_ = false;
};

}  // namespace bravic
