// The commands that ask the service, over stores that hold the certificates and CRLs of examples/:
// what options ask for, and what is told. tests/loopback holds what the service finds and keeps.
// What is refused of the examples rests on the classic profile, which is theirs unless they say
// otherwise.
#include <cstdlib>

#include "tools/inspect_samples.h"

namespace {

using namespace std::string_literals;

using inspect_samples::expect_told;
using nlohmann::json;
using testing::HasSubstr;
using Words = std::vector<std::string>;

const std::string kFolder = KWPKI_SOURCE_DIR "/examples";
const std::string kRich = "6495562832581790663061892574634853316331521383";

// Serial numbers of the examples in the order of import.
const Words kAll = {"2", "1", kRich, "19", "17", "18", "21", "20", "42", "127"};

std::string example(const std::string &name) { return kFolder + "/" + name; }

class StoreTest : public testing::Test {
 protected:
  StoreTest() { in({"add", kFolder}); }

  // in runs a command on the store of the examples, or on another.
  Result in(Words words, const std::string &file = "") {
    words.insert(words.end(), {"--store", file.empty() ? store_ : file});
    words.insert(words.begin(), {"--profile", "classic"});
    return run(words);
  }
  Words serials(Words words) {
    words.emplace_back("--json");
    const Result result = in(words);
    Words list;
    for (const json &found : result.objects()) list.push_back(found["serial"]);
    EXPECT_EQ(result.err, list.empty() ? "kwpki: nothing was found\n" : "");
    return list;
  }

  const Folder directory_;
  const std::string store_ = directory_.at("store.db");
};

TEST_F(StoreTest, ImportsAndReportsEveryObject) {
  const Result added = in({"add", "--json", kFolder});
  EXPECT_EQ(added.code, 1);  // some are there to be refused
  auto objects = added.objects();
  EXPECT_EQ(objects.back(), (json{{"certificates", 12},
                                  {"crls", 4},
                                  {"refused", 3},
                                  {"passed_over", objects.size() - 20}}));
  objects.pop_back();
  for (const json &object : objects) {
    const bool refused = object["file"].get<std::string>().find("refused-") != std::string::npos;
    EXPECT_EQ(object["result"] == "refused", refused) << object;
  }
  EXPECT_EQ(in({"status"}).out, "certificates: 10\nauthorities: 3\ncrls: 3\nrequests: 0\n");
  EXPECT_EQ(in({"ca-names"}).out,
            "C=FI, O=Example Oy, CN=Example Issuing\nC=FI, O=Example Oy, OU=Roots, CN=Example "
            "Root\nC=FI, O=Example Oy, CN=DSA with SHA-1\n");
}

TEST_F(StoreTest, AddsBlocksButNothingTwice) {
  const std::string file = directory_.at("add.db");
  const Der v1 = sample::example("v1-rsa.der");
  const std::string der(v1.begin(), v1.end());
  const char *const chain = "2 certificates and 1 CRLs added, 0 refused, 0 passed over\n";
  expect_told({"--profile", "classic", "add", "--store", file},
              {{{"--options", "0x7", example("chain-bundle.pem")}, 0, chain},
               {{example("chain-bundle.pem")}, 0, chain},
               {{"-"}, 0, "", "", der},
               {{"-"}, 0, "", "", der + "trailing"},
               {{example("v3-dsa.pem"), example("missing")}, 3, "1 certificates"}});
  EXPECT_THAT(in({"status"}, file).out, HasSubstr("certificates: 4\n"));
}

// Each option once, and each form of its value.
TEST_F(StoreTest, OptionsAskForCertificates) {
  const struct {
    Words words, expected;
  } rows[] = {
      {{"search"}, kAll},
      {{"search", "--dn", "c=fi, O=EXAMPLE  oy, CN=example issuing"}, {"2"}},
      {{"search", "--dns", "www.example.com", "--oid", "1.3.6.1.4.1.99999.2"}, {kRich}},
      {{"search", "--uri", "https://www.example.com/about?lang=en"}, {kRich}},
      {{"search", "--uri", "http://pki.example.com/"}, {}},  // the issuer's
      {{"search", "--email", "one@example.com"}, {"42"}},    // in the subject
      {{"search", "--ip", "2001:DB8:0::10"}, {kRich}},
      {{"search", "--oid", "1.3.6.1.4.1.99999.2"}, {"2", kRich}},
      {{"search", "--dn-of", example("v3-dsa.pem")}, {"127"}},
      {{"search", "--key-of", example("chain-bundle.pem")}, {"2"}},  // the first of them
      {{"search", "--dns", "www.example.com", "--email", "one@example.com"}, {}},
      {{"search", "--dns", "www.example.com", "--email", "one@example.com", "--any"},
       {kRich, "42"}},
      {{"search", "--valid-at", "2035-12-31 23:59:59"}, kAll},
      {{"search", "--valid-at", "2036-01-01T00:00"}, {"1"}},
      {{"search", "--key-type", "DSA"}, {"127"}},
      {{"search", "--key-usage", "key cert sign, CRL-sign"}, {"2", "1", "42", "127"}},
      {{"search", "--path-length", "0x1"}, {"1", "127"}},
      {{"search", "--rule", "end-entities", "--key-usage", "decipherOnly"}, {"42"}},
      {{"search", "--rule", "newest", "--oid", "1.3.6.1.4.1.99999.2"}, {kRich}},
      {{"path", "--from", "dns=www.example.com", "--to", "path-length=1"}, {kRich, "2", "1"}},
  };
  for (const auto &row : rows)
    EXPECT_EQ(serials(row.words), row.expected) << testing::PrintToString(row.words);
  EXPECT_THAT(in({"search"}).out,
              testing::StartsWith("1. C=FI, O=Example Oy, CN=Example Issuing; expires 2035-"
                                  "12-31; RSA, 2048 bits; SHA-256 "));
  EXPECT_EQ(in({"search", "--pem", "--dn-of", example("ca-issuing.pem")}).out,
            run({"--pem", example("ca-issuing.pem")}).out);
}

// A name in UTF-8, as `inspect` prints it, in either order; and an identifier in its true form.
TEST_F(StoreTest, FindsWhatInspectPrints) {
  const Der policies = der::seq({der::seq({unhex("0603883701")})});  // 2.999.1
  const Der pair = der::tlv(0x30, der::join({unhex("0603883701"), der::text(0x13, "x")}));
  const std::string odd = directory_.add(
      "odd.der", inspect_samples::certificate(
                     der::seq({der::set({der::attribute("2.5.4.5", der::text(0x13, "17")), pair})}),
                     {sample::extension("2.5.29.32", policies)}));
  for (const char *profile : {"modern", "classic"}) {
    const std::string file = directory_.at(profile);
    for (const std::string &each :
         {odd, example(profile[0] == 'm' ? "name-utf8-mixed.der" : "name-multivalued.der")}) {
      const std::string pem = run({"--pem", each}).out;
      const std::string name =
          run({"inspect", "--json", each}).objects().at(0)["subject"]["readable"];
      expect_told({"--profile", profile},
                  {{{"add", "--store", file, each}, 0},
                   {{"search", "--store", file, "--pem", "--dn", name}, 0, pem}});
    }
    expect_told(
        {"--profile", profile},
        {{{"search", "--store", file, "--pem", "--oid", "2.999.1"}, 0, run({"--pem", odd}).out}});
  }
  EXPECT_THAT(in({"search", "--dn", "CN=Example Root, OU=Roots, O=Example Oy, C=FI"}).err,
              HasSubstr("with its parts in the other one"));
}

TEST_F(StoreTest, KeepsRequestsUntilTheyAreRemoved) {
  const std::string data = example("README.md");
  setenv("KWPKI_STORE", directory_.at("requests.db").c_str(), 1);
  expect_told(
      {}, {{{"request", data, "--further", "text", "--name=a", "--name=b", "--json"},
            0,
            R"("request":"kept","names":["a","b"]})"},
           {{"request", data, "--name", "a"}, 0, "certificate request kept\n"},
           {{"request", data, "--name", "a"}, 0, "certificate request kept\n"},  // once
           {{"request", "remove", "--name", "b"}, 1, "", "no certificate request of these names"},
           {{"request", "remove", "--name=a", "--name=b", "--json"}, 0, R"("request":"removed")"},
           {{"status"}, 0, "certificates: 0\nauthorities: 0\ncrls: 0\nrequests: 1\n"}});
  unsetenv("KWPKI_STORE");
}

// The service shares the process with the tool, and with it the profile. What the library does not
// read keeps its place in a list, but has nothing to show.
TEST_F(StoreTest, KeepsTodaysCertificatesToo) {
  const std::string today = example("refused-sha256.der"), file = directory_.at("today.db");
  EXPECT_EQ(in({"add", today}, file).code, 1);
  EXPECT_EQ(run({"add", "--store", file, today}).code, 0);
  const std::string name = run({"inspect", "--json", today}).objects().at(0)["subject"]["text"];
  EXPECT_EQ(run({"search", "--store", file, "--json", "--dn", name}).objects().at(0)["key"]["type"],
            "RSA");
  EXPECT_EQ(in({"search", "--dn", name}, file).out,
            "1. a certificate that is not read under this profile\n");
}

TEST_F(StoreTest, RefusesBadUseAndBadStores) {
  const std::string text = directory_.add("text.db", std::string(5000, 'x'));
  const std::string missing = directory_.at("missing.db");
  expect_told({}, {{{"status"}, 2, "", "no store: give --store FILE or set KWPKI_STORE"}});
  setenv("KWPKI_STORE", store_.c_str(), 1);
  expect_told(
      {"--profile", "classic"},
      {{{"status"}, 0, "certificates: 10"},
       {{"search", "--dn", "no name"}, 2, "", "--dn: not a distinguished name: no name"},
       {{"search", "--ip", "1.2.3"}, 2, "", "--ip: not an IP address: 1.2.3"},
       {{"search", "--oid", "1..2"}, 2, "", "--oid: not a dotted identifier"},
       {{"search", "--key-of", example("crl-v1.der")}, 2, "", "--key-of: not a certificate"},
       {{"search", "--valid-at", "2026-02-30"}, 2, "", "--valid-at: not \"now\""},
       {{"search", "--valid-at", "2106-02-07T06:28:16Z"}, 2, "", "1970 to 2106"},
       {{"search", "--key-usage", "signing"}, 2, "", "--key-usage: not names of key usage"},
       {{"search", "--path-length", "4294967296"}, 2, "", "--path-length: not a number"},
       {{"search", "--rule", "4"}, 1, "", "the rule of the search has no meaning (status 5"},
       {{"path", "--to", "length=1"}, 2, "", "--to: not an option of a search: length=1"},
       {{"request", "remove", text, "--name", "a"}, 2, "", "neither a FILE"},
       {{"request", text, "--name=1", "--name=2", "--name=3", "--name=4", "--name=5"},
        2,
        "",
        "at most 4 names"},
       {{"status", "--store", missing}, 3, "", "missing.db: no such store"},
       {{"status", "--trace", text}, 3, "", "text.db: "}});
  unsetenv("KWPKI_STORE");
  EXPECT_FALSE(std::filesystem::exists(missing));
}

}  // namespace
