// Extensions under both profiles: what each reads of the same value, marked critical and not.
#include <gtest/gtest.h>

#include "support/profile.h"
#include "support/samples.h"

namespace {

using namespace sample;
using ProfileExtensions = Balanced;

// The outcomes besides what was read of a value.
constexpr char kRefused[] = "refused";
constexpr char kPassed[] = "passed over";  // not read; refused if critical

struct Row {
  const char *why;
  Der value;
  std::string classic, modern;
};

// "[a|b]", oldest first: the texts of names, the octets of those without.
std::string names(const SshX509Name *list) {
  if (!list) return "";
  std::string all;
  for (; list; list = list->next) {
    std::string text = own_text(ssh_x509_name_text(list));
    if (text == "(null)") text = hex(list->data.empty() ? list->der : list->data);
    all = text + (all.empty() ? "" : "|" + all);
  }
  return "[" + all + "]";
}

std::string count(uint32_t value) {
  return value == SSH_X509_NO_LIMIT ? "-" : std::to_string(value);
}

std::string text(const SshX509Text &value) {
  return value.present
             ? std::to_string(value.charset) + ":" + std::string(ssh_bytes_text(value.octets))
             : "";
}

std::string point_name(const SshX509PointName &name) {
  SshDN dn = {};
  if (!ssh_x509_point_name_expand(name, &dn)) return names(name.full);
  const std::string whole = own_text(ssh_dn_encode_ldap(&dn));
  ssh_dn_clear(&dn);
  return "<" + whole + ">";
}

std::string points(const SshX509DistributionPoint *list) {
  std::string all;
  for (; list; list = list->next) {
    all += "{" + point_name(list->name) + " " + std::to_string(list->reasons) + " " +
           names(list->crl_issuer) + "}";
  }
  return all;
}

std::string access(const SshX509AccessDescription *list) {
  std::string all;
  for (; list; list = list->next) all += dotted(list->method) + names(list->location);
  return all;
}

std::string extras(const SshX509Extra *list) {
  std::string all;
  for (; list; list = list->next) {
    all += list->row->name + std::string("=") + hex(list->value) + "/" + hex(list->octets) + "/" +
           text(list->text);
  }
  return all;
}

std::string further(const SshX509Further *all) {
  if (!all) return "";
  std::string seen;
  if (all->inhibit_any_policy != SSH_X509_NO_LIMIT) seen = "any " + count(all->inhibit_any_policy);
  for (uint32_t i = 0; i < all->tls_feature_count; ++i)
    seen += "tls " + std::to_string(all->tls_features[i]) + " ";
  if (const SshX509CertTemplate *made = all->cert_template) {
    seen += dotted(made->id) + " " + std::to_string(made->major_version) + "." +
            std::to_string(made->minor_version);
  }
  return seen + access(all->subject_info_access) + points(all->freshest_crl) + extras(all->extras);
}

// seen gives what an extension put into a record.
std::string seen(const SshX509Cert &cert) {
  std::string all;
  const auto subtrees = [&all](const char *what, const SshX509Subtree *list) {
    for (; list; list = list->next)
      all += what + names(list->base) + count(list->minimum) + ".." + count(list->maximum);
  };
  subtrees("+", cert.permitted);
  subtrees("-", cert.excluded);
  for (const auto *c = cert.policy_constraints; c; c = c->next)
    all += "(" + count(c->require_explicit_policy) + " " + count(c->inhibit_policy_mapping) + ")";
  for (const auto *policy = cert.policies; policy; policy = policy->next) {
    for (const auto *q = policy->qualifiers; q; q = q->next)
      all += text(q->organization) + "," + text(q->explicit_text);
  }
  return all + points(cert.distribution_points) + further(cert.further);
}

std::string outcome(SshX509Profile profile, std::string_view id, const Der &value, bool critical) {
  const ProfileScope scope(profile);
  const Cert cert = with_extension(id, value, critical);
  if (!cert) return kRefused;
  const SshOidRow *row = ssh_oid_find_by_oid(id.data(), SSH_OID_EXTENSION);
  EXPECT_EQ(row && cert->extensions.test(row->code), row != nullptr);
  EXPECT_EQ(row && cert->extensions.critical(row->code), critical);
  return seen(*cert);
}

void run(const char *id, const std::vector<Row> &rows) {
  for (const Row &row : rows) {
    for (const bool critical : {false, true}) {
      SCOPED_TRACE(std::string(id) + " " + row.why + (critical ? ", critical" : ""));
      const std::string passed = critical ? kRefused : "";
      EXPECT_EQ(outcome(SSH_X509_CLASSIC, id, row.value, critical),
                row.classic == kPassed ? passed : row.classic);
      EXPECT_EQ(outcome(SSH_X509_MODERN, id, row.value, critical), row.modern);
    }
  }
}

const Der kDns = der::text(0x82, "d.example"), kMail = der::text(0x81, ".example");
const Der kDirectory = der::wrap(4, der::common_name("C"));

TEST_F(ProfileExtensions, NameConstraints) {
  const auto tree = [](const std::vector<Der> &parts) { return der::seq(parts); };
  const auto permitted = [](const std::vector<Der> &trees) {
    return der::tlv(0xA0, der::join(trees));
  };
  const auto excluded = [](const std::vector<Der> &trees) {
    return der::tlv(0xA1, der::join(trees));
  };
  const auto range = [&](const char *numbers) { return permitted({tree({kDns, unhex(numbers)})}); };
  const Der other = der::tlv(0xA0, der::join({der::oid("1.2.3"), der::wrap(0, der::null())}));
  run("2.5.29.30",
      {{"permitted", der::seq({permitted({tree({kDns})})}), kRefused, "+[d.example]0..-"},
       {"excluded alone", der::seq({excluded({tree({kDns})})}), kRefused, "-[d.example]0..-"},
       {"two of each",
        der::seq({permitted({tree({kDns}), tree({kDirectory})}),
                  excluded({tree({unhex("87080A000000FF000000")}), tree({kDns})})}),
        kRefused, "+[d.example]0..-+[CN=C]0..--[0a000000ff000000]0..--[d.example]0..-"},
       {"a base whose tag is the maximum's", der::seq({permitted({tree({kMail})})}), kRefused,
        "+[.example]0..-"},
       {"and with a maximum", der::seq({permitted({tree({kMail, unhex("810107")})})}), kRefused,
        "+[.example]0..7"},
       {"a base whose tag is the minimum's", der::seq({excluded({tree({other})})}), kRefused,
        "-[" + hex(other) + "]0..-"},
       {"the whole directory", der::seq({excluded({tree({der::wrap(4, der::seq({}))})})}), kRefused,
        "-[]0..-"},
       {"a range", der::seq({range("800102810105")}), kRefused, "+[d.example]2..5"},
       {"numbers of 32 bits", der::seq({range("8004010000008105 00FFFFFFFE")}), kRefused,
        "+[d.example]16777216..4294967294"},
       {"empty", der::seq({}), "", ""},
       {"an empty list", der::seq({permitted({})}), kRefused, ""},
       {"an empty excluded list", der::seq({excluded({})}), kRefused, ""},
       {"read from the list itself", der::seq({permitted({der::seq({kDns})}), der::seq({kDns})}),
        "+[d.example]0..-", kRefused},
       {"a number of 33 bits", der::seq({range("81050100000000")}), kRefused, kRefused},
       {"a negative number", der::seq({range("8001FF")}), kRefused, kRefused},
       {"a number that is constructed", der::seq({range("A003020101")}), kRefused, kRefused},
       {"a maximum twice", der::seq({range("810101810101")}), kRefused, kRefused},
       {"more in a subtree", der::seq({range("0500")}), kRefused, kRefused},
       {"no base", der::seq({permitted({tree({})})}), kRefused, kRefused},
       {"no name", der::seq({permitted({tree({der::null()})})}), kRefused, kRefused},
       {"a bad one later", der::seq({permitted({tree({kDns}), der::null()})}), kRefused, kRefused},
       {"a list under no tag", der::seq({der::seq({tree({kDns})})}), "", kRefused},
       {"permitted twice", der::seq({permitted({tree({kDns})}), permitted({tree({kDns})})}),
        kRefused, kRefused},
       {"a third list", der::seq({excluded({tree({kDns})}), der::tlv(0xA2, {})}), kRefused,
        kRefused},
       {"a primitive list", der::seq({unhex("8000")}), kRefused, kRefused},
       {"an element behind", der::join({der::seq({}), der::seq({excluded({tree({kDns})})})}), "",
        kRefused},
       {"octets behind", der::join({der::seq({}), {0xFF}}), "", kRefused},
       {"nothing", {}, kRefused, kRefused}});
}

TEST_F(ProfileExtensions, PolicyConstraints) {
  const auto whole = [](const char *numbers) { return der::tlv(0x30, unhex(numbers)); };
  run("2.5.29.36",
      {{"the first", whole("800100"), kRefused, "(0 -)"},
       {"the second", whole("810103"), kRefused, "(- 3)"},
       {"both", whole("80020100810102"), kRefused, "(256 2)"},
       {"numbers of 25 bits", whole("800401000000810401000000"), kRefused, "(16777216 16777216)"},
       {"neither", whole(""), "", "(- -)"},
       {"a list of them", whole("3003800105"), "(5 -)", "(5 -)"},
       {"a list with what is no number", whole("3003020105"), "(- -)", kRefused},
       {"a list with a number of 33 bits", whole("300A80010181050100000005"), "(1 5)", kRefused},
       {"more", whole("800101820100"), kRefused, kRefused},
       {"an explicit tag", whole("A003020100"), kRefused, kRefused},
       {"a negative number", whole("8101FF"), kRefused, kRefused},
       {"a number of 33 bits", whole("80050100000000"), kRefused, kRefused},
       {"the first twice", whole("800101800102"), kRefused, kRefused},
       {"an INTEGER", unhex("020100"), kRefused, kRefused}});
}

TEST_F(ProfileExtensions, UserNotices) {
  const auto notice = [](const std::vector<Der> &parts) {
    const Der qualifier = der::seq({der::oid("1.3.6.1.5.5.7.2.2"), der::seq(parts)});
    return der::seq({der::seq({der::oid("1.2.3"), der::seq({qualifier})})});
  };
  const auto reference = [](unsigned tag) {
    return der::seq({der::text(tag, "Org"), der::seq({der::integer(1)})});
  };
  std::vector<Row> rows = {
      {"a text twice", notice({der::text(0x1A, "t"), der::text(0x1A, "t")}), kRefused, kRefused},
      {"a text before the reference", notice({der::text(0x1A, "t"), reference(0x16)}), kRefused,
       kRefused},
      {"a PrintableString alone", notice({der::text(0x13, "t")}), kRefused, kRefused},
      {"an organization of NULL", notice({der::seq({der::null(), der::seq({})})}), kRefused,
       kRefused},
      {"neither", notice({}), ",", ","}};
  const struct {
    unsigned tag;
    SshCharset charset;
    bool organization, text;  // in classic
  } kinds[] = {{0x16, SSH_CHARSET_IA5, true, false},
               {0x1A, SSH_CHARSET_VISIBLE, false, true},
               {0x1E, SSH_CHARSET_BMP, false, true},
               {0x0C, SSH_CHARSET_UTF8, false, true}};
  for (const auto &kind : kinds) {
    const std::string set = std::to_string(kind.charset) + ":",
                      ia5 = std::to_string(SSH_CHARSET_IA5);
    const std::string with = ia5 + ":Org," + set + "text", only = set + "Org,";
    rows.push_back(
        {"a text alone", notice({der::text(kind.tag, "text")}), kRefused, "," + set + "text"});
    rows.push_back({"a text", notice({reference(0x16), der::text(kind.tag, "text")}),
                    kind.text ? with : kRefused, with});
    rows.push_back({"an organization", notice({reference(kind.tag)}),
                    kind.organization ? only : kRefused, only});
  }
  run("2.5.29.32", rows);
}

const Der kUnit = der::attribute("2.5.4.11", der::text(0x13, "Unit"));
const Der kRelative = der::wrap(0, der::wrap(1, kUnit));
const Der kExplicit = der::wrap(0, der::wrap(1, der::set({kUnit})));

TEST_F(ProfileExtensions, DistributionPoints) {
  const auto point = [](const std::vector<Der> &parts) { return der::seq({der::seq(parts)}); };
  const Der issuer = der::tlv(0xA2, kDirectory), no_issuer = der::tlv(0xA2, kDns);
  const Der many = der::wrap(
      0, der::wrap(1, der::join({kUnit, der::attribute("2.5.4.3", der::text(0x13, "N"))})));
  const std::string unit = "{<CN=Issuer, OU=Unit> 0 }", two = "{<CN=Issuer, OU=Unit + CN=N> 0 }";
  run("2.5.29.31",
      {{"relative", point({kRelative}), unit, unit},
       {"relative by two pairs", point({many}), two, two},
       {"relative to the CRL's issuer", point({kRelative, issuer}),
        "{<CN=Issuer, OU=Unit> 0 [CN=C]}", "{<CN=C, OU=Unit> 0 [CN=C]}"},
       {"relative to a CRL's issuer without a name", point({kRelative, no_issuer}),
        "{<CN=Issuer, OU=Unit> 0 [d.example]}", kRefused},
       {"relative under two tags", point({kExplicit}), unit, unit},
       {"relative without pairs", point({der::wrap(0, der::wrap(1, {}))}), kRefused, kRefused},
       {"relative by no pair", point({der::wrap(0, der::wrap(1, der::null()))}), kRefused,
        kRefused},
       {"relative, primitive", point({der::wrap(0, unhex("8100"))}), kRefused, kRefused},
       {"a CRL issuer alone", point({issuer}), "{ 0 [CN=C]}", "{ 0 [CN=C]}"},
       {"the last two reasons alone", point({unhex("8103070180")}), "{ 32769 }", "{ 32769 }"}});
  CertParts nameless;
  nameless.issuer = der::seq({});
  nameless.extensions = {extension("2.5.29.31", point({kRelative}))};
  const ProfileScope modern(SSH_X509_MODERN);
  EXPECT_FALSE(Cert(nameless.build())) << "relative to an issuer without a name";
}

TEST_F(ProfileExtensions, NewKinds) {
  run("2.5.29.54", {{"a count", der::integer(3), kPassed, "any 3"},
                    {"0", der::integer(0), kPassed, "any 0"},
                    {"negative", der::integer(-1), kPassed, kRefused},
                    {"2^32", der::integer(0x100000000), kPassed, kRefused},
                    {"no INTEGER", der::seq({}), kPassed, kRefused},
                    {"nothing", {}, kPassed, kRefused}});
  const auto info = [](const Der &location) {
    return der::seq({der::seq({der::oid("1.3.6.1.5.5.7.48.5"), location})});
  };
  run("1.3.6.1.5.5.7.1.11",
      {{"a place", info(der::text(0x86, "http://r")), kPassed, "1.3.6.1.5.5.7.48.5[http://r]"},
       {"no place", info({}), kPassed, kRefused},
       {"a bad place", info(der::null()), kPassed, kRefused}});
  const Der full = der::wrap(0, der::tlv(0xA0, der::text(0x86, "http://x")));
  run("2.5.29.46",
      {{"a place", der::seq({der::seq({full})}), kPassed, "{[http://x] 0 }"},
       {"relative", der::seq({der::seq({kRelative})}), kPassed, "{<CN=Issuer, OU=Unit> 0 }"},
       {"no point", der::seq({der::null()}), kPassed, kRefused}});
  run("1.3.6.1.5.5.7.1.24",
      {{"two", der::seq({der::integer(5), der::integer(17)}), kPassed, "tls 5 tls 17 "},
       {"none", der::seq({}), kPassed, ""},
       {"a text", der::seq({der::integer(5), der::text(0x16, "5")}), kPassed, kRefused},
       {"a negative one", der::seq({der::integer(-5)}), kPassed, kRefused},
       {"an INTEGER", der::integer(5), kPassed, kRefused}});
  const Der id = der::oid("1.3.6.1.4.1.311.21.8.1");
  const Der big = der::integer(0xFFFFFFFF);
  run("1.3.6.1.4.1.311.21.7",
      {{"versions", der::seq({id, der::integer(100), big}), kPassed,
        "1.3.6.1.4.1.311.21.8.1 100.4294967295"},
       {"one version", der::seq({id, der::integer(7)}), kPassed, "1.3.6.1.4.1.311.21.8.1 7.0"},
       {"no version", der::seq({id}), kPassed, "1.3.6.1.4.1.311.21.8.1 0.0"},
       {"a version of 33 bits", der::seq({id, der::integer(0x100000000)}), kPassed, kRefused},
       {"no identifier", der::seq({der::integer(1)}), kPassed, kRefused}});
}

// Those that are kept as they stand are of their type; every value is tried with every other kind.
TEST_F(ProfileExtensions, KeptKinds) {
  const std::string kIa5 = std::to_string(SSH_CHARSET_IA5), kBmp = std::to_string(SSH_CHARSET_BMP);
  const Der octets = der::octets(unhex("0001")), ia5 = der::text(0x16, "hi");
  const Der items = der::seq({der::seq({der::oid("0.4.0.1862.1.1")})});
  const struct {
    const char *id, *name;
    Der value;
    std::string octets, text;
  } kinds[] = {
      {"1.3.6.1.4.1.11129.2.4.2", "signedCertificateTimestampList", octets, "0001", ""},
      {"1.3.6.1.4.1.11129.2.4.3", "precertificatePoison", der::null(), "", ""},
      {"1.3.6.1.5.5.7.48.1.5", "ocspNoCheck", der::null(), "", ""},
      {"1.3.6.1.5.5.7.1.3", "qcStatements", items, "", ""},
      {"2.16.840.1.113730.1.1", "netscapeCertType", der::bits({0x40}, 6), "40", ""},
      {"2.16.840.1.113730.1.2", "netscapeBaseURL", ia5, "", kIa5 + ":hi"},
      {"2.16.840.1.113730.1.3", "netscapeRevocationURL", ia5, "", kIa5 + ":hi"},
      {"2.16.840.1.113730.1.4", "netscapeCARevocationURL", ia5, "", kIa5 + ":hi"},
      {"2.16.840.1.113730.1.7", "netscapeRenewalURL", ia5, "", kIa5 + ":hi"},
      {"2.16.840.1.113730.1.8", "netscapeCAPolicyURL", ia5, "", kIa5 + ":hi"},
      {"2.16.840.1.113730.1.12", "netscapeServerName", ia5, "", kIa5 + ":hi"},
      {"2.16.840.1.113730.1.13", "netscapeComment", ia5, "", kIa5 + ":hi"},
      {"1.3.6.1.4.1.311.20.2", "certificateTemplateName", der::text(0x1E, "Ab"), "", kBmp + ":Ab"},
      {"1.3.6.1.4.1.311.21.1", "caVersion", der::integer(0x10001), "", ""},
      {"1.3.6.1.4.1.311.21.2", "previousCAHash", octets, "0001", ""},
      {"1.3.6.1.4.1.311.21.10", "applicationPolicies", items, "", ""},
  };
  for (const auto &kind : kinds) {
    const std::string kept =
        kind.name + std::string("=") + hex(kind.value) + "/" + kind.octets + "/" + kind.text;
    std::vector<Row> rows = {{"nothing", {}, kPassed, kRefused}};
    for (const auto &other : kinds)
      rows.push_back(
          {other.name, other.value, kPassed, other.value == kind.value ? kept : kRefused});
    run(kind.id, rows);
  }

  // They stay in the order of the certificate; none may stand there twice.
  CertParts parts;
  parts.extensions = {extension(kinds[3].id, items), extension("2.5.29.54", der::integer(1)),
                      extension(kinds[0].id, octets)};
  const ProfileScope modern(SSH_X509_MODERN);
  const Cert cert(parts.build());
  ASSERT_TRUE(cert && cert->further);
  EXPECT_EQ(further(cert->further), "any 1qcStatements=" + hex(items) +
                                        "//signedCertificateTimestampList=" + hex(octets) +
                                        "/0001/");
  parts.extensions.push_back(parts.extensions[0]);
  EXPECT_FALSE(Cert(parts.build()));
  EXPECT_EQ(with_extension("1.2.3", octets)->further, nullptr);
}

TEST_F(ProfileExtensions, ReasonsOfEntries) {
  for (int reason = -1; reason < 14; ++reason) {
    const Der value = der::retag(0x0A, der::integer(reason));
    const bool given = reason >= 0 && reason <= 8 && reason != 7;
    for (const SshX509Profile profile : {SSH_X509_CLASSIC, SSH_X509_MODERN}) {
      const ProfileScope scope(profile);
      const bool taken = given || (profile == SSH_X509_MODERN && (reason == 9 || reason == 10));
      for (const bool critical : {false, true}) {  // critical ones are not of the usual form
        CrlParts parts;
        parts.entries = {entry(1, {extension("2.5.29.21", value, critical)}), entry(2)};
        const Crl crl(parts.build());
        ASSERT_EQ(static_cast<bool>(crl), taken) << reason << " " << profile;
        if (!crl) continue;
        const ProfileScope walked(SSH_X509_CLASSIC);  // the CRL keeps that by which it was decoded
        SshX509RevokedCursor cursor(*crl);
        ASSERT_TRUE(cursor.next());
        EXPECT_EQ(cursor.entry().reason, static_cast<uint32_t>(reason));
        ASSERT_TRUE(cursor.next());
        EXPECT_EQ(cursor.entry().reason, 0u);
      }
    }
  }
}

TEST_F(ProfileExtensions, ExtensionsOfCrls) {
  const Der info = der::seq({der::seq({der::oid("1.3.6.1.5.5.7.48.2"), kDns})});
  const Der utc = der::text(0x17, "300102030405Z"), general = der::text(0x18, "20300102030405Z");
  const struct {
    const char *why, *id;
    Der value;
    std::string classic, modern;
  } rows[] = {
      {"freshest", "2.5.29.46", der::seq({der::seq({kRelative})}), kPassed,
       "{<CN=Issuer, OU=Unit> 0 }"},
      {"no freshest", "2.5.29.46", der::null(), kPassed, kRefused},
      {"access", "1.3.6.1.5.5.7.1.1", info, kPassed, "1.3.6.1.5.5.7.48.2[d.example]"},
      {"no access", "1.3.6.1.5.5.7.1.1", der::seq({der::null()}), kPassed, kRefused},
      {"CA version", "1.3.6.1.4.1.311.21.1", der::integer(2), kPassed, "caVersion=020102//"},
      {"expired", "2.5.29.60", general, kPassed, "expiredCertsOnCRL=" + hex(general) + "//"},
      {"expired, short year", "2.5.29.60", utc, kPassed, kRefused},
      {"next", "1.3.6.1.4.1.311.21.4", utc, kPassed, "nextCRLPublish=" + hex(utc) + "//"},
      {"next, long year", "1.3.6.1.4.1.311.21.4", general, kPassed,
       "nextCRLPublish=" + hex(general) + "//"},
      {"next, month 13", "1.3.6.1.4.1.311.21.4", der::text(0x17, "301302030405Z"), kPassed,
       kRefused},
      {"of certificates alone", "2.5.29.54", der::integer(1), kPassed, kPassed},
      {"issuing point", "2.5.29.28", der::seq({kRelative}), "<CN=Issuer, OU=Unit>",
       "<CN=Issuer, OU=Unit>"},
      {"issuing point, two tags", "2.5.29.28", der::seq({kExplicit}), "<CN=Issuer, OU=Unit>",
       "<CN=Issuer, OU=Unit>"},
  };
  for (const auto &row : rows) {
    for (const SshX509Profile profile : {SSH_X509_CLASSIC, SSH_X509_MODERN}) {
      const ProfileScope scope(profile);
      std::string expected = profile == SSH_X509_CLASSIC ? row.classic : row.modern;
      for (const bool critical : {false, true}) {
        CrlParts parts;
        parts.extensions = {extension(row.id, row.value, critical)};
        const Crl crl(parts.build());
        std::string got = crl ? points(crl->freshest_crl) + access(crl->authority_info_access) +
                                    extras(crl->extras)
                              : kRefused;
        if (crl && crl->issuing_point) got += point_name(crl->issuing_point->name);
        const std::string passed = critical ? kRefused : "";
        EXPECT_EQ(got, expected == kPassed ? passed : expected)
            << row.why << " " << profile << critical;
      }
    }
  }
}

}  // namespace
