#include "Bn/compiled/Beliefs.h"

#include <algorithm>
#include <cmath>

#include "Bn/compiled/CompiledNet.h"
#include "Bn/model/NodeOrder.h"
#include "Bn/model/Tables.h"
#include "Bn/model/Undo.h"
#include "Win_Face/Interaction.h"

namespace bravic {
namespace {

// The state of largest belief, the first of equals; ties: how many others equal it.
statetype LargestState(const float* belief, int numstates, int* ties) {
  statetype best = 0;
  for (statetype s = 1; s < numstates; ++s) {
    if (belief[s] > belief[best]) best = s;
  }
  *ties = -1;
  for (statetype s = 0; s < numstates; ++s) *ties += belief[s] == belief[best];
  return best;
}

// The probability of the configuration in which each node has its state39, by the nodes' tables; a marker when one
// of the entries is a marker.
double ConfigurationProbability(net_bn net) {
  double product = 1;
  Vector<statetype> states;
  for (node_bn node : OrderedNodes(net)) {
    if (node->kind == ASSUME_NODE || !node->probs) continue;
    states.clear();
    for (node_bn parent : Entries(node->preds)) states.push_back(parent->state39);
    float entry = node->probs[RowIndex(*node, states.data()) * node->numstates + node->state39];
    if (entry == IMPOS_PROB || entry == UNDEF_PROB) return entry;
    product *= entry;
  }
  return product;
}

// Where the largest belief of every node is unique, these states are the most probable configuration.
void PrintMostProbable(net_bn net) {
  int allTies = 0;
  for (node_bn node : OrderedNodes(net)) {
    if (node->kind == ASSUME_NODE) continue;
    const float* belief = CurrentBelief(node);
    if (!belief || node->numstates == 0) return;
    int ties;
    node->state39 = LargestState(belief, node->numstates, &ties);
    allTies += ties;
  }
  if (allTies >= 2) {
    PrintToUser("Multiple configurations are possible (add artificial \"findings\" to break ties).\n");
    return;
  }
  double probability = ConfigurationProbability(net);
  if (probability == IMPOS_PROB) {
    PrintToUser("The most probable configuration is one for which an \"impossible\" (x) probability was declared.\n");
  } else if (probability == UNDEF_PROB) {
    PrintToUser("The most probable configuration is one for which not all probabilities were defined.\n");
  } else {
    PrintToUser("The probability of the most probable configuration is %g %%.\n", 100 * probability);
  }
}

// Of an update that found the probability of the findings; before: the logarithm of what it was.
void PrintAccount(net_bn net, double before) {
  if (net->findmpe) {
    PrintMostProbable(net);
  } else {
    PrintToUser("Probability of new evidence = %g %%, of all evidence = %g %%.\n",
                100 * std::exp(net->compiled->logProbability - before), 100 * net->caseprob);
  }
}

// The findings contradict each other: every update from here on applies them again, and so reports the same.
void MarkContradicted(net_bn net) {
  net->findingsApplied = net->beliefsCurrent = false;
}

// Hands the findings over, so that the engine can be asked. False with an error posted.
bool PrepareUpdate(net_bn net, Account account) {
  if (!net->potentialsMade) {
    ReportError(-2077, "can't update beliefs because network '%s' hasn't been recently compiled", net->name);
    return false;
  }
  if (!net->findingsApplied) {
    ResetProbability(net);
    net->findingsApplied = true;
  }
  // What the new findings are compared with, where nobody has asked for it yet.
  engine::Status before = engine::Status::Done;
  if (account == Account::ToUser && !net->compiled->probabilityKnown) before = FindProbability(net, Showing::Always);
  HandOverFindings(net);
  if (before == engine::Status::Halted) Post(FailHalted());
  return before != engine::Status::Halted;
}

// What the answer of the engine means for the net: an UpdateResult, those below 0 with an error posted.
int FinishUpdate(net_bn net, engine::Status status) {
  switch (status) {
    case engine::Status::Done:
      net->beliefsCurrent = true;
      return BELIEFS_UPDATED;
    case engine::Status::Inconsistent:
      ReportError(-2078, "according to this model, the evidence entered is inconsistent");
      MarkContradicted(net);
      net->caseprob = 0;
      return BELIEFS_CONTRADICTED;
    case engine::Status::Vanished:
      ReportError(-777, "according to this model, the evidence entered is inconsistent");
      MarkContradicted(net);
      return BELIEFS_CONTRADICTED;
    case engine::Status::Halted:
      Post(FailHalted());
      return BELIEFS_FAILED;
    default: {
      Failure failure = FailMemory(-2009, 0, "for the messages of the junction tree");
      const char* reason = failure->mesg;
      Post(Rephrase(std::move(failure), "couldn't update beliefs because %s", reason));
      DropPotentials(net);
      return BELIEFS_FAILED;
    }
  }
}

// Makes caseprob and its logarithm those of all findings.
int UpdateProbability(net_bn net) {
  const int result = UpdateBeliefs(net, Account::None);
  if (result != BELIEFS_UPDATED || net->compiled->probabilityKnown) return result;
  return FinishUpdate(net, FindProbability(net, Showing::Never));
}

}  // namespace

int UpdateBeliefs(net_bn net, Account account) {
  if (net->beliefsCurrent) return BELIEFS_UPDATED;
  if (!MayInteract()) account = Account::None;
  if (!PrepareUpdate(net, account)) return BELIEFS_FAILED;
  CompiledNet& compiled = *net->compiled;
  const double before = compiled.logProbability;
  if (account == Account::None) {
    const int result = FinishUpdate(net, CheckFindings(compiled));
    if (result == BELIEFS_UPDATED) compiled.probabilityKnown = false;
    return result;
  }
  const int result = FinishUpdate(net, FindProbability(net, Showing::Always));
  if (result == BELIEFS_UPDATED) PrintAccount(net, before);
  return result;
}

void AutoUpdate(net_bn net) {
  if (!net->autoupdate || net->beliefsCurrent || IsTakingBack()) return;
  if (net->potentialsMade) {
    UpdateBeliefs(net, Account::ToUser);
  } else {
    ReportNotice(-2135, "can't update beliefs, because network '%s' hasn't been recently compiled", net->name);
  }
}

const float* CurrentBelief(node_bn node) {
  net_bn net = node->innet;
  if (CompiledIndex(*node) < 0 || node->kind != NATURE_NODE) {
    // It has no belief; what is wrong with the net or its findings is reported all the same.
    UpdateBeliefs(net, Account::None);
    return nullptr;
  }
  if (HasBelief(*node)) return node->belief;
  if (!net->beliefsCurrent) {
    if (!PrepareUpdate(net, Account::None)) return nullptr;
    // A belief may be found without the probability of the findings.
    net->compiled->probabilityKnown = false;
  }
  return FinishUpdate(net, FindBelief(node)) == BELIEFS_UPDATED ? node->belief : nullptr;
}

double CaseProbability(net_bn net) {
  int result = UpdateProbability(net);
  return result == BELIEFS_UPDATED ? net->caseprob : result == BELIEFS_CONTRADICTED ? 0.0 : -1.0;
}

double CaseLogProbability(net_bn net) {
  int result = UpdateProbability(net);
  return result == BELIEFS_UPDATED        ? net->compiled->logProbability
         : result == BELIEFS_CONTRADICTED ? -INF_DBL
                                          : UNDEF_DBL;
}

statetype MostProbableState(node_bn node) {
  const float* belief = CurrentBelief(node);
  int ties;
  return belief && node->numstates > 0 ? LargestState(belief, node->numstates, &ties) : UNDEF_STATE;
}

}  // namespace bravic
