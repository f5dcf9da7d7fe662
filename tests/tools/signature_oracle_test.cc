// Signatures by ECDSA, EdDSA and RSASSA-PSS: made by OpenSSL, then changed; and keys and parameters
// that cannot have made them, one of each reason for which they are refused.
#include "kwpki/verify/signature.h"

#include <gmock/gmock.h>
#include <openssl/core_names.h>

#include "support/profile.h"
#include "tools/openssl_samples.h"

namespace {

using namespace openssl_samples;
using testing::HasSubstr;

constexpr char kPss[] = "1.2.840.113549.1.1.10", kMgf1[] = "1.2.840.113549.1.1.8",
               kSha1[] = "1.3.14.3.2.26", kSha256[] = "2.16.840.1.101.3.4.2.1",
               kSha384[] = "2.16.840.1.101.3.4.2.2", kEc[] = "1.2.840.10045.2.1",
               kEcdsaSha256[] = "1.2.840.10045.4.3.2";

Der hash_id(const char *id) { return der::seq({der::oid(id), der::null()}); }
Der mgf1(const char *hash) { return der::seq({der::oid(kMgf1), hash_id(hash)}); }
Der pss_parameters(const char *hash, const char *mask, int64_t salt) {
  return der::seq(
      {der::wrap(0, hash_id(hash)), der::wrap(1, mgf1(mask)), der::wrap(2, der::integer(salt))});
}
Der pss(const Der &parameters) { return der::seq({der::oid(kPss), parameters}); }
Der plain(const char *id) { return der::seq({der::oid(id)}); }
Der whole(const der::Element &element) { return {element.whole.begin(), element.whole.end()}; }

Der info_of(const Key &key) {
  const std::string info = der_of<i2d_PUBKEY>(key.get());
  return {info.begin(), info.end()};
}

// Scheme is a key with what it signs by.
struct Scheme {
  Der algorithm;
  Key key;
  const EVP_MD *hash = nullptr, *mask = nullptr;
  int salt = 0;

  [[nodiscard]] Der sign(const std::string &data = "what is signed") const {
    const Owner<EVP_MD_CTX, EVP_MD_CTX_free> context(EVP_MD_CTX_new());
    EVP_PKEY_CTX *padding = nullptr;
    EXPECT_EQ(EVP_DigestSignInit(context.get(), &padding, hash, nullptr, key.get()), 1);
    if (mask) {
      EVP_PKEY_CTX_set_rsa_padding(padding, RSA_PKCS1_PSS_PADDING);
      EVP_PKEY_CTX_set_rsa_pss_saltlen(padding, salt);
      EVP_PKEY_CTX_set_rsa_mgf1_md(padding, mask);
    }
    const Bytes octets = ssh_text_bytes(data);
    Der signature(1024);
    size_t length = signature.size();
    EXPECT_EQ(
        EVP_DigestSign(context.get(), signature.data(), &length, octets.data(), octets.size()), 1);
    signature.resize(length);
    return signature;
  }
};

kwpki::SignatureAnswer check(const Der &algorithm, const Der &key, const Der &signature) {
  const ProfileScope modern(SSH_X509_MODERN);
  const sample::Cert cert(sample::with(&sample::CertParts::key, key));
  EXPECT_TRUE(cert) << cert->refusal.structure;
  return kwpki::check_signature(algorithm, cert->key, ssh_text_bytes("what is signed"), signature);
}

TEST(Signature, OneFormOfEachAndNoOther) {
  const auto rsa = [] { return Key(EVP_RSA_gen(1031)); };
  const Scheme schemes[] = {
      {plain("1.2.840.10045.4.1"), Key(EVP_EC_gen("P-256")), EVP_sha1()},
      {plain(kEcdsaSha256), Key(EVP_EC_gen("P-256")), EVP_sha256()},
      {plain("1.2.840.10045.4.3.3"), Key(EVP_EC_gen("brainpoolP256r1")), EVP_sha384()},
      {plain("1.2.840.10045.4.3.4"), Key(EVP_EC_gen("P-521")), EVP_sha512()},
      {plain("1.3.101.112"), Key(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"))},
      {plain("1.3.101.113"), Key(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED448"))},
      {pss(der::seq({})), rsa(), EVP_sha1(), EVP_sha1(), 20},
      {pss(pss_parameters(kSha384, kSha1, 0)), rsa(), EVP_sha384(), EVP_sha1(), 0},
      {pss(pss_parameters(kSha256, kSha256, 32)), rsa(), EVP_sha256(), EVP_sha256(), 32},
  };
  for (const Scheme &scheme : schemes) {
    SCOPED_TRACE(hex(scheme.algorithm));
    const Der info = info_of(scheme.key), good = scheme.sign();
    const kwpki::SignatureAnswer answer = check(scheme.algorithm, info, good);
    EXPECT_EQ(answer.verdict, SSH_X509_VALID) << answer.why;
    std::vector<Der> others = {{},
                               Der(good.size(), 0),
                               Der(good.size(), 0xFF),
                               der::join({good, {0}}),
                               {good.begin(), good.end() - 1},
                               scheme.sign("something else")};
    others.push_back(good);
    others.back().back() ^= 1;
    if (scheme.hash && !scheme.mask) {  // the forms of r and s that a lenient reader takes
      const auto pair = der::children(der::children(good)[0].content);
      const Der r = whole(pair[0]), s = whole(pair[1]);
      const Der longer = der::tlv(2, der::join({{0}, {r.begin() + 2, r.end()}}));
      for (const Der &other : {der::seq({r, s, der::null()}), der::seq({r}), der::seq({longer, s}),
                               der::indefinite(0x30, {r, s})})
        others.push_back(other);
    }
    for (const Der &other : others)
      EXPECT_EQ(check(scheme.algorithm, info, other).verdict, SSH_X509_INVALID) << hex(other);
  }
}

TEST(Signature, WhatCannotHaveMadeIt) {
  const Der ecdsa = plain(kEcdsaSha256), sha256_32 = pss_parameters(kSha256, kSha256, 32),
            rsa = pss(sha256_32);
  const Scheme ec_scheme{ecdsa, Key(EVP_EC_gen("P-256")), EVP_sha256()},
      rsa_scheme{rsa, Key(EVP_RSA_gen(1024)), EVP_sha256(), EVP_sha256(), 32};
  const Der ec = info_of(ec_scheme.key), rsa_key = info_of(rsa_scheme.key),
            ec_good = ec_scheme.sign(), rsa_good = rsa_scheme.sign(),
            curve = der::oid("1.2.840.10045.3.1.7");
  const Bytes bits = der::children(der::children(ec)[0].content)[1].content.subspan(1);
  const Der point(bits.begin(), bits.end());
  const auto on_curve = [&](const Der &parameters, const Der &value) {
    return sample::key_info(parameters, value, kEc);
  };
  const auto first = [&](int form, size_t length) {
    Der other(point.begin(), point.begin() + static_cast<ptrdiff_t>(length));
    other[0] = static_cast<uint8_t>(form);
    return on_curve(curve, other);
  };
  const int odd = point.back() & 1;
  Der beside = point;
  beside.back() ^= 1;
  const Key explicit_key(EVP_EC_gen("P-256"));
  EVP_PKEY_set_utf8_string_param(explicit_key.get(), OSSL_PKEY_PARAM_EC_ENCODING, "explicit");
  const auto numbers =
      der::children(der::children(der::children(rsa_key)[0].content)[1].content.subspan(1));
  const Der n = whole(der::children(numbers[0].content)[0]), e = der::integer(65537);
  Der even = n;
  even.back() ^= 1;
  const auto rsa_of = [](const Der &modulus, const Der &exponent) {
    return sample::key_info(der::null(), der::seq({modulus, exponent}), "1.2.840.113549.1.1.1");
  };
  const auto alone = [&](const Der &parameters) {
    return sample::key_info(parameters, der::seq({n, e}), kPss);
  };
  const Der salt = der::wrap(2, der::integer(32)), hash = der::wrap(0, hash_id(kSha256)),
            mask = der::wrap(1, mgf1(kSha256));
  const auto salted = [&](int64_t length) {
    return pss(der::seq({hash, mask, der::wrap(2, der::integer(length))}));
  };
  const auto trailed = [&](int64_t field) {
    return pss(der::seq({hash, mask, salt, der::wrap(3, der::integer(field))}));
  };
  const auto masked = [&](const Der &function) {
    return pss(der::seq({hash, der::wrap(1, function), salt}));
  };
  constexpr auto kFits = SSH_X509_VALID, kNot = SSH_X509_KEY_NOT_FIT, kBad = SSH_X509_INVALID,
                 kNotSupported = SSH_X509_SCHEME_NOT_SUPPORTED;
  const struct {
    Der algorithm, key;
    SshX509Verdict verdict;
    const char *why;
  } rows[] = {
      {ecdsa, first(2 + odd, 33), kFits, ""},
      {ecdsa, first(6 + odd, 65), kNot, "form"},
      {ecdsa, first(4, 33), kNot, "form"},
      {ecdsa, on_curve(curve, beside), kNot, "not on the curve"},
      {ecdsa, info_of(explicit_key), kNot, "no name"},
      {ecdsa, on_curve(der::oid("1.2.3"), point), kNotSupported, "curve 1.2.3"},
      {ecdsa, rsa_key, kNot, "type RSA"},
      {ecdsa, sample::key_info(curve, point, "1.3.132.1.12"), kNot, "type unknown"},
      {rsa, ec, kNot, "type EC"},
      {rsa, alone({}), kFits, ""},
      {rsa, alone(sha256_32), kFits, ""},
      {rsa, alone(pss_parameters(kSha256, kSha256, 33)), kNot, "longer salts"},
      {rsa, alone(pss_parameters(kSha1, kSha256, 20)), kNot, "for sha1 alone"},
      {rsa, alone(pss_parameters(kSha256, kSha1, 20)), kNot, "for sha1 alone"},
      {rsa, alone(der::null()), kNot, "cannot be read"},
      {rsa, rsa_of(n, der::integer(1)), kNot, "no RSA key"},
      {rsa, rsa_of(n, der::integer(65536)), kNot, "no RSA key"},
      {rsa, rsa_of(even, e), kNot, "no RSA key"},
      {rsa, rsa_of(e, n), kNot, "no RSA key"},
      {rsa, info_of(Key(EVP_RSA_gen(520))), kNot, "too short"},
      {salted(95), rsa_key, kNot, "too short"},
      {salted(31), rsa_key, kBad, ""},
      {salted(1 << 20), rsa_key, kBad, "parameters"},
      {trailed(1), rsa_key, kFits, ""},
      {trailed(2), rsa_key, kBad, "parameters"},
      {pss(der::seq({hash, mask, salt, der::null()})), rsa_key, kBad, "parameters"},
      {pss(der::seq({mask, salt})), rsa_key, kBad, ""},  // of SHA-1
      {pss(pss_parameters("1.2.3", kSha256, 32)), rsa_key, kNotSupported, "hash function 1.2.3"},
      {masked(mgf1("1.2.3")), rsa_key, kNotSupported, "hash function 1.2.3"},
      {masked(der::seq({der::oid("1.2.3"), hash_id(kSha256)})), rsa_key, kNotSupported, "mask"},
  };
  for (const auto &row : rows) {
    const Der &good = row.algorithm == ecdsa ? ec_good : rsa_good;
    const kwpki::SignatureAnswer answer = check(row.algorithm, row.key, good);
    EXPECT_EQ(answer.verdict, row.verdict) << hex(row.algorithm) << hex(row.key) << answer.why;
    EXPECT_THAT(answer.why, HasSubstr(row.why)) << hex(row.algorithm) << hex(row.key);
  }
  EXPECT_EQ(kwpki::weak_hash("rsa-pss", pss(der::seq({}))), "SHA-1") << "by default";
  EXPECT_EQ(kwpki::weak_hash("rsa-pss", rsa), "");
}

}  // namespace
