#include "Bn/compiled/Changes.h"

#include "Bn/compiled/Beliefs.h"
#include "Bn/compiled/CompiledNet.h"
#include "Bn/model/Changes.h"

namespace bravic {
namespace {

// Undo and redo put findings back one by one. Findings entered by calls tell of themselves (Findings.h).
void FindingRestored(node_bn node) {
  if (!node->innet) return;
  NoteFindingChanged(node, FindingChange::Other);
  AutoUpdate(node->innet);
}

}  // namespace

void ListenToChanges() {
  inferenceHooks = {UncompileNet, NoteTableChanged, FindingRestored};
}

}  // namespace bravic
