// The tables of the eight-bit sets against the machine's own.
#include <iconv.h>

#include "x509/str_samples.h"

namespace {

using namespace strings;

// defined_in gives the code point of a byte in one of the machine's own tables, 0xFFFF for none.
uint32_t defined_in(const char *set, uint8_t byte) {
  const iconv_t converter = iconv_open("UTF-16BE", set);
  EXPECT_NE(converter, reinterpret_cast<iconv_t>(-1)) << set;
  char in[1] = {static_cast<char>(byte)};
  uint8_t out[8];
  char *from = in, *to = reinterpret_cast<char *>(out);
  size_t from_left = 1, to_left = sizeof(out);
  const size_t result = iconv(converter, &from, &from_left, &to, &to_left);
  iconv_close(converter);
  return result == 0 && to_left == 6 ? uint32_t{out[0]} << 8 | out[1] : 0xFFFFu;
}

// expected_code adds the departures to what the machine knows.
uint32_t expected_code(int32_t charset, const char *set, uint8_t byte) {
  if (charset == SSH_CHARSET_ISO_8859_4 && byte == 0xAF) return 0x203E;
  if (charset == SSH_CHARSET_T61 && byte >= 0xC1 && byte <= 0xCF) {
    return byte == 0xC9 ? 0xFFFFu : 0xE006u + byte - 0xC1u;
  }
  return defined_in(set, byte);
}

TEST_F(Strings, EightBitTablesFollowTheirStandards) {
  const std::pair<int32_t, const char *> rows[] = {{SSH_CHARSET_ISO_8859_1, "ISO-8859-1"},
                                                   {SSH_CHARSET_ISO_8859_2, "ISO-8859-2"},
                                                   {SSH_CHARSET_ISO_8859_3, "ISO-8859-3"},
                                                   {SSH_CHARSET_ISO_8859_4, "ISO-8859-4"},
                                                   {SSH_CHARSET_T61, "T.61-8BIT"}};
  for (const auto &[charset, set] : rows) {
    std::map<uint32_t, uint32_t> bytes;  // by their letters
    for (uint32_t byte = 0; byte < 256; ++byte) {
      const uint32_t expected = expected_code(charset, set, static_cast<uint8_t>(byte));
      const SshStrOwner str = of_letters(charset, {byte});
      const SshStrOwner universal(ssh_str_charset_test(str.get(), SSH_CHARSET_UNIVERSAL));
      ASSERT_EQ(universal ? universal->units32[0] : 0xFFFF, expected) << set << " " << byte;
      if (universal) bytes[expected] = byte;
    }
    for (uint32_t code = 0; code <= 0xFFFF; ++code) {
      const SshStrOwner back(
          ssh_str_charset_test(of_letters(SSH_CHARSET_BMP, {code}).get(), charset));
      ASSERT_EQ(back ? back->bytes[0] : 256u, bytes.count(code) ? bytes[code] : 256u) << set;
    }
  }
}

}  // namespace
