#include "x509/verify.h"

#include "asn1/node.h"
#include "crypto/montgomery.h"

namespace {

// dsa_pair makes of the DER of a DSA signature what a key takes: r and s, each as long as the key's
// q, in `block`. It gives no bytes if there are no such numbers, or the key has no q that makes
// sense. No bytes are no valid signature, so the key can still answer for itself.
Bytes dsa_pair(Bytes signature, const SshPublicKey *key, SshBlock &block) {
  SshMpInt r, s, q;
  const SshKeyQuestion question = {.tag = SSH_KEY_TAG_Q, .integer = &q};
  const bool has_q = ssh_public_key_get_info(key, {question}) == SSH_KEY_OK && !q.negative() &&
                     q.bits() <= SSH_MONTGOMERY_BITS_MAX;
  const size_t length = has_q ? (q.bits() + 7) / 8 : 0;
  block = ssh_make_block(2 * length);
  const bool fits = ssh_x509_signature_pair_read(signature, &r, &s) &&
                    r.write_magnitude(block.get(), length) &&
                    s.write_magnitude(block.get() + length, length);
  return fits ? Bytes(block.get(), 2 * length) : Bytes();
}

// verify_record asks in this order:
//
// 1. Whether the two algorithm identifiers are the same bytes. The outer one is not signed, so that
// anybody could change it.                                         RFC 5280, 4.1.1.2, 5.1.1.2
// 2. Whether the scheme is one that is computed here. This comes before the key, since keys of
// other schemes have no key object.
// 3. Whether the key has made the signature. The signature is taken as it is encoded, not as the
// record has it after decoding, which passes over some things: if a signature had several forms,
// anybody could make others of it. So a BIT STRING that ends inside a byte is no signature.
template <class Record>
SshX509Verdict verify_record(const Record &record, const SshPublicKey *key) {
  if (record.version == 0 || !ssh_bytes_equal(record.algorithm, record.signed_algorithm)) {
    return SSH_X509_INVALID;
  }
  if (!record.signature_scheme || !ssh_public_key_can_verify(record.signature_scheme)) {
    return SSH_X509_SCHEME_NOT_SUPPORTED;
  }
  if (!key) return SSH_X509_KEY_NOT_FIT;
  const SshAsn1Bits &value = record.signature_value;
  Bytes signature = value.bits / 8 == value.octets.size() ? value.octets : Bytes();
  SshBlock pair;
  if (record.signature_key_type == SSH_OID_KEY_DSA) signature = dsa_pair(signature, key, pair);
  const SshKeyStatus status =
      ssh_public_key_verify(key, record.signature_scheme, record.signed_data, signature);
  if (status == SSH_KEY_OK) return SSH_X509_VALID;
  return status == SSH_KEY_BAD_SIGNATURE ? SSH_X509_INVALID : SSH_X509_KEY_NOT_FIT;
}

}  // namespace

// The numbers are encoded again and compared, so that only one form of a signature is taken.
// Dss-Sig-Value ::= SEQUENCE { r INTEGER, s INTEGER }                              RFC 3279, 2.2.2
bool ssh_x509_signature_pair_read(Bytes signature, SshMpInt *r, SshMpInt *s) {
  SshAsn1Work work = SshAsn1Work::for_input(signature.size());
  SshAsn1Node root, again;
  const SshAsn1ContextOwner context(ssh_asn1_init());
  return ssh_asn1_decode_in_place(signature, &work, &root) == SSH_ASN1_OK &&
         ssh_asn1_read_node(root, "(sequence ()(integer ())(integer ()))"_asn1, r, s) ==
             SSH_ASN1_OK &&
         ssh_asn1_create_node(context.get(), &again, "(sequence ()(integer ())(integer ()))"_asn1,
                              r, s) == SSH_ASN1_OK &&
         ssh_bytes_equal(again.der(), signature) && !r->negative() && !s->negative();
}

SshX509Verdict ssh_x509_cert_verify(const SshX509Cert *cert, const SshPublicKey *issuer_key) {
  return verify_record(*cert, issuer_key);
}

SshX509Verdict ssh_x509_crl_verify(const SshX509Crl *crl, const SshPublicKey *issuer_key) {
  return verify_record(*crl, issuer_key);
}
