/*
 * The smallest host of the plug-in: one call of Diff or Patch in a process of its own, so that
 * its start counts as it does for the tools it is measured against. Prints the result and the
 * largest resident size that the call reached.
 */

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>
#include <sys/resource.h>

#include "plugin/gne_d.h"

static int Usage(void) {
  fprintf(stderr,
          "usage: plugin_host LIBRARY diff NAME OLD/ NEW/ OUT/\n"
          "       plugin_host LIBRARY patch NAME ROOT SET/\n"
          "       plugin_host LIBRARY name\n");
  return 2;
}

/* POSIX hands functions out as data pointers; copying the bits is the portable way across. */
static int Look(void* library, const char* symbol, void* function) {
  void* address = dlsym(library, symbol);
  memcpy(function, &address, sizeof address);
  if (address == NULL) fprintf(stderr, "plugin_host: no %s in the library\n", symbol);
  return address != NULL;
}

int main(int argc, char** argv) {
  bool (*diff)(const char*, const char*, const char*, const char*);
  bool (*patch)(const char*, const char*, const char*);
  const char* (*name)(void);
  void* library;
  struct rusage usage;
  bool done;

  if (argc < 3) return Usage();
  library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (library == NULL) {
    fprintf(stderr, "plugin_host: %s\n", dlerror());
    return 1;
  }
  if (!Look(library, "Diff", &diff) || !Look(library, "Patch", &patch) ||
      !Look(library, "GetName", &name)) {
    return 1;
  }
  if (strcmp(argv[2], "diff") == 0 && argc == 7) {
    done = diff(argv[3], argv[4], argv[5], argv[6]);
  } else if (strcmp(argv[2], "patch") == 0 && argc == 6) {
    done = patch(argv[3], argv[4], argv[5]);
  } else if (strcmp(argv[2], "name") == 0 && argc == 3) {
    puts(name());
    done = true;
  } else {
    return Usage();
  }
  getrusage(RUSAGE_SELF, &usage);
  printf("result %d peak_kib %ld\n", done, usage.ru_maxrss);
  return done ? 0 : 1;
}
