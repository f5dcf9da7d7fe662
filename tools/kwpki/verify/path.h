// Certification paths as the system's path validation judges them: libcrypto's in path_posix.cc.
// Nothing of ours judges a path; what is told of one is a row of the table there.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "util/bytes.h"

namespace kwpki {

// PathOptions say what a path is to be good for; empty texts say nothing.
struct PathOptions {
  std::string at;  // a time as the searches have it
  std::string purpose, host;
};

// PathProblem is what stands against one certificate: a word for programs, words for people, and
// where they speak of a time, that time (ISO 8601).
struct PathProblem {
  std::string kind, words, time, detail;
};

// PathStep is a certificate of a path, from the one that was asked about upwards.
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
