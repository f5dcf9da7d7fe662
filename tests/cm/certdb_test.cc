// The certificate database against plain lists, and what no list tells: fatal texts and the end.
#include "cm/certdb.h"

#include <deque>
#include <sstream>

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
  EXPECT_EQ(db_->entries_allocated, 3u);
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
  db_->methods[2].data_type = 3;  // destroying one reports with the text of making one
  EXPECT_FATAL(ssh_certdb_search_method_uninit(*db_, 2), unknown);
  db_->methods[2].data_type = 1;
  ssh_certdb_search_method_uninit(*db_, 2);
  SshCertDBEntry *entry = ssh_certdb_alloc_entry(*db_, 7, nullptr);
  EXPECT_FATAL(ssh_certdb_search_method_remove(*db_, 2, {}, *entry),
               "ssh_certdb_search_method_remove: type 2 not allocated");
  // Keys that are equal but for their case make a chain that cannot pass on its bytes.
  db_.reset(make({}, {0, 2}));
  entry = stored({"a"});
  SshCertDBEntry *other = stored({"A"});
  EXPECT_FATAL(ssh_certdb_free_entry(*db_, *entry),
               "ssh_search_method_remove: failed to find next identical key");
  EXPECT_TRUE(ssh_certdb_search_method_remove(*db_, 1, unhex("61"), *other));
}

// Script runs steps over entries that letters name, and tells what has become of the database:
//   + makes an entry, s stores it, * refers to it again, r releases it, f frees it, t has it kept
//   for ten seconds from now, p pins it or not, n has it recycled next or not; > is ten seconds,
//   e the time behind the end of 32 bits
// Keys are wiped when they are freed, so that an index that still shows the bytes of one finds
// nothing any more.
class Script : public CertDb {
 protected:
  void step(char what, char name) {
    if (what == '+') return make_entry(name);
    if (what == '>') return void(clock_now += 10);
    if (what == 'e') return void(clock_now = int64_t{1} << 32);
    SshCertDBEntry *entry = named_[name];
    if (what == 's') ssh_certdb_store_entry(*db_, *entry);
    if (what == '*') ++entry->refcount;
    if (what == 'r') ssh_certdb_release_entry(*db_, *entry);
    if (what == 'f') ssh_certdb_free_entry(*db_, *entry);
    if (what == 't') entry->keep_until = static_cast<int32_t>(clock_now + 10);
    if (what == 'p') entry->flags ^= SSH_CERTDB_PINNED;
    if (what == 'n') entry->flags ^= SSH_CERTDB_RECYCLE_NEXT;
  }

  // An entry has 10 bytes, a key of type 0, which no index has, and two of type 1, of which the
  // first finds it: m those of capital letters, k others.
  void make_entry(char name) {
    SshCertDBEntry *entry = named_[name] = alloc();
    EXPECT_TRUE(entry->refcount == 1 && entry->flags == SSH_CERTDB_DETACHED && !entry->keys &&
                entry->keep_until == 5 && entry->aux_value == -1 && entry->type == 7);
    const bool capital = name < 'a';
    ssh_certdb_key_push(&entry->keys, 0, ssh_text_bytes("zero"));
    for (const char *key : {capital ? "k" : "m", capital ? "m" : "k"})
      ssh_certdb_key_push(&entry->keys, 1, ssh_text_bytes(key));
    if (entry->id[0] == 0) entry->id[0] = static_cast<uint8_t>(name);
    give_ber(*entry, 10);
  }

  std::string letters(const SshCertDBEntry *at, SshCertDBEntry *const SshCertDBEntry::*next) const {
    std::string all;
    for (; at && all.size() < 9; at = at->*next) all += letter(at);
    return all;
  }
  char letter(const SshCertDBEntry *entry) const {
    char found = '?';
    for (const auto &[name, at] : named_) found = at == entry ? name : found;
    return found;
  }

  std::string state() {
    const auto list = [&](const SshCertDBList &of) {
      std::string forward = letters(of.head, &SshCertDBEntry::next);
      const std::string backward = letters(of.tail, &SshCertDBEntry::prev);
      EXPECT_EQ(forward, std::string(backward.rbegin(), backward.rend()));
      return forward + "/";
    };
    std::string text;
    for (const char *key : {"k", "m"}) {
      const auto *at = ssh_certdb_search_method_find(*db_, 1, ssh_text_bytes(key));
      for (; at; at = at->same_key_next[1]) text += letter(at);
      text += "/";
    }
    EXPECT_FALSE(ssh_certdb_search_method_find(*db_, 0, ssh_text_bytes("zero")));
    for (const auto &[name, entry] : named_) {
      const bool pooled = entry->flags & SSH_CERTDB_POOLED;
      EXPECT_TRUE(!pooled || (entry->flags == SSH_CERTDB_POOLED && !entry->refcount));
      EXPECT_EQ(!entry->object, pooled);
      const auto *at = ssh_certdb_search_method_find(*db_, 0, entry->id);
      if (at == entry && letter(entry) == name) text += static_cast<char>(entry->id[0]);
    }
    return text + " " + list(db_->unreferenced) + list(db_->timed) +
           letters(db_->free_pool, &SshCertDBEntry::next) + " " + std::to_string(db_->unref_count) +
           "," + std::to_string(db_->pool_count) + "," + std::to_string(db_->memory_used);
  }

  std::map<char, SshCertDBEntry *> named_;
};

// Found by k, by m and by their ids; unreferenced, timed, pooled; how many of both lists, how many
// pooled, and the memory.
TEST_F(Script, DatabasesAreWhatTheirStepsMakeOfThem) {
  const std::pair<const char *, const char *> rows[] = {
      {"+a +b +c +d +D sa sb sc sd sD sD", "abcd/D/Dabcd // 0,0,380"},
      {"+a +b +c +D sa sb sc sD fc fD", "ab//ab //Dc 0,2,152"},
      // A detached entry is freed with its last reference, a stored one is listed.
      {"+a *a ra", "// // 0,0,0"},
      {"+a sa +b rb", "a//a //b 0,1,76"},
      {"+a +b +c sa sb sc ra rb rc fb", "ac//ac ca//b 2,1,152"},
      {"+a +b sa sb ta ra tb rb fa", "b//b /b/a 1,1,76"},
      {"+a sa ta > ra", "a//a a// 1,0,76"},  // its time is up
      {"+a sa ta e ra", "a//a a// 1,0,76"},
      // Pinned; referred to elsewhere; freed already.
      {"+a sa pa fa pa fa", "// //a 0,1,0"},
      {"+a sa *a fa ra", "// //a 0,1,0"},
      // The pool is taken from first, then what was released first, then what is over. What is
      // recycled keeps its id and is not counted out of the pool.
      {"+a +b fa fb +c", "// //a 0,1,0"},
      {"+a +b +c sa sb sc ra rb rc +d sd", "bcd//bca cb// 2,1,228"},
      {"+a +b +c sa sb sc ta ra rb tc rc > > +d sd", "acd//acb /ac/ 2,1,228"},
      {"+a +b +c sa sb sc ta ra tb rb tc rc > > +d sd", "abd//abc /ab/ 2,1,228"},
  };
  for (const auto &[script, expected] : rows) {
    clock_now = 1000;
    named_.clear();
    db_.reset(make({.max_entries = 3, .default_keep_until = 5}, {0, 1}));
    std::istringstream steps(script);
    for (std::string word; steps >> word;) step(word[0], word.c_str()[1]);
    EXPECT_EQ(state(), expected) << script;
  }
}

}  // namespace
