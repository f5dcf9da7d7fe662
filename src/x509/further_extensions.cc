// The further extensions of certificates, which the registry knows under the modern profile. A few
// are decoded. The others are checked to be of the right type and kept as encoded (SshX509Extra): a
// new one of these is a row in kForms and one in the table below.
#include "x509/cert.h"
#include "x509/decoder.h"

namespace {

// Form is the type of an extension that is kept: the alternatives of the template of
// ssh_x509_decode_extra, in their order.
enum class Form : int {
  kNull,
  kOctets,
  kBits,
  kInteger,
  kIa5,
  kBmp,
  kUtcTime,
  kTime,
  kSequence,
  kPrintable
};

// FormRow gives the type of an extension that is kept, and another one that some issuers use.
struct FormRow {
  SshX509ExtensionKind kind;
  Form form;
  Form other = form;
};

constexpr FormRow kForms[] = {
    {SSH_X509_EXT_SCT_LIST, Form::kOctets},             // RFC 6962, 3.3: TLS structures inside
    {SSH_X509_EXT_PRECERTIFICATE_POISON, Form::kNull},  // RFC 6962, 3.1
    {SSH_X509_EXT_OCSP_NO_CHECK, Form::kNull},          // RFC 6960, 4.2.2.2.1
    {SSH_X509_EXT_QC_STATEMENTS, Form::kSequence},      // RFC 3739, 3.2.6
    {SSH_X509_EXT_NETSCAPE_CERT_TYPE, Form::kBits},
    {SSH_X509_EXT_NETSCAPE_BASE_URL, Form::kIa5},
    {SSH_X509_EXT_NETSCAPE_REVOCATION_URL, Form::kIa5},
    {SSH_X509_EXT_NETSCAPE_CA_REVOCATION_URL, Form::kIa5},
    {SSH_X509_EXT_NETSCAPE_RENEWAL_URL, Form::kIa5},
    {SSH_X509_EXT_NETSCAPE_CA_POLICY_URL, Form::kIa5},
    {SSH_X509_EXT_NETSCAPE_SERVER_NAME, Form::kIa5},
    {SSH_X509_EXT_NETSCAPE_COMMENT, Form::kIa5, Form::kPrintable},
    {SSH_X509_EXT_TEMPLATE_NAME, Form::kBmp},
    {SSH_X509_EXT_CA_VERSION, Form::kInteger},
    {SSH_X509_EXT_PREVIOUS_CA_HASH, Form::kOctets},
    {SSH_X509_EXT_APPLICATION_POLICIES, Form::kSequence},
    {SSH_X509_EXT_EXPIRED_CERTS_ON_CRL, Form::kTime},  // X.509, 9.5.2.8
    {SSH_X509_EXT_NEXT_CRL_PUBLISH, Form::kUtcTime, Form::kTime},
    {SSH_X509_EXT_IP_BLOCKS, Form::kSequence},   // RFC 3779, 2.2.3
    {SSH_X509_EXT_AS_NUMBERS, Form::kSequence},  // RFC 3779, 3.2.3
};

// further_of gives the record of further extensions, and makes it at first use.
SshX509Further &further_of(SshX509Cert &cert, SshX509Decoder &decoder) {
  if (!cert.further) cert.further = decoder.pool.make<SshX509Further>();
  return *cert.further;
}

bool decode_extra(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  return ssh_x509_decode_extra(value, &further_of(cert, decoder).extras, decoder);
}

// InhibitAnyPolicy ::= SkipCerts
// SkipCerts ::= INTEGER (0..MAX)                                              RFC 5280, 4.2.1.14
bool decode_inhibit_any_policy(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  SshMpInt skip;
  if (!decoder.read(value, "(integer ())"_asn1, &skip)) return false;
  return decoder.require(skip.to_uint32(further_of(cert, decoder).inhibit_any_policy), "SkipCerts",
                         SSH_X509_RULE_32_BITS, value.data());
}

bool decode_subject_info_access(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  return ssh_x509_decode_access(value, &further_of(cert, decoder).subject_info_access, decoder);
}

// FreshestCRL ::= CRLDistributionPoints                                       RFC 5280, 4.2.1.15
bool decode_freshest_crl(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  return ssh_x509_decode_points(value, cert.issuer_names, &further_of(cert, decoder).freshest_crl,
                                decoder);
}

// Features ::= SEQUENCE OF INTEGER                                            RFC 7633, 4.1
bool decode_tls_features(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  SshAsn1Node list;
  if (!decoder.read(value, "(sequence ()(any ()))"_asn1, &list)) return false;
  uint32_t count = 0;
  for (SshAsn1Node node = list; node; node = ssh_asn1_node_next(node)) ++count;
  SshX509Further &further = further_of(cert, decoder);
  if (count == 0) return true;
  if (!decoder.pool.fits(count * sizeof(uint32_t))) return false;
  further.tls_features =
      static_cast<uint32_t *>(decoder.pool.alloc(count * sizeof(uint32_t), alignof(uint32_t)));
  for (; list; list = ssh_asn1_node_next(list)) {
    SshMpInt number;
    if (!decoder.read(list, "(integer ())"_asn1, &number)) return false;
    if (!number.to_uint32(further.tls_features[further.tls_feature_count]))
      return decoder.refuse("TLS feature", SSH_X509_RULE_32_BITS, list.data);
    ++further.tls_feature_count;
  }
  return true;
}

// CertificateTemplate ::= SEQUENCE {
//      templateID              OBJECT IDENTIFIER,
//      templateMajorVersion    INTEGER (0..4294967295) OPTIONAL,
//      templateMinorVersion    INTEGER (0..4294967295) OPTIONAL }
bool decode_template(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
  auto *record = decoder.pool.make<SshX509CertTemplate>();
  SshMpInt major, minor;
  if (!decoder.read(
          value,
          "(sequence ()(object-identifier ())(optional(integer ()))(optional(integer ())))"_asn1,
          &record->id, &record->has_major, &major, &record->has_minor, &minor)) {
    return false;
  }
  further_of(cert, decoder).cert_template = record;
  return decoder.require(
      major.to_uint32(record->major_version) && minor.to_uint32(record->minor_version),
      "version of the template", SSH_X509_RULE_32_BITS, value.data());
}

}  // namespace

constinit const SshX509ExtensionTable<SshX509Cert> ssh_x509_further_extensions({
    {SSH_X509_EXT_INHIBIT_ANY_POLICY, decode_inhibit_any_policy},
    {SSH_X509_EXT_SUBJECT_INFO_ACCESS, decode_subject_info_access},
    {SSH_X509_EXT_FRESHEST_CRL, decode_freshest_crl},
    {SSH_X509_EXT_SCT_LIST, decode_extra},
    {SSH_X509_EXT_PRECERTIFICATE_POISON, decode_extra},
    {SSH_X509_EXT_TLS_FEATURE, decode_tls_features},
    {SSH_X509_EXT_OCSP_NO_CHECK, decode_extra},
    {SSH_X509_EXT_QC_STATEMENTS, decode_extra},
    {SSH_X509_EXT_NETSCAPE_CERT_TYPE, decode_extra},
    {SSH_X509_EXT_NETSCAPE_BASE_URL, decode_extra},
    {SSH_X509_EXT_NETSCAPE_REVOCATION_URL, decode_extra},
    {SSH_X509_EXT_NETSCAPE_CA_REVOCATION_URL, decode_extra},
    {SSH_X509_EXT_NETSCAPE_RENEWAL_URL, decode_extra},
    {SSH_X509_EXT_NETSCAPE_CA_POLICY_URL, decode_extra},
    {SSH_X509_EXT_NETSCAPE_SERVER_NAME, decode_extra},
    {SSH_X509_EXT_NETSCAPE_COMMENT, decode_extra},
    {SSH_X509_EXT_TEMPLATE_NAME, decode_extra},
    {SSH_X509_EXT_TEMPLATE, decode_template},
    {SSH_X509_EXT_CA_VERSION, decode_extra},
    {SSH_X509_EXT_PREVIOUS_CA_HASH, decode_extra},
    {SSH_X509_EXT_APPLICATION_POLICIES, decode_extra},
    {SSH_X509_EXT_IP_BLOCKS, decode_extra},
    {SSH_X509_EXT_AS_NUMBERS, decode_extra},
});

// Any of the types is read first, and then compared with those that the extension may have. The
// content of a type goes into the member for it.
bool ssh_x509_decode_extra(SshAsn1Unread &value, SshX509Extra **list, SshX509Decoder &decoder) {
  int which = -1;
  Bytes content;  // one for all types whose content is bytes: only one of them is read
  Bytes *const out = &content;
  SshAsn1Bits bits;
  SshBerTime time;
  SshAsn1Node items;
  if (!decoder.read(value,
                    "(choice(null ())(octet-string ())(bit-string ())(integer ())"
                    "(ia5-string ())(bmp-string ())(utc-time ())(generalized-time ())"
                    "(sequence () (any ()))(printable-string ()))"_asn1,
                    &which, out, &bits, out, out, out, &time, &time, &items, out)) {
    return false;
  }
  const SshOidRow *row = decoder.extension->row;
  const auto form = static_cast<Form>(which);
  const FormRow *const wanted =
      std::find_if(std::begin(kForms), std::end(kForms),
                   [&](const auto &each) { return each.kind == row->code; });
  if (wanted == std::end(kForms)) return false;
  if (form != wanted->form && form != wanted->other)
    return decoder.refuse(row->description, "has a value of another type", value.data(),
                          decoder.extension->id);

  auto *extra = decoder.pool.make<SshX509Extra>();
  extra->row = row;
  extra->value = value.der();
  extra->time = time;
  if (form == Form::kOctets || form == Form::kInteger) extra->octets = content;
  if (form == Form::kBits) extra->octets = bits.octets;
  if (form == Form::kIa5) extra->text = {SSH_CHARSET_IA5, content, true};
  if (form == Form::kPrintable) extra->text = {SSH_CHARSET_PRINTABLE, content, true};
  if (form == Form::kBmp) extra->text = {SSH_CHARSET_BMP, content, true};
  if (form == Form::kSequence) extra->items = items.list();
  SshX509Tail(list).append(extra);
  return true;
}
