#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <wincrypt.h>

#include "kwpki/system.h"

namespace kwpki {

bool is_terminal(std::FILE *file) {
  // Asking a console for escape sequences fails if it does not know them, or is none.
  const auto console = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
  DWORD mode = 0;
  return GetConsoleMode(console, &mode) &&
         SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

void open_missing_files() {}  // streams without a file have none that another could take

void use_octets(std::FILE *file) { (void)_setmode(_fileno(file), _O_BINARY); }

std::optional<std::array<uint8_t, 32>> sha256(Bytes octets) {
  HCRYPTPROV provider = 0;
  HCRYPTHASH hash = 0;
  std::array<uint8_t, 32> digest;
  DWORD length = digest.size();
  const bool done =
      CryptAcquireContextA(&provider, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT) &&
      CryptCreateHash(provider, CALG_SHA_256, 0, 0, &hash) &&
      CryptHashData(hash, octets.data(), static_cast<DWORD>(octets.size()), 0) &&
      CryptGetHashParam(hash, HP_HASHVAL, digest.data(), &length, 0);
  if (hash) CryptDestroyHash(hash);
  if (provider) CryptReleaseContext(provider, 0);
  return done ? std::optional(digest) : std::nullopt;
}

}  // namespace kwpki
