// The guard of the stack, which the library brings along on Windows.
#include <windows.h>

#include "support/test.h"

extern "C" uintptr_t __stack_chk_guard;

namespace {

[[gnu::noinline, gnu::optimize("O2", "stack-protector-strong")]] void write_past_end(
    size_t length) {
  char room[16];
  volatile char *out = room;
  for (size_t i = 0; i < length; ++i) out[i] = 'x';
}

TEST(StackDeathTest, AnOverrunEndsTheProcess) {
  EXPECT_NE(__stack_chk_guard, 0u);
  write_past_end(16);
  EXPECT_EXIT(write_past_end(64), testing::ExitedWithCode(static_cast<int>(0xC0000409)), "");
}

}  // namespace
