/** @mainpage KwPki
 *
 * KwPki reads X.509 certificates and certificate revocation lists (CRLs), and asks a certificate
 * service for more of them through the management agent of the host. @ref quick_start begins with
 * two programs, @ref concepts tells how things hang together, @ref tool is the manual of `kwpki`.
 *
 * Conventions, which hold for every function unless its own words say otherwise:
 *
 *  1. Profiles. There are two libraries with this interface, and a program has the profile of the
 *     one that it is linked to. libKwPki (pkg-config kwpki, CMake KwPki::KwPki) is classic: exactly
 *     what clients have always met, with RSA, DSA and Diffie-Hellman keys and signatures over MD2
 *     to SHA-1. It refuses certificates that are signed with SHA-2 or have a key on an elliptic
 *     curve, and gives no text of most names in UTF8String: that is nearly every certificate of
 *     today.
 *     libKwPkiModern (kwpki-modern, KwPki::Modern) reads these as well, and is what a new program
 *     wants. On Windows both are named KwPki.dll and stand in two folders. docs/profiles.md has
 *     every difference.
 *  2. Status. Functions that can fail return KWPKI_OK (0) or one of the codes below. Nothing is
 *     thrown and bad input never ends the process. Running out of memory does: a message goes to
 *     standard output and the process ends with status 1.
 *  3. Handles come from an Allocate function and go back to the Free function of the same name.
 *     Free takes null and returns KWPKI_OK. Any other null handle gives KWPKI_FAILED.
 *  4. Results. A text is null-terminated; a block comes with its length in bytes. Both are the
 *     caller's own and go back through KwPkiStringFree, whatever the handle that they came from
 *     has become since. On failure they are null, with a length of 0. A null out pointer gives
 *     KWPKI_FAILED.
 *  5. Input is only read during the call; the library keeps copies. Null data with a length above
 *     0 gives KWPKI_FAILED and changes nothing; no data with a length of 0 is an encoding that
 *     does not decode.
 *  6. Text arguments (paths) are null-terminated bytes that the operating system interprets.
 *  7. Threads. Different handles may be used by different threads at once. One handle is used by
 *     one thread at a time, also for calls that only read from it. Requests may be made and
 *     replies processed by any number of threads at once; the library has no thread of its own.
 *  8. Requests. A function whose name ends in Async encodes its arguments, remembers the callback
 *     with its context, posts a message through the agent and returns; the handles that it was
 *     given may be freed then. The host passes the body of each reply to
 *     KwPkiProcessAsyncResponce, which calls the callback once, on the thread that called it.
 *     There is no time-out and no way to take a request back: one that is never answered stays
 *     remembered, with its context, until the library is unloaded. An Async function returns
 *     - KWPKI_OK: the agent took the message;
 *     - KWPKI_NOT_POSTED: a handle or pointer is null, or the request's payload is longer than
 *       0x63FE000 bytes (just below 100 MiB), and nothing was remembered; or the agent is missing,
 *       could not make the message or did not take it;
 *     - another value: the agent's own status as it stands, if it would not take the message's
 *       data (a status of 0 looks like KWPKI_OK).
 *
 *     After a failure of the agent the callback stays remembered: a reply that comes all the same
 *     is delivered.
 *  9. The agent consists of six functions, KWMACreateMessage, KWMASetMessageData,
 *     KWMAPostMessage and KWMADeleteMessage of the library KWMA32, ZrpCreatePolicyOID and ZrpClose
 *     of KWPMAPI. Each is looked for when a request is posted, until it is found: one that is in
 *     the process already is taken, else its library is loaded. Windows looks for that beside the
 *     program, beside KwPki.dll, in the system's folder and in folders of PATH whose path is
 *     absolute, and nowhere else; other systems look where they look for libraries. What was found
 *     is used until the process ends, so the host must not unload it. Everything but posting works
 *     without them.
 *     An agent argument is handed to KWMAPostMessage as it is, null included.
 *  10. Callbacks and the agent's functions return. They must not leave by longjmp or an exception,
 *     of C++ or of the system: the library does not clean up behind them, and an exception ends the
 *     process where the platform cannot unwind through C. No lock is held while they run, so the
 *     library goes on working if one leaves all the same. A callback's request is over then, and
 *     the names that it was given are never freed. A request that the agent was left in is
 *     remembered like one that was not posted (convention 8); its message is never freed, nor are
 *     the agent's own message and policy given back.
 */
/** @file kwpki.h
 *  The whole interface of KwPki, in C; C++ programs include it as it is. */
#ifndef KWPKI_H
#define KWPKI_H

#include <stdint.h>

/** @defgroup types Status codes, types and callbacks
 *  @{ */

/** @def KWPKI_CALL
 *  KWPKI_CALL is the calling convention of functions and callbacks: stdcall on 32-bit Windows, that
 *  of the platform elsewhere. Callbacks are declared with it. */
#if defined(_WIN32) && !defined(_WIN64)
#define KWPKI_CALL __stdcall
#else
#define KWPKI_CALL
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** KwPkiStatus is 0 or one of the seven codes of failure. Those of the certificate manager,
 *  KWPKI_REFUSED and KWPKI_REFUSED_SEVERE, are not returned by any function of this version. */
typedef uint32_t KwPkiStatus;

#ifndef SWIG /* it reads the macros */
#if defined(__GNUC__) && !defined(__cplusplus)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic" /* values above INT_MAX: an extension before C23 */
#endif
/** KwPkiStatusCode has the codes as enumerators, for tools of other languages that read no macros.
 *  In C and C++ the names are the macros below. */
enum KwPkiStatusCode {
  KWPKI_OK = 0,                        /**< the function did what it says */
  KWPKI_REFUSED = 0x84090001u,         /**< the certificate manager refused */
  KWPKI_REFUSED_SEVERE = 0xC4090001u,  /**< the same, with the mark of a severe error */
  KWPKI_FAILED = 0x84090005u,          /**< bad encoding, empty object or wrong argument */
  KWPKI_NOT_POSTED = 0x84090010u,      /**< a request did not reach the service */
  KWPKI_FILE_UNREADABLE = 0x84090011u, /**< a file, or PEM in it, could not be read */
  KWPKI_NO_PUBLIC_KEY = 0x84090012u,   /**< the certificate holds no usable key */
  KWPKI_KEY_FAILED = 0x84090013u       /**< a key could not be exported or imported */
};
#if defined(__GNUC__) && !defined(__cplusplus)
#pragma GCC diagnostic pop
#endif
#endif

#define KWPKI_OK 0u                       /**< the function did what it says */
#define KWPKI_REFUSED 0x84090001u         /**< the certificate manager refused */
#define KWPKI_REFUSED_SEVERE 0xC4090001u  /**< the same, with the mark of a severe error */
#define KWPKI_FAILED 0x84090005u          /**< bad encoding, empty object or wrong argument */
#define KWPKI_NOT_POSTED 0x84090010u      /**< a request did not reach the service */
#define KWPKI_FILE_UNREADABLE 0x84090011u /**< a file, or PEM in it, could not be read */
#define KWPKI_NO_PUBLIC_KEY 0x84090012u   /**< the certificate holds no usable key */
#define KWPKI_KEY_FAILED 0x84090013u      /**< a key could not be exported or imported */

/** KwPkiBlock shows bytes: null and 0 for none. It does not own them. */
typedef struct KwPkiBlock {
  const uint8_t *data; /**< the bytes */
  uint32_t length;     /**< how many they are */
} KwPkiBlock;

/** KwPkiCert is the handle of a certificate: KwPkiCertAllocate, KwPkiCertFree. Those of a list
 *  (KwPkiCertListFirst) belong to it. */
typedef struct KwPkiCertObject *KwPkiCert;
/** KwPkiCrl is the handle of a CRL: KwPkiCrlAllocate, KwPkiCrlFree. */
typedef struct KwPkiCrlObject *KwPkiCrl;
/** KwPkiSearchKey is the handle of a set of search keys: KwPkiSearchKeyAllocate,
 *  KwPkiSearchKeyFree. */
typedef struct KwPkiSearchKeyObject *KwPkiSearchKey;
/** KwPkiSearch is the handle of search constraints: KwPkiSearchAllocate, KwPkiSearchFree. */
typedef struct KwPkiSearchObject *KwPkiSearch;
/** KwPkiValidity is the handle of a validity period that goes beside the constraints of a search:
 *  KwPkiValidityAllocate, KwPkiValidityFree. No function sets its times, so that any is as good as
 *  null; @ref concept_search. */
typedef struct KwPkiValidityObject *KwPkiValidity;
/** KwPkiCertList is the handle of the result of a search. A KwPkiCertListCallback receives it and
 *  KwPkiCertListFree frees it. */
typedef struct KwPkiCertListObject *KwPkiCertList;
/** KwPkiPublicKey is the handle of a public key: KwPkiPublicKeyAllocate, KwPkiPublicKeyFree. It can
 *  be read through: it shows the exported key, which belongs to the handle, or null and 0 while it
 *  has none. */
typedef KwPkiBlock *KwPkiPublicKey;

/** KwPkiStatusCallback receives the answer to a request that has no more to it than a status.
 *  - Ownership: nothing changes hands.
 *  - Threads: it runs on the thread that called KwPkiProcessAsyncResponce.
 *
 *  @param[in] context  what was given with the request; the library does not interpret it
 *  @param[in] status   the service's answer, 0 for success; the library does not interpret it */
typedef void(KWPKI_CALL *KwPkiStatusCallback)(void *context, uint32_t status);

/** KwPkiCertListCallback receives the answer to a search. A list may come with any status.
 *  - Ownership: the list is the callback's; KwPkiCertListFree frees it.
 *  - Threads: it runs on the thread that called KwPkiProcessAsyncResponce.
 *
 *  @param[in] context  as in KwPkiStatusCallback
 *  @param[in] status   as in KwPkiStatusCallback
 *  @param[in] list     what was found; null if the reply held no list that could be read, or
 *                     one that takes more memory than twelve times the reply and 1 MiB, or
 *                     than 1 GiB in 32 bits */
typedef void(KWPKI_CALL *KwPkiCertListCallback)(void *context, uint32_t status, KwPkiCertList list);

/** KwPkiNamesCallback receives names. It gets none if the status is not 0.
 *  - Ownership: the names and both arrays are freed when it returns.
 *  - Threads: it runs on the thread that called KwPkiProcessAsyncResponce.
 *
 *  @param[in] context  as in KwPkiStatusCallback
 *  @param[in] status   as in KwPkiStatusCallback
 *  @param[in] names    `count` null-terminated texts; null for a count of 0
 *  @param[in] lengths  their lengths in bytes, without the terminator; null for a count of 0
 *  @param[in] count    how many there are */
typedef void(KWPKI_CALL *KwPkiNamesCallback)(void *context, uint32_t status,
                                             const char *const *names, const uint32_t *lengths,
                                             uint32_t count);

/** KwPkiDataCallback receives a block.
 *  - Ownership: the block is the callback's; KwPkiStringFree frees it.
 *  - Threads: it runs on the thread that called KwPkiProcessAsyncResponce.
 *
 *  @param[in] context  as in KwPkiStatusCallback
 *  @param[in] status   as in KwPkiStatusCallback
 *  @param[in] data     the block, never null
 *  @param[in] length   its length in bytes, which may be 0 */
typedef void(KWPKI_CALL *KwPkiDataCallback)(void *context, uint32_t status, uint8_t *data,
                                            uint32_t length);
/** @} */

/** @defgroup certificates Certificates
 *  @{ */

/** KwPkiCertAllocate makes a certificate, empty until KwPkiCertSetBer.
 *  - Ownership: the certificate is the caller's; KwPkiCertFree frees it.
 *  - Threads: any, at any time.
 *
 *  @return the certificate, never null
 *
 *  @snippet api.c read certificate
 *  @see KwPkiCertSetBer, KwPkiCertFree */
KwPkiCert KWPKI_CALL KwPkiCertAllocate(void);

/** KwPkiCertFree frees a certificate with the encodings that KwPkiCertGetBer showed of it.
 *  - Ownership: the handle is the library's again. A certificate of a list belongs to the list and
 *    must not be given here: that ends the process.
 *  - Threads: see convention 7.
 *
 *  @param[in] cert  a certificate of KwPkiCertAllocate, or null
 *  @retval KWPKI_OK  always
 *
 *  @snippet api.c read certificate
 *  @see KwPkiCertAllocate, KwPkiCertListFree */
KwPkiStatus KWPKI_CALL KwPkiCertFree(KwPkiCert cert);

/** KwPkiCertSetBer decodes the DER or BER encoding of a certificate into `cert`, replacing what it
 *  held. Bytes after the certificate are tolerated and kept.
 *  - Ownership: `data` stays the caller's; `cert` keeps a copy.
 *  - Threads: see convention 7.
 *
 *  @param[in] data      the encoding; it may be what KwPkiCertGetBer showed of the same certificate
 *  @param[in] length    its length in bytes
 *  @param[in,out] cert  the certificate
 *  @retval KWPKI_OK      `cert` is set
 *  @retval KWPKI_FAILED  the certificate is signed with SHA-2 or has a key on an elliptic curve and
 *                        the library is the classic one (convention 1); or the encoding does not
 *                        decode, has an algorithm or a critical extension that the library does
 *                        not know, or is longer than 64 MiB: `cert` is then empty; or `cert` is
 *                        null, or `data` is with a length above 0: nothing has changed
 *
 *  @snippet api.c read certificate
 *  @see KwPkiCertGetBer, KwPkiReadFile, KwPkiCrlSetBer */
KwPkiStatus KWPKI_CALL KwPkiCertSetBer(const uint8_t *data, uint32_t length, KwPkiCert cert);

/** KwPkiCertGetBer shows the encoding that `cert` was set to.
 *  - Ownership: the encoding belongs to the certificate, is valid until KwPkiCertFree (in a list
 *    KwPkiCertListFree), also after a further KwPkiCertSetBer, and must not be freed.
 *  - Threads: see convention 7.
 *
 *  @param[in] cert     the certificate
 *  @param[out] data    the encoding
 *  @param[out] length  its length in bytes
 *  @retval KWPKI_OK      the encoding is shown
 *  @retval KWPKI_FAILED  the certificate is empty, or an argument is null
 *
 *  @snippet api.c show certificate
 *  @see KwPkiCertSetBer, KwPkiCertGetSubjectDNDer */
KwPkiStatus KWPKI_CALL KwPkiCertGetBer(KwPkiCert cert, const uint8_t **data, uint32_t *length);

/** KwPkiCertGetSubjectDN gives the subject as text, in the order of the certificate: "C=FI,
 *  O=Example, CN=First + UI=1". A value with bytes other than ASCII letters, digits, punctuation
 *  and white space is written as "#" and hexadecimal digits.
 *  - Ownership: the text is the caller's; KwPkiStringFree frees it.
 *  - Threads: see convention 7.
 *
 *  @param[in] cert   the certificate
 *  @param[out] text  the subject
 *  @retval KWPKI_OK      the text is given
 *  @retval KWPKI_FAILED  a value of the subject is a UTF8String and the library is the classic one
 *                        (convention 1), or is not text that the library reads, or the text would
 *                        exceed 100 MiB (in these cases KwPkiCertGetSubjectDNDer works); or the
 *                        certificate is empty or has no subject, or an argument is null
 *
 *  @snippet api.c show certificate
 *  @see KwPkiCertGetSubjectDNDer, KwPkiSearchKeySetDN */
KwPkiStatus KWPKI_CALL KwPkiCertGetSubjectDN(KwPkiCert cert, char **text);

/** KwPkiCertGetSubjectDNDer gives the encoding of the subject (an X.501 Name) as a block.
 *  - Ownership: the block is the caller's; KwPkiStringFree frees it.
 *  - Threads: see convention 7.
 *
 *  @param[in] cert     the certificate
 *  @param[out] data    the block
 *  @param[out] length  its length in bytes
 *  @retval KWPKI_OK      the block is given
 *  @retval KWPKI_FAILED  the certificate is empty or has no subject, or an argument is null
 *
 *  @snippet api.c key of certificate
 *  @see KwPkiCertGetSubjectDN, KwPkiSearchKeySetDNDer */
KwPkiStatus KWPKI_CALL KwPkiCertGetSubjectDNDer(KwPkiCert cert, uint8_t **data, uint32_t *length);

/** KwPkiCertGetSerialNumber gives the serial number as decimal text, with "-" before a negative
 *  one.
 *  - Ownership: the text is the caller's; KwPkiStringFree frees it.
 *  - Threads: see convention 7.
 *
 *  @param[in] cert   the certificate
 *  @param[out] text  the number
 *  @retval KWPKI_OK      the text is given
 *  @retval KWPKI_FAILED  the certificate is empty, the number takes more than 64 KiB, or an
 *                        argument is null
 *
 *  @snippet api.c show certificate
 *  @see KwPkiCertGetSubjectDN, KwPkiStringFree */
KwPkiStatus KWPKI_CALL KwPkiCertGetSerialNumber(KwPkiCert cert, char **text);

/** KwPkiCertGetPublicKey exports the certificate's key into `key`; what `key` held is freed.
 *  - Ownership: the exported key belongs to `key`, until the next export into it or
 *    KwPkiPublicKeyFree.
 *  - Threads: see convention 7.
 *
 *  @param[in] cert     the certificate
 *  @param[in,out] key  the public key
 *  @retval KWPKI_OK             `key` shows the exported key
 *  @retval KWPKI_FAILED         the certificate is empty, or a handle is null: `key` keeps what it
 *                               held
 *  @retval KWPKI_NO_PUBLIC_KEY  it has no key that can be used (Diffie-Hellman): `key` keeps what
 *                               it held
 *  @retval KWPKI_KEY_FAILED     the key cannot be exported: `key` is then empty
 *
 *  @snippet api.c key of certificate
 *  @see KwPkiPublicKeyAllocate, KwPkiSearchKeySetPublicKey, @ref key_blob */
KwPkiStatus KWPKI_CALL KwPkiCertGetPublicKey(KwPkiCert cert, KwPkiPublicKey key);
/** @} */

/** @defgroup crls Certificate revocation lists
 *  @{ */

/** KwPkiCrlAllocate makes a CRL, empty until it is set or read.
 *  - Ownership: the CRL is the caller's; KwPkiCrlFree frees it.
 *  - Threads: any, at any time.
 *
 *  @return the CRL, never null
 *
 *  @snippet api.c read CRL
 *  @see KwPkiCrlSetBer, KwPkiCrlReadFromFile, KwPkiCrlFree */
KwPkiCrl KWPKI_CALL KwPkiCrlAllocate(void);

/** KwPkiCrlFree frees a CRL.
 *  - Ownership: the handle is the library's again.
 *  - Threads: see convention 7.
 *
 *  @param[in] crl  a CRL, or null
 *  @retval KWPKI_OK  always
 *
 *  @snippet api.c read CRL
 *  @see KwPkiCrlAllocate */
KwPkiStatus KWPKI_CALL KwPkiCrlFree(KwPkiCrl crl);

/** KwPkiCrlSetBer decodes the DER or BER encoding of a CRL into `crl`, as KwPkiCertSetBer does for
 *  certificates.
 *  - Ownership: `data` stays the caller's; `crl` keeps a copy.
 *  - Threads: see convention 7.
 *
 *  @param[in] data     the encoding
 *  @param[in] length   its length in bytes
 *  @param[in,out] crl  the CRL
 *  @retval KWPKI_OK      `crl` is set
 *  @retval KWPKI_FAILED  as for KwPkiCertSetBer
 *
 *  @snippet api.c read CRL
 *  @see KwPkiCrlReadFromFile, KwPkiCertSetBer, KwPkiCrlAddAsync */
KwPkiStatus KWPKI_CALL KwPkiCrlSetBer(const uint8_t *data, uint32_t length, KwPkiCrl crl);

/** KwPkiCrlReadFromFile reads a CRL from a PEM file (see KwPkiReadFile) and sets `crl` to it.
 *  - Ownership: `path` stays the caller's; what is read belongs to `crl`.
 *  - Threads: see convention 7.
 *
 *  @param[in] path     the file; null or "-" means standard input
 *  @param[in,out] crl  the CRL
 *  @retval KWPKI_OK               `crl` is set
 *  @retval KWPKI_FILE_UNREADABLE  there is no PEM block to be had: `crl` keeps what it held
 *  @retval KWPKI_FAILED           the block does not decode: `crl` is empty; or `crl` is null
 *
 *  @snippet api.c read CRL
 *  @see KwPkiCrlSetBer, KwPkiReadFile */
KwPkiStatus KWPKI_CALL KwPkiCrlReadFromFile(const char *path, KwPkiCrl crl);
/** @} */

/** @defgroup files Files, public keys and the rest
 *  @{ */

/** KwPkiReadFile reads a file into a block: as it stands, or the content of the last PEM block
 *  of the file: base64 between a line that starts with a dash and the next. The words of these
 *  lines do not matter.
 *  - Ownership: the block is the caller's; KwPkiStringFree frees it.
 *  - Threads: any, at any time; those that read standard input at once share what comes.
 *
 *  @param[in] path      the file; null or "-" means standard input, which stays open
 *  @param[in] pem       0 for the file as it stands, else its last PEM block
 *  @param[out] data     the block, not null even for an empty file
 *  @param[out] length   its length in bytes
 *  @retval KWPKI_OK               the block is given
 *  @retval KWPKI_FILE_UNREADABLE  an out pointer is null, or the file cannot be read, is a
 *                                 directory, is larger than 100 MiB, or has no PEM block where one
 *                                 was asked for; the out arguments are then left as they are
 *
 *  @snippet api.c read certificate
 *  @see KwPkiCertSetBer, KwPkiCrlReadFromFile, KwPkiStringFree */
KwPkiStatus KWPKI_CALL KwPkiReadFile(const char *path, uint32_t pem, uint8_t **data,
                                     uint32_t *length);

/** KwPkiPublicKeyAllocate makes a public key without content.
 *  - Ownership: the handle is the caller's; KwPkiPublicKeyFree frees it.
 *  - Threads: any, at any time.
 *
 *  @return the public key, never null
 *
 *  @snippet api.c key of certificate
 *  @see KwPkiCertGetPublicKey, KwPkiPublicKeyFree */
KwPkiPublicKey KWPKI_CALL KwPkiPublicKeyAllocate(void);

/** KwPkiPublicKeyFree frees a public key.
 *  - Ownership: the handle is the library's again, and so is the exported key that it shows.
 *  - Threads: see convention 7.
 *
 *  @param[in] key  a public key, or null
 *  @retval KWPKI_OK  always
 *
 *  @snippet api.c key of certificate
 *  @see KwPkiPublicKeyAllocate */
KwPkiStatus KWPKI_CALL KwPkiPublicKeyFree(KwPkiPublicKey key);

/** KwPkiStringFree frees a text or block that a function gave to the caller.
 *  - Ownership: the text or block is the library's again.
 *  - Threads: any, at any time, whichever thread it was given to.
 *
 *  @param[in] string_or_block  the text or block; null is ignored
 *  @retval KWPKI_OK  always
 *
 *  @snippet api.c show certificate
 *  @see KwPkiReadFile, KwPkiCertGetSubjectDN, KwPkiGetSearchState */
KwPkiStatus KWPKI_CALL KwPkiStringFree(void *string_or_block);

/** KwPkiValidityAllocate makes a validity period with neither of its two times set.
 *  - Ownership: the period is the caller's; KwPkiValidityFree frees it.
 *  - Threads: any, at any time.
 *
 *  @return the validity period, never null
 *
 *  @snippet api.c search
 *  @see KwPkiSearchAsync, KwPkiSearchSetUnixTime, KwPkiValidityFree */
KwPkiValidity KWPKI_CALL KwPkiValidityAllocate(void);

/** KwPkiValidityFree frees a validity period.
 *  - Ownership: the handle is the library's again.
 *  - Threads: see convention 7.
 *
 *  @param[in] validity  a validity period, or null
 *  @retval KWPKI_OK  always
 *
 *  @snippet api.c search
 *  @see KwPkiValidityAllocate */
KwPkiStatus KWPKI_CALL KwPkiValidityFree(KwPkiValidity validity);

/** KwPkiDelayLoadInitialize does nothing: a host that links the library for loading at first use
 *  calls it to have that happen now.
 *  - Ownership: nothing changes hands.
 *  - Threads: any, at any time.
 *
 *  @retval KWPKI_OK  always
 *
 *  @snippet api.c start
 *  @see KwPkiProcessAsyncResponce */
KwPkiStatus KWPKI_CALL KwPkiDelayLoadInitialize(void);
/** @} */

/** @defgroup keys Search keys
 *  Each KwPkiSearchKeySet function adds one key to a set; keys of one kind may be added again and
 *  again. A function that fails adds nothing. A name as text or DER may have up to 1 MiB, other
 *  keys as much as a request takes.
 *  @{ */

/** KwPkiSearchKeyAllocate makes a set of search keys, empty.
 *  - Ownership: the set is the caller's; KwPkiSearchKeyFree frees it.
 *  - Threads: any, at any time.
 *
 *  @return the set, never null
 *
 *  @snippet api.c search key
 *  @see KwPkiSearchSetKeys, KwPkiSearchKeyFree */
KwPkiSearchKey KWPKI_CALL KwPkiSearchKeyAllocate(void);

/** KwPkiSearchKeyFree frees a set of search keys.
 *  - Ownership: the handle is the library's again, with its keys; constraints have copies.
 *  - Threads: see convention 7.
 *
 *  @param[in] key  a set, or null
 *  @retval KWPKI_OK  always
 *
 *  @snippet api.c search key
 *  @see KwPkiSearchKeyAllocate */
KwPkiStatus KWPKI_CALL KwPkiSearchKeyFree(KwPkiSearchKey key);

/** KwPkiSearchKeySetDN adds a distinguished name given as text ("C=FI, O=Example, CN=First", in the
 *  order of the certificate). Blanks around its values and the length of runs of blanks in them do
 *  not matter to a search, nor does case in values that fit a PrintableString.
 *  - Ownership: `dn` stays the caller's; the set keeps a copy.
 *  - Threads: see convention 7.
 *
 *  @param[in] dn       the name, null-terminated
 *  @param[in] ignored  any value
 *  @param[in,out] key  the set
 *  @retval KWPKI_OK      the key is added
 *  @retval KWPKI_FAILED  the text is not a name, a value of it is empty or fits no string type, it
 *                        is longer than 1 MiB, or a pointer is null
 *
 *  @snippet api.c search key
 *  @see KwPkiSearchKeySetDNDer, KwPkiCertGetSubjectDN */
KwPkiStatus KWPKI_CALL KwPkiSearchKeySetDN(const char *dn, uint32_t ignored, KwPkiSearchKey key);

/** KwPkiSearchKeySetDNDer adds a distinguished name given as DER, as KwPkiSearchKeySetDN does.
 *  - Ownership: `data` stays the caller's; the set keeps a copy.
 *  - Threads: see convention 7.
 *
 *  @param[in] data     the encoding of an X.501 Name
 *  @param[in] length   its length in bytes
 *  @param[in,out] key  the set
 *  @retval KWPKI_OK      the key is added
 *  @retval KWPKI_FAILED  the encoding is not a name, a value of it is empty or fits no string type,
 *                        it is longer than 1 MiB, or a pointer is null
 *
 *  @snippet api.c key of certificate
 *  @see KwPkiSearchKeySetDN, KwPkiCertGetSubjectDNDer */
KwPkiStatus KWPKI_CALL KwPkiSearchKeySetDNDer(const uint8_t *data, uint32_t length,
                                              KwPkiSearchKey key);

/** KwPkiSearchKeySetDNS adds a DNS name as it stands, byte by byte.
 *  - Ownership: `data` stays the caller's; the set keeps a copy.
 *  - Threads: see convention 7.
 *
 *  @param[in] data     the name
 *  @param[in] length   its length in bytes; 0 stands for the length of null-terminated text
 *  @param[in,out] key  the set
 *  @retval KWPKI_OK      the key is added
 *  @retval KWPKI_FAILED  the name is longer than any request, or a pointer is null
 *
 *  @snippet api.c search key
 *  @see KwPkiSearchKeySetIP, KwPkiSearchSetKeys */
KwPkiStatus KWPKI_CALL KwPkiSearchKeySetDNS(const char *data, uint32_t length, KwPkiSearchKey key);

/** KwPkiSearchKeySetEmail adds a mail address as it stands, byte by byte.
 *  - Ownership: `data` stays the caller's; the set keeps a copy.
 *  - Threads: see convention 7.
 *
 *  @param[in] data     the address
 *  @param[in] length   its length in bytes; 0 stands for the length of null-terminated text
 *  @param[in,out] key  the set
 *  @retval KWPKI_OK      the key is added
 *  @retval KWPKI_FAILED  the address is longer than any request, or a pointer is null
 *
 *  @snippet api.c search key
 *  @see KwPkiSearchKeySetDNS, KwPkiSearchSetKeys */
KwPkiStatus KWPKI_CALL KwPkiSearchKeySetEmail(const char *data, uint32_t length,
                                              KwPkiSearchKey key);

/** KwPkiSearchKeySetURI adds a URI as it stands, byte by byte.
 *  - Ownership: `data` stays the caller's; the set keeps a copy.
 *  - Threads: see convention 7.
 *
 *  @param[in] data     the URI
 *  @param[in] length   its length in bytes; 0 stands for the length of null-terminated text
 *  @param[in,out] key  the set
 *  @retval KWPKI_OK      the key is added
 *  @retval KWPKI_FAILED  the URI is longer than any request, or a pointer is null
 *
 *  @snippet api.c search key
 *  @see KwPkiSearchKeySetDNS, KwPkiSearchSetKeys */
KwPkiStatus KWPKI_CALL KwPkiSearchKeySetURI(const char *data, uint32_t length, KwPkiSearchKey key);

/** KwPkiSearchKeySetOID adds an object identifier as it stands, byte by byte.
 *  - Ownership: `data` stays the caller's; the set keeps a copy.
 *  - Threads: see convention 7.
 *
 *  @param[in] data     the identifier as dotted text
 *  @param[in] length   its length in bytes; 0 stands for the length of null-terminated text
 *  @param[in,out] key  the set
 *  @retval KWPKI_OK      the key is added
 *  @retval KWPKI_FAILED  the text is longer than any request, or a pointer is null
 *
 *  @snippet api.c search key
 *  @see KwPkiSearchKeySetURI, KwPkiSearchSetKeys */
KwPkiStatus KWPKI_CALL KwPkiSearchKeySetOID(const char *data, uint32_t length, KwPkiSearchKey key);

/** KwPkiSearchKeySetIP adds an address of 4 or 16 bytes, as a certificate holds it. Other lengths
 *  are taken as well.
 *  - Ownership: `data` stays the caller's; the set keeps a copy.
 *  - Threads: see convention 7.
 *
 *  @param[in] data     the bytes of the address
 *  @param[in] length   how many they are; 0 is an empty key, for which `data` may be null
 *  @param[in,out] key  the set
 *  @retval KWPKI_OK      the key is added
 *  @retval KWPKI_FAILED  the length is above that of any request, `key` is null, or `data` is with
 *                        a length above 0
 *
 *  @snippet api.c search key
 *  @see KwPkiSearchKeySetDNS, KwPkiSearchSetKeys */
KwPkiStatus KWPKI_CALL KwPkiSearchKeySetIP(const uint8_t *data, uint32_t length,
                                           KwPkiSearchKey key);

/** KwPkiSearchKeySetPublicKey adds the SHA-1 digest of a public key.
 *  - Ownership: `public_key` stays the caller's; the set keeps the digest only.
 *  - Threads: see convention 7.
 *
 *  @param[in] public_key  the public key
 *  @param[in,out] key     the set
 *  @retval KWPKI_OK          the key is added
 *  @retval KWPKI_KEY_FAILED  `public_key` is null, empty or cannot be imported
 *  @retval KWPKI_FAILED      `key` is null
 *
 *  @snippet api.c key of certificate
 *  @see KwPkiCertGetPublicKey, KwPkiSearchSetKeys, @ref key_blob */
KwPkiStatus KWPKI_CALL KwPkiSearchKeySetPublicKey(KwPkiPublicKey public_key, KwPkiSearchKey key);
/** @} */

/** @defgroup constraints Search constraints
 *  The library sends the values that are set here and gives them no meaning; the service does.
 *  @{ */

/** KwPkiSearchAllocate makes constraints that exclude nothing.
 *  - Ownership: the constraints are the caller's; KwPkiSearchFree frees them.
 *  - Threads: any, at any time.
 *
 *  @return the constraints, never null
 *
 *  @snippet api.c constraints
 *  @see KwPkiSearchSetKeys, KwPkiSearchAsync, KwPkiSearchFree */
KwPkiSearch KWPKI_CALL KwPkiSearchAllocate(void);

/** KwPkiSearchFree frees constraints.
 *  - Ownership: the handle is the library's again, with the copies of keys that it holds.
 *  - Threads: see convention 7.
 *
 *  @param[in] search  constraints, or null
 *  @retval KWPKI_OK  always
 *
 *  @snippet api.c search
 *  @see KwPkiSearchAllocate */
KwPkiStatus KWPKI_CALL KwPkiSearchFree(KwPkiSearch search);

/** KwPkiSearchSetUnixTime sets the time range, both ends in seconds since 1970-01-01 00:00:00 UTC
 *  (unsigned, up to 2106).
 *  - Ownership: nothing changes hands.
 *  - Threads: see convention 7.
 *
 *  @param[in] not_before  the start
 *  @param[in] not_after   the end
 *  @param[in,out] search  the constraints
 *  @retval KWPKI_OK      the range is set
 *  @retval KWPKI_FAILED  `search` is null
 *
 *  @snippet api.c constraints
 *  @see KwPkiValidityAllocate, KwPkiSearchAsync */
KwPkiStatus KWPKI_CALL KwPkiSearchSetUnixTime(uint32_t not_before, uint32_t not_after,
                                              KwPkiSearch search);

/** KwPkiSearchSetKeys gives the constraints a copy of the keys in `key`, in which more may be added
 *  afterwards without effect on them.
 *  - Ownership: `key` stays the caller's (KwPkiSearchKeyFree); the copy belongs to `search`.
 *  - Threads: see convention 7.
 *
 *  @param[in] key         the set; an empty one changes nothing
 *  @param[in,out] search  the constraints
 *  @retval KWPKI_OK      the keys are set
 *  @retval KWPKI_FAILED  the constraints have keys already, or a handle is null: no change
 *
 *  @snippet api.c constraints
 *  @see KwPkiSearchKeyAllocate, KwPkiSearchSetGroupModeOn */
KwPkiStatus KWPKI_CALL KwPkiSearchSetKeys(KwPkiSearchKey key, KwPkiSearch search);

/** KwPkiSearchSetKeyType stores the type of key.
 *  - Ownership: nothing changes hands.
 *  - Threads: see convention 7.
 *
 *  @param[in] value       the type, 0 at first. To the loopback service that is any, 1 is RSA,
 *                         2 DSA, 4 Diffie-Hellman (@ref concept_search)
 *  @param[in,out] search  the constraints
 *  @retval KWPKI_OK      the value is stored
 *  @retval KWPKI_FAILED  `search` is null
 *
 *  @snippet api.c constraints
 *  @see KwPkiSearchSetKeyUsage, KwPkiSearchSetKeys */
KwPkiStatus KWPKI_CALL KwPkiSearchSetKeyType(uint32_t value, KwPkiSearch search);

/** KwPkiSearchSetKeyUsage stores the bits of key usage.
 *  - Ownership: nothing changes hands.
 *  - Threads: see convention 7.
 *
 *  @param[in] value       the bits, 0 at first, for none. To the loopback service they go from 0x80
 *                         for digital signature to 0x01 for encipher only, and 0x8000 for decipher
 *                         only (@ref concept_search)
 *  @param[in,out] search  the constraints
 *  @retval KWPKI_OK      the value is stored
 *  @retval KWPKI_FAILED  `search` is null
 *
 *  @snippet api.c constraints
 *  @see KwPkiSearchSetKeyType, KwPkiSearchSetKeys */
KwPkiStatus KWPKI_CALL KwPkiSearchSetKeyUsage(uint32_t value, KwPkiSearch search);

/** KwPkiSearchSetPathLength stores the length of a path.
 *  - Ownership: nothing changes hands.
 *  - Threads: see convention 7.
 *
 *  @param[in] value       the length; 0xFFFFFFFF, the initial value, means any
 *  @param[in,out] search  the constraints
 *  @retval KWPKI_OK      the value is stored
 *  @retval KWPKI_FAILED  `search` is null
 *
 *  @snippet api.c constraints
 *  @see KwPkiSearchPathAsync, KwPkiSearchSetRule */
KwPkiStatus KWPKI_CALL KwPkiSearchSetPathLength(uint32_t value, KwPkiSearch search);

/** KwPkiSearchSetRule stores the rule.
 *  - Ownership: nothing changes hands.
 *  - Threads: see convention 7.
 *
 *  @param[in] value       the rule, 0 at first. To the loopback service that is all that match, 1
 *                         the newest of them, 2 authorities only, 3 all but authorities
 *                         (@ref concept_search)
 *  @param[in,out] search  the constraints
 *  @retval KWPKI_OK      the value is stored
 *  @retval KWPKI_FAILED  `search` is null
 *
 *  @snippet api.c constraints
 *  @see KwPkiSearchSetPathLength, KwPkiSearchAsync */
KwPkiStatus KWPKI_CALL KwPkiSearchSetRule(uint32_t value, KwPkiSearch search);

/** KwPkiSearchSetGroupModeOn sets group mode; nothing unsets it.
 *  - Ownership: nothing changes hands.
 *  - Threads: see convention 7.
 *
 *  @param[in,out] search  the constraints
 *  @retval KWPKI_OK      group mode is set
 *  @retval KWPKI_FAILED  `search` is null
 *
 *  @snippet api.c search
 *  @see KwPkiSearchSetKeys */
KwPkiStatus KWPKI_CALL KwPkiSearchSetGroupModeOn(KwPkiSearch search);
/** @} */

/** @defgroup lists Certificate lists
 *  A list has one position, by which it is walked. KwPkiCertListFirst and KwPkiCertListLast set it;
 *  before, it is at no certificate. A certificate in it whose encoding did not decode is empty.
 *  @{ */

/** KwPkiCertListIsEmpty tells whether a list holds no certificate.
 *  - Ownership: nothing changes hands.
 *  - Threads: see convention 7.
 *
 *  @param[in] list  the list
 *  @return 1 for a null or empty list, else 0
 *
 *  @snippet api.c list
 *  @see KwPkiCertListFirst, KwPkiGetSearchState */
uint32_t KWPKI_CALL KwPkiCertListIsEmpty(KwPkiCertList list);

/** KwPkiCertListFirst goes to the first certificate of a list.
 *  - Ownership: the certificate belongs to the list: it lives until KwPkiCertListFree; giving it
 *    to KwPkiCertFree ends the process.
 *  - Threads: see convention 7; it moves the position of the list.
 *
 *  @param[in,out] list  the list
 *  @return the certificate there, or null if the list is null or empty
 *
 *  @snippet api.c list
 *  @see KwPkiCertListNext, KwPkiCertListLast, KwPkiCertListFree */
KwPkiCert KWPKI_CALL KwPkiCertListFirst(KwPkiCertList list);

/** KwPkiCertListLast goes to the last certificate of a list.
 *  - Ownership: the certificate belongs to the list, as that of KwPkiCertListFirst.
 *  - Threads: see convention 7; it moves the position of the list.
 *
 *  @param[in,out] list  the list
 *  @return the certificate there, or null if the list is null or empty
 *
 *  @snippet api.c list
 *  @see KwPkiCertListPrev, KwPkiCertListFirst */
KwPkiCert KWPKI_CALL KwPkiCertListLast(KwPkiCertList list);

/** KwPkiCertListNext goes one step on; at the end it stays.
 *  - Ownership: the certificate belongs to the list, as that of KwPkiCertListFirst.
 *  - Threads: see convention 7; it moves the position of the list.
 *
 *  @param[in,out] list  the list
 *  @return the certificate there; null at the end, before the first use of KwPkiCertListFirst or
 *          KwPkiCertListLast, and for a null list
 *
 *  @snippet api.c list
 *  @see KwPkiCertListFirst, KwPkiCertListPrev */
KwPkiCert KWPKI_CALL KwPkiCertListNext(KwPkiCertList list);

/** KwPkiCertListPrev goes one step back; at the first certificate it stays.
 *  - Ownership: the certificate belongs to the list, as that of KwPkiCertListFirst.
 *  - Threads: see convention 7; it moves the position of the list.
 *
 *  @param[in,out] list  the list
 *  @return the certificate there; null if it stayed, before the first use of KwPkiCertListFirst or
 *          KwPkiCertListLast, and for a null list
 *
 *  @snippet api.c list
 *  @see KwPkiCertListLast, KwPkiCertListNext */
KwPkiCert KWPKI_CALL KwPkiCertListPrev(KwPkiCertList list);

/** KwPkiCertListCurrent tells where the last step led to.
 *  - Ownership: the certificate belongs to the list, as that of KwPkiCertListFirst.
 *  - Threads: see convention 7.
 *
 *  @param[in] list  the list
 *  @return the certificate there, or null if there was no step yet or the list is null or empty
 *
 *  @snippet api.c list
 *  @see KwPkiCertListFirst, KwPkiCertListNext */
KwPkiCert KWPKI_CALL KwPkiCertListCurrent(KwPkiCertList list);

/** KwPkiCertListFree frees a list.
 *  - Ownership: the handle is the library's again, with its certificates and what KwPkiCertGetBer
 *    showed of them.
 *  - Threads: see convention 7.
 *
 *  @param[in] list  a list, or null
 *  @retval KWPKI_OK  always
 *
 *  @snippet api.c list
 *  @see KwPkiSearchAsync, KwPkiCertFree */
KwPkiStatus KWPKI_CALL KwPkiCertListFree(KwPkiCertList list);

/** KwPkiGetSearchState tells what the service said of the state of its search and, if it said more,
 *  gives these words.
 *  - Ownership: `*text` and the result are one text, the caller's; KwPkiStringFree frees it, once.
 *  - Threads: see convention 7.
 *
 *  @param[in] list    the list that came with the reply
 *  @param[out] state  the state
 *  @param[out] text   the words; left as it is if there are none
 *  @return the words; null if there are none, which is no failure, or if an argument is null:
 *          `*state` is then left as it is, too
 *
 *  @snippet api.c list
 *  @see KwPkiSearchAsync, KwPkiCertListIsEmpty, KwPkiStringFree */
char *KWPKI_CALL KwPkiGetSearchState(KwPkiCertList list, uint32_t *state, char **text);
/** @} */

/** @defgroup requests Requests and replies
 *  Convention 8 tells how a request goes out and how its reply reaches the callback. A request may
 *  be made with a null callback: KwPkiProcessAsyncResponce then ends it without a call.
 *  @{ */

/** KwPkiCertAddAsync asks the service to add a certificate.
 *  - Ownership: `cert` stays the caller's and may be freed then; `context` is never looked at.
 *  - Threads: any number at once (convention 7), with handles of their own.
 *
 *  @param[in] cert      the certificate; an empty one sends an empty encoding
 *  @param[in] callback  called with the reply, or null
 *  @param[in] context   handed to the callback as it is
 *  @param[in] options   handed on to the service as it is
 *  @param[in] agent     handed to KWMAPostMessage as it is
 *  @retval KWPKI_OK          the agent took the message
 *  @retval KWPKI_NOT_POSTED  `cert` is null, or another reason of convention 8
 *  @return else the agent's own status for data that it would not take
 *
 *  @snippet api.c add
 *  @see KwPkiCrlAddAsync, KwPkiSearchAsync, KwPkiProcessAsyncResponce */
KwPkiStatus KWPKI_CALL KwPkiCertAddAsync(KwPkiCert cert, KwPkiStatusCallback callback,
                                         void *context, uint32_t options, void *agent);

/** KwPkiCrlAddAsync asks the service to add a CRL.
 *  - Ownership: `crl` stays the caller's and may be freed then; `context` is never looked at.
 *  - Threads: any number at once (convention 7), with handles of their own.
 *
 *  @param[in] crl       the CRL; an empty one sends an empty encoding
 *  @param[in] callback  called with the reply, or null
 *  @param[in] context   handed to the callback as it is
 *  @param[in] agent     handed to KWMAPostMessage as it is
 *  @retval KWPKI_OK          the agent took the message
 *  @retval KWPKI_NOT_POSTED  `crl` is null, or another reason of convention 8
 *  @return else the agent's own status for data that it would not take
 *
 *  @snippet api.c add
 *  @see KwPkiCertAddAsync, KwPkiProcessAsyncResponce */
KwPkiStatus KWPKI_CALL KwPkiCrlAddAsync(KwPkiCrl crl, KwPkiStatusCallback callback, void *context,
                                        void *agent);

/** KwPkiSearchAsync asks for the certificates that meet the constraints.
 *  - Ownership: the handles stay the caller's and may be freed then; the callback receives a list
 *    that it frees (KwPkiCertListFree); `context` is never looked at.
 *  - Threads: any number at once (convention 7), with handles of their own.
 *
 *  @param[in] search    the constraints
 *  @param[in] validity  the validity period; null is one with neither time set
 *  @param[in] callback  called with the reply, or null
 *  @param[in] context   handed to the callback as it is
 *  @param[in] agent     handed to KWMAPostMessage as it is
 *  @retval KWPKI_OK          the agent took the message
 *  @retval KWPKI_NOT_POSTED  `search` is null, or another reason of convention 8
 *  @return else the agent's own status for data that it would not take
 *
 *  @snippet api.c search
 *  @see KwPkiSearchAllocate, KwPkiSearchPathAsync, KwPkiProcessAsyncResponce */
KwPkiStatus KWPKI_CALL KwPkiSearchAsync(KwPkiSearch search, KwPkiValidity validity,
                                        KwPkiCertListCallback callback, void *context, void *agent);

/** KwPkiSearchPathAsync asks for a path from what meets the first constraints to what meets the
 *  second.
 *  - Ownership: as for KwPkiSearchAsync.
 *  - Threads: any number at once (convention 7), with handles of their own.
 *
 *  @param[in] first     the constraints of the one end
 *  @param[in] second    those of the other, which may be the same handle
 *  @param[in] validity  the validity period; null is one with neither time set
 *  @param[in] callback  called with the reply, or null
 *  @param[in] context   handed to the callback as it is
 *  @param[in] agent     handed to KWMAPostMessage as it is
 *  @retval KWPKI_OK          the agent took the message
 *  @retval KWPKI_NOT_POSTED  `first` or `second` is null, or another reason of convention 8
 *  @return else the agent's own status for data that it would not take
 *
 *  @snippet api.c search
 *  @see KwPkiSearchAsync, KwPkiProcessAsyncResponce */
KwPkiStatus KWPKI_CALL KwPkiSearchPathAsync(KwPkiSearch first, KwPkiSearch second,
                                            KwPkiValidity validity, KwPkiCertListCallback callback,
                                            void *context, void *agent);

/** KwPkiCaNamesAsync asks for the names of certification authorities.
 *  - Ownership: what the callback receives is freed when it returns; `context` is never looked at.
 *  - Threads: any number at once (convention 7).
 *
 *  @param[in] callback  called with the reply, or null
 *  @param[in] context   handed to the callback as it is
 *  @param[in] agent     handed to KWMAPostMessage as it is
 *  @retval KWPKI_OK          the agent took the message
 *  @retval KWPKI_NOT_POSTED  a reason of convention 8
 *  @return else the agent's own status for data that it would not take
 *
 *  @snippet api.c service
 *  @see KwPkiStatusAsync, KwPkiProcessAsyncResponce */
KwPkiStatus KWPKI_CALL KwPkiCaNamesAsync(KwPkiNamesCallback callback, void *context, void *agent);

/** KwPkiStatusAsync asks for a block that tells the state of the service.
 *  - Ownership: the callback receives a block that it frees (KwPkiStringFree); `context` is never
 *    looked at.
 *  - Threads: any number at once (convention 7).
 *
 *  @param[in] callback  called with the reply, or null
 *  @param[in] context   handed to the callback as it is
 *  @param[in] agent     handed to KWMAPostMessage as it is
 *  @retval KWPKI_OK          the agent took the message
 *  @retval KWPKI_NOT_POSTED  a reason of convention 8
 *  @return else the agent's own status for data that it would not take
 *
 *  @snippet api.c service
 *  @see KwPkiCaNamesAsync, KwPkiProcessAsyncResponce, KwPkiStringFree */
KwPkiStatus KWPKI_CALL KwPkiStatusAsync(KwPkiDataCallback callback, void *context, void *agent);

/** KwPkiCertRequestAsync hands a request for a certificate to the service, with four names and a
 *  further text.
 *  - Ownership: block, names and text stay the caller's and may be freed then; `context` is never
 *    looked at.
 *  - Threads: any number at once (convention 7).
 *
 *  @param[in] request   the request; it may be empty
 *  @param[in] names     four texts; each may be null and is then sent as empty
 *  @param[in] further   the further text; it may be null and is then sent as empty
 *  @param[in] callback  called with the reply, or null
 *  @param[in] context   handed to the callback as it is
 *  @param[in] agent     handed to KWMAPostMessage as it is
 *  @retval KWPKI_OK          the agent took the message
 *  @retval KWPKI_NOT_POSTED  `request` or `names` is null, the request's data is null with a length
 *                            above 0, or another reason of convention 8
 *  @return else the agent's own status for data that it would not take
 *
 *  @snippet api.c request
 *  @see KwPkiCertRequestRemoveAsync, KwPkiProcessAsyncResponce */
KwPkiStatus KWPKI_CALL KwPkiCertRequestAsync(const KwPkiBlock *request, const char *const *names,
                                             const char *further, KwPkiStatusCallback callback,
                                             void *context, void *agent);

/** KwPkiCertRequestRemoveAsync takes the request with these names (KwPkiCertRequestAsync) back.
 *  - Ownership: the names stay the caller's and may be freed then; `context` is never looked at.
 *  - Threads: any number at once (convention 7).
 *
 *  @param[in] names     four texts; each may be null and is then sent as empty
 *  @param[in] callback  called with the reply, or null
 *  @param[in] context   handed to the callback as it is
 *  @param[in] agent     handed to KWMAPostMessage as it is
 *  @retval KWPKI_OK          the agent took the message
 *  @retval KWPKI_NOT_POSTED  `names` is null, or another reason of convention 8
 *  @return else the agent's own status for data that it would not take
 *
 *  @snippet api.c request
 *  @see KwPkiCertRequestAsync, KwPkiProcessAsyncResponce */
KwPkiStatus KWPKI_CALL KwPkiCertRequestRemoveAsync(const char *const *names,
                                                   KwPkiStatusCallback callback, void *context,
                                                   void *agent);

/** KwPkiProcessAsyncResponce reads the body of a reply and calls the callback of its request.
 *  - Ownership: `data` stays the caller's; what the callback receives, its own comment tells.
 *  - Threads: any number at once, also from inside a callback; replies may come in any order. The
 *    callback runs on this thread.
 *
 *  @param[in] data    the body
 *  @param[in] length  its length in bytes
 *  @retval KWPKI_OK      a callback was called
 *  @retval KWPKI_FAILED  the body does not decode, is null, has a payload of more than 0x63FE000
 *                        bytes, or belongs to no request that waits: nothing has changed then.
 *                        Or the reply is not of the kind that the request asked for, its names
 *                        cannot be read, or the callback is null: the request is then over without
 *                        a call
 *
 *  @snippet api.c replies
 *  @see KwPkiSearchAsync, KwPkiCertAddAsync, @ref wire_format */
KwPkiStatus KWPKI_CALL KwPkiProcessAsyncResponce(const uint8_t *data, uint32_t length);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
