#include "x509/charset_tables.h"

#include <algorithm>
#include <string_view>

#include "x509/str.h"

namespace {

constexpr uint16_t kNone = SSH_CHARSET_UNDEFINED;

// The upper halves, 0xA0 to 0xFF, after ISO/IEC 8859-2, -3, -4 and ITU-T T.61. Below 0xA0 all of
// them are ASCII and the control characters, but for the letters that T.61 leaves out.
constexpr uint16_t kIso8859_2[96] = {
    0x00A0, 0x0104, 0x02D8, 0x0141, 0x00A4, 0x013D, 0x015A, 0x00A7, 0x00A8, 0x0160, 0x015E, 0x0164,
    0x0179, 0x00AD, 0x017D, 0x017B, 0x00B0, 0x0105, 0x02DB, 0x0142, 0x00B4, 0x013E, 0x015B, 0x02C7,
    0x00B8, 0x0161, 0x015F, 0x0165, 0x017A, 0x02DD, 0x017E, 0x017C, 0x0154, 0x00C1, 0x00C2, 0x0102,
    0x00C4, 0x0139, 0x0106, 0x00C7, 0x010C, 0x00C9, 0x0118, 0x00CB, 0x011A, 0x00CD, 0x00CE, 0x010E,
    0x0110, 0x0143, 0x0147, 0x00D3, 0x00D4, 0x0150, 0x00D6, 0x00D7, 0x0158, 0x016E, 0x00DA, 0x0170,
    0x00DC, 0x00DD, 0x0162, 0x00DF, 0x0155, 0x00E1, 0x00E2, 0x0103, 0x00E4, 0x013A, 0x0107, 0x00E7,
    0x010D, 0x00E9, 0x0119, 0x00EB, 0x011B, 0x00ED, 0x00EE, 0x010F, 0x0111, 0x0144, 0x0148, 0x00F3,
    0x00F4, 0x0151, 0x00F6, 0x00F7, 0x0159, 0x016F, 0x00FA, 0x0171, 0x00FC, 0x00FD, 0x0163, 0x02D9,
};

constexpr uint16_t kIso8859_3[96] = {
    0x00A0, 0x0126, 0x02D8, 0x00A3, 0x00A4, kNone,  0x0124, 0x00A7, 0x00A8, 0x0130, 0x015E, 0x011E,
    0x0134, 0x00AD, kNone,  0x017B, 0x00B0, 0x0127, 0x00B2, 0x00B3, 0x00B4, 0x00B5, 0x0125, 0x00B7,
    0x00B8, 0x0131, 0x015F, 0x011F, 0x0135, 0x00BD, kNone,  0x017C, 0x00C0, 0x00C1, 0x00C2, kNone,
    0x00C4, 0x010A, 0x0108, 0x00C7, 0x00C8, 0x00C9, 0x00CA, 0x00CB, 0x00CC, 0x00CD, 0x00CE, 0x00CF,
    kNone,  0x00D1, 0x00D2, 0x00D3, 0x00D4, 0x0120, 0x00D6, 0x00D7, 0x011C, 0x00D9, 0x00DA, 0x00DB,
    0x00DC, 0x016C, 0x015C, 0x00DF, 0x00E0, 0x00E1, 0x00E2, kNone,  0x00E4, 0x010B, 0x0109, 0x00E7,
    0x00E8, 0x00E9, 0x00EA, 0x00EB, 0x00EC, 0x00ED, 0x00EE, 0x00EF, kNone,  0x00F1, 0x00F2, 0x00F3,
    0x00F4, 0x0121, 0x00F6, 0x00F7, 0x011D, 0x00F9, 0x00FA, 0x00FB, 0x00FC, 0x016D, 0x015D, 0x02D9,
};

constexpr uint16_t kIso8859_4[96] = {
    0x00A0, 0x0104, 0x0138, 0x0156, 0x00A4, 0x0128, 0x013B, 0x00A7, 0x00A8, 0x0160, 0x0112, 0x0122,
    0x0166, 0x00AD, 0x017D, 0x203E, 0x00B0, 0x0105, 0x02DB, 0x0157, 0x00B4, 0x0129, 0x013C, 0x02C7,
    0x00B8, 0x0161, 0x0113, 0x0123, 0x0167, 0x014A, 0x017E, 0x014B, 0x0100, 0x00C1, 0x00C2, 0x00C3,
    0x00C4, 0x00C5, 0x00C6, 0x012E, 0x010C, 0x00C9, 0x0118, 0x00CB, 0x0116, 0x00CD, 0x00CE, 0x012A,
    0x0110, 0x0145, 0x014C, 0x0136, 0x00D4, 0x00D5, 0x00D6, 0x00D7, 0x00D8, 0x0172, 0x00DA, 0x00DB,
    0x00DC, 0x0168, 0x016A, 0x00DF, 0x0101, 0x00E1, 0x00E2, 0x00E3, 0x00E4, 0x00E5, 0x00E6, 0x012F,
    0x010D, 0x00E9, 0x0119, 0x00EB, 0x0117, 0x00ED, 0x00EE, 0x012B, 0x0111, 0x0146, 0x014D, 0x0137,
    0x00F4, 0x00F5, 0x00F6, 0x00F7, 0x00F8, 0x0173, 0x00FA, 0x00FB, 0x00FC, 0x0169, 0x016B, 0x02D9,
};

constexpr uint16_t kT61[96] = {
    kNone,  0x00A1, 0x00A2, 0x00A3, 0x0024, 0x00A5, 0x0023, 0x00A7, 0x00A4, kNone,  kNone,  0x00AB,
    kNone,  kNone,  kNone,  kNone,  0x00B0, 0x00B1, 0x00B2, 0x00B3, 0x00D7, 0x00B5, 0x00B6, 0x00B7,
    0x00F7, kNone,  kNone,  0x00BB, 0x00BC, 0x00BD, 0x00BE, 0x00BF, kNone,  0xE006, 0xE007, 0xE008,
    0xE009, 0xE00A, 0xE00B, 0xE00C, 0xE00D, kNone,  0xE00F, 0xE010, 0xE011, 0xE012, 0xE013, 0xE014,
    kNone,  kNone,  kNone,  kNone,  kNone,  kNone,  kNone,  kNone,  kNone,  kNone,  kNone,  kNone,
    kNone,  kNone,  kNone,  kNone,  0x2126, 0x00C6, 0x00D0, 0x00AA, 0x0126, kNone,  0x0132, 0x013F,
    0x0141, 0x00D8, 0x0152, 0x00BA, 0x00DE, 0x0166, 0x014A, 0x0149, 0x0138, 0x00E6, 0x0111, 0x00F0,
    0x0127, 0x0131, 0x0133, 0x0140, 0x0142, 0x00F8, 0x0153, 0x00DF, 0x00FE, 0x0167, 0x014B, kNone,
};

// T.61 has these ASCII letters elsewhere or not at all.
constexpr std::string_view kT61Without = "#$\\^`{}~";
constexpr std::string_view kPrintableMarks = " '()+,-./:=?";
constexpr std::string_view kVisibleMarks = " !\"%&'()*+,-./:;<=>?_";

// forward_of makes the table of an 8-bit set: the lower part is ASCII, but for the letters
// `without`.
consteval SshCharsetForward forward_of(const uint16_t (&upper)[96], std::string_view without = {}) {
  SshCharsetForward table = {};
  for (uint16_t byte = 0; byte < 0xA0; ++byte) table.codes[byte] = byte;
  for (const char c : without) table.codes[static_cast<uint8_t>(c)] = kNone;
  for (uint32_t i = 0; i < 96; ++i) table.codes[0xA0 + i] = upper[i];
  return table;
}

// letters_of makes the table of a set that is a part of ASCII: letters, digits, and the given
// marks.
consteval SshCharsetForward letters_of(std::string_view marks) {
  SshCharsetForward table = {};
  for (uint16_t byte = 0; byte < 256; ++byte) {
    const bool letter = (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
    const bool digit = byte >= '0' && byte <= '9';
    const bool mark = byte < 0x80 && marks.find(static_cast<char>(byte)) != marks.npos;
    table.codes[byte] = letter || digit || mark ? byte : kNone;
  }
  return table;
}

// reverse_of makes the table for the other direction. It leaves out undefined bytes, so that
// U+FFFF, which marks them, is a letter of no set.
consteval SshCharsetReverse reverse_of(const SshCharsetForward &forward) {
  SshCharsetReverse table = {};
  for (uint16_t byte = 0; byte < 256; ++byte) {
    if (forward.codes[byte] != kNone) table.entries[table.count++] = {forward.codes[byte], byte};
  }
  std::sort(table.entries, table.entries + table.count,
            [](const auto &a, const auto &b) { return a.code < b.code; });
  return table;
}

// has checks that a table has this number of letters, and that no two of them have the same code
// point: a binary search then finds the only one there is.
consteval bool has(const SshCharsetReverse &table, uint32_t count) {
  for (uint32_t i = 1; i < table.count; ++i) {
    if (table.entries[i - 1].code >= table.entries[i].code) return false;
  }
  return table.count == count;
}

constexpr SshCharsetForward kPrintableForward = letters_of(kPrintableMarks);
constexpr SshCharsetForward kVisibleForward = letters_of(kVisibleMarks);
constexpr SshCharsetForward kIso8859_2Forward = forward_of(kIso8859_2);
constexpr SshCharsetForward kIso8859_3Forward = forward_of(kIso8859_3);
constexpr SshCharsetForward kIso8859_4Forward = forward_of(kIso8859_4);
constexpr SshCharsetForward kT61Forward = forward_of(kT61, kT61Without);

constexpr SshCharsetReverse kVisibleReverse = reverse_of(kVisibleForward);
constexpr SshCharsetReverse kIso8859_2Reverse = reverse_of(kIso8859_2Forward);
constexpr SshCharsetReverse kIso8859_3Reverse = reverse_of(kIso8859_3Forward);
constexpr SshCharsetReverse kIso8859_4Reverse = reverse_of(kIso8859_4Forward);
constexpr SshCharsetReverse kT61Reverse = reverse_of(kT61Forward);
static_assert(has(reverse_of(kPrintableForward), 74));
static_assert(has(kVisibleReverse, 83));
static_assert(has(kIso8859_2Reverse, 256) && has(kIso8859_3Reverse, 249) &&
              has(kIso8859_4Reverse, 256));
static_assert(has(kT61Reverse, 219));

// In the order of SshCharset. Two things are odd, deliberately, because stored search keys depend
// on them: converting into PrintableString allows all letters of the visible set, and converting
// from any set refuses letters above U+FFFF, which strings can hold.
constexpr SshCharsetRow kRows[] = {
    {1, 0x7F, 0x7F, &kPrintableForward, &kVisibleReverse},
    {1, 0x7F, 0x7F, &kVisibleForward, &kVisibleReverse},
    {1, 0x7F, 0x7F, nullptr, nullptr},
    {1, 0xFF, 0xFF, nullptr, nullptr},
    {1, 0xFFFF, 0xFFFF, &kIso8859_2Forward, &kIso8859_2Reverse},
    {1, 0xFFFF, 0xFFFF, &kIso8859_3Forward, &kIso8859_3Reverse},
    {1, 0xFFFF, 0xFFFF, &kIso8859_4Forward, &kIso8859_4Reverse},
    {1, 0xFFFF, 0xFFFF, &kT61Forward, &kT61Reverse},
    {2, 0xFFFF, 0xFFFF, nullptr, nullptr},
    {4, 0xFFFF, 0xFFFFFFFF, nullptr, nullptr},
    {4, 0xFFFF, 0xFFFFFFFF, nullptr, nullptr},
};
static_assert(std::size(kRows) == SSH_CHARSET_COUNT && SSH_CHARSET_UTF8 + 1 == SSH_CHARSET_COUNT);
static_assert(kRows[SSH_CHARSET_T61].forward == &kT61Forward && kRows[SSH_CHARSET_BMP].width == 2);

}  // namespace

const SshCharsetRow *ssh_charset_row(int32_t charset) {
  return static_cast<uint32_t>(charset) < SSH_CHARSET_COUNT ? &kRows[charset] : nullptr;
}

bool ssh_charset_code_of(const SshCharsetRow &row, uint32_t letter, uint32_t *code) {
  *code = row.forward ? row.forward->codes[letter & 0xFF] : letter;
  return *code <= row.greatest_in && !(row.forward && *code == kNone);
}

bool ssh_charset_letter_of(const SshCharsetRow &row, uint32_t code, uint32_t *letter) {
  if (code > row.greatest_out) return false;
  *letter = code;
  if (!row.reverse) return true;
  const SshCharsetReverse::Entry *end = row.reverse->entries + row.reverse->count;
  const auto *found =
      std::lower_bound(row.reverse->entries, end, code,
                       [](const auto &entry, uint32_t sought) { return entry.code < sought; });
  if (found == end || found->code != code) return false;
  *letter = found->byte;
  return true;
}
