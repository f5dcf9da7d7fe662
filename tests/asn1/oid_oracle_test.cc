// Object identifiers against OpenSSL.
#include <gtest/gtest.h>
#include <openssl/objects.h>

#include "asn1/oid_texts.h"

using namespace oid;

TEST(Oid, AgreesWithOpenSsl) {
  Random random(3);
  for (int i = 0; i < 5000; ++i) {
    std::string text = std::to_string(random() % 2) + "." + std::to_string(random() % 40);
    for (uint32_t arcs = random() % 12; arcs > 0; --arcs) {
      text += "." + std::to_string((random() & 0xFFFFFFF) >> random() % 28);
    }
    ASN1_OBJECT *object = OBJ_txt2obj(text.c_str(), 1);
    ASSERT_NE(object, nullptr) << text;
    const std::vector<uint8_t> want(OBJ_get0_data(object),
                                    OBJ_get0_data(object) + OBJ_length(object));
    ASN1_OBJECT_free(object);
    EXPECT_EQ(hex(octets_of(text)), hex(want)) << text;
    EXPECT_EQ(text_of(want), text);
    size_t count;
    uint32_t *arcs = ssh_ber_oid_string_to_arcs(text.c_str(), &count);
    const SshText joined(ssh_ber_arcs_to_oid_string(arcs, count));
    ssh_xfree(arcs);
    EXPECT_EQ(joined.get(), text);
  }
}
