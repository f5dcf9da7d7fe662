// Keys for the tests of schemes, made from numbers or their hexadecimal digits.
#pragma once

#include <gtest/gtest.h>

#include <string_view>
#include <vector>

#include "crypto/public_key.h"
#include "support/hex.h"
#include "util/mp_int.h"

namespace key {

using Octets = std::vector<uint8_t>;

inline SshMpInt number(Bytes octets) {
  SshMpInt value;
  value.set_magnitude(octets);
  return value;
}
inline SshMpInt number(std::string_view digits) { return number(unhex(digits)); }

// padded gives a number as `length` octets, or as many as it has.
inline Octets padded(const SshMpInt &value, size_t length) {
  const Bytes octets = value.magnitude();
  Octets out(length > octets.size() ? length - octets.size() : 0);
  out.insert(out.end(), octets.begin(), octets.end());
  return out;
}

inline Octets join(std::initializer_list<Octets> parts) {
  Octets all;
  for (const Octets &part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

inline SshPublicKeyOwner rsa(const SshMpInt &n, const SshMpInt &e,
                             const char *name =
                                 "if-modn{sign{rsa-pkcs1-md5},"
                                 "encrypt{rsa-pkcs1-none}}") {
  SshPublicKey *made = nullptr;
  EXPECT_EQ(ssh_public_key_define(&made, name, {{SSH_KEY_TAG_N, &n}, {SSH_KEY_TAG_E, &e}}),
            SSH_KEY_OK);
  return SshPublicKeyOwner(made);
}

struct Group {
  SshMpInt p, q, g;
};

inline SshPublicKeyOwner dl(const Group &group, const SshMpInt &y,
                            const char *name = "dl-modp{sign{dsa-nist-sha1},dh}") {
  SshPublicKey *made = nullptr;
  EXPECT_EQ(ssh_public_key_define(&made, name,
                                  {{SSH_KEY_TAG_P, &group.p},
                                   {SSH_KEY_TAG_Q, &group.q},
                                   {SSH_KEY_TAG_G, &group.g},
                                   {SSH_KEY_TAG_Y, &y}}),
            SSH_KEY_OK);
  return SshPublicKeyOwner(made);
}

// named makes a key of a named group, which only a blob can carry.
inline SshPublicKeyOwner named(std::string_view group, const SshMpInt &y) {
  const auto be32 = [](size_t value) {
    Octets octets(4);
    ssh_store_be32(octets.data(), static_cast<uint32_t>(value));
    return octets;
  };
  const auto text = [](std::string_view value) { return Octets(value.begin(), value.end()); };
  const std::string_view name = "dl-modp{dh{plain}}";
  const Octets data =
      join({be32(1), be32(group.size()), text(group), be32(y.bits()), padded(y, 0)});
  const Octets blob =
      join({be32(0x65C8B28A), be32(8), be32(name.size()), text(name), be32(data.size()), data});
  SshPublicKey *made = nullptr;
  EXPECT_EQ(ssh_public_key_import(blob, &made), SSH_KEY_OK);
  return SshPublicKeyOwner(made);
}

inline SshKeyStatus verify(const SshPublicKeyOwner &key, const char *scheme, Bytes data,
                           Bytes signature) {
  return ssh_public_key_verify(key.get(), scheme, data, signature);
}

// agree gives the status, and the octets of an agreement that came about.
inline SshKeyStatus agree(const SshPublicKeyOwner &key, Bytes secret, Octets *out = nullptr) {
  SshBlock block;
  size_t length = 0;
  const SshKeyStatus status = ssh_public_key_dh_agree(key.get(), secret, &block, &length);
  EXPECT_EQ(status == SSH_KEY_OK, block != nullptr);
  if (out) *out = {block.get(), block.get() + length};
  return status;
}

}  // namespace key
