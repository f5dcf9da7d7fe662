// Messages of the certificate service: requests are read from bytes into structs, replies written
// from structs to bytes. Reading is strict: a request is read to its last byte or refused, and
// nothing is allocated for a count that the bytes left could not hold. A new request is a struct
// with its decode function here, and a row in service.cc.
#pragma once

#include <array>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "asn1/time.h"
#include "util/buffer.h"
#include "util/bytes.h"
#include "util/mem.h"

namespace loopback {

constexpr uint32_t kVersion = 1;
constexpr uint32_t kRequestStatus = 999;  // stands in the status field of every request

// Envelope is what surrounds a payload. Every view here and below shows the request's bytes.
struct Envelope {
  uint32_t version = 0, id = 0, type = 0, status = 0, reserved = 0;
  bool whole = false;  // the payload is there, and nothing follows it
  Bytes payload;
};

struct Key {
  uint32_t type = 0;
  Bytes data;
  uint32_t value = 0;
};

// Validity holds two times; all zero means that a time is not given.
struct Validity {
  SshBerTime not_before, not_after;
};

struct Constraints {
  Validity time;
  std::vector<Key> keys;
  uint32_t path_length = 0, key_usage = 0, key_type = 0, rule = 0;
  uint32_t group_mode = 0;
  std::vector<Key> second_keys;
};

using Names = std::array<Bytes, 4>;

struct CertificateAdd {
  uint32_t options = 0;
  Bytes certificate;
};
struct CrlAdd {
  Bytes crl;
};
struct Search {
  Constraints constraints;
  Validity validity;
};
struct PathSearch {
  Constraints first, second;
  Validity validity;
};
struct CertificateRequest {
  Bytes data;
  Names names;
  Bytes further;
};
struct RequestRemove {
  Names names;
};
struct CaNames {};
struct StatusQuery {};

// decode_envelope reads an envelope; false if not even the five numbers at its front are there.
[[nodiscard]] bool decode_envelope(Bytes octets, Envelope *envelope);

// decode reads a payload; false if it is not exactly one of that kind. The struct may then be
// partly filled and must not be used.
[[nodiscard]] bool decode(Bytes payload, CertificateAdd *request);
[[nodiscard]] bool decode(Bytes payload, CrlAdd *request);
[[nodiscard]] bool decode(Bytes payload, Search *request);
[[nodiscard]] bool decode(Bytes payload, PathSearch *request);
[[nodiscard]] bool decode(Bytes payload, CertificateRequest *request);
[[nodiscard]] bool decode(Bytes payload, RequestRemove *request);
[[nodiscard]] bool decode(Bytes payload, CaNames *request);
[[nodiscard]] bool decode(Bytes payload, StatusQuery *request);

// Element is a certificate in a reply. `keys` holds `key_count` keys, each as encode_key wrote it.
struct Element {
  Bytes certificate;
  uint32_t tag = 0;
  uint32_t key_count = 0;
  Bytes keys;
  uint32_t keep_until = 0;
  uint32_t serial = 0;
};
constexpr size_t kElementSize = 24;  // bytes of an element beside its certificate and its keys

// ListHead stands before the elements of a list.
struct ListHead {
  uint32_t count = 0;
  uint32_t state = 0;
  std::string text;
};

// Output collects the bytes of an answer. Its block doubles as it fills, while that of an SshBuffer
// grows by pages, which would take long for answers of many parts. Blocks are wiped before they are
// freed.
class Output {
 public:
  Output &number(uint32_t value);
  Output &text(Bytes octets);  // behind their length
  Output &octets(Bytes octets);
  [[nodiscard]] size_t size() const { return octets_.size(); }
  [[nodiscard]] Bytes bytes() const { return octets_; }

 private:
  template <class T>
  struct Wiping : std::allocator<T> {
    template <class Other>
    struct rebind {
      using other = Wiping<Other>;
    };
    void deallocate(T *data, size_t count) {
      ssh_wipe(data, count * sizeof *data);
      std::allocator<T>::deallocate(data, count);
    }
  };
  std::vector<uint8_t, Wiping<uint8_t>> octets_;
};

// The encode functions append.
void encode_key(Output &output, uint32_t type, Bytes data);
void encode_element(Output &output, const Element &element);
void encode_list(Output &output, const ListHead &head, Bytes elements);
void encode_names(Output &output, std::span<const std::string> names);
void encode_reply(SshBuffer &buffer, uint32_t id, uint32_t type, uint32_t status, Bytes payload);

}  // namespace loopback
