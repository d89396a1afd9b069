/* Bravic: belief networks and decision networks. The public interface, in plain C; usable from C89 and C++.

   A host makes the one environment, starts the library on it, builds nets or reads them from files, compiles a net,
   enters findings and reads beliefs:

     char message[MESG_LEN_ns];
     net_bn net;
     report_ns error = NULL;
     environ_ns env = NewBravicEnviron_bn();
     if (!env || InitBravic_bn(env, message) < 0) return 1;
     net = ReadNet_bn(FileNamed_ns("clinic.dne", env), 0);
     if (net) {
       const probtype *beliefs;
       CompileNet_bn(net);
       EnterFinding_bn(NodeNamed_bn("Dyspnea", net), 0);
       beliefs = GetNodeBeliefs_bn(NodeNamed_bn("Bronchitis", net));
       if (!GetError_ns(env, 5, NULL)) printf("%.4f\n", beliefs[0]);
     }
     while ((error = GetError_ns(env, 4, error)) != NULL) fprintf(stderr, "%s\n", ErrorMessage_ns(error));
     FreeNet_bn(net);
     CloseBravic_bn(env, message);

   A handle that is NULL because a call failed is refused by the next one, so that a host may make several calls and
   ask for errors once.

   What holds for every function
   -----------------------------
   Names.     A name (of a net, node, state or link) has 1 to 30 characters: a letter, then letters, digits and
              underscores.
   States     of a node are numbered from 0. A vector of parent states has one state per parent, in the order of the
              node's parents; for a node without parents it may be NULL.
   Errors.    No function answers an error code that says what went wrong: it leaves an error record in the
              environment (GetError_ns), changes nothing unless its comment says so, and answers its neutral value,
              named below after "on failure". The numbers in these comments are those that ErrorNumber_ns answers.
              Common to all: 5104 and 5143 (net NULL; damaged or freed), 5105, 5144 and 5138 (node NULL; damaged or
              freed; a placeholder), 5110 (list NULL), 5119 to 5122 and 5145 (a list's entries), 5103 and 5141 (file
              NULL; damaged or freed), 5100, 5101 and 5139 (environment NULL; not started; damaged: these three are
              written to the standard error stream), 5114 (called from the progress callback, where only the error
              functions work), 5134 or 5135 (the memory reserve is spent), 2450 (halted).
   Ownership. Handles belong to the library until they are freed as told below. Strings, vectors and lists answered
              by functions whose names begin with Get belong to the net or node and stay valid until it is next
              changed; the host must not change or free them. What a host passes in is copied.
   Strings    answered are never NULL: an absent one is "", and "error" when the arguments are at fault. Names are
              ASCII. Titles, comments and other texts are bytes up to a zero byte and are kept as they are, in files
              too; UTF-8 is what other programs will expect. Paths go to the system as they are (on Windows in the
              code page of the process). Numbers have a point in every locale.
   Limits.    Names 30 characters, paths 4095, messages 511, a line of a case file 64 megabytes, the table of a clique
              fewer than 536,870,911 entries; else memory. Entries of tables, experience included, are floats: an
              experience of 16,777,216 grows no more by single cases, though those of one file are counted exactly.
   Threads.   One environment, and one call at a time, the error functions included, from whatever thread: hosts with
              several put a lock of their own around all calls. What another thread may do meanwhile is to set a flag that
              the progress callback looks at. Inside a call several threads may work (SetThreads_ns). See docs/threads.md.
   Spelling.  Every function is exported under its name here and under the same name in capitals. */
#ifndef BRAVIC_H
#define BRAVIC_H

#if defined(_WIN32) && !defined(_WIN64)
#define BRAVIC_CALL __stdcall
#else
#define BRAVIC_CALL
#endif

#if defined(_WIN32)
#if defined(BRAVIC_BUILDING) || defined(BRAVIC_STATIC)
#define BRAVIC_API
#define BRAVIC_DATA
#else
#define BRAVIC_API __declspec(dllimport)
#define BRAVIC_DATA __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define BRAVIC_API __attribute__((visibility("default")))
#define BRAVIC_DATA __attribute__((visibility("default")))
#else
#define BRAVIC_API
#define BRAVIC_DATA
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Types, constants, exported data ---- */

typedef struct environ_rec  *environ_ns;   /* the environment */
typedef struct report_rec   *report_ns;    /* an error record */
typedef struct filespec_rec *filespec_ns;  /* a file specification */
typedef struct bnet         *net_bn;       /* a net */
typedef struct bnode        *node_bn;      /* a node; belongs to one net */
typedef struct counts_rec   *counts_bn;    /* what cases say about tables, apart from the tables */
typedef struct nodelist_rec *nodelist_bn;  /* a list of nodes */
typedef int   statetype;                   /* 32-bit signed state number */
typedef float probtype;                    /* 32-bit IEEE table entry */

/* The least size of a message buffer, in characters. */
#define MESG_LEN_ns 256

/* In place of states: no state; a configuration that cannot occur; every state of that parent (a wildcard). */
enum { UNDEF_STATE = -3, IMPOS_STATE = -4, EVERY_STATE = -5 };

/* Kinds of nodes. A placeholder, which holds a removed parent's place in a child's tables, keeps the kind of the node
   that it stands for; no call makes a node DISCONNECT_NODE. */
enum { NATURE_NODE, ASSUME_NODE, DECISION_NODE, UTILITY_NODE, DISCONNECT_NODE, ADVERSARY_NODE, UNKNOWN_KIND };

/* Case positions in place of byte offsets. */
enum { FIRST_CASE = -15, NEXT_CASE = -14, NO_MORE_CASES = -13 };

/* No number, and infinity: large finite doubles, to be compared with ==. They have their values once the library
   has started. */
extern BRAVIC_DATA double undef_dbl_ns, inf_dbl_ns;

/* The number of cases that one state of a row stands for before anything was learned; 1.0 until a host sets it. */
extern BRAVIC_DATA double BaseExperience_bn;

/* ---- Environment and settings ---- */

/* Makes the environment. Only one can be in use: until it is closed, further calls fail.
   Answers the environment, which is never freed; NULL on failure (5526, on the standard error stream). */
BRAVIC_API environ_ns BRAVIC_CALL NewBravicEnviron_bn(void);

/* Starts the library. To be called once for an environment, before anything else.
   mesg [MESG_LEN_ns]: receives the product's name and version, and what went wrong.
   Answers 0; negative on failure, with the reason in mesg. */
BRAVIC_API int BRAVIC_CALL InitBravic_bn(environ_ns env, char *mesg);

/* Ends the library's work and frees all that it holds, nets and files included. A new environment can then be made.
   mesg [MESG_LEN_ns]: receives a closing message.
   Answers 0; -1 on failure, with the reason in mesg. Every handle is invalid afterwards. */
BRAVIC_API int BRAVIC_CALL CloseBravic_bn(environ_ns env, char *mesg);

/* The version of the interface, which later versions of the package keep.
   version: receives a text such as "1.06 Win, Bravic (AtB)"; may be NULL.
   Answers the version times 100; 0 for a bad environment. The text belongs to the library and stays. */
BRAVIC_API int BRAVIC_CALL GetBravicVersion_bn(environ_ns env, const char **version);

/* How thoroughly arguments are checked. setting: 23 not at all (handles are trusted), 24 handles, numbers and names,
   25 also lists and vectors (the level at the start), 26 also the consistency of the objects; -1 only asks.
   Answers the level that held before the call; -1 on failure (5529). */
BRAVIC_API int BRAVIC_CALL ArgumentChecking_ns(int setting, environ_ns env);

/* Whether messages may be shown and questions asked on the console. setting: 0 or 1; -1 only asks.
   Answers the setting now in force, 0 at the start; -1 on failure (5528). */
BRAVIC_API int BRAVIC_CALL HasUserInteraction_ns(int setting, environ_ns env);

/* setting: 0, or -1 to ask; 1 is refused (5566), since the library has no windows of its own.
   Answers the setting now in force; -1 on failure (5530). */
BRAVIC_API int BRAVIC_CALL HasGUI_ns(int setting, environ_ns env);

/* Whether there are files to be read and written. setting: 0 or 1; -1 only asks.
   Answers the setting now in force, 1 at the start; -1 on failure (5531). */
BRAVIC_API int BRAVIC_CALL HasFileIO_ns(int setting, environ_ns env);

/* setting: 0 or 1; -1 only asks. Answers the setting now in force, 0 at the start; -1 on failure (5532). */
BRAVIC_API int BRAVIC_CALL HasUserInterpreter_ns(int setting, environ_ns env);

/* ---- Errors ---- */

/* Walks the error records, oldest first. danger: the least danger wanted, 0 to 6 (3 notice, 4 warning, 5 error,
   6 internal error). after: the record after which to go on; NULL for the oldest.
   Answers the record; NULL when there is none, and on failure (5534). It stays until it is cleared. */
BRAVIC_API report_ns BRAVIC_CALL GetError_ns(environ_ns env, int danger, report_ns after);

/* Removes every record of at most that danger, 0 to 6 (5535). */
BRAVIC_API void BRAVIC_CALL ClearErrors_ns(environ_ns env, int danger);

/* Removes one record; NULL is ignored. */
BRAVIC_API void BRAVIC_CALL ClearError_ns(report_ns error);

/* Adds a record of the host's own. number: 0 to 999; danger: 0 to 6; mesg: shorter than 512 characters, taken as it
   stands; one that begins like "Function_ns: " is headed by no other function's name. Answers the record; NULL on failure (5563). */
BRAVIC_API report_ns BRAVIC_CALL ReportError_ns(environ_ns env, int number, int danger, const char *mesg);

/* Answers the record's number, which is positive; 0 for NULL. */
BRAVIC_API int BRAVIC_CALL ErrorNumber_ns(report_ns error);

/* Answers the message, headed by the name of the function that was running; "" for NULL. It belongs to the record. */
BRAVIC_API const char *BRAVIC_CALL ErrorMessage_ns(report_ns error);

/* Answers the record's danger, 0 to 6; 1 for NULL (the next call then also warns of a nested call, 5114). */
BRAVIC_API int BRAVIC_CALL ErrorDanger_ns(report_ns error);

/* ---- File specifications ---- */

/* Names a file, which need not exist; nothing is opened. For case files the specification also remembers where the
   case last read ended. name: a path.
   Answers the specification; NULL on failure (5537 a bad file name). To be freed by FreeFileSpec_ns;
   what a host leaves is freed when the library closes. */
BRAVIC_API filespec_ns BRAVIC_CALL FileNamed_ns(const char *name, environ_ns env);

/* ---- Nets, nodes and links ---- */

/* Makes an empty net. Answers the net; NULL on failure (5114 name NULL, 5142 empty, 5118 illegal). To be freed by
   FreeNet_bn. */
BRAVIC_API net_bn BRAVIC_CALL NewNet_bn(const char *name, environ_ns env);

/* Adds a node of kind NATURE_NODE without state names, links and tables. name: unlike those of the net's other
   nodes, or NULL for "N1", "N2" ...; numstates: 0 makes a continuous node (see SetNodeLevels_bn).
   Answers the node; NULL on failure (5142, 5118, 5512 name in use, 5513 numstates negative). The net owns it. */
BRAVIC_API node_bn BRAVIC_CALL NewNode_bn(const char *name, int numstates, net_bn net);

/* Removes the node from its net. Its children keep their tables, with a placeholder in its place.
   The node is invalid afterwards. */
BRAVIC_API void BRAVIC_CALL DeleteNode_bn(node_bn node);

/* Makes parent the last of child's parents. Tables of the child keep their entries, the same for every state of the
   new parent. A link that closes a cycle or doubles another is made with a warning (3200, 3208).
   Answers the link's index, the child's number of parents less one; -1 on failure (2016 the nodes are of two nets). */
BRAVIC_API int BRAVIC_CALL AddLink_bn(node_bn parent, node_bn child);

/* Removes the link to the child's parent of that index, 0 to the number of parents less one. The child's tables keep
   what held for the parent's finding, or for its state 0 when it has none.
   Answers 0; negative on failure (5109), -2 when the tables were lost for lack of memory. */
BRAVIC_API int BRAVIC_CALL DeleteLink_bn(int linkindex, node_bn child);

/* Puts newparent in place of the child's parent of that index. It must have the same number of states, and levels
   where the old one had them; the child's tables stay as they are.
   On failure (5109, 2016, 3201 not compatible) nothing is changed; 3202 and 3210 warn of a cycle and of a double
   link. */
BRAVIC_API void BRAVIC_CALL SwitchNodeParent_bn(int linkindex, node_bn child, node_bn newparent);

/* Copies the nodes, without their findings, into destination, which may be their own net, under new names where
   theirs are in use. A parent that is copied too is replaced by its copy; any other is kept within the same net and
   becomes a placeholder in another. Answers the list of the copies, in the order given; NULL on failure (5509). To be
   freed by FreeNodeList_bn. */
BRAVIC_API nodelist_bn BRAVIC_CALL DuplicateNodes_bn(nodelist_bn nodes, net_bn destination);

/* Frees the net with its nodes and everything read from them; NULL is ignored. */
BRAVIC_API void BRAVIC_CALL FreeNet_bn(net_bn net);

/* ---- Attributes: getters (placeholders are accepted where marked *) ---- */

/* Answers the environment that the net was made in; NULL on failure. */
BRAVIC_API environ_ns BRAVIC_CALL GetNetEnviron_bn(net_bn net);

/* Answers the name. */
BRAVIC_API const char *BRAVIC_CALL GetNetName_bn(net_bn net);

/* Answers all nodes of the net, parents before their children; NULL on failure. Valid until nodes or links change. */
BRAVIC_API nodelist_bn BRAVIC_CALL GetNetNodes_bn(net_bn net);

/* Answers the node of that name; NULL when there is none, and on failure (5114, 5142, 5118). */
BRAVIC_API node_bn BRAVIC_CALL NodeNamed_bn(const char *name, net_bn net);

/* Answers 1 when beliefs are brought up to date at every change of findings, else 0. */
BRAVIC_API int BRAVIC_CALL GetNetAutoUpdate_bn(net_bn net);

/* Answers the elimination order that was set, or found when the net was compiled; NULL when there is none. */
BRAVIC_API nodelist_bn BRAVIC_CALL GetNetElimOrder_bn(net_bn net);

BRAVIC_API const char *BRAVIC_CALL GetNetTitle_bn(net_bn net);
BRAVIC_API const char *BRAVIC_CALL GetNetComment_bn(net_bn net);

/* kind: 0 (5201). Answers the pointer that the host has set; NULL when none was, and on failure. */
BRAVIC_API void *BRAVIC_CALL GetNetUserData_bn(net_bn net, int kind);

/* Answers the node's net*; NULL on failure. */
BRAVIC_API net_bn BRAVIC_CALL GetNodeNet_bn(node_bn node);

/* Answers the name*. */
BRAVIC_API const char *BRAVIC_CALL GetNodeName_bn(node_bn node);

/* Answers the kind*, NATURE_NODE ...; UNKNOWN_KIND on failure. */
BRAVIC_API int BRAVIC_CALL GetNodeKind_bn(node_bn node);

/* Answers 1 for a discrete node*, 0 for a continuous one, with or without intervals. */
BRAVIC_API int BRAVIC_CALL GetNodeDiscrete_bn(node_bn node);

/* Answers the number of states*: of intervals for a continuous node, 0 when it has none; 1 on failure. */
BRAVIC_API int BRAVIC_CALL GetNodeNumberStates_bn(node_bn node);

/* Answers the name of the state*, "" when it has none. (5106 no such state) */
BRAVIC_API const char *BRAVIC_CALL GetNodeStateName_bn(node_bn node, statetype state);

/* Answers the number of the state of that name*; UNDEF_STATE on failure (5202 no such state). */
BRAVIC_API statetype BRAVIC_CALL StateNamed_bn(const char *name, node_bn node);

/* index: of a discrete node* a state; of a continuous node a boundary, 0 to the number of states (interval i reaches
   from boundary i to boundary i + 1). Answers the level; undef_dbl_ns when the node has none, and on failure (5107,
   5108). */
BRAVIC_API double BRAVIC_CALL GetNodeLevel_bn(node_bn node, int index);

/* Answers the parents, in the order that indexes the node's tables; NULL on failure. Placeholders may be among them.
   Valid until nodes or links change. */
BRAVIC_API nodelist_bn BRAVIC_CALL GetNodeParents_bn(node_bn node);

/* Answers the children, each once; NULL on failure. Valid until nodes or links change. */
BRAVIC_API nodelist_bn BRAVIC_CALL GetNodeChildren_bn(node_bn node);

/* Answers the name of the link from the parent of that index: the name given, else the parent's. (5109) */
BRAVIC_API const char *BRAVIC_CALL GetLinkName_bn(node_bn node, int linkindex);

/* Answers the index of the link of that name, given or its parent's; -1 on failure (5565 no such link). */
BRAVIC_API int BRAVIC_CALL LinkNamed_bn(const char *name, node_bn node);

/* Answers 1 when the node has a table of probabilities or a function table, else 0. */
BRAVIC_API int BRAVIC_CALL HasRelation_bn(node_bn node);

BRAVIC_API const char *BRAVIC_CALL GetNodeTitle_bn(node_bn node);
BRAVIC_API const char *BRAVIC_CALL GetNodeComment_bn(node_bn node);

/* kind: 0 (5203). Answers the pointer that the host has set; NULL when none was, and on failure. */
BRAVIC_API void *BRAVIC_CALL GetNodeUserData_bn(node_bn node, int kind);

/* ---- Attributes: setters ----
   Each answers 0 when it made the change, 1 when the value was already so (nothing is recorded then), and a negative
   number on failure, with nothing changed. */

/* Has GetNetNodes_bn answer the nodes of a new net in the order in which they were made, where it has parents before
   their children, as it does for a net that is read; else, and once the graph changes, the library finds an order. To be
   called after the last link was made and before the net's nodes are first asked for; then it changes nothing. */
BRAVIC_API int BRAVIC_CALL KeepNetOrder_bn(net_bn net);

/* (5114, 5142; 3002 illegal) */
BRAVIC_API int BRAVIC_CALL SetNetName_bn(net_bn net, const char *name);

/* autoupdate: 1 brings beliefs up to date at every change of findings, 0 (at the start) when they are asked for.
   (3001) */
BRAVIC_API int BRAVIC_CALL SetNetAutoUpdate_bn(net_bn net, int autoupdate);

/* The order in which compiling eliminates nodes; it decides the sizes of the cliques (where quick searches find none
   whose tables are well smaller, also of those that are computed with). order: every node of the net
   (but those of kind ASSUME_NODE) once (5570, 5571, 5122). Copied. The net has to be compiled anew. */
BRAVIC_API int BRAVIC_CALL SetNetElimOrder_bn(net_bn net, nodelist_bn order);

/* NULL or "" removes the title, the comment. */
BRAVIC_API int BRAVIC_CALL SetNetTitle_bn(net_bn net, const char *title);
BRAVIC_API int BRAVIC_CALL SetNetComment_bn(net_bn net, const char *comment);

/* kind: 0 (5500). data: the host's; never read or freed by the library. */
BRAVIC_API int BRAVIC_CALL SetNetUserData_bn(net_bn net, int kind, void *data);

/* (5114, 5142, 5512 in use; 3063 illegal) */
BRAVIC_API int BRAVIC_CALL SetNodeName_bn(node_bn node, const char *name);

/* kind: NATURE_NODE ... ADVERSARY_NODE without DISCONNECT_NODE (5501, 5505). Only a continuous node can become a
   UTILITY_NODE (3083). */
BRAVIC_API int BRAVIC_CALL SetNodeKind_bn(node_bn node, int kind);

/* name: unlike those of the node's other states. (5106, 5114, 5142; 3065 illegal or in use) */
BRAVIC_API int BRAVIC_CALL SetNodeStateName_bn(node_bn node, statetype state, const char *name);

/* The numbers that a node's states stand for. numstates: for a discrete node its number of states (5503); for a
   continuous node the number of intervals to divide its range into. levels: for a discrete node [numstates], the
   value of each state; for a continuous node [numstates + 1, at least 2], the boundaries of the intervals, none below
   the one before it; NULL removes them. Copied. A change of the number of states reshapes the tables of the node and
   its children. (5502, 5519, 5520, 3054, 3064, 3068, 3085, 3086) */
BRAVIC_API int BRAVIC_CALL SetNodeLevels_bn(node_bn node, int numstates, const double *levels);

/* (5109, 5114, 5142; 3070 illegal or in use) */
BRAVIC_API int BRAVIC_CALL SetLinkName_bn(node_bn node, int linkindex, const char *name);

/* NULL or "" removes the title, the comment. */
BRAVIC_API int BRAVIC_CALL SetNodeTitle_bn(node_bn node, const char *title);
BRAVIC_API int BRAVIC_CALL SetNodeComment_bn(node_bn node, const char *comment);

/* kind: 0 (5511). data: the host's; never read or freed by the library. */
BRAVIC_API int BRAVIC_CALL SetNodeUserData_bn(node_bn node, int kind, void *data);

/* ---- Texts at nets and nodes ----
   Texts that programs around the library keep, each under a key of their own: any text but the empty one. They are
   undone, copied with their node, kept when it is renamed, saved (in the `user` statement of docs/net-format.md) and
   never interpreted, but that nodes and states can be found by them. Keys in use: "label", the spelling that a node's
   name has in another program's file; "state 0", "state 1" ..., that of a state's name; "position", "x y" on a screen.
   Texts of states go when the node gets another number of states (SetNodeLevels_bn). */

/* text: NULL or "" removes what is kept under the key. Copied. Answers 0 when it made the change, 1 when the text was
   already so; a negative number on failure, with nothing changed (5114, 5142 key NULL or empty). */
BRAVIC_API int BRAVIC_CALL SetNetText_bn(net_bn net, const char *key, const char *text);
BRAVIC_API int BRAVIC_CALL SetNodeText_bn(node_bn node, const char *key, const char *text);

/* Answers what is kept under the key, "" where nothing is; "error" on failure (5114, 5142). Valid until a text of the
   net or node is set. */
BRAVIC_API const char *BRAVIC_CALL GetNetText_bn(net_bn net, const char *key);
BRAVIC_API const char *BRAVIC_CALL GetNodeText_bn(node_bn node, const char *key);

/* Answers the node of that name, else the first in the net's order whose "label" it is; NULL when there is none, which is
   no error, and on failure (5114). */
BRAVIC_API node_bn BRAVIC_CALL FindNode_bn(const char *spelling, net_bn net);

/* Answers the state of that name, else the first whose text it is; UNDEF_STATE when there is none, which is no error, and
   on failure (5114). */
BRAVIC_API statetype BRAVIC_CALL FindState_bn(const char *spelling, node_bn node);

/* ---- Node lists ----
   Indices run from 0; 2147483647 stands for the end. Lists may hold NULL and the same node twice, but only the
   functions of this section accept them so. Lists that getters answer belong to their net or node and are not changed by
   hosts (2410). What is no list, or was freed, is refused by every function (5110). */

/* Answers a list of that length, every entry NULL; NULL on failure (5204 negative, 5205 memory). To be freed by
   FreeNodeList_bn. */
BRAVIC_API nodelist_bn BRAVIC_CALL NewNodeList_bn(int length, environ_ns env);

/* Inserts the node (or NULL) before the entry of that index; at the length it appends.
   Answers the node, which may be NULL; on failure (5206, 5207, 5208) a handle that is no node: the error's negative
   number in its place. */
BRAVIC_API node_bn BRAVIC_CALL AddNodeToList_bn(node_bn node, nodelist_bn nodes, int index);

/* Takes out the entry of that index. Answers it; NULL on failure (5209, 5210). */
BRAVIC_API node_bn BRAVIC_CALL RemoveNthNode_bn(nodelist_bn nodes, int index);

/* Answers the number of entries; 0 for NULL; -1 on failure. */
BRAVIC_API int BRAVIC_CALL LengthNodeList_bn(nodelist_bn nodes);

/* Answers the entry of that index; NULL on failure (5211, 5212). */
BRAVIC_API node_bn BRAVIC_CALL NthNode_bn(nodelist_bn nodes, int index);

/* Replaces the entry of that index. Answers the index; negative on failure (5213, 5214). */
BRAVIC_API int BRAVIC_CALL SetNthNode_bn(nodelist_bn nodes, int index, node_bn node);

/* Answers a list with the same entries; NULL for NULL and on failure (5215). To be freed by FreeNodeList_bn. */
BRAVIC_API nodelist_bn BRAVIC_CALL DupNodeList_bn(nodelist_bn nodes);

/* Frees a list, not its nodes; NULL is ignored. Lists that belong to a net or node, and lists already freed, are
   refused (5562, 5561, 5216). */
BRAVIC_API void BRAVIC_CALL FreeNodeList_bn(nodelist_bn nodes);

/* ---- Tables ----
   A table has one row for each configuration of the parents' states; the states of the last parent run fastest.
   parentstates [number of parents]: picks the row. The setters take EVERY_STATE for a parent and then write every
   row that agrees with the other states. (5112, 5123, 5125, 5127, 5129, 5131, 5136) */

/* Sets a row of probabilities, making the table when there is none. probs [number of states]: from 0 to 1 each, with
   the sum 1 within 0.000002; copied. (5504 no states, 5113; 5133, 3072 not probabilities: the message names node,
   row and sum) */
BRAVIC_API void BRAVIC_CALL SetNodeProbs_bn(node_bn node, const statetype *parentstates, const probtype *probs);

/* Answers the row of probabilities [number of states], from the function table where there is no other; NULL when
   the node has no table, a vector of 1.0 on failure. An entry below 0 is one not given yet, or part of a row that
   was declared impossible. Valid until a table of the node is changed. */
BRAVIC_API const probtype *BRAVIC_CALL GetNodeProbs_bn(node_bn node, const statetype *parentstates);

/* The number of cases that a row stands for, 0 or more. (5506; 2431 no states) */
BRAVIC_API void BRAVIC_CALL SetNodeExperience_bn(node_bn node, const statetype *parentstates, double experience);

/* Answers the experience of the row; undef_dbl_ns on failure and when the row has none: nothing was said or learned
   of how many cases its probabilities stand for. Learning then takes it for the number of states times
   BaseExperience_bn. */
BRAVIC_API double BRAVIC_CALL GetNodeExperience_bn(node_bn node, const statetype *parentstates);

/* The node's value as a function of its parents. value: of a discrete node the number of a state (5508); else a real
   number, for a utility node the utility. The first value makes the function table the node's only one. */
BRAVIC_API void BRAVIC_CALL SetNodeFuncValue_bn(node_bn node, const statetype *parentstates, double value);

/* Answers the state or the real number of that row; undef_dbl_ns when the node has no function, and on failure. A row not
   given yet in a table of which others are answers what stands there: -3 (UNDEF_STATE) for a state, a float below -3.39e38
   for a real number. */
BRAVIC_API double BRAVIC_CALL GetNodeFuncValue_bn(node_bn node, const statetype *parentstates);

/* Removes all tables of the node: probabilities, experience and functions. */
BRAVIC_API void BRAVIC_CALL DeleteNodeRelation_bn(node_bn node);

/* Answers 1 when the node's state follows from its parents' states (a function table; probabilities of 0 and 1
   alone), 0 otherwise and on failure. */
BRAVIC_API int BRAVIC_CALL IsNodeDeterministic_bn(node_bn node);

/* ---- Compiling, findings, beliefs ----
   Findings may be entered, changed and retracted at any time, whether the net is compiled or not; the beliefs of a
   compiled net follow when they are next asked for. They belong to the net: they stay when it is compiled anew and
   when its tables, links and other nodes change (new levels or another number of states may move or drop those of
   their node), they are written to files with the net, and are there again when it is read. */

/* Makes the junction tree and its tables, from which beliefs are computed; does nothing when they are there. A change
   of tables keeps the tree; a change of nodes, links or states drops it. A net whose elimination order makes a clique
   too large for a table is refused when SetNetElimOrder_bn has set the order; else beliefs are computed over a smaller
   tree where one is found, with a notice (2492) each time the tables are made.
   On failure the net stays uncompiled: 2225 to 2230, 2266 (structure, tables), 2007, 2105 (a decision or utility
   node), 2009 (memory), 2073, 2074 (halted). */
BRAVIC_API void BRAVIC_CALL CompileNet_bn(net_bn net);

/* The node is in the state. Findings accumulate: what contradicts an earlier finding on the node, or what the net
   holds impossible, is refused. (5106; 3302, 3310, 3313, 3315, 3316) */
BRAVIC_API void BRAVIC_CALL EnterFinding_bn(node_bn node, statetype state);

/* The node is not in the state. (5106; 3304 to 3307) */
BRAVIC_API void BRAVIC_CALL EnterFindingNot_bn(node_bn node, statetype state);

/* likelihood [number of states]: how probable the observation is in each state of the node, 0 or more; copied. Several
   multiply, whatever becomes of the range of floats. (5514; 2433 a continuous node
   without intervals, 3303 to 3307, 3318) */
BRAVIC_API void BRAVIC_CALL EnterNodeLikelihood_bn(node_bn node, const probtype *likelihood);

/* The node has the value: a continuous node with intervals is then in the state whose interval holds it (closed
   below, open above), a discrete node with levels in the state of that level. The bounds of a continuous node bind it
   with intervals and without. (2432 not a number, 3308, 3309, 3311, 3312, 3314, 3317) */
BRAVIC_API void BRAVIC_CALL EnterNodeValue_bn(node_bn node, double value);

/* Answers the state found; -6 for a likelihood, -7 when some states are excluded and the others equally likely, -8
   for no finding, for a likelihood that is the same in every state, and on failure (5515). GetNodeLikelihood_bn tells
   the likelihoods. */
BRAVIC_API statetype BRAVIC_CALL GetNodeFinding_bn(node_bn node);

/* Answers the likelihood [number of states]: 1 for the state found and 0 for the others; all 1 without a finding,
   and on failure (5560). Valid until the node's findings change. */
BRAVIC_API const probtype *BRAVIC_CALL GetNodeLikelihood_bn(node_bn node);

/* Answers the value entered; for a discrete node the level of the state found; undef_dbl_ns when there is none, and
   on failure (5564). */
BRAVIC_API double BRAVIC_CALL GetNodeValue_bn(node_bn node);

BRAVIC_API void BRAVIC_CALL RetractNodeFindings_bn(node_bn node);
BRAVIC_API void BRAVIC_CALL RetractAllFindings_bn(net_bn net);

/* Answers the probabilities of the node's states given all findings [number of states], after bringing them up to
   date. On failure 1.0 followed by zeros: 2077 (not compiled), 2078 or 777 (the findings contradict each other).
   Valid until the net's findings, tables or structure change. */
BRAVIC_API const probtype *BRAVIC_CALL GetNodeBeliefs_bn(node_bn node);

/* Answers many cases of a compiled net at once, in a fraction of the time that entering them one by one takes. Each case
   is a row of states; the net's own findings are left aside and stay as they are, and so does the mode of
   SetNetFindMPE_bn.
   observed: nodes of nature and decision nodes, each once; targets: nature nodes of the same net, each once. Either may
   be empty. states [numcases x number of observed nodes]: state numbers, UNDEF_STATE where nothing is known; not NULL
   unless nothing is observed. beliefs [numcases x sum of the targets' numbers of states]: of each case the targets'
   probabilities given its states, target by target; or NULL. logprobs [numcases]: the natural logarithm of the
   probability of each case's states; or NULL. A case that is impossible gets beliefs of 0 and -inf_dbl_ns.
   The arrays are the host's and may not overlap. numthreads: how many threads to use, 0 for as many as there are
   processors; the answers are the same bits for any number of them, and for the cases in any order.
   Answers the number of impossible cases, or -1 on failure: 2077 (not compiled), 2480 to 2487 (the arguments; nothing
   was written), 2009 (memory), 2450 (halted; some of the answers are written). */
BRAVIC_API long BRAVIC_CALL BeliefsOfCases_bn(nodelist_bn observed, const statetype *states, long numcases,
                                              nodelist_bn targets, probtype *beliefs, double *logprobs,
                                              int numthreads);

/* Answers 1 when the beliefs of the node's net are up to date, else 0. */
BRAVIC_API int BRAVIC_CALL IsBeliefUpdated_bn(node_bn node);

/* Answers the probability of all findings together, after bringing the beliefs up to date; 0.0 when the findings
   contradict each other, -1.0 on other failures (2077 ...). Right to a part in 100,000; what is smaller than the
   smallest normal double is answered as that, 2.2e-308. */
BRAVIC_API double BRAVIC_CALL CaseProbability_bn(net_bn net);

/* Answers the natural logarithm of the probability of all findings together, however small that is; -inf_dbl_ns when
   the findings contradict each other (2078), undef_dbl_ns on other failures (2077 ...). */
BRAVIC_API double BRAVIC_CALL CaseLogProbability_bn(net_bn net);

/* ---- Questions ----
   What may be asked of a net beyond beliefs. Nothing of the net is changed by asking. Lists that these functions answer
   are the host's, to be freed by FreeNodeList_bn. */

/* Answers the joint distribution of the nodes given all findings. nodes: nature nodes of a compiled net, each once.
   probs [product of their numbers of states]: the probabilities of all configurations, the states of the last node
   running fastest, with the sum 1; 1 for no nodes. Nodes that share a clique of the junction tree take little more than a
   belief; else tables are made for everything that lies between them. Mode and order make no difference.
   Answers 0; -1 on failure: 2077 (not compiled), 2078 (findings that contradict each other), 2482 (a node without
   beliefs), 2610, 2612, 2613 (more than 536,870,911 entries), 2614 (memory; says how much it would take), 2450. */
BRAVIC_API int BRAVIC_CALL JointBeliefs_bn(nodelist_bn nodes, double *probs);

/* How much is expected to be learned about the target by learning the state of another node, given all findings: the
   mutual information of the two, in bits. others: nature nodes of the target's net, which is compiled. bits [number of
   others]: 0 or more; 0 for a node whose state is found, and of the target itself its entropy. What is below 1e-12
   counts as rounding and is answered as 0. Takes one update of all beliefs for each state of the target.
   Answers 0; -1 on failure (2077, 2078, 2482, 2610, 2612, 2009, 2450). */
BRAVIC_API int BRAVIC_CALL InformationGains_bn(node_bn target, nodelist_bn others, double *bits);

/* The same for the variance of a target that has levels: by how much it is expected to fall, in squared units of the
   levels. The middle of an interval stands for it. reductions [number of others]; of the target itself its variance.
   Answers 0; -1 on failure (as above, and 2615 no finite levels). */
BRAVIC_API int BRAVIC_CALL VarianceReductions_bn(node_bn target, nodelist_bn others, double *reductions);

/* Answers a smallest set of the present findings that makes the state impossible: a new list of their nodes, in the order
   of the net, to be freed by FreeNodeList_bn; empty for a state that is impossible without findings; NULL when the state
   is possible, and on failure. Of several smallest sets it is always the same. state: with EVERY_STATE the answer is a
   smallest set of findings that contradict each other, whatever the node. Where more than 20 findings have to do with
   the node, the set is one of which no finding can be spared, though there may be smaller ones. States, exclusions and
   weights of 0 count, small numbers do not. The node's own finding may be in the set. The findings need not be possible
   together. Failures: 2077, 5106, 2482, 2611, 2009, 2450. */
BRAVIC_API nodelist_bn BRAVIC_CALL ConflictingFindings_bn(node_bn node, statetype state);

/* Answers the binary logarithm of the product of the findings' own probabilities over that of all of them together: above
   0, they surprise together more than one by one; 0 without findings; inf_dbl_ns when they contradict each other (no
   error); undef_dbl_ns on failure (2077, 2009, 2450). Takes two updates. */
BRAVIC_API double BRAVIC_CALL FindingsConflict_bn(net_bn net);

/* What each finding does to the belief in the target's state. observed: nodes with findings. without [number of
   observed]: the belief in the state given all findings but those of the node. Takes a belief for each of them.
   Answers 0; -1 on failure (2077, 2078, 5106, 2482, 2610, 2612, 2616 no finding, 2009, 2450). */
BRAVIC_API int BRAVIC_CALL FindingImpacts_bn(node_bn target, statetype state, nodelist_bn observed, double *without);

/* How the belief in the target's state depends on one entry of a table, exactly: as the entry x of that row of the node's
   table varies from 0 to 1, the row's other entries keeping their proportions (equal where they are all 0), the belief is
   (c0 x + c1) / (c2 x + c3). coefficients [4]: c0 to c3, so that the divisor is 1 for the entry there is; a divisor of 0
   tells that the findings are impossible then. parentstates [number of parents]: picks the row, without EVERY_STATE.
   Answers 0; -1 on failure: 2077, 2078, 5106, 2016 (another net), 5112 to 5136 (parentstates), 2482, 2612, 2617 (a row
   declared impossible), 2009, 2450. */
BRAVIC_API int BRAVIC_CALL BeliefSensitivity_bn(node_bn target, statetype state, node_bn node,
                                                const statetype *parentstates, statetype entry, double coefficients[4]);

/* The same for every entry of the tables of some nodes at once, from two propagations however many there are.
   coefficients [entries of all tables x 4]: node by node, rows and entries as in tables (parents slowest, first parent
   first). The belief does not depend on rows declared impossible: 0, belief, 0, 1. Answers 0; -1 on failure. */
BRAVIC_API int BRAVIC_CALL BeliefSensitivities_bn(node_bn target, statetype state, nodelist_bn nodes,
                                                  double *coefficients);

/* Whether nodes are separated by the links alone, whatever tables and findings say: no path from one of `some` to one of
   `others` is open once those given are known (d-separation). A node is never separated from itself, but what is given
   is separated from everything. The net need not be compiled. Takes time by the number of nodes and links.
   Answers 1 or 0; -1 on failure (2610 nodes of two nets). */
BRAVIC_API int BRAVIC_CALL AreSeparated_bn(nodelist_bn some, nodelist_bn others, nodelist_bn given);

/* Answers a new list of the nodes that separate the node from all others: its parents, its children, and the children's
   other parents; without placeholders. To be freed by FreeNodeList_bn. NULL on failure (2611 memory). */
BRAVIC_API nodelist_bn BRAVIC_CALL MarkovBlanket_bn(node_bn node);

/* Finds the most probable configurations of all nodes of a compiled net given its findings: the count best ones of those
   that are possible at all. states [count x number of nodes]: the best one first, the nodes as GetNetNodes_bn lists them;
   UNDEF_STATE for constants, which have no part in it; not NULL unless count is 0. probs [count]: the
   probability of each together with the findings, likelihoods included, as CaseProbability_bn has it (what is smaller
   than the smallest normal double is answered as that, but ranked rightly); or NULL. Equally probable ones come by their
   states, the first node slowest; of more than some thousands of them which are answered is fixed, but not by that rule.
   The net's mode of SetNetFindMPE_bn makes no difference. Where there are fewer, the rest of the arrays stays untouched.
   The arrays are the host's and may not overlap.
   Answers how many were written: 0 when the findings contradict each other (2078); -1 on failure with nothing written:
   2077 (not compiled), 2640, 2641 (the arguments), 2009 (memory), 2450 (halted). */
BRAVIC_API int BRAVIC_CALL MostProbableConfigs_bn(net_bn net, int count, statetype *states, double *probs);

/* Finds the joint states of some nodes that are most probable given the findings, all other nodes summed out: that is
   not what the nodes have in the most probable configuration of all, nor each one's most probable state.
   nodes: nature nodes of one compiled net, one at least, each once. states [number of nodes]: their states,
   as listed; where several are equally probable, always the same of them. *prob: their probability together with the
   findings, as above; prob may be NULL. The answer is exact; its time grows with the tables that are left when the
   others are summed out first, which may be far larger than those of the junction tree.
   Answers 0; -1 on failure with nothing written: 2077 (not compiled), 2078 (the findings contradict each other), 2610,
   2641 to 2643 (the arguments), 2644 (too large, with how large), 2009 (memory), 2450 (halted). */
BRAVIC_API int BRAVIC_CALL MostProbableStates_bn(nodelist_bn nodes, statetype *states, double *prob);

/* ---- Net files ---- */

/* Writes the net as text, its findings included (RetractAllFindings_bn before makes a file without). The form is
   described in docs/net-format.md. The file is replaced only once all is written.
   On failure the old file stays whole: 2187 (no such directory), 2013, 2014 (a full disk), 2018, 2430 (links in a
   circle). */
BRAVIC_API void BRAVIC_CALL WriteNet_bn(net_bn net, filespec_ns file);

/* Reads a net. options: 0; otherwise the structure is checked more fully. What cannot be read is left out and
   reported with its line (1000 to 1163); reading goes on.
   Answers the net; NULL when nothing could be read. To be freed by FreeNet_bn. */
BRAVIC_API net_bn BRAVIC_CALL ReadNet_bn(filespec_ns file, int options);

/* Reads a net from a text in memory, as ReadNet_bn with options 0 does from a file. text [length]: needs no closing
   zero. name: what messages call it, or NULL. Answers as ReadNet_bn. (2495, 2496) */
BRAVIC_API net_bn BRAVIC_CALL ReadNetText_bn(const char *text, long length, const char *name, environ_ns env);

/* Writes into text [size] what WriteNet_bn writes into a file, and a closing zero. text: NULL only asks. The net still
   counts as unsaved.
   Answers the bytes needed, the closing zero included; where that is more than size nothing is written. Negative on
   failure, with nothing written (2494 no memory, 2496). */
BRAVIC_API long BRAVIC_CALL WriteNetText_bn(net_bn net, char *text, long size);

/* ---- Case files, learning, random cases ----
   A case file is text: a first line "// ~->[CASE-1]->~", a line of node names with tabs between them, then a row for
   each case with the state (or value) of each node, "*" where it is missing. Columns "IDnum" and "NumCases" number the
   cases and say how often each occurred. docs/case-format.md describes it in full. A file of which no column is a
   node of the net is refused (2471); columns of no node and entries of no state are skipped, and a warning says which
   and how many (2472, 2473). */

/* Appends the findings of the nodes as one row of a case file, which is made when it is not there or empty.
   nodes: the columns of a new file, none called IDnum or NumCases; idnum: an identification number, -1 for none;
   freq: how often the case occurred, 0 or more, -1 for none.
   Answers the row's byte offset; -1 on failure, with the file as it was (5522, 5523, 2477; 2079, 2120 not writable;
   2119, 2475, 2476 another file than one of cases that rows can be added to; 2474). */
BRAVIC_API long BRAVIC_CALL WriteCase_bn(nodelist_bn nodes, filespec_ns file, long idnum, double freq);

/* Reads one row of a case file and makes it the findings of the nodes, in place of all findings of their net.
   caseposn: FIRST_CASE, NEXT_CASE (after the row last read through this file specification) or a byte offset;
   receives the row's offset, or NO_MORE_CASES; NULL reads the first row. nodes: NULL for none. idnum, freq: receive
   the row's; -1 where it has none; may be NULL. A bad row (2083, 2085, 2087, 2088, 2118, 2185, 2470) and the end of
   the file leave the nodes without findings; on other failures (2114, 2115, 2080, 2081, 2117, 2471; 2128, 2273, 5524)
   nothing changes. */
BRAVIC_API void BRAVIC_CALL ReadCase_bn(long *caseposn, filespec_ns file, nodelist_bn nodes, long *idnum,
                                        double *freq);

/* Answers a new list of the net's nodes that a case file has a column for, in the order of the columns; to be freed by
   FreeNodeList_bn. NULL on failure (2114 to 2117, 2080, 2081, 2471, 5205). */
BRAVIC_API nodelist_bn BRAVIC_CALL CaseFileNodes_bn(filespec_ns file, net_bn net);

/* Reads rows of a case file into arrays, a block of them with each call: the way to read many. The net's findings are
   neither looked at nor changed.
   nodes: the columns wanted, each once. position: an offset in the file, 0 for its first row; receives the offset after
   the last row read, for the next call. (A double, which is exact for files of any size.) maxcases: how many rows the
   arrays have room for. states [maxcases x number of nodes]: of each row the nodes' states; UNDEF_STATE for an entry
   that is missing, names no state or has no state of its own (a value of a continuous node without intervals). idnums,
   freqs [maxcases]: the rows'; -1 where there are none; may be NULL.
   Answers the number of rows read, 0 at the end of the file; -1 on failure. Rows before a bad one (2083, 2085, 2087,
   2088, 2118, 2185) are answered; the next call then fails, and *position is behind the bad row. On other failures it
   stays as it was (2114 to 2117, 2080, 2081, 2121, 2470, 2471; 2273 no row begins there; 2488 to 2491 the arguments).
   In a loop:

     double position = 0;
     long n;
     while ((n = ReadCaseStates_bn(file, nodes, &position, 1000, states, NULL, NULL)) > 0) ... */
BRAVIC_API long BRAVIC_CALL ReadCaseStates_bn(filespec_ns file, nodelist_bn nodes, double *position, long maxcases,
                                              statetype *states, long *idnums, double *freqs);

/* How a net is made of a case file; 0 everywhere else than in size means the default. */
typedef struct {
  int size;                    /* sizeof (net_of_cases_bn) */
  int maxstates;               /* most states of a node; default 1000 */
  int numomitted;              /* length of omitted */
  int numnumbers;              /* length of numbers */
  const char *const *omitted;  /* [numomitted] columns to leave out, by their names in the file */
  const char *const *numbers;  /* [numnumbers] columns of numbers, which become nodes to be given levels */
} net_of_cases_bn;

/* Makes a net of a case file, of any form: a nature node for each column, in their order, without links and tables. Its
   states are the entries that occur, in order of first occurrence, also where they are numbers; missing are empty
   entries, "*", "?", "NA" and what begins with "@". A column of numbers becomes a continuous node without states; when
   SetNodeLevels_bn has given it intervals, its numbers are read as states of it. Names are made legal; what the file has
   instead is kept as the texts "label" and "state N" of a node, by which case files are read. IDnum and NumCases are no
   nodes. Columns without a name or any entry are left out, with a warning (2506). The net is a new one, to be freed by
   FreeNet_bn.
   name: of the net. how: NULL for all defaults.
   NULL on failure: those of ReadCaseStates_bn for the file, bad rows included; 2500 a column twice; 2503 more states than
   how allows; 2504 no number in a column of numbers; 2505 a column in how that the file does not have; 2507 no rows; 2508
   no column left; 2517 a byte of 0 in an entry; 2509 to 2511 the arguments. */
BRAVIC_API net_bn BRAVIC_CALL NewNetOfCases_bn(filespec_ns cases, const char *name, const net_of_cases_bn *how);

/* Revises the tables of those nodes that have, with all their parents, a state finding: the row of their states
   learns one case. A node without a table of probabilities starts from uniform rows, and so does one with a function
   table, which it loses. updating: 0 (5540). degree: the weight of the case; negative to unlearn it (5545).
   2190: a count would fall below 0, or the experience below the number of states times BaseExperience_bn; nodes
   before that one keep their new tables. */
BRAVIC_API void BRAVIC_CALL CaseRevisesProbs_bn(nodelist_bn nodes, int updating, double degree);

/* The same with every row of a case file, weighted by its frequency. (5539, 5544, 2189, and those of ReadCase_bn.)
   Rows read before a failure, or before it was halted while it counted (2191), stay learned; halted while its tables are
   made (2450), or short of memory for them (2183), nothing is. */
BRAVIC_API void BRAVIC_CALL CaseFileRevisesProbs_bn(filespec_ns file, nodelist_bn nodes, int updating, double degree);

/* Forgets part of what the node has learned. degree: 0 nothing to 1 all (5516), which leaves uniform rows with the
   base experience. (5517 BaseExperience_bn negative, 5518 no table of probabilities but perhaps a function,
   2450 halted) */
BRAVIC_API void BRAVIC_CALL FadeProbs_bn(node_bn node, double degree);

/* Draws a case from the net's joint distribution given its findings and makes it the findings of the nodes. method:
   0 (5541), drawing parents first and dropping draws that disagree with a finding. maxdraws: how often to try.
   Answers 0; NO_MORE_CASES when every draw was dropped (the last one is entered); negative on failure (5542, 2102,
   2139). */
BRAVIC_API long BRAVIC_CALL RandomCase_bn(nodelist_bn nodes, int method, double maxdraws);

/* ---- Learning ----
   Counts are what cases say about tables, apart from the tables: for each of some nodes a table with an entry for every
   configuration of its parents and state of its own, laid out as its table of probabilities (rows by the parents, first
   parent slowest; own states fastest), node after node as they were listed, and nothing else. Counts of parts of a data
   set add up to those of the whole, so that parts can be counted in different processes: where weights are whole numbers
   and sum to no more than 2^53 all sums are exact, and learning by counts over any split of the cases gives the same
   tables, bit for bit, as learning them in one go; other weights are summed up to the rounding of doubles.
   Counts stay good while tables and findings of their net change. Once names, states or parents of their nodes have
   changed, or the net is gone, every function but FreeCounts_bn refuses them (2702). NULL and freed counts: 2700, 2701. */

/* Makes counts of 0. nodes: nature nodes of one net with states (2703), each once, one at least (2704), whose parents are
   all there and have states (2705). The net need not be compiled.
   Answers the counts, to be freed by FreeCounts_bn (what a host leaves is freed when the library closes); NULL on
   failure (2706 too many entries, 2707 memory). */
BRAVIC_API counts_bn BRAVIC_CALL NewCounts_bn(nodelist_bn nodes);

/* Adds what other counts hold of the same nodes in the same order (2708), which stay as they are. Answers 0; -1 on
   failure. */
BRAVIC_API int BRAVIC_CALL AddCounts_bn(counts_bn counts, counts_bn more);

/* Answers the number of entries; -1 on failure. */
BRAVIC_API long BRAVIC_CALL CountsSize_bn(counts_bn counts);

/* Copies all entries out, and in. values [CountsSize_bn]: node after node as above; each finite and 0 or more (2709).
   Answer 0; -1 on failure (2612 NULL), nothing changed. */
BRAVIC_API int BRAVIC_CALL GetCounts_bn(counts_bn counts, double *values);
BRAVIC_API int BRAVIC_CALL SetCounts_bn(counts_bn counts, const double *values);

/* Frees the counts; NULL is ignored. */
BRAVIC_API void BRAVIC_CALL FreeCounts_bn(counts_bn counts);

/* Cuts numbers into intervals, which SetNodeLevels_bn then makes the states of a node. An interval is closed below and
   open above; the outermost bounds are -inf_dbl_ns and inf_dbl_ns, so that what later data have beyond these numbers is
   not lost.
   values [numvalues]: those that are undef_dbl_ns or not finite are left out. classes [numvalues]: for method 2 the
   state of a target beside each value, 0 or more; values with a negative one are left out; else NULL. method: 0 equal
   width; 1 equal counts, equal values staying together; 2 by the target's information (Fayyad & Irani 1993), which stops
   where a cut saves less than it takes to describe. mostbins: the most intervals, 1 or more. bounds [mostbins + 1]:
   receives the bounds, one more than intervals.
   Answers the number of intervals: 1 where nothing is to be cut, as where the target has nothing to do with the values.
   -1 on failure (2512 no value is left, 2513 to 2515 the arguments, 2516 memory). */
BRAVIC_API long BRAVIC_CALL FindIntervals_bn(const double *values, const int *classes, long numvalues, int method,
                                             int mostbins, double *bounds);

/* Counts cases: each adds its weight to the tables of those nodes that it knows together with all their parents. The
   net's findings are not looked at. columns: nodes of the counts' net (2710), each once, in any order; a node whose
   family has no column is not counted. states [numcases x number of columns]: state numbers, UNDEF_STATE where missing
   (2483, 2484, 2486). weights [numcases]: finite and 0 or more (2711), or NULL: 1 each. Takes some two nanoseconds for each
   case and node.
   Answers 0; -1 on failure (2485, 2707, 2450 halted), the counts being as they were. */
BRAVIC_API long BRAVIC_CALL CountCases_bn(counts_bn counts, nodelist_bn columns, const statetype *states,
                                          const double *weights, long numcases);

/* Counts cases with missing cells: where a case does not know a node and all its parents, its weight is spread over the
   table in proportion to their joint beliefs given the case, by the tables that the net has now (the expectation of EM).
   The net is compiled (2077); its own findings are left aside. columns: nature and decision nodes of the net (2481, 2710),
   each once; nodes without a column are hidden in all cases. Other arguments as above. loglikelihood: receives the sum of
   the cases' weights times the natural logarithms of their probabilities; or NULL. Impossible cases add nothing to either.
   numthreads: 0 for as many as there are processors (2487); what is answered does not depend on it. Sums are made in
   doubles, case by case in their order, from beliefs good to about 6 digits.
   Answers the number of impossible cases; -1 on failure (2009, 2450 halted, 2707, 2715), the counts being as they were. */
BRAVIC_API long BRAVIC_CALL ExpectCounts_bn(counts_bn counts, nodelist_bn columns, const statetype *states,
                                            const double *weights, long numcases, double *loglikelihood,
                                            int numthreads);

/* Sets the tables of the nodes by the counts, whatever they were before: an entry is (count + prior / states) over its
   row's sum, the row's experience is its counts + prior. prior: so many cases a row, spread evenly; 0 or more (2712).
   Rows without counts, at prior 0, and rows declared impossible stay as they were; a node in which that is so of all rows
   keeps what it has. One change for undo; the net is to be compiled again.
   Answers 0; -1 on failure (2183), nothing changed. */
BRAVIC_API int BRAVIC_CALL LearnCounts_bn(counts_bn counts, double prior);

/* Learns tables from cases with missing cells by expectation and maximization (EM; Dempster, Laird & Rubin 1977), which
   begins from the net's tables: again and again counts are expected (ExpectCounts_bn) and tables set by them
   (LearnCounts_bn). The net is compiled (2077). nodes: those whose tables are learned, nature nodes of one net (2703 to
   2706); others keep theirs. Other arguments as above; nodes without a column are hidden. A hidden node whose tables are
   uniform stays so, since nothing tells its states apart: begin from others, as random ones.
   maxiterations: 0 or more (2713). tolerance: iterations end when the log likelihood changes by no more than so large a
   share of itself; 0 makes exactly maxiterations; 0 or more (2714). With a prior its logarithm is part of what is
   compared, and what never falls is their sum. loglikelihood: receives that of the tables answered, without the prior; or
   NULL. Uses SetThreads_ns; the tables do not depend on it.
   One change for undo; the net is to be compiled again. Halted after the first expectation, it keeps the best tables so
   far with a warning (2718); the progress callback is told iteration and log likelihood.
   Answers the number of iterations made; -1 on failure (as above), nothing changed. */
BRAVIC_API int BRAVIC_CALL LearnTablesEMCases_bn(nodelist_bn columns, const statetype *states, const double *weights,
                                                 long numcases, nodelist_bn nodes, int maxiterations, double tolerance,
                                                 double prior, double *loglikelihood);

/* The same from a case file, whose rows count as often as they say; its columns are those of nodes of the compiled net.
   (2114 to 2118, 2080 to 2088, 2471, 2711 besides) */
BRAVIC_API int BRAVIC_CALL LearnTablesEM_bn(filespec_ns cases, nodelist_bn nodes, int maxiterations, double tolerance,
                                            double prior, double *loglikelihood);

/* ---- Learning links ----
   Which links explain cases best: a search among all that a net may have without a cycle, for those with the highest
   score. Scores are sums over the nodes, of what a node's parents say of it, in natural logarithms, and higher is better:
     0  BIC: the log likelihood at the tables that fit the cases best, less ln (N) / 2 for each free parameter, N being
        the weight of all cases
     1  BDeu: the probability of the cases, with a prior of so many cases spread evenly over each table (prior)
     2  the log likelihood alone, which every further link raises
   A node's states are those it has, whether they occur or not. Where cells are missing, a node's score is built up
   parent by parent, those first that alone gain most: each adds by how much it improves the score of the cases in which
   it, those before it and the node are known, scaled to all cases. So a link is judged by cases that are known with and
   without it, and with nothing missing this is the ordinary score. */

typedef struct {            /* how to search for links; 0 everywhere else than in size means the default */
  int size;                 /* sizeof (learn_links_bn) */
  int score;                /* 0 BIC, 1 BDeu, 2 log likelihood */
  int method;               /* 0 hill, 1 order, 2 exact, 3 tree, 4 tan (needs target) */
  int seed;                 /* of what is drawn at random: it binds the result, unless maxseconds cut the search */
  int maxparents;           /* that a node may have; default: any number for hill and order, 4 for exact */
  int numthreads;           /* default: the setting of SetThreads_ns; the result does not depend on it */
  int keeplinks;            /* 1: start from the links there are; 0: from none */
  int missing;              /* 0: each family by its complete cases; 1: filled in by draws, with the links (structural EM) */
  double prior;             /* equivalent sample size of BDeu; default 1 */
  double maxentries;        /* that the junction tree of the net, written and read again, may have; default: no limit */
  double maxseconds;        /* default: until no step improves */
  node_bn target;           /* of tan; the root of tree; or NULL */
  nodelist_bn requiredfrom, requiredto, forbiddenfrom, forbiddento;   /* pairs by index; NULL: none */
  const int *tiers;         /* one per node, as listed: no link from a later tier to an earlier one; NULL: none */
  int restarts;             /* further searches from changed links; default: 20; negative: none */
} learn_links_bn;

/* Learns the links between some nodes of a net, and with them their tables (each row as if one case more had been seen
   in it, spread evenly), as one change that one undo takes back. What the nodes' links and tables were before does not
   matter, but for keeplinks.
   nodes: nature nodes of one net with states, each once, which have no links with others. columns: nodes, each once,
   those learned among them. states [numcases x columns]: state numbers, UNDEF_STATE where missing. weights [numcases]:
   finite and 0 or more, or NULL: 1 each. how: see above, or NULL: all defaults. score: receives the score of the links
   found; may be NULL. A column that never changes leaves its node without links, but for those required (warning 2759).
   Method 0, greedy search with a tabu list and restarts, makes the best change of one link (added, removed or turned
   round) again and again, keeping the rules and the limit on entries at every step.
   Method 1 searches over orders of the nodes, in each of which they choose from lists of parent sets made beforehand; it
   begins from what method 0 finds without restarts, takes longer, and as a rule comes nearer to the best net.
   Method 2 finds the best of all nets of up to 25 nodes (2756), by dynamic programming over their subsets, which takes 8
   times 2 to the number of nodes bytes (2757 where these are not to be had, before anything else is done). Where that
   net would go beyond maxentries the call falls back on method 1, with a warning (2760).
   Method 3 finds the best tree, or forest where links gain nothing: no node has more than one parent, and links lead away
   from the target, where there is one. Method 4 makes every node that the rules let be one a child of the target, and
   joins them by the best forest. With maxentries links that would go beyond it are left out, those that gain least first.
   keeplinks and restarts are for methods 0 and 1.
   missing 1 fills in missing cells: under the present links and tables each case that has any is drawn several times,
   cell after cell given all others; tables are made of the completed cases; after some such turns the method searches
   for links in the completed cases; and so on until the links stay as they are, 10 times at most. The tables learned are
   those of the completed cases, the score that of the cases as they were given.
   Answers the number of steps made; negative on failure (2740 to 2758, 2450 halted, 2612 NULL), nothing changed. */
BRAVIC_API int BRAVIC_CALL LearnLinksCases_bn(nodelist_bn columns, const statetype *states, const double *weights,
                                              long numcases, nodelist_bn nodes, const learn_links_bn *how,
                                              double *score);

/* The same from a case file, whose rows count as often as they say. (2114 to 2118, 2080 to 2088, 2471 besides) */
BRAVIC_API int BRAVIC_CALL LearnLinks_bn(filespec_ns cases, nodelist_bn nodes, const learn_links_bn *how,
                                         double *score);

/* Answers the score of the links that lead to some nodes of a net. Their parents need columns, too, but need not be
   listed. prior: of BDeu; 0: 1. Other arguments as above. undef_dbl_ns on failure. */
BRAVIC_API double BRAVIC_CALL ScoreLinksCases_bn(nodelist_bn columns, const statetype *states, const double *weights,
                                                 long numcases, nodelist_bn nodes, int score, double prior);
BRAVIC_API double BRAVIC_CALL ScoreLinks_bn(filespec_ns cases, nodelist_bn nodes, int score, double prior);

/* ---- Decision networks ---- */

/* Turns the link around, keeping the joint distribution: both nodes end up with the parents of both. The host must
   see to it that the link exists and that no cycle arises.
   Answers 0; -2 when memory ran out (2267), -1 for nodes of two nets (2016), both with nothing changed. 2145 and
   2147 warn that tables were lost because one was missing. */
BRAVIC_API int BRAVIC_CALL ReverseLink_bn(node_bn parent, node_bn child);

/* Gives every decision node of the net the function table that makes the expected utility largest. nodes: any nodes
   of the net. Answers 0; negative on failure, with the net as it was (2262, 2113, 2263 to 2265, 2058, 2059 ...). */
BRAVIC_API int BRAVIC_CALL OptimizeDecisions_bn(nodelist_bn nodes);

/* Removes the nodes from their net so that what remains keeps its meaning: nature nodes are summed out, decision
   nodes maximized. On failure (2058, 2059, 2142 to 2144) the nodes absorbed so far are gone; the whole call can be
   undone as one change. The list is consumed: it is freed in any case and must not be used again. */
BRAVIC_API void BRAVIC_CALL AbsorbNodes_bn(nodelist_bn nodes);

/* Gives every decision node that has no state finding the function table, over its parents, that makes the expected
   utility largest given the findings; utility nodes, any number of them, add up. Of equal choices the first is taken;
   states that a finding excludes are not.
   method: 0, a decision knows its parents and nothing else: decisions are improved one at a time until none can be
   alone, which is best of all where some order of them makes each depend on none that comes later. 1, nothing is
   forgotten: a decision also knows what earlier ones knew and chose, and the tables are the best there are. Refused
   where a best table would be over an earlier node that is no parent (2561, which names decision and node; a decision
   that is made, or that always chooses the same, need not be told), and where no directed path orders the decisions
   (2265).
   The tables are set in one change. Answers what they are worth, as GetExpectedUtility_bn does; undef_dbl_ns on
   failure, with the net as it was (2562, 2262, 2225 to 2230, 2215, 2266, 2078, 2560, 2009, 2183, 2450). */
BRAVIC_API double BRAVIC_CALL SolveDecisions_bn(net_bn net, int method);

/* Answers how much the expected utility rises, nothing being forgotten, if the node is known at that decision and
   later; at least 0, and 0 where it is known anyhow. Changes nothing. node: a nature node (2563) of the same net (2016)
   that does not depend on the decision (2564). undef_dbl_ns on failure (2565, and as SolveDecisions_bn). */
BRAVIC_API double BRAVIC_CALL ValueOfObserving_bn(node_bn node, node_bn decision);

/* ---- Random numbers, case files, junction trees, undo, progress ---- */

/* Makes random draws reproducible. seed: 0 takes the calendar time. Answers 0; -1 for a bad environment. */
BRAVIC_API int BRAVIC_CALL SeedRandom_ns(int seed, environ_ns env);

/* Writes a case file of random cases drawn from the net given its findings. numcases: how many; firstid: the first
   identification number, negative for none; freq: every row's frequency, 0 for none; append: 1 adds to the file.
   Draws that disagree with the findings are thrown away; but where the net is compiled and fewer than one in 40 would
   agree, each case is drawn so that it does, in the same time whatever the findings are.
   Answers 0; negative on failure or when halted (5546, 5547, 2138, 2100 to 2102, 2450, 2451, 2474 to 2477); the rows written
   stay. */
BRAVIC_API int BRAVIC_CALL GenerateCases_bn(nodelist_bn nodes, long numcases, filespec_ns file, long firstid,
                                            double freq, int append);

/* Answers a text with a line per clique: its number, the cliques it is joined to, its size in table entries and its
   members; and the total size. It is the tree of the net's elimination order; beliefs may be computed over a smaller
   one. Belongs to the net until the next call. */
BRAVIC_API const char *BRAVIC_CALL JunctionTreeReport_bn(net_bn net);

/* findmpe: 1 makes beliefs those of the most probable configuration: the largest entry of each node's is 1, and
   CaseProbability_bn answers the configuration's probability with the findings. 0, 1 or negative like any setter
   (3001). */
BRAVIC_API int BRAVIC_CALL SetNetFindMPE_bn(net_bn net, int findmpe);

/* In that mode: answers the node's state in the most probable configuration, the first on ties; UNDEF_STATE on
   failure (5567 the mode is off, 2077, 2078). */
BRAVIC_API statetype BRAVIC_CALL GetNodeMostProbable_bn(node_bn node);

/* Searches for a better elimination order than the one found by default, for at most that many seconds, and stores
   the best. The net has to be compiled anew. Answers 0; negative on failure. Halted, it keeps the best so far. */
BRAVIC_API int BRAVIC_CALL FindElimOrder_bn(net_bn net, double seconds);

/* What CompileNet_bn and then the beliefs of all nodes would take, before any of it is had: how many entries the tables
   of the junction tree have that is really computed with, the bytes that these and the messages take, and the seconds,
   about, on one thread. Each may be NULL. Tables need not be complete. Answers 0, with a warning (2493) and advice where
   CompileNet_bn would refuse the net for its size; negative on failure, what is pointed to stays as it was: 2007, 2105
   for decision networks, and what CompileNet_bn finds wrong with the structure. */
BRAVIC_API int BRAVIC_CALL EstimateCompile_bn(net_bn net, double *entries, double *bytes, double *seconds);

/* Answers the expected utility under the present decision tables and findings; several utility nodes add up. One with
   utility nodes among its parents is their sum and needs no table. undef_dbl_ns where it is not defined (no utility
   node, a decision or table missing). */
BRAVIC_API double BRAVIC_CALL GetExpectedUtility_bn(net_bn net);

/* Takes back the net's last recorded change; makes it again. Answer 1 when done, 0 when there is nothing to undo
   (redo), negative on failure. Records end with the next change beyond the depth. */
BRAVIC_API int BRAVIC_CALL UndoLastChange_bn(net_bn net);
BRAVIC_API int BRAVIC_CALL RedoLastChange_bn(net_bn net);

/* Makes one change for undo of all that is changed in the net from here until EndChanges_bn; they nest. Answers 0; negative
   on failure (2690 no changes are kept for undo). */
BRAVIC_API int BRAVIC_CALL BeginChanges_bn(net_bn net);

/* keep: 1; with 0 all that was changed since is taken back, and what could be undone and redone before still can. Until
   then the net can be neither undone nor redone (2692), and the depth of undo not be
   changed (2693).
   Answers 1 where something was changed, else 0; negative on failure (2691 nothing was begun). */
BRAVIC_API int BRAVIC_CALL EndChanges_bn(net_bn net, int keep);

/* How many changes of a net are kept for undo; 1 at the start, for all nets alike. depth: 0 turns recording off and
   keeps what is recorded; any other depth below the present one frees the net's records; -1 only asks.
   Answers the previous depth; -1 on failure (5581). */
BRAVIC_API int BRAVIC_CALL SetUndoDepth_bn(int depth, net_bn net);

/* Frees a file specification; NULL is ignored. */
BRAVIC_API void BRAVIC_CALL FreeFileSpec_ns(filespec_ns file);

/* Whether the progress of long operations is printed on the console. setting: 0 or 1; -1 only asks.
   Answers the setting now in force; -1 on failure (5533). */
BRAVIC_API int BRAVIC_CALL ShowProgress_ns(int setting, environ_ns env);

/* Whether an interrupt (SIGINT, Ctrl-C) halts the long operation that runs, or the next one, instead of doing what the
   host's handler would; that is put back by 0 and at close. setting: 0 (at the start) or 1; -1 only asks.
   Answers the setting now in force; -1 on failure (2452). */
BRAVIC_API int BRAVIC_CALL HaltOnInterrupt_ns(int setting, environ_ns env);

/* How many threads a call may use at once where its work is large and can be divided: beliefs of large nets, searches for
   elimination orders. numthreads: 1 (at the start) to 256; 0 for as many as there are processors; -1 only asks. Threads
   that the system does not start are done without. Answers do not depend on the number, but where a limit in seconds
   ends a search. Callbacks are called by the calling thread alone, and none of the others outlives the call.
   Answers the setting in force before; -1 on failure (2453). */
BRAVIC_API int BRAVIC_CALL SetThreads_ns(int numthreads, environ_ns env);

/* Limits the memory that the library holds, its reserve of 200,000 bytes and what threads use among it, for hosts that
   read what others have written. kilobytes: of 1024 bytes; 0 for no limit (at the start); -1 only asks.
   What does not fit is refused as when memory is short: a call fails with the error that its comment names, or with a
   warning (2043, 2044) and 5134 or 5135 from all calls that need memory, until enough is freed or the limit is raised;
   the process is never ended for it. Small records and lists that a call must have to end in good order may go
   beyond the limit before it is refused.
   A limit below what is held refuses what comes next. Reading other programs' files (bravic_formats.h) holds its own
   texts and numbers to a second limit of the same size.
   Answers the limit in force before; -1 on failure (2454). */
BRAVIC_API long BRAVIC_CALL SetMemoryLimit_ns(long kilobytes, environ_ns env);

/* Called at least once a second in long operations. data: the host's; what: the operation's name, valid during the
   call; done: the share done, 0 to 1; total_seconds: how long it is expected to take in all, 0 when unknown. A
   non-zero answer halts the operation, which then reports as its own comment says. From within it only the error
   functions work; every other call is refused (5114). It is never called from within itself. */
typedef int(BRAVIC_CALL *progress_ns)(void *data, const char *what, double done, double total_seconds);

/* report: NULL for none. data: handed to it. */
BRAVIC_API void BRAVIC_CALL SetProgressCallback_ns(progress_ns report, void *data, environ_ns env);

#ifdef __cplusplus
}
#endif

#endif
