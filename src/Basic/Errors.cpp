// Makes error records, puts them into the environment's groups and has them shown. A failure is a record in nobody's
// group yet: whoever meets it hands it up, adds where it happened, and in the end posts it or drops it. Before start-up
// is complete there may be nobody who will look at records, so what is posted is printed to the standard error stream
// too.
#include "Basic/Errors.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>

#include "Basic/Environ.h"
#include "Basic/ErrorTable.h"
#include "Basic/Memory.h"
#include "Basic/Text.h"

namespace bravic {
namespace {

constexpr int LABEL_WARNING_AT = 2047483647, LABEL_WRAPS_AT = 2147483547;
constexpr int MAX_SHOWN_OUTSTANDING = 4;
constexpr const char* DANGER_NAMES[] = {"xxx", "false alert", "report", "notice", "warning", "error", "internal error"};

// Made at start-up, detached, never freed before close.
report_ns errorOccurred, noActionRequired, actionAborted, generalFailure, internalFailure;

ShowMessageHook showMessage;
InternalErrorHook showInternalError;
bool reportingInternal = false;

bool FullyStarted(environ_ns env) {
  return env && env->stage == STAGE_STARTED;
}

// A copy, cut to the length that hosts may rely on.
char* NewMessage(const char* text) {
  char* copy = DupText(text);
  if (copy && std::strlen(copy) >= MAX_ERR_LEN) copy[MAX_ERR_LEN - 1] = 0;
  return copy;
}

// Labels tell records apart for hosts; they begin again before they overflow.
int NextLabel(environ_ns env) {
  const int label = env->errorLabel++;
  if (env->errorLabel == LABEL_WARNING_AT) {
    Report(REPORT_LABELS_RECYCLED);
  }
  if (env->errorLabel >= LABEL_WRAPS_AT) env->errorLabel = 1;
  return label;
}

void FillRecord(report_ns report, int number, int danger, const char* text) {
  Free(report->mesg);
  Free(report->filename);
  report->filename = nullptr;
  report->number = number;
  report->firstDanger = report->danger = danger;
  report->fixStatus = STILL_REMAINS;
  report->code = -1;
  report->mesg = NewMessage(text);
  report->function = currentFunction;
  report->displayStatus = NOT_DISPLAYED;
}

report_ns NewRecord(environ_ns env, int number, int danger, const char* text) {
  report_ns report = NewCleared<report_rec>(1);
  report->tag = REPORT_TAG;
  report->env = env;
  report->time = static_cast<long>(std::time(nullptr));
  report->label = NextLabel(env);
  FillRecord(report, number, danger, text);
  return report;
}

void WriteFramed(int number, const char* message) {
  std::fprintf(stderr, "\n*********\n%s (error %d)\n*********\n", message, std::abs(number));
  std::fflush(stderr);
}

void PrintIfNotStarted(environ_ns env, int number, const char* text) {
  if (FullyStarted(env)) return;
  char framed[MAX_ERR_LEN + 128];
  if (currentFunction) {
    FormatText(framed, sizeof framed, "%s: %s", currentFunction, OrEmpty(text));
    text = framed;
  }
  WriteFramed(number, OrEmpty(text));
}

void LinkNew(report_ns report, report_ns group) {
  if (BRAVIC_ASSERT_TEXT(group != report, "group != err")) LinkIntoGroup(report, group);
}

// Whether and how a record whose number was displayed before is shown again.
enum class Showing { Nothing, InFull, AsMore };
Showing HowToShow(const report_rec& report) {
  environ_ns env = report.env;
  if (env->repetitionMode == 3) return Showing::InFull;
  if (env->repetitionMode != 1 && env->repetitionMode != 2) return Showing::Nothing;
  int earlier = 0;
  for (report_ns other = env->errs ? env->errs->members : nullptr; other; other = other->next) {
    earlier += other != &report && other->number == report.number && other->danger >= FALSE_ALERT &&
               other->displayStatus == DIALOG_DISPLAY;
  }
  if (!earlier) return Showing::InFull;
  return env->repetitionMode == 2 && earlier == 1 ? Showing::AsMore : Showing::Nothing;
}

void DisplayRecord(report_ns report, int display) {
  if (!display || !showMessage || report->env->hasUserInteraction != 1) return;
  const Showing showing = HowToShow(*report);
  if (showing == Showing::Nothing) return;
  char message[MAX_ERR_LEN];
  CopyText(message, report->mesg ? report->mesg : DangerName(report->danger), MAX_ERR_LEN - 1);
  message[0] = static_cast<char>(AsciiUpper(static_cast<unsigned char>(message[0])));
  char text[MAX_ERR_LEN + 160];
  const char* function = report->function;
  const char *before = OrEmpty(function), *colon = function ? ": " : "";
  if (showing == Showing::InFull) {
    FormatText(text, sizeof text, "%s%s%s", before, colon, message);
  } else {
    FormatText(text, sizeof text, "%s%sMore %ss of the form: %s", before, colon, DangerName(report->danger), message);
  }
  showMessage(text, report->number, report->danger, display);
  report->displayStatus = std::max(report->displayStatus, display);
}

// The group that new records go to, or NULL (then the main group's own record is used again).
report_ns PostRecord(int number, int danger, int display, const char* text) {
  environ_ns env = currentEnviron;
  PrintIfNotStarted(env, number, text);
  if (!env || !env->errs) return internalFailure;
  report_ns report = env->errs;
  if (env->currentGroup) {
    report = NewRecord(env, number, danger, text);
    LinkNew(report, env->currentGroup);
  } else {
    FillRecord(report, number, danger, text);
  }
  DisplayRecord(report, display);
  return report;
}

// False, after an assertion, for a text that is too long for a record.
bool FormatMessage(char* text, const char* format, std::va_list arguments) {
  return BRAVIC_ASSERT_TEXT(FormatTextV(text, MAX_ERR_LEN, format, arguments) < MAX_ERR_LEN, "nch < MAX_ERR_LEN");
}

report_ns PostFormatted(int number, int danger, int display, const char* format, std::va_list arguments) {
  char text[MAX_ERR_LEN];
  if (!FormatMessage(text, format, arguments)) return internalFailure;
  return PostRecord(number, danger, display, text);
}

Failure DetachedRecord(int number, int danger, const char* text) {
  if (!BRAVIC_ASSERT_TEXT(currentEnviron && currentEnviron->errs, "env && env->errs")) return nullptr;
  return Failure(NewRecord(currentEnviron, number, danger, text));
}

Failure MakeDetached(int number, int danger, const char* format, std::va_list arguments) {
  if (!BRAVIC_ASSERT_TEXT(currentEnviron && currentEnviron->errs, "env && env->errs")) return nullptr;
  char text[MAX_ERR_LEN];
  FormatMessage(text, format, arguments);  // what is too long is cut, so that the failure is not lost
  return Failure(NewRecord(currentEnviron, number, danger, text));
}

report_ns MakePermanent(environ_ns env, int danger, const char* text) {
  report_ns report = NewRecord(env, 0, danger, text);
  report->tag |= PERMANENT_FLAG;
  return report;
}

void FreePermanent(report_ns* report) {
  if (*report) (*report)->tag &= TAG_MASK;
  FreeReport(*report);
  *report = nullptr;
}

// "ReadNetFormat_bn: ...": a library on top of this one heads its texts by the functions of its own.
bool StartsWithFunction(std::string_view text) {
  const std::size_t colon = text.find(": ");
  const std::string_view name = text.substr(0, std::min(colon, text.size()));
  return colon != text.npos && name.find(' ') == name.npos && (name.ends_with("_bn") || name.ends_with("_ns"));
}

}  // namespace

const char* MessageWithFunction(report_ns report) {
  if (!report->function) return OrEmpty(report->mesg);
  if (report->mesg && (StartsWithNoCase(report->mesg, report->function) || StartsWithFunction(report->mesg)))
    return report->mesg;
  const char* old = report->mesg ? report->mesg : DangerName(report->danger);
  const std::size_t size = std::strlen(report->function) + std::strlen(old) + 3;
  char* rebuilt = static_cast<char*>(Allocate(size));
  FormatText(rebuilt, size, "%s: %s", report->function, old);
  char* first = rebuilt + std::strlen(report->function) + 2;
  *first = static_cast<char>(AsciiUpper(static_cast<unsigned char>(*first)));
  Free(report->mesg);
  return report->mesg = rebuilt;
}

report_ns PostRow(const ErrorRow* row, int display, ...) {
  std::va_list arguments;
  va_start(arguments, display);
  report_ns report = PostFormatted(row->number, row->danger, display, row->text, arguments);
  va_end(arguments);
  return report;
}

// An internal error met while one is being reported would go round for ever, so it is passed over.
int PostInternalRow(const ErrorRow* row, ...) {
  if (reportingInternal) return 0;
  reportingInternal = true;
  std::va_list arguments;
  va_start(arguments, row);
  char text[MAX_ERR_LEN];
  FormatTextV(text, sizeof text, row->text, arguments);
  va_end(arguments);
  const int number = row->number;
  PostRecord(number, INTERNAL_ERR, DIALOG_DISPLAY, text);
  const int decision = showInternalError ? showInternalError(number, text) : 0;
  reportingInternal = false;
  return decision;
}

void FailureDeleter::operator()(report_ns report) const {
  FreeReport(report);
}

Failure FailRow(const ErrorRow* row, ...) {
  std::va_list arguments;
  va_start(arguments, row);
  Failure failure = MakeDetached(row->number, row->danger, row->text, arguments);
  va_end(arguments);
  return failure;
}

Failure FailMemoryRow(const ErrorRow* row, double nbytes, ...) {
  std::va_list arguments;
  va_start(arguments, nbytes);
  char text[MAX_ERR_LEN];
  const std::size_t length = FormatTextV(text, sizeof text, row->text, arguments);
  va_end(arguments);
  if (nbytes > 0 && length < sizeof text) {
    FormatText(text + length, sizeof text - length, " (%g K bytes needed)", nbytes / 1024);
  }
  return DetachedRecord(row->number, row->danger, text);
}

Failure RephraseRow(Failure failure, const ErrorRow* row, ...) {
  if (!BRAVIC_ASSERT_TEXT(failure != nullptr, "err")) return failure;
  std::va_list arguments;
  va_start(arguments, row);
  char text[MAX_ERR_LEN];
  FormatTextV(text, sizeof text, row->text, arguments);
  va_end(arguments);
  Free(failure->mesg);
  failure->mesg = DupText(text);
  return failure;
}

void PrintFramedRow(const ErrorRow* row, ...) {
  std::va_list arguments;
  va_start(arguments, row);
  char text[MAX_ERR_LEN];
  FormatTextV(text, sizeof text, row->text, arguments);
  va_end(arguments);
  WriteFramed(row->number, text);
}

report_ns Post(Failure failure) {
  report_ns report = failure.release();
  if (!report) return nullptr;
  PrintIfNotStarted(report->env, report->number, report->mesg);
  LinkNew(report, report->env->currentGroup ? report->env->currentGroup : report->env->errs);
  if (report->displayStatus < DIALOG_DISPLAY) DisplayRecord(report, DIALOG_DISPLAY);
  return report;
}

bool AssertFailed(const char* file, int line, const char* text) {
  // The name of the file alone: where it was built tells a host nothing.
  const char* base = file;
  for (const char* at = file; *at; ++at) {
    if (*at == '/' || *at == '\\') base = at + 1;
  }
  ReportInternal(CHECK_FAILED, base, line, text);
  return false;
}

const char* DangerName(int danger) {
  return 0 <= danger && danger <= INTERNAL_ERR ? DANGER_NAMES[danger] : DANGER_NAMES[0];
}

// The oldest first, since later errors are often consequences; those beyond a few are only mentioned.
void ShowOutstandingErrors(environ_ns env) {
  if (!env || !env->errs) return;
  int shown = 0;
  for (report_ns report = env->errs->oldest; report; report = report->newer) {
    if (MemoryState() == MEMORY_LOW) break;
    if (report->displayStatus != NOT_DISPLAYED || report->danger < ERROR_ERR || report->fixStatus <= FIXED) continue;
    if (shown == MAX_SHOWN_OUTSTANDING) {
      PostRecord(MORE_ERRORS_NOT_SHOWN.number, report->danger, DIALOG_DISPLAY, MORE_ERRORS_NOT_SHOWN.text);
      break;
    }
    DisplayRecord(report, DIALOG_DISPLAY);
    ++shown;
  }
  ClearErrors(env, ERROR_ERR);
}

report_ns FromResultCode(int code) {
  if (!code) return nullptr;
  errorOccurred->code = code;
  errorOccurred->danger = code < 0 ? ERROR_ERR : REPORT_ERR;
  return errorOccurred;
}

void StartErrors(environ_ns env) {
  env->errorLabel = 0;
  report_ns main = NewRecord(env, 0, NOTHING_ERR, nullptr);
  main->group = main;
  env->errs = env->currentGroup = main;
  errorOccurred = MakePermanent(env, ERROR_ERR, "Error occurred");
  noActionRequired = MakePermanent(env, REPORT_ERR, "No action required");
  actionAborted = MakePermanent(env, ERROR_ERR, "Action aborted");
  generalFailure = MakePermanent(env, ERROR_ERR, "General failure");
  internalFailure = MakePermanent(env, INTERNAL_ERR, "Internal failure");
  env->errorLabel = 1;
  reportingInternal = false;
}

void StopErrors(environ_ns env) {
  report_ns main = env->errs;
  if (!main) return;
  ClearErrors(env, INTERNAL_ERR);
  for (report_ns* report : {&errorOccurred, &noActionRequired, &actionAborted, &generalFailure, &internalFailure}) {
    FreePermanent(report);
  }
  BRAVIC_ASSERT_TEXT(!main->mesg, "!maingroup->mesg");
  BRAVIC_ASSERT_TEXT(!main->filename, "!maingroup->filename");
  EmptyGroup(main);
  main->group = nullptr;
  FreeReport(main);
  env->errs = env->currentGroup = nullptr;
}

report_ns ReportText(int number, int danger, const char* text) {
  if (text && !BRAVIC_ASSERT_TEXT(std::strlen(text) < MAX_ERR_LEN, "nch < MAX_ERR_LEN")) return nullptr;
  return PostRecord(number, danger, DIALOG_DISPLAY, text);
}

void SetDisplayHooks(ShowMessageHook show, InternalErrorHook internal) {
  showMessage = show;
  showInternalError = internal;
}

}  // namespace bravic
