#include <kwpki.h>
#include <stdio.h>

int main(int argc, char **argv) {
  KwPkiCert cert = KwPkiCertAllocate();
  char *subject = NULL, *serial = NULL;
  int bad = 1;
  for (uint32_t pem = 0; argc == 2 && bad && pem <= 1; ++pem) { /* DER, else PEM */
    uint8_t *der = NULL;
    uint32_t length = 0;
    bad = KwPkiReadFile(argv[1], pem, &der, &length) || KwPkiCertSetBer(der, length, cert);
    KwPkiStringFree(der);
  }
  bad = bad || KwPkiCertGetSubjectDN(cert, &subject) || KwPkiCertGetSerialNumber(cert, &serial);
  printf("%s, serial number %s\n", bad ? "no certificate" : subject, bad ? "none" : serial);
  KwPkiStringFree(subject);
  KwPkiStringFree(serial);
  KwPkiCertFree(cert);
  return bad;
}
