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
};

// What is folded, and which names have no canonical form, the tests of canonical names say.
TEST_F(Keys, NamesInTheirCanonicalForm) {
  const Der canonical = der::common_name("f l"), good = der::common_name("F   L ");
  const std::string key = "3 " + hex(canonical), long_name(SSH_CM_NAME_MAX, 'x');
  for (const char *text : {"CN=F L", "OID.2.5.4.3=\"  f l  \"", "CN=#66206C"}) {
    EXPECT_TRUE(ssh_cm_key_set_dn(&list, text));
    EXPECT_EQ(newest(), key) << text;
  }
  EXPECT_TRUE(ssh_cm_key_set_dn_der(&list, good));
  EXPECT_EQ(newest(), key);
  for (const std::string &none : {std::string("CN"), std::string("CN="), "CN=" + long_name})
    EXPECT_FALSE(ssh_cm_key_set_dn(&list, none.c_str()));
  for (const Der &none :
       {Der{}, der::join({good, good}), der::common_name(""), der::common_name(long_name)}) {
    EXPECT_FALSE(ssh_cm_key_set_dn_der(&list, none));
  }
  EXPECT_FALSE(ssh_cm_key_set_dn(&list, nullptr));
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
  EXPECT_TRUE(ssh_cm_key_set_ip(&list, address));
  EXPECT_EQ(newest(), "4 7f00000141");
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
  EXPECT_EQ(ssh_cm_search_set_keys(*search, list), SSH_CM_WRONG_STATE);
  ssh_certdb_key_free_list(&list);
  EXPECT_TRUE(search->keys == held && held->type == 4 && held->length == 0 && held->value == 8);
  ASSERT_TRUE(held->next && !held->next->next);
  EXPECT_EQ(hex(held->next->bytes()) + " " + std::to_string(held->next->value), "61 9");
}

}  // namespace
