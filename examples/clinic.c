/* A net from a file, asked in many ways. Run where examples/nets is found, or with the path of the chest-clinic net as
   argument. */
#include <stdio.h>

#include "bravic.h"

/* Tells what has gone wrong since the last time, and answers how much it was. */
static int Complain(environ_ns env) {
  int count = 0;
  report_ns error = NULL;
  while ((error = GetError_ns(env, 3, error)) != NULL) {
    printf("error %d: %s\n", ErrorNumber_ns(error), ErrorMessage_ns(error));
    ++count;
  }
  ClearErrors_ns(env, 6);
  return count;
}

static void Show(const char *what, node_bn node) {
  const probtype *beliefs = GetNodeBeliefs_bn(node);
  printf("%-24s %s is %s by %.4f\n", what, GetNodeName_bn(node), GetNodeStateName_bn(node, 0), beliefs[0]);
}

static void AskOne(net_bn net) {
  node_bn cancer = NodeNamed_bn("LungCancer", net), xray = NodeNamed_bn("XRay", net);
  probtype reader[2];
  Show("nobody in particular", cancer);

  EnterFinding_bn(NodeNamed_bn("Smoking", net), FindState_bn("smoker", NodeNamed_bn("Smoking", net)));
  Show("a smoker", cancer);

  reader[0] = 0.8f; /* "abnormal" is said four times out of five when it is so, */
  reader[1] = 0.4f; /* and two times out of five when it is not */
  EnterNodeLikelihood_bn(xray, reader);
  Show("an X-ray, badly read", cancer);

  RetractNodeFindings_bn(xray);
  EnterFinding_bn(xray, 0);
  Show("a clear X-ray", cancer);
  printf("such findings have the probability %.4f\n", CaseProbability_bn(net));
}

/* What would tell most about cancer, given the findings there are? */
static void AskWhatNext(net_bn net, environ_ns env) {
  nodelist_bn nodes = GetNetNodes_bn(net);
  node_bn cancer = NodeNamed_bn("LungCancer", net), best = NULL;
  double bits[16], most = 0;
  int i;
  InformationGains_bn(cancer, nodes, bits);
  for (i = 0; i < LengthNodeList_bn(nodes); ++i) {
    if (NthNode_bn(nodes, i) == cancer || bits[i] <= most) continue;
    best = NthNode_bn(nodes, i);
    most = bits[i];
  }
  if (Complain(env) == 0) printf("most is told by %s: %.4f bits\n", GetNodeName_bn(best), most);
}

/* Three cases at once; UNDEF_STATE is not known. */
static void AskMany(net_bn net, environ_ns env) {
  static const statetype cases[3][2] = {{0, 0}, {1, UNDEF_STATE}, {UNDEF_STATE, UNDEF_STATE}};
  nodelist_bn observed = NewNodeList_bn(2, env), targets = NewNodeList_bn(1, env);
  probtype beliefs[3][2];
  int i;
  SetNthNode_bn(observed, 0, NodeNamed_bn("XRay", net));
  SetNthNode_bn(observed, 1, NodeNamed_bn("Dyspnea", net));
  SetNthNode_bn(targets, 0, NodeNamed_bn("LungCancer", net));
  RetractAllFindings_bn(net);
  BeliefsOfCases_bn(observed, cases[0], 3, targets, beliefs[0], NULL, 1);
  if (Complain(env) == 0)
    for (i = 0; i < 3; ++i) printf("case %d: %.4f\n", i + 1, beliefs[i][0]);
  FreeNodeList_bn(observed);
  FreeNodeList_bn(targets);
}

int main(int argc, char **argv) {
  char message[MESG_LEN_ns];
  environ_ns env = NewBravicEnviron_bn();
  net_bn net;
  if (InitBravic_bn(env, message) < 0) return fprintf(stderr, "%s\n", message), 1;

  net = ReadNet_bn(FileNamed_ns(argc > 1 ? argv[1] : "examples/nets/chest_clinic.dne", env), 0);
  if (Complain(env) || !net) return 1;
  CompileNet_bn(net);

  AskOne(net);
  AskWhatNext(net, env);
  AskMany(net, env);

  /* A mistake: nothing happens but that it is told. */
  EnterFinding_bn(NodeNamed_bn("Smoking", net), 7);
  Complain(env);

  FreeNet_bn(net);
  return CloseBravic_bn(env, message) < 0;
}
