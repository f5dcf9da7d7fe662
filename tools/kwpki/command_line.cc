#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <sstream>

#include "kwpki/commands.h"
#include "kwpki/system.h"
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

// distance counts the letters to add, to drop or to change between two words.
size_t distance(std::string_view a, std::string_view b) {
  std::vector<size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 0; i < a.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i + 1;
    for (size_t k = 0; k < b.size(); ++k) {
      const size_t changed = diagonal + (a[i] == b[k] ? 0 : 1);
      diagonal = row[k + 1];
      row[k + 1] = std::min({row[k] + 1, diagonal + 1, changed});
    }
  }
  return row.back();
}

// name_inspect puts "inspect" in front of files and of its options, so that `kwpki FILE` is enough.
// It returns what is wrong with a first word that is neither a command nor looks like a file.
std::string name_inspect(const CLI::App &app, std::vector<std::string> &words) {
  size_t first = 0;
  while (first < words.size() && words[first].starts_with("--profile"))
    first += words[first] == "--profile" ? 2 : 1;
  first = std::min(first, words.size());
  const std::string word = first < words.size() ? words[first] : "-";
  if (word == "--help" || word == "-h" || word == "--version") return {};
  std::string nearest;
  size_t least = 3;  // a word of more than two wrong letters is another one
  for (const CLI::App *command : app.get_subcommands({})) {
    const size_t letters = distance(word, command->get_name());
    if (letters == 0) return {};
    if (letters >= least) continue;
    least = letters;
    nearest = command->get_name();
  }
  std::error_code ignored;
  const bool is_file = word.starts_with("-") || word.find_first_of("./\\") != word.npos ||
                       std::filesystem::exists(word, ignored);
  if (!is_file)
    return "\"" + escape(word) + "\" is neither a command nor a file" +
           (nearest.empty() ? "" : "; did you mean " + nearest + "?");
  words.insert(words.begin() + static_cast<ptrdiff_t>(first), "inspect");
  return {};
}

int parse_and_run(int argc, const char *const *argv, const Streams &streams) {
  CLI::App app(
      "Reads certificates and certificate revocation lists, and shows messages.\n"
      "kwpki FILE... is kwpki inspect FILE...",
      "kwpki");
  app.set_version_flag("--version", "kwpki " KWPKI_VERSION);
  app.require_subcommand(1);
  app.allow_windows_style_options(false);  // "/certs/a.pem" is a file there too
  add_profile_option(app);
  ssh_x509_set_profile(SSH_X509_MODERN);  // whatever the library's own default
  Run run;
  for (const auto add_command : kCommands) add_command(app, run);
  std::vector<std::string> words(argv + 1, argv + argc);
  if (words.empty() && is_terminal(streams.in)) words = {"--help"};
  const std::string wrong = name_inspect(app, words);
  if (!wrong.empty()) {
    say(streams, wrong + "\nRun with --help for more information.");
    return kExitUsage;
  }
  try {
    app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
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
