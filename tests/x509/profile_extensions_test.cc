// Extensions under both profiles: what each reads of the same value, marked critical and not.
#include <gtest/gtest.h>

#include "corpus/meanings.h"
#include "support/profile.h"
#include "support/samples.h"

namespace {

using namespace sample;
using meanings::list_of;
using ProfileExtensions = Balanced;

constexpr SshX509Profile kProfiles[] = {SSH_X509_CLASSIC, SSH_X509_MODERN};

// The outcomes besides what was read of a value.
constexpr char kRefused[] = "refused";
constexpr char kPassed[] = "passed over";  // not read; refused if critical

struct Row {
  const char *why;
  Der value;
  std::string classic, modern;
};

std::string text(const SshX509Text &value) {
  return value.present
             ? std::to_string(value.charset) + ":" + std::string(ssh_bytes_text(value.octets))
             : "";
}

// whole gives the name that a relative one stands for.
std::string whole(const SshX509PointName &name) {
  SshDN dn = {};
  const bool relative = ssh_x509_point_name_expand(name, &dn);
  const std::string text = relative ? "<" + own_text(ssh_dn_encode_ldap(&dn)) + ">" : "";
  ssh_dn_clear(&dn);
  return text;
}

std::string points(const SshX509DistributionPoint *list) {
  std::string all;
  for (; list; list = list->next) {
    const std::string name = whole(list->name);
    all += name.empty() ? meanings::meaning(*list) : name + meanings::names(list->crl_issuer);
  }
  return all;
}

std::string extras(const SshX509Extra *list) {
  std::string all;
  for (; list; list = list->next) {
    all += hex(list->value) + "/" + hex(list->octets) + "/" + text(list->text) + hex(list->items);
    if (list->time.year) all += std::to_string(list->time.year);
  }
  return all;
}

// seen gives what an extension put into a record.
std::string seen(const SshX509Cert &cert) {
  std::string all = meanings::subtrees("permitted", cert.permitted) +
                    meanings::subtrees("excluded", cert.excluded) +
                    list_of(cert.policy_constraints, " ") + points(cert.distribution_points);
  for (const auto *q = cert.policies ? cert.policies->qualifiers : nullptr; q; q = q->next)
    all += text(q->organization) + "," + text(q->explicit_text);
  if (!cert.further) return all;
  const SshX509Further &further = *cert.further;
  all += meanings::limit("any ", further.inhibit_any_policy, SSH_X509_NO_LIMIT) +
         list_of(further.subject_info_access, "|") + points(further.freshest_crl) +
         extras(further.extras);
  for (uint32_t i = 0; i < further.tls_feature_count; ++i)
    all += std::to_string(further.tls_features[i]) + " ";
  if (const SshX509CertTemplate *made = further.cert_template) {
    all += meanings::oid_of(made->id) + " " + std::to_string(made->major_version) + "." +
           std::to_string(made->minor_version);
  }
  return all;
}

std::string outcome(std::string_view id, const Der &value, bool critical) {
  const Cert cert = with_extension(id, value, critical);
  if (!cert) return kRefused;
  const SshOidRow *row = ssh_oid_find_by_oid(id.data(), SSH_OID_EXTENSION);
  EXPECT_EQ(row && cert->extensions.test(row->code), row != nullptr);
  EXPECT_EQ(row && cert->extensions.critical(row->code), critical);
  return seen(*cert);
}

std::string outcome_in_crl(std::string_view id, const Der &value, bool critical) {
  CrlParts parts;
  parts.extensions = {extension(id, value, critical)};
  const Crl crl(parts.build());
  if (!crl) return kRefused;
  const std::string all =
      points(crl->freshest_crl) + list_of(crl->authority_info_access, "|") + extras(crl->extras);
  return crl->issuing_point ? all + whole(crl->issuing_point->name) : all;
}

void run(const char *id, const std::vector<Row> &rows, decltype(outcome) *see = outcome) {
  for (const Row &row : rows) {
    for (const SshX509Profile profile : kProfiles) {
      const ProfileScope scope(profile);
      const std::string &expected = profile == SSH_X509_MODERN ? row.modern : row.classic;
      for (const bool critical : {false, true}) {
        const std::string passed = critical ? kRefused : "";
        EXPECT_EQ(see(id, row.value, critical), expected == kPassed ? passed : expected)
            << id << " " << row.why << (critical ? ", critical " : " ") << profile;
      }
    }
  }
}

// refuse has values that modern refuses, with what classic makes of them.
template <class... Values>
void refuse(const char *id, const char *classic, const Values &...values) {
  for (const Der &value : {values...}) run(id, {{hex(value).c_str(), value, classic, kRefused}});
}

const Der kDns = der::text(0x82, "d.example"), kMail = der::text(0x81, ".example");
const Der kDirectory = der::wrap(4, der::common_name("C"));
const std::string kNamed = "dn=" + hex(der::common_name("C"));

TEST_F(ProfileExtensions, NameConstraints) {
  const auto permitted = [](const std::vector<Der> &trees) {
    return der::wrap(0, der::join(trees));
  };
  const auto excluded = [](const std::vector<Der> &trees) {
    return der::wrap(1, der::join(trees));
  };
  const auto range = [&](const char *numbers) {
    return der::seq({permitted({der::seq({kDns, unhex(numbers)})})});
  };
  const Der dns = der::seq({kDns}), ip = der::seq({unhex("87080A000000FF000000")});
  const Der other = der::tlv(0xA0, der::join({der::oid("1.2.3"), der::wrap(0, der::null())}));
  run("2.5.29.30",
      {{"permitted", der::seq({permitted({dns})}), kRefused, "permitted{dns=d.example}"},
       {"excluded alone", der::seq({excluded({dns})}), kRefused, "excluded{dns=d.example}"},
       {"two of each", der::seq({permitted({dns, der::seq({kDirectory})}), excluded({ip, dns})}),
        kRefused,
        "permitted{dns=d.example|" + kNamed + "}excluded{ip=0a000000ff000000|dns=d.example}"},
       {"a base whose tag is the maximum's",
        der::seq({permitted({der::seq({kMail, unhex("810107")})})}), kRefused,
        "permitted{email=.example,max=7}"},
       {"a base whose tag is the minimum's", der::seq({excluded({der::seq({other})})}), kRefused,
        "excluded{other=1.2.3:0500}"},
       {"the whole directory", der::seq({excluded({der::seq({der::wrap(4, der::seq({}))})})}),
        kRefused, "excluded{dn=3000}"},
       {"numbers of 32 bits", range("8004010000008105 00FFFFFFFE"), kRefused,
        "permitted{dns=d.example,min=16777216,max=4294967294}"},
       {"empty", der::seq({}), "", ""},
       {"an empty list", der::seq({permitted({})}), kRefused, ""},
       {"read from the list itself", der::seq({permitted({dns}), dns}), "permitted{dns=d.example}",
        kRefused}});
  refuse("2.5.29.30", "", der::join({der::seq({}), der::seq({excluded({dns})})}),
         der::join({der::seq({}), {0xFF}}));
  // Numbers of 33 bits, negative, constructed and twice; more in a subtree, no base and no name; a
  // bad subtree behind a good one; a list twice, a third one and a primitive one; nothing.
  refuse("2.5.29.30", kRefused, range("81050100000000"), range("8001FF"), range("A003020101"),
         range("810101810101"), range("0500"), der::seq({permitted({der::seq({})})}),
         der::seq({permitted({der::seq({der::null()})})}),
         der::seq({permitted({dns, der::null()})}), der::seq({permitted({dns}), permitted({dns})}),
         der::seq({excluded({dns}), der::tlv(0xA2, {})}), der::seq({unhex("8000")}),
         der::seq({der::seq({dns})}), Der{});
}

TEST_F(ProfileExtensions, PolicyConstraints) {
  const auto whole = [](const char *numbers) { return der::tlv(0x30, unhex(numbers)); };
  run("2.5.29.36",
      {{"the first", whole("800100"), kRefused, "require=0"},
       {"the second", whole("810103"), kRefused, "inhibit=3"},
       {"25 bits", whole("800401000000810401000001"), kRefused,
        "require=16777216;inhibit=16777217"},
       {"neither", whole(""), "", ""},
       {"a list of them", whole("3003800105"), "require=5", "require=5"},
       {"33 bits in a list", whole("300A80010181050100000005"), "require=1;inhibit=5", kRefused},
       {"a list with what is no number", whole("3003020105"), kRefused, kRefused}});
  refuse("2.5.29.36", kRefused, whole("800101820100"), whole("A003020100"), whole("8101FF"),
         whole("80050100000000"), whole("800101800102"), unhex("020100"));
}

TEST_F(ProfileExtensions, UserNotices) {
  const auto notice = [](const std::vector<Der> &parts) {
    const Der qualifier = der::seq({der::oid("1.3.6.1.5.5.7.2.2"), der::seq(parts)});
    return der::seq({der::seq({der::oid("1.2.3"), der::seq({qualifier})})});
  };
  const auto reference = [](unsigned tag) {
    return der::seq({der::text(tag, "Org"), der::seq({der::integer(1)})});
  };
  const Der words = der::text(0x1A, "t"), no_text = der::seq({der::null(), der::seq({})});
  refuse("2.5.29.32", kRefused, notice({words, words}), notice({words, reference(0x16)}),
         notice({der::text(0x13, "t")}), notice({no_text}));
  std::vector<Row> rows = {{"neither", notice({}), ",", ","}};
  const struct {
    unsigned tag;
    SshCharset charset;
    bool organization;  // in classic, which has the others as text
  } kinds[] = {{0x16, SSH_CHARSET_IA5, true},
               {0x1A, SSH_CHARSET_VISIBLE, false},
               {0x1E, SSH_CHARSET_BMP, false},
               {0x0C, SSH_CHARSET_UTF8, false}};
  for (const auto &kind : kinds) {
    const std::string set = std::to_string(kind.charset) + ":", only = set + "Org,";
    const std::string with = std::to_string(SSH_CHARSET_IA5) + ":Org," + set + "text";
    const Der said = der::text(kind.tag, "text");
    rows.push_back({"a text alone", notice({said}), kRefused, "," + set + "text"});
    rows.push_back(
        {"a text", notice({reference(0x16), said}), kind.organization ? kRefused : with, with});
    rows.push_back({"an organization", notice({reference(kind.tag)}),
                    kind.organization ? only : kRefused, only});
  }
  run("2.5.29.32", rows);
}

const Der kUnit = der::attribute("2.5.4.11", der::text(0x13, "Unit"));
const Der kRelative = der::wrap(0, der::wrap(1, kUnit));
const Der kExplicit = der::wrap(0, der::wrap(1, der::set({kUnit})));
constexpr char kUnitOfIssuer[] = "<CN=Issuer, OU=Unit>";

TEST_F(ProfileExtensions, DistributionPoints) {
  const auto point = [](const std::vector<Der> &parts) { return der::seq({der::seq(parts)}); };
  const Der issuer = der::tlv(0xA2, kDirectory), no_issuer = der::tlv(0xA2, kDns);
  const Der two = der::join({kUnit, der::attribute("2.5.4.3", der::text(0x13, "N"))});
  const char *const both = "<CN=Issuer, OU=Unit + CN=N>", *const reasons = "[reasons=7,8]";
  const std::string of_issuer = kUnitOfIssuer + kNamed, alone = "[issuer=" + kNamed + "]";
  run("2.5.29.31",
      {{"relative", point({kRelative}), kRefused, kUnitOfIssuer},
       {"by two pairs", point({der::wrap(0, der::wrap(1, two))}), kRefused, both},
       {"to the CRL's issuer", point({kExplicit, issuer}), of_issuer, "<CN=C, OU=Unit>" + kNamed},
       {"to a CRL's issuer without a name", point({kExplicit, no_issuer}),
        kUnitOfIssuer + std::string("dns=d.example"), kRefused},
       {"under two tags", point({kExplicit}), kUnitOfIssuer, kUnitOfIssuer},
       {"a CRL issuer alone", point({issuer}), alone, alone},
       {"the last two reasons alone", point({unhex("8103070180")}), reasons, reasons}});
  refuse("2.5.29.31", kRefused, point({der::wrap(0, der::wrap(1, {}))}),
         point({der::wrap(0, der::wrap(1, der::null()))}), point({der::wrap(0, unhex("8100"))}));
  CertParts nameless;
  nameless.issuer = der::seq({});
  nameless.extensions = {extension("2.5.29.31", point({kRelative}))};
  const ProfileScope modern(SSH_X509_MODERN);
  EXPECT_FALSE(Cert(nameless.build())) << "relative to an issuer without a name";
}

TEST_F(ProfileExtensions, NewKinds) {
  const auto info = [](const Der &location) {
    return der::seq({der::seq({der::oid("1.3.6.1.5.5.7.48.5"), location})});
  };
  const Der id = der::oid("1.3.6.1.4"), big = der::integer(0xFFFFFFFF);
  const Der uri = der::text(0x86, "http://r");
  const Der full = der::seq({der::wrap(0, der::tlv(0xA0, uri))});
  const auto numbers = [](const std::vector<Der> &list) { return der::seq(list); };
  run("2.5.29.54",
      {{"a count", der::integer(3), kPassed, "any 3"}, {"0", der::integer(0), kPassed, "any 0"}});
  refuse("2.5.29.54", kPassed, der::integer(-1), der::integer(0x100000000), numbers({}), Der{});
  run("1.3.6.1.5.5.7.1.11", {{"", info(uri), kPassed, "1.3.6.1.5.5.7.48.5>uri=http://r"}});
  refuse("1.3.6.1.5.5.7.1.11", kPassed, info({}), info(der::null()));
  run("2.5.29.46", {{"a place", der::seq({full}), kPassed, "[full=uri=http://r]"},
                    {"relative", der::seq({der::seq({kRelative})}), kPassed, kUnitOfIssuer}});
  refuse("2.5.29.46", kPassed, der::seq({der::null()}));
  const char *const features = "1.3.6.1.5.5.7.1.24", *const of_template = "1.3.6.1.4.1.311.21.7";
  run(features, {{"two", numbers({der::integer(5), der::integer(17)}), kPassed, "5 17 "},
                 {"none", numbers({}), kPassed, ""}});
  refuse(features, kPassed, numbers({der::integer(5), der::text(0x16, "5")}),
         numbers({der::integer(-5)}), big);
  run(of_template,
      {{"versions", numbers({id, der::integer(100), big}), kPassed, "1.3.6.1.4 100.4294967295"},
       {"one version", numbers({id, der::integer(7)}), kPassed, "1.3.6.1.4 7.0"},
       {"no version", numbers({id}), kPassed, "1.3.6.1.4 0.0"}});
  refuse(of_template, kPassed, numbers({id, der::integer(0x100000000)}), numbers({big}));
}

// Those that are kept as they stand are of their type; every value is tried with every other kind.
TEST_F(ProfileExtensions, KeptKinds) {
  const Der item = der::seq({der::oid("0.4.0.1862.1.1")}), items = der::seq({item}),
            octets = unhex("04020001");
  const std::string ia5 = "/" + std::to_string(SSH_CHARSET_IA5) + ":hi",
                    bmp = "/" + std::to_string(SSH_CHARSET_BMP) + ":Ab",
                    netscape = "2.16.840.1.113730.1.";
  const struct {
    Der value;
    std::string shown;
    std::vector<std::string> ids;
  } forms[] = {{der::null(), "/", {"1.3.6.1.4.1.11129.2.4.3", "1.3.6.1.5.5.7.48.1.5"}},
               {octets, "0001/", {"1.3.6.1.4.1.11129.2.4.2", "1.3.6.1.4.1.311.21.2"}},
               {der::bits({0x40}, 6), "40/", {netscape + "1"}},
               {der::integer(0x10001), "010001/", {"1.3.6.1.4.1.311.21.1"}},
               {der::text(0x16, "hi"),
                ia5,
                {netscape + "2", netscape + "3", netscape + "4", netscape + "7", netscape + "8",
                 netscape + "12", netscape + "13"}},
               {der::text(0x1E, "Ab"), bmp, {"1.3.6.1.4.1.311.20.2"}},
               {items, "/" + hex(item), {"1.3.6.1.5.5.7.1.3", "1.3.6.1.4.1.311.21.10"}}};
  for (const auto &form : forms) {
    for (const std::string &id : form.ids) {
      run(id.c_str(), {{"its form", form.value, kPassed, hex(form.value) + "/" + form.shown}});
      refuse(id.c_str(), kPassed, Der{});
      for (const auto &other : forms) {
        if (&other != &form) refuse(id.c_str(), kPassed, other.value);
      }
    }
  }

  // They stay in the order of the certificate; none may stand there twice.
  CertParts parts;
  parts.extensions = {extension("1.3.6.1.5.5.7.1.3", items),
                      extension("2.5.29.54", der::integer(1)),
                      extension("1.3.6.1.4.1.11129.2.4.2", octets)};
  const ProfileScope modern(SSH_X509_MODERN);
  const Cert cert(parts.build());
  ASSERT_TRUE(cert && cert->further);
  EXPECT_EQ(cert->further->inhibit_any_policy, 1u);
  EXPECT_EQ(extras(cert->further->extras), hex(items) + "//" + hex(item) + hex(octets) + "/0001/");
  EXPECT_STREQ(cert->further->extras->row->name, "qcStatements");
  parts.extensions.push_back(parts.extensions[0]);
  EXPECT_FALSE(Cert(parts.build()));
  EXPECT_EQ(with_extension("1.2.3", octets)->further, nullptr);
}

// outcome_in_entry walks the entries as classic: the CRL keeps that by which it was decoded.
std::string outcome_in_entry(std::string_view id, const Der &value, bool critical) {
  CrlParts parts;
  parts.entries = {entry(1, {extension(id, value, critical)}), entry(2)};
  const Crl crl(parts.build());
  if (!crl) return kRefused;
  const ProfileScope classic(SSH_X509_CLASSIC);
  std::string reasons;
  for (SshX509RevokedCursor cursor(*crl); cursor.next();)
    reasons += std::to_string(cursor.entry().reason) + " ";
  return reasons;
}

TEST_F(ProfileExtensions, ReasonsOfEntries) {
  for (int reason = -1; reason < 14; ++reason) {
    const std::string read = std::to_string(reason) + " 0 ";
    const bool given = reason >= 0 && reason <= 8 && reason != 7;
    const bool further = reason == 9 || reason == 10;
    run("2.5.29.21",
        {{read.c_str(), der::retag(0x0A, der::integer(reason)), given ? read : kRefused,
          given || further ? read : kRefused}},
        outcome_in_entry);
  }
}

TEST_F(ProfileExtensions, ExtensionsOfCrls) {
  const Der info = der::seq({der::seq({der::oid("1.3.6.1.5.5.7.48.2"), kDns})});
  const Der utc = der::text(0x17, "300102030405Z"), general = der::text(0x18, "20300102030405Z");
  const std::pair<const char *, Row> rows[] = {
      {"2.5.29.46", {"", der::seq({der::seq({kRelative})}), kPassed, kUnitOfIssuer}},
      {"2.5.29.46", {"none", der::null(), kPassed, kRefused}},
      {"1.3.6.1.5.5.7.1.1", {"", info, kPassed, "1.3.6.1.5.5.7.48.2>dns=d.example"}},
      {"1.3.6.1.5.5.7.1.1", {"none", der::seq({der::null()}), kPassed, kRefused}},
      {"1.3.6.1.4.1.311.21.1", {"", der::integer(2), kPassed, "020102/02/"}},
      {"2.5.29.60", {"", general, kPassed, hex(general) + "//2030"}},
      {"2.5.29.60", {"short year", utc, kPassed, kRefused}},
      {"1.3.6.1.4.1.311.21.4", {"", utc, kPassed, hex(utc) + "//2030"}},
      {"1.3.6.1.4.1.311.21.4", {"long year", general, kPassed, hex(general) + "//2030"}},
      {"1.3.6.1.4.1.311.21.4", {"month 13", der::text(0x17, "301302030405Z"), kPassed, kRefused}},
      {"2.5.29.54", {"of certificates alone", der::integer(1), kPassed, kPassed}},
      {"2.5.29.28", {"issuing point", der::seq({kRelative}), kRefused, kUnitOfIssuer}},
      {"2.5.29.28", {"under two tags", der::seq({kExplicit}), kUnitOfIssuer, kUnitOfIssuer}}};
  for (const auto &[id, row] : rows) run(id, {row}, outcome_in_crl);
}

}  // namespace
