// The pieces of messages, written by hand: what requests must look like and what replies are made
// of. Nothing of the library is used here, so that it is held against something else.
#pragma once

#include <string_view>

#include "support/der.h"
#include "support/hex.h"

namespace wire {

inline Der u32(uint32_t value) {
  return {static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16),
          static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
}

using der::join;

inline Der str(Bytes octets) {
  return join({u32(static_cast<uint32_t>(octets.size())), Der(octets.begin(), octets.end())});
}
inline Der str(std::string_view text) { return str(ssh_text_bytes(text)); }

inline Der key(uint32_t type, const Der &data, uint32_t value = 0) {
  return join({u32(type), str(Bytes(data)), u32(value)});
}

// keys is a key list: its count and the keys.
inline Der keys(const std::vector<Der> &list) {
  return join({u32(static_cast<uint32_t>(list.size())), join(list)});
}

inline Der envelope(uint32_t id, uint32_t type, uint32_t status, const Der &payload,
                    uint32_t reserved = 0) {
  return join({u32(1), u32(id), u32(type), u32(status), u32(reserved), str(Bytes(payload))});
}

// element is a certificate in a list; list is the payload of a search reply.
inline Der element(const Der &cert, const std::vector<Der> &key_list = {}, uint32_t tag = 7) {
  return join({u32(0), str(Bytes(cert)), u32(tag), keys(key_list), u32(8), u32(9)});
}
inline Der list(uint32_t count, const std::vector<Der> &elements, std::string_view text = "",
                uint32_t state = 3) {
  return join({u32(count), u32(2), u32(state), str(text), join(elements)});
}

}  // namespace wire
