// Ciphers against published vectors, and what holds for all: splits, in place, refusals.
#include "crypto/cipher.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <string>
#include <vector>

#include "support/hex.h"

namespace {

using Octets = std::vector<uint8_t>;

constexpr SshCipherDirection kDirections[] = {SSH_CIPHER_ENCRYPT, SSH_CIPHER_DECRYPT};
constexpr const char *kModes[] = {"ecb", "cbc", "cfb", "ofb"};
constexpr const char *kCiphers[] = {"des", "3des", "blowfish", "cast128"};

bool whole_blocks(std::string_view mode) { return mode == "ecb" || mode == "cbc"; }

// run takes a whole message through a cipher; empty if anything was refused.
Octets run(const char *name, const char *mode, SshCipherDirection direction, Bytes key, Bytes iv,
           Bytes data) {
  SshCipher cipher;
  Octets out(data.size());
  if (!ssh_cipher_init(&cipher, name, mode, key, direction)) return {};
  if (!iv.empty() && !ssh_cipher_set_iv(&cipher, iv)) return {};
  return ssh_cipher_transform(&cipher, data, out.data()) ? out : Octets();
}

Octets counting(size_t length, uint8_t first) {
  Octets octets(length);
  std::iota(octets.begin(), octets.end(), first);
  return octets;
}

Octets longest_key(const char *name) {
  SshCipherKeyLengths lengths = {};
  EXPECT_TRUE(ssh_cipher_key_lengths(name, &lengths));
  return counting(lengths.most, 0x31);
}

struct Vector {
  const char *name, *mode, *key, *iv, *plain, *secret;
};

void check(const Vector &row) {
  const Octets key = unhex(row.key), iv = unhex(row.iv), plain = unhex(row.plain),
               secret = unhex(row.secret);
  EXPECT_EQ(hex(run(row.name, row.mode, SSH_CIPHER_ENCRYPT, key, iv, plain)), hex(secret))
      << row.name << row.key;
  EXPECT_EQ(hex(run(row.name, row.mode, SSH_CIPHER_DECRYPT, key, iv, secret)), hex(plain))
      << row.name << row.key;
}

}  // namespace

// DES: NIST SP 800-17, which with these goes through every entry of every box; SP 800-67; Blowfish:
// E. Young's set; CAST-128: RFC 2144, B.1.
TEST(Cipher, PublishedBlocks) {
  const struct {
    const char *name, *key, *plain, *secret;
  } rows[] = {
      // clang-format off
      {"des", "7CA110454A1A6E57", "01A1D6D039776742", "690F5B0D9A26939B"},
      {"des", "0131D9619DC1376E", "5CD54CA83DEF57DA", "7A389D10354BD271"},
      {"des", "07A1133E4A0B2686", "0248D43806F67172", "868EBB51CAB4599A"},
      {"des", "3849674C2602319E", "51454B582DDF440A", "7178876E01F19B2A"},
      {"des", "04B915BA43FEB5B6", "42FD443059577FA2", "AF37FB421F8C4095"},
      {"des", "0113B970FD34F2CE", "059B5E0851CF143A", "86A560F10EC6D85B"},
      {"des", "0170F175468FB5E6", "0756D8E0774761D2", "0CD3DA020021DC09"},
      {"des", "43297FAD38E373FE", "762514B829BF486A", "EA676B2CB7DB2B7A"},
      {"des", "07A7137045DA2A16", "3BDD119049372802", "DFD64A815CAF1A0F"},
      {"des", "04689104C2FD3B2F", "26955F6835AF609A", "5C513C9C4886C088"},
      {"des", "37D06BB516CB7546", "164D5E404F275232", "0A2AEEAE3FF4AB77"},
      {"des", "1F08260D1AC2465E", "6B056E18759F5CCA", "EF1BF03E5DFA575A"},
      {"des", "584023641ABA6176", "004BD6EF09176062", "88BF0DB6D70DEE56"},
      {"des", "025816164629B007", "480D39006EE762F2", "A1F9915541020B56"},
      {"des", "49793EBC79B3258F", "437540C8698F3CFA", "6FBF1CAFCFFD0556"},
      {"des", "4FB05E1515AB73A7", "072D43A077075292", "2F22E49BAB7CA1AC"},
      {"des", "49E95D6D4CA229BF", "02FE55778117F12A", "5A6B612CC26CCE4A"},
      {"des", "018310DC409B26D6", "1D9D5C5018F728C2", "5F4C038ED12B2E41"},
      {"des", "1C587F1C13924FEF", "305532286D6F295A", "63FAC0D034D9F793"},
      {"des", "0101010101010101", "8000000000000000", "95F8A5E5DD31D900"},  // a weak key
      {"3des", "0123456789ABCDEF 23456789ABCDEF01 456789ABCDEF0123",
       "5468652071756663 6B2062726F776E20 666F78206A756D70",
       "A826FD8CE53B855F CCE21C8112256FE6 68D5C05DD9B6B900"},
      {"blowfish", "0000000000000000", "0000000000000000", "4EF997456198DD78"},
      {"blowfish", "FFFFFFFFFFFFFFFF", "FFFFFFFFFFFFFFFF", "51866FD5B85ECB8A"},
      {"blowfish", "3000000000000000", "1000000000000001", "7D856F9A613063F2"},
      {"blowfish", "1111111111111111", "1111111111111111", "2466DD878B963C9D"},
      {"blowfish", "0123456789ABCDEF", "1111111111111111", "61F9C3802281B096"},
      {"blowfish", "1111111111111111", "0123456789ABCDEF", "7D0CC630AFDA1EC7"},
      {"blowfish", "FEDCBA9876543210", "0123456789ABCDEF", "0ACEAB0FC6A0A28D"},
      {"blowfish", "7CA110454A1A6E57", "01A1D6D039776742", "59C68245EB05282B"},
      {"blowfish", "0131D9619DC1376E", "5CD54CA83DEF57DA", "B1B8CC0B250F09A0"},
      {"blowfish", "07A1133E4A0B2686", "0248D43806F67172", "1730E5778BEA1DA4"},
      {"blowfish", "3849674C2602319E", "51454B582DDF440A", "A25E7856CF2651EB"},
      {"blowfish", "04B915BA43FEB5B6", "42FD443059577FA2", "353882B109CE8F1A"},
      {"cast128", "0123456712345678234567893456789A", "0123456789ABCDEF", "238B4FE5847E44B2"},
      {"cast128", "01234567123456782345", "0123456789ABCDEF", "EB6A711A2C02271B"},
      {"cast128", "0123456712", "0123456789ABCDEF", "7AC816D16E9B302E"},
      // clang-format on
  };
  for (const auto &row : rows) check({row.name, "ecb", row.key, "", row.plain, row.secret});
}

// The message of FIPS 81, and E. Young's for Blowfish, in CBC with zeros behind the text.
TEST(Cipher, PublishedModes) {
  const char *const now = "4E6F77206973207468652074696D6520666F7220616C6C20";
  const char *const des = "0123456789ABCDEF", *const des_iv = "1234567890ABCDEF";
  const char *const text = "37363534333231204E6F77206973207468652074696D6520666F722000";
  const char *const blowfish = "0123456789ABCDEFF0E1D2C3B4A59687", *const blowfish_iv =
                                                                       "FEDCBA9876543210";
  const Vector rows[] = {
      {"des", "ecb", des, des_iv, now, "3FA40E8A984D4815 6A271787AB8883F9 893D51EC4B563B53"},
      {"des", "cbc", des, des_iv, now, "E5C7CDDE872BF27C 43E934008C389C0F 683788499A7C05F6"},
      {"des", "cfb", des, des_iv, now, "F3096249C7F46E51 A69E839B1A92F784 03467133898EA622"},
      {"des", "ofb", des, des_iv, now, "F3096249C7F46E51 35F24A242EEB3D3F 3D6D5BE3255AF8C3"},
      {"blowfish", "cbc", blowfish, blowfish_iv,
       "37363534333231204E6F77206973207468652074696D6520666F722000000000",
       "6B77B4D63006DEE605B156E27403979358DEB9E7154616D959F1652BD5FF92CC"},
      {"blowfish", "cfb", blowfish, blowfish_iv, text,
       "E73214A2822139CAF26ECF6D2EB9E76E3DA3DE04D1517200519D57A6C3"},
      {"blowfish", "ofb", blowfish, blowfish_iv, text,
       "E73214A2822139CA62B343CC5B65587310DD908D0C241B2263C2CF80DA"},
  };
  for (const Vector &row : rows) check(row);
}

// The same set: one block under the first 1 to 24 octets of a key.
TEST(Cipher, BlowfishKeyLengths) {
  const Octets key = unhex("F0E1D2C3B4A5968778695A4B3C2D1E0F0011223344556677");
  const Octets plain = unhex("FEDCBA9876543210");
  const char *const secrets[] = {
      "f9ad597c49db005e", "e91d21c1d961a6d6", "e9c2b70a1bc65cf3", "be1e639408640f05",
      "b39e44481bdb1e6e", "9457aa83b1928c0d", "8bb77032f960629d", "e87a244e2cc85e82",
      "15750e7a4f4ec577", "122ba70b3ab64ae0", "3a833c9affc537f6", "9409da87a90f6bf2",
      "884f80625060b8b4", "1f85031c19e11968", "79d9373a714ca34f", "93142887ee3be15c",
      "03429e838ce2d14b", "a4299e27469ff67b", "afd5aed1c1bc96a8", "10851c0e3858da9f",
      "e6f51ed79b9db21f", "64a6e14afd36b46f", "80c7d7d45a5479ad", "05044b62fa52d080"};
  size_t length = 0;
  for (const char *secret : secrets) {
    const Bytes part = Bytes(key).first(++length);
    EXPECT_EQ(hex(run("blowfish", "ecb", SSH_CIPHER_ENCRYPT, part, {}, plain)), secret) << length;
  }
}

// RFC 2144, B.2: a million times each half of either number is encrypted under the other number.
TEST(Cipher, Cast128Maintenance) {
#ifndef NDEBUG
  GTEST_SKIP() << "two million key schedules, for a build that optimises";
#endif
  Octets a = unhex("0123456712345678234567893456789A"), b = a;
  const auto step = [](Octets &data, const Octets &key) {
    SshCipher cipher;
    return ssh_cipher_init(&cipher, "cast128", "ecb", key, SSH_CIPHER_ENCRYPT) &&
           ssh_cipher_transform(&cipher, data, data.data());
  };
  for (int i = 0; i < 1000000; ++i) ASSERT_TRUE(step(a, b) && step(b, a));
  EXPECT_EQ(hex(a), "eea9d0a249fd3ba6b3436fb89d6dca92");
  EXPECT_EQ(hex(b), "b2c95eb00c31ad7180ac05b8e83d696e");
}

TEST(Cipher, TripleDesOfEqualKeys) {
  const Octets one = counting(8, 0x10), other = counting(8, 0x80), plain = counting(64, 0);
  const auto join = [](std::initializer_list<Octets> keys) {
    Octets all;
    for (const Octets &key : keys) all.insert(all.end(), key.begin(), key.end());
    return all;
  };
  const auto secret = [&](const char *name, const Octets &key) {
    return hex(run(name, "cbc", SSH_CIPHER_ENCRYPT, key, {}, plain));
  };
  EXPECT_EQ(secret("3des", join({one, other})), secret("3des", join({one, other, one})));
  EXPECT_NE(secret("3des", join({one, other})), secret("3des", join({one, other, other})));
  EXPECT_EQ(secret("3des", join({one, one, other})), secret("des", other));
  EXPECT_EQ(secret("3des", join({one, other, other})), secret("des", one));
  Octets odd = one;
  for (uint8_t &octet : odd) octet ^= 1;  // a parity bit
  EXPECT_EQ(secret("des", odd), secret("des", one));
}

// Two cuts anywhere (where blocks must be whole, at their bounds), in place, on odd addresses.
TEST(Cipher, AnySplitGivesTheSame) {
  for (const char *name : kCiphers) {
    for (const char *mode : kModes) {
      for (const SshCipherDirection direction : kDirections) {
        const size_t grain = whole_blocks(mode) ? SSH_CIPHER_BLOCK : 1;
        const Octets key = longest_key(name), iv = counting(8, 0xA0),
                     data = counting(whole_blocks(mode) ? 40 : 29, 0);
        const Octets want = run(name, mode, direction, key, iv, data);
        ASSERT_EQ(want.size(), data.size()) << name << mode;
        SshCipher cipher;
        ASSERT_TRUE(ssh_cipher_init(&cipher, name, mode, key, direction));
        for (size_t first = 0; first <= data.size(); first += grain) {
          for (size_t second = first; second <= data.size(); second += grain) {
            Octets work(1);
            work.insert(work.end(), data.begin(), data.end());
            uint8_t *at = work.data() + 1;
            const Bytes whole = {at, data.size()};
            ASSERT_TRUE(ssh_cipher_set_iv(&cipher, iv));
            ASSERT_TRUE(ssh_cipher_transform(&cipher, whole.first(first), at));
            ASSERT_TRUE(
                ssh_cipher_transform(&cipher, whole.subspan(first, second - first), at + first));
            ASSERT_TRUE(ssh_cipher_transform(&cipher, whole.subspan(second), at + second));
            ASSERT_EQ(hex(whole), hex(want)) << name << mode << first << " " << second;
          }
        }
      }
    }
  }
}

TEST(Cipher, TakesKeyLengthsOfItsOwnAlone) {
  const struct {
    const char *name;
    Octets lengths;
  } rows[] = {{"des", {8}},
              {"3des", {16, 24}},
              {"blowfish", counting(56, 1)},
              {"cast128", counting(12, 5)}};
  for (const auto &row : rows) {
    SshCipherKeyLengths told = {};
    ASSERT_TRUE(ssh_cipher_key_lengths(row.name, &told));
    EXPECT_EQ(told.least, row.lengths.front()) << row.name;
    EXPECT_EQ(told.most, row.lengths.back()) << row.name;
    for (size_t length = 0; length <= 80; ++length) {
      SshCipher cipher;
      const bool good = std::count(row.lengths.begin(), row.lengths.end(), length) > 0;
      EXPECT_EQ(ssh_cipher_init(&cipher, row.name, "cbc", counting(length, 1), SSH_CIPHER_ENCRYPT),
                good)
          << row.name << length;
    }
  }
}

TEST(Cipher, RefusesWithoutATrace) {
  const Octets key = counting(8, 1), data = counting(16, 0);
  SshCipherKeyLengths lengths = {1, 2, 3};
  EXPECT_FALSE(ssh_cipher_key_lengths("aes", &lengths));
  EXPECT_EQ(lengths.most, 2u);

  SshCipher cipher;
  Octets out(16, 0xEE);
  const Octets untouched = out;
  EXPECT_FALSE(ssh_cipher_transform(&cipher, data, out.data())) << "no key yet";
  const char *const names[][2] = {
      {"", "cbc"}, {"DES", "cbc"}, {"des", ""}, {"des", "ctr"}, {"des-cbc", "cbc"}};
  for (const auto &[name, mode] : names) {
    ASSERT_TRUE(ssh_cipher_init(&cipher, "des", "cbc", key, SSH_CIPHER_ENCRYPT));
    EXPECT_FALSE(ssh_cipher_init(&cipher, name, mode, key, SSH_CIPHER_ENCRYPT))
        << name << " " << mode;
    EXPECT_FALSE(ssh_cipher_transform(&cipher, data, out.data()))
        << "the key before it is still there";
  }

  ASSERT_TRUE(ssh_cipher_init(&cipher, "des", "cbc", key, SSH_CIPHER_ENCRYPT));
  for (const size_t length : {0u, 7u, 9u, 16u})
    EXPECT_FALSE(ssh_cipher_set_iv(&cipher, Bytes(data).first(length)));
  for (const size_t length : {1u, 7u, 9u, 15u}) {
    EXPECT_FALSE(ssh_cipher_transform(&cipher, Bytes(data).first(length), out.data())) << length;
  }
  EXPECT_EQ(out, untouched);
  ASSERT_TRUE(ssh_cipher_transform(&cipher, data, out.data()));
  EXPECT_EQ(hex(out), hex(run("des", "cbc", SSH_CIPHER_ENCRYPT, key, {}, data)))
      << "a refusal changed the chain";
}

TEST(Cipher, WipesWhatItKnew) {
  alignas(SshCipher) uint8_t storage[sizeof(SshCipher)];
  auto *cipher = new (storage) SshCipher;
  Octets data = counting(16, 0);
  ASSERT_TRUE(ssh_cipher_init(cipher, "blowfish", "cfb", data, SSH_CIPHER_ENCRYPT));
  ASSERT_TRUE(ssh_cipher_transform(cipher, data, data.data()));
  const Bytes schedule =
      Bytes(storage).subspan(offsetof(SshCipher, schedule), sizeof SshCipher::schedule);
  const Bytes chain = Bytes(storage).subspan(offsetof(SshCipher, chain), sizeof SshCipher::chain);
  const auto zeros = [](Bytes octets) { return std::count(octets.begin(), octets.end(), 0); };
  EXPECT_LT(zeros(schedule), 200);
  EXPECT_LT(zeros(chain), 8);
  cipher->~SshCipher();
  EXPECT_EQ(zeros(schedule), static_cast<ptrdiff_t>(schedule.size()));
  EXPECT_EQ(zeros(chain), 8);
}
