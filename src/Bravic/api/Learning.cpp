// Learning: counts, tables from cases with missing cells, intervals.
#include <algorithm>

#include "Bn/learn/CountCases.h"
#include "Bn/learn/FindIntervals.h"
#include "Bn/learn/LearnEm.h"
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

bool CheckArrays(const NetCall& call, nodelist_bn columns, const statetype* states, long numcases) {
  if (call.IsRefused()) return false;
  if (numcases < 0) {
    Report(NEGATIVE_CASES_TO_INFER, numcases);
    return false;
  }
  if (!states && numcases > 0 && columns->num > 0) {
    Report(NULL_CASE_STATES, numcases);
    return false;
  }
  return true;
}

bool CheckPrior(double prior) {
  if (prior >= 0 && prior <= MOST_COUNT) return true;
  Report(PRIOR_OUT_OF_RANGE, prior);
  return false;
}

bool CheckEmOptions(int maxiterations, double tolerance, double prior) {
  if (maxiterations < 0) {
    Report(NEGATIVE_ITERATIONS, maxiterations);
    return false;
  }
  if (!(tolerance >= 0 && tolerance <= MOST_COUNT)) {
    Report(TOLERANCE_OUT_OF_RANGE, tolerance);
    return false;
  }
  return CheckPrior(prior);
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

long BRAVIC_CALL CountCases_bn(counts_bn counts, nodelist_bn columns, const statetype* states, const double* weights,
                               long numcases) {
  NetCall call("CountCases_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !CheckCounts(call, counts) ||
      !call.CheckList(columns, NetCall::ALLOW_NONE) || !CheckArrays(call, columns, states, numcases))
    return -1;
  const WeightedCases cases{Entries(*columns), states, weights, numcases};
  return CheckCases(cases, counts->net) && CountCases(*counts, cases) ? 0 : -1;
}

long BRAVIC_CALL ExpectCounts_bn(counts_bn counts, nodelist_bn columns, const statetype* states, const double* weights,
                                 long numcases, double* loglikelihood, int numthreads) {
  NetCall call("ExpectCounts_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !CheckCounts(call, counts) ||
      !call.CheckList(columns, NetCall::ALLOW_NONE) || !CheckArrays(call, columns, states, numcases))
    return -1;
  if (numthreads < 0) {
    Report(NEGATIVE_THREADS, numthreads);
    return -1;
  }
  const WeightedCases cases{Entries(*columns), states, weights, numcases};
  return CheckCases(cases, counts->net) ? ExpectCounts(*counts, cases, loglikelihood, numthreads) : -1;
}

int BRAVIC_CALL LearnCounts_bn(counts_bn counts, double prior) {
  NetCall call("LearnCounts_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !CheckCounts(call, counts) || !CheckPrior(prior)) return -1;
  return LearnCounts(*counts, prior) ? 0 : -1;
}

int BRAVIC_CALL LearnTablesEMCases_bn(nodelist_bn columns, const statetype* states, const double* weights,
                                      long numcases, nodelist_bn nodes, int maxiterations, double tolerance,
                                      double prior, double* loglikelihood) {
  NetCall call("LearnTablesEMCases_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckList(columns, NetCall::ALLOW_NONE) ||
      !CheckArrays(call, columns, states, numcases) || !call.CheckList(nodes, NetCall::ALLOW_NONE) ||
      !CheckEmOptions(maxiterations, tolerance, prior))
    return -1;
  return LearnByEm({Entries(*columns), states, weights, numcases}, Entries(*nodes),
                   {maxiterations, tolerance, prior, loglikelihood});
}

int BRAVIC_CALL LearnTablesEM_bn(filespec_ns cases, nodelist_bn nodes, int maxiterations, double tolerance,
                                 double prior, double* loglikelihood) {
  NetCall call("LearnTablesEM_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckFile(cases) || !call.CheckList(nodes, NetCall::ALLOW_NONE) ||
      !CheckEmOptions(maxiterations, tolerance, prior))
    return -1;
  return LearnFileByEm(cases, Entries(*nodes), {maxiterations, tolerance, prior, loglikelihood});
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
