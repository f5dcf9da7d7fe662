// The parameters of algorithms, and the numbers of keys that have no key object. None of this
// decides whether a certificate is accepted, so a decode keeps the bytes, and they are read only
// when a caller asks for it:
//
//   SshX509Curve curve;
//   if (ssh_x509_curve_read(cert.key.parameters, &curve) && curve.name) show(curve.name);
//
// For a further algorithm with parameters, add a function here, with its ASN.1 above it.
#pragma once

#include <cstddef>

#include "x509/cert.h"

// SshX509Algorithm holds views of an AlgorithmIdentifier.
struct SshX509Algorithm {
  SshOid id;
  Bytes parameters;  // the whole element; empty if there is none
};

// ssh_x509_algorithm_read reads an AlgorithmIdentifier as a decode does; false if it is none.
[[nodiscard]] bool ssh_x509_algorithm_read(Bytes der, SshX509Algorithm *algorithm);

// SshX509PssParameters holds RSASSA-PSS-params; what is not given has its default.
struct SshX509PssParameters {
  SshOid hash;
  SshOid mask_generation;
  SshOid mask_hash;
  SshMpInt salt_length{20};
  SshMpInt trailer_field{1};
};

// ssh_x509_pss_parameters_read reads RSASSA-PSS-params; false if they are none.      RFC 4055, 3.1
[[nodiscard]] bool ssh_x509_pss_parameters_read(Bytes parameters, SshX509PssParameters *pss);

// SshX509Curve is what an EC key's parameters say of its curve, in one of three ways.
struct SshX509Curve {
  bool implied = false;   // nothing: it is that of the issuer
  SshOid name;            // its name
  size_t field_bits = 0;  // its equation; this is the size of the field
};

// ssh_x509_curve_read reads ECParameters; no bytes are an implied curve. False if they are of no
// form that there is.
[[nodiscard]] bool ssh_x509_curve_read(Bytes parameters, SshX509Curve *curve);

// ssh_x509_dh_numbers_read stores the INTEGERs of a Diffie-Hellman key as p, g, q and y of
// `numbers`. What the key has not stays as it was: the parameters of PKCS #3 have no q.
void ssh_x509_dh_numbers_read(const SshX509Key &key, SshX509Key *numbers);
