#include "x509/extensions.h"

#include <gtest/gtest.h>

#include "support/samples.h"

namespace {

using sample::Cert;
using sample::dotted;
using sample::own_text;
using sample::with_extension;
using ExtensionsTest = sample::Balanced;

struct Row {
  const char *why;
  Der value;
  bool accepted;
};

void run(std::string_view id, const std::vector<Row> &rows) {
  for (const Row &row : rows) {
    EXPECT_EQ(static_cast<bool>(with_extension(id, row.value)), row.accepted) << row.why;
  }
}

// name_texts gives a name list's texts, oldest first: "a|b".
std::string name_texts(const SshX509Name *list) {
  std::string text;
  for (; list; list = list->next)
    text = own_text(ssh_x509_name_text(list)) + (text.empty() ? "" : "|") + text;
  return text;
}

const Der kDns = der::text(0x82, "d.example");

TEST_F(ExtensionsTest, KeyUsage) {
  const struct {
    const char *why, *value;
    uint32_t mask;
  } rows[] = {
      {"digitalSignature", "03020780", 0x80},
      {"keyCertSign and cRLSign", "03020106", 0x06},
      {"decipherOnly is the ninth bit", "0303070080", 0x8000},
      {"no bits", "030100", 0},
      {"as many unused bits as there are", "03020880", 0},
      {"an octet counts whole once its first bit does", "030207FF", 0xFF},
      {"four octets", "03050001020304", 0x04030201},
      {"bits beyond the 32nd", "0306000102030405", 0x04030201},
      {"what stands before it", "050003020780", 0x80},
      {"what follows it", "03020780FF", 0x80},
  };
  for (const auto &row : rows) {
    const Cert cert = with_extension("2.5.29.15", unhex(row.value));
    ASSERT_TRUE(cert) << row.why;
    EXPECT_EQ(cert->key_usage, row.mask) << row.why;
  }
  run("2.5.29.15", {{"no octets", unhex("0300"), false},
                    {"more unused bits than bits", unhex("03020980"), false},
                    {"an INTEGER", unhex("020100"), false},
                    {"cut", unhex("030307"), false},
                    {"nothing", {}, false}});
}

TEST_F(ExtensionsTest, BasicConstraints) {
  const struct {
    const char *why, *value;
    int ca;
    uint32_t path_length;
  } rows[] = {
      {"empty", "3000", 0, SSH_X509_NO_LIMIT},
      {"CA", "30030101FF", 1, SSH_X509_NO_LIMIT},
      {"any nonzero octet is true", "3003010102", 1, SSH_X509_NO_LIMIT},
      {"not a CA", "3003010100", 0, SSH_X509_NO_LIMIT},
      {"CA with a path length", "30060101FF020105", 1, 5},
      {"a path length without CA", "3003020105", 0, 5},
      {"the largest path length", "3007020500FFFFFFFF", 0, 0xFFFFFFFF},
      {"the wrong order hides the path length", "30060201050101FF", 1, SSH_X509_NO_LIMIT},
      {"other elements are passed over", "300504010005000000", 0, SSH_X509_NO_LIMIT},
  };
  for (const auto &row : rows) {
    const Cert cert = with_extension("2.5.29.19", unhex(row.value));
    ASSERT_TRUE(cert) << row.why;
    EXPECT_EQ(cert->ca, row.ca) << row.why;
    EXPECT_EQ(cert->path_length, row.path_length) << row.why;
  }
  run("2.5.29.19", {{"a path length of 2^32", unhex("300702050100000000"), false},
                    {"a negative path length", unhex("30030201FF"), false},
                    {"a BOOLEAN without an octet", unhex("30020100"), false},
                    {"a SET", unhex("3100"), false}});
}

TEST_F(ExtensionsTest, KeyIdentifiers) {
  const Cert subject = with_extension("2.5.29.14", unhex("0403010203"));
  ASSERT_TRUE(subject && subject->subject_key_id);
  EXPECT_EQ(hex(subject->subject_key_id->key_id), "010203");
  EXPECT_EQ(subject->subject_key_id->serial, SshMpInt(-1));
  EXPECT_FALSE(subject->authority_key_id);
  EXPECT_TRUE(with_extension("2.5.29.14", unhex("0400"))->subject_key_id->key_id.empty());
  run("2.5.29.14", {{"a bit string", unhex("0303000102"), false}, {"nothing", {}, false}});

  const Der kId = unhex("80020A0B"), kSerial = unhex("82021000");
  const Der kIssuer = der::tlv(0xA1, der::join({kDns, der::wrap(4, der::common_name("I"))}));
  const Cert full = with_extension("2.5.29.35", der::seq({kId, kIssuer, kSerial}));
  ASSERT_TRUE(full && full->authority_key_id);
  EXPECT_EQ(hex(full->authority_key_id->key_id), "0a0b");
  EXPECT_EQ(name_texts(full->authority_key_id->issuer), "d.example|CN=I");
  EXPECT_EQ(full->authority_key_id->serial, SshMpInt(0x1000));
  const Cert shuffled = with_extension("2.5.29.35", der::seq({kSerial, kIssuer, kId}));
  ASSERT_TRUE(shuffled) << "tagged elements stand in any order";
  EXPECT_EQ(hex(shuffled->authority_key_id->key_id), "0a0b");
  const Cert none = with_extension("2.5.29.35", der::seq({}));
  ASSERT_TRUE(none && none->authority_key_id);
  EXPECT_TRUE(none->authority_key_id->key_id.empty() && !none->authority_key_id->issuer);
  EXPECT_EQ(none->authority_key_id->serial, SshMpInt(-1));
  run("2.5.29.35", {{"an issuer that is no name", der::seq({der::tlv(0xA1, der::null())}), false},
                    {"an OCTET STRING", unhex("0401FF"), false}});
}

TEST_F(ExtensionsTest, PrivateKeyUsagePeriod) {
  const Der kFrom = der::text(0x80, "20010203040506Z"), kTo = der::text(0x81, "20020203040506Z");
  const Cert both = with_extension("2.5.29.16", der::seq({kFrom, kTo}));
  EXPECT_EQ(both->key_not_before, (SshBerTime{2001, 2, 3, 4, 5, 6}));
  EXPECT_EQ(both->key_not_after, (SshBerTime{2002, 2, 3, 4, 5, 6}));
  const Cert end = with_extension("2.5.29.16", der::seq({kTo}));
  EXPECT_EQ(end->key_not_before, SshBerTime{});
  EXPECT_EQ(end->key_not_after.year, 2002u);
  run("2.5.29.16", {{"neither", der::seq({}), true},
                    {"month 13", der::seq({der::text(0x80, "20011303040506Z")}), false},
                    {"a fraction", der::seq({der::text(0x80, "20010203040506.5Z")}), false}});
}

TEST_F(ExtensionsTest, Policies) {
  const Der kNotice =
      der::seq({der::seq({der::text(0x16, "Org"),
                          der::seq({der::integer(1), der::integer(2), der::integer(0xFFFF)})}),
                der::text(0x0C, "\xC3\xA9")});
  const Der kCps = der::seq({der::oid("1.3.6.1.5.5.7.2.1"), der::text(0x16, "http://cps")});
  const auto notice = [](const Der &value) {
    return der::seq({der::oid("1.3.6.1.5.5.7.2.2"), value});
  };
  const auto policy = [](const std::vector<Der> &qualifiers) {
    return der::seq({der::seq({der::oid("1.2.3.4"), der::seq(qualifiers)})});
  };
  const Cert cert = with_extension(
      "2.5.29.32", der::seq({der::seq({der::oid("1.2.3")}),
                             der::seq({der::oid("1.2.4"), der::seq({kCps, notice(kNotice)})})}));
  ASSERT_TRUE(cert && cert->policies && cert->policies->next && !cert->policies->next->next);
  EXPECT_EQ(dotted(cert->policies->id), "1.2.3");
  EXPECT_FALSE(cert->policies->qualifiers);
  EXPECT_EQ(dotted(cert->policies->next->id), "1.2.4");
  const SshX509PolicyQualifier *cps = cert->policies->next->qualifiers;
  ASSERT_TRUE(cps && cps->next && !cps->next->next);
  EXPECT_EQ(dotted(cps->id), "1.3.6.1.5.5.7.2.1");
  EXPECT_EQ(ssh_bytes_text(cps->cps_uri.octets), "http://cps");
  EXPECT_FALSE(cps->explicit_text.present || cps->organization.present);
  // The numbers are counted, but only the last one is kept, in the first slot.
  const SshX509PolicyQualifier *said = cps->next;
  EXPECT_EQ(said->notice_count, 3u);
  ASSERT_TRUE(said->notice_numbers);
  EXPECT_EQ(said->notice_numbers[0], 0xFFFFu);
  EXPECT_EQ(ssh_bytes_text(said->organization.octets), "Org");
  EXPECT_EQ(said->explicit_text.charset, SSH_CHARSET_UTF8);
  const SshStrOwner text(ssh_x509_text_make(said->explicit_text));
  uint32_t letter = 0;
  ASSERT_TRUE(text && ssh_str_get_letter(text.get(), 0, &letter));
  EXPECT_EQ(letter, 0xE9u);
  EXPECT_EQ(ssh_x509_text_make(said->cps_uri), nullptr);

  const auto reference = [](const Der &organization, const std::vector<Der> &numbers) {
    return der::seq({organization, der::seq(numbers)});
  };
  const Der kOrg = der::text(0x16, "Org"), kReference = reference(kOrg, {der::integer(1)});
  run("2.5.29.32",
      {
          {"no policies", der::seq({}), true},
          {"no qualifiers in the list", policy({}), true},
          {"a policy without identifier", der::seq({der::seq({})}), false},
          {"an unknown qualifier", policy({der::seq({der::oid("1.3.6.1.5.5.7.2.3"), kOrg})}),
           false},
          {"an unknown qualifier after a good one",
           policy({kCps, der::seq({der::oid("1.2.3"), kOrg})}), false},
          {"the arc of qualifiers", policy({der::seq({der::oid("1.3.6.1.5.5.7.2"), kOrg})}), false},
          {"a CPS in UTF-8",
           policy({der::seq({der::oid("1.3.6.1.5.5.7.2.1"), der::text(0x0C, "x")})}), false},
          {"a qualifier without a value", policy({der::seq({der::oid("1.3.6.1.5.5.7.2.1")})}),
           false},
          {"an empty notice", policy({notice(der::seq({}))}), true},
          {"no numbers", policy({notice(der::seq({reference(kOrg, {})}))}), true},
          {"a number of 17 bits",
           policy({notice(der::seq({reference(kOrg, {der::integer(0x10000)})}))}), false},
          {"a first number of 17 bits",
           policy({notice(der::seq({reference(kOrg, {der::integer(0x10000), der::integer(1)})}))}),
           false},
          {"a number that is none",
           policy({notice(der::seq({reference(kOrg, {der::octets({})})}))}), false},
          {"an organization in VisibleString",
           policy({notice(der::seq({reference(der::text(0x1A, "Org"), {der::integer(1)})}))}),
           false},
          {"a visible text", policy({notice(der::seq({kReference, der::text(0x1A, "x")}))}), true},
          {"a BMP text of odd length",
           policy({notice(der::seq({kReference, der::text(0x1E, "x")}))}), true},
          {"an IA5 text", policy({notice(der::seq({kReference, kOrg}))}), false},
          {"a text alone is taken for a reference",
           policy({notice(der::seq({der::text(0x1A, "x")}))}), false},
      });
}

TEST_F(ExtensionsTest, PolicyMappingsAndConstraints) {
  const Cert mapped =
      with_extension("2.5.29.33", der::seq({der::seq({der::oid("1.2.1"), der::oid("1.2.2")}),
                                            der::seq({der::oid("1.2.3"), der::oid("1.2.4")})}));
  ASSERT_TRUE(mapped && mapped->policy_mappings && mapped->policy_mappings->next);
  EXPECT_EQ(dotted(mapped->policy_mappings->subject_policy), "1.2.2");
  EXPECT_EQ(dotted(mapped->policy_mappings->next->issuer_policy), "1.2.3");
  run("2.5.29.33", {{"half a mapping", der::seq({der::seq({der::oid("1.2.1")})}), false},
                    {"none", der::seq({}), true}});

  // Every element is one constraint, and the size of the first number decides for the second one
  // too.
  const auto constraint = [](const char *numbers) { return der::tlv(0x30, unhex(numbers)); };
  const Cert cert = with_extension(
      "2.5.29.36", der::seq({constraint("800105"), constraint("8101078000"), constraint("8100"),
                             constraint("81087000000000000003")}));
  ASSERT_TRUE(cert);
  std::string seen;
  for (const auto *c = cert->policy_constraints; c; c = c->next) {
    seen += std::to_string(c->require_explicit_policy) + "," +
            std::to_string(c->inhibit_policy_mapping) + " ";
  }
  EXPECT_EQ(seen, "5,4294967295 0,7 4294967295,0 4294967295,3 ");
  run("2.5.29.36",
      {
          {"the usual form", der::tlv(0x30, unhex("800100")), false},
          {"a first number of 25 bits", der::seq({constraint("800401000000")}), false},
          {"a first number of 24 bits", der::seq({constraint("800400FFFFFF")}), true},
          {"both, the first too large", der::seq({constraint("800401000000810101")}), false},
          {"both, the second too large", der::seq({constraint("800101810401000000")}), true},
          {"none", der::seq({}), true},
      });
}

// The fields of a subtree are read from the list of subtrees itself, once for each of its elements,
// and the excluded ones from the permitted list; tagged lists, which all certificates of today
// have, do not match.
TEST_F(ExtensionsTest, NameConstraints) {
  const Der kPermitted = der::tlv(0xA0, der::seq({kDns}));
  const Der kMinimum = unhex("800103"), kMaximum = unhex("810109");
  const Der kList = der::seq({kDns, kMinimum, kMaximum});
  const auto subtrees = [](const SshX509Subtree *list) {
    std::string text;
    for (; list; list = list->next) {
      text += name_texts(list->base) + "/" + std::to_string(list->minimum) + "/" +
              std::to_string(list->maximum) + " ";
    }
    return text;
  };
  const std::string kThree = "d.example/3/9 d.example/3/9 d.example/3/9 ";
  const Cert permitted = with_extension("2.5.29.30", der::seq({kPermitted, kList}));
  ASSERT_TRUE(permitted);
  EXPECT_EQ(subtrees(permitted->permitted), kThree);
  EXPECT_EQ(subtrees(permitted->excluded), "");
  const Cert both =
      with_extension("2.5.29.30", der::seq({kPermitted, der::tlv(0xA1, der::null()), kList}));
  ASSERT_TRUE(both);
  EXPECT_EQ(subtrees(both->permitted), kThree);
  EXPECT_EQ(subtrees(both->excluded), kThree);
  const Cert defaults = with_extension("2.5.29.30", der::seq({kPermitted, der::seq({kDns})}));
  ASSERT_TRUE(defaults);
  EXPECT_EQ(subtrees(defaults->permitted), "d.example/0/4294967295 ");
  run("2.5.29.30",
      {
          {"neither", der::seq({}), true},
          {"permitted, in the usual form", der::seq({kPermitted}), false},
          {"excluded, in the usual form", der::seq({der::tlv(0xA1, der::seq({kDns}))}), false},
          {"excluded alone has nothing to read", der::seq({der::tlv(0xA1, der::null()), kList}),
           false},
          {"an empty list", der::seq({kPermitted, der::seq({})}), true},
          {"a minimum of 24 bits", der::seq({kPermitted, der::seq({kDns, unhex("800400FFFFFF")})}),
           true},
          {"a minimum of 25 bits", der::seq({kPermitted, der::seq({kDns, unhex("800401000000")})}),
           false},
          {"a maximum of 25 bits", der::seq({kPermitted, der::seq({kDns, unhex("810401000000")})}),
           false},
          {"a base that is no name", der::seq({kPermitted, der::seq({der::null(), kMinimum})}),
           false},
      });
}

TEST_F(ExtensionsTest, DistributionPoints) {
  const Der kPair = der::attribute("2.5.4.11", der::text(0x13, "Unit"));
  const Der kRelative = der::wrap(0, der::wrap(1, der::set({kPair})));
  const Der kFull = der::wrap(0, der::tlv(0xA0, der::join({kDns, der::text(0x86, "http://x")})));
  const Der kReasons = der::retag(0x81, der::bits({0x60}, 4));
  const Der kIssuer = der::tlv(0xA2, der::wrap(4, der::common_name("C")));
  const Cert cert =
      with_extension("2.5.29.31", der::seq({der::seq({kFull, kReasons, kIssuer}),
                                            der::seq({kRelative}), der::seq({kRelative})}));
  ASSERT_TRUE(cert);
  const SshX509DistributionPoint *point = cert->distribution_points;
  ASSERT_TRUE(point && point->next && point->next->next && !point->next->next->next);
  EXPECT_EQ(name_texts(point->name.full), "d.example|http://x");
  EXPECT_EQ(point->reasons, 0x60u);
  EXPECT_EQ(name_texts(point->crl_issuer), "CN=C");
  SshDN dn = {};
  EXPECT_FALSE(ssh_x509_point_name_expand(point->name, &dn));
  for (point = point->next; point; point = point->next) {
    ASSERT_TRUE(ssh_x509_point_name_expand(point->name, &dn));
    EXPECT_EQ(own_text(ssh_dn_encode_ldap(&dn)), "CN=Issuer, OU=Unit");
    ssh_dn_clear(&dn);
  }
  EXPECT_EQ(cert->issuer_names->taken, 0u)
      << "finding the issuer does not take it, unlike in a CRL";

  run("2.5.29.31",
      {
          {"no points", der::seq({}), true},
          {"an empty point", der::seq({der::seq({})}), true},
          {"an empty full name", der::seq({der::seq({der::wrap(0, der::tlv(0xA0, {}))})}), true},
          {"a bad full name", der::seq({der::seq({der::wrap(0, der::tlv(0xA0, der::null()))})}),
           false},
          {"a name that is no alternative",
           der::seq({der::seq({der::wrap(0, der::tlv(0xA2, kDns))})}), false},
          {"a relative name without pairs",
           der::seq({der::seq({der::wrap(0, der::wrap(1, der::null()))})}), false},
          {"a bad issuer", der::seq({der::seq({der::tlv(0xA2, der::null())})}), false},
          {"reasons of no octets", der::seq({der::seq({der::tlv(0x81, {})})}), false},
          {"a point that is none", der::seq({der::null()}), false},
      });
  sample::CertParts parts;
  parts.issuer = der::seq({});
  parts.extensions = {sample::extension("2.5.29.31", der::seq({der::seq({kRelative})}))};
  EXPECT_FALSE(Cert(parts.build())) << "relative to an empty issuer";
}

TEST_F(ExtensionsTest, IdentifierLists) {
  const Cert usage =
      with_extension("2.5.29.37", der::seq({der::oid("1.2.3"), der::oid("2.5.29.37.0")}));
  ASSERT_TRUE(usage && usage->extended_key_usage && usage->extended_key_usage->next);
  EXPECT_EQ(dotted(usage->extended_key_usage->id), "1.2.3");
  EXPECT_EQ(dotted(usage->extended_key_usage->next->id), "2.5.29.37.0");
  run("2.5.29.37", {{"none", der::seq({}), true},
                    {"a purpose that is none", der::seq({der::oid("1.2.3"), der::null()}), false},
                    {"a purpose without arcs", der::seq({der::tlv(6, {})}), false}});

  const auto access = [](const Der &location) {
    return der::seq({der::oid("1.3.6.1.5.5.7.48.1"), location});
  };
  const Cert info = with_extension("1.3.6.1.5.5.7.1.1",
                                   der::seq({access(der::text(0x86, "http://o")), access(kDns)}));
  ASSERT_TRUE(info && info->authority_info_access && info->authority_info_access->next);
  EXPECT_EQ(dotted(info->authority_info_access->method), "1.3.6.1.5.5.7.48.1");
  EXPECT_EQ(name_texts(info->authority_info_access->location), "http://o");
  EXPECT_EQ(name_texts(info->authority_info_access->next->location), "d.example");
  run("1.3.6.1.5.5.7.1.1", {{"none", der::seq({}), true},
                            {"no location", der::seq({access({})}), false},
                            {"a bad location", der::seq({access(der::null())}), false}});

  const Der kValues = der::set({der::text(0x13, "v"), der::null()});
  const Cert attributes =
      with_extension("2.5.29.9", der::seq({der::seq({der::oid("1.2.3"), kValues})}));
  ASSERT_TRUE(attributes && attributes->directory_attributes);
  EXPECT_EQ(dotted(attributes->directory_attributes->type), "1.2.3");
  EXPECT_EQ(hex(attributes->directory_attributes->value), hex(kValues));
  run("2.5.29.9", {{"none", der::seq({}), true},
                   {"an attribute without type", der::seq({der::seq({})}), false}});
}

TEST_F(ExtensionsTest, AlternativeNamesJoinTheNames) {
  const Cert subject = with_extension("2.5.29.17", der::seq({kDns}));
  EXPECT_EQ(name_texts(subject->subject_names), "CN=Subject|d.example");
  EXPECT_EQ(name_texts(subject->issuer_names), "CN=Issuer");
  const Cert issuer = with_extension("2.5.29.18", der::seq({kDns}));
  EXPECT_EQ(name_texts(issuer->subject_names), "CN=Subject");
  EXPECT_EQ(name_texts(issuer->issuer_names), "CN=Issuer|d.example");
  EXPECT_TRUE(with_extension("2.5.29.17", der::tlv(0xA5, kDns))) << "a list under any tag";
  EXPECT_TRUE(with_extension("2.5.29.17", der::seq({})));
  EXPECT_FALSE(with_extension("2.5.29.17", {}));
}

}  // namespace
