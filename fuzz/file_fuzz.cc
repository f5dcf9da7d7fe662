// Any bytes as a file: the plain reader returns them, and the armour reader agrees with its own
// parts.
#include "asn1/files.h"

#include "memory_file.h"
#include "util/owner.h"

void check_input(Bytes input) {
  const MemoryFile file(input);
  uint8_t *block = nullptr;
  size_t length = 0;
  require(ssh_read_file(file.name(), &block, &length));
  require(ssh_bytes_equal({block, length}, input));
  ssh_xfree(block);

  const Bytes armour = ssh_armour_find(input);
  require(inside(armour, input));
  block = nullptr;
  const bool found = ssh_read_file_base64(file.name(), &block, &length);
  require(found == !armour.empty());
  const SshBlock owner(block);
  if (!found) return;

  const SshText base64(
      ssh_base64_remove_whitespace(reinterpret_cast<const char *>(armour.data()), armour.size()));
  size_t decoded_length = 0;
  const SshBlock decoded(ssh_base64_to_buf(base64.get(), &decoded_length));
  require(ssh_bytes_equal({block, length}, {decoded.get(), decoded_length}));
}
