// What a client of kwpki.h does, shortened for tests: handles that free themselves, getters that
// give a status with a value and always free what they got, and the seeds of the example folder.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "kwpki.h"
#include "support/samples.h"
#include "support/tsv.h"

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

// Result is a status with the octets or text that came with it.
struct Result {
  KwPkiStatus status = KWPKI_OK;
  std::string value;
  bool operator==(const Result &) const = default;
};
inline void PrintTo(const Result &result, std::ostream *out) {
  *out << std::hex << result.status << std::dec << " \"" << result.value << '"';
}

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

inline Result subject_der(KwPkiCert cert) {
  uint8_t poison = 0, *data = &poison;
  uint32_t length = 77;
  const KwPkiStatus status = KwPkiCertGetSubjectDNDer(cert, &data, &length);
  EXPECT_EQ(status == KWPKI_OK, data != nullptr && length > 0);
  EXPECT_TRUE(status == KWPKI_OK || (data == nullptr && length == 0));
  Result result{status, hex({data, length})};
  EXPECT_EQ(KwPkiStringFree(data), KWPKI_OK);
  return result;
}

inline Result ber(KwPkiCert cert) {
  const uint8_t poison = 0, *data = &poison;
  uint32_t length = 77;
  const KwPkiStatus status = KwPkiCertGetBer(cert, &data, &length);
  EXPECT_TRUE(status == KWPKI_OK || (data == nullptr && length == 0));
  return {status, hex({data, length})};
}

inline Result key(KwPkiCert cert) {
  const Key key;
  const KwPkiStatus status = KwPkiCertGetPublicKey(cert, key);
  return {status, hex({key->data, key->length})};
}

// all is every answer that a certificate gives.
inline std::vector<Result> all(KwPkiCert cert) {
  return {subject(cert), subject_der(cert), serial(cert), key(cert), ber(cert)};
}

struct File {
  std::string name;  // without the folder
  Der octets;        // the armour taken off
};

// read reads through the library, as a client would.
inline Der read(const std::string &path, bool armoured) {
  uint8_t *data = nullptr;
  uint32_t length = 0;
  EXPECT_EQ(KwPkiReadFile(path.c_str(), armoured, &data, &length), KWPKI_OK) << path;
  Der octets(data, data + length);
  EXPECT_EQ(KwPkiStringFree(data), KWPKI_OK);
  return octets;
}

inline std::string example(const std::string &name) {
  return std::string(KWPKI_SOURCE_DIR "/examples/") + name;
}

inline std::vector<File> examples() {
  std::vector<File> files;
  for (const auto &entry : std::filesystem::directory_iterator(example(""))) {
    const std::string name = entry.path().filename().string(),
                      ending = entry.path().extension().string();
    if (ending != ".der" && ending != ".pem") continue;
    files.push_back({name, read(entry.path().string(), ending == ".pem")});
  }
  return files;
}

inline bool starts(const File &file, std::string_view prefix) {
  return file.name.compare(0, prefix.size(), prefix) == 0;
}

// Diffie-Hellman keys have no key object: a certificate with one decodes but gives no key.
inline Der dh_cert() {
  sample::CertParts parts;
  parts.key = sample::key_info({}, der::integer(8), "1.2.840.10046.2.1");
  return parts.build();
}

}  // namespace client
