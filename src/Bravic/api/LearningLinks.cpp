// Learning links.
#include "Bn/learn/LearnLinks.h"
#include "Bn/model/Lists.h"
#include "Bravic/NetCall.h"

using namespace bravic;

namespace {

bool CheckArrays(const statetype* states, long numcases, nodelist_bn columns) {
  if (!NetCall::Basic()) return true;
  if (numcases < 0) {
    Report(NEGATIVE_LINK_CASES, numcases);
    return false;
  }
  if (!states && numcases > 0 && columns->num > 0) {
    Report(NULL_ROOM_FOR_ANSWER, "states");
    return false;
  }
  return true;
}

// The nodes that options name.
bool CheckOptions(NetCall& call, const learn_links_bn* how) {
  learn_links_bn options;
  if (Failure failure = CopyOptions(how, &options)) {
    Post(std::move(failure));
    return false;
  }
  if (options.target && !call.CheckNode(options.target)) return false;
  for (nodelist_bn list : {options.requiredfrom, options.requiredto, options.forbiddenfrom, options.forbiddento})
    if (list && !call.CheckList(list, NetCall::ALLOW_DUPLICATES)) return false;
  return true;
}

}  // namespace

int BRAVIC_CALL LearnLinksCases_bn(nodelist_bn columns, const statetype* states, const double* weights, long numcases,
                                   nodelist_bn nodes, const learn_links_bn* how, double* score) {
  NetCall call("LearnLinksCases_bn");
  if (!call.HasReserve() || !call.CheckList(columns, NetCall::ALLOW_NONE) || !CheckArrays(states, numcases, columns) ||
      !call.CheckList(nodes, NetCall::ALLOW_NONE) || !CheckOptions(call, how))
    return -1;
  const LinkCases cases = {Entries(*columns), states, weights, numcases};
  return LearnLinks({&cases, nullptr}, Entries(*nodes), how, score);
}

int BRAVIC_CALL LearnLinks_bn(filespec_ns cases, nodelist_bn nodes, const learn_links_bn* how, double* score) {
  NetCall call("LearnLinks_bn");
  if (!call.HasReserve() || !call.CheckFile(cases) || !call.CheckList(nodes, NetCall::ALLOW_NONE) ||
      !CheckOptions(call, how))
    return -1;
  return LearnLinks({nullptr, cases}, Entries(*nodes), how, score);
}

double BRAVIC_CALL ScoreLinksCases_bn(nodelist_bn columns, const statetype* states, const double* weights,
                                      long numcases, nodelist_bn nodes, int score, double prior) {
  NetCall call("ScoreLinksCases_bn");
  if (!call.HasReserve() || !call.CheckList(columns, NetCall::ALLOW_NONE) || !CheckArrays(states, numcases, columns) ||
      !call.CheckList(nodes, NetCall::ALLOW_NONE))
    return UNDEF_DBL;
  const LinkCases cases = {Entries(*columns), states, weights, numcases};
  return ScoreLinks({&cases, nullptr}, Entries(*nodes), score, prior);
}

double BRAVIC_CALL ScoreLinks_bn(filespec_ns cases, nodelist_bn nodes, int score, double prior) {
  NetCall call("ScoreLinks_bn");
  if (!call.HasReserve() || !call.CheckFile(cases) || !call.CheckList(nodes, NetCall::ALLOW_NONE)) return UNDEF_DBL;
  return ScoreLinks({nullptr, cases}, Entries(*nodes), score, prior);
}
