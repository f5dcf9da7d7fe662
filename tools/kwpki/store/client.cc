#include "kwpki/store/client.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "crypto/public_key.h"
#include "kwpki/terminal/text.h"
#include "kwpki/values/errors.h"
#include "kwpki/values/keys.h"
#include "loopback/status.h"

namespace kwpki {
namespace {

std::string given_text(KwPkiCert cert, KwPkiStatus(KWPKI_CALL *get)(KwPkiCert, char **)) {
  char *text = nullptr;
  if (get(cert, &text) != KWPKI_OK) return {};
  const Given<char> owner(text);
  return text;
}

void set_subject(Json &json, KwPkiCert cert) {
  const std::string text = given_text(cert, KwPkiCertGetSubjectDN);
  json["subject"] = text.empty() ? Json() : Json(text);
  uint8_t *der = nullptr;
  uint32_t length = 0;
  if (!text.empty() || KwPkiCertGetSubjectDNDer(cert, &der, &length) != KWPKI_OK) return;
  const Given<uint8_t> owner(der);
  start_items();
  json["readable"] = dn_json({der, length})["readable"];
}

// A key that has no exported form is described from the certificate.
Json described_key_json(Bytes der) {
  start_items();
  const SshX509CertOwner cert(ssh_x509_cert_allocate());
  if (!ssh_x509_cert_decode(der, cert.get())) return nullptr;
  Json json = Json::object();
  const Json key = key_json(*cert);
  for (const char *name : {"type", "curve", "bits"})
    if (key.contains(name)) json[name] = key[name];
  return json;
}

// An exported key is RSA's, or of the kind that only DSA exports.
Json exported_key_json(KwPkiCert cert) {
  const PublicKey key(KwPkiPublicKeyAllocate());
  if (KwPkiCertGetPublicKey(cert, key.get()) != KWPKI_OK) return nullptr;
  SshPublicKey *imported = nullptr;
  if (ssh_public_key_import({key->data, key->length}, &imported) != SSH_KEY_OK) return nullptr;
  const SshPublicKeyOwner owner(imported);
  SshMpInt number;
  const bool rsa =
      ssh_public_key_get_info(imported, {{SSH_KEY_TAG_N, &number, nullptr}}) == SSH_KEY_OK;
  if (!rsa) (void)ssh_public_key_get_info(imported, {{SSH_KEY_TAG_P, &number, nullptr}});
  return Json{{"type", rsa ? "RSA" : "DSA"}, {"bits", number.bits()}, {"length", key->length}};
}

}  // namespace

void KWPKI_CALL StatusAnswer::take(void *context, uint32_t status) noexcept {
  static_cast<StatusAnswer *>(context)->status = status;
}

void KWPKI_CALL ListAnswer::take(void *context, uint32_t status, KwPkiCertList list) noexcept {
  auto *answer = static_cast<ListAnswer *>(context);
  answer->status = status;
  answer->list.reset(list);
}

void KWPKI_CALL NamesAnswer::take(void *context, uint32_t status, const char *const *names,
                                  const uint32_t *lengths, uint32_t count) noexcept {
  auto *answer = static_cast<NamesAnswer *>(context);
  answer->status = status;
  for (uint32_t i = 0; i < count; ++i) answer->names.emplace_back(names[i], lengths[i]);
}

void KWPKI_CALL DataAnswer::take(void *context, uint32_t status, uint8_t *data,
                                 uint32_t length) noexcept {
  const Given<uint8_t> owner(data);
  auto *answer = static_cast<DataAnswer *>(context);
  answer->status = status;
  answer->data = ssh_bytes_text({data, length});
}

Session::Session(const std::string &store, const std::string &trace) : trace_(trace) {
  KwLoopbackAgent *agent = nullptr;
  // The message names the store.
  if (const char *why = KwLoopbackOpen(store.empty() ? nullptr : store.c_str(), &agent)) {
    throw Failure{kExitUnreadable, "", why};
  }
  agent_.reset(agent);
  if (trace.empty()) return;
  std::error_code error;
  std::filesystem::create_directories(trace, error);
  if (error) throw Failure{kExitUnreadable, trace, error.message()};
}

void Session::exchange(const std::function<KwPkiStatus(void *agent)> &post) {
  const KwPkiStatus posted = post(agent_.get());
  if (posted != KWPKI_OK) throw Failure{kExitRefused, "not posted", code_text(posted)};
  trace_request();
  uint8_t *data = nullptr;
  uint32_t length = 0;
  KwPkiStatus processed = KWPKI_NOT_POSTED;  // a request without a reply
  while (KwLoopbackReceive(agent_.get(), &data, &length)) {
    const auto release = [length](uint8_t *reply) { KwLoopbackFree(reply, length); };
    const std::unique_ptr<uint8_t, decltype(release)> owner(data, release);
    if (!trace_.empty()) write_trace("reply", {data, length});
    processed = KwPkiProcessAsyncResponce(data, length);
    if (processed != KWPKI_OK) break;
  }
  if (processed != KWPKI_OK) throw Failure{kExitRefused, "no answer", code_text(processed)};
}

// The request is still in the agent's queue, which can be looked into.
void Session::trace_request() {
  if (trace_.empty()) return;
  ++count_;
  const uint8_t *data = nullptr;
  uint32_t length = 0;
  if (KwLoopbackPeek(agent_.get(), &data, &length)) write_trace("request", {data, length});
}

void Session::write_trace(const char *kind, Bytes octets) {
  const std::string name =
      (std::filesystem::path(trace_) / fmt::format("{:04}-{}.bin", count_, kind)).string();
  errno = 0;
  std::FILE *file = std::fopen(name.c_str(), "wb");
  const bool written = file && std::fwrite(octets.data(), 1, octets.size(), file) == octets.size();
  const bool closed = file && std::fclose(file) == 0;
  if (!written || !closed) throw Failure{kExitUnreadable, name, std::strerror(errno)};
}

std::string code_text(KwPkiStatus code) {
  const ErrorRow *row = find_error(code);
  if (!row) return fmt::format("0x{:08X}, a status of the agent's own", code);
  return fmt::format("{} (0x{:08X}): {}", row->name, code, row->meaning);
}

std::string status_text(uint32_t status) {
  const char *text = loopback::service_status_text(status);
  return fmt::format("{} (status {} of the service)", text ? text : "unknown", status);
}

void check_answer(uint32_t status, const std::string &name) {
  if (status == 0) return;
  const int exit = status == loopback::kOutOfMemory ? kExitUnreadable : kExitRefused;
  throw Failure{exit, name, status_text(status)};
}

Json cert_json(KwPkiCert cert) {
  Json json = Json::object();
  set_subject(json, cert);
  const std::string serial = given_text(cert, KwPkiCertGetSerialNumber);
  json["serial"] = serial.empty() ? Json() : Json(serial);
  json["key"] = exported_key_json(cert);
  const uint8_t *data = nullptr;
  uint32_t length = 0;
  std::string der;
  if (KwPkiCertGetBer(cert, &data, &length) == KWPKI_OK) {
    append_base64(der, {data, length});
    if (json["key"].is_null()) json["key"] = described_key_json({data, length});
  }
  json["der"] = der;
  return json;
}

}  // namespace kwpki
