// What a client of kwpki.h does, shortened for tests: handles that free themselves, getters that
// give a status with a value and always free what they got.
#pragma once

#include "kwpki.h"
#include "support/samples.h"

namespace client {

// Handle frees with the matching Free function.
template <class T, T(KWPKI_CALL *Allocate)(void), KwPkiStatus(KWPKI_CALL *Free)(T)>
class Handle {
 public:
  Handle() : handle_(Allocate()) {}
  ~Handle() { EXPECT_EQ(Free(handle_), KWPKI_OK); }
  Handle(const Handle &) = delete;
  Handle &operator=(const Handle &) = delete;
  operator T() const { return handle_; }  // NOLINT: stands wherever a client writes the handle
  T operator->() const { return handle_; }

 private:
  T handle_;
};
using Cert = Handle<KwPkiCert, KwPkiCertAllocate, KwPkiCertFree>;
using Crl = Handle<KwPkiCrl, KwPkiCrlAllocate, KwPkiCrlFree>;
using Key = Handle<KwPkiPublicKey, KwPkiPublicKeyAllocate, KwPkiPublicKeyFree>;

// Result is a status with the bytes or text that came with it.
struct Result {
  KwPkiStatus status = KWPKI_OK;
  std::string value;
  bool operator==(const Result &) const = default;
};

inline KwPkiStatus set(KwPkiCert cert, Bytes octets) {
  return KwPkiCertSetBer(octets.data(), static_cast<uint32_t>(octets.size()), cert);
}
inline KwPkiStatus set(KwPkiCrl crl, Bytes octets) {
  return KwPkiCrlSetBer(octets.data(), static_cast<uint32_t>(octets.size()), crl);
}

// text calls a getter of text. On failure the text must be null.
inline Result text(KwPkiStatus(KWPKI_CALL *get)(KwPkiCert, char **), KwPkiCert cert) {
  char poison = 0, *got = &poison;
  const KwPkiStatus status = get(cert, &got);
  EXPECT_EQ(status == KWPKI_OK, got != nullptr);
  EXPECT_NE(got, &poison);
  Result result{status, got ? got : ""};
  EXPECT_EQ(KwPkiStringFree(got), KWPKI_OK);
  return result;
}
inline Result subject(KwPkiCert cert) { return text(KwPkiCertGetSubjectDN, cert); }
inline Result serial(KwPkiCert cert) { return text(KwPkiCertGetSerialNumber, cert); }

// expect_octets looks at what a getter of bytes gave: all or nothing.
inline Result expect_octets(KwPkiStatus status, const uint8_t *data, uint32_t length) {
  EXPECT_EQ(status == KWPKI_OK, data != nullptr);
  EXPECT_EQ(status == KWPKI_OK, length > 0);
  return {status, hex({data, length})};
}
inline Result subject_der(KwPkiCert cert) {
  uint8_t poison = 0, *data = &poison;
  uint32_t length = 77;
  const KwPkiStatus status = KwPkiCertGetSubjectDNDer(cert, &data, &length);
  Result result = expect_octets(status, data, length);
  EXPECT_EQ(KwPkiStringFree(data), KWPKI_OK);
  return result;
}
inline Result ber(KwPkiCert cert) {
  const uint8_t poison = 0, *data = &poison;
  uint32_t length = 77;
  const KwPkiStatus status = KwPkiCertGetBer(cert, &data, &length);
  return expect_octets(status, data, length);
}
inline Result key(KwPkiCert cert) {
  const Key key;
  const KwPkiStatus status = KwPkiCertGetPublicKey(cert, key);
  return expect_octets(status, key->data, key->length);
}

// all is every answer that a certificate gives.
inline std::vector<Result> all(KwPkiCert cert) {
  return {subject(cert), subject_der(cert), serial(cert), key(cert), ber(cert)};
}

// read reads a file; a failure must leave the out arguments as they are.
inline Result read(const char *path, uint32_t armoured) {
  uint8_t poison = 0, *data = &poison;
  uint32_t length = 77;
  const KwPkiStatus status = KwPkiReadFile(path, armoured, &data, &length);
  EXPECT_EQ(status == KWPKI_OK, data != &poison);
  if (status != KWPKI_OK) return {status, length == 77 ? "" : "a length"};
  Result result{status, {reinterpret_cast<char *>(data), length}};
  EXPECT_EQ(KwPkiStringFree(data), KWPKI_OK);
  return result;
}

inline std::string example(const std::string &name) { return KWPKI_SOURCE_DIR "/examples/" + name; }

}  // namespace client
