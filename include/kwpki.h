/*
 * KwPki: reads X.509 certificates and certificate revocation lists (CRLs).
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
 *     one thread at a time, also for calls that only read from it.
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
typedef struct KwPkiValidityObject *KwPkiValidity;
typedef KwPkiBlock *KwPkiPublicKey;

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

#ifdef __cplusplus
}
#endif

#endif
