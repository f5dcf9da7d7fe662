// CRLs, as certificates in cert.cc; they can only be set, read and sent to the service.
#include "api/handles.h"
#include "api/status.h"
#include "asn1/files.h"
#include "util/owner.h"

KwPkiCrl KWPKI_CALL KwPkiCrlAllocate(void) { return kwpki_handle(ssh_cm_crl_allocate()); }

KwPkiStatus KWPKI_CALL KwPkiCrlFree(KwPkiCrl crl) {
  ssh_cm_crl_free(kwpki_crl(crl));
  return KWPKI_OK;
}

KwPkiStatus KWPKI_CALL KwPkiCrlSetBer(const uint8_t *data, uint32_t length, KwPkiCrl crl) {
  if (!crl || (!data && length > 0)) return KWPKI_FAILED;
  return kwpki_status(ssh_cm_crl_set_ber(*kwpki_crl(crl), {data, length}));
}

KwPkiStatus KWPKI_CALL KwPkiCrlReadFromFile(const char *path, KwPkiCrl crl) {
  if (!crl) return KWPKI_FAILED;

  uint8_t *data = nullptr;
  size_t length = 0;
  if (!ssh_read_file_base64(path, &data, &length)) return KWPKI_FILE_UNREADABLE;
  const SshBlock block(data);
  return kwpki_status(ssh_cm_crl_set_ber(*kwpki_crl(crl), {data, length}));
}
