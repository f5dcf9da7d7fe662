// The hash index: its hashes to the bit, and its sizes and what it holds against a plain map.
#include "cm/mapping.h"

#include "support/samples.h"

namespace {

using Mapping = sample::Balanced;

std::string be(uint32_t value) {  // bytes in an order that makes the number `value`
  std::string octets(4, 0);
  std::memcpy(octets.data(), &value, 4);
  return octets;
}

TEST(MappingHash, IsExact) {
  const std::tuple<Der, uint32_t, uint32_t> rows[] = {
      {{}, 0xabcdef01, 0xabcdef01},
      {unhex("405b607bc0e0"), 0xf37bd566, 0xf37bd566},  // what lies beside the letters
      {unhex("70616d07000100000000010100000100000000010000000001000100000100"), 2, 2},
      {unhex("70716dc7000100000000010100000100000000010000000001000100"), 3, 3},
  };
  for (const auto &[key, hash, folded] : rows) {
    EXPECT_EQ(ssh_mapping_hash(SSH_MAPPING_BYTES, key), hash) << hex(key);
    EXPECT_EQ(ssh_mapping_hash(SSH_MAPPING_BYTES_FOLDED, key), folded) << hex(key);
  }
  const uint32_t integers[][2] = {{0, 2}, {1, 3}, {2, 2}, {0xFFFFFFFF, 0xFFFFFFFF}};
  for (const auto &[key, hash] : integers) {
    EXPECT_EQ(ssh_mapping_hash(SSH_MAPPING_INTEGER, ssh_text_bytes(be(key))), hash);
  }
}

// keys_of makes keys of which many collide: integers with equal low bits, letters with equal
// hashes (one more of the first is two less of the second).
std::vector<std::string> keys_of(SshMappingKind kind) {
  std::vector<std::string> keys;
  for (uint32_t i = 0; i < 26 * 22; ++i) {
    const char letters[] = {static_cast<char>('a' + i / 22), static_cast<char>('A' + i % 22)};
    const bool integer = kind == SSH_MAPPING_INTEGER;
    keys.push_back(integer ? be(i < 40 ? i : i << (i % 2 ? 10 : 22))
                           : std::string(letters, i % 7 ? 2 : 1));
    if (!integer) keys.push_back(std::string(1, static_cast<char>(letters[0] - 32)) + letters[1]);
  }
  return keys;
}

// Checked is a mapping beside a plain map, each of whose keys is shown with the bytes last put.
struct Checked {
  explicit Checked(SshMappingKind of) : kind(of), map(ssh_mapping_allocate(of)) {}

  [[nodiscard]] std::string id(std::string key) const {
    for (char &c : key) {
      if (kind == SSH_MAPPING_BYTES_FOLDED && c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    }
    return key;
  }
  void put(const std::string &key) {
    const SshMapping before = *map;
    const bool grows = before.empty + before.deleted <= before.size / 2;
    model[id(key)] = &key;
    ssh_mapping_put(*map, ssh_text_bytes(key), const_cast<std::string *>(&key));
    ASSERT_EQ(map->size, grows ? before.size * 2 : before.size);
    grown += grows;
    reused += !grows && map->deleted < before.deleted;
    ASSERT_EQ(ssh_mapping_get(*map, ssh_text_bytes(key)), &key);
    ASSERT_EQ(map->live(), model.size());
  }
  void remove(const std::string &key) {
    const SshMapping before = *map;
    const bool held = model.erase(id(key)) > 0;
    ASSERT_EQ(ssh_mapping_remove(*map, ssh_text_bytes(key)), held);
    ASSERT_EQ(ssh_mapping_get(*map, ssh_text_bytes(key)), nullptr);
    const bool rebuilt = held && before.deleted + 1 > before.size / 8;
    const bool halves = rebuilt && before.size > 8 && model.size() < before.size / 16;
    ASSERT_EQ(map->size, halves ? before.size / 2 : before.size);
    ASSERT_EQ(map->deleted, rebuilt ? 0 : before.deleted + held);
    ASSERT_EQ(map->live(), model.size());
    halved += halves;
  }
  void check_all() const {
    std::multiset<const void *> shown;
    for (const SshMappingSlot &slot : std::span(map->slots, map->size)) shown.insert(slot.key);
    for (const auto &[key, put] : model) {
      ASSERT_EQ(ssh_mapping_get(*map, ssh_text_bytes(key)), put);
      ASSERT_EQ(shown.count(put->data()), kind != SSH_MAPPING_INTEGER);
    }
  }

  SshMappingKind kind;
  SshMappingOwner map;
  std::map<std::string, const std::string *> model;
  int grown = 0, halved = 0, reused = 0;
};

TEST_F(Mapping, BehavesAsAPlainMapByItsRules) {
  for (const auto kind : {SSH_MAPPING_INTEGER, SSH_MAPPING_BYTES, SSH_MAPPING_BYTES_FOLDED}) {
    SCOPED_TRACE(kind);
    const std::vector<std::string> keys = keys_of(kind), others = keys;
    std::mt19937 random(kind);
    Checked map(kind);
    for (int i = 0; i < 24000 && !HasFatalFailure(); ++i) {
      const bool filling = i / 6000 % 2 == 0;
      const std::string &key = (random() % 2 ? keys : others)[random() % keys.size()];
      random() % 100 < (filling ? 90u : 4u) ? map.put(key) : map.remove(key);
      if (i % 500 == 499) map.check_all();
    }
    EXPECT_TRUE(map.grown > 6 && map.halved > 0 && map.reused > 20);
  }
  // After two rebuilds of 64 slots: not below a sixteenth, and below.
  for (const size_t left : {4u, 3u}) {
    Checked map(SSH_MAPPING_INTEGER);
    const std::vector<std::string> all = keys_of(SSH_MAPPING_INTEGER);
    for (size_t i = 0; i < left + 18; ++i) map.put(all[i]);
    for (size_t i = 0; i < left + 18; ++i) map.remove(all[i]);
  }
}

TEST_F(Mapping, IntegersAreTheFirstFourOctets) {
  const SshMappingOwner map(ssh_mapping_allocate(SSH_MAPPING_INTEGER));
  char value = 0;
  const Der five = unhex("0102030405"), four = unhex("01020304"), three = unhex("010203");
  ssh_mapping_put(*map, three, &value);
  EXPECT_EQ(map->empty, 8u);
  EXPECT_EQ(ssh_mapping_get(*map, three), nullptr);
  EXPECT_FALSE(ssh_mapping_remove(*map, three));
  ssh_mapping_put(*map, five, &value);
  EXPECT_EQ(ssh_mapping_get(*map, four), &value);
  EXPECT_TRUE(ssh_mapping_remove(*map, four));
}

}  // namespace
