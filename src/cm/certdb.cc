#include "cm/certdb.h"

#include <algorithm>
#include <ctime>
#include <new>

#include "util/fatal.h"
#include "util/mem.h"
#include "util/owner.h"

namespace {

// What is charged beside the bytes of encodings and keys. The figures are agreed ones, the same on
// every machine, whatever an entry takes there.
constexpr uint32_t kEntryCharge = 64;
constexpr uint32_t kTypeCharge = 4;  // a key type, for an entry
constexpr uint32_t kKeyCharge = 20;

// The clock is a member of the database, so that tests can set the time.
int64_t system_clock() { return static_cast<int64_t>(std::time(nullptr)); }

bool has(const SshCertDBEntry &entry, SshCertDBFlag flag) { return entry.flags & flag; }

// list_of gives the list that a listed entry is on.
SshCertDBList &list_of(SshCertDB &database, const SshCertDBEntry &entry) {
  return entry.keep_until > 0 ? database.timed : database.unreferenced;
}

// push_head, push_tail and unlist are the usual steps of a doubly linked list.
void push_head(SshCertDBList &list, SshCertDBEntry &entry) {
  entry.prev = nullptr;
  entry.next = list.head;
  (list.head ? list.head->prev : list.tail) = &entry;
  list.head = &entry;
}

void push_tail(SshCertDBList &list, SshCertDBEntry &entry) {
  entry.next = nullptr;
  entry.prev = list.tail;
  (list.tail ? list.tail->next : list.head) = &entry;
  list.tail = &entry;
}

void unlist(SshCertDB &database, SshCertDBEntry &entry) {
  SshCertDBList &list = list_of(database, entry);
  (entry.prev ? entry.prev->next : list.head) = entry.next;
  (entry.next ? entry.next->prev : list.tail) = entry.prev;
  entry.next = entry.prev = nullptr;
  entry.flags &= ~uint32_t{SSH_CERTDB_LISTED};
  --database.unref_count;
}

// list_entry puts an entry that nobody refers to on the list that fits its time.
void list_entry(SshCertDB &database, SshCertDBEntry &entry) {
  if (entry.keep_until > 0 && entry.keep_until > database.now()) {
    push_tail(database.timed, entry);
  } else {
    entry.keep_until = std::min(entry.keep_until, 0);
    (has(entry, SSH_CERTDB_RECYCLE_NEXT) ? push_tail : push_head)(database.unreferenced, entry);
  }
  entry.flags |= SSH_CERTDB_LISTED;
  ++database.unref_count;
}

// pop_pool takes the first entry of the pool, which must not be empty.
SshCertDBEntry *pop_pool(SshCertDB &database) {
  SshCertDBEntry *entry = database.free_pool;
  database.free_pool = entry->next;
  entry->next = nullptr;
  return entry;
}

// recycle frees the unreferenced entry that was released first, or the timed one whose time is up.
SshCertDBEntry *recycle(SshCertDB &database) {
  SshCertDBEntry *entry = database.unreferenced.tail;
  if (entry) {
    unlist(database, *entry);
  } else if (entry = database.timed.tail; entry && database.now() > entry->keep_until) {
    unlist(database, *entry);
    entry->keep_until = 0;
  } else {
    ssh_fatal("ssh_certdb_alloc_entry: out of usable entires.");
  }
  ssh_certdb_free_entry(database, *entry);
  return pop_pool(database);  // deliberately not counted: pool_count drifts upward here
}

// take_entry gives an entry that is not in use: one of the pool, a fresh one while the limits allow
// it (0 is no limit), or one that it recycles.
SshCertDBEntry *take_entry(SshCertDB &database) {
  if (database.free_pool) {
    --database.pool_count;
    return pop_pool(database);
  }
  const SshCertDBLimits &limits = database.limits;
  const uint32_t counted = database.stored_count + database.unref_count;
  if ((limits.max_memory != 0 && database.memory_used >= limits.max_memory) ||
      (limits.max_entries != 0 && counted >= limits.max_entries)) {
    return recycle(database);
  }
  auto *entry = database.pool.make<SshCertDBEntry>();
  entry->all_next = database.all_entries;
  database.all_entries = entry;
  ++database.entries_allocated;
  return entry;
}

// is_first_of_type is true for a key by which the indexes find its entry: the first of its type in
// the entry's list. Type 0 is that of the identifier, which is no key of the list.
bool is_first_of_type(const SshCertDBEntry &entry, const SshCertDBKey &key) {
  const SshCertDBKey *first = entry.keys;
  if (key.type == 0) return false;
  while (first->type != key.type) first = first->next;
  return first == &key;
}

// free_object has whoever knows the object free it.
void free_object(const SshCertDB &database, SshCertDBEntry &entry) {
  if (!database.callbacks.free || !entry.object) return;
  database.callbacks.free(entry.type, entry.object);
  entry.object = nullptr;
}

// free_encoding drops the encoded copy and returns its charge.
uint32_t free_encoding(SshCertDBEntry &entry) {
  if (!entry.ber) return 0;
  const uint32_t charge = entry.ber_len;
  ssh_xfree_wiped(entry.ber);
  entry.ber = nullptr;
  entry.ber_len = 0;
  return charge;
}

// destroy_entry frees an entry of a database that goes. The charge is taken back from detached
// entries too, deliberately: memory_used then wraps below zero.
void destroy_entry(SshCertDB &database, SshCertDBEntry *entry) {
  if (entry->refcount != 0) {
    ssh_warning("ssh_certdb_free: active reference to entry (%d)", entry->refcount);
  }
  for (const SshCertDBKey *key = entry->keys; key; key = key->next) {
    database.memory_used -= kKeyCharge + key->length;
  }
  ssh_certdb_key_free_list(&entry->keys);
  database.memory_used -= free_encoding(*entry);
  free_object(database, *entry);
  const auto types = static_cast<uint32_t>(database.methods.size());
  database.memory_used -= types * kTypeCharge + kEntryCharge;
  ssh_xfree(entry->same_key_next);
}

}  // namespace

SshCertDB *ssh_certdb_init(const SshCertDBMethods &callbacks, const SshCertDBLimits &limits,
                           std::span<const uint32_t> data_types) {
  auto *database = ssh_make<SshCertDB>();
  void *methods = ssh_xcalloc(data_types.size(), sizeof(SshCertDBSearchMethod));
  database->methods = {static_cast<SshCertDBSearchMethod *>(methods), data_types.size()};
  for (uint32_t type = 0; type < data_types.size(); ++type) {
    ssh_certdb_search_method_init(*database, type, data_types[type]);
  }
  database->callbacks = callbacks;
  database->limits = limits;
  database->now = system_clock;
  return database;
}

void ssh_certdb_free(SshCertDB *database) {
  for (uint32_t type = 0; type < database->methods.size(); ++type) {
    ssh_certdb_search_method_uninit(*database, type);
  }
  while (SshCertDBEntry *entry = database->all_entries) {
    database->all_entries = entry->all_next;
    destroy_entry(*database, entry);
  }
  ssh_xfree(database->methods.data());
  ssh_destroy(database);
}

SshCertDBEntry *ssh_certdb_alloc_entry(SshCertDB &database, uint32_t type, void *object) {
  SshCertDBEntry *entry = take_entry(database);
  entry->flags = SSH_CERTDB_DETACHED;
  entry->refcount = 1;
  entry->keys = nullptr;
  entry->ber = nullptr;
  entry->ber_len = 0;
  entry->reserved = 0;
  entry->keep_until = database.limits.default_keep_until;
  entry->aux_value = -1;
  entry->type = type;
  entry->object = object;
  return entry;
}

void ssh_certdb_store_entry(SshCertDB &database, SshCertDBEntry &entry) {
  if (!has(entry, SSH_CERTDB_DETACHED)) return;
  entry.flags &= ~uint32_t{SSH_CERTDB_DETACHED};
  database.memory_used += entry.ber_len;
  ssh_certdb_search_method_add(database, 0, entry.id, entry);
  for (const SshCertDBKey *key = entry.keys; key; key = key->next) {
    database.memory_used += kKeyCharge + key->length;
    if (is_first_of_type(entry, *key)) {
      ssh_certdb_search_method_add(database, key->type, key->bytes(), entry);
    }
  }
}

void ssh_certdb_release_entry(SshCertDB &database, SshCertDBEntry &entry) {
  if (--entry.refcount != 0) return;
  if (has(entry, SSH_CERTDB_FREE_LAST) || has(entry, SSH_CERTDB_DETACHED)) {
    ssh_certdb_free_entry(database, entry);
  } else if (!has(entry, SSH_CERTDB_PINNED)) {
    list_entry(database, entry);
  }
}

void ssh_certdb_free_entry(SshCertDB &database, SshCertDBEntry &entry) {
  if (has(entry, SSH_CERTDB_PINNED) || has(entry, SSH_CERTDB_POOLED)) return;
  if (entry.refcount >= 2) {
    entry.flags |= SSH_CERTDB_FREE_LAST;
    --entry.refcount;
    return;
  }
  const bool charged = !has(entry, SSH_CERTDB_DETACHED);
  while (SshCertDBKey *key = entry.keys) {
    ssh_certdb_search_method_remove(database, key->type, key->bytes(), entry);
    if (charged) database.memory_used -= kKeyCharge + key->length;
    entry.keys = key->next;
    ssh_certdb_key_free(key);
  }
  ssh_certdb_search_method_remove(database, 0, entry.id, entry);
  if (has(entry, SSH_CERTDB_LISTED)) unlist(database, entry);
  const uint32_t encoding = free_encoding(entry);
  if (charged) database.memory_used -= encoding;
  free_object(database, entry);
  entry.next = database.free_pool;
  database.free_pool = &entry;
  ++database.pool_count;
  entry.refcount = 0;
  entry.flags = SSH_CERTDB_POOLED;
}
