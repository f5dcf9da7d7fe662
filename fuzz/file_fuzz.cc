// Any octets as a file: the plain reader returns them, and the armour reader agrees with its own
// parts.
#include "asn1/files.h"

#include "memory_file.h"
#include "util/owner.h"

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const Balance balance;
  const MemoryFile file({data, size});
  uint8_t *block = nullptr;
  size_t length = 0;
  require(ssh_read_file(file.name(), &block, &length));
  require(ssh_bytes_equal({block, length}, {data, size}));
  ssh_xfree(block);

  const Bytes armour = ssh_armour_find({data, size});
  require(inside(armour, {data, size}));
  block = nullptr;
  const bool found = ssh_read_file_base64(file.name(), &block, &length);
  require(found == !armour.empty());
  const SshBlock owner(block);
  if (!found) return 0;

  const SshText base64(
      ssh_base64_remove_whitespace(reinterpret_cast<const char *>(armour.data()), armour.size()));
  require(std::strlen(base64.get()) <= armour.size());
  size_t decoded_length = 0;
  const SshBlock decoded(ssh_base64_to_buf(base64.get(), &decoded_length));
  require(decoded_length <= (std::strlen(base64.get()) * 6 + 7) / 8);
  require(ssh_bytes_equal({block, length}, {decoded.get(), decoded_length}));
  return 0;
}
