#include "crypto/key_blob.h"

#include "crypto/key_groups.h"
#include "crypto/key_name.h"
#include "crypto/key_types.h"
#include "util/mem.h"
#include "util/wire.h"

namespace {

constexpr uint32_t kBlobMagic = 0x65C8B28A;
constexpr uint32_t kBlobLengthMin = 8;  // magic and length

// import_group reads group parameters (1 and a name, or 0 and p, g, q) and returns their length; 0
// if they cannot be read or the name is unknown. A named group's numbers are stored all the same.
size_t import_group(SshPublicKey &key, Bytes data) {
  SshMpInt *v = key.values;
  uint32_t named = 0;
  Bytes name;
  if (!ssh_decode_array(data, {ssh_get_uint32(&named)}) || named > 1) return 0;
  if (named == 0) {
    return ssh_decode_array(data, {ssh_get_uint32(nullptr), ssh_get_mp_int(&v[SSH_DL_P]),
                                   ssh_get_mp_int(&v[SSH_DL_G]), ssh_get_mp_int(&v[SSH_DL_Q])});
  }
  const size_t used =
      ssh_decode_array(data, {ssh_get_uint32(nullptr), ssh_get_uint32_str_nocopy(&name)});
  if (used == 0 || name.empty()) return 0;
  key.group = ssh_key_group_find(ssh_bytes_text(name));
  if (!key.group) return 0;
  ssh_key_group_numbers(key.group, &v[SSH_DL_P], &v[SSH_DL_Q], &v[SSH_DL_G]);
  return used;
}

void write_blob(const SshPublicKey &key, uint64_t total, SshKeyWriter &out) {
  out.uint32(kBlobMagic);
  out.uint32(total);
  out.string([&] { ssh_key_write_name(key, out); });
  out.string([&] { key.type->export_data(key, out); });
}

}  // namespace

// RSA key data puts the exponent first.
bool ssh_key_import_rsa(SshPublicKey &key, Bytes data) {
  return ssh_decode_array(data, {ssh_get_mp_int(&key.values[SSH_RSA_E]),
                                 ssh_get_mp_int(&key.values[SSH_RSA_N])}) > 0;
}

void ssh_key_export_rsa(const SshPublicKey &key, SshKeyWriter &out) {
  out.integer(key.values[SSH_RSA_E]);
  out.integer(key.values[SSH_RSA_N]);
}

bool ssh_key_import_dl(SshPublicKey &key, Bytes data) {
  const size_t used = import_group(key, data);
  if (used == 0) return false;
  return ssh_decode_array(data.subspan(used), {ssh_get_mp_int(&key.values[SSH_DL_Y])}) > 0;
}

void ssh_key_export_dl(const SshPublicKey &key, SshKeyWriter &out) {
  out.uint32(key.group ? 1 : 0);
  if (key.group) {
    out.string([&] { out.text(ssh_key_group_name(key.group)); });
  } else {
    for (const SshDlPlace value : {SSH_DL_P, SSH_DL_G, SSH_DL_Q}) out.integer(key.values[value]);
  }
  out.integer(key.values[SSH_DL_Y]);
}

SshKeyStatus ssh_public_key_export(const SshPublicKey *key, uint8_t **blob, uint32_t *length) {
  SshKeyWriter measure;
  write_blob(*key, 0, measure);
  const uint64_t total = measure.count();
  if (total > SSH_XMALLOC_MAX) return SSH_KEY_FAILED;
  *blob = static_cast<uint8_t *>(ssh_xmalloc(static_cast<size_t>(total)));
  *length = static_cast<uint32_t>(total);
  SshKeyWriter out(*blob);
  write_blob(*key, total, out);
  return SSH_KEY_OK;
}

SshKeyStatus ssh_public_key_import(Bytes blob, SshPublicKey **key) {
  uint32_t magic = 0, total = 0;
  Bytes name, data;
  // The total is deliberately not held against the bytes at hand: blobs are cut out of longer
  // messages, and old ones carry the length of what they stood in.
  const size_t used = ssh_decode_array(
      blob, {ssh_get_uint32(&magic), ssh_get_uint32(&total), ssh_get_uint32_str_nocopy(&name)});
  if (used == 0 || magic != kBlobMagic || total < kBlobLengthMin) return SSH_KEY_BAD_FORMAT;
  SshPublicKeyOwner made;
  if (const auto status = ssh_key_from_name(ssh_bytes_text(name), SSH_KEY_FAILED, made))
    return status;
  const bool good = ssh_decode_array(blob.subspan(used), {ssh_get_uint32_str_nocopy(&data)}) > 0 &&
                    made->type->import_data(*made, data);
  if (!good) return SSH_KEY_FAILED;
  *key = made.release();
  return SSH_KEY_OK;
}
