#include "kwpki/describe.h"

#include "crypto/hash.h"
#include "kwpki/extensions.h"
#include "kwpki/keys.h"
#include "kwpki/system.h"
#include "kwpki/text.h"

namespace kwpki {
namespace {

enum : uint32_t { kInteger = 2, kSequence = 16, kUtcTime = 23, kGeneralizedTime = 24 };

// Signed ::= SEQUENCE { tbs SEQUENCE, algorithm AlgorithmIdentifier, signature BIT STRING }
struct Signed {
  std::vector<SshBerElement> outer;
  std::vector<SshBerElement> tbs;

  explicit Signed(Bytes input) {
    const auto whole_input = elements(own_octets(input));
    if (!whole_input.empty()) outer = elements(whole_input[0].content());
    if (!outer.empty()) tbs = elements(outer[0].content());
  }

  [[nodiscard]] Bytes tagged(
      uint32_t tag) const {  // the content of the last element with this context tag
    for (size_t i = tbs.size(); i-- > 0;) {
      if (tbs[i].is(SSH_BER_CONTEXT, tag)) return tbs[i].content();
    }
    return {};
  }

  [[nodiscard]] Json algorithm() const {
    if (outer.size() < 2) return nullptr;
    const auto parts = elements(outer[1].content());
    return parts.empty() ? Json() : oid_json({parts[0].content()});
  }
};

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
Json signature_json(const Record &record, const Signed &parts) {
  Json json = {{"scheme", record.signature_scheme},
               {"algorithm", parts.algorithm()},
               {"key_type", key_type(record.signature_key_type)}};
  Json parameters = parts.outer.size() < 2 ? Json() : parameters_json(parts.outer[1]);
  if (!parameters.is_null()) json["parameters"] = std::move(parameters);
  return json;
}

template <class Record>
void set_signed(Json &json, const Record &record) {
  json["signature_value"] = hex(record.signature);
  json["signed_data"] = Json{{"offset", record.signed_data.data() - record.der.data()},
                             {"length", record.signed_data.size()}};
  const Bytes own = own_octets(record.der);
  json["fingerprints"] = fingerprints_json(own);
  if (own.size() != record.der.size()) json["trailing_octets"] = record.der.size() - own.size();
}

}  // namespace

Bytes own_octets(Bytes input) {
  SshAsn1Work work = SshAsn1Work::for_input(input.size());
  SshAsn1Node root;
  (void)ssh_asn1_decode_in_place(input, &work, &root);
  return root ? root.der() : input;
}

Json fingerprints_json(Bytes der) {
  SshHash sha1;
  uint8_t digest[SSH_HASH_DIGEST_MAX];
  Json json = Json::object();
  if (ssh_hash_init(&sha1, "sha1")) {
    ssh_hash_update(&sha1, der);
    ssh_hash_final(&sha1, digest);
    json["sha1"] = hex({digest, ssh_hash_digest_length(&sha1)});
  }
  if (const auto longer = sha256(der)) json["sha256"] = hex(*longer);
  return json;
}

Json certificate_json(const SshX509Cert &cert) {
  const Signed parts(cert.der);
  Json json = {{"version", cert.version}};
  json["serial"] = integer_json(cert.serial);
  json["signature"] = signature_json(cert, parts);
  json["issuer"] = own_name_json(cert.issuer_names);
  json["validity"] =
      Json{{"not_before", time_json(cert.not_before)}, {"not_after", time_json(cert.not_after)}};
  json["subject"] = own_name_json(cert.subject_names);
  set_unique_id(json, "issuer_unique_id", cert.issuer_names);
  set_unique_id(json, "subject_unique_id", cert.subject_names);
  json["public_key"] = key_json(cert);
  json["extensions"] = cert.version == 3 ? extensions_json(parts.tagged(3), cert) : Json::array();
  set_signed(json, cert);
  return json;
}

Json crl_json(const SshX509Crl &crl) {
  const Signed parts(crl.der);
  Json json = {{"version", crl.version}};
  json["signature"] = signature_json(crl, parts);
  json["issuer"] = own_name_json(crl.issuer_names);
  json["this_update"] = time_json(crl.this_update);
  json["next_update"] = time_json(crl.next_update);
  json["extensions"] = extensions_json(parts.tagged(0), crl);
  set_signed(json, crl);
  json["entry_count"] = crl.revoked_count;
  return json;
}

// SEQUENCE { userCertificate, revocationDate, crlEntryExtensions OPTIONAL }
Json entry_json(const SshX509RevokedEntry &entry) {
  start_items();
  Json json = {{"serial", integer_json(entry.serial)}};
  json["date"] = time_json(entry.date);
  const auto outer = elements(entry.der);
  const auto parts = outer.empty() ? outer : elements(outer[0].content());
  json["extensions"] = parts.size() > 2 ? extensions_json(whole(parts[2]), entry) : Json::array();
  return json;
}

Json refusal_json(const SshX509Refusal &refusal) {
  Json json = {{"structure", refusal ? refusal.structure : "unknown"}, {"offset", refusal.offset}};
  if (refusal.identifier) json["identifier"] = oid_json(refusal.identifier);
  return json;
}

// A certificate begins with [0] or with serial, algorithm, issuer and the SEQUENCE of its validity;
// a CRL perhaps with a version, then algorithm, issuer and a time.
bool looks_like_crl(Bytes input) {
  const Signed parts(input);
  if (parts.tbs.empty()) return false;
  const size_t time = parts.tbs[0].is(SSH_BER_UNIVERSAL, kInteger) ? 3 : 2;
  if (parts.tbs.size() <= time || !parts.tbs[time - 1].is(SSH_BER_UNIVERSAL, kSequence))
    return false;
  return parts.tbs[time].is(SSH_BER_UNIVERSAL, kUtcTime) ||
         parts.tbs[time].is(SSH_BER_UNIVERSAL, kGeneralizedTime);
}

}  // namespace kwpki
