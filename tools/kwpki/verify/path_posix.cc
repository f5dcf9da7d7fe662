// Paths by libcrypto.
#include <fmt/format.h>
#include <openssl/err.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <ctime>
#include <iterator>
#include <new>
#include <optional>

#include "kwpki/values/parse.h"
#include "kwpki/verify/path.h"
#include "util/owner.h"

namespace kwpki {
namespace {

void free_certs(STACK_OF(X509) * certs) { sk_X509_pop_free(certs, X509_free); }
void free_crls(STACK_OF(X509_CRL) * crls) { sk_X509_CRL_pop_free(crls, X509_CRL_free); }
using ForeignCert = Owner<X509, X509_free>;
using ForeignCrl = Owner<X509_CRL, X509_CRL_free>;
using Certs = Owner<STACK_OF(X509), free_certs>;
using Crls = Owner<STACK_OF(X509_CRL), free_crls>;
using Store = Owner<X509_STORE, X509_STORE_free>;
using PathContext = Owner<X509_STORE_CTX, X509_STORE_CTX_free>;

// When says which time belongs to a problem.
enum When : uint8_t { kNever, kNotBefore, kNotAfter, kRevoked, kThisUpdate, kNextUpdate };

// The errors of libcrypto that have words of ours; for others libcrypto's own are shown.
constexpr struct Row {
  int error;
  const char *kind, *words;
  When when = kNever;
} kRows[] = {
    {X509_V_ERR_CERT_HAS_EXPIRED, "expired", "expired since", kNotAfter},
    {X509_V_ERR_CERT_NOT_YET_VALID, "not-yet-valid", "not valid before", kNotBefore},
    {X509_V_ERR_INVALID_CA, "not-a-ca", "not a CA"},
    {X509_V_ERR_PATH_LENGTH_EXCEEDED, "path-too-long", "path too long"},
    {X509_V_ERR_PERMITTED_VIOLATION, "name-not-permitted", "name not permitted"},
    {X509_V_ERR_EXCLUDED_VIOLATION, "name-not-permitted", "name not permitted"},
    {X509_V_ERR_INVALID_PURPOSE, "usage-not-allowed", "usage not allowed"},
    {X509_V_ERR_KEYUSAGE_NO_CERTSIGN, "usage-not-allowed",
     "usage not allowed: signing certificates"},
    {X509_V_ERR_KEYUSAGE_NO_CRL_SIGN, "usage-not-allowed", "usage not allowed: signing CRLs"},
    {X509_V_ERR_CERT_REVOKED, "revoked", "revoked on", kRevoked},
    {X509_V_ERR_UNABLE_TO_GET_CRL, "no-crl", "no CRL for it"},
    {X509_V_ERR_UNABLE_TO_GET_CRL_ISSUER, "no-crl", "no CRL for it whose issuer is known"},
    {X509_V_ERR_DIFFERENT_CRL_SCOPE, "no-crl", "no CRL for it: there are those for others"},
    {X509_V_ERR_CRL_SIGNATURE_FAILURE, "no-crl", "no CRL for it: a wrong signature"},
    {X509_V_ERR_CRL_NOT_YET_VALID, "crl-not-valid", "its CRL is not valid before", kThisUpdate},
    {X509_V_ERR_CRL_HAS_EXPIRED, "crl-not-valid", "its CRL is out of date since", kNextUpdate},
    {X509_V_ERR_HOSTNAME_MISMATCH, "wrong-host", "wrong host"},
    {X509_V_ERR_IP_ADDRESS_MISMATCH, "wrong-host", "wrong host"},
    {X509_V_ERR_UNHANDLED_CRITICAL_EXTENSION, "unknown-critical-extension",
     "unknown critical extension"},
    {X509_V_ERR_UNHANDLED_CRITICAL_CRL_EXTENSION, "unknown-critical-extension",
     "unknown critical extension of its CRL"},
    {X509_V_ERR_CERT_SIGNATURE_FAILURE, "wrong-signature", "wrong signature"},
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT, "no-issuer", "no issuer found"},
    {X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY, "no-issuer", "no issuer found"},
    {X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE, "no-issuer", "no issuer found"},
    {X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, "not-trusted", "not among the roots"},
    {X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN, "not-trusted", "not among the roots"},
};

struct PurposeRow {
  const char *name;
  int purpose;
};
constexpr PurposeRow kPurposes[] = {{"server", X509_PURPOSE_SSL_SERVER},
                                    {"client", X509_PURPOSE_SSL_CLIENT}};

template <class T>
T *present(T *made) {
  if (!made) throw std::bad_alloc();
  return made;
}

// read takes bytes that are one object and nothing else.
template <class Owned, auto Decode>
Owned read(Bytes der) {
  const uint8_t *at = der.data();
  Owned object(Decode(nullptr, &at, static_cast<long>(der.size())));
  ERR_clear_error();
  return object && at == der.data() + der.size() ? std::move(object) : Owned();
}

template <auto Encode, class T>
std::vector<uint8_t> der_of(const T *object) {
  uint8_t *made = nullptr;
  const int length = Encode(object, &made);
  std::vector<uint8_t> der(made, made + std::max(length, 0));
  OPENSSL_free(made);
  return der;
}

std::string time_text(const ASN1_TIME *time) {
  std::tm t = {};
  if (!time || !ASN1_TIME_to_tm(time, &t)) return {};
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", t.tm_year + 1900, t.tm_mon + 1,
                     t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec);
}

// revoked_at looks up since when and why the list revokes a certificate.
std::string revoked_at(X509_CRL *crl, X509 *cert, std::string *reason) {
  X509_REVOKED *entry = nullptr;
  if (!crl || X509_CRL_get0_by_cert(crl, &entry, cert) != 1) return {};
  const Owner<ASN1_ENUMERATED, ASN1_ENUMERATED_free> code(static_cast<ASN1_ENUMERATED *>(
      X509_REVOKED_get_ext_d2i(entry, NID_crl_reason, nullptr, nullptr)));
  if (code) {
    const Owner<X509_EXTENSION, X509_EXTENSION_free> extension(X509_EXTENSION_dup(
        X509_REVOKED_get_ext(entry, X509_REVOKED_get_ext_by_NID(entry, NID_crl_reason, -1))));
    const Owner<BIO, BIO_free_all> text(BIO_new(BIO_s_mem()));
    char *octets = nullptr;
    if (extension && text && X509V3_EXT_print(text.get(), extension.get(), 0, 0)) {
      const long length = BIO_get_mem_data(text.get(), &octets);
      reason->assign(octets, static_cast<size_t>(length));
    }
  }
  return time_text(X509_REVOKED_get0_revocationDate(entry));
}

struct Error {
  int error, depth;
  PathProblem problem;
};

PathProblem problem_of(int error, X509 *cert, X509_CRL *crl, const std::string &host) {
  const auto *row = std::find_if(std::begin(kRows), std::end(kRows),
                                 [&](const Row &r) { return r.error == error; });
  if (row == std::end(kRows)) return {"other", X509_verify_cert_error_string(error), {}, {}};
  PathProblem problem{row->kind, row->words, {}, {}};
  switch (row->when) {
    case kNotBefore:
      problem.time = time_text(X509_get0_notBefore(cert));
      break;
    case kNotAfter:
      problem.time = time_text(X509_get0_notAfter(cert));
      break;
    case kRevoked:
      problem.time = revoked_at(crl, cert, &problem.detail);
      break;
    case kThisUpdate:
      problem.time = crl ? time_text(X509_CRL_get0_lastUpdate(crl)) : "";
      break;
    case kNextUpdate:
      problem.time = crl ? time_text(X509_CRL_get0_nextUpdate(crl)) : "";
      break;
    case kNever:
      break;
  }
  if (problem.kind == "wrong-host") problem.detail = host;
  return problem;
}

// Collector gathers all faults. libcrypto calls it for each and stops at the first, unless the
// callback returns 1, which tells it to go on.
struct Collector {
  const std::string &host;
  std::vector<Error> errors = {};

  void add(X509_STORE_CTX *context) {
    const int error = X509_STORE_CTX_get_error(context);
    X509 *cert = X509_STORE_CTX_get_current_cert(context);
    if (cert)
      errors.push_back({error, X509_STORE_CTX_get_error_depth(context),
                        problem_of(error, cert, X509_STORE_CTX_get0_current_crl(context), host)});
  }
  static int callback(int good, X509_STORE_CTX *context) {
    auto *collector = static_cast<Collector *>(X509_STORE_CTX_get_app_data(context));
    if (!good) collector->add(context);
    return 1;
  }
};

class Judge final : public PathJudge {
 public:
  Judge(const PathOptions &options, std::optional<uint32_t> at)
      : options_(options),
        at_(at),
        roots_(present(X509_STORE_new())),
        untrusted_(present(sk_X509_new_null())),
        crls_(present(sk_X509_CRL_new_null())) {}

  bool add_root(Bytes der) override {
    const ForeignCert cert = read<ForeignCert, d2i_X509>(der);
    return cert && X509_STORE_add_cert(roots_.get(), cert.get());
  }
  bool add_untrusted(Bytes der) override {
    ForeignCert cert = read<ForeignCert, d2i_X509>(der);
    if (cert && !sk_X509_push(untrusted_.get(), cert.get())) throw std::bad_alloc();
    return cert.release() != nullptr;
  }
  bool add_crl(Bytes der) override {
    ForeignCrl crl = read<ForeignCrl, d2i_X509_CRL>(der);
    if (crl && !sk_X509_CRL_push(crls_.get(), crl.get())) throw std::bad_alloc();
    return crl.release() != nullptr;
  }
  std::vector<PathStep> judge(Bytes der) override;

 private:
  bool set_parameters(X509_VERIFY_PARAM *parameters) const;

  const PathOptions options_;
  std::optional<uint32_t> at_;
  Store roots_;
  Certs untrusted_;
  Crls crls_;
};

bool Judge::set_parameters(X509_VERIFY_PARAM *parameters) const {
  if (at_) X509_VERIFY_PARAM_set_time(parameters, static_cast<time_t>(*at_));
  if (sk_X509_CRL_num(crls_.get()) > 0)
    X509_VERIFY_PARAM_set_flags(parameters, X509_V_FLAG_CRL_CHECK | X509_V_FLAG_CRL_CHECK_ALL);
  for (const PurposeRow &row : kPurposes) {
    if (row.name == options_.purpose && !X509_VERIFY_PARAM_set_purpose(parameters, row.purpose))
      return false;
  }
  const std::string &host = options_.host;
  return host.empty() || X509_VERIFY_PARAM_set1_ip_asc(parameters, host.c_str()) ||
         X509_VERIFY_PARAM_set1_host(parameters, host.data(), host.size());
}

std::vector<PathStep> Judge::judge(Bytes der) {
  const ForeignCert cert = read<ForeignCert, d2i_X509>(der);
  if (!cert) return {};
  const PathContext context(present(X509_STORE_CTX_new()));
  Collector collector{options_.host};
  if (!X509_STORE_CTX_init(context.get(), roots_.get(), cert.get(), untrusted_.get()) ||
      !set_parameters(X509_STORE_CTX_get0_param(context.get()))) {
    throw std::bad_alloc();
  }
  X509_STORE_CTX_set0_crls(context.get(), crls_.get());
  X509_STORE_CTX_set_app_data(context.get(), &collector);
  X509_STORE_CTX_set_verify_cb(context.get(), Collector::callback);
  const bool good = X509_verify_cert(context.get()) == 1;
  if (!good && collector.errors.empty()) {
    const int error = X509_STORE_CTX_get_error(context.get());
    collector.errors.push_back({error, 0, problem_of(error, cert.get(), nullptr, options_.host)});
  }
  if (options_.purpose == "ca" && X509_check_ca(cert.get()) == 0) {
    collector.errors.push_back(
        {X509_V_ERR_INVALID_CA, 0, problem_of(X509_V_ERR_INVALID_CA, cert.get(), nullptr, {})});
  }
  ERR_clear_error();

  std::vector<PathStep> steps;
  const STACK_OF(X509) *chain = X509_STORE_CTX_get0_chain(context.get());
  const int count = std::max(sk_X509_num(chain), 1);
  for (int i = 0; i < count; ++i) {
    X509 *at = i < sk_X509_num(chain) ? sk_X509_value(chain, i) : cert.get();
    steps.push_back({der_of<i2d_X509>(at),
                     der_of<i2d_X509_NAME>(X509_get_subject_name(at)),
                     i >= X509_STORE_CTX_get_num_untrusted(context.get()),
                     {}});
  }
  for (Error &error : collector.errors) {
    auto &problems = steps[static_cast<size_t>(std::clamp(error.depth, 0, count - 1))].problems;
    const auto same = [&](const PathProblem &p) { return p.kind == error.problem.kind; };
    if (std::none_of(problems.begin(), problems.end(), same))
      problems.push_back(std::move(error.problem));
  }
  return steps;
}

}  // namespace

std::unique_ptr<PathJudge> make_path_judge(const PathOptions &options, std::string *why) {
  std::optional<uint32_t> at;
  if (!options.at.empty()) {
    at = parse_time(options.at);
    if (!at) *why = "--at: not \"now\" nor a date and time from 1970 to 2106";
    if (!at) return nullptr;
  }
  return std::make_unique<Judge>(options, at);
}

}  // namespace kwpki
