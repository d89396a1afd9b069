/* Tables learned from cases: 10000 patients are drawn from the chest-clinic net, and its tables learned back from
   them. Run where examples/nets/chest_clinic.dne is found, or with the path of the net as argument. */
#include <stdio.h>

#include "bravic.h"

#define NUM_PATIENTS 10000

/* The parents' states of the next row, the last parent's first; 0 after the last row. */
static int NextRow(nodelist_bn parents, statetype* states) {
  int i;
  for (i = LengthNodeList_bn(parents) - 1; i >= 0; --i) {
    if (++states[i] < GetNodeNumberStates_bn(NthNode_bn(parents, i))) return 1;
    states[i] = 0;
  }
  return 0;
}

static void Compare(node_bn original, node_bn learned) {
  nodelist_bn parents = GetNodeParents_bn(original);
  statetype states[8] = {0};
  int i;
  do {
    printf("%-13s %.4f  %.4f  ", GetNodeName_bn(original), GetNodeProbs_bn(original, states)[0],
           GetNodeProbs_bn(learned, states)[0]);
    printf("(of %.0f)", GetNodeExperience_bn(learned, states));
    for (i = 0; i < LengthNodeList_bn(parents); ++i) {
      printf(" %s=%s", GetNodeName_bn(NthNode_bn(parents, i)), GetNodeStateName_bn(NthNode_bn(parents, i), states[i]));
    }
    printf("\n");
  } while (NextRow(parents, states));
}

int main(int argc, char** argv) {
  char message[MESG_LEN_ns];
  environ_ns env = NewBravicEnviron_bn();
  filespec_ns file, cases;
  net_bn original, learned;
  nodelist_bn nodes;
  int i;
  if (InitBravic_bn(env, message) < 0) return fprintf(stderr, "%s\n", message), 1;

  file = FileNamed_ns(argc > 1 ? argv[1] : "examples/nets/chest_clinic.dne", env);
  original = ReadNet_bn(file, 0);
  cases = FileNamed_ns("patients.cas", env);
  SeedRandom_ns(1988, env);
  if (original) GenerateCases_bn(GetNetNodes_bn(original), NUM_PATIENTS, cases, -1, 0, 0);

  learned = original ? ReadNet_bn(file, 0) : NULL;
  if (learned) {
    nodes = GetNetNodes_bn(learned);
    for (i = 0; i < LengthNodeList_bn(nodes); ++i) DeleteNodeRelation_bn(NthNode_bn(nodes, i));
    CaseFileRevisesProbs_bn(cases, nodes, 0, 1.0);
    printf("              net     learned\n");
    for (i = 0; i < LengthNodeList_bn(nodes); ++i) {
      Compare(NodeNamed_bn(GetNodeName_bn(NthNode_bn(nodes, i)), original), NthNode_bn(nodes, i));
    }
  }
  remove("patients.cas");

  if (GetError_ns(env, 5, NULL)) return fprintf(stderr, "%s\n", ErrorMessage_ns(GetError_ns(env, 5, NULL))), 1;
  FreeNet_bn(learned);
  FreeNet_bn(original);
  return CloseBravic_bn(env, message) < 0;
}
