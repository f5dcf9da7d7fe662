// The encoded forms of database entries, and the functions with which a database handles objects.
#include "cm/entries.h"

#include <gtest/gtest.h>

#include "support/samples.h"

namespace {

using Entries = sample::Balanced;
using CertOwner = Owner<SshCMCertificate, ssh_cm_cert_free>;

Der be32(size_t value) {
  Der octets(4);
  ssh_store_be32(octets.data(), static_cast<uint32_t>(value));
  return octets;
}
Der string(Bytes octets) {
  return der::join({be32(octets.size()), Der(octets.begin(), octets.end())});
}
Der string(std::string_view text) { return string(ssh_text_bytes(text)); }

// Record is an encoded certificate in its parts.
struct Record {
  Der ber = string(sample::CertParts().build());
  Der status = be32(0xFEDCBA98), bool_0 = {1};
  Der times[6] = {string("2001 Mar 22nd, 14:03:09 GMT"),
                  string("1999 Dec  1st, 00:00:00 GMT"),
                  be32(0),
                  string("2038 Jan 19th, 03:14:08 GMT"),
                  string("2024 Feb 29th, 23:59:59 GMT"),
                  string("1970 Jan  3rd, 01:02:03 GMT")};
  Der counter = be32(0xFFFFFFF9), number = unhex("00000009 01ff"), word_a = be32(0xA0A1A2A3);
  Der bool_a = {1}, word_b = be32(0xB0B1B2B3), text = string("what it says");

  Der build() const {
    return der::join({ber, status, bool_0, times[0], times[1], times[2], times[3], counter, number,
                      word_a, bool_a, times[4], word_b, times[5], text});
  }
};

Der encode(const SshCMCertificate &cert) {
  SshBuffer buffer;
  const uint32_t length = ssh_cm_cert_encode_record(cert, buffer);
  const Bytes octets = ssh_buffer_bytes(buffer);
  EXPECT_EQ(length, octets.size());
  return Der(octets.begin(), octets.end());
}

// decode gives the status for octets in a block of exactly their size.
uint32_t decode(const Der &octets, SshCMCertificate *into = nullptr) {
  const CertOwner own(ssh_cm_cert_allocate());
  const SshBlock block(static_cast<uint8_t *>(ssh_xmalloc(octets.size())));
  if (!octets.empty()) std::memcpy(block.get(), octets.data(), octets.size());
  return ssh_cm_cert_decode_record({block.get(), octets.size()}, into ? *into : *own);
}

TEST_F(Entries, RecordOfACertificateIsExact) {
  const Record record;
  const CertOwner cert(ssh_cm_cert_allocate()), again(ssh_cm_cert_allocate());
  ASSERT_EQ(ssh_cm_cert_set_ber(*cert, Bytes(record.ber).subspan(4)), SSH_CM_OK);
  cert->status = 0xFEDCBA98;
  cert->bool_0 = 7;  // any number but 0 is true
  cert->bool_a = -1;
  cert->time_1 = {2001, 3, 22, 14, 3, 9, 0, 1, 0, 0};
  cert->time_2 = {1999, 12, 1, 0, 0, 0, 0, 0, 0, 0};
  cert->time_4 = {2038, 1, 19, 3, 14, 8, 0, 0, 0, 0};
  cert->time_5 = {2024, 2, 29, 23, 59, 59, 0, 0, 0, 0};
  cert->time_6 = {1970, 1, 3, 1, 2, 3, 0, 0, 0, 0};
  cert->time_0 = cert->time_7 = cert->time_6;
  cert->counter = -7;
  cert->number.set_magnitude(unhex("01ff"));
  cert->word_a = 0xA0A1A2A3;
  cert->word_b = 0xB0B1B2B3;
  cert->word_0 = cert->word_c = cert->word_d = cert->limit = 77;
  cert->flag_a = cert->flag_b = cert->flag_c = 9;
  cert->text.reset(ssh_xstrdup("what it says"));
  EXPECT_EQ(hex(encode(*cert)), hex(record.build()));

  // What comes back is what is carried; all else is as in a new object.
  ASSERT_EQ(decode(record.build(), again.get()), SSH_CM_OK);
  EXPECT_EQ(hex(encode(*again)), hex(record.build()));
  EXPECT_EQ(hex(ssh_cm_cert_encoding(*again)), hex(sample::CertParts().build()));
  EXPECT_TRUE(again->status == 0xFEDCBA98 && again->bool_0 == 1 && again->bool_a == 1);
  EXPECT_TRUE(again->time_1 == cert->time_1 && again->time_3 == SshBerTime());
  EXPECT_TRUE(again->time_2.month == 12 && again->time_4.year == 2038);
  EXPECT_TRUE(again->time_5.day == 29 && again->time_6.second == 3);
  EXPECT_TRUE(again->counter == -7 && sample::decimal(again->number) == "511");
  EXPECT_TRUE(again->word_a == 0xA0A1A2A3 && again->word_b == 0xB0B1B2B3);
  EXPECT_STREQ(again->text.get(), "what it says");
  EXPECT_TRUE(!again->entry && again->time_0 == SshBerTime() && again->time_7 == SshBerTime());
  EXPECT_TRUE(again->flag_a == 1 && again->flag_b == 0 && again->flag_c == 1 && again->limit == 32);
  EXPECT_EQ(again->word_0 + again->word_c + again->word_d, 0u);
}

TEST_F(Entries, EmptyValuesOfACertificate) {
  Record record;
  record.status = record.counter = record.number = record.word_a = record.word_b = record.text =
      be32(0);
  for (Der &time : record.times) time = be32(0);
  record.bool_0 = record.bool_a = {0};
  const CertOwner cert(ssh_cm_cert_allocate());
  ASSERT_EQ(decode(record.build(), cert.get()), SSH_CM_OK);
  EXPECT_TRUE(!cert->text && cert->number.is_zero() && cert->time_5 == SshBerTime());
  EXPECT_EQ(hex(encode(*cert)), hex(record.build()));
}

TEST_F(Entries, RecordsThatAreRefused) {
  const Der good = Record().build();
  for (size_t length = 0; length < good.size(); ++length) {
    ASSERT_EQ(decode(Der(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(length))),
              SSH_CM_RECORD_UNREADABLE)
        << length;
  }
  EXPECT_EQ(decode(der::join({good, {0}})), SSH_CM_OK);
  std::string longest = "2001 Mar 22nd, 14:03:09 GMT";
  longest.resize(1024, ' ');
  for (size_t i = 0; i < 6; ++i) {
    Record record;
    record.times[i] = string(longest);
    EXPECT_EQ(decode(record.build()), SSH_CM_OK) << i;
    for (const std::string &time : {longest + " ", std::string("2001"), std::string(1, 0),
                                    std::string(" "), std::string("2001 Mrz 22nd, 14:03:09 GMT")}) {
      record.times[i] = string(time);
      EXPECT_EQ(decode(record.build()), SSH_CM_RECORD_UNREADABLE) << i << time;
    }
  }
  for (const Der &ber : {Der{}, unhex("3000"), sample::CrlParts().build()}) {
    Record record;
    record.ber = string(ber);
    EXPECT_EQ(decode(record.build()), SSH_CM_CERT_UNDECODABLE);
  }
}

TEST_F(Entries, MethodsOfBothTypes) {
  const SshCertDBMethods &methods = ssh_cm_entry_methods;
  auto *entry = reinterpret_cast<SshCertDBEntry *>(0x10);
  const Der crl = string(sample::CrlParts().build()), cert = Record().build();
  for (const uint32_t type : {SSH_CM_ENTRY_CERT, SSH_CM_ENTRY_CRL}) {
    const Der &record = type == SSH_CM_ENTRY_CRL ? crl : cert;
    void *object = nullptr;
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
    for (const uint32_t other : {2u, 0xFFFFFFFFu}) {
      EXPECT_EQ(methods.encode(other, object, buffer, &length), 1u);
      methods.free(other, object);
    }
    EXPECT_EQ(ssh_buffer_len(buffer), record.size() + 1);
    methods.free(type, object);  // would be fatal if the object were still the entry's
    methods.free(type, nullptr);

    Der broken = record;
    broken[4] ^= 0x10;  // of the outermost SEQUENCE
    for (const Der &bad : {broken, Der(record.begin(), record.end() - 1), Der{}}) {
      object = entry;
      EXPECT_EQ(methods.decode(type, bad, entry, &object), 1u);
      EXPECT_EQ(object, nullptr);
    }
    EXPECT_EQ(methods.decode(type + 2, record, entry, &object), 1u);
  }
}

}  // namespace
