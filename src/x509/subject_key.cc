#include "x509/subject_key.h"

namespace {

// RSAPublicKey ::= SEQUENCE { modulus INTEGER, publicExponent INTEGER }            RFC 3279, 2.3.1
bool read_rsa(SshAsn1Unread &key, SshX509Key &record, SshX509Decoder &decoder) {
  return decoder.read(key, "(sequence ()(integer ())(integer ()))"_asn1, &record.n, &record.e);
}

// RFC 3279, 2.3.1 wants NULL as parameters; early issuers left them out.
bool decode_rsa(SshAsn1Node parameters, SshAsn1Unread &key, SshX509Key &record,
                SshX509Decoder &decoder) {
  if (!parameters && !decoder.rules.rsa_without_null)
    return decoder.refuse("RSA key", "has no parameters; a NULL belongs there", record.info.data(),
                          record.id);
  record.usable = read_rsa(key, record, decoder);
  return record.usable;
}

// An RSASSA-PSS key is an RSAPublicKey too, but no key object may be made of it: that one would
// sign and encrypt in ways that the key is not meant for.                         RFC 4055, 1.2
bool decode_rsa_pss(SshAsn1Node, SshAsn1Unread &key, SshX509Key &record, SshX509Decoder &decoder) {
  return read_rsa(key, record, decoder);
}

// Dss-Parms ::= SEQUENCE { p INTEGER, q INTEGER, g INTEGER }; DSAPublicKey ::= INTEGER
// Parameters that are missing or NULL are inherited from the issuer's certificate, which is not at
// hand.                                                                           RFC 3279, 2.3.2
bool decode_dsa(SshAsn1Node parameters, SshAsn1Unread &key, SshX509Key &record,
                SshX509Decoder &decoder) {
  int which = -1;
  const bool read = decoder.read(
      parameters, "(choice (null ())(sequence ()(integer ())(integer ())(integer ())))"_asn1,
      &which, &record.p, &record.q, &record.g);
  record.usable = read && which == 1;
  const bool inherited = !parameters || (read && which == 0);
  if (inherited && !decoder.rules.keys_without_object)
    return decoder.refuse("DSA key", "has the parameters of its issuer, which are not at hand",
                          record.info.data(), record.id);
  if (!record.usable && !inherited) return false;
  return decoder.read(key, "(integer ())"_asn1, &record.y);
}

// KeyRow gives a type of key the function that reads its numbers. Keys of other types are kept as
// bytes.
struct KeyRow {
  uint32_t type;
  bool (*decode)(SshAsn1Node parameters, SshAsn1Unread &key, SshX509Key &record,
                 SshX509Decoder &decoder);
  const char *refusal;
};
constexpr KeyRow kKeys[] = {
    {SSH_OID_KEY_RSA, decode_rsa, "RSA key"},
    {SSH_OID_KEY_DSA, decode_dsa, "DSA key"},
    {SSH_OID_KEY_RSA_PSS, decode_rsa_pss, "RSASSA-PSS key"},
};

// decode_bits reads the key that the BIT STRING holds: an encoding, or bytes whose number is all
// that can be checked. `refusal` becomes the name of what was being read.
bool decode_bits(const SshOidKeyType &type, SshAsn1Node parameters, Bytes octets,
                 SshX509Key &record, SshX509Decoder &decoder, const char *&refusal) {
  refusal = "subjectPublicKey";
  if (type.form == SSH_OID_KEY_OCTETS) {
    const bool fits = type.length ? octets.size() == type.length : !octets.empty();
    return decoder.require(fits, refusal, "has another length than keys of its type", octets.data(),
                           record.id);
  }

  SshAsn1Unread key;
  if (!decoder.value(octets, key)) return false;
  for (const KeyRow &row : kKeys) {
    if (row.type != type.code) continue;
    refusal = row.refusal;
    return row.decode(parameters, key, record, decoder);
  }
  return !key || decoder.node(key);  // of a type that is not read: it must be well-formed
}

SshMpInt integer(Bytes content) {
  SshMpInt value;
  value.set_twos_complement(content);
  return value;
}

}  // namespace

// SubjectPublicKeyInfo ::= SEQUENCE {
//      algorithm            AlgorithmIdentifier,
//      subjectPublicKey     BIT STRING }                                         RFC 5280, 4.1
bool ssh_x509_subject_key_decode(SshAsn1Unread &node, SshX509Cert &cert, SshX509Decoder &decoder) {
  ssh_x509_to_sequence(node, decoder);
  SshOid id;
  SshAsn1Node parameters;
  SshAsn1Bits bits;
  if (!decoder.read(node,
                    "(sequence ()(sequence ()(object-identifier ())(any ()))(bit-string ()))"_asn1,
                    &id, &parameters, &bits)) {
    return false;
  }
  cert.key.info = node.der();
  cert.key.id = id;
  cert.key.parameters = parameters.der();
  cert.key.value = bits.octets;
  cert.key.algorithm = ssh_oid_find_encoded(id, SSH_OID_PUBLIC_KEY, decoder.rules);
  if (!cert.key.algorithm) {
    return decoder.require(decoder.rules.keys_without_object, "public-key algorithm",
                           "is not known", node.data(), id);
  }
  const SshOidKeyType *type = cert.key.algorithm->key_type;
  cert.public_key_type = type->code;
  cert.allowed_usage = type->usage;
  cert.allowed_ca_usage = type->ca_usage;

  const char *refusal = nullptr;
  if (!decode_bits(*type, parameters, bits.octets.first(bits.bits / 8), cert.key, decoder, refusal))
    return decoder.refuse_read(refusal, cert.key.info, id);
  decoder.value_read();
  return true;
}

SshPublicKey *ssh_x509_cert_public_key(const SshX509Cert *cert) {
  const SshX509Key &key = cert->key;
  if (cert->version == 0 || !key.usable) return nullptr;
  SshPublicKey *object = nullptr;
  SshKeyStatus status = SSH_KEY_FAILED;
  if (cert->public_key_type == SSH_OID_KEY_RSA) {
    const SshMpInt n = integer(key.n), e = integer(key.e);
    status = ssh_public_key_define(&object, key.algorithm->description,
                                   {{SSH_KEY_TAG_N, &n}, {SSH_KEY_TAG_E, &e}});
  } else {
    const SshMpInt p = integer(key.p), q = integer(key.q), g = integer(key.g), y = integer(key.y);
    status = ssh_public_key_define(
        &object, key.algorithm->description,
        {{SSH_KEY_TAG_P, &p}, {SSH_KEY_TAG_Q, &q}, {SSH_KEY_TAG_G, &g}, {SSH_KEY_TAG_Y, &y}});
  }
  return status == SSH_KEY_OK ? object : nullptr;
}
