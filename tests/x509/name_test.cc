#include "x509/name.h"

#include "support/samples.h"

namespace {

using namespace der;
using namespace sample;
using NameTest = sample::Balanced;

// Lists read newest first. An identifier is its text and has no length; the names that are refused
// are in extensions_test.cc.
TEST_F(NameTest, WhatListsTell) {
  const Der kOther = tlv(0xA0, join({oid("1.2.3"), wrap(0, text(0x0C, "x"))}));
  const Cert cert = with_extension(
      "2.5.29.17", seq({text(0x82, "one"), kOther, tlv(0x87, Der{1, 2}), tlv(0x88, unhex("2A0304")),
                        wrap(4, seq({})), text(0x82, "two")}));
  ASSERT_TRUE(cert);
  SshX509Name *const list = cert->subject_names;
  std::string told;
  for (const SshX509Name *n = list; n; n = n->next) {
    SshOid type;
    Bytes value;
    told += own_text(ssh_x509_name_text(n)) + "/" + std::to_string(n->data_length) + " ";
    if (ssh_x509_name_other(*n, &type, &value)) told += hex(type.octets) + "=" + hex(value) + " ";
  }
  EXPECT_EQ(told, "two/0 1.2.3.4/0 (null)/2 (null)/" + std::to_string(kOther.size()) +
                      " 2a03=" + hex(text(0x0C, "x")) + " one/0 CN=Subject/0 ");

  EXPECT_EQ(ssh_x509_name_take(list, SSH_X509_NAME_DNS), list);
  EXPECT_EQ(own_text(ssh_x509_name_text(ssh_x509_name_take(list, SSH_X509_NAME_DNS))), "one");
  EXPECT_EQ(ssh_x509_name_take(list, SSH_X509_NAME_DNS), nullptr);
  EXPECT_EQ(ssh_x509_name_find(list, SSH_X509_NAME_DNS), list)
      << "finding does not look at the mark";
  ssh_x509_name_reset(list);
  EXPECT_EQ(ssh_x509_name_take(list, SSH_X509_NAME_DNS), list);
}

}  // namespace
