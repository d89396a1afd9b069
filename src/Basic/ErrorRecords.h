// Error records and how they are kept: newest first in groups, in a main group of the environment. A group is a record
// with members; its danger is the highest among theirs. A group may be the member of another one.
#pragma once

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

void LinkIntoGroup(report_ns report, report_ns group);  // as its newest; never into itself
void FreeReport(report_ns report);                      // never a permanent record; not one of a group
void ClearReport(report_ns report);                     // out of its group and freed; the main group is emptied
void ClearErrors(environ_ns env, int danger);           // every record of at most that danger
void EmptyGroup(report_ns group);                       // the members, freed, and the group's own texts
// The newest record, to be compared later: HasErrorSince tells whether one of at least that danger came after it.
report_ns NewestRecord(environ_ns env);
bool HasErrorSince(environ_ns env, report_ns newest, int danger);
// The oldest record of at least the danger, or the next newer one after the given record; its twin goes from the
// newest to older ones. NULL when there is none.
report_ns OldestError(environ_ns env, int danger, report_ns after);
report_ns NewestError(environ_ns env, int danger, report_ns after);

}  // namespace bravic
