// Characters of ASCII, whatever the locale says. Bytes and characters alike.
#pragma once

// ssh_is_blank is true for the six characters that C calls white space.
template <class Char>
constexpr bool ssh_is_blank(Char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

template <class Char>
constexpr bool ssh_is_digit(Char c) {
  return c >= '0' && c <= '9';
}

// ssh_to_lower changes the letters A to Z and nothing else.
template <class Char>
constexpr Char ssh_to_lower(Char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<Char>(c + ('a' - 'A')) : c;
}

template <class Char>
constexpr bool ssh_is_letter(Char c) {
  return ssh_to_lower(c) >= 'a' && ssh_to_lower(c) <= 'z';
}
