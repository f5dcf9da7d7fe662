// Extensions made by OpenSSL from the text of its configuration: under the modern profile every
// member of a record is what OpenSSL reads of the same octets.
#include <gtest/gtest.h>
#include <openssl/conf.h>
#include <openssl/x509v3.h>

#include <functional>
#include <memory>
#include <string>

#include "support/profile.h"
#include "support/samples.h"

namespace {

using namespace sample;
using ProfileExtensionsOracle = Balanced;

using PeerName = std::unique_ptr<X509_NAME, decltype(&X509_NAME_free)>;
using PeerExtension = std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)>;

// The sections that values below refer to.
constexpr char kSections[] = R"(
[notice_text]
policyIdentifier = 1.2.3.4
userNotice.1 = @text
[text]
explicitText = UTF8:Grüße
[notice_all]
policyIdentifier = 1.2.3.5
CPS.1 = "http://cps.example/"
userNotice.1 = @all
userNotice.2 = @visible
[all]
explicitText = "BMP:both"
organization = Organization
noticeNumbers = 7
[visible]
explicitText = plain
[relative]
relativename = fragment
reasons = keyCompromise, privilegeWithdrawn, AACompromise
[of_other]
relativename = fragment
CRLissuer = dirName:other
[other_alone]
CRLissuer = dirName:other
[full]
fullname = URI:http://crl.example/a.crl, dirName:other
[issuing]
relativename = fragment
onlysomereasons = CACompromise, AACompromise
indirectCRL = TRUE
[fragment]
OU = Unit
[other]
C = FI
O = Other Issuer
)";

template <class T>
std::string der_of(int (*encode)(const T *, unsigned char **), const T *value) {
  unsigned char *octets = nullptr;
  const int length = encode(value, &octets);
  EXPECT_GT(length, 0);
  const std::string text = hex({octets, static_cast<size_t>(length)});
  OPENSSL_free(octets);
  return text;
}

std::string number(uint32_t value) {
  return value == SSH_X509_NO_LIMIT ? "" : std::to_string(value);
}
std::string peer_number(const ASN1_INTEGER *value) {
  return value ? std::to_string(ASN1_INTEGER_get(value)) : "";
}

// Names are shown by their DER; the library's of a directory name is that of the Name.
std::string names(const SshX509Name *list) {
  std::string all;
  for (; list; list = list->next) all = " " + hex(list->der) + all;
  return all;
}
std::string peer_name(const GENERAL_NAME *name) {
  if (name->type == GEN_DIRNAME) return " " + der_of(i2d_X509_NAME, name->d.directoryName);
  return " " + der_of(i2d_GENERAL_NAME, name);
}
std::string peer_names(const GENERAL_NAMES *list) {
  std::string all;
  for (int i = 0; list && i < sk_GENERAL_NAME_num(list); ++i)
    all += peer_name(sk_GENERAL_NAME_value(list, i));
  return all;
}

std::string text(const SshX509Text &value) {
  return value.present ? " " + std::to_string(value.charset) + hex(value.octets) : "";
}
std::string peer_text(const ASN1_STRING *value) {
  if (!value) return "";
  const int type = ASN1_STRING_type(value);
  const SshCharset charset = type == V_ASN1_IA5STRING       ? SSH_CHARSET_IA5
                             : type == V_ASN1_VISIBLESTRING ? SSH_CHARSET_VISIBLE
                             : type == V_ASN1_BMPSTRING     ? SSH_CHARSET_BMP
                                                            : SSH_CHARSET_UTF8;
  const auto length = static_cast<size_t>(ASN1_STRING_length(value));
  return " " + std::to_string(charset) + hex({ASN1_STRING_get0_data(value), length});
}

// A whole name that a point stands for is shown in OpenSSL's canonical text of it.
std::string canonical(const X509_NAME *name) {
  char line[256];
  return std::string(" <") + X509_NAME_oneline(name, line, sizeof line) + ">";
}
std::string point_name(const SshX509PointName &name) {
  SshDN dn = {};
  uint8_t *der = nullptr;
  size_t length = 0;
  if (!ssh_x509_point_name_expand(name, &dn)) return names(name.full);
  EXPECT_TRUE(ssh_dn_encode_der(&dn, false, &der, &length));
  const unsigned char *at = der;
  const PeerName whole(d2i_X509_NAME(nullptr, &at, static_cast<long>(length)), X509_NAME_free);
  ssh_dn_clear(&dn);
  ssh_xfree(der);
  return canonical(whole.get());
}
std::string peer_point_name(DIST_POINT_NAME *name, const GENERAL_NAMES *crl_issuer) {
  if (!name) return "";
  if (name->type == 0) return peer_names(name->name.fullname);
  const Der own = der::common_name("Issuer");
  const unsigned char *at = own.data();
  const PeerName issuer(d2i_X509_NAME(nullptr, &at, static_cast<long>(own.size())), X509_NAME_free);
  const bool other = crl_issuer != nullptr;
  const X509_NAME *base =
      other ? sk_GENERAL_NAME_value(crl_issuer, 0)->d.directoryName : issuer.get();
  EXPECT_EQ(DIST_POINT_set_dpname(name, base), 1);
  return canonical(name->dpname);
}

// The library's mask has the first octet in its lowest bits, each octet's first bit on top.
std::string peer_reasons(const ASN1_BIT_STRING *bits) {
  uint32_t mask = 0;
  for (int i = 0; bits && i < 9; ++i)
    mask |= ASN1_BIT_STRING_get_bit(bits, i) ? 1u << (i / 8 * 8 + 7 - i % 8) : 0;
  return " reasons " + std::to_string(mask);
}

std::string points(const SshX509DistributionPoint *list) {
  std::string all;
  for (; list; list = list->next) {
    all += ";" + point_name(list->name) + " reasons " + std::to_string(list->reasons) +
           names(list->crl_issuer);
  }
  return all;
}
std::string peer_points(void *value) {
  auto *list = static_cast<CRL_DIST_POINTS *>(value);
  std::string all;
  for (int i = 0; i < sk_DIST_POINT_num(list); ++i) {
    const DIST_POINT *point = sk_DIST_POINT_value(list, i);
    all += ";" + peer_point_name(point->distpoint, point->CRLissuer) +
           peer_reasons(point->reasons) + peer_names(point->CRLissuer);
  }
  CRL_DIST_POINTS_free(list);
  return all;
}

std::string policies(const SshX509Cert &cert) {
  std::string all;
  for (const auto *policy = cert.policies; policy; policy = policy->next) {
    for (const auto *q = policy->qualifiers; q; q = q->next) {
      all += ";" + text(q->cps_uri) + text(q->organization) +
             (q->notice_count ? " " + number(q->notice_numbers[0]) : "") + text(q->explicit_text);
    }
  }
  return all;
}
std::string peer_policies(void *value) {
  auto *list = static_cast<CERTIFICATEPOLICIES *>(value);
  std::string all;
  for (int i = 0; i < sk_POLICYINFO_num(list); ++i) {
    const auto *qualifiers = sk_POLICYINFO_value(list, i)->qualifiers;
    for (int k = 0; qualifiers && k < sk_POLICYQUALINFO_num(qualifiers); ++k) {
      const POLICYQUALINFO *q = sk_POLICYQUALINFO_value(qualifiers, k);
      const bool cps = OBJ_obj2nid(q->pqualid) == NID_id_qt_cps;
      const NOTICEREF *reference = cps ? nullptr : q->d.usernotice->noticeref;
      all += ";" + (cps ? peer_text(q->d.cpsuri) : "");
      if (reference) {
        all += peer_text(reference->organization) + " " +
               peer_number(sk_ASN1_INTEGER_value(reference->noticenos, 0));
      }
      if (!cps) all += peer_text(q->d.usernotice->exptext);
    }
  }
  CERTIFICATEPOLICIES_free(list);
  return all;
}

PeerExtension made(const char *name, const char *value) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> text(BIO_new_mem_buf(kSections, -1), BIO_free);
  const std::unique_ptr<CONF, decltype(&NCONF_free)> sections(NCONF_new(nullptr), NCONF_free);
  long line = 0;
  EXPECT_GT(NCONF_load_bio(sections.get(), text.get(), &line), 0) << line;
  X509V3_CTX context;
  X509V3_set_ctx(&context, nullptr, nullptr, nullptr, nullptr, 0);
  X509V3_set_nconf(&context, sections.get());
  return {X509V3_EXT_nconf(sections.get(), &context, name, value), X509_EXTENSION_free};
}

Der encoded(const X509_EXTENSION *extension) {
  unsigned char *octets = nullptr;
  const int length = i2d_X509_EXTENSION(extension, &octets);
  EXPECT_GT(length, 0);
  const Der der(octets, octets + length);
  OPENSSL_free(octets);
  return der;
}

TEST_F(ProfileExtensionsOracle, OfCertificates) {
  const struct {
    const char *name, *value;
    std::function<std::string(const SshX509Cert &)> read;
    std::string (*peer)(void *);
  } rows[] = {
      {"certificatePolicies", "1.2.3,@notice_text", policies, peer_policies},
      {"certificatePolicies", "ia5org,@notice_all,@notice_text", policies, peer_policies},
      {"certificatePolicies", "critical,@notice_all", policies, peer_policies},
      {"crlDistributionPoints", "relative,of_other,full,other_alone",
       [](const auto &cert) { return points(cert.distribution_points); }, peer_points},
      {"freshestCRL", "critical,full,relative",
       [](const auto &cert) { return points(cert.further->freshest_crl); }, peer_points},
  };
  const ProfileScope modern(SSH_X509_MODERN);
  for (const auto &row : rows) {
    SCOPED_TRACE(std::string(row.name) + " = " + row.value);
    const PeerExtension extension = made(row.name, row.value);
    ASSERT_TRUE(extension);
    CertParts parts;
    parts.extensions = {encoded(extension.get())};
    const Cert cert(parts.build());
    ASSERT_TRUE(cert) << cert->refusal.structure;
    EXPECT_EQ(row.read(*cert), row.peer(X509V3_EXT_d2i(extension.get())));
  }
}

TEST_F(ProfileExtensionsOracle, IssuingDistributionPoint) {
  const PeerExtension extension = made("issuingDistributionPoint", "critical,@issuing");
  ASSERT_TRUE(extension);
  const ProfileScope modern(SSH_X509_MODERN);
  CrlParts parts;
  parts.extensions = {encoded(extension.get())};
  const Crl crl(parts.build());
  ASSERT_TRUE(crl && crl->issuing_point);
  const std::unique_ptr<ISSUING_DIST_POINT, decltype(&ISSUING_DIST_POINT_free)> peer(
      static_cast<ISSUING_DIST_POINT *>(X509V3_EXT_d2i(extension.get())), ISSUING_DIST_POINT_free);
  const SshX509IssuingDistPoint &point = *crl->issuing_point;
  EXPECT_EQ(point_name(point.name), peer_point_name(peer->distpoint, nullptr));
  EXPECT_EQ(" reasons " + number(point.only_some_reasons), peer_reasons(peer->onlysomereasons));
  EXPECT_EQ(point.indirect_crl != 0, peer->indirectCRL > 0);
  EXPECT_EQ(point.only_ca_certs != 0, peer->onlyCA > 0);
}

}  // namespace
