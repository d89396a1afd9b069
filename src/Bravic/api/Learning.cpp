// Learning: counts.
#include <algorithm>

#include "Bn/learn/CaseCounts.h"
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
