#include "Basic/Callback.h"

#include "Basic/Environ.h"
#include "Basic/ErrorTable.h"
#include "Basic/Errors.h"

namespace bravic {
namespace {

bool inCallback = false;
const char* functionBefore;  // of the operation that calls back, as the callback found it

}  // namespace

CallbackScope::CallbackScope() {
  functionBefore = currentFunction;
  if (!currentFunction) currentFunction = "a long operation";
  inCallback = true;
}

CallbackScope::~CallbackScope() {
  inCallback = false;
  currentFunction = functionBefore;
}

bool IsInCallback() {
  return inCallback;
}

bool RefuseInCallback(const char* function) {
  if (!inCallback) return false;
  const char* running = currentFunction;
  currentFunction = nullptr;  // the complaint is nobody's error
  Report(CALL_IN_CALLBACK, running, function);
  currentFunction = running;
  return true;
}

}  // namespace bravic
