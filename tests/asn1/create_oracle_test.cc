// What is written, against OpenSSL.
#include <gtest/gtest.h>
#include <openssl/asn1.h>
#include <openssl/bn.h>
#include <openssl/objects.h>

#include <random>
#include <string>
#include <vector>

#include "asn1/node.h"
#include "support/hex.h"

namespace {

// The same values in the same octets as OpenSSL writes them.
TEST(RoundTrip, AgreesWithOpenSsl) {
  const auto expect_encoding = [](auto text, auto input, auto encode, const auto *theirs,
                                  const std::string &why) {
    const SshAsn1ContextOwner context(ssh_asn1_init());
    SshAsn1Node node;
    ASSERT_EQ(ssh_asn1_create_node(context.get(), &node, text, input), SSH_ASN1_OK) << why;
    uint8_t *der = nullptr;
    const int length = encode(theirs, &der);
    ASSERT_GT(length, 0) << why;
    EXPECT_EQ(hex(node.der()), hex({der, static_cast<size_t>(length)})) << why;
    OPENSSL_free(der);
  };
  std::mt19937 random(7);
  for (int i = 0; i < 2000; ++i) {
    std::vector<uint8_t> octets(random() % 30);
    for (uint8_t &octet : octets)
      octet = static_cast<uint8_t>(random() % 3 ? random() : random() % 2 * 0x80);

    SshMpInt number;
    number.set_magnitude(octets, i % 2 == 0);
    BIGNUM *bn = BN_bin2bn(octets.data(), static_cast<int>(octets.size()), nullptr);
    BN_set_negative(bn, i % 2 == 0);
    ASN1_INTEGER *integer = BN_to_ASN1_INTEGER(bn, nullptr);
    expect_encoding("(integer ())"_asn1, static_cast<const SshMpInt *>(&number), i2d_ASN1_INTEGER,
                    integer, hex(octets));
    ASN1_INTEGER_free(integer);
    BN_free(bn);

    const size_t unused = octets.empty() ? 0 : random() % 8;
    ASN1_BIT_STRING *bits = ASN1_BIT_STRING_new();
    ASN1_BIT_STRING_set(bits, octets.data(), static_cast<int>(octets.size()));
    bits->flags = ASN1_STRING_FLAG_BITS_LEFT | static_cast<long>(unused);
    expect_encoding("(bit-string ())"_asn1, SshAsn1Bits{octets, octets.size() * 8 - unused},
                    i2d_ASN1_BIT_STRING, bits, hex(octets));
    ASN1_BIT_STRING_free(bits);

    std::string dotted = std::to_string(random() % 2) + "." + std::to_string(random() % 40);
    for (size_t arcs = random() % 5; arcs > 0; --arcs) {
      dotted += "." + std::to_string((random() & 0xFFFFFFFF) >> random() % 32);
    }
    ASN1_OBJECT *object = OBJ_txt2obj(dotted.c_str(), 1);
    ASSERT_NE(object, nullptr) << dotted;
    expect_encoding("(object-identifier ())"_asn1, dotted.c_str(), i2d_ASN1_OBJECT, object, dotted);
    ASN1_OBJECT_free(object);
  }
}

}  // namespace
