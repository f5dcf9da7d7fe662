#include "crypto/public_key.h"

#include <string_view>

#include "crypto/key_name.h"
#include "crypto/key_types.h"
#include "util/fatal.h"
#include "util/owner.h"

namespace {

// define_tag gives one tag its value; `given` collects the places of the values that were set.
SshKeyStatus define_tag(SshPublicKey &key, const SshKeyValue &value, uint32_t &given) {
  const SshKeyAction *row = ssh_key_action_of_tag(*key.type, value.tag);
  if (!row) return SSH_KEY_BAD_TAG;
  if (row->is_scheme()) {
    const std::string_view name = value.scheme ? std::string_view(value.scheme) : SSH_KEY_PLAIN;
    return ssh_key_choose_scheme(key, *row, name) ? SSH_KEY_OK : SSH_KEY_UNKNOWN_NAME;
  }
  if (!value.integer) return SSH_KEY_REFUSED;
  key.values[row->place] = *value.integer;
  given |= 1u << row->place;
  return SSH_KEY_OK;
}

SshKeyStatus answer(const SshPublicKey &key, const SshKeyQuestion &question) {
  const SshKeyAction *row = ssh_key_action_of_tag(*key.type, question.tag);
  if (!row) return SSH_KEY_BAD_TAG;
  if (!row->is_scheme()) {
    if (!question.integer) return SSH_KEY_REFUSED;
    *question.integer = key.values[row->place];
    return SSH_KEY_OK;
  }
  if (!question.scheme) return SSH_KEY_REFUSED;
  const SshKeyScheme *scheme = key.schemes[row->place];
  *question.scheme = scheme ? scheme->name : nullptr;
  return SSH_KEY_OK;
}

}  // namespace

SshKeyStatus ssh_public_key_define(SshPublicKey **key, const char *name,
                                   std::initializer_list<SshKeyValue> values) {
  if (!name) return SSH_KEY_BAD_FORMAT;
  SshPublicKeyOwner made;
  if (const SshKeyStatus status = ssh_key_from_name(name, SSH_KEY_BAD_FORMAT, made)) return status;
  uint32_t given = 0;
  for (const SshKeyValue &value : values) {
    if (value.tag == SSH_KEY_TAG_END) break;
    if (const SshKeyStatus status = define_tag(*made, value, given)) return status;
  }
  if (given != (1u << made->type->value_count) - 1) return SSH_KEY_FAILED;
  *key = made.release();
  return SSH_KEY_OK;
}

SshKeyStatus ssh_public_key_get_info(const SshPublicKey *key,
                                     std::initializer_list<SshKeyQuestion> questions) {
  for (const SshKeyQuestion &question : questions) {
    if (question.tag == SSH_KEY_TAG_END) break;
    if (const SshKeyStatus status = answer(*key, question)) return status;
  }
  return SSH_KEY_OK;
}

SshPublicKey *ssh_public_key_copy(const SshPublicKey *key) { return ssh_make<SshPublicKey>(*key); }

void ssh_public_key_free(SshPublicKey *key) {
  // A key without key data is never handed out, so that only a null key can be undefined.
  if (!key) ssh_fatal("ssh_public_key_free: undefined key.");
  ssh_destroy(key);
}
