#include "Bn/model/Attributes.h"

#include <algorithm>
#include <cstring>

#include "Basic/Format.h"
#include "Basic/Text.h"
#include "Bn/model/Changes.h"
#include "Bn/model/Fields.h"
#include "Bn/model/NameLists.h"
#include "Bn/model/NodeNames.h"
#include "Bn/model/Parents.h"
#include "Bn/model/UndoRecord.h"

namespace bravic {
namespace {

void Touch(net_bn net) {
  if (net) net->dirty = true;
}

// Texts of which none and the empty one are the same value. The owner is the net or the node itself.
template <class Record, class Field>
int SetText(net_bn net, Record* owner, Field field, const FieldRow<Record>& row, const char* text) {
  char*& present = owner->*row.text;
  if (EqualText(OrEmpty(present), OrEmpty(text))) return 1;
  ReplaceText(BeginChange(owner, field), present, IsEmptyName(text) ? nullptr : DupText(text));
  Touch(net);
  return 0;
}

int SetNetText(net_bn net, NetField field, const char* text) {
  return SetText(net, net, field, NET_FIELD_TABLE[field], text);
}

int SetNodeText(node_bn node, NodeField field, const char* text) {
  return SetText(node->innet, node, field, NODE_FIELD_TABLE[field], text);
}

int SetFlag(net_bn net, const char* name, UndoCode code, int& field, int value) {
  if (value == field) return 1;
  if (value != 0 && value != 1) {
    Report(NET_FLAG_OUT_OF_RANGE, name, OrEmpty(net->name), value, name);
    return -1;
  }
  Replace(NewUndo(code, net), field, value);
  Touch(net);
  return 0;
}

void PutName(UndoRecord* undo, char**& field, int length, int index, const char* name) {
  if (!field) {
    ReplaceTexts(undo, field, NewCleared<char*>(length));
  }
  ReplaceTextAt(undo, field, index, IsEmptyName(name) ? nullptr : DupText(name));
}

}  // namespace

int SetNetName(net_bn net, const char* name) {
  if (EqualText(net->name, name)) return 1;
  char reason[NAME_REASON_LEN];
  if (CheckNameText(name, reason)) {
    Report(CANT_RENAME_NET, OrEmpty(net->name), OrEmpty(name), reason);
    return -1;
  }
  ReplaceText(BeginChange(net, NET_NAME), net->name, DupText(name));
  Touch(net);
  return 0;
}

int SetNetAutoUpdate(net_bn net, int autoupdate) {
  return SetFlag(net, "autoupdate", UNDO_AUTOUPDATE, net->autoupdate, autoupdate);
}

int SetNetFindMPE(net_bn net, int findmpe) {
  const int answer = SetFlag(net, "find_mpe", UNDO_FIND_MPE, net->findmpe, findmpe);
  if (answer == 0) net->findingsApplied = net->beliefsCurrent = false;
  return answer;
}

int SetNetElimOrder(net_bn net, const nodelist_rec* order, OrderFrom from) {
  Block<node_bn> nodes;
  int num = -1;
  if (order) {
    nodes = MakeBlock<node_bn>(Entries(*order).size());
    num = 0;
    for (node_bn node : Entries(*order)) {
      if (node->kind != ASSUME_NODE) nodes[num++] = node;
    }
  }
  const nodelist_rec& present = net->elimorder;
  if (num == present.num && (num < 0 || std::equal(nodes.get(), nodes.get() + num, present.ar))) return 1;
  UndoRecord* undo = BeginChange(net, NET_ELIMORDER);
  ReplaceList(undo, net->elimorder, nodes.release(), num);
  Replace(undo, net->hasHostOrder, num >= 0 && from == OrderFrom::Host);
  Uncompile(net);
  Touch(net);
  return 0;
}

int SetNetTitle(net_bn net, const char* title) {
  return SetNetText(net, NET_TITLE, title);
}

int SetNetComment(net_bn net, const char* comment) {
  return SetNetText(net, NET_COMMENT, comment);
}

int SetNetUser(net_bn net, void* data) {
  if (data == net->user) return 1;
  ReplacePointer(BeginChange(net, NET_USER), net->user, data);
  return 0;
}

int SetNodeName(node_bn node, const char* name) {
  if (EqualText(node->name, name)) return 1;
  char reason[NAME_REASON_LEN];
  if (CheckNameText(name, reason)) {
    Report(CANT_RENAME_NODE, OrEmpty(node->name), reason);
    return -1;
  }
  if (node->innet && IsNameTaken(node->innet, name)) {
    Report(NAME_ALREADY_USED, name, OrEmpty(node->innet->name));
    return -1;
  }
  ReplaceNodeName(BeginChange(node, NODE_NAME), node, DupText(name));
  Touch(node->innet);
  return 0;
}

int SetKind(node_bn node, int kind) {
  if (kind == node->kind) return 1;
  if (kind < 0 || kind > ADVERSARY_NODE) {
    Report(KIND_OUT_OF_RANGE, OrEmpty(node->name), kind, static_cast<int>(ADVERSARY_NODE));
    return -1;
  }
  if (kind == DISCONNECT_NODE) {
    Report(KIND_TAKES_DISCONNECTING, OrEmpty(node->name), KIND_NAMES[DISCONNECT_NODE]);
    return -1;
  }
  if (kind == UTILITY_NODE && node->discrete != CONTINUOUS) {
    Report(UTILITY_MUST_BE_CONTINUOUS, OrEmpty(node->name), KIND_NAMES[UTILITY_NODE], DISCRETE_NAMES[CONTINUOUS]);
    return -1;
  }
  net_bn net = node->innet;
  UndoRecord* undo = BeginChange(node, NODE_KIND);
  // A node of that kind takes no part in compiling, so becoming or ceasing to be one changes the graph.
  const bool assumed = kind == ASSUME_NODE || node->kind == ASSUME_NODE;
  Replace(undo, node->kind, kind);
  Replace(undo, node->chance, UNKNOWN_CHANCE);
  if (net && assumed) {
    // A stored order is that of other nodes now.
    net->noassume = false;
    HoldStructure(undo, net);
    GraphChanged(net);
  }
  if (net) GraphRestored(net);
  return 0;
}

int SetMeasure(node_bn node, int measure) {
  if (measure == node->measure) return 1;
  if (measure < 0 || measure >= NUM_MEASURES) {
    Report(MEASURE_OUT_OF_RANGE, OrEmpty(node->name), measure, 0, NUM_MEASURES - 1);
    return -1;
  }
  if (node->discrete == CONTINUOUS && measure < ORDINAL) {
    Report(MEASURE_TOO_LOW, OrEmpty(node->name), measure, DISCRETE_NAMES[CONTINUOUS], MEASURE_NAMES[ORDINAL]);
    return -1;
  }
  Replace(BeginChange(node, NODE_MEASURE), node->measure, measure);
  Touch(node->innet);
  return 0;
}

int SetStateName(node_bn node, int state, const char* name) {
  if (EqualText(NameAt(node->states, state), OrEmpty(name))) return 1;
  char reason[NAME_REASON_LEN];
  if (!IsEmptyName(name)) {
    if (CheckNameText(name, reason)) {
      Report(CANT_RENAME_STATE, state, OrEmpty(node->name), name, reason);
      return -1;
    }
    const statetype other = FindState(*node, name);
    if (other != UNDEF_STATE) {
      FormatText(reason, sizeof reason, "is already the name of state %d of node '%.30s'", other, OrEmpty(node->name));
      Report(ILLEGAL_STATE_NAME, name, reason);
      return -1;
    }
  }
  PutName(NewUndo(UNDO_STATE_NAME, node->innet, node), node->states, node->numstates, state, name);
  node->fields[NODE_STATES] = FIELD_READ;
  Touch(node->innet);
  return 0;
}

int SetStateNames(node_bn node, const char* const* names) {
  if (SameNames(node->states, names, node->numstates)) return 1;
  char reason[NAME_REASON_LEN];
  if (!FitNames(names, node->numstates, reason)) {
    Report(CANT_RENAME_STATES, OrEmpty(node->name), reason);
    return -1;
  }
  ReplaceTexts(BeginChange(node, NODE_STATES), node->states, DupAnyNames(names, node->numstates));
  Touch(node->innet);
  return 0;
}

int SetLinkName(node_bn node, int index, const char* name) {
  if (EqualText(NameAt(node->inputs, index), OrEmpty(name))) return 1;
  char reason[NAME_REASON_LEN];
  if (!IsEmptyName(name)) {
    if (CheckNameText(name, reason)) {
      Report(CANT_RENAME_LINK, index, OrEmpty(node->name), name, reason);
      return -1;
    }
    const int other = FindLink(*node, name);
    if (other >= 0 && other != index) {
      FormatText(reason, sizeof reason, "is already the name of link %d of node '%.30s'", other, OrEmpty(node->name));
      Report(ILLEGAL_LINK_NAME, name, reason);
      return -1;
    }
  }
  PutName(NewUndo(UNDO_LINK_NAME, node->innet, node), node->inputs, node->preds.num, index, name);
  node->fields[NODE_INPUTS] = FIELD_READ;
  Touch(node->innet);
  return 0;
}

int SetLinkNames(node_bn node, const char* const* names) {
  if (SameNames(node->inputs, names, node->preds.num)) return 1;
  char reason[NAME_REASON_LEN];
  if (!FitNames(names, node->preds.num, reason)) {
    Report(CANT_RENAME_LINKS, OrEmpty(node->name), reason);
    return -1;
  }
  ReplaceTexts(BeginChange(node, NODE_INPUTS), node->inputs, DupAnyNames(names, node->preds.num));
  Touch(node->innet);
  return 0;
}

int SetNodeTitle(node_bn node, const char* title) {
  return SetNodeText(node, NODE_TITLE, title);
}

int SetNodeComment(node_bn node, const char* comment) {
  return SetNodeText(node, NODE_COMMENT, comment);
}

int SetNodeUnits(node_bn node, const char* units) {
  return SetNodeText(node, NODE_UNITS, units);
}

int SetNodeUser(node_bn node, void* data) {
  if (data == node->user) return 1;
  ReplacePointer(BeginChange(node, NODE_USER), node->user, data);
  return 0;
}

statetype FindState(const bnode& node, const char* name) {
  for (statetype k = 0; node.states && k < node.numstates; ++k) {
    if (!IsEmptyName(node.states[k]) && std::strcmp(node.states[k], name) == 0) return k;
  }
  return UNDEF_STATE;
}

int FindLink(const bnode& node, const char* name) {
  char buffer[40];
  for (int i = 0; i < node.preds.num; ++i) {
    if (EqualText(LinkName(node, i, buffer), name)) return i;
  }
  return -1;
}

const char* StateText(const bnode& node, statetype state, char* buffer) {
  if (node.states && state >= 0 && state < node.numstates && !IsEmptyName(node.states[state]))
    return node.states[state];
  FormatText(buffer, 16, "#%d", state);
  return buffer;
}

}  // namespace bravic
