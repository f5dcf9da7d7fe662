#include <kwpki.h>
#include <stdio.h>
int main(int argc, char **argv) {
  KwPkiCert cert = KwPkiCertAllocate();
  uint8_t *der = NULL;
  char *subject = NULL;
  uint32_t length = 0;
  int bad = argc != 2 || KwPkiReadFile(argv[1], 0, &der, &length) ||
            KwPkiCertSetBer(der, length, cert) || KwPkiCertGetSubjectDN(cert, &subject);
  puts(bad ? "no certificate with a subject" : subject);
  KwPkiStringFree(subject);
  KwPkiStringFree(der);
  KwPkiCertFree(cert);
  return bad;
}
