#include <csignal>
#include <cstdio>

#include "kwpki/commands.h"
#include "kwpki/system.h"
#include "util/fatal.h"

namespace {

void to_standard_error(void *, const char *message) {
  std::fprintf(stderr, "kwpki: %s\n", message);
}

}  // namespace

int main(int argc, char **argv) {
#ifdef SIGPIPE
  std::signal(SIGPIPE, SIG_IGN);  // output that nobody reads is noticed where it is written
#endif
  ssh_fatal_register(to_standard_error, to_standard_error, nullptr);
  for (std::FILE *file : {stdin, stdout}) kwpki::use_octets(file);
  return kwpki::run_command_line(argc, argv, {stdin, stdout, stderr});
}
