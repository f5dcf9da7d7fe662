// Signatures by schemes that the library does not compute: ECDSA, EdDSA and RSASSA-PSS.
// signature.cc reads key, parameters and signature with the library's own readers, and checks that
// they fit each other. The arithmetic is done by the system: by libcrypto in signature_posix.cc, by
// CNG in signature_win32.cc. A further scheme is a row in signature.cc and a case in each of these.
#pragma once

#include <string>
#include <vector>

#include "kwpki/values/oid_names.h"
#include "x509/algorithm.h"
#include "x509/verify.h"

namespace kwpki {

// SignatureAnswer is a verdict, with the reason for people where the verdict has more than one.
struct SignatureAnswer {
  SshX509Verdict verdict;
  std::string why;
};

// not_supported is the answer where a signature is not computed.
SignatureAnswer not_supported(std::string why);

// check_signature tells whether the owner of `key` made `signature` over `data` by the scheme that
// an AlgorithmIdentifier names. Key type and scheme must match exactly, a curve must be a named
// one, and a key that is for RSASSA-PSS alone obeys its own parameters.
SignatureAnswer check_signature(Bytes algorithm, const SshX509Key &key, Bytes data,
                                Bytes signature);

// key_fault tells why a key cannot make signatures of that type, for people; "" if its type does
// not stand against it.
std::string key_fault(const SshX509Key &key, uint32_t signature_type);

// weak_hash gives the hash function of a signature if collisions of it can be made, else "";
// weak_key gives the size of a key if it is below what still withstands: RSA and DSA of 2048 bits,
// curves of 224.
std::string weak_hash(std::string_view scheme, Bytes algorithm);
std::string weak_key(const SshX509Key &key);

// SignaturePlan is a signature whose parameters fit its key, with all that the system needs to
// check it.
struct SignaturePlan {
  uint32_t type = SSH_OID_KEY_UNKNOWN;  // SshOidKeyCode, of the scheme
  std::string hash, mask_hash;          // by the library's names; none for EdDSA
  int salt_length = 0;
  const CurveRow *curve = nullptr;
  SshMpInt r{}, s{};  // ECDSA
  const SshX509Key &key;
  Bytes data, signature;
};

// system_verify computes what the plan asks for.
SignatureAnswer system_verify(const SignaturePlan &plan);

}  // namespace kwpki
