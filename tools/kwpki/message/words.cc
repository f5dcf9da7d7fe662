#include <fmt/format.h>

#include "asn1/time.h"
#include "kwpki/message/decode.h"
#include "kwpki/terminal/text.h"
#include "kwpki/values/errors.h"
#include "kwpki/values/values.h"
#include "util/owner.h"
#include "x509/cert.h"
#include "x509/crl.h"
#include "x509/dn.h"

namespace kwpki {
namespace {

std::string in_quotes(Bytes octets, size_t most) {
  const bool cut = octets.size() > most;
  const Bytes shown = cut ? octets.first(most) : octets;
  return fmt::format("\"{}\"{}", escape(ssh_bytes_text(shown)),
                     cut ? fmt::format(".. ({} bytes)", octets.size()) : "");
}

std::string cut(std::string text, size_t most) {
  if (text.size() <= most) return escape(text);
  text.resize(most);
  return escape(text) + "..";
}

std::string size_words(Bytes octets) { return octet_count(octets.size()); }

std::string binary_words(uint32_t, Bytes octets, size_t) { return size_words(octets); }

std::string text_words(uint32_t, Bytes octets, size_t most) { return in_quotes(octets, most); }

std::string time_words(uint32_t, Bytes octets, size_t most) {
  if (octets.empty()) return "not set";
  SshBerTime time;
  const std::string text(ssh_bytes_text(octets));
  const bool good = ssh_ber_time_set_from_string(&time, text.c_str());
  return in_quotes(octets, most) +
         (good ? " (" + time_json(time).get<std::string>() + ")" : " (not a time)");
}

std::string dn_words(Bytes der, size_t most) {
  const SshText text(ssh_dn_der_to_ldap(der));
  if (!text) return "a name without text, " + size_words(der);
  return *text ? cut(text.get(), most) : "the empty name";
}

std::string address_words(Bytes octets) {
  const bool usual = octets.size() == 4 || octets.size() == 16;
  return usual ? ip_text(octets) : "no address, " + size_words(octets);
}

std::string key_words(uint32_t type, Bytes octets, size_t most) {
  const std::string_view name = number_name(kKeyTypes, type);
  if (name == "dn") return dn_words(octets, most);
  if (name == "ip") return address_words(octets);
  if (name == "public-key") return "digest, " + size_words(octets);
  return name.empty() || name == "entry-id" ? size_words(octets) : in_quotes(octets, most);
}

std::string certificate_words(uint32_t, Bytes octets, size_t most) {
  const SshX509CertOwner cert(ssh_x509_cert_allocate());
  if (!ssh_x509_cert_decode(octets, cert.get()))
    return size_words(octets) + ", not a certificate that the library reads";
  const SshText serial(cert->serial.to_decimal());
  const SshText subject(ssh_x509_cert_subject_text(cert.get()));
  return fmt::format("{}, serial {}, subject {}", size_words(octets),
                     cut(serial ? serial.get() : "above 64 KiB", most),
                     subject ? cut(subject.get(), most) : "without text");
}

std::string crl_words(uint32_t, Bytes octets, size_t) {
  const SshX509CrlOwner crl(ssh_x509_crl_allocate());
  if (!ssh_x509_crl_decode(octets, crl.get()))
    return size_words(octets) + ", not a CRL that the library reads";
  return fmt::format("{}, {} revoked", size_words(octets), crl->revoked_count);
}

// WordsRow describes values of a kind. `number` is the number before the bytes; nothing is shown of
// more than `most` bytes.
struct WordsRow {
  FieldShown shown;
  std::string (*words)(uint32_t number, Bytes octets, size_t most);
};
constexpr WordsRow kWords[] = {
    {FieldShown::kText, text_words},   {FieldShown::kTime, time_words},
    {FieldShown::kKeyData, key_words}, {FieldShown::kCertificate, certificate_words},
    {FieldShown::kCrl, crl_words},     {FieldShown::kBinary, binary_words},
};

std::string_view status_name(uint32_t value) {
  const ErrorRow *row = find_error(value);
  return row ? row->name : std::string_view();
}

}  // namespace

std::string octet_count(size_t count) {
  return fmt::format("{} byte{}", count, count == 1 ? "" : "s");
}

std::string number_words(const FieldRow &row, uint32_t value) {
  const std::string_view name =
      row.shown == FieldShown::kStatus ? status_name(value) : number_name(row.names, value);
  if (!name.empty()) return fmt::format("{} ({})", value, name);
  return value < 10 ? std::to_string(value) : fmt::format("{} (0x{:x})", value, value);
}

std::string octets_words(FieldShown shown, uint32_t number, Bytes octets, size_t most) {
  for (const WordsRow &row : kWords) {
    if (row.shown == shown) return row.words(number, octets, most);
  }
  return size_words(octets);
}

}  // namespace kwpki
