#include "Basic/ErrorRecords.h"

#include <algorithm>

#include "Basic/Environ.h"
#include "Basic/ErrorTable.h"
#include "Basic/Memory.h"

namespace bravic {
namespace {

void UnlinkFromGroup(report_ns report) {
  report_ns group = report->group;
  (report->newer ? report->newer->next : group->members) = report->next;
  (report->next ? report->next->newer : group->oldest) = report->newer;
  report->next = report->newer = report->group = nullptr;
}

void ClearDangers(report_ns group, int danger) {
  for (report_ns member = group->members; member;) {
    report_ns next = member->next;
    if (member->danger <= danger) {
      UnlinkFromGroup(member);
      FreeReport(member);
    } else {
      ClearDangers(member, danger);
    }
    member = next;
  }
}

// The record after this one in the depth-first walk towards newer records, groups left out; NULL at the end.
report_ns OldestPlain(report_ns report, int danger);
report_ns NewerFrom(report_ns report, int danger) {
  for (;;) {
    if (report->newer) {
      if (report_ns found = OldestPlain(report->newer, danger)) return found;
      report = report->newer;
    } else {
      report = report->group;
      if (!report || report->group == report) return nullptr;
    }
  }
}

// The record itself, or the oldest plain record in the group that it is; NULL when none matches.
report_ns OldestPlain(report_ns report, int danger) {
  if (report->danger < danger) return nullptr;
  if (!report->members) return report->group == report ? nullptr : report;
  report_ns oldest = report->oldest;
  report_ns found = OldestPlain(oldest, danger);
  while (!found && oldest->newer) {
    oldest = oldest->newer;
    found = OldestPlain(oldest, danger);
  }
  return found;
}

report_ns NewestPlain(report_ns report, int danger) {
  if (report->danger < danger) return nullptr;
  if (!report->members) return report->group == report ? nullptr : report;
  for (report_ns member = report->members; member; member = member->next) {
    if (report_ns found = NewestPlain(member, danger)) return found;
  }
  return nullptr;
}

// Whether a walk at this danger passes the record: it is posted, and neither it nor a group around it is below.
bool WalkPasses(report_ns main, report_ns report, int danger) {
  for (; report && report != main; report = report->group) {
    if (report->danger < danger) return false;
  }
  return report == main;
}

}  // namespace

void LinkIntoGroup(report_ns report, report_ns group) {
  report->group = group;
  report->newer = nullptr;
  report->next = group->members;
  (report->next ? report->next->newer : group->oldest) = report;
  group->members = report;
  for (; group->danger < report->danger; group = group->group) {
    group->danger = report->danger;
    if (!group->group || group->group == group) break;
  }
}

void FreeReport(report_ns report) {
  if (!report || (report->tag & PERMANENT_FLAG)) return;
  EmptyGroup(report);
  if (report->group == report) return;
  report->tag = NO_TAG;
  Free(report);
}

void EmptyGroup(report_ns group) {
  while (report_ns member = group->members) {
    UnlinkFromGroup(member);
    FreeReport(member);
  }
  Free(group->mesg);
  Free(group->filename);
  group->mesg = group->filename = nullptr;
  group->danger = NOTHING_ERR;
}

void ClearReport(report_ns report) {
  report_ns group = report->group;
  if (group == report) {
    EmptyGroup(report);
    return;
  }
  if (group) {
    UnlinkFromGroup(report);
    if (report->danger == group->danger) {
      group->danger = NOTHING_ERR;
      for (report_ns member = group->members; member; member = member->next) {
        group->danger = std::max(group->danger, member->danger);
        if (group->danger == report->danger) break;
      }
    }
  }
  FreeReport(report);
}

void ClearErrors(environ_ns env, int danger) {
  report_ns main = env->errs;
  if (!main) return;
  if (main->danger <= danger) {
    EmptyGroup(main);
  } else {
    ClearDangers(main, danger);
  }
}

report_ns NewestRecord(environ_ns env) {
  return env && env->errs ? env->errs->members : nullptr;
}

bool HasErrorSince(environ_ns env, report_ns newest, int danger) {
  for (report_ns report = NewestRecord(env); report && report != newest; report = report->next) {
    if (report->danger >= danger) return true;
  }
  return false;
}

report_ns OldestError(environ_ns env, int danger, report_ns after) {
  report_ns main = env->errs;
  if (!main || main->danger < danger) return nullptr;
  if (after && after != main && WalkPasses(main, after, danger)) return NewerFrom(after, danger);
  return OldestPlain(main, danger);
}

report_ns NewestError(environ_ns env, int danger, report_ns after) {
  report_ns main = env->errs;
  if (!main || main->danger < danger) return nullptr;
  if (!after || after == main || !WalkPasses(main, after, danger)) return NewestPlain(main, danger);
  for (report_ns report = after; report != main; report = report->group) {
    for (report_ns older = report->next; older; older = older->next) {
      if (report_ns found = NewestPlain(older, danger)) return found;
    }
  }
  return nullptr;
}

}  // namespace bravic
