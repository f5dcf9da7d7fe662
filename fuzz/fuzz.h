// What the fuzz targets share: the entry point, which holds that nothing stays allocated, and a
// check that ends the run. A target defines check_input.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "util/bytes.h"
#include "util/mem.h"

// require ends the run where an invariant does not hold, and tells the line it stands on.
inline void require(bool holds, int line = __builtin_LINE()) {
  if (holds) return;
  std::fprintf(stderr, "the invariant in line %d does not hold\n", line);
  std::abort();
}

// check_input is the target: it takes any bytes.
void check_input(Bytes input);

extern "C" [[gnu::used]] inline int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const int64_t before = ssh_mem_blocks();
  check_input({data, size});
  require(ssh_mem_blocks() == before);
  return 0;
}

// same_text compares two texts of which both or none may be null.
inline bool same_text(const char *a, const char *b) {
  return a && b ? std::strcmp(a, b) == 0 : a == b;
}

// inside is true if a view shows bytes of `whole`, or nothing.
inline bool inside(Bytes view, Bytes whole) {
  if (view.empty()) return true;
  return view.data() >= whole.data() && view.data() + view.size() <= whole.data() + whole.size();
}
