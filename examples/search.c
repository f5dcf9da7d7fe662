/* search, called from the folder above, adds two certificates to a store in memory, asks for those
 * of a DNS name and prints what is found.
 *     cc examples/search.c $(pkg-config --cflags --libs kwpki-modern kwpki-loopback) -o search */
#include <kwloopback.h>
#include <kwpki.h>
#include <stdio.h>

static void KWPKI_CALL on_added(void *context, uint32_t status) {
  printf("added %s: status %u\n", (const char *)context, (unsigned)status);
}

static void KWPKI_CALL on_found(void *context, uint32_t status, KwPkiCertList list) {
  int *found = context;
  for (KwPkiCert cert = KwPkiCertListFirst(list); cert; cert = KwPkiCertListNext(list)) {
    char *subject = NULL, *serial = NULL;
    KwPkiPublicKey key = KwPkiPublicKeyAllocate();
    if (status == 0 && KwPkiCertGetSubjectDN(cert, &subject) == 0 &&
        KwPkiCertGetSerialNumber(cert, &serial) == 0 && KwPkiCertGetPublicKey(cert, key) == 0)
      printf("%d. %s\n   serial %s\n   key of %u bytes\n", ++*found, subject, serial,
             (unsigned)key->length);
    KwPkiPublicKeyFree(key);
    KwPkiStringFree(serial);
    KwPkiStringFree(subject);
  }
  KwPkiCertListFree(list);
}

/* A certificate may be freed as soon as its request was made. */
static void add(const char *path, uint32_t armoured, void *agent) {
  KwPkiCert cert = KwPkiCertAllocate();
  uint8_t *data = NULL;
  uint32_t length = 0;
  KwPkiStatus status = KwPkiReadFile(path, armoured, &data, &length);
  if (status == 0) status = KwPkiCertSetBer(data, length, cert);
  if (status == 0) status = KwPkiCertAddAsync(cert, on_added, (void *)path, 0, agent);
  if (status != 0) printf("%s failed with 0x%08x\n", path, (unsigned)status);
  KwPkiStringFree(data);
  KwPkiCertFree(cert);
}

int main(void) {
  KwLoopbackAgent *agent = NULL;
  const char *problem = KwLoopbackOpen(NULL, &agent);
  if (problem) return puts(problem), 1;
  add("examples/ca-issuing.pem", 1, agent);
  add("examples/v3-rich.der", 0, agent);
  int found = 0;
  KwPkiSearchKey key = KwPkiSearchKeyAllocate();
  KwPkiSearch search = KwPkiSearchAllocate();
  if (KwPkiSearchKeySetDNS("www.example.com", 0, key) || KwPkiSearchSetKeys(key, search) ||
      KwPkiSearchAsync(search, NULL, on_found, &found, agent))
    puts("the search was not posted");
  KwPkiSearchFree(search);
  KwPkiSearchKeyFree(key);
  uint8_t *reply = NULL; /* each goes to the library, which calls the callback of its request */
  for (uint32_t length = 0; KwLoopbackReceive(agent, &reply, &length);
       KwLoopbackFree(reply, length))
    if (KwPkiProcessAsyncResponce(reply, length)) puts("the reply cannot be read");
  KwLoopbackClose(agent);
  return found == 0;
}
