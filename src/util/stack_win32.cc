#include <windows.h>

#include <cstdint>

// What the compiler's stack protector calls for. The toolchain's own needs another library of the
// system's, and asks its cryptography for a guard while the DLL is being loaded.
extern "C" {
uintptr_t __stack_chk_guard = 0;
[[noreturn]] void __stack_chk_fail();
}

namespace {

// The system gives every process a random number that it does not tell, and mixes it into pointers.
// The first byte is zero, at which a text ends: none can run over the guard and restore it. Other
// constructors come later, as a function that runs meanwhile finds its guard changed.
[[gnu::constructor(101), gnu::no_stack_protector]] void make_guard() {
  void *mixed = EncodePointer(&__stack_chk_guard);
  __stack_chk_guard = reinterpret_cast<uintptr_t>(mixed) & ~uintptr_t{0xFF};
}

}  // namespace

// The stack cannot be trusted, nor the handlers whose addresses it holds: nothing else is run.
void __stack_chk_fail() {
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(STATUS_STACK_BUFFER_OVERRUN));
  __builtin_trap();
}
