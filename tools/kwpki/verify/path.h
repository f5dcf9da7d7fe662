// Certification paths. They are judged by the system's path validation alone, which is libcrypto's
// in path_posix.cc: names, constraints, policies and revocation are easy to get wrong, and an error
// in them accepts a forgery. The words for a fault are a row of the table there. On Windows there
// is none (path_win32.cc).
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "util/bytes.h"

namespace kwpki {

// PathOptions say what a path must be good for. An empty text means no such condition.
struct PathOptions {
  std::string at;  // a time as the searches have it
  std::string purpose, host;
};

// PathProblem is one fault of a certificate: a word for programs, words for people, and the time
// (ISO 8601) if the words end with one.
struct PathProblem {
  std::string kind, words, time, detail;
};

// PathStep is a certificate of a path. The first step is the certificate that was asked about.
struct PathStep {
  std::vector<uint8_t> der, subject;
  bool trusted = false;
  std::vector<PathProblem> problems;
};

class PathJudge {
 public:
  virtual ~PathJudge() = default;

  // These take what paths are made of; false for bytes that are none.
  virtual bool add_root(Bytes der) = 0;
  virtual bool add_untrusted(Bytes der) = 0;
  virtual bool add_crl(Bytes der) = 0;  // from then on every certificate needs one

  // judge finds and checks the path of a certificate; nothing for bytes that are none.
  virtual std::vector<PathStep> judge(Bytes der) = 0;
};

// make_path_judge gives null and says why if there is none on this system, or for wrong options.
std::unique_ptr<PathJudge> make_path_judge(const PathOptions &options, std::string *why);

}  // namespace kwpki
