#include "asn1/ber.h"

#include "util/fatal.h"
#include "util/mem.h"

namespace {

constexpr uint32_t kLongTag = 0x1F;
constexpr size_t kTagOctetsMax = 4;     // 28 bits of tag number
constexpr size_t kLengthOctetsMax = 4;  // 32 bits of length

size_t tag_octets(uint32_t tag) {
  size_t count = 1;
  for (; tag >= 0x80; tag >>= 7) ++count;
  return count;
}

size_t length_octets(uint32_t length) {
  size_t count = 1;
  for (; length >= 0x100; length >>= 8) ++count;
  return count;
}

// Levels is the stack of ssh_ber_check: one number for each list that the walk is inside of,
// outermost first. A number is the offset of the list's end, and in its lowest bit whether the list
// is plain (see ssh_ber_check). The first levels are in the object itself, so that ordinary input
// takes no block from the heap.
class Levels {
 public:
  ~Levels() {
    if (heap_) ssh_xfree(heap_);
  }

  // grow makes room for twice as many levels; false where there are too many already.
  [[nodiscard]] bool grow() {
    if (capacity_ >= kDepthMax) return false;
    auto *larger = static_cast<uint32_t *>(ssh_xrealloc(heap_, capacity_ * 2 * sizeof(uint32_t)));
    if (!heap_) std::memcpy(larger, inline_, sizeof inline_);
    heap_ = larger;
    capacity_ *= 2;
    return true;
  }
  [[nodiscard]] uint32_t *data() { return heap_ ? heap_ : inline_; }
  [[nodiscard]] size_t capacity() const { return capacity_; }

 private:
  static constexpr size_t kInline = 64;
  static constexpr size_t kDepthMax = 1 << 20;  // far beyond any use, and small enough for any heap

  uint32_t inline_[kInline];
  uint32_t *heap_ = nullptr;
  size_t capacity_ = kInline;
};
static_assert(SSH_BER_INPUT_MAX < size_t{1} << 31);  // an offset leaves the lowest bit free

}  // namespace

size_t ssh_ber_compute_tag_length_size(const SshBerElement &element) {
  const size_t identifier = 1 + (element.tag >= kLongTag ? tag_octets(element.tag) : 0);
  if (element.indefinite || element.content_length < 0x80) return identifier + 1;
  return identifier + 1 + length_octets(element.content_length);
}

SshBerStatus ssh_ber_set_tag_length(uint8_t *out, size_t size, const SshBerElement &element) {
  if (ssh_ber_compute_tag_length_size(element) > size) return SSH_BER_NO_ROOM;

  // A tag number of 31 or more follows the first byte, in groups of seven bits, the highest first.
  const auto first = static_cast<uint8_t>(element.cls << 6 | (element.constructed ? 0x20 : 0));
  if (element.tag < kLongTag) {
    *out++ = static_cast<uint8_t>(first | element.tag);
  } else {
    *out++ = static_cast<uint8_t>(first | kLongTag);
    for (size_t i = tag_octets(element.tag); i-- > 0;) {
      *out++ = static_cast<uint8_t>((i ? 0x80u : 0u) | ((element.tag >> (7 * i)) & 0x7F));
    }
  }

  // A length of 128 or more is the number of its bytes, with the top bit set, and then these bytes.
  const uint32_t length = element.content_length;
  if (element.indefinite) {
    *out = 0x80;
  } else if (length < 0x80) {
    *out = static_cast<uint8_t>(length);
  } else {
    const size_t count = length_octets(length);
    *out++ = static_cast<uint8_t>(0x80 + count);
    for (size_t i = count; i-- > 0;) *out++ = static_cast<uint8_t>(length >> (8 * i));
  }
  return SSH_BER_OK;
}

// A length byte below 0x80 comes here too, if the content does not fit. Subtracting 0x80 makes a
// huge count of it, and `count - 1` is as huge for 0x80, an indefinite length: neither is opened.
SshBerSpan ssh_ber_span_long(const uint8_t *p, const uint8_t *end) {
  const size_t count = p[1] - size_t{0x80};
  const auto room = static_cast<size_t>(end - p - 2);
  if (count - 1 >= kLengthOctetsMax || count > room) return {};
  const uint8_t *const content = p + 2 + count;
  size_t length = p[2];
  for (const uint8_t *at = p + 3; at != content; ++at) length = length << 8 | *at;
  if (length > room - count) return {};
  return {content, content + length};
}

SshBerStatus ssh_ber_open_element(const uint8_t *p, const uint8_t *end, SshBerElement &element) {
  if (p == end) return SSH_BER_CUT;
  element = {};
  element.data = p;
  element.cls = static_cast<uint8_t>(*p >> 6);
  element.constructed = (*p & 0x20) != 0;
  element.tag = *p & kLongTag;
  ++p;
  if (element.tag == kLongTag) {
    element.tag = 0;
    for (size_t count = 1;; ++count) {
      if (p == end) return SSH_BER_CUT;
      if (count > kTagOctetsMax) return SSH_BER_TAG_TOO_LONG;
      element.tag = element.tag << 7 | (*p & 0x7F);
      if (!(*p++ & 0x80)) break;
    }
  }

  if (p == end) return SSH_BER_CUT;
  const uint8_t first = *p++;
  uint32_t length = first;
  if (first == 0x80) {
    element.indefinite = true;
    length = 0;
  } else if (first > 0x80) {
    const size_t count = first - 0x80u;
    if (count > kLengthOctetsMax) return SSH_BER_LENGTH_TOO_LONG;
    length = 0;
    for (size_t i = 0; i < count; ++i) {
      if (p == end) return SSH_BER_CUT;
      length = length << 8 | *p++;
    }
  }
  element.content_length = length;
  element.header_length = static_cast<uint8_t>(p - element.data);
  return length > static_cast<size_t>(end - p) ? SSH_BER_CUT : SSH_BER_OK;
}

// The walk goes from header to header. It jumps over the content of a primitive element and goes
// into that of a constructed one, so that each header is looked at once. Where a list ends depends
// on how its parent gives its length:
//
// - With a definite length the list ends at a known place. Such a list is called plain here. `end`
// is that place, and the inner loop below goes through all usual elements of the list.
// - With an indefinite length the list ends at its end-of-contents bytes. Until they come, `end`
// stays what it was for the list outside, which bounds this one as well.
// - The top level belongs to no element. It ends with the input, and its elements are counted.
//
// Going into an element pushes the end and the kind of the list outside (Levels), and leaving it
// takes them back. What the inner loop cannot open, or has no room to push, is left to the outer
// one, which looks at one element of any form and knows every kind of list.
SshBerExtent ssh_ber_check(Bytes octets) {
  const uint8_t *const base = octets.data();
  SshBerExtent extent;
  if (octets.size() > SSH_BER_INPUT_MAX) return {0, 0, true, false, base};

  Levels levels;
  uint32_t *outer = levels.data();
  size_t depth = 0;
  const uint8_t *p = base, *end = base + octets.size();
  bool plain = false;  // whether the list is the content of an element and ends at `end`
  const auto leave = [&] {
    // NOLINTNEXTLINE(clang-analyzer-core.uninitialized.Assign): it was set on the way in
    const uint32_t level = outer[--depth];
    end = base + (level >> 1);
    plain = (level & 1) != 0;
  };
  for (;;) {
    // Nearly all elements are usual ones in plain lists.
    while (plain) {
      for (;;) {
        const SshBerSpan span = ssh_ber_usual_span(p, end);
        if (!span.content) break;
        if ((p[0] & 0x20) == 0) {
          p = span.end;
          continue;
        }
        if (depth == levels.capacity()) break;
        outer[depth++] = static_cast<uint32_t>(end - base) << 1 | 1;
        p = span.content;
        end = span.end;
      }
      if (p != end) break;
      leave();
    }
    if (depth == 0) {
      extent.good = static_cast<size_t>(p - base);
      if (p == end) return extent;
      if (!ssh_ber_is_end(p, end)) ++extent.elements;
    }
    if (ssh_ber_is_end(p, end)) {
      p += 2;
      if (depth > 0 && !plain) leave();
      continue;
    }
    SshBerElement element;
    if (ssh_ber_open(p, end, element) != SSH_BER_OK) break;
    const uint8_t *const content = p + element.header_length;
    if (!element.constructed) {
      p = content + element.content_length;
      continue;
    }
    if (depth == levels.capacity()) {
      if (!levels.grow()) break;
      outer = levels.data();
    }
    outer[depth++] = static_cast<uint32_t>(end - base) << 1 | (plain ? 1u : 0u);
    p = content;
    plain = !element.indefinite;
    if (plain) end = p + element.content_length;
  }
  return {extent.good, extent.elements - 1, true, depth > 0, p};
}

// Only elements of indefinite length have to be gone into, and of those it is enough to count how
// many are open: the end-of-contents bytes that close the last one end the element. An element of
// definite length is jumped over as a whole.
const uint8_t *ssh_ber_element_end_walk(const SshBerElement &element, const uint8_t *end,
                                        uint64_t &work) {
  const uint8_t *p = element.data + element.header_length;
  for (size_t open = 1; open > 0; --work) {
    if (work == 0) return nullptr;
    if (ssh_ber_is_end(p, end)) {
      p += 2;
      --open;
      continue;
    }
    SshBerElement inner;
    if (ssh_ber_open(p, end, inner) != SSH_BER_OK) return nullptr;
    p += inner.header_length + inner.content_length;
    if (inner.indefinite && inner.constructed) ++open;
  }
  return p;
}

struct SshBerFreelistRecord {
  SshBerFreelistRecord *next;
  uint32_t kind;
  void *block;
};

void ssh_ber_freelist_add(SshBerFreelist *list, uint32_t kind, void *block) {
  if (!list) ssh_fatal("ssh_ber_freelist_add: freelist not defined.");
  if (kind != SSH_BER_FREELIST_BLOCK && kind != SSH_BER_FREELIST_TEXT) return;
  auto *record = static_cast<SshBerFreelistRecord *>(ssh_xmalloc(sizeof(SshBerFreelistRecord)));
  *record = {*list, kind, block};
  *list = record;
}

void ssh_ber_freelist_free(SshBerFreelist list, bool failed) {
  while (list) {
    SshBerFreelistRecord *next = list->next;
    if (failed) ssh_xfree(list->block);
    ssh_xfree(list);
    list = next;
  }
}
