// Certificates, CRLs and armour for the tool to show, and looks at what it shows.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "asn1/files.h"
#include "kwpki/text.h"
#include "support/hex.h"
#include "util/owner.h"

namespace inspect_samples {

inline std::string bin(std::string_view digits) {
  const auto octets = unhex(digits);
  return {octets.begin(), octets.end()};
}

inline std::string tlv(int tag, const std::string &content) {
  std::string out(1, static_cast<char>(tag));
  const size_t size = content.size();
  if (size < 0x80) return out + static_cast<char>(size) + content;
  out += '\x84';
  for (int shift = 24; shift >= 0; shift -= 8) out += static_cast<char>(size >> shift);
  return out + content;
}

inline const std::string kAlgorithm =
    tlv(0x30, bin("06092a864886f70d010105 0500"));  // SHA-1 with RSA
inline const std::string kSignature = tlv(3, bin("00 0102030405060708"));
inline const std::string kNow = tlv(0x17, "260101000000Z");

inline std::string name(int string_tag, const std::string &value) {
  return tlv(0x30, tlv(0x31, tlv(0x30, bin("0603550403") + tlv(string_tag, value))));
}

inline std::string extension(std::string_view oid, bool critical, const std::string &value) {
  return tlv(0x30, tlv(6, bin(oid)) + (critical ? bin("0101ff") : "") + tlv(4, value));
}

// fields makes those of a TBSCertificate, wrapped a certificate or CRL of them.
inline std::string fields(const std::string &subject, const std::string &extensions) {
  const std::string key =
      tlv(0x30, tlv(2, bin("00c1") + std::string(63, '\x11')) + bin("0203010001"));
  const std::string info =
      tlv(0x30, tlv(0x30, bin("06092a864886f70d010101 0500")) + tlv(3, std::string(1, '\0') + key));
  return bin("a003020102 020207ff") + kAlgorithm + name(19, "Issuer") + tlv(0x30, kNow + kNow) +
         subject + info + (extensions.empty() ? "" : tlv(0xA3, tlv(0x30, extensions)));
}
inline std::string wrapped(const std::string &tbs, const std::string &behind = "") {
  return tlv(0x30, tlv(0x30, tbs) + behind + kAlgorithm + kSignature);
}
inline std::string certificate(const std::string &subject, const std::string &extensions) {
  return wrapped(fields(subject, extensions));
}

inline std::string crl(size_t entries) {
  std::string list;
  for (size_t i = 0; i < entries; ++i)
    list += tlv(0x30, tlv(2, std::string(1, static_cast<char>(i + 1))) + kNow);
  const std::string tbs =
      bin("020101") + kAlgorithm + name(19, "Issuer") + kNow + kNow + tlv(0x30, list);
  return wrapped(tbs);
}

inline std::string pem(const std::string &label, const std::string &der) {
  std::string text;
  kwpki::append_base64(text, ssh_text_bytes(der));
  for (size_t at = 64; at < text.size(); at += 65) text.insert(at, "\n");
  return "-----BEGIN " + label + "-----\n" + text + "\n-----END " + label + "-----\n";
}

inline std::string replaced(std::string text, const std::string &part, const std::string &with) {
  for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += with.size())
    text.replace(at, part.size(), with);
  return text;
}

inline std::string without_colours(std::string text) {
  for (size_t at = 0; (at = text.find("\x1b[", at)) != std::string::npos;)
    text.erase(at, text.find('m', at) + 1 - at);
  return text;
}

inline size_t count(const std::string &text, const std::string &part) {
  size_t found = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++found;
  return found;
}

inline std::vector<uint8_t> unbase64(const std::string &text) {
  size_t length = 0;
  const SshBlock octets(ssh_base64_to_buf(text.c_str(), &length));
  return {octets.get(), octets.get() + length};
}

}  // namespace inspect_samples
