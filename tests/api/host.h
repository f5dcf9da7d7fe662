// The host of these tests: the six functions that the library finds in this process. An agent is a
// queue of what was posted to it; faults and the log of calls are the calling thread's own.
#pragma once

#include <mutex>

#include "api/client.h"
#include "support/wire.h"

namespace host {

// Agent keeps what was posted to it.
struct Agent {
  std::mutex mutex;
  std::vector<Der> posted;

  // last gives the newest message; next_id the identifier that a status request gets now.
  Der last() { return posted.empty() ? Der() : posted.back(); }
};

// Faults says what the functions do wrong.
struct Faults {
  bool create = false;
  uint32_t set = 0x4000000;
  uint32_t post = 0x4000000;
  const char *leave_at = "";  // the function, by its first word in the log, that does not return
  void (*leave)() = nullptr;
};
extern thread_local Faults faults;

// call_log has every call with its arguments that was made while `logging` was set.
extern thread_local bool logging;
extern thread_local std::vector<std::string> call_log;

// live counts policies and messages that were made and not given back.
int live();

// id reads the identifier of a message.
inline uint32_t id(const Der &message) { return wire::number(message, wire::kId); }

// process passes a reply to the library, answer makes one.
inline KwPkiStatus process(const Der &reply) {
  return KwPkiProcessAsyncResponce(reply.data(), static_cast<uint32_t>(reply.size()));
}
inline KwPkiStatus answer(uint32_t id, uint32_t type, const Der &payload = {},
                          uint32_t status = 0) {
  return process(wire::envelope(id, type, status, payload));
}

// Calls counts callbacks of every form and keeps what the last one was given.
struct Calls {
  int count = 0;
  KwPkiCertList list = nullptr;  // the test frees it
  std::vector<std::string> names;
  void (*then)() = nullptr;  // the last that a callback does

  static void KWPKI_CALL on_status(void *context, uint32_t) {
    auto &calls = *static_cast<Calls *>(context);
    ++calls.count;
    if (calls.then) calls.then();
  }
  static void KWPKI_CALL on_list(void *context, uint32_t status, KwPkiCertList list) {
    EXPECT_EQ(KwPkiCertListFree(std::exchange(static_cast<Calls *>(context)->list, list)),
              KWPKI_OK);
    on_status(context, status);
  }
  static void KWPKI_CALL on_names(void *context, uint32_t status, const char *const *names,
                                  const uint32_t *lengths, uint32_t count) {
    auto &calls = *static_cast<Calls *>(context);
    calls.names.clear();
    for (uint32_t i = 0; i < count; ++i) {
      EXPECT_EQ(names[i][lengths[i]], 0);
      calls.names.emplace_back(names[i], lengths[i]);
    }
    on_status(context, status);
  }
  static void KWPKI_CALL on_data(void *context, uint32_t status, uint8_t *data, uint32_t length) {
    EXPECT_NE(data, nullptr) << length;
    EXPECT_EQ(KwPkiStringFree(data), KWPKI_OK);
    on_status(context, status);
  }

  Calls() = default;
  Calls(const Calls &) = delete;
  Calls &operator=(const Calls &) = delete;
  ~Calls() { EXPECT_EQ(KwPkiCertListFree(list), KWPKI_OK); }
};

using SearchKey = client::Handle<KwPkiSearchKey, KwPkiSearchKeyAllocate, KwPkiSearchKeyFree>;
using Search = client::Handle<KwPkiSearch, KwPkiSearchAllocate, KwPkiSearchFree>;
using Validity = client::Handle<KwPkiValidity, KwPkiValidityAllocate, KwPkiValidityFree>;

// post makes a request whose callback has the form of a type, or is null without calls, and gives
// its identifier.
inline uint32_t post(uint32_t type, Calls *calls, Agent &agent) {
  const auto on = [=](auto callback) { return calls ? callback : nullptr; };
  const Search search;
  const client::Crl crl;
  const client::Cert cert;
  const char *names[4] = {};
  const KwPkiBlock block = {};
  const auto status = on(Calls::on_status);
  const auto list = on(Calls::on_list);
  const KwPkiStatus posted =
      type == 0   ? KwPkiCertAddAsync(cert, status, calls, 0, &agent)
      : type == 1 ? KwPkiCrlAddAsync(crl, status, calls, &agent)
      : type == 2 ? KwPkiSearchAsync(search, nullptr, list, calls, &agent)
      : type == 3 ? KwPkiSearchPathAsync(search, search, nullptr, list, calls, &agent)
      : type == 4 ? KwPkiCaNamesAsync(on(Calls::on_names), calls, &agent)
      : type == 5 ? KwPkiCertRequestAsync(&block, names, nullptr, status, calls, &agent)
      : type == 6 ? KwPkiStatusAsync(on(Calls::on_data), calls, &agent)
                  : KwPkiCertRequestRemoveAsync(names, status, calls, &agent);
  EXPECT_EQ(posted, KWPKI_OK);
  return id(agent.last());
}

}  // namespace host
