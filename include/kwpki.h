/*
 * KwPki: reads X.509 certificates and certificate revocation lists (CRLs), and asks a certificate
 * service for more of them through the management agent of the host.
 *
 * Conventions, which hold for every function unless its own words say otherwise:
 *
 *  1. Status. Functions that can fail return KWPKI_OK (0) or one of the codes below. Nothing is
 *     thrown and bad input never ends the process. Running out of memory does: a message goes to
 *     standard output and the process ends with status 1.
 *  2. Handles come from an Allocate function and go back to the Free function of the same name.
 *     Free takes null and returns KWPKI_OK. Any other null handle gives KWPKI_FAILED.
 *  3. Results. A text is null-terminated; a block comes with its length in octets. Both are the
 *     caller's own and go back through KwPkiStringFree, whatever the handle that they came from
 *     has become since. On failure they are null, with a length of 0. A null out pointer gives
 *     KWPKI_FAILED.
 *  4. Input is only read during the call; the library keeps copies. Null data with a length above
 *     0 gives KWPKI_FAILED and changes nothing; no data with a length of 0 is an encoding that
 *     does not decode.
 *  5. Text arguments (paths) are null-terminated octets that the operating system interprets.
 *  6. Threads. Different handles may be used by different threads at once. One handle is used by
 *     one thread at a time, also for calls that only read from it. Requests may be made and
 *     replies processed by any number of threads at once; the library has no thread of its own.
 *  7. Requests. A function whose name ends in Async encodes its arguments, remembers the callback
 *     with its context, posts a message through the agent and returns; the handles that it was
 *     given may be freed then. The host passes the body of each reply to
 *     KwPkiProcessAsyncResponce, which calls the callback once, on the thread that called it.
 *     There is no time-out and no way to take a request back: one that is never answered stays
 *     remembered, with its context, until the library is unloaded. An Async function returns
 *       KWPKI_OK          the agent took the message;
 *       KWPKI_NOT_POSTED  a handle or pointer is null, or the request's payload is longer than
 *                         0x63FE000 octets (just below 100 MiB): nothing was remembered; or the
 *                         agent is missing, could not make the message or did not take it;
 *       another value     the agent's own status, as it is, if it would not take the message's
 *                         data. Should an agent report 0 there, that is the result.
 *     After a failure of the agent the callback stays remembered: a reply that comes all the same
 *     is delivered.
 *  8. The agent consists of six functions, KWMACreateMessage, KWMASetMessageData,
 *     KWMAPostMessage and KWMADeleteMessage of the library KWMA32, ZrpCreatePolicyOID and ZrpClose
 *     of KWPMAPI. Each is looked for when a request is posted, until it is found: one that is in
 *     the process already is taken, else its library is loaded. What was found is used until the
 *     process ends, so the host must not unload it. Everything but posting works without them.
 *     An agent argument is handed to KWMAPostMessage as it is, null included.
 */
#ifndef KWPKI_H
#define KWPKI_H

#include <stdint.h>

#if defined(_WIN32) && !defined(_WIN64)
#define KWPKI_CALL __stdcall
#else
#define KWPKI_CALL
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* KwPkiStatus is 0 or one of the seven codes of failure. */
typedef uint32_t KwPkiStatus;

#define KWPKI_OK 0u
#define KWPKI_REFUSED 0x84090001u         /* the certificate manager refused */
#define KWPKI_REFUSED_SEVERE 0xC4090001u  /* the same, with the mark of a severe error */
#define KWPKI_FAILED 0x84090005u          /* bad encoding, empty object or wrong argument */
#define KWPKI_NOT_POSTED 0x84090010u      /* a request did not reach the service */
#define KWPKI_FILE_UNREADABLE 0x84090011u /* a file, or armour in it, could not be read */
#define KWPKI_NO_PUBLIC_KEY 0x84090012u   /* the certificate holds no usable key */
#define KWPKI_KEY_FAILED 0x84090013u      /* a key could not be exported or imported */

/* KwPkiBlock shows octets: null and 0 for none. */
typedef struct KwPkiBlock {
  const uint8_t *data;
  uint32_t length;
} KwPkiBlock;

/* The handles. A public key can be read through its handle: it shows the exported key, which
 * belongs to the handle, or null and 0 while it has none. */
typedef struct KwPkiCertObject *KwPkiCert;
typedef struct KwPkiCrlObject *KwPkiCrl;
typedef struct KwPkiSearchKeyObject *KwPkiSearchKey;
typedef struct KwPkiSearchObject *KwPkiSearch;
typedef struct KwPkiValidityObject *KwPkiValidity;
typedef struct KwPkiCertListObject *KwPkiCertList;
typedef KwPkiBlock *KwPkiPublicKey;

/* The callbacks. `context` is what was given with the request and `status` is what the service
 * says, 0 for success; the library does not interpret either. */
typedef void(KWPKI_CALL *KwPkiStatusCallback)(void *context, uint32_t status);

/* KwPkiCertListCallback receives a list that belongs to it (KwPkiCertListFree), or null if the
 * reply held none that could be read or one that takes more than 768 MiB. */
typedef void(KWPKI_CALL *KwPkiCertListCallback)(void *context, uint32_t status, KwPkiCertList list);

/* KwPkiNamesCallback receives `count` null-terminated texts with their lengths, which are freed
 * when it returns; both arrays are null for a count of 0. */
typedef void(KWPKI_CALL *KwPkiNamesCallback)(void *context, uint32_t status,
                                             const char *const *names, const uint32_t *lengths,
                                             uint32_t count);

/* KwPkiDataCallback receives a block that belongs to it (KwPkiStringFree), never null. */
typedef void(KWPKI_CALL *KwPkiDataCallback)(void *context, uint32_t status, uint8_t *data,
                                            uint32_t length);

/* ---- Certificates -------------------------------------------------------------------------- */

/* KwPkiCertAllocate returns a new certificate, empty until KwPkiCertSetBer; never null. */
KwPkiCert KWPKI_CALL KwPkiCertAllocate(void);

/* KwPkiCertFree frees a certificate with the encodings that KwPkiCertGetBer showed of it. */
KwPkiStatus KWPKI_CALL KwPkiCertFree(KwPkiCert cert);

/* KwPkiCertSetBer decodes the DER or BER encoding of a certificate into `cert`, replacing what it
 * held. Octets after the certificate are tolerated and kept. `data` may be what KwPkiCertGetBer
 * showed of the same certificate. KWPKI_FAILED if the encoding does not decode, has an algorithm
 * or a critical extension that the library does not know, or is longer than 64 MiB; `cert` is
 * then empty. */
KwPkiStatus KWPKI_CALL KwPkiCertSetBer(const uint8_t *data, uint32_t length, KwPkiCert cert);

/* KwPkiCertGetBer shows the encoding that `cert` was set to. It belongs to the certificate, is
 * valid until KwPkiCertFree, also after a further KwPkiCertSetBer, and must not be freed.
 * KWPKI_FAILED if the certificate is empty. */
KwPkiStatus KWPKI_CALL KwPkiCertGetBer(KwPkiCert cert, const uint8_t **data, uint32_t *length);

/* KwPkiCertGetSubjectDN gives the subject as text, in the order of the certificate: "C=FI,
 * O=Example, CN=First + UI=1". A value with octets other than ASCII letters, digits, punctuation
 * and white space is written as "#" and hexadecimal digits. KWPKI_FAILED if the certificate is
 * empty or has no subject, if a value of it is not text that the library reads, or if the text
 * would exceed 100 MiB; KwPkiCertGetSubjectDNDer works in the last two cases. */
KwPkiStatus KWPKI_CALL KwPkiCertGetSubjectDN(KwPkiCert cert, char **text);

/* KwPkiCertGetSubjectDNDer gives the encoding of the subject (an X.501 Name) as a block.
 * KWPKI_FAILED if the certificate is empty or has no subject. */
KwPkiStatus KWPKI_CALL KwPkiCertGetSubjectDNDer(KwPkiCert cert, uint8_t **data, uint32_t *length);

/* KwPkiCertGetSerialNumber gives the serial number as decimal text, with "-" before a negative
 * one. KWPKI_FAILED if the certificate is empty or the number takes more than 64 KiB. */
KwPkiStatus KWPKI_CALL KwPkiCertGetSerialNumber(KwPkiCert cert, char **text);

/* KwPkiCertGetPublicKey exports the certificate's key into `key`; what `key` held is freed.
 * KWPKI_FAILED if the certificate is empty and KWPKI_NO_PUBLIC_KEY if it has no key that can be
 * used (Diffie-Hellman): `key` then keeps what it held. KWPKI_KEY_FAILED if the key cannot be
 * exported: `key` is then empty. */
KwPkiStatus KWPKI_CALL KwPkiCertGetPublicKey(KwPkiCert cert, KwPkiPublicKey key);

/* ---- Certificate revocation lists ---------------------------------------------------------- */

/* KwPkiCrlAllocate returns a new CRL, empty until it is set or read; never null. */
KwPkiCrl KWPKI_CALL KwPkiCrlAllocate(void);

/* KwPkiCrlFree frees a CRL. */
KwPkiStatus KWPKI_CALL KwPkiCrlFree(KwPkiCrl crl);

/* KwPkiCrlSetBer decodes the DER or BER encoding of a CRL into `crl`, as KwPkiCertSetBer does for
 * certificates. */
KwPkiStatus KWPKI_CALL KwPkiCrlSetBer(const uint8_t *data, uint32_t length, KwPkiCrl crl);

/* KwPkiCrlReadFromFile reads a CRL from a base64 armoured file (see KwPkiReadFile) and sets `crl`
 * to it. KWPKI_FILE_UNREADABLE if there is no armoured block to be had: `crl` then keeps what it
 * held. KWPKI_FAILED if the block does not decode: `crl` is then empty. */
KwPkiStatus KWPKI_CALL KwPkiCrlReadFromFile(const char *path, KwPkiCrl crl);

/* ---- Files, public keys and the rest ------------------------------------------------------- */

/* KwPkiReadFile reads a file into a block. With `armoured` 0 the block is the file as it stands;
 * else it is the content of the last base64 armoured block of the file, between a line that
 * starts with a dash and the next (as in PEM files; the words of these lines do not matter). A
 * null path or "-" means standard input. KWPKI_FILE_UNREADABLE if an out pointer is null, if the
 * file cannot be read, is a directory, is larger than 100 MiB, or has no armoured block that was
 * asked for; the out arguments are then left as they are. */
KwPkiStatus KWPKI_CALL KwPkiReadFile(const char *path, uint32_t armoured, uint8_t **data,
                                     uint32_t *length);

/* KwPkiPublicKeyAllocate returns a new public key without content; never null. */
KwPkiPublicKey KWPKI_CALL KwPkiPublicKeyAllocate(void);

/* KwPkiPublicKeyFree frees a public key and the exported key that it shows. */
KwPkiStatus KWPKI_CALL KwPkiPublicKeyFree(KwPkiPublicKey key);

/* KwPkiStringFree frees a text or block that a function gave to the caller; null is ignored.
 * Returns KWPKI_OK. */
KwPkiStatus KWPKI_CALL KwPkiStringFree(void *string_or_block);

/* KwPkiValidityAllocate returns a new validity period with neither of its two times set; never
 * null. */
KwPkiValidity KWPKI_CALL KwPkiValidityAllocate(void);

/* KwPkiValidityFree frees a validity period. */
KwPkiStatus KWPKI_CALL KwPkiValidityFree(KwPkiValidity validity);

/* KwPkiDelayLoadInitialize does nothing and returns KWPKI_OK: a host that links the library for
 * loading at first use calls it to have that happen now. */
KwPkiStatus KWPKI_CALL KwPkiDelayLoadInitialize(void);

/* ---- Search keys --------------------------------------------------------------------------- */

/* KwPkiSearchKeyAllocate returns a new set of search keys, empty; never null. Each of the
 * functions below adds one key; keys of one kind may be added again and again. They return
 * KWPKI_FAILED, and add nothing, if a key cannot be made. A name as text or DER may have up to
 * 1 MiB, other keys as much as a request takes. */
KwPkiSearchKey KWPKI_CALL KwPkiSearchKeyAllocate(void);

/* KwPkiSearchKeyFree frees a set of search keys. */
KwPkiStatus KWPKI_CALL KwPkiSearchKeyFree(KwPkiSearchKey key);

/* KwPkiSearchKeySetDN adds a distinguished name given as text ("C=FI, O=Example, CN=First", in the
 * order of the certificate). Blanks around its values and the length of runs of blanks in them do
 * not matter to a search, nor does case in values that fit a PrintableString.
 * KWPKI_FAILED if the text is not a name or a value fits no string type. */
KwPkiStatus KWPKI_CALL KwPkiSearchKeySetDN(const char *dn, uint32_t ignored, KwPkiSearchKey key);

/* KwPkiSearchKeySetDNDer adds a distinguished name given as DER, as KwPkiSearchKeySetDN does. */
KwPkiStatus KWPKI_CALL KwPkiSearchKeySetDNDer(const uint8_t *data, uint32_t length,
                                              KwPkiSearchKey key);

/* KwPkiSearchKeySetDNS, ...Email, ...URI and ...OID (dotted text) add a name of that kind as it
 * stands, octet by octet. A length of 0 stands for the length of null-terminated text. */
KwPkiStatus KWPKI_CALL KwPkiSearchKeySetDNS(const char *data, uint32_t length, KwPkiSearchKey key);
KwPkiStatus KWPKI_CALL KwPkiSearchKeySetEmail(const char *data, uint32_t length,
                                              KwPkiSearchKey key);
KwPkiStatus KWPKI_CALL KwPkiSearchKeySetURI(const char *data, uint32_t length, KwPkiSearchKey key);
KwPkiStatus KWPKI_CALL KwPkiSearchKeySetOID(const char *data, uint32_t length, KwPkiSearchKey key);

/* KwPkiSearchKeySetIP adds an address of 4 or 16 octets, as a certificate holds it. Other lengths
 * are taken as well; a length of 0 is an empty key. */
KwPkiStatus KWPKI_CALL KwPkiSearchKeySetIP(const uint8_t *data, uint32_t length,
                                           KwPkiSearchKey key);

/* KwPkiSearchKeySetPublicKey adds the SHA-1 digest of a public key. KWPKI_KEY_FAILED if
 * `public_key` is null, empty or cannot be imported. */
KwPkiStatus KWPKI_CALL KwPkiSearchKeySetPublicKey(KwPkiPublicKey public_key, KwPkiSearchKey key);

/* ---- Search constraints -------------------------------------------------------------------- */

/* KwPkiSearchAllocate returns new constraints that exclude nothing; never null. What the values
 * set below mean is the service's affair. */
KwPkiSearch KWPKI_CALL KwPkiSearchAllocate(void);

/* KwPkiSearchFree frees constraints. */
KwPkiStatus KWPKI_CALL KwPkiSearchFree(KwPkiSearch search);

/* KwPkiSearchSetUnixTime sets the time range, both ends in seconds since 1970-01-01 00:00:00 UTC
 * (unsigned, up to 2106). */
KwPkiStatus KWPKI_CALL KwPkiSearchSetUnixTime(uint32_t not_before, uint32_t not_after,
                                              KwPkiSearch search);

/* KwPkiSearchSetKeys gives the constraints a copy of the keys in `key`, in which more may be added
 * afterwards without effect on them. KWPKI_FAILED, and no change, if they have keys already. */
KwPkiStatus KWPKI_CALL KwPkiSearchSetKeys(KwPkiSearchKey key, KwPkiSearch search);

/* These store a value: the type of key, the bits of key usage, the length of a path (0xFFFFFFFF,
 * the initial value: any) and the rule. */
KwPkiStatus KWPKI_CALL KwPkiSearchSetKeyType(uint32_t value, KwPkiSearch search);
KwPkiStatus KWPKI_CALL KwPkiSearchSetKeyUsage(uint32_t value, KwPkiSearch search);
KwPkiStatus KWPKI_CALL KwPkiSearchSetPathLength(uint32_t value, KwPkiSearch search);
KwPkiStatus KWPKI_CALL KwPkiSearchSetRule(uint32_t value, KwPkiSearch search);

/* KwPkiSearchSetGroupModeOn sets group mode; nothing unsets it. */
KwPkiStatus KWPKI_CALL KwPkiSearchSetGroupModeOn(KwPkiSearch search);

/* ---- Certificate lists --------------------------------------------------------------------- */

/* KwPkiCertListIsEmpty returns 1 for a null or empty list, else 0. */
uint32_t KWPKI_CALL KwPkiCertListIsEmpty(KwPkiCertList list);

/* KwPkiCertListFirst and ...Last go to that end of a list and return the certificate there, or
 * null if the list is null or empty. The certificates belong to the list and live until
 * KwPkiCertListFree; to free one with KwPkiCertFree ends the process. One whose encoding did not
 * decode is empty. */
KwPkiCert KWPKI_CALL KwPkiCertListFirst(KwPkiCertList list);
KwPkiCert KWPKI_CALL KwPkiCertListLast(KwPkiCertList list);

/* KwPkiCertListNext and ...Prev go one step on and return the certificate there; at the end they
 * stay and return null, as they do before the first use of KwPkiCertListFirst or ...Last. */
KwPkiCert KWPKI_CALL KwPkiCertListNext(KwPkiCertList list);
KwPkiCert KWPKI_CALL KwPkiCertListPrev(KwPkiCertList list);

/* KwPkiCertListCurrent returns the certificate that the last step led to, or null. */
KwPkiCert KWPKI_CALL KwPkiCertListCurrent(KwPkiCertList list);

/* KwPkiCertListFree frees a list with its certificates. */
KwPkiStatus KWPKI_CALL KwPkiCertListFree(KwPkiCertList list);

/* KwPkiGetSearchState stores what the service said of the state of its search in `*state`. If it
 * said more in words, these are stored in `*text` and returned as well, one text that is the
 * caller's own. Null means that there are no words, which is no failure, or that an argument is
 * null; `*text` is then left as it is, and for a null argument `*state` too. */
char *KWPKI_CALL KwPkiGetSearchState(KwPkiCertList list, uint32_t *state, char **text);

/* ---- Requests and replies ------------------------------------------------------------------ */

/* KwPkiCertAddAsync asks the service to add a certificate, KwPkiCrlAddAsync to add a CRL. `options`
 * is handed on as it is. An empty handle sends an empty encoding. */
KwPkiStatus KWPKI_CALL KwPkiCertAddAsync(KwPkiCert cert, KwPkiStatusCallback callback,
                                         void *context, uint32_t options, void *agent);
KwPkiStatus KWPKI_CALL KwPkiCrlAddAsync(KwPkiCrl crl, KwPkiStatusCallback callback, void *context,
                                        void *agent);

/* KwPkiSearchAsync asks for the certificates that meet the constraints, KwPkiSearchPathAsync for a
 * path from what meets the first to what meets the second. A null `validity` is one with neither
 * time set. */
KwPkiStatus KWPKI_CALL KwPkiSearchAsync(KwPkiSearch search, KwPkiValidity validity,
                                        KwPkiCertListCallback callback, void *context, void *agent);
KwPkiStatus KWPKI_CALL KwPkiSearchPathAsync(KwPkiSearch first, KwPkiSearch second,
                                            KwPkiValidity validity, KwPkiCertListCallback callback,
                                            void *context, void *agent);

/* KwPkiCaNamesAsync asks for the names of certification authorities, KwPkiStatusAsync for a block
 * that tells the state of the service. */
KwPkiStatus KWPKI_CALL KwPkiCaNamesAsync(KwPkiNamesCallback callback, void *context, void *agent);
KwPkiStatus KWPKI_CALL KwPkiStatusAsync(KwPkiDataCallback callback, void *context, void *agent);

/* KwPkiCertRequestAsync hands a request for a certificate to the service, with four names and a
 * further text; KwPkiCertRequestRemoveAsync takes the one of these names back. `names` points to
 * four texts; each of them, and `further`, may be null and is then sent as empty. */
KwPkiStatus KWPKI_CALL KwPkiCertRequestAsync(const KwPkiBlock *request, const char *const *names,
                                             const char *further, KwPkiStatusCallback callback,
                                             void *context, void *agent);
KwPkiStatus KWPKI_CALL KwPkiCertRequestRemoveAsync(const char *const *names,
                                                   KwPkiStatusCallback callback, void *context,
                                                   void *agent);

/* KwPkiProcessAsyncResponce reads the body of a reply and calls the callback of its request.
 * KWPKI_OK if a callback was called. KWPKI_FAILED if the body does not decode, has a payload of
 * more than 0x63FE000 octets or belongs to no request that waits: nothing has changed then. Also KWPKI_FAILED if the
 * reply is not of the kind that the request asked for, if its names cannot be read, or if the
 * callback is null: the request is then over without a call. Replies may come in any order, from
 * any thread, also from inside a callback. */
KwPkiStatus KWPKI_CALL KwPkiProcessAsyncResponce(const uint8_t *data, uint32_t length);

#ifdef __cplusplus
}
#endif

#endif
