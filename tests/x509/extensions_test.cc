// Extensions of certificates, CRLs and entries: what each profile reads of a value, marked critical
// and not. What usual ones hold is compared in tests/corpus; here is the unusual and the refused.
#include "x509/extensions.h"

#include "corpus/meanings.h"
#include "support/samples.h"

namespace {

using namespace der;
using namespace sample;
using meanings::list_of;
using ExtensionsTest = Balanced;

// The outcomes besides what was read of a value.
constexpr char kRefused[] = "refused";
constexpr char kPassed[] = "passed over";  // not read; refused if critical

struct Row {
  Der value;
  std::string classic, modern = classic;
};

// text gives a string's charset and bytes; "-" stands for none.
std::string text_of(const SshX509Text &value) {
  const SshStrOwner str(ssh_x509_text_make(value));
  if (!str) return value.present ? "unreadable" : "-";
  return std::to_string(str->charset) + ":" + std::string(ssh_bytes_text(value.octets));
}

// point gives a point, with the whole name that a relative one stands for.
template <class Point>
std::string point(const Point &given) {
  SshDN dn = {};
  const bool relative = ssh_x509_point_name_expand(given.name, &dn);
  const std::string name = relative ? "<" + own_text(ssh_dn_encode_ldap(&dn)) + ">" : "";
  ssh_dn_clear(&dn);
  Point others = given;
  if (relative) others.name = {};
  return name + meanings::meaning(others);
}

template <class T, class Show>
std::string each(const T *list, Show show) {
  std::string all;
  for (; list; list = list->next) all += show(*list) + " ";
  return all;
}

std::string extra(const SshX509Extra &item) {
  std::string all = hex(item.value) + "/" + hex(item.octets) + "/" + hex(item.items);
  if (item.text.present) all += text_of(item.text);
  return item.time.year ? all + std::to_string(item.time.year) : all;
}

std::string qualifier(const SshX509PolicyQualifier &q) {
  const std::string texts =
      text_of(q.cps_uri) + " " + text_of(q.organization) + " " + text_of(q.explicit_text);
  return q.notice_count == 0 ? texts
                             : texts + " " + std::to_string(q.notice_count) + "*" +
                                   std::to_string(q.notice_numbers[0]);
}

std::string seen_further(const SshX509Further &further) {
  std::string all = meanings::limit("any ", further.inhibit_any_policy, SSH_X509_NO_LIMIT) +
                    list_of(further.subject_info_access, "|") +
                    each(further.freshest_crl, point<SshX509DistributionPoint>) +
                    each(further.extras, extra);
  for (uint32_t i = 0; i < further.tls_feature_count; ++i)
    all += std::to_string(further.tls_features[i]) + " ";
  if (const SshX509CertTemplate *made = further.cert_template) {
    all += meanings::oid_of(made->id) + " " + std::to_string(made->major_version) + "." +
           std::to_string(made->minor_version);
  }
  return all;
}

// in_cert gives what an extension put into a record.
std::string in_cert(std::string_view id, const Der &value, bool critical) {
  const Cert cert = with_extension(id, value, critical);
  if (!cert) return kRefused;
  const SshOidRow *row = ssh_oid_find_by_oid(id.data(), SSH_OID_EXTENSION);
  EXPECT_EQ(row && cert->extensions.test(row->code), row != nullptr);
  EXPECT_EQ(row && cert->extensions.critical(row->code), critical);
  if (cert->further) return seen_further(*cert->further);
  if (!row || row->code > SSH_X509_EXT_EXTENDED_KEY_USAGE) return "";
  if (row->code == SSH_X509_EXT_CERTIFICATE_POLICIES) {
    return each(cert->policies, [](const SshX509PolicyInfo &policy) {
      return dotted(policy.id) + ";" + each(policy.qualifiers, qualifier);
    });
  }
  if (row->code == SSH_X509_EXT_CRL_DISTRIBUTION_POINTS) {
    EXPECT_EQ(cert->issuer_names ? cert->issuer_names->taken : 0, 0u) << "found, not taken";
    return each(cert->distribution_points, point<SshX509DistributionPoint>);
  }
  if (row->code == SSH_X509_EXT_SUBJECT_DIRECTORY_ATTRIBUTES) {
    return each(cert->directory_attributes,
                [](const SshX509Attribute &a) { return dotted(a.type) + "=" + hex(a.value); });
  }
  return meanings::read_meaning(*cert, row->code);
}

std::string in_crl(std::string_view id, const Der &value, bool critical) {
  CrlParts parts;
  parts.extensions = {extension(id, value, critical)};
  const Crl crl(parts.build());
  if (!crl) return kRefused;
  const SshOidRow *row = ssh_oid_find_by_oid(id.data(), SSH_OID_EXTENSION);
  if (crl->issuing_point) return point(*crl->issuing_point);
  const std::string read = row ? meanings::read_meaning(*crl, row->code) : "-";
  return read != "-" ? read
                     : each(crl->freshest_crl, point<SshX509DistributionPoint>) +
                           list_of(crl->authority_info_access, "|") + each(crl->extras, extra);
}

void run(const std::string &id, const std::vector<Row> &rows, decltype(in_cert) *see = in_cert) {
  for (const Row &row : rows) {
    for (const SshX509Profile profile : {SSH_X509_CLASSIC, SSH_X509_MODERN}) {
      const ProfileScope scope(profile);
      const std::string &expected = profile == SSH_X509_MODERN ? row.modern : row.classic;
      for (const bool critical : {false, true}) {
        const std::string passed = critical ? kRefused : "";
        EXPECT_EQ(see(id, row.value, critical), expected == kPassed ? passed : expected)
            << id << " " << hex(row.value) << (critical ? ", critical " : " ") << profile;
      }
    }
  }
}

// refuse has values that modern refuses, with what classic makes of them.
void refuse(const std::string &id, const char *classic, const std::vector<Der> &values,
            decltype(in_cert) *see = in_cert) {
  for (const Der &value : values) run(id, {{value, classic, kRefused}}, see);
}

const Der kDns = text(0x82, "d.example"), kDirectory = wrap(4, common_name("C"));
const std::string kNamed = "dn=" + hex(common_name("C"));

// decipherOnly is the ninth bit. A byte counts whole once its first bit does, the fifth one
// never.
TEST_F(ExtensionsTest, KeyUsage) {
  run("2.5.29.15", {{unhex("0303070080"), "8"},
                    {unhex("030207FF"), "0,1,2,3,4,5,6,7", "0"},  // the unused bits are none
                    {unhex("03020780FF"), "0", kRefused},
                    {unhex("2305 03030780 00"), "", kRefused},
                    {unhex("0300"), kRefused}});
}

// Any nonzero byte is true.
TEST_F(ExtensionsTest, BasicConstraints) {
  run("2.5.29.19", {{unhex("3003010102"), "ca=1;path=-"},
                    {unhex("3007020500FFFFFFFE"), "ca=0;path=4294967294"}});
  refuse("2.5.29.19", kRefused,
         {unhex("300702050100000000"), unhex("30030201FF"), unhex("3006 020100 0101FF")});
}

TEST_F(ExtensionsTest, KeyIdentifiers) {
  const Der kId = unhex("80020A0B"), kIssuer = tlv(0xA1, join({kDns, kDirectory}));
  run("2.5.29.35", {{seq({unhex("82021000"), kIssuer, kId}),
                     "keyid=0a0b;issuer=dns=d.example|" + kNamed + ";serial=4096"},
                    {seq({}), ""},
                    {unhex("3003 830105"), "", kRefused}});
  refuse("2.5.29.35", kRefused, {seq({tlv(0xA1, null())}), unhex("3005 A203020105")});
}

// The numbers of a notice are counted, but only the last one is kept, in the first slot.
TEST_F(ExtensionsTest, Policies) {
  const auto qualified = [](const std::string &last, const Der &value) {
    const Der one = seq({oid("1.3.6.1.5.5.7.2" + last), value});
    return seq({seq({oid("1.2.3"), seq({one})})});
  };
  const auto notice = [&](const std::vector<Der> &parts) { return qualified(".2", seq(parts)); };
  const auto reference = [](unsigned tag, const std::vector<Der> &numbers) {
    return seq({text(tag, "Or"), seq(numbers)});
  };
  const Der kOne = integer(1), kBare = reference(0x16, {}), kIa5 = text(0x16, "te");
  const Der kUtf8 = text(0x0C, "\xC3\xA9");  // that has a text under both profiles
  run("2.5.29.32",
      {{seq({null(), seq({oid("1.2")})}), "1.2; 1.2; ", kRefused},
       {qualified(".1", text(0x16, "u")), "1.2.3;2:u - -  "},
       {notice({reference(0x16, {kOne, kOne, integer(0xFFFF)})}), "1.2.3;- 2:Or - 3*65535  "},
       {notice({reference(0x16, {integer(0x10000)})}), kRefused},
       {notice({kBare, text(0x1E, "x")}), "1.2.3;- 2:Or unreadable  "},
       {notice({kBare, text(0x1A, "te")}), "1.2.3;- 2:Or 1:te  "},
       {notice({kBare, kIa5}), kRefused, "1.2.3;- 2:Or 2:te  "},
       {notice({kIa5}), kRefused, "1.2.3;- - 2:te  "},
       {notice({kIa5, kBare}), kRefused},
       {notice({text(0x13, "te")}), kRefused},
       {notice({reference(0x1A, {})}), kRefused, "1.2.3;- 1:Or -  "},
       {notice({kBare, kUtf8}), "1.2.3;- 2:Or 10:\xC3\xA9  "},
       {notice({kUtf8}), kRefused, "1.2.3;- - 10:\xC3\xA9  "}});
  // One that is not known is kept, unless the policies are critical.
  const ProfileScope modern(SSH_X509_MODERN);
  for (const char *last : {".3", ""}) {
    const Cert cert = with_extension("2.5.29.32", qualified(last, kOne));
    EXPECT_EQ(hex(cert->policies->qualifiers->value), hex(kOne));
    EXPECT_FALSE(with_extension("2.5.29.32", qualified(last, kOne), true));
  }
}

// Classic takes every element as one constraint; the size of the first number decides for both.
TEST_F(ExtensionsTest, PolicyConstraints) {
  const auto whole = [](const char *numbers) { return tlv(0x30, unhex(numbers)); };
  run("2.5.29.36",
      {{whole("3003800105 3006810107800100"), "require=5 require=0;inhibit=7"},
       {whole("300681040100 0000"), "inhibit=16777216"},
       {whole("3006 800400FFFFFF"), "require=16777215"},
       {whole("3006 800401000000"), kRefused, "require=16777216"},
       {whole("300A 800101 81050100000005"), "require=1;inhibit=5", kRefused},
       {whole("800401000000 810401000001"), kRefused, "require=16777216;inhibit=16777217"}});
  refuse("2.5.29.36", kRefused,
         {whole("3005 A003020105"), whole("0500 3003800105"), whole("800101820100"),
          whole("8101FF"), whole("80050100000000")});
}

// Classic reads the fields of a subtree from the list of subtrees itself, once for each of its
// elements, and the excluded ones from the permitted list; tagged lists, which all certificates of
// today have, do not match.
TEST_F(ExtensionsTest, NameConstraints) {
  const Der kPermitted = tlv(0xA0, seq({kDns})), kExcluded = tlv(0xA1, null());
  const Der kList = seq({kDns, unhex("800103"), unhex("810109")}), kDnsList = seq({kDns});
  const auto limit = [&](const char *number) {
    return seq({kPermitted, seq({kDns, unhex(number)})});
  };
  const std::string kOne = "dns=d.example,min=3,max=9";
  const std::string kThree = "permitted{" + kOne + "|" + kOne + "|" + kOne + "}";
  run("2.5.29.30",
      {{join({seq({}), {0xFF}}), "", kRefused},
       {seq({kPermitted, kExcluded, kList}), kThree + "excluded" + kThree.substr(9), kRefused},
       {seq({kPermitted, kDnsList}), "permitted{dns=d.example}", kRefused},
       {limit("800400FFFFFF"), "permitted{dns=d.example,min=16777215|dns=d.example,min=16777215}",
        kRefused}});
  refuse("2.5.29.30", kRefused,
         {seq({kExcluded, kList}), limit("800401000000"), limit("810401000000"),
          seq({kPermitted, kDnsList, kDnsList})});
}

TEST_F(ExtensionsTest, StandardNameConstraints) {
  const auto permitted = [](const std::vector<Der> &trees) { return seq({wrap(0, join(trees))}); };
  const auto range = [&](const char *numbers) { return permitted({seq({kDns, unhex(numbers)})}); };
  run("2.5.29.30",
      {// The tag of a base may be that of a number.
       {permitted({seq({text(0x81, "m"), unhex("810107")})}), kRefused, "permitted{email=m,max=7}"},
       {permitted({seq({tlv(0xA4, seq({}))})}), kRefused,
        "permitted{dn=3000}"},  // the whole directory
       {range("800401000000810500FFFFFFFE"), kRefused,
        "permitted{dns=d.example,min=16777216,max=4294967294}"}});
  refuse("2.5.29.30", kRefused,
         {range("81050100000000"), permitted({seq({})}), permitted({seq({kDns}), null()})});
}

const Der kUnit = attribute("2.5.4.11", text(0x13, "Unit"));
const Der kRelative = wrap(0, wrap(1, kUnit)), kExplicit = wrap(0, wrap(1, set({kUnit})));
const Der kFull = wrap(0, tlv(0xA0, text(0x86, "u")));
const std::string kUnitOfIssuer = "<CN=Issuer, OU=Unit>";

TEST_F(ExtensionsTest, DistributionPoints) {
  const auto in_list = [](const std::vector<Der> &parts) { return seq({seq(parts)}); };
  const Der issuer = tlv(0xA2, kDirectory), no_issuer = tlv(0xA2, kDns);
  const std::string alone = "[issuer=" + kNamed + "] ";
  run("2.5.29.31",
      {{seq({seq({kExplicit}), seq({kExplicit})}), kUnitOfIssuer + "[] " + kUnitOfIssuer + "[] "},
       {in_list({kRelative}), kRefused, kUnitOfIssuer + "[] "},
       {in_list({kExplicit, issuer}), kUnitOfIssuer + alone, "<CN=C, OU=Unit>" + alone},
       {in_list({kExplicit, no_issuer}), kUnitOfIssuer + "[issuer=dns=d.example] ", kRefused},
       {in_list({kFull, unhex("8103070180"), issuer}),
        "[full=uri=u;reasons=7,8;issuer=" + kNamed + "] "},
       {in_list({kFull, tlv(0x84, Der{1})}), "[full=uri=u] ", kRefused}});
  refuse("2.5.29.31", kRefused,
         {in_list({wrap(0, tlv(0xA2, kDns))}), in_list({wrap(0, wrap(1, {}))}),
          in_list({tlv(0xA2, null())}), in_list({tlv(0x81, {})}), seq({null(), seq({kFull})})});
}

// Classic searches: from an element that does not fit it finds the next one that does.
TEST_F(ExtensionsTest, Lists) {
  run("2.5.29.16", {{seq({text(0x80, "20010203040506.5Z")}), kRefused}});
  run("2.5.29.37", {{seq({null(), oid("1.2.3")}), "1.2.3 1.2.3", kRefused},
                    {seq({oid("1.2.3"), null()}), kRefused}});
  const auto access = [](const std::vector<Der> &rest) {
    return seq({seq({oid("1.2.4"), join(rest)})});
  };
  run("1.3.6.1.5.5.7.1.1",
      {{access({kDns, null()}), "1.2.4>dns=d.example", kRefused}, {access({null()}), kRefused}});
  run("2.5.29.9",
      {{seq({seq({oid("1.2.3"), set({null()})})}), "1.2.3=31020500 "}, {seq({null()}), kRefused}});
  run("2.5.29.33", {{seq({seq({oid("1.2.1")})}), kRefused}});
}

// The list may have any tag, and reads newest first. An identifier is its text and has no length.
TEST_F(ExtensionsTest, Names) {
  const Der kOther = tlv(0xA0, join({oid("2.10.3"), wrap(0, text(0x0C, "x"))}));
  run("2.5.29.17", {{tlv(0xA5, kDns), "dns=d.example"}, {seq({}), ""}, {{}, kRefused}});
  for (const Der &name : {tlv(0x89, {}), text(0x16, "a@b"), wrap(4, {}),
                          wrap(4, seq({set({null()})})), tlv(0x88, unhex("2A83"))}) {
    run("2.5.29.17", {{seq({kDns, name}), kRefused}});
  }
  const Cert cert = with_extension(
      "2.5.29.17", seq({kDns, kOther, tlv(0x87, Der{1, 2}), tlv(0x88, unhex("2A0304"))}));
  std::string told;
  for (const SshX509Name *n = cert->subject_names; n; n = n->next)
    told += own_text(ssh_x509_name_text(n)) + "/" + std::to_string(n->data_length) + " ";
  EXPECT_EQ(told, "1.2.3.4/0 (null)/2 (null)/" + std::to_string(kOther.size()) +
                      " d.example/0 CN=Subject/0 ");
}

TEST_F(ExtensionsTest, FurtherKinds) {
  const auto info = [](const Der &location) {
    return seq({seq({oid("1.3.6.1.5.5.7.48.5"), location})});
  };
  const Der id = oid("1.3.6.1.4"), big = integer(0xFFFFFFFF), larger = integer(0x100000000);
  run("2.5.29.54", {{integer(0), kPassed, "any 0"}, {big, kPassed, ""}});
  refuse("2.5.29.54", kPassed, {integer(-1), larger, seq({})});
  run("1.3.6.1.5.5.7.1.11", {{info(kDns), kPassed, "1.3.6.1.5.5.7.48.5>dns=d.example"}});
  refuse("1.3.6.1.5.5.7.1.11", kPassed, {info(null())});
  run("2.5.29.46", {{seq({seq({kRelative})}), kPassed, kUnitOfIssuer + "[] "},
                    {seq({null()}), kPassed, kRefused}});
  const char *const features = "1.3.6.1.5.5.7.1.24", *const of_template = "1.3.6.1.4.1.311.21.7";
  run(features, {{seq({integer(5), integer(17)}), kPassed, "5 17 "}, {seq({}), kPassed, ""}});
  refuse(features, kPassed, {seq({integer(5), text(0x16, "5")}), seq({integer(-5)}), big});
  run(of_template, {{seq({id, integer(100), big}), kPassed, "1.3.6.1.4 100.4294967295"},
                    {seq({id}), kPassed, "1.3.6.1.4 0.0"}});
  refuse(of_template, kPassed, {seq({id, big, larger}), seq({big})});
}

// Those that are kept as they stand are of their type.
TEST_F(ExtensionsTest, KeptKinds) {
  const Der item = seq({oid("0.4.0.1862.1.1")}), items = seq({item}), some = unhex("04020001");
  const Der text = der::text(0x16, "hi");
  const std::string netscape = "2.16.840.1.113730.1.";
  const std::tuple<std::string, Der, std::string> rows[] = {
      {"1.3.6.1.5.5.7.48.1.5", null(), "/"},
      {"1.3.6.1.4.1.11129.2.4.2", some, "0001/"},
      {netscape + "1", bits({0x40}, 6), "40/"},
      {"1.3.6.1.4.1.311.21.1", integer(0x10001), "010001/"},
      {netscape + "2", text, "/2:hi"},
      {"1.3.6.1.4.1.311.20.2", der::text(0x1E, "Ab"), "/8:Ab"},
      {"1.3.6.1.5.5.7.1.3", items, "/" + hex(item)},
  };
  for (const auto &[id, value, shown] : rows) {
    run(id, {{value, kPassed, hex(value) + "/" + shown + " "}});
    refuse(id, kPassed, {{}, boolean(true)});
  }
  run(netscape + "13", {{der::text(0x13, "hi"), kPassed, hex(der::text(0x13, "hi")) + "//0:hi "},
                        {der::text(0x0C, "hi"), kPassed, kRefused}});
  // They stay in the order of the certificate.
  const ProfileScope modern(SSH_X509_MODERN);
  const Cert cert(with(&CertParts::extensions, {extension("1.3.6.1.5.5.7.1.3", items),
                                                extension("1.3.6.1.4.1.11129.2.4.2", some)}));
  EXPECT_EQ(seen_further(*cert->further),
            hex(items) + "//" + hex(item) + " " + hex(some) + "/0001/ ");
}

TEST_F(ExtensionsTest, OfCrls) {
  const Der utc = text(0x17, "300102030405Z"), general = text(0x18, "20300102030405Z");
  const Der info = seq({seq({oid("1.3.6.1.5.5.7.48.2"), kDns})});
  const std::pair<const char *, std::vector<Row>> kinds[] = {
      {"2.5.29.20", {{octets({}), kRefused}}},
      {"2.5.29.27", {{integer(-5), "-5"}, {tlv(0x22, integer(5)), kRefused}}},
      {"2.5.29.35", {{set({}), kRefused}}},
      {"2.5.29.18", {{seq({text(0x0C, "dns")}), kRefused}}},
      {"2.5.29.46",
       {{seq({seq({kRelative})}), kPassed, kUnitOfIssuer + "[] "}, {null(), kPassed, kRefused}}},
      {"1.3.6.1.5.5.7.1.1",
       {{info, kPassed, "1.3.6.1.5.5.7.48.2>dns=d.example"}, {seq({null()}), kPassed, kRefused}}},
      {"1.3.6.1.4.1.311.21.1", {{integer(2), kPassed, "020102/02/ "}}},
      {"2.5.29.60", {{general, kPassed, hex(general) + "//2030 "}, {utc, kPassed, kRefused}}},
      {"1.3.6.1.4.1.311.21.4",
       {{utc, kPassed, hex(utc) + "//2030 "}, {text(0x17, "301302030405Z"), kPassed, kRefused}}},
      {"2.5.29.28",
       {{seq({kRelative}), kRefused, kUnitOfIssuer},
        {seq({kExplicit, unhex("8101FF"), retag(0x83, bits({0x60, 0x80}, 7)), unhex("8401FF")}),
         kUnitOfIssuer + "user=1;reasons=1,2,8;indirect=1"},
        {unhex("3003 8501FF"), ""},
        {unhex("3003 8901FF"), "", kRefused},
        {unhex("3006 A30403020560"), kRefused},
        {unhex("3004 81020000"), kRefused}}}};
  for (const auto &[id, rows] : kinds) run(id, rows, in_crl);
  run("2.5.29.17", {{unhex("DEAD"), kPassed}}, in_crl);  // that has its place elsewhere
  run("2.5.29.20", {{unhex("DEAD"), kPassed}});
}

}  // namespace
