#include "Bn/model/Node.h"

#include <ctime>

#include "Bn/model/Fields.h"
#include "Bn/model/Lists.h"
#include "Bn/model/NameLists.h"
#include "Bn/model/Tables.h"

namespace bravic {

node_bn NewNodeRecord(const bnode* source) {
  Owned<bnode> copy = MakeOwned<bnode>();
  node_bn node = copy.get();
  if (!source) return copy.release();
  node->tag = source->tag;
  node->probsokay = source->probsokay;
  node->normalized = source->normalized;
  node->whenchanged = static_cast<unsigned>(std::time(nullptr));
  CopyFields(*source, CopyFor::Node, node);
  if (TryCopyTable(source->probs, node->probs) && TryCopyTable(source->numcases, node->numcases) &&
      TryCopyTable(source->determin, node->determin) && TryCopyTable(source->determinv, node->determinv)) {
    return copy.release();
  }
  FreeNodeRecord(copy.release());
  return nullptr;
}

void FreeNodeRecord(node_bn node) {
  if (!node) return;
  NoteNodeGone(*node);
  FreeNames(node->states);
  FreeNames(node->inputs);
  FreeNames(node->texts);
  FreeTexts(*node);
  Free(node->name);
  for (float* table : {node->probs, node->numcases, node->determinv, node->likelihood, node->belief}) Free(table);
  Free(node->levels);
  Free(node->determin);
  for (nodelist_rec* list : {&node->preds, &node->succs, &node->inherits}) ClearList(*list);
  node->tag = NO_TAG;
  DeleteObject(node);
}

}  // namespace bravic
