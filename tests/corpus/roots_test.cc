// The authorities that this system trusts, as its package of certificates has them: the modern
// profile reads every one, with a text of its subject; the classic profile those that its rules,
// stated a second time, let through.

#include <gtest/gtest.h>

#include <fstream>

#include "asn1/files.h"
#include "corpus/classic_rules.h"
#include "corpus/items.h"
#include "support/profile.h"
#include "support/samples.h"
#include "support/touch.h"

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

TEST(Roots, AreReadByBothProfilesAsTheirRulesSay) {
  const std::vector<Der> roots = read_roots();
  if (roots.empty()) GTEST_SKIP() << "no roots at " << kFile;
  const int64_t blocks = ssh_mem_blocks();
  size_t read_back = 0, by_classic = 0;
  for (const Der &root : roots) {
    const corpus_items::CertElements elements(root);
    ASSERT_TRUE(elements.usual);
    const bool reads = Cert(root).length != 0;
    by_classic += reads;
    EXPECT_EQ(reads, classic::algorithms(elements.outer[1], elements.at(1), elements.at(5)) &&
                         classic::certificate(elements.tbs, elements.first));

    const ProfileScope modern(SSH_X509_MODERN);
    const Cert cert(root);
    ASSERT_TRUE(cert) << cert->refusal.structure;
    EXPECT_EQ(cert->ca, 1);
    const std::string text = sample::own_text(ssh_x509_cert_subject_text(&*cert));
    ASSERT_NE(text, "(null)");
    touch::record(*cert);
    // It reads back as the name that was issued, unless a value's letters are beyond ASCII and stand
    // there as octets.
    if (text.find("=#") != std::string::npos) continue;
    ++read_back;
    const SshX509Name *subject = ssh_x509_name_find(cert->subject_names, SSH_X509_NAME_DN);
    SshDN dn = {};
    const std::string again = canonical(ssh_dn_decode_ldap(text.c_str(), &dn), dn);
    EXPECT_EQ(again, canonical(ssh_dn_decode_der(subject->der, &dn), dn)) << text;
  }
  std::printf("roots: %zu, classic reads %zu\n", roots.size(), by_classic);
  EXPECT_GE(read_back, roots.size() * 9 / 10);
  EXPECT_EQ(ssh_mem_blocks(), blocks);
}

}  // namespace
