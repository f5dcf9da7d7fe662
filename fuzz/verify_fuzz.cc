// Any bytes as the numbers of a key, a scheme, data and a signature or secret exponent: every
// operation answers, the same each time, and what it gives lies in the key's range.
#include <algorithm>

#include "crypto/hash.h"
#include "crypto/montgomery.h"
#include "crypto/noise.h"
#include "crypto/public_key.h"
#include "fuzz.h"

namespace {

// Keys in use have up to 512 bytes; these are enough to reach everything, and quick.
constexpr size_t kNumberMax = 160;

// Of a scheme that is computed, the end of the name is the hash function's, if there is one.
constexpr const char *kSchemes[] = {"rsa-pkcs1-md5",
                                    "rsa-pkcs1-sha1",
                                    "rsa-pkcs1-none",
                                    "rsa-nist-sha1",
                                    "rsa-pkcs1-sha256",
                                    "rsa-pkcs1-sha512",
                                    "dsa-nist-sha1",
                                    "dsa-nist-sha224",
                                    "dsa-nist-sha256",
                                    "dsa-nist-sha384",
                                    "dsa-nist-sha512",
                                    "rsa-pkcs1-md2",
                                    ""};

// Fields takes the input apart: each field is a byte of length and so many bytes, or what is
// left of them.
struct Fields {
  Bytes left;

  uint8_t octet() {
    if (left.empty()) return 0;
    const uint8_t value = left[0];
    left = left.subspan(1);
    return value;
  }
  Bytes next() {
    const size_t length = std::min<size_t>(octet(), left.size());
    const Bytes field = left.first(length);
    left = left.subspan(length);
    return field;
  }
  SshMpInt number(bool negative) {
    const Bytes octets = next();
    SshMpInt value;
    value.set_magnitude(octets.first(std::min(octets.size(), kNumberMax)), negative);
    return value;
  }
};

void check_verify(const SshPublicKey *key, const char *scheme, const SshMpInt &size, Bytes data,
                  Bytes signature) {
  const SshKeyStatus status = ssh_public_key_verify(key, scheme, data, signature);
  require(status == ssh_public_key_verify(key, scheme, data, signature));
  uint8_t digest[SSH_HASH_DIGEST_MAX];
  Bytes hashed = data;
  const char *const name = std::strrchr(scheme, '-');
  SshHash hash;
  if (name && ssh_hash_init(&hash, name + 1)) {
    ssh_hash_update(&hash, data);
    hashed = {digest, ssh_hash_digest_length(&hash)};
    ssh_hash_final(&hash, digest);
  }
  require(status == ssh_public_key_verify_digest(key, scheme, hashed, signature));
  const bool dsa = scheme[0] == 'd';
  if (status == SSH_KEY_OK)
    require(signature.size() == (dsa ? 2 : 1) * size.magnitude().size() && !signature.empty());
}

void check_encrypt(const SshPublicKey *key, const SshMpInt &n, Bytes data) {
  SshNoise noise;
  SshBlock out;
  size_t length = 0;
  const SshKeyStatus status = ssh_public_key_encrypt(key, data, &noise, &out, &length);
  require((status == SSH_KEY_OK) == (out != nullptr));
  if (!out) return;
  SshMpInt value;
  value.set_magnitude({out.get(), length});
  require(length == n.magnitude().size() && value.compare(n) < 0);
  require(data.size() + 11 <= length);
}

void check_agree(const SshPublicKey *key, const SshMpInt &p, const SshMpInt &y, Bytes secret) {
  SshBlock out;
  size_t length = 0;
  const SshKeyStatus status = ssh_public_key_dh_agree(key, secret, &out, &length);
  require((status == SSH_KEY_OK) == (out != nullptr));
  if (!out) return;
  SshMpInt value, exponent;
  SshMontgomery group;
  require(group.init(p));
  value.set_magnitude({out.get(), length});
  exponent.set_magnitude(secret);
  require(length == p.magnitude().size() && value == group.power(y, exponent));
  require(value.compare(SshMpInt(1)) > 0);
}

SshPublicKeyOwner define(const char *name, std::initializer_list<SshKeyValue> values) {
  SshPublicKey *key = nullptr;
  require(ssh_public_key_define(&key, name, values) == SSH_KEY_OK);
  return SshPublicKeyOwner(key);
}

}  // namespace

// Of the first byte the low bit chooses the key type and the others the signs of the numbers; the
// second chooses the scheme.
void check_input(Bytes input) {
  Fields fields{input};
  const uint8_t flags = fields.octet();
  const char *const scheme = kSchemes[fields.octet() % std::size(kSchemes)];
  if (flags & 1) {
    const SshMpInt p = fields.number(flags & 2), q = fields.number(flags & 4),
                   g = fields.number(flags & 8), y = fields.number(flags & 16);
    const SshPublicKeyOwner key = define(
        "dl-modp{sign{dsa-nist-sha1},dh}",
        {{SSH_KEY_TAG_P, &p}, {SSH_KEY_TAG_Q, &q}, {SSH_KEY_TAG_G, &g}, {SSH_KEY_TAG_Y, &y}});
    const Bytes text = fields.next(), signature = fields.next();
    check_verify(key.get(), scheme, q, text, signature);
    return check_agree(key.get(), p, y, signature);
  }
  const SshMpInt n = fields.number(flags & 2), e = fields.number(flags & 4);
  const SshPublicKeyOwner key = define("if-modn{sign{rsa-pkcs1-md5},encrypt{rsa-pkcs1-none}}",
                                       {{SSH_KEY_TAG_N, &n}, {SSH_KEY_TAG_E, &e}});
  const Bytes text = fields.next(), signature = fields.next();
  check_verify(key.get(), scheme, n, text, signature);
  check_encrypt(key.get(), n, text);
}
