/* Calls every exported function as a plain C host does, with 0 for every argument: each comes back, and what it reports
   is reported in its name. calls.h has a line CALL(name, (0, 0)) for every function of the list of exports, each with as
   many arguments as bravic.h declares. Argument: that list; each name must also be found in capitals in the shared
   library, at the same address. */
#define _POSIX_C_SOURCE 200112L
#include <ctype.h>
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

static void CheckReports(environ_ns env, const char* name) {
  report_ns error = GetError_ns(env, 0, NULL);
  if (error && !strstr(ErrorMessage_ns(error), name)) {
    printf("%s reported: %s\n", name, ErrorMessage_ns(error));
    ++failures;
  }
  ClearErrors_ns(env, 6);
}

#define CALL(name, arguments) \
  name arguments;             \
  CheckReports(env, #name);

int main(int argc, char** argv) {
  char message[MESG_LEN_ns];
  environ_ns env = NewBravicEnviron_bn();
  CHECK(InitBravic_bn(env, message) == 0);
  CHECK(strstr(message, "Bravic") != NULL);
  if (argc > 1) CheckCapitals(argv[1]);
#include "calls.h"
  CHECK(undef_dbl_ns < -1e308 && inf_dbl_ns > 1e308 && BaseExperience_bn == 1.0);
  CHECK(NewNet_bn("Net", env) != NULL);
  CHECK(CloseBravic_bn(env, message) == 0);
  CHECK(strcmp(message, "Leaving Bravic.\n") == 0);
  printf("%d failures\n", failures);
  return failures != 0;
}
