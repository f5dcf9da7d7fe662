// `kwpki verify`: whether one of the given issuers signed each certificate and CRL.
// Options are parsed in commands/verify_command.cc; input/objects.h finds what to read,
// x509/verify.h and signature.h check a signature, chain.h whole paths. A further answer is a row
// of the table in verify.cc.
#pragma once

#include <string>
#include <vector>

#include "kwpki/terminal/exit.h"
#include "kwpki/terminal/output.h"
#include "kwpki/verify/path.h"

namespace kwpki {

struct VerifyOptions {
  std::vector<std::string> issuers;
  bool chain = false;
  std::vector<std::string> roots, untrusted, crls;  // with `chain`
  PathOptions path;
  std::vector<std::string> files;  // none: standard input
  bool json = false;
  bool strict = false;  // what is weak counts as refused
};

// verify answers for every certificate and CRL and returns the exit code.
int verify(const VerifyOptions &options, const Streams &streams);

}  // namespace kwpki
