// The public key of a certificate: its SubjectPublicKeyInfo in, what the record says of it out.
// A new algorithm is a row of kind SSH_OID_PUBLIC_KEY in the registry; one whose key becomes an
// object needs a row of the table in subject_key.cc too.
#pragma once

#include "x509/cert.h"
#include "x509/decoder.h"

// ssh_x509_subject_key_decode fills the key's type, usages and numbers. False on failure.
[[nodiscard]] bool ssh_x509_subject_key_decode(SshAsn1Unread &node, SshX509Cert &cert,
                                               SshX509Decoder &decoder);
