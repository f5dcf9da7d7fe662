#include "util/wire.h"

#include "support/test.h"

namespace {

// Own is a value of our own on the wire: a uint32 string in a block of the record.
struct Own {
  uint8_t *block = nullptr;
  int cleanups = 0;
};

void put_own(SshBuffer &buffer, const void *context) {
  const auto *text = static_cast<const char *>(context);
  ssh_encode_buffer(buffer, {ssh_put_uint32_str(ssh_text_bytes(text)), ssh_put_char('!')});
}

size_t get_own(Bytes input, void *context) {
  auto &own = *static_cast<Own *>(context);
  if (!ssh_decode_cleanup(input))
    return ssh_decode_array(input, {ssh_get_uint32_str(&own.block), ssh_get_char(nullptr)});
  EXPECT_TRUE(input.empty());
  ++own.cleanups;
  ssh_xfree(own.block);
  return 0;
}

using Wire = Balanced;

TEST_F(Wire, Octets) {
  const SshMpInt minus_256(-256);
  const Bytes text = ssh_text_bytes("abc");
  const auto expect = [](const char *octets, SshPut field) {
    uint8_t *out = nullptr;
    const size_t size = ssh_encode_alloc(&out, {field});
    EXPECT_EQ(hex({out, size}), octets);
    EXPECT_EQ(ssh_encode_alloc(nullptr, {field}), size) << "measuring " << octets;
    ssh_xfree(out);
  };
  expect("00000003616263", ssh_put_uint32_str(text));
  expect("00000000", ssh_put_mp_int(nullptr));
  expect("000000090100", ssh_put_mp_int(&minus_256));
  expect("fe", ssh_put_char(0x1FE));
  expect("", {});

  const std::pair<const char *, uint32_t> lengths[] = {{"3f", 63},
                                                       {"4040", 64},
                                                       {"7fff", 16383},
                                                       {"804000", 16384},
                                                       {"bfffff", 4194303},
                                                       {"c000400000", 4194304},
                                                       {"ff80000001", 0x80000001}};
  for (const auto &[digits, value] : lengths) {
    const std::vector<uint8_t> octets = unhex(digits);
    size_t count = 0;
    EXPECT_EQ(vlint32_parse(octets.data(), &count), value) << digits;
    EXPECT_EQ(count, octets.size());
    if (digits[0] != 'f') expect(digits, ssh_put_vlint32(value));
  }
}

// Every field of the sample, read back; a shorter input fails without a leak, with one clean-up
// call for the special field once it had been read.
TEST_F(Wire, EveryTruncationFailsCleanly) {
  const SshMpInt integer(0x123456789A);
  const Bytes text = ssh_text_bytes("text");
  SshBuffer buffer;
  const uint32_t total = ssh_encode_buffer(
      buffer,
      {ssh_put_vlint32_str(text), ssh_put_uint32_str(text), ssh_put_special(put_own, "own"),
       ssh_put_vlint32_str(text), ssh_put_uint32_str(text), ssh_put_vlint32(70), ssh_put_uint32(71),
       ssh_put_boolean(72), ssh_put_mp_int(&integer), ssh_put_char(73), ssh_put_data(text)});
  constexpr size_t kOwnEnd = 5 + 8 + 8;

  for (uint32_t length = 0; length <= total; ++length) {
    SCOPED_TRACE(length);
    uint8_t *blocks[2] = {};
    Own own;
    Bytes short_view, long_view;
    uint32_t numbers[5] = {};
    char data[5] = {};
    SshMpInt read;
    // A heap copy of the very length, so that reading past it is seen.
    const std::vector<uint8_t> input(ssh_buffer_ptr(buffer), ssh_buffer_ptr(buffer) + length);
    EXPECT_EQ(
        ssh_decode_array(
            input, {ssh_get_vlint32_str(&blocks[0], &numbers[0]), ssh_get_uint32_str(&blocks[1]),
                    ssh_get_special(get_own, &own), ssh_get_vlint32_str_nocopy(&short_view),
                    ssh_get_uint32_str_nocopy(&long_view), ssh_get_vlint32(&numbers[1]),
                    ssh_get_uint32(&numbers[2]), ssh_get_boolean(&numbers[3]),
                    ssh_get_mp_int(&read), ssh_get_char(&numbers[4]), ssh_get_data(data, 4)}),
        length < total ? 0 : total);
    EXPECT_EQ(own.cleanups, length >= kOwnEnd && length < total ? 1 : 0);
    if (length == total) {
      EXPECT_THAT(numbers, testing::ElementsAre(4, 70, 71, 1, 73));
      EXPECT_STREQ(reinterpret_cast<char *>(own.block), "own");
      EXPECT_EQ(ssh_bytes_text(short_view), "text");
      EXPECT_EQ(ssh_bytes_text(long_view), "text");
      EXPECT_EQ(read, integer);
      EXPECT_STREQ(data, "text");
      ssh_xfree(own.block);
      for (uint8_t *block : blocks) {
        EXPECT_STREQ(reinterpret_cast<char *>(block), "text");
        ssh_xfree(block);
      }
    }
  }
}

TEST_F(Wire, ABufferLosesWhatWasDecoded) {
  SshBuffer buffer;
  ssh_encode_buffer(buffer, {ssh_put_char(7), ssh_put_char(8)});
  uint32_t number = 0;
  EXPECT_EQ(ssh_decode_buffer(buffer, {ssh_get_char(&number), ssh_get_uint32(&number)}), 0u);
  EXPECT_EQ(ssh_decode_buffer(buffer, {ssh_get_char(&number)}), 1u);
  EXPECT_EQ(number, 7u);
  EXPECT_EQ(hex(ssh_buffer_bytes(buffer)), "08");
}

TEST_F(Wire, Limits) {
  uint8_t *block = nullptr;
  std::vector<uint8_t> large(4 + SSH_XMALLOC_MAX);  // leaves no room for a terminator
  ssh_store_be32(large.data(), SSH_XMALLOC_MAX);
  EXPECT_EQ(ssh_decode_array(large, {ssh_get_uint32_str(&block)}), 0u);
}

}  // namespace
