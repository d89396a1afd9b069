/* Bravic: belief networks and decision networks. The public interface, plain C; usable from C89 and C++. */
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

typedef struct environ_rec  *environ_ns;
typedef struct report_rec   *report_ns;
typedef struct filespec_rec *filespec_ns;
typedef struct bnet         *net_bn;
typedef struct bnode        *node_bn;
typedef struct nodelist_rec *nodelist_bn;
typedef int   statetype;     /* 32-bit signed state number */
typedef float probtype;      /* 32-bit IEEE table entry */

#define MESG_LEN_ns 256
enum { UNDEF_STATE = -3, IMPOS_STATE = -4, EVERY_STATE = -5 };
enum { NATURE_NODE, ASSUME_NODE, DECISION_NODE, UTILITY_NODE, DISCONNECT_NODE, ADVERSARY_NODE, UNKNOWN_KIND };
enum { FIRST_CASE = -15, NEXT_CASE = -14, NO_MORE_CASES = -13 };
extern BRAVIC_DATA double undef_dbl_ns, inf_dbl_ns;  /* exported data */
extern BRAVIC_DATA double BaseExperience_bn;  /* exported data: hosts set it */

/* environment and settings */
BRAVIC_API environ_ns BRAVIC_CALL NewBravicEnviron_bn(void);
BRAVIC_API int BRAVIC_CALL InitBravic_bn(environ_ns env, char *mesg);
BRAVIC_API int BRAVIC_CALL CloseBravic_bn(environ_ns env, char *mesg);
BRAVIC_API int BRAVIC_CALL GetBravicVersion_bn(environ_ns env, const char **version);
BRAVIC_API int BRAVIC_CALL ArgumentChecking_ns(int setting, environ_ns env);
BRAVIC_API int BRAVIC_CALL HasUserInteraction_ns(int setting, environ_ns env);
BRAVIC_API int BRAVIC_CALL HasGUI_ns(int setting, environ_ns env);
BRAVIC_API int BRAVIC_CALL HasFileIO_ns(int setting, environ_ns env);
BRAVIC_API int BRAVIC_CALL HasUserInterpreter_ns(int setting, environ_ns env);

/* errors */
BRAVIC_API report_ns BRAVIC_CALL GetError_ns(environ_ns env, int danger, report_ns after);
BRAVIC_API void BRAVIC_CALL ClearErrors_ns(environ_ns env, int danger);
BRAVIC_API void BRAVIC_CALL ClearError_ns(report_ns error);
BRAVIC_API report_ns BRAVIC_CALL ReportError_ns(environ_ns env, int number, int danger, const char *mesg);
BRAVIC_API int BRAVIC_CALL ErrorNumber_ns(report_ns error);
BRAVIC_API const char *BRAVIC_CALL ErrorMessage_ns(report_ns error);
BRAVIC_API int BRAVIC_CALL ErrorDanger_ns(report_ns error);

/* file specifications */
BRAVIC_API filespec_ns BRAVIC_CALL FileNamed_ns(const char *name, environ_ns env);

/* nets, nodes and links */
BRAVIC_API net_bn BRAVIC_CALL NewNet_bn(const char *name, environ_ns env);
BRAVIC_API node_bn BRAVIC_CALL NewNode_bn(const char *name, int numstates, net_bn net);
BRAVIC_API void BRAVIC_CALL DeleteNode_bn(node_bn node);
BRAVIC_API int BRAVIC_CALL AddLink_bn(node_bn parent, node_bn child);
BRAVIC_API int BRAVIC_CALL DeleteLink_bn(int linkindex, node_bn child);
BRAVIC_API void BRAVIC_CALL SwitchNodeParent_bn(int linkindex, node_bn child, node_bn newparent);
BRAVIC_API nodelist_bn BRAVIC_CALL DuplicateNodes_bn(nodelist_bn nodes, net_bn destination);
BRAVIC_API void BRAVIC_CALL FreeNet_bn(net_bn net);

/* attributes: getters */
BRAVIC_API const char *BRAVIC_CALL GetNetName_bn(net_bn net);
BRAVIC_API nodelist_bn BRAVIC_CALL GetNetNodes_bn(net_bn net);
BRAVIC_API node_bn BRAVIC_CALL NodeNamed_bn(const char *name, net_bn net);
BRAVIC_API int BRAVIC_CALL GetNetAutoUpdate_bn(net_bn net);
BRAVIC_API nodelist_bn BRAVIC_CALL GetNetElimOrder_bn(net_bn net);
BRAVIC_API const char *BRAVIC_CALL GetNetTitle_bn(net_bn net);
BRAVIC_API const char *BRAVIC_CALL GetNetComment_bn(net_bn net);
BRAVIC_API void *BRAVIC_CALL GetNetUserData_bn(net_bn net, int kind);
BRAVIC_API net_bn BRAVIC_CALL GetNodeNet_bn(node_bn node);
BRAVIC_API const char *BRAVIC_CALL GetNodeName_bn(node_bn node);
BRAVIC_API int BRAVIC_CALL GetNodeKind_bn(node_bn node);
BRAVIC_API int BRAVIC_CALL GetNodeDiscrete_bn(node_bn node);
BRAVIC_API int BRAVIC_CALL GetNodeNumberStates_bn(node_bn node);
BRAVIC_API const char *BRAVIC_CALL GetNodeStateName_bn(node_bn node, statetype state);
BRAVIC_API statetype BRAVIC_CALL StateNamed_bn(const char *name, node_bn node);
BRAVIC_API double BRAVIC_CALL GetNodeLevel_bn(node_bn node, int index);
BRAVIC_API nodelist_bn BRAVIC_CALL GetNodeParents_bn(node_bn node);
BRAVIC_API nodelist_bn BRAVIC_CALL GetNodeChildren_bn(node_bn node);
BRAVIC_API const char *BRAVIC_CALL GetLinkName_bn(node_bn node, int linkindex);
BRAVIC_API int BRAVIC_CALL LinkNamed_bn(const char *name, node_bn node);
BRAVIC_API int BRAVIC_CALL HasRelation_bn(node_bn node);
BRAVIC_API const char *BRAVIC_CALL GetNodeTitle_bn(node_bn node);
BRAVIC_API const char *BRAVIC_CALL GetNodeComment_bn(node_bn node);
BRAVIC_API void *BRAVIC_CALL GetNodeUserData_bn(node_bn node, int kind);

/* attributes: setters (0 done, 1 no change, negative refused) */
BRAVIC_API int BRAVIC_CALL SetNetName_bn(net_bn net, const char *name);
BRAVIC_API int BRAVIC_CALL SetNetAutoUpdate_bn(net_bn net, int autoupdate);
BRAVIC_API int BRAVIC_CALL SetNetElimOrder_bn(net_bn net, nodelist_bn order);
BRAVIC_API int BRAVIC_CALL SetNetTitle_bn(net_bn net, const char *title);
BRAVIC_API int BRAVIC_CALL SetNetComment_bn(net_bn net, const char *comment);
BRAVIC_API int BRAVIC_CALL SetNetUserData_bn(net_bn net, int kind, void *data);
BRAVIC_API int BRAVIC_CALL SetNodeName_bn(node_bn node, const char *name);
BRAVIC_API int BRAVIC_CALL SetNodeKind_bn(node_bn node, int kind);
BRAVIC_API int BRAVIC_CALL SetNodeStateName_bn(node_bn node, statetype state, const char *name);
BRAVIC_API int BRAVIC_CALL SetNodeLevels_bn(node_bn node, int numstates, const double *levels);
BRAVIC_API int BRAVIC_CALL SetLinkName_bn(node_bn node, int linkindex, const char *name);
BRAVIC_API int BRAVIC_CALL SetNodeTitle_bn(node_bn node, const char *title);
BRAVIC_API int BRAVIC_CALL SetNodeComment_bn(node_bn node, const char *comment);
BRAVIC_API int BRAVIC_CALL SetNodeUserData_bn(node_bn node, int kind, void *data);

/* node lists */
BRAVIC_API nodelist_bn BRAVIC_CALL NewNodeList_bn(int length, environ_ns env);
BRAVIC_API node_bn BRAVIC_CALL AddNodeToList_bn(node_bn node, nodelist_bn nodes, int index);
BRAVIC_API node_bn BRAVIC_CALL RemoveNthNode_bn(nodelist_bn nodes, int index);
BRAVIC_API int BRAVIC_CALL LengthNodeList_bn(nodelist_bn nodes);
BRAVIC_API node_bn BRAVIC_CALL NthNode_bn(nodelist_bn nodes, int index);
BRAVIC_API int BRAVIC_CALL SetNthNode_bn(nodelist_bn nodes, int index, node_bn node);
BRAVIC_API nodelist_bn BRAVIC_CALL DupNodeList_bn(nodelist_bn nodes);
BRAVIC_API void BRAVIC_CALL FreeNodeList_bn(nodelist_bn nodes);

/* tables */
BRAVIC_API void BRAVIC_CALL SetNodeProbs_bn(node_bn node, const statetype *parentstates, const probtype *probs);
BRAVIC_API const probtype *BRAVIC_CALL GetNodeProbs_bn(node_bn node, const statetype *parentstates);
BRAVIC_API void BRAVIC_CALL SetNodeExperience_bn(node_bn node, const statetype *parentstates, double experience);
BRAVIC_API double BRAVIC_CALL GetNodeExperience_bn(node_bn node, const statetype *parentstates);
BRAVIC_API void BRAVIC_CALL SetNodeFuncValue_bn(node_bn node, const statetype *parentstates, double value);
BRAVIC_API double BRAVIC_CALL GetNodeFuncValue_bn(node_bn node, const statetype *parentstates);
BRAVIC_API void BRAVIC_CALL DeleteNodeRelation_bn(node_bn node);
BRAVIC_API int BRAVIC_CALL IsNodeDeterministic_bn(node_bn node);

/* compiling, findings, beliefs */
BRAVIC_API void BRAVIC_CALL CompileNet_bn(net_bn net);
BRAVIC_API void BRAVIC_CALL EnterFinding_bn(node_bn node, statetype state);
BRAVIC_API void BRAVIC_CALL EnterFindingNot_bn(node_bn node, statetype state);
BRAVIC_API void BRAVIC_CALL EnterNodeLikelihood_bn(node_bn node, const probtype *likelihood);
BRAVIC_API void BRAVIC_CALL EnterNodeValue_bn(node_bn node, double value);
BRAVIC_API statetype BRAVIC_CALL GetNodeFinding_bn(node_bn node);
BRAVIC_API const probtype *BRAVIC_CALL GetNodeLikelihood_bn(node_bn node);
BRAVIC_API double BRAVIC_CALL GetNodeValue_bn(node_bn node);
BRAVIC_API void BRAVIC_CALL RetractNodeFindings_bn(node_bn node);
BRAVIC_API void BRAVIC_CALL RetractAllFindings_bn(net_bn net);
BRAVIC_API const probtype *BRAVIC_CALL GetNodeBeliefs_bn(node_bn node);
BRAVIC_API int BRAVIC_CALL IsBeliefUpdated_bn(node_bn node);
BRAVIC_API double BRAVIC_CALL CaseProbability_bn(net_bn net);

/* net files */
BRAVIC_API void BRAVIC_CALL WriteNet_bn(net_bn net, filespec_ns file);
BRAVIC_API net_bn BRAVIC_CALL ReadNet_bn(filespec_ns file, int options);

/* case files, learning, random cases */
BRAVIC_API long BRAVIC_CALL WriteCase_bn(nodelist_bn nodes, filespec_ns file, long idnum, double freq);
BRAVIC_API void BRAVIC_CALL ReadCase_bn(long *caseposn, filespec_ns file, nodelist_bn nodes, long *idnum, double *freq);
BRAVIC_API void BRAVIC_CALL CaseRevisesProbs_bn(nodelist_bn nodes, int updating, double degree);
BRAVIC_API void BRAVIC_CALL CaseFileRevisesProbs_bn(filespec_ns file, nodelist_bn nodes, int updating, double degree);
BRAVIC_API void BRAVIC_CALL FadeProbs_bn(node_bn node, double degree);
BRAVIC_API long BRAVIC_CALL RandomCase_bn(nodelist_bn nodes, int method, double maxdraws);

/* decision networks */
BRAVIC_API int BRAVIC_CALL ReverseLink_bn(node_bn parent, node_bn child);
BRAVIC_API int BRAVIC_CALL OptimizeDecisions_bn(nodelist_bn nodes);
/* consumes the list */
BRAVIC_API void BRAVIC_CALL AbsorbNodes_bn(nodelist_bn nodes);

/* additions */
/* reproducible draws; 0 = the calendar time. 0, or -1 for a bad environment */
BRAVIC_API int BRAVIC_CALL SeedRandom_ns(int seed, environ_ns env);
/* the case-file generator */
BRAVIC_API int BRAVIC_CALL GenerateCases_bn(nodelist_bn nodes, long numcases, filespec_ns file, long firstid, double freq, int append);
/* the report's text, owned by the net until its next call */
BRAVIC_API const char *BRAVIC_CALL JunctionTreeReport_bn(net_bn net);
/* the find-most-probable flag; 0, 1 or negative like any setter */
BRAVIC_API int BRAVIC_CALL SetNetFindMPE_bn(net_bn net, int findmpe);
/* in that mode: the node's state in the most probable configuration */
BRAVIC_API statetype BRAVIC_CALL GetNodeMostProbable_bn(node_bn node);
/* searches beyond the default order, stores the best found; 0 or negative */
BRAVIC_API int BRAVIC_CALL FindElimOrder_bn(net_bn net, double seconds);
/* under the current decision tables and findings; undef_dbl_ns where not defined */
BRAVIC_API double BRAVIC_CALL GetExpectedUtility_bn(net_bn net);
/* 1 undone, 0 nothing to undo, negative on error */
BRAVIC_API int BRAVIC_CALL UndoLastChange_bn(net_bn net);
BRAVIC_API int BRAVIC_CALL RedoLastChange_bn(net_bn net);
/* returns the previous depth; -1 only asks */
BRAVIC_API int BRAVIC_CALL SetUndoDepth_bn(int depth, net_bn net);
/* NULL is accepted; what a host leaves is freed at close */
BRAVIC_API void BRAVIC_CALL FreeFileSpec_ns(filespec_ns file);
/* turns progress printing on or off like the other settings */
BRAVIC_API int BRAVIC_CALL ShowProgress_ns(int setting, environ_ns env);
typedef int (BRAVIC_CALL *progress_ns) (void *data, const char *what, double done, double total_seconds);
/* called at least once a second in long operations; a non-zero answer halts them as the abort gesture does */
BRAVIC_API void BRAVIC_CALL SetProgressCallback_ns(progress_ns report, void *data, environ_ns env);

#ifdef __cplusplus
}
#endif

#endif
