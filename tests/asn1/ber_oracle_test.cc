// Headers against OpenSSL.
#include <gtest/gtest.h>
#include <openssl/asn1.h>
#include <openssl/err.h>

#include <random>

#include "asn1/ber.h"

namespace {

// Whatever OpenSSL opens in a definite form we open alike, and the other way round.
TEST(BerHeader, AgreesWithOpenSsl) {
  std::mt19937 random(1);
  size_t opened = 0;
  for (int i = 0; i < 200000; ++i) {
    uint8_t octets[140];
    for (uint8_t &octet : octets) octet = static_cast<uint8_t>(random());
    if (random() % 2) octets[0] |= 0x1F;
    if (random() % 2) octets[1] = static_cast<uint8_t>(0x80 + random() % 6);
    if (random() % 2) octets[2] = 0;
    SshBerElement got;
    const SshBerStatus status = ssh_ber_open(octets, octets + sizeof octets, got);
    const uint8_t *at = octets;
    long length = 0;
    int tag = 0, cls = 0;
    const int theirs = ASN1_get_object(&at, &length, &tag, &cls, sizeof octets);
    if (status != SSH_BER_OK || got.indefinite || (theirs & 0x80)) continue;
    ++opened;
    EXPECT_EQ(tag, static_cast<int>(got.tag));
    EXPECT_EQ(cls >> 6, got.cls);
    EXPECT_EQ(length, static_cast<long>(got.content_length));
    EXPECT_EQ(at - octets, got.header_length);
    EXPECT_EQ((theirs & V_ASN1_CONSTRUCTED) != 0, got.constructed);
  }
  ERR_clear_error();
  EXPECT_GT(opened, 50000U);
}

}  // namespace
