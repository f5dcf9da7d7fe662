#include "x509/signature.h"

#include <algorithm>

namespace {

// The longest q, in bytes, to whose length r and s are extended. No real key comes near it, and the
// pair would be larger than a block of memory may be.
constexpr size_t kOrderMax = SSH_X509_INPUT_MAX / 2;

constexpr char kSignature[] = "signatureValue";

// Dss-Sig-Value ::= SEQUENCE { r INTEGER, s INTEGER }                              RFC 3279, 2.2.2
// r and s get the length of the certificate's own q, deliberately, although they belong to the key
// of the issuer. If the certificate has no DSA key, or a shorter one than its issuer, the signature
// can only be kept as DER.
bool convert_dsa(Bytes octets, SshX509Cert &cert, SshX509Decoder &decoder) {
  SshAsn1Unread root;
  SshMpInt r, s, q;
  q.set_twos_complement(cert.key.q);
  const size_t length = q.negative() ? 0 : (q.bits() + 7) / 8;
  if (length > kOrderMax)
    return decoder.refuse(kSignature, "has an own q that is too long to be a measure",
                          octets.data());
  if (length == 0 && !decoder.rules.octets_as_signature)
    return decoder.refuse(kSignature, "is DSA, and the own key has no q as its measure",
                          octets.data());
  (void)decoder.value(octets, root);  // what is malformed is missing for the read
  if (!decoder.read(root, "(sequence ()(integer ())(integer ()))"_asn1, &r, &s)) return false;
  decoder.value_read();
  if (r.negative() || s.negative())
    return decoder.refuse(kSignature, "has a negative number", octets.data());
  if (length == 0 || std::max(r.magnitude().size(), s.magnitude().size()) > length) {
    cert.signature = octets;
    return decoder.require(decoder.rules.octets_as_signature, kSignature,
                           "has numbers longer than the own q", octets.data());
  }

  auto *signature = static_cast<uint8_t *>(decoder.pool.alloc(2 * length, 1));
  cert.signature = {signature, 2 * length};
  cert.signature_pair = true;
  return r.write_magnitude(signature, length) && s.write_magnitude(signature + length, length);
}

}  // namespace

// AlgorithmIdentifier ::= SEQUENCE {
//      algorithm     OBJECT IDENTIFIER,
//      parameters    ANY DEFINED BY algorithm OPTIONAL }
bool ssh_x509_signature_algorithm(SshAsn1Unread &node, SshX509Decoder &decoder,
                                  SshX509SignatureAlgorithm &algorithm) {
  if (!decoder.read(node, "(sequence ()(object-identifier ())(any ()))"_asn1, &algorithm.id,
                    &algorithm.parameters))
    return decoder.refuse_read("AlgorithmIdentifier", node);
  algorithm.row = ssh_oid_find_encoded(algorithm.id, SSH_OID_SIGNATURE, decoder.rules);
  return decoder.require(algorithm.row || decoder.rules.unknown_signatures, "signature algorithm",
                         "is not known", node.data(), algorithm.id);
}

bool ssh_x509_signature_convert(const SshAsn1Bits &bits, SshX509Cert &cert,
                                SshX509Decoder &decoder) {
  const Bytes octets = bits.octets.first(bits.bits / 8);
  cert.signature_value = bits;
  if (cert.signature_key_type == SSH_OID_KEY_DSA) return convert_dsa(octets, cert, decoder);
  cert.signature = octets;
  return decoder.require(cert.signature_key_type != SSH_OID_KEY_ELGAMAL, kSignature,
                         "is ElGamal, which certificates are not read with", octets.data());
}
