#include "Bn/compiled/Beliefs.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <optional>
#include <utility>

#include "Bn/compiled/Compile.h"
#include "Bn/model/NodeOrder.h"
#include "Bn/model/Tables.h"
#include "Bn/model/Undo.h"
#include "Win_Face/Interaction.h"

namespace bravic {

float* BeliefVector(node_bn node) {
  std::size_t nbytes = static_cast<std::size_t>(node->numstates) * sizeof(float);
  if (!node->belief || BlockSize(node->belief) < nbytes) {
    Free(node->belief);
    node->belief = static_cast<float*>(AllocateCleared(static_cast<std::size_t>(std::max(node->numstates, 1)),  //
                                                       sizeof(float)));
    node->beliefStamp = 0;
  }
  return node->belief;
}

void SetUnitBelief(node_bn node, statetype state) {
  float* belief = BeliefVector(node);
  std::fill_n(belief, node->numstates, 0.0f);
  belief[state] = 1;
}

statetype LargestState(const float* belief, int numstates, int* ties) {
  statetype best = 0;
  for (statetype s = 1; s < numstates; ++s) {
    if (belief[s] > belief[best]) best = s;
  }
  *ties = static_cast<int>(std::count(belief, belief + numstates, belief[best])) - 1;
  return best;
}

// The probability of the configuration in which each node has its state39, by the nodes' tables; a marker when one
// of the entries is a marker.
static double ConfigurationProbability(net_bn net) {
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

static void PrintMostProbable(net_bn net) {
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
  if (probability == static_cast<double>(IMPOS_PROB)) {
    PrintToUser("The most probable configuration is one for which an \"impossible\" (x) probability was declared.\n");
  } else if (probability == static_cast<double>(UNDEF_PROB)) {
    PrintToUser("The most probable configuration is one for which not all probabilities were defined.\n");
  } else {
    PrintToUser("The probability of the most probable configuration is %g %%.\n", 100 * probability);
  }
}

// From here on every update has to apply the findings again, so that each reports what this one did.
static void MarkContradicted(net_bn net) {
  net->findingsApplied = net->beliefsCurrent = false;
}

// Whether a host that has read so many beliefs is likely to read most of them, or has made them dearer one by one than
// one sweep over the tree.
static bool WorthAll(const CompiledNet& compiled) {
  int n = compiled.nodes.size();
  return compiled.numRead > n / 4 || compiled.numReadBefore > n / 2 || compiled.inference->SweepPays();
}

// A question to the engine, which may take long. sweeps: how often it passes over the tree.
template <class Question>
static engine::Status AskEngine(CompiledNet& compiled, int sweeps, Showing showing, Question question) {
  std::optional<WaitScope> wait;  // begun where it is worth one
  const auto progress = [&wait, showing](double fraction) {
    if (!wait) wait.emplace("Updating beliefs", showing);
    return wait->Progress(fraction);
  };
  compiled.inference->StartLong(std::ref(progress), sweeps);
  const engine::Status status = question();
  return compiled.inference->FinishLong() ? engine::Status::Halted : status;
}

static engine::Status Propagate(CompiledNet& compiled, Showing showing) {
  return AskEngine(compiled, 1, showing, [&] { return compiled.inference->Propagate(); });
}

// The node's belief, or all of them.
static engine::Status ComputeBelief(CompiledNet& compiled, node_bn node, int i) {
  unsigned long long stamp = compiled.inference->Stamp();
  if (compiled.readStamp != stamp) {
    compiled.readStamp = stamp;
    compiled.numReadBefore = std::exchange(compiled.numRead, 0);
    compiled.allKnown = false;
  }
  ++compiled.numRead;
  if (!compiled.allKnown && WorthAll(compiled)) {
    // What is right already stays as it is, whatever becomes of the rest.
    const auto place = [&](int other) -> float* {
      node_bn to = compiled.nodes[other];
      return to->kind == NATURE_NODE && to->beliefStamp != stamp ? BeliefVector(to) : nullptr;
    };
    engine::Status status =
        AskEngine(compiled, 2, Showing::Never, [&] { return compiled.inference->AllBeliefs(place); });
    compiled.allKnown = status == engine::Status::Done;
    if (!compiled.allKnown && status != engine::Status::Vanished) return status;
  }
  if (compiled.allKnown) return engine::Status::Done;
  const std::span<float> belief(BeliefVector(node), static_cast<std::size_t>(node->numstates));
  return AskEngine(compiled, 1, Showing::Never, [&] { return compiled.inference->Belief(i, belief); });
}

// The engine's probability of the findings that it has been given.
static void TakeProbability(net_bn net) {
  CompiledNet& compiled = *net->compiled;
  compiled.logProbability = compiled.inference->LogProbability();
  // 0 is kept for a contradiction.
  net->caseprob = std::max(compiled.inference->Probability(), std::numeric_limits<double>::min());
  compiled.probabilityKnown = true;
}

// Hands the findings over, so that the engine can be asked.
static bool PrepareUpdate(net_bn net, bool printing) {
  if (!net->potentialsMade) {
    ReportError(-2077, "can't update beliefs because network '%s' hasn't been recently compiled", net->name);
    return false;
  }
  CompiledNet& compiled = *net->compiled;
  if (!net->findingsApplied) {
    net->caseprob = 1.0;
    compiled.logProbability = 0;
    compiled.probabilityKnown = true;
    net->findingsApplied = true;
  }
  // What the new findings are compared with, where nobody has asked for it yet.
  engine::Status before = engine::Status::Done;
  if (printing && !compiled.probabilityKnown) {
    before = Propagate(compiled, Showing::Always);
    if (before == engine::Status::Done) TakeProbability(net);
  }
  HandOverFindings(net);
  compiled.inference->SetMaximize(net->findmpe != 0);
  if (before == engine::Status::Halted) Post(FailHalted());
  return before != engine::Status::Halted;
}

static int FinishUpdate(net_bn net, engine::Status status) {
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

int UpdateBeliefs(net_bn net, bool printing) {
  if (net->beliefsCurrent) return BELIEFS_UPDATED;
  printing = printing && UserOutput();
  if (!PrepareUpdate(net, printing)) return BELIEFS_FAILED;
  CompiledNet& compiled = *net->compiled;
  int result =
      FinishUpdate(net, printing ? Propagate(compiled, Showing::Always)
                                 : AskEngine(compiled, 1, Showing::Never, [&] { return compiled.inference->Check(); }));
  if (result != BELIEFS_UPDATED) return result;
  double before = compiled.logProbability;
  compiled.probabilityKnown = false;
  if (!printing) return result;
  TakeProbability(net);
  if (net->findmpe) {
    PrintMostProbable(net);
  } else {
    PrintToUser("Probability of new evidence = %g %%, of all evidence = %g %%.\n",
                100 * std::exp(compiled.logProbability - before), 100 * net->caseprob);
  }
  return result;
}

void AutoUpdate(net_bn net) {
  if (!net->autoupdate || net->beliefsCurrent || IsTakingBack()) return;
  if (net->potentialsMade) {
    UpdateBeliefs(net, true);
  } else {
    ReportNotice(-2135, "can't update beliefs, because network '%s' hasn't been recently compiled", net->name);
  }
}

const float* CurrentBelief(node_bn node) {
  net_bn net = node->innet;
  int i = CompiledIndex(*node);
  if (i < 0 || node->kind != NATURE_NODE) {
    UpdateBeliefs(net, false);
    return nullptr;
  }
  if (net->beliefsCurrent && node->beliefStamp == net->compiled->inference->Stamp()) return node->belief;
  if (!net->beliefsCurrent) {
    if (!PrepareUpdate(net, false)) return nullptr;
    net->compiled->probabilityKnown = false;
  }
  CompiledNet& compiled = *net->compiled;
  if (FinishUpdate(net, ComputeBelief(compiled, node, i)) != BELIEFS_UPDATED) return nullptr;
  // A probability too small for a normal float would read as possible and yet have lost its digits.
  for (int s = 0; s < node->numstates; ++s) {
    if (node->belief[s] < std::numeric_limits<float>::min()) node->belief[s] = 0;
  }
  node->beliefStamp = compiled.inference->Stamp();
  return node->belief;
}

// Makes caseprob and its logarithm those of all findings.
static int UpdateProbability(net_bn net) {
  int result = UpdateBeliefs(net, false);
  if (result == BELIEFS_UPDATED && !net->compiled->probabilityKnown) {
    result = FinishUpdate(net, Propagate(*net->compiled, Showing::Never));
    if (result == BELIEFS_UPDATED) TakeProbability(net);
  }
  return result;
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
