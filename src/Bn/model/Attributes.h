// The setters of attributes beneath the exported ones, used by the file reader too. Each answers 0 when it
// changed the record, 1 when the value was already so, and -1 with an error posted and nothing changed.
#pragma once

#include "Bn/model/Levels.h"
#include "Bn/model/Net.h"

namespace bravic {

int SetNetName(net_bn net, const char* name);
int SetNetAutoUpdate(net_bn net, int autoupdate);
int SetNetFindMPE(net_bn net, int findmpe);
// NULL removes it. Else every node of the net but those of ASSUME_NODE kind, each once; such nodes are left out.
// Uncompiles the net.
enum class OrderFrom { Host, FileOrSearch };
int SetNetElimOrder(net_bn net, const nodelist_rec* order, OrderFrom from);
int SetNetTitle(net_bn net, const char* title);  // NULL or "" removes it
int SetNetComment(net_bn net, const char* comment);
int SetNetUser(net_bn net, void* data);

int SetNodeName(node_bn node, const char* name);
int SetKind(node_bn node, int kind);
int SetMeasure(node_bn node, int measure);
int SetStateName(node_bn node, int state, const char* name);
int SetStateNames(node_bn node, const char* const* names);  // [numstates], or NULL for none
int SetLinkName(node_bn node, int index, const char* name);
int SetLinkNames(node_bn node, const char* const* names);  // [number of parents], or NULL for none
int SetNodeTitle(node_bn node, const char* title);
int SetNodeComment(node_bn node, const char* comment);
int SetNodeUser(node_bn node, void* data);
int SetNodeUnits(node_bn node, const char* units);

int FindLink(const bnode& node, const char* name);         // by stored and default link names; -1 when there is none
statetype FindState(const bnode& node, const char* name);  // UNDEF_STATE when there is none
// The state's name, or "#2" in the buffer (of 16) when it has none.
const char* StateText(const bnode& node, statetype state, char* buffer);

}  // namespace bravic
