// SshMapping: the hash table behind the certificate database, from keys to pointers. All slots lie
// in one block, whose number of slots is a power of two (open addressing). It knows nothing of
// certificates and owns neither keys nor values: a key that is held is a view of bytes that the
// owner of the value keeps. A further kind of key is a row of the table in mapping.cc.
//
//   SshMappingOwner mapping(ssh_mapping_allocate(SSH_MAPPING_BYTES));
//   ssh_mapping_put(*mapping, key, entry);
//   void *found = ssh_mapping_get(*mapping, key);
#pragma once

#include <cstdint>

#include "util/bytes.h"
#include "util/owner.h"

// SshMappingKind says what keys are. A key is always given as bytes.
enum SshMappingKind : uint32_t {
  SSH_MAPPING_INTEGER = 0,       // the 32-bit integer in the key's first 4 bytes, kept in the slot
  SSH_MAPPING_BYTES = 1,         // bytes, which must stay where they are while the key is held
  SSH_MAPPING_BYTES_FOLDED = 2,  // the same; ASCII letters of either case are equal
};
constexpr uint32_t SSH_MAPPING_KINDS = 3;

// SshMappingSlot holds a key and its value. The values 0 and 1 of `hash` mark slots without a key:
// one that never held any and one whose key was removed.
struct SshMappingSlot {
  uint32_t hash;
  uint32_t length;     // of the bytes; of an integer key the integer itself
  const uint8_t *key;  // null for an integer key
  void *value;
};

struct SshMapping {
  SshMappingKind kind = {};
  uint32_t size = 0;     // slots
  uint32_t empty = 0;    // slots that never held a key since the last rebuild
  uint32_t deleted = 0;  // slots whose key was removed since then
  SshMappingSlot *slots = nullptr;

  [[nodiscard]] uint32_t live() const { return size - empty - deleted; }
};

// ssh_mapping_allocate returns an empty mapping; ssh_mapping_free frees one (null is ignored).
[[nodiscard]] SshMapping *ssh_mapping_allocate(SshMappingKind kind);
void ssh_mapping_free(SshMapping *mapping);
using SshMappingOwner = Owner<SshMapping, ssh_mapping_free>;

// ssh_mapping_get gives the value of a key, or null. An integer key of fewer than 4 bytes is never
// found.
[[nodiscard]] void *ssh_mapping_get(const SshMapping &mapping, Bytes key);

// ssh_mapping_put gives a key a value other than null. If an equal key is held, this key's bytes
// take its place. An integer key of fewer than 4 bytes is not taken.
void ssh_mapping_put(SshMapping &mapping, Bytes key, void *value);

// ssh_mapping_remove removes a key; false if it is not held.
bool ssh_mapping_remove(SshMapping &mapping, Bytes key);

// ssh_mapping_hash gives the hash of a key as a slot holds it, never below 2.
[[nodiscard]] uint32_t ssh_mapping_hash(SshMappingKind kind, Bytes key);
