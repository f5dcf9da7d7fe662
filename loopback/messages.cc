#include "loopback/messages.h"

#include <algorithm>

#include "util/wire.h"

namespace loopback {

namespace {

constexpr size_t kSmallestKey = 12;  // type, length of no data, value

bool read_names(SshWireReader &reader, Names &names) {
  return std::ranges::all_of(names, [&reader](Bytes &name) { return reader.octets(&name); });
}

// read_flag reads a boolean, of which only the values that are written are taken.
bool read_flag(SshWireReader &reader, uint32_t &value) {
  Bytes octet;
  if (!reader.take(1, &octet)) return false;
  value = octet[0];
  return value <= 1;
}

// read_time reads a time as text. No text is a time that is not given.
bool read_time(SshWireReader &reader, SshBerTime &time) {
  Bytes view;
  if (!reader.octets(&view)) return false;
  if (view.empty()) return true;
  const std::string text(ssh_bytes_text(view));
  return text.find('\0') == text.npos && ssh_ber_time_set_from_string(&time, text.c_str());
}

bool read_validity(SshWireReader &reader, Validity &validity) {
  return read_time(reader, validity.not_before) && read_time(reader, validity.not_after);
}

bool read_keys(SshWireReader &reader, std::vector<Key> &keys) {
  uint32_t count = 0;
  if (!reader.number(&count) || count > reader.rest().size() / kSmallestKey) return false;
  keys.resize(count);
  return std::ranges::all_of(keys, [&reader](Key &key) {
    return reader.number(&key.type) && reader.octets(&key.data) && reader.number(&key.value);
  });
}

bool read_constraints(SshWireReader &reader, Constraints &constraints) {
  return read_validity(reader, constraints.time) && read_keys(reader, constraints.keys) &&
         reader.number(&constraints.path_length) && reader.number(&constraints.key_usage) &&
         reader.number(&constraints.key_type) && reader.number(&constraints.rule) &&
         read_flag(reader, constraints.group_mode) && read_keys(reader, constraints.second_keys);
}

}  // namespace

bool decode_envelope(Bytes octets, Envelope *envelope) {
  SshWireReader reader(octets);
  for (uint32_t *field : {&envelope->version, &envelope->id, &envelope->type, &envelope->status,
                          &envelope->reserved}) {
    if (!reader.number(field)) return false;
  }
  envelope->whole = reader.octets(&envelope->payload) && reader.rest().empty();
  return true;
}

bool decode(Bytes payload, CertificateAdd *request) {
  SshWireReader reader(payload);
  return reader.number(&request->options) && reader.octets(&request->certificate) &&
         reader.rest().empty();
}

bool decode(Bytes payload, CrlAdd *request) {
  SshWireReader reader(payload);
  return reader.octets(&request->crl) && reader.rest().empty();
}

bool decode(Bytes payload, Search *request) {
  SshWireReader reader(payload);
  return read_constraints(reader, request->constraints) &&
         read_validity(reader, request->validity) && reader.rest().empty();
}

bool decode(Bytes payload, PathSearch *request) {
  SshWireReader reader(payload);
  return read_constraints(reader, request->first) && read_constraints(reader, request->second) &&
         read_validity(reader, request->validity) && reader.rest().empty();
}

bool decode(Bytes payload, CertificateRequest *request) {
  SshWireReader reader(payload);
  return reader.octets(&request->data) && read_names(reader, request->names) &&
         reader.octets(&request->further) && reader.rest().empty();
}

bool decode(Bytes payload, RequestRemove *request) {
  SshWireReader reader(payload);
  return read_names(reader, request->names) && reader.rest().empty();
}

bool decode(Bytes payload, CaNames *) { return payload.empty(); }
bool decode(Bytes payload, StatusQuery *) { return payload.empty(); }

Output &Output::number(uint32_t value) {
  uint8_t four[4];
  ssh_store_be32(four, value);
  return octets(four);
}

Output &Output::text(Bytes octets) {
  return number(static_cast<uint32_t>(octets.size())).octets(octets);
}

Output &Output::octets(Bytes octets) {
  octets_.insert(octets_.end(), octets.begin(), octets.end());
  return *this;
}

void encode_key(Output &output, uint32_t type, Bytes data) {
  output.number(type).text(data).number(0);
}

void encode_element(Output &output, const Element &element) {
  output.number(0).text(element.certificate).number(element.tag);
  output.number(element.key_count).octets(element.keys);
  output.number(element.keep_until).number(element.serial);
}

void encode_list(Output &output, const ListHead &head, Bytes elements) {
  output.number(head.count).number(0).number(head.state).text(ssh_text_bytes(head.text));
  output.octets(elements);
}

void encode_names(Output &output, std::span<const std::string> names) {
  output.number(static_cast<uint32_t>(names.size()));
  for (const std::string &name : names) output.text(ssh_text_bytes(name));
}

void encode_reply(SshBuffer &buffer, uint32_t id, uint32_t type, uint32_t status, Bytes payload) {
  ssh_encode_buffer(buffer,
                    {ssh_put_uint32(kVersion), ssh_put_uint32(id), ssh_put_uint32(type),
                     ssh_put_uint32(status), ssh_put_uint32(0), ssh_put_uint32_str(payload)});
}

}  // namespace loopback
