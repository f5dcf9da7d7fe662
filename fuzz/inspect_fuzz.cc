// Any bytes through `kwpki inspect` and `kwpki verify`: whatever they are, the tool ends with an
// exit status, writes JSON, and shows the certificate or CRL that the record is of.

#include <sstream>

#include "kwpki/input/input.h"
#include "kwpki/input/kinds.h"
#include "kwpki/show/inspect.h"
#include "kwpki/terminal/text.h"
#include "kwpki/values/values.h"
#include "kwpki/verify/verify.h"
#include "memory_file.h"
#include "profiles.h"
#include "x509/cert.h"
#include "x509/crl.h"

namespace {

using kwpki::Json;

struct Said {
  int exit;
  std::string text;
};

// run_tool calls a command with the bytes as standard input.
template <class Options, class Command>
Said run_tool(Command command, const Options &options, Bytes input) {
  static std::FILE *const nowhere = std::fopen("/dev/null", "w");
  uint8_t none = 0;
  std::FILE *in = fmemopen(input.empty() ? &none : const_cast<uint8_t *>(input.data()),
                           input.empty() ? 1 : input.size(), "r");
  char *text = nullptr;
  size_t size = 0;
  std::FILE *out = open_memstream(&text, &size);
  require(in && out && nowhere);
  Said said{command(options, {in, out, nowhere}), {}};
  std::fclose(in);
  std::fclose(out);
  said.text.assign(text, size);
  std::free(text);
  return said;
}

std::vector<Json> objects(const std::string &text) {
  std::vector<Json> list;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line); require(!lines.eof())) {
    list.push_back(Json::parse(line, nullptr, false));
    require(!list.back().is_discarded());
  }
  return list;
}

}  // namespace

void check_profile(Bytes input) {
  const SshX509CertOwner cert(ssh_x509_cert_allocate());
  const SshX509CrlOwner crl(ssh_x509_crl_allocate());
  const bool is_cert = ssh_x509_cert_decode(input, cert.get()) > 0;
  const bool is_crl = !is_cert && ssh_x509_crl_decode(input, crl.get()) > 0;
  const Bytes element = is_cert ? cert->element : crl->element;
  const bool whole = (is_cert || is_crl) && element.size() == input.size();

  kwpki::InspectOptions options;
  options.tree_lines = 16;  // the trees of what is refused would take most of the time
  const Said text = run_tool(kwpki::inspect, options, input);
  options.full = true;
  require(run_tool(kwpki::inspect, options, input).exit == text.exit);
  options.html = true;
  const Said page = run_tool(kwpki::inspect, options, input);
  require(page.exit == text.exit && page.text.ends_with("</html>\n"));
  require(page.text.rfind("<script") == page.text.find("<script"));
  options.html = false;
  options.json = true;
  const Said said = run_tool(kwpki::inspect, options, input);
  const MemoryFile file(input);
  kwpki::VerifyOptions issuers;
  issuers.json = true;
  issuers.issuers = {file.name()};
  const Said verified = run_tool(kwpki::verify, issuers, input);
  const std::vector<Json> shown = objects(said.text), checked = objects(verified.text);
  require(text.exit == said.exit);
  require(shown.size() == checked.size());
  if (input.empty() || !kwpki::find_blocks(input).empty() || !kwpki::bundled(input).empty() ||
      !kwpki::as_utf8_text(input).empty() ||
      !kwpki::unarmoured(ssh_bytes_text(input)).octets.empty())
    return;

  require(shown.size() == 1);
  const Json &object = shown[0];
  require(said.exit == (whole ? kwpki::kExitOk : kwpki::kExitRefused));
  require(object["accepted"] == (is_cert || is_crl));
  require((checked[0]["result"] == "refused") == !(is_cert || is_crl));
  require(whole || verified.exit == kwpki::kExitRefused);
  if (!is_cert && !is_crl) return;
  if (is_cert) require(object["serial"] == kwpki::integer_json(cert->serial));
  if (is_crl) require(object["entries"].size() == crl->revoked_count);
  const Bytes extensions = is_cert ? cert->extension_list : crl->extension_list;
  require(object["extensions"].empty() == extensions.empty());
  require(object["der"] == kwpki::base64(element));
}
