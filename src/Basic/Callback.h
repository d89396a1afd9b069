// What holds while the host's progress callback runs. The operation that called it is in the middle of its work then,
// so that every call but the error functions is refused.
#pragma once

namespace bravic {

// What a long operation does around the host's progress callback. One callback at a time.
class CallbackScope {
 public:
  CallbackScope();
  ~CallbackScope();
  CallbackScope(const CallbackScope&) = delete;
  CallbackScope& operator=(const CallbackScope&) = delete;
};
bool IsInCallback();
// True, with the call reported, while the host's progress callback runs.
bool RefuseInCallback(const char* function);

}  // namespace bravic
