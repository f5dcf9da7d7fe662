// Whether a certificate or CRL was signed with a given key.
//
//   switch (ssh_x509_cert_verify(cert, issuer_key)) ...
//
// This is about the signature over the bytes that the record keeps, and nothing else: names, dates
// and extensions are for the caller to judge. Which scheme a signature has is in the record; a
// further scheme is a row of the table in crypto/key_types.cc. Not computed are MD2, MD4, SHA (the
// one before SHA-1), ElGamal, and of the modern profile RSASSA-PSS, ECDSA, Ed25519 and Ed448.
#pragma once

#include "crypto/public_key.h"
#include "x509/cert.h"
#include "x509/crl.h"

enum [[nodiscard]] SshX509Verdict{
    SSH_X509_VALID,                 // the key's owner signed these bytes
    SSH_X509_INVALID,               // the signature is not of this key, or not over these bytes
    SSH_X509_SCHEME_NOT_SUPPORTED,  // the scheme is not computed here, so nobody can tell
    SSH_X509_KEY_NOT_FIT            // no key, a key of another type, or one too short or absurd
};

// ssh_x509_cert_verify tells whether `cert` was signed with `issuer_key`, which may be null (it
// then does not fit). Invalid are also a record that was not decoded, a DSA signature that is not
// DER, and a record whose two algorithm identifiers differ in any byte.      RFC 5280, 4.1.1.2,
// 5.1.1.2
SshX509Verdict ssh_x509_cert_verify(const SshX509Cert *cert, const SshPublicKey *issuer_key);

// ssh_x509_crl_verify tells the same of a CRL.
SshX509Verdict ssh_x509_crl_verify(const SshX509Crl *crl, const SshPublicKey *issuer_key);

// ssh_x509_signature_pair_read reads the r and s of a DSA or ECDSA signature. False if one is
// negative, or if the bytes are not DER: a signature must have one form only.
[[nodiscard]] bool ssh_x509_signature_pair_read(Bytes signature, SshMpInt *r, SshMpInt *s);
