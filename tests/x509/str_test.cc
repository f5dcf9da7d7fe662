#include "x509/str.h"

#include <sstream>

#include "support/profile.h"
#include "x509/str_samples.h"

using namespace strings;

namespace {

SshStrOwner make_hex(int32_t charset, std::string_view digits) {
  const std::vector<uint8_t> octets = unhex(digits);
  void *data = octets.empty() ? nullptr : ssh_xmemdup(octets.data(), octets.size());
  return SshStrOwner(ssh_str_make(charset, static_cast<uint8_t *>(data), octets.size()));
}

std::string wire(const SshStr *str) {
  size_t length = 99;
  const SshBlock octets(ssh_str_get(str, &length));
  EXPECT_TRUE(octets || length == 0);
  return octets ? hex({octets.get(), length}) : "null";
}

std::string letters(const SshStr *str) {
  std::ostringstream text;
  uint32_t letter;
  for (uint32_t i = 0; str && ssh_str_get_letter(str, i, &letter); ++i)
    text << (i ? " " : "") << std::hex << std::uppercase << letter;
  return text.str();
}

TEST_F(Strings, WireOctetsAreReadAndWritten) {
  const std::tuple<int32_t, std::string_view, std::string_view> rows[] = {
      {SSH_CHARSET_PRINTABLE, "5f ff", "5F FF"},
      {SSH_CHARSET_BMP, "00e9 ffff", "E9 FFFF"},
      {SSH_CHARSET_UNIVERSAL, "00010000 80000000", "10000 80000000"}};
  for (const auto &[charset, octets, wanted] : rows) {
    const SshStrOwner str = make_hex(charset, octets);
    EXPECT_EQ(wire(str.get()), hex(unhex(octets)));
    EXPECT_EQ(letters(str.get()), wanted);
  }
  EXPECT_EQ(make_hex(SSH_CHARSET_BMP, "00e900"), nullptr);
  for (const int32_t charset : {SSH_CHARSET_T61, SSH_CHARSET_BMP, SSH_CHARSET_UTF8})
    EXPECT_EQ(make_hex(charset, ""), nullptr);
  const SshStrOwner grown = of_letters(SSH_CHARSET_BMP, {});
  for (int i = 0; i < 3000; ++i) ssh_str_append_letter(grown.get(), 0xE9);
  EXPECT_EQ(letters(grown.get()).size(), 3 * 3000u - 1) << "what was there stays";
  EXPECT_EQ(wire(of_letters(SSH_CHARSET_UTF8, {0x41, 0x7FF, 0x800, 0xFFFF, 0x10000, 0x1FFFFF,
                                               0x200000, 0x3FFFFFF, 0x4000000, 0x7FFFFFFF})
                     .get()),
            hex(unhex("41 dfbf e0a080 efbfbf f0908080 f7bfbfbf f888808080 fbbfbfbfbf"
                      "fc8480808080 fdbfbfbfbfbf")));
  EXPECT_EQ(wire(of_letters(SSH_CHARSET_UTF8, {0x41, 0x80000000}).get()), "null");
  EXPECT_EQ(ssh_str_charset_test(nullptr, SSH_CHARSET_BMP), nullptr);
}

// Classic alone reads overlong forms, surrogates, what lies beyond the last letter or has more than
// four bytes, and marks that come first or are missing; it reads no letters of one byte.
TEST_F(Strings, Utf8ByProfile) {
  const char *const rows[][3] = {{"c280 dfbf", "80 7FF", "80 7FF"},
                                 {"e0a080 f48fbfbf", "800 10FFFF", "800 10FFFF"},
                                 {"41c3a9f09f9880", "", "41 E9 1F600"},
                                 {"c1bf", "7F", ""},
                                 {"f08fbfbf", "FFFF", ""},
                                 {"eda080", "D800", ""},
                                 {"f4908080", "110000", ""},
                                 {"f888808080 fc8480808080", "200000 4000000", ""},
                                 {"fdbfbfbfbfbf", "7FFFFFFF", ""},
                                 {"85c3a9", "143 E9", ""},
                                 {"c341", "C1", ""},
                                 {"fe8080808080", "", ""},
                                 {"ff8080808080", "", ""},
                                 {"c3", "", ""}};
  for (const auto &[octets, by_classic, by_modern] : rows) {
    EXPECT_EQ(letters(make_hex(SSH_CHARSET_UTF8, octets).get()), by_classic) << octets;
    const ProfileScope modern(SSH_X509_MODERN);
    EXPECT_EQ(letters(make_hex(SSH_CHARSET_UTF8, octets).get()), by_modern) << octets;
  }
}

TEST_F(Strings, LettersOfTheSmallSets) {
  const std::string_view printable =
      " '()+,-./0123456789:=?ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  const std::string_view visible =
      " !\"%&'()*+,-./0123456789:;<=>?ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz";
  for (uint32_t byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const bool is_visible = visible.find(c) != visible.npos;
    const std::tuple<int32_t, int32_t, bool> rows[] = {
        {SSH_CHARSET_PRINTABLE, SSH_CHARSET_ISO_8859_1, printable.find(c) != printable.npos},
        {SSH_CHARSET_VISIBLE, SSH_CHARSET_ISO_8859_1, is_visible},
        {SSH_CHARSET_ISO_8859_1, SSH_CHARSET_IA5, byte < 128},
        // Writing to PrintableString admits the whole visible set.
        {SSH_CHARSET_ISO_8859_1, SSH_CHARSET_PRINTABLE, is_visible}};
    for (const auto &[from, set, expected] : rows) {
      const SshStrOwner to(ssh_str_charset_test(of_letters(from, {byte}).get(), set));
      EXPECT_EQ(to ? to->bytes[0] : 256u, expected ? byte : 256u) << from << " to " << set;
    }
  }
}

TEST_F(Strings, MoreLettersThanABlockHoldsAreRefused) {
  // A byte of UTF-8 may become a letter of four, one of T.61 a unit of two or four.
  const size_t length = SSH_XMALLOC_MAX / 4 + 2;
  auto *data = static_cast<uint8_t *>(ssh_xmalloc(length));
  std::memset(data, 0x85, length);
  data[length - 2] = 0xC3;
  EXPECT_EQ(ssh_str_make(SSH_CHARSET_UTF8, data, length), nullptr);

  auto *bytes = static_cast<uint8_t *>(ssh_xcalloc(length, 1));
  const SshStrOwner str(ssh_str_make(SSH_CHARSET_T61, bytes, length));
  EXPECT_EQ(ssh_str_charset_test(str.get(), SSH_CHARSET_UTF8), nullptr);
}

}  // namespace
