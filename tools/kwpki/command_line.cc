#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <sstream>

#include "kwpki/commands.h"
#include "kwpki/text.h"
#include "x509/profile.h"

namespace kwpki {
namespace {

// A function here adds one command, or a few that belong together.
constexpr void (*kCommands[])(CLI::App &app, Run &run) = {
    add_inspect_command, add_verify_command, add_message_commands,
    add_error_command,   add_store_commands, add_completion_command,
};

struct ProfileRow {
  const char *name;
  SshX509Profile profile;
};
constexpr ProfileRow kProfiles[] = {{"classic", SSH_X509_CLASSIC}, {"modern", SSH_X509_MODERN}};

// say writes a message. Where standard error is full or closed, the exit code has to do.
void say(const Streams &streams, const std::string &text) {
  std::fputs(("kwpki: " + text + "\n").c_str(), streams.err);
}

int parse_and_run(int argc, const char *const *argv, const Streams &streams) {
  CLI::App app("Reads certificates and certificate revocation lists, and shows messages.", "kwpki");
  app.set_version_flag("--version", "kwpki " KWPKI_VERSION);
  app.require_subcommand(1);
  app.allow_windows_style_options(false);  // "/certs/a.pem" is a file there too
  add_profile_option(app);
  ssh_x509_set_profile(SSH_X509_MODERN);  // whatever the library's own default
  Run run;
  for (const auto add_command : kCommands) add_command(app, run);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    if (error.get_exit_code() != 0) {
      say(streams, escape(error.what()) + "\nRun with --help for more information.");
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

// An option of a command is heeded after that of the program.
void add_profile_option(CLI::App &app) {
  const auto set = [](const std::string &name) {
    for (const ProfileRow &row : kProfiles)
      if (name == row.name) ssh_x509_set_profile(row.profile);
  };
  std::vector<std::string> names;
  for (const ProfileRow &row : kProfiles) names.emplace_back(row.name);
  app.add_option_function<std::string>("--profile", set,
                                       "Which certificates and CRLs are read [modern]")
      ->check(CLI::Validator(CLI::IsMember(names)).description(""))
      ->type_name("classic|modern");
}

int run_command_line(int argc, const char *const *argv, const Streams &streams) {
  try {
    const int exit = parse_and_run(argc, argv, streams);
    errno = 0;
    if (std::fflush(streams.out) != 0 && errno != EPIPE) throw OutputClosed{errno};
    return exit;
  } catch (const OutputClosed &closed) {
    if (closed.error == EPIPE) return kExitOk;
    say(streams, std::string("cannot write: ") + std::strerror(closed.error));
    return kExitUnreadable;
  }
}

}  // namespace kwpki
