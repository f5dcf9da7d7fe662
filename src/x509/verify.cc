#include "x509/verify.h"

#include "asn1/node.h"
#include "crypto/montgomery.h"

namespace {

// Signed is what a record says of its signature.
struct Signed {
  const char *scheme;
  Bytes data;
  Bytes signature;
};

// order_length gives the bytes of a DSA key's q; 0 for a key without a sensible one, which then
// answers for itself.
size_t order_length(const SshPublicKey *key) {
  SshMpInt q;
  const SshKeyQuestion question = {.tag = SSH_KEY_TAG_Q, .integer = &q};
  if (ssh_public_key_get_info(key, {question}) != SSH_KEY_OK || q.negative()) return 0;
  if (q.bits() > SSH_MONTGOMERY_BITS_MAX) return 0;
  return (q.bits() + 7) / 8;
}

SshX509Verdict verify(const Signed &given, const SshPublicKey *key) {
  const SshKeyStatus status = ssh_public_key_verify(key, given.scheme, given.data, given.signature);
  if (status == SSH_KEY_OK) return SSH_X509_VALID;
  return status == SSH_KEY_BAD_SIGNATURE ? SSH_X509_INVALID : SSH_X509_KEY_NOT_FIT;
}

// verify_pair gives r and s the form that the key takes. Where there are none, or they do not fit
// it, no signature is left: that cannot be valid, but the answer on scheme and key comes first.
SshX509Verdict verify_pair(Signed given, const SshPublicKey *key) {
  SshMpInt r, s;
  const size_t length = order_length(key);
  const SshBlock block = ssh_make_block(2 * length);
  const bool fits = ssh_x509_signature_pair_read(given.signature, &r, &s) &&
                    r.write_magnitude(block.get(), length) &&
                    s.write_magnitude(block.get() + length, length);
  given.signature = fits ? Bytes(block.get(), 2 * length) : Bytes();
  return verify(given, key);
}

// What stands outside of the signed part is held against the same inside, byte by byte: nothing
// else vouches for it.                                                RFC 5280, 4.1.1.2, 5.1.1.2
// verify_record looks at the scheme before the key, since keys of schemes that are not computed
// have no key object. It takes the signature as it stands, not what decoding made of it, which
// passes over some things: what is signed has one form, or anybody could make others of it. So a
// BIT STRING that ends inside a byte leaves no signature.
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
  const Bytes octets = value.bits / 8 == value.octets.size() ? value.octets : Bytes();
  const Signed given = {record.signature_scheme, record.signed_data, octets};
  if (record.signature_key_type != SSH_OID_KEY_DSA) return verify(given, key);
  return verify_pair(given, key);
}

}  // namespace

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
