// The console: lines for the user, questions, and the display of long operations. These are nested, and stand on a
// stack with the innermost on top; only that one reports progress. Each report looks at the clock first, so that it may
// be made often, and now and then asks the host and the keyboard whether to stop.
#include "Win_Face/Interaction.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Basic/Callback.h"
#include "Basic/Environ.h"
#include "Basic/ErrorTable.h"
#include "Basic/Memory.h"
#include "Basic/Text.h"
#include "Win_Face/Platform.h"

namespace bravic {

struct Wait {
  int level;  // 0 for an outermost operation
  Wait* parent;
  double startTime;  // calendar seconds
  double estimate;   // of the total, seconds; 0 when unknown
  double lastShown;  // calendar seconds of the last line and the last look for an abort
  char* message;     // owned
  Showing showing;
  bool announced;
  bool progressed;  // a percentage line was printed
};

namespace {

constexpr int WAITS_CHUNK = 32;
constexpr double SHORTEST_BETWEEN_LINES = 0.3, SHORTEST_BETWEEN_LOOKS = 0.1;
constexpr int SECONDS_PER_MINUTE = 60;
constexpr std::size_t LINE_LEN = 1024;

Wait** Waits_fc = nullptr;  // innermost last
int NumWaiting_fc = 0;
bool skipping = false;  // the long operation in hand is abandoned, from the answer to the prompt to its end
int showProgress = 0;
unsigned numHalts = 0;
long (*waitClock)() = CalendarSeconds;
progress_ns hostProgress = nullptr;
void* hostData = nullptr;

void Indent(int level) {
  for (int i = 0; i < level; ++i) PrintToUser("  ");
}

bool IsInnermost(Wait* wait) {
  return BRAVIC_ASSERT(NumWaiting_fc > 0) &&
         BRAVIC_ASSERT_TEXT(wait == Waits_fc[NumWaiting_fc - 1], "wait == Waits_fc[NumWaiting_fc - 1]");
}

void PushWait(Wait* wait) {
  if (NumWaiting_fc % WAITS_CHUNK == 0) {
    const std::size_t count = NumWaiting_fc + WAITS_CHUNK;
    Waits_fc = static_cast<Wait**>(EnsureSize(Waits_fc, count * sizeof(Wait*)));
  }
  Waits_fc[NumWaiting_fc++] = wait;
}

void FreeWait(Wait* wait) {
  Free(wait->message);
  Free(wait);
}

void Announce(Wait* wait) {
  char time[40] = "";
  if (wait->estimate != 0 && wait->estimate < SECONDS_PER_MINUTE) {
    FormatText(time, sizeof time, " %d Secs", static_cast<int>(wait->estimate));
  } else if (wait->estimate != 0) {
    FormatText(time, sizeof time, " %.1f Mins", wait->estimate / SECONDS_PER_MINUTE);
  }
  if (!showProgress || wait->showing == Showing::Never || (!*time && wait->showing != Showing::Always)) return;
  PrintToUser("\n");
  Indent(wait->level);
  PrintToUser("Waiting%s: %s.\n", time, wait->message);
  wait->announced = true;
}

bool HostHalts(const Wait& wait, double fraction) {
  if (!hostProgress) return false;
  const CallbackScope callback;
  return hostProgress(hostData, wait.message, fraction, wait.estimate) != 0;
}

// The next of the accepted characters (NULL: any) from the console; -1 when the console has ended.
int ReadAnswer(const char* accepted) {
  std::fflush(stdout);
  for (;;) {
    const int c = std::getchar();
    if (c == EOF) {
      std::clearerr(stdin);
      return -1;
    }
    if (!accepted || (c && std::strchr(accepted, c))) return c;
  }
}

void ShowMessage(const char* text, int number, int danger, int display) {
  if (display == SOUND_DISPLAY) WarningSound();
  PrintToUser("%s (%s %d)\n", text, DangerName(danger), number < 0 ? -number : number);
}

// What the user decides: to exit ends the process, to skip abandons the operation at hand (1), to proceed goes on (0).
int ShowInternalError(int number, const char* text) {
  if (!MayInteract()) return 0;
  char line[MAX_ERR_LEN + 80];
  FormatText(line, sizeof line, "%s internal error (%d): %s", PRODUCT_NAME, number < 0 ? -number : number, text);
  PrintToUser("\n%s\n", line);
  std::fprintf(stderr, "\n%s\n", line);
  if (currentEnviron->stage != STAGE_STARTED || currentEnviron->hasGUI) return 0;
  PrintToUser("(Exit, Skip, Proceed): ");
  const int answer = ReadAnswer(nullptr);
  const bool proceed = answer < 0 || answer == 'P' || answer == 'p';
  const bool leave = !proceed && answer && std::strchr("EeXx", answer);
  PrintToUser("%s\n\n", proceed ? "PROCEED" : leave ? "EXIT" : "SKIP");
  if (proceed) return 0;
  if (leave) std::exit(number);
  SetMemoryState(MEMORY_LOW);
  skipping = NumWaiting_fc > 0;
  return 1;
}

}  // namespace

bool MayInteract() {
  return currentEnviron && currentEnviron->hasUserInteraction == 1;
}

Wait* StartWait(Showing showing, double estimatedSeconds, const char* format, ...) {
  Wait* wait = NewCleared<Wait>(1);
  wait->parent = NumWaiting_fc ? Waits_fc[NumWaiting_fc - 1] : nullptr;
  wait->level = wait->parent ? wait->parent->level + 1 : 0;
  wait->startTime = wait->lastShown = static_cast<double>(waitClock());
  wait->estimate = estimatedSeconds;
  wait->showing = showing;
  char message[LINE_LEN] = "Operation in progress ..";
  if (format) {
    std::va_list arguments;
    va_start(arguments, format);
    FormatTextV(message, sizeof message, format, arguments);
    va_end(arguments);
  }
  wait->message = DupText(message);
  PushWait(wait);
  Announce(wait);
  return wait;
}

bool ReportProgress(Wait* wait, double fraction, double remainingSeconds) {
  if (!IsInnermost(wait)) return false;
  if (skipping) {
    ++numHalts;
    return true;
  }
  // Whole seconds: at most one line and one look for an abort in each.
  const double now = static_cast<double>(waitClock());
  if (now - wait->lastShown < SHORTEST_BETWEEN_LOOKS) return false;
  const double elapsed = now - wait->startTime;
  // The total follows from what is said to remain, or else from the share that is done.
  if (remainingSeconds > 0) {
    wait->estimate = elapsed + remainingSeconds;
    fraction = elapsed / wait->estimate;
  } else if (fraction > 0) {
    wait->estimate = elapsed / fraction;
  }
  if (fraction > 0 && now - wait->lastShown >= SHORTEST_BETWEEN_LINES && showProgress &&
      wait->showing != Showing::Never) {
    Indent(wait->level);
    PrintToUser("%5.1f %% done.\r", fraction * 100);
    wait->progressed = true;
  }
  wait->lastShown = now;
  const bool halts = HostHalts(*wait, fraction) || UserAborts();
  numHalts += halts;
  return halts;
}

unsigned NumHalts() {
  return numHalts;
}

Failure FailHalted() {
  return Fail(HALTED, currentFunction ? currentFunction : "a long operation");
}

bool LongWork::Look() {
  lookAt_ = done_ + BETWEEN_LOOKS;
  if (!wait_) Begin();
  constexpr double ALMOST_ALL = 0.99;
  return wait_->Progress(total_ > 0 ? std::min(done_ / total_, ALMOST_ALL) : share_);
}

void EndWait(Wait* wait) {
  if (!IsInnermost(wait)) return;
  if (wait->announced || wait->progressed) {
    Indent(wait->level);
    PrintToUser(wait->announced ? "Finished.     \n" : "              \r");
  }
  --NumWaiting_fc;
  FreeWait(wait);
  if (!NumWaiting_fc) {
    Free(Waits_fc);
    Waits_fc = nullptr;
    skipping = false;
  }
}

bool AskYesNo(bool byDefault, const char* format, ...) {
  if (!MayInteract()) return byDefault;
  if (!BRAVIC_ASSERT_TEXT(!currentEnviron->hasGUI, "!env->hasGUI")) return byDefault;
  char question[LINE_LEN];
  std::va_list arguments;
  va_start(arguments, format);
  FormatTextV(question, sizeof question, format, arguments);
  va_end(arguments);
  PrintToUser("%s (%s)? ", question, byDefault ? "YES/no" : "yes/NO");
  const int answer = ReadAnswer("yYoOtT1nNfF0\r\n");
  return byDefault ? !std::strchr("nNfF0", answer) : std::strchr("yYoOtT1", answer) != nullptr;
}

// A line too long for the buffer is formatted a second time, into a block of its length.
void PrintToUser(const char* format, ...) {
  if (!MayInteract()) return;
  char line[LINE_LEN];
  std::va_list arguments;
  va_start(arguments, format);
  const std::size_t length = FormatTextV(line, sizeof line, format, arguments);
  va_end(arguments);
  if (length < sizeof line) {
    std::fputs(line, stdout);
  } else {
    Block<char> whole = MakeBlock<char>(length + 1);
    va_start(arguments, format);
    FormatTextV(whole.get(), length + 1, format, arguments);
    va_end(arguments);
    std::fputs(whole.get(), stdout);
  }
  std::fflush(stdout);
}

bool UserAborts() {
  return AbortGesture();
}

// Unsigned differences are right across the overflow of the tick counter.
void Delay(double seconds) {
  const auto wanted = static_cast<std::uint32_t>(seconds * 1000);
  const std::uint32_t start = TickMilliseconds();
  while (TickMilliseconds() - start < wanted) {
  }
}

void SetWaitClock(long (*clock)()) {
  waitClock = clock ? clock : CalendarSeconds;
}

int* ProgressSetting() {
  return &showProgress;
}

void SetHostProgress(progress_ns report, void* data) {
  hostProgress = report;
  hostData = data;
}

void StartInteraction() {
  SetDisplayHooks(ShowMessage, ShowInternalError);
}

void StopInteraction() {
  while (NumWaiting_fc > 0) FreeWait(Waits_fc[--NumWaiting_fc]);
  Free(Waits_fc);
  Waits_fc = nullptr;
  skipping = false;
  showProgress = 0;
  hostProgress = nullptr;
  hostData = nullptr;
  SetDisplayHooks(nullptr, nullptr);
}

}  // namespace bravic
