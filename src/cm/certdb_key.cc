#include "cm/certdb_key.h"

#include <cstddef>

#include "util/mem.h"

namespace {

SshCertDBKey *make(uint32_t type, Bytes data, uint32_t value) {
  auto *key = static_cast<SshCertDBKey *>(ssh_xmalloc(sizeof(SshCertDBKey) + data.size()));
  key->type = type;
  key->length = static_cast<uint32_t>(data.size());
  key->value = value;
  key->next = nullptr;
  if (!data.empty()) std::memcpy(key->data, data.data(), data.size());
  return key;
}

}  // namespace

void ssh_certdb_key_push(SshCertDBKey **list, uint32_t type, Bytes data, uint32_t value) {
  SshCertDBKey *key = make(type, data, value);
  key->next = *list;
  *list = key;
}

SshCertDBKey *ssh_certdb_key_copy(const SshCertDBKey *list) {
  SshCertDBKey *copy = nullptr;
  for (SshCertDBKey **end = &copy; list; list = list->next) {
    *end = make(list->type, list->bytes(), list->value);
    end = &(*end)->next;
  }
  return copy;
}

void ssh_certdb_key_free(SshCertDBKey *key) { ssh_xfree_wiped(key); }

void ssh_certdb_key_free_list(SshCertDBKey **list) {
  while (SshCertDBKey *key = *list) {
    *list = key->next;
    ssh_certdb_key_free(key);
  }
}
