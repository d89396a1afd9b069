#include "Bn/compiled/CompiledNet.h"

#include "Bn/compiled/Likelihood.h"
#include "Bn/model/Net.h"

namespace bravic {
namespace {

void ForgetPotentials(net_bn net) {
  net->potentialsMade = net->findingsApplied = net->beliefsCurrent = false;
}

}  // namespace

int CompiledIndex(const bnode& node) {
  const CompiledNet* compiled = node.innet ? node.innet->compiled : nullptr;
  if (!compiled || node.compiledIndex < 0 || node.compiledIndex >= compiled->nodes.size()) return -1;
  return compiled->nodes[node.compiledIndex] == &node ? node.compiledIndex : -1;
}

void UncompileNet(net_bn net) {
  if (net->compiled) {
    for (node_bn node : PresentNodes(net)) node->compiledIndex = node->homecliq = -1;
    DeleteObject(net->compiled);
    net->compiled = nullptr;
  }
  ForgetPotentials(net);
}

void DropPotentials(net_bn net) {
  if (net->compiled) {
    net->compiled->inference.reset();
    net->compiled->filled = false;
  }
  ForgetPotentials(net);
}

void NoteTableChanged(node_bn node) {
  net_bn net = node->innet;
  if (!net || !net->compiled) return;
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

void HandOverFindings(net_bn net) {
  CompiledNet& compiled = *net->compiled;
  for (int i : compiled.staleFindings.members) {
    const bnode& node = *compiled.nodes[i];
    bool counts = node.kind == NATURE_NODE || node.kind == DECISION_NODE;
    if (counts && node.evidence != UNDEF_STATE) {
      compiled.inference->SetState(i, node.evidence);
    } else if (counts && node.likelihood) {
      compiled.inference->SetLikelihood(i, LikelihoodWeights(node));
    } else {
      compiled.inference->ClearFinding(i);
    }
  }
  compiled.staleFindings.Clear();
}

}  // namespace bravic
