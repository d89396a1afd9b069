#include "Bn/compiled/CompiledNet.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <optional>
#include <utility>

#include "Bn/compiled/Likelihood.h"
#include "Bn/model/Members.h"

namespace bravic {
namespace {

void ForgetPotentials(net_bn net) {
  net->potentialsMade = net->findingsApplied = net->beliefsCurrent = false;
}

}  // namespace

void UncompileNet(net_bn net) {
  if (net->compiled) {
    for (node_bn node : PresentNodes(net)) node->compiledIndex = -1;
    DeleteObject(net->compiled);
    net->compiled = nullptr;
  }
  ForgetPotentials(net);
}

void DropPotentials(net_bn net) {
  if (net->compiled) {
    net->compiled->inference.reset();
    net->compiled->cases.reset();
    net->compiled->filled = false;
  }
  ForgetPotentials(net);
}

void NoteTableChanged(node_bn node) {
  net_bn net = node->innet;
  if (!net || !net->compiled) return;
  net->compiled->cases.reset();
  if (net->compiled->filled) {
    int i = CompiledIndex(*node);
    if (i >= 0) net->compiled->staleTables.Add(i);
  }
  ForgetPotentials(net);
}

void NoteFindingChanged(node_bn node, FindingChange change) {
  net_bn net = node->innet;
  net->dirty = true;
  net->beliefsCurrent = false;
  if (change != FindingChange::Strengthening) net->findingsApplied = false;
  node->beliefStamp = 0;
  int i = CompiledIndex(*node);
  if (i < 0 || !net->compiled->filled) return;
  net->compiled->staleFindings.Add(i);
  net->compiled->allKnown = false;
}

void HandOverFinding(CompiledNet& compiled, int i) {
  const bnode& node = *compiled.nodes[i];
  // A finding of another kind of node is kept for the host, and the engine is not told of it.
  const bool counts = node.kind == NATURE_NODE || node.kind == DECISION_NODE;
  if (counts && node.evidence != UNDEF_STATE) {
    compiled.inference->SetState(i, node.evidence);
  } else if (counts && node.likelihood) {
    compiled.inference->SetLikelihood(i, LikelihoodWeights(node));
  } else {
    compiled.inference->ClearFinding(i);
  }
}

void HandOverFindings(net_bn net) {
  CompiledNet& compiled = *net->compiled;
  for (int i : compiled.staleFindings.members) HandOverFinding(compiled, i);
  compiled.staleFindings.Clear();
  compiled.inference->SetMaximize(net->findmpe != 0);
}

namespace {

// A question to the engine, which may take long. sweeps: how often it passes over the tree.
template <class Question>
engine::Status AskEngine(CompiledNet& compiled, int sweeps, Showing showing, Question question) {
  std::optional<WaitScope> wait;  // begun where it is worth one
  const auto progress = [&wait, showing](double fraction) {
    if (!wait) wait.emplace("Updating beliefs", showing);
    return wait->Progress(fraction);
  };
  compiled.inference->StartLong(std::ref(progress), sweeps);
  const engine::Status status = question();
  return compiled.inference->FinishLong() ? engine::Status::Halted : status;
}

// Counts what is read between two changes of the engine's numbers.
void NoteReading(CompiledNet& compiled, unsigned long long stamp) {
  if (compiled.readStamp != stamp) {
    compiled.wasRead = compiled.numRead > 0;
    compiled.readStamp = stamp;
    compiled.numReadEarlier = std::exchange(compiled.numReadBefore, std::exchange(compiled.numRead, 0));
    compiled.allKnown = false;
  }
  ++compiled.numRead;
}

// Whether a host that has read so many beliefs is likely to read most of them, or has made them dearer one by one than
// one sweep over the tree. Who read most of them only before one of the latest two changes may be asking a question
// between sweeps, until he reads a second one. Small nets, of whose host nothing is known, are swept at once.
bool WorthAll(const CompiledNet& compiled) {
  const int n = compiled.nodes.size();
  const int times = (compiled.numReadBefore > n / 2) + (compiled.numReadEarlier > n / 2);
  return compiled.numRead > n / 4 || times == 2 || (times == 1 && compiled.numRead > 1) ||
         (!compiled.wasRead && compiled.inference->IsSweepSmall()) || compiled.inference->SweepPays();
}

// The node's belief has been found. A probability too small for a normal float would read as possible and yet have lost
// its digits.
void NoteBelief(node_bn node, unsigned long long stamp) {
  for (float& belief : std::span(node->belief, node->numstates))
    if (belief < std::numeric_limits<float>::min()) belief = 0;
  node->beliefStamp = stamp;
}

// What is right already stays as it is, whatever becomes of the rest.
engine::Status FindAllBeliefs(CompiledNet& compiled, unsigned long long stamp) {
  const auto place = [&compiled, stamp](int i) -> float* {
    node_bn node = compiled.nodes[i];
    return node->kind == NATURE_NODE && node->beliefStamp != stamp ? BeliefVector(node) : nullptr;
  };
  constexpr int COLLECT_AND_DISTRIBUTE = 2;
  return AskEngine(compiled, COLLECT_AND_DISTRIBUTE, Showing::Never,
                   [&] { return compiled.inference->AllBeliefs(place); });
}

// The node's vector, or those of all nodes.
engine::Status FillBeliefs(CompiledNet& compiled, node_bn node) {
  const unsigned long long stamp = compiled.inference->Stamp();
  NoteReading(compiled, stamp);
  if (compiled.allKnown) return engine::Status::Done;
  if (WorthAll(compiled)) {
    const engine::Status status = FindAllBeliefs(compiled, stamp);
    compiled.allKnown = status == engine::Status::Done;
    return status;
  }
  const std::span<float> belief(BeliefVector(node), node->numstates);
  return AskEngine(compiled, 1, Showing::Never,
                   [&] { return compiled.inference->Belief(node->compiledIndex, belief); });
}

}  // namespace

engine::TableSource TablesOf(const CompiledNet& compiled) {
  return [&compiled](int i) -> const float* {
    const bnode& node = *compiled.nodes[i];
    return node.kind == UTILITY_NODE ? nullptr : node.probs;
  };
}

engine::Status AskEngine(CompiledNet& compiled, int sweeps, const std::function<engine::Status()>& question) {
  return AskEngine(compiled, sweeps, Showing::WithEstimate, std::cref(question));
}

Failure FailAnswer(engine::Status status) {
  if (status == engine::Status::Halted) return FailHalted();
  Failure failure = FailMemory(NO_MEMORY_FOR_MESSAGES, 0);
  const char* reason = failure->mesg;
  return Rephrase(std::move(failure), AROUND_UPDATING, reason);
}

engine::Status CheckFindings(CompiledNet& compiled) {
  return AskEngine(compiled, 1, Showing::Never, [&] { return compiled.inference->Check(); });
}

engine::Status FindProbability(net_bn net, Showing showing) {
  CompiledNet& compiled = *net->compiled;
  const engine::Status status = AskEngine(compiled, 1, showing, [&] { return compiled.inference->Propagate(); });
  if (status != engine::Status::Done) return status;
  compiled.logProbability = compiled.inference->LogProbability();
  // 0 is kept for a contradiction.
  net->caseprob = std::max(compiled.inference->Probability(), std::numeric_limits<double>::min());
  compiled.probabilityKnown = true;
  return status;
}

engine::Status FindBelief(node_bn node) {
  CompiledNet& compiled = *node->innet->compiled;
  const engine::Status status = FillBeliefs(compiled, node);
  if (status == engine::Status::Done) NoteBelief(node, compiled.inference->Stamp());
  return status;
}

bool HasBelief(const bnode& node) {
  return node.innet->beliefsCurrent && node.beliefStamp == node.innet->compiled->inference->Stamp();
}

// For a state whose belief is 0: that may be too small for a float, or impossible.
bool IsStatePossible(node_bn node, statetype state) {
  CompiledNet& compiled = *node->innet->compiled;
  return compiled.inference->CheckState(node->compiledIndex, state) != engine::Status::Inconsistent;
}

void ResetProbability(net_bn net) {
  net->caseprob = 1.0;
  net->compiled->logProbability = 0;
  net->compiled->probabilityKnown = true;
}

// A node may have got more states since its vector was made.
float* BeliefVector(node_bn node) {
  const std::size_t nbytes = node->numstates * sizeof(float);
  if (!node->belief || BlockSize(node->belief) < nbytes) {
    Free(node->belief);
    node->belief = static_cast<float*>(AllocateCleared(std::max(node->numstates, 1), sizeof(float)));
    node->beliefStamp = 0;
  }
  return node->belief;
}

void SetUnitBelief(node_bn node, statetype state) {
  float* belief = BeliefVector(node);
  std::fill_n(belief, node->numstates, 0.0f);
  belief[state] = 1;
}

}  // namespace bravic
