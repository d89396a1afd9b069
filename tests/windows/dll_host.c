/* A host that finds the library while it runs, by either spelling of the names: builds, compiles and asks a net.
   Argument: the DLL. */
#include <ctype.h>
#include <math.h>
#include <stdio.h>
#include <windows.h>

#include "bravic.h"

static HMODULE library;
static int in_capitals;

static FARPROC Function(const char *name) {
  char spelled[100];
  FARPROC found;
  int i = 0;
  do spelled[i] = (char)(in_capitals ? toupper((unsigned char)name[i]) : name[i]);
  while (name[i++]);
  found = GetProcAddress(library, spelled);
  if (!found) {
    printf("%s is not exported\n", spelled);
    exit(1);
  }
  return found;
}

#define CALL(result, name, types) ((result(__stdcall *) types)(UINT_PTR)Function(name))

static node_bn Node(const char *name, net_bn net) {
  return CALL(node_bn, "NewNode_bn", (const char *, int, net_bn))(name, 2, net);
}

static void Row(node_bn node, int parent, double first) {
  statetype states[1];
  probtype row[2];
  states[0] = parent;
  row[0] = (probtype)first;
  row[1] = (probtype)(1 - first);
  CALL(void, "SetNodeProbs_bn", (node_bn, const statetype *, const probtype *))(node, states, row);
}

static int Work(void) {
  char message[MESG_LEN_ns];
  environ_ns env = CALL(environ_ns, "NewBravicEnviron_bn", (void))();
  net_bn net;
  node_bn disease, test;
  double belief, probability;
  if (CALL(int, "InitBravic_bn", (environ_ns, char *))(env, message) != 0) return puts(message), 1;
  net = CALL(net_bn, "NewNet_bn", (const char *, environ_ns))("Screening", env);
  disease = Node("Disease", net);
  test = Node("Test", net);
  CALL(int, "AddLink_bn", (node_bn, node_bn))(disease, test);
  Row(disease, 0, 0.01);
  Row(test, 0, 0.9);
  Row(test, 1, 0.05);
  CALL(void, "CompileNet_bn", (net_bn))(net);
  CALL(void, "EnterFinding_bn", (node_bn, statetype))(test, 0);
  belief = CALL(const probtype *, "GetNodeBeliefs_bn", (node_bn))(disease)[0];
  probability = CALL(double, "CaseProbability_bn", (net_bn))(net);
  CALL(void, "FreeNet_bn", (net_bn))(net);
  if (CALL(int, "CloseBravic_bn", (environ_ns, char *))(env, message) != 0) return puts(message), 1;
  printf("belief %.6f, probability %.6f\n", belief, probability);
  return fabs(probability - 0.0585) > 1e-7 || fabs(belief - 0.009 / 0.0585) > 1e-7;
}

int main(int argc, char **argv) {
  int failures = 0, round;
  for (round = 0; round < 4; ++round) {
    const double *undefined;
    library = LoadLibraryA(argc > 1 ? argv[1] : "Bravic.dll");
    if (!library) return printf("cannot be loaded: error %lu\n", GetLastError()), 1;
    in_capitals = round % 2;
    failures += Work();
    undefined = (const double *)(UINT_PTR)GetProcAddress(library, "undef_dbl_ns");
    failures += !undefined || *undefined > -1e308;
    if (!FreeLibrary(library) || GetModuleHandleA("Bravic.dll")) ++failures, puts("not unloaded");
  }
  printf("%d failures\n", failures);
  return failures != 0;
}
