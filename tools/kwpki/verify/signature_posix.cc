// Signatures by libcrypto.
#include <openssl/crypto.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <algorithm>
#include <iterator>

#include "kwpki/verify/signature.h"
#include "util/owner.h"

namespace kwpki {
namespace {

using Key = Owner<EVP_PKEY, EVP_PKEY_free>;
using DigestContext = Owner<EVP_MD_CTX, EVP_MD_CTX_free>;
using Group = Owner<EC_GROUP, EC_GROUP_free>;

// The types of keys in libcrypto. A plain RSA key makes RSASSA-PSS signatures too.
constexpr struct {
  uint32_t code;
  int id;
} kTypes[] = {
    {SSH_OID_KEY_EC, EVP_PKEY_EC},           {SSH_OID_KEY_ED25519, EVP_PKEY_ED25519},
    {SSH_OID_KEY_ED448, EVP_PKEY_ED448},     {SSH_OID_KEY_RSA_PSS, EVP_PKEY_RSA},
    {SSH_OID_KEY_RSA_PSS, EVP_PKEY_RSA_PSS},
};

// open_key gives null for bytes that are no key of the scheme's type. The last key is kept: most
// records of a bundle have one issuer, and opening its key takes as long as verifying. libcrypto is
// started before the key is made, since static objects are destroyed in the opposite order and the
// key is freed by libcrypto.
EVP_PKEY *open_key(const SignaturePlan &plan) {
  static const bool begun = OPENSSL_init_crypto(0, nullptr) == 1;
  static std::vector<uint8_t> info;
  static Key key;
  if (!begun) return nullptr;
  const Bytes wanted = plan.key.info;
  if (!key || !ssh_bytes_equal(info, wanted)) {
    const uint8_t *at = wanted.data();
    key.reset(d2i_PUBKEY(nullptr, &at, static_cast<long>(wanted.size())));
    if (key && at != wanted.data() + wanted.size()) key.reset();
    info.assign(wanted.begin(), wanted.end());
  }
  const int id = key ? EVP_PKEY_get_base_id(key.get()) : EVP_PKEY_NONE;
  const auto fits = [&](const auto &row) { return row.code == plan.type && row.id == id; };
  return std::any_of(std::begin(kTypes), std::end(kTypes), fits) ? key.get() : nullptr;
}

bool has_curve(std::string_view oid) {
  const int id = OBJ_txt2nid(std::string(oid).c_str());
  return id != NID_undef && Group(EC_GROUP_new_by_curve_name(id));
}

bool set_padding(EVP_PKEY_CTX *context, const SignaturePlan &plan) {
  const EVP_MD *mask = EVP_get_digestbyname(plan.mask_hash.c_str());
  return mask && EVP_PKEY_CTX_set_rsa_padding(context, RSA_PKCS1_PSS_PADDING) > 0 &&
         EVP_PKEY_CTX_set_rsa_pss_saltlen(context, plan.salt_length) > 0 &&
         EVP_PKEY_CTX_set_rsa_mgf1_md(context, mask) > 0;
}

}  // namespace

SignatureAnswer system_verify(const SignaturePlan &plan) {
  EVP_PKEY *key = open_key(plan);
  if (!key && plan.curve && !has_curve(plan.curve->oid))
    return {SSH_X509_SCHEME_NOT_SUPPORTED, "curve " + std::string(plan.curve->name)};
  if (!key) return {SSH_X509_KEY_NOT_FIT, "it is no key: its point is not on the curve, or so"};
  const DigestContext context(EVP_MD_CTX_new());
  const EVP_MD *hash = plan.hash.empty() ? nullptr : EVP_get_digestbyname(plan.hash.c_str());
  EVP_PKEY_CTX *padding = nullptr;
  const bool begun = context && (hash || plan.hash.empty()) &&
                     EVP_DigestVerifyInit(context.get(), &padding, hash, nullptr, key) == 1 &&
                     (plan.type != SSH_OID_KEY_RSA_PSS || set_padding(padding, plan));
  if (!begun) return {SSH_X509_SCHEME_NOT_SUPPORTED, {}};
  const int result = EVP_DigestVerify(context.get(), plan.signature.data(), plan.signature.size(),
                                      plan.data.data(), plan.data.size());
  return {result == 1 ? SSH_X509_VALID : SSH_X509_INVALID, {}};
}

}  // namespace kwpki
