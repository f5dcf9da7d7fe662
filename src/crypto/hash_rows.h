// The rows of hash.cc's table, each in the file of its algorithm, and what those files share.
// A further algorithm declares its row here.
#pragma once

#include <algorithm>
#include <iterator>
#include <string_view>

#include "crypto/hash.h"

// SshHashDigestInfo is the DER of a DigestInfo up to the digest:
// SEQUENCE { SEQUENCE { OBJECT IDENTIFIER, NULL }, OCTET STRING }.
struct SshHashDigestInfo {
  uint8_t der[19];
  size_t length;
};

// SshHashAlgorithm is one algorithm: how its words lie in bytes, the state that it starts with, and
// `work`, which brings `count` whole blocks into the state. Buffering and padding are the same for
// all and lie in hash.cc. A state has eight words of 64 bits; an algorithm with 32-bit words uses
// the low halves, of as many as it has.
struct SshHashAlgorithm {
  std::string_view name;
  size_t digest_length;
  size_t word_octets;  // 4 or 8; a block is 16 words, the length field behind the data is two
  bool big_endian;
  void (*work)(uint64_t *state, const uint8_t *blocks, size_t count);
  uint64_t start[8];
  SshHashDigestInfo info;

  constexpr size_t block_length() const { return 16 * word_octets; }
};

extern const SshHashAlgorithm ssh_hash_md5_row, ssh_hash_sha1_row, ssh_hash_sha224_row,
    ssh_hash_sha256_row, ssh_hash_sha384_row, ssh_hash_sha512_row;

// ssh_hash_make_info writes the DigestInfo for the contents of an object identifier.
template <size_t N>
consteval SshHashDigestInfo ssh_hash_make_info(const uint8_t (&oid)[N], uint8_t digest_length) {
  constexpr uint8_t kLength = N;
  constexpr uint8_t kAlgorithm = 2 + kLength + 2;  // what the inner SEQUENCE holds
  const uint8_t head[] = {0x30, 2 + kAlgorithm + 2, 0x30, kAlgorithm, 0x06, kLength};
  const uint8_t tail[] = {0x05, 0, 0x04, digest_length};
  SshHashDigestInfo info = {{}, std::size(head) + N + std::size(tail)};
  uint8_t *out = std::copy(std::begin(head), std::end(head), info.der);
  out = std::copy(std::begin(oid), std::end(oid), out);
  std::copy(std::begin(tail), std::end(tail), out);
  info.der[1] = static_cast<uint8_t>(info.der[1] + digest_length);
  return info;
}
