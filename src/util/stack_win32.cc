#include <windows.h>

#include <cstdint>

// The two names that code compiled with a stack protector refers to: the guard, a value that is
// laid on the stack below return addresses and compared before a function returns, and the function
// that is called if it has changed. The toolchain's own versions need one more library, and ask the
// system's cryptography for a guard while the DLL is being loaded, where that is not allowed.
extern "C" {
uintptr_t __stack_chk_guard = 0;
[[noreturn]] void __stack_chk_fail();
}

namespace {

// The system has a random number for every process, which it mixes into pointers that it is asked
// to encode. So an encoded pointer is a guard that nobody outside can know. Its lowest byte is made
// zero: copying a text ends at a zero byte, so no text can overrun the guard and restore it. This
// constructor runs first, since a function that is running while the guard changes would find its
// own copy wrong.
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
