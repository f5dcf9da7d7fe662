#include "kwpki/commands/commands.h"

namespace {

// Before anything else of the program: the command line parser's own objects need memory.
[[gnu::constructor(101)]] void start() { kwpki::prepare_process(); }

}  // namespace

int main(int argc, char **argv) {
  return kwpki::run_command_line(argc, argv, {stdin, stdout, stderr});
}
