// Signature algorithms and signature values of certificates and CRLs, as they are decoded. Whether
// a signature is valid is asked in x509/verify.h. A new algorithm is a row of kind
// SSH_OID_SIGNATURE in the registry; a key type whose signature is a structure needs a branch in
// signature.cc.
#pragma once

#include "x509/cert.h"
#include "x509/decoder.h"

// SshX509SignatureAlgorithm is the AlgorithmIdentifier of a signature.
struct SshX509SignatureAlgorithm {
  SshOid id;
  SshAsn1Node parameters;
  const SshOidRow *row = nullptr;  // null: not known, which the modern profile accepts

  [[nodiscard]] const char *scheme() const { return row ? row->description : nullptr; }
  [[nodiscard]] uint32_t key_type() const { return row ? row->code : 0; }
};

// ssh_x509_signature_algorithm reads an AlgorithmIdentifier and looks it up; it does not read the
// parameters. False if it is refused.                                      RFC 5280, 4.1.1.2
[[nodiscard]] bool ssh_x509_signature_algorithm(SshAsn1Unread &node, SshX509Decoder &decoder,
                                                SshX509SignatureAlgorithm &algorithm);

// ssh_x509_signature_convert stores the signature of a certificate in its record: of DSA the
// numbers r and s, of all others the bytes as they are. r and s get the length of the certificate's
// own q, deliberately. If it has none, or they are longer, classic refuses the certificate and
// modern keeps the DER; `signature_pair` of the record tells which it is. False if the signature is
// refused.
[[nodiscard]] bool ssh_x509_signature_convert(const SshAsn1Bits &bits, SshX509Cert &cert,
                                              SshX509Decoder &decoder);
