#include "x509/dn.h"

#include <gtest/gtest.h>

#include <fstream>
#include <random>

#include "support/samples.h"
#include "x509/dn_parts.h"

namespace {

using Names = sample::Balanced;
using sample::own_text;
using namespace der;

// Dn is a name that clears itself, with results as test values.
struct Dn {
  SshDN dn = {};
  bool good = false;

  Dn() = default;
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
struct FromDer : Dn {
  explicit FromDer(Bytes der) { good = ssh_dn_decode_der(der, &dn); }
};
struct FromText : Dn {
  explicit FromText(const char *text) { good = ssh_dn_decode_ldap(text, &dn); }
};

std::string text_of_der(Bytes der) { return own_text(ssh_dn_der_to_ldap(der)); }

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
    const char *text, *printed, *der = "";  // no DER: not looked at
  } rows[] = {
      {"CN=Foo, O=Bar", "CN=Foo, O=Bar",
       "301c 310c300a0603550403130346 6f6f 310c300a060355040a1303426172"},
      {" \tCn = a + oU=b ; O=c, OIDandmore.1.2=x", "CN=a + OU=b, O=c, OID.1.2=x"},
      {"OID.2.5.4.3=x", "CN=x", "300c 310a 3008 0603550403 130178"},
      {"oid . 1 . 2.3 = x", "OID.1.2.3=x", "300b 3109 3007 06022a03 130178"},
      {"CN=#414 + CN=#aBfF, CN=# 41 ,CN=#4\\\n \t1+O=#0",
       "CN=#0414 + CN=#abff, CN=A, CN=A + O=#00"},
      {"CN=", "(null)", "(null)"},  // as from DER, a value without octets is none
      {"O=x, CN=# + OU=a", "(null)", "(null)"},
      {"CN=\" \", O=x", "(null)", "(null)"},
      {"CN=a\"+;\"b, CN=\"a\\\"b, c\" + CN=a\\,b\\\\\\63",
       "CN=a\\+\\;b, CN=a\\\"b\\, c + CN=a\\,b\\\\63"},
      {"CN=a\\\n \t b, CN=\"a\\\n  b\", CN=\"  a\", CN=a\nb \t, O=\"c  \"",
       "CN=a b, CN=a b, CN=  a, CN=a\nb, O=c"},
      {"CN=a=b<#>, CN=a\x01, CN=a\x7f", "CN=a=b<#>, CN=#6101, CN=#617f"},
      {"CN=\xe9", "CN=#e9", "(null)"},
      {" \n", "", "3000"},
  };
  for (const auto &row : rows) {
    const FromText name(row.text);
    EXPECT_TRUE(name.good) << row.text;
    EXPECT_EQ(name.text(), row.printed) << row.text;
    if (!*row.der) continue;
    EXPECT_EQ(name.der(), row.der[0] == '(' ? row.der : hex(unhex(row.der))) << row.text;
  }
  for (const char *text : {"XX=y", "=y", "CN", "CN y", "C N=y", "CN=\"y", "CN=y\\", "CN=\"y\\",
                           "CN=a,", "CN=a+", "CN=a,,O=b", "CN=#4g", "CN=#41 42", "CN=#41\\x",
                           "CN=#41\\", "OID=x", "OID.=x", "OID.1..2=x", "OID.1.2a=x"})
    EXPECT_FALSE(FromText(text).good) << text;
  const FromText failed("CN=a, O=b + C=c, OU=d + XX=e");
  EXPECT_EQ(failed.text(), "CN=a, O=b + C=c") << "a failed parse keeps what was appended";
}

TEST_F(Names, DerIsReadAndPrinted) {
  const struct {
    const char *why, *der, *text;  // "(null)": no text
  } rows[] = {
      {"bit string as IA5", "300f 310d 300b 0603550403 0304 07 6162ff", "CN=ab"},
      {"bit string of seven bits has no value", "300d 310b 3009 0603550403 0302 0161", "(null)"},
      {"BMP", "300d 310b 3009 0603550403 1e02 00e9", "CN=#00e9"},
      {"BMP of odd length has no value", "300c 310a 3008 0603550403 1e01 41", "(null)"},
      {"UTF-8", "300d 310b 3009 0603550403 0c02 c3a9", "CN=#c3a9"},
      {"overlong UTF-8", "300d 310b 3009 0603550403 0c02 c181", "CN=A"},
      {"UTF-8 with a letter of one octet", "300c 310a 3008 0603550403 0c01 41", "(null)"},
      {"empty value", "300b 3109 3007 0603550403 1300", "(null)"},
      {"constructed value", "300e 310c 300a 0603550403 3303 130161", "(null)"},
      {"a set without pairs", "3004 3100 3100", ", "},
      {"cut type", "300a 3108 3006 060155 130161", "OID.2.5=a"},
      {"arc of 28 bits", "300f 310d 300b 0606 55 04ffffff7f 130161", "OID.2.5.4.268435455=a"},
      {"end marks between", "300e 0000 310a30080603550403130161", "CN=a"},
  };
  for (const auto &row : rows) {
    const std::vector<uint8_t> der = unhex(row.der);
    EXPECT_TRUE(expect_consistent(der)) << row.why;
    EXPECT_EQ(text_of_der(der), row.text) << row.why;
  }
  const char *const refused[] = {
      "300d 310b 3009 0603550403 0302 0961",         // more unused bits than bits
      "3010 310e 300c 0603550403 3380 130161 0000",  // indefinite lengths
      "3080 310a30080603550403130161 0000",
      "300c 310a 3008 0603550403 040161",  // no such type of value, no value, no type
      "3009 3107 3005 0603550403",
      "3009 3107 3005 0600 130161",
      "300b 3109 3007 06025580 130161",  // an arc that is cut, one of 29 bits, a constructed type
      "3010 310e 300c 0607 55 048180808000 130161",
      "300e 310c 300a 2605 0603550403 130161",
      "3100",
      "300c 300a 3008 0603550403 130161",  // SETs and SEQUENCEs in each other's place
      "300c 310a 3108 0603550403 130161",
      "300e 0500 310a30080603550403130161",
      "300c 310a 3008 0603550403 1301",
      "3000 3000",
      "3000 30",
      "",
  };
  for (const char *der : refused) EXPECT_FALSE(expect_consistent(unhex(der))) << der;
}

TEST_F(Names, ARelativeNameIsReadWholeOrAsItsContent) {
  const struct {
    const char *der, *text;  // null: refused
  } rows[] = {
      {"3116 30080603550403130161 300a060355040b13036f7531", "O=x, CN=a + OU=ou1"},
      {"30080603550403130161 300a060355040b13036f7531", "O=x, CN=a + OU=ou1"},
      {"3100", "O=x, "},
      {"", nullptr},
      {"3100 3100", nullptr},
      {"30080603550403130161 0500", nullptr},
      {"a100", nullptr},
  };
  for (const auto &row : rows) {
    FromText name("O=x");
    const bool good = ssh_dn_decode_rdn_der(unhex(row.der), &name.dn);
    EXPECT_EQ(good, row.text != nullptr) << row.der;
    EXPECT_EQ(ssh_dn_check_rdn_der(unhex(row.der)), good) << row.der;
    EXPECT_EQ(good ? name.text() : "", row.text ? row.text : "") << row.der;
  }
}

TEST_F(Names, Encodings) {
  const struct {
    const char *text, *plain,
        *canonical;  // the value of the pair, the canonical one's if it differs
  } rows[] = {
      {"CN=\"  Foo   Bar \"", "130b 2020466f6f202020426172", "1307 666f6f20626172"},
      {"CN=A@  B", "1305 4140202042", "1304 41402042"},  // what only IA5 and T.61 have letters for
      {"CN=#41a7", "1302 41a7", "1302 41a7"},
      {"CN=#41c1", "1302 41c1", "1302 41c1"},
      {"MAILTO=A", "1601 41", "1601 61"},
      {"UN=#a7", "1601 a7", "1601 a7"},
  };
  for (const auto &row : rows) {
    const FromText name(row.text);
    for (const bool canonical : {false, true}) {
      const std::string value = hex(unhex(canonical ? row.canonical : row.plain));
      const std::string der = name.der(canonical);
      ASSERT_GE(der.size(), value.size()) << row.text;
      EXPECT_EQ(der.substr(der.size() - value.size()), value) << row.text;
    }
  }
  const std::vector<uint8_t> wide = unhex("300f 310d 300b 0603550403 1e04 00200416");
  EXPECT_EQ(FromDer(wide).der(), hex(wide));
  EXPECT_EQ(FromDer(wide).der(true), hex(unhex("300d 310b 3009 0603550403 1e02 0416")));
  EXPECT_EQ(FromDer(unhex("300f 310d 300b 0603550403 0c04 f0908080")).der(), "(null)");
  EXPECT_EQ(FromDer(unhex("300b 3109 3007 0603550403 1300")).der(), "(null)");
  EXPECT_EQ(FromText("OID.1=x").der(), "(null)");
  EXPECT_EQ(FromText("OID.1.99999999999=x").der(), "(null)");

  // Pairs are encoded in the order of DER and printed in their own.
  const FromText pairs("OU=bb + CN=b + CN=B + C=aaaa");
  const std::string first = "302e312c", b = "3008060355040313",
                    rest = hex(unhex("3009060355040b1302 6262 300b0603550406130461616161"));
  EXPECT_EQ(pairs.text(), "OU=bb + CN=b + CN=B + C=aaaa");
  EXPECT_EQ(pairs.der(), first + b + "0142" + b + "0162" + rest);
  EXPECT_EQ(pairs.der(true), first + b + "0162" + b + "0162" + rest);
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

// A random name whose text loses nothing: values without blanks at their ends and without "#" at
// the front.
std::string random_name(std::mt19937 &random, std::string_view letters) {
  constexpr const char *kTypes[] = {"C", "L", "CN", "DC", "MAILTO", "dmdName", "STREET"};
  const auto below = [&random](size_t n) { return random() % n; };
  std::string text;
  for (size_t pairs = 1 + below(5); pairs > 0; --pairs) {
    if (!text.empty()) text += below(3) ? ", " : " + ";
    text += below(4)
                ? kTypes[below(std::size(kTypes))]
                : "OID.1.3." + std::to_string(below(0x10000000)) + "." + std::to_string(below(300));
    text += "=a";
    for (size_t i = below(12); i > 0; --i) {
      const char c = letters[below(letters.size())];
      if (std::strchr("\\\"+,;", c)) text += '\\';
      text += c;
    }
    text += "0";
  }
  return text;
}

TEST_F(Names, RandomNamesSurviveTheRoundTrip) {
  const std::string_view printable = " '()+,-./:=?059AZaz";
  const std::string_view ia5 = " !\"#$%&'()*+,-./0:;<=>?@A[\\]^_`a{|}~\t\n";
  std::mt19937 random(20261121);
  for (int i = 0; i < 3000; ++i) {
    const bool narrow = i % 2 == 0;
    const std::string text = random_name(random, narrow ? printable : ia5);
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
    bool printable = name.dn.count > 0;
    for (uint32_t i = 0; i < name.dn.count; ++i) {
      for (const SshDNAva *ava = name.dn.rdns[i]->pairs; ava; ava = ava->next) {
        printable &= ava->value && ava->value->charset == SSH_CHARSET_PRINTABLE &&
                     std::strcmp(ava->oid, "1.2.840.113549.1.9.1") != 0;  // has its own tag
      }
    }
    if (!printable) continue;
    ++compared;
    EXPECT_EQ(name.der(), hex(der)) << line;
  }
  EXPECT_GT(read, 500u);
  EXPECT_GT(compared, 100u);
  EXPECT_LT(refused, read / 20);
}

// Pairs are the longest lists that there are; to look for the end of theirs each time would take
// hours. What goes through DER walks over nodes, and would spend the work there is for its octets.
TEST_F(Names, HugeNames) {
  const auto repeated = [](const std::string &separator, uint32_t pairs) {
    std::string text = "CN=a";
    for (uint32_t i = 1; i < pairs; ++i) text += separator + "CN=a";
    return text;
  };
  for (const char *separator : {", ", " + "}) {
    const std::string huge = repeated(separator, 100000);
    const FromText name(huge.c_str());
    ASSERT_TRUE(name.good && name.text() == huge);
    const std::vector<uint8_t> der = unhex(name.der());
    EXPECT_EQ(name.der(true).size(), 2 * der.size());
    EXPECT_TRUE(text_of_der(der) == huge && FromDer(der).text() == huge);
  }
  const std::string longest = repeated(" + ", 1000000);
  EXPECT_TRUE(FromText(longest.c_str()).text() == longest);
}

TEST_F(Names, HostileNamesAreAnswered) {
  std::vector<uint8_t> deep(500000, 0x30);  // 30 80 30 80 ..., never closed
  for (size_t i = 1; i < deep.size(); i += 2) deep[i] = 0x80;
  EXPECT_FALSE(expect_consistent(deep));

  SshRDN *none = nullptr;  // a name that is as long as it may be
  SshDN full = {.count = SSH_DN_RDNS_MAX, .capacity = SSH_DN_RDNS_MAX, .rdns = &none};
  EXPECT_FALSE(ssh_dn_decode_der(unhex(kSamples[1]), &full));
  EXPECT_FALSE(ssh_dn_decode_ldap("CN=a", &full));

  // The hexadecimal form of this value is longer than a block.
  const Der large = seq({set({attribute("2.5.4.3", tlv(0x14, Der(60000000, 0x01)))})});
  bool empty;
  EXPECT_TRUE(ssh_dn_check_der(large, &empty));
  EXPECT_EQ(text_of_der(large), "(null)");
}

}  // namespace
