// The typed encoding of requests, replies and key blobs: a list of fields, written to bytes and
// read back.
//
//   SshBuffer out;
//   ssh_encode_buffer(out, {ssh_put_uint32(version), ssh_put_uint32_str(name)});
//   size_t used = ssh_decode_array(
//       in, {ssh_get_uint32(&version), ssh_get_uint32_str_nocopy(&name)});
//
// The bytes do not say which types they hold: the writer and the reader use the same list. Numbers
// are big-endian. To add a format code, add a row to the table in wire.cc, an ssh_put_ and an
// ssh_get_ function here.
//
// A list of fields must be known before it is read. The payload of a message is not: it has lists
// that are as long as a number in it says. SshWireReader reads such bytes one field at a time:
//
//   SshWireReader reader(payload);
//   bool read = reader.number(&count);
//   for (; read && count > 0; --count) read = reader.octets(&name);
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>

#include "util/buffer.h"
#include "util/bytes.h"
#include "util/mp_int.h"

// SshFormat names the kinds of field.
enum SshFormat : uint32_t {
  SSH_FORMAT_VLINT32_STR,         // vlint32 length, bytes
  SSH_FORMAT_VLINT32_STR_NOCOPY,  // the same, read as a view
  SSH_FORMAT_UINT32_STR,          // four-byte length, bytes
  SSH_FORMAT_UINT32_STR_NOCOPY,   // the same, read as a view
  SSH_FORMAT_VLINT32,             // 1, 2, 3 or 5 bytes
  SSH_FORMAT_UINT32,              // four bytes
  SSH_FORMAT_BOOLEAN,             // one byte: 0 or 1
  SSH_FORMAT_MP_INT,              // four-byte count b of bits, (b + 7) / 8 bytes of magnitude
  SSH_FORMAT_CHAR,                // one byte
  SSH_FORMAT_DATA,                // bytes alone
  SSH_FORMAT_SPECIAL,             // whatever a function of the caller's writes and reads
  SSH_FORMAT_END,                 // nothing; ends a list early
};

// SshEncoder appends a value of the caller's to the buffer.
using SshEncoder = void (*)(SshBuffer &buffer, const void *context);

// SshDecoder reads a value of the caller's from the front of `input`, which holds all that remains,
// and returns how many bytes it consumed; 0 is failure, and so is more than there were. When the
// decode fails, a decoder that did not return 0 is called once more with ssh_decode_cleanup(input)
// true, so that it releases what it stored; its result is then ignored.
using SshDecoder = size_t (*)(Bytes input, void *context);

// ssh_decode_cleanup is true for the input of a clean-up call: no bytes at the address 1.
inline bool ssh_decode_cleanup(Bytes input) {
  return reinterpret_cast<uintptr_t>(input.data()) == 1;
}

// SshPut is one field to write. Make it with an ssh_put_ function; it shows its values and owns
// nothing.
struct SshPut {
  SshFormat code = SSH_FORMAT_END;
  uint32_t value = 0;
  Bytes data = {};
  const SshMpInt *integer = nullptr;
  SshEncoder encoder = nullptr;
  const void *context = nullptr;
};

// ssh_put_CODE makes the field of that code. Booleans are true when not zero; of a char the low 8
// bits are written; a null integer is written as 0, and the sign of an integer not at all.
inline SshPut ssh_put_vlint32_str(Bytes data) {
  return {.code = SSH_FORMAT_VLINT32_STR, .data = data};
}
inline SshPut ssh_put_uint32_str(Bytes data) {
  return {.code = SSH_FORMAT_UINT32_STR, .data = data};
}
inline SshPut ssh_put_vlint32(uint32_t value) {
  return {.code = SSH_FORMAT_VLINT32, .value = value};
}
inline SshPut ssh_put_uint32(uint32_t value) { return {.code = SSH_FORMAT_UINT32, .value = value}; }
inline SshPut ssh_put_boolean(uint32_t value) {
  return {.code = SSH_FORMAT_BOOLEAN, .value = value};
}
inline SshPut ssh_put_char(uint32_t value) { return {.code = SSH_FORMAT_CHAR, .value = value}; }
inline SshPut ssh_put_data(Bytes data) { return {.code = SSH_FORMAT_DATA, .data = data}; }
inline SshPut ssh_put_mp_int(const SshMpInt *integer) {
  return {.code = SSH_FORMAT_MP_INT, .integer = integer};
}
inline SshPut ssh_put_special(SshEncoder encoder, const void *context) {
  return {.code = SSH_FORMAT_SPECIAL, .encoder = encoder, .context = context};
}

// SshGet is one field to read. Make it with an ssh_get_ function; every destination may be null.
struct SshGet {
  SshFormat code = SSH_FORMAT_END;
  uint32_t *value = nullptr;  // of a number, or the length of a string
  uint8_t **block = nullptr;
  Bytes *view = nullptr;
  SshMpInt *integer = nullptr;
  void *destination = nullptr;
  size_t length = 0;
  SshDecoder decoder = nullptr;
  void *context = nullptr;
};

// ssh_get_CODE makes the field of that code. The strings give a new block with a zero byte after
// its end, to be released with ssh_xfree; the _nocopy strings give a view into the input. Data
// copies `length` bytes.
inline SshGet ssh_get_vlint32_str(uint8_t **block, uint32_t *length = nullptr) {
  return {.code = SSH_FORMAT_VLINT32_STR, .value = length, .block = block};
}
inline SshGet ssh_get_uint32_str(uint8_t **block, uint32_t *length = nullptr) {
  return {.code = SSH_FORMAT_UINT32_STR, .value = length, .block = block};
}
inline SshGet ssh_get_vlint32_str_nocopy(Bytes *view) {
  return {.code = SSH_FORMAT_VLINT32_STR_NOCOPY, .view = view};
}
inline SshGet ssh_get_uint32_str_nocopy(Bytes *view) {
  return {.code = SSH_FORMAT_UINT32_STR_NOCOPY, .view = view};
}
inline SshGet ssh_get_vlint32(uint32_t *value) {
  return {.code = SSH_FORMAT_VLINT32, .value = value};
}
inline SshGet ssh_get_uint32(uint32_t *value) {
  return {.code = SSH_FORMAT_UINT32, .value = value};
}
inline SshGet ssh_get_boolean(uint32_t *value) {
  return {.code = SSH_FORMAT_BOOLEAN, .value = value};
}
inline SshGet ssh_get_char(uint32_t *value) { return {.code = SSH_FORMAT_CHAR, .value = value}; }
inline SshGet ssh_get_mp_int(SshMpInt *integer) {
  return {.code = SSH_FORMAT_MP_INT, .integer = integer};
}
inline SshGet ssh_get_data(void *destination, size_t length) {
  return {.code = SSH_FORMAT_DATA, .destination = destination, .length = length};
}
inline SshGet ssh_get_special(SshDecoder decoder, void *context) {
  return {.code = SSH_FORMAT_SPECIAL, .decoder = decoder, .context = context};
}

// SshWireReader takes fields from the front of bytes, which must stay as long as it and its views
// are used. A function returns false if the bytes left do not hold its field; the reader then stays
// where it is, and the destination keeps its value. It is inline because every element of a search
// reply goes through it.
class SshWireReader {
 public:
  explicit SshWireReader(Bytes octets) : rest_(octets) {}

  // take reads that many bytes as a view.
  [[nodiscard]] bool take(size_t count, Bytes *view) {
    if (count > rest_.size()) return false;
    *view = rest_.first(count);
    rest_ = rest_.subspan(count);
    return true;
  }

  // number reads four bytes.
  [[nodiscard]] bool number(uint32_t *value) {
    if (rest_.size() < 4) return false;
    *value = ssh_load_be32(rest_.data());
    rest_ = rest_.subspan(4);
    return true;
  }

  // octets reads four bytes of length and that many bytes, as a view.
  [[nodiscard]] bool octets(Bytes *view) {
    if (rest_.size() < 4) return false;
    const size_t length = ssh_load_be32(rest_.data());
    if (length > rest_.size() - 4) return false;
    *view = rest_.subspan(4, length);
    rest_ = rest_.subspan(4 + length);
    return true;
  }

  // rest shows the bytes that have not been read.
  [[nodiscard]] Bytes rest() const { return rest_; }

 private:
  Bytes rest_;
};

// ssh_encode_va appends every field to the buffer and returns the number of bytes appended. A code
// that cannot be written (a _nocopy one, or none of SshFormat) is fatal.
uint32_t ssh_encode_va(SshBuffer &buffer, std::span<const SshPut> fields);

// ssh_encode_buffer is ssh_encode_va with the fields in braces.
uint32_t ssh_encode_buffer(SshBuffer &buffer, std::initializer_list<SshPut> fields);

// ssh_encode_alloc stores the encoding in a new block of exactly the returned length, released with
// ssh_xfree. A null `out` only measures.
uint32_t ssh_encode_alloc(uint8_t **out, std::initializer_list<SshPut> fields);

// ssh_decode_array_va reads every field from the front of `input` and returns the number of bytes
// consumed; what follows the last field is left alone. It returns 0 on failure (and for fields that
// take no bytes): nothing of what was read then belongs to the caller, and destinations already
// written must not be used. A code that is none of SshFormat is fatal.
[[nodiscard]] size_t ssh_decode_array_va(Bytes input, std::span<const SshGet> fields);

// ssh_decode_array is ssh_decode_array_va with the fields in braces.
[[nodiscard]] size_t ssh_decode_array(Bytes input, std::initializer_list<SshGet> fields);

// ssh_decode_buffer decodes what the buffer holds and consumes what was read; a failure leaves the
// buffer as it is.
[[nodiscard]] size_t ssh_decode_buffer(SshBuffer &buffer, std::initializer_list<SshGet> fields);

// SSH_VLINT32_MAX_LENGTH is the largest number of bytes that a vlint32 takes. The top two bits of
// its first byte tell the size: values below 2^6, 2^14 and 2^22 take 1, 2 and 3 bytes, all
// others 5.
constexpr size_t SSH_VLINT32_MAX_LENGTH = 5;

// vlint32_encode writes the value at `out` and returns the number of bytes.
size_t vlint32_encode(uint32_t value, uint8_t *out);

// vlint32_length tells from its first byte how many bytes a vlint32 takes.
[[nodiscard]] size_t vlint32_length(uint8_t first);

// vlint32_parse returns the value at `octets`, of which there must be as many as vlint32_length
// says, and stores that number in `count` (may be null).
uint32_t vlint32_parse(const uint8_t *octets, size_t *count);
