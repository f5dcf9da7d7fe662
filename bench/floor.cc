#include <vector>

#include "bench.h"

namespace {

// read_header steps over one identifier and length, and gives the length; false if the bytes end
// or are not DER of the forms that the inputs have.
inline bool read_header(const uint8_t *&p, const uint8_t *end, size_t &length) {
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

// encoded_inside tells how many bytes of a primitive stand before the encoding that it holds, or
// gives `length`: the value of an extension, which is the last element at its depth, and a key that
// is a SEQUENCE.
inline size_t encoded_inside(const uint8_t *header, const uint8_t *content, const uint8_t *end,
                             size_t length, size_t depth, size_t extension_depth) {
  constexpr size_t kKeyDepth = 3;
  if (*header == 0x04 && depth == extension_depth && content + length == end) return 0;
  const bool key = *header == 0x03 && depth == kKeyDepth && length > 1 && content[1] == 0x30;
  return key ? 1 : length;
}

// walk begins at a fixed place of the cache lines: it runs up to a quarter faster or slower by
// where its loop lies, which would else change with whatever stands before it.
[[gnu::noinline, gnu::aligned(64)]] size_t walk(const uint8_t *p, const uint8_t *end,
                                                size_t extension_depth) {
  constexpr size_t kDepth = 32;
  const uint8_t *ends[kDepth];
  size_t depth = 0;
  size_t headers = 0;
  for (;;) {
    while (p == end) {
      if (depth == 0) return headers;
      end = ends[--depth];
    }
    const uint8_t *const header = p;
    size_t length = 0;
    if (!read_header(p, end, length)) return 0;
    ++headers;
    const uint8_t *const next = p + length;
    if ((*header & 0x20) == 0) p += encoded_inside(header, p, end, length, depth, extension_depth);
    if (p == next) continue;
    if (depth == kDepth) return 0;
    ends[depth++] = end;
    end = next;
  }
}

bool floor_of(Bytes input, size_t extension_depth) {
  static std::vector<uint8_t> block;
  if (block.size() < input.size()) block.resize(input.size());
  std::memcpy(block.data(), input.data(), input.size());
  return walk(block.data(), block.data() + input.size(), extension_depth) > 0;
}

}  // namespace

bool ssh_bench_floor(Bytes certificate) { return floor_of(certificate, 5); }

bool ssh_bench_crl_floor(Bytes crl) { return floor_of(crl, 6); }
