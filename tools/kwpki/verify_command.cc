#include <CLI/CLI.hpp>

#include "kwpki/verify.h"

namespace kwpki {
namespace {

constexpr const char *kVerifyHelp = "Check who signed certificates and CRLs";

constexpr const char *kVerifyFooter =
    R"(Every certificate and CRL of each FILE gets a line: valid if a certificate of --issuer whose
subject is its issuer has the key that signed it, invalid if such certificates have other keys, no
issuer found if there is none with a key that fits the signature, scheme not supported, or refused.
FILEs and directories are read as `kwpki inspect` does; "-" and no FILE mean standard input.

Signatures with RSA (PKCS #1 v1.5) over MD5, SHA-1 and SHA-2 and with DSA over SHA-1 and SHA-2 are
checked. RSASSA-PSS, ECDSA, Ed25519, Ed448, ElGamal and anything over MD2, MD4 or SHA (the one
before SHA-1) are not supported. Signatures over MD5 have been forged, and for SHA-1 two documents
with one signature can be made: "valid" then tells who signed long ago, and is no protection against
a forger of today. Only the signature is checked, neither dates nor usage nor revocation.

Exit status: 0 everything is valid; 1 something is not, was refused, or has octets in front of it or
behind it; 2 wrong use; 3 a file could not be read or output not be written. If 1 and 3 both apply,
it is 3.)";

}  // namespace

void add_verify_command(CLI::App &app, Run &run) {
  const auto options = std::make_shared<VerifyOptions>();
  CLI::App *command = app.add_subcommand("verify", kVerifyHelp);
  command->footer(kVerifyFooter);
  command
      ->add_option("--issuer", options->issuers,
                   "Certificates of possible issuers: a file, bundle or directory; may be repeated")
      ->type_name("CERT")
      ->allow_extra_args(false)
      ->required();
  command->add_option("FILE", options->files, "Files and directories to check")->type_name("");
  command->add_flag("--json", options->json, "Write JSON, one object a line");
  command->add_flag("--strict", options->strict, "Status 1 for what is weak as well");
  add_profile_option(*command);
  command->callback([options, &run] {
    run = [options](const Streams &streams) { return verify(*options, streams); };
  });
}

}  // namespace kwpki
