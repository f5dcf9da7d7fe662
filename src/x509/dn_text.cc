// The text of names, printed and parsed, such as "C=FI, O=Example Oy + OU=Roots, CN=Example Root".
// A type is printed by its short name, or as "OID." with dotted text if the registry has none. A
// value is printed as it is if it consists of printable ASCII, tabs and line ends, with a backslash
// before those that mean something in the text. Otherwise all of it is printed as "#" and
// hexadecimal digits, so that the text has neither other control characters nor half a letter.
// Parsing takes the same, and quotation marks. No locale takes part.
#include <algorithm>
#include <array>

#include "util/ascii.h"
#include "x509/dn_parts.h"
#include "x509/oid_registry.h"
#include "x509/profile.h"

namespace {

constexpr int hex_digit(char c) {
  if (ssh_is_digit(c)) return c - '0';
  const char lower = ssh_to_lower(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// How a byte of a value is printed: as it is, behind a backslash, or so that the whole value
// becomes hexadecimal. The values are bits, so that the forms of all bytes can be combined.
enum : uint8_t { kAsIs = 0, kEscaped = 1, kHex = 2 };

constexpr auto kPrintedAs = [] {
  std::array<uint8_t, 256> table = {};
  for (size_t octet = 0; octet < 256; ++octet) {
    const bool text = (octet >= 0x20 && octet < 0x7F) || (octet >= '\t' && octet <= '\r');
    table[octet] = text ? kAsIs : kHex;
  }
  for (const char c : {'\\', '"', '+', ',', ';'}) table[static_cast<uint8_t>(c)] = kEscaped;
  return table;
}();

// Printer writes the text of a name. Relative names are joined by ", ", their pairs by " + ". A
// relative name without pairs is printed as nothing between its separators, which no parser reads.
class Printer {
 public:
  void rdn() {
    if (rdns_++ > 0) text_.append(", ");
    pairs_ = 0;
  }
  void type(const SshOidRow *row, std::string_view oid) {
    if (pairs_++ > 0) text_.append(" + ");
    text_.append(row ? std::string_view(row->name) : "OID.");
    if (!row) text_.append(oid);
    text_.push('=');
  }
  void value(Bytes octets);

  // finish returns the text, or null when it is too long for one block.
  [[nodiscard]] char *finish() {
    text_.push(0);
    return reinterpret_cast<char *>(text_.take());
  }

 private:
  SshOctets text_;
  uint32_t rdns_ = 0;
  uint32_t pairs_ = 0;
};

// value prints a value in the simplest form that all of its bytes allow.
void Printer::value(Bytes octets) {
  uint8_t form = kAsIs;
  for (const uint8_t octet : octets) form |= kPrintedAs[octet];
  if (form == kAsIs) return text_.append(octets);
  if (form == kEscaped) {
    for (const uint8_t octet : octets) {
      if (kPrintedAs[octet] == kEscaped) text_.push('\\');
      text_.push(octet);
    }
    return;
  }
  constexpr char kDigits[] = "0123456789abcdef";
  uint8_t *out = text_.extend(1 + 2 * octets.size());
  if (!out) return;
  *out++ = '#';
  for (const uint8_t octet : octets) {
    *out++ = static_cast<uint8_t>(kDigits[octet >> 4]);
    *out++ = static_cast<uint8_t>(kDigits[octet & 15]);
  }
}

// print_value prints the bytes of a string; false if it is null or cannot be encoded.
bool print_value(Printer &printer, const SshStr *value) {
  size_t length = 0;
  if (value && value->charset <= SSH_CHARSET_T61) {
    const uint8_t *data = ssh_str_get_data(value, &length);
    printer.value({data, length});
    return true;
  }
  const SshBlock octets(ssh_str_get(value, &length));
  if (octets) printer.value({octets.get(), length});
  return octets != nullptr;
}

// shows_letters is true for a value whose bytes can be printed without making a string of it: in a
// set with one byte for each letter, and for ASCII in UTF-8 as the standard has it. More letters
// than one block can hold have no text, so a string has to find that out.
bool shows_letters(const SshDNPairView &pair, const SshX509Rules &rules) {
  if (pair.charset <= SSH_CHARSET_T61) return true;
  if (pair.charset != SSH_CHARSET_UTF8 || !rules.standard_utf8) return false;
  return pair.value.size() <= SSH_XMALLOC_MAX / sizeof(uint32_t) &&
         std::all_of(pair.value.begin(), pair.value.end(), [](uint8_t c) { return c < 0x80; });
}

// PrintVisitor prints the DER of a Name without making an SshDN of it.
struct PrintVisitor {
  const SshX509Rules &rules;
  Printer printer = {};
  bool missing = false;  // whether a value cannot be printed: then there is no text

  void rdn() { printer.rdn(); }
  void pair(const SshDNPairView &pair);
  [[nodiscard]] char *finish() { return missing ? nullptr : printer.finish(); }
};

// A string is only made of a value if its letters differ from its bytes.
void PrintVisitor::pair(const SshDNPairView &pair) {
  const SshOidRow *row = ssh_oid_find_encoded(pair.type, SSH_OID_DN, rules);
  const SshText oid(row ? nullptr : ssh_x509_oid_text(pair.type, rules));
  printer.type(row, row ? row->oid : oid.get());
  if (pair.value.empty()) {
    missing = true;
  } else if (shows_letters(pair, rules)) {
    printer.value(pair.value);
  } else {
    auto *octets = static_cast<uint8_t *>(ssh_xmemdup(pair.value.data(), pair.value.size()));
    const SshStrOwner value(ssh_str_make(pair.charset, octets, pair.value.size()));
    missing |= !print_value(printer, value.get());
  }
}

// Parser reads the text of a name. `p_` is the next character; the text ends with a NUL byte.
class Parser {
 public:
  explicit Parser(const char *text) : p_(text) {}
  bool name(SshDN *dn);

 private:
  bool pair(SshRDN *rdn);
  bool type();
  bool dotted_type();
  bool hex_value();
  bool text_value();
  bool escape();

  void skip_blanks() {
    while (ssh_is_blank(*p_)) ++p_;
  }
  // at_end is true where a value that is not quoted ends.
  [[nodiscard]] bool at_end() const { return !*p_ || *p_ == ',' || *p_ == ';' || *p_ == '+'; }
  void keep(char c) { kept_.push(static_cast<uint8_t>(c)); }
  [[nodiscard]] SshStr *kept_string(int32_t charset) const;

  const char *p_;
  SshOctets kept_;  // the bytes of the type or value being read
};

// name reads pairs up to the end of the text. Blank text is the name without relative names, which
// is printed as nothing.
bool Parser::name(SshDN *dn) {
  skip_blanks();
  if (!*p_) return true;
  SshRDNOwner rdn(ssh_dn_rdn_new());
  for (;;) {
    if (!pair(rdn.get())) return false;
    const char separator = *p_;
    if (separator) ++p_;
    if (separator == '+') continue;
    if (!ssh_dn_append(dn, std::move(rdn))) return false;
    if (!separator) return true;
    rdn.reset(ssh_dn_rdn_new());
  }
}

// pair reads one pair and stops at the separator after it.
bool Parser::pair(SshRDN *rdn) {
  skip_blanks();
  if (!type()) return false;
  kept_.push(0);
  if (!kept_.good()) return false;
  SshText oid(ssh_xstrdup(reinterpret_cast<const char *>(kept_.bytes().data())));
  skip_blanks();
  if (*p_ != '=') return false;
  ++p_;
  skip_blanks();
  const bool is_hex = *p_ == '#';
  kept_.shrink(0);
  if (is_hex ? !hex_value() : !text_value()) return false;
  if (!kept_.good()) return false;
  ssh_dn_rdn_append(rdn, oid.release(), kept_string(is_hex ? SSH_CHARSET_T61 : SSH_CHARSET_IA5));
  return true;
}

// type reads an attribute type and leaves its dotted text in `kept_`. A word that begins with "OID"
// is followed by the arcs; the rest of that word is passed over.
bool Parser::type() {
  const char *word = p_;
  while (ssh_is_letter(*p_) || ssh_is_digit(*p_)) ++p_;
  const auto length = static_cast<size_t>(p_ - word);
  kept_.shrink(0);
  if (length >= 3 && (word[0] | 0x20) == 'o' && (word[1] | 0x20) == 'i' &&
      (word[2] | 0x20) == 'd') {
    return dotted_type();
  }
  kept_.append(std::string_view(word, length));
  kept_.push(0);
  if (!kept_.good()) return false;
  const auto *name = reinterpret_cast<const char *>(kept_.bytes().data());
  const SshOidRow *row = ssh_oid_find_by_std_name(name, SSH_OID_DN);
  if (!row) return false;
  kept_.shrink(0);
  kept_.append(std::string_view(row->oid));
  return true;
}

// dotted_type reads arcs, each with a dot before it.
bool Parser::dotted_type() {
  bool first = true;
  for (skip_blanks(); *p_ == '.'; skip_blanks(), first = false) {
    ++p_;
    skip_blanks();
    if (!ssh_is_digit(*p_)) return false;
    if (!first) keep('.');
    for (; ssh_is_digit(*p_); ++p_) keep(*p_);
  }
  return !first;
}

// hex_value reads "#" and hexadecimal digits into bytes. A backslash at the end of a line continues
// the digits on the next one. If the number of digits is odd, a 0 is taken to stand before them.
bool Parser::hex_value() {
  ++p_;
  skip_blanks();
  for (;; ++p_) {
    const int digit = hex_digit(*p_);
    if (digit >= 0) {
      kept_.push(static_cast<uint8_t>(digit));
      continue;
    }
    if (*p_ != '\\') break;
    if (*++p_ != '\n') return false;
    while (p_[1] == ' ' || p_[1] == '\t') ++p_;
  }
  skip_blanks();
  if (!at_end() || !kept_.good()) return false;

  const Bytes digits = kept_.bytes();
  SshOctets octets;
  for (size_t i = 0, odd = digits.size() % 2; i < digits.size(); i += 2 - odd, odd = 0) {
    octets.push(odd ? digits[i] : static_cast<uint8_t>(digits[i] << 4 | digits[i + 1]));
  }
  kept_.shrink(0);
  kept_.append(octets.bytes());
  return octets.good();
}

// text_value reads a value up to the next separator that is neither quoted nor behind a backslash.
// Blanks at its end do not belong to it.
bool Parser::text_value() {
  bool quoted = false;
  for (; *p_ && (quoted || !at_end()); ++p_) {
    if (*p_ == '"') {
      quoted = !quoted;
    } else if (*p_ == '\\') {
      if (!escape()) return false;
    } else {
      keep(*p_);
    }
  }
  size_t length = kept_.bytes().size();
  while (length > 0 && ssh_is_blank(static_cast<char>(kept_.bytes()[length - 1]))) --length;
  kept_.shrink(length);
  return !quoted;
}

// escape keeps the character behind a backslash as it is. A line end behind it, with the blanks
// that follow, becomes one space.
bool Parser::escape() {
  if (!*++p_) return false;
  if (*p_ != '\n') {
    keep(*p_);
    return true;
  }
  while (p_[1] == ' ' || p_[1] == '\t') ++p_;
  keep(' ');
  return true;
}

// kept_string makes a value of the bytes that were read. As in DER, a value without bytes is null,
// so that a name is found, or refused, alike in both forms. Text with bytes above ASCII becomes
// UTF-8 if it is valid UTF-8 and the profile reads UTF-8 as the standard does.
SshStr *Parser::kept_string(int32_t charset) const {
  const Bytes octets = kept_.bytes();
  if (octets.empty()) return nullptr;
  const bool ascii = std::all_of(octets.begin(), octets.end(), [](uint8_t c) { return c < 0x80; });
  const auto make = [octets](int32_t in) {
    auto *copy = static_cast<uint8_t *>(ssh_xmalloc(octets.size()));
    std::memcpy(copy, octets.data(), octets.size());
    return ssh_str_make(in, copy, octets.size());
  };
  const bool may_be_utf8 = charset == SSH_CHARSET_IA5 && !ascii && ssh_x509_rules().standard_utf8;
  SshStr *letters = may_be_utf8 ? make(SSH_CHARSET_UTF8) : nullptr;
  return letters ? letters : make(charset);
}

}  // namespace

char *ssh_dn_encode_ldap(const SshDN *dn) {
  Printer printer;
  for (uint32_t i = 0; i < dn->count; ++i) {
    printer.rdn();
    for (const SshDNAva *ava = dn->rdns[i]->pairs; ava; ava = ava->next) {
      printer.type(ssh_oid_find_by_oid(ava->oid, SSH_OID_DN), ava->oid);
      if (!print_value(printer, ava->value)) return nullptr;
    }
  }
  return printer.finish();
}

char *ssh_dn_der_to_ldap(Bytes der) {
  const SshX509Rules &rules = ssh_x509_rules();
  PrintVisitor plain{rules}, any{rules};
  if (ssh_dn_walk_plain(der, rules, plain)) return plain.finish();
  return ssh_dn_walk(der, any, rules) ? any.finish() : nullptr;
}

bool ssh_dn_decode_ldap(const char *text, SshDN *dn) { return Parser(text).name(dn); }
