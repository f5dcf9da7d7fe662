// X.509 certificate revocation lists: encoding in, decoded record out. Decoding is all or nothing.
// Every entry is decoded and checked with the CRL, but entries are not kept apart: a cursor decodes
// them again as it walks, so that a list of a million entries costs no more memory than its bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "asn1/time.h"
#include "util/mp_int.h"
#include "util/pool.h"
#include "x509/extensions.h"
#include "x509/name.h"

struct SshX509Decoder;
struct SshX509Rules;

// SshX509RevokedEntry is one revoked certificate.
struct SshX509RevokedEntry {
  SshX509ExtensionSet extensions;
  SshMpInt serial;
  SshBerTime date;
  uint32_t reason = 0;
  SshOid hold_instruction;
  SshBerTime invalidity_date;
  SshX509Name *certificate_issuer = nullptr;
  Bytes extension_list;  // for SshX509ExtensionCursor
  Bytes der;             // the whole entry
};

struct SshX509Crl {
  uint32_t version = 0;  // 1, 2; 0 while undecoded and after a failed decode
  SshX509ExtensionSet extensions;
  SshX509Name *issuer_names = nullptr;
  SshBerTime this_update, next_update;
  const SshX509KeyId *authority_key_id = nullptr;  // null without the extension
  SshMpInt crl_number{-1};
  std::optional<SshX509IssuingDistPoint> issuing_point;
  SshMpInt delta_crl{-1};
  SshX509DistributionPoint *freshest_crl = nullptr;
  SshX509AccessDescription *authority_info_access = nullptr;
  SshX509Extra *extras = nullptr;
  Bytes revoked;  // the encoded entries, in order
  size_t revoked_count = 0;
  uint32_t signature_key_type = 0;
  const char *signature_scheme = nullptr;  // static
  Bytes signed_data;                       // the TBSCertList
  Bytes algorithm;                         // the AlgorithmIdentifier that is not signed
  Bytes signed_algorithm;                  // what stands for it in the TBSCertList, as it stands
  Bytes extension_list;                    // for SshX509ExtensionCursor
  Bytes signature;                         // the bits' bytes as they stand
  SshAsn1Bits signature_value;             // with the number of bits

  const SshX509Rules *rules = nullptr;  // by which it was decoded, and its entries are

  Bytes der;                    // the copy of the whole input
  Bytes element;                // the CertificateList in it; other bytes may stand around it
  SshX509Refusal refusal;       // set by a failed decode
  uint32_t parts = 0;           // SshX509Part: those that ssh_x509_crl_decode_parts has read
  uint32_t stated_version = 0;  // of those: the version is 0 in a record that is refused
  SshPool pool;
};

// ssh_x509_crl_allocate returns an empty record; ssh_x509_crl_free frees one with all it owns (null
// is ignored).
[[nodiscard]] SshX509Crl *ssh_x509_crl_allocate();
void ssh_x509_crl_free(SshX509Crl *crl);
using SshX509CrlOwner = Owner<SshX509Crl, ssh_x509_crl_free>;

// ssh_x509_crl_decode decodes into an empty record and returns the bytes of the top-level elements
// (never 0), or 0 on failure. Bytes after the CRL are tolerated.
[[nodiscard]] size_t ssh_x509_crl_decode(Bytes der, SshX509Crl *crl);

// ssh_x509_crl_decode_general does the same without the short cut for plain bytes. Tests hold the
// other against it.
[[nodiscard]] size_t ssh_x509_crl_decode_general(Bytes der, SshX509Crl *crl);

// ssh_x509_crl_decode_parts does so as ssh_x509_cert_decode_parts does. Entries are read up to the
// first that is refused.
void ssh_x509_crl_decode_parts(Bytes der, SshX509Crl *crl);

// ssh_x509_looks_like_crl guesses what an input that neither decoder takes was meant to be: true if
// it begins like a CRL, up to the date of its issue, and not like a certificate.
[[nodiscard]] bool ssh_x509_looks_like_crl(Bytes der);

// SshX509RevokedCursor walks over the entries of a decoded CRL, which must outlive it.
//   SshX509RevokedCursor cursor(crl);
//   while (cursor.next()) use(cursor.entry());
// An entry and what it refers to are valid until the following next().
class SshX509RevokedCursor {
 public:
  explicit SshX509RevokedCursor(const SshX509Crl &crl);
  // With a decoder, the entries are those of a CRL that is being decoded.
  SshX509RevokedCursor(const SshX509Crl &crl, SshX509Decoder *decoder);

  // check looks at all entries, and makes no more records than it must; it counts them, or tells
  // the decoder why one is refused, and gives false.
  [[nodiscard]] bool check(size_t &count);

  // next goes to the first or following entry; false at the end.
  [[nodiscard]] bool next();
  [[nodiscard]] const SshX509RevokedEntry &entry() const { return entry_; }
  [[nodiscard]] const uint8_t *at() const { return at_; }  // behind what was read

  // failed tells whether next ended at an entry that does not decode; never so for a decoded CRL.
  [[nodiscard]] bool failed() const { return failed_; }

 private:
  bool next_unusual();
  void drop_extras();

  const uint8_t *at_;
  const uint8_t *end_;
  SshX509Decoder *decoder_;
  const SshX509Rules *rules_;
  SshAsn1Work work_;
  bool plain_;  // whether nobody has checked the entries
  bool failed_ = false;
  bool has_extras_ = false;  // the entry holds more than serial, date and reason
  SshX509RevokedEntry entry_;
  SshPool pool_;
};
