#include <openssl/evp.h>
#include <unistd.h>

#include "kwpki/system.h"

namespace kwpki {

bool is_terminal(std::FILE *file) { return isatty(fileno(file)) == 1; }

void use_octets(std::FILE *) {}

std::optional<std::array<uint8_t, 32>> sha256(Bytes octets) {
  std::array<uint8_t, 32> digest;
  if (!EVP_Digest(octets.data(), octets.size(), digest.data(), nullptr, EVP_sha256(), nullptr))
    return std::nullopt;
  return digest;
}

}  // namespace kwpki
