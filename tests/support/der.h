// DER for tests: a builder that writes what it is told, right or wrong, and a reader of elements
// that shares nothing with the library. `der::seq({der::integer(1), der::null()})`; a new type is
// one line.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "util/bytes.h"

using Der = std::vector<uint8_t>;

namespace der {

inline Der join(const std::vector<Der> &parts) {
  Der all;
  for (const Der &part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

inline Der tlv(unsigned identifier, Bytes content) {
  Der out{static_cast<uint8_t>(identifier)};
  int octets = 1;
  while (octets < 4 && content.size() >> (8 * octets)) ++octets;
  if (content.size() >= 0x80) out.push_back(static_cast<uint8_t>(0x80 + octets));
  while (octets-- > 0) out.push_back(static_cast<uint8_t>(content.size() >> (8 * octets)));
  out.insert(out.end(), content.begin(), content.end());
  return out;
}
inline Der text(unsigned identifier, std::string_view content) {
  return tlv(identifier, ssh_text_bytes(content));
}

// repeat gives so many copies of an element.
inline Der repeat(const Der &element, size_t count) {
  Der out(count * element.size());
  for (size_t i = 0; i < out.size(); ++i) out[i] = element[i % element.size()];
  return out;
}

// indefinite gives a constructed element of indefinite length.
inline Der indefinite(unsigned identifier, const std::vector<Der> &parts) {
  return join({{static_cast<uint8_t>(identifier), 0x80}, join(parts), {0, 0}});
}

inline Der seq(const std::vector<Der> &parts) { return tlv(0x30, join(parts)); }
inline Der set(const std::vector<Der> &parts) { return tlv(0x31, join(parts)); }
inline Der null() { return {5, 0}; }
inline Der boolean(bool value) { return {1, 1, static_cast<uint8_t>(value ? 0xFF : 0)}; }
inline Der octets(Bytes content) { return tlv(0x04, content); }

// natural gives an INTEGER of a big-endian magnitude, integer of a number in its shortest form.
inline Der natural(Bytes magnitude) {
  Der content(magnitude.begin(), magnitude.end());
  if (content.empty() || content[0] >= 0x80) content.insert(content.begin(), 0);
  return tlv(0x02, content);
}
inline Der integer(int64_t value) {
  Der content;
  for (int shift = 56; shift >= 0; shift -= 8)
    content.push_back(static_cast<uint8_t>(value >> shift));
  while (content.size() > 1 && (content[0] == 0 || content[0] == 0xFF) &&
         (content[0] ^ content[1]) < 0x80) {
    content.erase(content.begin());
  }
  return tlv(0x02, content);
}

inline Der bits(Bytes content, unsigned unused = 0) {
  Der all{static_cast<uint8_t>(unused)};
  all.insert(all.end(), content.begin(), content.end());
  return tlv(0x03, all);
}

inline Der bits(std::initializer_list<uint8_t> content, unsigned unused = 0) {
  return bits(Bytes(content.begin(), content.size()), unused);
}

inline Der oid_octets(std::string_view dotted) {
  std::vector<uint64_t> arcs{0};
  for (const char c : dotted) {
    if (c == '.') arcs.push_back(0);
    if (c != '.') arcs.back() = arcs.back() * 10 + static_cast<uint64_t>(c - '0');
  }
  arcs[1] += arcs[0] * 40;
  Der out;
  for (size_t i = 1; i < arcs.size(); ++i) {
    int groups = 1;
    while (arcs[i] >> (7 * groups)) ++groups;
    while (groups-- > 0)
      out.push_back(static_cast<uint8_t>(((arcs[i] >> (7 * groups)) & 0x7F) | (groups ? 0x80 : 0)));
  }
  return out;
}
inline Der oid(std::string_view dotted) { return tlv(0x06, oid_octets(dotted)); }

// retag gives an element another identifier byte: context(1) is [1] primitive, context(1, true)
// constructed.
inline Der retag(unsigned identifier, Der element) {
  element[0] = static_cast<uint8_t>(identifier);
  return element;
}
inline unsigned context(unsigned number, bool constructed = false) {
  return (constructed ? 0xA0 : 0x80) + number;
}
inline Der wrap(unsigned number, const Der &inner) { return tlv(context(number, true), inner); }

inline Der attribute(std::string_view type, const Der &value) { return seq({oid(type), value}); }
inline Der common_name(std::string_view name) {
  return seq({set({attribute("2.5.4.3", text(0x13, name))})});
}

// Element is one element as it stands; `whole` and `content` view the bytes it was read from.
struct Element {
  uint8_t identifier = 0;
  Bytes content;
  Bytes whole;
};

// children splits bytes into elements of definite length and one-byte identifier; none if they are
// not such.
inline std::vector<Element> children(Bytes octets) {
  std::vector<Element> out;
  while (!octets.empty()) {
    if (octets.size() < 2 || (octets[0] & 0x1F) == 0x1F || octets[1] == 0x80 || octets[1] > 0x84)
      return {};
    const size_t count = octets[1] < 0x80 ? 0 : octets[1] - 0x80u;
    if (octets.size() < 2 + count) return {};
    uint64_t length = count ? 0 : octets[1];
    for (size_t i = 0; i < count; ++i) length = length << 8 | octets[2 + i];
    if (length > octets.size() - 2 - count) return {};
    const size_t size = static_cast<size_t>(length);
    out.push_back({octets[0], octets.subspan(2 + count, size), octets.first(2 + count + size)});
    octets = octets.subspan(2 + count + size);
  }
  return out;
}

}  // namespace der
