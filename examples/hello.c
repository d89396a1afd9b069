/* A net of three nodes, built through the interface: was it the rain or the sprinkler? */
#include <stdio.h>

#include "bravic.h"

static node_bn Make(const char *name, net_bn net) {
  node_bn node = NewNode_bn(name, 2, net);
  SetNodeStateName_bn(node, 0, "yes");
  SetNodeStateName_bn(node, 1, "no");
  return node;
}

/* One row of a table: the parents' states and the probability of "yes". */
static void Row(node_bn node, const statetype *parents, double yes) {
  probtype row[2];
  row[0] = (probtype)yes;
  row[1] = (probtype)(1 - yes);
  SetNodeProbs_bn(node, parents, row);
}

static void Show(const char *what, net_bn net, node_bn rain, node_bn sprinkler) {
  printf("%-20s rain %.4f  sprinkler %.4f  (probability %.4f)\n", what, GetNodeBeliefs_bn(rain)[0],
         GetNodeBeliefs_bn(sprinkler)[0], CaseProbability_bn(net));
}

int main(void) {
  static const double wet[2][2] = {{0.99, 0.9}, {0.8, 0.01}};
  char message[MESG_LEN_ns];
  environ_ns env = NewBravicEnviron_bn();
  net_bn net;
  node_bn rain, sprinkler, grass;
  statetype states[2];
  if (InitBravic_bn(env, message) < 0) return fprintf(stderr, "%s\n", message), 1;

  net = NewNet_bn("Lawn", env);
  rain = Make("Rain", net);
  sprinkler = Make("Sprinkler", net);
  grass = Make("WetGrass", net);
  AddLink_bn(rain, grass);
  AddLink_bn(sprinkler, grass);
  Row(rain, NULL, 0.2);
  Row(sprinkler, NULL, 0.1);
  for (states[0] = 0; states[0] < 2; ++states[0])
    for (states[1] = 0; states[1] < 2; ++states[1]) Row(grass, states, wet[states[0]][states[1]]);

  CompileNet_bn(net);
  Show("no findings", net, rain, sprinkler);
  EnterFinding_bn(grass, 0);
  Show("wet grass", net, rain, sprinkler);
  EnterFinding_bn(rain, 0);
  Show("wet grass and rain", net, rain, sprinkler);

  if (GetError_ns(env, 5, NULL)) return fprintf(stderr, "%s\n", ErrorMessage_ns(GetError_ns(env, 5, NULL))), 1;
  FreeNet_bn(net);
  return CloseBravic_bn(env, message) < 0;
}
