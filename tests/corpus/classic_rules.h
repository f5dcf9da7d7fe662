// Which certificates and CRLs the library must read and which it must refuse, stated a second time:
// over plain DER and facts that other tools recorded, without the library's reads. It knows the
// algorithms of the classic era alone. Values that are not DER of the usual form give no verdict. A
// new rule is a function here.
#pragma once

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "support/der.h"

namespace classic {

using der::children;
using der::Element;

enum class Verdict { kRefuse, kAccept, kOpen };

inline Verdict operator&&(Verdict a, Verdict b) {
  if (a == Verdict::kRefuse || b == Verdict::kRefuse) return Verdict::kRefuse;
  return a == Verdict::kAccept ? b : a;
}
inline Verdict must(bool condition) { return condition ? Verdict::kAccept : Verdict::kRefuse; }

// The signature schemes by identifier, and the families of public keys.
inline const std::map<std::string, std::string> kSignatures = {
    {"1.3.14.7.2.3.2", "elgamal-none-md2"},    {"1.3.14.3.2.29", "rsa-nist-sha1"},
    {"1.2.840.10040.4.3", "dsa-nist-sha1"},    {"1.3.14.3.2.27", "dsa-nist-sha1"},
    {"1.3.14.3.2.13", "dsa-nist-sha"},         {"1.2.840.113549.1.1.2", "rsa-pkcs1-md2"},
    {"1.2.840.113549.1.1.3", "rsa-pkcs1-md4"}, {"1.2.840.113549.1.1.4", "rsa-pkcs1-md5"},
    {"1.2.840.113549.1.1.5", "rsa-pkcs1-sha1"}};
inline const std::map<std::string, std::string> kKeys = {{"1.2.840.113549.1.1.1", "rsa"},
                                                         {"2.5.8.1", "rsa"},
                                                         {"1.2.840.10040.4.1", "dsa"},
                                                         {"1.3.14.3.2.12", "dsa"},
                                                         {"1.2.840.10046.2.1", "dh"}};

// Extensions by identifier: the number that the library gives each kind.
inline const std::map<std::string, uint32_t> kExtensions = {
    {"2.5.29.35", 0},        {"2.5.29.14", 1},
    {"2.5.29.15", 2},        {"2.5.29.16", 3},
    {"2.5.29.32", 4},        {"2.5.29.33", 5},
    {"2.5.29.17", 6},        {"2.5.29.18", 7},
    {"2.5.29.9", 8},         {"2.5.29.19", 9},
    {"2.5.29.30", 10},       {"2.5.29.36", 11},
    {"1.3.6.1.5.5.7.1", 12}, {"1.3.6.1.5.5.7.1.1", 13},
    {"2.5.29.31", 14},       {"2.5.29.37", 15},
    {"2.5.29.21", 16},       {"2.5.29.23", 17},
    {"2.5.29.24", 18},       {"2.5.29.20", 19},
    {"2.5.29.28", 20},       {"2.5.29.27", 21},
    {"2.5.29.29", 22},       {"2.5.29.1", 23},
    {"2.5.29.2", 23},        {"2.5.29.10", 23},
    {"2.5.29.25", 23},       {"1.2.840.113533.7.65.0", 23}};

inline const std::set<unsigned> kNameValues = {0x13, 0x14, 0x1E, 0x1C, 0x0C, 0x16, 0x03};

inline bool readable_pair(const Element &pair) {
  const auto parts = children(pair.content);
  return pair.identifier == 0x30 && parts.size() == 2 && parts[0].identifier == 6 &&
         !parts[0].content.empty() && kNameValues.count(parts[1].identifier) != 0;
}

// name: a Name whose values are all of the seven types that have a character set.
inline Verdict name(const Element &element) {
  if (element.identifier != 0x30 || !der::elements(element.content)) return Verdict::kRefuse;
  for (const Element &rdn : children(element.content)) {
    const auto pairs = children(rdn.content);
    if (rdn.identifier != 0x31 || !std::all_of(pairs.begin(), pairs.end(), readable_pair))
      return Verdict::kRefuse;
  }
  return Verdict::kAccept;
}

inline Verdict general_name(const Element &element) {
  const unsigned number = element.identifier & 0x1F;
  if ((element.identifier & 0xC0) != 0x80 || number > 8) return Verdict::kRefuse;
  const bool constructed = (element.identifier & 0x20) != 0;
  if (number == 4) {
    const auto inner = children(element.content);
    return constructed && inner.size() == 1 ? name(inner[0]) : Verdict::kOpen;
  }
  if (number == 0 || number == 3 || number == 5) return Verdict::kAccept;
  return constructed ? Verdict::kOpen : must(number != 8 || !element.content.empty());
}

template <class Check>
Verdict each(Bytes content, Check check) {
  const auto list = der::elements(content);
  if (!list) return Verdict::kOpen;
  Verdict all = Verdict::kAccept;
  for (const Element &element : *list) all = all && check(element);
  return all;
}

inline Verdict general_names(const Element &list) { return each(list.content, general_name); }

// A user notice starts with a reference, whose organization is an IA5String and whose numbers have
// 16 bits.
inline Verdict user_notice(const Element &notice) {
  const auto parts = children(notice.content);
  if (parts.empty()) return Verdict::kAccept;
  const auto reference = children(parts[0].content);
  if (parts[0].identifier != 0x30 || reference.size() != 2 || reference[0].identifier != 0x16)
    return Verdict::kRefuse;
  for (const Element &number : children(reference[1].content)) {
    if (number.identifier != 2 || number.content.size() > 2) return Verdict::kOpen;
  }
  if (parts.size() == 1) return Verdict::kAccept;
  return must(parts[1].identifier == 0x1A || parts[1].identifier == 0x1E ||
              parts[1].identifier == 0x0C);
}

inline Verdict qualifier(const Element &element) {
  const auto parts = children(element.content);
  if (parts.size() != 2) return Verdict::kOpen;
  const std::string id = der::oid_text(parts[0].content);
  if (id == "1.3.6.1.5.5.7.2.1") return must(parts[1].identifier == 0x16);
  return id == "1.3.6.1.5.5.7.2.2" ? user_notice(parts[1]) : Verdict::kRefuse;
}

inline Verdict policy(const Element &element) {
  const auto parts = children(element.content);
  if (parts.empty() || parts[0].identifier != 6) return Verdict::kRefuse;
  return parts.size() == 1 ? Verdict::kAccept : each(parts[1].content, qualifier);
}

// A point's name is full, or one relative name, which the issuer of whoever carries the point
// completes.
inline Verdict point_name(const Element &wrapper, bool has_issuer) {
  const auto inner = children(wrapper.content);
  if (inner.size() != 1) return Verdict::kOpen;
  if (inner[0].identifier == 0xA0) return general_names(inner[0]);
  if (inner[0].identifier != 0xA1) return Verdict::kRefuse;
  return must(has_issuer) &&
         each(inner[0].content, [](const Element &pair) { return must(readable_pair(pair)); });
}

inline Verdict distribution_point(const Element &point, bool has_issuer) {
  if (point.identifier != 0x30) return Verdict::kRefuse;
  return each(point.content, [&](const Element &part) {
    if (part.identifier == 0xA0) return point_name(part, has_issuer);
    if (part.identifier == 0x81) return must(!part.content.empty());
    return part.identifier == 0xA2 ? general_names(part) : Verdict::kOpen;
  });
}

inline Verdict access(const Element &description) {
  const auto parts = children(description.content);
  if (parts.size() != 2 || parts[0].identifier != 6) return Verdict::kOpen;
  return general_name(parts[1]);
}

inline Verdict basic_constraints(const Element &value) {
  const auto parts = children(value.content);
  if (value.identifier != 0x30) return Verdict::kRefuse;
  for (const Element &part : parts) {
    if (part.identifier == 2 &&
        (part.content.size() > 5 || (!part.content.empty() && part.content[0] >= 0x80))) {
      return Verdict::kRefuse;
    }
  }
  return Verdict::kAccept;
}

inline Verdict key_identifier(const Element &value) {
  if (value.identifier != 0x30) return Verdict::kRefuse;
  return each(value.content, [](const Element &part) {
    return part.identifier == 0xA1 ? general_names(part) : Verdict::kAccept;
  });
}

inline Verdict issuing_point(const Element &value, bool has_issuer) {
  if (value.identifier != 0x30) return Verdict::kRefuse;
  return each(value.content, [&](const Element &part) {
    if (part.identifier == 0xA0) return point_name(part, has_issuer);
    return must(part.identifier == 0x83 || (part.identifier & 0xC0) != 0x80 ||
                part.content.size() == 1);
  });
}

inline Verdict reason(const Element &value) {
  return must(value.identifier == 10 && value.content.size() == 1 && value.content[0] < 9 &&
              value.content[0] != 7);
}

// value gives the verdict on an extension's value by its kind.
inline Verdict value(uint32_t kind, Bytes octets, bool has_issuer) {
  const auto parsed = der::elements(octets);
  if (!parsed) return Verdict::kOpen;
  if (parsed->empty()) return Verdict::kRefuse;
  const Element &root = parsed->front();
  const bool list = root.identifier == 0x30;
  switch (kind) {
    case 0:
      return key_identifier(root);
    case 1:
      return must(root.identifier == 4);
    case 2:
      return must(root.identifier == 3 && !root.content.empty());
    case 4:
      return must(list) && each(root.content, policy);
    case 6:
    case 7:
    case 22:
      return general_names(root);
    case 9:
      return basic_constraints(root);
    // Only an empty list of name constraints reads, and policy constraints only as a list of lists.
    case 10:
      return must(list && root.content.empty());
    case 11:
      return must(list) &&
             each(root.content, [](const Element &e) { return must(e.identifier == 0x30); });
    case 13:
      return must(list) && each(root.content, access);
    case 14:
      return must(list) && each(root.content, [&](const Element &e) {
               return distribution_point(e, has_issuer);
             });
    case 15:
      return must(list) &&
             each(root.content, [](const Element &e) { return must(e.identifier == 6); });
    case 16:
      return reason(root);
    case 17:
      return must(root.identifier == 6);
    case 18:
      return must(root.identifier == 0x18 && root.content.size() == 15);
    case 19:
    case 21:
      return must(root.identifier == 2);
    case 20:
      return issuing_point(root, has_issuer);
    default:
      return must(list);
  }
}

// Place tells which kinds have a decoder where.
enum class Place { kCert, kCrl, kEntry };

inline bool is_read(uint32_t kind, Place place) {
  if (place == Place::kCert) return kind < 16 && kind != 12;
  if (place == Place::kEntry) return kind == 16 || kind == 17 || kind == 18 || kind == 22;
  return kind == 0 || kind == 7 || kind == 19 || kind == 20 || kind == 21;
}

struct Extension {
  std::string id;
  bool critical;
  Der value;
};

inline Verdict extensions(const std::vector<Extension> &list, Place place, bool has_issuer) {
  Verdict all = Verdict::kAccept;
  std::set<uint32_t> seen;
  for (const Extension &extension : list) {
    const auto known = kExtensions.find(extension.id);
    if (known == kExtensions.end()) {
      all = all && must(!extension.critical);
      continue;
    }
    const uint32_t kind = known->second;
    const bool repeated = !seen.insert(kind).second;
    if (repeated && kind == 8 && place == Place::kCert) continue;
    if (repeated && kind != 23) return Verdict::kRefuse;
    all = all && (is_read(kind, place) ? value(kind, extension.value, has_issuer)
                                       : must(!extension.critical));
  }
  return all;
}

inline std::string scheme(const std::string &id) {
  const auto found = kSignatures.find(id);
  return found == kSignatures.end() ? "" : found->second;
}

// key gives the verdict on a SubjectPublicKeyInfo.
inline Verdict key(const Element &info) {
  const auto parts = children(info.content);
  if (parts.size() != 2 || parts[1].identifier != 3 || parts[1].content.empty())
    return Verdict::kOpen;
  const auto algorithm = children(parts[0].content);
  if (algorithm.empty()) return Verdict::kOpen;
  const auto family = kKeys.find(der::oid_text(algorithm[0].content));
  if (family == kKeys.end()) return Verdict::kRefuse;
  const auto inside = der::elements(parts[1].content.subspan(1));
  if (!inside) return Verdict::kRefuse;
  if (family->second == "rsa") return must(algorithm.size() > 1);
  return must(family->second == "dh" || (algorithm.size() > 1 && algorithm[1].identifier == 0x30));
}

inline std::vector<Extension> extension_list(const Element &wrapper) {
  std::vector<Extension> list;
  for (const Element &sequence : children(wrapper.content)) {
    for (const Element &extension : children(sequence.content)) {
      const auto fields = children(extension.content);
      const Bytes octets = fields.back().content;
      list.push_back(
          {der::oid_text(fields[0].content), fields.size() > 2, Der(octets.begin(), octets.end())});
    }
  }
  return list;
}

// certificate gives the verdict on a certificate of version 3 that is well formed, with no unique
// identifiers.
inline Verdict certificate(Bytes octets) {
  const auto outer = children(children(octets)[0].content);
  const auto tbs = children(outer[0].content);
  if (outer.size() != 3 || tbs.size() != 8 || tbs[7].identifier != 0xA3) return Verdict::kOpen;
  const auto signature = [](const Element &algorithm) {
    return scheme(der::oid_text(children(algorithm.content)[0].content));
  };
  const std::string id = signature(outer[1]);
  const bool has_issuer = !tbs[3].content.empty();
  return must(!id.empty() && id == signature(tbs[2])) && name(tbs[3]) && name(tbs[5]) &&
         key(tbs[6]) && extensions(extension_list(tbs[7]), Place::kCert, has_issuer);
}

}  // namespace classic
