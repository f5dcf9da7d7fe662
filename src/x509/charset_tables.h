// Code-point tables of the character sets: what each letter of a set means, and which letter stands
// for a code point. A new 8-bit set is its 96 upper code points in charset_tables.cc and one row
// there; its reverse table is made by the compiler.
#pragma once

#include <cstdint>

constexpr uint16_t SSH_CHARSET_UNDEFINED = 0xFFFF;
constexpr uint32_t SSH_CHARSET_COUNT = 11;

// SshCharsetForward gives the code point of every byte, SSH_CHARSET_UNDEFINED for a byte that is no
// letter.
struct SshCharsetForward {
  uint16_t codes[256];
};

// SshCharsetReverse gives the bytes of a set in the order of their code points, which are all
// different.
struct SshCharsetReverse {
  struct Entry {
    uint16_t code;
    uint16_t byte;
  };
  uint32_t count;
  Entry entries[256];
};

// SshCharsetRow describes one character set. Where it has no tables, a letter is its own code
// point.
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
