#include <windows.h>

#include <psapi.h>

#include <algorithm>
#include <iterator>

#include "api/agent.h"

void *find_host_function(const char *library, const char *name) {
  HMODULE modules[1024];  // those beyond are looked at by name only
  DWORD size = 0;
  if (K32EnumProcessModules(GetCurrentProcess(), modules, sizeof modules, &size)) {
    const size_t count = std::min<size_t>(size / sizeof *modules, std::size(modules));
    for (size_t i = 0; i < count; ++i) {
      if (FARPROC address = GetProcAddress(modules[i], name)) {
        return reinterpret_cast<void *>(address);
      }
    }
  }
  // Never freed: its functions are used until the process ends.
  HMODULE loaded = LoadLibraryA(library);
  return loaded ? reinterpret_cast<void *>(GetProcAddress(loaded, name)) : nullptr;
}
