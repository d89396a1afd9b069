// Nets and nodes as wholes: making and freeing records, adding nodes to a net and taking them out, the order in
// which a net hands out its nodes, visit marks, fresh names, and what every change of a net does to the things
// derived from it.
#pragma once

#include "Basic/Errors.h"
#include "Bn/model/Lists.h"

namespace bravic {

net_bn NewNetRecord(const char* name, environ_ns env);  // must succeed; whenchanged 0
void FreeNet(net_bn net);                               // NULL is accepted
// A node outside any net; as a copy of source: its tag, what nodes hand on (Fields.h) and its tables, but no name,
// links and findings. NULL when its tables cannot be copied.
node_bn NewNodeRecord(const bnode* source);
void FreeNodeRecord(node_bn node);
// NATURE_NODE, discrete, 2 states, named freshly from the stem ("Node" when NULL), added to the net.
node_bn NewDefaultNode(const char* stem, net_bn net);
// What NewNode_bn does once its arguments are checked. NULL with an error posted.
node_bn NewNode(const char* name, int numstates, net_bn net);

// Recorded as 5000 and 5020 when undo is on. Nodes come named and with their parents (preds) in place, which are told
// of them here. Placeholders keep their names out of the name table.
void AddNodesToNet(net_bn net, std::span<const node_bn> nodes, std::span<const node_bn> stubs);
// Every child of a removed node must be removed with it. The removed nodes belong to the undo record, or are freed.
Failure RemoveNodesFromNet(net_bn net, std::span<const node_bn> nodes, std::span<const node_bn> stubs);
void DeleteNode(node_bn node);  // group 5010: children keep a placeholder
Failure DuplicateNodes(const nodelist_rec& nodes, net_bn destination, nodelist_bn* copies);

node_bn FindInTable(const NameTable& table, const char* name);  // NULL when there is none
void EnterInTable(NameTable& table, node_bn node);              // whose name no node of the table has
node_bn FindNode(net_bn net, const char* name);                 // NULL when there is none
bool IsNameTaken(net_bn net, const char* name);                 // by a node or a define-node
void RenameInTable(node_bn node, char* newname);  // takes the new name, frees nothing; keeps the name table right
void EnterNodeName(net_bn net, node_bn node);
void RemoveNodeName(net_bn net, node_bn node);
// A name that no node of the net has; buffer of MAX_NAME_LEN + 1 or more characters (method 9 needs no net).
void FreshName(const char* stem, net_bn net, int method, char* buffer);

const nodelist_rec& OrderedNodes(net_bn net);  // brings the node order up to date first
const nodelist_rec& PresentNodes(net_bn net);  // as they stand
void CloseUp(net_bn net);                      // closes the holes that deleted nodes have left in its lists
// Takes the present order as it stands when every node comes after its parents but for those on a cycle with it.
void KeepPresentOrder(net_bn net);
int NewMark();  // a fresh visit label

// Tells what depends on a net that it was changed. Graph, Added and Removed do what GraphChanged does, Kind (the kind,
// the discreteness) what GraphRestored does, TablesLost and Table what TableChanged does, Finding calls its hook. The
// numbers are those of the change.
enum class ChangeCode { Graph = 0, Kind = 2, Added = 3, TablesLost = 5, Removed = 6, Table = 7, Finding = 8 };
void NotifyChange(net_bn net, node_bn node, ChangeCode code);
// The graph or the node set changed: node order and elimination order go, and the net is uncompiled.
void GraphChanged(net_bn net);
// A table of the node changed: its caches and the net's potentials go; the junction tree stays.
void TableChanged(node_bn node);
// The same for what undo has put back with its order and caches.
void GraphRestored(net_bn net);
void TableRestored(node_bn node);

// What the compiled side of a net, which stands above the model, is told of changes. It sets the hooks at start-up;
// each is called when the change has been made, and must not change the model.
struct InferenceHooks {
  void (*uncompile)(net_bn net);         // the graph changed, or what nodes take part; also before a net is freed
  void (*tableChanged)(node_bn node);    // of this node only; the others' are as they were
  void (*findingChanged)(node_bn node);  // by undo or redo
};
extern InferenceHooks inferenceHooks;

// Read-only settings kept so on purpose: cycles and double links are allowed with a warning (policy 1).
inline constexpr int CYCLE_POLICY = 1, DOUBLE_LINK_POLICY = 1;
extern node_bn EmptyNode_bn;  // "Empty_Node": belongs to no net and has no links
extern net_bn EmptyNet_bn;
void StartModel();
void StopModel();

}  // namespace bravic
