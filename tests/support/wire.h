// The pieces of messages, written by hand: what requests must look like and what replies are made
// of. Nothing of the library is used here, so that it is held against something else.
#pragma once

#include <string>
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
inline Der request(uint32_t id, uint32_t type, const Der &payload = {}) {
  return envelope(id, type, 999, payload);
}

// number gives a number of an envelope: version, id, type, status, reserved.
enum Place { kId = 1, kType, kStatus };
inline uint32_t number(const Der &message, Place place) {
  return ssh_load_be32(message.data() + 4 * place);
}

// Ask is what a search asks for; untouched, anything. Its times are text as it stands on the wire.
struct Ask {
  std::string not_before = {}, not_after = {};
  std::vector<Der> keys = {};
  uint32_t path_length = 0xFFFFFFFF, key_usage = 0, key_type = 0, rule = 0;
  uint8_t group_mode = 0;

  [[nodiscard]] Der build() const {
    return join({str(not_before),
                 str(not_after),
                 wire::keys(keys),
                 u32(path_length),
                 u32(key_usage),
                 u32(key_type),
                 u32(rule),
                 {group_mode},
                 u32(0)});
  }
};
inline Der validity(std::string_view not_before = "", std::string_view not_after = "") {
  return join({str(not_before), str(not_after)});
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
