#include "x509/str.h"

#include <cstring>

#include "util/ascii.h"
#include "util/fatal.h"
#include "util/mem.h"
#include "util/owner.h"
#include "x509/charset_tables.h"
#include "x509/profile.h"

// NOLINTBEGIN(clang-analyzer-core.NullDereference,clang-analyzer-core.NonNullParamChecker)
// The analyzer does not see that the width of a character set tells which of the buffers is there.

namespace {

constexpr uint32_t kGrowth = 1024;  // letters added to what was asked for
constexpr uint32_t kSpace = 32;     // in every set

unsigned number(int32_t charset) { return static_cast<unsigned>(charset); }

// allocatable is false for more letters than one block may hold. Bytes from outside can need that,
// since one byte may become a letter of four: they are then refused, where asking for the block
// would end the process.
bool allocatable(const SshCharsetRow &row, size_t letters) {
  return letters <= SSH_XMALLOC_MAX / row.width;
}

// set_buffer, buffer_of, letter_at and put_letter use the buffer for letters of `width` bytes.
void set_buffer(SshStr *str, uint32_t width, void *buffer) {
  if (width == 1) str->bytes = static_cast<uint8_t *>(buffer);
  if (width == 2) str->units16 = static_cast<uint16_t *>(buffer);
  if (width == 4) str->units32 = static_cast<uint32_t *>(buffer);
}

void *buffer_of(SshStr *str, uint32_t width) {
  if (width == 1) return str->bytes;
  if (width == 2) return str->units16;
  return str->units32;
}

// new_buffer allocates room for letters. More than one block may hold is fatal, by ssh_xmalloc.
void *new_buffer(uint32_t width, uint64_t letters) {
  return ssh_xmalloc(letters > SSH_XMALLOC_MAX / width ? SSH_XMALLOC_MAX + 1
                                                       : static_cast<size_t>(letters) * width);
}

uint32_t letter_at(const SshStr *str, uint32_t width, uint32_t index) {
  if (width == 1) return str->bytes[index];
  if (width == 2) return str->units16[index];
  return str->units32[index];
}

// put_letter stores a letter at an index that must be inside the buffer.
void put_letter(SshStr *str, uint32_t width, uint32_t index, uint32_t letter) {
  if (width == 1) str->bytes[index] = static_cast<uint8_t>(letter);
  if (width == 2) str->units16[index] = static_cast<uint16_t>(letter);
  if (width == 4) str->units32[index] = letter;
}

// make_bytes takes over the bytes, which are the letters.
SshStr *make_bytes(int32_t charset, SshBlock data, size_t length) {
  if (!data || length > SSH_XMALLOC_MAX) return nullptr;
  SshStr *str = ssh_str_allocate(charset, 0);
  str->length = str->capacity = static_cast<uint32_t>(length);
  str->bytes = data.release();
  return str;
}

// make_units reads big-endian letters of two or four bytes.
SshStr *make_units(int32_t charset, const uint8_t *data, size_t length) {
  const SshCharsetRow &row = *ssh_charset_row(charset);
  if (length == 0 || length % row.width != 0 || !allocatable(row, length / row.width))
    return nullptr;
  SshStr *str = ssh_str_allocate(charset, static_cast<uint32_t>(length / row.width));
  for (const uint8_t *p = data; p != data + length; p += row.width) {
    const uint32_t letter = row.width == 2 ? uint32_t{p[0]} << 8 | p[1] : ssh_load_be32(p);
    put_letter(str, row.width, str->length++, letter);
  }
  return str;
}

// decode_narrow reads the letter at `p` and moves behind it, for the classic profile. It reads
// something else than UTF-8, deliberately: a letter of one byte is refused; a continuation byte
// that stands alone is read together with the byte after it, but only the first is passed;
// continuation bytes need not have their mark, and overlong forms are read. Search keys were stored
// under what this makes of a name, and another decoder would not find them.
bool decode_narrow(const uint8_t *&p, const uint8_t *end, uint32_t *letter) {
  int ones = 0;
  while (ones < 8 && (*p & (0x80 >> ones)) != 0) ++ones;
  if (ones == 0 || ones > 6) return false;
  const int count = ones == 1 ? 2 : ones;
  if (end - p < count) return false;
  *letter = *p & (0x7Fu >> count);
  for (int i = 1; i < count; ++i) *letter = *letter << 6 | (p[i] & 0x3Fu);
  p += ones;
  return true;
}

// decode_standard reads the letter at `p` as the standard says, for the modern profile. Other forms
// are refused: two encodings of one letter would be two names that look alike. `marks` counts the
// continuation bytes, and kLeast is the smallest letter that needs so many.   RFC 3629, 3 and 4
bool decode_standard(const uint8_t *&p, const uint8_t *end, uint32_t *letter) {
  constexpr uint32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
  int marks = *p < 0x80 ? 0 : *p < 0xE0 ? 1 : *p < 0xF0 ? 2 : 3;
  if ((*p >= 0x80 && *p < 0xC0) || *p >= 0xF8 || end - p <= marks) return false;
  const uint32_t least = kLeast[marks];
  *letter = marks == 0 ? *p : *p & (0x3Fu >> marks);
  for (++p; marks > 0; --marks, ++p) {
    if ((*p & 0xC0) != 0x80) return false;
    *letter = *letter << 6 | (*p & 0x3Fu);
  }
  return *letter >= least && *letter <= 0x10FFFF && (*letter < 0xD800 || *letter > 0xDFFF);
}

// make_utf8 decodes twice: once to count the letters, and once to store them.
SshStr *make_utf8(const uint8_t *data, size_t length) {
  const auto decode_utf8 = ssh_x509_rules().standard_utf8 ? decode_standard : decode_narrow;
  size_t count = 0;
  uint32_t letter;
  for (const uint8_t *p = data, *end = data + length; p != end; ++count) {
    if (!decode_utf8(p, end, &letter)) return nullptr;
  }
  if (count == 0 || !allocatable(*ssh_charset_row(SSH_CHARSET_UTF8), count)) return nullptr;
  SshStr *str = ssh_str_allocate(SSH_CHARSET_UTF8, static_cast<uint32_t>(count));
  for (const uint8_t *p = data, *end = data + length; p != end;) {
    (void)decode_utf8(p, end, &letter);  // cannot fail: it did not when the letters were counted
    str->units32[str->length++] = letter;
  }
  return str;
}

// utf8_size gives the number of bytes that encode a letter, up to six, as UTF-8 once had them; 0
// for a letter of 32 bits, which has no form.
size_t utf8_size(uint32_t letter) {
  constexpr uint32_t kLimits[] = {0x80, 0x800, 0x10000, 0x200000, 0x4000000, 0x80000000};
  for (size_t i = 0; i < 6; ++i) {
    if (letter < kLimits[i]) return i + 1;
  }
  return 0;
}

uint8_t *write_utf8(uint8_t *out, uint32_t letter) {
  const size_t size = utf8_size(letter);
  if (size == 1) {
    *out = static_cast<uint8_t>(letter);
    return out + 1;
  }
  for (size_t i = size - 1; i > 0; --i, letter >>= 6)
    out[i] = static_cast<uint8_t>(0x80 | (letter & 0x3F));
  out[0] = static_cast<uint8_t>((0xFF00u >> size & 0xFF) | letter);
  return out + size;
}

uint8_t *get_utf8(const SshStr *str, size_t *length) {
  uint64_t total = 0;
  for (uint32_t i = 0; i < str->length; ++i) {
    const size_t size = utf8_size(str->units32[i]);
    if (size == 0) return nullptr;
    total += size;
  }
  if (total > SSH_XMALLOC_MAX) return nullptr;
  *length = static_cast<size_t>(total);
  auto *data = static_cast<uint8_t *>(ssh_xmalloc(*length));
  uint8_t *out = data;
  for (uint32_t i = 0; i < str->length; ++i) out = write_utf8(out, str->units32[i]);
  return data;
}

uint8_t *get_units(const SshStr *str, uint32_t width, size_t *length) {
  if (str->length > SSH_XMALLOC_MAX / width) return nullptr;
  *length = size_t{str->length} * width;
  auto *data = static_cast<uint8_t *>(ssh_xmalloc(*length));
  uint8_t *out = data;
  for (uint32_t i = 0; i < str->length; ++i) {
    const uint32_t letter = letter_at(str, width, i);
    if (width == 4) {
      ssh_store_be32(out, letter);
    } else {
      out[0] = static_cast<uint8_t>(letter >> 8);
      out[1] = static_cast<uint8_t>(letter);
    }
    out += width;
  }
  return data;
}

// get_bytes copies the letters, with a zero byte behind them that the length does not count.
uint8_t *get_bytes(const SshStr *str, size_t *length) {
  if (str->length >= SSH_XMALLOC_MAX) return nullptr;
  *length = str->length;
  auto *data = static_cast<uint8_t *>(ssh_xmalloc(*length + 1));
  if (*length) std::memcpy(data, str->bytes, *length);
  data[*length] = 0;
  return data;
}

}  // namespace

SshStr *ssh_str_allocate(int32_t charset, uint32_t capacity) {
  const SshCharsetRow *row = ssh_charset_row(charset);
  if (!row) ssh_fatal("ssh_str_allocate: unknown character set %u.", number(charset));
  auto *str = ssh_make<SshStr>();
  str->charset = charset;
  str->capacity = capacity;
  if (capacity) set_buffer(str, row->width, new_buffer(row->width, capacity));
  return str;
}

void ssh_str_free(SshStr *str) {
  if (!str) return;
  ssh_xfree_wiped(str->bytes);
  ssh_xfree_wiped(str->units16);
  ssh_xfree_wiped(str->units32);
  ssh_xfree(str);
}

void ssh_str_realloc(SshStr *str, uint32_t letters) {
  const SshCharsetRow *row = ssh_charset_row(str->charset);
  if (!row) ssh_fatal("ssh_str_realloc: character set %u not supported.", number(str->charset));
  if (str->capacity >= letters) return;
  void *grown = new_buffer(row->width, uint64_t{letters} + kGrowth);
  void *old = buffer_of(str, row->width);
  if (str->length) std::memcpy(grown, old, size_t{str->length} * row->width);
  ssh_xfree_wiped(old);
  set_buffer(str, row->width, grown);
  str->capacity = letters + kGrowth;
}

void ssh_str_append_letter(SshStr *str, uint32_t letter) {
  const SshCharsetRow *row = ssh_charset_row(str->charset);
  if (!row) ssh_fatal("ssh_str_append_letter: character set %u unsupported.", number(str->charset));
  ssh_str_realloc(str, str->length + 1);
  put_letter(str, row->width, str->length++, letter);
}

bool ssh_str_get_letter(const SshStr *str, uint32_t index, uint32_t *letter) {
  const SshCharsetRow *row = ssh_charset_row(str->charset);
  if (!row) ssh_fatal("ssh_str_get_letter: unknown character set.");
  if (index >= str->length) return false;
  *letter = letter_at(str, row->width, index);
  return true;
}

SshStr *ssh_str_make(int32_t charset, uint8_t *data, size_t length) {
  SshBlock block(data);
  const SshCharsetRow *row = ssh_charset_row(charset);
  if (!row) ssh_fatal("ssh_str_make: unknown character set %u.", number(charset));
  if (row->width == 1) return make_bytes(charset, std::move(block), length);
  if (charset == SSH_CHARSET_UTF8) return make_utf8(data, length);
  return make_units(charset, data, length);
}

uint8_t *ssh_str_get(const SshStr *str, size_t *length) {
  *length = 0;
  if (!str) return nullptr;
  const SshCharsetRow *row = ssh_charset_row(str->charset);
  if (!row) ssh_fatal("ssh_str_get: unknown character set %u.", number(str->charset));
  if (row->width == 1) return get_bytes(str, length);
  if (str->charset == SSH_CHARSET_UTF8) return get_utf8(str, length);
  return get_units(str, row->width, length);
}

uint8_t *ssh_str_get_canonical(const SshStr *str, size_t *length) {
  *length = 0;
  if (!str) return nullptr;
  const SshCharsetRow *row = ssh_charset_row(str->charset);
  if (!row) ssh_fatal("ssh_str_get_canonical: unknown character set %u.", number(str->charset));
  const SshStrOwner copy(ssh_str_allocate(str->charset, str->length));
  bool gap = false;  // whether a space belongs before the next letter, if one comes
  for (uint32_t i = 0; i < str->length; ++i) {
    const uint32_t letter = letter_at(str, row->width, i);
    if (letter == kSpace) {
      gap = copy->length > 0;
      continue;
    }
    if (gap) put_letter(copy.get(), row->width, copy->length++, kSpace);
    gap = false;
    put_letter(copy.get(), row->width, copy->length++,
               str->charset == SSH_CHARSET_PRINTABLE ? ssh_to_lower(letter) : letter);
  }
  return ssh_str_get(copy.get(), length);
}

const uint8_t *ssh_str_get_data(const SshStr *str, size_t *length) {
  const SshCharsetRow *row = ssh_charset_row(str->charset);
  if (!row || row->width != 1) ssh_fatal("ssh_str_get_date: cannot convert to unsigned char.");
  *length = str->length;
  return str->bytes;
}

SshStr *ssh_str_charset_test(const SshStr *str, int32_t charset) {
  if (!str) return nullptr;
  const SshCharsetRow *to = ssh_charset_row(charset);
  if (!to) ssh_fatal("ssh_str_charset_test: output charset unknown.");
  const SshCharsetRow *from = ssh_charset_row(str->charset);
  if (!from)
    ssh_fatal("ssh_str_charset_test: character set %u not defined.\n", number(str->charset));
  if (!allocatable(*to, str->length)) return nullptr;

  SshStrOwner converted(ssh_str_allocate(charset, str->length));
  for (uint32_t i = 0; i < str->length; ++i) {
    uint32_t code, letter;
    if (!ssh_charset_code_of(*from, letter_at(str, from->width, i), &code)) return nullptr;
    if (!ssh_charset_letter_of(*to, code, &letter)) return nullptr;
    put_letter(converted.get(), to->width, converted->length++, letter);
  }
  return converted.release();
}

SshStr *ssh_str_charset_choose(const SshStr *str) {
  constexpr int32_t kOrder[] = {SSH_CHARSET_PRINTABLE, SSH_CHARSET_IA5, SSH_CHARSET_T61,
                                SSH_CHARSET_BMP, SSH_CHARSET_UTF8};
  for (const int32_t charset : kOrder) {
    SshStr *converted = ssh_str_charset_test(str, charset);
    if (converted) return converted;
  }
  return nullptr;
}

// NOLINTEND(clang-analyzer-core.NullDereference,clang-analyzer-core.NonNullParamChecker)
