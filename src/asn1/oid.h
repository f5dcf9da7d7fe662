// Object identifiers: an encoded-bytes view inside the library, dotted text at its edges.
// The dotted form follows the library's first-byte rule, byte / 40 and byte mod 40, also for the
// arc 2, unless the caller asks for that of the standard: what is 3.16.55.1 by the one is 2.999.1
// by the other.                                                                X.690, 8.19.4
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "util/bytes.h"

// SshOid shows the content bytes of an OBJECT IDENTIFIER; it lives as long as the bytes it was
// read from.
struct SshOid {
  Bytes octets;
  explicit operator bool() const { return !octets.empty(); }
  bool operator==(const SshOid &other) const { return ssh_bytes_equal(octets, other.octets); }
};

// ssh_ber_oid_string_to_arcs splits dotted text into a new array of arcs (ssh_xfree); null if a
// digit overflows 32 bits or a character is neither digit nor dot. An empty run of digits is 0.
[[nodiscard]] uint32_t *ssh_ber_oid_string_to_arcs(const char *text, size_t *count);

// ssh_ber_arcs_to_oid_string joins arcs with dots into new text (ssh_xfree).
[[nodiscard]] char *ssh_ber_arcs_to_oid_string(const uint32_t *arcs, size_t count);

// ssh_ber_oid_is_valid is true if the bytes read as an identifier: not empty, not cut, no arc
// above 28 bits. In the four bytes after the first no arc can be too long.
[[nodiscard]] bool ssh_ber_oid_is_valid_long(Bytes octets);  // the general case
[[nodiscard]] inline bool ssh_ber_oid_is_valid(Bytes octets) {
  if (octets.size() > 5) return ssh_ber_oid_is_valid_long(octets);
  return octets.size() == 1 || (octets.size() > 1 && octets.back() < 0x80);
}

// ssh_ber_oid_text returns an identifier's dotted text (ssh_xfree), or null if the bytes are not
// valid.
[[nodiscard]] char *ssh_ber_oid_text(SshOid oid, bool standard = false);

// ssh_ber_oid_from_text writes an identifier's content bytes into `out`
// (SSH_OID_ENCODED_MAX(strlen) is always enough) and returns their count; 0 for fewer than two arcs
// or text that does not parse.
constexpr size_t SSH_OID_ENCODED_MAX(size_t text_length) { return text_length * 2 + 8; }
[[nodiscard]] size_t ssh_ber_oid_from_text(const char *text, uint8_t *out, bool standard = false);

// SshOidConstant holds a short identifier encoded by the compiler, for tables.
struct SshOidConstant {
  uint8_t octets[15] = {};
  uint8_t length = 0;

  consteval explicit SshOidConstant(const char *dotted) {
    uint32_t arcs[16] = {};
    size_t count = 1;
    for (const char *p = dotted; *p; ++p) {
      if (*p == '.')
        ++count;
      else
        arcs[count - 1] = arcs[count - 1] * 10 + static_cast<uint32_t>(*p - '0');
    }
    octets[length++] = static_cast<uint8_t>(arcs[0] * 40 + arcs[1]);
    for (size_t i = 2; i < count; ++i) {
      for (int shift = 28; shift >= 0; shift -= 7) {
        if (shift > 0 && arcs[i] >> shift == 0) continue;
        octets[length++] =
            static_cast<uint8_t>((shift ? 0x80u : 0u) | ((arcs[i] >> shift) & 0x7Fu));
      }
    }
  }
  [[nodiscard]] constexpr SshOid oid() const { return {{octets, length}}; }
};
