// The hash index: its hashes to the bit, and its counts, places and rebuilds against a plain map.
#include "cm/mapping.h"

#include <gmock/gmock.h>

#include <random>
#include <string>
#include <unordered_map>

#include "support/fatal.h"
#include "support/samples.h"

namespace {

using Mapping = sample::Balanced;

std::string be(uint32_t value) {  // octets in an order that makes the number `value`
  std::string octets(4, 0);
  std::memcpy(octets.data(), &value, 4);
  return octets;
}

TEST(MappingHash, IsExact) {
  const struct {
    Der key;
    uint32_t hash, folded;
  } rows[] = {
      {{}, 0xabcdef01, 0xabcdef01},
      {unhex("41"), 0x579bde44, 0x579bde64},
      {unhex("414243"), 0x5e6f79d8, 0x5e6f7ab8},
      {unhex("405b607bc0e0"), 0xf37bd566, 0xf37bd566},  // what lies beside the letters
      {unhex("70616d07000100000000010100000100000000010000000001000100000100"), 2, 2},
      {unhex("70716dc7000100000000010100000100000000010000000001000100"), 3, 3},
  };
  for (const auto &row : rows) {
    EXPECT_EQ(ssh_mapping_hash(SSH_MAPPING_BYTES, row.key), row.hash) << hex(row.key);
    EXPECT_EQ(ssh_mapping_hash(SSH_MAPPING_BYTES_FOLDED, row.key), row.folded) << hex(row.key);
  }
  const uint32_t integers[][2] = {{0, 2}, {1, 3}, {2, 2}, {0xFFFFFFFF, 0xFFFFFFFF}};
  for (const auto &[key, hash] : integers) {
    EXPECT_EQ(ssh_mapping_hash(SSH_MAPPING_INTEGER, ssh_text_bytes(be(key))), hash);
  }
}

// Checked is a mapping beside a plain map; each operation checks what it does to the table.
class Checked {
 public:
  explicit Checked(SshMappingKind kind) : kind_(kind), map_(ssh_mapping_allocate(kind)) {}

  void put(const std::string &key, void *value) {
    const Bytes octets = ssh_text_bytes(key);
    const SshMapping before = *map_;
    const bool grows = before.empty + before.deleted <= before.size / 2;
    const SshMappingSlot *place = grows || model_.contains(id(key)) ? nullptr : first_free(octets);
    const bool reuses = place && place->hash == 1;
    model_.insert_or_assign(id(key), Held{&key, value});
    ssh_mapping_put(*map_, octets, value);
    expect(grows ? before.size * 2 : before.size, grows ? 0 : before.deleted - reuses);
    EXPECT_TRUE(!place || place->value == value) << "not the first slot that was free";
    grown_ += grows;
    reused_ += reuses;
    EXPECT_EQ(ssh_mapping_get(*map_, octets), value);
  }

  void remove(const std::string &key) {
    const SshMapping before = *map_;
    const bool held = model_.erase(id(key)) > 0;
    EXPECT_EQ(ssh_mapping_remove(*map_, ssh_text_bytes(key)), held);
    EXPECT_EQ(ssh_mapping_get(*map_, ssh_text_bytes(key)), nullptr);
    const uint32_t deleted = before.deleted + held;
    if (!held || deleted <= before.size / 8) return expect(before.size, deleted);
    const bool halves = before.size > 8 && model_.size() < before.size / 16;
    expect(halves ? before.size / 2 : before.size, 0);
    halved_ += halves;
  }

  // check_all finds every key, shown with the octets last put.
  void check_all() const {
    for (const auto &[key, held] : model_) {
      const Bytes octets = ssh_text_bytes(*held.key);
      ASSERT_EQ(ssh_mapping_get(*map_, octets), held.value);
      const auto shown = [&](const SshMappingSlot &slot) { return slot.key == octets.data(); };
      EXPECT_EQ(std::count_if(map_->slots, map_->slots + map_->size, shown),
                kind_ == SSH_MAPPING_INTEGER ? 0 : 1);
    }
  }

  [[nodiscard]] bool saw_everything() const { return grown_ > 6 && halved_ > 0 && reused_ > 20; }

 private:
  struct Held {
    const std::string *key;
    void *value;
  };

  [[nodiscard]] std::string id(std::string key) const {
    for (char &c : key) {
      if (kind_ == SSH_MAPPING_BYTES_FOLDED && c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    }
    return key;
  }

  [[nodiscard]] const SshMappingSlot *first_free(Bytes key) const {
    const uint32_t hash = ssh_mapping_hash(kind_, key);
    const uint32_t step = ((hash & 0x3f8) | 4) >> 2;
    uint32_t at = hash & (map_->size - 1);
    while (map_->slots[at].hash > 1) at = (at + step) % map_->size;
    return &map_->slots[at];
  }

  void expect(uint32_t size, uint32_t deleted) const {
    ASSERT_EQ(map_->size, size);
    ASSERT_EQ(map_->deleted, deleted);
    ASSERT_EQ(map_->live(), model_.size());
  }

  SshMappingKind kind_;
  SshMappingOwner map_;
  std::unordered_map<std::string, Held> model_;
  int grown_ = 0, halved_ = 0, reused_ = 0;
};

// keys_of makes keys of which many collide: integers with equal low bits, letters with equal
// hashes (one more of the first is two less of the second).
std::vector<std::string> keys_of(SshMappingKind kind) {
  std::vector<std::string> keys;
  for (uint32_t i = 0; kind == SSH_MAPPING_INTEGER && i < 600; ++i)
    keys.push_back(be(i < 40 ? i : i << (i % 2 ? 10 : 22)));
  for (uint32_t i = 0; kind != SSH_MAPPING_INTEGER && i < 26 * 22; ++i) {
    const char letters[] = {static_cast<char>('a' + i / 22), static_cast<char>('A' + i % 22)};
    keys.emplace_back(letters, i % 7 ? 2 : 1);
    keys.push_back(std::string(1, static_cast<char>(letters[0] - 32)) + letters[1]);
  }
  return keys;
}

TEST_F(Mapping, BehavesAsAPlainMapByItsRules) {
  for (const auto kind : {SSH_MAPPING_INTEGER, SSH_MAPPING_BYTES, SSH_MAPPING_BYTES_FOLDED}) {
    SCOPED_TRACE(kind);
    const std::vector<std::string> keys = keys_of(kind), others = keys;
    std::vector<char> values(97);
    std::mt19937 random(kind);
    Checked map(kind);
    for (int i = 0; i < 24000 && !testing::Test::HasFailure(); ++i) {
      const bool filling = i / 6000 % 2 == 0;
      const std::string &key = (random() % 2 ? keys : others)[random() % keys.size()];
      if (random() % 100 < (filling ? 90u : 4u)) {
        map.put(key, &values[random() % values.size()]);
      } else {
        map.remove(key);
      }
      if (i % 500 == 499) map.check_all();
    }
    EXPECT_TRUE(map.saw_everything());
  }
  // After two rebuilds of 64 slots: not below a sixteenth, and below.
  for (const size_t left : {4u, 3u}) {
    Checked map(SSH_MAPPING_INTEGER);
    const std::vector<std::string> all = keys_of(SSH_MAPPING_INTEGER);
    for (size_t i = 0; i < left + 18; ++i) map.put(all[i], &map);
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

TEST(MappingDeathTest, NoSlotIsLeft) {
  const SshMappingOwner map(ssh_mapping_allocate(SSH_MAPPING_BYTES));
  for (SshMappingSlot &slot : std::span(map->slots, map->size)) slot.hash = 1;
  map->empty = 0;
  map->deleted = 8;
  const Der key = unhex("61");
  char value = 0;
  for (SshMappingSlot &slot : std::span(map->slots, map->size)) {
    slot.hash = 0;
    EXPECT_EQ(ssh_mapping_get(*map, key), nullptr) << "one empty slot is enough";
    slot.hash = 1;
  }
  EXPECT_FATAL((void)ssh_mapping_get(*map, key), "fatal error in mapping.");
  EXPECT_FATAL(ssh_mapping_put(*map, key, &value), "fatal error in mapping.");
  EXPECT_FATAL(ssh_mapping_remove(*map, key), "fatal error in mapping.");
}

}  // namespace
