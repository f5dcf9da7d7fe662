#include <windows.h>

#include "crypto/noise.h"
#include "util/library.h"

namespace {

// RtlGenRandom is exported under this name alone. It is looked up when needed, so that what does
// not need noise does not need the library.
constexpr char kLibrary[] = "advapi32";
constexpr char kFunction[] = "SystemFunction036";
using RtlGenRandom = BOOLEAN(WINAPI *)(void *out, ULONG length);

}  // namespace

bool ssh_noise_system(uint8_t *out, size_t length) {
  if (length > MAXLONG) return false;
  const auto library = static_cast<HMODULE>(ssh_library_load_system(kLibrary));
  if (!library) return false;
  const auto fill =
      reinterpret_cast<RtlGenRandom>(reinterpret_cast<void *>(GetProcAddress(library, kFunction)));
  return fill && fill(out, static_cast<ULONG>(length));
}
