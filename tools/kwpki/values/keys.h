// Public keys, and the parameters of algorithms, as JSON: what the record holds of a key, and where
// it holds no numbers what x509/algorithm.h reads of it. An algorithm with such keys is a row of
// the table in keys.cc.
#pragma once

#include "kwpki/values/values.h"
#include "x509/cert.h"

namespace kwpki {

// key_type names the type of a key or signature by its code: "RSA", "EC", ...
const char *key_type(uint32_t code);

// key_json is {"type", "algorithm", "scheme", "curve", "bits", the numbers or "public_value",
// "parameters"}; what a key does not have is left out.
Json key_json(const SshX509Cert &cert);

// pss_parameters_json describes RSASSA-PSS-params, those that are implied included; null if they
// are none.
Json pss_parameters_json(Bytes parameters);

}  // namespace kwpki
