// Whether a certificate or CRL was signed with a given key: the signature over the bytes that the
// record keeps. Names, dates and extensions are the caller's to judge. Which scheme a signature has
// is data of the record; a further scheme is a row of the table in crypto/key_types.cc.
#pragma once

#include "crypto/public_key.h"
#include "x509/cert.h"
#include "x509/crl.h"

enum [[nodiscard]] SshX509Verdict{
    SSH_X509_VALID,                 // the key's owner signed these bytes
    SSH_X509_INVALID,               // the signature is not of this key, or not over these bytes
    SSH_X509_SCHEME_NOT_SUPPORTED,  // one that is not computed here, whatever the key: cannot tell
    SSH_X509_KEY_NOT_FIT            // no key, one of another type, too short or absurd
};

// Not computed are MD2, MD4, SHA (the one before SHA-1), ElGamal, and of the modern profile
// RSASSA-PSS, ECDSA, Ed25519 and Ed448.

// ssh_x509_cert_verify tells whether `cert` was signed with `issuer_key` (null: does not fit). A
// record that was not decoded is invalid, and so are a signature that is not DER where it has to be
// and a record whose two algorithm identifiers differ in any byte.        RFC 5280, 4.1.1.2,
// 5.1.1.2
SshX509Verdict ssh_x509_cert_verify(const SshX509Cert *cert, const SshPublicKey *issuer_key);

// ssh_x509_crl_verify tells the same of a CRL.
SshX509Verdict ssh_x509_crl_verify(const SshX509Crl *crl, const SshPublicKey *issuer_key);

// ssh_x509_signature_pair_read reads the r and s of a DSA or ECDSA signature, neither below 0. It
// takes the DER alone: what encodes again to other bytes is refused (false), so that a signature
// has one form.
[[nodiscard]] bool ssh_x509_signature_pair_read(Bytes signature, SshMpInt *r, SshMpInt *s);
