// `kwpki verify --chain`: tells of certificates whether a path leads from them to a root, and of
// each certificate of the path what stands against it. path.h has the validation.
#pragma once

#include "kwpki/verify/verify.h"

namespace kwpki {

// verify_chains answers for every certificate and returns the exit code.
int verify_chains(const VerifyOptions &options, const Streams &streams);

}  // namespace kwpki
