// Any bytes as an exported key and, behind it, a scheme, data and a signature or secret exponent:
// what is imported exports to a blob that imports to the same key, and every operation answers, the
// same each time, with what lies in the key's range.
#include <algorithm>
#include <string>

#include "crypto/montgomery.h"
#include "crypto/noise.h"
#include "crypto/public_key.h"
#include "fuzz.h"

namespace {

// Keys in use have up to 512 bytes; these are enough to reach everything, and quick.
constexpr size_t kNumberMax = 160;

// A scheme's name is one of each: where it is computed, the end is its hash function, or "none".
constexpr const char *kFamilies[] = {"rsa-pkcs1-", "rsa-nist-", "dsa-nist-", ""};
constexpr const char *kHashes[] = {"none",   "md2",    "md5",    "sha1",
                                   "sha224", "sha256", "sha384", "sha512"};

SshMpInt number_of(const SshPublicKey *key, uint32_t tag) {
  SshMpInt value;
  (void)ssh_public_key_get_info(key, {{.tag = tag, .integer = &value}});
  return value;
}

void check_verify(const SshPublicKey *key, const std::string &scheme, Bytes data, Bytes signature) {
  const SshKeyStatus status = ssh_public_key_verify(key, scheme.c_str(), data, signature);
  require(status == ssh_public_key_verify(key, scheme.c_str(), data, signature));
  if (status != SSH_KEY_OK) return;
  const bool dsa = scheme[0] == 'd';
  const size_t size = number_of(key, dsa ? SSH_KEY_TAG_Q : SSH_KEY_TAG_N).magnitude().size();
  require(size > 0 && signature.size() == (dsa ? 2 : 1) * size);
}

void check_encrypt(const SshPublicKey *key, Bytes data) {
  SshNoise noise;
  SshBlock out;
  size_t length = 0;
  const SshKeyStatus status = ssh_public_key_encrypt(key, data, &noise, &out, &length);
  require((status == SSH_KEY_OK) == (out != nullptr));
  if (!out) return;
  const SshMpInt n = number_of(key, SSH_KEY_TAG_N);
  SshMpInt value;
  value.set_magnitude({out.get(), length});
  require(length == n.magnitude().size() && value.compare(n) < 0);
  require(data.size() + 11 <= length);
}

void check_agree(const SshPublicKey *key, Bytes secret) {
  SshBlock out;
  size_t length = 0;
  const SshKeyStatus status = ssh_public_key_dh_agree(key, secret, &out, &length);
  require((status == SSH_KEY_OK) == (out != nullptr));
  if (!out) return;
  const SshMpInt p = number_of(key, SSH_KEY_TAG_P);
  SshMpInt value, exponent;
  SshMontgomery group;
  require(group.init(p));
  value.set_magnitude({out.get(), length});
  exponent.set_magnitude(secret);
  require(length == p.magnitude().size());
  require(value == group.power(number_of(key, SSH_KEY_TAG_Y), exponent));
  require(value.compare(SshMpInt(1)) > 0);
}

// check_operations takes a byte for the scheme, one for the length of the data, and both fields.
void check_operations(const SshPublicKey *key, Bytes rest) {
  if (rest.size() < 2) return;
  const std::string scheme = std::string(kFamilies[rest[0] / 8 % 4]) + kHashes[rest[0] % 8];
  const Bytes data = rest.subspan(2, std::min<size_t>(rest[1], rest.size() - 2));
  const Bytes signature = rest.subspan(2 + data.size());
  check_verify(key, scheme, data, signature);
  check_encrypt(key, data);
  check_agree(key, signature);
}

}  // namespace

void check_input(Bytes input) {
  SshPublicKey *imported = nullptr, *imported_again = nullptr;
  if (ssh_public_key_import(input, &imported) != SSH_KEY_OK) return require(imported == nullptr);
  const SshPublicKeyOwner key(imported), copy(ssh_public_key_copy(imported));
  uint8_t *blob = nullptr, *blob_again = nullptr;
  uint32_t length = 0, length_again = 0;
  require(ssh_public_key_export(key.get(), &blob, &length) == SSH_KEY_OK);
  const SshBlock owner(blob);
  require(length >= 8 && ssh_load_be32(blob) == 0x65C8B28A && ssh_load_be32(blob + 4) == length);
  require(ssh_public_key_import({blob, length}, &imported_again) == SSH_KEY_OK);
  const SshPublicKeyOwner again(imported_again);

  for (const SshPublicKey *same : {copy.get(), again.get()}) {
    require(ssh_public_key_export(same, &blob_again, &length_again) == SSH_KEY_OK);
    const SshBlock owner_again(blob_again);
    require(ssh_bytes_equal({blob, length}, {blob_again, length_again}));
  }
  size_t longest = 0;
  for (const uint32_t tag :
       {SSH_KEY_TAG_Y, SSH_KEY_TAG_P, SSH_KEY_TAG_Q, SSH_KEY_TAG_G, SSH_KEY_TAG_N, SSH_KEY_TAG_E})
    longest = std::max(longest, number_of(key.get(), tag).magnitude().size());
  const size_t total = ssh_load_be32(&input[4]);  // as the blob says
  if (longest <= kNumberMax && total <= input.size())
    check_operations(key.get(), input.subspan(total));
}
