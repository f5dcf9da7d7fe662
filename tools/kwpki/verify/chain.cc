#include "kwpki/verify/chain.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "kwpki/input/objects.h"
#include "kwpki/terminal/text.h"
#include "kwpki/values/describe.h"
#include "kwpki/values/values.h"
#include "kwpki/verify/signature.h"
#include "x509/cert.h"
#include "x509/crl.h"

namespace kwpki {
namespace {

// Step is a certificate of a path with what people and programs are told of it.
struct Step {
  const char *role;
  std::string subject, scheme;
  std::vector<std::string> weak;
  std::vector<PathProblem> problems;
};

// shown_time makes "2026-11-22 06:10:40 UTC" of the form for programs, "2026-11-22T06:10:40Z".
std::string shown_time(std::string text) {
  if (text.size() < 20) return text;
  text[10] = ' ';
  return text.substr(0, 19) + " UTC";
}

std::string text_of(const PathProblem &problem) {
  std::string text = problem.words;
  if (!problem.time.empty()) text += " " + shown_time(problem.time);
  if (!problem.detail.empty()) text += " (" + problem.detail + ")";
  return text;
}

Json json_of(const Step &step) {
  Json json = {{"role", step.role}};
  set_text(json, "subject", step.subject);
  if (!step.scheme.empty()) json["scheme"] = step.scheme;
  if (!step.weak.empty()) json["weak"] = step.weak;
  json["problems"] = Json::array();
  for (const PathProblem &problem : step.problems) {
    Json one = {{"problem", problem.kind}};
    set_text(one, "text", text_of(problem));
    if (!problem.time.empty()) one["time"] = problem.time;
    json["problems"].push_back(std::move(one));
  }
  return json;
}

std::string line_of(const Step &step) {
  std::vector<std::string> words;
  for (const PathProblem &problem : step.problems) words.push_back(text_of(problem));
  if (words.empty()) words.emplace_back("fine");
  if (!step.weak.empty()) words.push_back(fmt::format("weak: {}", fmt::join(step.weak, ", ")));
  const std::string scheme = step.scheme.empty() ? "" : " (" + step.scheme + ")";
  return fmt::format("  {} {}{}: {}\n", step.role,
                     escape(step.subject.empty() ? "no name" : step.subject), scheme,
                     escape(fmt::format("{}", fmt::join(words, "; "))));
}

// Decoded is what the library makes of bytes that should be a certificate or CRL; bytes around
// the object are no part of it.
struct Decoded {
  SshX509CertOwner cert{ssh_x509_cert_allocate()};
  SshX509CrlOwner crl{ssh_x509_crl_allocate()};
  bool is_cert = false, is_crl = false;
  Bytes element;

  explicit Decoded(Bytes octets)
      : is_cert(ssh_x509_cert_decode(octets, cert.get()) != 0),
        is_crl(!is_cert && ssh_x509_crl_decode(octets, crl.get()) != 0),
        element(is_cert  ? cert->element
                : is_crl ? crl->element
                         : octets) {}
};

class Chains {
 public:
  Chains(const VerifyOptions &options, const Streams &streams)
      : options_(options), objects_(streams) {}

  int run();

 private:
  using Add = bool (PathJudge::*)(Bytes der);
  void read_all(const std::vector<std::string> &names, bool crls, Add add);
  void check(const Place &place, Bytes octets);
  Step step_of(const PathStep &found, size_t index, size_t count, bool *refused) const;
  void report(const Place &place, const std::vector<Step> &steps, const char *result,
              const Json &around, const std::string &detail);

  const VerifyOptions &options_;
  Objects objects_;
  std::unique_ptr<PathJudge> judge_;
};

int Chains::run() {
  std::string why;
  judge_ = make_path_judge(options_.path, &why);
  if (!judge_) {
    objects_.fail("", why, kExitUsage);
    return objects_.exit();
  }
  read_all(options_.roots, false, &PathJudge::add_root);
  read_all(options_.untrusted, false, &PathJudge::add_untrusted);
  read_all(options_.crls, true, &PathJudge::add_crl);
  objects_.read_inputs(options_.files, [this](const Place &place, Bytes o) { check(place, o); });
  objects_.output.flush();
  return objects_.exit();
}

// read_all gives the judge all certificates (or CRLs) of these names. An object of the other kind
// is passed over with a message; one that cannot be read is an error.
void Chains::read_all(const std::vector<std::string> &names, bool crls, Add add) {
  objects_.read(names, [&](const Place &place, Bytes octets) {
    const Decoded decoded(octets);
    if (crls ? decoded.is_cert : decoded.is_crl)
      return objects_.output.message(
          place.name(), crls ? "no CRL; passed over" : "a CRL, which --crl takes; passed over");
    if (!(judge_.get()->*add)(decoded.element))
      objects_.fail(place.name(), crls ? "refused: no CRL" : "refused: no certificate",
                    kExitRefused);
  });
}

// step_of makes of a certificate that the judge found what is shown. The library reads it once
// more: what it refuses is a fault of its own, whatever the judge says.
Step Chains::step_of(const PathStep &found, size_t index, size_t count, bool *refused) const {
  start_items();
  Step step{index == 0 ? "certificate" : "authority", {}, {}, {}, found.problems};
  if (found.trusted && index + 1 == count) step.role = "root";
  step.subject = dn_json(found.subject)["readable"].get<std::string>();
  const SshX509CertOwner cert(ssh_x509_cert_allocate());
  if (!ssh_x509_cert_decode(found.der, cert.get())) {
    *refused = true;
    step.problems.push_back({"refused-by-library",
                             "the library refuses it: " + refusal_text(cert->refusal, found.der),
                             {},
                             {}});
    return step;
  }
  step.scheme = scheme_of(*cert);
  // A root is trusted for its key; what its own signature is worth does not matter.
  if (step.role[0] != 'r') step.weak.push_back(weak_hash(step.scheme, cert->algorithm));
  step.weak.push_back(weak_key(cert->key));
  std::erase(step.weak, "");
  return step;
}

// check judges one certificate. Bytes around it make the exit code 1 even if the path is good.
void Chains::check(const Place &place, Bytes octets) {
  const Decoded decoded(octets);
  if (decoded.is_crl) return objects_.output.message(place.name(), "a CRL; passed over");
  const std::vector<PathStep> found = judge_->judge(decoded.element);
  bool valid = !found.empty(), refused = false, weak = false;
  std::vector<Step> steps;
  for (size_t i = 0; i < found.size(); ++i) {
    valid = valid && found[i].problems.empty();
    steps.push_back(step_of(found[i], i, found.size(), &refused));
    weak = weak || !steps.back().weak.empty();
  }
  Json around = Json::object();
  std::string detail;
  if (decoded.is_cert) {
    set_surroundings(around, decoded.cert->der, decoded.element);
    detail = surroundings_text(decoded.cert->der, decoded.element, "certificate");
  }
  if (!valid || refused || !detail.empty() || (weak && options_.strict))
    objects_.raise(kExitRefused);
  report(place, steps, found.empty() ? "refused" : valid ? "valid" : "invalid", around, detail);
}

void Chains::report(const Place &place, const std::vector<Step> &steps, const char *result,
                    const Json &around, const std::string &detail) {
  if (!options_.json) {
    const Style &style = objects_.output.style();
    std::string text = escape(place.name()) + ": ";
    text += std::string_view(result) == "valid" ? result : style.warning(result);
    if (steps.empty()) text += ": no certificate";
    if (!detail.empty()) text += "; " + detail;
    text += "\n";
    for (const Step &step : steps) text += line_of(step);
    return objects_.output.write(text);
  }
  Json json = document();
  set_place(json, place);
  json["kind"] = "certificate";
  json["result"] = result;
  json.update(around);
  json["chain"] = Json::array();
  for (const Step &step : steps) json["chain"].push_back(json_of(step));
  objects_.output.write(json_line(json) + "\n");
}

}  // namespace

int verify_chains(const VerifyOptions &options, const Streams &streams) {
  return Chains(options, streams).run();
}

}  // namespace kwpki
