// The certificate database: it owns every object that a search reply brings. It counts references,
// reuses entries instead of freeing them, and keeps one index per type of key. In an index, entries
// with the same key form a chain. The database knows nothing of certificates: an object is opaque
// to it, and the three functions of SshCertDBMethods do what needs to know more.
//
// The life of an entry: ssh_certdb_alloc_entry makes it, detached and with one reference.
// ssh_certdb_store_entry makes it findable; the entries of replies are never stored, as a list is
// all that refers to them. When the last reference is released, a detached entry is freed at once.
// A stored one goes on a list and stays findable until its memory is wanted: then the entry that
// was released longest ago is freed and used again (recycled). Freed entries wait in a pool.
#pragma once

#include <cstdint>
#include <span>

#include "cm/certdb_key.h"
#include "cm/mapping.h"
#include "util/buffer.h"
#include "util/bytes.h"
#include "util/owner.h"
#include "util/pool.h"

struct SshCertDBEntry;

enum SshCertDBFlag : uint32_t {
  SSH_CERTDB_PINNED = 0x01,       // neither freed nor listed when released
  SSH_CERTDB_LISTED = 0x04,       // on the unreferenced or the timed list
  SSH_CERTDB_DETACHED = 0x08,     // not stored: its memory is not charged
  SSH_CERTDB_POOLED = 0x10,       // on the free pool; no other flag is set then
  SSH_CERTDB_FREE_LAST = 0x20,    // to be freed when the last reference is released
  SSH_CERTDB_RECYCLE_NEXT = 0x40  // goes to the end that is recycled first
};

// SshCertDBMethods are the functions of whoever knows the objects. `encode` and `decode` return 0
// for success; `free` releases an object of an entry.
struct SshCertDBMethods {
  uint32_t (*encode)(uint32_t type, const void *object, SshBuffer &output, uint32_t *length);
  uint32_t (*decode)(uint32_t type, Bytes data, SshCertDBEntry *entry, void **object);
  void (*free)(uint32_t type, void *object);
};

// SshCertDBEntry owns one object with its keys.
struct SshCertDBEntry {
  uint32_t type = 0;
  void *object = nullptr;
  uint8_t *ber = nullptr;  // an encoded copy; owned
  uint32_t ber_len = 0;
  uint32_t tag = 0;  // what the service says of the entry; nothing here interprets it
  uint32_t reserved = 0;
  uint8_t id[4] = {};                  // the key of type 0
  SshCertDBKey *keys = nullptr;        // owned; newest first, or as a reply gives them
  SshCertDBEntry *next = nullptr;      // on either list or the pool
  SshCertDBEntry *prev = nullptr;      // on either list
  SshCertDBEntry *all_next = nullptr;  // of every entry of the database
  // A key type: the next entry with an equal key. Null until the entry is in a chain for the first
  // time, as the entries of replies never are.
  SshCertDBEntry **same_key_next = nullptr;
  uint32_t flags = 0;  // SshCertDBFlag
  int32_t refcount = 0;
  int32_t keep_until = 0;  // seconds since 1970: kept until then once nobody refers to it
  int32_t aux_value = 0;   // the last word of the entry in a reply; nothing here interprets it
};

// SshCertDBList is a list of unreferenced entries; the tail is recycled first.
struct SshCertDBList {
  SshCertDBEntry *head = nullptr;
  SshCertDBEntry *tail = nullptr;
};

// SshCertDBSearchMethod is the index of one key type.
struct SshCertDBSearchMethod {
  uint32_t data_type = 0;  // an SshMappingKind
  SshMapping *mapping = nullptr;
};

// SshCertDBLimits bounds what is allocated before entries are recycled; 0 is no bound.
struct SshCertDBLimits {
  uint32_t max_entries = 0;
  uint32_t max_memory = 0;
  int32_t default_keep_until = 0;  // given to every entry
};

struct SshCertDB {
  SshPool pool;                // of the entries, and of what replies bring
  SshCertDBList unreferenced;  // most lately released first
  SshCertDBList timed;         // unreferenced entries that are kept for some time yet
  SshCertDBEntry *all_entries = nullptr;
  SshCertDBEntry *free_pool = nullptr;
  std::span<SshCertDBSearchMethod> methods;  // one per key type
  SshCertDBMethods callbacks = {};
  uint32_t flag = 1;  // nothing reads it
  SshCertDBLimits limits;
  uint32_t entries_allocated = 0;  // ever
  uint32_t memory_used = 0;        // bytes charged; wraps, see ssh_certdb_free
  uint32_t pool_count = 0;
  uint32_t unref_count = 0;    // entries on both lists
  uint32_t stored_count = 0;   // counted against max_entries; nothing changes it
  int64_t (*now)() = nullptr;  // seconds since 1970; the system's clock
};

// ssh_certdb_init returns a database with one index for each of `data_types` (SshMappingKind; any
// other value is fatal).
[[nodiscard]] SshCertDB *ssh_certdb_init(const SshCertDBMethods &callbacks,
                                         const SshCertDBLimits &limits,
                                         std::span<const uint32_t> data_types);

// ssh_certdb_free frees a database with every entry, also those that somebody refers to: a warning
// tells of each of these.
void ssh_certdb_free(SshCertDB *database);
using SshCertDBOwner = Owner<SshCertDB, ssh_certdb_free>;

// ssh_certdb_alloc_entry returns a detached entry that owns `object`, with one reference. When the
// limits are reached it recycles an unreferenced entry; that there is none is fatal. A recycled
// entry keeps its id.
[[nodiscard]] SshCertDBEntry *ssh_certdb_alloc_entry(SshCertDB &database, uint32_t type,
                                                     void *object);

// ssh_certdb_store_entry makes a detached entry a part of the database: its encoding and keys are
// charged, and the indexes find it by its id and by the first key of each type in its list. One a
// type is all that same_key_next can chain.
void ssh_certdb_store_entry(SshCertDB &database, SshCertDBEntry &entry);

// References are counted by whoever takes them. An entry that is on a list of unreferenced ones
// must not be referred to again, and only an entry with references may be pinned.

// ssh_certdb_release_entry gives a reference back. The last one frees a detached entry and puts any
// other one among those that are recycled.
void ssh_certdb_release_entry(SshCertDB &database, SshCertDBEntry &entry);

// ssh_certdb_free_entry frees what an entry holds and puts it into the pool. With further
// references it gives one back and the last release frees; a pinned entry stays as it is, and so
// does one in the pool.
void ssh_certdb_free_entry(SshCertDB &database, SshCertDBEntry &entry);

// ssh_certdb_search_method_init makes the index of a key type, _uninit destroys it.
void ssh_certdb_search_method_init(SshCertDB &database, uint32_t key_type, uint32_t data_type);
void ssh_certdb_search_method_uninit(SshCertDB &database, uint32_t key_type);

// ssh_certdb_search_method_find gives the first entry of the chain of a key, or null.
[[nodiscard]] SshCertDBEntry *ssh_certdb_search_method_find(const SshCertDB &database,
                                                            uint32_t key_type, Bytes key);

// ssh_certdb_search_method_add puts an entry, which is in no chain of that type yet, at the end of
// the chain of a key. The bytes of the key must be the entry's own.
void ssh_certdb_search_method_add(SshCertDB &database, uint32_t key_type, Bytes key,
                                  SshCertDBEntry &entry);

// ssh_certdb_search_method_remove takes an entry out of the chain of a key; false if the key or the
// entry is not there. A type without an index is fatal.
bool ssh_certdb_search_method_remove(SshCertDB &database, uint32_t key_type, Bytes key,
                                     SshCertDBEntry &entry);
