#include "x509/dn.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <random>
#include <set>
#include <sstream>
#include <string>

#include "support/hex.h"
#include "util/mem.h"
#include "x509/dn_parts.h"

namespace {

// Names fails a test that leaves a block behind.
class Names : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(ssh_mem_blocks(), before_); }
  int64_t before_ = ssh_mem_blocks();
};

// Dn is a name that clears itself, with results as test values.
struct Dn {
  SshDN dn = {};
  bool good = false;

  Dn() = default;
  ~Dn() { ssh_dn_clear(&dn); }
  Dn(const Dn &) = delete;
  Dn &operator=(const Dn &) = delete;

  [[nodiscard]] std::string text() const {
    const SshText printed(ssh_dn_encode_ldap(&dn));
    return printed ? printed.get() : "(null)";
  }
  [[nodiscard]] std::string der(bool canonical = false) const {
    uint8_t *octets = nullptr;
    size_t length = 0;
    const bool encoded = ssh_dn_encode_der(&dn, canonical, &octets, &length);
    const SshBlock owner(octets);
    return encoded ? hex({octets, length}) : "(null)";
  }
};
struct FromDer : Dn {
  explicit FromDer(Bytes der) { good = ssh_dn_decode_der(der, &dn); }
};
struct FromText : Dn {
  explicit FromText(const char *text) { good = ssh_dn_decode_ldap(text, &dn); }
};

std::string text_of_der(Bytes der) {
  const SshText printed(ssh_dn_der_to_ldap(der));
  return printed ? printed.get() : "(null)";
}

// expect_consistent holds the readers of Name DER against each other and gives whether they accept
// it.
bool expect_consistent(Bytes der) {
  const FromDer decoded(der);
  bool empty = false;
  EXPECT_EQ(ssh_dn_check_der(der, &empty), decoded.good) << hex(der);
  EXPECT_EQ(empty, decoded.good && decoded.dn.count == 0) << hex(der);
  EXPECT_EQ(text_of_der(der), decoded.good ? decoded.text() : "(null)") << hex(der);
  return decoded.good;
}

TEST_F(Names, TextIsReadAndPrinted) {
  const struct {
    const char *text;
    const char *printed;  // null: refused
    const char *der = nullptr;
  } rows[] = {
      {"CN=Foo, O=Bar", "CN=Foo, O=Bar",
       "301c 310c300a0603550403130346 6f6f 310c300a060355040a1303426172"},
      {"cn=a+ou=b", "CN=a + OU=b"},
      {" \tCn = a ; oU=b", "CN=a, OU=b"},
      {"OID.2.5.4.3=x", "CN=x", "300c 310a 3008 0603550403 130178"},
      {"oid . 1 . 2.3 = x", "OID.1.2.3=x", "300b 3109 3007 06022a03 130178"},
      {"OIDandmore.1.2=x", "OID.1.2=x"},
      {"STREET=x", "STREET=x", "300c 310a 3008 0603550405 130178"},
      {"CN=#414", "CN=#0414"},
      {"CN=# 41 ,O=x", "CN=A, O=x"},
      {"CN=#4\\\n \t1+O=#", "CN=A + O="},
      {"CN=#aBfF", "CN=#abff"},
      {"CN=", "CN=", "300b 3109 3007 0603550403 1300"},
      {"CN=\"a, b\"", "CN=a\\, b"},
      {"CN=a\"+;\"b", "CN=a\\+\\;b"},
      {"CN=\"a\\\"b\"", "CN=a\\\"b"},
      {"CN=a\\,b\\\\\\63", "CN=a\\,b\\\\63"},
      {"CN=a\\\n \t b", "CN=a b"},
      {"CN=\"a\\\n  b\"", "CN=a b"},
      {"CN=a=b<#>", "CN=a=b<#>"},
      {"CN=a\nb \t, O=\"c  \"", "CN=a\nb, O=c"},
      {"CN=\"  a\"", "CN=  a"},
      {"CN=a\x01", "CN=#6101"},
      {"CN=a\x7f", "CN=#617f"},
      {"CN=\xe9", "CN=#e9", "(null)"},
      {"", "", "3000"},
      {" \n", "", "3000"},
      {"XX=y", nullptr},
      {"=y", nullptr},
      {"CN", nullptr},
      {"CN y", nullptr},
      {"C N=y", nullptr},
      {"CN=\"y", nullptr},
      {"CN=y\\", nullptr},
      {"CN=\"y\\", nullptr},
      {"CN=a,", nullptr},
      {"CN=a+", nullptr},
      {"CN=a,,O=b", nullptr},
      {"CN=#4g", nullptr},
      {"CN=#41 42", nullptr},
      {"CN=#41\\x", nullptr},
      {"CN=#41\\", nullptr},
      {"OID=x", nullptr},
      {"OID.=x", nullptr},
      {"OID.1..2=x", nullptr},
      {"OID.1.2a=x", nullptr},
  };
  for (const auto &row : rows) {
    const FromText name(row.text);
    EXPECT_EQ(name.good, row.printed != nullptr) << row.text;
    if (!name.good || !row.printed) continue;
    EXPECT_EQ(name.text(), row.printed) << row.text;
    if (!row.der) continue;
    EXPECT_EQ(name.der(), row.der[0] == '(' ? row.der : hex(unhex(row.der))) << row.text;
  }
}

TEST_F(Names, AFailedParseKeepsWhatWasAppended) {
  const FromText name("CN=a, O=b + C=c, OU=d + XX=e");
  EXPECT_FALSE(name.good);
  EXPECT_EQ(name.text(), "CN=a, O=b + C=c");
}

TEST_F(Names, DerIsReadAndPrinted) {
  const struct {
    const char *why;
    const char *der;
    const char *text;  // "(null)": no text; null: refused
  } rows[] = {
      {"no relative names", "3000", ""},
      {"two", "3018 310a30080603550403130161 310a3008060355040a140162", "CN=a, O=b"},
      {"IA5, and a type in no table", "300b 3109 3007 06022a03 160161", "OID.1.2.3=a"},
      {"bit string as IA5", "300f 310d 300b 0603550403 0304 07 6162ff", "CN=ab"},
      {"bit string of seven bits has no value", "300d 310b 3009 0603550403 0302 0161", "(null)"},
      {"bit string with underflowing unused bits", "300d 310b 3009 0603550403 0302 0961", nullptr},
      {"BMP", "300d 310b 3009 0603550403 1e02 00e9", "CN=#00e9"},
      {"BMP that looks like text", "300d 310b 3009 0603550403 1e02 4142", "CN=AB"},
      {"BMP of odd length has no value", "300c 310a 3008 0603550403 1e01 41", "(null)"},
      {"universal", "300f 310d 300b 0603550403 1c04 00000041", "CN=#00000041"},
      {"UTF-8", "300d 310b 3009 0603550403 0c02 c3a9", "CN=#c3a9"},
      {"overlong UTF-8", "300d 310b 3009 0603550403 0c02 c181", "CN=A"},
      {"UTF-8 with a letter of one octet has no value", "300c 310a 3008 0603550403 0c01 41",
       "(null)"},
      {"empty value", "300b 3109 3007 0603550403 1300", "(null)"},
      {"constructed value", "300e 310c 300a 0603550403 3303 130161", "(null)"},
      {"constructed bit string", "300f 310d 300b 0603550403 2304 03020061", "(null)"},
      {"indefinite value", "3010 310e 300c 0603550403 3380 130161 0000", nullptr},
      {"value of another type", "300c 310a 3008 0603550403 040161", nullptr},
      {"no value", "3009 3107 3005 0603550403", nullptr},
      {"more after the value", "300e 310c 300a 0603550403 130161 0500", "CN=a"},
      {"something before the type", "300e 310c 300a 0500 0603550403 130161", "CN=a"},
      {"a set without pairs", "3004 3100 3100", ", "},
      {"padded type", "300d 310b 3009 060455048003 130161", "CN=a"},
      {"empty type", "3009 3107 3005 0600 130161", nullptr},
      {"cut type", "300a 3108 3006 060155 130161", "OID.2.5=a"},
      {"cut arc", "300b 3109 3007 06025580 130161", nullptr},
      {"arc of 29 bits", "3010 310e 300c 0607 55 048180808000 130161", nullptr},
      {"arc of 28 bits", "300f 310d 300b 0606 55 04ffffff7f 130161", "OID.2.5.4.268435455=a"},
      {"constructed type", "300e 310c 300a 2605 0603550403 130161", nullptr},
      {"long lengths", "30810f 31810c 308109 0603550403 13810161", "CN=a"},
      {"indefinite sequence", "3080 310a30080603550403130161 0000", nullptr},
      {"a set where the name should be", "3100", nullptr},
      {"a sequence where a relative name should be", "300c 300a 3008 0603550403 130161", nullptr},
      {"a set where a pair should be", "300c 310a 3108 0603550403 130161", nullptr},
      {"a foreign element before a relative name", "300e 0500 310a30080603550403130161", nullptr},
      {"cut", "300c 310a 3008 0603550403 1301", nullptr},
      {"an element after it", "3000 3000", nullptr},
      {"octets after it", "3000 30", nullptr},
      {"end marks between", "300e 0000 310a30080603550403130161", "CN=a"},
      {"nothing", "", nullptr},
  };
  for (const auto &row : rows) {
    const std::vector<uint8_t> der = unhex(row.der);
    EXPECT_EQ(expect_consistent(der), row.text != nullptr) << row.why;
    EXPECT_EQ(text_of_der(der), row.text ? row.text : "(null)") << row.why;
  }
}

TEST_F(Names, ARelativeNameIsReadWholeOrAsItsContent) {
  const struct {
    const char *der;
    const char *text;
  } rows[] = {
      {"3116 30080603550403130161 300a060355040b13036f7531", "CN=a + OU=ou1"},
      {"30080603550403130161 300a060355040b13036f7531", "CN=a + OU=ou1"},
      {"3100", ""},
      {"", nullptr},
      {"3100 3100", nullptr},
      {"30080603550403130161 0500", nullptr},
      {"a100", nullptr},
  };
  for (const auto &row : rows) {
    const std::vector<uint8_t> der = unhex(row.der);
    FromText name("O=x");
    const bool good = ssh_dn_decode_rdn_der(der, &name.dn);
    EXPECT_EQ(good, row.text != nullptr) << row.der;
    EXPECT_EQ(ssh_dn_check_rdn_der(der), good) << row.der;
    if (!good || !row.text) continue;
    EXPECT_EQ(name.text(), std::string("O=x, ") + row.text) << row.der;
  }
}

TEST_F(Names, Encodings) {
  const struct {
    const char *why;
    const char *text;
    const char *plain;  // from "06"; the value of one pair of a CN, or of MAILTO
    const char *canonical;
  } rows[] = {
      {"printable", "CN=\"  Foo   Bar \"", "130b 2020466f6f202020426172", "1307 666f6f20626172"},
      {"IA5 under the printable tag", "CN=A@  B", "1305 4140202042", "1304 41402042"},
      {"T.61 under the printable tag", "CN=#41a7", "1302 41a7", "1302 41a7"},
      {"T.61 mark of its own to BMP", "CN=#41c1", "1302 41c1", "1302 41c1"},
      {"e-mail keeps IA5", "MAILTO=A", "1601 41", "1601 61"},
      {"unstructured name", "UN=#a7", "1601 a7", "1601 a7"},
  };
  for (const auto &row : rows) {
    const FromText name(row.text);
    ASSERT_TRUE(name.good) << row.why;
    for (const bool canonical : {false, true}) {
      const std::string value = hex(unhex(canonical ? row.canonical : row.plain));
      const std::string der = name.der(canonical);
      ASSERT_GE(der.size(), value.size()) << row.why;
      EXPECT_EQ(der.substr(der.size() - value.size()), value) << row.why;
    }
  }
  const FromDer wide(unhex("300f 310d 300b 0603550403 1e04 00200416"));
  EXPECT_EQ(wide.der(), hex(unhex("300f 310d 300b 0603550403 1e04 00200416")));
  EXPECT_EQ(wide.der(true), hex(unhex("300d 310b 3009 0603550403 1e02 0416")));
  EXPECT_EQ(FromDer(unhex("300f 310d 300b 0603550403 0c04 f0908080")).der(), "(null)");
  EXPECT_EQ(FromDer(unhex("300b 3109 3007 0603550403 1300")).der(), "(null)");
  EXPECT_EQ(FromText("OID.1=x").der(), "(null)");
  EXPECT_EQ(FromText("OID.1.99999999999=x").der(), "(null)");
}

TEST_F(Names, PairsAreEncodedInDerOrderAndPrintedInTheirs) {
  const FromText name("OU=bb + CN=b + CN=B + C=aaaa");
  EXPECT_EQ(name.text(), "OU=bb + CN=b + CN=B + C=aaaa");
  EXPECT_EQ(name.der(), hex(unhex("302e 312c 3008060355040313 0142 3008060355040313 0162"
                                  "3009060355040b1302 6262 300b0603550406130461616161")));
  EXPECT_EQ(name.der(true), hex(unhex("302e 312c 3008060355040313 0162 3008060355040313 0162"
                                      "3009060355040b1302 6262 300b0603550406130461616161")));
}

constexpr const char *kSamples[] = {
    "3000",
    ("304a 310b3009060355040613024445 3116 3009060355040a0c02c3a9 3009060355040b1e02 0416"
     "3110300e06092a864886f70d0109011601 61 3111300f060a0992268993f22c6401191601 62"),
    "3011 310f 300d 0603550403 0306 00 6162636465",
    "3018 3100 3114 3008 06035504 03 140161 3008 0604 55048003 1300",
    "3080 0000",
};

TEST_F(Names, EveryPrefixAndEveryOneByteChangeIsReadAlike) {
  for (const char *sample : kSamples) {
    std::vector<uint8_t> der = unhex(sample);
    for (size_t length = 0; length < der.size(); ++length) {
      EXPECT_FALSE(expect_consistent({der.data(), length}));
    }
    size_t accepted = 0;
    for (uint8_t &octet : der) {
      const uint8_t kept = octet;
      for (uint32_t value = 0; value < 256; ++value) {
        octet = static_cast<uint8_t>(value);
        accepted += expect_consistent(der);
        (void)ssh_dn_check_rdn_der(der);
      }
      octet = kept;
    }
    EXPECT_TRUE(accepted > 0 || der[1] == 0x80) << sample;
  }
}

// Random names whose text loses nothing: values without blanks at their ends and without "#" at the
// front.
class RandomNames {
 public:
  explicit RandomNames(uint32_t seed) : random_(seed) {}

  std::string name(std::string_view letters) {
    std::string text;
    const uint32_t pairs = 1 + below(5);
    for (uint32_t i = 0; i < pairs; ++i) {
      if (i) text += below(3) ? ", " : " + ";
      text += type() + "=" + value(letters);
    }
    return text;
  }

 private:
  uint32_t below(size_t n) { return static_cast<uint32_t>(random_() % n); }
  std::string type() {
    constexpr const char *kTypes[] = {"C", "L", "CN", "DC", "MAILTO", "dmdName", "STREET"};
    if (below(4)) return kTypes[below(std::size(kTypes))];
    return "OID.1.3." + std::to_string(below(0x10000000)) + "." + std::to_string(below(300));
  }
  std::string value(std::string_view letters) {
    std::string text = {static_cast<char>('a' + below(26))};
    for (uint32_t i = below(12); i > 0; --i) {
      const char c = letters[below(letters.size())];
      if (c == '\\' || c == '"' || c == '+' || c == ',' || c == ';') text += '\\';
      text += c;
    }
    return text + static_cast<char>('0' + below(10));
  }
  std::mt19937 random_;
};

TEST_F(Names, RandomNamesSurviveTheRoundTrip) {
  const std::string_view printable = " '()+,-./:=?059AZaz";
  const std::string_view ia5 = " !\"#$%&'()*+,-./0:;<=>?@A[\\]^_`a{|}~\t\n";
  RandomNames random(20261121);
  for (int i = 0; i < 3000; ++i) {
    const bool narrow = i % 2 == 0;
    const std::string text = random.name(narrow ? printable : ia5);
    const FromText first(text.c_str());
    ASSERT_TRUE(first.good) << text;
    ASSERT_EQ(first.text(), text);
    const std::vector<uint8_t> der = unhex(first.der());
    ASSERT_TRUE(expect_consistent(der)) << text;
    const FromDer second(der);  // the pairs of a relative name may have changed places
    const FromText third(second.text().c_str());
    ASSERT_EQ(third.der(), hex(der)) << text;
    if (!narrow) continue;  // a PrintableString does not read all that is written into it
    ASSERT_EQ(second.der(), hex(der)) << text;
    const std::vector<uint8_t> canonical = unhex(first.der(true));
    ASSERT_EQ(FromDer(canonical).der(true), hex(canonical)) << text;
  }
}

// The names of real certificates are read alike in every way; those of PrintableString alone come
// back as they were.
TEST_F(Names, CorpusNames) {
  std::ifstream file(std::string(KWPKI_CORPUS_DIR) + "/names.tsv");
  if (!file.is_open()) GTEST_SKIP() << "no corpus at " << KWPKI_CORPUS_DIR;
  std::string line;
  size_t read = 0, refused = 0, compared = 0;
  std::getline(file, line);
  for (; std::getline(file, line); ++read) {
    const std::vector<uint8_t> der = unhex(line.substr(line.rfind('\t') + 1));
    if (!expect_consistent(der)) {
      ++refused;
      continue;
    }
    const FromDer name(der);
    std::set<int32_t> sets;
    for (uint32_t i = 0; i < name.dn.count; ++i) {
      for (const SshDNAva *ava = name.dn.rdns[i]->pairs; ava; ava = ava->next) {
        const bool own_tag = std::string_view(ava->oid) != "1.2.840.113549.1.9.1";
        sets.insert(ava->value && own_tag ? ava->value->charset : -1);
      }
    }
    if (sets != std::set<int32_t>{SSH_CHARSET_PRINTABLE}) continue;
    ++compared;
    EXPECT_EQ(name.der(), hex(der)) << line;
  }
  EXPECT_GT(read, 500u);
  EXPECT_GT(compared, 100u);
  EXPECT_LT(refused, read / 20);
}

TEST_F(Names, HugeNamesTakeLinearTime) {
  constexpr uint32_t kCount = 100000;
  std::string text = "CN=a";
  std::string one = "CN=a";
  for (uint32_t i = 1; i < kCount; ++i) {
    text += ", CN=a";
    one += " + CN=a";
  }
  const auto start = std::chrono::steady_clock::now();
  for (const std::string &huge : {text, one}) {
    const FromText name(huge.c_str());
    ASSERT_TRUE(name.good);
    EXPECT_TRUE(name.text() == huge);
    const std::vector<uint8_t> der = unhex(name.der());
    EXPECT_EQ(name.der(true).size(), 2 * der.size());
    EXPECT_TRUE(text_of_der(der) == huge);
    EXPECT_TRUE(FromDer(der).text() == huge);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(100));
}

TEST_F(Names, HostileNamesAreAnswered) {
  std::vector<uint8_t> deep(500000, 0x30);  // 30 80 30 80 ..., never closed
  for (size_t i = 1; i < deep.size(); i += 2) deep[i] = 0x80;
  EXPECT_FALSE(expect_consistent(deep));

  SshRDN *none = nullptr;  // a name that is as long as it may be
  SshDN full = {.count = SSH_DN_RDNS_MAX, .capacity = SSH_DN_RDNS_MAX, .rdns = &none};
  EXPECT_FALSE(ssh_dn_decode_der(unhex(kSamples[1]), &full));
  EXPECT_FALSE(ssh_dn_decode_ldap("CN=a", &full));

  bool empty;
  // The hexadecimal form of this value is longer than a block.
  const uint32_t length = 60000000;
  std::vector<uint8_t> large =
      unhex("3084 00000000 3184 00000000 3084 00000000 0603550403 1484 00000000");
  const size_t header = large.size();
  large.resize(header + length, 0x01);
  for (const size_t at : {2u, 8u, 14u, 25u}) {
    ssh_store_be32(&large[at], static_cast<uint32_t>(large.size() - at - 4));
  }
  EXPECT_TRUE(ssh_dn_check_der(large, &empty));
  EXPECT_EQ(text_of_der(large), "(null)");
}

}  // namespace
