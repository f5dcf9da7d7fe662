#include "crypto/key_types.h"

#include <algorithm>
#include <iterator>

#include "crypto/dh.h"
#include "crypto/dsa.h"
#include "crypto/hash_rows.h"
#include "crypto/key_blob.h"
#include "crypto/rsa.h"

namespace {

template <size_t N>
constexpr SshKeyAction scheme_row(SshKeyTag tag, std::string_view name, SshKeySlot slot,
                                  const SshKeyScheme (&rows)[N]) {
  return {tag, name, slot, rows};
}

constexpr SshKeyAction value_row(SshKeyTag tag, uint32_t place) { return {tag, {}, place}; }

constexpr SshKeyScheme rsa_signature(const char *name, const SshHashAlgorithm *hash) {
  return {.name = name, .hash = hash, .verify = ssh_rsa_verify};
}
constexpr SshKeyScheme dsa_signature(const char *name, const SshHashAlgorithm *hash) {
  return {.name = name, .hash = hash, .verify = ssh_dsa_verify};
}
constexpr SshKeyScheme by_signature_only(SshKeyScheme scheme) {
  scheme.by_signature_only = true;
  return scheme;
}

// The tables of schemes, one an action. The names are those of key names; schemes that signatures
// alone may name follow the same pattern. "rsa-nist-sha1" is what an older identifier for
// signatures stands for; its padding is that of PKCS #1.
constexpr SshKeyScheme kRsaSign[] = {
    rsa_signature("rsa-pkcs1-md5", &ssh_hash_md5_row),
    rsa_signature("rsa-pkcs1-sha1", &ssh_hash_sha1_row),
    rsa_signature("rsa-pkcs1-none", nullptr),
    by_signature_only(rsa_signature("rsa-nist-sha1", &ssh_hash_sha1_row)),
    by_signature_only(rsa_signature("rsa-pkcs1-sha224", &ssh_hash_sha224_row)),
    by_signature_only(rsa_signature("rsa-pkcs1-sha256", &ssh_hash_sha256_row)),
    by_signature_only(rsa_signature("rsa-pkcs1-sha384", &ssh_hash_sha384_row)),
    by_signature_only(rsa_signature("rsa-pkcs1-sha512", &ssh_hash_sha512_row)),
};
constexpr SshKeyScheme kRsaEncrypt[] = {{.name = "rsa-pkcs1-none", .encrypt = ssh_rsa_encrypt}};
constexpr SshKeyScheme kDlSign[] = {
    dsa_signature("dsa-nist-sha1", &ssh_hash_sha1_row),
    by_signature_only(dsa_signature("dsa-nist-sha224", &ssh_hash_sha224_row)),
    by_signature_only(dsa_signature("dsa-nist-sha256", &ssh_hash_sha256_row)),
    by_signature_only(dsa_signature("dsa-nist-sha384", &ssh_hash_sha384_row)),
    by_signature_only(dsa_signature("dsa-nist-sha512", &ssh_hash_sha512_row)),
};
constexpr SshKeyScheme kDlDh[] = {{.name = "plain", .agree = ssh_dh_agree}};

constexpr SshKeyAction kRsaActions[] = {
    scheme_row(SSH_KEY_TAG_SIGN, "sign", SSH_KEY_SIGN, kRsaSign),
    scheme_row(SSH_KEY_TAG_ENCRYPT, "encrypt", SSH_KEY_ENCRYPT, kRsaEncrypt),
    value_row(SSH_KEY_TAG_N, SSH_RSA_N),
    value_row(SSH_KEY_TAG_E, SSH_RSA_E),
};
constexpr SshKeyAction kDlActions[] = {
    scheme_row(SSH_KEY_TAG_SIGN, "sign", SSH_KEY_SIGN, kDlSign),
    scheme_row(SSH_KEY_TAG_DH, "dh", SSH_KEY_DH, kDlDh),
    value_row(SSH_KEY_TAG_P, SSH_DL_P),
    value_row(SSH_KEY_TAG_Q, SSH_DL_Q),
    value_row(SSH_KEY_TAG_G, SSH_DL_G),
    value_row(SSH_KEY_TAG_Y, SSH_DL_Y),
};

constexpr SshKeyType kKeyTypes[] = {
    {"if-modn", kRsaActions, SSH_RSA_VALUES, ssh_key_import_rsa, ssh_key_export_rsa},
    {"dl-modp", kDlActions, SSH_DL_VALUES, ssh_key_import_dl, ssh_key_export_dl},
};

// row_fits checks at compile time that no row has a slot or place beyond the room of a key, so that
// nothing has to check it when a key is made.
constexpr bool row_fits(const SshKeyType &type, const SshKeyAction &row) {
  return row.place < (row.is_scheme() ? uint32_t{SSH_KEY_SLOTS} : type.value_count) &&
         row.is_scheme() == !row.name.empty();
}
static_assert(std::all_of(std::begin(kKeyTypes), std::end(kKeyTypes), [](const SshKeyType &type) {
  return type.value_count <= SSH_KEY_VALUES_MAX &&
         std::all_of(type.actions.begin(), type.actions.end(),
                     [&](const SshKeyAction &row) { return row_fits(type, row); });
}));

const SshKeyScheme *find_signature_scheme(const SshKeyType &type, std::string_view name) {
  for (const SshKeyAction &row : type.actions) {
    if (!row.is_scheme() || row.place != SSH_KEY_SIGN) continue;
    for (const SshKeyScheme &scheme : row.schemes)
      if (scheme.name == name) return &scheme;
  }
  return nullptr;
}

}  // namespace

const SshKeyType *ssh_key_type_find(std::string_view name) {
  for (const SshKeyType &row : kKeyTypes)
    if (row.name == name) return &row;
  return nullptr;
}

const SshKeyAction *ssh_key_action_of_tag(const SshKeyType &type, uint32_t tag) {
  for (const SshKeyAction &row : type.actions)
    if (row.tag == tag) return &row;
  return nullptr;
}

const SshKeyAction *ssh_key_action_named(const SshKeyType &type, std::string_view name) {
  for (const SshKeyAction &row : type.actions)
    if (row.is_scheme() && row.name == name) return &row;
  return nullptr;
}

bool ssh_key_choose_scheme(SshPublicKey &key, const SshKeyAction &action, std::string_view name) {
  for (const SshKeyScheme &scheme : action.schemes) {
    if (scheme.name != name || scheme.by_signature_only) continue;
    key.schemes[action.place] = &scheme;
    return true;
  }
  return false;
}

SshKeySchemeFound ssh_key_signature_scheme(const SshPublicKey &key, std::string_view name) {
  if (const SshKeyScheme *own = find_signature_scheme(*key.type, name)) return {own, true};
  for (const SshKeyType &type : kKeyTypes) {
    if (const SshKeyScheme *other = find_signature_scheme(type, name)) return {other, false};
  }
  return {};
}

bool ssh_public_key_can_verify(const char *scheme) {
  const auto has = [&](const SshKeyType &type) { return find_signature_scheme(type, scheme); };
  return std::any_of(std::begin(kKeyTypes), std::end(kKeyTypes), has);
}
