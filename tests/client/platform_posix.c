#include <dlfcn.h>
#include <malloc.h>
#include <stdio.h>
#include <string.h>

#include "platform.h"

void *library_open(const char *folder, const char *name) {
  char path[4096];
  snprintf(path, sizeof path, "%s/lib%s.so", folder, name);
  return dlopen(path, RTLD_NOW | RTLD_GLOBAL);
}

void library_close(void *library) { dlclose(library); }

int search_in(const char *folder) { return folder && 0; }

Function library_find(void *library, const char *name) {
  void *address = dlsym(library, name);
  Function function;
  memcpy(&function, &address, sizeof function); /* C has no conversion between the two */
  return function;
}

Resources resources_now(void) { return (Resources){mallinfo2().uordblks, 0}; }
