// `kwpki verify --chain` over paths that OpenSSL makes. It judges them as well, so what is tested
// is that its judgement reaches people and programs whole and in the right words.
#include <gmock/gmock.h>

#include "support/tool.h"
#include "tools/openssl_samples.h"

namespace {

using namespace openssl_samples;
using namespace inspect_samples;
using nlohmann::json;
using testing::HasSubstr;
using List = std::vector<std::string>;
using Extensions = std::vector<std::pair<int, std::string>>;

const Extensions kAuthority = {{NID_basic_constraints, "critical,CA:TRUE"},
                               {NID_key_usage, "keyCertSign,cRLSign"}};
Extensions with(Extensions extensions, int nid, const char *value) {
  extensions.emplace_back(nid, value);
  return extensions;
}

// Part is what makes one certificate of a path differ from a good one.
struct Part {
  Extensions extensions = {};
  long from = 0, until = 86400;
  const EVP_MD *hash = EVP_sha256();
};

// A path has a root, an authority below it and a certificate; each row changes something.
struct Row {
  const char *why;
  const char *faults = "";  // "0:expired 1:not-a-ca", from the certificate upwards
  Part leaf = {}, sub = {kAuthority}, root = {kAuthority};
  List arguments = {};
  const char *text = "certificate CN=Leaf (ecdsa-sha256): fine\n";
  bool has_sub = true;
  int code = *faults ? 1 : 0;
};

std::string faults_of(const json &chain) {
  std::string all;
  for (size_t i = 0; i < chain.size(); ++i) {
    for (const json &problem : chain[i]["problems"]) {
      all += (all.empty() ? "" : " ") + std::to_string(i) + ":" +
             problem["problem"].get<std::string>();
    }
  }
  return all;
}

class ChainTest : public testing::Test {
 protected:
  static std::string make(const char *name, const char *issuer, const Key &key, const Key &signer,
                          const Part &part) {
    return Cert{.subject = name_of(name),
                .issuer = name_of(issuer),
                .key = key,
                .signer = signer,
                .hash = part.hash,
                .extensions = part.extensions,
                .from = part.from,
                .until = part.until,
                .serial = name[0]}
        .make();
  }
  Result check(const Row &row, bool as_json) {
    List arguments = {"verify", "--chain", "--root",
                      folder_.add("root", make("Root", "Root", root_, root_, row.root))};
    const std::string sub = folder_.add("sub", make("Sub", "Root", sub_, root_, row.sub));
    if (row.has_sub) arguments.insert(arguments.end(), {"--untrusted", sub});
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    if (as_json) arguments.emplace_back("--json");
    arguments.push_back(folder_.add("leaf", make("Leaf", "Sub", leaf_, sub_, row.leaf)));
    return run(arguments);
  }

  const Key root_{EVP_EC_gen("P-256")}, sub_{EVP_EC_gen("P-256")}, leaf_{EVP_EC_gen("P-256")};
  const Directory folder_;
};

TEST_F(ChainTest, SaysOfEachCertificateWhatIsWrong) {
  const std::string root_list = folder_.add("r.crl", crl("Root", root_, EVP_sha256(), {1})),
                    list = folder_.add("s.crl", crl("Sub", sub_, EVP_sha256(), {'L'})),
                    other_list = folder_.add("o.crl", crl("Sub", sub_, EVP_sha256(), {1}));
  const Part named = {{{NID_subject_alt_name, "DNS:www.example.com,IP:192.0.2.7"},
                       {NID_ext_key_usage, "clientAuth"}}};
  const Part limited = {with(kAuthority, NID_name_constraints, "permitted;DNS:example.org")};
  const Row rows[] = {
      {.why = "good"},
      {.why = "good, the rest",
       .sub = {kAuthority},
       .text = "\n  authority CN=Sub (ecdsa-sha256): "
               "fine\n  root CN=Root (ecdsa-sha256): fine\n"},
      {.why = "no authority",
       .faults = "0:no-issuer",
       .text = ": no issuer found\n",
       .has_sub = false},
      {.why = "old",
       .faults = "0:expired",
       .leaf = {{}, -86400, -3600},
       .text = ": expired since 20"},
      {.why = "all old",
       .faults = "0:expired 1:expired 2:expired",
       .arguments = {"--at", "2100-01-01"},
       .text = " UTC\n  authority CN=Sub"},
      {.why = "young",
       .faults = "1:not-yet-valid",
       .sub = {kAuthority, 3600},
       .text = ": not valid before 20"},
      {.why = "no authority's constraint",
       .faults = "1:not-a-ca",
       .sub = {{{NID_basic_constraints, "CA:FALSE"}}},
       .text = "CN=Sub (ecdsa-sha256): not a CA\n"},
      {.why = "may not sign",
       .faults = "1:not-a-ca 1:usage-not-allowed",
       .sub = {{{NID_basic_constraints, "CA:TRUE"}, {NID_key_usage, "digitalSignature"}}},
       .text = "usage not allowed"},
      {.why = "too long",
       .faults = "2:path-too-long",
       .root = {{{NID_basic_constraints, "CA:TRUE,pathlen:0"}}},
       .text = "path too long"},
      {.why = "another domain",
       .faults = "0:name-not-permitted",
       .leaf = named,
       .sub = limited,
       .text = "name not permitted"},
      {.why = "a client", .leaf = named, .arguments = {"--purpose", "client"}},
      {.why = "no server",
       .faults = "0:usage-not-allowed",
       .leaf = named,
       .arguments = {"--purpose", "server"},
       .text = "usage not allowed"},
      {.why = "no authority itself",
       .faults = "0:not-a-ca",
       .arguments = {"--purpose", "ca"},
       .text = "CN=Leaf (ecdsa-sha256): not a CA\n"},
      {.why = "its host", .leaf = named, .arguments = {"--host", "www.example.com"}},
      {.why = "its address", .leaf = named, .arguments = {"--host", "192.0.2.7"}},
      {.why = "another host",
       .faults = "0:wrong-host",
       .leaf = named,
       .arguments = {"--host", "example.com"},
       .text = ": wrong host (example.com)\n"},
      {.why = "another address",
       .faults = "0:wrong-host",
       .leaf = named,
       .arguments = {"--host", "192.0.2.8"},
       .text = ": wrong host (192.0.2.8)\n"},
      {.why = "no lists",
       .faults = "0:no-crl 1:no-crl 2:no-crl",
       .arguments = {"--crl", folder_.add("none.crl", crl("None", sub_, EVP_sha256()))},
       .text = ": no CRL for it\n"},
      {.why = "not on the lists", .arguments = {"--crl", root_list, "--crl", other_list}},
      {.why = "revoked",
       .faults = "0:revoked",
       .arguments = {"--crl", root_list, "--crl", list},
       .text = ": revoked on 2026-01-02 03:04:05 UTC (Key Compromise)\n"},
      {.why = "an extension that nobody knows",
       .faults = "0:unknown-critical-extension",
       .leaf = {{{NID_sinfo_access, "critical,DER:3000"}}},
       .text = "unknown critical extension"},
      {.why = "fine, but not for the library",
       .faults = "0:refused-by-library",
       .leaf = {{{NID_private_key_usage_period, "DER:0400"}}},
       .text = "leaf: valid\n  certificate CN=Leaf: the library refuses it: "},
      {.why = "weak",
       .leaf = {{}, 0, 86400, EVP_sha1()},
       .text = "CN=Leaf (ecdsa-sha1): fine; weak: SHA-1\n"},
      {.why = "weak, taken strictly",
       .leaf = {{}, 0, 86400, EVP_sha1()},
       .arguments = {"--strict"},
       .text = "leaf: valid\n",
       .code = 1},
      {.why = "a root's own signature",
       .root = {kAuthority, 0, 86400, EVP_sha1()},
       .arguments = {"--strict"}},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(row.why);
    const Result told = check(row, true), shown = check(row, false);
    EXPECT_EQ(told.code, row.code) << told.err;
    EXPECT_EQ(shown.code, row.code) << shown.err;
    EXPECT_THAT(shown.out, HasSubstr(row.text));
    const json answer = told.objects().at(0);
    const std::string faults = faults_of(answer["chain"]);
    EXPECT_EQ(faults, row.faults) << shown.out;
    const bool valid = faults.empty() || faults == "0:refused-by-library";
    EXPECT_EQ(answer["result"], valid ? "valid" : "invalid");
  }
}

TEST_F(ChainTest, WhatIsGivenInTheWrongPlace) {
  const std::string der = make("Root", "Root", root_, root_, {kAuthority}),
                    root = folder_.add("root", der), behind = folder_.add("behind", der + "x"),
                    list = folder_.add("list", crl("Root", root_, EVP_sha256())),
                    bad = folder_.add("bad", "bad");
  std::string changed = make("Leaf", "Root", leaf_, root_, {});
  changed.back() ^= 1;
  const struct {
    List arguments;
    int code;
    const char *out, *err;
  } rows[] = {
      {{"--chain", "--root", root, root},
       0,
       "root: valid\n  root CN=Root (ecdsa-sha256): fine\n",
       ""},
      {{"--chain", "--root", root, folder_.add("changed", changed)}, 1, "wrong signature", ""},
      {{"--chain", "--root", list, root},
       1,
       ": not among the roots\n",
       "list: a CRL, which --crl takes"},
      {{"--chain", "--root", root, "--crl", root, root}, 0, "valid", "root: no CRL; passed over"},
      {{"--chain", "--root", root, "--untrusted", bad, root},
       1,
       "valid",
       "bad: refused: no certificate"},
      {{"--chain", "--root", root, bad}, 1, "bad: refused: no certificate\n", ""},
      {{"--chain", "--root", root, list}, 0, "", "list: a CRL; passed over"},
      {{"--chain", "--root", root, behind},
       1,
       "behind: valid; 1 byte behind the certificate\n",
       ""},
      {{"--chain", "--root", root, "--at", "soon", root}, 2, "", "--at: not \"now\""},
      {{"--chain", root}, 2, "", "--root is required"},
      {{"--root", root, root}, 2, "", "--root requires --chain"},
      {{"--chain", "--root", root, "--issuer", root, root}, 2, "", "excludes"},
      {{"--chain", "--root", root, "--purpose", "mail", root}, 2, "", "--purpose"},
  };
  for (const auto &row : rows) {
    List arguments = {"verify"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const Result result = run(arguments);
    EXPECT_EQ(result.code, row.code) << testing::PrintToString(arguments) << result.err;
    EXPECT_THAT(result.out, HasSubstr(row.out)) << result.err;
    EXPECT_THAT(result.err, HasSubstr(row.err));
  }
}

}  // namespace
