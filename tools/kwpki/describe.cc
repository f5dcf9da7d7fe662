#include "kwpki/describe.h"

#include <fmt/format.h>

#include "crypto/hash.h"
#include "kwpki/extensions.h"
#include "kwpki/keys.h"
#include "kwpki/text.h"
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

template <class Record>
Json signature_of(const Record &record) {
  SshX509Algorithm algorithm;
  const bool read = ssh_x509_algorithm_read(record.algorithm, &algorithm);
  Json json = {{"scheme", record.signature_scheme},
               {"algorithm", read ? oid_json(algorithm.id) : Json()},
               {"key_type", key_type(record.signature_key_type)}};
  Json parameters = record.signature_key_type == SSH_OID_KEY_RSA_PSS
                        ? pss_parameters_json(algorithm.parameters)
                        : Json();
  if (!parameters.is_null()) json["parameters"] = std::move(parameters);
  return json;
}

template <class Record>
void set_signed(Json &json, const Record &record) {
  json["signature_value"] = hex(record.signature);
  json["signed_data"] = Json{{"offset", record.signed_data.data() - record.element.data()},
                             {"length", record.signed_data.size()}};
  json["fingerprints"] = fingerprints_json(record.element);
  set_surroundings(json, record.der, record.element);
}

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
  SshHash hash;
  uint8_t digest[SSH_HASH_DIGEST_MAX];
  Json json = Json::object();
  for (const char *name : {"sha1", "sha256"}) {
    if (!ssh_hash_init(&hash, name)) continue;
    ssh_hash_update(&hash, der);
    const size_t length = ssh_hash_digest_length(&hash);
    ssh_hash_final(&hash, digest);
    json[name] = hex({digest, length});
  }
  return json;
}

Json signature_json(const SshX509Cert &cert) { return signature_of(cert); }

Json signature_json(const SshX509Crl &crl) { return signature_of(crl); }

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

Json refusal_json(const SshX509Refusal &refusal) {
  Json json = {{"structure", refusal ? refusal.structure : "unknown"}, {"offset", refusal.offset}};
  if (refusal.identifier) json["identifier"] = oid_json(refusal.identifier);
  return json;
}

}  // namespace kwpki
