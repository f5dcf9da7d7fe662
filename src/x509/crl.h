// X.509 certificate revocation lists: an encoding is decoded into a record, completely or not at
// all.
//
//   SshX509CrlOwner crl(ssh_x509_crl_allocate());
//   if (!ssh_x509_crl_decode(der, crl.get())) return report(crl->refusal);
//   SshX509RevokedCursor cursor(*crl);
//   while (cursor.next()) use(cursor.entry().serial);
//
// A decode checks every entry but keeps the bytes alone, since the record of an entry is several
// times larger than its encoding. The cursor decodes the entries again as it walks, so that a list
// of a million entries takes no more memory than its bytes. Extensions of the CRL and of its
// entries have tables in crl.cc; docs/architecture.md lists what a new one needs.
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

// SshX509RevokedEntry is one revoked certificate. What a CRL does not say of it is empty or 0.
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

// SshX509Crl is a CRL. A number that the CRL does not have is -1.
struct SshX509Crl {
  uint32_t version = 0;  // 1, 2; 0 before a decode and after a failed one
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
  Bytes algorithm;                         // the outer AlgorithmIdentifier, which is not signed
  Bytes signed_algorithm;                  // the element in its place in the TBSCertList
  Bytes extension_list;                    // for SshX509ExtensionCursor
  Bytes signature;                         // its bytes
  SshAsn1Bits signature_value;             // the BIT STRING as encoded

  const SshX509Rules *rules = nullptr;  // those of the decode, which the cursor uses again

  Bytes der;                    // the copy of the whole input
  Bytes element;                // the CertificateList in it; other bytes may stand around it
  SshX509Refusal refusal;       // set by a failed decode
  uint32_t parts = 0;           // SshX509Part: those that ssh_x509_crl_decode_parts has read
  uint32_t stated_version = 0;  // the version among those parts; `version` itself stays 0
  SshPool pool;
};

// ssh_x509_crl_allocate returns an empty record; ssh_x509_crl_free frees one with all that it owns
// (null is ignored).
[[nodiscard]] SshX509Crl *ssh_x509_crl_allocate();
void ssh_x509_crl_free(SshX509Crl *crl);
using SshX509CrlOwner = Owner<SshX509Crl, ssh_x509_crl_free>;

// ssh_x509_crl_decode decodes into an empty record. It returns the number of bytes that the
// top-level elements of the input take, or 0 on failure, when `refusal` says why. Bytes after the
// CRL are tolerated.
[[nodiscard]] size_t ssh_x509_crl_decode(Bytes der, SshX509Crl *crl);

// ssh_x509_crl_decode_general does the same by the general reader alone. Tests compare the two.
[[nodiscard]] size_t ssh_x509_crl_decode_general(Bytes der, SshX509Crl *crl);

// ssh_x509_crl_decode_parts reads what can be read of an input that was refused, as
// ssh_x509_cert_decode_parts does. Entries are read up to the first one that is refused.
void ssh_x509_crl_decode_parts(Bytes der, SshX509Crl *crl);

// ssh_x509_looks_like_crl guesses what an input was meant to be that is refused both as a
// certificate and as a CRL: true if it has the elements of a CRL up to the date of its issue.
[[nodiscard]] bool ssh_x509_looks_like_crl(Bytes der);

// SshX509RevokedCursor walks over the entries of a decoded CRL, which must outlive it. An entry and
// what it refers to are valid until the following next().
class SshX509RevokedCursor {
 public:
  explicit SshX509RevokedCursor(const SshX509Crl &crl);
  // This one is for a CRL that is being decoded by `decoder`.
  SshX509RevokedCursor(const SshX509Crl &crl, SshX509Decoder *decoder);

  // check checks all entries and counts them. It makes a record only of those that are not of the
  // usual form. At an entry that is refused it notes why, and gives false.
  [[nodiscard]] bool check(size_t &count);

  // next goes to the first or following entry; false at the end.
  [[nodiscard]] bool next();
  [[nodiscard]] const SshX509RevokedEntry &entry() const { return entry_; }
  // at gives the end of the last entry that was read.
  [[nodiscard]] const uint8_t *at() const { return at_; }

  // failed is true if the walk ended at an entry that does not decode; a decoded CRL has none.
  [[nodiscard]] bool failed() const { return failed_; }

 private:
  bool next_unusual();
  void drop_extras();

  const uint8_t *at_;
  const uint8_t *end_;
  SshX509Decoder *decoder_;
  const SshX509Rules *rules_;
  SshAsn1Work work_;
  bool plain_;  // whether the entries are bytes that nobody has checked yet
  bool failed_ = false;
  bool has_extras_ = false;  // whether the entry may hold more than serial, date and reason
  SshX509RevokedEntry entry_;
  SshPool pool_;
};
