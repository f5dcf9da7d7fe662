// Object identifiers. Inside the library an identifier is a view of its encoded bytes (SshOid),
// which costs nothing and compares by bytes. Dotted text is made where people see it, and read
// where they write it; tables are written as dotted text that the compiler encodes
// (SshOidConstant).
//
// The first two arcs share a byte, or more, which is why there are two dotted forms. The library's
// own takes byte / 40 and byte mod 40, always. The standard's has arc 2 for everything from 80 on
// (X.690, 8.19.4). What is 3.16.55.1 in the first form is 2.999.1 in the second. `standard` chooses
// the second; the profile decides which one a program sees (x509/profile.h).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "util/bytes.h"

// SshOid is a view of the content bytes of an OBJECT IDENTIFIER. It is valid as long as they are.
struct SshOid {
  Bytes octets;
  explicit operator bool() const { return !octets.empty(); }
  bool operator==(const SshOid &other) const { return ssh_bytes_equal(octets, other.octets); }
};

// ssh_ber_oid_string_to_arcs splits dotted text into a new array of arcs (ssh_xfree). Null if an
// arc does not fit into 32 bits or a character is neither digit nor dot. Nothing between two dots
// is 0.
[[nodiscard]] uint32_t *ssh_ber_oid_string_to_arcs(const char *text, size_t *count);

// ssh_ber_arcs_to_oid_string joins arcs with dots into new text (ssh_xfree); null if that would be
// too long for one block.
[[nodiscard]] char *ssh_ber_arcs_to_oid_string(const uint32_t *arcs, size_t count);

// ssh_ber_oid_is_valid is true if the bytes are an identifier: they are not empty, the last arc is
// complete, and no arc has more than 28 bits (four bytes). Up to five bytes, only the last byte has
// to be looked at: behind the first byte there is no room for an arc that is too long.
[[nodiscard]] bool ssh_ber_oid_is_valid_long(Bytes octets);  // the general case
[[nodiscard]] inline bool ssh_ber_oid_is_valid(Bytes octets) {
  if (octets.size() > 5) return ssh_ber_oid_is_valid_long(octets);
  return octets.size() == 1 || (octets.size() > 1 && octets.back() < 0x80);
}

// ssh_ber_oid_text returns an identifier's dotted text (ssh_xfree), or null if the bytes are not
// valid.
[[nodiscard]] char *ssh_ber_oid_text(SshOid oid, bool standard = false);

// ssh_ber_oid_from_text writes an identifier's content bytes to `out` and returns their count;
// SSH_OID_ENCODED_MAX(strlen(text)) bytes are always enough. 0 if the text has fewer than two arcs
// or does not parse.
constexpr size_t SSH_OID_ENCODED_MAX(size_t text_length) { return text_length * 2 + 8; }
[[nodiscard]] size_t ssh_ber_oid_from_text(const char *text, uint8_t *out, bool standard = false);

// SshOidConstant is an identifier of at most 15 bytes that the compiler has encoded, for tables.
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
