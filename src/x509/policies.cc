// Certificate policies and their qualifiers.
#include "x509/decoder.h"

namespace {

constexpr uint32_t kSequenceTag = 16;

enum : uint32_t { kQualifierCps = 1, kQualifierUserNotice = 2 };  // codes of the registry's rows

// A text is kept as a view; whether its bytes are letters is not asked here.
// DisplayText ::= CHOICE { ia5String, visibleString, bmpString, utf8String }
bool decode_display_text(SshAsn1Unread &node, bool may_be_ia5, SshX509Text &text,
                         SshX509Decoder &decoder) {
  constexpr SshCharset kCharsets[] = {SSH_CHARSET_IA5, SSH_CHARSET_VISIBLE, SSH_CHARSET_BMP,
                                      SSH_CHARSET_UTF8};
  int which = -1;
  Bytes texts[4];
  if (!decoder.read(
          node, "(choice(ia5-string ())(visible-string ())(bmp-string ())(utf8-string ()))"_asn1,
          &which, &texts[0], &texts[1], &texts[2], &texts[3])) {
    return false;
  }
  text = {kCharsets[which], texts[which], true};
  return decoder.require(which != 0 || may_be_ia5, "text of a notice",
                         "is an IA5String, which the classic profile has not", node.data());
}

// is_sequence is true for an element with the tag of a SEQUENCE, in whatever form of BER.
bool is_sequence(const SshAsn1Unread &element) {
  return element.is_plain()
             ? ssh_asn1_identifier_of(*element.data()) == kSequenceTag
             : ssh_asn1_node_open(element.node()).is(SSH_BER_UNIVERSAL, kSequenceTag);
}

// NoticeReference ::= SEQUENCE {
//      organization     DisplayText,
//      noticeNumbers    SEQUENCE OF INTEGER }
// Classic: the organization is an IA5String.
bool decode_notice_reference(SshAsn1Unread &node, SshX509PolicyQualifier &qualifier,
                             SshX509Decoder &decoder) {
  SshAsn1Node numbers;
  SshX509Text &organization = qualifier.organization;
  if (decoder.rules.display_text_choices) {
    SshAsn1Unread text;
    if (!decoder.read(node, "(sequence ()(any ())(sequence ()(any ())))"_asn1, &text, &numbers) ||
        !decode_display_text(text, true, organization, decoder))
      return false;
  } else {
    organization.present = true;
    if (!decoder.read(node, "(sequence ()(ia5-string ())(sequence ()(any ())))"_asn1,
                      &organization.octets, &numbers))
      return false;
  }

  for (SshAsn1Node n = numbers; n; n = ssh_asn1_node_next(n)) ++qualifier.notice_count;
  if (qualifier.notice_count == 0) return true;

  const size_t size = qualifier.notice_count * sizeof(uint32_t);
  if (!decoder.pool.fits(size)) return false;
  qualifier.notice_numbers = static_cast<uint32_t *>(decoder.pool.alloc(size, alignof(uint32_t)));
  std::memset(qualifier.notice_numbers, 0, size);
  for (SshAsn1Node n = numbers; n; n = ssh_asn1_node_next(n)) {
    SshMpInt number;
    if (!decoder.read(n, "(integer ())"_asn1, &number)) return false;
    if (number.bits() > 16)
      return decoder.refuse_value("number of a notice", "it has 16 bits at most", n.data);
    // Always the first one of the array, deliberately: programs read the last number there.
    qualifier.notice_numbers[0] = number.low32();
  }
  return true;
}

// UserNotice ::= SEQUENCE {
//      noticeRef        NoticeReference OPTIONAL,
//      explicitText     DisplayText OPTIONAL }
// Classic: the first element is taken as the reference whatever it is, so that a notice with a text
// alone is refused. This is deliberate: which certificates are accepted must stay what it was.
bool decode_user_notice(SshAsn1Unread &node, SshX509PolicyQualifier &qualifier,
                        SshX509Decoder &decoder) {
  int has_reference = 0, has_text = 0;
  SshAsn1Unread first, second;
  if (!decoder.read(node, "(sequence ()(optional(any ()))(optional(any ())))"_asn1, &has_reference,
                    &first, &has_text, &second)) {
    return false;
  }
  const bool text_alone =
      decoder.rules.notice_text_alone && has_reference && !has_text && !is_sequence(first);
  if (has_reference && !text_alone && !decode_notice_reference(first, qualifier, decoder))
    return false;
  SshAsn1Unread &text = text_alone ? first : second;
  return (!has_text && !text_alone) || decode_display_text(text, decoder.rules.display_text_choices,
                                                           qualifier.explicit_text, decoder);
}

// PolicyQualifierInfo ::= SEQUENCE {
//      policyQualifierId  PolicyQualifierId,
//      qualifier          ANY DEFINED BY policyQualifierId }
// A qualifier that is not known is kept under the modern profile, unless the extension is critical:
// then whoever reads the policies must understand all of them.
bool decode_qualifier(SshAsn1Unread &node, SshX509PolicyQualifier &qualifier,
                      SshX509Decoder &decoder) {
  SshAsn1Unread value;
  if (!decoder.read(node, "(sequence ()(object-identifier ())(any ()))"_asn1, &qualifier.id,
                    &value)) {
    return false;
  }
  const SshOidRow *row =
      ssh_oid_find_encoded(qualifier.id, SSH_OID_POLICY_QUALIFIER, decoder.rules);
  const uint32_t code = row ? row->code : 0;
  if (code == kQualifierUserNotice) return decode_user_notice(value, qualifier, decoder);
  if (code != kQualifierCps) {
    if (!decoder.rules.unknown_qualifiers || decoder.extension->critical)
      return decoder.refuse("policy qualifier", "is not known", node.data(), qualifier.id);
    const SshAsn1Node kept = decoder.node(value);
    qualifier.value = kept.der();
    return kept || !value;
  }
  qualifier.cps_uri.present = true;
  return decoder.read(value, "(ia5-string ())"_asn1, &qualifier.cps_uri.octets);
}

}  // namespace

// CertificatePolicies ::= SEQUENCE SIZE (1..MAX) OF PolicyInformation
// PolicyInformation ::= SEQUENCE {
//      policyIdentifier   CertPolicyId,
//      policyQualifiers   SEQUENCE SIZE (1..MAX) OF PolicyQualifierInfo OPTIONAL }
//                                                                 RFC 5280, 4.2.1.4
bool ssh_x509_decode_policies(SshAsn1Unread &value, SshX509PolicyInfo **list,
                              SshX509Decoder &decoder) {
  const auto read_qualifier = [&](SshAsn1Unread &item, SshX509PolicyQualifier &qualifier) {
    return decode_qualifier(item, qualifier, decoder);
  };
  const auto read = [&](SshAsn1Unread &item, SshX509PolicyInfo &policy) {
    int has_qualifiers = 0;
    SshAsn1Unread qualifiers;
    return decoder.read(item,
                        "(sequence ()(object-identifier ())(optional (sequence () (any ()))))"_asn1,
                        &policy.id, &has_qualifiers, &qualifiers) &&
           ssh_x509_decode_items(qualifiers, &policy.qualifiers, decoder, read_qualifier);
  };
  return ssh_x509_decode_list(value, list, decoder, read);
}
