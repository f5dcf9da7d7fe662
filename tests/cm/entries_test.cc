// The encoded forms of database entries, and the functions with which a database handles objects.
#include "cm/entries.h"

#include "support/samples.h"
#include "support/wire.h"

namespace {

using Entries = sample::Balanced;
using CertOwner = Owner<SshCMCertificate, ssh_cm_cert_free>;

// Record is an encoded certificate in its parts.
struct Record {
  Der ber = sample::CertParts().build();
  Der before = unhex("fedcba98 01");
  std::string times[6] = {
      "2001 Mar 22nd, 14:03:09 GMT", "1999 Dec  1st, 00:00:00 GMT", "",
      "2038 Jan 19th, 03:14:08 GMT", "2024 Feb 29th, 23:59:59 GMT", "1970 Jan  3rd, 01:02:03 GMT"};
  Der between = unhex("fffffff9 00000009 01ff a0a1a2a3 01"), word_b = unhex("b0b1b2b3");
  std::string text = "what it says";

  [[nodiscard]] Der build() const {
    return der::join({wire::str(Bytes(ber)), before, wire::str(times[0]), wire::str(times[1]),
                      wire::str(times[2]), wire::str(times[3]), between, wire::str(times[4]),
                      word_b, wire::str(times[5]), wire::str(text)});
  }
};

std::string encode(const SshCMCertificate &cert) {
  SshBuffer buffer;
  const uint32_t length = ssh_cm_cert_encode_record(cert, buffer);
  EXPECT_EQ(length, ssh_buffer_len(buffer));
  return hex(ssh_buffer_bytes(buffer));
}

// decode gives the status for bytes. What decodes must encode to the same.
uint32_t decode(const Der &octets) {
  const CertOwner cert(ssh_cm_cert_allocate());
  const uint32_t status = ssh_cm_cert_decode_record(octets, *cert);
  EXPECT_TRUE(status != SSH_CM_OK || encode(*cert) == hex(octets));
  return status;
}

TEST_F(Entries, RecordOfACertificateIsExact) {
  Record record;
  const CertOwner cert(ssh_cm_cert_allocate());
  ASSERT_EQ(ssh_cm_cert_set_ber(*cert, record.ber), SSH_CM_OK);
  SshCMCarried &said = ssh_cm_cert_carried(*cert);
  said.status = 0xFEDCBA98;
  said.bool_0 = 7;  // any number but 0 is true
  said.bool_a = -1;
  said.time_1 = {2001, 3, 22, 14, 3, 9, 0, 1, 0, 0};
  said.time_2 = {1999, 12, 1, 0, 0, 0, 0, 0, 0, 0};
  said.time_4 = {2038, 1, 19, 3, 14, 8, 0, 0, 0, 0};
  said.time_5 = {2024, 2, 29, 23, 59, 59, 0, 0, 0, 0};
  said.time_6 = {1970, 1, 3, 1, 2, 3, 0, 0, 0, 0};
  said.time_0 = said.time_7 = said.time_6;
  said.counter = -7;
  said.number.set_magnitude(unhex("01ff"));
  said.word_a = 0xA0A1A2A3;
  said.word_b = 0xB0B1B2B3;
  said.word_0 = said.word_c = said.word_d = said.limit = 77;
  said.flag_a = said.flag_b = said.flag_c = 9;
  said.text.reset(ssh_xstrdup("what it says"));
  EXPECT_EQ(encode(*cert), hex(record.build()));
  EXPECT_EQ(decode(record.build()), SSH_CM_OK);
}

TEST_F(Entries, RecordsWithOddTimesAndThoseThatAreRefused) {
  Record record;
  const Der good = record.build();
  EXPECT_EQ(decode(Der(good.begin(), good.end() - 1)), SSH_CM_RECORD_UNREADABLE);
  std::string longest = "2003 Apr 23rd, 14:03:09 GMT";
  longest.resize(1024, ' ');
  for (std::string &time : record.times) time = longest + " ";
  record.times[3] = longest;
  const CertOwner cert(ssh_cm_cert_allocate());
  EXPECT_EQ(ssh_cm_cert_decode_record(record.build(), *cert), SSH_CM_OK);
  for (std::string &time : record.times) time = time == longest ? longest.substr(0, 27) : "";
  EXPECT_EQ(encode(*cert), hex(record.build())) << "the times are not set, all else is there";
  for (const Der &ber : {Der{}, sample::CrlParts().build()}) {
    record.ber = ber;
    EXPECT_EQ(decode(record.build()), SSH_CM_CERT_UNDECODABLE);
  }
}

TEST_F(Entries, MethodsOfBothTypes) {
  const SshCertDBMethods &methods = ssh_cm_entry_methods;
  auto *entry = reinterpret_cast<SshCertDBEntry *>(0x10);
  const Der records[] = {Record().build(), wire::str(Bytes(sample::CrlParts().build()))};
  for (const uint32_t type : {SSH_CM_ENTRY_CERT, SSH_CM_ENTRY_CRL}) {
    const Der &record = records[type];
    void *object = nullptr, *other = entry;
    ASSERT_EQ(methods.decode(type, record, entry, &object), 0u);
    EXPECT_EQ(type ? static_cast<SshCMCrl *>(object)->entry
                   : static_cast<SshCMCertificate *>(object)->entry,
              entry);
    SshBuffer buffer;
    ssh_buffer_append(buffer, unhex("aa"));
    uint32_t length = 0;
    EXPECT_EQ(methods.encode(type, object, buffer, &length), 0u);
    EXPECT_EQ(length, record.size());
    EXPECT_EQ(hex(ssh_buffer_bytes(buffer)), "aa" + hex(record));
    EXPECT_EQ(methods.encode(2, object, buffer, &length), 1u);
    EXPECT_EQ(methods.decode(2, record, entry, &other), 1u);
    methods.free(2, object);
    methods.free(type, object);  // would be fatal if the object were still the entry's
  }
}

}  // namespace
