// Keys for the tests of key objects and of their schemes, made from numbers or from blobs that are
// put together by hand, as hexadecimal text.
#pragma once

#include "crypto/public_key.h"
#include "support/numbers.h"
#include "support/test.h"
#include "support/wire.h"

namespace key {

using namespace numbers;

constexpr const char *kRsaName = "if-modn{sign{rsa-pkcs1-sha1},encrypt{rsa-pkcs1-none}}";
constexpr const char *kDlName = "dl-modp{sign{dsa-nist-sha1},dh{plain}}";

// made runs what makes a key, and checks that a refusal stores and keeps nothing.
template <class Make>
SshKeyStatus made(SshPublicKeyOwner *out, Make make) {
  const int64_t before = ssh_mem_blocks();
  SshPublicKey *key = nullptr;
  const SshKeyStatus status = make(&key);
  EXPECT_EQ(key != nullptr, status == SSH_KEY_OK);
  EXPECT_TRUE(key || ssh_mem_blocks() == before);
  SshPublicKeyOwner owner(key);
  if (out) *out = std::move(owner);
  return status;
}
inline SshKeyStatus define(SshPublicKeyOwner *out, const char *name,
                           std::initializer_list<SshKeyValue> values) {
  return made(out, [&](SshPublicKey **key) { return ssh_public_key_define(key, name, values); });
}
inline SshKeyStatus import_blob(const Octets &blob, SshPublicKeyOwner *out = nullptr) {
  return made(out, [&](SshPublicKey **key) { return ssh_public_key_import(blob, key); });
}

inline SshPublicKeyOwner rsa(const SshMpInt &n, const SshMpInt &e, const char *name = kRsaName) {
  SshPublicKeyOwner key;
  EXPECT_EQ(define(&key, name, {{SSH_KEY_TAG_N, &n}, {SSH_KEY_TAG_E, &e}}), SSH_KEY_OK);
  return key;
}

struct Group {
  SshMpInt p, q, g;
};

inline SshPublicKeyOwner dl(const Group &group, const SshMpInt &y, const char *name = kDlName) {
  SshPublicKeyOwner key;
  EXPECT_EQ(define(&key, name,
                   {{SSH_KEY_TAG_P, &group.p},
                    {SSH_KEY_TAG_Q, &group.q},
                    {SSH_KEY_TAG_G, &group.g},
                    {SSH_KEY_TAG_Y, &y}}),
            SSH_KEY_OK);
  return key;
}

inline std::string be32(size_t value) { return hex(wire::u32(static_cast<uint32_t>(value))); }
inline std::string field(const std::string &digits) { return be32(digits.size() / 2) + digits; }
inline std::string field_of(std::string_view text) { return field(hex(ssh_text_bytes(text))); }
inline std::string integer(const SshMpInt &value) { return be32(value.bits()) + text(value); }

inline std::string blob(std::string_view name, const std::string &data) {
  const std::string rest = field_of(name) + field(data);
  return "65c8b28a" + be32(8 + rest.size() / 2) + rest;
}

inline SshKeyStatus verify(const SshPublicKeyOwner &key, const char *scheme, Bytes data,
                           Bytes signature) {
  return ssh_public_key_verify(key.get(), scheme, data, signature);
}
inline SshKeyStatus verify_digest(const SshPublicKeyOwner &key, Bytes digest, Bytes signature) {
  return ssh_public_key_verify_digest(key.get(), nullptr, digest, signature);
}

// stored gives the status of what makes a block, and the bytes in it.
template <class Make>
SshKeyStatus stored(Octets *out, Make make) {
  SshBlock block;
  size_t length = 0;
  const SshKeyStatus status = make(&block, &length);
  EXPECT_EQ(status == SSH_KEY_OK, block != nullptr);
  if (out) *out = {block.get(), block.get() + length};
  return status;
}
inline SshKeyStatus agree(const SshPublicKeyOwner &key, const Octets &secret,
                          Octets *out = nullptr) {
  return stored(out, [&](auto... to) { return ssh_public_key_dh_agree(key.get(), secret, to...); });
}
inline SshKeyStatus encrypt(const SshPublicKeyOwner &key, const Octets &data, SshNoise *noise,
                            Octets *out = nullptr) {
  return stored(out,
                [&](auto... to) { return ssh_public_key_encrypt(key.get(), data, noise, to...); });
}

}  // namespace key
