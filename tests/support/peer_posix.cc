#include <openssl/evp.h>
#include <openssl/sha.h>

#include "support/hex.h"
#include "support/peer.h"

std::string peer_sha1(Bytes octets) {
  uint8_t digest[SHA_DIGEST_LENGTH];
  SHA1(octets.data(), octets.size(), digest);
  return hex(digest);
}

std::string peer_sha256(Bytes octets) {
  uint8_t digest[SHA256_DIGEST_LENGTH];
  SHA256(octets.data(), octets.size(), digest);
  return hex(digest);
}

std::string peer_base64(std::string_view octets) {
  std::string text(octets.size() / 3 * 4 + 5, 0);
  text.resize(static_cast<size_t>(EVP_EncodeBlock(reinterpret_cast<uint8_t *>(text.data()),
                                                  reinterpret_cast<const uint8_t *>(octets.data()),
                                                  static_cast<int>(octets.size()))));
  return text;
}
