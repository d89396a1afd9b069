// The records of the network model: net, node, placeholder and node list. Plain data; the other headers of this folder
// have what may be done to them. A placeholder (`stub`) has the layout of a node and differs only in its tag.
#pragma once

#include "Basic/Memory.h"
#include "Basic/NumberText.h"
#include "Basic/SymbolTable.h"
#include "Basic/TypedObject.h"
#include "Bn/model/FieldList.h"
#include "bravic.h"

struct nodelist_rec {
  bravic::TagWord tag = bravic::NODELIST_TAG;
  node_bn* ar = nullptr;  // owned; its allocated size is the list's capacity
  int num = 0;            // entries in use; -1 where the field's comment says "none"

  // Views over the entries in use.
  node_bn* begin() const { return ar; }
  node_bn* end() const { return ar + (num > 0 ? num : 0); }
};

namespace bravic {

struct SpareRecord;
struct UndoRecord;
struct CompiledNet;  // Bn/compiled/CompiledNet.h: junction tree, potentials and messages of the engine

enum Discreteness { CONTINUOUS, DISCRETE, UNKNOWN_DISCRETE };
enum Measure { NOMINAL, LOCAL, ORDINAL, INTERVAL, RATIO, UNKNOWN_MEASURE };
enum Chance { INVERTABLE, DETERMIN, CHANCE, GAUSSIAN, UNKNOWN_CHANCE };
inline constexpr int NUM_KINDS = 7, NUM_DISCRETES = 3, NUM_MEASURES = 6, NUM_CHANCES = 5;
extern const char* const KIND_NAMES[NUM_KINDS];
extern const char* const DISCRETE_NAMES[NUM_DISCRETES];
extern const char* const MEASURE_NAMES[NUM_MEASURES];
extern const char* const CHANCE_NAMES[NUM_CHANCES];

// The fields, by which undo, comparison and files know them; Fields.h has what is said of each.
#define NET_FIELD(id, name, value, traits, undo) NET_##id,
enum NetField { BRAVIC_NET_FIELDS(NET_FIELD) NUM_NET_FIELDS };
#undef NET_FIELD
#define NODE_FIELD(id, name, value, traits, undo) NODE_##id,
enum NodeField { BRAVIC_NODE_FIELDS(NODE_FIELD) NUM_NODE_FIELDS };
#undef NODE_FIELD

// How a field of a node came from its file; what a host sets later is FIELD_READ.
enum FieldStatus : unsigned char { FIELD_ABSENT, FIELD_READ, FIELD_INHERITED, FIELD_IMPLIED };

// Order state of a net's node list.
enum OrderState { ORDER_UNKNOWN, ORDER_CYCLIC, ORDER_ACYCLIC };

// Bits compared and copied, never computed with: large finite numbers that survive copying and printing.
extern const float UNDEF_PROB, IMPOS_PROB;
inline constexpr float NO_EXPERIENCE = -1.0f;

// A stem that fresh names were made from: all its numbers from `from` up to `floor` are in use, as long as the net's
// numNamesGone is the one noted here.
inline constexpr unsigned NUM_FRESH_STEMS = 64;
struct FreshStem {
  char stem[32];
  unsigned numNamesGone;
  long from, floor;
};

struct Subnet {
  int first, count;  // slice of the net's nodes
};

// The NULL entries of a list whose members were taken out one by one (Members.cpp).
struct Holes {
  int* counts = nullptr;  // [size + 1] owned: Fenwick tree of the NULL entries; or NULL
  int size = 0, num = 0;
};

}  // namespace bravic

struct bnode {
  bravic::TagWord tag = bravic::BNODE_TAG;
  char* name = nullptr;  // owned; unique in the net
  int index = -1;        // position in the net's nodes
  int kind = UNKNOWN_KIND;
  int discrete = bravic::UNKNOWN_DISCRETE;
  int measure = bravic::UNKNOWN_MEASURE;
  int chance = bravic::UNKNOWN_CHANCE;
  int numstates = 0;
  char** states = nullptr;        // [numstates] owned names, entries may be NULL; or NULL
  double* levels = nullptr;       // [numstates] when discrete, else [max (numstates + 1, 2)]; or NULL
  char* units = nullptr;          // owned
  char** inputs = nullptr;        // [preds.num] owned link names, entries may be NULL; or NULL
  nodelist_rec preds;             // parents; ar has one slot more, which holds the node itself
  nodelist_rec succs;             // children, a doubly linked child once
  int probsokay = 0;              // whether probs is complete: -1 unknown, 0 no, 1 yes
  int normalized = 1;             // rows of probs sum to 1 and their weight is in numcases; else rows are counts
  float* probs = nullptr;         // [configurations x numstates], first parent slowest, own state fastest
  float* numcases = nullptr;      // [configurations]; NO_EXPERIENCE where none
  statetype* determin = nullptr;  // [configurations]
  float* determinv = nullptr;     // [configurations]
  double weight = 1.0;
  void* user = nullptr;    // the host's
  char** texts = nullptr;  // owned: key, text, key, text ... (Texts.h); or NULL
  int subnetnum = -1;
  net_bn innet = nullptr;
  char* title = nullptr;       // owned
  char* comment = nullptr;     // owned
  char* author = nullptr;      // owned
  char* whochanged = nullptr;  // owned
  unsigned whenchanged = 0;    // seconds since 1970
  int locked = 0;
  double value;                        // UNDEF_DBL when no value finding
  statetype evidence = UNDEF_STATE;    // never beside a likelihood
  float* likelihood = nullptr;         // [numstates] owned
  float* belief = nullptr;             // [numstates] owned
  unsigned long long beliefStamp = 0;  // the engine state that belief was computed for; 0 = stale
  int scratch = -1;                    // index while two node lists are matched
  int numUses = 0;                     // of a placeholder: nodes that have it among their parents
  int numListed = 0;  // places in checked lists of hosts, if listedEpoch is the present one (Lists.cpp)
  unsigned long long listedEpoch = 0;
  statetype state39 = 0;   // slice kept when this node stops being a parent; most probable state
  int compiledIndex = -1;  // what the junction tree knows the node by; read through CompiledIndex
  int mark = 1, mark2 = 1;
  // From the file: inheritance and which fields were stated.
  nodelist_rec inherits;  // define-nodes this node takes fields from
  bool isdefine = false;
  unsigned char fields[bravic::NUM_NODE_FIELDS] = {};  // FieldStatus; of a node made by a host all FIELD_ABSENT
  bool fromfile = false;                               // fields is meaningful

  bnode();
};

struct bnet {
  bravic::TagWord tag = bravic::BNET_TAG;
  char* name = nullptr;  // owned
  nodelist_rec nodes;    // in node order when orderstate says so; may have holes otherwise, read through PresentNodes
  nodelist_rec stubs;    // placeholders; may have holes
  nodelist_rec defines;  // define-nodes, owned; not part of nodes
  bool noassume = true;
  int autoupdate = 0;
  void* user = nullptr;
  char** texts = nullptr;        // owned, as a node's
  char* title = nullptr;         // owned
  char* comment = nullptr;       // owned
  char* author = nullptr;        // owned
  char* whochanged = nullptr;    // owned
  char* backcomments = nullptr;  // owned text of a names list, as read; or NULL
  int numdimensions = 0;
  unsigned whenchanged = 0;
  int locked = 0;
  int findmpe = 0;
  environ_ns env = nullptr;
  bravic::Subnet* subnets = nullptr;  // [numsubnets] owned
  int numsubnets = 0;
  int numcycles = 0;
  int orderstate = bravic::ORDER_UNKNOWN;
  bool keepsbeliefs = false;  // every node has a belief vector
  bravic::Holes nodeHoles, stubHoles;
  bravic::SymbolTable<bnode> names;             // of nodes; placeholders are never found by name
  bravic::SymbolTable<bnode> defineNames;       // of define-nodes: taken, but not to be found
  nodelist_rec elimorder;                       // num -1: none set
  int hasHostOrder = 0;                         // elimorder was set by SetNetElimOrder_bn
  int nextNodeNumber = 1, nextParamNumber = 1;  // default names
  bravic::FreshStem* freshStems = nullptr;      // [NUM_FRESH_STEMS] owned: stems counted up, by their hash; or NULL
  unsigned numNamesGone = 0;
  // Compilation and inference.
  bravic::CompiledNet* compiled = nullptr;  // owned; NULL while there is no junction tree
  bool potentialsMade = false;              // the compiled flag: potentials are present and valid
  bool findingsApplied = false;
  bool beliefsCurrent = false;
  double caseprob = 1.0;  // probability of all findings
  int numEvidence = 0;    // nodes with a state or value finding
  int numLikelihood = 0;
  char* report = nullptr;  // owned: the text last answered by JunctionTreeReport_bn
  // Undo.
  bravic::UndoRecord* undo = nullptr;           // newest first, owned
  bravic::UndoRecord* redo = nullptr;           // owned
  int sublevel = 0;                             // depth of open groups
  bravic::UndoRecord* step = nullptr;           // the innermost one that a host has begun, NULL outside; on the stack
  bravic::SpareRecord* spareRecords = nullptr;  // owned
  int numSpareRecords = 0;
  // Files.
  char* filename = nullptr;      // owned: of the specification it was read from
  char* casefilename = nullptr;  // owned: of the case file last used
  bool dirty = false;
  // Another after every change of what nodes there are, their names, states or levels; no two nets have the same.
  unsigned long long shapeEpoch;
  const unsigned long long birth;  // the first of them: tells nets apart that stood at the same address

  bnet();
};

namespace bravic {

unsigned long long NewShapeEpoch();

// Of a record that is one or the other.
inline bool IsStub(const bnode& node) {
  return TagOf(&node) == STUB_TAG;
}
// Whether the node has states that a table or a finding can speak of.
inline bool IsDiscretized(const bnode& node) {
  return node.numstates > 0 && (node.discrete != CONTINUOUS || node.levels);
}
// Whether its states are intervals between levels.
inline bool HasIntervals(const bnode& node) {
  return node.discrete == CONTINUOUS && node.levels;
}
inline bool HasFinding(const bnode& node) {
  return node.evidence != UNDEF_STATE || node.value != UNDEF_DBL || node.likelihood;
}

}  // namespace bravic
