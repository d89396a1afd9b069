#include "Bn/model/Attributes.h"

#include <algorithm>
#include <cstring>

#include "Basic/Format.h"
#include "Basic/Text.h"
#include "Bn/model/Parents.h"
#include "Bn/model/UndoRecord.h"

namespace bravic {
namespace {

bool IsEmpty(const char* text) {
  return !text || !*text;
}

void Touch(net_bn net) {
  if (net) net->dirty = true;
}

// Texts of which none and the empty one are the same value.
int SetText(net_bn net, node_bn node, UndoCode code, char*& field, const char* text) {
  if (EqualText(OrEmpty(field), OrEmpty(text))) return 1;
  ReplaceText(NewUndo(code, net, node), field, IsEmpty(text) ? nullptr : DupText(text));
  Touch(net);
  return 0;
}

int SetNodeText(node_bn node, UndoCode code, NodeField number, char*& field, const char* text) {
  const int answer = SetText(node->innet, node, code, field, text);
  if (answer == 0) node->fields[number] = FIELD_READ;
  return answer;
}

int SetFlag(net_bn net, const char* name, UndoCode code, int& field, int value) {
  if (value == field) return 1;
  if (value != 0 && value != 1) {
    ReportError(-3001,
                "can't change the %s of network '%s' to %d, because %s numbers must be between 0 and 1 inclusive.",
                name, OrEmpty(net->name), value, name);
    return -1;
  }
  Replace(NewUndo(code, net), field, value);
  Touch(net);
  return 0;
}

// The name of entry i of an array that may be absent.
const char* NameAt(char* const* names, int i) {
  return names ? OrEmpty(names[i]) : "";
}

bool SameNames(char* const* present, const char* const* names, int n) {
  for (int i = 0; i < n; i++) {
    if (!EqualText(NameAt(present, i), names ? OrEmpty(names[i]) : "")) return false;
  }
  return true;
}

// Whether an array of names can be a node's: the reason of the first fault is written to the buffer.
bool FitNames(const char* const* names, int n, char* reason, std::size_t size) {
  for (int i = 0; names && i < n; i++) {
    if (IsEmpty(names[i])) continue;
    if (CheckNameText(names[i], reason)) return false;
    for (int k = 0; k < i; k++) {
      if (!EqualText(names[i], OrEmpty(names[k]))) continue;
      FormatText(reason, size, "'%.30s' is used twice (by %d and %d)", names[i], k, i);
      return false;
    }
  }
  return true;
}

char** CopyNames(const char* const* names, int n) {
  if (!names || std::all_of(names, names + n, IsEmpty)) return nullptr;
  auto** copy = static_cast<char**>(AllocateCleared(static_cast<std::size_t>(n), sizeof(char*)));
  for (int i = 0; i < n; i++) copy[i] = IsEmpty(names[i]) ? nullptr : DupText(names[i]);
  return copy;
}

void PutName(UndoRecord* undo, char**& field, int length, int index, const char* name) {
  if (!field) {
    ReplaceTexts(undo, field, static_cast<char**>(AllocateCleared(static_cast<std::size_t>(length), sizeof(char*))));
  }
  ReplaceTextAt(undo, field, index, IsEmpty(name) ? nullptr : DupText(name));
}

}  // namespace

bool FitStateNames(const char* const* names, int numstates, char* reason) {
  return FitNames(names, numstates, reason, NAME_REASON_LEN);
}

char** CopyStateNames(const char* const* names, int numstates) {
  return CopyNames(names, numstates);
}

int SetNetName(net_bn net, const char* name) {
  if (EqualText(net->name, name)) return 1;
  char reason[NAME_REASON_LEN];
  if (CheckNameText(name, reason)) {
    ReportError(-3002, "can't change the name of net %s to '%.80s', because that %s", OrEmpty(net->name), OrEmpty(name),
                reason);
    return -1;
  }
  ReplaceText(NewUndo(UNDO_NET_NAME, net), net->name, DupText(name));
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

int SetNetElimOrder(net_bn net, const nodelist_rec* order) {
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
  ReplaceList(NewUndo(UNDO_ELIM_ORDER, net), net->elimorder, nodes.release(), num);
  if (inferenceHooks.uncompile) inferenceHooks.uncompile(net);
  Touch(net);
  return 0;
}

int SetNetTitle(net_bn net, const char* title) {
  return SetText(net, nullptr, UNDO_NET_TITLE, net->title, title);
}

int SetNetComment(net_bn net, const char* comment) {
  return SetText(net, nullptr, UNDO_NET_COMMENT, net->comment, comment);
}

int SetNetUser(net_bn net, void* data) {
  if (data == net->user) return 1;
  ReplacePointer(NewUndo(UNDO_NET_USER, net), net->user, data);
  return 0;
}

int SetNodeName(node_bn node, const char* name) {
  if (EqualText(node->name, name)) return 1;
  char reason[NAME_REASON_LEN];
  if (CheckNameText(name, reason)) {
    ReportError(-3063, "can't change the name of node %s because new name %s", OrEmpty(node->name), reason);
    return -1;
  }
  if (node->innet && IsNameTaken(node->innet, name)) {
    ReportError(-5512, "name '%s' is already used by another node in net '%s'", name, OrEmpty(node->innet->name));
    return -1;
  }
  ReplaceNodeName(NewUndo(UNDO_NODE_NAME, node->innet, node), node, DupText(name));
  Touch(node->innet);
  return 0;
}

int SetKind(node_bn node, int kind) {
  if (kind == node->kind) return 1;
  if (kind < 0 || kind > ADVERSARY_NODE) {
    ReportError(-3050,
                "can't change the kind of node '%s' to %d, because kind numbers must be between 0 and %d inclusive",
                OrEmpty(node->name), kind, static_cast<int>(ADVERSARY_NODE));
    return -1;
  }
  if (kind == DISCONNECT_NODE) {
    ReportError(-3056,
                "can't change the kind of node '%s' to '%s', because that can only be done by disconnecting links",
                OrEmpty(node->name), KIND_NAMES[DISCONNECT_NODE]);
    return -1;
  }
  if (kind == UTILITY_NODE && node->discrete != CONTINUOUS) {
    ReportError(-3083, "can't change node '%s' to a %s node, because it isn't a %s node", OrEmpty(node->name),
                KIND_NAMES[UTILITY_NODE], DISCRETE_NAMES[CONTINUOUS]);
    return -1;
  }
  net_bn net = node->innet;
  UndoRecord* undo = NewUndo(UNDO_KIND, net, node);
  const bool assumed = kind == ASSUME_NODE || node->kind == ASSUME_NODE;
  Replace(undo, node->kind, kind);
  Replace(undo, node->chance, UNKNOWN_CHANCE);
  node->fields[NODE_KIND] = FIELD_READ;
  if (net && assumed) {
    // Such nodes take no part in compiling: a stored order is that of other nodes now.
    net->noassume = false;
    HoldStructure(undo, net);
    GraphChanged(net);
  }
  NotifyChange(net, node, ChangeCode::Kind);
  return 0;
}

int SetMeasure(node_bn node, int measure) {
  if (measure == node->measure) return 1;
  if (measure < 0 || measure >= NUM_MEASURES) {
    ReportError(
        -3052,
        "can't change the 'measure' indicator of node '%s' to %d, because measure numbers must be between %d and "
        "%d inclusive.",
        OrEmpty(node->name), measure, 0, NUM_MEASURES - 1);
    return -1;
  }
  if (node->discrete == CONTINUOUS && measure < ORDINAL) {
    ReportError(
        -3055,
        "can't change the 'measure' indicator of node '%s' to %d, because it is a %s node, and so its measure must "
        "be at least %s",
        OrEmpty(node->name), measure, DISCRETE_NAMES[CONTINUOUS], MEASURE_NAMES[ORDINAL]);
    return -1;
  }
  Replace(NewUndo(UNDO_MEASURE, node->innet, node), node->measure, measure);
  node->fields[NODE_MEASURE] = FIELD_READ;
  Touch(node->innet);
  return 0;
}

int SetStateName(node_bn node, int state, const char* name) {
  if (EqualText(NameAt(node->states, state), OrEmpty(name))) return 1;
  char reason[NAME_REASON_LEN];
  if (!IsEmpty(name)) {
    if (CheckNameText(name, reason)) {
      ReportError(-3065, "can't change the name of state %d of node %s to '%.80s', because that %s", state,
                  OrEmpty(node->name), name, reason);
      return -1;
    }
    const statetype other = FindState(*node, name);
    if (other != UNDEF_STATE) {
      FormatText(reason, sizeof reason, "is already the name of state %d of node '%.30s'", other, OrEmpty(node->name));
      ReportError(-2231, "'%s' cannot be a state name, because it %s", name, reason);
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
  if (!FitStateNames(names, node->numstates, reason)) {
    ReportError(-3053, "can't change the state names of node '%s', because new %s", OrEmpty(node->name), reason);
    return -1;
  }
  ReplaceTexts(NewUndo(UNDO_STATE_NAMES, node->innet, node), node->states, CopyNames(names, node->numstates));
  node->fields[NODE_STATES] = FIELD_READ;
  Touch(node->innet);
  return 0;
}

int SetLinkName(node_bn node, int index, const char* name) {
  if (EqualText(NameAt(node->inputs, index), OrEmpty(name))) return 1;
  char reason[NAME_REASON_LEN];
  if (!IsEmpty(name)) {
    if (CheckNameText(name, reason)) {
      ReportError(-3070, "can't change the name of link %d of node %s to '%.80s', because that %s", index,
                  OrEmpty(node->name), name, reason);
      return -1;
    }
    const int other = FindLink(*node, name);
    if (other >= 0 && other != index) {
      FormatText(reason, sizeof reason, "is already the name of link %d of node '%.30s'", other, OrEmpty(node->name));
      ReportError(-2002, "'%s' cannot be a link name, because it %s", name, reason);
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
  if (!FitNames(names, node->preds.num, reason, sizeof reason)) {
    ReportError(-3057, "can't change the link names of node '%s', because new %s", OrEmpty(node->name), reason);
    return -1;
  }
  ReplaceTexts(NewUndo(UNDO_LINK_NAMES, node->innet, node), node->inputs, CopyNames(names, node->preds.num));
  node->fields[NODE_INPUTS] = FIELD_READ;
  Touch(node->innet);
  return 0;
}

int SetNodeTitle(node_bn node, const char* title) {
  return SetNodeText(node, UNDO_NODE_TITLE, NODE_TITLE, node->title, title);
}

int SetNodeComment(node_bn node, const char* comment) {
  return SetNodeText(node, UNDO_NODE_COMMENT, NODE_COMMENT, node->comment, comment);
}

int SetNodeUnits(node_bn node, const char* units) {
  return SetNodeText(node, UNDO_MEASURE, NODE_UNITS, node->units, units);
}

int SetNodeUser(node_bn node, void* data) {
  if (data == node->user) return 1;
  ReplacePointer(NewUndo(UNDO_NODE_USER, node->innet, node), node->user, data);
  node->fields[NODE_USER] = FIELD_READ;
  return 0;
}

statetype FindState(const bnode& node, const char* name) {
  for (statetype k = 0; node.states && k < node.numstates; k++) {
    if (!IsEmpty(node.states[k]) && std::strcmp(node.states[k], name) == 0) return k;
  }
  return UNDEF_STATE;
}

int FindLink(const bnode& node, const char* name) {
  char buffer[40];
  for (int i = 0; i < node.preds.num; i++) {
    if (EqualText(LinkName(node, i, buffer), name)) return i;
  }
  return -1;
}

const char* StateText(const bnode& node, statetype state, char* buffer) {
  if (node.states && state >= 0 && state < node.numstates && !IsEmpty(node.states[state])) return node.states[state];
  FormatText(buffer, 16, "#%d", state);
  return buffer;
}

}  // namespace bravic
