#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "kwpki/commands/commands.h"
#include "kwpki/terminal/system.h"
#include "util/fatal.h"

namespace kwpki {
namespace {

void warn(void *, const char *message) { std::fprintf(stderr, "kwpki: %s\n", message); }

// Whoever asked for what there is not may be a destructor or a callback of the library, through
// which nothing can be thrown: the process ends right there.
[[noreturn]] void end(void *, const char *message) {
  warn(nullptr, message);
  std::fflush(stdout);
  std::_Exit(kExitUnreadable);
}

}  // namespace

void prepare_process() {
#ifdef SIGPIPE
  std::signal(SIGPIPE, SIG_IGN);  // output that nobody reads is noticed where it is written
#endif
  open_missing_files();
  for (std::FILE *file : {stdin, stdout}) use_octets(file);
  std::set_new_handler([] { end(nullptr, "out of memory"); });
  ssh_fatal_register(end, warn, nullptr);
}

}  // namespace kwpki
