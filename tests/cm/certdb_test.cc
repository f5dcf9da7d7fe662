// The certificate database: each rule by itself, and all of them together against plain lists.
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

class CertDb : public sample::Balanced {
 protected:
  void SetUp() override {
    Balanced::SetUp();
    clock_now = 1000;
    warnings.clear();
    memory_seen.clear();
    make({}, {0, 1, 1});
    ssh_fatal_register(
        nullptr, [](void *, const char *text) { warnings.emplace_back(text); }, nullptr);
  }
  void TearDown() override {
    db_.reset();
    watched = nullptr;
    ssh_fatal_register(nullptr, nullptr, nullptr);
    for (size_t i = 0; i < objects_.size(); ++i) EXPECT_EQ(objects_[i] % 100, 1u) << i;
    Balanced::TearDown();
  }

  void make(const SshCertDBLimits &limits, const std::vector<uint32_t> &types) {
    db_.reset(ssh_certdb_init({nullptr, nullptr, free_counter}, limits, types));
    db_->now = [] { return clock_now; };
    watched = db_.get();
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
  static void give_ber(SshCertDBEntry &entry, uint32_t length) {
    if (length) entry.ber = static_cast<uint8_t *>(ssh_xcalloc(length, 1));
    entry.ber_len = length;
  }
  void release(SshCertDBEntry *entry) { ssh_certdb_release_entry(*db_, *entry); }
  SshCertDBEntry *find(uint32_t type, std::string_view key) {
    const Der elsewhere(key.begin(), key.end());
    return ssh_certdb_search_method_find(*db_, type, elsewhere);
  }

  SshCertDBOwner db_;
  std::deque<uint32_t> objects_;
};

// Each letter is a step: (s)tore, (a)dd a reference, (r)elease, (f)ree, (p)in, (u)npin, recycle
// (n)ext.
TEST_F(CertDb, ReferencesAndFlags) {
  const struct {
    const char *steps;
    int32_t refs;
    uint32_t flags, freed, listed, pooled;
  } rows[] = {
      {"", 1, 0x08, 0, 0, 0},      {"r", 0, 0x10, 1, 0, 1},     {"ar", 1, 0x08, 0, 0, 0},
      {"s", 1, 0x00, 0, 0, 0},     {"sr", 0, 0x04, 0, 1, 0},    {"srf", 0, 0x10, 1, 0, 1},
      {"sf", 0, 0x10, 1, 0, 1},    {"sff", 0, 0x10, 1, 0, 1},   {"snr", 0, 0x44, 0, 1, 0},
      {"saaf", 2, 0x20, 0, 0, 0},  {"saafr", 1, 0x20, 0, 0, 0}, {"saafrr", 0, 0x10, 1, 0, 1},
      {"af", 1, 0x28, 0, 0, 0},    {"afr", 0, 0x10, 1, 0, 1},   {"saff", 0, 0x10, 1, 0, 1},
      {"spf", 1, 0x01, 0, 0, 0},   {"spaf", 2, 0x01, 0, 0, 0},  {"spr", 0, 0x01, 0, 0, 0},
      {"spruf", 0, 0x10, 1, 0, 1}, {"pr", 0, 0x09, 0, 0, 0},    {"safpr", 0, 0x21, 0, 0, 0},
      {"snrf", 0, 0x10, 1, 0, 1},  {"ss", 1, 0x00, 0, 0, 0},
  };
  for (const auto &row : rows) {
    make({}, {0, 1});
    SshCertDBEntry *entry = alloc();
    for (const char *step = row.steps; *step; ++step) {
      if (*step == 's') ssh_certdb_store_entry(*db_, *entry);
      if (*step == 'a') ++entry->refcount;
      if (*step == 'r') release(entry);
      if (*step == 'f') ssh_certdb_free_entry(*db_, *entry);
      if (*step == 'p') entry->flags |= SSH_CERTDB_PINNED;
      if (*step == 'u') entry->flags &= ~uint32_t{SSH_CERTDB_PINNED};
      if (*step == 'n') entry->flags |= SSH_CERTDB_RECYCLE_NEXT;
    }
    EXPECT_EQ(entry->refcount, row.refs) << row.steps;
    EXPECT_EQ(entry->flags, row.flags) << row.steps;
    EXPECT_EQ(objects_.back(), 700 + row.freed) << row.steps;
    EXPECT_EQ(db_->unref_count, row.listed) << row.steps;
    EXPECT_EQ(db_->pool_count, row.pooled) << row.steps;
    EXPECT_EQ(db_->free_pool, row.pooled ? entry : nullptr) << row.steps;
  }
}

TEST_F(CertDb, WhoIsKeptForSomeTime) {
  const struct {
    int32_t keep_until;
    int64_t now;
    bool timed;
    int32_t left;
  } rows[] = {
      {5, 1000, false, 0}, {1000, 1000, false, 0}, {1001, 1000, true, 1001},
      {0, 1000, false, 0}, {-9, 1000, false, -9},  {INT32_MAX, int64_t{1} << 40, false, 0},
      {5, -1, true, 5},    {0, -1, false, 0},  // -1: what a clock that fails tells
  };
  for (const auto &row : rows) {
    make({.default_keep_until = row.keep_until}, {0});
    clock_now = row.now;
    SshCertDBEntry *entry = stored();
    EXPECT_EQ(entry->keep_until, row.keep_until);
    release(entry);
    EXPECT_EQ(entry->keep_until, row.left);
    EXPECT_EQ(db_->timed.tail, row.timed ? entry : nullptr) << row.keep_until;
    EXPECT_EQ(db_->unreferenced.head, row.timed ? nullptr : entry) << row.keep_until;
    EXPECT_EQ(db_->unref_count, 1u);
    ssh_certdb_free_entry(*db_, *entry);
    EXPECT_TRUE(!db_->timed.head && !db_->timed.tail) << row.keep_until;
    EXPECT_TRUE(!db_->unreferenced.head && !db_->unreferenced.tail) << row.keep_until;
  }
}

TEST_F(CertDb, TimedEntriesGoOnceTheirTimeIsUp) {
  make({.max_entries = 2}, {0});
  SshCertDBEntry *first = stored(), *second = stored();
  first->keep_until = 1100;
  second->keep_until = 1200;
  for (SshCertDBEntry *entry : {first, second}) release(entry);
  const char *const none = "ssh_certdb_alloc_entry: out of usable entires.";
  for (const int64_t now : {1000, 1150, 1200}) {  // only the one released last is looked at
    clock_now = now;
    EXPECT_FATAL((void)alloc(), none);
  }
  clock_now = 1201;
  EXPECT_EQ(alloc(), second);
  EXPECT_EQ(second->keep_until, 0);
  EXPECT_EQ(db_->timed.tail, first);
}

TEST_F(CertDb, MemoryIsChargedAndBounds) {
  make({.max_memory = 53}, {0, 1, 1});
  stored({"abc", ""}, 9);  // 20 + 3, 20, 9
  EXPECT_EQ(db_->memory_used, 52u);
  SshCertDBEntry *detached = alloc();
  ssh_certdb_key_push(&detached->keys, 1, ssh_text_bytes("abc"));
  give_ber(*detached, 3);
  EXPECT_EQ(db_->memory_used, 52u);
  release(detached);
  EXPECT_EQ(db_->memory_used, 52u) << "what was not charged is not taken back";
  EXPECT_EQ(alloc(), detached);
  SshCertDBEntry *more = stored({}, 1);
  EXPECT_EQ(db_->memory_used, 53u);
  EXPECT_FATAL((void)alloc(), "ssh_certdb_alloc_entry: out of usable entires.");
  release(more);
  EXPECT_EQ(alloc(), more);
  EXPECT_EQ(db_->memory_used, 52u);
  give_ber(*detached, 7);
  detached->refcount = 3;
  more->refcount = -2;
  // All is taken back at the end, charged or not, and 64 + 3 * 4 for each entry: newest first.
  memory_seen.clear();
  db_.reset();
  EXPECT_THAT(memory_seen, ElementsAre(52, 52 - 76 - 7, uint32_t{0} - 2 * 76 - 7));
  EXPECT_THAT(warnings, ElementsAre("ssh_certdb_free: active reference to entry (-2)",
                                    "ssh_certdb_free: active reference to entry (3)",
                                    "ssh_certdb_free: active reference to entry (1)"));
}

TEST_F(CertDb, ChainsShowTheHeadsOwnOctets) {
  SshCertDBEntry *entries[4];
  for (auto &entry : entries) entry = stored({"key", "other"});
  const auto shown = [&] {
    for (const SshMappingSlot &slot : std::span(db_->methods[1].mapping->slots, 8)) {
      if (slot.hash > 1 && slot.length == 3) return slot.key;
    }
    return static_cast<const uint8_t *>(nullptr);
  };
  EXPECT_EQ(find(1, "other"), entries[0]) << "the first of a type in the list is indexed";
  EXPECT_EQ(find(1, "key"), nullptr);
  make({}, {0, 1, 1});
  for (auto &entry : entries) entry = stored({"key"});
  EXPECT_EQ(find(1, "key"), entries[0]);
  EXPECT_EQ(shown(), entries[0]->keys->data);
  const Der key = unhex("6b6579"), unknown = unhex("6b");
  EXPECT_FALSE(ssh_certdb_search_method_remove(*db_, 1, unknown, *entries[0]));
  EXPECT_TRUE(ssh_certdb_search_method_remove(*db_, 1, key, *entries[0]));
  EXPECT_FALSE(ssh_certdb_search_method_remove(*db_, 1, key, *entries[0]));
  EXPECT_EQ(find(1, "key"), entries[1]);
  EXPECT_EQ(shown(), entries[1]->keys->data);
  ssh_certdb_free_entry(*db_, *entries[2]);
  EXPECT_EQ(entries[1]->same_key_next[1], entries[3]);
  ssh_certdb_free_entry(*db_, *entries[1]);
  EXPECT_EQ(find(1, "key"), entries[3]);
  EXPECT_EQ(shown(), entries[3]->keys->data);
  ssh_certdb_search_method_add(*db_, 1, entries[0]->keys->bytes(), *entries[0]);
  EXPECT_EQ(entries[3]->same_key_next[1], entries[0]);
  for (const int i : {3, 0}) ssh_certdb_free_entry(*db_, *entries[i]);
  EXPECT_EQ(find(1, "key"), nullptr);
}

TEST_F(CertDb, FatalTexts) {
  const char *const unknown = "ssh_certdb_search_method_init: unknown data type.";
  const uint32_t types[] = {0, 3};
  EXPECT_FATAL((void)ssh_certdb_init({}, {}, types), unknown);
  db_->methods[2].data_type = 3;
  EXPECT_FATAL(ssh_certdb_search_method_uninit(*db_, 2), unknown);
  db_->methods[2].data_type = 1;
  ssh_certdb_search_method_uninit(*db_, 2);
  SshCertDBEntry *entry = alloc();
  EXPECT_FATAL(ssh_certdb_search_method_remove(*db_, 2, {}, *entry),
               "ssh_certdb_search_method_remove: type 2 not allocated");
  release(entry);
  // Keys that are equal but for their case make a chain that cannot pass on its octets.
  make({}, {0, 2});
  entry = stored({"a"});
  stored({"A"});
  EXPECT_FATAL(ssh_certdb_free_entry(*db_, *entry),
               "ssh_search_method_remove: failed to find next identical key");
  watched = nullptr;
}

// Model is the database in plain lists. Each step does the same to both.
class Model {
 public:
  explicit Model(uint32_t seed) : random_(seed) {
    const uint32_t types[] = {0, 1, 1, 2};
    db_.reset(ssh_certdb_init({nullptr, nullptr, free_counter}, kLimits, types));
    db_->now = [] { return clock_now; };
  }

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
    if (op < 95) return remove_key(*entry);
    clock_now += below(40);
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
      ASSERT_TRUE(!entry.object || *entry.object % 100 == (entry.flags & 0x10) >> 4);
    }
    check_chains();
  }

  void finish() {
    const auto referred = [](const auto &pair) { return pair.second.refs != 0; };
    const auto expected = std::count_if(entries_.begin(), entries_.end(), referred);
    warnings.clear();
    db_.reset();
    EXPECT_EQ(warnings.size(), static_cast<size_t>(expected));
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
    uint32_t *object = nullptr;
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
    uint32_t *object = below(9) ? &objects_.emplace_back(type * 100) : nullptr;
    SshCertDBEntry *real = ssh_certdb_alloc_entry(*db_, type, object);
    ASSERT_TRUE(grows ? !entries_.contains(real) : real == expected);
    ASSERT_EQ(std::exchange(real->aux_value, 7), -1);
    ASSERT_TRUE(grows || entries_[real].keys.back() == id_of(*real)) << "ids outlive their entries";
    entries_[real] = {real, 1, SSH_CERTDB_DETACHED, kLimits.default_keep_until, {}, 0, object};
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
    real.ber_len = below(60);
    if (real.ber_len) real.ber = static_cast<uint8_t *>(ssh_xcalloc(real.ber_len, 1));
    entry.charge += real.ber_len;
    if (below(4) == 0) real.keep_until = static_cast<int32_t>(clock_now) + 30;
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
    if (entry.keep_until > clock_now) return timed_.push_back(entry.real);
    entry.keep_until = 0;
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

  // remove_key takes some entry out of the chain of some other's key.
  void remove_key(Entry &entry) {
    const Entry *other = some();
    if (!other || other->keys.empty()) return;
    const Key &key = other->keys[below(static_cast<uint32_t>(other->keys.size()))];
    const bool held = chains_[key].remove(entry.real) > 0;
    const Der octets(key.second.begin(), key.second.end());
    ASSERT_EQ(ssh_certdb_search_method_remove(*db_, key.first, octets, *entry.real), held);
  }

  void check_chains() {
    for (const auto &[key, chain] : chains_) {
      const Der octets(key.second.begin(), key.second.end());
      SshCertDBEntry *at = ssh_certdb_search_method_find(*db_, key.first, octets);
      for (SshCertDBEntry *expected : chain) {
        ASSERT_EQ(at, expected);
        at = at->same_key_next[key.first];
      }
      ASSERT_EQ(at, nullptr);
    }
  }

  std::mt19937 random_;
  SshCertDBOwner db_;
  std::map<SshCertDBEntry *, Entry> entries_;
  std::map<Key, Entries> chains_;
  Entries unreferenced_, timed_, pool_;  // heads first
  std::deque<uint32_t> objects_;
  uint32_t memory_ = 0, drift_ = 0;
};

TEST_F(CertDb, BehavesAsPlainLists) {
  watched = nullptr;
  for (const uint32_t seed : {1u, 2u, 3u, 4u}) {
    SCOPED_TRACE(seed);
    Model model(seed);
    for (int i = 0; i < 6000 && !HasFatalFailure(); ++i) {
      model.step();
      model.check();
    }
    model.finish();
  }
}

}  // namespace
