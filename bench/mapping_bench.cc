// The hash index: insert, find and remove 100,000 keys of 20 bytes, beside the standard library's.
#include <benchmark/benchmark.h>

#include <unordered_map>
#include <vector>

#include "bench.h"
#include "cm/mapping.h"

namespace {

constexpr size_t kKeys = 100000;
constexpr size_t kLength = 20;  // of a public-key search key

Bytes keys() {
  static const std::vector<uint8_t> octets = [] {
    std::vector<uint8_t> made(kKeys * kLength);
    uint64_t state = 1;
    for (uint8_t &octet : made) {
      state = state * 6364136223846793005u + 1442695040888963407u;
      octet = static_cast<uint8_t>(state >> 56);
    }
    return made;
  }();
  return octets;
}

Bytes key(Bytes all, size_t i) { return all.subspan(i * kLength, kLength); }

bool mapping_ours(Bytes all) {
  static int value;
  const SshMappingOwner mapping(ssh_mapping_allocate(SSH_MAPPING_BYTES));
  for (size_t i = 0; i < kKeys; ++i) ssh_mapping_put(*mapping, key(all, i), &value);
  bool good = true;
  for (size_t i = 0; i < kKeys; ++i) good = ssh_mapping_get(*mapping, key(all, i)) && good;
  for (size_t i = 0; i < kKeys; ++i) good = ssh_mapping_remove(*mapping, key(all, i)) && good;
  return good && mapping->live() == 0;
}

bool mapping_std(Bytes all) {
  static int value;
  std::unordered_map<std::string_view, void *> map;
  for (size_t i = 0; i < kKeys; ++i) map[ssh_bytes_text(key(all, i))] = &value;
  bool good = true;
  for (size_t i = 0; i < kKeys; ++i) good = map.contains(ssh_bytes_text(key(all, i))) && good;
  for (size_t i = 0; i < kKeys; ++i) good = map.erase(ssh_bytes_text(key(all, i))) == 1 && good;
  return good && map.empty();
}

// The floor reads every key as often as they do.
bool read_keys(Bytes all) {
  uint32_t sum = 0;
  for (int pass = 0; pass < 3; ++pass) {
    for (size_t i = 0; i < kKeys; ++i) sum += ssh_mapping_hash(SSH_MAPPING_BYTES, key(all, i));
  }
  benchmark::DoNotOptimize(sum);
  return true;
}

constexpr SshBenchCase kCases[] = {
    {kBenchFloor, "each key is hashed three times", read_keys},
    {kBenchOurs, "", mapping_ours},
    {"std-unordered-map", "", mapping_std},
};

}  // namespace

void ssh_bench_add_mapping() { ssh_bench_add("mapping-100000", keys, kKeys, kCases); }
