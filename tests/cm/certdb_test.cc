// The certificate database against plain lists, and what no list tells: fatal texts and the end.
#include "cm/certdb.h"

#include <gmock/gmock.h>

#include <deque>
#include <list>
#include <map>
#include <random>
#include <string>

#include "support/fatal.h"
#include "support/samples.h"

namespace {

using testing::ElementsAre;

int64_t clock_now = 0;
std::vector<std::string> warnings;
std::vector<uint32_t> memory_seen;  // at each object's end
const SshCertDB *watched = nullptr;

// Objects are counters of how often they were freed, with their type above.
void free_counter(uint32_t type, void *object) {
  EXPECT_EQ(*static_cast<uint32_t *>(object), type * 100);
  ++*static_cast<uint32_t *>(object);
  if (watched) memory_seen.push_back(watched->memory_used);
}

SshCertDB *make(const SshCertDBLimits &limits, const std::vector<uint32_t> &types) {
  SshCertDB *database = ssh_certdb_init({nullptr, nullptr, free_counter}, limits, types);
  EXPECT_EQ(database->flag, 1u);
  database->now = [] { return clock_now; };
  return database;
}

void give_ber(SshCertDBEntry &entry, uint32_t length) {
  if (length) entry.ber = static_cast<uint8_t *>(ssh_xcalloc(length, 1));
  entry.ber_len = length;
}

class CertDb : public sample::Balanced {
 protected:
  CertDb() {
    clock_now = 1000;
    warnings.clear();
    ssh_fatal_register(
        nullptr, [](void *, const char *text) { warnings.emplace_back(text); }, nullptr);
  }
  ~CertDb() override {
    db_.reset();
    watched = nullptr;
    ssh_fatal_register(nullptr, nullptr, nullptr);
    for (const uint32_t object : objects_) EXPECT_EQ(object, 701u);
  }

  // A further entry with one reference and an object of type 7.
  SshCertDBEntry *alloc() { return ssh_certdb_alloc_entry(*db_, 7, &objects_.emplace_back(700)); }
  SshCertDBEntry *stored(const std::vector<std::string> &keys = {}, uint32_t ber = 0) {
    SshCertDBEntry *entry = alloc();
    for (const auto &key : keys) ssh_certdb_key_push(&entry->keys, 1, ssh_text_bytes(key));
    give_ber(*entry, ber);
    ssh_certdb_store_entry(*db_, *entry);
    return entry;
  }

  SshCertDBOwner db_;
  std::deque<uint32_t> objects_;
};

constexpr char kNoEntry[] = "ssh_certdb_alloc_entry: out of usable entires.";

TEST_F(CertDb, TheEndTakesBackAllAndWarns) {
  db_.reset(make({.max_memory = 53}, {0, 1, 1}));
  stored({"abc", ""}, 9);  // 20 + 3, 20, 9
  SshCertDBEntry *detached = alloc(), *more = stored({}, 1);
  EXPECT_EQ(db_->memory_used, 53u);
  EXPECT_FATAL((void)alloc(), kNoEntry);
  ssh_certdb_release_entry(*db_, *more);
  EXPECT_EQ(alloc(), more);
  give_ber(*detached, 7);
  detached->refcount = 3;
  more->refcount = -2;
  // All is taken back, charged or not, and 64 + 3 * 4 for each entry: newest first.
  watched = db_.get();
  memory_seen.clear();
  db_.reset();
  EXPECT_THAT(memory_seen, ElementsAre(52, 52 - 76 - 7, uint32_t{0} - 2 * 76 - 7));
  EXPECT_THAT(warnings, ElementsAre("ssh_certdb_free: active reference to entry (-2)",
                                    "ssh_certdb_free: active reference to entry (3)",
                                    "ssh_certdb_free: active reference to entry (1)"));
}

TEST_F(CertDb, FatalTexts) {
  db_.reset(make({.max_entries = 2}, {0, 1, 1}));
  for (SshCertDBEntry *entry : {stored(), stored()}) {
    entry->keep_until = 1100;
    ssh_certdb_release_entry(*db_, *entry);
  }
  clock_now = 1100;
  EXPECT_FATAL((void)alloc(), kNoEntry);
  clock_now = 1101;

  const char *const unknown = "ssh_certdb_search_method_init: unknown data type.";
  EXPECT_FATAL((void)make({}, {0, 3}), unknown);
  db_->methods[2].data_type = 3;
  EXPECT_FATAL(ssh_certdb_search_method_uninit(*db_, 2), unknown);
  db_->methods[2].data_type = 1;
  ssh_certdb_search_method_uninit(*db_, 2);
  SshCertDBEntry *entry = ssh_certdb_alloc_entry(*db_, 7, nullptr);
  for (const uint32_t type : {2u, 3u}) {
    EXPECT_FATAL(
        ssh_certdb_search_method_remove(*db_, type, {}, *entry),
        "ssh_certdb_search_method_remove: type " + std::to_string(type) + " not allocated");
  }
  // Keys that are equal but for their case make a chain that cannot pass on its octets.
  db_.reset(make({}, {0, 2}));
  entry = stored({"a"});
  EXPECT_FALSE(ssh_certdb_search_method_remove(*db_, 1, unhex("62"), *entry));
  SshCertDBEntry *other = stored({"A"});
  EXPECT_FATAL(ssh_certdb_free_entry(*db_, *entry),
               "ssh_search_method_remove: failed to find next identical key");
  EXPECT_TRUE(ssh_certdb_search_method_remove(*db_, 1, unhex("61"), *other));
  EXPECT_FALSE(ssh_certdb_search_method_remove(*db_, 1, unhex("61"), *other));
}

// Model is the database in plain lists. Each step does the same to both. Keys are wiped when they
// are freed, so that an index that still shows the octets of one finds nothing any more.
class Model {
 public:
  Model(uint32_t seed, int64_t start) : time_(start), random_(seed) {}

  void step() {
    const uint32_t op = below(100);
    Entry *entry = some();
    if (op < 22 || !entry) return alloc();
    if (op < 36) return store(*entry);
    if (op < 44) return add_reference(*entry);
    if (op < 68) return release(*entry);
    if (op < 78) return free_entry(*entry);
    if (op < 82) return flip(*entry, SSH_CERTDB_PINNED);
    if (op < 85) return flip(*entry, SSH_CERTDB_RECYCLE_NEXT);
    time_ += below(3);
    clock_now = below(8) ? time_ : -1;  // what a clock that fails tells
  }

  void check() {
    ASSERT_EQ(listed(db_->unreferenced), unreferenced_);
    ASSERT_EQ(listed(db_->timed), timed_);
    Entries pool;
    for (SshCertDBEntry *e = db_->free_pool; e; e = e->next) pool.push_back(e);
    ASSERT_EQ(pool, pool_);
    ASSERT_EQ(db_->pool_count, pool_.size() + drift_);
    ASSERT_EQ(db_->unref_count, unreferenced_.size() + timed_.size());
    ASSERT_EQ(db_->memory_used, memory_);
    ASSERT_EQ(db_->entries_allocated, entries_.size());
    for (const auto &[real, entry] : entries_) {
      ASSERT_EQ(real->refcount, entry.refs);
      ASSERT_EQ(real->flags, entry.flags);
      ASSERT_EQ(real->keep_until, entry.keep_until);
      ASSERT_EQ(!real->object, entry.flags == SSH_CERTDB_POOLED);
    }
    for (const auto &[key, chain] : chains_) {
      Entries found;
      const Der octets(key.second.begin(), key.second.end());
      SshCertDBEntry *at = ssh_certdb_search_method_find(*db_, key.first, octets);
      for (; at && found.size() <= chain.size(); at = at->same_key_next[key.first]) {
        found.push_back(at);
      }
      ASSERT_EQ(found, chain);
    }
  }

  void finish() {
    db_.reset();
    for (const uint32_t object : objects_) EXPECT_EQ(object % 100, 1u);
    EXPECT_GT(drift_, 100u) << "too few were recycled for a test";
  }

 private:
  using Entries = std::list<SshCertDBEntry *>;
  using Key = std::pair<uint32_t, std::string>;
  struct Entry {
    SshCertDBEntry *real = nullptr;
    int32_t refs = 0;
    uint32_t flags = 0;
    int32_t keep_until = 0;
    std::vector<Key> keys;  // in the order of the list; the id is the last
    uint32_t charge = 0;
  };
  static constexpr SshCertDBLimits kLimits = {
      .max_entries = 12, .max_memory = 900, .default_keep_until = 5};

  uint32_t below(uint32_t bound) { return static_cast<uint32_t>(random_() % bound); }

  static Key id_of(const SshCertDBEntry &entry) {
    return {0, std::string(ssh_bytes_text(entry.id))};
  }

  Entry *some() {
    if (entries_.empty()) return nullptr;
    auto at = entries_.begin();
    std::advance(at, below(static_cast<uint32_t>(entries_.size())));
    return at->second.flags & SSH_CERTDB_POOLED && below(8) ? nullptr : &at->second;
  }

  static Entries listed(const SshCertDBList &list) {
    Entries forward, backward;
    for (SshCertDBEntry *e = list.head; e; e = e->next) forward.push_back(e);
    for (SshCertDBEntry *e = list.tail; e; e = e->prev) backward.push_front(e);
    EXPECT_EQ(forward, backward);
    return forward;
  }

  // to_recycle gives the entry that a full database must recycle, or null for none.
  SshCertDBEntry *to_recycle() {
    if (!unreferenced_.empty()) return unreferenced_.back();
    const bool over = !timed_.empty() && clock_now > entries_[timed_.back()].keep_until;
    return over ? timed_.back() : nullptr;
  }

  void alloc() {
    SshCertDBEntry *expected = nullptr;
    const bool grows = pool_.empty() && memory_ < kLimits.max_memory &&
                       unreferenced_.size() + timed_.size() < kLimits.max_entries;
    if (!pool_.empty()) {
      expected = pool_.front();
    } else if (!grows) {
      if (!(expected = to_recycle())) return;
      forget(entries_[expected]);
      ++drift_;
    }
    if (expected) pool_.pop_front();
    const uint32_t type = below(4);
    uint32_t *object = &objects_.emplace_back(type * 100);
    SshCertDBEntry *real = ssh_certdb_alloc_entry(*db_, type, object);
    ASSERT_TRUE(grows ? !entries_.contains(real) : real == expected);
    ASSERT_EQ(std::exchange(real->aux_value, 7), -1);
    ASSERT_TRUE(grows || entries_[real].keys.back() == id_of(*real)) << "ids outlive their entries";
    entries_[real] = {real, 1, SSH_CERTDB_DETACHED, kLimits.default_keep_until, {}, 0};
    fill(entries_[real]);
  }

  void fill(Entry &entry) {
    SshCertDBEntry &real = *entry.real;
    for (uint32_t n = below(5); n > 0; --n) {
      const Key key(below(4), std::string(below(3) + (n == 1 ? 2 : 0), "ab"[below(2)]));
      ssh_certdb_key_push(&real.keys, key.first, ssh_text_bytes(key.second));
      entry.keys.insert(entry.keys.begin(), key);
      entry.charge += 20 + static_cast<uint32_t>(key.second.size());
    }
    std::memset(real.id, "ab"[below(2)], 3);
    real.id[3] = static_cast<uint8_t>("abcd"[below(4)]);
    entry.keys.push_back(id_of(real));
    give_ber(real, below(60));
    entry.charge += real.ber_len;
    ASSERT_EQ(real.keep_until, entry.keep_until);
    const int64_t later = std::min<int64_t>(time_ + below(12), INT32_MAX);
    if (below(4) == 0) real.keep_until = below(4) ? static_cast<int32_t>(later) : -9;
    entry.keep_until = real.keep_until;
  }

  void store(Entry &entry) {
    ssh_certdb_store_entry(*db_, *entry.real);
    if (!(entry.flags & SSH_CERTDB_DETACHED)) return;
    entry.flags &= ~uint32_t{SSH_CERTDB_DETACHED};
    memory_ += entry.charge;
    chains_[entry.keys.back()].push_back(entry.real);
    bool seen[4] = {true, false, false, false};
    for (const Key &key : entry.keys) {
      if (!std::exchange(seen[key.first], true)) chains_[key].push_back(entry.real);
    }
  }

  void add_reference(Entry &entry) {
    if (entry.flags & (SSH_CERTDB_LISTED | SSH_CERTDB_POOLED)) return;
    ++entry.real->refcount;
    ++entry.refs;
  }

  void release(Entry &entry) {
    if (entry.refs == 0) return;
    ssh_certdb_release_entry(*db_, *entry.real);
    if (--entry.refs > 0) return;
    if (entry.flags & (SSH_CERTDB_FREE_LAST | SSH_CERTDB_DETACHED)) return forget(entry);
    if (entry.flags & SSH_CERTDB_PINNED) return;
    entry.flags |= SSH_CERTDB_LISTED;
    if (entry.keep_until > 0 && entry.keep_until > clock_now) return timed_.push_back(entry.real);
    entry.keep_until = std::min(entry.keep_until, 0);
    const bool tail = entry.flags & SSH_CERTDB_RECYCLE_NEXT;
    unreferenced_.insert(tail ? unreferenced_.end() : unreferenced_.begin(), entry.real);
  }

  void free_entry(Entry &entry) {
    ssh_certdb_free_entry(*db_, *entry.real);
    if (entry.refs < 2 || entry.flags & SSH_CERTDB_PINNED) return forget(entry);
    entry.flags |= SSH_CERTDB_FREE_LAST;
    --entry.refs;
  }

  // forget is what must become of an entry that is freed.
  void forget(Entry &entry) {
    if (entry.flags & (SSH_CERTDB_PINNED | SSH_CERTDB_POOLED)) return;
    for (const Key &key : entry.keys) chains_[key].remove(entry.real);
    if (!(entry.flags & SSH_CERTDB_DETACHED)) memory_ -= entry.charge;
    for (Entries *list : {&unreferenced_, &timed_}) list->remove(entry.real);
    entry.refs = 0;
    entry.flags = SSH_CERTDB_POOLED;
    pool_.push_front(entry.real);
  }

  void flip(Entry &entry, uint32_t flag) {
    if (entry.flags & (SSH_CERTDB_LISTED | SSH_CERTDB_POOLED)) return;
    entry.flags ^= flag;
    entry.real->flags ^= flag;
  }

  int64_t time_;
  std::mt19937 random_;
  SshCertDBOwner db_{make(kLimits, {0, 1, 1, 2})};
  std::map<SshCertDBEntry *, Entry> entries_;
  std::map<Key, Entries> chains_;
  Entries unreferenced_, timed_, pool_;  // heads first
  std::deque<uint32_t> objects_;
  uint32_t memory_ = 0, drift_ = 0;
};

TEST_F(CertDb, BehavesAsPlainLists) {
  uint32_t seed = 0;
  for (const int64_t start : {1000, 1000, 1000, INT32_MAX - 500}) {
    SCOPED_TRACE(start);
    Model model(++seed, start);
    for (int i = 0; i < 6000 && !HasFatalFailure(); ++i) {
      model.step();
      model.check();
    }
    model.finish();
  }
}

}  // namespace
