// Search keys in the form in which they are compared, and the constraints that hold a copy of them.
#include "cm/search.h"

#include "support/samples.h"

namespace {

// Keys has a list of search keys that frees itself.
struct Keys : sample::Balanced {
  SshCertDBKey *list = nullptr;
  ~Keys() override { ssh_certdb_key_free_list(&list); }
};

// What is folded, and which names have no canonical form, the tests of canonical names say.
TEST_F(Keys, NamesInTheirCanonicalForm) {
  const Der good = der::common_name("F   L ");
  const std::string long_name(SSH_CM_NAME_MAX, 'x');
  for (const std::string &none : {std::string("CN="), "CN=" + long_name})
    EXPECT_FALSE(ssh_cm_key_set_dn(&list, none.c_str()));
  for (const Der &none :
       {der::join({good, good}), der::common_name(""), der::common_name(long_name)})
    EXPECT_FALSE(ssh_cm_key_set_dn_der(&list, none));
  EXPECT_TRUE(!ssh_cm_key_set_dn(&list, nullptr) && !list);
  EXPECT_TRUE(ssh_cm_key_set_dn(&list, "OID.2.5.4.3=\"  f l  \""));
  EXPECT_TRUE(ssh_cm_key_set_dn_der(&list, good));
  for (const SshCertDBKey *key : {list, list->next}) {
    EXPECT_EQ(hex(key->bytes()), hex(der::common_name("f l")));
    EXPECT_TRUE(key->type == 3 && key->value == 0);
  }
  EXPECT_FALSE(list->next->next);
}

// How texts and keys are taken, the requests of every export show.
TEST_F(Keys, LimitsAndCopies) {
  const Der address(SSH_CM_KEY_MAX + 1);
  EXPECT_FALSE(ssh_cm_key_set_ip(&list, address));
  EXPECT_TRUE(ssh_cm_key_set_ip(&list, Bytes(address).first(SSH_CM_KEY_MAX)));
  EXPECT_EQ(list->length, SSH_CM_KEY_MAX);
  ssh_certdb_key_free_list(&list);
  ssh_certdb_key_push(&list, 5, unhex("61"), 9);
  const Owner<SshCMSearchConstraints, ssh_cm_search_free> search(ssh_cm_search_allocate());
  EXPECT_EQ(ssh_cm_search_set_keys(*search, list), SSH_CM_OK);
  const SshCertDBKey &copy = *search->keys;
  EXPECT_TRUE(&copy != list && copy.type == 5 && copy.value == 9 && !copy.next);
}

}  // namespace
