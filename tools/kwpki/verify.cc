#include "kwpki/verify.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <map>

#include "kwpki/describe.h"
#include "kwpki/input.h"
#include "kwpki/system.h"
#include "kwpki/text.h"
#include "kwpki/values.h"
#include "x509/verify.h"

namespace kwpki {
namespace {

// Answer is what a line says, with the exit code that it brings.
enum Answer : uint8_t { kValid, kInvalid, kNoIssuer, kNotSupported, kRefused };
constexpr struct {
  const char *words;
  int exit;
} kAnswers[] = {
    {"valid", kExitOk},
    {"invalid", kExitRefused},
    {"no issuer found", kExitRefused},
    {"scheme not supported", kExitRefused},
    {"refused", kExitRefused},
};

Answer answer_of(SshX509Verdict verdict) {
  if (verdict == SSH_X509_VALID) return kValid;
  return verdict == SSH_X509_INVALID ? kInvalid : kNotSupported;
}

std::string readable(Bytes name) {
  return name.empty() ? "" : dn_json(name)["readable"].get<std::string>();
}

std::string shown(const std::string &name) { return name.empty() ? "no name" : name; }

Bytes own_name(const SshX509Name *names) {
  const SshX509Name *name = ssh_x509_name_find(names, SSH_X509_NAME_DN);
  return name ? name->der : Bytes();
}

// compared gives the form in which the library compares names, or the DER of one that has none.
std::string compared(Bytes name) {
  SshDN dn = {};
  uint8_t *der = nullptr;
  size_t length = 0;
  const bool good = ssh_dn_decode_der(name, &dn) && ssh_dn_encode_der_canonical(&dn, &der, &length);
  ssh_dn_clear(&dn);
  const SshBlock block(der);
  return std::string(ssh_bytes_text(good ? Bytes(der, length) : name));
}

// Issuer is a certificate whose key may have signed something.
struct Issuer {
  Place place;
  SshX509CertOwner cert;
  SshPublicKeyOwner key;
};

// Record is a certificate or CRL to check.
struct Record {
  const char *kind;
  const char *scheme;
  Bytes issuer;
  const SshX509KeyId *key_id;
  Bytes input, element;
  std::function<SshX509Verdict(const SshPublicKey *)> verify;
};

// Key identifiers say which issuer of the same name to try first, and no more: issuers have got
// them wrong.
bool same_key_id(const Record &record, const Issuer &issuer) {
  const SshX509KeyId *own = issuer.cert->subject_key_id;
  return record.key_id && own && ssh_bytes_equal(record.key_id->key_id, own->key_id);
}

class Verifier {
 public:
  Verifier(const VerifyOptions &options, const Streams &streams)
      : options_(options), streams_(streams), output_(streams) {}

  int run();

 private:
  using Take = void (Verifier::*)(const Place &place, Bytes octets);
  template <class Action>
  void guard(const Place &place, Action action);
  void read_all(const std::vector<std::string> &names, Take take);
  void read_file(const Source &source, Take take);
  void read_blocks(const Source &source, const std::vector<Block> &blocks, Take take);
  void take_issuer(const Place &place, Bytes octets);
  void take_object(const Place &place, Bytes octets);
  void check(const Place &place, const Record &record);
  void report_checked(const Place &place, Answer answer, const Record &record,
                      const Issuer *signer);
  void report_refused(const Place &place, const char *kind, const SshX509Refusal &refusal);
  void report(const Place &place, Answer answer, const std::string &detail, const Json &members);
  void fail(const std::string &name, const std::string &why, int exit);

  const VerifyOptions &options_;
  Streams streams_;
  Output output_;
  std::multimap<std::string, Issuer> issuers_;  // by the form in which names are compared
  int exit_ = kExitOk;
};

int Verifier::run() {
  read_all(options_.issuers, &Verifier::take_issuer);
  if (options_.files.empty() && is_terminal(streams_.in)) {
    output_.message("", "reading standard input; --help tells more");
  }
  read_all(options_.files.empty() ? std::vector<std::string>{"-"} : options_.files,
           &Verifier::take_object);
  output_.flush();
  return exit_;
}

void Verifier::fail(const std::string &name, const std::string &why, int exit) {
  output_.message(name, why);
  exit_ = std::max(exit_, exit);
}

// guard keeps what goes wrong with one input from the others.
template <class Action>
void Verifier::guard(const Place &place, Action action) {
  const std::string fault = fault_of(action);
  if (!fault.empty()) fail(place.name(), "refused: cannot be checked: " + fault, kExitRefused);
}

void Verifier::read_all(const std::vector<std::string> &names, Take take) {
  const Found found = find_sources(names);
  for (const Problem &problem : found.problems) fail(problem.name, problem.text, kExitUnreadable);
  for (const Source &source : found.sources) {
    guard({source.name}, [&] { read_file(source, take); });
  }
}

void Verifier::read_file(const Source &source, Take take) {
  std::vector<uint8_t> file;
  const Place place{source.name};
  const std::string problem = read_source(source, streams_.in, &output_, &file);
  if (!problem.empty()) return fail(place.name(), problem, kExitUnreadable);
  const std::vector<Block> blocks = find_blocks(file);
  if (!blocks.empty()) return read_blocks(source, blocks, take);
  if (source.from_directory && !is_plainly_der(file)) {
    return output_.message(source.name, "neither a certificate nor a CRL; passed over");
  }
  (this->*take)(place, file);
}

void Verifier::read_blocks(const Source &source, const std::vector<Block> &blocks, Take take) {
  for (size_t i = 0; i < blocks.size(); ++i) {
    const Block &block = blocks[i];
    const Place place{source.name, i + 1};
    output_.progress(source.name, "blocks read", i + 1);
    if (!block.readable) {
      output_.message(place.name(),
                      fmt::format("line {}: {} passed over", block.line, block.label));
      continue;
    }
    if (!block.fault.empty())
      output_.message(place.name(), fmt::format("line {}: {}", block.line, block.fault));
    guard(place, [&] { (this->*take)(place, block_octets(block)); });
  }
}

// What cannot be an issuer is named; the others may do without it.
void Verifier::take_issuer(const Place &place, Bytes octets) {
  SshX509CertOwner cert(ssh_x509_cert_allocate());
  if (ssh_x509_cert_decode(octets, cert.get())) {
    const std::string around = surroundings_text(cert->der, cert->element, "certificate");
    if (!around.empty()) fail(place.name(), around, kExitRefused);
    SshPublicKeyOwner key(ssh_x509_cert_public_key(cert.get()));
    std::string name = compared(own_name(cert->subject_names));
    issuers_.emplace(std::move(name), Issuer{place, std::move(cert), std::move(key)});
    return;
  }
  const SshX509CrlOwner crl(ssh_x509_crl_allocate());
  if (ssh_x509_crl_decode(octets, crl.get()))
    return output_.message(place.name(), "a CRL is no issuer; passed over");
  fail(place.name(),
       "refused as an issuer: no certificate that the library reads; `kwpki inspect` shows it",
       kExitRefused);
}

void Verifier::take_object(const Place &place, Bytes octets) {
  start_items();
  const SshX509CertOwner cert(ssh_x509_cert_allocate());
  if (ssh_x509_cert_decode(octets, cert.get())) {
    return check(place,
                 {"certificate", cert->signature_scheme, own_name(cert->issuer_names),
                  cert->authority_key_id, cert->der, cert->element,
                  [&](const SshPublicKey *key) { return ssh_x509_cert_verify(cert.get(), key); }});
  }
  const SshX509CrlOwner crl(ssh_x509_crl_allocate());
  if (ssh_x509_crl_decode(octets, crl.get())) {
    return check(place,
                 {"crl", crl->signature_scheme, own_name(crl->issuer_names), crl->authority_key_id,
                  crl->der, crl->element,
                  [&](const SshPublicKey *key) { return ssh_x509_crl_verify(crl.get(), key); }});
  }
  const bool is_crl = ssh_x509_looks_like_crl(octets);
  report_refused(place, is_crl ? "crl" : "certificate", is_crl ? crl->refusal : cert->refusal);
}

// One issuer that verifies it makes a record valid, whatever the others of that name say. An issuer
// whose key cannot have signed it, by its type, is none.
void Verifier::check(const Place &place, const Record &record) {
  const auto [begin, end] = issuers_.equal_range(compared(record.issuer));
  std::vector<const Issuer *> candidates;
  for (auto at = begin; at != end; ++at) candidates.push_back(&at->second);
  std::stable_partition(candidates.begin(), candidates.end(),
                        [&](const Issuer *issuer) { return same_key_id(record, *issuer); });
  Answer answer = kNoIssuer;
  const Issuer *signer = nullptr;
  for (size_t i = 0; i < candidates.size() && answer != kValid; ++i) {
    const SshX509Verdict verdict = record.verify(candidates[i]->key.get());
    if (verdict == SSH_X509_KEY_NOT_FIT) continue;
    answer = answer_of(verdict);
    signer = candidates[i];
  }
  report_checked(place, answer, record, signer);
}

void Verifier::report_checked(const Place &place, Answer answer, const Record &record,
                              const Issuer *signer) {
  Json members = {{"kind", record.kind}, {"scheme", record.scheme}};
  const std::string name = readable(record.issuer);
  set_text(members, "issuer", name);
  std::string detail;
  if (answer == kValid) {
    const std::string subject = readable(own_name(signer->cert->subject_names));
    Json &json = members["signed_by"];
    set_text(json, "file", signer->place.file);
    if (signer->place.block) json["block"] = signer->place.block;
    set_text(json, "subject", subject);
    detail = ", signed by " + shown(subject);
  } else {
    detail = fmt::format(" ({})", answer == kNotSupported ? record.scheme : shown(name));
  }
  const char *kind = record.kind[1] == 'r' ? "CRL" : record.kind;
  const std::string around = surroundings_text(record.input, record.element, kind);
  if (!around.empty()) {
    detail += "; " + around;
    set_surroundings(members, record.input, record.element);
    exit_ = std::max<int>(exit_, kExitRefused);
  }
  report(place, answer, detail, members);
}

// report_refused tells why, as `kwpki inspect` does, which has the rest.
void Verifier::report_refused(const Place &place, const char *kind, const SshX509Refusal &refusal) {
  const Json json = refusal_json(refusal);
  std::string detail = fmt::format(" as a {}: {} at offset {}", kind[1] == 'r' ? "CRL" : kind,
                                   json["structure"].get<std::string>(), refusal.offset);
  if (json.contains("identifier"))
    detail += ", identifier " + json["identifier"]["oid"].get<std::string>();
  report(place, kRefused, detail, {{"kind", kind}, {"refusal", json}});
}

void Verifier::report(const Place &place, Answer answer, const std::string &detail,
                      const Json &members) {
  const auto &row = kAnswers[answer];
  exit_ = std::max(exit_, row.exit);
  if (!options_.json) return output_.write(escape(place.name() + ": " + row.words + detail) + "\n");
  Json json = Json::object();
  set_text(json, "file", place.file);
  if (place.block) json["block"] = place.block;
  json["result"] = row.words;
  json.update(members);
  output_.write(json.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n");
}

}  // namespace

int verify(const VerifyOptions &options, const Streams &streams) {
  return Verifier(options, streams).run();
}

}  // namespace kwpki
