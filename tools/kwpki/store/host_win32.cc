// The functions of kwloopback.h, found in the library of the host's agent: nothing here is linked to
// one. An agent that does not have them gives its replies to its own host alone.
#include <windows.h>

#include "loopback/kwloopback.h"
#include "util/library.h"

namespace {

// find gives a function of the agent's library, in the form of one that is declared.
template <class Function>
Function *find(Function *, const char *name) {
  static const auto library = static_cast<HMODULE>(ssh_library_load_near("KWMA32"));
  return library
             ? reinterpret_cast<Function *>(reinterpret_cast<void *>(GetProcAddress(library, name)))
             : nullptr;
}

#define FIND(name) static const auto name##_of_host = find(&name, #name)

}  // namespace

const char *KwLoopbackOpen(const char *path, KwLoopbackAgent **agent) {
  FIND(KwLoopbackOpen);
  if (KwLoopbackOpen_of_host) return KwLoopbackOpen_of_host(path, agent);
  return ssh_library_load_near("KWMA32")
             ? "the agent of this host, KWMA32.dll, gives its replies to nobody else"
             : "there is no host here: KWMA32.dll, the library of its agent, was not found";
}

// The others are called with what the first one gave.
int KwLoopbackReceive(KwLoopbackAgent *agent, uint8_t **data, uint32_t *length) {
  FIND(KwLoopbackReceive);
  return KwLoopbackReceive_of_host ? KwLoopbackReceive_of_host(agent, data, length) : 0;
}

int KwLoopbackPeek(KwLoopbackAgent *agent, const uint8_t **data, uint32_t *length) {
  FIND(KwLoopbackPeek);
  return KwLoopbackPeek_of_host ? KwLoopbackPeek_of_host(agent, data, length) : 0;
}

void KwLoopbackFree(uint8_t *data, uint32_t length) {
  FIND(KwLoopbackFree);
  if (KwLoopbackFree_of_host) KwLoopbackFree_of_host(data, length);
}

void KwLoopbackClose(KwLoopbackAgent *agent) {
  FIND(KwLoopbackClose);
  if (KwLoopbackClose_of_host) KwLoopbackClose_of_host(agent);
}
