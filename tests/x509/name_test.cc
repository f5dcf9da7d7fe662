#include "x509/name.h"

#include <gtest/gtest.h>

#include "support/samples.h"

namespace {

using namespace der;
using namespace sample;
using NameTest = sample::Balanced;

// Subject gives a certificate's other subject names, in the order of the list: newest first.
struct Subject {
  Cert cert;
  explicit Subject(const std::vector<Der> &names) : cert(with_extension("2.5.29.17", seq(names))) {}
  explicit operator bool() const { return static_cast<bool>(cert); }
  [[nodiscard]] SshX509Name *first() const { return cert->subject_names; }
};

TEST_F(NameTest, GeneralNames) {
  const Der kOther = tlv(0xA0, join({oid("1.2.3"), wrap(0, text(0x0C, "x"))}));
  const struct {
    const char *why;
    Der name;
    SshX509NameType type;
    const char *text;
    std::string data;
    bool counted = true;  // the length of the data
  } rows[] = {
      {"other name", kOther, SSH_X509_NAME_OTHER, "(null)", hex(kOther)},
      {"IP of any length", tlv(0x87, {}), SSH_X509_NAME_IP, "(null)", ""},
      {"identifier", tlv(0x88, unhex("2A030405")), SSH_X509_NAME_REGISTERED_ID, "1.2.3.4.5",
       "2a030405", false},
  };
  for (const auto &row : rows) {
    const Subject subject({row.name});
    ASSERT_TRUE(subject) << row.why;
    const SshX509Name *name = subject.first();
    EXPECT_EQ(name->type, row.type) << row.why;
    EXPECT_EQ(own_text(ssh_x509_name_text(name)), row.text) << row.why;
    EXPECT_EQ(hex(name->data), row.data) << row.why;
    EXPECT_EQ(name->data_length, row.counted ? name->data.size() : 0) << row.why;
    EXPECT_EQ(hex(name->der), hex(row.name)) << row.why;
    SshOid type;
    Bytes value;
    const bool other = ssh_x509_name_other(*name, &type, &value);
    EXPECT_EQ(other, row.name == kOther) << row.why;
    EXPECT_EQ(hex(type.octets) + hex(value), other ? "2a03" + hex(text(0x0C, "x")) : "");
  }
  EXPECT_EQ(Subject({wrap(4, seq({}))}).first()->type, SSH_X509_NAME_DN)
      << "an empty name adds no entry";
}

TEST_F(NameTest, GeneralNamesThatAreRefused) {
  const std::vector<Der> names = {tlv(0x89, {}),
                                  text(0x16, "a@b"),  // no alternatives
                                  wrap(4, {}),
                                  wrap(4, seq({set({null()})})),
                                  tlv(0x88, unhex("2A83")),
                                  indefinite(0xA1, {null()})};
  for (const Der &name : names) EXPECT_FALSE(Subject({text(0x82, "good"), name})) << hex(name);
}

TEST_F(NameTest, ListsReadNewestFirst) {
  const Subject subject({text(0x82, "one"), text(0x81, "mail"), text(0x82, "two")});
  ASSERT_TRUE(subject);
  std::string order;
  for (const SshX509Name *n = subject.first(); n; n = n->next)
    order += own_text(ssh_x509_name_text(n)) + " ";
  EXPECT_EQ(order, "two mail one CN=Subject ");

  SshX509Name *list = subject.first();
  EXPECT_EQ(ssh_x509_name_take(list, SSH_X509_NAME_DNS), list);
  EXPECT_EQ(own_text(ssh_x509_name_text(ssh_x509_name_take(list, SSH_X509_NAME_DNS))), "one");
  EXPECT_EQ(ssh_x509_name_take(list, SSH_X509_NAME_DNS), nullptr);
  EXPECT_EQ(ssh_x509_name_find(list, SSH_X509_NAME_DNS), list)
      << "finding does not look at the mark";
  ssh_x509_name_reset(list);
  EXPECT_EQ(ssh_x509_name_take(list, SSH_X509_NAME_DNS), list);
}

}  // namespace
