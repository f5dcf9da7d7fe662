// BER headers: identifier and length bytes, read and written; the check of all headers of an input;
// and the list of blocks that a failed read frees. Templates and nodes are built on it. Everything
// here works on bytes and knows no types: what the content of a type means is in content.h
// (reading) and create.cc (writing).
//
//   SshBerElement element;
//   if (ssh_ber_open(p, end, element) != SSH_BER_OK) return false;
//   use(element.tag, element.content());
//
// There are two ways to open an element. ssh_ber_span opens the usual kind, with a tag of one byte
// and a definite length, and is inlined; ssh_ber_open_element takes every legal form. Only the
// second one says what is wrong, so callers fall back on it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "util/bytes.h"

// SshBerStatus is the result of opening an element or of writing a header.
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

// SshBerElement describes one element by what its header says. An element of indefinite length has
// content_length 0 here; ssh_ber_element_end finds where it ends.
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

// SshBerSpan is where an element's content begins and ends.
struct SshBerSpan {
  const uint8_t *content = nullptr;  // null: the element could not be opened
  const uint8_t *end = nullptr;      // of the content, and so of the element

  [[nodiscard]] Bytes bytes() const { return {content, end}; }
};

// ssh_ber_span opens the element at `p`. The caller has looked at the identifier byte and knows
// that the tag takes no further byte. The result is null if the length is indefinite or the element
// does not end before `end`. Nearly all lengths take one byte, so those are handled inline, with
// one comparison: the length byte is read as a signed number, so that a first byte of 0x80 or more,
// which announces a longer length, turns into a huge size, does not fit, and goes to
// ssh_ber_span_long.
[[nodiscard]] SshBerSpan ssh_ber_span_long(const uint8_t *p, const uint8_t *end);
[[nodiscard, gnu::always_inline]] inline SshBerSpan ssh_ber_span(const uint8_t *p,
                                                                 const uint8_t *end) {
  const ptrdiff_t room = end - p - 2;
  if (room < 0) return {};
  // NOLINTNEXTLINE(bugprone-signed-char-misuse): its sign is meant
  const auto length = static_cast<size_t>(static_cast<int8_t>(p[1]));
  if (length > static_cast<size_t>(room)) return ssh_ber_span_long(p, end);
  return {p + 2, p + 2 + length};
}

// kSshBerOneOctetTag is true for an identifier byte that is the whole tag. It is false where tag
// bytes follow, and for 0, which begins the two bytes that end an indefinite length.
inline constexpr auto kSshBerOneOctetTag = [] {
  std::array<bool, 256> table = {};
  for (size_t octet = 1; octet < table.size(); ++octet) table[octet] = (octet & 0x1F) != 0x1F;
  return table;
}();

// ssh_ber_usual_span does as ssh_ber_span where nothing has been looked at yet; the result is null
// also if the tag takes more than one byte, and at the end. Walks over lists use it, and leave the
// few elements that it does not open to ssh_ber_open_element.
[[nodiscard, gnu::always_inline]] inline SshBerSpan ssh_ber_usual_span(const uint8_t *p,
                                                                       const uint8_t *end) {
  return p != end && kSshBerOneOctetTag[*p] ? ssh_ber_span(p, end) : SshBerSpan();
}

// ssh_ber_open_element reads the header at `p`, whatever its form. With a definite length, the
// content must end before `end`. If it does not, the result is SSH_BER_CUT, but `element` still
// describes the header when that is complete (its header_length is then not 0).
[[nodiscard]] SshBerStatus ssh_ber_open_element(const uint8_t *p, const uint8_t *end,
                                                SshBerElement &element);

// ssh_ber_open does the same, and opens the usual elements inline.
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

// SshBerExtent is what ssh_ber_check finds.
struct SshBerExtent {
  size_t good = 0;      // bytes from the start that are well-formed top-level elements
  size_t elements = 0;  // how many elements these are; those inside them are not counted
  bool fault = false;
  bool fault_inside = false;          // inside the content of a top-level element
  const uint8_t *fault_at = nullptr;  // the element that cannot be opened
};

// SSH_BER_INPUT_MAX is the largest input that is checked: 64 MiB. A larger one is refused as a
// fault at its start, without a look at it.
constexpr size_t SSH_BER_INPUT_MAX = 0x4000000;

// ssh_ber_check looks at all headers in `octets`, however deep, in one pass and without recursion.
// Beyond the first 64 levels of nesting it takes four bytes of memory for each level; more than
// 2^20 levels are a fault. End-of-contents bytes end an indefinite length; where none is open, they
// are stepped over.
[[nodiscard]] SshBerExtent ssh_ber_check(Bytes octets);

// ssh_ber_element_end gives the end of an opened element among bytes that were checked. For an
// indefinite length this takes a walk over its content, whose steps are subtracted from `work`.
// Null when the work is spent.
[[nodiscard]] const uint8_t *ssh_ber_element_end_walk(const SshBerElement &element,
                                                      const uint8_t *end, uint64_t &work);
[[nodiscard]] inline const uint8_t *ssh_ber_element_end(const SshBerElement &element,
                                                        const uint8_t *end, uint64_t &work) {
  if (!element.indefinite || !element.constructed)
    return element.data + element.header_length + element.content_length;
  return ssh_ber_element_end_walk(element, end, work);
}

// ssh_ber_content_end gives the end of an element's content: the end of the element, without the
// two bytes that end an indefinite length.
[[nodiscard]] inline const uint8_t *ssh_ber_content_end(const SshBerElement &element,
                                                        const uint8_t *element_end) {
  return element_end - (element.indefinite && element.constructed ? 2 : 0);
}

// The kinds of a freelist record.
enum : uint32_t { SSH_BER_FREELIST_BLOCK = 1, SSH_BER_FREELIST_TEXT = 2 };

// SshBerFreelist is a list of the blocks that a read has handed out so far, so that they can be
// freed if the read fails later on. The empty list is null.
struct SshBerFreelistRecord;
using SshBerFreelist = SshBerFreelistRecord *;

[[nodiscard]] inline SshBerFreelist ssh_ber_freelist_alloc() { return nullptr; }

// ssh_ber_freelist_add adds `block` to a list. A kind other than the two above adds nothing; a null
// list is fatal.
void ssh_ber_freelist_add(SshBerFreelist *list, uint32_t kind, void *block);

// ssh_ber_freelist_free frees the list and, if the read failed, the blocks in it too.
void ssh_ber_freelist_free(SshBerFreelist list, bool failed);
