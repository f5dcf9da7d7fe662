// Search keys: typed bytes in a list, the newest first. Entries of the certificate database carry
// them, and searches ask for them. A key and its bytes are one block, which is wiped when it is
// freed, since names and keys are nobody else's business. What the types mean and how bytes become
// keys is told in search.h, where a further type is added.
#pragma once

#include <cstdint>

#include "util/bytes.h"

// SSH_CERTDB_KEY_TYPES is the number of key types of this system; those of keys lie below it.
constexpr uint32_t SSH_CERTDB_KEY_TYPES = 15;

struct SshCertDBKey {
  uint32_t type;
  uint32_t length;  // of data, in bytes
  uint32_t value;   // what the service says of the key; nothing here interprets it
  SshCertDBKey *next;
  uint8_t data[1];  // the first of `length` bytes

  [[nodiscard]] Bytes bytes() const { return {data, length}; }
};

// ssh_certdb_key_push puts a new key at the head of a list.
void ssh_certdb_key_push(SshCertDBKey **list, uint32_t type, Bytes data, uint32_t value = 0);

// ssh_certdb_key_copy returns a copy of a list in the same order.
[[nodiscard]] SshCertDBKey *ssh_certdb_key_copy(const SshCertDBKey *list);

// ssh_certdb_key_free wipes and frees one key, which must be in no list any more;
// ssh_certdb_key_free_list a whole list, which is empty afterwards.
void ssh_certdb_key_free(SshCertDBKey *key);
void ssh_certdb_key_free_list(SshCertDBKey **list);
