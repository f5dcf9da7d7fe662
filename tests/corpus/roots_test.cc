// The authorities that this system trusts, as its package of certificates has them: the modern
// profile reads every one, with a text of its subject; the classic profile those that its rules,
// stated a second time, let through.

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "asn1/files.h"
#include "corpus/classic_rules.h"
#include "support/profile.h"
#include "support/samples.h"
#include "support/touch.h"
#include "util/owner.h"

namespace {

using classic::Verdict;
using sample::Cert;

constexpr char kFile[] = "/etc/ssl/certs/ca-certificates.crt";

std::vector<Der> roots() {
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

class Roots : public sample::Balanced {
 protected:
  void SetUp() override {
    if (roots_.empty()) GTEST_SKIP() << "no roots at " << kFile;
    Balanced::SetUp();
  }
  void TearDown() override {
    if (!roots_.empty()) Balanced::TearDown();
  }
  const std::vector<Der> roots_ = roots();
};

TEST_F(Roots, ModernReadsEveryOne) {
  const ProfileScope modern(SSH_X509_MODERN);
  size_t read_back = 0;
  for (const Der &root : roots_) {
    const Cert cert(root);
    ASSERT_TRUE(cert) << cert->refusal.structure;
    EXPECT_EQ(cert->ca, 1);
    const SshX509Name *subject = ssh_x509_name_find(cert->subject_names, SSH_X509_NAME_DN);
    const std::string text = sample::own_text(ssh_x509_cert_subject_text(&*cert));
    ASSERT_NE(text, "(null)");
    touch::record(*cert);
    // It reads back as the name that was issued, in the spelling by which names are compared, unless
    // a value's letters are beyond ASCII and stand there as octets.
    if (text.find("=#") != std::string::npos) continue;
    ++read_back;
    SshDN parsed = {};
    uint8_t *ours = nullptr, *theirs = nullptr;
    size_t our_length = 0, their_length = 0;
    EXPECT_TRUE(ssh_dn_decode_ldap(text.c_str(), &parsed)) << text;
    EXPECT_TRUE(ssh_dn_encode_der_canonical(&parsed, &ours, &our_length)) << text;
    ssh_dn_clear(&parsed);
    EXPECT_TRUE(subject && ssh_dn_decode_der(subject->der, &parsed));
    EXPECT_TRUE(ssh_dn_encode_der_canonical(&parsed, &theirs, &their_length)) << text;
    ssh_dn_clear(&parsed);
    const SshBlock our_block(ours), their_block(theirs);
    EXPECT_EQ(hex({ours, our_length}), hex({theirs, their_length})) << text;
  }
  EXPECT_GE(read_back, roots_.size() * 9 / 10);
}

TEST_F(Roots, ClassicReadsThoseOfItsEra) {
  size_t read = 0, open = 0;
  for (const Der &root : roots_) {
    const Cert cert(root);
    const Verdict verdict = classic::certificate(root);
    read += static_cast<bool>(cert);
    open += verdict == Verdict::kOpen;
    if (verdict == Verdict::kOpen) continue;
    EXPECT_EQ(static_cast<bool>(cert), verdict == Verdict::kAccept)
        << (cert ? "must be refused" : cert->refusal.structure);
  }
  std::printf("roots: %zu, classic reads %zu\n", roots_.size(), read);
  EXPECT_LE(open, roots_.size() / 10);
}

}  // namespace
