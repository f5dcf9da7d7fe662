// X.509 certificates: an encoding is decoded into a record, completely or not at all.
//
//   SshX509CertOwner cert(ssh_x509_cert_allocate());
//   if (!ssh_x509_cert_decode(der, cert.get())) return report(cert->refusal);
//   use(cert->serial, cert->subject_names);
//
// The record copies its input once, into its own pool. Everything else in it is a view of that copy
// or plain data in the same pool, which mostly is a single block of memory; freeing the
// record frees it. Texts and key objects are made when they are asked for. An extension is decoded
// through the table in cert.cc; docs/architecture.md lists what a new one needs.
#pragma once

#include <cstddef>
#include <cstdint>

#include "asn1/time.h"
#include "crypto/public_key.h"
#include "util/mp_int.h"
#include "util/pool.h"
#include "x509/extensions.h"
#include "x509/memory.h"
#include "x509/name.h"
#include "x509/oid_registry.h"

// SshX509Key holds what a certificate says of its public key: the algorithm's row and the content
// bytes of the key's INTEGERs. ssh_x509_cert_public_key makes a key object of it. For keys that
// have none, x509/algorithm.h reads more.
struct SshX509Key {
  const SshOidRow *algorithm = nullptr;  // null for an algorithm that is not known
  Bytes info;                            // the SubjectPublicKeyInfo
  SshOid id;                             // its algorithm
  Bytes parameters;                      // the algorithm's, as encoded; empty if there are none
  Bytes value;                           // the bytes of the BIT STRING
  Bytes n, e;                            // RSA and RSASSA-PSS
  Bytes p, q, g, y;                      // DSA; p, q and g are empty where they are inherited
  bool usable = false;  // whether a key object can be made: RSA, and DSA with its parameters
};

// SshX509Cert is a certificate. Lists are null, and views empty, where the certificate has nothing
// to put there.
struct SshX509Cert {
  uint32_t version = 0;  // 1, 2, 3; 0 before a decode and after a failed one
  SshX509ExtensionSet extensions;
  SshMpInt serial;
  SshX509Name *issuer_names = nullptr;
  SshX509Name *subject_names = nullptr;
  SshBerTime not_before, not_after;
  uint32_t public_key_type = 0;  // SshOidKeyCode
  SshX509Key key;
  // Null without their extensions. They are pointers so that the records of certificates without
  // them stay small.
  const SshX509KeyId *subject_key_id = nullptr, *authority_key_id = nullptr;
  const SshX509Period *key_period = nullptr;
  uint32_t key_usage = 0;
  uint32_t allowed_usage = 0, allowed_ca_usage = 0;  // of the public-key algorithm
  SshX509PolicyInfo *policies = nullptr;
  SshX509PolicyMapping *policy_mappings = nullptr;
  uint32_t path_length = SSH_X509_NO_LIMIT;
  int ca = 0;
  SshX509Attribute *directory_attributes = nullptr;
  SshX509Subtree *permitted = nullptr;
  SshX509Subtree *excluded = nullptr;
  SshX509PolicyConstraint *policy_constraints = nullptr;
  SshX509DistributionPoint *distribution_points = nullptr;
  SshX509KeyPurpose *extended_key_usage = nullptr;
  SshX509AccessDescription *authority_info_access = nullptr;
  SshX509Further *further = nullptr;       // null without further extensions
  uint32_t signature_key_type = 0;         // SshOidKeyCode
  const char *signature_scheme = nullptr;  // static
  Bytes signed_data;                       // the TBSCertificate
  Bytes algorithm;                         // the outer AlgorithmIdentifier, which is not signed
  Bytes signed_algorithm;                  // the one in the TBSCertificate
  Bytes extension_list;                    // for SshX509ExtensionCursor
  Bytes signature;                         // its bytes or, with signature_pair, r and s
  SshAsn1Bits signature_value;             // the BIT STRING as encoded
  bool signature_pair = false;             // DSA: r and s, each as long as the certificate's own q

  Bytes der;                    // the copy of the whole input
  Bytes element;                // the Certificate in it; other bytes may stand around it
  SshX509Refusal refusal;       // set by a failed decode
  uint32_t parts = 0;           // SshX509Part: those that ssh_x509_cert_decode_parts has read
  uint32_t stated_version = 0;  // the version among those parts; `version` itself stays 0
  SshPool pool;
};

// ssh_x509_cert_allocate returns an empty record; ssh_x509_cert_free frees one with all that it
// owns (null is ignored). ssh_x509_cert_allocate_for adds room for what an input of that size
// becomes, which saves a heap call. ssh_x509_cert_allocate_in makes a record in a pool that outlives
// it; what the record holds comes from that pool too.
[[nodiscard]] SshX509Cert *ssh_x509_cert_allocate();
[[nodiscard]] SshX509Cert *ssh_x509_cert_allocate_for(size_t input);
[[nodiscard]] SshX509Cert *ssh_x509_cert_allocate_in(SshPool &pool);
void ssh_x509_cert_free(SshX509Cert *cert);
using SshX509CertOwner = Owner<SshX509Cert, ssh_x509_cert_free>;

// ssh_x509_cert_decode decodes into an empty record. It returns the number of bytes that the
// top-level elements of the input take, or 0 on failure, when `refusal` says why. Bytes after the
// certificate are tolerated.
[[nodiscard]] size_t ssh_x509_cert_decode(Bytes der, SshX509Cert *cert);

// ssh_x509_cert_decode_general does the same by the general reader alone. Tests compare the two.
[[nodiscard]] size_t ssh_x509_cert_decode_general(Bytes der, SshX509Cert *cert);

// ssh_x509_cert_decode_parts reads what can be read of an input that was refused, into an empty
// record, each part by itself. `parts` tells which ones. What could not be read stays as it is in
// an empty record, and so does `version`, so that nobody takes the record for an accepted one.
void ssh_x509_cert_decode_parts(Bytes der, SshX509Cert *cert);

// ssh_x509_cert_subject_text and ssh_x509_cert_subject_der take the next subject name that was not
// taken before (ssh_x509_name_take) and return it in a new block (ssh_xfree): its text, null if
// there is no name or it has no text; its DER, null and 0 if there is no name.
[[nodiscard]] char *ssh_x509_cert_subject_text(SshX509Cert *cert);
[[nodiscard]] uint8_t *ssh_x509_cert_subject_der(SshX509Cert *cert, size_t *length);

// ssh_x509_cert_public_key makes a certificate's key object, which belongs to the caller. Null if
// none can be made.
[[nodiscard]] SshPublicKey *ssh_x509_cert_public_key(const SshX509Cert *cert);
