// A count, so many field codes, then octets to decode as these fields. What is decoded is written
// in a form that decodes to the same octets, and a failure leaves nothing allocated.
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

// A special field: an octet n and so many octets, kept in a block.
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

SshGet get(Field &field) {
  switch (field.code) {
    case SSH_FORMAT_VLINT32_STR:
      return ssh_get_vlint32_str(&field.block, &field.number);
    case SSH_FORMAT_VLINT32_STR_NOCOPY:
      return ssh_get_vlint32_str_nocopy(&field.view);
    case SSH_FORMAT_UINT32_STR:
      return ssh_get_uint32_str(&field.block, &field.number);
    case SSH_FORMAT_UINT32_STR_NOCOPY:
      return ssh_get_uint32_str_nocopy(&field.view);
    case SSH_FORMAT_VLINT32:
      return ssh_get_vlint32(&field.number);
    case SSH_FORMAT_UINT32:
      return ssh_get_uint32(&field.number);
    case SSH_FORMAT_BOOLEAN:
      return ssh_get_boolean(&field.number);
    case SSH_FORMAT_MP_INT:
      return ssh_get_mp_int(&field.integer);
    case SSH_FORMAT_CHAR:
      return ssh_get_char(&field.number);
    case SSH_FORMAT_DATA:
      return ssh_get_data(field.data, kDataLength);
    case SSH_FORMAT_SPECIAL:
      return ssh_get_special(decode_special, &field);
    default:
      return {};
  }
}

SshPut put(const Field &field) {
  switch (field.code) {
    case SSH_FORMAT_VLINT32_STR:
      return ssh_put_vlint32_str({field.block, field.number});
    case SSH_FORMAT_VLINT32_STR_NOCOPY:
      return ssh_put_vlint32_str(field.view);
    case SSH_FORMAT_UINT32_STR:
      return ssh_put_uint32_str({field.block, field.number});
    case SSH_FORMAT_UINT32_STR_NOCOPY:
      return ssh_put_uint32_str(field.view);
    case SSH_FORMAT_VLINT32:
      return ssh_put_vlint32(field.number);
    case SSH_FORMAT_UINT32:
      return ssh_put_uint32(field.number);
    case SSH_FORMAT_BOOLEAN:
      return ssh_put_boolean(field.number);
    case SSH_FORMAT_MP_INT:
      return ssh_put_mp_int(&field.integer);
    case SSH_FORMAT_CHAR:
      return ssh_put_char(field.number);
    case SSH_FORMAT_DATA:
      return ssh_put_data(field.data);
    case SSH_FORMAT_SPECIAL:
      return ssh_put_special(encode_special, &field);
    default:
      return {};
  }
}

// decode reads the fields that `codes` names; the octets used, and in `encoding` the same fields
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

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const Balance balance;
  if (size == 0 || data[0] % 16u >= size) return 0;
  const Bytes codes(data + 1, data[0] % 16u), input(data + 1 + codes.size(), data + size);
  std::vector<uint8_t> encoding, again;
  if (decode(codes, input, encoding) == 0) return 0;
  require(decode(codes, encoding, again) == encoding.size());
  require(encoding == again);
  return 0;
}
