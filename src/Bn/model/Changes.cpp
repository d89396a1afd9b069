#include "Bn/model/Changes.h"

#include "Bn/model/Lists.h"

namespace bravic {

InferenceHooks inferenceHooks = {};

void Uncompile(net_bn net) {
  if (inferenceHooks.uncompile) inferenceHooks.uncompile(net);
}

void GraphRestored(net_bn net) {
  net->keepsbeliefs = false;
  net->dirty = true;
  Uncompile(net);
}

void GraphChanged(net_bn net) {
  net->orderstate = ORDER_UNKNOWN;
  ClearList(net->elimorder);
  net->elimorder.num = -1;
  net->hasHostOrder = 0;
  GraphRestored(net);
}

void TableRestored(node_bn node) {
  if (!node->innet) return;
  node->innet->dirty = true;
  if (inferenceHooks.tableChanged) inferenceHooks.tableChanged(node);
}

void TableChanged(node_bn node) {
  node->probsokay = -1;
  node->chance = UNKNOWN_CHANCE;
  TableRestored(node);
}

void FindingChanged(node_bn node) {
  node->innet->dirty = true;
  if (inferenceHooks.findingChanged) inferenceHooks.findingChanged(node);
}

}  // namespace bravic
