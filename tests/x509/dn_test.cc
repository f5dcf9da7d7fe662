#include "x509/dn.h"

#include "support/samples.h"
#include "x509/dn_parts.h"

namespace {

using Names = sample::Balanced;
using sample::own_text;
using namespace der;

// Dn is a name that clears itself, with results as test values.
struct Dn {
  SshDN dn = {};
  bool good;

  explicit Dn(Bytes der) : good(ssh_dn_decode_der(der, &dn)) {}
  explicit Dn(const char *text) : good(ssh_dn_decode_ldap(text, &dn)) {}
  ~Dn() { ssh_dn_clear(&dn); }
  Dn(const Dn &) = delete;
  Dn &operator=(const Dn &) = delete;

  [[nodiscard]] std::string text() const { return own_text(ssh_dn_encode_ldap(&dn)); }
  [[nodiscard]] std::string der(bool canonical = false) const {
    uint8_t *octets = nullptr;
    size_t length = 0;
    const bool encoded = ssh_dn_encode_der(&dn, canonical, &octets, &length);
    const SshBlock owner(octets);
    return encoded ? hex({octets, length}) : "(null)";
  }
};

std::string text_of_der(Bytes der) { return own_text(ssh_dn_der_to_ldap(der)); }

// expect_consistent holds the readers of Name DER against each other and gives whether they accept
// it.
bool expect_consistent(Bytes der) {
  const Dn decoded(der);
  bool empty = false;
  EXPECT_EQ(ssh_dn_check_der(der, &empty), decoded.good) << hex(der);
  EXPECT_EQ(empty, decoded.good && decoded.dn.count == 0) << hex(der);
  EXPECT_EQ(text_of_der(der), decoded.good ? decoded.text() : "(null)") << hex(der);
  return decoded.good;
}

TEST_F(Names, TextIsReadAndPrinted) {
  const struct {
    const char *text, *printed, *der = "";  // no DER: not looked at
  } rows[] = {
      {"CN=Foo, O=Bar", "CN=Foo, O=Bar",
       "301c 310c300a0603550403130346 6f6f 310c300a060355040a1303426172"},
      {" \tCn = a + oU=b ; O=c, OIDandmore.1.2=x", "CN=a + OU=b, O=c, OID.1.2=x"},
      {"oid . 1 . 2.3 = x", "OID.1.2.3=x", "300b 3109 3007 06022a03 130178"},
      {"CN=#414 + CN=#aBfF, CN=# 41 ,CN=#4\\\n \t1+O=#0",
       "CN=#0414 + CN=#abff, CN=A, CN=A + O=#00"},
      {"CN=", "(null)", "(null)"},  // as from DER, a value without bytes is none
      {"CN=a\"+;\"b, CN=\"a\\\"b, c\" + CN=a\\,b\\\\\\63",
       "CN=a\\+\\;b, CN=a\\\"b\\, c + CN=a\\,b\\\\63"},
      {"CN=a\\\n \t b, CN=\"a\\\n  b\", CN=\"  a\", CN=a\nb \t, O=\"c  \"",
       "CN=a b, CN=a b, CN=  a, CN=a\nb, O=c"},
      {"CN=a=b<#>, CN=a\x01, CN=a\x7f", "CN=a=b<#>, CN=#6101, CN=#617f"},
      {"CN=\xe9", "CN=#e9", "(null)"},
      {"OID.2.5.4.5=7, ui=u", "STREET=7, UI=u"},  // given names stay what they are
      {" \n", "", "3000"},
  };
  for (const auto &row : rows) {
    const Dn name(row.text);
    EXPECT_TRUE(name.good) << row.text;
    EXPECT_EQ(name.text(), row.printed) << row.text;
    if (!*row.der) continue;
    EXPECT_EQ(name.der(), row.der[0] == '(' ? row.der : hex(unhex(row.der))) << row.text;
  }
  for (const char *text : {"serialNumber=7", "CN", "C N=y", "CN=\"y", "CN=y\\", "CN=a,", "CN=#4g",
                           "OID=x", "OID.1..2=x", "OI1=x", "OXD.1=x", "CN=#4\\1"})
    EXPECT_FALSE(Dn(text).good) << text;
  EXPECT_EQ(Dn("CN=a, O=b + C=c, OU=d + XX=e").text(), "CN=a, O=b + C=c")
      << "kept though it failed";
}

Der pair_of(const Der &value) { return join({oid("2.5.4.3"), value}); }
Der name_of(const Der &pair) { return seq({set({seq({pair})})}); }

// What modern reads as text has the search key of the same text in a PrintableString.
TEST_F(Names, ValuesByProfile) {
  const char *const kNone = "(null)", *const kRefused = "refused";
  const struct {
    const char *why;
    Der value;
    const char *classic, *modern;
    const char *printable = nullptr;  // the same name
  } rows[] = {
      {"bit string as IA5", unhex("0304 07 6162ff"), "CN=ab", "CN=ab"},
      {"more unused bits than bits", unhex("0302 0961"), kRefused, kRefused},
      {"UTF-8, ASCII", text(0x0C, " Foo  Bar"), kNone, "CN= Foo  Bar", "foo bar"},
      {"UTF-8, mixed", text(0x0C, "Zo\xC3\xAB"), kNone, "CN=#5a6fc3ab"},
      {"numeric", text(0x12, "12 34"), kRefused, "CN=12 34", "12 34"},
      {"IA5", text(0x16, "a@b"), "CN=a@b", "CN=a@b"},
      {"T.61", text(0x14, "a_"), "CN=a_", "CN=a_"},
      {"BMP", unhex("1E04 00410062"), "CN=#00410062", "CN=#00410062"},
      {"universal", unhex("1C04 00000041"), "CN=#00000041", "CN=#00000041"},
      {"visible, escaped", text(0x1A, "A,b"), kRefused, "CN=A\\,b", "a,b"},
      {"empty", text(0x13, ""), kNone, kNone},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.why);
    // A pair that ends in bytes which are no element is read by the long way.
    const Der name = name_of(pair_of(row.value)),
              slow = name_of(join({pair_of(row.value), {0, 0}}));
    std::string keys[2];
    for (const SshX509Profile profile : {SSH_X509_CLASSIC, SSH_X509_MODERN}) {
      const ProfileScope scope(profile);
      const std::string wanted = profile == SSH_X509_MODERN ? row.modern : row.classic;
      for (const Der &der : {name, slow}) {
        EXPECT_EQ(expect_consistent(der), wanted != kRefused);
        EXPECT_EQ(text_of_der(der), wanted == kRefused ? kNone : wanted);
      }
      if (wanted != kRefused) keys[profile] = Dn(name).der(true);
    }
    EXPECT_TRUE(keys[0].empty() || keys[0] == kNone || keys[1] == kNone || keys[0] == keys[1]);
    if (row.printable) {
      EXPECT_EQ(keys[1], hex(name_of(pair_of(text(0x13, row.printable)))));
    }
  }
}

TEST_F(Names, DerIsReadAndPrinted) {
  const std::pair<const char *, const char *> rows[] = {
      {"3004 3100 3100", ", "},
      {"300a 3108 3006 060155 130161", "OID.2.5=a"},
      {"300f 310d 300b 0606 55 04ffffff7f 130161", "OID.2.5.4.268435455=a"},
      {"300e 0000 310a30080603550403130161", "CN=a"},  // end marks between
  };
  for (const auto &[octets, text] : rows) {
    const std::vector<uint8_t> der = unhex(octets);
    EXPECT_TRUE(expect_consistent(der)) << octets;
    EXPECT_EQ(text_of_der(der), text) << octets;
  }
  const char *const refused[] = {
      "3080 310a30080603550403130161 0000",
      "3009 3107 3005 0600 130161",  // no type, a constructed one
      "300e 310c 300a 2605 0603550403 130161",
      "300e 0500 310a30080603550403130161",
      "300c 310a 3008 0603550403 1301",
      "3002 3184",  // a length that is cut
  };
  for (const char *der : refused) EXPECT_FALSE(expect_consistent(unhex(der))) << der;
}

TEST_F(Names, Encodings) {
  const char *const rows[][3] = {
      // a name, the value of its pair, and the canonical value
      {"CN=\"  Foo   Bar \"", "130b 2020466f6f202020426172", "1307 666f6f20626172"},
      {"CN=A@  B", "1305 4140202042", "1304 41402042"},  // what only IA5 and T.61 have letters for
      {"CN=#41a7", "1302 41a7", "1302 41a7"},
      {"MAILTO=A", "1601 41", "1601 61"},
  };
  for (const auto &[text, plain, folded] : rows) {
    const Dn name(text);
    for (const bool canonical : {false, true}) {
      const std::string value = hex(unhex(canonical ? folded : plain));
      const std::string der = name.der(canonical);
      ASSERT_GE(der.size(), value.size()) << text;
      EXPECT_EQ(der.substr(der.size() - value.size()), value) << text;
    }
  }
  const std::vector<uint8_t> wide = unhex("300f 310d 300b 0603550403 1e04 00200416");
  EXPECT_EQ(Dn(wide).der(), hex(wide));
  EXPECT_EQ(Dn(wide).der(true), hex(unhex("300d 310b 3009 0603550403 1e02 0416")));
  EXPECT_EQ(Dn(unhex("300f 310d 300b 0603550403 0c04 f0908080")).der(), "(null)");
  EXPECT_EQ(Dn("OID.1.99999999999=x").der(), "(null)");

  // Pairs are encoded in the order of DER and printed in their own.
  const Dn pairs("OU=bb + CN=b");
  EXPECT_EQ(pairs.text(), "OU=bb + CN=b");
  EXPECT_EQ(pairs.der(), hex(unhex("30173115 3008060355040313 0162 3009060355040b1302 6262")));
}

// Pairs are the longest lists that there are; to look for the end of theirs each time would take
// hours. What goes through DER walks over nodes, and would spend the work there is for its bytes.
TEST_F(Names, HugeNames) {
  const std::pair<std::string, int> rows[] = {{", ", 100001}, {" + ", 1000000}};
  for (const auto &[separator, most] : rows) {
    std::string huge = "CN=a";
    for (int pairs = 1; pairs < most; ++pairs) {
      EXPECT_TRUE(pairs != 100000 || text_of_der(unhex(Dn(huge.c_str()).der())) == huge);
      huge += separator + "CN=a";
    }
    EXPECT_TRUE(Dn(huge.c_str()).text() == huge);
  }
}

TEST_F(Names, HostileNamesAreAnswered) {
  std::vector<uint8_t> deep(500000, 0x30);  // 30 80 30 80 ..., never closed
  for (size_t i = 1; i < deep.size(); i += 2) deep[i] = 0x80;
  EXPECT_FALSE(expect_consistent(deep));

  SshRDN *none = nullptr;  // a name that is as long as it may be
  SshDN full = {.count = SSH_DN_RDNS_MAX, .capacity = SSH_DN_RDNS_MAX, .rdns = &none};
  EXPECT_FALSE(ssh_dn_decode_der(unhex("300c310a30080603550403130161"), &full));
  EXPECT_FALSE(ssh_dn_decode_ldap("CN=a", &full));

  // The hexadecimal form of this value is longer than a block.
  const Der large = seq({set({attribute("2.5.4.3", tlv(0x14, Der(60000000, 0x01)))})});
  bool empty;
  EXPECT_TRUE(ssh_dn_check_der(large, &empty));
  EXPECT_EQ(text_of_der(large), "(null)");
}

}  // namespace
