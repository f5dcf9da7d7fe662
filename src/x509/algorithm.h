// The parameters of algorithms, and the numbers of keys that have no key object. None of this
// decides whether a certificate is accepted, so it is read only when a caller asks for it. An
// algorithm with parameters of its own is a function here.
#pragma once

#include <cstddef>

#include "x509/cert.h"

// SshX509Algorithm is an AlgorithmIdentifier: views of its bytes.
struct SshX509Algorithm {
  SshOid id;
  Bytes parameters;  // the whole element, empty without one
};

// ssh_x509_algorithm_read reads an AlgorithmIdentifier as decoding does; false if it is none.
[[nodiscard]] bool ssh_x509_algorithm_read(Bytes der, SshX509Algorithm *algorithm);

// SshX509PssParameters are RSASSA-PSS-params, with their defaults where nothing is given.
struct SshX509PssParameters {
  SshOid hash;
  SshOid mask_generation;
  SshOid mask_hash;
  SshMpInt salt_length{20};
  SshMpInt trailer_field{1};
};

// ssh_x509_pss_parameters_read reads RSASSA-PSS-params; false if they are none.        RFC 4055,
// 3.1
[[nodiscard]] bool ssh_x509_pss_parameters_read(Bytes parameters, SshX509PssParameters *pss);

// SshX509Curve is what an EC key's parameters say of its curve: that it is the issuer's, its name,
// or the bits of the field that it is over.
struct SshX509Curve {
  bool implied = false;
  SshOid name;
  size_t field_bits = 0;
};

// ssh_x509_curve_read reads ECParameters, or none; false if they are of no form.
[[nodiscard]] bool ssh_x509_curve_read(Bytes parameters, SshX509Curve *curve);

// ssh_x509_dh_numbers_read fills p, g, q and y of `numbers` with the INTEGERs of a Diffie-Hellman
// key, as far as the key has them: the parameters of PKCS #3 have no q.
void ssh_x509_dh_numbers_read(const SshX509Key &key, SshX509Key *numbers);
