// Talking to a person through the console: progress of long operations (waits), yes/no questions, the prompt
// after an internal error. Also the host's progress callback, which can halt an operation like the abort gesture.
#pragma once

#include <optional>

#include "Basic/Errors.h"
#include "bravic.h"

namespace bravic {

struct Wait;

// What of a wait a person sees: the title when it is to take some time, the title at once, or nothing at all (where the
// caller promises silence).
enum class Showing { WithEstimate, Always, Never };
Wait* StartWait(Showing showing, double estimatedSeconds, const char* format, ...) BRAVIC_PRINTF(3, 4);
// Innermost wait only. The answer is true when the user (or the host's callback) asks to stop. Cheap to call
// often: it looks at the clock and returns.
bool ReportProgress(Wait* wait, double fraction, double remainingSeconds);
void EndWait(Wait* wait);

// How many operations were halted so far: to see whether one within a call was.
unsigned NumHalts();
// HALTED, by the name of the exported function now running.
Failure FailHalted();

// A wait over a scope. Once halted it stays so.
class WaitScope {
 public:
  explicit WaitScope(const char* what, Showing showing = Showing::Always) : wait_(StartWait(showing, 0, "%s", what)) {}
  ~WaitScope() { EndWait(wait_); }
  WaitScope(const WaitScope&) = delete;
  WaitScope& operator=(const WaitScope&) = delete;
  bool Progress(double fraction) { return halted_ = halted_ || ReportProgress(wait_, fraction, 0); }
  bool IsHalted() const { return halted_; }

 private:
  Wait* wait_;
  bool halted_ = false;
};

// Work in small steps, of which only some look at the clock. Its wait begins with the first of those, so that what is
// over at once costs nothing. A unit of work takes some nanoseconds.
class LongWork {
 public:
  // what must outlive it. total: units in all, about; 0 where the share done is told from time to time.
  LongWork(const char* what, double total, Showing showing) : what_(what), total_(total), showing_(showing) {}
  static constexpr double BETWEEN_LOOKS = 1 << 18;
  void Begin() { wait_.emplace(what_, showing_); }  // the wait, at once
  void SetShare(double share) { share_ = share; }
  // True once it is halted.
  bool Halts(double units) {
    done_ += units;
    return done_ < lookAt_ ? IsHalted() : Look();
  }
  bool IsHalted() const { return wait_ && wait_->IsHalted(); }

 private:
  bool Look();

  const char* what_;
  double total_, share_ = 0, done_ = 0, lookAt_ = BETWEEN_LOOKS;
  Showing showing_;
  std::optional<WaitScope> wait_;
};

bool MayInteract();  // whether there is a person to print to and to ask
bool AskYesNo(bool byDefault, const char* format, ...) BRAVIC_PRINTF(2, 3);
void PrintToUser(const char* format, ...) BRAVIC_PRINTF(1, 2);
bool UserAborts();
void Delay(double seconds);
// The clock that waits go by, in whole calendar seconds; NULL puts the platform's back.
void SetWaitClock(long (*clock)());
// Whether progress is printed, 0 or 1. Lines appear only where the environment allows user interaction as well.
int* ProgressSetting();
// The host's progress function, NULL for none, and what is handed to it.
void SetHostProgress(progress_ns report, void* data);
void StartInteraction();
void StopInteraction();

}  // namespace bravic
