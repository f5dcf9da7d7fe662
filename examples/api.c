/* api, called from the folder above, has an example of every function. The reference shows them,
 * each between two lines with its name.
 *     cc examples/api.c $(pkg-config --cflags --libs kwpki-modern kwpki-loopback) -o api */
#include <kwloopback.h>
#include <kwpki.h>
#include <kwpki_errors.h>
#include <stdio.h>

/* [meaning] */
static const char *meaning(KwPkiStatus status) {
#define ROW(name, text, cause) \
  if (status == name) return text;
  KWPKI_ERRORS(ROW)
#undef ROW
  return "a status of the management agent";
}
/* [meaning] */

static int problems = 0;

static void check(const char *what, KwPkiStatus status) {
  if (status == KWPKI_OK) return;
  printf("%s: %s\n", what, meaning(status));
  problems++;
}

/* [read certificate] */
static KwPkiCert read_certificate(const char *path, uint32_t pem) {
  uint8_t *data = NULL;
  uint32_t length = 0;
  KwPkiCert cert = KwPkiCertAllocate();
  KwPkiStatus status = KwPkiReadFile(path, pem, &data, &length);
  if (status == KWPKI_OK) status = KwPkiCertSetBer(data, length, cert);
  KwPkiStringFree(data); /* the certificate has a copy */
  if (status == KWPKI_OK) return cert;
  fprintf(stderr, "%s: %s\n", path, meaning(status));
  KwPkiCertFree(cert);
  return NULL;
}
/* [read certificate] */

/* [show certificate] */
static void show_certificate(KwPkiCert cert) {
  const uint8_t *ber = NULL;
  uint8_t *name = NULL;
  char *serial = NULL, *subject = NULL;
  uint32_t ber_length = 0, name_length = 0;
  if (KwPkiCertGetBer(cert, &ber, &ber_length) == KWPKI_OK)
    printf("a certificate of %u bytes\n", (unsigned)ber_length);
  if (KwPkiCertGetSerialNumber(cert, &serial) == KWPKI_OK) printf("number %s\n", serial);
  if (KwPkiCertGetSubjectDN(cert, &subject) == KWPKI_OK)
    printf("of %s\n", subject);
  else if (KwPkiCertGetSubjectDNDer(cert, &name, &name_length) == KWPKI_OK)
    printf("of a name of %u bytes that has no text\n", (unsigned)name_length);
  KwPkiStringFree(name); /* null is ignored; what GetBer showed belongs to the certificate */
  KwPkiStringFree(subject);
  KwPkiStringFree(serial);
}
/* [show certificate] */

/* [read CRL] */
static KwPkiCrl read_crl(const char *path) {
  KwPkiCrl crl = KwPkiCrlAllocate();
  if (KwPkiCrlReadFromFile(path, crl) != KWPKI_OK) { /* it has no PEM block: DER, perhaps */
    uint8_t *data = NULL;
    uint32_t length = 0;
    if (KwPkiReadFile(path, 0, &data, &length) || KwPkiCrlSetBer(data, length, crl)) {
      KwPkiCrlFree(crl);
      crl = NULL;
    }
    KwPkiStringFree(data);
  }
  return crl;
}
/* [read CRL] */

/* [search key] */
static KwPkiSearchKey key_of_names(void) {
  static const uint8_t address[4] = {192, 0, 2, 10};
  KwPkiSearchKey key = KwPkiSearchKeyAllocate();
  KwPkiStatus status = KwPkiSearchKeySetDNS("www.example.com", 0, key);
  if (!status) status = KwPkiSearchKeySetEmail("webmaster@example.com", 0, key);
  if (!status) status = KwPkiSearchKeySetURI("https://www.example.com/about?lang=en", 0, key);
  if (!status) status = KwPkiSearchKeySetIP(address, sizeof address, key);
  if (!status)
    status = KwPkiSearchKeySetOID("1.3.6.1.5.5.7.3.1", 0, key); /* server authentication */
  if (!status)
    status =
        KwPkiSearchKeySetDN("C=FI, L=Helsinki, O=Example Oy, OU=Web, CN=www.example.com", 0, key);
  if (!status) return key;
  KwPkiSearchKeyFree(key);
  return NULL;
}
/* [search key] */

/* [key of certificate] */
static KwPkiSearchKey key_of_certificate(KwPkiCert cert) {
  KwPkiSearchKey key = KwPkiSearchKeyAllocate();
  KwPkiPublicKey public_key = KwPkiPublicKeyAllocate();
  uint8_t *name = NULL;
  uint32_t length = 0;
  if (KwPkiCertGetPublicKey(cert, public_key) == KWPKI_OK) {
    printf("a key blob of %u bytes\n", (unsigned)public_key->length);
    check("public key", KwPkiSearchKeySetPublicKey(public_key, key));
  }
  if (KwPkiCertGetSubjectDNDer(cert, &name, &length) == KWPKI_OK)
    check("subject", KwPkiSearchKeySetDNDer(name, length, key));
  KwPkiStringFree(name);
  KwPkiPublicKeyFree(public_key);
  return key;
}
/* [key of certificate] */

/* [constraints] */
static KwPkiSearch search_for(KwPkiSearchKey key) {
  KwPkiSearch search = KwPkiSearchAllocate();
  check("keys", KwPkiSearchSetKeys(key, search));
  check("times", KwPkiSearchSetUnixTime(1798761600u, 1798761600u, search)); /* valid at that time */
  check("type", KwPkiSearchSetKeyType(1, search));                          /* RSA */
  check("usage", KwPkiSearchSetKeyUsage(0x80, search));                     /* digital signature */
  check("rule", KwPkiSearchSetRule(0, search));                             /* all that match */
  check("path", KwPkiSearchSetPathLength(0xFFFFFFFFu, search));             /* any */
  return search;
}
/* [constraints] */

/* [list] */
static void KWPKI_CALL on_found(void *context, uint32_t status, KwPkiCertList list) {
  uint32_t state = 0;
  char *words = NULL;
  KwPkiGetSearchState(list, &state, &words);
  printf("%s: status %u, state %u, %s\n", (const char *)context, (unsigned)status, (unsigned)state,
         words ? words : "no more was said");
  KwPkiStringFree(words);
  if (KwPkiCertListIsEmpty(list)) problems++;
  for (KwPkiCert cert = KwPkiCertListFirst(list); cert; cert = KwPkiCertListNext(list))
    show_certificate(cert);
  for (KwPkiCert cert = KwPkiCertListLast(list); cert; cert = KwPkiCertListPrev(list))
    if (cert != KwPkiCertListCurrent(list)) problems++;
  KwPkiCertListFree(list); /* with its certificates */
}
/* [list] */

/* [replies] */
static void answer(KwLoopbackAgent *agent) {
  uint8_t *body = NULL;
  uint32_t length = 0;
  while (KwLoopbackReceive(agent, &body, &length)) { /* a real host does this by itself */
    check("a reply", KwPkiProcessAsyncResponce(body, length));
    KwLoopbackFree(body, length);
  }
}
/* [replies] */

/* [add] */
static void KWPKI_CALL on_status(void *context, uint32_t status) {
  printf("%s: status %u\n", (const char *)context, (unsigned)status);
  if (status != 0) problems++;
}

static void add(KwPkiCert cert, KwPkiCrl crl, void *agent) {
  static char label[] = "added";
  check("add", KwPkiCertAddAsync(cert, on_status, label, 0, agent));
  check("add", KwPkiCrlAddAsync(crl, on_status, label, agent));
}
/* [add] */

/* [search] */
static void search(KwPkiSearchKey from, KwPkiSearchKey to, void *agent) {
  static char found[] = "found", path[] = "path";
  KwPkiSearch first = search_for(from), second = KwPkiSearchAllocate();
  KwPkiValidity validity = KwPkiValidityAllocate(); /* neither time set: as null is */
  check("keys", KwPkiSearchSetKeys(to, second));
  check("group", KwPkiSearchSetGroupModeOn(second)); /* any of the keys */
  check("search", KwPkiSearchAsync(first, validity, on_found, found, agent));
  check("path", KwPkiSearchPathAsync(first, second, NULL, on_found, path, agent));
  KwPkiValidityFree(validity);
  KwPkiSearchFree(second); /* the requests have copies */
  KwPkiSearchFree(first);
}
/* [search] */

/* [service] */
static void KWPKI_CALL on_names(void *context, uint32_t status, const char *const *names,
                                const uint32_t *lengths, uint32_t count) {
  (void)context, (void)status;
  for (uint32_t i = 0; i < count; i++) printf("authority %.*s\n", (int)lengths[i], names[i]);
}

static void KWPKI_CALL on_data(void *context, uint32_t status, uint8_t *data, uint32_t length) {
  (void)context, (void)status;
  printf("the service says: %.*s\n", (int)length, (const char *)data);
  KwPkiStringFree(data); /* the callback's own; names are not */
}

static void ask_service(void *agent) {
  check("names", KwPkiCaNamesAsync(on_names, NULL, agent));
  check("status", KwPkiStatusAsync(on_data, NULL, agent));
}
/* [service] */

/* [request] */
static void request(const uint8_t *data, uint32_t length, void *agent) {
  static char handed_in[] = "handed in", taken_back[] = "taken back";
  const KwPkiBlock block = {data, length};
  const char *const names[4] = {"first", "second", NULL, NULL};
  check("request", KwPkiCertRequestAsync(&block, names, NULL, on_status, handed_in, agent));
  check("remove", KwPkiCertRequestRemoveAsync(names, on_status, taken_back, agent));
}
/* [request] */

/* [start] */
static KwLoopbackAgent *start(void) {
  KwLoopbackAgent *agent = NULL;
  check("start", KwPkiDelayLoadInitialize()); /* a library that is loaded at first use: now */
  const char *problem = KwLoopbackOpen(NULL, &agent);
  if (problem) puts(problem);
  return agent;
}
/* [start] */

int main(void) {
  KwLoopbackAgent *agent = start();
  KwPkiCert leaf = read_certificate("examples/v3-rich.der", 0);
  KwPkiCert issuer = read_certificate("examples/ca-issuing.pem", 1);
  KwPkiCrl delta = read_crl("examples/crl-delta.der"), crl = read_crl("examples/crl-v2.pem");
  if (!agent || !leaf || !issuer || !delta || !crl) return 1;
  add(leaf, crl, agent);
  add(issuer, delta, agent);
  KwPkiSearchKey names = key_of_names(), authority = key_of_certificate(issuer);
  search(names, authority, agent);
  ask_service(agent);
  request((const uint8_t *)"wanted", 6, agent);
  answer(agent);
  KwPkiSearchKeyFree(authority);
  KwPkiSearchKeyFree(names);
  KwPkiCrlFree(crl);
  KwPkiCrlFree(delta);
  KwPkiCertFree(issuer);
  KwPkiCertFree(leaf);
  KwLoopbackClose(agent);
  return problems != 0;
}
