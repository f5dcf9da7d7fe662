#include <CLI/CLI.hpp>

#include "kwpki/commands/commands.h"
#include "kwpki/show/inspect.h"

namespace kwpki {
namespace {

constexpr const char *kInspectHelp = "Show certificates and CRLs: whose they are, when they expire";

constexpr const char *kInspectFooter =
    R"(A FILE is DER or PEM; of PEM, every CERTIFICATE and X509 CRL block is shown, other blocks are
named and passed over. Directories are read recursively, in the order of names; files in them
that hold neither kind are passed over. "-" and no FILE at all mean standard input.

Up to three objects are shown in some lines each, more as a table with one line each; --full shows
every field and extension. If the library refuses an object, the reason and the fields that can be
read are shown and, with --full, a tree of its elements. If a file holds something else, a message
says what. Text may also be base64 or hexadecimal alone, or UTF-16, and a PKCS #7 bundle stands for
the certificates and CRLs in it. What has expired, is not valid yet or is weak (keys below 112 bits
of strength, signatures over MD5 and SHA-1) is marked. Characters that act on a terminal or show
nothing are written as \xNN or \u{NNNN}.

--html writes one page that a browser shows without a network: a table, who issued whom, and each
object's elements beside its bytes. --entries and --tree-lines say how much of it is shown.

JSON is one object a line, one for each certificate or CRL, in ASCII; DER is base64, other bytes
are hexadecimal. kwpki(1) describes its members. Messages go to standard error, and so does progress
if that is a terminal and reading takes more than a second.

Exit status: 0 everything was read; 1 something was refused, a FILE holds neither a certificate nor
a CRL, something has bytes in front of it or behind it, ends within the days of --expires, or --find
found nothing; 2 wrong use; 3 a file could not be read or output not be written. If 1 and 3 both
apply, it is 3.)";

// count_option adds an option that takes a number or "all".
void count_option(CLI::App *app, const std::string &name, const std::string &help, size_t *value,
                  bool *given) {
  const auto parse = [value, given](const CLI::results_t &results) {
    if (given) *given = true;
    if (results.back() == "all") {
      *value = kAll;
      return true;
    }
    return CLI::detail::lexical_cast(results.back(), *value) && results.back()[0] != '-';
  };
  app->add_option(name, parse, help)->type_name("N|all");
}

// parse_serial reads decimal digits, or hexadecimal ones behind 0x, with colons or with letters.
std::optional<SshMpInt> parse_serial(std::string text) {
  const bool prefixed = text.starts_with("0x") || text.starts_with("0X");
  if (prefixed) text.erase(0, 2);
  const bool hexadecimal = prefixed || text.find_first_not_of("0123456789") != text.npos;
  std::erase(text, ':');
  const size_t base = hexadecimal ? 16 : 10;
  const std::string_view digits = "0123456789abcdef";
  SshMpInt number;
  if (text.empty() || text.size() > 128) return std::nullopt;
  std::string octets(text.size(), '\0');  // long multiplication, most significant byte first
  for (const char c : text) {
    size_t carry = digits.find(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
    if (carry >= base) return std::nullopt;
    for (size_t i = octets.size(); i-- > 0; carry >>= 8) {
      carry += static_cast<uint8_t>(octets[i]) * base;
      octets[i] = static_cast<char>(carry);
    }
  }
  number.set_magnitude(ssh_text_bytes(octets));
  return number;
}

}  // namespace

void add_inspect_command(CLI::App &app, Run &run) {
  const auto options = std::make_shared<InspectOptions>();
  CLI::App *command = app.add_subcommand("inspect", kInspectHelp);
  command->footer(kInspectFooter);
  command->add_option("FILE", options->files, "Files and directories to read")->type_name("");
  command->add_flag("--full", options->full, "Show every field and extension, keys and signatures");
  command
      ->add_option("--expires", options->expires,
                   "Mark what expires within so many days, with exit status 1")
      ->type_name("DAYS");
  command->add_flag("--pem", options->pem,
                    "Write the certificates and CRLs as PEM; with --expires, those it marks");
  const auto find = [options](const CLI::results_t &results) {
    options->find = parse_serial(results.back());
    return options->find.has_value();
  };
  command->add_option("--find", find, "Whether CRLs list a serial number, decimal or hex, and why")
      ->type_name("SERIAL");
  command->add_flag("--json", options->json,
                    "Write JSON: complete, with every entry of a CRL and the DER");
  command->add_flag("--html", options->html,
                    "Write a page for a browser: all of it, with elements beside their bytes");
  command->add_flag("--tree", options->tree,
                    "Show the elements with their offsets; with --json, as well");
  count_option(command, "--entries", "How many entries of a CRL to show [10; with --json: all]",
               &options->entries, &options->entries_given);
  count_option(command, "--tree-lines", "How many elements of a tree to show [1000]",
               &options->tree_lines, nullptr);
  command->callback([options, &run] {
    if (options->pem && (options->json || options->find))
      throw CLI::ValidationError("--pem", "writes no JSON and finds nothing");
    if (options->html &&
        (options->json || options->pem || options->find || options->tree || options->full))
      throw CLI::ValidationError("--html", "shows everything; no other view goes with it");
    run = [options](const Streams &streams) { return inspect(*options, streams); };
  });
}

}  // namespace kwpki
