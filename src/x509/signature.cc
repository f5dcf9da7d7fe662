#include "x509/signature.h"

namespace {

enum : uint32_t { kRsa = 1, kDsa = 2 };

// put writes an integer right-aligned into `length` octets; false if it is negative or too long.
bool put(const SshMpInt &value, uint8_t *out, size_t length) {
  const Bytes magnitude = value.magnitude();
  if (value.negative() || magnitude.size() > length) return false;
  std::memset(out, 0, length - magnitude.size());
  if (!magnitude.empty())
    std::memcpy(out + length - magnitude.size(), magnitude.data(), magnitude.size());
  return true;
}

// Dss-Sig-Value ::= SEQUENCE { r INTEGER, s INTEGER }                              RFC 3279, 2.2.2
// The length of r and s is that of the certificate's own q, deliberately, so only a certificate
// with a DSA key of its own can carry a DSA signature.
bool convert_dsa(Bytes octets, SshX509Cert &cert, SshX509Decoder &decoder) {
  SshAsn1Node root;
  SshMpInt r, s, q;
  q.set_twos_complement(cert.key.q);
  const size_t length = (q.bits() + 7) / 8;
  if (length == 0 || q.negative()) return false;
  (void)ssh_asn1_decode_in_place(octets, &decoder.work, &root);
  if (ssh_asn1_read_node(root, "(sequence ()(integer ())(integer ()))"_asn1, &r, &s) != SSH_ASN1_OK)
    return false;

  auto *signature = static_cast<uint8_t *>(decoder.pool.alloc(2 * length, 1));
  cert.signature = {signature, 2 * length};
  return put(r, signature, length) && put(s, signature + length, length);
}

}  // namespace

// AlgorithmIdentifier ::= SEQUENCE {
//      algorithm     OBJECT IDENTIFIER,
//      parameters    ANY DEFINED BY algorithm OPTIONAL }
const SshOidRow *ssh_x509_signature_algorithm(SshAsn1Node node, SshX509Decoder &decoder) {
  SshOid id;
  SshAsn1Node parameters;
  if (ssh_asn1_read_node(node, "(sequence ()(object-identifier ())(any ()))"_asn1, &id,
                         &parameters) != SSH_ASN1_OK) {
    (void)decoder.refuse("AlgorithmIdentifier", node.data);
    return nullptr;
  }
  const SshOidRow *row = ssh_oid_find_encoded(id, SSH_OID_SIGNATURE);
  if (!row) (void)decoder.refuse("an unknown signature algorithm", node.data, id);
  return row;
}

bool ssh_x509_signature_convert(const SshAsn1Bits &bits, SshX509Cert &cert,
                                SshX509Decoder &decoder) {
  const Bytes octets = bits.octets.first(bits.bits / 8);
  if (cert.signature_key_type == kDsa) return convert_dsa(octets, cert, decoder);
  cert.signature = octets;
  return cert.signature_key_type == kRsa;
}
