// Reading Extensions, the strings in them, and the structures that several of them have.
#include "x509/extensions.h"

#include "util/mem.h"
#include "x509/decoder.h"

namespace {

// Every reader of extensions uses this one template; `read` says how.
// Extension ::= SEQUENCE {
//      extnID      OBJECT IDENTIFIER,
//      critical    BOOLEAN DEFAULT FALSE,
//      extnValue   OCTET STRING }                                                RFC 5280, 4.1
template <class Read>
bool read_extension(Read read, SshX509ExtensionView &extension) {
  return read("(sequence ()(object-identifier ())(optional(boolean ()))(octet-string ()))"_asn1,
              &extension.id, &extension.has_critical, &extension.critical, &extension.value);
}

}  // namespace

SshStr *ssh_x509_text_make(const SshX509Text &text) {
  if (!text.present || text.octets.empty()) return nullptr;
  auto *copy = static_cast<uint8_t *>(ssh_xmemdup(text.octets.data(), text.octets.size()));
  return ssh_str_make(text.charset, copy, text.octets.size());
}

bool ssh_x509_text_read(Bytes octets, SshX509Text *text) {
  constexpr SshCharset kCharsets[] = {
      SSH_CHARSET_UTF8, SSH_CHARSET_PRINTABLE, SSH_CHARSET_PRINTABLE,
      SSH_CHARSET_T61,  SSH_CHARSET_IA5,       SSH_CHARSET_VISIBLE,
      SSH_CHARSET_IA5,  SSH_CHARSET_UNIVERSAL, SSH_CHARSET_BMP};
  int which = -1;
  Bytes letters;  // one for all: only one alternative is read
  Bytes *const out = &letters;
  SshAsn1Work work = SshAsn1Work::for_input(octets.size());
  SshAsn1Node root;
  if (ssh_asn1_decode_in_place(octets, &work, &root) != SSH_ASN1_OK ||
      ssh_asn1_read_node_as(
          SshAsn1Mode::kWhole, root,
          "(choice(utf8-string ())(printable-string (u 18))(printable-string ())"
          "(teletex-string ())(ia5-string ())(visible-string ())(general-string ())"
          "(universal-string ())(bmp-string ()))"_asn1,
          &which, out, out, out, out, out, out, out, out, out) != SSH_ASN1_OK) {
    return false;
  }
  *text = {kCharsets[which], letters, true};
  return true;
}

SshX509ExtensionCursor::SshX509ExtensionCursor(Bytes list)
    : work_(SshAsn1Work::for_input(list.size())), list_(list) {}

bool SshX509ExtensionCursor::next() {
  const SshAsn1Node node = ssh_asn1_list_of(list_, &work_);
  if (!node) return false;
  list_ = {node.next, node.end};
  extension_ = {};
  extension_.der = node.der();
  return read_extension(
      [&](auto... arguments) {
        return ssh_asn1_read_node_as(SshAsn1Mode::kWhole, node.alone(), arguments...) ==
               SSH_ASN1_OK;
      },
      extension_);
}

bool SshX509ItemCursor::next() {
  const SshAsn1Node node = ssh_asn1_list_of(items_, &work_);
  if (!node) return false;
  items_ = {node.next, node.end};
  int has_value = 0;
  SshAsn1Node value;
  failed_ = ssh_asn1_read_node_as(SshAsn1Mode::kWhole, node.alone(),
                                  "(sequence ()(object-identifier ())(optional(any ())))"_asn1,
                                  &type_, &has_value, &value) != SSH_ASN1_OK;
  value_ = has_value ? value.der() : Bytes();
  return !failed_;
}

bool ssh_x509_extension_read(SshAsn1Unread &item, bool attributes_may_repeat,
                             SshX509ExtensionSet &set, SshX509Extension &extension,
                             SshX509Decoder &decoder) {
  const uint8_t *const at = item.data();
  const auto read = [&](auto... arguments) { return decoder.read_whole(item, arguments...); };
  if (!read_extension(read, extension)) return decoder.refuse_read("Extension", item);
  extension.der = item.der();
  extension.row = ssh_oid_find_encoded(extension.id, SSH_OID_EXTENSION, decoder.rules);
  if (!extension.row) {
    return decoder.require(!extension.critical, "critical extension", "is not known", at,
                           extension.id);
  }
  const uint32_t kind = extension.row->code;
  if (set.test(kind) && kind != SSH_X509_EXT_UNKNOWN) {
    extension.repeated = attributes_may_repeat && kind == SSH_X509_EXT_SUBJECT_DIRECTORY_ATTRIBUTES;
    return decoder.require(extension.repeated, "extension", "stands there twice", at, extension.id);
  }
  set.set(kind, extension.critical != 0);
  return true;
}

// AuthorityKeyIdentifier ::= SEQUENCE {
//      keyIdentifier             [0] KeyIdentifier            OPTIONAL,
//      authorityCertIssuer       [1] GeneralNames             OPTIONAL,
//      authorityCertSerialNumber [2] CertificateSerialNumber  OPTIONAL }     RFC 5280, 4.2.1.1
bool ssh_x509_decode_key_id(SshAsn1Unread &value, const SshX509KeyId **key_id,
                            SshX509Decoder &decoder) {
  auto &record = *decoder.pool.make<SshX509KeyId>();
  *key_id = &record;
  int has_id = 0, has_issuer = 0, has_serial = 0;
  SshAsn1Unread issuer;
  if (!decoder.read_known(
          value,
          "(sequence ()(optional(octet-string (0)))(optional(sequence (1) (any ())))"
          "(optional(integer (2))))"_asn1,
          &has_id, &record.key_id, &has_issuer, &issuer, &has_serial, &record.serial_octets)) {
    return false;
  }
  record.has_serial = has_serial != 0;
  for (; issuer; issuer.next()) {
    if (!ssh_x509_name_decode_general(issuer, decoder, &record.issuer)) return false;
  }
  return true;
}

// AuthorityInfoAccessSyntax ::= SEQUENCE SIZE (1..MAX) OF AccessDescription
// AccessDescription ::= SEQUENCE { accessMethod OBJECT IDENTIFIER, accessLocation GeneralName }
//                                                                 RFC 5280, 4.2.2.1, 4.2.2.2
bool ssh_x509_decode_access(SshAsn1Unread &value, SshX509AccessDescription **list,
                            SshX509Decoder &decoder) {
  const auto read = [&](SshAsn1Unread &item, SshX509AccessDescription &description) {
    SshAsn1Unread location;
    return decoder.read(item, "(sequence ()(object-identifier ())(any ()))"_asn1,
                        &description.method, &location) &&
           ssh_x509_name_decode_general(location, decoder, &description.location);
  };
  return ssh_x509_decode_list(value, list, decoder, read);
}
