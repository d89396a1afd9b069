/* Calls every exported function once or more, as a plain C host does. Argument: the list of exports, each of which
   must also be found in capitals in the shared library, at the same address. */
#define _POSIX_C_SOURCE 200112L
#include <ctype.h>
#include <math.h>
#include <stdio.h>
#include <string.h>

#include "bravic.h"

#ifdef _WIN32
#include <windows.h>
#define EXPORTED(name) GetProcAddress(GetModuleHandleA("Bravic.dll"), name)
#else
#include <dlfcn.h>
#define EXPORTED(name) dlsym(RTLD_DEFAULT, name)
#endif

static int failures = 0;

#define CHECK(condition) \
  ((condition) ? (void)0 : (void)(printf("%s:%d: %s\n", __FILE__, __LINE__, #condition), ++failures))

static int Near(double a, double b) {
  return fabs(a - b) < 1e-5;
}

static void CheckCapitals(const char* list) {
  FILE* file = fopen(list, "r");
  char name[100], capitals[100];
  int i, count = 0;
  CHECK(file != NULL);
  if (!file) return;
  while (fscanf(file, "%99s", name) == 1) {
    for (i = 0; name[i]; ++i) capitals[i] = (char)toupper((unsigned char)name[i]);
    capitals[i] = '\0';
    if (!EXPORTED(capitals) || EXPORTED(capitals) != EXPORTED(name)) {
      printf("not exported in both spellings: %s\n", name);
      ++failures;
    }
    ++count;
  }
  fclose(file);
  CHECK(count > 100);
}

/* No error of danger 5 or more may be pending; warnings are cleared with what came before. */
static void NoErrors(environ_ns env, const char* where) {
  report_ns error = GetError_ns(env, 5, NULL);
  if (error) {
    printf("after %s: %s (%d)\n", where, ErrorMessage_ns(error), ErrorNumber_ns(error));
    ++failures;
  }
  ClearErrors_ns(env, 6);
}

static int BRAVIC_CALL Progress(void* data, const char* what, double done, double total_seconds) {
  (void)what, (void)total_seconds;
  *(double*)data = done;
  return 0;
}

static void SettingsAndErrors(environ_ns env) {
  const char* version = NULL;
  report_ns error;
  static double done;
  CHECK(GetBravicVersion_bn(env, &version) == 106 && strstr(version, "Bravic"));
  CHECK(ArgumentChecking_ns(26, env) == 25 && ArgumentChecking_ns(-1, env) == 26);
  CHECK(HasUserInteraction_ns(-1, env) == 0 && HasGUI_ns(-1, env) == 0 && HasFileIO_ns(-1, env) == 1);
  CHECK(HasUserInterpreter_ns(-1, env) == 0 && ShowProgress_ns(0, env) == 0 && HaltOnInterrupt_ns(-1, env) == 0 && SeedRandom_ns(7, env) == 0);
  SetProgressCallback_ns(Progress, &done, env);
  NoErrors(env, "settings");
  error = ReportError_ns(env, 12, 4, "100%s of the lawn is wet");
  CHECK(error && ErrorNumber_ns(error) == 12 && ErrorDanger_ns(error) == 4);
  CHECK(strstr(ErrorMessage_ns(error), "100%s of the lawn is wet"));
  ClearError_ns(error);
  CHECK(GetError_ns(env, 0, NULL) == NULL);
}

static node_bn YesNo(const char* name, net_bn net) {
  node_bn node = NewNode_bn(name, 2, net);
  CHECK(SetNodeStateName_bn(node, 0, "yes") == 0 && SetNodeStateName_bn(node, 1, "no") == 0);
  return node;
}

static void Row(node_bn node, const statetype* parents, double yes) {
  probtype row[2];
  row[0] = (probtype)yes;
  row[1] = (probtype)(1 - yes);
  SetNodeProbs_bn(node, parents, row);
}

/* Rain and Sprinkler are the parents of Grass. */
static net_bn Lawn(environ_ns env) {
  static const double wet[2][2] = {{0.99, 0.9}, {0.8, 0.01}};
  net_bn net = NewNet_bn("Lawn", env);
  node_bn rain = YesNo("Rain", net), sprinkler = YesNo("Sprinkler", net), grass = YesNo("Grass", net);
  statetype states[2];
  CHECK(AddLink_bn(rain, grass) == 0 && AddLink_bn(sprinkler, grass) == 1);
  Row(rain, NULL, 0.2);
  Row(sprinkler, NULL, 0.1);
  for (states[0] = 0; states[0] < 2; ++states[0])
    for (states[1] = 0; states[1] < 2; ++states[1]) Row(grass, states, wet[states[0]][states[1]]);
  NoErrors(env, "building the net");
  return net;
}

static void Attributes(environ_ns env, net_bn net) {
  node_bn rain = NodeNamed_bn("Rain", net), grass = NodeNamed_bn("Grass", net), size = NewNode_bn("Size", 0, net);
  static const double levels[3] = {0, 1.5, 4};
  int data = 3;
  CHECK(SetNetName_bn(net, "Garden") == 0 && strcmp(GetNetName_bn(net), "Garden") == 0);
  CHECK(SetNetTitle_bn(net, "The lawn") == 0 && strcmp(GetNetTitle_bn(net), "The lawn") == 0);
  CHECK(SetNetComment_bn(net, "c") == 0 && strcmp(GetNetComment_bn(net), "c") == 0);
  CHECK(SetNetUserData_bn(net, 0, &data) == 0 && GetNetUserData_bn(net, 0) == &data);
  CHECK(GetNetAutoUpdate_bn(net) == 0 && SetNetAutoUpdate_bn(net, 0) == 1);
  CHECK(GetNodeNet_bn(rain) == net);
  CHECK(SetNodeName_bn(rain, "Rainfall") == 0 && strcmp(GetNodeName_bn(rain), "Rainfall") == 0);
  CHECK(SetNodeName_bn(rain, "Rain") == 0);
  CHECK(SetNodeTitle_bn(rain, "t") == 0 && strcmp(GetNodeTitle_bn(rain), "t") == 0);
  CHECK(SetNodeComment_bn(rain, "d") == 0 && strcmp(GetNodeComment_bn(rain), "d") == 0);
  CHECK(SetNodeUserData_bn(rain, 0, &data) == 0 && GetNodeUserData_bn(rain, 0) == &data);
  CHECK(SetNodeKind_bn(rain, DECISION_NODE) == 0 && GetNodeKind_bn(rain) == DECISION_NODE);
  CHECK(SetNodeKind_bn(rain, NATURE_NODE) == 0 && GetNodeDiscrete_bn(rain) && !GetNodeDiscrete_bn(size));
  CHECK(SetNodeLevels_bn(size, 2, levels) == 0 && GetNodeNumberStates_bn(size) == 2 && GetNodeLevel_bn(size, 2) == 4);
  CHECK(strcmp(GetNodeStateName_bn(rain, 1), "no") == 0 && StateNamed_bn("no", rain) == 1);
  CHECK(LengthNodeList_bn(GetNodeParents_bn(grass)) == 2 && NthNode_bn(GetNodeChildren_bn(rain), 0) == grass);
  CHECK(SetLinkName_bn(grass, 0, "Water") == 0 && LinkNamed_bn("Water", grass) == 0);
  CHECK(strcmp(GetLinkName_bn(grass, 0), "Water") == 0);
  CHECK(HasRelation_bn(grass) && !HasRelation_bn(size));
  DeleteNode_bn(size);
  CHECK(LengthNodeList_bn(GetNetNodes_bn(net)) == 3);
  NoErrors(env, "attributes");
}

static void Lists(environ_ns env, net_bn net) {
  node_bn rain = NodeNamed_bn("Rain", net), grass = NodeNamed_bn("Grass", net), extra;
  nodelist_bn list = NewNodeList_bn(1, env), copy;
  SetNthNode_bn(list, 0, grass);
  CHECK(AddNodeToList_bn(rain, list, 0) == rain);
  copy = DupNodeList_bn(list);
  CHECK(RemoveNthNode_bn(list, 1) == grass && LengthNodeList_bn(list) == 1 && NthNode_bn(copy, 1) == grass);
  FreeNodeList_bn(copy);
  copy = DuplicateNodes_bn(list, net);
  extra = NthNode_bn(copy, 0);
  CHECK(extra != rain);
  FreeNodeList_bn(copy);
  FreeNodeList_bn(list);
  DeleteNode_bn(extra);
  NoErrors(env, "lists");
}

static void Tables(environ_ns env, net_bn net) {
  node_bn grass = NodeNamed_bn("Grass", net), sum = NewNode_bn("Sum", 3, net), rain = NodeNamed_bn("Rain", net);
  statetype states[2] = {1, 0};
  CHECK(Near(GetNodeProbs_bn(grass, states)[0], 0.8));
  SetNodeExperience_bn(grass, states, 12);
  CHECK(Near(GetNodeExperience_bn(grass, states), 12));
  CHECK(AddLink_bn(rain, sum) == 0);
  SetNodeFuncValue_bn(sum, states, 2);
  CHECK(GetNodeFuncValue_bn(sum, states) == 2 && IsNodeDeterministic_bn(sum));
  SwitchNodeParent_bn(0, sum, NodeNamed_bn("Sprinkler", net));
  CHECK(NthNode_bn(GetNodeParents_bn(sum), 0) == NodeNamed_bn("Sprinkler", net));
  CHECK(DeleteLink_bn(0, sum) == 0);
  DeleteNodeRelation_bn(sum);
  DeleteNode_bn(sum);
  CHECK(SetUndoDepth_bn(-1, net) == 1 && UndoLastChange_bn(net) == 1 && NodeNamed_bn("Sum", net) == sum);
  CHECK(!HasRelation_bn(sum) && RedoLastChange_bn(net) == 1 && NodeNamed_bn("Sum", net) == NULL);
  NoErrors(env, "tables");
}

static void Inference(environ_ns env, net_bn net) {
  static const probtype likelihood[2] = {0.5f, 0.25f};
  static const double levels[2] = {10, 20};
  node_bn rain = NodeNamed_bn("Rain", net), grass = NodeNamed_bn("Grass", net);
  nodelist_bn order;
  double wet = 0.2 * (0.1 * 0.99 + 0.9 * 0.9) + 0.8 * (0.1 * 0.8 + 0.9 * 0.01);
  CompileNet_bn(net);
  CHECK(Near(GetNodeBeliefs_bn(grass)[0], wet) && IsBeliefUpdated_bn(grass));
  EnterFinding_bn(grass, 0);
  CHECK(!IsBeliefUpdated_bn(grass) && GetNodeFinding_bn(grass) == 0 && Near(CaseProbability_bn(net), wet));
  CHECK(Near(CaseLogProbability_bn(net), -1.374366));
  RetractNodeFindings_bn(grass);
  EnterFindingNot_bn(grass, 1);
  EnterNodeLikelihood_bn(rain, likelihood);
  CHECK(GetNodeFinding_bn(grass) == 0 && Near(GetNodeLikelihood_bn(rain)[1], 0.25));
  RetractAllFindings_bn(net);
  CHECK(SetNodeLevels_bn(rain, 2, levels) == 0);
  EnterNodeValue_bn(rain, 20);
  CHECK(GetNodeFinding_bn(rain) == 1 && GetNodeValue_bn(rain) == 20);
  RetractAllFindings_bn(net);
  CHECK(SetNetFindMPE_bn(net, 1) == 0 && GetNodeMostProbable_bn(rain) == 1 && SetNetFindMPE_bn(net, 0) == 0);
  CHECK(FindElimOrder_bn(net, 0.01) == 0);
  order = DupNodeList_bn(GetNetElimOrder_bn(net));
  CHECK(SetNetElimOrder_bn(net, order) == 1);
  FreeNodeList_bn(order);
  CompileNet_bn(net);
  CHECK(strstr(JunctionTreeReport_bn(net), "Total state space = 8") != NULL);
  NoErrors(env, "inference");
}

static void Files(environ_ns env, net_bn net) {
  filespec_ns file = FileNamed_ns("every_export.dne", env), cases = FileNamed_ns("every_export.cas", env);
  nodelist_bn nodes = GetNetNodes_bn(net);
  node_bn rain = NodeNamed_bn("Rain", net);
  net_bn read;
  long position = FIRST_CASE, id = 0;
  double frequency = 0;
  WriteNet_bn(net, file);
  read = ReadNet_bn(file, 0);
  CHECK(read && strcmp(GetNetTitle_bn(read), "The lawn") == 0);
  FreeNet_bn(read);
  FreeFileSpec_ns(file);
  remove("every_export.cas");
  CHECK(RandomCase_bn(nodes, 0, 1) == 0 && WriteCase_bn(nodes, cases, 4, 1) > 0);
  ReadCase_bn(&position, cases, nodes, &id, &frequency);
  CHECK(position > 0 && id == 4 && frequency == 1 && GetNodeFinding_bn(rain) >= 0);
  CaseRevisesProbs_bn(nodes, 0, 1);
  RetractAllFindings_bn(net);
  CHECK(GenerateCases_bn(nodes, 20, cases, 1, 0, 0) == 0);
  CaseFileRevisesProbs_bn(cases, nodes, 0, 1);
  CHECK(Near(GetNodeExperience_bn(rain, NULL), 23));
  FadeProbs_bn(rain, 1);
  CHECK(Near(GetNodeProbs_bn(rain, NULL)[0], 0.5) && Near(GetNodeExperience_bn(rain, NULL), 2));
  NoErrors(env, "files");
}

/* Whether to water: the garden may be dry, water costs a little. */
static void Decisions(environ_ns env, net_bn lawn) {
  static const double worth[2][2] = {{8, 0}, {7, 10}};
  net_bn net = NewNet_bn("Watering", env);
  node_bn dry = YesNo("Dry", net), water = YesNo("Water", net), utility = NewNode_bn("Worth", 0, net);
  nodelist_bn nodes = NewNodeList_bn(0, env);
  statetype states[2];
  Row(dry, NULL, 0.4);
  CHECK(SetNodeKind_bn(water, DECISION_NODE) == 0 && SetNodeKind_bn(utility, UTILITY_NODE) == 0);
  CHECK(AddLink_bn(dry, utility) == 0 && AddLink_bn(water, utility) == 1);
  for (states[0] = 0; states[0] < 2; ++states[0])
    for (states[1] = 0; states[1] < 2; ++states[1]) SetNodeFuncValue_bn(utility, states, worth[states[0]][states[1]]);
  CHECK(OptimizeDecisions_bn(GetNetNodes_bn(net)) == 0 && Near(GetExpectedUtility_bn(net), 0.4 * 8 + 0.6 * 7));
  AddNodeToList_bn(dry, nodes, 0);
  AbsorbNodes_bn(nodes);
  CHECK(NodeNamed_bn("Dry", net) == NULL);
  FreeNet_bn(net);
  CHECK(ReverseLink_bn(NodeNamed_bn("Rain", lawn), NodeNamed_bn("Grass", lawn)) == 0);
  NoErrors(env, "decisions");
}

int main(int argc, char** argv) {
  char message[MESG_LEN_ns];
  environ_ns env = NewBravicEnviron_bn();
  net_bn net;
  if (argc > 1) CheckCapitals(argv[1]);
  CHECK(InitBravic_bn(env, message) == 0);
  CHECK(strstr(message, "Bravic") != NULL);
  CHECK(undef_dbl_ns < -1e308 && inf_dbl_ns > 1e308 && BaseExperience_bn == 1.0);
  SettingsAndErrors(env);
  net = Lawn(env);
  Attributes(env, net);
  Lists(env, net);
  Tables(env, net);
  Inference(env, net);
  Files(env, net);
  Decisions(env, net);
  FreeNet_bn(net);
  CHECK(CloseBravic_bn(env, message) == 0);
  CHECK(strcmp(message, "Leaving Bravic.\n") == 0);
  printf("%d failures\n", failures);
  return failures != 0;
}
