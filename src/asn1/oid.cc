#include "asn1/oid.h"

#include <charconv>

#include "util/mem.h"

namespace {

constexpr uint32_t kArcOctetsMax = 4;  // 28 bits; longer arcs are refused on reading
constexpr size_t kDigitsMax = 10;      // of 32 bits

// count_dotted counts the arcs of dotted text: one more than its dots.
size_t count_dotted(const char *text) {
  size_t count = 1;
  for (; *text; ++text) count += *text == '.';
  return count;
}

// scan_arc reads digits up to a dot or the end and moves behind the dot. No digits are 0.
bool scan_arc(const char *&text, uint32_t &arc) {
  uint64_t value = 0;
  for (; *text && *text != '.'; ++text) {
    if (*text < '0' || *text > '9') return false;
    value = value * 10 + static_cast<uint64_t>(*text - '0');
    if (value > UINT32_MAX) return false;
  }
  if (*text) ++text;
  arc = static_cast<uint32_t>(value);
  return true;
}

// Arcs walks over the arcs behind the first one or two. `valid` becomes false at an arc that is not
// complete or too long, which ends the walk.
class Arcs {
 public:
  explicit Arcs(Bytes octets, size_t from = 1)
      : at_(octets.data() + from), end_(octets.data() + octets.size()) {}

  bool next(uint32_t &arc) {
    if (at_ == end_) return false;
    arc = *at_ & 0x7Fu;
    for (uint32_t used = 1; *at_++ & 0x80; ++used) {
      if (at_ == end_ || used == kArcOctetsMax) return valid_ = false;
      arc = arc << 7 | (*at_ & 0x7Fu);
    }
    return true;
  }
  [[nodiscard]] bool valid() const { return valid_; }

 private:
  const uint8_t *at_;
  const uint8_t *end_;
  bool valid_ = true;
};

// arc_is_too_long looks at the arc around byte `i`, which has its top bit set: another byte of the
// arc follows. An arc with four such bytes has more than 28 bits.
bool arc_is_too_long(Bytes octets, size_t i) {
  size_t first = i, behind = i;
  while (first > 1 && octets[first - 1] >= 0x80) --first;
  while (behind < octets.size() && octets[behind] >= 0x80) ++behind;
  return behind - first >= kArcOctetsMax;
}

constexpr size_t digits(uint32_t value) {
  size_t count = 1;
  for (; value >= 10; value /= 10) ++count;
  return count;
}

// First is the first two arcs of an identifier, and the number of bytes that they take.
struct First {
  uint32_t arcs[2];
  size_t octets = 1;
};

// first_of splits what stands for the first two arcs. The library's own form is byte / 40 and byte
// mod 40, deliberately also above 79: older peers have stored identifiers as text of this form, and
// they are compared as text. By the standard, a number of one or more bytes stands for both arcs,
// and from 80 on the first arc is 2.
First first_of(Bytes octets, bool standard) {
  const First classic = {{octets[0] / 40u, octets[0] % 40u}};
  if (!standard || octets[0] < 80) return classic;
  uint32_t number = 0;
  for (size_t i = 0; i < octets.size() && i < kArcOctetsMax; ++i) {
    number = number << 7 | (octets[i] & 0x7Fu);
    if (octets[i] < 0x80) return {{2, number - 80}, i + 1};
  }
  return classic;
}

// text_length gives the length of an identifier's dotted text, or 0 if the bytes are not valid.
size_t text_length(Bytes octets, bool standard) {
  if (octets.empty()) return 0;
  const First first = first_of(octets, standard);
  size_t length = digits(first.arcs[0]) + 1 + digits(first.arcs[1]);
  Arcs arcs(octets, first.octets);
  for (uint32_t arc; arcs.next(arc);) length += 1 + digits(arc);
  return arcs.valid() ? length : 0;
}

// write_arc writes an arc's digits and returns their end. Callers have made enough room.
char *write_arc(char *out, uint32_t arc) { return std::to_chars(out, out + kDigitsMax, arc).ptr; }

char *write_dot_arc(char *out, uint32_t arc) {
  *out++ = '.';
  return write_arc(out, arc);
}

// encode_arc writes an arc in groups of seven bits, the highest first; all but the last byte have
// their top bit set. Arcs above 28 bits are written although reading refuses them, deliberately:
// peers have always been sent what the caller named.
uint8_t *encode_arc(uint8_t *out, uint32_t arc) {
  int shift = 0;
  while (shift < 28 && arc >> (shift + 7)) shift += 7;
  for (; shift > 0; shift -= 7) *out++ = static_cast<uint8_t>(0x80u | (arc >> shift & 0x7Fu));
  *out++ = static_cast<uint8_t>(arc & 0x7Fu);
  return out;
}

}  // namespace

uint32_t *ssh_ber_oid_string_to_arcs(const char *text, size_t *count) {
  const size_t wanted = count_dotted(text);
  if (wanted > SSH_XMALLOC_MAX / sizeof(uint32_t)) return nullptr;
  auto *arcs = static_cast<uint32_t *>(ssh_xmalloc(wanted * sizeof(uint32_t)));
  for (size_t i = 0; i < wanted; ++i) {
    if (!scan_arc(text, arcs[i])) {
      ssh_xfree(arcs);
      return nullptr;
    }
  }
  *count = wanted;
  return arcs;
}

char *ssh_ber_arcs_to_oid_string(const uint32_t *arcs, size_t count) {
  size_t length = count;  // a dot after each arc but the last, and the terminator
  for (size_t i = 0; i < count && length <= SSH_XMALLOC_MAX; ++i) length += digits(arcs[i]);
  if (length > SSH_XMALLOC_MAX) return nullptr;
  auto *text = static_cast<char *>(ssh_xmalloc(length));
  char *at = text;
  for (size_t i = 0; i < count; ++i)
    at = i == 0 ? write_arc(at, arcs[i]) : write_dot_arc(at, arcs[i]);
  *at = 0;
  return text;
}

// An arc that is too long has four bytes in a row with the top bit set, and one of any four bytes
// in a row is at an index that 4 divides. So it is enough to look at every fourth byte, and around
// it where its top bit is set. (The first byte is no part of this: it is two arcs by itself.)
bool ssh_ber_oid_is_valid_long(Bytes octets) {
  if (octets.empty()) return false;
  for (size_t i = kArcOctetsMax; i < octets.size(); i += kArcOctetsMax) {
    if (octets[i] >= 0x80 && arc_is_too_long(octets, i)) return false;
  }
  return octets.size() == 1 || octets.back() < 0x80;
}

char *ssh_ber_oid_text(SshOid oid, bool standard) {
  const size_t length = text_length(oid.octets, standard);
  if (length == 0 || length >= SSH_XMALLOC_MAX) return nullptr;
  auto *text = static_cast<char *>(ssh_xmalloc(length + 1));
  const First first = first_of(oid.octets, standard);
  char *at = write_arc(text, first.arcs[0]);
  at = write_dot_arc(at, first.arcs[1]);
  Arcs arcs(oid.octets, first.octets);
  for (uint32_t arc; arcs.next(arc);) at = write_dot_arc(at, arc);
  *at = 0;
  return text;
}

size_t ssh_ber_oid_from_text(const char *text, uint8_t *out, bool standard) {
  size_t left = count_dotted(text);
  uint32_t first, second, arc;
  if (left < 2 || !scan_arc(text, first) || !scan_arc(text, second)) return 0;
  uint8_t *at = out;
  if (standard && first == 2 && second >= 40 && second < 1u << 27)
    at = encode_arc(at, 80 + second);
  else
    *at++ = static_cast<uint8_t>(first * 40u + second);
  for (left -= 2; left > 0; --left) {
    if (!scan_arc(text, arc)) return 0;
    at = encode_arc(at, arc);
  }
  return static_cast<size_t>(at - out);
}
