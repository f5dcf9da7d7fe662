// What schemes do with a key: signatures held against a digest, and Diffie-Hellman agreement. Keys
// are made once, on both sides. OpenSSL's keep the Montgomery form of their modulus from one use to
// the next; ours computes it each time.
#include <benchmark/benchmark.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/dsa.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/rsa.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench.h"
#include "crypto/key_groups.h"
#include "crypto/public_key.h"
#include "util/mem.h"
#include "util/owner.h"

namespace {

using Octets = std::vector<uint8_t>;

using PeerKey = Owner<EVP_PKEY, EVP_PKEY_free>;
using PeerContext = Owner<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using PeerNumber = Owner<BIGNUM, BN_free>;

constexpr uint8_t kDigest[20] = {1, 2, 3, 4, 5};
constexpr size_t kSecretOctets = 32;

void need(bool made) {
  if (made) return;
  std::fprintf(stderr, "cannot make the keys\n");
  std::exit(1);
}

SshMpInt number_of(Bytes octets) {
  SshMpInt value;
  value.set_magnitude(octets);
  return value;
}
Octets octets_of(const BIGNUM *value, size_t length) {
  Octets octets(length);
  need(BN_bn2binpad(value, octets.data(), static_cast<int>(length)) >= 0);
  return octets;
}
SshMpInt number_of(const PeerKey &key, const char *name) {
  BIGNUM *value = nullptr;
  need(EVP_PKEY_get_bn_param(key.get(), name, &value) == 1);
  const PeerNumber owner(value);
  return number_of(octets_of(value, static_cast<size_t>(BN_num_bytes(value))));
}

SshPublicKeyOwner define(const char *name, std::initializer_list<SshKeyValue> values) {
  SshPublicKey *key = nullptr;
  need(ssh_public_key_define(&key, name, values) == SSH_KEY_OK);
  return SshPublicKeyOwner(key);
}

// Signer is a key on both sides with a signature in both forms.
struct Signer {
  PeerKey peer;
  PeerContext verifier;
  SshPublicKeyOwner ours;
  Octets peer_signature, our_signature;

  explicit Signer(PeerKey made) : peer(std::move(made)) {
    const PeerContext signer(EVP_PKEY_CTX_new(peer.get(), nullptr));
    peer_signature.resize(static_cast<size_t>(EVP_PKEY_get_size(peer.get())));
    size_t length = peer_signature.size();
    need(EVP_PKEY_sign_init(signer.get()) == 1 &&
         EVP_PKEY_CTX_set_signature_md(signer.get(), EVP_sha1()) == 1 &&
         EVP_PKEY_sign(signer.get(), peer_signature.data(), &length, kDigest, sizeof kDigest) == 1);
    peer_signature.resize(length);
    our_signature = peer_signature;
    verifier.reset(EVP_PKEY_CTX_new(peer.get(), nullptr));
    need(EVP_PKEY_verify_init(verifier.get()) == 1 &&
         EVP_PKEY_CTX_set_signature_md(verifier.get(), EVP_sha1()) == 1);
  }
};

template <unsigned kBits>
Signer &rsa() {
  static Signer signer = [] {
    Signer made{PeerKey(EVP_RSA_gen(kBits))};
    const SshMpInt n = number_of(made.peer, OSSL_PKEY_PARAM_RSA_N),
                   e = number_of(made.peer, OSSL_PKEY_PARAM_RSA_E);
    made.ours = define("if-modn{sign{rsa-pkcs1-sha1}}", {{SSH_KEY_TAG_N, &n}, {SSH_KEY_TAG_E, &e}});
    return made;
  }();
  return signer;
}

PeerKey generate_dsa() {
  const PeerContext context(EVP_PKEY_CTX_new_id(EVP_PKEY_DSA, nullptr));
  EVP_PKEY *parameters = nullptr, *key = nullptr;
  need(EVP_PKEY_paramgen_init(context.get()) == 1 &&
       EVP_PKEY_CTX_set_dsa_paramgen_bits(context.get(), 1024) == 1 &&
       EVP_PKEY_CTX_set_dsa_paramgen_q_bits(context.get(), 160) == 1 &&
       EVP_PKEY_paramgen(context.get(), &parameters) == 1);
  const PeerKey owner(parameters);
  const PeerContext generator(EVP_PKEY_CTX_new(parameters, nullptr));
  need(EVP_PKEY_keygen_init(generator.get()) == 1 && EVP_PKEY_keygen(generator.get(), &key) == 1);
  return PeerKey(key);
}

Signer &dsa() {
  static Signer signer = [] {
    Signer made(generate_dsa());
    const SshMpInt p = number_of(made.peer, OSSL_PKEY_PARAM_FFC_P),
                   q = number_of(made.peer, OSSL_PKEY_PARAM_FFC_Q),
                   g = number_of(made.peer, OSSL_PKEY_PARAM_FFC_G),
                   y = number_of(made.peer, OSSL_PKEY_PARAM_PUB_KEY);
    made.ours = define(
        "dl-modp{sign{dsa-nist-sha1}}",
        {{SSH_KEY_TAG_P, &p}, {SSH_KEY_TAG_Q, &q}, {SSH_KEY_TAG_G, &g}, {SSH_KEY_TAG_Y, &y}});
    const uint8_t *at = made.peer_signature.data();
    DSA_SIG *pair = d2i_DSA_SIG(nullptr, &at, static_cast<long>(made.peer_signature.size()));
    const BIGNUM *r = nullptr, *s = nullptr;
    DSA_SIG_get0(pair, &r, &s);
    made.our_signature = octets_of(r, 20);
    const Octets second = octets_of(s, 20);
    made.our_signature.insert(made.our_signature.end(), second.begin(), second.end());
    DSA_SIG_free(pair);
    return made;
  }();
  return signer;
}

template <Signer &(*kSigner)()>
bool verify_ours(Bytes) {
  const Signer &signer = kSigner();
  return ssh_public_key_verify_digest(signer.ours.get(), nullptr, kDigest, signer.our_signature) ==
         SSH_KEY_OK;
}
template <Signer &(*kSigner)()>
bool verify_openssl(Bytes) {
  const Signer &signer = kSigner();
  return EVP_PKEY_verify(signer.verifier.get(), signer.peer_signature.data(),
                         signer.peer_signature.size(), kDigest, sizeof kDigest) == 1;
}

// Agreement is one side of an agreement in a named group, with the same exponent in both libraries.
struct Agreement {
  SshPublicKeyOwner ours;
  PeerKey own, other;
  PeerContext context;
  Octets secret = Octets(kSecretOctets, 0xB7);
};

PeerKey peer_dh(const SshMpInt &p, const SshMpInt &g, const SshMpInt &y, const Octets &x) {
  const auto number = [](Bytes octets) {
    return PeerNumber(BN_bin2bn(octets.data(), static_cast<int>(octets.size()), nullptr));
  };
  const PeerNumber numbers[] = {number(p.magnitude()), number(g.magnitude()), number(y.magnitude()),
                                number(x)};
  OSSL_PARAM_BLD *build = OSSL_PARAM_BLD_new();
  OSSL_PARAM_BLD_push_BN(build, OSSL_PKEY_PARAM_FFC_P, numbers[0].get());
  OSSL_PARAM_BLD_push_BN(build, OSSL_PKEY_PARAM_FFC_G, numbers[1].get());
  OSSL_PARAM_BLD_push_BN(build, OSSL_PKEY_PARAM_PUB_KEY, numbers[2].get());
  OSSL_PARAM_BLD_push_BN(build, OSSL_PKEY_PARAM_PRIV_KEY, numbers[3].get());
  OSSL_PARAM *parameters = OSSL_PARAM_BLD_to_param(build);
  const PeerContext context(EVP_PKEY_CTX_new_from_name(nullptr, "DH", nullptr));
  EVP_PKEY *key = nullptr;
  need(EVP_PKEY_fromdata_init(context.get()) == 1 &&
       EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_KEYPAIR, parameters) == 1);
  OSSL_PARAM_free(parameters);
  OSSL_PARAM_BLD_free(build);
  return PeerKey(key);
}

Agreement make_agreement(std::string_view group) {
  Agreement made;
  SshMpInt p, q, g;
  ssh_key_group_numbers(ssh_key_group_find(group), &p, &q, &g);
  const auto key = [&](const SshMpInt &y) {
    return define(
        "dl-modp{dh}",
        {{SSH_KEY_TAG_P, &p}, {SSH_KEY_TAG_Q, &q}, {SSH_KEY_TAG_G, &g}, {SSH_KEY_TAG_Y, &y}});
  };
  const auto value = [&](const Octets &x) {
    SshBlock out;
    size_t length = 0;
    need(ssh_public_key_dh_agree(key(g).get(), x, &out, &length) == SSH_KEY_OK);
    return number_of({out.get(), length});
  };
  const Octets other(kSecretOctets, 0x9D);
  const SshMpInt y = value(other);
  made.ours = key(y);
  made.own = peer_dh(p, g, value(made.secret), made.secret);
  made.other = peer_dh(p, g, y, other);
  made.context.reset(EVP_PKEY_CTX_new(made.own.get(), nullptr));
  need(EVP_PKEY_derive_init(made.context.get()) == 1 &&
       EVP_PKEY_CTX_set_dh_pad(made.context.get(), 1) == 1 &&
       EVP_PKEY_derive_set_peer_ex(made.context.get(), made.other.get(), 0) == 1);
  return made;
}

Agreement &dh1024() {
  static Agreement made = make_agreement("ietf-ike-grp-modp-1024");
  return made;
}
Agreement &dh1536() {
  static Agreement made = make_agreement("ietf-ike-grp-modp-1536");
  return made;
}

template <Agreement &(*kAgreement)()>
bool agree_ours(Bytes) {
  const Agreement &agreement = kAgreement();
  SshBlock out;
  size_t length = 0;
  return ssh_public_key_dh_agree(agreement.ours.get(), agreement.secret, &out, &length) ==
         SSH_KEY_OK;
}
template <Agreement &(*kAgreement)()>
bool agree_openssl(Bytes) {
  const Agreement &agreement = kAgreement();
  uint8_t out[256];
  size_t length = sizeof out;
  const bool good = EVP_PKEY_derive(agreement.context.get(), out, &length) == 1;
  benchmark::DoNotOptimize(out);
  return good;
}

Bytes no_input() { return {}; }

template <Signer &(*kSigner)()>
constexpr SshBenchCase kVerify[] = {
    {kBenchOurs, "", verify_ours<kSigner>},
    {"openssl", "keeps Montgomery form of n or p; assembler", verify_openssl<kSigner>},
};
template <Agreement &(*kAgreement)()>
constexpr SshBenchCase kAgree[] = {
    {kBenchOurs, "", agree_ours<kAgreement>},
    {"openssl", "keeps Montgomery form of p; assembler", agree_openssl<kAgreement>},
};

}  // namespace

void ssh_bench_add_scheme() {
  ssh_bench_add("rsa-1024-verify", no_input, 1, kVerify<rsa<1024>>);
  ssh_bench_add("rsa-2048-verify", no_input, 1, kVerify<rsa<2048>>);
  ssh_bench_add("dsa-1024-verify", no_input, 1, kVerify<dsa>);
  ssh_bench_add("dh-1024-agree", no_input, 1, kAgree<dh1024>);
  ssh_bench_add("dh-1536-agree", no_input, 1, kAgree<dh1536>);
}
