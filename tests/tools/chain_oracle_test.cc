// `kwpki verify --chain` over paths that OpenSSL makes. It judges them as well, so what is tested
// is that its judgement reaches people and programs whole and in the right words.
#include "tools/openssl_samples.h"

namespace {

using namespace openssl_samples;
using namespace inspect_samples;
using nlohmann::json;
using testing::HasSubstr;
using List = std::vector<std::string>;

// Part is what makes one certificate of a path differ from a good one.
struct Part {
  Extensions extensions = {};
  long from = 0, until = 86400;
  const EVP_MD *hash = EVP_sha256();
};

const std::pair<int, std::string> kCa = {NID_basic_constraints, "critical,CA:TRUE"};
const Part kAuthority = {{kCa, {NID_key_usage, "keyCertSign,cRLSign"}}};

// A path has a root, an authority below it and a certificate; each row changes something.
struct Row {
  const char *faults;  // "0:expired 1:not-a-ca", from the certificate upwards
  const char *text;
  List arguments = {};
  Part leaf = {}, sub = kAuthority, root = kAuthority;
  int code = *faults ? 1 : 0;
};

class ChainTest : public testing::Test {
 protected:
  std::string make(const char *name, const char *issuer, const Part &part) {
    const Cert cert{name_of(name),   name_of(issuer), key_,       key_,   part.hash,
                    part.extensions, part.from,       part.until, name[0]};
    return cert.make();
  }
  std::string list(const char *issuer, long serial) {
    const std::string name = std::string(issuer) + std::to_string(serial) + ".crl";
    return folder_.add(name, openssl_samples::crl(issuer, key_, EVP_sha256(), {serial}));
  }

  const Key key_{EVP_EC_gen("P-256")};
  const Folder folder_;
};

TEST_F(ChainTest, SaysOfEachCertificateWhatIsWrong) {
  const Part named = {{{NID_subject_alt_name, "DNS:www.example.com,IP:192.0.2.7"},
                       {NID_ext_key_usage, "clientAuth"}}};
  const Part limited = {{kCa, {NID_name_constraints, "permitted;DNS:example.org"}}};
  const Part weak = {{}, 0, 86400, EVP_sha1()};
  const std::string root_list = list("Root", 1);
  const char *const fine = "certificate CN=Leaf (ecdsa-sha256): fine\n";
  const Row rows[] = {
      {"",
       "leaf: valid\n  certificate CN=Leaf (ecdsa-sha256): fine\n"
       "  authority CN=Sub (ecdsa-sha256): fine\n  root CN=Root (ecdsa-sha256): fine\n"},
      {"0:expired", ": expired since 20", {}, {{}, -86400, -3600}},
      {"0:expired 1:expired 2:expired", " UTC\n  authority CN=Sub", {"--at", "2100-01-01"}},
      {"1:not-yet-valid", ": not valid before 20", {}, {}, {kAuthority.extensions, 3600}},
      {"1:not-a-ca 1:usage-not-allowed",
       "CN=Sub (ecdsa-sha256): not a CA; usage not allowed: signing certificates\n",
       {},
       {},
       {{{NID_basic_constraints, "CA:TRUE"}, {NID_key_usage, "digitalSignature"}}}},
      {"0:name-not-permitted", "name not permitted", {}, named, limited},
      {"", fine, {"--purpose", "client", "--host", "www.example.com"}, named},
      {"", fine, {"--host", "192.0.2.7"}, named},
      {"0:usage-not-allowed", "usage not allowed", {"--purpose", "server"}, named},
      {"0:not-a-ca", "CN=Leaf (ecdsa-sha256): not a CA\n", {"--purpose", "ca"}},
      {"0:wrong-host", ": wrong host (example.com)\n", {"--host", "example.com"}, named},
      {"0:no-crl 1:no-crl 2:no-crl", ": no CRL for it\n", {"--crl", list("None", 1)}},
      {"", fine, {"--crl", root_list, "--crl", list("Sub", 1)}},
      {"0:revoked",
       ": revoked on 2026-01-02 03:04:05 UTC (Key Compromise)\n",
       {"--crl", root_list, "--crl", list("Sub", 'L')}},
      {"0:refused-by-library",
       "leaf: valid\n  certificate CN=Leaf: the library refuses it: ",
       {},
       {{{NID_private_key_usage_period, "DER:0400"}}}},
      {"", "CN=Leaf (ecdsa-sha1): fine; weak: SHA-1\n", {}, weak},
      {"", "leaf: valid\n", {"--strict"}, weak, kAuthority, kAuthority, 1},
      // A root is trusted for its key, whatever its own signature is worth.
      {"", fine, {"--strict"}, {}, kAuthority, {kAuthority.extensions, 0, 86400, EVP_sha1()}},
  };
  for (const Row &row : rows) {
    SCOPED_TRACE(std::string(row.faults) + testing::PrintToString(row.arguments));
    const std::string root = folder_.add("root", make("Root", "Root", row.root)),
                      sub = folder_.add("sub", make("Sub", "Root", row.sub)),
                      leaf = folder_.add("leaf", make("Leaf", "Sub", row.leaf));
    List words = {"verify", "--chain", "--root", root, "--untrusted", sub, leaf};
    words.insert(words.end(), row.arguments.begin(), row.arguments.end());
    const Result shown = run(words);
    EXPECT_EQ(shown.code, row.code) << shown.err;
    EXPECT_THAT(shown.out, HasSubstr(row.text));
    words.emplace_back("--json");
    const json answer = run(words).objects().at(0), &chain = answer["chain"];
    std::string faults;
    for (size_t i = 0; i < chain.size(); ++i) {
      for (const json &problem : chain[i]["problems"])
        faults += std::to_string(i) + ":" + problem["problem"].get<std::string>() + " ";
    }
    EXPECT_EQ(faults, *row.faults ? row.faults + std::string(" ") : "") << shown.out;
    const bool valid = faults.empty() || faults == "0:refused-by-library ";
    EXPECT_EQ(answer["result"], valid ? "valid" : "invalid");
  }
}

TEST_F(ChainTest, WhatIsGivenInTheWrongPlace) {
  const std::string der = make("Root", "Root", kAuthority), root = folder_.add("root", der),
                    behind = folder_.add("behind", der + "x"), crl = list("Root", 1),
                    bad = folder_.add("bad", "bad"),
                    orphan = folder_.add("orphan", make("Leaf", "Sub", {}));
  std::string changed = make("Leaf", "Root", {});
  changed.back() ^= 1;
  expect_told({"verify", "--chain", "--root", root},
              {{{root}, 0, "root: valid\n  root CN=Root (ecdsa-sha256): fine\n"},
               {{folder_.add("changed", changed)}, 1, "wrong signature"},
               {{orphan}, 1, "certificate CN=Leaf (ecdsa-sha256): no issuer found\n"},
               {{"--crl", root, root}, 0, "valid", "root: no CRL; passed over"},
               {{"--untrusted", bad, root}, 1, "valid", "bad: refused: no certificate"},
               {{behind}, 1, "behind: valid; 1 byte behind the certificate\n"},
               {{"--at", "soon", root}, 2, "", "--at: not \"now\""},
               {{"--issuer", root, root}, 2, "", "excludes"}});
  expect_told(
      {"verify"},
      {{{"--chain", "--root", crl, root}, 1, ": not among the roots\n", ".crl: a CRL, which"},
       {{"--chain", root}, 2, "", "--root is required"}});
}

}  // namespace
