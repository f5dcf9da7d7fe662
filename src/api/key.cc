// Public keys. The handle is a block that callers may read: it shows the exported key, which
// belongs to it and is wiped with it.
#include "api/handles.h"
#include "api/status.h"
#include "crypto/public_key.h"
#include "util/mem.h"

namespace {

// clear frees the exported key that a handle shows.
void clear(KwPkiBlock &key) {
  ssh_xfree_wiped(const_cast<uint8_t *>(key.data));
  key = {};
}

}  // namespace

KwPkiPublicKey KWPKI_CALL KwPkiPublicKeyAllocate(void) {
  return static_cast<KwPkiPublicKey>(ssh_xcalloc(1, sizeof(KwPkiBlock)));
}

KwPkiStatus KWPKI_CALL KwPkiPublicKeyFree(KwPkiPublicKey key) {
  if (!key) return KWPKI_OK;
  clear(*key);
  ssh_xfree(key);
  return KWPKI_OK;
}

KwPkiStatus KWPKI_CALL KwPkiCertGetPublicKey(KwPkiCert cert, KwPkiPublicKey key) {
  SshX509Cert *record = nullptr;
  const SshCMStatus status = ssh_cm_cert_get_record(kwpki_cert(cert), &record);
  if (status != SSH_CM_OK) return kwpki_status(status);
  if (!key) return KWPKI_FAILED;

  const SshPublicKeyOwner public_key(ssh_x509_cert_public_key(record));
  if (!public_key) return KWPKI_NO_PUBLIC_KEY;
  clear(*key);
  uint8_t *blob = nullptr;
  uint32_t length = 0;
  if (ssh_public_key_export(public_key.get(), &blob, &length) != SSH_KEY_OK)
    return KWPKI_KEY_FAILED;
  *key = {blob, length};
  return KWPKI_OK;
}
