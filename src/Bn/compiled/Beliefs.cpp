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

// Whether the engine can be asked; else an error is posted.
bool BeginUpdate(net_bn net) {
  if (!net->potentialsMade) {
    Report(NET_NOT_COMPILED, net->name);
    return false;
  }
  if (!net->findingsApplied) {
    ResetProbability(net);
    net->findingsApplied = true;
  }
  return true;
}

// What the answer of the engine means for the net.
Update FinishUpdate(net_bn net, engine::Status status) {
  switch (status) {
    case engine::Status::Done:
      net->beliefsCurrent = true;
      return Update::Done;
    case engine::Status::Inconsistent:
      Report(FINDINGS_INCONSISTENT);
      MarkContradicted(net);
      net->caseprob = 0;
      return Update::Contradicted;
    case engine::Status::Vanished:
      Report(NODE_FINDINGS_INCONSISTENT);
      MarkContradicted(net);
      return Update::Contradicted;
    default:
      Post(FailAnswer(status));
      if (status == engine::Status::NoMemory) DropPotentials(net);
      return Update::Failed;
  }
}

// Whether the findings are possible, and no more than that.
Update UpdateQuietly(net_bn net) {
  if (net->beliefsCurrent) return Update::Done;
  if (!BeginUpdate(net)) return Update::Failed;
  HandOverFindings(net);
  const Update result = FinishUpdate(net, CheckFindings(*net->compiled));
  if (result == Update::Done) net->compiled->probabilityKnown = false;
  return result;
}

Update UpdateWithAccount(net_bn net) {
  if (!BeginUpdate(net)) return Update::Failed;
  // What the new findings are compared with, where nobody has asked for it yet.
  engine::Status status = engine::Status::Done;
  if (!net->compiled->probabilityKnown) status = FindProbability(net, Showing::Always);
  HandOverFindings(net);
  if (status == engine::Status::Halted) return FinishUpdate(net, status);
  const double before = net->compiled->logProbability;
  const Update result = FinishUpdate(net, FindProbability(net, Showing::Always));
  if (result == Update::Done) PrintAccount(net, before);
  return result;
}

// Makes caseprob and its logarithm those of all findings.
Update UpdateProbability(net_bn net) {
  const Update result = UpdateQuietly(net);
  if (result != Update::Done || net->compiled->probabilityKnown) return result;
  return FinishUpdate(net, FindProbability(net, Showing::Never));
}

}  // namespace

Update UpdateBeliefs(net_bn net, Account account) {
  const bool tells = account == Account::ToUser && !net->beliefsCurrent && MayInteract();
  return tells ? UpdateWithAccount(net) : UpdateQuietly(net);
}

void AutoUpdate(net_bn net) {
  if (!net->autoupdate || net->beliefsCurrent || IsTakingBack()) return;
  if (net->potentialsMade) {
    UpdateBeliefs(net, Account::ToUser);
  } else {
    Report(NET_NOT_COMPILED_TO_UPDATE, net->name);
  }
}

const float* CurrentBelief(node_bn node) {
  net_bn net = node->innet;
  if (CompiledIndex(*node) < 0 || node->kind != NATURE_NODE) {
    // It has no belief; what is wrong with the net or its findings is reported all the same.
    UpdateQuietly(net);
    return nullptr;
  }
  if (HasBelief(*node)) return node->belief;
  if (!net->beliefsCurrent) {
    if (!BeginUpdate(net)) return nullptr;
    HandOverFindings(net);
    // A belief may be found without the probability of the findings.
    net->compiled->probabilityKnown = false;
  }
  return FinishUpdate(net, FindBelief(node)) == Update::Done ? node->belief : nullptr;
}

double CaseProbability(net_bn net) {
  const Update result = UpdateProbability(net);
  return result == Update::Done ? net->caseprob : result == Update::Contradicted ? 0.0 : -1.0;
}

double CaseLogProbability(net_bn net) {
  const Update result = UpdateProbability(net);
  return result == Update::Done ? net->compiled->logProbability : result == Update::Contradicted ? -INF_DBL : UNDEF_DBL;
}

statetype MostProbableState(node_bn node) {
  const float* belief = CurrentBelief(node);
  int ties;
  return belief && node->numstates > 0 ? LargestState(belief, node->numstates, &ties) : UNDEF_STATE;
}

}  // namespace bravic
