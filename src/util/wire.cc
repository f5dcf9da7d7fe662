#include "util/wire.h"

#include <iterator>

#include "util/fatal.h"
#include "util/mem.h"
#include "util/owner.h"

namespace {

constexpr size_t kSmallList = 16;  // so many fields are read without a block for the list

// Decode is the state of one reading: what remains, and the blocks to be freed should it fail.
struct Decode {
  SshWireReader reader;
  uint8_t **blocks;
  size_t block_count = 0;
  bool overrun = false;  // a special field was read and claimed more than there is
};

void put_uint32(SshBuffer &buffer, const SshPut &field) {
  ssh_store_be32(ssh_buffer_append_space(buffer, nullptr, 4), field.value);
}

void put_vlint32(SshBuffer &buffer, const SshPut &field) {
  uint8_t octets[SSH_VLINT32_MAX_LENGTH];
  ssh_buffer_append(buffer, {octets, vlint32_encode(field.value, octets)});
}

void put_boolean(SshBuffer &buffer, const SshPut &field) {
  *ssh_buffer_append_space(buffer, nullptr, 1) = field.value != 0;
}

void put_char(SshBuffer &buffer, const SshPut &field) {
  *ssh_buffer_append_space(buffer, nullptr, 1) = static_cast<uint8_t>(field.value);
}

void put_data(SshBuffer &buffer, const SshPut &field) { ssh_buffer_append(buffer, field.data); }

// put_str writes a string behind its length. A length beyond 32 bits never gets onto the wire: the
// buffer refuses it.
template <void (*PutLength)(SshBuffer &, const SshPut &)>
void put_str(SshBuffer &buffer, const SshPut &field) {
  PutLength(buffer, {.value = static_cast<uint32_t>(field.data.size())});
  ssh_buffer_append(buffer, field.data);
}

void put_mp_int(SshBuffer &buffer, const SshPut &field) {
  const Bytes magnitude = field.integer ? field.integer->magnitude() : Bytes();
  put_uint32(buffer, {.value = static_cast<uint32_t>(field.integer ? field.integer->bits() : 0)});
  ssh_buffer_append(buffer, magnitude);
}

void put_special(SshBuffer &buffer, const SshPut &field) { field.encoder(buffer, field.context); }

bool take_uint32(Decode &decode, uint32_t &value) { return decode.reader.number(&value); }

bool take_vlint32(Decode &decode, uint32_t &value) {
  const Bytes rest = decode.reader.rest();
  Bytes octets;
  if (rest.empty() || !decode.reader.take(vlint32_length(rest[0]), &octets)) return false;
  value = vlint32_parse(octets.data(), nullptr);
  return true;
}

bool take_octet(Decode &decode, uint32_t &value) {
  Bytes octets;
  if (!decode.reader.take(1, &octets)) return false;
  value = octets[0];
  return true;
}

template <bool (*Take)(Decode &, uint32_t &)>
bool get_number(Decode &decode, const SshGet &field) {
  uint32_t value;
  if (!Take(decode, value)) return false;
  if (field.value) *field.value = value;
  return true;
}

bool get_boolean(Decode &decode, const SshGet &field) {
  uint32_t value;
  if (!take_octet(decode, value)) return false;
  if (field.value) *field.value = value != 0;
  return true;
}

template <bool (*TakeLength)(Decode &, uint32_t &)>
bool get_view(Decode &decode, const SshGet &field) {
  uint32_t length;
  Bytes octets;
  if (!TakeLength(decode, length) || !decode.reader.take(length, &octets)) return false;
  if (field.value) *field.value = length;
  if (field.view) *field.view = octets;
  return true;
}

template <bool (*TakeLength)(Decode &, uint32_t &)>
bool get_copy(Decode &decode, const SshGet &field) {
  Bytes octets;
  if (!get_view<TakeLength>(decode, {.value = field.value, .view = &octets})) return false;
  if (!field.block) return true;
  if (octets.size() >= SSH_XMALLOC_MAX) return false;  // data must not reach the allocation limit
  *field.block = static_cast<uint8_t *>(ssh_xmemdup(octets.data(), octets.size()));
  decode.blocks[decode.block_count++] = *field.block;
  return true;
}

bool get_mp_int(Decode &decode, const SshGet &field) {
  uint32_t bits;
  Bytes magnitude;
  if (!take_uint32(decode, bits)) return false;
  // The bytes of the magnitude are (bits + 7) / 8, without the overflow that a sum of 32 bits has.
  if (!decode.reader.take(bits / 8 + (bits % 8 > 0), &magnitude)) return false;
  if (!field.integer) return true;
  if (magnitude.size() > SSH_XMALLOC_MAX) return false;
  field.integer->set_magnitude(magnitude);
  return true;
}

bool get_data(Decode &decode, const SshGet &field) {
  Bytes octets;
  if (!decode.reader.take(field.length, &octets)) return false;
  if (field.destination && !octets.empty()) {
    std::memcpy(field.destination, octets.data(), octets.size());
  }
  return true;
}

bool get_special(Decode &decode, const SshGet &field) {
  Bytes octets;
  const Bytes rest = decode.reader.rest();
  const size_t used = field.decoder(rest, field.context);
  decode.overrun = used > rest.size();
  return used > 0 && decode.reader.take(used, &octets);
}

// The formats in order of their codes. Views are for reading only.
struct FormatRow {
  void (*put)(SshBuffer &buffer, const SshPut &field);
  bool (*get)(Decode &decode, const SshGet &field);
};
constexpr FormatRow kFormats[] = {
    {put_str<put_vlint32>, get_copy<take_vlint32>},
    {nullptr, get_view<take_vlint32>},
    {put_str<put_uint32>, get_copy<take_uint32>},
    {nullptr, get_view<take_uint32>},
    {put_vlint32, get_number<take_vlint32>},
    {put_uint32, get_number<take_uint32>},
    {put_boolean, get_boolean},
    {put_mp_int, get_mp_int},
    {put_char, get_number<take_octet>},
    {put_data, get_data},
    {put_special, get_special},
};
static_assert(std::size(kFormats) == SSH_FORMAT_END);

// undo releases what fields have stored: the blocks of copied strings, and by a clean-up call
// whatever a special field made.
void undo(const Decode &decode, std::span<const SshGet> done) {
  for (size_t i = 0; i < decode.block_count; ++i) ssh_xfree_wiped(decode.blocks[i]);
  const Bytes cleanup(reinterpret_cast<const uint8_t *>(1), size_t{0});
  for (const SshGet &field : done) {
    if (field.code == SSH_FORMAT_SPECIAL) (void)field.decoder(cleanup, field.context);
  }
}

std::span<const SshGet> up_to_end(std::span<const SshGet> fields) {
  for (size_t i = 0; i < fields.size(); ++i) {
    if (fields[i].code == SSH_FORMAT_END) return fields.first(i);
  }
  return fields;
}

}  // namespace

uint32_t ssh_encode_va(SshBuffer &buffer, std::span<const SshPut> fields) {
  const uint32_t before = ssh_buffer_len(buffer);
  for (const SshPut &field : fields) {
    if (field.code == SSH_FORMAT_END) break;
    if (field.code > SSH_FORMAT_END || !kFormats[field.code].put) {
      ssh_fatal("ssh_encode_va: invalid format code %d (check arguments and SSH_FORMAT_END)",
                static_cast<int>(field.code));
    }
    kFormats[field.code].put(buffer, field);
  }
  return ssh_buffer_len(buffer) - before;
}

uint32_t ssh_encode_buffer(SshBuffer &buffer, std::initializer_list<SshPut> fields) {
  return ssh_encode_va(buffer, std::span(fields.begin(), fields.size()));
}

uint32_t ssh_encode_alloc(uint8_t **out, std::initializer_list<SshPut> fields) {
  SshBuffer buffer;
  const uint32_t length = ssh_encode_buffer(buffer, fields);
  if (!out) return length;
  *out = static_cast<uint8_t *>(ssh_xmalloc(length, "ssh_enocde block"));
  if (length > 0) std::memcpy(*out, ssh_buffer_ptr(buffer), length);
  return length;
}

size_t ssh_decode_array_va(Bytes input, std::span<const SshGet> fields) {
  fields = up_to_end(fields);
  uint8_t *small[kSmallList];
  SshArray<uint8_t *> large;
  Decode decode = {SshWireReader(input), small};
  if (fields.size() > kSmallList) {
    large = ssh_make_array<uint8_t *>(fields.size());
    decode.blocks = large.get();
  }
  for (size_t i = 0; i < fields.size(); ++i) {
    if (fields[i].code > SSH_FORMAT_END) {
      ssh_fatal("ssh_decode_array_va: invalid format code %d (check arguments and SSH_FORMAT_END)",
                static_cast<int>(fields[i].code));
    }
    if (kFormats[fields[i].code].get(decode, fields[i])) continue;
    // A special field that claimed too much has stored something, so it is cleaned up as well.
    undo(decode, fields.first(i + decode.overrun));
    return 0;
  }
  return input.size() - decode.reader.rest().size();
}

size_t ssh_decode_array(Bytes input, std::initializer_list<SshGet> fields) {
  return ssh_decode_array_va(input, std::span(fields.begin(), fields.size()));
}

size_t ssh_decode_buffer(SshBuffer &buffer, std::initializer_list<SshGet> fields) {
  const size_t used = ssh_decode_array(ssh_buffer_bytes(buffer), fields);
  ssh_buffer_consume(buffer, used);
  return used;
}

size_t vlint32_encode(uint32_t value, uint8_t *out) {
  if (value >= 0x400000) {
    out[0] = 0xC0;
    ssh_store_be32(out + 1, value);
    return 5;
  }
  const size_t count = value < 0x40 ? 1 : value < 0x4000 ? 2 : 3;
  for (size_t i = count; i-- > 0; value >>= 8) out[i] = static_cast<uint8_t>(value);
  out[0] = static_cast<uint8_t>(out[0] | (count - 1) << 6);
  return count;
}

size_t vlint32_length(uint8_t first) {
  const size_t size = first >> 6;
  return size == 3 ? 5 : size + 1;
}

uint32_t vlint32_parse(const uint8_t *octets, size_t *count) {
  const size_t length = vlint32_length(octets[0]);
  if (count) *count = length;
  if (length == 5) return ssh_load_be32(octets + 1);  // the low six bits before it mean nothing
  uint32_t value = octets[0] & 0x3F;
  for (size_t i = 1; i < length; ++i) value = value << 8 | octets[i];
  return value;
}
