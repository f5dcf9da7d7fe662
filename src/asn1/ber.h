// BER primitives: identifier and length bytes both ways, the walk over a list of elements, object
// identifiers, and the freelist that takes back the blocks of a failed read. Everything works on
// bytes; templates and nodes build on it. The content of a primitive type is read in read.cc and
// written in create.cc, one row per keyword.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "util/bytes.h"

// SshBerStatus is the result of opening an element.
enum SshBerStatus : uint32_t {
  SSH_BER_OK = 0,
  SSH_BER_NO_ROOM = 4,         // writing: the header does not fit
  SSH_BER_CUT = 5,             // the bytes end inside the element
  SSH_BER_TAG_TOO_LONG = 8,    // a tag number of more than four bytes
  SSH_BER_LENGTH_TOO_LONG = 9  // more than four length bytes
};

enum SshBerClass : uint8_t {
  SSH_BER_UNIVERSAL,
  SSH_BER_APPLICATION,
  SSH_BER_CONTEXT,
  SSH_BER_PRIVATE
};

// SSH_BER_HEADER_MAX bounds the identifier and length bytes of any element.
constexpr size_t SSH_BER_HEADER_MAX = 11;

// SshBerElement describes one element: its header, and its content as far as the header tells.
// An indefinite length has content_length 0 here; ssh_ber_element_end finds where the element ends.
struct SshBerElement {
  uint8_t cls = SSH_BER_UNIVERSAL;
  bool constructed = false;
  bool indefinite = false;
  uint8_t header_length = 0;
  uint32_t tag = 0;
  uint32_t content_length = 0;
  const uint8_t *data =
      nullptr;  // the identifier byte; lives as long as the bytes that were opened

  [[nodiscard]] Bytes content() const { return {data + header_length, content_length}; }
  [[nodiscard]] bool is(uint8_t wanted_class, uint32_t wanted_tag) const {
    return cls == wanted_class && tag == wanted_tag;
  }
};

// ssh_ber_compute_tag_length_size counts the header bytes of an element.
[[nodiscard]] size_t ssh_ber_compute_tag_length_size(const SshBerElement &element);

// ssh_ber_set_tag_length writes the header into `size` bytes at `out`: SSH_BER_OK or
// SSH_BER_NO_ROOM.
[[nodiscard]] SshBerStatus ssh_ber_set_tag_length(uint8_t *out, size_t size,
                                                  const SshBerElement &element);

// SshBerSpan is where an element's content begins and ends; null where there is none to be had.
struct SshBerSpan {
  const uint8_t *content = nullptr;
  const uint8_t *end = nullptr;  // of the content, and so of the element

  [[nodiscard]] Bytes bytes() const { return {content, end}; }
};

// ssh_ber_span opens the element at `p`, of which no more than the identifier byte has been looked
// at, and which is known to be all of the tag. Null if the length is indefinite or the element is
// cut. Nearly all lengths take one byte, so these are looked at inline: compared with their sign,
// those of several bytes are too long to fit.
[[nodiscard]] SshBerSpan ssh_ber_span_long(const uint8_t *p, const uint8_t *end);
[[nodiscard, gnu::always_inline]] inline SshBerSpan ssh_ber_span(const uint8_t *p,
                                                                 const uint8_t *end) {
  const ptrdiff_t room = end - p - 2;
  if (room < 0) return {};
  const auto length = static_cast<size_t>(static_cast<int8_t>(p[1]));
  if (length > static_cast<size_t>(room)) return ssh_ber_span_long(p, end);
  return {p + 2, p + 2 + length};
}

// kSshBerOneOctetTag tells of an identifier byte that no others follow, and that it does not begin
// an end of contents.
inline constexpr auto kSshBerOneOctetTag = [] {
  std::array<bool, 256> table = {};
  for (size_t octet = 1; octet < table.size(); ++octet) table[octet] = (octet & 0x1F) != 0x1F;
  return table;
}();

// ssh_ber_usual_span opens an element of which nothing is known; null also if its tag takes more
// than one byte. It is for walks, which leave the few others to ssh_ber_open_element.
[[nodiscard, gnu::always_inline]] inline SshBerSpan ssh_ber_usual_span(const uint8_t *p,
                                                                       const uint8_t *end) {
  return p != end && kSshBerOneOctetTag[*p] ? ssh_ber_span(p, end) : SshBerSpan();
}

// ssh_ber_open_element reads the header at `p`, of any form. The element's content must lie before
// `end` (definite lengths): of one that is cut there, but not in its header, the header is known
// too.
[[nodiscard]] SshBerStatus ssh_ber_open_element(const uint8_t *p, const uint8_t *end,
                                                SshBerElement &element);

// ssh_ber_open is the same, with the usual elements inline.
[[nodiscard]] inline SshBerStatus ssh_ber_open(const uint8_t *p, const uint8_t *end,
                                               SshBerElement &element) {
  const SshBerSpan span = ssh_ber_usual_span(p, end);
  if (!span.content) return ssh_ber_open_element(p, end, element);
  element = {static_cast<uint8_t>(p[0] >> 6),
             (p[0] & 0x20) != 0,
             false,
             static_cast<uint8_t>(span.content - p),
             p[0] & 0x1Fu,
             static_cast<uint32_t>(span.end - span.content),
             p};
  return SSH_BER_OK;
}

// ssh_ber_is_end is true at the two bytes that close an indefinite length.
[[nodiscard]] inline bool ssh_ber_is_end(const uint8_t *p, const uint8_t *end) {
  return end - p >= 2 && p[0] == 0 && p[1] == 0;
}

// SshBerExtent is what ssh_ber_check finds: how many bytes hold whole, well-formed elements
// (nested ones included), how many top-level elements these are, and where the first fault lies if
// there is one.
struct SshBerExtent {
  size_t good = 0;
  size_t elements = 0;
  bool fault = false;
  bool fault_inside = false;  // inside the content of a top-level element
  const uint8_t *fault_at = nullptr;
};

// SSH_BER_INPUT_MAX is the largest input that is walked over: 64 MiB. All of a larger one is a
// fault at its start.
constexpr size_t SSH_BER_INPUT_MAX = 0x4000000;

// ssh_ber_check walks over all headers in `octets`, however deep, in one pass and without
// recursion. Its memory is 4 bytes a level of nesting beyond the first 64; more than 2^20 levels
// are a fault. End-of-contents bytes close an indefinite length or, where none is open, are
// stepped over.
[[nodiscard]] SshBerExtent ssh_ber_check(Bytes octets);

// ssh_ber_element_end finds the end of an opened element inside well-formed bytes; for an
// indefinite length that takes a walk over its content, whose steps are subtracted from `work`.
// Null when work runs out.
[[nodiscard]] const uint8_t *ssh_ber_element_end_walk(const SshBerElement &element,
                                                      const uint8_t *end, uint64_t &work);
[[nodiscard]] inline const uint8_t *ssh_ber_element_end(const SshBerElement &element,
                                                        const uint8_t *end, uint64_t &work) {
  if (!element.indefinite || !element.constructed)
    return element.data + element.header_length + element.content_length;
  return ssh_ber_element_end_walk(element, end, work);
}

// ssh_ber_content_end finds the end of an element's content from the end of the element: the bytes
// that close an indefinite length are not content.
[[nodiscard]] inline const uint8_t *ssh_ber_content_end(const SshBerElement &element,
                                                        const uint8_t *element_end) {
  return element_end - (element.indefinite && element.constructed ? 2 : 0);
}

// The kinds of a freelist record.
enum : uint32_t { SSH_BER_FREELIST_BLOCK = 1, SSH_BER_FREELIST_TEXT = 2 };

// SshBerFreelist records blocks that a read handed out; the empty list is null.
struct SshBerFreelistRecord;
using SshBerFreelist = SshBerFreelistRecord *;

[[nodiscard]] inline SshBerFreelist ssh_ber_freelist_alloc() { return nullptr; }

// ssh_ber_freelist_add records `block`; a kind other than the two above adds nothing; a null list
// is fatal.
void ssh_ber_freelist_add(SshBerFreelist *list, uint32_t kind, void *block);

// ssh_ber_freelist_free frees the records and, when the read failed, the blocks too.
void ssh_ber_freelist_free(SshBerFreelist list, bool failed);
