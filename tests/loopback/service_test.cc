#include "loopback/service.h"

#include <gmock/gmock.h>

#include "loopback/finder.h"
#include "support/samples.h"
#include "support/service_client.h"

namespace {

using client::Ask;
using client::List;
using client::Reply;
using client::tags_found;
using namespace std::string_view_literals;
using Tags = std::vector<uint32_t>;

// The examples in the order in which they are added: their tags are 1 to 5.
constexpr const char *kExamples[] = {"ca-root.pem", "ca-issuing.pem", "v3-rich.der", "v1-rsa.der",
                                     "v3-dsa.pem"};

class ServiceTest : public sample::Balanced {
 protected:
  ServiceTest() : service_(nullptr) {
    for (const char *name : kExamples) add(client::example(name));
  }
  void add(const Der &cert) {
    EXPECT_EQ(client::ask(service_, client::add_request(0, cert)).status, loopback::kOk);
  }
  uint32_t status(uint32_t type, const Der &payload) {
    return client::ask(service_, client::request(1, type, payload)).status;
  }
  Tags path(const Ask &first, const Ask &second, const Der &valid = client::validity()) {
    const Der payload = der::join({first.build(), second.build(), valid});
    const Reply reply = client::ask(service_, client::request(9, 3, payload));
    EXPECT_EQ(reply.status, loopback::kOk);
    return List(reply.payload).tags();
  }
  std::string told() {
    const Reply reply = client::ask(service_, client::request(1, 6, {}));
    return std::string(ssh_bytes_text(reply.payload));
  }
  loopback::Service service_;
};

// key asks for octets, dn and public_key for what the library makes of a name and a certificate.
Ask key(SshCMKeyType type, std::string_view octets) {
  return {.keys = {{type, Der(octets.begin(), octets.end())}}};
}
Ask made(SshCertDBKey *list) {
  EXPECT_TRUE(list);
  const Ask ask = key(static_cast<SshCMKeyType>(list->type), ssh_bytes_text(list->bytes()));
  ssh_certdb_key_free_list(&list);
  return ask;
}
Ask dn(const std::string &text) {
  SshCertDBKey *list = nullptr;
  (void)ssh_cm_key_set_dn(&list, text.c_str());
  return made(list);
}
Ask public_key(const char *example) {
  const sample::Cert cert(client::example(example));
  const SshPublicKeyOwner owner(ssh_x509_cert_public_key(cert.record.get()));
  SshCertDBKey *list = nullptr;
  (void)ssh_cm_key_set_public_key(&list, owner.get());
  return made(list);
}
const Ask kWww = key(SSH_CM_KEY_DNS, "www.example.com");
const Ask kPolicy = key(SSH_CM_KEY_OID, "1.3.6.1.4.1.99999.2");
const Ask kEmail = key(SSH_CM_KEY_EMAIL, "one@example.com");

TEST_F(ServiceTest, FindsByEveryKindOfKey) {
  const std::pair<Ask, Tags> kRows[] = {
      {dn("c=fi, l=HELSINKI, o=example  oy , ou=Web, cn=WWW.example.com"), {3}},
      {dn("C=FI, O=Example Oy, CN=Example Issuing"), {2}},  // as issuer it does not count
      {key(SSH_CM_KEY_IP, "\xC0\0\2\x0A"sv), {3}},
      {key(SSH_CM_KEY_IP, "\x20\1\x0D\xB8\0\0\0\0\0\0\0\0\0\0\0\x10"sv), {3}},
      {kWww, {3}},
      {key(SSH_CM_KEY_DNS, "WWW.example.com"), {}},
      {key(SSH_CM_KEY_URI, "https://www.example.com/about?lang=en"), {3}},
      {key(SSH_CM_KEY_URI, "http://pki.example.com/"), {}},  // the issuer's
      {key(SSH_CM_KEY_EMAIL, "webmaster@example.com"), {3}},
      {kEmail, {4}},  // in the subject
      {kPolicy, {2, 3}},
      {key(SSH_CM_KEY_OID, "1.3.6.1.5.5.7.3.4"), {3}},
      {public_key("v3-dsa.pem"), {5}},
      {public_key("ca-root.pem"), {1}},
  };
  for (const auto &[ask, found] : kRows) {
    const std::string what = std::to_string(ask.keys[0].first) + " " + hex(ask.keys[0].second);
    EXPECT_EQ(tags_found(service_, ask), found) << what;
    Ask other = ask;
    other.keys[0].first = other.keys[0].first == SSH_CM_KEY_DNS ? SSH_CM_KEY_URI : SSH_CM_KEY_DNS;
    EXPECT_EQ(tags_found(service_, other), Tags{}) << what;
  }
  Ask both = Ask(kWww).add(kPolicy);
  EXPECT_EQ(tags_found(service_, both), Tags{3});
  both.add(kEmail).add(kWww);
  EXPECT_EQ(tags_found(service_, both), Tags{});
  both.group_mode = 1;
  EXPECT_EQ(tags_found(service_, both), (Tags{2, 3, 4}));
}

TEST_F(ServiceTest, AppliesConstraints) {
  const struct {
    const char *why;
    Ask ask;
    Tags found;
    Der valid = client::validity();
  } kRows[] = {
      {"nothing asked", {}, {1, 2, 3, 4, 5}},
      {"after most end", {.not_after = "2036 Jan  1st, 00:00:00 GMT"}, {1}},
      {"the last second", {.not_after = "2035/12/31/23:59:59"}, {1, 2, 3, 4, 5}},
      {"before all", {.not_before = "2025 Dec 31st, 23:59:59 GMT"}, {}},
      {"the separate validity", {}, {1}, client::validity("", "2036/01/01/00:00:00")},
      {"both", {.not_before = "2030/01/01/00:00:00"}, {}, client::validity("2061/01/01/00:00:00")},
      {"DSA", {.key_type = 2}, {5}},
      {"RSA", {.key_type = 1}, {1, 2, 3, 4}},
      {"no extension allows all", {.key_usage = SSH_X509_USAGE_DIGITAL_SIGNATURE}, {3, 4}},
      {"all bits", {.key_usage = 0x06}, {1, 2, 4, 5}},
      {"bits of several octets", {.key_usage = 0x8080}, {4}},
      {"CAs with a path", {.path_length = 0}, {1, 2, 5}},
      {"longer than a limit", {.path_length = 1}, {1, 5}},
      {"newest", {.key_type = 1, .rule = loopback::kRuleNewest}, {4}},
      {"newest of none", {.key_type = 4, .rule = loopback::kRuleNewest}, {}},
      {"CAs", {.rule = loopback::kRuleAuthorities}, {1, 2, 5}},
      {"end entities", {.rule = loopback::kRuleEndEntities}, {3, 4}},
  };
  for (const auto &row : kRows) {
    EXPECT_EQ(tags_found(service_, row.ask, row.valid), row.found) << row.why;
    Ask keyed = row.ask;  // the same through keys instead of a scan
    keyed.group_mode = 1;
    keyed.add(kPolicy).add(kEmail);
    for (const char *name : {"ca-root.pem", "v3-dsa.pem"}) keyed.add(public_key(name));
    EXPECT_EQ(tags_found(service_, keyed, row.valid), row.found) << row.why;
  }
}

TEST_F(ServiceTest, ElementsAreCompleteAndAListIsCutToFit) {
  const Reply reply = client::ask(service_, client::search_request(77, {}));
  EXPECT_EQ(reply.id, 77u);
  EXPECT_EQ(reply.type, 2u);
  const List list(reply.payload);
  EXPECT_EQ(list.state, loopback::kComplete);
  EXPECT_EQ(list.text, "");
  for (size_t i = 0; i < std::size(kExamples); ++i) {
    EXPECT_EQ(hex(list.found[i].certificate), hex(client::example(kExamples[i])));
    EXPECT_EQ(list.found[i].serial, i + 1);
  }
  EXPECT_EQ(list.found[2].key_types, (Tags{3, 4, 4, 5, 5, 6, 10, 12, 12, 12, 12, 12, 12, 12, 13}));

  const size_t size = client::example(kExamples[0]).size() + client::example(kExamples[1]).size();
  loopback::Service small(nullptr, size + 600);
  for (const char *name : kExamples) {
    (void)client::ask(small, client::add_request(1, client::example(name)));
  }
  const List cut(client::ask(small, client::search_request(1, {})).payload);
  EXPECT_EQ(cut.tags(), (Tags{1, 2}));
  EXPECT_EQ(cut.state, loopback::kCut);
  EXPECT_THAT(cut.text, testing::StartsWith("3 more"));
}

// issued gives a certificate by its names; a CA if `ca`.
Der issued(const std::string &subject, const std::string &issuer, bool ca,
           std::string_view end = "20510203040506Z") {
  sample::CertParts parts;
  parts.validity = der::seq({der::text(0x17, "010203040506Z"), der::text(0x18, end)});
  parts.subject = der::common_name(subject);
  parts.issuer = der::common_name(issuer);
  parts.extensions.push_back(
      sample::extension("2.5.29.19", der::seq({ca ? der::boolean(true) : Der{}})));
  return parts.build();
}

Ask named(const std::string &name) { return dn("CN=" + name); }

TEST_F(ServiceTest, FindsPaths) {
  const auto until = [](const std::string &hour) {
    return client::validity("", "2030 Jan  1st, " + hour + " GMT");
  };
  for (int i = 1; i < 18; ++i) {  // tags 6 to 22: link 1 is issued by link 2, and so on
    add(issued("Link " + std::to_string(i), "Link " + std::to_string(i + 1), true));
  }
  add(issued("Round A", "Round B", true));  // 23
  add(issued("Round B", "Round A", true));  // 24
  add(issued("Leaf", "No CA", false));      // 25
  add(issued("No CA", "Link 1", false));    // 26
  add(issued("LINK  2", "link 16", true));  // 27: a shorter way, its names spelled otherwise
  add(issued("Leaf 2", "Middle", false));   // 28
  add(issued("Middle", "Old", true, "20300101000000-0130"));  // 29: ends at 01:30 UTC
  sample::CertParts old;                                      // 30: cannot say that it is a CA
  old.version = {};
  old.subject = old.issuer = der::common_name("Old");
  add(old.build());
  const Ask root = dn("C=FI, O=Example Oy, OU=Roots, CN=Example Root");
  Ask any_ca, newest = named("Link 2");
  any_ca.rule = loopback::kRuleAuthorities;
  newest.rule = loopback::kRuleNewest;
  const struct {
    const char *why;
    Ask first, second;
    Tags path;
    Der valid = client::validity();
  } kRows[] = {
      {"to the root", kWww, root, {3, 2, 1}},
      {"to the nearest", kWww, any_ca, {3, 2}},
      {"down is no way", root, kWww, {}},
      {"itself", root, root, {1}},
      {"another root", kWww, public_key("v3-dsa.pem"), {}},
      {"only the root is valid", kWww, root, {}, client::validity("2040/01/01/00:00:00")},
      {"loops end", named("Round A"), root, {}},
      {"into a loop", named("Round A"), named("round b"), {23, 24}},
      {"issued by no CA", named("Leaf"), named("No CA"), {}},
      {"the shortest", named("Link 1"), named("Link 17"), {6, 27, 21, 22}},
      {"a rule of an end", newest, named("Link 17"), {27, 21, 22}},
      {"by one of version 1", named("Leaf 2"), named("Old"), {28, 29, 30}},
      {"the middle in time", named("Leaf 2"), named("Old"), {28, 29, 30}, until("01:30:00")},
      {"the middle too late", named("Leaf 2"), named("Old"), {}, until("01:30:01")},
      {"nothing at the far end", named("Link 1"), named("Link 18"), {}},
  };
  for (const auto &row : kRows)
    EXPECT_EQ(path(row.first, row.second, row.valid), row.path) << row.why;

  for (int i = 1; i < 17; ++i) {
    add(issued("Long " + std::to_string(i), "Long " + std::to_string(i + 1), true));
  }
  add(issued("Long 17", "Long 17", true));
  EXPECT_EQ(path(named("Long 2"), named("Long 17")).size(), loopback::kPathMax);
  EXPECT_EQ(path(named("Long 1"), named("Long 17")), Tags{});
}

TEST_F(ServiceTest, KeepsWhatIsAddedOnce) {
  const auto crl = [&](const Der &octets) {
    return status(1, client::octets({ssh_put_uint32_str(octets)}));
  };
  EXPECT_EQ(crl(client::example("crl-v2.pem")), loopback::kOk);
  EXPECT_EQ(crl(client::example("crl-v2.pem")), loopback::kOk);
  EXPECT_EQ(crl(client::example("crl-v1.der")), loopback::kOk);
  EXPECT_EQ(crl(client::example("v1-rsa.der")), loopback::kUndecodable);
  add(client::example("v1-rsa.der"));
  for (const char *name : {"refused-sha256.der", "refused-critical.der", "crl-v1.der"}) {
    const Der body = client::add_request(1, client::example(name));
    EXPECT_EQ(client::ask(service_, body).status, loopback::kUndecodable) << name;
  }
  sample::CertParts twice;  // has one key twice
  const Der name = der::text(0x82, "a.test");
  twice.extensions.push_back(sample::extension("2.5.29.17", der::seq({name, name})));
  add(twice.build());
  EXPECT_EQ(tags_found(service_, key(SSH_CM_KEY_DNS, "a.test")), Tags{6});
  add(issued("www", "Issuer", true));
  add(issued("www", "Other issuer", true));
  EXPECT_EQ(told(), "certificates=8\nauthorities=5\ncrls=2\nrequests=0\n");

  const Reply names = client::ask(service_, client::request(1, 4, {}));
  const Der expected = client::octets(
      {ssh_put_uint32(4), client::text("C=FI, O=Example Oy, OU=Roots, CN=Example Root"),
       client::text("C=FI, O=Example Oy, CN=Example Issuing"),
       client::text("C=FI, O=Example Oy, CN=DSA with SHA-1"), client::text("CN=www")});
  EXPECT_EQ(hex(names.payload), hex(expected));
}

TEST_F(ServiceTest, KeepsCertificateRequestsUnderTheirNames) {
  const auto names = [](const char *last) {
    return client::octets(
        {client::text("a"), client::text(""), client::text("c"), client::text(last)});
  };
  const Der data = client::octets({client::text("data")});
  for (const char *last : {"d", "d", "e"}) {
    EXPECT_EQ(status(5, der::join({data, names(last), data})), loopback::kOk);
  }
  EXPECT_THAT(told(), testing::HasSubstr("requests=2"));
  EXPECT_EQ(status(7, names("d")), loopback::kOk);
  EXPECT_EQ(status(7, names("d")), loopback::kNotFound);
  EXPECT_THAT(told(), testing::HasSubstr("requests=1"));
}

TEST_F(ServiceTest, RefusesMalformedPayloads) {
  Ask rule, mode, time, keys;
  rule.rule = loopback::kRules;
  mode.group_mode = 2;
  time.not_after = "tomorrow";
  keys.keys.resize(loopback::kKeysMax + 1, {5, unhex("41")});
  for (size_t i = 0; i < keys.keys.size(); ++i) keys.keys[i].first = static_cast<uint32_t>(i);
  const auto search = [](const Ask &what) { return der::join({what.build(), client::validity()}); };
  const Der fine = search({});
  const auto with_count = [&](uint32_t count) {
    Der payload = fine;
    ssh_store_be32(payload.data() + 8, count);  // behind two empty times
    return payload;
  };
  const struct {
    uint32_t type, status;
    Der payload;
  } kRows[] = {
      {2, loopback::kUnknownRule, search(rule)},
      {3, loopback::kUnknownRule, der::join({Ask().build(), search(rule)})},
      {2, loopback::kMalformed, search(mode)},
      {2, loopback::kMalformed, search(time)},
      {2, loopback::kTooLarge, search(keys)},
      {2, loopback::kMalformed, with_count(0xFFFFFFFF)},  // more keys than octets
      {2, loopback::kMalformed, with_count(0x40000000)},
      {2, loopback::kMalformed, with_count(1)},
      {8, loopback::kUnknownType, {}},
      {0xFFFFFFFF, loopback::kUnknownType, {}},
      {3, loopback::kMalformed, fine},  // one constraint for a path
      // Octets behind what there is to be; for the last there are too few.
      {0, loopback::kMalformed, Der(9)},
      {1, loopback::kMalformed, Der(5)},
      {2, loopback::kMalformed, der::join({fine, Der(1)})},
      {3, loopback::kMalformed, der::join({Ask().build(), fine, Der(1)})},
      {4, loopback::kMalformed, Der(1)},
      {5, loopback::kMalformed, Der(25)},
      {6, loopback::kMalformed, Der(1)},
      {7, loopback::kMalformed, Der(17)},
      {7, loopback::kMalformed, Der(15)},
  };
  for (size_t i = 0; i < std::size(kRows); ++i) {
    const auto &row = kRows[i];
    const Reply reply = client::ask(service_, client::request(5, row.type, row.payload));
    EXPECT_EQ(reply.status, row.status) << i;
    EXPECT_TRUE(reply.type == row.type && reply.payload.empty()) << i;
    EXPECT_TRUE(loopback::service_status_text(reply.status)) << i;
  }
}

TEST(SecondsOf, CountsAsTheCalendarDoes) {
  const std::pair<SshBerTime, int64_t> kRows[] = {
      {{1969, 12, 31, 23, 59, 59}, -1},
      {{2000, 2, 29, 12, 0, 1}, 951825601},
      {{2000, 3, 1}, 951868800},
      {{2100, 3, 1}, 4107542400},
      {{2026, 1, 31, 0, 0, 0, 0, 1, 2, 30}, 1769808600},  // east of Greenwich
  };
  for (const auto &[time, seconds] : kRows) EXPECT_EQ(loopback::seconds_of(time), seconds);
}

// Every cut and every change of an octet: answered under the identifier and type that it carries,
// or dropped if it has none.
TEST_F(ServiceTest, AnswersOrDropsDamagedRequests) {
  Ask what = Ask(kWww).add(kPolicy);
  what.not_before = "2030 Jan  1st, 00:00:00 GMT";
  const Der whole = client::search_request(0x01020304, what);
  for (size_t at = 0; at < whole.size(); ++at) {
    const Der cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(at));
    const Reply none = client::ask(service_, cut);
    EXPECT_EQ(none.answered, at >= 20) << at;
    EXPECT_EQ(none.status, at >= 20 ? loopback::kMalformed : 0u) << at;
    for (const unsigned change : {0x01u, 0x80u, 0xFFu}) {
      Der damaged = whole;
      damaged[at] = static_cast<uint8_t>(damaged[at] ^ change);
      const Reply reply = client::ask(service_, damaged);
      ASSERT_TRUE(reply.answered);
      EXPECT_EQ(reply.id, ssh_load_be32(damaged.data() + 4));
      EXPECT_EQ(reply.type, ssh_load_be32(damaged.data() + 8));
      const bool envelope = at < 4 || (at >= 12 && at < 24);
      EXPECT_TRUE(!envelope || reply.status == loopback::kMalformed) << at;
    }
  }
  EXPECT_EQ(tags_found(service_, what), Tags{3});
}

}  // namespace
