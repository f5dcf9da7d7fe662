#include "cm/entries.h"

#include <iterator>

#include "util/mem.h"
#include "util/wire.h"

namespace {

// read_time reads a time of a record. No text is a time that is not set, and so is what is no time:
// nothing here needs these times, and the certificate is worth more than they are.
void read_time(Bytes text, SshBerTime &time) {
  constexpr size_t kLongest = 1024;  // of what is read as a time
  if (text.empty() || text.size() > kLongest) return;
  char terminated[kLongest + 1];
  std::memcpy(terminated, text.data(), text.size());
  terminated[text.size()] = 0;
  (void)ssh_ber_time_set_from_string(&time, terminated);
}

// The functions of kTypes: an object is known by its entry's type alone.
uint32_t encode_cert(const void *object, SshBuffer &output) {
  return ssh_cm_cert_encode_record(*static_cast<const SshCMCertificate *>(object), output);
}

uint32_t encode_crl(const void *object, SshBuffer &output) {
  const Bytes ber = ssh_cm_crl_encoding(*static_cast<const SshCMCrl *>(object));
  return ssh_encode_buffer(output, {ssh_put_uint32_str(ber)});
}

// Only the database frees its objects: an object with an entry is not to be freed by anybody else.
// So the entry is cleared first.
void free_cert(void *object) {
  auto *cert = static_cast<SshCMCertificate *>(object);
  cert->entry = nullptr;
  ssh_cm_cert_free(cert);
}

void free_crl(void *object) {
  auto *crl = static_cast<SshCMCrl *>(object);
  crl->entry = nullptr;
  ssh_cm_crl_free(crl);
}

void *decode_cert(Bytes data, SshCertDBEntry *entry) {
  SshCMCertificate *cert = ssh_cm_cert_allocate();
  if (ssh_cm_cert_decode_record(data, *cert) == SSH_CM_OK) {
    cert->entry = entry;
    return cert;
  }
  ssh_cm_cert_free(cert);
  return nullptr;
}

void *decode_crl(Bytes data, SshCertDBEntry *entry) {
  Bytes ber;
  if (!ssh_decode_array(data, {ssh_get_uint32_str_nocopy(&ber)})) return nullptr;
  SshCMCrl *crl = ssh_cm_crl_allocate();
  if (ssh_cm_crl_set_ber(*crl, ber) == SSH_CM_OK) {
    crl->entry = entry;
    return crl;
  }
  ssh_cm_crl_free(crl);
  return nullptr;
}

// One row per SshCMEntryType.
constexpr struct {
  uint32_t (*encode)(const void *object, SshBuffer &output);
  void *(*decode)(Bytes data, SshCertDBEntry *entry);  // null: failed
  void (*free)(void *object);
} kTypes[] = {
    {encode_cert, decode_cert, free_cert},
    {encode_crl, decode_crl, free_crl},
};
static_assert(std::size(kTypes) == SSH_CM_ENTRY_CRL + 1);

uint32_t encode(uint32_t type, const void *object, SshBuffer &output, uint32_t *length) {
  if (type >= std::size(kTypes)) return SSH_CM_BAD_ENTRY_TYPE;
  *length = kTypes[type].encode(object, output);
  return SSH_CM_OK;
}

uint32_t decode(uint32_t type, Bytes data, SshCertDBEntry *entry, void **object) {
  if (type >= std::size(kTypes)) return SSH_CM_BAD_ENTRY_TYPE;
  *object = kTypes[type].decode(data, entry);
  return *object ? SSH_CM_OK : SSH_CM_BAD_ENTRY_TYPE;
}

void free_object(uint32_t type, void *object) {
  if (object && type < std::size(kTypes)) kTypes[type].free(object);
}

}  // namespace

const SshCertDBMethods ssh_cm_entry_methods = {encode, decode, free_object};

uint32_t ssh_cm_cert_encode_record(const SshCMCertificate &cert, SshBuffer &output) {
  const SshCMCarried nothing = {};
  const SshCMCarried &said = cert.carried ? *cert.carried : nothing;
  const SshBerTimeText time_1(said.time_1), time_2(said.time_2), time_3(said.time_3),
      time_4(said.time_4), time_5(said.time_5), time_6(said.time_6);
  const auto time = [](const SshBerTimeText &text) { return ssh_put_uint32_str(text.bytes()); };
  const Bytes text = said.text ? ssh_text_bytes(said.text.get()) : Bytes();
  return ssh_encode_buffer(
      output, {ssh_put_uint32_str(ssh_cm_cert_encoding(cert)), ssh_put_uint32(said.status),
               ssh_put_boolean(static_cast<uint32_t>(said.bool_0)), time(time_1), time(time_2),
               time(time_3), time(time_4), ssh_put_uint32(static_cast<uint32_t>(said.counter)),
               ssh_put_mp_int(&said.number), ssh_put_uint32(said.word_a),
               ssh_put_boolean(static_cast<uint32_t>(said.bool_a)), time(time_5),
               ssh_put_uint32(said.word_b), time(time_6), ssh_put_uint32_str(text)});
}

SshCMStatus ssh_cm_cert_decode_record(Bytes record, SshCMCertificate &cert) {
  Bytes ber, text, times[6];
  SshCMCarried &said = ssh_cm_cert_carried(cert);
  uint32_t bool_0 = 0, counter = 0, bool_a = 0;
  const auto time = ssh_get_uint32_str_nocopy;
  const size_t read = ssh_decode_array(
      record, {ssh_get_uint32_str_nocopy(&ber), ssh_get_uint32(&said.status),
               ssh_get_boolean(&bool_0), time(&times[0]), time(&times[1]), time(&times[2]),
               time(&times[3]), ssh_get_uint32(&counter), ssh_get_mp_int(&said.number),
               ssh_get_uint32(&said.word_a), ssh_get_boolean(&bool_a), time(&times[4]),
               ssh_get_uint32(&said.word_b), time(&times[5]), ssh_get_uint32_str_nocopy(&text)});
  if (!read) return SSH_CM_RECORD_UNREADABLE;

  SshBerTime *const carried[] = {&said.time_1, &said.time_2, &said.time_3,
                                 &said.time_4, &said.time_5, &said.time_6};
  for (size_t i = 0; i < std::size(carried); ++i) read_time(times[i], *carried[i]);
  said.bool_0 = static_cast<int32_t>(bool_0);
  said.counter = static_cast<int32_t>(counter);
  said.bool_a = static_cast<int32_t>(bool_a);
  if (!text.empty()) {
    said.text.reset(static_cast<char *>(ssh_xmemdup(text.data(), text.size())));
  }
  return ssh_cm_cert_set_ber(cert, ber) == SSH_CM_OK ? SSH_CM_OK : SSH_CM_CERT_UNDECODABLE;
}
