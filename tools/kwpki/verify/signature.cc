#include "kwpki/verify/signature.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "crypto/hash.h"
#include "kwpki/values/keys.h"
#include "kwpki/values/values.h"

namespace kwpki {
namespace {

constexpr size_t kWeakBelow = 2048;      // RSA and DSA
constexpr size_t kWeakCurveBelow = 224;  // bits of the field

constexpr struct {
  std::string_view name, shown;
} kWeakHashes[] = {
    {"md2", "MD2"}, {"md4", "MD4"}, {"md5", "MD5"}, {"sha1", "SHA-1"}, {"sha", "SHA-0"},
};

SignatureAnswer not_fit(std::string why) { return {SSH_X509_KEY_NOT_FIT, std::move(why)}; }
constexpr SshX509Verdict kGoesOn = SSH_X509_VALID;  // no fault so far: the system computes it

uint32_t type_of(const SshX509Key &key) {
  return key.algorithm ? key.algorithm->key_type->code : uint32_t{SSH_OID_KEY_UNKNOWN};
}

SshMpInt integer(Bytes content) {
  SshMpInt value;
  value.set_twos_complement(content);
  return value;
}

// hash_of_scheme takes the last word of a scheme's name: "sha256" of "ecdsa-sha256".
std::string hash_of_scheme(std::string_view scheme) {
  return std::string(scheme.substr(scheme.rfind('-') + 1));
}

size_t digest_length(const std::string &name) {
  SshHash hash;
  return ssh_hash_init(&hash, name.c_str()) ? ssh_hash_digest_length(&hash) : 0;
}

// Compressed and uncompressed points are what RFC 5480, 2.2 allows; the hybrid form is not.
bool has_point_form(Bytes point, size_t octets) {
  if (point.empty()) return false;
  return point[0] == 4 ? point.size() == 1 + 2 * octets
                       : (point[0] == 2 || point[0] == 3) && point.size() == 1 + octets;
}

SignatureAnswer plan_ecdsa(Bytes, SignaturePlan &plan) {
  SshX509Curve curve;
  if (!ssh_x509_curve_read(plan.key.parameters, &curve) || !curve.name)
    return not_fit("its curve has no name");
  plan.curve = find_curve(oid_text(curve.name));
  if (!plan.curve) return not_supported("curve " + oid_text(curve.name));
  if (!has_point_form(plan.key.value, (plan.curve->bits + 7) / 8))
    return not_fit("its point has no form that is allowed");
  return {
      ssh_x509_signature_pair_read(plan.signature, &plan.r, &plan.s) ? kGoesOn : SSH_X509_INVALID,
      {}};
}

// RFC 8032, 5.1.7 and 5.2.7
SignatureAnswer plan_eddsa(Bytes, SignaturePlan &plan) {
  plan.hash.clear();
  return {plan.signature.size() == 2 * plan.key.value.size() ? kGoesOn : SSH_X509_INVALID, {}};
}

bool small_number(const SshMpInt &number, uint32_t most, int *out) {
  uint32_t value = 0;
  if (!number.to_uint32(value) || value > most) return false;
  *out = static_cast<int>(value);
  return true;
}

// A key that is for RSASSA-PSS alone may name the hash functions and the least salt of its
// signatures.                                                                       RFC 4055, 3.1
std::string restriction(const SshX509Key &key, const SshX509PssParameters &pss) {
  SshX509PssParameters own;
  if (type_of(key) != SSH_OID_KEY_RSA_PSS || key.parameters.empty()) return {};
  if (!ssh_x509_pss_parameters_read(key.parameters, &own)) return "its parameters cannot be read";
  const std::pair<SshOid, SshOid> same[] = {{own.hash, pss.hash},
                                            {own.mask_generation, pss.mask_generation},
                                            {own.mask_hash, pss.mask_hash}};
  for (const auto &[wanted, found] : same) {
    if (!(wanted == found)) return fmt::format("it is for {} alone", oid_name(oid_text(wanted)));
  }
  return own.salt_length.compare(pss.salt_length) > 0 ? "it is for longer salts alone" : "";
}

// Numbers with which the library's own RSA does not compute either.
bool is_absurd(const SshMpInt &n, const SshMpInt &e) {
  return n.negative() || !(n.low32() & 1) || !(e.low32() & 1) || e.compare(SshMpInt(1)) <= 0 ||
         e.compare(n) >= 0;
}

// RFC 8017, 8.1.2 and 9.1.2
SignatureAnswer plan_pss(Bytes parameters, SignaturePlan &plan) {
  constexpr uint32_t kMostSalt = 2048;  // bytes of the longest key there is
  SshX509PssParameters pss;
  if (!ssh_x509_pss_parameters_read(parameters, &pss)) return {SSH_X509_INVALID, "parameters"};
  plan.hash = oid_name(oid_text(pss.hash));
  plan.mask_hash = oid_name(oid_text(pss.mask_hash));
  const size_t length = digest_length(plan.hash);
  if (length == 0) return not_supported("hash function " + oid_text(pss.hash));
  if (digest_length(plan.mask_hash) == 0)
    return not_supported("hash function " + oid_text(pss.mask_hash));
  if (oid_name(oid_text(pss.mask_generation)) != "id-mgf1")
    return not_supported("mask generation " + oid_text(pss.mask_generation));
  if (!(pss.trailer_field == SshMpInt(1)) ||
      !small_number(pss.salt_length, kMostSalt, &plan.salt_length)) {
    return {SSH_X509_INVALID, "parameters"};
  }
  const std::string forbidden = restriction(plan.key, pss);
  if (!forbidden.empty()) return not_fit(forbidden);
  const SshMpInt n = integer(plan.key.n);
  if (is_absurd(n, integer(plan.key.e))) return not_fit("its numbers make no RSA key");
  const size_t room = (n.bits() + 6) / 8;
  if (room < length + static_cast<size_t>(plan.salt_length) + 2)
    return not_fit(fmt::format("{} bits are too short for this signature", n.bits()));
  return {plan.signature.size() == (n.bits() + 7) / 8 ? kGoesOn : SSH_X509_INVALID, {}};
}

// A plan function checks that parameters, key and signature fit each other, and fills the plan.
constexpr struct {
  uint32_t type;
  SignatureAnswer (*plan)(Bytes parameters, SignaturePlan &plan);
} kPlans[] = {
    {SSH_OID_KEY_EC, plan_ecdsa},
    {SSH_OID_KEY_ED25519, plan_eddsa},
    {SSH_OID_KEY_ED448, plan_eddsa},
    {SSH_OID_KEY_RSA_PSS, plan_pss},
};

}  // namespace

SignatureAnswer not_supported(std::string why) {
  return {SSH_X509_SCHEME_NOT_SUPPORTED, std::move(why)};
}

SignatureAnswer check_signature(Bytes algorithm, const SshX509Key &key, Bytes data,
                                Bytes signature) {
  SshX509Algorithm id;
  if (!ssh_x509_algorithm_read(algorithm, &id)) return {SSH_X509_INVALID, {}};
  const SshOidRow *scheme = ssh_oid_find_encoded(id.id, SSH_OID_SIGNATURE);
  const auto *row = std::find_if(std::begin(kPlans), std::end(kPlans),
                                 [&](const auto &r) { return scheme && r.type == scheme->code; });
  if (row == std::end(kPlans)) return not_supported({});
  const std::string fault = key_fault(key, scheme->code);
  if (!fault.empty()) return not_fit(fault);
  SignaturePlan plan{.type = scheme->code,
                     .hash = hash_of_scheme(scheme->description),
                     .mask_hash = {},
                     .key = key,
                     .data = data,
                     .signature = signature};
  SignatureAnswer answer = row->plan(id.parameters, plan);
  return answer.verdict == kGoesOn ? system_verify(plan) : answer;
}

std::string key_fault(const SshX509Key &key, uint32_t signature_type) {
  const uint32_t type = type_of(key);
  const bool fits =
      type == signature_type || (signature_type == SSH_OID_KEY_RSA_PSS && type == SSH_OID_KEY_RSA);
  if (!fits) return fmt::format("it is of type {}", key_type(type));
  if (type == SSH_OID_KEY_DSA && !key.usable) return "its parameters are those of its own issuer";
  return {};
}

std::string weak_hash(std::string_view scheme, Bytes algorithm) {
  std::string hash = hash_of_scheme(scheme);
  SshX509Algorithm id;
  SshX509PssParameters pss;
  if (hash == "pss" && ssh_x509_algorithm_read(algorithm, &id) &&
      ssh_x509_pss_parameters_read(id.parameters, &pss)) {
    hash = oid_name(oid_text(pss.hash));
  }
  for (const auto &row : kWeakHashes)
    if (row.name == hash) return std::string(row.shown);
  return {};
}

std::string weak_key(const SshX509Key &key) {
  const uint32_t type = type_of(key);
  const Bytes number = key.n.empty() ? key.p : key.n;
  size_t bits = integer(number).bits(), least = kWeakBelow;
  if (type == SSH_OID_KEY_EC) {
    SshX509Curve curve;
    if (!ssh_x509_curve_read(key.parameters, &curve)) return {};
    const CurveRow *row = curve.name ? find_curve(oid_text(curve.name)) : nullptr;
    bits = row ? row->bits : curve.field_bits;
    least = kWeakCurveBelow;
  }
  return bits != 0 && bits < least ? fmt::format("{} of {} bits", key_type(type), bits) : "";
}

}  // namespace kwpki
