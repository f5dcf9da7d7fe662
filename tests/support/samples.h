// A certificate and a CRL in parts that tests change one at a time, and the decode of the result.
// Every part is encoded already, so that a part can be as wrong as a test needs it.
#pragma once

#include <type_traits>

#include "asn1/files.h"
#include "support/der.h"
#include "support/profile.h"
#include "support/test.h"
#include "x509/cert.h"
#include "x509/crl.h"

namespace sample {

using ::Balanced;
inline constexpr char kRsaSha1[] = "1.2.840.113549.1.1.5";
inline constexpr char kDsaSha1[] = "1.2.840.10040.4.3";

inline Der algorithm(std::string_view id) { return der::seq({der::oid(id), der::null()}); }
inline Der extension(std::string_view id, const Der &value, bool critical = false) {
  if (critical) return der::seq({der::oid(id), der::boolean(true), der::octets(value)});
  return der::seq({der::oid(id), der::octets(value)});
}

// 33 bytes of modulus without pattern; no test needs it to be a product of primes.
inline Der modulus() {
  Der n{0xC1};
  for (unsigned i = 1; i < 33; ++i)
    n.push_back(static_cast<uint8_t>(n.back() * 73u + i * 11u + 5u));
  return n;
}
inline Der key_info(const Der &parameters, const Der &key, std::string_view id) {
  return der::seq({der::seq({der::oid(id), parameters}), der::bits(key)});
}
inline Der rsa_key_info() {
  return key_info(der::null(), der::seq({der::natural(modulus()), der::integer(65537)}),
                  "1.2.840.113549.1.1.1");
}
inline Der dsa_key_info(int64_t q) {
  return key_info(der::seq({der::integer(0x7FFF1), der::integer(q), der::integer(4)}),
                  der::integer(0x1235), "1.2.840.10040.4.1");
}

struct CertParts {
  Der version = der::wrap(0, der::integer(2));
  Der serial = der::integer(0x1234567890);
  Der inner_algorithm = algorithm(kRsaSha1);
  Der issuer = der::common_name("Issuer");
  Der validity = der::seq({der::text(0x17, "010203040506Z"), der::text(0x18, "20510203040506Z")});
  Der subject = der::common_name("Subject");
  Der key = rsa_key_info();
  Der unique_ids;
  std::vector<Der> extensions;
  Der outer_algorithm = algorithm(kRsaSha1);
  Der signature = der::bits(unhex("00112233445566778899"));

  Der build() const {
    const Der wrapper = extensions.empty() ? Der{} : der::wrap(3, der::seq(extensions));
    return der::seq({der::seq({version, serial, inner_algorithm, issuer, validity, subject, key,
                               unique_ids, wrapper}),
                     outer_algorithm, signature});
  }
  void use_algorithm(std::string_view id) { inner_algorithm = outer_algorithm = algorithm(id); }
};

struct CrlParts {
  Der version = der::integer(1);
  Der inner_algorithm = algorithm(kRsaSha1);
  Der issuer = der::common_name("Issuer");
  Der this_update = der::text(0x17, "010203040506Z");
  Der next_update = der::text(0x18, "20510203040506Z");
  std::vector<Der> entries;
  std::optional<Der> revoked;  // stands in place of the entries
  std::vector<Der> extensions;
  Der outer_algorithm = algorithm(kRsaSha1);
  Der signature = der::bits(unhex("00112233445566778899"));

  Der build() const {
    const Der list = entries.empty() ? Der{} : der::seq(entries);
    const Der wrapper = extensions.empty() ? Der{} : der::wrap(0, der::seq(extensions));
    return der::seq({der::seq({version, inner_algorithm, issuer, this_update, next_update,
                               revoked.value_or(list), wrapper}),
                     outer_algorithm, signature});
  }
};

// with gives the sample of a kind with one part replaced.
template <class Parts, class Part>
Der with(Part Parts::*part, const std::type_identity_t<Part> &value) {
  Parts parts;
  parts.*part = value;
  return parts.build();
}

inline Der entry(int64_t serial, const std::vector<Der> &extensions = {}) {
  return der::seq({der::integer(serial), der::text(0x17, "020304050607Z"),
                   extensions.empty() ? Der{} : der::seq(extensions)});
}

// Decoded is a record with the result of its decode. A refused one must be at version 0 and say
// where it broke.
template <class Record, Record *Allocate(), void Free(Record *), size_t Decode(Bytes, Record *)>
struct Decoded {
  Owner<Record, Free> record{Allocate()};
  size_t length;

  explicit Decoded(Bytes octets) : length(Decode(octets, record.get())) {
    EXPECT_EQ(length != 0, record->version != 0);
    EXPECT_EQ(length == 0, static_cast<bool>(record->refusal));
    EXPECT_LE(record->refusal.offset, octets.size());
  }
  explicit operator bool() const { return length != 0; }
  Record *operator->() const { return record.get(); }
  Record &operator*() const { return *record; }
};
using Cert = Decoded<SshX509Cert, ssh_x509_cert_allocate, ssh_x509_cert_free, ssh_x509_cert_decode>;
using Crl = Decoded<SshX509Crl, ssh_x509_crl_allocate, ssh_x509_crl_free, ssh_x509_crl_decode>;

// expect_all decodes inputs, all of which are accepted or all refused.
template <class Record>
void expect_all(bool accepted, const std::vector<Der> &inputs) {
  for (size_t i = 0; i < inputs.size(); ++i)
    EXPECT_EQ(static_cast<bool>(Record(inputs[i])), accepted) << "input " << i << " from 0";
}

// example reads a file of examples/, armoured or not.
inline Der example(const std::string &name) {
  const std::string path = KWPKI_SOURCE_DIR "/examples/" + name;
  const auto read = name.ends_with(".pem") ? ssh_read_file_base64 : ssh_read_file;
  uint8_t *data = nullptr;
  size_t length = 0;
  EXPECT_TRUE(read(path.c_str(), &data, &length)) << path;
  const SshBlock owner(data);
  return Der(data, data + length);
}

// with_extension decodes the sample certificate with one more extension.
inline Cert with_extension(std::string_view id, const Der &value, bool critical = false) {
  CertParts parts;
  parts.extensions.push_back(extension(id, value, critical));
  return Cert(parts.build());
}

// dotted and own_text give text that the library makes, or "(null)".
inline std::string own_text(char *text) {
  const SshText owner(text);
  return text ? text : "(null)";
}
inline std::string dotted(SshOid oid) { return own_text(ssh_ber_oid_text(oid)); }
inline std::string decimal(const SshMpInt &value) { return own_text(value.to_decimal()); }

// reason gives a refusal's structure and rule; empty without one.
inline std::string reason(const SshX509Refusal &refusal) {
  return refusal ? std::string(refusal.structure) + " " + refusal.rule : "";
}

}  // namespace sample
