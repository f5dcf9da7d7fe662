#include <dlfcn.h>

#include <cstdio>

#include "api/agent.h"

// A host may have the functions in its program or in a library that is loaded already, so the
// process is asked first.
void *find_host_function(const char *library, const char *name) {
  if (void *address = dlsym(RTLD_DEFAULT, name)) return address;
  char file[64];
  std::snprintf(file, sizeof file, "lib%s.so", library);
  // Never closed: its functions are used until the process ends.
  void *loaded = dlopen(file, RTLD_NOW | RTLD_LOCAL);
  return loaded ? dlsym(loaded, name) : nullptr;
}
