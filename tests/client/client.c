/* client MODE FOLDER SOURCE is a host in plain C: it loads the library of FOLDER at run time, as
 * hosts do, and finds every export of SOURCE/src/api/exports.txt by its name. The modes:
 *   alone    there is no host library: requests are not posted, everything else works; then the
 *            doubles of FOLDER/host are loaded and requests are posted
 *   hosted   the doubles are where the system looks for libraries, and nothing foreign is loaded
 *            from the current folder
 *   placed   the doubles are beside the library or the program, and go before what PATH has
 *   unload   the library is loaded and unloaded with requests pending, a thousand times
 * In alone and hosted every export is called at every alignment of the stack. */
#include <kwpki.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "platform.h"

#ifndef LONG_FOLDER
#define LONG_FOLDER NULL /* the host is found otherwise */
#endif

enum { kNames = 64, kNameRoom = 64, kLoads = 1000, kWarm = 100, kPending = 10, kStatus = 77 };

static struct {
  char name[kNameRoom];
  Function function;
  int calls;
} exports[kNames];
static int export_count;
static uint32_t shift;   /* of the stack, for calls */
static uint32_t next_id; /* the identifier of the next request */
static int posting;      /* whether the host is there */
static char agent[] = "agent";

#define CHECK(condition) \
  ((condition) ? (void)0 \
               : (void)(printf("client.c:%d: not so: %s\n", __LINE__, #condition), exit(1)))

/* CALL calls an export by its name; P makes an argument of a pointer. */
#define P(pointer) ((uintptr_t)(pointer))
#define CALL(name, ...)                                                     \
  call(#name, sizeof((const uintptr_t[]){__VA_ARGS__}) / sizeof(uintptr_t), \
       (const uintptr_t[]){__VA_ARGS__})
#define CALL0(name) call(#name, 0, (const uintptr_t[]){0})
#define STATUS(...) ((KwPkiStatus)CALL(__VA_ARGS__))
#define OK(...) CHECK(STATUS(__VA_ARGS__) == KWPKI_OK)

static uintptr_t call(const char *name, uint32_t count, const uintptr_t *arguments) {
  int at = 0;
  while (at < export_count && strcmp(exports[at].name, name) != 0) ++at;
  CHECK(at < export_count);
  ++exports[at].calls;
  intptr_t moved = 0;
  const uintptr_t result = checked_call(exports[at].function, count, arguments, shift, &moved);
  if (moved != 0) printf("%s moves the stack pointer by %ld\n", name, (long)moved);
  CHECK(moved == 0);
  return result;
}

#if !defined(_WIN32) || defined(_WIN64)
uintptr_t checked_call(Function function, uint32_t count, const uintptr_t *arguments,
                       uint32_t ignored, intptr_t *moved) {
  uintptr_t a[6] = {0};
  memcpy(a, arguments, count * sizeof *arguments);
  (void)ignored;
  *moved = 0;
  /* Arguments that a function does not have do no harm in the conventions of these systems. */
  return ((uintptr_t(*)(uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t))function)(
      a[0], a[1], a[2], a[3], a[4], a[5]);
}
#endif

static void read_names(const char *source) {
  char path[4096];
  snprintf(path, sizeof path, "%s/src/api/exports.txt", source);
  FILE *file = fopen(path, "r");
  CHECK(file);
  while (export_count < kNames && fscanf(file, "%63s", exports[export_count].name) == 1)
    ++export_count;
  fclose(file);
  CHECK(export_count == 55);
}

static void *load(const char *folder) {
  void *library = library_open(folder, "KwPki");
  CHECK(library);
  for (int i = 0; i < export_count; ++i) {
    exports[i].function = library_find(library, exports[i].name);
    if (!exports[i].function) printf("%s is not exported\n", exports[i].name);
    CHECK(exports[i].function);
  }
  next_id = 0;
  return library;
}

/* --- Replies ---------------------------------------------------------------------------------- */

/* process answers a request with 16 zero octets, which every type can read. */
static KwPkiStatus process(uint32_t id, uint32_t type) {
  /* names come with 0 alone */
  const uint32_t head[] = {1, id, type, type == 4 ? 0 : kStatus, 0, 16};
  uint8_t reply[40] = {0};
  for (uint32_t i = 0; i < sizeof head; ++i) reply[i] = (uint8_t)(head[i / 4] >> (24 - i % 4 * 8));
  return STATUS(KwPkiProcessAsyncResponce, P(reply), sizeof reply);
}

/* --- Callbacks -------------------------------------------------------------------------------- */

typedef struct Seen {
  int calls;
  KwPkiCertList list;
} Seen;

static Seen *see(void *context, int right) {
  CHECK(right);
  ++((Seen *)context)->calls;
  return context;
}

static void KWPKI_CALL on_status(void *context, uint32_t status) {
  see(context, status == kStatus);
}

static void KWPKI_CALL on_list(void *context, uint32_t status, KwPkiCertList list) {
  see(context, status == kStatus)->list = list;
}

static void KWPKI_CALL on_names(void *context, uint32_t status, const char *const *names,
                                const uint32_t *lengths, uint32_t count) {
  see(context, status == 0 && count == 0 && !names == !lengths);
}

static void KWPKI_CALL on_data(void *context, uint32_t status, uint8_t *data, uint32_t length) {
  see(context, status == kStatus && length == 16 && data[0] == 0);
  OK(KwPkiStringFree, P(data));
}

/* --- What a client does ----------------------------------------------------------------------- */

/* posted holds the status of a request, which the double has taken only if all of it was right, and
 * gives its identifier. */
static uint32_t posted(KwPkiStatus status) {
  CHECK(status == (posting ? KWPKI_OK : KWPKI_NOT_POSTED));
  return next_id++;
}

static KwPkiStatus read_example(const char *source, const char *name, KwPkiCert cert) {
  char path[4096];
  uint8_t *data = NULL;
  uint32_t length = 0;
  snprintf(path, sizeof path, "%s/examples/%s", source, name);
  OK(KwPkiReadFile, P(path), 0, P(&data), P(&length));
  const KwPkiStatus status = STATUS(KwPkiCertSetBer, P(data), length, P(cert));
  OK(KwPkiStringFree, P(data));
  return status;
}

static void read_contents(KwPkiCert cert, KwPkiPublicKey key) {
  char *subject = NULL, *serial = NULL;
  uint8_t *der = NULL;
  const uint8_t *ber = NULL;
  uint32_t length = 0;
  OK(KwPkiCertGetBer, P(cert), P(&ber), P(&length));
  OK(KwPkiCertGetSubjectDN, P(cert), P(&subject));
  OK(KwPkiCertGetSerialNumber, P(cert), P(&serial));
  OK(KwPkiCertGetSubjectDNDer, P(cert), P(&der), P(&length));
  CHECK(subject[0] && serial[0] && length > 2 && der[0] == 0x30);
  OK(KwPkiCertGetPublicKey, P(cert), P(key));
  CHECK(key->length > 100 && key->data[7] == (uint8_t)key->length);
  OK(KwPkiStringFree, P(subject));
  OK(KwPkiStringFree, P(serial));
  OK(KwPkiStringFree, P(der));
}

static KwPkiSearch make_search(KwPkiPublicKey public_key) {
  KwPkiSearchKey key = (KwPkiSearchKey)CALL0(KwPkiSearchKeyAllocate);
  OK(KwPkiSearchKeySetDN, P("C=FI, CN=Some One"), 0, P(key));
  OK(KwPkiSearchKeySetDNDer, P("\x30\x00"), 2, P(key));
  OK(KwPkiSearchKeySetDNS, P("www.example.com"), 0, P(key));
  OK(KwPkiSearchKeySetEmail, P("one@example.com"), 15, P(key));
  OK(KwPkiSearchKeySetURI, P("http://example.com/"), 0, P(key));
  OK(KwPkiSearchKeySetOID, P("1.2.3"), 0, P(key));
  OK(KwPkiSearchKeySetIP, P("\x7F\0\0\1"), 4, P(key));
  OK(KwPkiSearchKeySetPublicKey, P(public_key), P(key));
  KwPkiSearch search = (KwPkiSearch)CALL0(KwPkiSearchAllocate);
  OK(KwPkiSearchSetKeys, P(key), P(search));
  OK(KwPkiSearchKeyFree, P(key));
  OK(KwPkiSearchSetUnixTime, 0, 0xFFFFFFFF, P(search));
  OK(KwPkiSearchSetKeyType, 1, P(search));
  OK(KwPkiSearchSetKeyUsage, 3, P(search));
  OK(KwPkiSearchSetPathLength, 2, P(search));
  OK(KwPkiSearchSetRule, 1, P(search));
  OK(KwPkiSearchSetGroupModeOn, P(search));
  return search;
}

static void search_round_trip(KwPkiPublicKey public_key) {
  uint32_t state = 1;
  char *text = agent;
  Seen seen = {0};
  KwPkiValidity validity = (KwPkiValidity)CALL0(KwPkiValidityAllocate);
  KwPkiSearch search = make_search(public_key);
  const uint32_t id =
      posted(STATUS(KwPkiSearchAsync, P(search), P(validity), P(on_list), P(&seen), P(agent)));
  posted(STATUS(KwPkiSearchPathAsync, P(search), P(search), P(validity), P(on_list), P(&seen),
                P(agent)));
  OK(KwPkiSearchFree, P(search));
  OK(KwPkiValidityFree, P(validity));

  CHECK(process(id + 1, 3) == KWPKI_OK && seen.calls == 1);
  OK(KwPkiCertListFree, P(seen.list));
  CHECK(process(id, 2) == KWPKI_OK && seen.calls == 2);
  const uintptr_t list = P(seen.list);
  CHECK(CALL(KwPkiCertListIsEmpty, list));
  CHECK(!CALL(KwPkiCertListFirst, list) && !CALL(KwPkiCertListCurrent, list));
  CHECK(!CALL(KwPkiCertListNext, list) && !CALL(KwPkiCertListPrev, list));
  CHECK(!CALL(KwPkiCertListLast, list));
  CHECK(!CALL(KwPkiGetSearchState, list, P(&state), P(&text)));
  CHECK(state == 0 && text == agent); /* no text leaves the argument alone */
  OK(KwPkiCertListFree, list);
}

static void other_requests(KwPkiCert cert, KwPkiCrl crl) {
  static const char *const names[] = {"a", "b", NULL, "d"};
  static const uint32_t types[] = {0, 1, 5, 7, 4, 6};
  const KwPkiBlock block = {(const uint8_t *)"request", 7};
  Seen seen = {0};
  const uint32_t first =
      posted(STATUS(KwPkiCertAddAsync, P(cert), P(on_status), P(&seen), 5, P(agent)));
  posted(STATUS(KwPkiCrlAddAsync, P(crl), P(on_status), P(&seen), P(agent)));
  posted(STATUS(KwPkiCertRequestAsync, P(&block), P(names), P("further"), P(on_status), P(&seen),
                P(agent)));
  posted(STATUS(KwPkiCertRequestRemoveAsync, P(names), P(on_status), P(&seen), P(agent)));
  posted(STATUS(KwPkiCaNamesAsync, P(on_names), P(&seen), P(agent)));
  posted(STATUS(KwPkiStatusAsync, P(on_data), P(&seen), P(agent)));
  for (uint32_t i = 6; i-- > 0;) CHECK(process(first + i, types[i]) == KWPKI_OK);
  CHECK(seen.calls == 6);
}

/* everything calls every export, with the stack as it is to be. */
static void everything(const char *source) {
  char path[4096];
  KwPkiCrl crl = (KwPkiCrl)CALL0(KwPkiCrlAllocate);
  snprintf(path, sizeof path, "%s/examples/crl-v2.pem", source);
  OK(KwPkiCrlReadFromFile, P(path), P(crl));
  CHECK(STATUS(KwPkiCrlSetBer, P("0"), 1, P(crl)) == KWPKI_FAILED);
  CHECK((KwPkiStatus)CALL0(KwPkiDelayLoadInitialize) == KWPKI_OK);

  KwPkiCert cert = (KwPkiCert)CALL0(KwPkiCertAllocate);
  KwPkiPublicKey key = (KwPkiPublicKey)CALL0(KwPkiPublicKeyAllocate);
  CHECK(read_example(source, "refused-sha256.der", cert) == KWPKI_FAILED);
  CHECK(read_example(source, "v3-rich.der", cert) == KWPKI_OK);
  read_contents(cert, key);
  search_round_trip(key);
  other_requests(cert, crl);
  OK(KwPkiPublicKeyFree, P(key));
  OK(KwPkiCertFree, P(cert));
  OK(KwPkiCrlFree, P(crl));
}

static void at_every_alignment(const char *source) {
  for (shift = 0; shift < 16; shift += 4) {
    for (int i = 0; i < export_count; ++i) exports[i].calls = 0;
    everything(source);
    for (int i = 0; i < export_count; ++i) {
      if (!exports[i].calls) printf("nobody calls %s\n", exports[i].name);
      CHECK(exports[i].calls);
    }
  }
  shift = 0;
}

static void alone(const char *folder, const char *source) {
  char hosts[4096];
  snprintf(hosts, sizeof hosts, "%s/host", folder);
  void *library = load(folder);
  at_every_alignment(source);
  CHECK(library_open(hosts, "KWPMAPI") && library_open(hosts, "KWMA32"));
  posting = 1;
  at_every_alignment(source);
  library_close(library);
}

/* request makes one that is not answered. */
static void request(void) {
  static Seen seen;
  posted(STATUS(KwPkiStatusAsync, P(on_data), P(&seen), P(agent)));
}

static void hosted(const char *folder, const char *source) {
  void *library = load(folder);
  if (search_in(NULL)) request();
  posting = 1;
  search_in(LONG_FOLDER);
  at_every_alignment(source);
  library_close(library);
}

static void placed(const char *folder) {
  posting = 1;
  search_in("foreign");
  void *library = load(folder);
  request();
  library_close(library);
}

static void unload(const char *folder, const char *source) {
  Resources before = {0, 0};
  for (int i = 0; i < kLoads; ++i) {
    if (i == kWarm) before = resources_now();
    void *library = load(folder);
    for (int pending = 0; pending < kPending; ++pending) request();
    if (i % 100 == 0) everything(source);
    library_close(library);
  }
  const Resources after = resources_now();
  printf("%lu octets and %lu objects before, %lu and %lu after\n", (unsigned long)before.octets,
         (unsigned long)before.objects, (unsigned long)after.octets, (unsigned long)after.objects);
  CHECK(after.octets < before.octets + 65536); /* the requests of one load take 5 KiB */
  CHECK(after.objects < before.objects + 16);
}

int main(int argc, char **argv) {
  setvbuf(stdout, NULL, _IONBF, 0);
  CHECK(argc == 4);
  read_names(argv[3]);
  if (strcmp(argv[1], "alone") == 0) {
    alone(argv[2], argv[3]);
  } else if (strcmp(argv[1], "hosted") == 0) {
    hosted(argv[2], argv[3]);
  } else if (strcmp(argv[1], "placed") == 0) {
    placed(argv[2]);
  } else {
    CHECK(strcmp(argv[1], "unload") == 0);
    unload(argv[2], argv[3]);
  }
  printf("%s: done\n", argv[1]);
  return 0;
}
