#include "asn1/files.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include "util/mem.h"
#include "util/owner.h"

namespace {

constexpr size_t kFirstBlock = 1024;

struct CloseFile {
  void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

// size_left gives the number of bytes that a file says are left of it; pipes and devices say 0. It
// is a hint only, since a file may grow or shrink while it is read.
uint64_t size_left(std::FILE *file) {
  const long at = std::ftell(file);
  if (at < 0 || std::fseek(file, 0, SEEK_END) != 0) return 0;
  const long end = std::ftell(file);
  if (std::fseek(file, at, SEEK_SET) != 0 || end < at) return 0;
  return static_cast<uint64_t>(end - at);
}

// read_stream reads to the end, into one block. The block has the size that the file says it has,
// and doubles as long as that turns out to be too small. What is much too large is cut in the end.
bool read_stream(std::FILE *file, uint8_t **data, size_t *length) {
  const uint64_t hint = size_left(file);
  if (hint > SSH_XMALLOC_MAX) return false;
  // One byte more than the hint, so that the first read already finds the end.
  size_t room = std::clamp(static_cast<size_t>(hint) + 1, kFirstBlock, SSH_XMALLOC_MAX);
  SshBlock block = ssh_make_block(room);
  size_t used = 0;
  for (;;) {
    used += std::fread(block.get() + used, 1, room - used, file);
    if (used < room) break;
    if (room == SSH_XMALLOC_MAX) {
      if (std::fgetc(file) != EOF) return false;
      break;
    }
    room = std::min(room * 2, SSH_XMALLOC_MAX);
    block.reset(static_cast<uint8_t *>(ssh_xrealloc(block.release(), room)));
  }
  if (std::ferror(file)) return false;  // reading a directory fails here
  if (room - used > kFirstBlock) {
    block.reset(static_cast<uint8_t *>(ssh_xrealloc(block.release(), used)));
  }
  *data = block.release();
  *length = used;
  return true;
}

// kMeaning says what each character means in base64 text: the value of six bits (0 to 63), padding,
// or nothing.
constexpr uint8_t kPadding = 0x40;
constexpr uint8_t kDropped = 0x80;
constexpr auto kMeaning = [] {
  constexpr std::string_view kAlphabet =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  static_assert(kAlphabet.size() == 64);
  std::array<uint8_t, 256> table = {};
  table.fill(kDropped);
  for (size_t i = 0; i < 64; ++i)
    table[static_cast<uint8_t>(kAlphabet[i])] = static_cast<uint8_t>(i);
  table['='] = kPadding;
  return table;
}();

// next_group collects the next four characters that mean something; false if fewer are left.
bool next_group(Bytes text, size_t &at, uint8_t (&group)[4]) {
  size_t found = 0;
  for (; found < 4 && at < text.size(); ++at) {
    const uint8_t meaning = kMeaning[text[at]];
    if (meaning != kDropped) group[found++] = meaning;
  }
  return found == 4;
}

// put_group writes the first `count` of the three bytes that four characters encode.
uint8_t *put_group(uint8_t *out, const uint8_t (&group)[4], size_t count) {
  const uint32_t bits = uint32_t{group[0]} << 18 | uint32_t{group[1]} << 12 |
                        (group[2] & 0x3Fu) << 6 | (group[3] & 0x3Fu);
  for (unsigned i = 0; i < count; ++i) *out++ = static_cast<uint8_t>(bits >> (16 - 8 * i));
  return out;
}

uint8_t *decode_to_block(Bytes text, size_t *length) {
  auto *block = static_cast<uint8_t *>(ssh_xmalloc(ssh_base64_decoded_max(text.size())));
  *length = ssh_base64_decode(text, block);
  return block;
}

const uint8_t *find_line_end(const uint8_t *at, const uint8_t *end) {
  return std::find_if(at, end, [](uint8_t c) { return c == '\r' || c == '\n'; });
}

}  // namespace

bool ssh_read_file(const char *name, uint8_t **data, size_t *length) {
  if (!name || std::strcmp(name, "-") == 0) {
    const SshBinaryInput binary;
    return read_stream(stdin, data, length);
  }
  const File file(std::fopen(name, "rb"));
  return file && read_stream(file.get(), data, length);
}

bool ssh_read_file_base64(const char *name, uint8_t **data, size_t *length) {
  uint8_t *octets;
  size_t count;
  if (!ssh_read_file(name, &octets, &count)) return false;
  const SshBlock file(octets);
  const Bytes text = ssh_armour_find({octets, count});
  if (text.empty()) return false;
  *data = decode_to_block(text, length);
  return true;
}

char *ssh_base64_remove_whitespace(const char *text, size_t length) {
  if (length == 0) length = std::strlen(text);
  auto *clean = static_cast<char *>(ssh_xmalloc(length + 1));
  char *end = std::copy_if(text, text + length, clean,
                           [](char c) { return kMeaning[static_cast<uint8_t>(c)] != kDropped; });
  *end = 0;
  return clean;
}

uint8_t *ssh_base64_to_buf(const char *text, size_t *length) {
  return decode_to_block(ssh_text_bytes(text), length);
}

// Text is decoded in groups of four characters, which are three bytes. Four characters in a row
// that are all base64 need no further look; otherwise next_group passes over line ends and the
// like. Padding in the last two places of a group makes it shorter, and decoding goes on behind it;
// padding in the first two places ends the text. A group that is not complete is left out.
size_t ssh_base64_decode(Bytes text, uint8_t *out) {
  uint8_t *const first = out;
  uint8_t group[4];
  for (size_t at = 0;;) {
    if (text.size() - at >= 4) {
      for (size_t i = 0; i < 4; ++i) group[i] = kMeaning[text[at + i]];
      if ((group[0] | group[1] | group[2] | group[3]) < kPadding) {
        out = put_group(out, group, 3);
        at += 4;
        continue;
      }
    }
    if (!next_group(text, at, group)) return static_cast<size_t>(out - first);
    if (group[0] == kPadding || group[1] == kPadding) return static_cast<size_t>(out - first);
    out = put_group(out, group, group[2] == kPadding ? 1 : group[3] == kPadding ? 2 : 3);
  }
}

// A line with a dash begins a block or, if one is open, ends it; what else the line says means
// nothing. A block starts behind the end of the line that begins it. It ends one byte before the
// dash that ends it: in any sensible file that byte is a line end. If the last block of a file is
// not ended, none is found, not even one before it.
Bytes ssh_armour_find(Bytes file) {
  const uint8_t *const end = file.data() + file.size();
  size_t block_start = 0, block_end = 0;
  bool inside = false;
  for (const uint8_t *at = file.data(); at != end;) {
    const void *dash = std::memchr(at, '-', static_cast<size_t>(end - at));
    if (!dash) break;
    at = static_cast<const uint8_t *>(dash);
    if (inside) block_end = static_cast<size_t>(at - file.data()) - 1;
    inside = !inside;
    at = find_line_end(at, end);
    if (at == end) break;
    ++at;
    if (inside) block_start = static_cast<size_t>(at - file.data());
  }
  if (block_start >= block_end) return {};
  return file.subspan(block_start, block_end - block_start);
}
