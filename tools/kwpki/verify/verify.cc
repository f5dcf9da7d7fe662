#include "kwpki/verify/verify.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <functional>
#include <map>
#include <unordered_map>

#include "kwpki/input/objects.h"
#include "kwpki/terminal/text.h"
#include "kwpki/values/describe.h"
#include "kwpki/values/issuers.h"
#include "kwpki/values/values.h"
#include "kwpki/verify/signature.h"
#include "x509/verify.h"

namespace kwpki {
namespace {

// Answer is the result of a line. Several certificates may have the issuer's name and give
// different answers; the last one in this order counts.
enum Answer : uint8_t { kNoIssuer, kKeyNotFit, kNotSupported, kInvalid, kValid, kRefused };
constexpr struct {
  const char *words;
  int exit;
} kAnswers[] = {
    {"no issuer found", kExitRefused},
    {"key does not fit", kExitRefused},
    {"scheme not supported", kExitRefused},
    {"invalid", kExitRefused},
    {"valid", kExitOk},
    {"refused", kExitRefused},
};
constexpr Answer kAnswerOf[] = {kValid, kInvalid, kNotSupported, kKeyNotFit};
static_assert(SSH_X509_VALID == 0 && SSH_X509_INVALID == 1 && SSH_X509_SCHEME_NOT_SUPPORTED == 2 &&
              SSH_X509_KEY_NOT_FIT == 3);

std::string shown(const std::string &name) { return name.empty() ? "no name" : name; }

// Issuer is a certificate whose key may have signed something.
struct Issuer {
  Place place;
  SshX509CertOwner cert;
  SshPublicKeyOwner key;
  std::string subject, weak;  // for people
};

// IssuerName is the name that a record gives its issuer, with the certificates of that name. Many
// records have the same issuer, so it is made once.
struct IssuerName {
  std::string readable;
  std::vector<const Issuer *> issuers;
};

// Record is a certificate or CRL to check.
struct Record {
  const char *kind;
  std::string scheme;
  Bytes issuer;
  const SshX509KeyId *key_id;
  Bytes input, element;
  Bytes algorithm, signed_algorithm, signed_data;
  const SshAsn1Bits &signature;
  uint32_t signature_type;
  std::function<SshX509Verdict(const SshPublicKey *)> verify;
};

// record_of makes one type of certificates and CRLs, so that all below is written once.
template <class Kind>
Record record_of(const char *name, const Kind &of,
                 SshX509Verdict (*verify)(const Kind *, const SshPublicKey *)) {
  return {name,
          scheme_of(of),
          own_name(of.issuer_names),
          of.authority_key_id,
          of.der,
          of.element,
          of.algorithm,
          of.signed_algorithm,
          of.signed_data,
          of.signature_value,
          of.signature_key_type,
          [&of, verify](const SshPublicKey *key) { return verify(&of, key); }};
}

// Key identifiers say which issuer of the same name to try first, and no more: issuers have got
// them wrong.
bool same_key_id(const Record &record, const Issuer &issuer) {
  const SshX509KeyId *own = issuer.cert->subject_key_id;
  return record.key_id && own && ssh_bytes_equal(record.key_id->key_id, own->key_id);
}

// ask has the library check the signature, or the system if the library does not compute its
// scheme.
SignatureAnswer ask(const Record &record, const Issuer &issuer) {
  const SshX509Verdict verdict = record.verify(issuer.key.get());
  const SshX509Key &key = issuer.cert->key;
  if (verdict == SSH_X509_INVALID && !ssh_bytes_equal(record.algorithm, record.signed_algorithm))
    return {verdict, "its two algorithm identifiers differ"};
  if (verdict == SSH_X509_KEY_NOT_FIT) {
    const std::string fault = key_fault(key, record.signature_type);
    return {verdict, fault.empty() ? "it is too short for it, or its numbers make no key" : fault};
  }
  if (verdict != SSH_X509_SCHEME_NOT_SUPPORTED) return {verdict, {}};
  const SshAsn1Bits &value = record.signature;
  if (value.bits != 8 * value.octets.size()) return {SSH_X509_INVALID, {}};
  return check_signature(record.algorithm, key, record.signed_data, value.octets);
}

// Finding is the answer for a record and the issuer that gave it. Without a certificate of the
// issuer's name it is kNoIssuer.
struct Finding {
  Answer answer = kNoIssuer;
  std::string why;
  const Issuer *issuer = nullptr;
};

class Verifier {
 public:
  Verifier(const VerifyOptions &options, const Streams &streams)
      : options_(options), objects_(streams) {}

  int run();

 private:
  void take_issuer(const Place &place, Bytes octets);
  void take_object(const Place &place, Bytes octets);
  const IssuerName &name_of(Bytes der);
  Finding find_signer(const Record &record, const IssuerName &name);
  void check(const Place &place, const Record &record);
  void report_refused(const Place &place, const char *kind, const SshX509Refusal &refusal,
                      Bytes octets);
  void report(const Place &place, Answer answer, const std::string &detail, const Json &members);

  const VerifyOptions &options_;
  Objects objects_;
  std::multimap<std::string, Issuer> issuers_;         // by the form in which names are compared
  std::unordered_map<std::string, IssuerName> names_;  // by the DER
  size_t names_size_ = 0;
};

int Verifier::run() {
  objects_.read(options_.issuers, [this](const Place &p, Bytes o) { take_issuer(p, o); });
  objects_.read_inputs(options_.files, [this](const Place &p, Bytes o) { take_object(p, o); });
  objects_.output.flush();
  return objects_.exit();
}

// take_issuer keeps a certificate of --issuer. What cannot be an issuer is reported, and the
// command goes on: perhaps no record needs it.
void Verifier::take_issuer(const Place &place, Bytes octets) {
  SshX509CertOwner cert(ssh_x509_cert_allocate());
  if (ssh_x509_cert_decode(octets, cert.get())) {
    const std::string around = surroundings_text(cert->der, cert->element, "certificate");
    if (!around.empty()) objects_.fail(place.name(), around, kExitRefused);
    SshPublicKeyOwner key(ssh_x509_cert_public_key(cert.get()));
    const Bytes subject = own_name(cert->subject_names);
    start_items();
    Issuer issuer{place, std::move(cert), std::move(key), readable_name(subject), {}};
    issuer.weak = weak_key(issuer.cert->key);
    issuers_.emplace(compared_name(subject), std::move(issuer));
    return;
  }
  const SshX509CrlOwner crl(ssh_x509_crl_allocate());
  if (ssh_x509_crl_decode(octets, crl.get()))
    return objects_.output.message(place.name(), "a CRL is no issuer; passed over");
  objects_.fail(
      place.name(),
      "refused as an issuer: no certificate that the library reads; `kwpki inspect` shows it",
      kExitRefused);
}

void Verifier::take_object(const Place &place, Bytes octets) {
  const SshX509CertOwner cert(ssh_x509_cert_allocate());
  if (ssh_x509_cert_decode(octets, cert.get()))
    return check(place, record_of("certificate", *cert, ssh_x509_cert_verify));
  const SshX509CrlOwner crl(ssh_x509_crl_allocate());
  if (ssh_x509_crl_decode(octets, crl.get()))
    return check(place, record_of("crl", *crl, ssh_x509_crl_verify));
  const bool is_crl = ssh_x509_looks_like_crl(octets);
  report_refused(place, is_crl ? "crl" : "certificate", is_crl ? crl->refusal : cert->refusal,
                 octets);
}

// name_of finds an issuer's name, or makes it: most records of a bundle have one of a few issuers.
// When the names take more than a megabyte, all are dropped, so that hostile input does not fill
// the memory.
const IssuerName &Verifier::name_of(Bytes der) {
  constexpr size_t kKept = size_t{1} << 20;
  const std::string key(ssh_bytes_text(der));
  if (const auto at = names_.find(key); at != names_.end()) return at->second;
  if (names_size_ > kKept) {
    names_.clear();
    names_size_ = 0;
  }
  start_items();
  IssuerName name{readable_name(der), {}};
  const auto [begin, end] = issuers_.equal_range(compared_name(der));
  for (auto at = begin; at != end; ++at) name.issuers.push_back(&at->second);
  names_size_ += sizeof name + key.size() + name.readable.size() + 8 * name.issuers.size();
  return names_.emplace(key, std::move(name)).first->second;
}

// One issuer that verifies it makes a record valid, whatever the others of that name say.
Finding Verifier::find_signer(const Record &record, const IssuerName &name) {
  Finding best;
  for (const bool same : {true, false}) {
    for (const Issuer *issuer : name.issuers) {
      if (same_key_id(record, *issuer) != same) continue;
      SignatureAnswer answer = ask(record, *issuer);
      const Answer found = kAnswerOf[answer.verdict];
      if (best.issuer && found <= best.answer) continue;
      best = {found, std::move(answer.why), issuer};
      if (found == kValid) return best;
    }
  }
  return best;
}

// check finds who signed a record, and writes its line or object.
void Verifier::check(const Place &place, const Record &record) {
  const IssuerName &name = name_of(record.issuer);
  const Finding found = find_signer(record, name);
  std::vector<std::string> weak = {weak_hash(record.scheme, record.algorithm)};
  if (found.answer == kValid) weak.push_back(found.issuer->weak);
  std::erase(weak, "");
  const char *kind = record.kind[1] == 'r' ? "CRL" : record.kind;
  const std::string around = surroundings_text(record.input, record.element, kind);
  if (!around.empty() || (options_.strict && !weak.empty())) objects_.raise(kExitRefused);

  if (options_.json) {
    Json members = {{"kind", record.kind}, {"scheme", record.scheme}};
    set_text(members, "issuer", name.readable);
    if (found.answer == kValid) {
      Json &json = members["signed_by"];
      set_place(json, found.issuer->place);
      set_text(json, "subject", found.issuer->subject);
    }
    if (!found.why.empty()) members["why"] = found.why;
    if (!weak.empty()) members["weak"] = weak;
    if (!around.empty()) set_surroundings(members, record.input, record.element);
    return report(place, found.answer, {}, members);
  }
  std::string detail = found.answer == kValid ? ", signed by " + shown(found.issuer->subject)
                                              : ", issuer " + shown(name.readable);
  detail += fmt::format(" ({})", record.scheme);
  if (!found.why.empty()) detail += ": " + found.why;
  if (!weak.empty()) detail += fmt::format("; weak: {}", fmt::join(weak, ", "));
  if (!around.empty()) detail += "; " + around;
  report(place, found.answer, detail, {});
}

// report_refused tells why, as `kwpki inspect` does, which has the rest.
void Verifier::report_refused(const Place &place, const char *kind, const SshX509Refusal &refusal,
                              Bytes octets) {
  const std::string detail =
      fmt::format(" as a {}: {}", kind[1] == 'r' ? "CRL" : kind, refusal_text(refusal, octets));
  report(place, kRefused, detail, {{"kind", kind}, {"refusal", refusal_json(refusal, octets)}});
}

void Verifier::report(const Place &place, Answer answer, const std::string &detail,
                      const Json &members) {
  const auto &row = kAnswers[answer];
  objects_.raise(row.exit);
  if (!options_.json) {
    const Style &style = objects_.output.style();
    const std::string words = row.exit == kExitOk ? row.words : style.warning(row.words);
    return objects_.output.write(escape(place.name()) + ": " + words + escape(detail) + "\n");
  }
  Json json = document();
  set_place(json, place);
  json["result"] = row.words;
  json.update(members);
  objects_.output.write(json_line(json) + "\n");
}

}  // namespace

int verify(const VerifyOptions &options, const Streams &streams) {
  return Verifier(options, streams).run();
}

}  // namespace kwpki
