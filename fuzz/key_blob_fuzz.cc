// Any bytes as an exported key: what is imported exports to a blob that imports to the same key.
#include "crypto/public_key.h"
#include "fuzz.h"

void check_input(Bytes input) {
  SshPublicKey *imported = nullptr, *imported_again = nullptr;
  if (ssh_public_key_import(input, &imported) != SSH_KEY_OK) return require(imported == nullptr);
  const SshPublicKeyOwner key(imported), copy(ssh_public_key_copy(imported));
  uint8_t *blob = nullptr, *blob_again = nullptr;
  uint32_t length = 0, length_again = 0;
  require(ssh_public_key_export(key.get(), &blob, &length) == SSH_KEY_OK);
  const SshBlock owner(blob);
  require(length >= 8 && ssh_load_be32(blob) == 0x65C8B28A && ssh_load_be32(blob + 4) == length);
  require(ssh_public_key_import({blob, length}, &imported_again) == SSH_KEY_OK);
  const SshPublicKeyOwner again(imported_again);

  for (const SshPublicKey *same : {copy.get(), again.get()}) {
    require(ssh_public_key_export(same, &blob_again, &length_again) == SSH_KEY_OK);
    const SshBlock owner_again(blob_again);
    require(ssh_bytes_equal({blob, length}, {blob_again, length_again}));
    const SshText name(ssh_public_key_name(key.get())), name_again(ssh_public_key_name(same));
    require(same_text(name.get(), name_again.get()));
  }
  for (const uint32_t tag :
       {SSH_KEY_TAG_Y, SSH_KEY_TAG_P, SSH_KEY_TAG_Q, SSH_KEY_TAG_G, SSH_KEY_TAG_N, SSH_KEY_TAG_E}) {
    SshMpInt value, other;
    const SshKeyStatus status =
        ssh_public_key_get_info(key.get(), {{.tag = tag, .integer = &value}});
    require(ssh_public_key_get_info(again.get(), {{.tag = tag, .integer = &other}}) == status);
    require(value == other);
  }
}
