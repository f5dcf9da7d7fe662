// HMAC (RFC 2104) over any algorithm of crypto/hash.h, fed piece by piece.
// There is nothing to add for a further hash: it is taken by its name.
#pragma once

#include "crypto/hash.h"

// SshHmac is one running computation. It holds the key in a derived form: wiped by
// ssh_hmac_final and at the end of its scope.
struct SshHmac {
  SshHmac() = default;
  ~SshHmac();
  SshHmac(const SshHmac &) = delete;
  SshHmac &operator=(const SshHmac &) = delete;

  SshHash inner, outer;
};

// ssh_hmac_init starts a computation with a key of any length; false if no hash has that name.
[[nodiscard]] bool ssh_hmac_init(SshHmac *hmac, const char *hash_name, Bytes key);

// ssh_hmac_update feeds bytes; any split into pieces gives the same result.
void ssh_hmac_update(SshHmac *hmac, Bytes data);

// ssh_hmac_final writes the result, as long as the hash's digest. The computation must be started
// anew before its next use.
void ssh_hmac_final(SshHmac *hmac, uint8_t *out);
