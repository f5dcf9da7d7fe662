#include <cstdlib>

#include "bench.h"

namespace {

// read_header steps over one identifier and length, and gives the length; false if the octets end
// or are not DER of the forms that the inputs have.
bool read_header(const uint8_t *&p, const uint8_t *end, size_t &length) {
  if (end - p < 2 || (p[0] & 0x1F) == 0x1F) return false;
  length = p[1];
  p += 2;
  if (length >= 0x80) {
    size_t count = length & 0x7F;
    if (count == 0 || count > 4 || static_cast<size_t>(end - p) < count) return false;
    for (length = 0; count > 0; --count) length = length << 8 | *p++;
  }
  return length <= static_cast<size_t>(end - p);
}

size_t walk(const uint8_t *p, const uint8_t *end) {
  constexpr size_t kDepth = 32;
  const uint8_t *ends[kDepth];
  size_t depth = 0;
  size_t headers = 0;
  for (;;) {
    while (p == end) {
      if (depth == 0) return headers;
      end = ends[--depth];
    }
    const bool constructed = (*p & 0x20) != 0;
    size_t length = 0;
    if (!read_header(p, end, length)) return 0;
    ++headers;
    if (!constructed) {
      p += length;
    } else if (depth < kDepth) {
      ends[depth++] = end;
      end = p + length;
    } else {
      return 0;
    }
  }
}

}  // namespace

bool ssh_bench_floor(Bytes input) {
  auto *copy = static_cast<uint8_t *>(std::malloc(input.size()));
  if (!copy) return false;
  std::memcpy(copy, input.data(), input.size());
  const size_t headers = walk(copy, copy + input.size());
  std::free(copy);
  return headers > 0;
}
