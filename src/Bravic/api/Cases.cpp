// Case files, learning, random cases.
#include <cmath>

#include "Basic/Random.h"
#include "Bn/files/CaseFile.h"
#include "Bn/files/CaseWriter.h"
#include "Bn/learn/Learn.h"
#include "Bn/learn/Sample.h"
#include "Bn/model/Lists.h"
#include "Bravic/NetCall.h"

using namespace bravic;

namespace {

// Without checks, a list may be NULL.
std::span<const node_bn> EntriesOf(nodelist_bn nodes) {
  return nodes ? Entries(*nodes) : std::span<const node_bn>();
}

bool CheckUpdating(int number, int updating) {
  if (!ApiCall::Basic() || updating == 0) return true;
  ReportError(number, "argument 'updating' is not 0 (it is %g)", static_cast<double>(updating));
  return false;
}

bool CheckDegree(int number, double degree) {
  if (!ApiCall::Basic() || (degree - degree == 0 && degree != UNDEF_DBL && std::fabs(degree) < INF_DBL)) return true;
  ReportError(number, "argument 'degree' is not a finite number (it is %g)", degree);
  return false;
}

}  // namespace

long BRAVIC_CALL WriteCase_bn(nodelist_bn nodes, filespec_ns file, long idnum, double freq) {
  NetCall call("WriteCase_bn");
  if (!call.HasReserve(-5134) || !call.CheckList(nodes, NetCall::ALLOW_NONE) || !call.CheckFile(file)) return -1;
  if (NetCall::Basic() && idnum < -1) {
    ReportError(-5522, "argument 'ID_num' is less than -1 (it is %ld)", idnum);
    return -1;
  }
  if (NetCall::Basic() && freq != -1 && !(freq >= 0)) {
    ReportError(-5523, "argument 'freq' is less than 0 (it is %g)", freq);
    return -1;
  }
  if (NetCall::Basic() && !CheckFinite("freq", freq)) return -1;
  return WriteCase(EntriesOf(nodes), file, idnum, freq);
}

void BRAVIC_CALL ReadCase_bn(long* caseposn, filespec_ns file, nodelist_bn nodes, long* idnum, double* freq) {
  NetCall call("ReadCase_bn");
  if (!call.HasReserve(-5135) || !call.CheckFile(file)) return;
  if (nodes && !call.CheckList(nodes, NetCall::ALLOW_NONE)) return;
  ReadCase(caseposn, file, EntriesOf(nodes), idnum, freq);
}

void BRAVIC_CALL CaseRevisesProbs_bn(nodelist_bn nodes, int updating, double degree) {
  NetCall call("CaseRevisesProbs_bn");
  if (!call.HasReserve(-5135) || !call.CheckList(nodes, NetCall::ALLOW_NONE)) return;
  if (!CheckUpdating(-5540, updating) || !CheckDegree(-5545, degree)) return;
  LearnFindings(EntriesOf(nodes), degree);
}

void BRAVIC_CALL CaseFileRevisesProbs_bn(filespec_ns file, nodelist_bn nodes, int updating, double degree) {
  NetCall call("CaseFileRevisesProbs_bn");
  if (!call.HasReserve(-5135) || !call.CheckFile(file) || !call.CheckList(nodes, NetCall::ALLOW_NONE)) return;
  if (!CheckUpdating(-5539, updating) || !CheckDegree(-5544, degree)) return;
  LearnFile(file, EntriesOf(nodes), degree);
}

void BRAVIC_CALL FadeProbs_bn(node_bn node, double degree) {
  NetCall call("FadeProbs_bn");
  if (!call.HasReserve(-5135) || !call.CheckNode(node)) return;
  if (NetCall::Basic() && !(degree >= 0 && degree <= 1)) {
    ReportError(-5516, "argument 'degree' is %g, but it should be within 0 to 1 inclusive", degree);
    return;
  }
  if (NetCall::Basic() && !(BaseExperience_bn >= 0)) {
    ReportError(-5517, "global variable 'BaseExperience_bn' is negative (it is %g)", BaseExperience_bn);
    return;
  }
  if (!HasOwnRows(*node)) {
    ReportError(-5518, "node '%s' doesnt have any probability table", node->name);
    return;
  }
  FadeTable(node, degree);
}

long BRAVIC_CALL RandomCase_bn(nodelist_bn nodes, int method, double maxdraws) {
  NetCall call("RandomCase_bn");
  if (!call.HasReserve(-5134) || !call.CheckList(nodes, NetCall::ALLOW_NONE)) return SAMPLE_ERROR;
  if (NetCall::Basic() && method != 0) {
    ReportError(-5541, "argument 'method' is not 0 (it is %d)", method);
    return SAMPLE_ERROR;
  }
  return RandomCase(EntriesOf(nodes), maxdraws);
}

int BRAVIC_CALL GenerateCases_bn(nodelist_bn nodes, long numcases, filespec_ns file, long firstid, double freq,
                                 int append) {
  NetCall call("GenerateCases_bn");
  if (!call.HasReserve(-5134) || !call.CheckList(nodes, NetCall::ALLOW_NONE)) return SAMPLE_ERROR;
  if (NetCall::Basic() && numcases < 0) {
    ReportError(-5546, "argument 'numcases' is less than 0 (it is %ld)", numcases);
    return SAMPLE_ERROR;
  }
  if (!call.CheckFile(file)) return SAMPLE_ERROR;
  if (NetCall::Basic() && !(freq >= 0)) {
    ReportError(-5547, "argument 'freq' is less than 0 (it is %g)", freq);
    return SAMPLE_ERROR;
  }
  if (NetCall::Basic() && !CheckFinite("freq", freq)) return SAMPLE_ERROR;
  return GenerateCases(EntriesOf(nodes), file, {numcases, firstid, freq, append != 0});
}

int BRAVIC_CALL SeedRandom_ns(int seed, environ_ns env) {
  ApiCall call("SeedRandom_ns");
  if (!call.HasReserve(-5250) || !call.CheckEnviron(env)) return -1;
  SeedRandom(seed);
  return 0;
}
