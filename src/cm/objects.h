// Certificate and CRL objects: what exported handles stand for. Setting one decodes into a fresh
// record and swaps it in; encodings handed out before stay valid until the object is freed.
// What the service tells about an object is a member here; nothing in this module interprets it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "asn1/time.h"
#include "util/bytes.h"
#include "util/mp_int.h"
#include "util/owner.h"
#include "x509/cert.h"
#include "x509/crl.h"

// SshCMStatus is the result of the certificate manager's operations.
// clang-format off
enum [[nodiscard]] SshCMStatus : uint32_t {
  SSH_CM_OK = 0,
  SSH_CM_BAD_ENTRY_TYPE = 1,
  SSH_CM_RECORD_UNREADABLE = 4,
  SSH_CM_CERT_UNDECODABLE = 5,
  SSH_CM_BER_UNDECODABLE = 6,
  SSH_CM_WRONG_STATE = 18  // the object is missing or empty, or was set before
};
// clang-format on

struct SshCertDBEntry;  // an entry of the certificate database

// SshCMRecord holds an object's decoded record, null while the object is empty. The copy of the
// input in the record is the object's encoding. A replaced record whose encoding was handed out is
// kept until the object goes.
template <class Record>
struct SshCMRecord {
  struct Kept {
    Record *record;
    Kept *next;
  };
  Record *current = nullptr;
  bool handed_out = false;  // somebody may hold a view of its encoding
  Kept *kept = nullptr;     // newest first; each link lies in the pool of its own record
};

// SshCMCarried is what the service says of a certificate. Fields marked "carried" come with an
// encoded record; what they and the others mean is the service's affair.
struct SshCMCarried {
  uint32_t status = 0;  // carried
  int32_t flag_a = 1;
  int32_t flag_b = 0;
  int32_t flag_c = 1;
  SshBerTime time_0;
  uint32_t word_0 = 0;
  int32_t bool_0 = 0;                         // carried
  SshBerTime time_1, time_2, time_3, time_4;  // carried
  int32_t counter = -1;                       // carried
  SshMpInt number;                            // carried
  uint32_t word_a = 0;                        // carried
  int32_t bool_a = 0;                         // carried
  uint32_t word_c = 0;
  uint32_t word_b = 0;  // carried
  SshBerTime time_5;    // carried
  uint32_t word_d = 0;
  SshBerTime time_6;  // carried
  SshText text;       // carried
  SshBerTime time_7;
  uint32_t limit = 32;
};

// SshCMCertificate is a certificate object. What the service says stands apart: it is ten times as
// large as the rest, and the certificates of search replies come without it.
struct SshCMCertificate {
  SshCertDBEntry *entry = nullptr;  // the owning database entry; null: the application's own
  SshPool *pool = nullptr;          // of the database that the object lies in; null: on the heap
  SshCMRecord<SshX509Cert> cert;
  SshCMCarried *carried = nullptr;  // null while all of it has its first values
  bool first = true;                // no record was set yet
};

// SshCMCrl is a CRL object.
struct SshCMCrl {
  SshCertDBEntry *entry = nullptr;  // as in a certificate
  SshCMRecord<SshX509Crl> crl;
  uint32_t status = 0;
  SshBerTime time_0;
  uint32_t limit = 32;
};

// ssh_cm_cert_allocate and ssh_cm_crl_allocate return an empty object of the application's.
// ssh_cm_cert_allocate_in puts it and its first record into a pool, which outlives it.
[[nodiscard]] SshCMCertificate *ssh_cm_cert_allocate();
[[nodiscard]] SshCMCertificate *ssh_cm_cert_allocate_in(SshPool &pool);
[[nodiscard]] SshCMCrl *ssh_cm_crl_allocate();

// ssh_cm_cert_free and ssh_cm_crl_free free an object with all it owns; null is ignored. An object
// of a database entry is fatal: only the database frees it, after it has cleared `entry`.
void ssh_cm_cert_free(SshCMCertificate *cert);
void ssh_cm_crl_free(SshCMCrl *crl);

// ssh_cm_cert_carried gives what the service says of a certificate, to be changed.
[[nodiscard]] SshCMCarried &ssh_cm_cert_carried(SshCMCertificate &cert);

// ssh_cm_cert_set_ber and ssh_cm_crl_set_ber decode an encoding (which may be the object's own) and
// make it the object's; bytes after it are kept with it. On SSH_CM_BER_UNDECODABLE the object is
// empty afterwards.
SshCMStatus ssh_cm_cert_set_ber(SshCMCertificate &cert, Bytes ber);
SshCMStatus ssh_cm_crl_set_ber(SshCMCrl &crl, Bytes ber);

// ssh_cm_cert_get_ber shows the object's encoding, valid until the object is freed. A missing or
// empty object gives SSH_CM_WRONG_STATE and leaves `ber` alone.
SshCMStatus ssh_cm_cert_get_ber(SshCMCertificate *cert, Bytes *ber);

// ssh_cm_cert_encoding and ssh_cm_crl_encoding show the encoding until the next set only, and
// nothing of an empty object.
[[nodiscard]] Bytes ssh_cm_cert_encoding(const SshCMCertificate &cert);
[[nodiscard]] Bytes ssh_cm_crl_encoding(const SshCMCrl &crl);

// ssh_cm_cert_memory bounds what a certificate's record takes of the heap beside the pool that it
// lies in; 0 for an empty object. ssh_cm_cert_memory_most bounds what that can be for an encoding
// of `input` bytes, the decode included.
[[nodiscard]] size_t ssh_cm_cert_memory(const SshCMCertificate &cert);
[[nodiscard]] size_t ssh_cm_cert_memory_most(size_t input);

// ssh_cm_cert_get_record shows the decoded certificate, valid until the next set, with no name of
// its two lists taken. A missing or empty object gives SSH_CM_WRONG_STATE and leaves `record`
// alone.
SshCMStatus ssh_cm_cert_get_record(SshCMCertificate *cert, SshX509Cert **record);
