#include "kwpki/keys.h"

#include <iterator>

#include "kwpki/oid_names.h"
#include "kwpki/text.h"

namespace kwpki {
namespace {

enum : uint32_t { kInteger = 2, kIdentifier = 6, kSequence = 16 };

constexpr const char *kPssOid = "1.2.840.113549.1.1.10";

constexpr const char *kKeyTypes[] = {"unknown",        "RSA",  "DSA",       "ElGamal",
                                     "Diffie-Hellman", "EC",   "Ed25519",   "Ed448",
                                     "X25519",         "X448", "RSASSA-PSS"};

// Info is a SubjectPublicKeyInfo ::= SEQUENCE { algorithm AlgorithmIdentifier, subjectPublicKey BIT
// STRING }, taken apart.
struct Info {
  std::vector<SshBerElement> parts, algorithm;
  Bytes key;  // the octets of the bits

  explicit Info(Bytes der) {
    const auto outer = elements(der);
    if (!outer.empty()) parts = elements(outer[0].content());
    if (!parts.empty()) algorithm = elements(parts[0].content());
    if (parts.size() > 1 && parts[1].content_length > 0) key = parts[1].content().subspan(1);
  }
  [[nodiscard]] SshOid id() const { return {algorithm.empty() ? Bytes() : algorithm[0].content()}; }
};

void set_number(Json &json, const char *name, Bytes content) {
  if (!content.empty()) json[name] = number_json(content);
}

// set_numbers names the INTEGERs of a list by their places.
void set_numbers(Json &json, Bytes list, std::initializer_list<const char *> names) {
  const auto numbers = elements(list);
  size_t i = 0;
  for (const char *name : names) {
    if (i == numbers.size() || !numbers[i].is(SSH_BER_UNIVERSAL, kInteger)) return;
    set_number(json, name, numbers[i++].content());
  }
}

Json curve_json(SshOid id) {
  Json json = oid_json(id);
  const CurveRow *curve = find_curve(oid_text(id));
  if (curve && !curve->nist_name.empty()) json["nist_name"] = curve->nist_name;
  return json;
}

// field_bits reads the size of the field from SpecifiedECDomain ::= SEQUENCE { version, fieldID
// SEQUENCE { type, INTEGER p, or for characteristic two SEQUENCE { m INTEGER, ... } }, ... }
size_t field_bits(const SshBerElement &domain) {
  const auto parts = elements(domain.content());
  const auto field = parts.size() < 2 ? parts : elements(parts[1].content());
  if (field.size() < 2) return 0;
  SshMpInt number;
  if (field[1].is(SSH_BER_UNIVERSAL, kInteger)) {
    number.set_twos_complement(field[1].content());
    return number.bits();
  }
  const auto binary = elements(field[1].content());
  if (binary.empty() || binary[0].content_length > 2) return 0;
  size_t degree = 0;
  for (const uint8_t octet : binary[0].content()) degree = degree << 8 | octet;
  return degree;
}

// The size of a key on a curve is that of the curve's field; a point has as many octets for each
// coordinate, which tells where the curve is not known.
void set_ec(Json &json, const Info &info) {
  const SshBerElement *parameters = info.algorithm.size() > 1 ? &info.algorithm[1] : nullptr;
  size_t bits = info.key.empty() ? 0 : (info.key.size() - 1) / (info.key[0] == 4 ? 2 : 1) * 8;
  if (parameters && parameters->is(SSH_BER_UNIVERSAL, kIdentifier)) {
    const SshOid id{parameters->content()};
    json["curve"] = curve_json(id);
    const CurveRow *curve = find_curve(oid_text(id));
    if (curve) bits = curve->bits;
  } else if (parameters && parameters->is(SSH_BER_UNIVERSAL, kSequence)) {
    json["curve"] = "explicit parameters";
    bits = field_bits(*parameters);
  } else {
    json["curve"] = "implied by the issuer";
  }
  if (bits) json["bits"] = bits;
  json["public_value"] = hex(info.key);
}

void set_octets(Json &json, const Info &info) {
  json["bits"] = info.key.size() * 8;
  json["public_value"] = hex(info.key);
}

// set_measure takes the size of a key from one of its numbers, and tells it first.
void set_measure(Json &json, const Json &numbers, const char *measured) {
  if (numbers.contains(measured)) json["bits"] = numbers[measured]["bits"];
  json.update(numbers);
}

void set_pss(Json &json, const Info &info) {
  const auto key = elements(info.key);
  Json numbers = Json::object();
  if (!key.empty()) set_numbers(numbers, key[0].content(), {"modulus", "public_exponent"});
  set_measure(json, numbers, "modulus");
}

// DHParameter of PKCS #3 has prime and base; DomainParameters of X9.42 have p, g and q.
void set_dh(Json &json, const Info &info) {
  Json numbers = Json::object();
  if (info.algorithm.size() > 1) {
    const bool pkcs3 = oid_text(info.id()).starts_with("1.2.840.113549.");
    if (pkcs3)
      set_numbers(numbers, info.algorithm[1].content(), {"p", "g"});
    else
      set_numbers(numbers, info.algorithm[1].content(), {"p", "g", "q"});
  }
  set_numbers(numbers, info.key, {"y"});
  set_measure(json, numbers, "p");
}

struct InfoRow {
  std::string_view oid;
  void (*set)(Json &json, const Info &info);
};
constexpr InfoRow kInfos[] = {
    {"1.2.840.10045.2.1", set_ec}, {"1.3.132.1.12", set_ec},    {"1.3.132.1.13", set_ec},
    {"1.3.101.110", set_octets},   {"1.3.101.111", set_octets}, {"1.3.101.112", set_octets},
    {"1.3.101.113", set_octets},   {kPssOid, set_pss},          {"1.2.840.113549.1.3.1", set_dh},
    {"1.2.840.10046.2.1", set_dh},
};

// set_info tells of a key without numbers in the record; of one of any other algorithm its octets.
void set_info(Json &json, const Info &info) {
  const std::string oid = oid_text(info.id());
  const auto *row = std::find_if(std::begin(kInfos), std::end(kInfos),
                                 [&](const InfoRow &r) { return r.oid == oid; });
  if (row != std::end(kInfos)) return row->set(json, info);
  json["public_value"] = hex(info.key);
}

// The parts of RSASSA-PSS-params by their numbers.
enum : uint32_t { kPssHash = 0, kPssMask = 1, kPssSalt = 2, kPssTrailer = 3 };

constexpr const char *kSha1Oid = "1.3.14.3.2.26", *kMgf1Oid = "1.2.840.113549.1.1.8";

Json named_json(const char *oid) { return Json{{"oid", oid}, {"name", oid_name(oid)}}; }

Json algorithm_id(const std::vector<SshBerElement> &algorithm) {
  return algorithm.empty() ? Json() : oid_json({algorithm[0].content()});
}

// set_pss_part replaces a default with what stands there.
void set_pss_part(Json &json, const SshBerElement &part) {
  const auto inner = elements(part.content());
  if (part.cls != SSH_BER_CONTEXT || inner.empty()) return;
  if (part.tag == kPssSalt) json["salt_length"] = small_json(inner[0].content());
  if (part.tag == kPssTrailer) json["trailer_field"] = small_json(inner[0].content());
  const auto algorithm = elements(inner[0].content());
  if (part.tag == kPssHash) json["hash"] = algorithm_id(algorithm);
  if (part.tag != kPssMask) return;
  json["mask_generation"] = algorithm_id(algorithm);
  json["mask_hash"] =
      algorithm.size() > 1 ? algorithm_id(elements(algorithm[1].content())) : Json();
}

}  // namespace

const char *key_type(uint32_t code) { return kKeyTypes[code < std::size(kKeyTypes) ? code : 0]; }

// A key without parameters may be used with any; a signature has some.
Json parameters_json(const SshBerElement &algorithm) {
  const auto parts = elements(algorithm.content());
  if (parts.size() < 2 || oid_text({parts[0].content()}) != kPssOid ||
      !parts[1].is(SSH_BER_UNIVERSAL, kSequence)) {
    return nullptr;
  }
  Json json = {{"hash", named_json(kSha1Oid)},
               {"mask_generation", named_json(kMgf1Oid)},
               {"mask_hash", named_json(kSha1Oid)}};
  json["salt_length"] = 20;
  json["trailer_field"] = 1;
  for (const SshBerElement &part : elements(parts[1].content())) set_pss_part(json, part);
  return json;
}

Json key_json(const SshX509Cert &cert) {
  const SshX509Key &key = cert.key;
  const Info info(key.info);
  Json json = {{"type", key_type(cert.public_key_type)}};
  json["algorithm"] = key.algorithm
                          ? Json{{"oid", key.algorithm->oid}, {"name", key.algorithm->name}}
                          : oid_json(info.id());
  if (key.algorithm) json["scheme"] = key.algorithm->description;
  const struct {
    const char *name;
    Bytes value;
  } numbers[] = {{"modulus", key.n}, {"public_exponent", key.e},
                 {"p", key.p},       {"q", key.q},
                 {"g", key.g},       {"y", key.y}};
  const Bytes measured = key.n.empty() ? key.p : key.n;
  if (!measured.empty()) json["bits"] = number_json(measured)["bits"];
  for (const auto &number : numbers) set_number(json, number.name, number.value);
  if (measured.empty()) set_info(json, info);
  if (!info.parts.empty()) {
    Json parameters = parameters_json(info.parts[0]);
    if (!parameters.is_null()) json["parameters"] = std::move(parameters);
  }
  json["allowed_usage"] = key_usage_json(cert.allowed_usage);
  json["allowed_ca_usage"] = key_usage_json(cert.allowed_ca_usage);
  return json;
}

}  // namespace kwpki
