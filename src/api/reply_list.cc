#include "api/reply_list.h"

#include <algorithm>
#include <new>

#include "api/handles.h"
#include "cm/entries.h"
#include "util/mem.h"
#include "util/owner.h"
#include "util/wire.h"

namespace {

constexpr SshCertDBLimits kLimits = {
    .max_entries = 1024, .max_memory = 0x100000, .default_keep_until = 5};

// Integers for the identifier, bytes for the keys.
constexpr uint32_t kDataTypes[SSH_CERTDB_KEY_TYPES] = {0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};

// kDecodeMemory is the part of a list's memory that only the decode of a certificate may use.
constexpr size_t kDecodeMemory = 0x3F00000;

// Account is what the elements of a list may still take of the heap: the database's pool, in which
// they lie, and beside it their keys and what records have beyond their room in the pool.
class Account {
 public:
  Account(SshPool &pool, size_t most) : pool_(pool), most_(most - kDecodeMemory) { bound(); }
  ~Account() { pool_.limit(0, nullptr); }
  Account(const Account &) = delete;
  Account &operator=(const Account &) = delete;

  // take is asked before bytes beside the pool are taken. It is false from the first time on that
  // there is not enough left.
  bool take(size_t octets) {
    const size_t taken = pool_.held() + beside_;
    if (taken > most_ || octets > most_ - taken) work_ = 0;
    if (exceeded()) return false;
    beside_ += octets;
    bound();
    return true;
  }

  // allows is take for a decode, of which the record stays.
  bool allows(size_t octets) {
    const size_t taken = pool_.held() + beside_;
    if (taken > most_ || octets > most_ - taken + kDecodeMemory) work_ = 0;
    return !exceeded();
  }
  [[nodiscard]] bool exceeded() const { return work_ == 0; }

 private:
  void bound() { pool_.limit(most_ - beside_, &work_); }

  SshPool &pool_;
  size_t most_;
  size_t beside_ = 0;
  uint64_t work_ = 1;  // 0 from the first time on that there was not enough
};

// Reader takes fields from the front of a payload.
class Reader {
 public:
  explicit Reader(Bytes payload) : rest_(payload) {}

  bool uint32(uint32_t *value) { return fields({ssh_get_uint32(value)}); }
  bool fields(std::initializer_list<SshGet> wanted) {
    const size_t used = ssh_decode_array(rest_, wanted);
    rest_ = rest_.subspan(used);
    return used > 0;
  }

 private:
  Bytes rest_;
};

// read_keys links keys in the order read. Those of types that there are not are dropped.
bool read_keys(Reader &reader, SshCertDBKey **keys, Account &account) {
  uint32_t count = 0;
  if (!reader.uint32(&count)) return false;
  for (; count > 0; --count) {
    uint32_t type = 0, value = 0;
    Bytes data;
    const bool read = reader.fields(
        {ssh_get_uint32(&type), ssh_get_uint32_str_nocopy(&data), ssh_get_uint32(&value)});
    if (!read) return false;
    if (type >= SSH_CERTDB_KEY_TYPES) continue;
    if (!account.take(ssh_mem_heap_size(sizeof(SshCertDBKey) + data.size()))) return false;
    ssh_certdb_key_push(keys, type, data, value);
    keys = &(*keys)->next;
  }
  return true;
}

// read_entry_fields reads what follows the certificate in an element.
bool read_entry_fields(Reader &reader, SshCertDBEntry &entry, Account &account) {
  uint32_t keep_until = 0, aux_value = 0;
  if (!reader.uint32(&entry.tag) || !read_keys(reader, &entry.keys, account)) return false;
  if (!reader.fields({ssh_get_uint32(&keep_until), ssh_get_uint32(&aux_value)})) return false;
  entry.keep_until = static_cast<int32_t>(keep_until);
  entry.aux_value = static_cast<int32_t>(aux_value);
  return true;
}

// decode_certificate makes an element's object, which stays empty if its certificate does not
// decode; null if the account has not enough for the largest record that can come of it, or for the
// one that came.
SshCMCertificate *decode_certificate(Bytes ber, SshPool &pool, Account &account) {
  if (!account.allows(ssh_cm_cert_memory_most(ber.size()))) return nullptr;
  SshCMCertificate *cert = ssh_cm_cert_allocate_in(pool);
  (void)ssh_cm_cert_set_ber(*cert, ber);
  if (account.take(ssh_cm_cert_memory(*cert))) return cert;
  ssh_cm_cert_free(cert);
  return nullptr;
}

// read_certificate adds one element to the list. Once the certificate is there, it is kept, even if
// the rest of its element cannot be read.
bool read_certificate(Reader &reader, KwPkiCertListObject &result, Account &account) {
  Bytes ber;
  if (!reader.fields({ssh_get_uint32_str_nocopy(&ber)})) return false;
  SshCMCertificate *cert = decode_certificate(ber, result.database->pool, account);
  if (!cert) return false;
  SshCertDBEntry *entry = ssh_certdb_alloc_entry(*result.database, SSH_CM_ENTRY_CERT, cert);
  cert->entry = entry;
  const bool whole = read_entry_fields(reader, *entry, account);
  ssh_cm_cert_list_append(*result.database, *result.list, *entry);
  ssh_certdb_release_entry(*result.database, *entry);  // from here on it is the list's
  return whole;
}

// read_elements is false if the list would take more than `most` bytes of the heap.
bool read_elements(Reader &reader, uint32_t count, KwPkiCertListObject &result, size_t most) {
  Account account(result.database->pool, most);
  for (; count > 0; --count) {
    uint32_t type = 0;
    if (!reader.uint32(&type)) break;
    // Of an element of another type nothing more is read; deliberately, its bytes are not
    // skipped.
    if (type != SSH_CM_ENTRY_CERT) continue;
    if (!read_certificate(reader, result, account)) break;
  }
  return !account.exceeded();
}

KwPkiCertList make_list() {
  auto *result = ssh_make<KwPkiCertListObject>();
  result->database = ssh_certdb_init(ssh_cm_entry_methods, kLimits, kDataTypes);
  result->list = ssh_cm_cert_list_allocate();
  result->search_state = ssh_make<KwPkiSearchState>();
  return result;
}

}  // namespace

size_t reply_list_memory_most(size_t payload) {
  return std::min(payload * 12 + 0x4000000, KWPKI_LIST_MEMORY_MAX);
}

KwPkiCertList reply_list_decode(Bytes payload) {
  Reader reader(payload);
  uint32_t count = 0, reserved = 0, state = 0;
  Bytes text;
  const bool read = reader.fields({ssh_get_uint32(&count), ssh_get_uint32(&reserved),
                                   ssh_get_uint32(&state), ssh_get_uint32_str_nocopy(&text)});
  if (!read) return nullptr;

  KwPkiCertList result = make_list();
  result->search_state->reserved = reserved;
  result->search_state->state = state;
  if (!text.empty()) {
    result->search_state->text.reset(static_cast<char *>(ssh_xmemdup(text.data(), text.size())));
  }
  const size_t most = reply_list_memory_most(payload.size()) - text.size();
  if (read_elements(reader, count, *result, most)) return result;
  (void)KwPkiCertListFree(result);
  return nullptr;
}
