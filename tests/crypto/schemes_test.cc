// Signatures, encryption and agreement by key objects: small groups through and through, forgeries,
// and keys with numbers that make no sense. tests/x509 has what others signed.

#include "crypto/key_support.h"
#include "crypto/montgomery.h"
#include "crypto/mp_math.h"
#include "crypto/noise.h"
#include "support/der.h"

namespace {

using namespace key;

// A key of 1020 bits, made by OpenSSL 3.0 (genrsa).
constexpr char kN[] =
    "0c12a23ab3fc551eec0a301ebad1cef22901c1ded89d5deb34c691d9fc86a23e930d24799d0cb49db5332b00"
    "33519c1635bd8bfb16ec06bdc303c1ee152514a9783f6e23d20c38e4d712032d62172f3c436bfbcc9428c876"
    "c0d953ca56f12f10c677540cc2048645dc5fde7635c2b625975e8382129cc7e826a51d7b12c71535";
constexpr char kD[] =
    "05ce7c8aa180ceec05794cf5aac338b6ce34532bbca1cbc751e5e3c6a5a797a76310e2273ffb196ff4f3fc4d"
    "a7612c229e8c61244e3d0d6cfdbbf3ed6fec1ac8c62a4b760507f2e34674087258a154b8a56b4d57e56424f7"
    "9cdec29d3d5e6b473c080be7713040b25ed1c07872247f50637be8839aadafc441122ec22d6c99a1";
constexpr size_t kOctets = 128;
constexpr char kSha1[] = "1.3.14.3.2.26";
constexpr const char *kOwn = nullptr;  // the scheme of the key itself

const Octets kAbc = {'a', 'b', 'c'};

SshPublicKeyOwner rsa_key() { return rsa(number(kN), SshMpInt(65537)); }

// private_power is what the owner of the key does with a block.
Octets private_power(const Octets &block) {
  SshMontgomery modulus;
  EXPECT_TRUE(modulus.init(number(kN)));
  return padded(modulus.power(number(block), number(kD)), kOctets);
}

Der sha1_of_abc() { return unhex("a9993e364706816aba3e25717850c26c9cd0d89d"); }
Der sha1_info() {
  return der::seq({der::seq({der::oid(kSha1), der::null()}), der::octets(sha1_of_abc())});
}

// padded_block puts bytes behind the padding of a signature, or of another type.
Octets padded_block(const Octets &body, uint8_t type = 1) {
  return join({{0, type}, Octets(kOctets - 3 - body.size(), 0xFF), {0}, body});
}

Octets with(Octets octets, size_t at, uint8_t octet) {
  octets[at] = octet;
  return octets;
}

}  // namespace

// One has one form of signature: the number below n, in as many bytes as n has, zeros in front.
TEST(RsaScheme, TheSameValueInAnotherForm) {
  const SshPublicKeyOwner key = rsa_key();
  Octets data = {0}, good;
  while ((good = private_power(padded_block(data)))[0] != 0) ++data[0];
  EXPECT_EQ(verify(key, "rsa-pkcs1-none", data, good), SSH_KEY_OK);
  const SshMpInt value = number(good), n = number(kN);
  for (const Octets &other : {padded(ssh_mp_add(value, n), kOctets), padded(n, kOctets),
                              join({{0}, good}), padded(value, 0)}) {
    EXPECT_EQ(verify(key, "rsa-pkcs1-none", data, other), SSH_KEY_BAD_SIGNATURE) << other.size();
  }
}

// Blocks that a lenient parser takes for the right one; each is signed with the key itself, so that
// only the comparison of blocks stands against it.
TEST(RsaScheme, ForgedBlocks) {
  const Der oid = der::oid(kSha1), digest = der::octets(sha1_of_abc()), info = sha1_info();
  const Octets right = padded_block(info);
  const std::pair<const char *, Octets> cases[] = {
      {"type 2", padded_block(info, 2)},
      {"the padding ends early", with(right, 10, 0)},
      {"octets behind",
       join({{0, 1}, Octets(8, 0xFF), {0}, info, Octets(kOctets - 11 - info.size())})},
      {"no parameters", padded_block(der::seq({der::seq({oid}), digest}))},
  };
  const SshPublicKeyOwner key = rsa_key();
  EXPECT_EQ(verify(key, kOwn, kAbc, private_power(right)), SSH_KEY_OK);
  EXPECT_EQ(verify_digest(key, sha1_of_abc(), private_power(right)), SSH_KEY_OK);
  for (const auto &[what, block] : cases) {
    EXPECT_EQ(verify(key, kOwn, kAbc, private_power(block)), SSH_KEY_BAD_SIGNATURE) << what;
  }
}

TEST(RsaScheme, DataUpToWhatTheKeyHolds) {
  const SshPublicKeyOwner key = rsa_key();
  SshNoise noise, silent([](uint8_t *, size_t) { return false; });
  Octets before, out;
  for (const size_t length : {0u, 116u, 117u}) {
    const Octets data(length, 0x77), longer(length + 1, 0x77);
    const Octets good = private_power(padded_block(data));
    EXPECT_EQ(verify(key, "rsa-pkcs1-none", data, good), SSH_KEY_OK) << length;
    EXPECT_EQ(verify(key, "rsa-pkcs1-none", longer, good),
              length == 117 ? SSH_KEY_TOO_LONG : SSH_KEY_BAD_SIGNATURE);
    for (int i = 0; i < 20; ++i) {
      ASSERT_EQ(encrypt(key, data, &noise, &out), SSH_KEY_OK);
      const Octets block = private_power(out);
      const auto zero = std::find(block.begin() + 2, block.end(), 0);
      EXPECT_TRUE(block[0] == 0 && block[1] == 2 && Octets(zero, block.end()) == join({{0}, data}));
      EXPECT_NE(block, before);
      before = block;
    }
  }
  EXPECT_EQ(encrypt(key, Octets(118, 0x77), &noise), SSH_KEY_TOO_LONG);
  EXPECT_EQ(encrypt(key, kAbc, &silent), SSH_KEY_NO_NOISE);
}

// A group small enough to try everything: p = 78 q + 1, and q of 7 bits takes 7 bits of a digest.
constexpr uint32_t kP = 7879, kQ = 101, kG = 170;
Group small_group(uint32_t p = kP, uint32_t q = kQ, uint32_t g = kG) {
  return {SshMpInt(p), SshMpInt(q), SshMpInt(g)};
}
uint32_t small_power(uint32_t base, uint32_t exponent, uint32_t modulus) {
  uint32_t result = 1;
  for (uint32_t i = 0; i < exponent; ++i) result = result * base % modulus;
  return result;
}

TEST(DsaScheme, EverySignatureOfASmallGroup) {
  constexpr uint32_t kZ = 22;
  const uint32_t y = small_power(kG, 75, kP);
  const SshPublicKeyOwner key = dl(small_group(), SshMpInt(y));
  // Whatever the bits behind the first seven are.
  const Octets digest = with(Octets(20, 0xA5), 0, kZ << 1 | 1);
  size_t good = 0;
  for (uint32_t r = 0; r < 128; ++r) {
    for (uint32_t s = 0; s < 128; ++s) {
      const uint32_t w = small_power(s, kQ - 2, kQ);
      const uint32_t v = small_power(kG, kZ * w % kQ, kP) * small_power(y, r * w % kQ, kP) % kP;
      const bool valid = r > 0 && r < kQ && s > 0 && s < kQ && v % kQ == r;
      const Octets signature = {static_cast<uint8_t>(r), static_cast<uint8_t>(s)};
      ASSERT_EQ(verify_digest(key, digest, signature), valid ? SSH_KEY_OK : SSH_KEY_BAD_SIGNATURE)
          << r << " " << s;
      good += valid;
    }
  }
  EXPECT_GE(good, 90u);  // one s for nearly every k
}

// The result is as long as p, whatever zeros it begins with; the exponent may begin with zeros too.
TEST(DhScheme, EveryExponentOfASmallGroup) {
  const auto key = dl(small_group(), SshMpInt(kG));
  for (uint32_t x = 0; x < 2 * kQ; ++x) {
    const uint32_t wanted = small_power(kG, x, kP);
    Octets found;
    ASSERT_EQ(agree(key, {0, static_cast<uint8_t>(x)}, &found),
              wanted == 1 ? SSH_KEY_REFUSED : SSH_KEY_OK);
    ASSERT_EQ(found, wanted == 1 ? Octets() : padded(SshMpInt(wanted), 2));
  }
  EXPECT_EQ(agree(key, {0, 0, 1}), SSH_KEY_REFUSED) << "longer than p";
  EXPECT_EQ(agree(dl(small_group(23, 11, 5), SshMpInt(5)), {11}), SSH_KEY_REFUSED)
      << "of order 2q: x = q gives p - 1";
}

TEST(Schemes, WhatAKeyDoesNotHave) {
  const SshPublicKeyOwner bare = rsa(number(kN), SshMpInt(65537), "if-modn");
  const SshPublicKeyOwner bare_dl = dl(small_group(), SshMpInt(kG), "dl-modp");
  const Octets signature = private_power(padded_block(sha1_info()));
  EXPECT_EQ(verify(bare, nullptr, kAbc, signature), SSH_KEY_NO_SCHEME);
  EXPECT_EQ(verify(bare, "rsa-pkcs1-sha1", kAbc, signature), SSH_KEY_OK);
  EXPECT_EQ(verify(bare, "dsa-nist-sha1", kAbc, signature), SSH_KEY_REFUSED);
  SshNoise noise;
  for (const SshPublicKeyOwner *key : {&bare, &bare_dl}) {
    EXPECT_EQ(verify(*key, "rsa-pkcs1-md2", kAbc, signature), SSH_KEY_NO_SCHEME);
    EXPECT_EQ(encrypt(*key, kAbc, &noise), SSH_KEY_NO_SCHEME);
    EXPECT_EQ(agree(*key, {5}), SSH_KEY_NO_SCHEME);
  }
  EXPECT_FALSE(ssh_public_key_can_verify("rsa-pkcs1-md2"));
}

SshMpInt negative(const SshMpInt &value) { return number(value.magnitude(), true); }

// Every answer is an error. To compute with the huge number instead takes from minutes to years.
class AbsurdKeys : public testing::Test {
 protected:
  const SshMpInt zero_{0}, one_{1}, two_{2};
  const SshMpInt huge_ = ones(8000000), above_ = ones(SSH_MONTGOMERY_BITS_MAX + 1);
};

TEST_F(AbsurdKeys, Rsa) {
  const SshMpInt n = number(kN), e(65537), even = ssh_mp_add(n, one_), minus_n = negative(n),
                 minus_3(-3), e_65 = ones(65), n_3073 = ones(3073), most = ones(16384),
                 below = ones(16383);
  const SshMpInt absurd[][2] = {{e, e},         {even, e},     {minus_n, e}, {above_, e},
                                {n, two_},      {n, minus_3},  {n, n},       {most, below},
                                {n_3073, e_65}, {huge_, huge_}};
  SshNoise noise;
  for (const auto &[modulus, exponent] : absurd) {
    SCOPED_TRACE(testing::Message() << modulus.bits() << " " << exponent.bits());
    const SshPublicKeyOwner key = rsa(modulus, exponent);
    EXPECT_EQ(verify(key, kOwn, kAbc, Octets(modulus.magnitude().size())), SSH_KEY_ABSURD);
    EXPECT_EQ(encrypt(key, kAbc, &noise), SSH_KEY_ABSURD);
  }
  // The longest ones that are no absurdity yet, and such as have no room for a padding.
  const SshMpInt longest[][2] = {{most, ones(63)}, {ones(3072), ones(3071)}};
  for (const auto &[modulus, exponent] : longest) {
    const Octets signature(modulus.magnitude().size(), 0x7F);
    EXPECT_EQ(verify(rsa(modulus, exponent), kOwn, kAbc, signature), SSH_KEY_BAD_SIGNATURE);
  }
  EXPECT_EQ(encrypt(rsa(SshMpInt(255), SshMpInt(3)), {}, &noise), SSH_KEY_TOO_LONG);
}

TEST_F(AbsurdKeys, DiscreteLogarithms) {
  constexpr SshKeyStatus kAbsurd = SSH_KEY_ABSURD, kPeer = SSH_KEY_BAD_PEER_VALUE,
                         kBad = SSH_KEY_BAD_SIGNATURE, kGood = SSH_KEY_OK;
  const SshMpInt p(kP), q(kQ), g(kG), top(kP - 1);
  const auto check = [](const SshMpInt(&v)[4], SshKeyStatus dsa, SshKeyStatus dh) {
    const SshPublicKeyOwner key = dl({v[0], v[1], v[2]}, v[3]);
    EXPECT_EQ(verify(key, kOwn, Octets{'z'}, Octets(2 * v[1].magnitude().size(), 1)), dsa);
    EXPECT_EQ(agree(key, {3}), dh);
  };
  const std::tuple<size_t, std::vector<SshMpInt>, SshKeyStatus, SshKeyStatus> rows[] = {
      {0, {SshMpInt(kP + 1), negative(p), above_, huge_}, kAbsurd, kAbsurd},
      {1, {one_, SshMpInt(78), negative(q), p, huge_}, kAbsurd, kAbsurd},
      {1, {zero_}, kAbsurd, kGood},         // DSA has no signature without an order
      {1, {SshMpInt(103)}, kBad, kAbsurd},  // does not divide p - 1
      {2, {zero_, one_, p, negative(g), huge_}, kAbsurd, kAbsurd},
      {2, {top}, kBad, kAbsurd},
      {3, {zero_, one_, p, negative(g), huge_}, kAbsurd, kPeer},
      {3, {top, two_}, kBad, kPeer},  // the order of 2 is another
      {3, {g}, kBad, kGood},
  };
  for (const auto &[place, values, dsa, dh] : rows) {
    for (const SshMpInt &value : values) {
      SCOPED_TRACE(testing::Message() << place << " " << value.bits());
      SshMpInt numbers[] = {p, q, g, g};
      numbers[place] = value;
      check(numbers, dsa, dh);
    }
  }
  check({ones(4096), ones(513), g, g}, kAbsurd, kAbsurd);
  check({ones(4096), ones(512), g, g}, kBad, kAbsurd);
}
