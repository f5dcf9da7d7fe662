// How a command ends: the exit code, and what is thrown to end it early.
#pragma once

#include <string>

namespace kwpki {

// Exit codes. When several apply, the largest wins.
enum : int { kExitOk = 0, kExitRefused = 1, kExitUsage = 2, kExitUnreadable = 3 };

// Failure ends a command with a message and this exit code.
struct Failure {
  int exit;
  std::string name;  // of a file or option, or empty
  std::string text;
};

}  // namespace kwpki
