#include <kwloopback.h>
#include <kwpki.h>
#include <stdio.h>
static void KWPKI_CALL on_found(void *context, uint32_t status, KwPkiCertList list) {
  char *subject = NULL;
  for (KwPkiCert cert = KwPkiCertListFirst(list); cert; cert = KwPkiCertListNext(list)) {
    if (KwPkiCertGetSubjectDN(cert, &subject) == KWPKI_OK) puts(subject);
    KwPkiStringFree(subject);
  }
  printf("%s: status %u\n", (const char *)context, (unsigned)status);
  KwPkiCertListFree(list);
}
int main(int argc, char **argv) {
  if (argc != 3) return puts("find STORE DNS-NAME"), 2;
  KwLoopbackAgent *agent = NULL;
  const char *problem = KwLoopbackOpen(argv[1], &agent);
  if (problem) return puts(problem), 1;
  KwPkiSearchKey key = KwPkiSearchKeyAllocate();
  KwPkiSearch search = KwPkiSearchAllocate();
  KwPkiStatus status = KwPkiSearchKeySetDNS(argv[2], 0, key);
  if (!status) status = KwPkiSearchSetKeys(key, search);
  if (!status) status = KwPkiSearchAsync(search, NULL, on_found, argv[2], agent);
  if (status) fprintf(stderr, "error 0x%08X\n", (unsigned)status);
  KwPkiSearchFree(search);
  KwPkiSearchKeyFree(key);
  uint8_t *reply = NULL;
  for (uint32_t length = 0; KwLoopbackReceive(agent, &reply, &length);
       KwLoopbackFree(reply, length))
    KwPkiProcessAsyncResponce(reply, length);
  KwLoopbackClose(agent);
  return status != KWPKI_OK;
}
