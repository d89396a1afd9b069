#include "Bn/questions/Asked.h"

#include "Basic/Errors.h"
#include "Bn/compiled/Likelihood.h"

namespace bravic {

bool FindNetAsked(std::initializer_list<const nodelist_rec*> lists, net_bn* net) {
  const bnode* first = nullptr;
  for (const nodelist_rec* list : lists) {
    for (const bnode* node : Entries(*list)) {
      if (IsStub(*node)) {
        Report(PLACEHOLDER_FOR_NODE);
        return false;
      }
      if (!first) first = node;
      if (node->innet == first->innet) continue;
      Report(ASKED_OF_TWO_NETS, node->name, first->name);
      return false;
    }
  }
  *net = first ? first->innet : nullptr;
  return true;
}

bool AreOfNet(const nodelist_rec& nodes, const bnode& node) {
  net_bn net;
  if (!FindNetAsked({&nodes}, &net)) return false;
  if (!net || net == node.innet) return true;
  Report(ASKED_OF_TWO_NETS, Entries(nodes)[0]->name, node.name);
  return false;
}

bool HasEngineFinding(const bnode& node) {
  return CompiledIndex(node) >= 0 && (node.kind == NATURE_NODE || node.kind == DECISION_NODE) &&
         (node.evidence != UNDEF_STATE || node.likelihood);
}

bool CheckCompiled(const bnet& net) {
  if (net.potentialsMade) return true;
  Report(NET_NOT_COMPILED, net.name);
  return false;
}

bool CheckHaveBeliefs(std::span<const node_bn> nodes) {
  for (const bnode* node : nodes) {
    if (CompiledIndex(*node) >= 0 && node->kind == NATURE_NODE) continue;
    Report(TARGET_WITHOUT_BELIEFS, node->name);
    return false;
  }
  return true;
}

EngineLoan::EngineLoan(net_bn net) : net_(net) {
  HandOverFindings(net);
  stamp_ = (*this)->Stamp();
  (*this)->SetMaximize(false);
}

// Beliefs that had been read hold as before, to the last bit.
EngineLoan::~EngineLoan() {
  HandOverFindings(net_);
  CompiledNet& compiled = *net_->compiled;
  const unsigned long long stamp = (*this)->Stamp();
  for (node_bn node : compiled.nodes)
    if (node->beliefStamp == stamp_) node->beliefStamp = stamp;
  if (compiled.readStamp == stamp_) compiled.readStamp = stamp;
}

Vector<node_bn> EngineLoan::NodesWithFindings() const {
  Vector<node_bn> found;
  for (node_bn node : net_->compiled->nodes)
    if (HasEngineFinding(*node)) found.push_back(node);
  return found;
}

void EngineLoan::SetState(const bnode& node, statetype state) {
  net_->compiled->staleFindings.Add(node.compiledIndex);
  (*this)->SetState(node.compiledIndex, state);
}

bool EngineLoan::AddState(const bnode& node, statetype state) {
  if (node.evidence != UNDEF_STATE) return node.evidence == state;
  if (!node.likelihood) {
    SetState(node, state);
    return true;
  }
  Vector<engine::WideNumber> weights = LikelihoodWeights(node);
  if (!(weights[state].mantissa > 0)) return false;
  for (statetype s = 0; s < weights.size(); ++s)
    if (s != state) weights[s] = {};
  net_->compiled->staleFindings.Add(node.compiledIndex);
  (*this)->SetLikelihood(node.compiledIndex, weights);
  return true;
}

void EngineLoan::ClearFinding(const bnode& node) {
  net_->compiled->staleFindings.Add(node.compiledIndex);
  (*this)->ClearFinding(node.compiledIndex);
}

void EngineLoan::RestoreFinding(const bnode& node) {
  HandOverFinding(*net_->compiled, node.compiledIndex);
}

bool EngineLoan::Ask(int sweeps, const std::function<engine::Status()>& question, engine::Status* answer) {
  *answer = AskEngine(*net_->compiled, sweeps, question);
  if (*answer == engine::Status::Done || *answer == engine::Status::Inconsistent) return true;
  if (*answer == engine::Status::Vanished)
    Report(NODE_FINDINGS_INCONSISTENT);
  else
    Post(FailAnswer(*answer));
  return false;
}

bool EngineLoan::Ask(int sweeps, const std::function<engine::Status()>& question) {
  engine::Status answer;
  if (!Ask(sweeps, question, &answer)) return false;
  if (answer == engine::Status::Done) return true;
  Report(FINDINGS_INCONSISTENT);
  return false;
}

}  // namespace bravic
