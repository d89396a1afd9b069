#include "Bn/questions/Asked.h"

#include "Basic/Errors.h"

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

}  // namespace bravic
