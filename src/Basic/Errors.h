// Error records: made by the report functions here, kept newest first in the environment's main group, read and
// cleared by hosts through the error functions of bravic.h.
//
// Two ways to report. A site that knows the whole text reports at once (ReportError, ReportWarning, ...). A site
// whose text an outer layer wraps ("can't %s net '%s', because %s") answers a Failure: a detached record that the
// outer layers rephrase on its way up and that the last one posts.
#pragma once

#include <memory>
#include <utility>

#include "Basic/ErrorTable.h"
#include "Basic/Format.h"
#include "Basic/TypedObject.h"
#include "bravic.h"

struct report_rec {
  bravic::TagWord tag;
  report_ns next;     // the next older record of the same group
  report_ns newer;    // the next newer record of the same group
  report_ns members;  // a group's records, newest first; owned
  report_ns oldest;   // the last of members
  report_ns group;    // the group that holds the record; NULL while detached; the main group holds itself
  environ_ns env;
  int number;            // negative for library errors
  char* mesg;            // owned
  int code;              // result code; -1 when none
  const char* function;  // API function that was running, or NULL; static text
  int displayStatus;
  int firstDanger;
  int danger;  // for a group: the highest among its members
  int fixStatus;
  long time;  // calendar seconds
  int label;
  char* filename;  // owned, or NULL
  int word1, word2;
};

namespace bravic {

inline constexpr int MAX_ERR_LEN = 512;
enum Display { NOT_DISPLAYED, SOUND_DISPLAY, LOG_DISPLAY, DIALOG_DISPLAY };
enum FixStatus { NEEDS_NO_FIX, FIXED, PATCHED, COVERED_UP, STILL_REMAINS, CANT_BE_FIXED };

struct FailureDeleter {
  void operator()(report_ns report) const;
};
// A detached error, owned by its holder; empty means success.
using Failure = std::unique_ptr<report_rec, FailureDeleter>;

constexpr Display DisplayOf(Danger danger) {
  return danger == REPORT_ERR ? LOG_DISPLAY : danger == NOTICE_ERR ? SOUND_DISPLAY : DIALOG_DISPLAY;
}

// What the forms below come to: the row with its arguments, unchecked.
report_ns PostRow(const ErrorRow* row, int display, ...);
int PostInternalRow(const ErrorRow* row, ...);
Failure FailRow(const ErrorRow* row, ...);
Failure FailMemoryRow(const ErrorRow* row, double nbytes, ...);
Failure RephraseRow(Failure failure, const ErrorRow* row, ...);
void PrintFramedRow(const ErrorRow* row, ...);

// Posted at once under the row's number and danger, and shown as its danger is; the answer belongs to the environment.
template <class... Args>
report_ns Report(ErrorFor<std::type_identity_t<Args>...> error, Args... arguments) {
  return PostRow(error.Row(), DisplayOf(error.Row()->danger), arguments...);
}
// The same, shown in another way.
template <class... Args>
report_ns ReportShown(Display display, ErrorFor<std::type_identity_t<Args>...> error, Args... arguments) {
  return PostRow(error.Row(), display, arguments...);
}
// Also shown by the interaction layer. Answers what the prompt decided: 0 proceed, 1 skip.
template <class... Args>
int ReportInternal(ErrorFor<std::type_identity_t<Args>...> error, Args... arguments) {
  return PostInternalRow(error.Row(), arguments...);
}
// A detached record.
template <class... Args>
Failure Fail(ErrorFor<std::type_identity_t<Args>...> error, Args... arguments) {
  return FailRow(error.Row(), arguments...);
}
// The row's text, and behind it " (%g K bytes needed)" when nbytes is above 0.
template <class... Args>
Failure FailMemory(ErrorFor<std::type_identity_t<Args>...> error, double nbytes, Args... arguments) {
  return FailMemoryRow(error.Row(), nbytes, arguments...);
}
// The same failure under a new text, which as a rule embeds the old (failure->mesg).
template <class... Args>
Failure Rephrase(Failure failure, ErrorFor<std::type_identity_t<Args>...> around, Args... arguments) {
  return RephraseRow(std::move(failure), around.Row(), arguments...);
}
// Framed on the standard error stream, for what cannot be recorded.
template <class... Args>
void PrintFramed(ErrorFor<std::type_identity_t<Args>...> error, Args... arguments) {
  PrintFramedRow(error.Row(), arguments...);
}

// Posted at once; the answer belongs to the environment.
report_ns ReportError(int number, const char* format, ...) BRAVIC_PRINTF(2, 3);        // danger 5, displayed
report_ns ReportSilentError(int number, const char* format, ...) BRAVIC_PRINTF(2, 3);  // danger 5
report_ns ReportWarning(int number, const char* format, ...) BRAVIC_PRINTF(2, 3);      // danger 4, displayed
report_ns ReportNotice(int number, const char* format, ...) BRAVIC_PRINTF(2, 3);       // danger 3, with sound
report_ns ReportDanger(int number, int danger, int display, const char* format, ...) BRAVIC_PRINTF(4, 5);
// A text of the host's own, as it stands, which may be missing; NULL for one that is too long.
report_ns ReportText(int number, int danger, const char* text);

Failure Fail(int number, const char* format, ...) BRAVIC_PRINTF(2, 3);         // danger 5
Failure FailWarning(int number, const char* format, ...) BRAVIC_PRINTF(2, 3);  // danger 4
// "not enough memory %s", or "not enough memory %s (%g K bytes needed)" when nbytes is above 0.
Failure FailMemory(int number, double nbytes, const char* purpose);
// The same failure under a new text, which as a rule embeds the old (failure->mesg).
Failure Rephrase(Failure failure, const char* format, ...) BRAVIC_PRINTF(2, 3);
Failure Renumber(Failure failure, int number);
report_ns Post(Failure failure);

// Framed text on the standard error stream, for what cannot be recorded.
void PrintFramed(int number, const char* message);

// Internal consistency: a failed check reports -111 (file, line, text) and answers false; the caller goes on or
// abandons its work, as the prompt decided.
bool AssertFailed(const char* file, int line, const char* text);
#define BRAVIC_ASSERT_TEXT(condition, text) \
  (static_cast<bool>(condition) || ::bravic::AssertFailed(__FILE__, __LINE__, text))
#define BRAVIC_ASSERT(condition) BRAVIC_ASSERT_TEXT(condition, #condition)

const char* DangerName(int danger);
// The newest record, to be compared later: HasErrorSince tells whether one of at least that danger came after it.
report_ns NewestRecord(environ_ns env);
bool HasErrorSince(environ_ns env, report_ns newest, int danger);
// The oldest record of at least the danger, or the next newer one after the given record; its twin goes from the
// newest to older ones. NULL when there is none.
report_ns OldestError(environ_ns env, int danger, report_ns after);
report_ns NewestError(environ_ns env, int danger, report_ns after);
void ShowOutstandingErrors(environ_ns env);
void FreeReport(report_ns report);             // never a permanent record; not one of a group
void ClearReport(report_ns report);            // out of its group and freed; the main group is emptied
void ClearErrors(environ_ns env, int danger);  // every record of at most that danger
// The message headed by the name of the function that was running; belongs to the record.
const char* MessageWithFunction(report_ns report);
report_ns FromResultCode(int code);  // NULL for 0, else the permanent "Error occurred"

void StartErrors(environ_ns env);
void StopErrors(environ_ns env);

// Set by the interaction layer at start-up: shows a message; shows an internal error and answers its decision.
using ShowMessageHook = void (*)(const char* text, int number, int danger, int display);
using InternalErrorHook = int (*)(int number, const char* text);
void SetDisplayHooks(ShowMessageHook show, InternalErrorHook internal);

}  // namespace bravic
