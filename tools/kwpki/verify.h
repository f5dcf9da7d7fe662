// `kwpki verify`: tells of certificates and CRLs whether one of the given issuers signed them.
// Options are parsed in verify_command.cc; input.h finds what to read, x509/verify.h checks a
// signature. A further answer is a row of the table in verify.cc.
#pragma once

#include <string>
#include <vector>

#include "kwpki/commands.h"
#include "kwpki/output.h"

namespace kwpki {

struct VerifyOptions {
  std::vector<std::string> issuers;
  std::vector<std::string> files;  // none: standard input
  bool json = false;
  bool strict = false;  // what is weak counts as refused
};

// verify answers for every certificate and CRL and returns the exit code.
int verify(const VerifyOptions &options, const Streams &streams);

}  // namespace kwpki
