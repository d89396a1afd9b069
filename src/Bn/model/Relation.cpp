#include "Bn/model/Relation.h"

#include "Bn/model/Changes.h"
#include "Bn/model/UndoRecord.h"

namespace bravic {

void InstallRelation(node_bn node, const Relation& relation) {
  if (relation.probs == node->probs && relation.numcases == node->numcases && relation.determin == node->determin &&
      relation.determinv == node->determinv && relation.normalized == node->normalized) {
    return;
  }
  UndoRecord* undo = NewUndo(UNDO_RELATION, node->innet, node);
  ReplaceTables(undo, node, relation.probs, relation.numcases, relation.determin, relation.determinv,
                relation.normalized);
  TableChanged(node);
}

}  // namespace bravic
