// Diffie-Hellman agreement (RFC 2631): what the row "plain" of "dl-modp" keys does.
// The values are those of key_object.h. A further way of agreement is a function here and its row.
#pragma once

#include "crypto/key_object.h"

// ssh_dh_agree raises the peer's y to the secret exponent, after a look at the group and at y.
SshKeyStatus ssh_dh_agree(const SshMpInt *values, Bytes secret_exponent, SshBlock *out,
                          size_t *length);
