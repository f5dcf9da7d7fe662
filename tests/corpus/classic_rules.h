// Which of the certificates and CRLs that the modern profile reads the classic one must refuse,
// stated a second time over plain DER. A new difference is a function here.
#pragma once

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "support/der.h"
#include "x509/extensions.h"
#include "x509/oid_registry.h"

namespace classic {

using der::children;
using der::Element;

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
inline const std::set<unsigned> kNameValues = {0x13, 0x14, 0x1E, 0x1C, 0x0C, 0x16, 0x03};

inline std::string find(const std::map<std::string, std::string> &table, const Element &algorithm) {
  const auto parts = children(algorithm.content);
  const auto row = parts.empty() ? table.end() : table.find(der::oid_text(parts[0].content));
  return row == table.end() ? "" : row->second;
}

template <class Check>
bool all(Bytes content, Check check) {
  const auto list = children(content);
  return std::all_of(list.begin(), list.end(), check);
}

// name: a Name whose values are all of the seven types that have a character set.
inline bool name(const Element &name) {
  return all(name.content, [](const Element &rdn) {
    return all(rdn.content, [](const Element &pair) {
      const auto parts = children(pair.content);
      return parts.size() == 2 && kNameValues.count(parts[1].identifier) != 0;
    });
  });
}

// A user notice starts with a reference, whose organization is an IA5String; its text is none.
inline bool qualifier(const Element &qualifier) {
  const auto parts = children(qualifier.content), notice = children(parts[1].content);
  if (der::oid_text(parts[0].content) != "1.3.6.1.5.5.7.2.2" || notice.empty()) return true;
  const auto reference = children(notice[0].content);
  return notice[0].identifier == 0x30 && reference[0].identifier == 0x16 &&
         (notice.size() == 1 || notice[1].identifier != 0x16);
}

// point_name tells whether the name of a distribution point is read.
inline bool point_name(const Element &point) {
  return all(point.content, [](const Element &field) {
    const auto name = field.identifier == 0xA0 ? children(field.content) : std::vector<Element>{};
    return name.empty() || name[0].identifier != 0xA1 ||
           children(name[0].content)[0].identifier == 0x31;
  });
}

// value tells whether an extension's value is read, by its kind.
inline bool value(uint32_t kind, const Element &root) {
  if (kind == SSH_X509_EXT_CERTIFICATE_POLICIES) {
    return all(root.content, [](const Element &policy) {
      const auto parts = children(policy.content);
      return parts.size() == 1 || all(parts[1].content, qualifier);
    });
  }
  // Only an empty list of name constraints reads, and policy constraints only as a list of lists.
  if (kind == SSH_X509_EXT_NAME_CONSTRAINTS) return root.content.empty();
  if (kind == SSH_X509_EXT_POLICY_CONSTRAINTS)
    return all(root.content, [](const Element &e) { return e.identifier == 0x30; });
  // Names relative to an issuer read only as a SET under their own tag.
  if (kind == SSH_X509_EXT_CRL_DISTRIBUTION_POINTS)
    return all(root.content, [](const Element &point) { return point_name(point); });
  if (kind == SSH_X509_EXT_ISSUING_DISTRIBUTION_POINT) return point_name(root);
  return kind != SSH_X509_EXT_REASON_CODE || root.content[0] < 9;
}

// Place tells which kinds have a decoder where.
enum class Place { kCert, kCrl, kEntry };

inline bool is_read(uint32_t kind, Place place) {
  if (place == Place::kCert) return kind < 16 && kind != 12;
  if (place == Place::kEntry) return kind == 16 || kind == 17 || kind == 18 || kind == 22;
  return kind == 0 || kind == 7 || kind == 19 || kind == 20 || kind == 21;
}

// extensions looks at a SEQUENCE of them. The registry of the library has a test of its own.
inline bool extensions(const Element &list, Place place) {
  return all(list.content, [place](const Element &extension) {
    const auto fields = children(extension.content);
    const bool critical = fields.size() > 2 && fields[1].content[0] != 0;
    const std::string id = der::oid_text(fields[0].content);
    const SshOidRow *known = ssh_oid_find_by_oid(id.c_str(), SSH_OID_EXTENSION);
    if (!known || !is_read(known->code, place)) return !critical;
    const auto parsed = children(fields.back().content);
    return parsed.empty() || value(known->code, parsed[0]);
  });
}

// algorithms gives whether those of a certificate and its key are classic.
inline bool algorithms(const Element &outer, const Element &inner, const Element &info) {
  const std::string scheme = find(kSignatures, outer), again = find(kSignatures, inner);
  const auto key = children(info.content), algorithm = children(key[0].content);
  const std::string family = find(kKeys, key[0]);
  if (scheme.empty() || scheme != again || scheme[0] == 'e' || family.empty()) return false;
  if (scheme[0] == 'd' && family != "dsa") return false;
  return family != "dsa" || (algorithm.size() > 1 && algorithm[1].identifier == 0x30);
}

// certificate and crl tell whether classic reads what modern does, given the elements of its first
// part; `at` is where the serial number stands.
inline bool certificate(const std::vector<Element> &tbs, size_t at) {
  return name(tbs[at + 2]) && name(tbs[at + 4]) &&
         (tbs.back().identifier != 0xA3 ||
          extensions(children(tbs.back().content)[0], Place::kCert));
}

inline bool crl(const std::vector<Element> &tbs) {
  for (size_t i = 0; i < tbs.size(); ++i) {
    const bool after_time =
        i > 0 && (tbs[i - 1].identifier == 0x17 || tbs[i - 1].identifier == 0x18);
    if (tbs[i].identifier == 0xA0 && !extensions(children(tbs[i].content)[0], Place::kCrl))
      return false;
    if (tbs[i].identifier != 0x30 || !after_time) continue;
    for (const Element &entry : children(tbs[i].content)) {
      const auto parts = children(entry.content);
      if (parts.size() == 3 && !extensions(parts[2], Place::kEntry)) return false;
    }
  }
  return true;
}

}  // namespace classic
