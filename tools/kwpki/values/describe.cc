#include "kwpki/values/describe.h"

#include <fmt/format.h>

#include "crypto/hash.h"
#include "kwpki/terminal/text.h"
#include "kwpki/values/extensions.h"
#include "kwpki/values/keys.h"
#include "kwpki/values/tree.h"
#include "x509/algorithm.h"

namespace kwpki {
namespace {

Json own_name_json(const SshX509Name *names) {
  const SshX509Name *name = ssh_x509_name_find(names, SSH_X509_NAME_DN);
  if (name) return dn_json(name->der);
  return Json{{"text", nullptr}, {"readable", ""}, {"attributes", Json::array()}};
}

void set_unique_id(Json &json, const char *key, const SshX509Name *names) {
  const SshX509Name *name = ssh_x509_name_find(names, SSH_X509_NAME_UNIQUE_ID);
  if (name) json[key] = Json{{"bits", name->data_length}, {"hex", hex(name->data)}};
}

// signature_json is {"scheme", "algorithm", "key_type", "parameters" of RSASSA-PSS}.
template <class Record>
Json signature_json(const Record &record) {
  SshX509Algorithm algorithm;
  const bool read = ssh_x509_algorithm_read(record.algorithm, &algorithm);
  Json json = {{"scheme", record.signature_scheme ? Json(record.signature_scheme) : Json()},
               {"algorithm", read ? oid_json(algorithm.id) : Json()},
               {"key_type", key_type(record.signature_key_type)}};
  Json parameters = record.signature_key_type == SSH_OID_KEY_RSA_PSS
                        ? pss_parameters_json(algorithm.parameters)
                        : Json();
  if (!parameters.is_null()) json["parameters"] = std::move(parameters);
  return json;
}

// set_signed adds what certificates and CRLs have in common at their end: the signature, where the
// signed bytes are, fingerprints, and bytes around the element.
template <class Record>
void set_signed(Json &json, const Record &record) {
  json["signature_value"] = hex(record.signature);
  if (record.element.empty()) return;  // it is cut
  json["signed_data"] = Json{{"offset", record.signed_data.data() - record.element.data()},
                             {"length", record.signed_data.size()}};
  json["fingerprints"] = fingerprints_json(record.element);
  set_surroundings(json, record.der, record.element);
}

// Surroundings are the bytes of the input around its one element.
struct Surroundings {
  size_t leading, trailing;
};
Surroundings around(Bytes input, Bytes element) {
  const auto leading = static_cast<size_t>(element.data() - input.data());
  return {leading, input.size() - leading - element.size()};
}

std::string octets_text(size_t count) {
  return fmt::format("{} byte{}", count, count == 1 ? "" : "s");
}

// scheme_text names an algorithm by the library's scheme, else by its name or its identifier.
template <class Record>
std::string scheme_text(const Record &record) {
  if (record.signature_scheme) return record.signature_scheme;
  SshX509Algorithm algorithm;
  if (!ssh_x509_algorithm_read(record.algorithm, &algorithm)) return "unknown";
  const Json json = oid_json(algorithm.id);
  return json.value("name", json["oid"].template get<std::string>());
}

// found_text tells what stands at the place of a refusal: its value, or what it is with its value.
std::string found_text(const SshX509Refusal &refusal, Bytes input) {
  if (refusal.found == SSH_X509_FOUND_END || refusal.offset >= input.size()) return "nothing";
  const auto [name, value] = element_text(input.subspan(refusal.offset));
  if (name.empty()) return "no element";
  if (refusal.found == SSH_X509_FOUND_VALUE && !value.empty()) return value;
  const bool vowel = name[0] == 'I' || name[0] == 'O' || name[0] == 'E';
  return fmt::format("{} {}{}{}", vowel ? "an" : "a", name, value.empty() ? "" : " ", value);
}

// The members of a document and the parts that they show.
constexpr struct {
  std::string_view member;
  SshX509Part part;
} kParts[] = {
    {"version", SSH_X509_PART_VERSION},       {"serial", SSH_X509_PART_SERIAL},
    {"signature", SSH_X509_PART_ALGORITHM},   {"issuer", SSH_X509_PART_ISSUER},
    {"this_update", SSH_X509_PART_START},     {"next_update", SSH_X509_PART_END},
    {"subject", SSH_X509_PART_SUBJECT},       {"public_key", SSH_X509_PART_KEY},
    {"extensions", SSH_X509_PART_EXTENSIONS}, {"signature_value", SSH_X509_PART_SIGNATURE},
    {"entry_count", SSH_X509_PART_ENTRIES},
};

// drop_parts removes the members that show parts which a record does not have: they would look like
// values of the certificate.
template <class Record>
void drop_parts(Json &json, const Record &record) {
  if (record.stated_version) json["version"] = record.stated_version;
  for (const auto &row : kParts) {
    if (!has_part(record, row.part)) json.erase(std::string(row.member));
  }
  if (!json.contains("validity")) return;
  if (!has_part(record, SSH_X509_PART_START)) json["validity"].erase("not_before");
  if (!has_part(record, SSH_X509_PART_END)) json["validity"].erase("not_after");
  if (json["validity"].empty()) json.erase("validity");
}

}  // namespace

void set_surroundings(Json &json, Bytes input, Bytes element) {
  const auto [leading, trailing] = around(input, element);
  if (leading) json["leading_bytes"] = leading;
  if (trailing) json["trailing_bytes"] = trailing;
}

std::string surroundings_text(Bytes input, Bytes element, std::string_view kind) {
  const auto [leading, trailing] = around(input, element);
  std::string text;
  if (leading) text = fmt::format("{} in front of the {}", octets_text(leading), kind);
  if (!trailing) return text;
  return text + (leading ? ", " : "") +
         fmt::format("{} behind the {}", octets_text(trailing), kind);
}

Json fingerprints_json(Bytes der) {
  uint8_t digest[SSH_HASH_DIGEST_MAX];
  Json json = Json::object();
  for (const char *name : {"sha1", "sha256"})
    json[name] = hex({digest, ssh_hash_digest(name, der, digest)});
  return json;
}

Json certificate_json(const SshX509Cert &cert) {
  Json json = {{"version", cert.version}};
  json["serial"] = integer_json(cert.serial);
  json["signature"] = signature_json(cert);
  json["issuer"] = own_name_json(cert.issuer_names);
  json["validity"] =
      Json{{"not_before", time_json(cert.not_before)}, {"not_after", time_json(cert.not_after)}};
  json["subject"] = own_name_json(cert.subject_names);
  set_unique_id(json, "issuer_unique_id", cert.issuer_names);
  set_unique_id(json, "subject_unique_id", cert.subject_names);
  json["public_key"] = key_json(cert);
  json["extensions"] = extensions_json(cert);
  set_signed(json, cert);
  return json;
}

Json crl_json(const SshX509Crl &crl) {
  Json json = {{"version", crl.version}};
  json["signature"] = signature_json(crl);
  json["issuer"] = own_name_json(crl.issuer_names);
  json["this_update"] = time_json(crl.this_update);
  json["next_update"] = time_json(crl.next_update);
  json["extensions"] = extensions_json(crl);
  set_signed(json, crl);
  json["entry_count"] = crl.revoked_count;
  return json;
}

Json entry_json(const SshX509RevokedEntry &entry) {
  Json json = {{"serial", integer_json(entry.serial)}};
  json["date"] = time_json(entry.date);
  return json;
}

Json entry_extensions_json(const SshX509RevokedEntry &entry) {
  start_items();
  return extensions_json(entry);
}

std::string scheme_of(const SshX509Cert &cert) { return scheme_text(cert); }

std::string scheme_of(const SshX509Crl &crl) { return scheme_text(crl); }

Json refusal_json(const SshX509Refusal &refusal, Bytes input) {
  if (!refusal) return Json{{"structure", "unknown"}, {"offset", 0}};
  Json json = {{"structure", refusal.structure}, {"rule", refusal.rule}};
  json["found"] = found_text(refusal, input);
  json["offset"] = refusal.offset;
  if (refusal.identifier) json.update(oid_json(refusal.identifier));
  return json;
}

std::string refusal_text(const SshX509Refusal &refusal, Bytes input) {
  const Json json = refusal_json(refusal, input);
  std::string text = json["structure"].get<std::string>();
  if (!refusal) return text;
  const std::string rule = json["rule"].get<std::string>(),
                    found = json["found"].get<std::string>();
  switch (refusal.found) {
    case SSH_X509_FOUND_IT:
      if (json.contains("oid")) text += " " + json["oid"].get<std::string>();
      if (json.contains("name")) text += fmt::format(" ({})", json["name"].get<std::string>());
      text += " " + rule;
      break;
    case SSH_X509_FOUND_VALUE:
      text += fmt::format(" is {}; {}", found, rule);
      break;
    case SSH_X509_FOUND_INSIDE:
      text += fmt::format(" holds {}; {}", found, rule);
      break;
    case SSH_X509_FOUND_END:
      text += fmt::format(" ends; {}", rule);
      break;
  }
  return text + fmt::format(", at {}", refusal.offset);
}

void drop_unread(Json &json, const SshX509Cert &cert) { drop_parts(json, cert); }

void drop_unread(Json &json, const SshX509Crl &crl) { drop_parts(json, crl); }

}  // namespace kwpki
