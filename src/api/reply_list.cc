#include "api/reply_list.h"

#include <algorithm>
#include <new>

#include "api/handles.h"
#include "cm/entries.h"
#include "util/mem.h"
#include "util/owner.h"
#include "util/wire.h"

namespace {

// The limits are for recycling entries, which the entries of a list never are: the list refers to
// them until it is freed.
constexpr SshCertDBLimits kLimits = {
    .max_entries = 1024, .max_memory = 0x100000, .default_keep_until = 5};

// The indexes of a database by key type: integers for the identifier (type 0), bytes for keys.
constexpr uint32_t kDataTypes[SSH_CERTDB_KEY_TYPES] = {0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};

// kDecodeMemory is the part of a list's memory that only the decode of a certificate may use, and
// that is free again afterwards.
constexpr size_t kDecodeMemory = 0x3F00000;

// Account bounds what the elements of a list take of the heap, in proportion to the reply: a
// hostile reply can ask for records that are many times larger than itself. It counts the
// database's pool, in which elements lie, and beside it (`beside_`) their keys and what records
// have beyond their room in the pool. The pool is told how much is left for it, and spends `work_`
// if that is not enough.
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
  // exceeded is true once there was not enough for something, be it in the pool or beside it.
  [[nodiscard]] bool exceeded() const { return work_ == 0; }

 private:
  void bound() { pool_.limit(most_ - beside_, &work_); }

  SshPool &pool_;
  size_t most_;
  size_t beside_ = 0;
  uint64_t work_ = 1;  // 0 from the first time on that there was not enough
};

// read_keys links keys in the order read. Those of types that there are not are dropped.
bool read_keys(SshWireReader &reader, SshCertDBKey **keys, Account &account) {
  uint32_t count = 0;
  if (!reader.number(&count)) return false;
  for (; count > 0; --count) {
    uint32_t type = 0, value = 0;
    Bytes data;
    if (!reader.number(&type) || !reader.octets(&data) || !reader.number(&value)) return false;
    if (type >= SSH_CERTDB_KEY_TYPES) continue;
    if (!account.take(ssh_mem_heap_size(sizeof(SshCertDBKey) + data.size()))) return false;
    ssh_certdb_key_push(keys, type, data, value);
    keys = &(*keys)->next;
  }
  return true;
}

// read_entry_fields reads what follows the certificate in an element.
bool read_entry_fields(SshWireReader &reader, SshCertDBEntry &entry, Account &account) {
  uint32_t keep_until = 0, aux_value = 0;
  if (!reader.number(&entry.tag) || !read_keys(reader, &entry.keys, account)) return false;
  if (!reader.number(&keep_until) || !reader.number(&aux_value)) return false;
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
bool read_certificate(SshWireReader &reader, KwPkiCertListObject &result, Account &account) {
  Bytes ber;
  if (!reader.octets(&ber)) return false;
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
bool read_elements(SshWireReader &reader, uint32_t count, KwPkiCertListObject &result,
                   size_t most) {
  Account account(result.database->pool, most);
  for (; count > 0; --count) {
    uint32_t type = 0;
    if (!reader.number(&type)) break;
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
  SshWireReader reader(payload);
  uint32_t count = 0, reserved = 0, state = 0;
  Bytes text;
  const bool read = reader.number(&count) && reader.number(&reserved) && reader.number(&state) &&
                    reader.octets(&text);
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
