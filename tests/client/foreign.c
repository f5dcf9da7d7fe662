/* A library named as one of the host's that is none of its: loading it ends the process. */
#include <stdio.h>
#include <stdlib.h>

__attribute__((constructor)) static void when_loaded(void) {
  puts("a foreign library is loaded");
  fflush(stdout);
  _Exit(1);
}
