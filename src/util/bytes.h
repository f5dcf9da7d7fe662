// Views of bytes, and big-endian numbers read from and written to memory. Every layer uses them.
//
//   Bytes name = der.subspan(2, 4);   // copies nothing, owns nothing
//
// A `Bytes` never owns what it shows. Whoever hands one out says how long it lives. Add functions
// here only if they are about bytes as such; what knows a format belongs to the module of that
// format.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

using Bytes = std::span<const uint8_t>;

// ssh_load_be32 reads the four bytes at `p` as a big-endian number.
constexpr uint32_t ssh_load_be32(const uint8_t *p) {
  return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
}

// ssh_store_be32 writes `value` as four big-endian bytes at `p`.
constexpr void ssh_store_be32(uint8_t *p, uint32_t value) {
  p[0] = static_cast<uint8_t>(value >> 24);
  p[1] = static_cast<uint8_t>(value >> 16);
  p[2] = static_cast<uint8_t>(value >> 8);
  p[3] = static_cast<uint8_t>(value);
}

// ssh_bytes_equal is true when both views hold the same bytes.
inline bool ssh_bytes_equal(Bytes a, Bytes b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size()) == 0);
}

// ssh_bytes_text shows bytes as characters; ssh_text_bytes shows characters as bytes. Neither
// copies.
inline std::string_view ssh_bytes_text(Bytes bytes) {
  return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}
inline Bytes ssh_text_bytes(std::string_view text) {
  return {reinterpret_cast<const uint8_t *>(text.data()), text.size()};
}
