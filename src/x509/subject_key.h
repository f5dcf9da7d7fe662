// The public key of a certificate: decodes its SubjectPublicKeyInfo into SshX509Key of the record,
// and makes the key object when it is asked for (ssh_x509_cert_public_key). A new algorithm is a
// row of kind SSH_OID_PUBLIC_KEY in the registry; if the numbers of its keys are to be read, it
// needs a row of the table in subject_key.cc too.
#pragma once

#include "x509/cert.h"
#include "x509/decoder.h"

// ssh_x509_subject_key_decode stores the key's type, usages and numbers. False if the key is
// refused.
[[nodiscard]] bool ssh_x509_subject_key_decode(SshAsn1Unread &node, SshX509Cert &cert,
                                               SshX509Decoder &decoder);
