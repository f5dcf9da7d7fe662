// The hash index against a plain map.
#include "cm/mapping.h"

#include "support/samples.h"

namespace {

using Mapping = sample::Balanced;

// keys_of makes keys of which many collide: integers with equal low bits, of which the first four
// have two hashes, letters with equal hashes, and letters that differ in their case.
std::vector<std::string> keys_of(SshMappingKind kind) {
  std::vector<std::string> keys;
  for (char first = 0; kind == SSH_MAPPING_INTEGER && first < 4; ++first)
    keys.push_back({first, 0, 0, 0});
  for (int i = 0; i < 1200; ++i) {
    const char letters[] = {i % 2 ? 'k' : 'K', static_cast<char>('a' + i / 2 % 25),
                            static_cast<char>('A' + i / 50), 'z'};
    keys.emplace_back(letters, kind == SSH_MAPPING_INTEGER || i % 7 ? 4 : 3);
  }
  return keys;
}

TEST_F(Mapping, BehavesAsAPlainMapByItsRules) {
  for (const auto kind : {SSH_MAPPING_INTEGER, SSH_MAPPING_BYTES, SSH_MAPPING_BYTES_FOLDED}) {
    const std::vector<std::string> keys = keys_of(kind);
    std::mt19937 random(kind);
    const SshMappingOwner map(ssh_mapping_allocate(kind));
    std::map<std::string, const std::string *> model;
    uint32_t largest = 0;
    for (int i = 0; i < 32000; ++i) {
      const std::string &key = keys[random() % keys.size()];
      std::string id = key;
      if (kind == SSH_MAPPING_BYTES_FOLDED)
        std::transform(id.begin(), id.end(), id.begin(), tolower);
      const bool put = random() % 100 < (i / 8000 % 2 == 0 ? 90u : 4u);
      const bool held = model.erase(id) > 0;
      if (put) {
        model[id] = &key;
        ssh_mapping_put(*map, ssh_text_bytes(key), const_cast<std::string *>(&key));
      } else {
        ASSERT_EQ(ssh_mapping_remove(*map, ssh_text_bytes(key)), held);
      }
      ASSERT_EQ(ssh_mapping_get(*map, ssh_text_bytes(key)), put ? &key : nullptr);
      ASSERT_EQ(map->live(), model.size());
      ASSERT_GE(map->empty, map->size / 8 * 3) << "searches end at a slot that held no key";
      largest = std::max(largest, map->size);
    }
    for (const auto &[id, key] : model) ASSERT_EQ(ssh_mapping_get(*map, ssh_text_bytes(*key)), key);
    EXPECT_TRUE(largest > 512 && map->size < largest);
  }
}

TEST_F(Mapping, IntegersAreTheFirstFourOctets) {
  const SshMappingOwner map(ssh_mapping_allocate(SSH_MAPPING_INTEGER));
  char value = 0;
  const Der five = unhex("0102030405"), four = unhex("01020304"), three = unhex("010203");
  ssh_mapping_put(*map, three, &value);
  EXPECT_FALSE(ssh_mapping_get(*map, three) || ssh_mapping_remove(*map, three));
  ssh_mapping_put(*map, five, &value);
  EXPECT_EQ(ssh_mapping_get(*map, four), &value);
}

}  // namespace
