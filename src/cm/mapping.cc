#include "cm/mapping.h"

#include <bit>
#include <new>

#include "util/ascii.h"
#include "util/fatal.h"
#include "util/mem.h"
#include "util/owner.h"

namespace {

// How the table works: the hash of a key chooses a first slot and a step, and a search goes from
// slot to slot by that step until it finds the key or a slot that never held one. A removed key
// leaves a mark, since searches for other keys must go on past its slot; a later key may take the
// slot. When half of the slots are taken by keys, the table is rebuilt with twice as many; when an
// eighth are marks, it is rebuilt without them.
constexpr uint32_t kEmpty = 0;
constexpr uint32_t kDeleted = 1;
constexpr uint32_t kFirstSize = 8;

constexpr uint8_t as_is(uint8_t c) { return c; }

// The order of an integer's bytes is the machine's: nothing but this mapping ever sees the number.
uint32_t integer_of(Bytes key) {
  uint32_t value = 0;
  std::memcpy(&value, key.data(), sizeof value);
  return value;
}

uint32_t hash_integer(Bytes key) { return integer_of(key); }

// hash_octets rotates the hash for each byte, so that the order of bytes counts. `Letter` folds
// case where letters of either case are one key.
template <uint8_t (*Letter)(uint8_t)>
uint32_t hash_octets(Bytes key) {
  uint32_t hash = 0xabcdef01;
  for (const uint8_t octet : key) hash = std::rotl(hash, 1) + Letter(octet);
  return hash;
}

bool same_integer(const SshMappingSlot &slot, Bytes key) { return slot.length == integer_of(key); }

bool same_octets(const SshMappingSlot &slot, Bytes key) {
  return ssh_bytes_equal({slot.key, slot.length}, key);
}

bool same_letters(const SshMappingSlot &slot, Bytes key) {
  if (slot.length != key.size()) return false;
  for (size_t i = 0; i < key.size(); ++i) {
    if (ssh_to_lower<uint8_t>(slot.key[i]) != ssh_to_lower<uint8_t>(key[i])) return false;
  }
  return true;
}

constexpr struct {
  uint32_t (*hash)(Bytes key);
  bool (*same)(const SshMappingSlot &slot, Bytes key);
} kKeyKinds[] = {
    {hash_integer, same_integer},
    {hash_octets<as_is>, same_octets},
    {hash_octets<ssh_to_lower<uint8_t>>, same_letters},
};
static_assert(std::size(kKeyKinds) == SSH_MAPPING_KINDS);

// usable is false for an integer key of too few bytes, which is never held.
bool usable(const SshMapping &mapping, Bytes key) {
  return mapping.kind != SSH_MAPPING_INTEGER || key.size() >= sizeof(uint32_t);
}

// Probe walks the slots in which a hash may lie. Its step is odd and the number of slots a power of
// two, so that it comes to every slot once before it comes to the first again.
class Probe {
 public:
  Probe(const SshMapping &mapping, uint32_t hash)
      : slots_(mapping.slots),
        mask_(mapping.size - 1),
        at_(hash),
        step_(((hash & 0x3f8) | 4) >> 2) {}

  SshMappingSlot *next() {
    if (taken_++ > mask_) ssh_fatal("fatal error in mapping.");
    SshMappingSlot *slot = &slots_[at_ & mask_];
    at_ += step_;
    return slot;
  }

 private:
  SshMappingSlot *slots_;
  uint32_t mask_;
  uint32_t at_;
  uint32_t step_;
  uint32_t taken_ = 0;
};

// find gives the slot of a key, or null and the slot in which to put it.
SshMappingSlot *find(const SshMapping &mapping, uint32_t hash, Bytes key, SshMappingSlot **free) {
  *free = nullptr;
  for (Probe probe(mapping, hash);;) {
    SshMappingSlot *slot = probe.next();
    if (slot->hash == kEmpty) {
      if (!*free) *free = slot;
      return nullptr;
    }
    if (slot->hash == kDeleted) {
      if (!*free) *free = slot;
    } else if (slot->hash == hash && kKeyKinds[mapping.kind].same(*slot, key)) {
      return slot;
    }
  }
}

void make_slots(SshMapping &mapping, uint32_t size) {
  mapping.slots = static_cast<SshMappingSlot *>(ssh_xcalloc(size, sizeof(SshMappingSlot)));
  mapping.size = mapping.empty = size;
  mapping.deleted = 0;
}

// rebuild moves what is held into new slots and leaves the deleted ones behind.
void rebuild(SshMapping &mapping, uint32_t size) {
  const SshMapping old = mapping;
  make_slots(mapping, size);
  for (const SshMappingSlot &held : std::span(old.slots, old.size)) {
    if (held.hash <= kDeleted) continue;
    Probe probe(mapping, held.hash);
    SshMappingSlot *slot = probe.next();
    while (slot->hash != kEmpty) slot = probe.next();
    *slot = held;
    --mapping.empty;
  }
  ssh_xfree(old.slots);
}

}  // namespace

uint32_t ssh_mapping_hash(SshMappingKind kind, Bytes key) {
  const uint32_t hash = kKeyKinds[kind].hash(key);
  return hash <= kDeleted ? hash + 2 : hash;
}

SshMapping *ssh_mapping_allocate(SshMappingKind kind) {
  auto *mapping = ssh_make<SshMapping>();
  mapping->kind = kind;
  make_slots(*mapping, kFirstSize);
  return mapping;
}

void ssh_mapping_free(SshMapping *mapping) {
  if (!mapping) return;
  ssh_xfree(mapping->slots);
  ssh_destroy(mapping);
}

void *ssh_mapping_get(const SshMapping &mapping, Bytes key) {
  if (!usable(mapping, key)) return nullptr;
  SshMappingSlot *free = nullptr;
  const SshMappingSlot *slot = find(mapping, ssh_mapping_hash(mapping.kind, key), key, &free);
  return slot ? slot->value : nullptr;
}

void ssh_mapping_put(SshMapping &mapping, Bytes key, void *value) {
  if (!usable(mapping, key)) return;
  if (mapping.empty + mapping.deleted <= mapping.size / 2) rebuild(mapping, mapping.size * 2);

  const uint32_t hash = ssh_mapping_hash(mapping.kind, key);
  SshMappingSlot *free = nullptr;
  SshMappingSlot *slot = find(mapping, hash, key, &free);
  if (!slot) {
    slot = free;
    --(slot->hash == kDeleted ? mapping.deleted : mapping.empty);
  }
  if (mapping.kind == SSH_MAPPING_INTEGER) {
    *slot = {hash, integer_of(key), nullptr, value};
  } else {
    *slot = {hash, static_cast<uint32_t>(key.size()), key.data(), value};
  }
}

bool ssh_mapping_remove(SshMapping &mapping, Bytes key) {
  if (!usable(mapping, key)) return false;
  SshMappingSlot *free = nullptr;
  SshMappingSlot *slot = find(mapping, ssh_mapping_hash(mapping.kind, key), key, &free);
  if (!slot) return false;

  *slot = {kDeleted, 0, nullptr, nullptr};
  ++mapping.deleted;
  if (mapping.deleted <= mapping.size / 8) return true;
  const bool roomy = mapping.size > kFirstSize && mapping.live() < mapping.size / 16;
  rebuild(mapping, roomy ? mapping.size / 2 : mapping.size);
  return true;
}
