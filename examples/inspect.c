/* inspect FILE... prints what the library says of each certificate: subject, serial number and the
 * encoded public key. A file may be PEM or DER. Build it against an installed library with
 *     cc inspect.c $(pkg-config --cflags --libs kwpki) -o inspect */
#include <kwpki.h>
#include <stdio.h>

/* Reads a certificate from PEM or, where that gives none, from DER. The certificate keeps a copy of
 * what it is set to, so the block of the file is freed here. */
static KwPkiStatus read_certificate(const char *path, KwPkiCert cert) {
  KwPkiStatus status = 0;
  for (uint32_t armoured = 2; armoured-- > 0;) {
    uint8_t *data = NULL;
    uint32_t length = 0;
    status = KwPkiReadFile(path, armoured, &data, &length);
    if (status == 0) status = KwPkiCertSetBer(data, length, cert);
    KwPkiStringFree(data);
    if (status == 0) break;
  }
  return status;
}

static KwPkiStatus print_text(const char *label, KwPkiCert cert,
                              KwPkiStatus(KWPKI_CALL *get)(KwPkiCert, char **)) {
  char *text = NULL;
  const KwPkiStatus status = get(cert, &text);
  if (status == 0) printf("  %-8s%s\n", label, text);
  KwPkiStringFree(text);
  return status;
}

static KwPkiStatus print_key(KwPkiCert cert) {
  KwPkiPublicKey key = KwPkiPublicKeyAllocate();
  const KwPkiStatus status = KwPkiCertGetPublicKey(cert, key);
  if (status == 0) {
    printf("  %-8s%u bytes:", "key", (unsigned)key->length);
    for (uint32_t i = 0; i < key->length && i < 16; ++i) printf(" %02x", (unsigned)key->data[i]);
    printf("%s\n", key->length > 16 ? " ..." : "");
  }
  KwPkiPublicKeyFree(key);
  return status;
}

int main(int argc, char **argv) {
  int failures = 0;
  for (int i = 1; i < argc; ++i) {
    KwPkiCert cert = KwPkiCertAllocate();
    KwPkiStatus status = read_certificate(argv[i], cert);
    printf("%s\n", argv[i]);
    if (status == 0) status = print_text("subject", cert, KwPkiCertGetSubjectDN);
    if (status == 0) status = print_text("serial", cert, KwPkiCertGetSerialNumber);
    if (status == 0) status = print_key(cert);
    if (status != 0) printf("  failed with 0x%08x\n", (unsigned)status);
    failures += status != 0;
    KwPkiCertFree(cert);
  }
  return failures != 0;
}
