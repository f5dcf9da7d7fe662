// A client of the certificate service, over the functions of kwpki.h alone: handles that free
// themselves, and a session that posts a request and pumps until its reply was processed. A further
// form of callback is a struct that holds its result, with the callback as a static member.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kwpki.h"
#include "kwpki/terminal/exit.h"
#include "kwpki/terminal/output.h"
#include "kwpki/values/values.h"
#include "loopback/kwloopback.h"
#include "util/owner.h"

namespace kwpki {

using Cert = Owner<KwPkiCertObject, KwPkiCertFree>;
using Crl = Owner<KwPkiCrlObject, KwPkiCrlFree>;
using CertList = Owner<KwPkiCertListObject, KwPkiCertListFree>;
using PublicKey = Owner<KwPkiBlock, KwPkiPublicKeyFree>;
using Search = Owner<KwPkiSearchObject, KwPkiSearchFree>;
using SearchKey = Owner<KwPkiSearchKeyObject, KwPkiSearchKeyFree>;
template <class T>
using Given = Owner<T, KwPkiStringFree>;  // a text or block that an export gave

// The answers keep what a callback was called with. An answer is the context of its request, and
// `take` the callback. No exception may pass through the library, so `take` is noexcept: running
// out of memory in it ends the process, as it does in the library.
struct StatusAnswer {
  uint32_t status = 0;
  static void KWPKI_CALL take(void *context, uint32_t status) noexcept;
};
struct ListAnswer {
  uint32_t status = 0;
  CertList list;
  static void KWPKI_CALL take(void *context, uint32_t status, KwPkiCertList list) noexcept;
};
struct NamesAnswer {
  uint32_t status = 0;
  std::vector<std::string> names;
  static void KWPKI_CALL take(void *context, uint32_t status, const char *const *names,
                              const uint32_t *lengths, uint32_t count) noexcept;
};
struct DataAnswer {
  uint32_t status = 0;
  std::string data;
  static void KWPKI_CALL take(void *context, uint32_t status, uint8_t *data,
                              uint32_t length) noexcept;
};

// Session is an open store with the agent that answers from it.
class Session {
 public:
  // Session opens the store; an empty name means the agent's own. If `trace` is not empty, each
  // request and reply is written to a file in that folder: 0001-request.bin, 0001-reply.bin and so
  // on. Throws Failure.
  Session(const std::string &store, const std::string &trace);

  // exchange posts a request and processes replies until there are none. Throws Failure if it could
  // not be posted or its reply not be processed.
  void exchange(const std::function<KwPkiStatus(void *agent)> &post);

 private:
  struct Close {
    void operator()(KwLoopbackAgent *agent) const { KwLoopbackClose(agent); }
  };
  void write_trace(const char *kind, Bytes octets);
  void trace_request();

  std::unique_ptr<KwLoopbackAgent, Close> agent_;
  std::string trace_;
  unsigned count_ = 0;  // of messages traced
};

// code_text names a code of the library; status_text says what a status of the service means.
std::string code_text(KwPkiStatus code);
std::string status_text(uint32_t status);

// check_answer throws Failure, about `name` if there is one, unless the service answered with
// success.
void check_answer(uint32_t status, const std::string &name = "");

// cert_json is {"subject", "serial", "key", "der"}, each by the export that gives it; "subject" is
// null if it has no text, and "readable" then has the values as they read. "key" is {"type",
// "bits", "length"} of the exported key, or without "length" and perhaps with "curve" of one that
// cannot be exported.
Json cert_json(KwPkiCert cert);

}  // namespace kwpki
