#include "kwpki/verify/path.h"

namespace kwpki {

std::unique_ptr<PathJudge> make_path_judge(const PathOptions &, std::string *why) {
  *why = "--chain is not there on Windows";
  return nullptr;
}

}  // namespace kwpki
