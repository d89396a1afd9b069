// Talking to a person through the console: progress of long operations (waits), yes/no questions, the prompt
// after an internal error. Also the host's progress callback, which can halt an operation like the abort gesture.
#pragma once

#include "Basic/Errors.h"
#include "bravic.h"

namespace bravic {

struct Wait;

Wait* StartWait(double estimatedSeconds, const char* format, ...) BRAVIC_PRINTF(2, 3);
// Innermost wait only. The answer is true when the user (or the host's callback) asks to stop. Cheap to call
// often: it looks at the clock and returns.
bool ReportProgress(Wait* wait, double fraction, double remainingSeconds);
void EndWait(Wait* wait);

// A wait over a scope.
class WaitScope {
 public:
  explicit WaitScope(const char* what) : wait_(StartWait(0, "%s", what)) {}
  ~WaitScope() { EndWait(wait_); }
  WaitScope(const WaitScope&) = delete;
  WaitScope& operator=(const WaitScope&) = delete;
  bool Progress(double fraction) { return ReportProgress(wait_, fraction, 0); }

 private:
  Wait* wait_;
};

bool AskYesNo(bool byDefault, const char* format, ...) BRAVIC_PRINTF(2, 3);
void PrintToUser(const char* format, ...) BRAVIC_PRINTF(1, 2);
bool UserAborts();
void Delay(double seconds);
// The clock that waits go by, in whole calendar seconds; NULL puts the platform's back.
void SetWaitClock(long (*clock)());
// Whether progress is printed, 0 or 1. Lines appear only where the environment allows user interaction as well.
int* ProgressSetting();
void StartInteraction();
void StopInteraction();

}  // namespace bravic
