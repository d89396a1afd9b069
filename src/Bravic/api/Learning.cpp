// Learning: counts, intervals.
#include <algorithm>

#include "Bn/learn/CaseCounts.h"
#include "Bn/learn/FindIntervals.h"
#include "Bn/model/Lists.h"
#include "Bravic/NetCall.h"

using namespace bravic;

namespace {

// Whether the record is one of counts, and its nodes are what they were.
bool CheckCounts(const NetCall& call, counts_bn counts) {
  if (call.IsRefused()) return false;
  if (NetCall::Basic() && !counts) {
    Report(NULL_COUNTS);
    return false;
  }
  if (NetCall::Basic() && !IsRecord(counts, COUNTS_TAG)) {
    Report(DAMAGED_COUNTS);
    return false;
  }
  if (AreCurrent(*counts)) return true;
  Report(STALE_COUNTS);
  return false;
}

bool CheckValues(const void* values) {
  if (values || !NetCall::Basic()) return true;
  Report(NULL_ROOM_FOR_ANSWER, "values");
  return false;
}

}  // namespace

counts_bn BRAVIC_CALL NewCounts_bn(nodelist_bn nodes) {
  NetCall call("NewCounts_bn");
  if (!call.HasReserve() || !call.CheckList(nodes, NetCall::ALLOW_NONE)) return nullptr;
  return NewCounts(Entries(*nodes));
}

int BRAVIC_CALL AddCounts_bn(counts_bn counts, counts_bn more) {
  NetCall call("AddCounts_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !CheckCounts(call, counts) || !CheckCounts(call, more)) return -1;
  if (!HaveSameNodes(*counts, *more)) {
    Report(COUNTS_OF_OTHER_NODES);
    return -1;
  }
  AddToCounts(*counts, more->values.get());
  return 0;
}

long BRAVIC_CALL CountsSize_bn(counts_bn counts) {
  NetCall call("CountsSize_bn");
  if (!call.HasReserve() || !CheckCounts(call, counts)) return -1;
  return counts->size;
}

int BRAVIC_CALL GetCounts_bn(counts_bn counts, double* values) {
  NetCall call("GetCounts_bn");
  if (!call.HasReserve() || !CheckCounts(call, counts) || !CheckValues(values)) return -1;
  std::copy_n(counts->values.get(), counts->size, values);
  return 0;
}

int BRAVIC_CALL SetCounts_bn(counts_bn counts, const double* values) {
  NetCall call("SetCounts_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !CheckCounts(call, counts) || !CheckValues(values)) return -1;
  for (long i = 0; i < counts->size; ++i) {
    if (values[i] >= 0 && values[i] - values[i] == 0) continue;
    Report(COUNT_NOT_FINITE, i, values[i]);
    return -1;
  }
  std::transform(values, values + counts->size, counts->values.get(),
                 [](double value) { return std::min(value, MOST_COUNT); });
  return 0;
}

void BRAVIC_CALL FreeCounts_bn(counts_bn counts) {
  NetCall call("FreeCounts_bn");
  if (!counts || call.IsRefused()) return;
  if (NetCall::Basic() && !IsRecord(counts, COUNTS_TAG)) {
    Report(DAMAGED_COUNTS);
    return;
  }
  FreeCounts(counts);
}

namespace {

struct IntervalArguments {
  const double* values;
  const int* classes;
  long numvalues;
  int method, mostbins;
  double* bounds;
};

bool CheckIntervals(const IntervalArguments& arguments) {
  if (!ApiCall::Basic()) return true;
  const char* missing = arguments.numvalues > 0 && !arguments.values                             ? "values"
                        : arguments.numvalues > 0 && arguments.method == 2 && !arguments.classes ? "classes"
                        : !arguments.bounds                                                      ? "bounds"
                                                                                                 : nullptr;
  if (missing) {
    Report(NULL_VALUES_TO_CUT, missing);
  } else if (arguments.numvalues < 0) {
    Report(NO_INTERVALS_ALLOWED, "numvalues", arguments.numvalues, 0L);
  } else if (arguments.method < 0 || arguments.method > 2) {
    Report(UNKNOWN_CUT_METHOD, arguments.method);
  } else if (arguments.mostbins < 1) {
    Report(NO_INTERVALS_ALLOWED, "mostbins", static_cast<long>(arguments.mostbins), 1L);
  } else {
    return true;
  }
  return false;
}

}  // namespace

long BRAVIC_CALL FindIntervals_bn(const double* values, const int* classes, long numvalues, int method, int mostbins,
                                  double* bounds) {
  NetCall call("FindIntervals_bn");
  if (!call.HasReserve() || !CheckIntervals({values, classes, numvalues, method, mostbins, bounds})) return -1;
  return FindIntervals({values, static_cast<std::size_t>(numvalues)}, classes, method, mostbins, bounds);
}
