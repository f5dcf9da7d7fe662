// A count, so many field codes, then bytes to decode as these fields. What is decoded is written
// in a form that decodes to the same bytes, and a failure leaves nothing allocated.
#include <vector>

#include "fuzz.h"
#include "util/owner.h"
#include "util/wire.h"

namespace {

constexpr size_t kDataLength = 3;

// Field is a place for whatever one code reads.
struct Field {
  uint32_t code = 0;
  uint32_t number = 0;
  uint8_t *block = nullptr;
  Bytes view;
  SshMpInt integer;
  uint8_t data[kDataLength] = {};
};

// A special field: a byte n and so many bytes, kept in a block.
size_t decode_special(Bytes input, void *context) {
  auto *field = static_cast<Field *>(context);
  if (ssh_decode_cleanup(input)) {
    ssh_xfree(field->block);
    field->block = nullptr;
    return 0;
  }
  if (input.empty() || input[0] >= input.size()) return 0;
  field->number = input[0];
  field->block = static_cast<uint8_t *>(ssh_xmemdup(input.data() + 1, input[0]));
  return input[0] + size_t{1};
}
void encode_special(SshBuffer &buffer, const void *context) {
  const auto *field = static_cast<const Field *>(context);
  ssh_encode_buffer(buffer,
                    {ssh_put_char(field->number), ssh_put_data({field->block, field->number})});
}

// get offers all of a field's places; each code takes those that are its own.
SshGet get(Field &field) {
  const auto code = static_cast<SshFormat>(field.code);
  return {code,       &field.number, &field.block,   &field.view, &field.integer,
          field.data, kDataLength,   decode_special, &field};
}

// put gives a field in the way in which its code is written. What was read as a view is written as
// a string of the same form.
SshPut put(const Field &field) {
  const bool viewed =
      field.code == SSH_FORMAT_VLINT32_STR_NOCOPY || field.code == SSH_FORMAT_UINT32_STR_NOCOPY;
  const Bytes data = viewed ? field.view
                     : field.code == SSH_FORMAT_DATA
                         ? Bytes(field.data)
                         : Bytes(field.block, field.block ? field.number : 0);
  return {static_cast<SshFormat>(field.code - viewed),
          field.number,
          data,
          &field.integer,
          encode_special,
          &field};
}

// decode reads the fields that `codes` names; the bytes used, and in `encoding` the same fields
// written again.
size_t decode(Bytes codes, Bytes input, std::vector<uint8_t> &encoding) {
  std::vector<Field> fields(codes.size());
  std::vector<SshGet> gets;
  for (size_t i = 0; i < codes.size(); ++i) {
    fields[i].code = codes[i] % (SSH_FORMAT_END + 1);
    gets.push_back(get(fields[i]));
  }
  const size_t used = ssh_decode_array_va(input, gets);
  require(used <= input.size());
  if (used == 0) return 0;

  std::vector<SshPut> puts;
  for (const Field &field : fields) puts.push_back(put(field));
  SshBuffer buffer;
  const uint32_t written = ssh_encode_va(buffer, puts);
  const Bytes octets = ssh_buffer_bytes(buffer);
  encoding.assign(octets.begin(), octets.end());
  require(written == encoding.size());
  for (const Field &field : fields) ssh_xfree(field.block);
  return used;
}

}  // namespace

void check_input(Bytes input) {
  if (input.empty() || input[0] % 16u >= input.size()) return;
  const Bytes codes = input.subspan(1, input[0] % 16u), octets = input.subspan(1 + codes.size());
  std::vector<uint8_t> encoding, again;
  if (decode(codes, octets, encoding) == 0) return;
  require(decode(codes, encoding, again) == encoding.size());
  require(encoding == again);
}
