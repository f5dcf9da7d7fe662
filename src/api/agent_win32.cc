#include <windows.h>

#include <psapi.h>

#include <algorithm>

#include "api/agent.h"
#include "util/library.h"
#include "util/owner.h"

namespace {

// find_in_process looks into every module of the process, as dlsym does elsewhere. A module that
// another thread loads meanwhile may be missed.
void *find_in_process(const char *name) {
  HMODULE first = nullptr;
  DWORD size = 0, listed = 0;
  if (!K32EnumProcessModules(GetCurrentProcess(), &first, sizeof first, &size)) return nullptr;
  const auto modules = ssh_make_array<HMODULE>(size / sizeof(HMODULE));
  if (!K32EnumProcessModules(GetCurrentProcess(), modules.get(), size, &listed)) return nullptr;
  const size_t count = std::min(size, listed) / sizeof(HMODULE);
  for (size_t i = 0; i < count; ++i) {
    if (FARPROC address = GetProcAddress(modules[i], name)) {
      return reinterpret_cast<void *>(address);
    }
  }
  return nullptr;
}

}  // namespace

void *find_host_function(const char *library, const char *name) {
  if (void *address = find_in_process(name)) return address;
  const auto loaded = static_cast<HMODULE>(ssh_library_load_near(library));
  return loaded ? reinterpret_cast<void *>(GetProcAddress(loaded, name)) : nullptr;
}
