// The indexes of the certificate database: chains of entries with an equal key.
#include "cm/certdb.h"
#include "util/fatal.h"
#include "util/mem.h"

namespace {

// checked_kind converts a data type to a kind of mapping; an unknown one is fatal. Making and
// destroying an index report it with the same text, deliberately: hosts know the text so.
SshMappingKind checked_kind(uint32_t data_type) {
  if (data_type >= SSH_MAPPING_KINDS) {
    ssh_fatal("ssh_certdb_search_method_init: unknown data type.");
  }
  return static_cast<SshMappingKind>(data_type);
}

// mapping_of gives the index of a key type; a type without one is fatal.
SshMapping &mapping_of(const SshCertDB &database, uint32_t key_type) {
  SshMapping *mapping =
      key_type < database.methods.size() ? database.methods[key_type].mapping : nullptr;
  if (!mapping) {
    ssh_fatal("ssh_certdb_search_method_remove: type %d not allocated", static_cast<int>(key_type));
  }
  return *mapping;
}

// own_octets gives the entry's own copy of a key's bytes, of which the index may hold a view.
Bytes own_octets(const SshCertDBEntry &entry, uint32_t key_type, Bytes key) {
  for (const SshCertDBKey *own = entry.keys; own; own = own->next) {
    if (own->type == key_type && ssh_bytes_equal(own->bytes(), key)) return own->bytes();
  }
  ssh_fatal("ssh_search_method_remove: failed to find next identical key");
}

}  // namespace

void ssh_certdb_search_method_init(SshCertDB &database, uint32_t key_type, uint32_t data_type) {
  database.methods[key_type] = {data_type, ssh_mapping_allocate(checked_kind(data_type))};
}

void ssh_certdb_search_method_uninit(SshCertDB &database, uint32_t key_type) {
  SshCertDBSearchMethod &method = database.methods[key_type];
  (void)checked_kind(method.data_type);
  ssh_mapping_free(method.mapping);
  method.mapping = nullptr;
}

SshCertDBEntry *ssh_certdb_search_method_find(const SshCertDB &database, uint32_t key_type,
                                              Bytes key) {
  return static_cast<SshCertDBEntry *>(ssh_mapping_get(mapping_of(database, key_type), key));
}

void ssh_certdb_search_method_add(SshCertDB &database, uint32_t key_type, Bytes key,
                                  SshCertDBEntry &entry) {
  if (!entry.same_key_next) {
    void *links = ssh_xcalloc(database.methods.size(), sizeof(SshCertDBEntry *));
    entry.same_key_next = static_cast<SshCertDBEntry **>(links);
  }
  // The index leads to the first entry of a chain; a further one goes to its end.
  SshCertDBEntry *last = ssh_certdb_search_method_find(database, key_type, key);
  if (!last) return ssh_mapping_put(mapping_of(database, key_type), key, &entry);
  while (last->same_key_next[key_type]) last = last->same_key_next[key_type];
  last->same_key_next[key_type] = &entry;
}

bool ssh_certdb_search_method_remove(SshCertDB &database, uint32_t key_type, Bytes key,
                                     SshCertDBEntry &entry) {
  SshMapping &mapping = mapping_of(database, key_type);
  auto *first = static_cast<SshCertDBEntry *>(ssh_mapping_get(mapping, key));
  if (!first || !entry.same_key_next) return false;

  SshCertDBEntry *&successor = entry.same_key_next[key_type];
  if (first != &entry) {
    while (first && first->same_key_next[key_type] != &entry)
      first = first->same_key_next[key_type];
    if (!first) return false;
    first->same_key_next[key_type] = successor;
  } else if (!successor) {
    ssh_mapping_remove(mapping, key);
  } else {
    // The index holds a view of the key of the entry that goes, so it gets the same key of the
    // successor. An integer is held by value.
    const bool shown = mapping.kind != SSH_MAPPING_INTEGER;
    ssh_mapping_put(mapping, shown ? own_octets(*successor, key_type, key) : key, successor);
  }
  successor = nullptr;
  return true;
}
