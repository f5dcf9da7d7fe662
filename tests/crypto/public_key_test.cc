// Key objects: definition, questions, names and blobs both ways, with every refusal and its status.
#include "crypto/public_key.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string>
#include <vector>

#include "crypto/key_groups.h"
#include "support/fatal.h"
#include "support/hex.h"
#include "support/peer.h"
#include "util/mem.h"

namespace {

using Octets = std::vector<uint8_t>;

struct Random : std::mt19937 {
  using std::mt19937::mt19937;
  uint32_t operator()() { return static_cast<uint32_t>(std::mt19937::operator()()); }
  SshMpInt integer(size_t octets_max) {
    Octets octets((*this)() % (octets_max + 1));
    for (uint8_t &octet : octets) octet = static_cast<uint8_t>((*this)());
    SshMpInt value;
    value.set_magnitude(octets);
    return value;
  }
};

constexpr const char *kRsaName = "if-modn{sign{rsa-pkcs1-md5},encrypt{rsa-pkcs1-none}}";
constexpr const char *kDsaName = "dl-modp{sign{dsa-nist-sha1}}";

std::string be32(size_t value) {
  uint8_t octets[4];
  ssh_store_be32(octets, static_cast<uint32_t>(value));
  return hex(octets);
}
std::string field(const std::string &content_hex) {
  return be32(content_hex.size() / 2) + content_hex;
}
std::string text_field(std::string_view text) { return field(hex(ssh_text_bytes(text))); }

// blob puts one together by hand: its hexadecimal text with the total that `total` says.
std::string blob(std::string_view name, const std::string &data,
                 std::optional<uint32_t> total = {}) {
  const std::string rest = text_field(name) + field(data);
  return "65c8b28a" + be32(total ? *total : 8 + rest.size() / 2) + rest;
}

std::string name_of(const SshPublicKey *key) {
  const SshText name(ssh_public_key_name(key));
  return name.get();
}

std::string export_of(const SshPublicKey *key) {
  uint8_t *octets;
  uint32_t length;
  EXPECT_EQ(ssh_public_key_export(key, &octets, &length), SSH_KEY_OK);
  const SshBlock block(octets);
  return hex({octets, length});
}

// import gives the status, and checks that a refusal stores and keeps nothing.
uint32_t import(const Octets &octets, SshPublicKeyOwner *out = nullptr) {
  const int64_t before = ssh_mem_blocks();
  SshPublicKey *key = nullptr;
  const uint32_t status = ssh_public_key_import(octets, &key);
  EXPECT_EQ(key != nullptr, status == SSH_KEY_OK);
  if (!key) {
    EXPECT_EQ(ssh_mem_blocks(), before);
  }
  SshPublicKeyOwner owner(key);
  if (out) *out = std::move(owner);
  return status;
}

uint32_t define(SshPublicKeyOwner &out, const char *name,
                std::initializer_list<SshKeyValue> values) {
  const int64_t before = ssh_mem_blocks();
  SshPublicKey *key = nullptr;
  const uint32_t status = ssh_public_key_define(&key, name, values);
  EXPECT_EQ(key != nullptr, status == SSH_KEY_OK);
  if (!key) {
    EXPECT_EQ(ssh_mem_blocks(), before);
  }
  out.reset(key);
  return status;
}

SshPublicKeyOwner rsa(const SshMpInt &n, const SshMpInt &e, const char *name = kRsaName) {
  SshPublicKeyOwner key;
  EXPECT_EQ(define(key, name, {{SSH_KEY_TAG_N, &n}, {SSH_KEY_TAG_E, &e}, {SSH_KEY_TAG_END}}), 0u);
  return key;
}

SshPublicKeyOwner dsa(const SshMpInt &p, const SshMpInt &q, const SshMpInt &g, const SshMpInt &y) {
  SshPublicKeyOwner key;
  EXPECT_EQ(
      define(key, kDsaName,
             {{SSH_KEY_TAG_P, &p}, {SSH_KEY_TAG_Q, &q}, {SSH_KEY_TAG_G, &g}, {SSH_KEY_TAG_Y, &y}}),
      0u);
  return key;
}

SshMpInt ask(const SshPublicKey *key, uint32_t tag) {
  SshMpInt value(-1);
  EXPECT_EQ(ssh_public_key_get_info(key, {{tag, &value}}), SSH_KEY_OK);
  return value;
}

}  // namespace

TEST(PublicKey, BlobsOctetForOctet) {
  const SshPublicKeyOwner key = rsa(SshMpInt(0x1234567), SshMpInt(65537));
  const std::string rsa_data = be32(17) + "010001" + be32(25) + "01234567";
  EXPECT_EQ(export_of(key.get()), blob(kRsaName, rsa_data));
  const SshPublicKeyOwner other = dsa(SshMpInt(0x101), SshMpInt(0), SshMpInt(2), SshMpInt(0xFF));
  const std::string dsa_data =
      be32(0) + be32(9) + "0101" + be32(2) + "02" + be32(0) + be32(8) + "ff";
  EXPECT_EQ(export_of(other.get()), blob(kDsaName, dsa_data));
}

TEST(PublicKey, NamesThatParseAndTheirSpelling) {
  constexpr struct {
    const char *name;
    uint32_t status;
    const char *spelled;  // null: as given
  } cases[] = {
      {"if-modn{sign{rsa-pkcs1-sha1},encrypt{rsa-pkcs1-none}}", 0, nullptr},
      {"if-modn{encrypt{rsa-pkcs1-none},sign{rsa-pkcs1-none}}", 0,
       "if-modn{sign{rsa-pkcs1-none},encrypt{rsa-pkcs1-none}}"},
      {"if-modn{sign{rsa-pkcs1-md5},sign{rsa-pkcs1-none}}", 0, "if-modn{sign{rsa-pkcs1-none}}"},
      {"if-modn", 0, nullptr},
      {"if-modn{verify{rsa-pkcs1-md5}}", SSH_KEY_UNKNOWN_NAME, nullptr},
      {"if-modn{sign{rsa-nist-sha1}}", SSH_KEY_UNKNOWN_NAME, nullptr},
      {"if-modn{sign}", SSH_KEY_UNKNOWN_NAME, nullptr},  // has no scheme "plain"
      {"if-modn{dh}", SSH_KEY_UNKNOWN_NAME, nullptr},
      {"if-modn{sign{rsa-pkcs1-md5},verify}", SSH_KEY_UNKNOWN_NAME, nullptr},
      {"if-modn{verify}x", SSH_KEY_BAD_FORMAT,
       nullptr},  // parsed whole before anything is looked up
      {"IF-MODN", SSH_KEY_BAD_FORMAT, nullptr},
      {"", SSH_KEY_BAD_FORMAT, nullptr},
      {nullptr, SSH_KEY_BAD_FORMAT, nullptr},
      {"{sign}", SSH_KEY_BAD_FORMAT, nullptr},
      {"if-modn{", SSH_KEY_BAD_FORMAT, nullptr},
      {"if-modn}", SSH_KEY_BAD_FORMAT, nullptr},
      {"if-modn{}", SSH_KEY_BAD_FORMAT, nullptr},
      {"if-modn,", SSH_KEY_BAD_FORMAT, nullptr},
      {"if-modn{sign{}}", SSH_KEY_BAD_FORMAT, nullptr},
      {"if-modn{sign{rsa-pkcs1-md5}", SSH_KEY_BAD_FORMAT, nullptr},
      {"if-modn{sign{rsa-pkcs1-md5}}}", SSH_KEY_BAD_FORMAT, nullptr},
      {"if-modn{sign{rsa-pkcs1-md5},}", SSH_KEY_BAD_FORMAT, nullptr},
      {"if-modn{,sign{rsa-pkcs1-md5}}", SSH_KEY_BAD_FORMAT, nullptr},
      {"if-modn{sign{rsa-pkcs1-md5,rsa-pkcs1-sha1}}", SSH_KEY_BAD_FORMAT, nullptr},
      {"if-modn{sign{rsa-pkcs1-md5{x}}}", SSH_KEY_BAD_FORMAT, nullptr},
      {"if-modn{sign{rsa-pkcs1-md5}encrypt}", SSH_KEY_BAD_FORMAT, nullptr},
  };
  const SshMpInt one(1);
  const std::string data = be32(1) + "01" + be32(1) + "01";
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name ? c.name : "null");
    SshPublicKeyOwner defined, imported;
    EXPECT_EQ(define(defined, c.name, {{SSH_KEY_TAG_N, &one}, {SSH_KEY_TAG_E, &one}}), c.status);
    if (defined) {
      EXPECT_EQ(name_of(defined.get()), c.spelled ? c.spelled : c.name);
    }
    if (!c.name) continue;
    // A type that is in no row is the one case where reading a blob answers otherwise.
    const uint32_t status = std::string(c.name) == "IF-MODN" ? uint32_t{SSH_KEY_FAILED} : c.status;
    EXPECT_EQ(import(unhex(blob(c.name, data)), &imported), status);
    if (imported) {
      EXPECT_EQ(name_of(imported.get()), c.spelled ? c.spelled : c.name);
    }
  }
}

TEST(PublicKey, DefinitionRefusals) {
  const SshMpInt n(5);
  SshPublicKeyOwner key;
  EXPECT_EQ(define(key, kRsaName, {{SSH_KEY_TAG_P, &n}}), SSH_KEY_BAD_TAG);
  EXPECT_EQ(define(key, kDsaName, {{SSH_KEY_TAG_ENCRYPT, nullptr, "plain"}}), SSH_KEY_BAD_TAG);
  EXPECT_EQ(define(key, kRsaName, {{99, &n}}), SSH_KEY_BAD_TAG);
  EXPECT_EQ(define(key, kRsaName, {{SSH_KEY_TAG_N, nullptr}}), SSH_KEY_REFUSED);
  EXPECT_EQ(define(key, kRsaName, {{SSH_KEY_TAG_SIGN, nullptr, "md5"}}), SSH_KEY_UNKNOWN_NAME);
  EXPECT_EQ(define(key, kRsaName, {{SSH_KEY_TAG_SIGN, nullptr, nullptr}}), SSH_KEY_UNKNOWN_NAME);
  EXPECT_EQ(define(key, kRsaName, {}), SSH_KEY_FAILED);
  EXPECT_EQ(define(key, kRsaName, {{SSH_KEY_TAG_N, &n}}), SSH_KEY_FAILED);
  EXPECT_EQ(define(key, kRsaName, {{SSH_KEY_TAG_N, &n}, {SSH_KEY_TAG_END}, {SSH_KEY_TAG_E, &n}}),
            SSH_KEY_FAILED);
  EXPECT_EQ(define(key, kDsaName, {{SSH_KEY_TAG_P, &n}, {SSH_KEY_TAG_Q, &n}, {SSH_KEY_TAG_G, &n}}),
            SSH_KEY_FAILED);
}

TEST(PublicKey, SchemesByTagAndQuestions) {
  const SshMpInt p(23), q(11), g(2), y(4);
  SshPublicKeyOwner key;
  ASSERT_EQ(define(key, "dl-modp{sign{dsa-nist-sha1}}",
                   {{SSH_KEY_TAG_DH, nullptr, nullptr},
                    {SSH_KEY_TAG_P, &p},
                    {SSH_KEY_TAG_Q, &q},
                    {SSH_KEY_TAG_G, &g},
                    {SSH_KEY_TAG_Y, &p},
                    {SSH_KEY_TAG_Y, &y}}),
            SSH_KEY_OK);
  EXPECT_EQ(name_of(key.get()), "dl-modp{sign{dsa-nist-sha1},dh{plain}}");
  SshMpInt a, b;
  const char *scheme = nullptr;
  EXPECT_EQ(ssh_public_key_get_info(key.get(), {{SSH_KEY_TAG_Q, &a},
                                                {SSH_KEY_TAG_Y, &b},
                                                {SSH_KEY_TAG_DH, nullptr, &scheme},
                                                {SSH_KEY_TAG_END},
                                                {SSH_KEY_TAG_N, &a}}),
            SSH_KEY_OK);
  EXPECT_EQ(a, q);
  EXPECT_EQ(b, y);
  EXPECT_STREQ(scheme, "plain");
  EXPECT_EQ(ssh_public_key_get_info(key.get(), {{SSH_KEY_TAG_G, &a}, {SSH_KEY_TAG_N, &b}}),
            SSH_KEY_BAD_TAG);
  EXPECT_EQ(a, g);
  EXPECT_EQ(b, y);
  const SshPublicKeyOwner bare = rsa(p, q, "if-modn");
  EXPECT_EQ(ssh_public_key_get_info(bare.get(), {{SSH_KEY_TAG_SIGN, nullptr, &scheme}}),
            SSH_KEY_OK);
  EXPECT_EQ(scheme, nullptr);
  EXPECT_EQ(ask(bare.get(), SSH_KEY_TAG_N), p);
  EXPECT_EQ(ask(bare.get(), SSH_KEY_TAG_E), q);
}

TEST(PublicKey, ImportRefusals) {
  const std::string ints = be32(1) + "01" + be32(1) + "01", dl = be32(0) + ints + be32(1) + "01";
  const std::string whole = blob(kRsaName, ints);
  const std::string head = "65c8b28a" + be32(8) + text_field(kRsaName);
  const struct {
    std::string octets;
    uint32_t status;
  } cases[] = {
      {whole, 0},
      {blob(kRsaName, ints, 8), 0},  // the total is not held against the octets
      {blob(kRsaName, ints, UINT32_MAX), 0},
      {blob(kRsaName, ints, 7), SSH_KEY_BAD_FORMAT},
      {blob(kRsaName, ints, 0), SSH_KEY_BAD_FORMAT},
      {whole + "ffff", 0},
      {blob(kRsaName, ints + "ffff"), 0},
      {"65c8b28b" + whole.substr(8), SSH_KEY_BAD_FORMAT},
      {"", SSH_KEY_BAD_FORMAT},
      {"65c8b28a" + be32(8) + be32(100) + "6969", SSH_KEY_BAD_FORMAT},
      {"65c8b28a" + be32(8) + be32(0xFFFFFFFF), SSH_KEY_BAD_FORMAT},
      {blob(std::string_view("if-modn\0", 8), ints), SSH_KEY_BAD_FORMAT},
      {blob("if-modx", ints), SSH_KEY_FAILED},
      {head, SSH_KEY_FAILED},
      {head + be32(10) + ints.substr(2), SSH_KEY_FAILED},
      {head + be32(9) + ints, SSH_KEY_FAILED},  // the data reaches no further than its length
      {head + be32(0xFFFFFFFF) + ints, SSH_KEY_FAILED},
      {head + field(be32(0xFFFFFFFF) + "01" + ints), SSH_KEY_FAILED},
      {blob(kDsaName, dl), SSH_KEY_FAILED},
      {blob(kDsaName, dl + be32(0)), 0},
      {blob(kDsaName, be32(2) + dl.substr(8) + be32(0)), SSH_KEY_FAILED},
      {blob(kDsaName, be32(1) + text_field("ietf-ike-grp-modp-768") + be32(1) + "01"), 0},
      {blob(kDsaName, be32(1) + text_field("ietf-ike-grp-modp-768")), SSH_KEY_FAILED},
      {blob(kDsaName, be32(1) + text_field("ietf-ike-grp-modp-769") + be32(1) + "01"),
       SSH_KEY_FAILED},
      {blob(kDsaName, be32(1) + text_field("") + be32(1) + "01"), SSH_KEY_FAILED},
      {blob(kDsaName, be32(1) + text_field("ssh-dl-modp-group-dsa-1024bit-1") + be32(1) + "01"),
       SSH_KEY_FAILED},
  };
  for (const auto &c : cases) EXPECT_EQ(import(unhex(c.octets)), c.status) << c.octets;
}

TEST(PublicKey, NamedGroups) {
  constexpr const char *groups[][2] = {
      {"ietf-ike-grp-modp-768", "b52ba6a3026520a6c49d37e4587601801bee500123b3259b6bf03e7cecc3e63d"},
      {"ietf-ike-grp-modp-1024",
       "3f35a3f5f6c4376a744acad409bb22f8d897f949d2311d885adaa890981b67a0"},
      {"ietf-ike-grp-modp-1536",
       "64fcc83ec403930bf18393dbc883ccaa1fbb08ac876f77f7aa99748ca945019b"},
      {"ssh-dl-modp-group-1024bit-1",
       "3f35a3f5f6c4376a744acad409bb22f8d897f949d2311d885adaa890981b67a0"},
  };
  for (const auto &[name, sha256] : groups) {
    SCOPED_TRACE(name);
    const std::string octets =
        blob("dl-modp{dh{plain}}", be32(1) + text_field(name) + be32(3) + "05");
    SshPublicKeyOwner key;
    ASSERT_EQ(import(unhex(octets), &key), 0u);
    const SshMpInt p = ask(key.get(), SSH_KEY_TAG_P), q = ask(key.get(), SSH_KEY_TAG_Q);
    EXPECT_EQ(peer_sha256(p.magnitude()), sha256);
    SshMpInt half = p;
    half.halve();
    EXPECT_EQ(q, half);
    EXPECT_EQ(ask(key.get(), SSH_KEY_TAG_G), SshMpInt(2));
    EXPECT_EQ(ask(key.get(), SSH_KEY_TAG_Y), SshMpInt(5));
    // The name travels on, also through a copy.
    const SshPublicKeyOwner copy(ssh_public_key_copy(key.get()));
    EXPECT_EQ(export_of(copy.get()), octets);
  }
  EXPECT_EQ(ssh_key_group_name(ssh_key_group_find({})), "ssh-dl-modp-group-1024bit-1");
  EXPECT_EQ(ssh_key_group_find(""), nullptr);
}

TEST(PublicKey, RandomKeysRoundTripAndCopy) {
  Random random(10);
  const int64_t before = ssh_mem_blocks();
  for (int i = 0; i < 2000; ++i) {
    const SshMpInt a = random.integer(200), b = random.integer(30), c = random.integer(200),
                   d = random.integer(60);
    SshPublicKeyOwner key = i % 2 ? rsa(a, b) : dsa(a, b, c, d);
    const std::string octets = export_of(key.get());
    EXPECT_EQ(octets.substr(8, 8), be32(octets.size() / 2));
    SshPublicKeyOwner back;
    ASSERT_EQ(import(unhex(octets), &back), 0u);
    const SshPublicKeyOwner copy(ssh_public_key_copy(back.get()));
    back.reset();
    EXPECT_EQ(export_of(copy.get()), octets);
    EXPECT_EQ(name_of(copy.get()), i % 2 ? kRsaName : kDsaName);
    EXPECT_EQ(ask(copy.get(), i % 2 ? SSH_KEY_TAG_N : SSH_KEY_TAG_P), a);
    EXPECT_EQ(ask(copy.get(), i % 2 ? SSH_KEY_TAG_E : SSH_KEY_TAG_Q), b);
    if (i % 2 == 0) {
      EXPECT_EQ(ask(copy.get(), SSH_KEY_TAG_G), c);
      EXPECT_EQ(ask(copy.get(), SSH_KEY_TAG_Y), d);
    }
  }
  EXPECT_EQ(ssh_mem_blocks(), before);
}

TEST(PublicKey, EveryPrefixAndEveryChangedOctetGetsAnAnswer) {
  Random random(11);
  const SshPublicKeyOwner rsa_key = rsa(random.integer(64), SshMpInt(65537));
  const SshPublicKeyOwner dsa_key =
      dsa(random.integer(64), random.integer(20), random.integer(64), random.integer(64));
  const std::string named =
      blob("dl-modp{dh}", be32(1) + text_field("ietf-ike-grp-modp-768") + be32(3) + "05");
  for (const std::string &seed : {export_of(rsa_key.get()), export_of(dsa_key.get()), named}) {
    const Octets octets = unhex(seed);
    for (size_t length = 0; length < octets.size(); ++length) {
      ASSERT_NE(import(Octets(octets.begin(), octets.begin() + static_cast<ptrdiff_t>(length))),
                0u);
    }
    for (size_t at = 0; at < octets.size(); ++at) {
      for (unsigned value = 0; value < 256; ++value) {
        Octets changed = octets;
        changed[at] = static_cast<uint8_t>(value);
        SshPublicKeyOwner key;
        if (import(changed, &key) != SSH_KEY_OK) continue;
        // What was accepted can be written, and is then stable.
        SshPublicKeyOwner again;
        const std::string written = export_of(key.get());
        ASSERT_EQ(import(unhex(written), &again), 0u);
        ASSERT_EQ(export_of(again.get()), written);
      }
    }
  }
}

TEST(PublicKey, ALongNameIsReadInOneGo) {
  std::string name = "if-modn{sign{rsa-pkcs1-md5}";
  for (int i = 0; i < 200000; ++i) name += ",sign{rsa-pkcs1-sha1}";
  const std::string data = be32(1) + "01" + be32(1) + "01";
  SshPublicKeyOwner key;
  EXPECT_EQ(import(unhex(blob(name + "}", data)), &key), 0u);
  EXPECT_EQ(name_of(key.get()), "if-modn{sign{rsa-pkcs1-sha1}}");
  EXPECT_EQ(import(unhex(blob(name, data))), SSH_KEY_BAD_FORMAT);
  EXPECT_EQ(import(unhex(blob(std::string(4000000, '{'), data))), SSH_KEY_BAD_FORMAT);
}

TEST(PublicKey, ABlobAboveTheAllocationLimitIsRefused) {
  SshMpInt large;
  large.set_magnitude(Octets(SSH_XMALLOC_MAX / 2, 0xFF));
  const SshPublicKeyOwner key = rsa(large, large);
  uint8_t *octets;
  uint32_t length;
  EXPECT_EQ(ssh_public_key_export(key.get(), &octets, &length), SSH_KEY_FAILED);
}

TEST(PublicKeyDeathTest, FreeingNothing) {
  EXPECT_FATAL(ssh_public_key_free(nullptr), "ssh_public_key_free: undefined key.");
}
