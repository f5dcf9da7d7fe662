#include "crypto/hash.h"

#include <algorithm>
#include <iterator>

#include "crypto/hash_rows.h"

namespace {

constexpr const SshHashAlgorithm *kAlgorithms[] = {
    &ssh_hash_md5_row,    &ssh_hash_sha1_row,   &ssh_hash_sha224_row,
    &ssh_hash_sha256_row, &ssh_hash_sha384_row, &ssh_hash_sha512_row,
};

// held tells how many bytes wait in `block` for the rest of theirs.
size_t held(const SshHash &hash) {
  return static_cast<size_t>(hash.length % hash.algorithm->block_length());
}

// put_word writes a word of `length` bytes in either order.
void put_word(uint8_t *out, uint64_t word, size_t length, bool big_endian) {
  for (size_t i = 0; i < length; ++i) {
    out[i] = static_cast<uint8_t>(word >> 8 * (big_endian ? length - 1 - i : i));
  }
}

}  // namespace

bool ssh_hash_init(SshHash *hash, const char *name) {
  for (const SshHashAlgorithm *row : kAlgorithms) {
    if (row->name != name) continue;
    ssh_hash_start(hash, *row);
    return true;
  }
  return false;
}

void ssh_hash_start(SshHash *hash, const SshHashAlgorithm &algorithm) {
  *hash = {.algorithm = &algorithm};
  std::copy(std::begin(algorithm.start), std::end(algorithm.start), hash->state);
}

void ssh_hash_update(SshHash *hash, Bytes data) {
  const SshHashAlgorithm &row = *hash->algorithm;
  const size_t block = row.block_length();
  const size_t before = held(*hash);
  hash->length += data.size();
  if (before > 0) {
    const Bytes head = data.first(std::min(block - before, data.size()));
    std::copy(head.begin(), head.end(), hash->block + before);
    if (before + head.size() < block) return;
    row.work(hash->state, hash->block, 1);
    data = data.subspan(head.size());
  }
  row.work(hash->state, data.data(), data.size() / block);
  const Bytes tail = data.last(data.size() % block);
  std::copy(tail.begin(), tail.end(), hash->block);
}

size_t ssh_hash_digest_length(const SshHash *hash) { return hash->algorithm->digest_length; }

size_t ssh_hash_block_length(const SshHash *hash) { return hash->algorithm->block_length(); }

void ssh_hash_final(SshHash *hash, uint8_t *digest) {
  // The padding, which all six algorithms share: a bit that is 1, zeros up to the last two words of
  // a block, and in those two the length of the data in bits.
  const SshHashAlgorithm &row = *hash->algorithm;
  const size_t block = row.block_length();
  const size_t field = 2 * row.word_octets;
  const size_t room = block - held(*hash);
  const size_t fill = (room > field ? room : room + block) - field;
  uint8_t padding[SSH_HASH_BLOCK_MAX + 16] = {0x80};
  const uint64_t bits = hash->length << 3;
  const size_t spare = field - 8;  // above the low 64 bits, for SHA-384 and SHA-512 alone
  if (spare > 0) padding[fill + spare - 1] = static_cast<uint8_t>(hash->length >> 61);
  put_word(padding + fill + spare, bits, 8, row.big_endian);
  ssh_hash_update(hash, {padding, fill + field});
  for (size_t at = 0; at < row.digest_length; at += row.word_octets) {
    put_word(digest + at, hash->state[at / row.word_octets], row.word_octets, row.big_endian);
  }
}

size_t ssh_hash_digest(const char *name, Bytes data, uint8_t *digest) {
  SshHash hash;
  if (!ssh_hash_init(&hash, name)) return 0;
  ssh_hash_update(&hash, data);
  ssh_hash_final(&hash, digest);
  return ssh_hash_digest_length(&hash);
}

Bytes ssh_hash_digest_info(const SshHashAlgorithm &algorithm) {
  return {algorithm.info.der, algorithm.info.length};
}
