// A process without the host: requests are not posted but stay on record, and the agent is taken as
// soon as somebody brings it. One test, because the process has one history.
#include <dlfcn.h>

#include "api/client.h"
#include "loopback/kwloopback.h"
#include "support/wire.h"

namespace {

int called = 0;

void on_data(void *, uint32_t, uint8_t *data, uint32_t) {
  ++called;
  (void)KwPkiStringFree(data);
}

KwPkiStatus process(const Der &reply) {
  return KwPkiProcessAsyncResponce(reply.data(), static_cast<uint32_t>(reply.size()));
}

template <class Function>
Function *function(void *library, const char *name) {
  auto *found = reinterpret_cast<Function *>(dlsym(library, name));
  EXPECT_NE(found, nullptr) << name;
  return found;
}

TEST(Hostless, RequestsWaitForAnAgent) {
  for (uint32_t id = 0; id < 3; ++id) {
    EXPECT_EQ(KwPkiStatusAsync(on_data, nullptr, nullptr), KWPKI_NOT_POSTED);
  }
  for (uint32_t id = 0; id < 3; ++id) {
    EXPECT_EQ(process(wire::envelope(id, 6, 0, {})), KWPKI_OK) << "the first identifiers of all";
  }
  EXPECT_EQ(called, 3);

  // Loaded for everybody to see: the functions are in the process now, wherever they came from.
  for (const char *name : {"libKWPMAPI.so", "libKWMA32.so"}) {
    ASSERT_NE(dlopen((std::string(KWPKI_LIBRARY_DIR "/") + name).c_str(), RTLD_NOW | RTLD_GLOBAL),
              nullptr)
        << dlerror();
  }
  KwLoopbackAgent *agent = nullptr;
  ASSERT_EQ(function<decltype(KwLoopbackOpen)>(RTLD_DEFAULT, "KwLoopbackOpen")(nullptr, &agent),
            nullptr);
  EXPECT_EQ(KwPkiStatusAsync(on_data, nullptr, agent), KWPKI_OK);
  uint8_t *data = nullptr;
  uint32_t length = 0;
  const auto receive = function<decltype(KwLoopbackReceive)>(RTLD_DEFAULT, "KwLoopbackReceive");
  ASSERT_EQ(receive(agent, &data, &length), 1);
  EXPECT_EQ(KwPkiProcessAsyncResponce(data, length), KWPKI_OK);
  EXPECT_EQ(called, 4);
  function<decltype(KwLoopbackFree)>(RTLD_DEFAULT, "KwLoopbackFree")(data, length);
  function<decltype(KwLoopbackClose)>(RTLD_DEFAULT, "KwLoopbackClose")(agent);
}

// With the libraries on the loader's path a process that has none of the functions gets them by
// name. tests/CMakeLists.txt runs this one so.
TEST(Hostless, DISABLED_LibrariesAreLoadedByName) {
  ASSERT_EQ(dlsym(RTLD_DEFAULT, "KWMAPostMessage"), nullptr);
  EXPECT_EQ(KwPkiStatusAsync(on_data, nullptr, nullptr), KWPKI_NOT_POSTED) << "no agent is open";
  void *library = dlopen("libKWMA32.so", RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(library, nullptr) << "nobody has loaded it";
  KwLoopbackAgent *agent = nullptr;
  ASSERT_EQ(function<decltype(KwLoopbackOpen)>(library, "KwLoopbackOpen")(nullptr, &agent),
            nullptr);
  EXPECT_EQ(KwPkiStatusAsync(on_data, nullptr, agent), KWPKI_OK);
  function<decltype(KwLoopbackClose)>(library, "KwLoopbackClose")(agent);
}

}  // namespace
