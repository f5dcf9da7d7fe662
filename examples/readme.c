#include <kwpki.h>
#include <stdio.h>
int main(int argc, char **argv) {
  KwPkiCert cert = KwPkiCertAllocate();
  uint8_t *der = NULL;
  char *subject = NULL;
  uint32_t length = 0;
  const char *path = argc > 1 ? argv[1] : "cert.pem";
  KwPkiStatus status = KwPkiReadFile(path, 0, &der, &length);
  if (!status && length && der[0] != 0x30) { /* not DER: PEM */
    KwPkiStringFree(der);
    der = NULL;
    status = KwPkiReadFile(path, 1, &der, &length);
  }
  if (!status) status = KwPkiCertSetBer(der, length, cert);
  if (!status) status = KwPkiCertGetSubjectDN(cert, &subject);
  if (status)
    fprintf(stderr, "%s: error 0x%08X\n", path, (unsigned)status);
  else
    puts(subject);
  KwPkiStringFree(subject);
  KwPkiStringFree(der);
  KwPkiCertFree(cert);
  return status != KWPKI_OK;
}
