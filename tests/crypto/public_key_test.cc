// Key objects: definition, questions, names and blobs both ways, with every refusal and its status.
#include "crypto/public_key.h"

#include "crypto/key_groups.h"
#include "crypto/key_support.h"
#include "support/peer.h"

namespace {

using namespace key;

std::string export_of(const SshPublicKeyOwner &key) {
  uint8_t *octets = nullptr;
  uint32_t length = 0;
  EXPECT_EQ(ssh_public_key_export(key.get(), &octets, &length), SSH_KEY_OK);
  const SshBlock block(octets);
  return hex({octets, length});
}

}  // namespace

TEST(PublicKey, NamesThatParseAndTheirSpelling) {
  const std::tuple<SshKeyStatus, std::vector<const char *>, const char *> cases[] = {
      {SSH_KEY_OK, {"if-modn", "if-modn{}"}, "if-modn"},
      {SSH_KEY_OK, {"if-modn{encrypt{rsa-pkcs1-none},sign{rsa-pkcs1-sha1}}"}, kRsaName},
      {SSH_KEY_OK,
       {"if-modn{sign{rsa-pkcs1-md5},sign{rsa-pkcs1-none}}"},
       "if-modn{sign{rsa-pkcs1-none}}"},
      {SSH_KEY_UNKNOWN_NAME,  // also those that only a signature may name, and no scheme "plain"
       {"if-modn{verify{rsa-pkcs1-md5}}", "if-modn{sign{rsa-nist-sha1}}", "if-modn{dh}",
        "if-modn{sign{rsa-pkcs1-sha256}}", "if-modn{sign}"},
       ""},
      {SSH_KEY_BAD_FORMAT,  // parsed whole before anything is looked up
       {"if-modn{verify}x", "", "if-modn{", "if-modn,", "if-modn{sign{}}",
        "if-modn{,sign{rsa-pkcs1-md5}}", "if-modn{sign{rsa-pkcs1-md5}encrypt}"},
       ""}};
  const SshMpInt one(1);
  for (const auto &[status, names, spelled] : cases) {
    for (const char *name : names) {
      SshPublicKeyOwner defined, imported;
      EXPECT_EQ(define(&defined, name, {{SSH_KEY_TAG_N, &one}, {SSH_KEY_TAG_E, &one}}), status)
          << name;
      EXPECT_EQ(import_blob(unhex(blob(name, integer(one) + integer(one))), &imported), status)
          << name;
      if (!defined || !imported) continue;
      EXPECT_STREQ(SshText(ssh_public_key_name(defined.get())).get(), spelled);
      EXPECT_EQ(export_of(imported), blob(spelled, integer(one) + integer(one)));
    }
  }
}

TEST(PublicKey, SchemesByTagAndQuestions) {
  const SshMpInt n(23), e(11);
  SshPublicKeyOwner key;
  const SshKeyValue scheme = {SSH_KEY_TAG_SIGN, nullptr, "rsa-pkcs1-none"};
  ASSERT_EQ(define(&key, "if-modn{encrypt{rsa-pkcs1-none}}",
                   {scheme, {SSH_KEY_TAG_N, &e}, {SSH_KEY_TAG_N, &n}, {SSH_KEY_TAG_E, &e}}),
            SSH_KEY_OK);
  EXPECT_STREQ(SshText(ssh_public_key_name(key.get())).get(),
               "if-modn{sign{rsa-pkcs1-none},encrypt{rsa-pkcs1-none}}");
  SshMpInt a, b;
  const char *sign = nullptr;
  const auto status = [&](std::initializer_list<SshKeyQuestion> questions) {
    return ssh_public_key_get_info(key.get(), questions);
  };
  EXPECT_EQ(status({{SSH_KEY_TAG_SIGN, nullptr, &sign}, {}, {SSH_KEY_TAG_P}}), SSH_KEY_OK);
  EXPECT_STREQ(sign, "rsa-pkcs1-none");
  EXPECT_EQ(status({{SSH_KEY_TAG_N, &a}, {SSH_KEY_TAG_P, &b}, {SSH_KEY_TAG_E, &b}}),
            SSH_KEY_BAD_TAG);
  EXPECT_TRUE(a == n && b.is_zero()) << "the first that fails ends it";
  EXPECT_EQ(status({{SSH_KEY_TAG_N}}), SSH_KEY_REFUSED) << "no place for the answer";
}

TEST(PublicKey, ImportRefusals) {
  const std::string one = be32(1) + "01", ints = one + one, dl_data = be32(0) + ints + one;
  const std::string whole = blob(kRsaName, ints), rest = whole.substr(16), magic = "65c8b28a";
  const std::string start = magic + be32(8);
  const std::pair<std::string, SshKeyStatus> rows[] = {
      // The total is not held against the bytes, and what follows the data is ignored.
      {start + rest + "ffff", SSH_KEY_OK},
      {blob("dl-modp{dh}", dl_data + one + "ffff"), SSH_KEY_OK},
      {magic + be32(7) + rest, SSH_KEY_BAD_FORMAT},
      {"65c8b28b" + whole.substr(8), SSH_KEY_BAD_FORMAT},
      {blob(std::string_view("if-modn\0", 8), ints), SSH_KEY_BAD_FORMAT},
      // The data reaches no further than its length, and not every name has a group.
      {start + field_of(kRsaName) + be32(9) + ints, SSH_KEY_FAILED},
      {blob(kDlName, be32(2) + dl_data.substr(8) + one), SSH_KEY_FAILED},
      {blob(kDlName, be32(1) + field_of("ietf-ike-grp-modp-769") + one), SSH_KEY_FAILED}};
  for (const auto &[octets, status] : rows) EXPECT_EQ(import_blob(unhex(octets)), status) << octets;
}

// A key of a named group, which only a blob can carry.
TEST(PublicKey, NamedGroups) {
  const char *const groups[][2] = {
      {"ietf-ike-grp-modp-768", "b52ba6a3026520a6c49d37e4587601801b"},
      {"ietf-ike-grp-modp-1024", "3f35a3f5f6c4376a744acad409bb22f8d8"},
      {"ietf-ike-grp-modp-1536", "64fcc83ec403930bf18393dbc883ccaa1f"},
      {"ssh-dl-modp-group-1024bit-1", "3f35a3f5f6c4376a744acad409bb22f8d8"}};
  for (const auto &[name, digest] : groups) {
    SCOPED_TRACE(name);
    const std::string octets =
        blob("dl-modp{dh{plain}}", be32(1) + field_of(name) + integer(SshMpInt(5)));
    SshPublicKeyOwner key;
    SshMpInt p, q, g;
    ASSERT_EQ(import_blob(unhex(octets), &key), SSH_KEY_OK);
    EXPECT_EQ(ssh_public_key_get_info(
                  key.get(), {{SSH_KEY_TAG_P, &p}, {SSH_KEY_TAG_Q, &q}, {SSH_KEY_TAG_G, &g}}),
              SSH_KEY_OK);
    EXPECT_TRUE(peer_sha256(p.magnitude()).starts_with(digest));
    p.halve();
    EXPECT_TRUE(p == q && g == SshMpInt(2));
    const SshPublicKeyOwner copy(ssh_public_key_copy(key.get()));
    EXPECT_EQ(export_of(copy), octets) << "the name travels on";
  }
  EXPECT_EQ(ssh_key_group_name(ssh_key_group_find({})), "ssh-dl-modp-group-1024bit-1");
  EXPECT_EQ(ssh_key_group_find(""), nullptr);
}
