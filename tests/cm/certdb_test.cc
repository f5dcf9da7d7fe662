// The certificate database: what its steps make of lists, indexes, the pool and memory.
#include "cm/certdb.h"

#include <deque>
#include <sstream>

#include "support/samples.h"

namespace {

int64_t clock_now = 0;
std::string warned;

// Objects are counters of how often they were freed, with their type above.
void free_counter(uint32_t type, void *object) {
  EXPECT_EQ(*static_cast<uint32_t *>(object), type * 100);
  ++*static_cast<uint32_t *>(object);
}

// Script runs steps over entries that letters name, and tells what has become of the database:
//   + makes an entry, s stores it, * refers to it again, r releases it, f frees it, t has it kept
//   for ten seconds from now, p pins it or not; > is ten seconds, e the time behind the end of 32
//   bits
// Keys are wiped when they are freed, so that an index that still shows the bytes of one finds
// nothing any more.
class Script : public sample::Balanced {
 protected:
  Script() {
    ssh_fatal_register(
        nullptr, [](void *, const char *text) { warned = text; }, nullptr);
  }
  ~Script() override {
    ssh_fatal_register(nullptr, nullptr, nullptr);
    for (const uint32_t object : objects_) EXPECT_EQ(object, 701u);
  }

  void start(const SshCertDBLimits &limits) {
    clock_now = 1000;
    named_.clear();
    const std::vector<uint32_t> kinds = {0, 1};
    db_.reset(ssh_certdb_init({nullptr, nullptr, free_counter}, limits, kinds));
    db_->now = [] { return clock_now; };
  }

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
  }

  // An entry has 10 bytes, a key of type 0, which no index has, and two of type 1, of which the
  // first finds it: m those of capital letters, k others.
  void make_entry(char name) {
    SshCertDBEntry *entry = ssh_certdb_alloc_entry(*db_, 7, &objects_.emplace_back(700));
    named_[name] = entry;
    EXPECT_TRUE(entry->refcount == 1 && entry->flags == SSH_CERTDB_DETACHED && !entry->keys &&
                entry->keep_until == 5 && entry->aux_value == -1 && entry->type == 7);
    const bool capital = name < 'a';
    for (const char *key : {capital ? "k" : "m", capital ? "m" : "k"})
      ssh_certdb_key_push(&entry->keys, 1, ssh_text_bytes(key));
    ssh_certdb_key_push(&entry->keys, 0, ssh_text_bytes("zero"));
    if (entry->id[0] == 0) entry->id[0] = static_cast<uint8_t>(name);
    entry->ber = static_cast<uint8_t *>(ssh_xcalloc(10, 1));
    entry->ber_len = 10;
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

  SshCertDBOwner db_;
  std::deque<uint32_t> objects_;
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
      {"+a sa pa ra", "a//a // 0,0,76"},
      {"+a sa pa fa pa fa fa", "// //a 0,1,0"},
      {"+a sa *a fa ra", "// //a 0,1,0"},
      // The pool is taken from first, then what was released first, then what is over. What is
      // recycled keeps its id and is not counted out of the pool.
      {"+a +b fa fb +c", "// //a 0,1,0"},
      {"+a +b +c sa sb sc ra rb rc +d sd", "bcd//bca cb// 2,1,228"},
      {"+a +b +c sa sb sc ta ra rb tc rc > > +d sd", "acd//acb /ac/ 2,1,228"},
      {"+a +b +c sa sb sc ta ra tb rb tc rc > > +d sd", "abd//abc /ab/ 2,1,228"},
  };
  for (const auto &[script, expected] : rows) {
    start({.max_entries = 3, .default_keep_until = 5});
    std::istringstream steps(script);
    for (std::string word; steps >> word;) step(word[0], word.c_str()[1]);
    EXPECT_EQ(state(), expected) << script;
  }
  start({.max_memory = 76, .default_keep_until = 5});
  step('+', 'a');
  step('s', 'a');
  EXPECT_FATAL(step('+', 'b'), "ssh_certdb_alloc_entry: out of usable entires.");
  db_.reset();
  EXPECT_EQ(warned, "ssh_certdb_free: active reference to entry (1)");
}

}  // namespace
