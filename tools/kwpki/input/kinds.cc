#include "kwpki/input/kinds.h"

#include <algorithm>
#include <iterator>

#include "asn1/files.h"
#include "asn1/node.h"
#include "kwpki/terminal/text.h"

namespace kwpki {
namespace {

constexpr size_t kTextMax = 0x1000000;  // longer text is no certificate in base64

constexpr Kind kUnknown = {"unknown", "nothing that is known"};
constexpr Kind kPlainText = {"text", "text"};
constexpr Kind kPkcs7 = {"pkcs7", "PKCS #7"};
constexpr Kind kPkcs12 = {"pkcs12", "PKCS #12, keys and certificates behind a password", true};
constexpr Kind kRequest = {"certification_request", "a certification request"};
constexpr Kind kPrivate = {"private_key", "a private key", true};
constexpr Kind kPublic = {"public_key", "a public key"};
constexpr Kind kOcspRequest = {"ocsp_request", "an OCSP request"};
constexpr Kind kOcspResponse = {"ocsp_response", "an OCSP response"};

// Parsed holds bytes as a list of elements; the nodes are valid as long as it lives.
struct Parsed {
  explicit Parsed(Bytes octets) : work(SshAsn1Work::for_input(octets.size())) {
    if (ssh_asn1_decode_in_place(octets, &work, &root) == SSH_ASN1_BER_OPEN_FAILED) root = {};
  }
  Parsed(const Parsed &) = delete;
  Parsed &operator=(const Parsed &) = delete;

  SshAsn1Work work;
  SshAsn1Node root;
};

template <SshAsn1Text Text, class... Outputs>
bool read(SshAsn1Node node, SshAsn1Template<Text> text, Outputs... outputs) {
  return node &&
         ssh_asn1_read_node_as(SshAsn1Mode::kWhole, node.alone(), text, outputs...) == SSH_ASN1_OK;
}

// The identifiers of PKCS #7 content types, and that of SignedData among them.
constexpr SshOidConstant kContent("1.2.840.113549.1.7"), kSigned("1.2.840.113549.1.7.2");

bool is_content(SshOid id) {
  const Bytes arc = kContent.oid().octets;
  return id.octets.size() > arc.size() && ssh_bytes_equal(id.octets.first(arc.size()), arc);
}

// ContentInfo ::= SEQUENCE { contentType OBJECT IDENTIFIER, content [0] EXPLICIT ANY OPTIONAL }
//                                                                            RFC 2315, 7
bool read_content(SshAsn1Node node, SshOid *id, SshAsn1Node *content) {
  SshAsn1Node rest;
  if (!read(node, "(sequence ()(object-identifier ())(any ()))"_asn1, id, &rest)) {
    // A content of indefinite length stands in a SEQUENCE of indefinite length.
    rest = ssh_asn1_node_child(node);
    if (!read(rest, "(object-identifier ())"_asn1, id)) return false;
    rest = ssh_asn1_node_next(rest);
  }
  *content = ssh_asn1_node_child(rest);
  return is_content(*id);
}

bool is_pkcs7(SshAsn1Node node) {
  SshOid id;
  SshAsn1Node content;
  return read_content(node, &id, &content);
}

// PFX ::= SEQUENCE { version INTEGER, authSafe ContentInfo, macData MacData OPTIONAL }
//                                                                            RFC 7292, 4
bool is_pkcs12(SshAsn1Node node) {
  SshMpInt version;
  SshOid id;
  SshAsn1Node content;
  const SshAsn1Node first = ssh_asn1_node_child(node);
  return read(first, "(integer ())"_asn1, &version) && version == SshMpInt(3) &&
         read_content(ssh_asn1_node_next(first), &id, &content);
}

// CertificationRequest ::= SEQUENCE { SEQUENCE { version INTEGER, subject Name,
//      SubjectPublicKeyInfo, attributes [0] }, AlgorithmIdentifier, BIT STRING }   RFC 2986, 4.2
bool is_request(SshAsn1Node node) {
  SshMpInt version;
  SshOid id;
  SshAsn1Node name, parameters, attributes, algorithm;
  SshAsn1Bits key, signature;
  int has_attributes = 0;
  return read(node,
              "(sequence ()(sequence ()(integer ())(sequence ()(any ()))"
              "(sequence ()(sequence ()(object-identifier ())(any ()))(bit-string ()))"
              "(optional (any (0))))(any ())(bit-string ()))"_asn1,
              &version, &name, &id, &parameters, &key, &has_attributes, &attributes, &algorithm,
              &signature);
}

// PrivateKeyInfo ::= SEQUENCE { version, AlgorithmIdentifier, OCTET STRING, [0] OPTIONAL,
//      [1] OPTIONAL }, and the same encrypted: SEQUENCE { AlgorithmIdentifier, OCTET STRING }
//                                                                            RFC 5958, 2 and 3
bool is_key_info(SshAsn1Node node) {
  SshMpInt version;
  SshOid id;
  SshAsn1Node parameters, attributes, key;
  Bytes octets;
  int has_attributes = 0, has_key = 0;
  return read(node,
              "(sequence ()(integer ())(sequence ()(object-identifier ())(any ()))"
              "(octet-string ())(optional (any (0)))(optional (any (1))))"_asn1,
              &version, &id, &parameters, &octets, &has_attributes, &attributes, &has_key, &key) ||
         read(node,
              "(sequence ()(sequence ()(object-identifier ())(any ()))(octet-string ()))"_asn1, &id,
              &parameters, &octets);
}

// ECPrivateKey ::= SEQUENCE { version, OCTET STRING, parameters [0] OPTIONAL,
//      publicKey [1] OPTIONAL }                                              RFC 5915, 3
bool is_ec_key(SshAsn1Node node) {
  SshMpInt version;
  SshAsn1Node parameters, key;
  Bytes octets;
  int has_parameters = 0, has_key = 0;
  return read(node,
              "(sequence ()(integer ())(octet-string ())(optional (any (e 0)))"
              "(optional (any (e 1))))"_asn1,
              &version, &octets, &has_parameters, &parameters, &has_key, &key);
}

// integers_in counts the elements of a SEQUENCE of INTEGERs alone; 0 for anything else.
size_t integers_in(SshAsn1Node node) {
  size_t count = 0;
  SshMpInt number;
  for (SshAsn1Node n = ssh_asn1_node_child(node); n; n = ssh_asn1_node_next(n), ++count) {
    if (count == 16 || !read(n, "(integer ())"_asn1, &number)) return 0;
  }
  return count;
}

// RSAPrivateKey has nine numbers (RFC 8017, A.1.2), that of DSA six; RSAPublicKey two.
bool is_private_numbers(SshAsn1Node node) {
  const size_t count = integers_in(node);
  return count == 9 || count == 6;
}
bool is_public_numbers(SshAsn1Node node) { return integers_in(node) == 2; }

// SubjectPublicKeyInfo, alone                                                RFC 5280, 4.1
bool is_public_info(SshAsn1Node node) {
  SshOid id;
  SshAsn1Node parameters;
  SshAsn1Bits key;
  return read(node, "(sequence ()(sequence ()(object-identifier ())(any ()))(bit-string ()))"_asn1,
              &id, &parameters, &key);
}

// OCSPResponse ::= SEQUENCE { responseStatus ENUMERATED, responseBytes [0] EXPLICIT OPTIONAL }
//                                                                            RFC 6960, 4.2.1
bool is_ocsp_response(SshAsn1Node node) {
  SshMpInt status;
  SshAsn1Node octets;
  int has_octets = 0;
  return read(node, "(sequence ()(enum ())(optional (any (e 0))))"_asn1, &status, &has_octets,
              &octets);
}

// OCSPRequest ::= SEQUENCE { tbsRequest, optionalSignature [0] OPTIONAL }; a Request begins with
// the CertID: SEQUENCE { AlgorithmIdentifier, OCTET STRING, OCTET STRING, INTEGER } RFC 6960, 4.1.1
bool is_ocsp_request(SshAsn1Node node) {
  SshAsn1Node list, unread;
  SshOid id;
  Bytes name, key;
  SshMpInt serial;
  int version = 0, requestor = 0, extended = 0, is_signed = 0, with_more = 0;
  return read(node,
              "(sequence ()(sequence ()(optional (any (e 0)))(optional (any (e 1)))"
              "(sequence ()(any ()))(optional (any (e 2))))(optional (any (e 0))))"_asn1,
              &version, &unread, &requestor, &unread, &list, &extended, &unread, &is_signed,
              &unread) &&
         read(list,
              "(sequence ()(sequence ()(sequence ()(object-identifier ())(any ()))"
              "(octet-string ())(octet-string ())(integer ()))(optional (any (e 0))))"_asn1,
              &id, &unread, &name, &key, &serial, &with_more, &unread);
}

struct KindRow {
  bool (*is)(SshAsn1Node node);
  const Kind &kind;
};
constexpr KindRow kKinds[] = {
    {is_pkcs7, kPkcs7},
    {is_pkcs12, kPkcs12},
    {is_request, kRequest},
    {is_key_info, kPrivate},
    {is_ec_key, kPrivate},
    {is_private_numbers, kPrivate},
    {is_public_info, kPublic},
    {is_public_numbers, kPublic},
    {is_ocsp_response, kOcspResponse},
    {is_ocsp_request, kOcspRequest},
};

constexpr struct {
  std::string_view label;
  const Kind &kind;
} kLabels[] = {
    {"PRIVATE KEY", kPrivate}, {"PUBLIC KEY", kPublic}, {"CERTIFICATE REQUEST", kRequest},
    {"PKCS7", kPkcs7},         {"CMS", kPkcs7},         {"PKCS12", kPkcs12},
};

bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

bool is_text(Bytes octets) {
  const std::string_view text = ssh_bytes_text(octets);
  return !text.empty() && is_utf8(text) && std::none_of(text.begin(), text.end(), [](char c) {
    return (c >= 0 && c < ' ' && !is_blank(c)) || c == 0x7F;
  });
}

// digit gives the value of a hexadecimal digit, or -1.
int digit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// from_hexadecimal reads pairs of digits, with blanks, colons, commas and "0x" between them.
std::vector<uint8_t> from_hexadecimal(std::string_view text) {
  std::vector<uint8_t> octets;
  for (size_t i = 0; i < text.size(); ++i) {
    if (is_blank(text[i]) || text[i] == ':' || text[i] == ',') continue;
    const bool prefix = text[i] == '0' && i + 1 < text.size() && (text[i + 1] | 0x20) == 'x';
    if (prefix) i += 2;
    if (i + 1 >= text.size() || digit(text[i]) < 0 || digit(text[i + 1]) < 0) return {};
    octets.push_back(static_cast<uint8_t>(digit(text[i]) << 4 | digit(text[i + 1])));
    ++i;
  }
  return octets;
}

// begins_as_der is true for bytes that begin with the header of a SEQUENCE, whether or not all of
// its content is there.
bool begins_as_der(const std::vector<uint8_t> &octets) {
  SshBerElement element;
  if (octets.size() < 8 || octets[0] != 0x30) return false;
  const uint8_t *const end = octets.data() + octets.size();
  const SshBerStatus status = ssh_ber_open_element(octets.data(), end, element);
  return status == SSH_BER_OK || (status == SSH_BER_CUT && element.header_length != 0);
}

}  // namespace

const Kind &kind_of(Bytes octets) {
  if (is_text(octets)) return kPlainText;
  const Parsed parsed(octets);
  for (const KindRow &row : kKinds) {
    if (parsed.root && row.is(parsed.root)) return row.kind;
  }
  return kUnknown;
}

const Kind &kind_of_label(std::string_view label) {
  for (const auto &row : kLabels) {
    if (label.ends_with(row.label)) return row.kind;
  }
  return kUnknown;
}

std::vector<Bytes> bundled(Bytes octets) {
  constexpr uint8_t kCertificates = 0xA0, kCrls = 0xA1, kIdentifier = 6;
  std::vector<Bytes> items;
  SshBerElement outer;  // what is long and begins otherwise is not looked at any further
  const bool opened =
      ssh_ber_open_element(octets.data(), octets.data() + octets.size(), outer) == SSH_BER_OK;
  if (!opened || octets.size() == outer.header_length ||
      outer.data[outer.header_length] != kIdentifier)
    return items;
  const Parsed parsed(octets);
  SshOid id;
  SshAsn1Node content;
  if (!parsed.root || !read_content(parsed.root, &id, &content) || !(id == kSigned.oid()))
    return items;
  for (SshAsn1Node n = ssh_asn1_node_child(content); n; n = ssh_asn1_node_next(n)) {
    if (*n.data != kCertificates && *n.data != kCrls) continue;
    for (SshAsn1Node item = ssh_asn1_node_child(n); item; item = ssh_asn1_node_next(item))
      items.push_back(item.der());
  }
  return items;
}

std::string as_utf8_text(Bytes octets) {
  if (octets.size() < 4 || octets.size() % 2 != 0) return {};
  const bool marked = (octets[0] ^ octets[1]) == 1 && octets[0] >= 0xFE;
  const bool little = marked ? octets[0] == 0xFF : octets[1] == 0;
  if (!marked && octets[little ? 1 : 0] != 0) return {};
  std::string text;
  for (size_t i = marked ? 2 : 0; i < octets.size(); i += 2) {
    const uint32_t code =
        static_cast<uint32_t>(octets[i + (little ? 1 : 0)] << 8 | octets[i + (little ? 0 : 1)]);
    const bool plain = (code >= 0x20 && code < 0x7F) || (code >= '\t' && code <= '\r');
    if (code == 0 || (!marked && !plain)) return {};
    append_utf8(text, code);
  }
  return text;
}

Unarmoured unarmoured(std::string_view text) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";  // of UTF-8, which some editors write
  if (text.starts_with(kMark)) text.remove_prefix(kMark.size());
  if (text.size() > kTextMax || text.size() < 16) return {};
  Unarmoured found = {from_hexadecimal(text), "hexadecimal"};
  if (!begins_as_der(found.octets) && is_base64(text)) found = {unbase64(text), "base64"};
  return begins_as_der(found.octets) ? found : Unarmoured();
}

}  // namespace kwpki
