// Signatures by ECDSA, EdDSA and RSASSA-PSS: made by OpenSSL, then put into every form that is not
// theirs; and keys that cannot have made them.
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
               kSha384[] = "2.16.840.1.101.3.4.2.2", kSha512[] = "2.16.840.1.101.3.4.2.3",
               kEcdsaSha256[] = "1.2.840.10045.4.3.2", kEd25519[] = "1.3.101.112",
               kEc[] = "1.2.840.10045.2.1", kP256[] = "1.2.840.10045.3.1.7";
const std::string kData = "what is signed";

Der hash_id(const char *id) { return der::seq({der::oid(id), der::null()}); }
Der mgf1(const char *hash) { return der::seq({der::oid(kMgf1), hash_id(hash)}); }
Der pss_parameters(const char *hash, const char *mask, int64_t salt) {
  return der::seq(
      {der::wrap(0, hash_id(hash)), der::wrap(1, mgf1(mask)), der::wrap(2, der::integer(salt))});
}
Der pss(const Der &parameters) { return der::seq({der::oid(kPss), parameters}); }
Der plain(const char *id) { return der::seq({der::oid(id)}); }

Der info_of(const Key &key) {
  Der der(static_cast<size_t>(i2d_PUBKEY(key.get(), nullptr)));
  uint8_t *at = der.data();
  i2d_PUBKEY(key.get(), &at);
  return der;
}

// Scheme is a key with what it signs by.
struct Scheme {
  const char *name;
  Der algorithm;
  Key key;
  const EVP_MD *hash = nullptr, *mask = nullptr;
  int salt = 0;

  [[nodiscard]] Der sign(const std::string &data = kData) const {
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

std::vector<Scheme> schemes() {
  const auto ecdsa = [](const char *id, const char *curve, const EVP_MD *hash) {
    return Scheme{curve, plain(id), Key(EVP_EC_gen(curve)), hash};
  };
  const auto edwards = [](const char *id, const char *type) {
    return Scheme{type, plain(id), Key(EVP_PKEY_Q_keygen(nullptr, nullptr, type))};
  };
  const auto rsa = [](const Der &parameters, const EVP_MD *hash, const EVP_MD *mask, int salt) {
    return Scheme{"RSA", pss(parameters), Key(EVP_RSA_gen(1031)), hash, mask, salt};
  };
  std::vector<Scheme> all;
  all.push_back(ecdsa("1.2.840.10045.4.1", "P-256", EVP_sha1()));
  all.push_back(ecdsa("1.2.840.10045.4.3.1", "P-224", EVP_sha224()));
  all.push_back(ecdsa(kEcdsaSha256, "P-256", EVP_sha256()));
  all.push_back(ecdsa("1.2.840.10045.4.3.3", "brainpoolP256r1", EVP_sha384()));
  all.push_back(ecdsa("1.2.840.10045.4.3.4", "P-521", EVP_sha512()));
  all.push_back(edwards(kEd25519, "ED25519"));
  all.push_back(edwards("1.3.101.113", "ED448"));
  all.push_back(rsa(der::seq({}), EVP_sha1(), EVP_sha1(), 20));
  all.push_back(rsa(pss_parameters(kSha256, kSha256, 32), EVP_sha256(), EVP_sha256(), 32));
  all.push_back(rsa(pss_parameters(kSha384, kSha1, 0), EVP_sha384(), EVP_sha1(), 0));
  all.push_back(rsa(pss_parameters(kSha512, kSha512, 62), EVP_sha512(), EVP_sha512(), 62));
  return all;
}

kwpki::SignatureAnswer check(const Der &algorithm, const Der &key, const Der &signature) {
  const ProfileScope modern(SSH_X509_MODERN);
  const sample::Cert cert(sample::with(&sample::CertParts::key, key));
  EXPECT_TRUE(cert) << cert->refusal.structure;
  return kwpki::check_signature(algorithm, cert->key, ssh_text_bytes(kData), signature);
}

using Number = Owner<BIGNUM, BN_free>;

// sum adds to bytes, big-endian, what a decimal text says, in as many bytes or one more.
Der sum(Bytes octets, const char *addend) {
  BIGNUM *value = nullptr;
  BN_dec2bn(&value, addend);
  const Number other(value),
      number(BN_bin2bn(octets.data(), static_cast<int>(octets.size()), nullptr));
  BN_add(number.get(), number.get(), other.get());
  Der out(static_cast<size_t>(BN_num_bytes(number.get())));
  BN_bn2bin(number.get(), out.data());
  return out;
}

std::string order_of(const Key &key) {
  BIGNUM *order = nullptr;
  EVP_PKEY_get_bn_param(key.get(), OSSL_PKEY_PARAM_EC_ORDER, &order);
  const Number owner(order);
  char *text = BN_bn2dec(order);
  const std::string copy = text;
  OPENSSL_free(text);
  return copy;
}

// The forms of r and s that a lenient reader takes, and the numbers that no signature has.
std::vector<Der> other_pairs(const Der &good, const Key &key) {
  const auto pair = der::children(der::children(good)[0].content);
  const auto whole = [](const der::Element &e) { return Der(e.whole.begin(), e.whole.end()); };
  const Der r = whole(pair[0]), s = whole(pair[1]), zero = der::integer(0);
  const std::string order = order_of(key);
  const Der n = der::natural(sum({}, order.c_str())),
            longer = der::tlv(2, der::join({{0}, {r.begin() + 2, r.end()}}));
  Der negative = r;
  negative[2] |= 0x80;
  const Bytes content = der::children(good)[0].content;
  const Der long_form = der::join(
      {{0x30, 0x82, 0, static_cast<uint8_t>(content.size())}, {content.begin(), content.end()}});
  return {der::seq({zero, s}),
          der::seq({r, zero}),
          der::seq({n, s}),
          der::seq({r, n}),
          der::seq({der::natural(sum(pair[0].content, order.c_str())), s}),
          der::seq({r, der::natural(sum(pair[1].content, order.c_str()))}),
          der::seq({longer, s}),
          der::seq({r, s, der::null()}),
          der::seq({s, r}),
          der::seq({r}),
          der::indefinite(0x30, {r, s}),
          der::seq({negative, s}),
          long_form};
}

// The second half is a number below the order, little-endian: neither above it nor with high bits.
std::vector<Der> other_scalars(const Der &good, const char *order) {
  const auto half = static_cast<ptrdiff_t>(good.size() / 2);
  std::vector<Der> all;
  const Der scalar(good.rbegin(), good.rbegin() + half);
  Der above = sum(scalar, order);
  above.insert(above.begin(), scalar.size() - above.size(), 0);
  all.push_back(der::join({{good.begin(), good.begin() + half}, {above.rbegin(), above.rend()}}));
  for (const unsigned bit : {0x80u, 0x40u, 0x20u}) {
    all.push_back(good);
    all.back().back() = static_cast<uint8_t>(good.back() ^ bit);
  }
  return all;
}

std::vector<Der> other_forms(const Scheme &scheme, const Der &good) {
  std::vector<Der> all;
  const std::string name = scheme.name;
  if (name == "ED25519") {
    all = other_scalars(
        good, "7237005577332262213973186563042994240857116359379907606001950938285454250989");
  } else if (name == "ED448") {
    all = other_scalars(
        good,
        "181709681073901722637330951972001133588410340171829515070372549795146003961539585716195755"
        "291692375963310293709091662304773755859649779");
  } else if (name != "RSA") {
    all = other_pairs(good, scheme.key);
  }
  for (const size_t at : {size_t{0}, good.size() / 2, good.size() - 1}) {
    all.push_back(good);
    all.back()[at] ^= 1;
  }
  all.push_back(der::join({good, {0}}));
  all.push_back(der::join({{0}, good}));
  all.emplace_back(good.begin(), good.end() - 1);
  all.emplace_back(good.begin() + 1, good.end());
  all.emplace_back();
  all.emplace_back(good.size(), 0);
  all.emplace_back(good.size(), 0xFF);
  all.push_back(scheme.sign("something else"));
  return all;
}

TEST(Signature, OneFormOfEachAndNoOther) {
  const std::vector<Scheme> all = schemes();
  for (const Scheme &scheme : all) {
    SCOPED_TRACE(testing::Message() << scheme.name << " " << hex(scheme.algorithm));
    const Der info = info_of(scheme.key), good = scheme.sign();
    const kwpki::SignatureAnswer answer = check(scheme.algorithm, info, good);
    EXPECT_EQ(answer.verdict, SSH_X509_VALID) << answer.why;
    for (const Der &other : other_forms(scheme, good)) {
      EXPECT_EQ(check(scheme.algorithm, info, other).verdict, SSH_X509_INVALID) << hex(other);
    }
    // What another scheme's identifier says of it: that is another scheme of this key, or none.
    for (const Scheme &other : all) {
      if (other.algorithm == scheme.algorithm) continue;
      const bool both_rsa = scheme.mask && other.mask;
      const bool both_ecdsa = scheme.hash && other.hash && !scheme.mask && !other.mask;
      EXPECT_EQ(check(other.algorithm, info, good).verdict,
                both_rsa || both_ecdsa ? SSH_X509_INVALID : SSH_X509_KEY_NOT_FIT)
          << hex(other.algorithm);
    }
  }
}

TEST(Signature, KeysThatCannotHaveMadeIt) {
  const Scheme ec{"EC", plain(kEcdsaSha256), Key(EVP_EC_gen("P-256")), EVP_sha256()};
  const Scheme rsa{"RSA",
                   pss(pss_parameters(kSha256, kSha256, 32)),
                   Key(EVP_RSA_gen(1024)),
                   EVP_sha256(),
                   EVP_sha256(),
                   32};
  const Der ec_info = info_of(ec.key), rsa_info = info_of(rsa.key), ec_good = ec.sign(),
            rsa_good = rsa.sign(), curve = der::oid(kP256);
  const Bytes bits = der::children(der::children(ec_info)[0].content)[1].content.subspan(1);
  const Der point(bits.begin(), bits.end());
  const auto on_curve = [&](const Der &parameters, const Der &value) {
    return sample::key_info(parameters, value, kEc);
  };
  const auto first = [&](uint8_t form, size_t length) {
    Der other(point.begin(), point.begin() + static_cast<ptrdiff_t>(length));
    other[0] = form;
    return on_curve(curve, other);
  };
  const auto odd = static_cast<uint8_t>(point.back() & 1);
  Der beside = point;
  beside.back() ^= 1;
  const Key explicit_key(EVP_EC_gen("P-256"));
  EVP_PKEY_set_utf8_string_param(explicit_key.get(), OSSL_PKEY_PARAM_EC_ENCODING, "explicit");
  const auto numbers =
      der::children(der::children(der::children(rsa_info)[0].content)[1].content.subspan(1));
  const auto pair = der::children(numbers[0].content);
  const Der n(pair[0].whole.begin(), pair[0].whole.end()), e = der::integer(65537);
  Der even = n;
  even.back() ^= 1;
  const auto rsa_of = [](const Der &parameters, const Der &modulus, const Der &exponent,
                         const char *id = "1.2.840.113549.1.1.1") {
    return sample::key_info(parameters, der::seq({modulus, exponent}), id);
  };
  const auto alone = [&](const Der &parameters) { return rsa_of(parameters, n, e, kPss); };
  constexpr auto kFits = SSH_X509_VALID, kNot = SSH_X509_KEY_NOT_FIT,
                 kNotSupported = SSH_X509_SCHEME_NOT_SUPPORTED;
  const struct {
    Der key;
    SshX509Verdict verdict;
    const char *why;
  } rows[] = {
      {ec_info, kFits, ""},
      {first(static_cast<uint8_t>(2 + odd), 33), kFits, ""},
      {first(static_cast<uint8_t>(6 + odd), 65), kNot, "form"},
      {first(4, 64), kNot, "form"},
      {first(4, 33), kNot, "form"},
      {first(0, 1), kNot, "form"},
      {on_curve(curve, beside), kNot, "not on the curve"},
      {on_curve(der::null(), point), kNot, "no name"},
      {on_curve({}, point), kNot, "no name"},
      {info_of(explicit_key), kNot, "no name"},
      {on_curve(der::oid("1.2.3"), point), kNotSupported, "curve 1.2.3"},
      {on_curve(der::oid("1.3.36.3.3.2.8.1.1.7"), point), kNot, "not on the curve"},
      {rsa_info, kNot, "type RSA"},
      {info_of(Key(EVP_PKEY_Q_keygen(nullptr, nullptr, "X25519"))), kNot, "type X25519"},
      {sample::key_info(curve, point, "1.3.132.1.12"), kNot, "type unknown"},
  };
  for (const auto &row : rows) {
    const kwpki::SignatureAnswer answer = check(ec.algorithm, row.key, ec_good);
    EXPECT_EQ(answer.verdict, row.verdict) << hex(row.key) << answer.why;
    EXPECT_THAT(answer.why, HasSubstr(row.why)) << hex(row.key);
  }
  const struct {
    Der key;
    SshX509Verdict verdict;
    const char *why;
  } rsa_rows[] = {
      {alone({}), kFits, ""},
      {alone(pss_parameters(kSha256, kSha256, 32)), kFits, ""},
      {alone(pss_parameters(kSha256, kSha256, 20)), kFits, ""},
      {alone(pss_parameters(kSha256, kSha256, 33)), kNot, "longer salts"},
      {alone(pss_parameters(kSha1, kSha256, 20)), kNot, "for sha1 alone"},
      {alone(pss_parameters(kSha256, kSha1, 20)), kNot, "for sha1 alone"},
      {alone(der::seq({})), kNot, "for sha1 alone"},
      {alone(der::null()), kNot, "cannot be read"},
      {rsa_of(der::null(), n, der::integer(1)), kNot, "no RSA key"},
      {rsa_of(der::null(), n, der::integer(65536)), kNot, "no RSA key"},
      {rsa_of(der::null(), even, e), kNot, "no RSA key"},
      {rsa_of(der::null(), e, n), kNot, "no RSA key"},
      {info_of(Key(EVP_RSA_gen(520))), kNot, "too short"},
      {ec_info, kNot, "type EC"},
  };
  for (const auto &row : rsa_rows) {
    const kwpki::SignatureAnswer answer = check(rsa.algorithm, row.key, rsa_good);
    EXPECT_EQ(answer.verdict, row.verdict) << hex(row.key) << answer.why;
    EXPECT_THAT(answer.why, HasSubstr(row.why)) << hex(row.key);
  }
}

TEST(Signature, ParametersOfPss) {
  const Scheme scheme{"RSA", {}, Key(EVP_RSA_gen(1024)), EVP_sha256(), EVP_sha256(), 32};
  const Der info = info_of(scheme.key), good = scheme.sign(), salt = der::wrap(2, der::integer(32)),
            hash = der::wrap(0, hash_id(kSha256)), mask = der::wrap(1, mgf1(kSha256));
  const struct {
    Der parameters;
    SshX509Verdict verdict;
  } rows[] = {
      {der::seq({hash, mask, salt}), SSH_X509_VALID},
      {der::seq({hash, mask, salt, der::wrap(3, der::integer(1))}), SSH_X509_VALID},
      {der::seq({hash, mask, salt, der::wrap(3, der::integer(2))}), SSH_X509_INVALID},
      {der::seq({hash, mask}), SSH_X509_INVALID},
      {der::seq({hash, mask, der::wrap(2, der::integer(31))}), SSH_X509_INVALID},
      {der::seq({hash, mask, der::wrap(2, der::integer(33))}), SSH_X509_INVALID},
      {der::seq({hash, mask, der::wrap(2, der::integer(-1))}), SSH_X509_INVALID},
      {der::seq({hash, mask, der::wrap(2, der::integer(1 << 20))}), SSH_X509_INVALID},
      {der::seq({hash, mask, der::wrap(2, der::integer(95))}), SSH_X509_KEY_NOT_FIT},
      {der::seq({hash, salt}), SSH_X509_INVALID},
      {der::seq({mask, salt}), SSH_X509_INVALID},
      {der::seq({hash, mask, salt, der::null()}), SSH_X509_INVALID},
      {der::null(), SSH_X509_INVALID},
      {Der(), SSH_X509_INVALID},
      {der::seq({der::wrap(0, hash_id("1.2.3")), mask, salt}), SSH_X509_SCHEME_NOT_SUPPORTED},
      {der::seq({hash, der::wrap(1, mgf1("1.2.3")), salt}), SSH_X509_SCHEME_NOT_SUPPORTED},
      {der::seq({hash, der::wrap(1, der::seq({der::oid("1.2.3"), hash_id(kSha256)})), salt}),
       SSH_X509_SCHEME_NOT_SUPPORTED},
  };
  for (const auto &row : rows) {
    EXPECT_EQ(check(pss(row.parameters), info, good).verdict, row.verdict) << hex(row.parameters);
  }
}

}  // namespace
