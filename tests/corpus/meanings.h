// What a decoded record says, in the words of the corpus tables: instants, names, and one line an
// extension. A new extension kind is a case of read_meaning.
#pragma once

#include <chrono>
#include <string>

#include "support/samples.h"

namespace meanings {

// instant gives a time as the tables write it without its first letter: in UTC.
inline std::string instant(const SshBerTime &time) {
  using namespace std::chrono;
  const auto zone = minutes(time.tz_hours * 60 + time.tz_minutes);
  const auto day = sys_days(year(static_cast<int>(time.year)) / static_cast<int>(time.month) /
                            static_cast<int>(time.day));
  const auto at = day + hours(time.hour) + minutes(time.minute) + seconds(time.second) -
                  (time.tz_plus ? zone : -zone);
  const year_month_day date(floor<days>(at));
  const hh_mm_ss clock(at - floor<days>(at));
  char text[64];
  std::snprintf(text, sizeof text, "%04d%02u%02u%02ld%02ld%02ldZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<long>(clock.hours().count()),
                static_cast<long>(clock.minutes().count()),
                static_cast<long>(clock.seconds().count()));
  return text;
}

inline std::string fact_instant(const std::string &cell) {
  return cell.empty() ? "" : cell.substr(1);
}

// The meanings of extensions in the words of extensions.tsv.

inline std::string oid_of(SshOid oid) { return sample::own_text(ssh_ber_oid_text(oid, true)); }

inline std::string meaning(const SshX509Name &name) {
  const std::string text(ssh_bytes_text(name.text));
  const auto elements = der::children(name.der);
  if (name.type == SSH_X509_NAME_EMAIL) return "email=" + text;
  if (name.type == SSH_X509_NAME_DNS) return "dns=" + text;
  if (name.type == SSH_X509_NAME_URI) return "uri=" + text;
  if (name.type == SSH_X509_NAME_DIRECTORY) return "dn=" + hex(name.der);
  if (name.type == SSH_X509_NAME_IP) return "ip=" + hex(name.data);
  if (name.type == SSH_X509_NAME_REGISTERED_ID) return "rid=" + oid_of({name.data});
  if (name.type == SSH_X509_NAME_X400) return "x400=" + hex(elements[0].content);
  if (name.type == SSH_X509_NAME_EDI_PARTY) return "edi=" + hex(elements[0].content);
  if (name.type != SSH_X509_NAME_OTHER) return "?";
  const auto parts = der::children(elements[0].content);
  return "other=" + oid_of({parts[0].content}) + ":" + hex(parts[1].content);
}

// names lists the general names of a list, oldest first.
inline std::string names(const SshX509Name *list) {
  std::string text;
  for (; list; list = list->next) {
    if (list->type == SSH_X509_NAME_DN || list->type == SSH_X509_NAME_UNIQUE_ID) continue;
    text = meaning(*list) + (text.empty() ? "" : "|") + text;
  }
  return text;
}

// bit_numbers lists the bits of a mask as ASN.1 numbers them.
inline std::string bit_numbers(uint32_t mask) {
  std::string text;
  for (uint32_t i = 0; i < 32; ++i) {
    if (mask >> (i / 8 * 8 + 7 - i % 8) & 1) text += (text.empty() ? "" : ",") + std::to_string(i);
  }
  return text;
}

// add appends a part, if there is one.
inline void add(std::string &text, const std::string &part) {
  text += (text.empty() || part.empty() ? "" : ";") + part;
}

inline std::string limit(const char *label, uint32_t value, uint32_t none) {
  return value == none ? "" : label + std::to_string(value);
}

inline std::string meaning(const SshX509KeyId &id) {
  std::string text;
  if (!id.key_id.empty()) add(text, "keyid=" + hex(id.key_id));
  if (id.issuer) add(text, "issuer=" + names(id.issuer));
  if (id.has_serial) add(text, "serial=" + sample::decimal(id.serial()));
  return text;
}

inline std::string meaning(const SshX509PointName &name) {
  if (name.full) return "full=" + names(name.full);
  return name.relative.empty() ? "" : "relative=" + hex(name.relative);
}

inline std::string meaning(const SshX509DistributionPoint &point) {
  std::string text = meaning(point.name);
  if (point.reasons) add(text, "reasons=" + bit_numbers(point.reasons));
  if (point.crl_issuer) add(text, "issuer=" + names(point.crl_issuer));
  return "[" + text + "]";
}

inline std::string meaning(const SshX509IssuingDistPoint &point) {
  std::string text = meaning(point.name);
  if (point.only_user_certs) add(text, "user=1");
  if (point.only_ca_certs) add(text, "ca=1");
  if (point.only_some_reasons) add(text, "reasons=" + bit_numbers(point.only_some_reasons));
  if (point.indirect_crl) add(text, "indirect=1");
  return text;
}

inline std::string meaning(const SshX509PolicyQualifier &qualifier) { return oid_of(qualifier.id); }
inline std::string meaning(const SshX509KeyPurpose &purpose) { return oid_of(purpose.id); }
inline std::string meaning(const SshX509Attribute &attribute) { return oid_of(attribute.type); }
inline std::string meaning(const SshX509PolicyMapping &mapping) {
  return oid_of(mapping.issuer_policy) + "=" + oid_of(mapping.subject_policy);
}

template <class T>
std::string list_of(const T *list, const char *separator);

inline std::string meaning(const SshX509PolicyInfo &policy) {
  return oid_of(policy.id) + (policy.qualifiers ? "{" + list_of(policy.qualifiers, ",") + "}" : "");
}

inline std::string period(const SshX509Cert &cert) {
  std::string text;
  const auto &[from, to] = *cert.key_period;
  if (from.year) add(text, "from=" + instant(from));
  if (to.year) add(text, "to=" + instant(to));
  return text;
}

inline std::string meaning(const SshX509AccessDescription &access) {
  return oid_of(access.method) + ">" + names(access.location);
}

inline std::string meaning(const SshX509Subtree &subtree) {
  return names(subtree.base) + limit(",min=", subtree.minimum, 0) +
         limit(",max=", subtree.maximum, SSH_X509_NO_LIMIT);
}

inline std::string meaning(const SshX509PolicyConstraint &constraint) {
  std::string text;
  add(text, limit("require=", constraint.require_explicit_policy, SSH_X509_NO_LIMIT));
  add(text, limit("inhibit=", constraint.inhibit_policy_mapping, SSH_X509_NO_LIMIT));
  return text;
}

// list_of stands behind all that it may list.
template <class T>
std::string list_of(const T *list, const char *separator) {
  std::string all;
  for (const T *item = list; item; item = item->next)
    all += (item == list ? "" : separator) + meaning(*item);
  return all;
}

inline std::string subtrees(const char *label, const SshX509Subtree *list) {
  return list ? label + ("{" + list_of(list, "|") + "}") : "";
}

// read_meaning says what the record holds for an extension kind; "-" if nothing can be compared.
inline std::string read_meaning(const SshX509Cert &cert, uint32_t kind) {
  if (kind == 0) return meaning(*cert.authority_key_id);
  if (kind == 1) return hex(cert.subject_key_id->key_id);
  if (kind == 2) return bit_numbers(cert.key_usage);
  if (kind == 3) return period(cert);
  if (kind == 4) return list_of(cert.policies, " ");
  if (kind == 5) return list_of(cert.policy_mappings, " ");
  if (kind == 6) return names(cert.subject_names);
  if (kind == 7) return names(cert.issuer_names);
  if (kind == 8) return list_of(cert.directory_attributes, " ");
  if (kind == 9) {
    return "ca=" + std::to_string(cert.ca) + ";path=" +
           (cert.path_length == SSH_X509_NO_LIMIT ? "-" : std::to_string(cert.path_length));
  }
  if (kind == 10)
    return subtrees("permitted", cert.permitted) + subtrees("excluded", cert.excluded);
  if (kind == 11) return list_of(cert.policy_constraints, " ");
  if (kind == 13) return list_of(cert.authority_info_access, "|");
  if (kind == 14) return list_of(cert.distribution_points, "");
  if (kind == 15) return list_of(cert.extended_key_usage, " ");
  if (kind == 24) return std::to_string(cert.further->inhibit_any_policy);
  if (kind == 25) return list_of(cert.further->subject_info_access, "|");
  return kind == 26 ? list_of(cert.further->freshest_crl, "") : "-";
}

// without_empty_subtrees drops lists of no subtrees, which the record does not tell from none.
inline std::string without_empty_subtrees(std::string text) {
  for (const std::string_view empty : {"permitted{}", "excluded{}"}) {
    const size_t at = text.find(empty);
    if (at != std::string::npos) text.erase(at, empty.size());
  }
  return text;
}

inline std::string read_meaning(const SshX509Crl &crl, uint32_t kind) {
  if (kind == 0) return meaning(*crl.authority_key_id);
  if (kind == 7) return names(crl.issuer_names);
  if (kind == 19) return sample::decimal(crl.crl_number);
  if (kind == 20) return meaning(*crl.issuing_point);
  return kind == 21 ? sample::decimal(crl.delta_crl) : "-";
}

// unescaped undoes the tables' %XX, and drops the one field of issuing distribution points that the
// library, older than it, does not know.
inline std::string unescaped(std::string text) {
  constexpr std::string_view kAttributeCerts = ";attribute=1";
  if (text.ends_with(kAttributeCerts)) text.erase(text.size() - kAttributeCerts.size());
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    const auto octet = text[i] == '%' && i + 2 < text.size() ? unhex(text.substr(i + 1, 2)) : Der{};
    out += octet.empty() ? text[i] : static_cast<char>(octet[0]);
    if (!octet.empty()) i += 2;
  }
  return out;
}

}  // namespace meanings
