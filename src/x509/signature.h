// Signature algorithms and signature values of certificates and CRLs.
// A new algorithm is a row of kind SSH_OID_SIGNATURE in the registry; a key type with a structured
// signature value needs a branch in signature.cc.
#pragma once

#include "x509/cert.h"
#include "x509/decoder.h"

// SshX509SignatureAlgorithm is an AlgorithmIdentifier of a signature.
struct SshX509SignatureAlgorithm {
  SshOid id;
  SshAsn1Node parameters;
  const SshOidRow *row = nullptr;  // null: not known, where the profile lets that pass

  [[nodiscard]] const char *scheme() const { return row ? row->description : nullptr; }
  [[nodiscard]] uint32_t key_type() const { return row ? row->code : 0; }
};

// ssh_x509_signature_algorithm reads an AlgorithmIdentifier, but not its parameters, and looks it
// up. False if it is refused.                                              RFC 5280, 4.1.1.2
[[nodiscard]] bool ssh_x509_signature_algorithm(SshAsn1Unread &node, SshX509Decoder &decoder,
                                                SshX509SignatureAlgorithm &algorithm);

// ssh_x509_signature_convert turns a certificate's signature bits into its record's signature, by
// the signature's key type: DSA as r and s, all others as they stand. Where the certificate's own q
// is no measure for r and s, a DSA signature is refused, or stays DER if the profile has it so; the
// record tells which. False on failure.
[[nodiscard]] bool ssh_x509_signature_convert(const SshAsn1Bits &bits, SshX509Cert &cert,
                                              SshX509Decoder &decoder);
