// Reporting: what goes wrong becomes an error record in the environment, which hosts read and clear through the error
// functions of bravic.h. ErrorTable.inc says what is reported, ErrorRecords.h how records are kept.
//
// Two ways to report. A site that knows the whole text reports at once (ReportError, ReportWarning, ...). A site
// whose text an outer layer wraps ("can't %s net '%s', because %s") answers a Failure: a detached record that the
// outer layers rephrase on its way up and that the last one posts.
#pragma once

#include <memory>
#include <utility>

#include "Basic/ErrorRecords.h"
#include "Basic/ErrorTable.h"
#include "Basic/Format.h"
#include "bravic.h"

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

// A text of the host's own, as it stands, which may be missing; NULL for one that is too long.
report_ns ReportText(int number, int danger, const char* text);

report_ns Post(Failure failure);

// Internal consistency: a failed check reports CHECK_FAILED (file, line, text) and answers false; the caller goes on or
// abandons its work, as the prompt decided.
bool AssertFailed(const char* file, int line, const char* text);
#define BRAVIC_ASSERT_TEXT(condition, text) \
  (static_cast<bool>(condition) || ::bravic::AssertFailed(__FILE__, __LINE__, text))
#define BRAVIC_ASSERT(condition) BRAVIC_ASSERT_TEXT(condition, #condition)

const char* DangerName(int danger);
void ShowOutstandingErrors(environ_ns env);
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
