#include "kwpki/commands/command_line.h"

namespace {

// This runs before the constructors of global objects: those of the command line parser allocate
// memory, and running out of it must be reported from the beginning.
[[gnu::constructor(101)]] void start() { kwpki::prepare_process(); }

}  // namespace

int main(int argc, char **argv) {
  return kwpki::run_command_line(argc, argv, {stdin, stdout, stderr});
}
