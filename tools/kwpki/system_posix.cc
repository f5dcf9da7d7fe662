#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include "kwpki/system.h"

namespace kwpki {

bool is_terminal(std::FILE *file) { return isatty(fileno(file)) == 1; }

void open_missing_files() {
  for (int file = STDIN_FILENO; file <= STDERR_FILENO; ++file) {
    if (fcntl(file, F_GETFD) >= 0) continue;
    (void)open("/dev/null", file == STDIN_FILENO ? O_WRONLY : O_RDONLY);  // takes the lowest place
  }
}

void use_octets(std::FILE *) {}

std::optional<std::array<uint8_t, 32>> sha256(Bytes octets) {
  std::array<uint8_t, 32> digest;
  if (!EVP_Digest(octets.data(), octets.size(), digest.data(), nullptr, EVP_sha256(), nullptr))
    return std::nullopt;
  return digest;
}

}  // namespace kwpki
