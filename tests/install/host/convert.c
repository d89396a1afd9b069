/* Reads nets in other programs' formats, each told by its content, and writes them as BIF. */
#include <stdio.h>
#include <string.h>

#include "bravic_formats.h"

static const char* const TEXTS[] = {
    "variable \"Rain?\" { type discrete [2] { yes, no }; }\nprobability ( \"Rain?\" ) { table 0.25, 0.75; }",
    "node Rain { states = (\"yes\" \"no\"); }\npotential (Rain) { data = (1 3); }",
    "BAYES 1 2 1 1 0 2 0.25 0.75"};

int main(void) {
  char message[MESG_LEN_ns], text[500];
  int i;
  environ_ns env = NewBravicEnviron_bn();
  report_ns error = NULL;
  if (!env || InitBravic_bn(env, message) < 0) return 1;
  for (i = 0; i < 3; ++i) {
    net_bn net = ReadNetFormatText_bn(TEXTS[i], (long)strlen(TEXTS[i]), NULL, "text", env);
    if (!net || WriteNetFormatText_bn(net, "bif", text, sizeof text) < 0) return 1;
    fputs(text, stdout);
    FreeNet_bn(net);
  }
  while ((error = GetError_ns(env, 4, error)) != NULL) puts(ErrorMessage_ns(error));
  return CloseBravic_bn(env, message) < 0;
}
