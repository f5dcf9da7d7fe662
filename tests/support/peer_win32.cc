#include <windows.h>

#include <wincrypt.h>

#include "support/hex.h"
#include "support/peer.h"

namespace {

std::string digest(ALG_ID algorithm, Bytes octets) {
  HCRYPTPROV provider = 0;
  HCRYPTHASH hash = 0;
  uint8_t value[64];
  DWORD length = sizeof value;
  const bool done =
      CryptAcquireContextA(&provider, nullptr, nullptr, PROV_RSA_AES, CRYPT_VERIFYCONTEXT) &&
      CryptCreateHash(provider, algorithm, 0, 0, &hash) &&
      CryptHashData(hash, octets.data(), static_cast<DWORD>(octets.size()), 0) &&
      CryptGetHashParam(hash, HP_HASHVAL, value, &length, 0);
  CryptDestroyHash(hash);
  CryptReleaseContext(provider, 0);
  return done ? hex({value, length}) : "no digest";
}

}  // namespace

std::string peer_sha1(Bytes octets) { return digest(CALG_SHA1, octets); }

std::string peer_sha256(Bytes octets) { return digest(CALG_SHA_256, octets); }

std::string peer_base64(std::string_view octets) {
  std::string text(octets.size() / 3 * 4 + 5, 0);  // it counts the terminating null
  auto length = static_cast<DWORD>(text.size());
  if (!CryptBinaryToStringA(reinterpret_cast<const BYTE *>(octets.data()),
                            static_cast<DWORD>(octets.size()),
                            CRYPT_STRING_BASE64 | CRYPT_STRING_NOCRLF, text.data(), &length)) {
    return "no base64";
  }
  text.resize(length);
  return text;
}
