// The authorities that this system trusts, as its package of certificates has them: the modern
// profile reads every one, with a text of its subject that reads back.

#include <gtest/gtest.h>

#include <fstream>

#include "asn1/files.h"
#include "support/profile.h"
#include "support/samples.h"

namespace {

using sample::Cert;

constexpr char kFile[] = "/etc/ssl/certs/ca-certificates.crt";

std::vector<Der> read_roots() {
  std::ifstream file(kFile);
  std::vector<Der> list;
  std::string text;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("-----BEGIN")) text.clear();
    if (!line.starts_with("-----")) text += line;
    if (!line.starts_with("-----END")) continue;
    size_t length = 0;
    const SshBlock octets(ssh_base64_to_buf(text.c_str(), &length));
    list.emplace_back(octets.get(), octets.get() + length);
  }
  return list;
}

// canonical gives a name in the spelling by which names are compared.
std::string canonical(bool decoded, SshDN &dn) {
  uint8_t *der = nullptr;
  size_t length = 0;
  EXPECT_TRUE(decoded && ssh_dn_encode_der_canonical(&dn, &der, &length));
  const SshBlock block(der);
  ssh_dn_clear(&dn);
  return hex({der, length});
}

TEST(Roots, AreReadWithTheirNames) {
  const std::vector<Der> roots = read_roots();
  if (roots.empty()) GTEST_SKIP() << "no roots at " << kFile;
  const ProfileScope modern(SSH_X509_MODERN);
  size_t read_back = 0;
  for (const Der &root : roots) {
    const Cert cert(root);
    ASSERT_TRUE(cert) << cert->refusal.structure;
    EXPECT_EQ(cert->ca, 1);
    const std::string text = sample::own_text(ssh_x509_cert_subject_text(&*cert));
    ASSERT_NE(text, "(null)");
    // Where a value's letters are beyond ASCII they stand there as octets.
    if (text.find("=#") != std::string::npos) continue;
    ++read_back;
    const SshX509Name *subject = ssh_x509_name_find(cert->subject_names, SSH_X509_NAME_DN);
    SshDN dn = {};
    const std::string again = canonical(ssh_dn_decode_ldap(text.c_str(), &dn), dn);
    EXPECT_EQ(again, canonical(ssh_dn_decode_der(subject->der, &dn), dn)) << text;
  }
  EXPECT_GE(read_back, roots.size() * 9 / 10);
}

}  // namespace
