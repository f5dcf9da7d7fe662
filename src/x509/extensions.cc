// The loop's single step, the text, key-identifier and access records, and what several decoders
// share.
#include "x509/extensions.h"

#include "util/mem.h"
#include "x509/decoder.h"

namespace {

// Extension ::= SEQUENCE {
//      extnID      OBJECT IDENTIFIER,
//      critical    BOOLEAN DEFAULT FALSE,
//      extnValue   OCTET STRING }                                                RFC 5280, 4.1
bool read_extension(SshAsn1Node node, SshX509ExtensionView &extension) {
  extension.der = node.der();
  return ssh_asn1_read_node_as(
             SshAsn1Mode::kWhole, node.alone(),
             "(sequence ()(object-identifier ())(optional(boolean ()))(octet-string ()))"_asn1,
             &extension.id, &extension.has_critical, &extension.critical,
             &extension.value) == SSH_ASN1_OK;
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
  Bytes letters;  // no more than one of the alternatives is read
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

uint32_t ssh_x509_bits_to_mask(const SshAsn1Bits &bits) {
  uint32_t mask = 0;
  for (uint32_t i = 0; i < 32 && i < bits.bits; i += 8) mask |= uint32_t{bits.octets[i / 8]} << i;
  return mask;
}

bool SshX509Decoder::refuse(const char *structure, const uint8_t *at, SshOid identifier) {
  if (!refusal || *refusal) return false;
  const auto offset = static_cast<size_t>((at ? at : inside) - base);
  if (work.left)
    *refusal = {structure, offset, identifier};
  else
    *refusal = {"an encoding that takes too much work", offset, {}};
  return false;
}

bool ssh_x509_decode_root(Bytes der, SshAsn1Node &root, SshAsn1Node &sequence,
                          SshX509Decoder &decoder) {
  const uint8_t *fault = nullptr;
  const SshAsn1Status status = ssh_asn1_decode_in_place(der, &decoder.work, &root, &fault);
  if (status == SSH_ASN1_BER_OPEN_FAILED) return decoder.refuse("BER encoding", fault);
  if (!root) return decoder.refuse("nothing to decode", der.data());
  sequence = ssh_x509_sequence_in(root);
  return true;
}

size_t ssh_x509_encoded_size(SshAsn1Node list) {
  size_t size = 0;
  for (; list; list = ssh_asn1_node_next(list)) size += list.der().size();
  return size;
}

bool ssh_x509_work_is_left(SshX509Decoder &decoder) {
  return decoder.work.left != 0 || decoder.refuse(nullptr, decoder.base);
}

SshX509ExtensionCursor::SshX509ExtensionCursor(Bytes list)
    : work_(SshAsn1Work::for_input(list.size())), list_(list) {}

bool SshX509ExtensionCursor::next() {
  const SshAsn1Node node = ssh_asn1_list_of(list_, &work_);
  if (!node) return false;
  list_ = {node.next, node.end};
  extension_ = {};
  return read_extension(node, extension_);
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

bool ssh_x509_extension_read(SshAsn1Node node, bool attributes_may_repeat, SshX509ExtensionSet &set,
                             SshX509Extension &extension, SshX509Decoder &decoder) {
  if (!read_extension(node, extension)) return decoder.refuse("Extension", node.data);
  extension.row = ssh_oid_find_encoded(extension.id, SSH_OID_EXTENSION);
  if (!extension.row) {
    return !extension.critical ||
           decoder.refuse("an unknown critical extension", node.data, extension.id);
  }
  const uint32_t kind = extension.row->code;
  if (set.test(kind) && kind != SSH_X509_EXT_UNKNOWN) {
    extension.repeated = attributes_may_repeat && kind == SSH_X509_EXT_SUBJECT_DIRECTORY_ATTRIBUTES;
    return extension.repeated || decoder.refuse("a repeated extension", node.data, extension.id);
  }
  set.set(kind, extension.critical != 0);
  return true;
}

// AuthorityKeyIdentifier ::= SEQUENCE {
//      keyIdentifier             [0] KeyIdentifier            OPTIONAL,
//      authorityCertIssuer       [1] GeneralNames             OPTIONAL,
//      authorityCertSerialNumber [2] CertificateSerialNumber  OPTIONAL }     RFC 5280, 4.2.1.1
bool ssh_x509_decode_key_id(SshAsn1Node value, const SshX509KeyId **key_id,
                            SshX509Decoder &decoder) {
  auto &record = *decoder.pool.make<SshX509KeyId>();
  *key_id = &record;
  int has_id = 0, has_issuer = 0, has_serial = 0;
  SshAsn1Node issuer;
  if (!decoder.read_known(
          value,
          "(sequence ()(optional(octet-string (0)))(optional(sequence (1) (any ())))"
          "(optional(integer (2))))"_asn1,
          &has_id, &record.key_id, &has_issuer, &issuer, &has_serial, &record.serial_octets)) {
    return false;
  }
  record.has_serial = has_serial != 0;
  for (; issuer; issuer = ssh_asn1_node_next(issuer)) {
    if (!ssh_x509_name_decode_general(issuer, decoder, &record.issuer)) return false;
  }
  return true;
}

// AuthorityInfoAccessSyntax ::= SEQUENCE SIZE (1..MAX) OF AccessDescription
// AccessDescription ::= SEQUENCE { accessMethod OBJECT IDENTIFIER, accessLocation GeneralName }
//                                                                 RFC 5280, 4.2.2.1, 4.2.2.2
bool ssh_x509_decode_access(SshAsn1Node value, SshX509AccessDescription **list,
                            SshX509Decoder &decoder) {
  SshAsn1Node node;
  if (!decoder.read(value, "(sequence ()(any ()))"_asn1, &node)) return false;
  SshX509Tail descriptions(list);
  for (; node; node = ssh_asn1_node_next(node)) {
    auto *description = decoder.pool.make<SshX509AccessDescription>();
    SshAsn1Node location;
    if (!decoder.read(node, "(sequence ()(object-identifier ())(any ()))"_asn1,
                      &description->method, &location)) {
      return false;
    }
    if (!ssh_x509_name_decode_general(location, decoder, &description->location)) return false;
    descriptions.append(description);
  }
  return true;
}
