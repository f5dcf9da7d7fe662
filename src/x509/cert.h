// X.509 certificates: encoding in, decoded record out. Decoding is all or nothing.
// The record copies its input once, into its own pool, and everything in it is a view of that copy
// or plain data beside it; freeing the record frees its blocks. Extensions are decoded in
// extensions*.cc through the table here.
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
// bytes of the key's INTEGERs. The key object is made from it when asked for
// (ssh_x509_cert_public_key); of keys that have none, x509/algorithm.h tells more.
struct SshX509Key {
  const SshOidRow *algorithm = nullptr;  // null for an algorithm that is not known
  Bytes info;                            // the SubjectPublicKeyInfo
  SshOid id;                             // its algorithm
  Bytes parameters;                      // the algorithm's, as they stand; empty without any
  Bytes value;                           // the bytes of the bits
  Bytes n, e;                            // RSA, also of RSASSA-PSS
  Bytes p, q, g, y;                      // DSA; p, q and g are empty where they are inherited
  bool usable = false;  // whether a key object can be made: RSA, and DSA with its parameters
};

struct SshX509Cert {
  uint32_t version = 0;  // 1, 2, 3; 0 while undecoded and after a failed decode
  SshX509ExtensionSet extensions;
  SshMpInt serial;
  SshX509Name *issuer_names = nullptr;
  SshX509Name *subject_names = nullptr;
  SshBerTime not_before, not_after;
  uint32_t public_key_type = 0;  // SshOidKeyCode
  SshX509Key key;
  // Null without their extensions; what few certificates have takes no place in the others'
  // records.
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
  Bytes algorithm;                         // the AlgorithmIdentifier that is not signed
  Bytes signed_algorithm;                  // the one in the TBSCertificate
  Bytes extension_list;                    // for SshX509ExtensionCursor
  Bytes signature;                         // the bits' bytes, unless it is a pair
  SshAsn1Bits signature_value;             // the signature as it stands
  bool signature_pair = false;             // DSA: r and s, each as long as the certificate's own q

  Bytes der;                    // the copy of the whole input
  Bytes element;                // the Certificate in it; other bytes may stand around it
  SshX509Refusal refusal;       // set by a failed decode
  uint32_t parts = 0;           // SshX509Part: those that ssh_x509_cert_decode_parts has read
  uint32_t stated_version = 0;  // of those: the version is 0 in a record that is refused
  SshPool pool;
};

// ssh_x509_cert_allocate returns an empty record; ssh_x509_cert_free frees one with all it owns
// (null is ignored). ssh_x509_cert_allocate_in puts it and what it holds into a pool, which
// outlives it.
[[nodiscard]] SshX509Cert *ssh_x509_cert_allocate();
[[nodiscard]] SshX509Cert *ssh_x509_cert_allocate_in(SshPool &pool);
void ssh_x509_cert_free(SshX509Cert *cert);
using SshX509CertOwner = Owner<SshX509Cert, ssh_x509_cert_free>;

// ssh_x509_cert_decode decodes into an empty record and returns the bytes of the top-level
// elements (never 0), or 0 on failure. Bytes after the certificate are tolerated.
[[nodiscard]] size_t ssh_x509_cert_decode(Bytes der, SshX509Cert *cert);

// ssh_x509_cert_decode_general does the same without the short cut for plain bytes. Tests hold the
// other against it.
[[nodiscard]] size_t ssh_x509_cert_decode_general(Bytes der, SshX509Cert *cert);

// ssh_x509_cert_decode_parts reads an input that is refused into an empty record, each part for
// itself: what else was to be seen there. `parts` tells which were read; what could not be read, as
// well as the version, stays as it is in an empty record.
void ssh_x509_cert_decode_parts(Bytes der, SshX509Cert *cert);

// ssh_x509_cert_subject_text and ssh_x509_cert_subject_der take the next subject name that was not
// taken yet and return its text (null if it has none) or its DER (null and 0 if there is no name)
// in a new block (ssh_xfree).
[[nodiscard]] char *ssh_x509_cert_subject_text(SshX509Cert *cert);
[[nodiscard]] uint8_t *ssh_x509_cert_subject_der(SshX509Cert *cert, size_t *length);

// ssh_x509_cert_public_key makes a certificate's key object; it is the caller's. Null if there is
// none.
[[nodiscard]] SshPublicKey *ssh_x509_cert_public_key(const SshX509Cert *cert);
