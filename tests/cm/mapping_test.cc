// The hash index: its sizes and what it holds against a plain map.
#include "cm/mapping.h"

#include "support/samples.h"

namespace {

using Mapping = sample::Balanced;

std::string be(uint32_t value) {  // bytes in an order that makes the number `value`
  std::string octets(4, 0);
  std::memcpy(octets.data(), &value, 4);
  return octets;
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

// Each key is shown with the bytes last put. Half of the slots are free before one is put, and with
// too many deleted ones the mapping is made anew, smaller where it may.
TEST_F(Mapping, BehavesAsAPlainMapByItsRules) {
  for (const auto kind : {SSH_MAPPING_INTEGER, SSH_MAPPING_BYTES, SSH_MAPPING_BYTES_FOLDED}) {
    const std::vector<std::string> keys = keys_of(kind), others = keys;
    std::mt19937 random(kind);
    const SshMappingOwner owner(ssh_mapping_allocate(kind));
    SshMapping &map = *owner;
    std::map<std::string, const std::string *> model;
    uint32_t largest = 0;
    for (int i = 0; i < 24000; ++i) {
      const std::string &key = (random() % 2 ? keys : others)[random() % keys.size()];
      std::string id = key;
      for (char &c : id) {
        if (kind == SSH_MAPPING_BYTES_FOLDED && c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
      }
      const bool put = random() % 100 < (i / 6000 % 2 == 0 ? 90u : 4u);
      const SshMapping before = map;
      const uint32_t free = before.empty + before.deleted;
      const bool held = model.erase(id) > 0;
      if (put) {
        model[id] = &key;
        ssh_mapping_put(map, ssh_text_bytes(key), const_cast<std::string *>(&key));
        ASSERT_EQ(map.size, free <= before.size / 2 ? before.size * 2 : before.size);
      } else {
        ASSERT_EQ(ssh_mapping_remove(map, ssh_text_bytes(key)), held);
        const bool anew = held && before.deleted + 1 > before.size / 8;
        const bool halves = anew && before.size > 8 && model.size() < before.size / 16;
        ASSERT_EQ(map.size, halves ? before.size / 2 : before.size);
        ASSERT_EQ(map.deleted, anew ? 0 : before.deleted + held);
      }
      ASSERT_EQ(ssh_mapping_get(map, ssh_text_bytes(key)), put ? &key : nullptr);
      ASSERT_EQ(map.live(), model.size());
      largest = std::max(largest, map.size);
    }
    for (const auto &[id, key] : model) {
      ASSERT_EQ(ssh_mapping_get(map, ssh_text_bytes(*key)), key);
      const auto shows = [at = ssh_text_bytes(*key).data()](const SshMappingSlot &slot) {
        return slot.key == at;
      };
      ASSERT_EQ(std::count_if(map.slots, map.slots + map.size, shows), kind != SSH_MAPPING_INTEGER);
    }
    EXPECT_TRUE(largest > 512 && map.size < largest);
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
