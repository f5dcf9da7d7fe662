// Signatures, encryption and agreement by key objects: published examples, small groups through and
// through, forgeries, and keys with numbers that make no sense.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#include "crypto/key_support.h"
#include "crypto/montgomery.h"
#include "crypto/mp_math.h"
#include "crypto/noise.h"
#include "support/der.h"
#include "util/mem.h"

namespace {

using namespace key;

// A key of 1020 bits and its signatures over "abc", made by OpenSSL 3.0 (genrsa, dgst -sign).
constexpr char kN[] =
    "0c12a23ab3fc551eec0a301ebad1cef22901c1ded89d5deb34c691d9fc86a23e930d24799d0cb49db5332b00"
    "33519c1635bd8bfb16ec06bdc303c1ee152514a9783f6e23d20c38e4d712032d62172f3c436bfbcc9428c876"
    "c0d953ca56f12f10c677540cc2048645dc5fde7635c2b625975e8382129cc7e826a51d7b12c71535";
constexpr char kD[] =
    "05ce7c8aa180ceec05794cf5aac338b6ce34532bbca1cbc751e5e3c6a5a797a76310e2273ffb196ff4f3fc4d"
    "a7612c229e8c61244e3d0d6cfdbbf3ed6fec1ac8c62a4b760507f2e34674087258a154b8a56b4d57e56424f7"
    "9cdec29d3d5e6b473c080be7713040b25ed1c07872247f50637be8839aadafc441122ec22d6c99a1";
constexpr char kSignedMd5[] =
    "072f80b84be1e26acc807f7c07b738714f07bcde6982efe909d9f402b50bb1001f3770db2439a1a6d53493f6"
    "41718bda2353ec81575093aef5ec1ee39693b5f519838d5ba3b1028f9776f4db742dde6e938fad2e5d152fa6"
    "2c142be6a098d4d628712bcddc7147e4f5ed193bea690134c5aab8e7b1277e934525dbe0b850fc9a";
constexpr char kSignedSha1[] =
    "0306fb160581dc7a762da5306ffd6cf3f1a05eb2b945387718e19bc3336841f2b1fbbe42e2d334ffa5306208"
    "ff734d4478ce43ce1cba93f173b6e30e631f9832bb7cb6aee7e57ded8797c74d4b306781ebb925d4a1a94924"
    "95359a0bbab77649db1dc20635388b7f095e1cd72ed925849438cf6c00c5c36d28d9c07486618a9f";
constexpr char kSignedSha256[] =
    "030897203338306f3033c5b1ba99a798035ff967ba39a7841b2b0efa2f01dadfca897c046e9c562470ae6ad8"
    "620b7c69e37de6e52e8345b69ac94a959bfc1004c963148d95fa799cf3ffb41624b3e0336f458a4b4068e509"
    "59114fa9538ef08b2fafb62ba83636c7bb2cd4c5303a967bf374fece68c639b336bbbe0a2c6a2e70";
constexpr size_t kOctets = 128;

const Octets kAbc = {'a', 'b', 'c'};

SshPublicKeyOwner rsa_key() { return rsa(number(kN), SshMpInt(65537)); }

// private_power is what the owner of the key does with a block.
Octets private_power(Bytes block) {
  SshMontgomery modulus;
  EXPECT_TRUE(modulus.init(number(kN)));
  return padded(modulus.power(number(block), number(kD)), kOctets);
}

constexpr char kSha1[] = "1.3.14.3.2.26";
Der sha1_of_abc() { return unhex("a9993e364706816aba3e25717850c26c9cd0d89d"); }
Der digest_info(const Der &algorithm, const Der &digest) {
  return der::seq({algorithm, der::octets(digest)});
}
Der sha1_info() { return digest_info(der::seq({der::oid(kSha1), der::null()}), sha1_of_abc()); }

// padded_block puts octets behind the padding of a signature, or what else the case wants.
Octets padded_block(const Octets &body, uint8_t type = 1, uint8_t filler = 0xFF) {
  Octets block(kOctets - body.size(), filler);
  block[0] = 0;
  block[1] = type;
  block[block.size() - 1] = 0;
  block.insert(block.end(), body.begin(), body.end());
  return block;
}

// short_run is a block with only so many octets FF, and with what fills the rest behind the body.
Octets short_run(size_t run, const Octets &body, uint8_t filler) {
  Octets block = {0, 1};
  block.insert(block.end(), run, 0xFF);
  block.push_back(0);
  block.insert(block.end(), body.begin(), body.end());
  block.resize(kOctets, filler);
  return block;
}

SshMpInt power_of(const SshMpInt &base, const SshMpInt &exponent, const SshMpInt &modulus) {
  SshMontgomery m;
  EXPECT_TRUE(m.init(modulus));
  return m.power(base, exponent);
}

// cube_root gives the least number whose cube is not below `value`.
SshMpInt cube_root(const SshMpInt &value) {
  SshMpInt low(0), high = number(Octets(value.magnitude().size() / 3 + 2, 0xFF));
  while (low.compare(high) < 0) {
    SshMpInt middle = ssh_mp_add(low, high);
    middle.halve();
    if (ssh_mp_mul(middle, ssh_mp_mul(middle, middle)).compare(value) < 0) {
      low = ssh_mp_add(middle, SshMpInt(1));
    } else {
      high = middle;
    }
  }
  return low;
}

}  // namespace

TEST(RsaScheme, SignaturesOfAnIndependentSigner) {
  const SshPublicKeyOwner key = rsa_key();
  const struct {
    const char *scheme, *signature;
  } cases[] = {{nullptr, kSignedMd5},  // the key's own
               {"rsa-pkcs1-md5", kSignedMd5},
               {"rsa-pkcs1-sha1", kSignedSha1},
               {"rsa-nist-sha1", kSignedSha1},
               {"rsa-pkcs1-sha256", kSignedSha256}};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.scheme ? c.scheme : "null");
    const Octets good = unhex(c.signature);
    EXPECT_EQ(verify(key, c.scheme, kAbc, good), SSH_KEY_OK);
    EXPECT_EQ(verify(key, c.scheme, Octets{'a', 'b', 'd'}, good), SSH_KEY_BAD_SIGNATURE);
    EXPECT_EQ(verify(key, "rsa-pkcs1-sha512", kAbc, good), SSH_KEY_BAD_SIGNATURE);
    for (size_t at = 0; at < good.size(); at += 7) {
      Octets bad = good;
      bad[at] ^= 0x10;
      EXPECT_EQ(verify(key, c.scheme, kAbc, bad), SSH_KEY_BAD_SIGNATURE);
    }
  }
  EXPECT_EQ(
      ssh_public_key_verify_digest(key.get(), "rsa-pkcs1-sha1", sha1_of_abc(), unhex(kSignedSha1)),
      SSH_KEY_OK);
  // The key itself signs what nobody's digest can be.
  Octets cut = sha1_info();
  cut.pop_back();
  Octets digest = sha1_of_abc();
  digest.pop_back();
  EXPECT_EQ(ssh_public_key_verify_digest(key.get(), "rsa-pkcs1-sha1", digest,
                                         private_power(padded_block(cut))),
            SSH_KEY_BAD_SIGNATURE);
}

// One has one form of signature: the number below n, in as many octets as n has.
TEST(RsaScheme, TheSameValueInAnotherForm) {
  const SshPublicKeyOwner key = rsa_key();
  const Octets good = unhex(kSignedSha1);
  const SshMpInt value = number(good), n = number(kN);
  const Octets bad[] = {
      padded(ssh_mp_add(value, n), kOctets),
      padded(n, kOctets),
      padded(ssh_mp_sub(n, value), kOctets),
      join({{0}, good}),
      join({good, {0}}),
      Octets(good.begin(), good.end() - 1),
      Octets(good.begin() + 1, good.end()),
      Octets(kOctets, 0),
      padded(SshMpInt(1), kOctets),
      {},
  };
  ASSERT_EQ(bad[0].size(), kOctets);
  for (const Octets &signature : bad) {
    EXPECT_EQ(verify(key, "rsa-pkcs1-sha1", kAbc, signature), SSH_KEY_BAD_SIGNATURE)
        << hex(signature);
  }
}

TEST(RsaScheme, ASignatureKeepsItsLeadingZeros) {
  const SshPublicKeyOwner key = rsa_key();
  size_t seen = 0;
  for (unsigned i = 0; i < 100; ++i) {
    const Octets data = {static_cast<uint8_t>(i)};
    const Octets good = private_power(padded_block(data));
    if (good[0] != 0) continue;
    ++seen;
    EXPECT_EQ(verify(key, "rsa-pkcs1-none", data, good), SSH_KEY_OK);
    EXPECT_EQ(verify(key, "rsa-pkcs1-none", data, Octets(good.begin() + 1, good.end())),
              SSH_KEY_BAD_SIGNATURE);
  }
  EXPECT_GT(seen, 0u);
}

// Blocks that a lenient parser takes for the right one; each is signed with the key itself, so that
// only the comparison of blocks stands against it.
TEST(RsaScheme, ForgedBlocks) {
  const Der oid = der::oid(kSha1), digest = sha1_of_abc(), info = sha1_info();
  const Der algorithm = der::seq({oid, der::null()});
  Octets hole = padded_block(info);
  hole[50] = 0xFE;
  Octets zero_in_run = padded_block(info);
  zero_in_run[10] = 0;
  Octets first = padded_block(info);
  first[0] = 1;
  Octets flipped = info;
  flipped.back() ^= 1;
  const struct {
    const char *what;
    Octets block;
    SshKeyStatus status;
  } cases[] = {
      {"right", padded_block(info), SSH_KEY_OK},
      {"type 0", padded_block(info, 0), SSH_KEY_BAD_SIGNATURE},
      {"type 2", padded_block(info, 2), SSH_KEY_BAD_SIGNATURE},
      {"padding of zeros", padded_block(info, 1, 0), SSH_KEY_BAD_SIGNATURE},
      {"an octet in the padding", hole, SSH_KEY_BAD_SIGNATURE},
      {"the padding ends early", zero_in_run, SSH_KEY_BAD_SIGNATURE},
      {"first octet", first, SSH_KEY_BAD_SIGNATURE},
      {"zeros behind", short_run(8, info, 0), SSH_KEY_BAD_SIGNATURE},
      {"octets behind", short_run(8, info, 0x5A), SSH_KEY_BAD_SIGNATURE},
      {"short run, octets behind", short_run(7, info, 0xFF), SSH_KEY_BAD_SIGNATURE},
      {"one octet behind", padded_block(join({info, {0}})), SSH_KEY_BAD_SIGNATURE},
      {"no separator", padded_block(Octets(info.begin() + 1, info.end())), SSH_KEY_BAD_SIGNATURE},
      {"an octet behind in it", padded_block(der::seq({algorithm, der::octets(digest), {5, 0}})),
       SSH_KEY_BAD_SIGNATURE},
      {"no parameters", padded_block(digest_info(der::seq({oid}), digest)), SSH_KEY_BAD_SIGNATURE},
      {"other parameters", padded_block(digest_info(der::seq({oid, der::octets(digest)}), digest)),
       SSH_KEY_BAD_SIGNATURE},
      {"a length in two octets",
       padded_block(join({{0x30, 0x81, static_cast<uint8_t>(info.size() - 2)},
                          Octets(info.begin() + 2, info.end())})),
       SSH_KEY_BAD_SIGNATURE},
      {"an indefinite length",
       padded_block(der::indefinite(0x30, {algorithm, der::octets(digest)})),
       SSH_KEY_BAD_SIGNATURE},
      {"the digest alone", padded_block(digest), SSH_KEY_BAD_SIGNATURE},
      {"the data alone", padded_block(kAbc), SSH_KEY_BAD_SIGNATURE},
      {"another digest", padded_block(flipped), SSH_KEY_BAD_SIGNATURE},
      {"another algorithm",
       padded_block(digest_info(der::seq({der::oid("1.2.840.113549.2.5"), der::null()}), digest)),
       SSH_KEY_BAD_SIGNATURE},
  };
  const SshPublicKeyOwner key = rsa_key();
  for (const auto &c : cases) {
    ASSERT_EQ(c.block.size(), kOctets) << c.what;
    EXPECT_EQ(verify(key, "rsa-pkcs1-sha1", kAbc, private_power(c.block)), c.status) << c.what;
  }
}

// With e = 3 and 8 octets FF, free octets behind the digest let anybody choose a signature as a cube
// root, without a key.
TEST(RsaScheme, CubeRootForgery) {
  constexpr size_t kLong = 256;
  Octets lowest = {0, 1};
  lowest.insert(lowest.end(), 8, 0xFF);
  lowest = join({lowest, {0}, sha1_info()});
  const size_t fixed = lowest.size();
  lowest.resize(kLong, 0);
  const SshMpInt root = cube_root(number(lowest));
  const Octets cube = padded(ssh_mp_mul(root, ssh_mp_mul(root, root)), kLong);
  ASSERT_TRUE(
      std::equal(cube.begin(), cube.begin() + static_cast<ptrdiff_t>(fixed), lowest.begin()));
  const SshPublicKeyOwner key = rsa(number(Octets(kLong, 0xC5)), SshMpInt(3));
  EXPECT_EQ(verify(key, "rsa-pkcs1-sha1", kAbc, padded(root, kLong)), SSH_KEY_BAD_SIGNATURE);
  EXPECT_EQ(verify(key, "rsa-pkcs1-none", sha1_info(), padded(root, kLong)), SSH_KEY_BAD_SIGNATURE);
}

TEST(RsaScheme, DataItselfUpToWhatTheKeyHolds) {
  const SshPublicKeyOwner key = rsa_key();
  for (const size_t length : {0u, 1u, 36u, 116u, 117u}) {
    const Octets data(length, 0x3C);
    const Octets good = private_power(padded_block(data));
    EXPECT_EQ(verify(key, "rsa-pkcs1-none", data, good), SSH_KEY_OK) << length;
    EXPECT_EQ(verify(key, "rsa-pkcs1-none", Octets(length + 1, 0x3C), good),
              length == 117 ? SSH_KEY_TOO_LONG : SSH_KEY_BAD_SIGNATURE);
  }
  const Octets seven = padded_block(Octets(118, 0x3C));  // leaves a run of seven
  EXPECT_EQ(verify(key, "rsa-pkcs1-none", Octets(118, 0x3C), private_power(seven)),
            SSH_KEY_TOO_LONG);
  const SshPublicKeyOwner small = rsa(number(Octets(61, 0xC5)), SshMpInt(3));
  EXPECT_EQ(verify(small, "rsa-pkcs1-sha512", kAbc, Octets(61, 1)), SSH_KEY_TOO_LONG);
}

TEST(RsaScheme, EncryptionCanBeTakenBack) {
  const SshPublicKeyOwner key = rsa_key();
  SshNoise noise;
  Octets before;
  for (const size_t length : {0u, 1u, 16u, 116u, 117u}) {
    const Octets data(length, 0x77);
    for (int i = 0; i < 20; ++i) {
      SshBlock out;
      size_t size = 0;
      ASSERT_EQ(ssh_public_key_encrypt(key.get(), data, &noise, &out, &size), SSH_KEY_OK);
      ASSERT_EQ(size, kOctets);
      const Octets block = private_power({out.get(), size});
      EXPECT_EQ(block[0], 0);
      EXPECT_EQ(block[1], 2);
      const auto zero = std::find(block.begin() + 2, block.end(), 0);
      ASSERT_EQ(static_cast<size_t>(block.end() - zero), length + 1);
      EXPECT_TRUE(std::equal(data.begin(), data.end(), zero + 1));
      EXPECT_NE(block, before);
      before = block;
    }
  }
  SshBlock out;
  size_t size = 0;
  EXPECT_EQ(ssh_public_key_encrypt(key.get(), Octets(118, 1), &noise, &out, &size),
            SSH_KEY_TOO_LONG);
  SshNoise silent([](uint8_t *, size_t) { return false; });
  EXPECT_EQ(ssh_public_key_encrypt(key.get(), kAbc, &silent, &out, &size), SSH_KEY_NO_NOISE);
  EXPECT_EQ(out, nullptr);
}

// FIPS 186-2, appendix 5.
TEST(DsaScheme, TheExampleOfTheStandard) {
  const Group group = {number("8df2a494492276aa3d25759bb06869cbeac0d83afb8d0cf7cbb8324f0d7882e5"
                              "d0762fc5b7210eafc2e9adac32ab7aac49693dfbf83724c2ec0736ee31c80291"),
                       number("c773218c737ec8ee993b4f2ded30f48edace915f"),
                       number("626d027839ea0a13413163a55b4cb500299d5522956cefcb3bff10f399ce2c2e"
                              "71cb9de5fa24babf58e5b79521925c9cc42e9f6f464b088cc572af53e6d78802")};
  const SshMpInt y = number(
      "19131871d75b1612a819f29d78d1b0d7346f7aa77bb62a859bfd6c5675da9d21"
      "2d3a36ef1672ef660b8c7c255cc0ec74858fba33f44c06699630a76b030ee333");
  const Octets r = unhex("8bac1ab66410435cb7181f95b16ab97c92b341c0"),
               s = unhex("41e2345f1f56df2458f426d155b4ba2db6dcd8c8");
  const SshPublicKeyOwner key = dl(group, y);
  EXPECT_EQ(verify(key, nullptr, kAbc, join({r, s})), SSH_KEY_OK);
  EXPECT_EQ(verify(key, "dsa-nist-sha1", Octets{'a'}, join({r, s})), SSH_KEY_BAD_SIGNATURE);
  EXPECT_EQ(verify(key, "dsa-nist-sha256", kAbc, join({r, s})), SSH_KEY_BAD_SIGNATURE);
  EXPECT_EQ(ssh_public_key_verify_digest(key.get(), nullptr, sha1_of_abc(), join({r, s})),
            SSH_KEY_OK);
  EXPECT_EQ(
      ssh_public_key_verify_digest(key.get(), nullptr, join({sha1_of_abc(), {0}}), join({r, s})),
      SSH_KEY_BAD_SIGNATURE);
  const Octets zero(20, 0), q = padded(group.q, 20), all(20, 0xFF), zero_octet = {0};
  const Octets bad[] = {
      join({zero, s}),
      join({r, zero}),
      join({zero, zero}),
      join({q, s}),
      join({r, q}),
      join({all, s}),
      join({r, all}),
      join({s, r}),
      {},
      r,
      join({zero_octet, r, zero_octet, s}),
      join({r, s, zero_octet}),
      join({r, zero_octet, s}),
      join({r, padded(ssh_mp_sub(group.q, number(s)), 20)}),
      join({padded(ssh_mp_sub(group.q, number(r)), 20), s}),
  };
  for (const Octets &signature : bad) {
    EXPECT_EQ(verify(key, nullptr, kAbc, signature), SSH_KEY_BAD_SIGNATURE) << hex(signature);
  }
}

// A group small enough to try everything: p = 78 q + 1, and q of 7 bits takes 7 bits of a digest.
constexpr uint32_t kP = 7879, kQ = 101, kG = 170;
Group small_group() { return {SshMpInt(kP), SshMpInt(kQ), SshMpInt(kG)}; }
uint32_t small_power(uint32_t base, uint32_t exponent, uint32_t modulus) {
  uint32_t result = 1;
  for (uint32_t i = 0; i < exponent; ++i) result = result * base % modulus;
  return result;
}

TEST(DsaScheme, EverySignatureOfASmallGroup) {
  constexpr uint32_t kX = 75, kZ = 22;
  const uint32_t y = small_power(kG, kX, kP);
  const SshPublicKeyOwner key = dl(small_group(), SshMpInt(y));
  Octets digest(20, 0xA5);
  digest[0] = kZ << 1 | 1;  // whatever the bits behind the first seven are
  size_t good = 0;
  for (uint32_t r = 0; r < 128; ++r) {
    for (uint32_t s = 0; s < 128; ++s) {
      bool valid = r > 0 && r < kQ && s > 0 && s < kQ;
      if (valid) {
        const uint32_t w = small_power(s, kQ - 2, kQ);
        valid = small_power(kG, kZ * w % kQ, kP) * small_power(y, r * w % kQ, kP) % kP % kQ == r;
      }
      const Octets signature = {static_cast<uint8_t>(r), static_cast<uint8_t>(s)};
      ASSERT_EQ(ssh_public_key_verify_digest(key.get(), nullptr, digest, signature),
                valid ? SSH_KEY_OK : SSH_KEY_BAD_SIGNATURE)
          << r << " " << s;
      good += valid;
    }
  }
  EXPECT_GE(good, 90u);  // one s for nearly every k
}

TEST(DhScheme, EveryValueOfSmallGroups) {
  const auto expected = [](uint32_t p, uint32_t q, uint32_t y) {
    const bool inside = y > 1 && y < p - 1;
    const bool asked = q != 0 && q != (p - 1) / 2;
    return inside && (!asked || small_power(y, q, p) == 1);
  };
  const uint32_t groups[][3] = {{kP, kQ, kG}, {kP, 0, kG}, {kP, 13, 1000}, {23, 11, 2}, {23, 0, 5}};
  for (const auto &[p, q, g] : groups) {
    for (uint32_t y = 0; y < p + 2; ++y) {
      const auto key = dl({SshMpInt(p), SshMpInt(q), SshMpInt(g)}, SshMpInt(y));
      ASSERT_EQ(agree(key, Octets{1}), expected(p, q, y) ? SSH_KEY_OK : SSH_KEY_BAD_PEER_VALUE)
          << p << " " << q << " " << y;
    }
  }
  EXPECT_EQ(agree(dl(small_group(), SshMpInt(-170)), Octets{1}), SSH_KEY_BAD_PEER_VALUE);
}

// The result is as long as p, whatever zeros it begins with; the exponent may begin with zeros too.
TEST(DhScheme, EveryExponentOfASmallGroup) {
  const auto key = dl(small_group(), SshMpInt(kG));
  size_t short_results = 0;
  for (uint32_t x = 0; x < 2 * kQ; ++x) {
    const uint32_t wanted = small_power(kG, x, kP);
    short_results += wanted > 1 && wanted < 256;
    Octets found;
    ASSERT_EQ(agree(key, Octets{0, static_cast<uint8_t>(x)}, &found),
              wanted == 1 ? SSH_KEY_REFUSED : SSH_KEY_OK);
    if (wanted == 1) continue;
    ASSERT_EQ(found, padded(SshMpInt(wanted), 2));
    ASSERT_EQ(agree(key, Octets{static_cast<uint8_t>(x)}, &found), SSH_KEY_OK);
    ASSERT_EQ(found, padded(SshMpInt(wanted), 2));
  }
  EXPECT_GT(short_results, 0u);
  EXPECT_EQ(agree(key, {}), SSH_KEY_REFUSED);
  EXPECT_EQ(agree(key, Octets{0, 0, 1}), SSH_KEY_REFUSED);
  // Of order 2q: x = q gives p - 1.
  const auto twice = dl({SshMpInt(23), SshMpInt(11), SshMpInt(5)}, SshMpInt(5));
  EXPECT_EQ(agree(twice, Octets{11}), SSH_KEY_REFUSED);
}

TEST(DhScheme, TwoSidesOfNamedGroups) {
  for (const char *name : {"ietf-ike-grp-modp-768", "ietf-ike-grp-modp-1024",
                           "ietf-ike-grp-modp-1536", "ssh-dl-modp-group-1024bit-1"}) {
    SCOPED_TRACE(name);
    const SshPublicKeyOwner base = named(name, SshMpInt(2));
    SshMpInt p;
    ASSERT_EQ(ssh_public_key_get_info(base.get(), {{SSH_KEY_TAG_P, &p}}), SSH_KEY_OK);
    const Octets a(32, 0x6B), b(20, 0x93);
    Octets public_a, public_b, at_a, at_b;
    ASSERT_EQ(agree(base, a, &public_a), SSH_KEY_OK);
    ASSERT_EQ(agree(base, b, &public_b), SSH_KEY_OK);
    EXPECT_EQ(hex(public_a),
              hex(padded(power_of(SshMpInt(2), number(a), p), p.magnitude().size())));
    EXPECT_EQ(agree(named(name, number(public_a)), b, &at_b), SSH_KEY_OK);
    EXPECT_EQ(agree(named(name, number(public_b)), a, &at_a), SSH_KEY_OK);
    EXPECT_EQ(at_a, at_b);
    for (const SshMpInt &y :
         {SshMpInt(0), SshMpInt(1), ssh_mp_sub(p, SshMpInt(1)), p, ssh_mp_add(p, SshMpInt(2))}) {
      EXPECT_EQ(agree(named(name, y), a), SSH_KEY_BAD_PEER_VALUE);
    }
  }
}

TEST(Schemes, WhatAKeyDoesNotHave) {
  const SshPublicKeyOwner bare = rsa(number(kN), SshMpInt(65537), "if-modn");
  const SshPublicKeyOwner bare_dl = dl(small_group(), SshMpInt(kG), "dl-modp");
  const Octets signature = unhex(kSignedSha1);
  EXPECT_EQ(verify(bare, nullptr, kAbc, signature), SSH_KEY_NO_SCHEME);
  EXPECT_EQ(verify(bare, "rsa-pkcs1-sha1", kAbc, signature), SSH_KEY_OK);
  for (const char *unknown : {"rsa-pkcs1-md2", "rsa-pkcs1-md4", "rsa-nist-sha", "dsa-nist-sha",
                              "elgamal-none-md2", "plain", "", "rsa-pkcs1-sha1 "}) {
    EXPECT_EQ(verify(bare, unknown, kAbc, signature), SSH_KEY_NO_SCHEME) << unknown;
    EXPECT_EQ(verify(bare_dl, unknown, kAbc, signature), SSH_KEY_NO_SCHEME) << unknown;
  }
  EXPECT_EQ(verify(bare, "dsa-nist-sha1", kAbc, signature), SSH_KEY_REFUSED);
  EXPECT_EQ(verify(bare_dl, "rsa-pkcs1-sha256", kAbc, signature), SSH_KEY_REFUSED);
  SshNoise noise;
  SshBlock out;
  size_t length = 0;
  for (const SshPublicKeyOwner *key : {&bare, &bare_dl}) {
    EXPECT_EQ(ssh_public_key_encrypt(key->get(), kAbc, &noise, &out, &length), SSH_KEY_NO_SCHEME);
    EXPECT_EQ(agree(*key, Octets{5}), SSH_KEY_NO_SCHEME);
  }
  // What only a signature may name stays out of the names of keys, also of defined ones.
  const SshMpInt n = number(kN);
  SshPublicKey *made = nullptr;
  EXPECT_EQ(ssh_public_key_define(&made, "if-modn{sign{rsa-pkcs1-sha256}}",
                                  {{SSH_KEY_TAG_N, &n}, {SSH_KEY_TAG_E, &n}}),
            SSH_KEY_UNKNOWN_NAME);
  EXPECT_EQ(ssh_public_key_define(&made, "if-modn",
                                  {{SSH_KEY_TAG_SIGN, nullptr, "rsa-pkcs1-sha512"},
                                   {SSH_KEY_TAG_N, &n},
                                   {SSH_KEY_TAG_E, &n}}),
            SSH_KEY_UNKNOWN_NAME);
}

// ones gives a number of so many bits, all set.
SshMpInt ones(size_t bits) {
  Octets octets((bits + 7) / 8, 0xFF);
  octets[0] = static_cast<uint8_t>(0xFF >> ((8 - bits % 8) % 8));
  return number(octets);
}

SshMpInt negative(const SshMpInt &value) {
  SshMpInt out;
  out.set_magnitude(value.magnitude(), true);
  return out;
}

// Every answer is an error, and comes at once.
class AbsurdKeys : public testing::Test {
 protected:
  void TearDown() override {
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start_;
    EXPECT_LT(seconds.count(), 20) << "a few tenths of a second without sanitizers";
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

TEST_F(AbsurdKeys, Rsa) {
  const SshMpInt n = number(kN), e(65537), one(1), zero(0);
  const SshMpInt cases[][2] = {
      {zero, e},
      {one, e},
      {SshMpInt(2), e},
      {SshMpInt(3), e},
      {SshMpInt(65537), e},
      {ssh_mp_add(n, one), e},
      {negative(n), e},
      {ones(SSH_MONTGOMERY_BITS_MAX + 1), e},
      {ones(8000000), e},
      {n, zero},
      {n, one},
      {n, SshMpInt(2)},
      {n, SshMpInt(-3)},
      {n, n},
      {n, ones(1021)},
      {n, ones(8000000)},
      {ones(16384), ones(16383)},
      {ones(3073), ones(65)},
      {zero, zero},
      {one, one},
      {zero, one},
      {ones(8000000), ones(8000000)},
  };
  SshNoise noise;
  for (const auto &[modulus, exponent] : cases) {
    SCOPED_TRACE(testing::Message() << modulus.bits() << " " << exponent.bits());
    const SshPublicKeyOwner key = rsa(modulus, exponent);
    SshBlock out;
    size_t length = 0;
    const Octets signature(modulus.magnitude().size(), 0);
    EXPECT_EQ(verify(key, nullptr, kAbc, signature), SSH_KEY_ABSURD);
    EXPECT_EQ(verify(key, "rsa-pkcs1-none", kAbc, {}), SSH_KEY_ABSURD);
    EXPECT_EQ(ssh_public_key_encrypt(key.get(), kAbc, &noise, &out, &length), SSH_KEY_ABSURD);
  }
  // The longest ones that are no absurdity yet.
  const SshMpInt longest[][2] = {{ones(16384), ones(63)}, {ones(3072), ones(3071)}};
  for (const auto &[modulus, exponent] : longest) {
    const size_t octets = modulus.magnitude().size();
    EXPECT_EQ(verify(rsa(modulus, exponent), nullptr, kAbc, Octets(octets, 0x7F)),
              SSH_KEY_BAD_SIGNATURE);
  }
  for (const uint32_t tiny : {5u, 7u, 255u, 0x7FFFFFFFu}) {
    SshBlock out;
    size_t length = 0;
    const SshPublicKeyOwner key = rsa(SshMpInt(tiny), SshMpInt(3));
    EXPECT_EQ(verify(key, "rsa-pkcs1-none", {}, Octets(1, 1)), SSH_KEY_TOO_LONG);
    EXPECT_EQ(ssh_public_key_encrypt(key.get(), {}, &noise, &out, &length), SSH_KEY_TOO_LONG);
  }
}

TEST_F(AbsurdKeys, DiscreteLogarithms) {
  constexpr SshKeyStatus kAbsurd = SSH_KEY_ABSURD, kPeer = SSH_KEY_BAD_PEER_VALUE,
                         kBad = SSH_KEY_BAD_SIGNATURE, kGood = SSH_KEY_OK;
  const SshMpInt p(kP), q(kQ), g(kG), zero(0), one(1), top(kP - 1);
  const SshMpInt huge = ones(8000000), above = ones(SSH_MONTGOMERY_BITS_MAX + 1);
  const struct {
    SshMpInt p, q, g, y;
    SshKeyStatus dsa, dh;
  } cases[] = {
      {p, q, g, g, kBad, kGood},
      {zero, q, g, g, kAbsurd, kAbsurd},
      {one, q, g, g, kAbsurd, kAbsurd},
      {SshMpInt(2), one, one, one, kAbsurd, kAbsurd},
      {SshMpInt(3), one, one, one, kAbsurd, kAbsurd},
      {SshMpInt(kP + 1), q, g, g, kAbsurd, kAbsurd},
      {negative(p), q, g, g, kAbsurd, kAbsurd},
      {above, q, g, g, kAbsurd, kAbsurd},
      {huge, huge, huge, huge, kAbsurd, kAbsurd},
      {p, zero, g, g, kAbsurd, kGood},
      {p, one, g, g, kAbsurd, kAbsurd},
      {p, SshMpInt(78), g, g, kAbsurd, kAbsurd},
      {p, SshMpInt(-101), g, g, kAbsurd, kAbsurd},
      {p, p, g, g, kAbsurd, kAbsurd},
      {p, huge, g, g, kAbsurd, kAbsurd},
      {p, SshMpInt(103), g, g, kBad, kAbsurd},  // does not divide p - 1
      {ones(4096), ones(513), g, g, kAbsurd, kAbsurd},
      {p, q, zero, g, kAbsurd, kAbsurd},
      {p, q, one, g, kAbsurd, kAbsurd},
      {p, q, p, g, kAbsurd, kAbsurd},
      {p, q, SshMpInt(-170), g, kAbsurd, kAbsurd},
      {p, q, huge, g, kAbsurd, kAbsurd},
      {p, q, top, g, kBad, kAbsurd},
      {p, q, g, zero, kAbsurd, kPeer},
      {p, q, g, one, kAbsurd, kPeer},
      {p, q, g, p, kAbsurd, kPeer},
      {p, q, g, huge, kAbsurd, kPeer},
      {p, q, g, SshMpInt(-170), kAbsurd, kPeer},
      {p, q, g, top, kBad, kPeer},
      {zero, zero, zero, zero, kAbsurd, kAbsurd},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::Message() << &c - cases);
    const SshPublicKeyOwner key = dl({c.p, c.q, c.g}, c.y);
    const Octets signature(2 * c.q.magnitude().size(), 1);
    EXPECT_EQ(verify(key, nullptr, Octets{'z'}, signature), c.dsa);
    EXPECT_EQ(agree(key, Octets{3}), c.dh);
  }
  // The largest that is computed with.
  const Group largest = {ones(SSH_MONTGOMERY_BITS_MAX), ones(512), g};
  const Octets signature = join({Octets(64, 0x5D), padded(SshMpInt(2), 64)});
  EXPECT_EQ(verify(dl(largest, g), nullptr, kAbc, signature), SSH_KEY_BAD_SIGNATURE);
}
