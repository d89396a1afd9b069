// Case files, learning, random cases.
#include <algorithm>
#include <cmath>
#include <utility>

#include "Basic/Random.h"
#include "Bn/files/CaseFile.h"
#include "Bn/files/CaseWriter.h"
#include "Bn/learn/Learn.h"
#include "Bn/learn/NetOfCases.h"
#include "Bn/learn/Sample.h"
#include "Bn/model/Lists.h"
#include "Bravic/NetCall.h"

using namespace bravic;

namespace {

// Without checks, a list may be NULL.
std::span<const node_bn> EntriesOf(nodelist_bn nodes) {
  return nodes ? Entries(*nodes) : std::span<const node_bn>();
}

bool CheckUpdating(ErrorFor<double> error, int updating) {
  if (!ApiCall::Basic() || updating == 0) return true;
  Report(error, static_cast<double>(updating));
  return false;
}

// Any finite weight: negative ones unlearn.
bool CheckDegree(ErrorFor<double> error, double degree) {
  if (!ApiCall::Basic() || (degree - degree == 0 && degree != UNDEF_DBL && std::fabs(degree) < INF_DBL)) return true;
  Report(error, degree);
  return false;
}

// An offset in a file, as far as doubles count exactly.
bool CheckPosition(const double* position) {
  constexpr double LARGEST = 9007199254740992;
  if (!ApiCall::Basic()) return true;
  if (!position) {
    Report(NULL_POSITION_OF_CASES);
    return false;
  }
  if (*position >= 0 && *position <= LARGEST && *position == std::floor(*position)) return true;
  Report(NO_OFFSET_OF_CASES, *position);
  return false;
}

bool CheckColumnNames(const char* what, const char* const* names, int count) {
  const bool areThere = count == 0 || (names && std::find(names, names + count, nullptr) == names + count);
  if (!areThere) Report(NULL_COLUMN_NAMES, count, what);
  return areThere;
}

bool CheckHow(const net_of_cases_bn* how) {
  if (how->size != sizeof *how) {
    Report(BAD_SIZE_OF_NET_OF_CASES, how->size);
    return false;
  }
  const std::pair<const char*, int> numbers[] = {
      {"maxstates", how->maxstates}, {"numomitted", how->numomitted}, {"numnumbers", how->numnumbers}};
  for (const auto& [what, number] : numbers) {
    if (number >= 0) continue;
    Report(NEGATIVE_IN_NET_OF_CASES, what, number);
    return false;
  }
  return CheckColumnNames("omitted", how->omitted, how->numomitted) &&
         CheckColumnNames("numbers", how->numbers, how->numnumbers);
}

}  // namespace

long BRAVIC_CALL WriteCase_bn(nodelist_bn nodes, filespec_ns file, long idnum, double freq) {
  NetCall call("WriteCase_bn");
  if (!call.HasReserve() || !call.CheckList(nodes, NetCall::ALLOW_NONE) || !call.CheckFile(file)) return -1;
  if (NetCall::Basic() && idnum < -1) {
    Report(ID_BELOW_MINUS_ONE, idnum);
    return -1;
  }
  if (NetCall::Basic() && freq != -1 && !(freq >= 0)) {
    Report(NEGATIVE_FREQUENCY, freq);
    return -1;
  }
  if (NetCall::Basic() && !CheckFinite("freq", freq)) return -1;
  return WriteCase(EntriesOf(nodes), file, idnum, freq);
}

void BRAVIC_CALL ReadCase_bn(long* caseposn, filespec_ns file, nodelist_bn nodes, long* idnum, double* freq) {
  NetCall call("ReadCase_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckFile(file)) return;
  if (nodes && !call.CheckList(nodes, NetCall::ALLOW_NONE)) return;
  ReadCase(caseposn, file, EntriesOf(nodes), idnum, freq);
}

nodelist_bn BRAVIC_CALL CaseFileNodes_bn(filespec_ns file, net_bn net) {
  NetCall call("CaseFileNodes_bn");
  if (!call.HasReserve() || !call.CheckFile(file) || !call.CheckNet(net)) return nullptr;
  return ListCaseNodes(file, net);
}

long BRAVIC_CALL ReadCaseStates_bn(filespec_ns file, nodelist_bn nodes, double* position, long maxcases,
                                   statetype* states, long* idnums, double* freqs) {
  NetCall call("ReadCaseStates_bn");
  if (!call.HasReserve() || !call.CheckFile(file) || !call.CheckList(nodes, NetCall::ALLOW_NONE)) return -1;
  if (!CheckPosition(position)) return -1;
  if (NetCall::Basic() && maxcases < 0) {
    Report(NEGATIVE_ROOM_FOR_CASES, maxcases);
    return -1;
  }
  if (NetCall::Basic() && !states && maxcases > 0 && !EntriesOf(nodes).empty()) {
    Report(NULL_ROOM_FOR_STATES, maxcases);
    return -1;
  }
  return ReadCaseStates(file, EntriesOf(nodes), {position, maxcases, states, idnums, freqs});
}

net_bn BRAVIC_CALL NewNetOfCases_bn(filespec_ns cases, const char* name, const net_of_cases_bn* how) {
  NetCall call("NewNetOfCases_bn");
  if (!call.HasReserve() || !call.CheckFile(cases) || !call.CheckName(name)) return nullptr;
  NetOfCases options;
  if (how) {
    if (!CheckHow(how)) return nullptr;
    if (how->maxstates > 0) options.maxstates = how->maxstates;
    options.omitted = {how->omitted, static_cast<std::size_t>(how->numomitted)};
    options.numbers = {how->numbers, static_cast<std::size_t>(how->numnumbers)};
  }
  return NewNetOfCases(cases, name, options);
}

void BRAVIC_CALL CaseRevisesProbs_bn(nodelist_bn nodes, int updating, double degree) {
  NetCall call("CaseRevisesProbs_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckList(nodes, NetCall::ALLOW_NONE)) return;
  if (!CheckUpdating(UNKNOWN_UPDATING_BY_FINDINGS, updating) || !CheckDegree(DEGREE_OF_FINDINGS_NOT_FINITE, degree))
    return;
  LearnFindings(EntriesOf(nodes), degree);
}

void BRAVIC_CALL CaseFileRevisesProbs_bn(filespec_ns file, nodelist_bn nodes, int updating, double degree) {
  NetCall call("CaseFileRevisesProbs_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckFile(file) || !call.CheckList(nodes, NetCall::ALLOW_NONE))
    return;
  if (!CheckUpdating(UNKNOWN_UPDATING_BY_FILE, updating) || !CheckDegree(DEGREE_OF_FILE_NOT_FINITE, degree)) return;
  LearnFile(file, EntriesOf(nodes), degree);
}

void BRAVIC_CALL FadeProbs_bn(node_bn node, double degree) {
  NetCall call("FadeProbs_bn");
  if (!call.HasReserve(NO_RESERVE_TO_CHANGE) || !call.CheckNode(node)) return;
  if (NetCall::Basic() && !(degree >= 0 && degree <= 1)) {
    Report(FADING_DEGREE_OUT_OF_RANGE, degree);
    return;
  }
  if (NetCall::Basic() && !(BaseExperience_bn >= 0)) {
    Report(NEGATIVE_BASE_EXPERIENCE, BaseExperience_bn);
    return;
  }
  if (!HasOwnRows(*node)) {
    Report(NO_TABLE_TO_FADE, node->name);
    return;
  }
  FadeTable(node, degree);
}

long BRAVIC_CALL RandomCase_bn(nodelist_bn nodes, int method, double maxdraws) {
  NetCall call("RandomCase_bn");
  if (!call.HasReserve() || !call.CheckList(nodes, NetCall::ALLOW_NONE)) return SAMPLE_ERROR;
  if (NetCall::Basic() && method != 0) {
    Report(UNKNOWN_SAMPLING_METHOD, method);
    return SAMPLE_ERROR;
  }
  return RandomCase(EntriesOf(nodes), maxdraws);
}

int BRAVIC_CALL GenerateCases_bn(nodelist_bn nodes, long numcases, filespec_ns file, long firstid, double freq,
                                 int append) {
  NetCall call("GenerateCases_bn");
  if (!call.HasReserve() || !call.CheckList(nodes, NetCall::ALLOW_NONE)) return SAMPLE_ERROR;
  if (NetCall::Basic() && numcases < 0) {
    Report(NEGATIVE_NUMBER_OF_CASES, numcases);
    return SAMPLE_ERROR;
  }
  if (!call.CheckFile(file)) return SAMPLE_ERROR;
  if (NetCall::Basic() && !(freq >= 0)) {
    Report(NEGATIVE_GENERATED_FREQUENCY, freq);
    return SAMPLE_ERROR;
  }
  if (NetCall::Basic() && !CheckFinite("freq", freq)) return SAMPLE_ERROR;
  return GenerateCases(EntriesOf(nodes), file, {numcases, firstid, freq, append != 0});
}

int BRAVIC_CALL SeedRandom_ns(int seed, environ_ns env) {
  ApiCall call("SeedRandom_ns");
  if (!call.HasReserve(NO_RESERVE_TO_SEED) || !call.CheckEnviron(env)) return -1;
  SeedRandom(seed);
  return 0;
}
