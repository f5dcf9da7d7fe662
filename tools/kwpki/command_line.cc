#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <new>
#include <sstream>

#include "kwpki/commands.h"
#include "kwpki/text.h"

namespace kwpki {
namespace {

// A function here adds one command, or a few that belong together.
constexpr void (*kCommands[])(CLI::App &app, Run &run) = {
    add_inspect_command, add_verify_command, add_message_commands,
    add_error_command,   add_store_commands, add_completion_command,
};

int parse_and_run(int argc, const char *const *argv, const Streams &streams) {
  CLI::App app("Reads certificates and certificate revocation lists, and shows messages.", "kwpki");
  app.set_version_flag("--version", "kwpki " KWPKI_VERSION);
  app.require_subcommand(1);
  Run run;
  for (const auto add_command : kCommands) add_command(app, run);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    if (error.get_exit_code() != 0) {
      fmt::print(streams.err, "kwpki: {}\nRun with --help for more information.\n",
                 escape(error.what()));
      return kExitUsage;
    }
    std::ostringstream help;
    (void)app.exit(error, help);
    std::fputs(help.str().c_str(), streams.out);
    return kExitOk;
  }
  return run(streams);
}

}  // namespace

int run_command_line(int argc, const char *const *argv, const Streams &streams) {
  try {
    return parse_and_run(argc, argv, streams);
  } catch (const OutputClosed &closed) {
    if (closed.error == EPIPE) return kExitOk;
    fmt::print(streams.err, "kwpki: cannot write: {}\n", std::strerror(closed.error));
    return kExitUnreadable;
  } catch (const std::bad_alloc &) {
    std::fputs("kwpki: out of memory\n", streams.err);
    return kExitUnreadable;
  }
}

}  // namespace kwpki
