#include "kwpki/values/keys.h"

#include <iterator>

#include "kwpki/terminal/text.h"
#include "kwpki/values/oid_names.h"
#include "x509/algorithm.h"

namespace kwpki {
namespace {

// The names of types, in the order of SshOidKeyCode.
constexpr const char *kKeyTypeWords[] = {"unknown",        "RSA",  "DSA",       "ElGamal",
                                         "Diffie-Hellman", "EC",   "Ed25519",   "Ed448",
                                         "X25519",         "X448", "RSASSA-PSS"};

Json curve_json(SshOid id) {
  Json json = oid_json(id);
  const CurveRow *curve = find_curve(oid_text(id));
  if (curve && !curve->nist_name.empty()) json["nist_name"] = curve->nist_name;
  return json;
}

// The size of a key on a curve is that of the curve's field. Where the curve is not known, the size
// of the point tells: it has one coordinate or two, as long as the field, behind one byte for its
// form.
void set_ec(Json &json, const SshX509Key &key) {
  const Bytes point = key.value;
  SshX509Curve curve;
  size_t bits = point.empty() ? 0 : (point.size() - 1) / (point[0] == 4 ? 2 : 1) * 8;
  if (!ssh_x509_curve_read(key.parameters, &curve)) {
    json["curve"] = "parameters of no known form";
  } else if (curve.implied) {
    json["curve"] = "implied by the issuer";
  } else if (curve.name) {
    json["curve"] = curve_json(curve.name);
    if (const CurveRow *row = find_curve(oid_text(curve.name))) bits = row->bits;
  } else {
    json["curve"] = "explicit parameters";
    bits = curve.field_bits;
  }
  if (bits) json["bits"] = bits;
  json["public_value"] = hex(point);
}

// A key of fixed length is its bytes, and as long in bits.
void set_octets(Json &json, const SshX509Key &key) {
  json["bits"] = key.value.size() * 8;
  json["public_value"] = hex(key.value);
}

// set_numbers tells the size of a key first, which is that of its modulus or prime.
void set_numbers(Json &json, const SshX509Key &key) {
  const struct {
    const char *name;
    Bytes value;
  } numbers[] = {{"modulus", key.n}, {"public_exponent", key.e},
                 {"p", key.p},       {"q", key.q},
                 {"g", key.g},       {"y", key.y}};
  const Bytes measured = key.n.empty() ? key.p : key.n;
  if (!measured.empty()) json["bits"] = number_json(measured)["bits"];
  for (const auto &number : numbers) {
    if (!number.value.empty()) json[number.name] = number_json(number.value);
  }
}

void set_dh(Json &json, const SshX509Key &key) {
  SshX509Key numbers;
  ssh_x509_dh_numbers_read(key, &numbers);
  set_numbers(json, numbers);
}

// Of keys without a row, what the record holds is shown: numbers or bytes.
struct KeyRow {
  std::string_view oid;
  void (*set)(Json &json, const SshX509Key &key);
};
constexpr KeyRow kKeys[] = {
    {"1.2.840.10045.2.1", set_ec}, {"1.3.132.1.12", set_ec},         {"1.3.132.1.13", set_ec},
    {"1.3.101.110", set_octets},   {"1.3.101.111", set_octets},      {"1.3.101.112", set_octets},
    {"1.3.101.113", set_octets},   {"1.2.840.113549.1.3.1", set_dh}, {"1.2.840.10046.2.1", set_dh},
};

void set_key(Json &json, const SshX509Key &key) {
  const std::string oid = oid_text(key.id);
  const auto *row = std::find_if(std::begin(kKeys), std::end(kKeys),
                                 [&](const KeyRow &r) { return r.oid == oid; });
  if (row != std::end(kKeys)) return row->set(json, key);
  if (key.n.empty() && key.y.empty()) json["public_value"] = hex(key.value);
  set_numbers(json, key);
}

Json small_number_json(const SshMpInt &value) {
  uint32_t small = 0;
  return value.to_uint32(small) ? Json(small) : integer_json(value);
}

}  // namespace

const char *key_type(uint32_t code) {
  return kKeyTypeWords[code < std::size(kKeyTypeWords) ? code : 0];
}

Json pss_parameters_json(Bytes parameters) {
  SshX509PssParameters pss;
  if (!ssh_x509_pss_parameters_read(parameters, &pss)) return nullptr;
  Json json = {{"hash", oid_json(pss.hash)},
               {"mask_generation", oid_json(pss.mask_generation)},
               {"mask_hash", oid_json(pss.mask_hash)}};
  json["salt_length"] = small_number_json(pss.salt_length);
  json["trailer_field"] = small_number_json(pss.trailer_field);
  return json;
}

Json key_json(const SshX509Cert &cert) {
  const SshX509Key &key = cert.key;
  Json json = {{"type", key_type(cert.public_key_type)}};
  json["algorithm"] = key.algorithm
                          ? Json{{"oid", key.algorithm->oid}, {"name", key.algorithm->name}}
                          : oid_json(key.id);
  if (key.algorithm) json["scheme"] = key.algorithm->description;
  set_key(json, key);
  // A key without parameters may be used with any; a signature has some.
  Json parameters =
      cert.public_key_type == SSH_OID_KEY_RSA_PSS ? pss_parameters_json(key.parameters) : Json();
  if (!parameters.is_null()) json["parameters"] = std::move(parameters);
  json["allowed_usage"] = key_usage_json(cert.allowed_usage);
  json["allowed_ca_usage"] = key_usage_json(cert.allowed_ca_usage);
  return json;
}

}  // namespace kwpki
