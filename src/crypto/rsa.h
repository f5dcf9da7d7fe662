// RSA by PKCS #1 v1.5 (RFC 8017): what the scheme rows of "if-modn" keys do.
// The values are those of key_object.h, n and e. A further padding is a further pair of functions.
#pragma once

#include "crypto/key_object.h"

// ssh_rsa_verify holds a signature against a digest, behind its DigestInfo if there is a hash.
SshKeyStatus ssh_rsa_verify(const SshMpInt *values, const SshHashAlgorithm *hash, Bytes digest,
                            Bytes signature);

// ssh_rsa_encrypt encrypts data of at most the modulus's bytes less 11.
SshKeyStatus ssh_rsa_encrypt(const SshMpInt *values, Bytes data, SshNoise *noise, SshBlock *out,
                             size_t *length);
