// Search keys in the form in which they are compared, and the constraints that hold a copy of them.
#include "cm/search.h"

#include <gtest/gtest.h>

#include <string>

#include "support/peer.h"
#include "support/samples.h"

namespace {

// Keys is a list of search keys that frees itself.
struct Keys : sample::Balanced {
  SshCertDBKey *list = nullptr;
  ~Keys() override { ssh_certdb_key_free_list(&list); }
  // newest takes the newest key off the list: its type and octets, or "none".
  std::string newest() {
    if (!list) return "none";
    SshCertDBKey *key = list;
    list = key->next;
    std::string text = std::to_string(key->type) + " " + hex(key->bytes());
    EXPECT_EQ(key->value, 0u);
    ssh_certdb_key_free(key);
    return text;
  }
  std::string of_text(const std::string &text) {
    return ssh_cm_key_set_dn(&list, text.c_str()) ? newest() : newest() + " refused";
  }
  std::string of_der(const Der &der) {
    return ssh_cm_key_set_dn_der(&list, der) ? newest() : newest() + " refused";
  }
};

Der cn(unsigned tag, std::string_view value) {
  return der::seq({der::set({der::attribute("2.5.4.3", der::text(tag, value))})});
}
constexpr unsigned kUtf8 = 0x0C, kPrintable = 0x13, kIa5 = 0x16, kBmp = 0x1E;
using namespace std::string_view_literals;

// Each row is one name: all its spellings make the same key. What is folded where, the tests of
// canonical names say.
TEST_F(Keys, SpellingsOfAName) {
  const struct {
    Der key;
    std::vector<std::string> texts;
    std::vector<Der> ders;
  } rows[] = {
      {cn(kPrintable, "f l"),
       {"CN=F L", " cn = F   l ", "OID.2.5.4.3=\"  f l  \"", "CN=#66206C"},
       {cn(kIa5, "f l "), cn(kBmp, "\0F\0 \0L"sv)}},
      {cn(kPrintable, "A@ b"), {"CN=A@   b"}, {cn(kIa5, " A@ b")}},
      {cn(kBmp, "\0\xE9"sv), {}, {cn(kUtf8, "\xC3\xA9")}},
      {cn(kPrintable, ""), {"CN=#20", "CN=#2020"}, {cn(kPrintable, " ")}},
      {der::seq({}), {"", " "}, {der::seq({})}},
  };
  for (const auto &row : rows) {
    const std::string key = "3 " + hex(row.key);
    for (const auto &text : row.texts) EXPECT_EQ(of_text(text), key) << text;
    for (const auto &der : row.ders) EXPECT_EQ(of_der(der), key) << hex(der);
  }
}

TEST_F(Keys, NamesThatMakeNoKey) {
  for (const char *text : {"CN", "XX=a", "O=\xE9, CN=a", "OID.1=x", "CN=", "O=a, CN= + OU=b"}) {
    EXPECT_EQ(of_text(text), "none refused") << text;
  }
  const Der good = cn(kPrintable, "a");
  for (const Der &der : {Der{}, der::join({good, good}), cn(0x04, "a"), cn(kPrintable, ""),
                         cn(kBmp, "a"), cn(kUtf8, "a")}) {
    EXPECT_EQ(of_der(der), "none refused") << hex(der);
  }
  EXPECT_FALSE(ssh_cm_key_set_dn(&list, nullptr));
  const std::string long_name(SSH_CM_NAME_MAX, 'x');
  EXPECT_FALSE(ssh_cm_key_set_dn(&list, ("CN=" + long_name).c_str()));
  EXPECT_FALSE(ssh_cm_key_set_dn_der(&list, cn(kPrintable, long_name)));
  EXPECT_EQ(newest(), "none");
}

TEST_F(Keys, OctetsAreTakenAsTheyStand) {
  using Set = bool (*)(SshCertDBKey **, const char *, uint32_t);
  const struct {
    Set set;
    const char *type;
  } rows[] = {{ssh_cm_key_set_dns, "5 "},
              {ssh_cm_key_set_uri, "6 "},
              {ssh_cm_key_set_email, "10 "},
              {ssh_cm_key_set_oid, "12 "}};
  for (const auto &[set, type] : rows) {
    EXPECT_TRUE(set(&list, " A.b ", 0));
    EXPECT_TRUE(set(&list, "A\0b", 3));
    EXPECT_TRUE(set(&list, "", 0));
    EXPECT_FALSE(set(&list, "", SSH_CM_KEY_MAX + 1));
    EXPECT_FALSE(set(&list, nullptr, 0));
    EXPECT_FALSE(set(&list, nullptr, 4));
    for (const char *expected : {"", "410062", "20412e6220"})
      EXPECT_EQ(newest(), std::string(type) + expected);
    EXPECT_EQ(newest(), "none");
  }
  Der address = unhex("7F000001 41");
  for (const size_t length : {5u, 0u, 4u})
    EXPECT_TRUE(ssh_cm_key_set_ip(&list, Bytes(address).first(length)));
  for (const char *expected : {"4 7f000001", "4 ", "4 7f00000141"}) EXPECT_EQ(newest(), expected);
  address.resize(SSH_CM_KEY_MAX + 1);
  EXPECT_FALSE(ssh_cm_key_set_ip(&list, address));
  EXPECT_TRUE(ssh_cm_key_set_ip(&list, Bytes(address).first(SSH_CM_KEY_MAX)));
  EXPECT_EQ(list->length, SSH_CM_KEY_MAX);
}

TEST_F(Keys, APublicKeyIsTheDigestOfItsExport) {
  sample::CertParts parts;
  for (const Der &info : {sample::rsa_key_info(), sample::dsa_key_info(0x1235)}) {
    parts.key = info;
    const sample::Cert cert(parts.build());
    const SshPublicKeyOwner key(ssh_x509_cert_public_key(&*cert));
    uint8_t *blob = nullptr;
    uint32_t length = 0;
    ASSERT_EQ(ssh_public_key_export(key.get(), &blob, &length), SSH_KEY_OK);
    const SshBlock owner(blob);
    EXPECT_TRUE(ssh_cm_key_set_public_key(&list, key.get()));
    EXPECT_EQ(newest(), "13 " + peer_digest("sha1", {blob, length}));
  }
  EXPECT_FALSE(ssh_cm_key_set_public_key(&list, nullptr));
  EXPECT_EQ(newest(), "none");
}

TEST_F(Keys, ConstraintsHaveTheirOwnCopy) {
  const Owner<SshCMSearchConstraints, ssh_cm_search_free> search(ssh_cm_search_allocate());
  EXPECT_EQ(ssh_cm_search_set_keys(*search, nullptr), SSH_CM_OK) << "no keys are none set";
  ssh_certdb_key_push(&list, 5, unhex("61"), 9);
  ssh_certdb_key_push(&list, 4, {}, 8);
  EXPECT_EQ(ssh_cm_search_set_keys(*search, list), SSH_CM_OK);
  const SshCertDBKey *const held = search->keys;
  EXPECT_EQ(ssh_cm_search_set_keys(*search, list), SSH_CM_EMPTY);
  ssh_certdb_key_free_list(&list);
  EXPECT_TRUE(search->keys == held && held->type == 4 && held->length == 0 && held->value == 8);
  ASSERT_TRUE(held->next && !held->next->next);
  EXPECT_EQ(hex(held->next->bytes()) + " " + std::to_string(held->next->value), "61 9");
}

}  // namespace
