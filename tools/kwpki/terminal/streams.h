#pragma once

#include <cstdio>

namespace kwpki {

// Streams are the three standard streams, or those of a test.
struct Streams {
  std::FILE *in;
  std::FILE *out;
  std::FILE *err;
};

}  // namespace kwpki
