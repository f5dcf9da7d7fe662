#include "kwpki/terminal/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>

#include "asn1/files.h"
#include "util/owner.h"

namespace kwpki {
namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

struct CodeRange {
  uint32_t first;
  uint32_t last;
};

// Code points that act on a terminal, reorder text or show nothing, in order.
constexpr CodeRange kHidden[] = {
    {0x0000, 0x001F},    // C0 controls
    {0x007F, 0x009F},    // DEL and C1 controls
    {0x00AD, 0x00AD},    // soft hyphen
    {0x034F, 0x034F},    // combining grapheme joiner
    {0x061C, 0x061C},    // Arabic letter mark
    {0x115F, 0x1160},    // Hangul fillers
    {0x17B4, 0x17B5},    // Khmer inherent vowels
    {0x180B, 0x180F},    // Mongolian selectors
    {0x200B, 0x200F},    // zero widths, direction marks
    {0x2028, 0x202E},    // line and paragraph separators, embeddings and overrides
    {0x2060, 0x206F},    // word joiner, invisible operators, isolates
    {0x3164, 0x3164},    // Hangul filler
    {0xFE00, 0xFE0F},    // variation selectors
    {0xFEFF, 0xFEFF},    // byte order mark
    {0xFFA0, 0xFFA0},    // Hangul filler
    {0xFFF0, 0xFFFB},    // annotations
    {0xE0000, 0xE0FFF},  // tags, more variation selectors
};

bool is_hidden(uint32_t code) {
  return std::any_of(std::begin(kHidden), std::end(kHidden), [code](const CodeRange &row) {
    return row.first <= code && code <= row.last;
  });
}

struct Letter {
  uint32_t code;
  size_t size;  // bytes taken; 0: the first byte is not the start of a character
};

// Utf8Form is what characters of a length in bytes have in their first byte.
struct Utf8Form {
  uint8_t mask, lead;
  uint32_t first;  // the smallest code point that needs this form
};
constexpr Utf8Form kForms[] = {
    {0x80, 0x00, 0}, {0xE0, 0xC0, 0x80}, {0xF0, 0xE0, 0x800}, {0xF8, 0xF0, 0x10000}};

// next_letter reads the character that a text begins with.
Letter next_letter(std::string_view text) {
  const auto lead = static_cast<uint8_t>(text[0]);
  for (size_t size = 1; size <= std::size(kForms); ++size) {
    const Utf8Form &form = kForms[size - 1];
    if ((lead & form.mask) != form.lead) continue;
    if (text.size() < size) return {lead, 0};
    uint32_t code = lead & static_cast<uint8_t>(~form.mask);
    for (size_t i = 1; i < size; ++i) {
      const auto octet = static_cast<uint8_t>(text[i]);
      if ((octet & 0xC0) != 0x80) return {lead, 0};
      code = code << 6 | (octet & 0x3Fu);
    }
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    return {code, code < form.first || surrogate || code > 0x10FFFF ? 0 : size};
  }
  return {lead, 0};
}

// rewrite replaces bytes that are no UTF-8 and, with `hide`, characters that must not reach a
// terminal.
std::string rewrite(std::string_view text, bool hide) {
  std::string out;
  out.reserve(text.size());
  while (!text.empty()) {
    const auto *plain_end =
        std::find_if(text.begin(), text.end(), [](char c) { return c < 0x20 || c > 0x7E; });
    out.append(text.begin(), plain_end);  // nearly all text is nothing else
    text.remove_prefix(static_cast<size_t>(plain_end - text.begin()));
    if (text.empty()) break;
    const Letter letter = next_letter(text);
    if (letter.size == 0 || (hide && letter.code < 0x80 && is_hidden(letter.code))) {
      out += fmt::format("\\x{:02x}", static_cast<uint8_t>(text[0]));
    } else if (hide && is_hidden(letter.code)) {
      out += fmt::format("\\u{{{:04x}}}", letter.code);
    } else {
      out.append(text.substr(0, letter.size));
    }
    text.remove_prefix(std::max<size_t>(letter.size, 1));
  }
  return out;
}

}  // namespace

std::string escape(std::string_view text) { return rewrite(text, true); }

std::string as_utf8(std::string_view text) { return rewrite(text, false); }

bool is_utf8(std::string_view text) {
  while (!text.empty()) {
    const Letter letter = next_letter(text);
    if (letter.size == 0) return false;
    text.remove_prefix(letter.size);
  }
  return true;
}

void append_utf8(std::string &out, uint32_t code) {
  if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) code = 0xFFFD;
  if (code < 0x80) {
    out += static_cast<char>(code);
    return;
  }
  const int more = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
  out += static_cast<char>(kForms[more].lead | (code >> (6 * more)));
  for (int i = more; i-- > 0;) out += static_cast<char>(0x80 | ((code >> (6 * i)) & 0x3F));
}

std::string hex(Bytes octets) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  out.reserve(octets.size() * 2);
  for (const uint8_t octet : octets) {
    out += kDigits[octet >> 4];
    out += kDigits[octet & 15];
  }
  return out;
}

std::string base64(Bytes octets) {
  std::string out;
  append_base64(out, octets);
  return out;
}

std::vector<uint8_t> unbase64(std::string_view text) {
  std::vector<uint8_t> octets(ssh_base64_decoded_max(text.size()));
  octets.resize(ssh_base64_decode(ssh_text_bytes(text), octets.data()));
  return octets;
}

bool is_base64(std::string_view text) {
  static constexpr auto kBelongs = [] {
    std::array<bool, 256> table = {};
    for (const char c : kAlphabet) table[static_cast<uint8_t>(c)] = true;
    for (const char c : {'=', ' ', '\t', '\n', '\v', '\f', '\r'})
      table[static_cast<uint8_t>(c)] = true;
    return table;
  }();
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return kBelongs[static_cast<uint8_t>(c)]; });
}

void append_base64(std::string &out, Bytes octets) {
  out.reserve(out.size() + (octets.size() + 2) / 3 * 4);
  for (size_t i = 0; i < octets.size(); i += 3) {
    const size_t count = std::min<size_t>(3, octets.size() - i);
    uint32_t group = 0;
    for (size_t k = 0; k < 3; ++k) group = group << 8 | (k < count ? octets[i + k] : 0u);
    for (size_t k = 0; k < 4; ++k)
      out += k <= count ? kAlphabet[(group >> (18 - 6 * k)) & 63] : '=';
  }
}

std::string pem_text(std::string_view label, Bytes octets) {
  constexpr size_t kLine = 48;  // bytes, which are 64 letters: RFC 7468, 2
  std::string text = fmt::format("-----BEGIN {}-----\n", label);
  for (size_t at = 0; at < octets.size(); at += kLine) {
    append_base64(text, octets.subspan(at, std::min(kLine, octets.size() - at)));
    text += '\n';
  }
  return text + fmt::format("-----END {}-----\n", label);
}

std::string take(char *block) {
  const SshText owner(block);
  return block ? block : "";
}

std::string Style::paint(std::string_view code, std::string_view text) const {
  return on_ ? fmt::format("\x1b[{}m{}\x1b[0m", code, text) : std::string(text);
}

}  // namespace kwpki
