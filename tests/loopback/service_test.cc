#include "loopback/service.h"

#include "api/handles.h"
#include "api/reply_list.h"
#include "loopback/finder.h"
#include "support/samples.h"
#include "support/wire.h"

namespace {

using wire::Ask;
using wire::validity;
using Tags = std::vector<uint32_t>;

// The examples in the order in which they are added: their tags are 1 to 5.
constexpr const char *kExamples[] = {"ca-root.pem", "ca-issuing.pem", "v3-rich.der", "v1-rsa.der",
                                     "v3-dsa.pem"};

Der answer(loopback::Service &service, const Der &body) {
  SshBuffer reply;
  if (!service.answer(body, reply)) return {};
  const Bytes octets = ssh_buffer_bytes(reply);
  return Der(octets.begin(), octets.end());
}

// List is a reply to a search, read by the library.
struct List {
  Owner<KwPkiCertListObject, [](KwPkiCertList list) { (void)KwPkiCertListFree(list); }> owner;
  std::vector<const SshCertDBEntry *> entries;

  explicit List(const Der &reply) : owner(reply_list_decode(Bytes(reply).subspan(24))) {
    EXPECT_EQ(wire::number(reply, wire::kStatus), loopback::kOk);
    for (const auto *node = owner->list->head; node; node = node->next)
      entries.push_back(node->entry);
    EXPECT_EQ(entries.size(), ssh_load_be32(reply.data() + 24));
  }
  [[nodiscard]] Tags tags() const {
    Tags all;
    for (const SshCertDBEntry *entry : entries) all.push_back(entry->tag);
    return all;
  }
};

class ServiceTest : public sample::Balanced {
 protected:
  ServiceTest() : service_(nullptr) {
    for (const char *name : kExamples) add(sample::example(name));
  }
  Der ask(uint32_t type, const Der &payload = {}) {
    return answer(service_, wire::request(77, type, payload));
  }
  uint32_t status(uint32_t type, const Der &payload) {
    return wire::number(ask(type, payload), wire::kStatus);
  }
  uint32_t status_of_add(const Der &cert) {
    return status(0, der::join({wire::u32(0), wire::str(Bytes(cert))}));
  }
  void add(const Der &cert) { EXPECT_EQ(status_of_add(cert), loopback::kOk); }
  Tags found(const Ask &what, const Der &valid = validity()) {
    return List(ask(2, der::join({what.build(), valid}))).tags();
  }
  Tags path(const Ask &first, const Ask &second, const Der &valid = validity()) {
    return List(ask(3, der::join({first.build(), second.build(), valid}))).tags();
  }
  std::string told() {
    const Der reply = ask(6);
    return std::string(ssh_bytes_text(Bytes(reply).subspan(24)));
  }
  loopback::Service service_;
};

// key asks for bytes, dn and public_key for what the library makes of a name and a certificate.
Ask key(uint32_t type, std::string_view octets) {
  return {.keys = {wire::key(type, Der(octets.begin(), octets.end()))}};
}
Ask made(SshCertDBKey *list) {
  const Ask ask = key(list->type, ssh_bytes_text(list->bytes()));
  ssh_certdb_key_free_list(&list);
  return ask;
}
Ask dn(const std::string &text) {
  SshCertDBKey *list = nullptr;
  EXPECT_TRUE(ssh_cm_key_set_dn(&list, text.c_str()));
  return made(list);
}
Ask public_key(const char *example) {
  const sample::Cert cert(sample::example(example));
  const SshPublicKeyOwner owner(ssh_x509_cert_public_key(cert.record.get()));
  SshCertDBKey *list = nullptr;
  EXPECT_TRUE(ssh_cm_key_set_public_key(&list, owner.get()));
  return made(list);
}
const Ask kWww = key(SSH_CM_KEY_DNS, "www.example.com");

TEST_F(ServiceTest, AppliesConstraints) {
  const struct {
    const char *why;
    Ask ask;
    Tags tags;
    Der valid = validity();
  } kRows[] = {
      {"nothing asked", {}, {1, 2, 3, 4, 5}},
      {"the last second", {.not_after = "2035/12/31/23:59:59"}, {1, 2, 3, 4, 5}},
      {"the separate validity", {}, {1}, validity("", "2036/01/01/00:00:00")},
      {"DSA", {.key_type = 2}, {5}},
      {"no extension allows all", {.key_usage = SSH_X509_USAGE_DIGITAL_SIGNATURE}, {3, 4}},
      {"bits of several octets", {.key_usage = 0x8080}, {4}},
      {"CAs with a path", {.path_length = 1}, {1, 5}},
      {"newest", {.key_type = 1, .rule = loopback::kRuleNewest}, {4}},
      {"CAs", {.rule = loopback::kRuleAuthorities}, {1, 2, 5}},
      {"end entities", {.rule = loopback::kRuleEndEntities}, {3, 4}},
  };
  Ask each = public_key("ca-root.pem");
  for (const Ask &ask : {public_key("v3-dsa.pem"), key(SSH_CM_KEY_OID, "1.3.6.1.4.1.99999.2"),
                         key(SSH_CM_KEY_EMAIL, "one@example.com")})
    each.keys.push_back(ask.keys[0]);
  for (const auto &row : kRows) {
    EXPECT_EQ(found(row.ask, row.valid), row.tags) << row.why;
    Ask keyed = row.ask;  // the same through keys instead of a scan
    keyed.group_mode = 1;
    keyed.keys = each.keys;
    EXPECT_EQ(found(keyed, row.valid), row.tags) << row.why;
  }
}

TEST_F(ServiceTest, ElementsAreCompleteAndAListIsCutToFit) {
  const Der search = wire::request(0x01020304, 2, der::join({Ask().build(), validity()}));
  const Der reply = answer(service_, search);
  EXPECT_EQ(hex(Bytes(reply).first(12)), "000000010102030400000002");
  const List list(reply);
  size_t size = 600;
  for (size_t i = 0; i < std::size(kExamples); ++i) {
    const auto *cert = static_cast<const SshCMCertificate *>(list.entries[i]->object);
    EXPECT_EQ(hex(ssh_cm_cert_encoding(*cert)), hex(sample::example(kExamples[i])));
    EXPECT_EQ(list.entries[i]->aux_value, static_cast<int32_t>(i + 1));
    if (i < 2) size += ssh_cm_cert_encoding(*cert).size();
  }
  Tags types;
  for (const auto *key = list.entries[2]->keys; key; key = key->next) types.push_back(key->type);
  EXPECT_EQ(types, (Tags{3, 4, 4, 5, 5, 6, 10, 12, 12, 12, 12, 12, 12, 12, 13}));

  loopback::Service small(nullptr, size);
  for (const char *name : kExamples) {
    (void)answer(
        small,
        wire::request(1, 0, der::join({wire::u32(0), wire::str(Bytes(sample::example(name)))})));
  }
  const List cut(answer(small, search));
  EXPECT_EQ(cut.tags(), (Tags{1, 2}));
  EXPECT_EQ(cut.owner->search_state->state, loopback::kCut);
  EXPECT_THAT(cut.owner->search_state->text.get(), testing::StartsWith("3 more"));
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
  const auto chain = [this](const std::string &name, int count) {
    for (int i = 1; i < count; ++i)
      add(issued(name + std::to_string(i), name + std::to_string(i + 1), true));
  };
  chain("Link ", 18);                       // tags 6 to 22: link 1 is issued by link 2, and so on
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
  const Der kLate = validity("", "2030 Jan  1st, 01:30:01 GMT");
  const struct {
    const char *why;
    Ask first, second;
    Tags path;
    Der valid = validity();
  } kRows[] = {
      {"to the root", kWww, root, {3, 2, 1}},
      {"only the root is valid", kWww, root, {}, validity("2040/01/01/00:00:00")},
      {"loops end", named("Round A"), root, {}},
      {"issued by no CA", named("Leaf"), named("No CA"), {}},
      {"the shortest", named("Link 1"), named("Link 17"), {6, 27, 21, 22}},
      {"by one of version 1", named("Leaf 2"), named("Old"), {28, 29, 30}},
      {"the middle too late", named("Leaf 2"), named("Old"), {}, kLate},
  };
  for (const auto &row : kRows)
    EXPECT_EQ(path(row.first, row.second, row.valid), row.path) << row.why;
  chain("Long ", 17);
  add(issued("Long 17", "Long 17", true));
  EXPECT_EQ(path(named("Long 1"), named("Long 17")).size(), 0u);
  EXPECT_EQ(path(named("Long 2"), named("Long 17")).size(), loopback::kPathMax);
}

TEST_F(ServiceTest, KeepsWhatIsAddedOnce) {
  const auto crl = [&](const char *name) {
    return status(1, wire::str(Bytes(sample::example(name))));
  };
  for (const char *name : {"crl-v2.pem", "crl-v2.pem", "crl-v1.der"})
    EXPECT_EQ(crl(name), loopback::kOk);
  EXPECT_EQ(crl("v1-rsa.der"), loopback::kUndecodable);
  EXPECT_EQ(status_of_add(sample::example("crl-v1.der")), loopback::kUndecodable);
  add(sample::example("v1-rsa.der"));
  for (const char *issuer : {"Issuer", "Other issuer"}) add(issued("www", issuer, true));
  EXPECT_EQ(told(), "certificates=7\nauthorities=5\ncrls=2\nrequests=0\n");
  const Der names =
      der::join({wire::u32(4), wire::str("C=FI, O=Example Oy, OU=Roots, CN=Example Root"),
                 wire::str("C=FI, O=Example Oy, CN=Example Issuing"),
                 wire::str("C=FI, O=Example Oy, CN=DSA with SHA-1"), wire::str("CN=www")});
  EXPECT_EQ(hex(ask(4)), hex(wire::envelope(77, 4, 0, names)));
}

TEST_F(ServiceTest, RefusesMalformedRequests) {
  const auto search = [](const Ask &what) { return der::join({what.build(), validity()}); };
  Ask keys;
  for (uint32_t i = 0; i <= loopback::kKeysMax; ++i) keys.keys.push_back(wire::key(i, {0x41}));
  const Der fine = search({});
  Der whole_keys = fine;
  ssh_store_be32(whole_keys.data() + 8, 0xFFFFFFFF);  // behind two empty times
  const struct {
    uint32_t type, status;
    Der payload;
  } kRows[] = {
      {3, loopback::kUnknownRule, der::join({Ask().build(), search({.rule = loopback::kRules})})},
      {2, loopback::kMalformed, search({.group_mode = 2})},
      {2, loopback::kMalformed, search({.not_after = "tomorrow"})},
      {2, loopback::kTooLarge, search(keys)},
      {2, loopback::kMalformed, whole_keys},  // more keys than bytes
      {8, loopback::kUnknownType, {}},
      {3, loopback::kMalformed, fine},  // one constraint for a path
  };
  for (const auto &row : kRows) {
    EXPECT_EQ(hex(ask(row.type, row.payload)), hex(wire::envelope(77, row.type, row.status, {})))
        << &row - kRows;
  }
  // Bytes behind what there is to be.
  const Der wholes[] = {Der(8), Der(4),  fine, der::join({Ask().build(), fine}),
                        {},     Der(24), {},   Der(16)};
  for (uint32_t type = 0; type < std::size(wholes); ++type)
    EXPECT_EQ(status(type, der::join({wholes[type], {0}})), loopback::kMalformed) << type;
  // Each number of the envelope but the identifier; then fewer bytes than it announces.
  const Der whole = wire::request(77, 6);
  for (const size_t at : {0u, 12u, 16u, 23u}) {
    Der damaged = whole;
    damaged[at] = 1;
    EXPECT_EQ(wire::number(answer(service_, damaged), wire::kStatus), loopback::kMalformed) << at;
  }
  EXPECT_EQ(answer(service_, Der(whole.begin(), whole.begin() + 19)), Der())
      << "nobody to reply to";
}

}  // namespace
