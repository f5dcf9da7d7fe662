// Certificates. An export checks its arguments, sets its results to nothing, calls the core, and
// turns the core's status into a public code. Nothing is decoded here.
#include "api/handles.h"
#include "api/status.h"
#include "util/mem.h"

KwPkiCert KWPKI_CALL KwPkiCertAllocate(void) { return kwpki_handle(ssh_cm_cert_allocate()); }

KwPkiStatus KWPKI_CALL KwPkiCertFree(KwPkiCert cert) {
  ssh_cm_cert_free(kwpki_cert(cert));
  return KWPKI_OK;
}

KwPkiStatus KWPKI_CALL KwPkiCertSetBer(const uint8_t *data, uint32_t length, KwPkiCert cert) {
  if (!cert || (!data && length > 0)) return KWPKI_FAILED;
  return kwpki_status(ssh_cm_cert_set_ber(*kwpki_cert(cert), {data, length}));
}

KwPkiStatus KWPKI_CALL KwPkiCertGetBer(KwPkiCert cert, const uint8_t **data, uint32_t *length) {
  if (data) *data = nullptr;
  if (length) *length = 0;
  if (!data || !length) return KWPKI_FAILED;

  Bytes ber;
  const SshCMStatus status = ssh_cm_cert_get_ber(kwpki_cert(cert), &ber);
  *data = ber.data();
  *length = static_cast<uint32_t>(ber.size());  // it came in through a 32-bit length
  return kwpki_status(status);
}

KwPkiStatus KWPKI_CALL KwPkiCertGetSubjectDN(KwPkiCert cert, char **text) {
  if (!text) return KWPKI_FAILED;
  *text = nullptr;

  SshX509Cert *record = nullptr;
  const SshCMStatus status = ssh_cm_cert_get_record(kwpki_cert(cert), &record);
  if (status != SSH_CM_OK) return kwpki_status(status);
  *text = ssh_x509_cert_subject_text(record);
  return *text ? KWPKI_OK : KWPKI_FAILED;
}

KwPkiStatus KWPKI_CALL KwPkiCertGetSubjectDNDer(KwPkiCert cert, uint8_t **data, uint32_t *length) {
  if (data) *data = nullptr;
  if (length) *length = 0;
  if (!data || !length) return KWPKI_FAILED;

  SshX509Cert *record = nullptr;
  const SshCMStatus status = ssh_cm_cert_get_record(kwpki_cert(cert), &record);
  if (status != SSH_CM_OK) return kwpki_status(status);
  size_t size = 0;
  *data = ssh_x509_cert_subject_der(record, &size);
  *length = static_cast<uint32_t>(size);  // a part of the certificate
  return *data ? KWPKI_OK : KWPKI_FAILED;
}

KwPkiStatus KWPKI_CALL KwPkiCertGetSerialNumber(KwPkiCert cert, char **text) {
  if (!text) return KWPKI_FAILED;
  *text = nullptr;

  SshX509Cert *record = nullptr;
  const SshCMStatus status = ssh_cm_cert_get_record(kwpki_cert(cert), &record);
  if (status != SSH_CM_OK) return kwpki_status(status);
  *text = record->serial.to_decimal();
  return *text ? KWPKI_OK : KWPKI_FAILED;
}
