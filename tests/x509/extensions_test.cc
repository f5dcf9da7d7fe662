#include "x509/extensions.h"

#include <gtest/gtest.h>

#include "support/samples.h"

namespace {

using namespace der;
using namespace sample;
using ExtensionsTest = sample::Balanced;

using Show = std::string (*)(const SshX509Cert &);
struct Row {
  Der value;
  std::string seen;  // what comes into the record
};
Row is(const Der &value, const std::string &seen) { return {value, seen}; }

void run(std::string_view id, Show show, const std::vector<Row> &rows,
         const std::vector<Der> &refused = {}) {
  for (const Row &row : rows) {
    const Cert cert = with_extension(id, row.value);
    EXPECT_EQ(cert ? show(*cert) : "refused", row.seen) << id << " " << hex(row.value);
  }
  for (const Der &value : refused)
    EXPECT_FALSE(with_extension(id, value)) << id << " " << hex(value);
}

// Strings of what lists hold, oldest first; "-" stands for what is absent.
std::string number(uint32_t value) {
  return value == SSH_X509_NO_LIMIT ? "-" : std::to_string(value);
}
std::string names(const SshX509Name *list) {
  std::string all;
  for (; list; list = list->next)
    all = own_text(ssh_x509_name_text(list)) + (all.empty() ? "" : "|") + all;
  return all;
}
std::string letters(const SshX509Text &value) {
  const SshStrOwner str(ssh_x509_text_make(value));
  if (!str) return value.present ? "unreadable" : "-";
  size_t length = 0;
  const SshBlock octets(ssh_str_get(str.get(), &length));
  return std::to_string(str->charset) + ":" + std::string(ssh_bytes_text({octets.get(), length}));
}
template <class T, class Show>
std::string each(const T *list, Show show) {
  std::string all;
  for (; list; list = list->next) all += show(*list) + " ";
  return all;
}
std::string key_id(const SshX509KeyId *id) {
  return id ? hex(id->key_id) + "," + names(id->issuer) + "," + decimal(id->serial()) : "-";
}

const Der kDns = text(0x82, "d.example"), kDirectory = wrap(4, common_name("C"));

// decipherOnly is the ninth bit. An octet counts whole once its first bit does, the fifth one
// never.
TEST_F(ExtensionsTest, KeyUsage) {
  const Show mask = [](const SshX509Cert &cert) { return std::to_string(cert.key_usage); };
  run("2.5.29.15", mask,
      {is(unhex("03020106"), "6"), is(unhex("0303070080"), "32768"), is(unhex("030100"), "0"),
       is(unhex("03020880"), "0"), is(unhex("030207FF"), "255"),
       is(unhex("0306000102030405"), "67305985"), is(unhex("03020780FF"), "128")},
      {unhex("0300"), Der{}});
}

// Any nonzero octet is true.
TEST_F(ExtensionsTest, BasicConstraints) {
  const Show show = [](const SshX509Cert &cert) {
    return std::to_string(cert.ca) + "," + number(cert.path_length);
  };
  run("2.5.29.19", show,
      {is(unhex("3000"), "0,-"), is(unhex("3003010102"), "1,-"),
       is(unhex("30060101FF020105"), "1,5"), is(unhex("3003020105"), "0,5"),
       is(unhex("3007020500FFFFFFFE"), "0,4294967294")},
      {unhex("300702050100000000"), unhex("30030201FF"), unhex("3100")});
}

TEST_F(ExtensionsTest, KeyIdentifiers) {
  const Show show = [](const SshX509Cert &cert) {
    return key_id(cert.subject_key_id) + " " + key_id(cert.authority_key_id);
  };
  run("2.5.29.14", show, {is(unhex("0403010203"), "010203,,-1 -"), is(unhex("0400"), ",,-1 -")},
      {Der{}});
  const Der kId = unhex("80020A0B"), kSerial = unhex("82021000");
  const Der kIssuer = tlv(0xA1, join({kDns, kDirectory}));
  const std::string kWhole = "- 0a0b,d.example|CN=C,4096";
  run("2.5.29.35", show,
      {is(seq({kId, kIssuer, kSerial}), kWhole), is(seq({kSerial, kIssuer, kId}), kWhole),
       is(seq({}), "- ,,-1")},
      {seq({tlv(0xA1, null())})});
}

TEST_F(ExtensionsTest, PrivateKeyUsagePeriod) {
  const Der kFrom = text(0x80, "20010203040506Z"), kTo = text(0x81, "20020203040506Z");
  const Show years = [](const SshX509Cert &cert) {
    const auto &[from, to] = *cert.key_period;
    return std::to_string(from.year) + "-" + std::to_string(to.year);
  };
  run("2.5.29.16", years,
      {is(seq({kFrom, kTo}), "2001-2002"), is(seq({kTo}), "0-2002"), is(seq({}), "0-0")},
      {seq({text(0x80, "20011303040506Z")}), seq({text(0x80, "20010203040506.5Z")})});
}

// The numbers of a notice are counted, but only the last one is kept, in the first slot.
TEST_F(ExtensionsTest, Policies) {
  const Show show = [](const SshX509Cert &cert) {
    std::string all;
    for (const auto *policy = cert.policies; policy; policy = policy->next) {
      all += dotted(policy->id) + ";";
      for (const auto *q = policy->qualifiers; q; q = q->next) {
        all += dotted(q->id).substr(15) + " " + letters(q->cps_uri) + " " +
               letters(q->organization) + " " + letters(q->explicit_text) + " " +
               std::to_string(q->notice_count);
        all += q->notice_count ? "*" + std::to_string(q->notice_numbers[0]) + ";" : ";";
      }
    }
    return all;
  };
  const auto qualifier = [](const std::string &last, const Der &value) {
    return seq({oid("1.3.6.1.5.5.7.2" + last), value});
  };
  const auto policy = [](const std::vector<Der> &qualifiers) {
    return seq({seq({oid("1.2.3"), seq(qualifiers)})});
  };
  const auto notice = [&](const std::vector<Der> &parts) {
    return policy({qualifier(".2", seq(parts))});
  };
  const auto numbers = [](const std::vector<Der> &list) {
    return seq({text(0x16, "Org"), seq(list)});
  };
  const Der kOne = integer(1), kWide = integer(0x10000), kLetter = text(0x0C, "\xC3\xA9");
  const Der kCps = qualifier(".1", text(0x16, "u")), kVisible = text(0x1A, "x");
  run("2.5.29.32", show,
      {is(seq({seq({oid("1.2")}), seq({oid("1.4"), seq({kCps})})}), "1.2;1.4;.1 2:u - - 0;"),
       is(notice({}), "1.2.3;.2 - - - 0;"),
       is(policy({kCps, qualifier(".2", seq({numbers({kOne, kOne, integer(0xFFFF)}), kLetter}))}),
          "1.2.3;.1 2:u - - 0;.2 - 2:Org 10:\xC3\xA9 3*65535;"),
       is(notice({numbers({})}), "1.2.3;.2 - 2:Org - 0;"),
       is(notice({numbers({kOne}), kVisible}), "1.2.3;.2 - 2:Org 1:x 1*1;"),
       is(notice({numbers({kOne}), text(0x1E, "x")}), "1.2.3;.2 - 2:Org unreadable 1*1;")},
      {policy({kCps, qualifier(".3", kOne)}), policy({qualifier("", kOne)}),
       policy({qualifier(".1", kLetter)}), notice({numbers({kWide})}),
       notice({numbers({octets({})})}), notice({seq({kVisible, seq({kOne})})}),
       notice({numbers({kOne}), text(0x16, "x")}), notice({kVisible})});
}

// Every element of policy constraints is one constraint, and the size of its first number decides
// for its second one too.
TEST_F(ExtensionsTest, PolicyMappingsAndConstraints) {
  const Show mappings = [](const SshX509Cert &cert) {
    return each(cert.policy_mappings, [](const auto &mapping) {
      return dotted(mapping.issuer_policy) + ">" + dotted(mapping.subject_policy);
    });
  };
  const Der kOne = seq({oid("1.2.1"), oid("1.2.2")}), kTwo = seq({oid("1.2.3"), oid("1.2.4")});
  run("2.5.29.33", mappings, {is(seq({kOne, kTwo}), "1.2.1>1.2.2 1.2.3>1.2.4 "), is(seq({}), "")});

  const Show constraints = [](const SshX509Cert &cert) {
    return each(cert.policy_constraints, [](const auto &constraint) {
      return number(constraint.require_explicit_policy) + "," +
             number(constraint.inhibit_policy_mapping);
    });
  };
  const auto list = [](const char *numbers) { return seq({tlv(0x30, unhex(numbers))}); };
  run("2.5.29.36", constraints,
      {is(seq({unhex("3003800105"), unhex("3006810107800100")}), "5,- 0,7 "),
       is(list("8100"), "-,0 "), is(list("81087000000000000003"), "-,3 "),
       is(list("800400FFFFFF"), "16777215,- "), is(list("800101810401000000"), "1,16777216 "),
       is(seq({}), "")},
      {tlv(0x30, unhex("800100")), list("800401000000")});
}

// The fields of a subtree are read from the list of subtrees itself, once for each of its elements,
// and the excluded ones from the permitted list; tagged lists, which all certificates of today
// have, do not match.
TEST_F(ExtensionsTest, NameConstraints) {
  const Show show = [](const SshX509Cert &cert) {
    std::string all;
    for (const auto *list : {cert.permitted, cert.excluded}) {
      for (; list; list = list->next)
        all += names(list->base) + "/" + number(list->minimum) + "/" + number(list->maximum) + " ";
      all += ";";
    }
    return all;
  };
  const Der kPermitted = tlv(0xA0, seq({kDns})), kExcluded = tlv(0xA1, null());
  const Der kList = seq({kDns, unhex("800103"), unhex("810109")});
  const auto limit = [&](const char *number) {
    return seq({kPermitted, seq({kDns, unhex(number)})});
  };
  const std::string kThree = "d.example/3/9 d.example/3/9 d.example/3/9 ;";
  run("2.5.29.30", show,
      {is(seq({}), ";;"), is(seq({kPermitted, kList}), kThree + ";"),
       is(seq({kPermitted, kExcluded, kList}), kThree + kThree),
       is(seq({kPermitted, seq({kDns})}), "d.example/0/- ;;"), is(seq({kPermitted, seq({})}), ";;"),
       is(limit("800400FFFFFF"), "d.example/16777215/- d.example/16777215/- ;;")},
      {seq({kPermitted}), seq({tlv(0xA1, seq({kDns}))}), seq({kExcluded, kList}),
       limit("800401000000"), limit("810401000000"),
       seq({kPermitted, seq({null(), unhex("800103")})})});
}

TEST_F(ExtensionsTest, DistributionPoints) {
  const Der kPair = attribute("2.5.4.11", text(0x13, "Unit"));
  const Der kRelative = seq({wrap(0, wrap(1, set({kPair})))});
  const Der kFull = wrap(0, tlv(0xA0, join({kDns, text(0x86, "http://x")})));
  const Der kReasons = retag(0x81, bits({0x60}, 4)), kIssuer = tlv(0xA2, kDirectory);
  // Finding the issuer for a relative name does not take it, unlike in a CRL.
  const Show show = [](const SshX509Cert &cert) {
    std::string all = std::to_string(cert.issuer_names->taken);
    for (const auto *point = cert.distribution_points; point; point = point->next) {
      SshDN dn = {};
      const bool relative = ssh_x509_point_name_expand(point->name, &dn);
      all += " [" + (relative ? own_text(ssh_dn_encode_ldap(&dn)) : names(point->name.full)) + ";" +
             std::to_string(point->reasons) + ";" + names(point->crl_issuer) + "]";
      ssh_dn_clear(&dn);
    }
    return all;
  };
  const auto point = [](const Der &part) { return seq({seq({part})}); };
  const std::string kExpanded = " [CN=Issuer, OU=Unit;0;]";
  run("2.5.29.31", show,
      {is(seq({seq({kFull, kReasons, kIssuer}), kRelative, kRelative}),
          "0 [d.example|http://x;96;CN=C]" + kExpanded + kExpanded),
       is(seq({}), "0"), is(point({}), "0 [;0;]"), is(point(wrap(0, tlv(0xA0, {}))), "0 [;0;]")},
      {point(wrap(0, tlv(0xA2, kDns))), point(wrap(0, wrap(1, null()))), point(tlv(0xA2, null())),
       point(tlv(0x81, {})), seq({null()})});
  CertParts parts;
  parts.issuer = seq({});
  parts.extensions = {extension("2.5.29.31", seq({kRelative}))};
  EXPECT_FALSE(Cert(parts.build())) << "relative to an empty issuer";
}

TEST_F(ExtensionsTest, IdentifierLists) {
  const Show show = [](const SshX509Cert &cert) {
    std::string all;
    for (const auto *k = cert.extended_key_usage; k; k = k->next) all += dotted(k->id) + " ";
    for (const auto *a = cert.authority_info_access; a; a = a->next)
      all += dotted(a->method) + "=" + names(a->location) + " ";
    for (const auto *a = cert.directory_attributes; a; a = a->next)
      all += dotted(a->type) + "=" + hex(a->value) + " ";
    return all;
  };
  run("2.5.29.37", show,
      {is(seq({oid("1.2.3"), oid("2.5.29.37.0")}), "1.2.3 2.5.29.37.0 "), is(seq({}), "")},
      {seq({oid("1.2.3"), null()})});
  const auto access = [](const Der &location) { return seq({oid("1.2.4"), location}); };
  run("1.3.6.1.5.5.7.1.1", show,
      {is(seq({access(text(0x86, "u")), access(kDns)}), "1.2.4=u 1.2.4=d.example "),
       is(seq({}), "")},
      {seq({access(null())})});
  run("2.5.29.9", show,
      {is(seq({seq({oid("1.2.3"), set({null()})})}), "1.2.3=31020500 "), is(seq({}), "")});
}

// The values of these lists are SEQUENCEs; that of an alternative name may have any tag.
TEST_F(ExtensionsTest, ListsOfAnotherTypeAreRefused) {
  for (const char *id : {"2.5.29.9", "2.5.29.30", "2.5.29.31", "2.5.29.32", "2.5.29.33",
                         "2.5.29.36", "2.5.29.37", "1.3.6.1.5.5.7.1.1"})
    EXPECT_FALSE(with_extension(id, set({}))) << id;
}

TEST_F(ExtensionsTest, AlternativeNamesJoinTheNames) {
  const Show show = [](const SshX509Cert &cert) {
    return names(cert.subject_names) + " " + names(cert.issuer_names);
  };
  run("2.5.29.17", show,
      {is(seq({kDns}), "CN=Subject|d.example CN=Issuer"),
       is(tlv(0xA5, kDns), "CN=Subject|d.example CN=Issuer"), is(seq({}), "CN=Subject CN=Issuer")},
      {Der{}});
  run("2.5.29.18", show, {is(seq({kDns}), "CN=Subject CN=Issuer|d.example")});
}

}  // namespace
