// Values that people write on a command line: numbers, times, names of key usage, identifiers and
// distinguished names. A further kind is a function here, whose result is nothing for wrong text.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kwpki {

// parse_number reads 32 bits, decimal or hexadecimal with 0x; nothing if the text is no such
// number.
std::optional<uint32_t> parse_number(const std::string &text);

// parse_time reads "now" or a date with or without a time, UTC, in seconds since 1970; nothing if
// the text is none or lies outside of 1970 to 2106.
std::optional<uint32_t> parse_time(const std::string &text);

// parse_key_usage reads names as `kwpki inspect` writes them, separated by commas, into a mask;
// blanks, dashes and case do not matter. Nothing if a name is unknown.
std::optional<uint32_t> parse_key_usage(const std::string &text);

// People write an identifier with its true digits. The classic profile has other digits for some
// (docs/profiles.md), and searches compare its texts. library_oid converts an identifier to the
// text that the profile has; empty for what is no identifier. library_name does so for the
// attributes in the text of a name, and replaces names of attributes that `kwpki inspect` shows by
// those that the library's texts have.
std::string library_oid(std::string_view dotted);
std::string library_name(std::string_view name);

}  // namespace kwpki
