#include "util/wire.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "support/fatal.h"
#include "support/hex.h"
#include "util/owner.h"

namespace {

// Pair is a value of our own on the wire: two uint32 strings, owned by the record.
struct Pair {
  uint8_t *first = nullptr, *second = nullptr;
  int cleanups = 0;
};

void put_pair(SshBuffer &buffer, const void *context) {
  const auto *texts = static_cast<const std::string *>(context);
  ssh_encode_buffer(buffer, {ssh_put_uint32_str(ssh_text_bytes(texts[0])),
                             ssh_put_uint32_str(ssh_text_bytes(texts[1]))});
}

size_t get_pair(Bytes input, void *context) {
  auto &pair = *static_cast<Pair *>(context);
  if (!ssh_decode_cleanup(input)) {
    return ssh_decode_array(input, {ssh_get_uint32_str(&pair.first),
                                    ssh_get_uint32_str(&pair.second), ssh_get_data(nullptr, 0)});
  }
  EXPECT_TRUE(input.empty());
  ++pair.cleanups;
  ssh_xfree(pair.first);
  ssh_xfree(pair.second);
  return 0;
}

TEST(Wire, Octets) {
  const SshMpInt one(1), minus_256(-256), zero(0);
  const std::string pair[] = {"a", ""};
  const Bytes text = ssh_text_bytes("abc");
  const struct {
    SshPut field;
    const char *octets;
  } rows[] = {
      {ssh_put_vlint32_str({}), "00"},
      {ssh_put_vlint32_str(text), "03 616263"},
      {ssh_put_uint32_str({}), "00000000"},
      {ssh_put_uint32_str(text), "00000003 616263"},
      {ssh_put_vlint32(0), "00"},
      {ssh_put_vlint32(63), "3F"},
      {ssh_put_vlint32(64), "40 40"},
      {ssh_put_vlint32(16383), "7F FF"},
      {ssh_put_vlint32(16384), "80 40 00"},
      {ssh_put_vlint32(4194303), "BF FF FF"},
      {ssh_put_vlint32(4194304), "C0 00 40 00 00"},
      {ssh_put_vlint32(0xFFFFFFFF), "C0 FF FF FF FF"},
      {ssh_put_uint32(0x01020384), "01020384"},
      {ssh_put_boolean(0), "00"},
      {ssh_put_boolean(0x100), "01"},
      {ssh_put_mp_int(nullptr), "00000000"},
      {ssh_put_mp_int(&zero), "00000000"},
      {ssh_put_mp_int(&one), "00000001 01"},
      {ssh_put_mp_int(&minus_256), "00000009 0100"},
      {ssh_put_char(0x1FE), "FE"},
      {ssh_put_data(text), "616263"},
      {ssh_put_data({}), ""},
      {ssh_put_special(put_pair, pair), "00000001 61 00000000"},
      {SshPut{}, ""},
  };
  for (const auto &row : rows) {
    const std::vector<uint8_t> expected = unhex(row.octets);
    uint8_t *out = nullptr;
    EXPECT_EQ(ssh_encode_alloc(&out, {row.field}), expected.size()) << row.octets;
    const SshBlock block(out);
    EXPECT_EQ(hex({block.get(), expected.size()}), hex(expected));
    EXPECT_EQ(ssh_encode_alloc(nullptr, {row.field}), expected.size()) << "measuring";
  }
}

TEST(Wire, VlintParse) {
  const struct {
    const char *octets;
    uint32_t value;
  } rows[] = {{"3F", 63},
              {"40 3F", 63},
              {"80 00 3F", 63},
              {"BF FF FF", 4194303},
              {"C0 00 00 00 3F", 63},
              {"FF 80 00 00 01", 0x80000001}};
  for (const auto &row : rows) {
    const std::vector<uint8_t> octets = unhex(row.octets);
    size_t count = 0;
    EXPECT_EQ(vlint32_length(octets[0]), octets.size()) << row.octets;
    EXPECT_EQ(vlint32_parse(octets.data(), &count), row.value) << row.octets;
    EXPECT_EQ(count, octets.size());
  }
}

// What a decode consumes when it is asked for one field; 0 where the input does not hold it.
TEST(Wire, DecodeBounds) {
  uint32_t value = 0;
  uint8_t four[4] = {};
  Bytes view;
  SshMpInt integer;
  const struct {
    const char *why;
    SshGet field;
    const char *octets;
    size_t used;
  } rows[] = {
      {"vlint32 cut after its first octet", ssh_get_vlint32(&value), "40", 0},
      {"vlint32 cut in five", ssh_get_vlint32(&value), "C0 00 00 00", 0},
      {"string beyond the end", ssh_get_vlint32_str_nocopy(&view), "02 61", 0},
      {"string to the end", ssh_get_vlint32_str_nocopy(&view), "02 61 62", 3},
      {"string of 4 GiB less one", ssh_get_uint32_str(nullptr), "FFFFFFFF 61", 0},
      {"vlint32 string of 4 GiB less one", ssh_get_vlint32_str(nullptr), "C0 FFFFFFFF 61", 0},
      {"three octets of a uint32", ssh_get_uint32(&value), "00 00 01", 0},
      {"octets left over", ssh_get_uint32(&value), "00 00 01 02 03", 4},
      {"integer with the most bits", ssh_get_mp_int(&integer), "FFFFFFFF 61", 0},
      {"integer cut", ssh_get_mp_int(&integer), "00000009 01", 0},
      {"integer of eight bits", ssh_get_mp_int(&integer), "00000008 FF 01", 5},
      {"integer with a cut count", ssh_get_mp_int(&integer), "00 00 00", 0},
      {"data cut", ssh_get_data(four, 4), "01 02 03", 0},
      {"data skipped", ssh_get_data(nullptr, 4), "01 02 03 04", 4},
      {"no octet for a char", ssh_get_char(&value), "", 0},
      {"no octet for a boolean", ssh_get_boolean(nullptr), "", 0},
      {"no octet for a vlint32 string", ssh_get_vlint32_str(nullptr), "", 0},
      {"nothing asked", SshGet{}, "01", 0},
  };
  for (const auto &row : rows) {
    EXPECT_EQ(ssh_decode_array(unhex(row.octets), {row.field}), row.used) << row.why;
    // A field after the end of the list is not read.
    EXPECT_EQ(ssh_decode_array(unhex(row.octets), {row.field, SshGet{}, ssh_get_data(four, 999)}),
              row.used)
        << row.why;
  }
}

// Every field of the sample, read back; a shorter input fails without a leak, with one clean-up
// call for the pair once it had been read.
TEST(Wire, EveryTruncationFailsCleanly) {
  const std::string pair_texts[] = {"first", "second"};
  const SshMpInt integer(0x123456789A);
  SshBuffer buffer;
  std::vector<SshPut> puts;
  const Bytes text = ssh_text_bytes("text");
  for (int i = 0; i < 20; ++i) puts.push_back(ssh_put_vlint32_str(text));  // a long list of blocks
  puts.insert(puts.end(), {ssh_put_uint32_str(text), ssh_put_special(put_pair, pair_texts),
                           ssh_put_vlint32_str(text), ssh_put_uint32_str(text), ssh_put_vlint32(70),
                           ssh_put_uint32(71), ssh_put_boolean(72), ssh_put_mp_int(&integer),
                           ssh_put_char(73), ssh_put_data(text)});
  const uint32_t total = ssh_encode_va(buffer, puts);
  ASSERT_EQ(total, ssh_buffer_len(buffer));
  const size_t pair_end = 20 * 5 + 8 + 8 + 11;

  for (uint32_t length = 0; length <= total; ++length) {
    const int64_t before = ssh_mem_blocks();
    uint8_t *blocks[21] = {};
    Pair pair;
    Bytes short_view, long_view;
    uint32_t block_length = 0, vlint = 0, number = 0, boolean = 0, octet = 0;
    char data[5] = {};
    SshMpInt read;
    std::vector<SshGet> gets;
    for (int i = 0; i < 20; ++i) gets.push_back(ssh_get_vlint32_str(&blocks[i], &block_length));
    gets.insert(gets.end(),
                {ssh_get_uint32_str(&blocks[20]), ssh_get_special(get_pair, &pair),
                 ssh_get_vlint32_str_nocopy(&short_view), ssh_get_uint32_str_nocopy(&long_view),
                 ssh_get_vlint32(&vlint), ssh_get_uint32(&number), ssh_get_boolean(&boolean),
                 ssh_get_mp_int(&read), ssh_get_char(&octet), ssh_get_data(data, 4)});
    // A heap copy of the very length, so that reading past it is seen.
    const std::vector<uint8_t> input(ssh_buffer_ptr(buffer), ssh_buffer_ptr(buffer) + length);
    const size_t used = ssh_decode_array_va(input, gets);
    if (length < total) {
      EXPECT_EQ(used, 0U) << length;
      EXPECT_EQ(pair.cleanups, length >= pair_end ? 1 : 0) << length;
      EXPECT_EQ(ssh_mem_blocks(), before) << length;
      continue;
    }
    EXPECT_EQ(used, total);
    EXPECT_EQ(pair.cleanups, 0);
    for (uint8_t *block : blocks) EXPECT_STREQ(reinterpret_cast<char *>(block), "text");
    EXPECT_STREQ(reinterpret_cast<char *>(pair.second), "second");
    EXPECT_EQ(ssh_bytes_text(short_view), "text");
    EXPECT_EQ(ssh_bytes_text(long_view), "text");
    EXPECT_TRUE(long_view.data() > input.data() && long_view.data() < input.data() + length);
    EXPECT_EQ(block_length, 4U);
    EXPECT_EQ(vlint, 70U);
    EXPECT_EQ(number, 71U);
    EXPECT_EQ(boolean, 1U);
    EXPECT_EQ(octet, 73U);
    EXPECT_EQ(read, integer);
    EXPECT_STREQ(data, "text");
    for (uint8_t *block : blocks) ssh_xfree(block);
    get_pair({reinterpret_cast<const uint8_t *>(1), size_t{0}}, &pair);
    EXPECT_EQ(ssh_mem_blocks(), before);
  }
}

TEST(Wire, DecodeBufferConsumesOnSuccessOnly) {
  SshBuffer buffer;
  ssh_encode_buffer(buffer, {ssh_put_uint32(1), ssh_put_char(2), ssh_put_char(3)});
  uint32_t a = 0, b = 0;
  EXPECT_EQ(ssh_decode_buffer(buffer, {ssh_get_uint32(&a), ssh_get_uint32(&b)}), 0U);
  EXPECT_EQ(ssh_buffer_len(buffer), 6U);
  EXPECT_EQ(ssh_decode_buffer(buffer, {ssh_get_uint32(&a), ssh_get_char(&b)}), 5U);
  EXPECT_EQ(ssh_buffer_len(buffer), 1U);
  EXPECT_EQ(a * 10 + b, 12U);
}

// Random lists of random fields: what was put comes back, and all of the encoding is consumed.
TEST(Wire, RandomRoundTrips) {
  std::mt19937 random(5);
  for (int round = 0; round < 300; ++round) {
    struct Slot {
      std::vector<uint8_t> data, copied;
      uint32_t number = 0, got = 0;
      uint8_t *block = nullptr;
      Bytes view;
      SshMpInt integer, got_integer;
    };
    std::vector<Slot> slots(random() % 40 + 1);
    std::vector<SshPut> puts;
    std::vector<SshGet> gets;
    std::vector<std::function<void()>> checks;
    for (Slot &slot : slots) {
      slot.data.resize(random() % (round % 30 == 0 ? 20000 : 100));
      for (uint8_t &octet : slot.data) octet = static_cast<uint8_t>(random());
      slot.number = static_cast<uint32_t>(random()) >> random() % 32;
      const auto number = [&](SshPut put, SshGet get, uint32_t expected) {
        puts.push_back(put), gets.push_back(get);
        checks.push_back([&slot, expected] { EXPECT_EQ(slot.got, expected); });
      };
      const auto string = [&](SshPut put, SshGet copy, SshGet view) {
        const bool copies = random() % 2 == 0;
        puts.push_back(put), gets.push_back(copies ? copy : view);
        checks.push_back([&slot, copies] {
          const SshBlock owner(slot.block);
          const Bytes got = copies ? Bytes(slot.block, slot.got) : slot.view;
          EXPECT_EQ(hex(got), hex(slot.data));
          if (copies) {
            EXPECT_EQ(slot.block[slot.got], 0);
          }
        });
      };
      const uint32_t n = slot.number;
      switch (random() % 8) {
        case 0:
          number(ssh_put_vlint32(n), ssh_get_vlint32(&slot.got), n);
          break;
        case 1:
          number(ssh_put_uint32(n), ssh_get_uint32(&slot.got), n);
          break;
        case 2:
          number(ssh_put_boolean(n & 0x80), ssh_get_boolean(&slot.got), n >> 7 & 1);
          break;
        case 3:
          number(ssh_put_char(n), ssh_get_char(&slot.got), n & 0xFF);
          break;
        case 4:
          string(ssh_put_vlint32_str(slot.data), ssh_get_vlint32_str(&slot.block, &slot.got),
                 ssh_get_vlint32_str_nocopy(&slot.view));
          break;
        case 5:
          string(ssh_put_uint32_str(slot.data), ssh_get_uint32_str(&slot.block, &slot.got),
                 ssh_get_uint32_str_nocopy(&slot.view));
          break;
        case 6:
          slot.integer.set_magnitude(slot.data);
          puts.push_back(ssh_put_mp_int(&slot.integer));
          gets.push_back(ssh_get_mp_int(&slot.got_integer));
          checks.push_back([&slot] { EXPECT_EQ(slot.got_integer, slot.integer); });
          break;
        default:
          slot.copied.resize(slot.data.size());
          puts.push_back(ssh_put_data(slot.data));
          gets.push_back(ssh_get_data(slot.copied.data(), slot.copied.size()));
          checks.push_back([&slot] { EXPECT_EQ(slot.copied, slot.data); });
      }
    }
    SshBuffer buffer;
    const uint32_t length = ssh_encode_va(buffer, puts);
    ASSERT_EQ(ssh_decode_array_va(ssh_buffer_bytes(buffer), gets), length);
    for (const auto &check : checks) check();
  }
}

TEST(Wire, FatalTexts) {
  SshBuffer buffer;
  for (const uint32_t code : {1U, 3U, 12U, 0xFFFFFFFFU}) {
    const auto format = static_cast<SshFormat>(code);
    const std::string text = ": invalid format code " + std::to_string(static_cast<int>(code)) +
                             " (check arguments and SSH_FORMAT_END)";
    EXPECT_FATAL(ssh_encode_buffer(buffer, {ssh_put_char(1), {.code = format}}),
                 "ssh_encode_va" + text);
    if (code <= SSH_FORMAT_END) continue;
    EXPECT_FATAL((void)ssh_decode_array({}, {SshGet{.code = format}}),
                 "ssh_decode_array_va" + text);
  }
}

// Each heap request of an encode and a decode fails in turn: always the fatal routine, and only it.
TEST(Wire, EveryHeapFailureIsFatal) {
  const auto work = [] {
    const std::vector<uint8_t> large(5000, 1);
    SshMpInt integer;
    integer.set_magnitude(large);
    uint8_t *encoded = nullptr;
    const uint32_t length = ssh_encode_alloc(
        &encoded, {ssh_put_uint32_str(large), ssh_put_mp_int(&integer), ssh_put_vlint32_str({})});
    const SshBlock owner(encoded);
    uint8_t *first = nullptr, *second = nullptr;
    EXPECT_EQ(
        ssh_decode_array({encoded, length}, {ssh_get_uint32_str(&first), ssh_get_mp_int(&integer),
                                             ssh_get_vlint32_str(&second)}),
        length);
    const SshBlock first_owner(first), second_owner(second);
    EXPECT_NE(SshText(integer.to_decimal()), nullptr);
  };
  constexpr int kRequests = 9;
  for (uint64_t n = 1; n <= kRequests; ++n) {
    EXPECT_EXIT((fatal_to_stderr(), ssh_mem_fail_at(n), work()), testing::ExitedWithCode(1),
                "out of memory");
  }
  ssh_mem_fail_at(kRequests + 1);
  work();  // makes exactly so many requests
  ssh_mem_fail_at(0);
}

}  // namespace
