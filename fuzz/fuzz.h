// What the fuzz targets share: a check that ends the run, and one that nothing stays allocated.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "util/bytes.h"
#include "util/mem.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

// require ends the run where an invariant does not hold, and tells the line it stands on.
inline void require(bool holds, int line = __builtin_LINE()) {
  if (holds) return;
  std::fprintf(stderr, "the invariant in line %d does not hold\n", line);
  std::abort();
}

// Balance requires that what was allocated in its scope was released there. Declare it first.
class Balance {
 public:
  Balance() = default;
  Balance(const Balance &) = delete;
  Balance &operator=(const Balance &) = delete;
  ~Balance() { require(ssh_mem_blocks() == before_); }

 private:
  int64_t before_ = ssh_mem_blocks();
};

// same_text compares two texts of which both or none may be null.
inline bool same_text(const char *a, const char *b) {
  return a && b ? std::strcmp(a, b) == 0 : a == b;
}

// inside is true if a view shows octets of `whole`, or nothing.
inline bool inside(Bytes view, Bytes whole) {
  if (view.empty()) return true;
  return view.data() >= whole.data() && view.data() + view.size() <= whole.data() + whole.size();
}
