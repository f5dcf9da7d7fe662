// What clients see of today's certificates, under each profile.
#include <gtest/gtest.h>

#include "api/client.h"
#include "cm/search.h"
#include "support/profile.h"

namespace {

using ApiProfileTest = sample::Balanced;

TEST_F(ApiProfileTest, KeysWithoutAnObject) {
  sample::CertParts parts;
  parts.use_algorithm("1.2.840.10045.4.3.2");
  parts.subject = der::seq({der::set({der::attribute("2.5.4.3", der::text(0x0C, "Subject"))})});
  for (const char *algorithm : {"1.2.840.10045.2.1", "1.2.3.4"}) {
    parts.key = sample::key_info(der::oid("1.2.840.10045.3.1.7"), Der(65, 4), algorithm);
    const client::Cert cert;
    EXPECT_EQ(client::set(cert, parts.build()), KWPKI_FAILED);
    const ProfileScope modern(SSH_X509_MODERN);
    ASSERT_EQ(client::set(cert, parts.build()), KWPKI_OK);
    EXPECT_EQ(client::subject(cert), (client::Result{KWPKI_OK, "CN=Subject"}));
    EXPECT_EQ(client::key(cert).status, KWPKI_NO_PUBLIC_KEY);
  }
}

// A name of any string type is searched for under the key that its text has.
TEST_F(ApiProfileTest, SearchKeysFromDer) {
  for (const unsigned type : {0x0Cu, 0x12u, 0x1Au}) {
    const Der name = der::seq({der::set({der::attribute("2.5.4.3", der::text(type, "12 34"))})});
    SshCertDBKey *keys = nullptr;
    EXPECT_FALSE(ssh_cm_key_set_dn_der(&keys, name)) << type;
    const ProfileScope modern(SSH_X509_MODERN);
    ASSERT_TRUE(ssh_cm_key_set_dn_der(&keys, name) && ssh_cm_key_set_dn(&keys, "CN=12 34")) << type;
    EXPECT_EQ(hex(keys->bytes()), hex(keys->next->bytes()));
    ssh_certdb_key_free_list(&keys);
  }
}

}  // namespace
