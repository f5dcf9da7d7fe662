#include "loopback/messages.h"

#include "util/wire.h"

namespace loopback {

namespace {

constexpr size_t kSmallestKey = 12;  // type, length of no data, value

// Reader reads fields off the front of bytes. After the first that cannot be read it reads nothing
// more and is no longer good.
class Reader {
 public:
  explicit Reader(Bytes octets) : rest_(octets) {}

  void number(uint32_t &value) { take({ssh_get_uint32(&value)}); }
  void octets(Bytes &view) { take({ssh_get_uint32_str_nocopy(&view)}); }
  void names(Names &names) {
    for (Bytes &name : names) octets(name);
  }

  // flag reads a boolean, of which only the values that are written are taken.
  void flag(uint32_t &value) {
    if (!rest_.empty() && rest_[0] > 1) good_ = false;
    take({ssh_get_boolean(&value)});
  }

  // time reads a time as text. No text is a time that is not given.
  void time(SshBerTime &time) {
    Bytes view;
    octets(view);
    if (!good_ || view.empty()) return;
    const std::string text(ssh_bytes_text(view));
    good_ = text.find('\0') == text.npos && ssh_ber_time_set_from_string(&time, text.c_str());
  }

  void validity(Validity &validity) {
    time(validity.not_before);
    time(validity.not_after);
  }

  void keys(std::vector<Key> &keys) {
    uint32_t count = 0;
    number(count);
    if (count > rest_.size() / kSmallestKey) good_ = false;
    if (!good_) return;
    keys.resize(count);
    for (Key &key : keys) {
      number(key.type);
      octets(key.data);
      number(key.value);
    }
  }

  void constraints(Constraints &constraints) {
    validity(constraints.time);
    keys(constraints.keys);
    number(constraints.path_length);
    number(constraints.key_usage);
    number(constraints.key_type);
    number(constraints.rule);
    flag(constraints.group_mode);
    keys(constraints.second_keys);
  }

  [[nodiscard]] bool good() const { return good_; }
  [[nodiscard]] bool done() const { return good_ && rest_.empty(); }

 private:
  void take(std::initializer_list<SshGet> fields) {
    const size_t used = good_ ? ssh_decode_array(rest_, fields) : 0;
    good_ = used > 0;
    rest_ = rest_.subspan(used);
  }

  Bytes rest_;
  bool good_ = true;
};

}  // namespace

bool decode_envelope(Bytes octets, Envelope *envelope) {
  Reader reader(octets);
  for (uint32_t *field : {&envelope->version, &envelope->id, &envelope->type, &envelope->status,
                          &envelope->reserved}) {
    reader.number(*field);
  }
  if (!reader.good()) return false;
  reader.octets(envelope->payload);
  envelope->whole = reader.done();
  return true;
}

bool decode(Bytes payload, CertificateAdd *request) {
  Reader reader(payload);
  reader.number(request->options);
  reader.octets(request->certificate);
  return reader.done();
}

bool decode(Bytes payload, CrlAdd *request) {
  Reader reader(payload);
  reader.octets(request->crl);
  return reader.done();
}

bool decode(Bytes payload, Search *request) {
  Reader reader(payload);
  reader.constraints(request->constraints);
  reader.validity(request->validity);
  return reader.done();
}

bool decode(Bytes payload, PathSearch *request) {
  Reader reader(payload);
  reader.constraints(request->first);
  reader.constraints(request->second);
  reader.validity(request->validity);
  return reader.done();
}

bool decode(Bytes payload, CertificateRequest *request) {
  Reader reader(payload);
  reader.octets(request->data);
  reader.names(request->names);
  reader.octets(request->further);
  return reader.done();
}

bool decode(Bytes payload, RequestRemove *request) {
  Reader reader(payload);
  reader.names(request->names);
  return reader.done();
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
