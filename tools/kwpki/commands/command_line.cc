#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <numeric>
#include <sstream>

#include "kwpki/commands/command_line.h"
#include "kwpki/commands/commands.h"
#include "kwpki/terminal/system.h"
#include "kwpki/terminal/text.h"
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

const std::map<std::string, Color> kColors = {
    {"auto", Color::kAuto}, {"always", Color::kAlways}, {"never", Color::kNever}};

// say writes a message to standard error. If that fails there is nobody to tell; the exit code
// stays.
void say(const Streams &streams, const std::string &text) {
  std::fputs(("kwpki: " + text + "\n").c_str(), streams.err);
}

// distance is how many letters must be added, dropped or changed to make one word of the other. It
// is computed row by row of the usual table, of which one row is kept: row[k] is the distance of
// the letters of `a` so far to the first k of `b`.
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
  const auto leads = [&words](size_t at) {
    return at < words.size() &&
           (words[at].starts_with("--profile") || words[at].starts_with("--color"));
  };
  while (leads(first)) first += words[first].find('=') == std::string::npos ? 2 : 1;
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

// append_filled appends a paragraph in lines of at most 80 columns; those behind the first begin
// behind so many blanks.
void append_filled(std::string_view text, size_t indent, std::string *out) {
  constexpr size_t kColumns = 80;
  for (size_t start = 0; text.size() > kColumns - start; start = indent) {
    size_t end = text.rfind(' ', kColumns - start);
    if (end == text.npos || text.find_first_not_of(' ') > end) end = text.find(' ', kColumns);
    if (end == text.npos) break;
    *out += text.substr(0, end);
    *out += '\n' + std::string(indent, ' ');
    text.remove_prefix(end + 1);
  }
  *out += text;
  *out += '\n';
}

// fitted_help breaks the lines of a help page anew for 80 columns: the lines of a paragraph are
// joined first, and descriptions of options stay in their column.
std::string fitted_help(const std::string &help) {
  constexpr size_t kDescriptions = 30;
  std::istringstream lines(help);
  std::string out, paragraph;
  const auto end_paragraph = [&] {
    if (!paragraph.empty()) append_filled(paragraph, 0, &out);
    paragraph.clear();
  };
  for (std::string line; std::getline(lines, line);) {
    const bool prose =
        !line.empty() && line[0] != ' ' && !line.ends_with(':') && !line.starts_with("Usage:");
    if (!prose) end_paragraph();
    if (prose) paragraph += (paragraph.empty() ? "" : " ") + line;
    if (!prose) append_filled(line, kDescriptions, &out);
  }
  end_paragraph();
  return out;
}

// These options stand in front of a command or behind it.
void add_profile_option(CLI::App &app) {
  const auto set = [](const std::string &name) {
    for (const ProfileRow &row : kProfiles)
      if (name == row.name) ssh_x509_set_profile(row.profile);
  };
  std::vector<std::string> names;
  for (const ProfileRow &row : kProfiles) names.emplace_back(row.name);
  app.add_option_function<std::string>("--profile", set,
                                       "Which certificates and CRLs are read [modern]")
      ->check(one_of(std::move(names)))
      ->type_name("classic|modern")
      ->take_last();
}

void add_color_option(CLI::App &app) {
  const auto set = [](const std::string &name) { choose_color(kColors.at(name)); };
  std::vector<std::string> names;
  for (const auto &[name, color] : kColors) names.push_back(name);
  app.add_option_function<std::string>("--color", set,
                                       "Colours: on a terminal unless NO_COLOR is set [auto]")
      ->check(one_of(std::move(names)))
      ->type_name("auto|always|never")
      ->take_last();
}

int parse_and_run(int argc, const char *const *argv, const Streams &streams) {
  CLI::App app(
      "Reads certificates and certificate revocation lists, and shows messages.\n\n"
      "kwpki FILE... is kwpki inspect FILE...",
      "kwpki");
  app.set_version_flag("--version", "kwpki " KWPKI_VERSION);
  app.require_subcommand(1);
  app.allow_windows_style_options(false);  // "/certs/a.pem" is a file there too
  app.fallthrough();
  add_profile_option(app);
  add_color_option(app);
  ssh_x509_set_profile(SSH_X509_MODERN);  // whatever the library's own default
  choose_color(Color::kAuto);
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
    std::fputs(fitted_help(help.str()).c_str(), streams.out);
    return kExitOk;
  }
  return run(streams);
}

}  // namespace

CLI::Validator one_of(std::vector<std::string> words) {
  return CLI::Validator(CLI::IsMember(std::move(words))).description("");
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
