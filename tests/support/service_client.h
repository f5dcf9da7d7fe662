// A client of the certificate service for tests: requests written and replies read with the typed
// encoding alone, and the example certificates. It shares nothing with the service but that
// encoding.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "asn1/files.h"
#include "cm/search.h"
#include "loopback/service.h"
#include "support/der.h"
#include "util/owner.h"
#include "util/wire.h"

namespace client {

// example reads a file of examples/, armoured or not.
inline Der example(const std::string &name) {
  const std::string path = KWPKI_SOURCE_DIR "/examples/" + name;
  const auto read = name.ends_with(".pem") ? ssh_read_file_base64 : ssh_read_file;
  uint8_t *data = nullptr;
  size_t length = 0;
  EXPECT_TRUE(read(path.c_str(), &data, &length)) << path;
  const SshBlock owner(data);
  return Der(data, data + length);
}

// octets gives what fields are on the wire, text a field.
inline Der octets(std::initializer_list<SshPut> fields) {
  SshBuffer buffer;
  ssh_encode_buffer(buffer, fields);
  const Bytes bytes = ssh_buffer_bytes(buffer);
  return Der(bytes.begin(), bytes.end());
}
inline SshPut text(std::string_view text) { return ssh_put_uint32_str(ssh_text_bytes(text)); }

// Ask is what a search asks for. Its times are text as it stands on the wire.
struct Ask {
  std::string not_before = {}, not_after = {};
  std::vector<std::pair<uint32_t, Der>> keys = {};
  uint32_t path_length = 0xFFFFFFFF, key_usage = 0, key_type = 0, rule = 0, group_mode = 0;

  // add takes another's keys too.
  Ask &add(const Ask &other) {
    keys.insert(keys.end(), other.keys.begin(), other.keys.end());
    return *this;
  }

  [[nodiscard]] Der build() const {
    SshBuffer list;
    for (const auto &[type, data] : keys) {
      ssh_encode_buffer(list, {ssh_put_uint32(type), ssh_put_uint32_str(data), ssh_put_uint32(0)});
    }
    return octets({text(not_before), text(not_after),
                   ssh_put_uint32(static_cast<uint32_t>(keys.size())),
                   ssh_put_data(ssh_buffer_bytes(list)), ssh_put_uint32(path_length),
                   ssh_put_uint32(key_usage), ssh_put_uint32(key_type), ssh_put_uint32(rule),
                   ssh_put_char(group_mode), ssh_put_uint32(0)});
  }
};

inline Der validity(std::string_view not_before = "", std::string_view not_after = "") {
  return octets({text(not_before), text(not_after)});
}

inline Der request(uint32_t id, uint32_t type, const Der &payload) {
  return octets({ssh_put_uint32(1), ssh_put_uint32(id), ssh_put_uint32(type), ssh_put_uint32(999),
                 ssh_put_uint32(0), ssh_put_uint32_str(payload)});
}
inline Der add_request(uint32_t id, const Der &cert) {
  return request(id, 0, octets({ssh_put_uint32(0), ssh_put_uint32_str(cert)}));
}
inline Der search_request(uint32_t id, const Ask &ask, const Der &valid = validity()) {
  return request(id, 2, der::join({ask.build(), valid}));
}

// Reply is a reply that was read to its last octet.
struct Reply {
  bool answered = false;
  uint32_t id = 0, type = 0, status = 0;
  Der payload;

  Reply() = default;
  explicit Reply(Bytes body) : answered(true) {
    Bytes view;
    uint32_t version = 0, reserved = 1;
    EXPECT_EQ(ssh_decode_array(body, {ssh_get_uint32(&version), ssh_get_uint32(&id),
                                      ssh_get_uint32(&type), ssh_get_uint32(&status),
                                      ssh_get_uint32(&reserved), ssh_get_uint32_str_nocopy(&view)}),
              body.size());
    EXPECT_TRUE(version == 1 && reserved == 0);
    payload.assign(view.begin(), view.end());
  }
};

inline Reply ask(loopback::Service &service, const Der &body) {
  SshBuffer buffer;
  if (!service.answer(body, buffer)) return {};
  return Reply(ssh_buffer_bytes(buffer));
}

struct Found {
  Der certificate;
  uint32_t type = 0, tag = 0, keep_until = 0, serial = 0;
  std::vector<uint32_t> key_types;
};

// List is the payload of a search reply.
struct List {
  uint32_t count = 0, reserved = 0, state = 0;
  std::string text;
  std::vector<Found> found;

  explicit List(Bytes rest) {
    Bytes view;
    take(rest, {ssh_get_uint32(&count), ssh_get_uint32(&reserved), ssh_get_uint32(&state),
                ssh_get_uint32_str_nocopy(&view)});
    text = ssh_bytes_text(view);
    for (uint32_t i = 0; i < count && !testing::Test::HasFailure(); ++i) found.push_back(one(rest));
    EXPECT_TRUE(rest.empty());
  }

  // tags tells which certificates they are: numbers from 1 in the order of adding.
  [[nodiscard]] std::vector<uint32_t> tags() const {
    std::vector<uint32_t> all;
    for (const Found &each : found) all.push_back(each.tag);
    return all;
  }

 private:
  static void take(Bytes &rest, std::initializer_list<SshGet> fields) {
    const size_t used = ssh_decode_array(rest, fields);
    EXPECT_NE(used, 0u);
    rest = rest.subspan(used);
  }
  static Found one(Bytes &rest) {
    Found found;
    Bytes view;
    uint32_t keys = 0, type = 0, value = 1;
    take(rest, {ssh_get_uint32(&found.type), ssh_get_uint32_str_nocopy(&view),
                ssh_get_uint32(&found.tag), ssh_get_uint32(&keys)});
    found.certificate.assign(view.begin(), view.end());
    for (; keys > 0; --keys) {
      take(rest, {ssh_get_uint32(&type), ssh_get_uint32_str_nocopy(&view), ssh_get_uint32(&value)});
      EXPECT_EQ(value, 0u);
      found.key_types.push_back(type);
    }
    take(rest, {ssh_get_uint32(&found.keep_until), ssh_get_uint32(&found.serial)});
    return found;
  }
};

inline std::vector<uint32_t> tags_found(loopback::Service &service, const Ask &what,
                                        const Der &valid = validity()) {
  const Reply reply = ask(service, search_request(1, what, valid));
  EXPECT_EQ(reply.status, 0u);
  return List(reply.payload).tags();
}

}  // namespace client
