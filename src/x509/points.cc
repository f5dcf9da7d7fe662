// CRL distribution points of certificates, and the issuing distribution point of a CRL.
#include "x509/decoder.h"

namespace {

constexpr char kRelative[] = "nameRelativeToCRLIssuer";

// DistributionPointName ::= CHOICE {
//      fullName                [0] GeneralNames,
//      nameRelativeToCRLIssuer [1] RelativeDistinguishedName }
// `find_issuer` gives the entry whose distinguished name a relative name extends; if it gives null,
// a relative name is refused. Under classic, [1] holds the SET of a relative name. By the standard
// its tag is implicit: [1] stands in place of the SET's tag and holds the pairs themselves. So
// there may be several elements inside, and the modern profile reads both forms.
bool decode_point_name(SshAsn1Unread &point, SshX509PointName &name, auto find_issuer,
                       SshX509Decoder &decoder) {
  int which = -1;
  SshAsn1Unread full;
  SshAsn1Node relative;
  if (!decoder.read_searching(point, "(choice(any (0)) (any (e 1)))"_asn1, &which, &full,
                              &relative)) {
    return false;
  }
  if (which == 0) return ssh_x509_name_decode_general_names(full, decoder, &name.full);
  const bool set = ssh_asn1_node_open(relative).is(SSH_BER_UNIVERSAL, 17);
  if (!set && !decoder.rules.implicit_relative_names)
    return decoder.refuse(kRelative, "is no SET, which the classic profile wants", relative.data);
  if (!ssh_dn_check_rdn_der(relative.list(), decoder.rules))
    return decoder.refuse(kRelative, "is no RelativeDistinguishedName", relative.data);
  const SshX509Name *issuer = find_issuer();
  if (!issuer)
    return decoder.refuse(kRelative, "has no issuer's name to be relative to", relative.data);
  name.relative_issuer = issuer->der;
  name.relative = relative.list();
  return true;
}

}  // namespace

bool ssh_x509_point_name_expand(const SshX509PointName &name, SshDN *dn) {
  return !name.relative.empty() && ssh_dn_decode_der(name.relative_issuer, dn) &&
         ssh_dn_decode_rdn_der(name.relative, dn);
}

// CRLDistributionPoints ::= SEQUENCE SIZE (1..MAX) OF DistributionPoint
// DistributionPoint ::= SEQUENCE {
//      distributionPoint [0] DistributionPointName OPTIONAL,
//      reasons           [1] ReasonFlags           OPTIONAL,
//      cRLIssuer         [2] GeneralNames          OPTIONAL }                 RFC 5280, 4.2.1.13
// Classic: a relative name extends the certificate's issuer, deliberately, even if the point names
// a CRL issuer of its own. By the standard it then extends that one.
bool ssh_x509_decode_points(SshAsn1Unread &value, const SshX509Name *issuer_names,
                            SshX509DistributionPoint **list, SshX509Decoder &decoder) {
  const auto read = [&](SshAsn1Unread &item, SshX509DistributionPoint &point) {
    int has_name = 0, has_reasons = 0, has_issuer = 0;
    SshAsn1Unread name, issuer;
    SshAsn1Bits reasons;
    if (!decoder.read_known_item(
            item,
            "(sequence ()(optional(any (e 0)))(optional(bit-string (1)))(optional(any (2))))"_asn1,
            &has_name, &name, &has_reasons, &reasons, &has_issuer, &issuer)) {
      return false;
    }
    point.reasons = ssh_x509_bits_to_mask(reasons);
    if (has_issuer && !ssh_x509_name_decode_general_names(issuer, decoder, &point.crl_issuer))
      return false;
    const auto find_issuer = [&] {
      return has_issuer && decoder.rules.relative_to_crl_issuer
                 ? ssh_x509_name_find(point.crl_issuer, SSH_X509_NAME_DIRECTORY)
                 : ssh_x509_name_find(issuer_names, SSH_X509_NAME_DN);
    };
    return !has_name || decode_point_name(name, point.name, find_issuer, decoder);
  };
  return ssh_x509_decode_list(value, list, decoder, read);
}

// IssuingDistributionPoint ::= SEQUENCE {
//      distributionPoint          [0] DistributionPointName OPTIONAL,
//      onlyContainsUserCerts      [1] BOOLEAN DEFAULT FALSE,
//      onlyContainsCACerts        [2] BOOLEAN DEFAULT FALSE,
//      onlySomeReasons            [3] ReasonFlags OPTIONAL,
//      indirectCRL                [4] BOOLEAN DEFAULT FALSE,
//      onlyContainsAttributeCerts [5] BOOLEAN DEFAULT FALSE }                 RFC 5280, 5.2.5
// Classic does not know the last field and passes over it. A relative name takes the entry of the
// issuer (ssh_x509_name_take), deliberately, where a certificate's distribution points only find
// it.
bool ssh_x509_decode_issuing_point(SshAsn1Unread &value, SshX509Name *issuer_names,
                                   SshX509IssuingDistPoint &point, SshX509Decoder &decoder) {
  int has_name = 0, has_user = 0, has_ca = 0, has_reasons = 0, has_indirect = 0, has_attribute = 0;
  SshAsn1Unread name;
  SshAsn1Bits reasons;
  const bool read =
      decoder.rules.attribute_certs_flag
          ? decoder.read_known(
                value,
                "(sequence ()(optional(any (e 0)))(optional(boolean (1)))(optional(boolean (2)))"
                "(optional(bit-string (3)))(optional(boolean (4)))(optional(boolean (5))))"_asn1,
                &has_name, &name, &has_user, &point.only_user_certs, &has_ca, &point.only_ca_certs,
                &has_reasons, &reasons, &has_indirect, &point.indirect_crl, &has_attribute,
                &point.only_attribute_certs)
          : decoder.read_known(
                value,
                "(sequence ()(optional(any (e 0)))(optional(boolean (1)))(optional(boolean (2)))"
                "(optional(bit-string (3)))(optional(boolean (4))))"_asn1,
                &has_name, &name, &has_user, &point.only_user_certs, &has_ca, &point.only_ca_certs,
                &has_reasons, &reasons, &has_indirect, &point.indirect_crl);
  if (!read) return false;
  point.only_some_reasons = ssh_x509_bits_to_mask(reasons);
  const auto take_issuer = [&] { return ssh_x509_name_take(issuer_names, SSH_X509_NAME_DN); };
  return !has_name || decode_point_name(name, point.name, take_issuer, decoder);
}
