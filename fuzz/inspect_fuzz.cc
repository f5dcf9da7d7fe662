// Any bytes through `kwpki inspect` and `kwpki verify`: whatever they are, the tool ends with an
// exit status, writes JSON, and says of a certificate or CRL what the record says.

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

std::string number_of(const SshMpInt &value) {
  return (value.negative() ? "-" : "") + (value.is_zero() ? "00" : kwpki::hex(value.magnitude()));
}

// check_extensions holds a list against the set of kinds that decoding has entered.
void check_extensions(const Json &list, const SshX509ExtensionSet &set, Bytes encoded) {
  SshX509ExtensionSet shown;
  SshX509ExtensionCursor cursor(encoded);
  for (const Json &extension : list) {
    require(cursor.next());
    const SshX509ExtensionView &view = cursor.extension();
    require(extension["oid"] == kwpki::oid_text(view.id));
    require(extension["critical"] == (view.critical != 0));
    require(extension["der"] == kwpki::base64(view.value));
    const SshOidRow *row = ssh_oid_find_encoded(view.id, SSH_OID_EXTENSION);
    require(row || !view.critical);
    if (row) shown.set(row->code, false);
  }
  require(!cursor.next());
  for (uint32_t kind = 0; kind < SSH_X509_EXT_KINDS; ++kind)
    require(set.test(kind) == shown.test(kind));
}

// contents gives what is shown of an extension, or nothing.
Json contents(const Json &extensions, const char *name) {
  for (const Json &extension : extensions) {
    if (extension.value("name", "") == name) return extension["contents"];
  }
  return nullptr;
}

void check_names(const Json &shown, const Json &others, const SshX509Name *names) {
  const SshX509Name *own = ssh_x509_name_find(names, SSH_X509_NAME_DN);
  require(own ? shown["der"] == kwpki::base64(own->der) : shown["attributes"].empty());
  size_t count = 0;
  for (; names; names = names->next) count += names->type >= SSH_X509_NAME_EMAIL;
  require(others.is_null() || others.size() == count);
}

template <class Record>
void check_common(const Json &shown, const Record &record) {
  require(shown["version"] == record.version);
  const Json &scheme = shown["signature"]["scheme"], &extensions = shown["extensions"];
  require(record.signature_scheme ? scheme == record.signature_scheme : scheme.is_null());
  check_names(shown["issuer"], contents(extensions, "issuerAlternativeName"), record.issuer_names);
  check_extensions(extensions, record.extensions, record.extension_list);
  require(shown["der"] == kwpki::base64(record.element));
  const size_t leading = shown.value("leading_bytes", size_t{0});
  const size_t trailing = shown.value("trailing_bytes", size_t{0});
  require(record.der.data() + leading == record.element.data());
  require(leading + record.element.size() + trailing == record.der.size());
}

void check_certificate(const Json &shown, const SshX509Cert &cert) {
  check_common(shown, cert);
  require(shown["serial"]["hex"] == number_of(cert.serial));
  const Json &extensions = shown["extensions"];
  check_names(shown["subject"], contents(extensions, "subjectAlternativeName"), cert.subject_names);
  const Json constraints = contents(extensions, "basicConstraints");
  require(constraints.is_null() || constraints["ca"] == (cert.ca != 0));
}

void check_crl(const Json &shown, const SshX509Crl &crl) {
  check_common(shown, crl);
  require(shown["entry_count"] == crl.revoked_count);
  require(shown["entries"].size() == crl.revoked_count);
  SshX509RevokedCursor cursor(crl);
  for (const Json &entry : shown["entries"]) {
    require(cursor.next());
    require(entry["serial"]["hex"] == number_of(cursor.entry().serial));
    check_extensions(entry["extensions"], cursor.entry().extensions, cursor.entry().extension_list);
    const Json reason = contents(entry["extensions"], "crlReason");
    require(reason.is_null() || reason["code"] == cursor.entry().reason);
  }
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
  if (is_cert) check_certificate(object, *cert);
  if (is_crl) check_crl(object, *crl);
}
