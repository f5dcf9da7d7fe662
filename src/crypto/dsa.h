// DSA (FIPS 186): what the signature rows of "dl-modp" keys do.
// The values are those of key_object.h. A further hash function is a row in key_types.cc.
#pragma once

#include "crypto/key_object.h"

// ssh_dsa_verify holds r and s, each as long as q and one after the other, against a digest.
SshKeyStatus ssh_dsa_verify(const SshMpInt *values, const SshHashAlgorithm *hash, Bytes digest,
                            Bytes signature);
