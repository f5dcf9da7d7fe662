// Headers and object identifiers against OpenSSL.
#include <gtest/gtest.h>
#include <openssl/asn1.h>
#include <openssl/err.h>
#include <openssl/objects.h>

#include <random>

#include "asn1/ber.h"
#include "asn1/oid_texts.h"

namespace {

using namespace oid;

// Whatever OpenSSL opens in a definite form we open alike, and the other way round.
TEST(BerHeader, OpensAsOpenSslDoes) {
  std::mt19937 random(1);
  size_t opened = 0;
  for (int i = 0; i < 200000; ++i) {
    uint8_t octets[140];
    for (uint8_t &octet : octets) octet = static_cast<uint8_t>(random());
    if (random() % 2) octets[0] |= 0x1F;
    if (random() % 2) octets[1] = static_cast<uint8_t>(0x80 + random() % 6);
    if (random() % 2) octets[2] = 0;
    SshBerElement got, again;
    const SshBerStatus status = ssh_ber_open_element(octets, octets + sizeof octets, got);
    ASSERT_EQ(ssh_ber_open_long(octets, octets + sizeof octets, again), status);
    const uint8_t *at = octets;
    long length = 0;
    int tag = 0, cls = 0;
    const int theirs = ASN1_get_object(&at, &length, &tag, &cls, sizeof octets);
    if (status != SSH_BER_OK || got.indefinite || (theirs & 0x80)) continue;
    ++opened;
    for (const SshBerElement &element : {got, again}) {
      EXPECT_EQ(element.data, octets);
      EXPECT_TRUE(element.is(static_cast<uint8_t>(cls >> 6), static_cast<uint32_t>(tag)));
      EXPECT_EQ(length, static_cast<long>(element.content_length));
      EXPECT_EQ(at - octets, element.header_length);
      EXPECT_EQ((theirs & V_ASN1_CONSTRUCTED) != 0, element.constructed);
    }
  }
  ERR_clear_error();
  EXPECT_GT(opened, 50000U);
}

TEST(Oid, AgreesWithOpenSsl) {
  std::mt19937 random(3);
  for (int i = 0; i < 5000; ++i) {
    std::string text = std::to_string(random() % 2) + "." + std::to_string(random() % 40);
    for (size_t arcs = random() % 12; arcs > 0; --arcs)
      text += "." + std::to_string((random() & 0xFFFFFFF) >> random() % 28);
    ASN1_OBJECT *object = OBJ_txt2obj(text.c_str(), 1);
    ASSERT_NE(object, nullptr) << text;
    const std::vector<uint8_t> want(OBJ_get0_data(object),
                                    OBJ_get0_data(object) + OBJ_length(object));
    ASN1_OBJECT_free(object);
    EXPECT_EQ(octets_of(text), hex(want)) << text;
    EXPECT_EQ(text_of(want), text);
    EXPECT_EQ(arcs_of(text), text);
  }
}

}  // namespace
