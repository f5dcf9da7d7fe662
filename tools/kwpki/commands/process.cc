#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "kwpki/commands/command_line.h"
#include "kwpki/terminal/exit.h"
#include "kwpki/terminal/system.h"
#include "util/fatal.h"

namespace kwpki {
namespace {

void warn(void *, const char *message) { std::fprintf(stderr, "kwpki: %s\n", message); }

// end is called when memory runs out or the library reports a fatal error. That may happen in a
// destructor or in a callback of the library, through which nothing can be thrown, so the process
// ends at once.
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
