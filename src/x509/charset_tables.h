// The character sets as tables of code points: what each letter of a set means, and which letter of
// it stands for a code point. Conversion is the first and then the second:
//
//   ssh_charset_code_of(from, letter, &code) && ssh_charset_letter_of(to, code, &letter)
//
// So n sets need n tables, and not one for each pair. The first direction is an index, the second a
// binary search. A new 8-bit set is a table of its upper 96 code points in charset_tables.cc, and a
// row there; the compiler makes the reverse table.
#pragma once

#include <cstdint>

constexpr uint16_t SSH_CHARSET_UNDEFINED = 0xFFFF;
constexpr uint32_t SSH_CHARSET_COUNT = 11;

// SshCharsetForward gives the code point of each byte, or SSH_CHARSET_UNDEFINED for a byte that is
// no letter of the set.
struct SshCharsetForward {
  uint16_t codes[256];
};

// SshCharsetReverse is a set's letters in the order of their code points, each of which it has
// once.
struct SshCharsetReverse {
  struct Entry {
    uint16_t code;
    uint16_t byte;
  };
  uint32_t count;
  Entry entries[256];
};

// SshCharsetRow describes a character set. Without tables, a letter is its own code point.
struct SshCharsetRow {
  uint32_t width;         // bytes of a letter in memory
  uint32_t greatest_in;   // the greatest code point that conversion reads
  uint32_t greatest_out;  // the greatest code point that conversion writes
  const SshCharsetForward *forward;
  const SshCharsetReverse *reverse;
};

// ssh_charset_row gives the row of a set, or null for a number that is none.
[[nodiscard]] const SshCharsetRow *ssh_charset_row(int32_t charset);

// ssh_charset_code_of stores a letter's code point; false if the letter is not one of the set.
[[nodiscard]] bool ssh_charset_code_of(const SshCharsetRow &row, uint32_t letter, uint32_t *code);

// ssh_charset_letter_of stores the letter of a code point; false if the set has none.
[[nodiscard]] bool ssh_charset_letter_of(const SshCharsetRow &row, uint32_t code, uint32_t *letter);
