#include "x509/verify.h"

#include <algorithm>
#include <utility>

#include "asn1/node.h"
#include "util/mem.h"

namespace {

enum : uint32_t { kDsa = 2 };

// Signed is what a record says of its signature.
struct Signed {
  const char *scheme;
  Bytes data;
  Bytes signature;
};

struct DsaPair {
  SshMpInt r, s;
};

// order_length gives the octets of a DSA key's q; 0 for a key without a sensible one.
size_t order_length(const SshPublicKey *key) {
  SshMpInt q;
  const SshKeyQuestion question = {.tag = SSH_KEY_TAG_Q, .integer = &q};
  if (ssh_public_key_get_info(key, {question}) != SSH_KEY_OK || q.negative()) return 0;
  return (q.bits() + 7) / 8;
}

// store writes a number as `length` octets; false if it is negative or longer.
bool store(const SshMpInt &value, uint8_t *out, size_t length) {
  const Bytes octets = value.magnitude();
  if (value.negative() || octets.size() > length) return false;
  std::fill_n(out, length - octets.size(), uint8_t{0});
  std::copy(octets.begin(), octets.end(), out + (length - octets.size()));
  return true;
}

SshX509Verdict verify(const Signed &given, const SshPublicKey *key) {
  constexpr struct {
    SshKeyStatus status;
    SshX509Verdict verdict;
  } kVerdicts[] = {
      {SSH_KEY_OK, SSH_X509_VALID},
      {SSH_KEY_BAD_SIGNATURE, SSH_X509_INVALID},
      {SSH_KEY_NO_SCHEME, SSH_X509_SCHEME_NOT_SUPPORTED},
  };
  const SshKeyStatus status = ssh_public_key_verify(key, given.scheme, given.data, given.signature);
  for (const auto &row : kVerdicts) {
    if (row.status == status) return row.verdict;
  }
  return SSH_X509_KEY_NOT_FIT;
}

// verify_pair gives r and s the form that the key takes. Where they do not fit it, no signature is
// left: that cannot be valid, but the answer on scheme and key comes first.
SshX509Verdict verify_pair(Signed given, const DsaPair &pair, const SshPublicKey *key) {
  const size_t length = order_length(key);
  const SshBlock block(static_cast<uint8_t *>(ssh_xmalloc(2 * length)));
  const bool fits =
      store(pair.r, block.get(), length) && store(pair.s, block.get() + length, length);
  given.signature = fits ? Bytes(block.get(), 2 * length) : Bytes();
  return verify(given, key);
}

// halves takes r and s of a certificate's signature, which are as long as its own q, not the
// issuer's.
DsaPair halves(Bytes signature) {
  DsaPair pair;
  pair.r.set_magnitude(signature.first(signature.size() / 2));
  pair.s.set_magnitude(signature.last(signature.size() / 2));
  return pair;
}

// Dss-Sig-Value ::= SEQUENCE { r INTEGER, s INTEGER }                              RFC 3279, 2.2.2
// read_der takes the DER alone: what encodes again to other octets is refused, so that a signature
// has one form. A refused one leaves a pair that fits no key.
DsaPair read_der(Bytes signature) {
  DsaPair pair;
  SshAsn1Work work = SshAsn1Work::for_input(signature.size());
  SshAsn1Node root, again;
  const SshAsn1ContextOwner context(ssh_asn1_init());
  const bool good =
      ssh_asn1_decode_in_place(signature, &work, &root) == SSH_ASN1_OK &&
      ssh_asn1_read_node(root, "(sequence ()(integer ())(integer ()))"_asn1, &pair.r, &pair.s) ==
          SSH_ASN1_OK &&
      ssh_asn1_create_node(context.get(), &again, "(sequence ()(integer ())(integer ()))"_asn1,
                           &pair.r, &pair.s) == SSH_ASN1_OK &&
      ssh_bytes_equal(again.der(), signature);
  return good ? std::move(pair) : DsaPair{SshMpInt(-1), SshMpInt(-1)};
}

}  // namespace

SshX509Verdict ssh_x509_cert_verify(const SshX509Cert *cert, const SshPublicKey *issuer_key) {
  if (cert->version == 0) return SSH_X509_INVALID;
  if (!issuer_key) return SSH_X509_KEY_NOT_FIT;
  const Signed given = {cert->signature_scheme, cert->signed_data, cert->signature};
  if (cert->signature_key_type != kDsa) return verify(given, issuer_key);
  return verify_pair(given, halves(given.signature), issuer_key);
}

SshX509Verdict ssh_x509_crl_verify(const SshX509Crl *crl, const SshPublicKey *issuer_key) {
  if (crl->version == 0) return SSH_X509_INVALID;
  if (!issuer_key) return SSH_X509_KEY_NOT_FIT;
  const Signed given = {crl->signature_scheme, crl->signed_data, crl->signature};
  if (crl->signature_key_type != kDsa) return verify(given, issuer_key);
  return verify_pair(given, read_der(given.signature), issuer_key);
}
