// `kwpki verify --chain`: whether a path leads from each certificate to a root, and what is wrong
// with each certificate of the path. path.h has the validation; this makes text and JSON of its
// answer.
#pragma once

#include "kwpki/verify/verify.h"

namespace kwpki {

// verify_chains answers for every certificate and returns the exit code.
int verify_chains(const VerifyOptions &options, const Streams &streams);

}  // namespace kwpki
