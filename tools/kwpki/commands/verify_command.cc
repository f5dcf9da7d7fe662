#include <CLI/CLI.hpp>

#include "kwpki/commands/commands.h"
#include "kwpki/verify/chain.h"

namespace kwpki {
namespace {

constexpr const char *kVerifyHelp =
    "Check the signatures alone of certificates and CRLs, or with --chain whole paths";

constexpr const char *kVerifyFooter =
    R"(Every certificate and CRL of each FILE gets a line: valid if a certificate of --issuer whose
subject is its issuer has the key that signed it; invalid if the signature is wrong; key does not
fit, and why, if the keys of all such certificates cannot make this signature; no issuer found if
there is no certificate of that name; scheme not supported; or refused. FILEs and directories are
read as `kwpki inspect` does; "-" and no FILE mean standard input.

Checked are RSA (PKCS #1 v1.5 and RSASSA-PSS), DSA, ECDSA on named curves, Ed25519 and Ed448, over
MD5, SHA-1 and SHA-2; on Windows neither EdDSA nor other curves than P-256, P-384 and P-521. Only
the signature is checked, neither dates nor usage nor revocation. What is weak is marked: MD2 to
SHA-1, RSA and DSA below 2048 bits, curves below 224. Two documents with one signature over MD5 or
SHA-1 can be made: "valid" then tells who signed long ago, and does not protect against a forger of
today.

With --chain each certificate of each FILE is judged by the path from it to one of --root: each
certificate of the path has a line with what is wrong with it. Not on Windows.

Exit status: 0 everything is valid; 1 something is not, was refused, or has bytes in front of it or
behind it, with --strict also if it is weak; 2 wrong use; 3 a file could not be read or output not
be written. If 1 and 3 both apply, it is 3.)";

void add_files(CLI::App &command, const char *name, std::vector<std::string> &files,
               const char *help) {
  command.add_option(name, files, help)->type_name("CERT")->allow_extra_args(false);
}

// check_options refuses options of the other way of checking. The parser could do so by itself, but
// its help would then name the others at each option.
void check_options(const CLI::App &command, bool chain) {
  constexpr const char *kOfPaths[] = {"--root", "--untrusted", "--crl",
                                      "--at",   "--purpose",   "--host"};
  for (const char *name : kOfPaths)
    if (!chain && command.count(name) != 0) throw CLI::RequiresError(name, "--chain");
  if (chain && command.count("--issuer") != 0) throw CLI::ExcludesError("--chain", "--issuer");
  const char *const needed = chain ? "--root" : "--issuer";
  if (command.count(needed) == 0) throw CLI::RequiredError(needed);
}

}  // namespace

void add_verify_command(CLI::App &app, Run &run) {
  const auto options = std::make_shared<VerifyOptions>();
  CLI::App *command = app.add_subcommand("verify", kVerifyHelp);
  command->footer(kVerifyFooter);
  add_files(*command, "--issuer", options->issuers,
            "Certificates of possible issuers: a file, bundle or directory; may be repeated");
  command->add_flag("--chain", options->chain, "Check whole paths");
  add_files(*command, "--root", options->roots, "With --chain: what is trusted; may be repeated");
  add_files(*command, "--untrusted", options->untrusted,
            "With --chain: certificates that may stand between; may be repeated");
  add_files(*command, "--crl", options->crls,
            "With --chain: CRLs, of which every certificate then needs one; may be repeated");
  PathOptions &path = options->path;
  command->add_option("--at", path.at, "With --chain: valid at this time [now]")
      ->type_name("now|TIME");
  command->add_option("--purpose", path.purpose, "With --chain: what it is to be good for [any]")
      ->check(one_of({"server", "client", "ca", "any"}))
      ->type_name("server|client|ca|any");
  command->add_option("--host", path.host, "With --chain: for this host name or address")
      ->type_name("NAME");
  command->add_option("FILE", options->files, "Files and directories to check")->type_name("");
  command->add_flag("--json", options->json, "Write JSON, one object a line");
  command->add_flag("--strict", options->strict, "Status 1 for what is weak as well");
  command->callback([options, command, &run] {
    check_options(*command, options->chain);
    run = [options](const Streams &streams) {
      return options->chain ? verify_chains(*options, streams) : verify(*options, streams);
    };
  });
}

}  // namespace kwpki
