#include "util/mem.h"

#include <thread>

#include "support/test.h"
#include "util/pool.h"

namespace {

TEST(Mem, RefusalsEndTheProcess) {
  constexpr size_t kLarge = SSH_XMALLOC_MAX + 1;
  const std::string large = ": allocation too large (allocating 104857601 bytes)";
  EXPECT_FATAL((void)ssh_xmalloc(kLarge), "ssh_xmalloc" + large);
  EXPECT_FATAL((void)ssh_xrealloc(ssh_xmalloc(1), kLarge), "ssh_xrealloc" + large);
  EXPECT_FATAL(SshPool().reserve(SIZE_MAX),
               "ssh_xmalloc: allocation too large (allocating " +
                   std::to_string(SSH_XMALLOC_MAX + 2 * sizeof(void *)) + " bytes)");
  // The two messages of calloc name its factors in opposite orders, and 2^32 wraps its limit.
  EXPECT_FATAL((void)ssh_xcalloc(2, 0x3200001),
               "ssh_xcalloc: allocation too large (allocating 52428801*2 bytes)");
  EXPECT_FATAL((void)ssh_xcalloc(3, 0x55555556),
               "ssh_xcalloc: out of memory (allocating 3*1431655766 bytes)");

  EXPECT_FATAL((ssh_mem_fail_at(1), (void)ssh_xmalloc(0)),
               "ssh_xmalloc: out of memory (allocating 1 bytes)");
  EXPECT_FATAL((ssh_mem_fail_at(2), (void)ssh_xrealloc(ssh_xmalloc(9), 0)),
               "ssh_xrealloc: out of memory (new_size 1 bytes)");
}

TEST(Mem, LargestAndSmallestBlocks) {
  const int64_t before = ssh_mem_blocks();
  const SshBlock largest(static_cast<uint8_t *>(ssh_xmalloc(SSH_XMALLOC_MAX)));
  largest.get()[SSH_XMALLOC_MAX - 1] = 1;
  SshBlock smallest(static_cast<uint8_t *>(ssh_xmalloc(0)));
  *smallest = 7;
  smallest.reset(static_cast<uint8_t *>(ssh_xrealloc(smallest.release(), 0)));
  EXPECT_EQ(*smallest, 7);
  const SshBlock cleared(static_cast<uint8_t *>(ssh_xcalloc(0, 0)));
  EXPECT_EQ(*cleared, 0);
  const SshBlock copy(static_cast<uint8_t *>(ssh_xmemdup(largest.get(), SSH_XMALLOC_MAX)));
  EXPECT_EQ(copy.get()[SSH_XMALLOC_MAX - 1], 1);
  EXPECT_EQ(copy.get()[SSH_XMALLOC_MAX], 0) << "the limit is that of what is copied";
  ssh_xfree(nullptr, "tag");
  EXPECT_EQ(ssh_mem_blocks(), before + 4);
}

void fail_again() { ssh_fatal("second."); }

// What a handler does that fails itself: the process ends, and nobody is told a second time.
TEST(Fatal, ASecondErrorEndsTheProcessAtOnceThreads) {
  void (*const kRows[])() = {
      fail_again,
      [] { std::thread(fail_again).join(); },
      [] { std::exit((std::atexit(fail_again), 7)); },
  };
  for (const auto row : kRows) {
    const auto handler = [](void *context, const char *message) {
      std::fputs(message, stderr);
      std::fflush(stderr);  // the process ends without, on Windows
      (*static_cast<void (*const *)()>(context))();
    };
    EXPECT_EXIT(
        (ssh_fatal_register(handler, nullptr, const_cast<void (**)()>(&row)), ssh_fatal("first.")),
        testing::ExitedWithCode(1), testing::Eq("first."));
  }
}

TEST(Fatal, MessagesGoToStandardOutputAndAreCut) {
  testing::internal::CaptureStdout();
  ssh_warning("[%s] %ld", "text", 5L);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "[text] 5\n");
  std::string heard;
  const auto hear = [](void *context, const char *message) {
    *static_cast<std::string *>(context) += message;
  };
  ssh_fatal_register(nullptr, hear, &heard);
  ssh_warning("%s", std::string(600, 'w').c_str());
  ssh_fatal_register(nullptr, nullptr, nullptr);
  EXPECT_EQ(heard, std::string(511, 'w'));
}

TEST(Pool, LendsRoomAndTakesBackWhatIsLeft) {
  const int64_t before = ssh_mem_blocks();
  SshPool lender;
  lender.reserve(16000);
  for (int i = 0; i < 90; ++i) {
    SshPool refused, kept;
    refused.borrow(&lender);
    refused.reserve(6000);
    (void)refused.alloc(5000, 1);
    refused.release();
    kept.borrow(&lender);
    kept.reserve(900);
    std::memset(kept.alloc(100, 1), 0xA5, 100);
    kept.settle();
    EXPECT_EQ(kept.held(), 0u);
    if (i == 45) std::memset(kept.alloc(100, 1), 0xA5, 100);  // from its own block
    (void)lender.alloc(1, 1);
  }
  EXPECT_EQ(ssh_mem_blocks(), before + 1);
  lender.release();
  EXPECT_EQ(ssh_mem_blocks(), before);
}

TEST(Pool, StaysBelowItsLimitAndNeverFails) {
  constexpr size_t kMost = 100000, kSpill = ssh_mem_heap_size(SSH_POOL_SPILL + 16);
  for (const size_t piece : {size_t{1}, size_t{72}, size_t{5000}, SSH_POOL_SPILL}) {
    SshPool pool;
    uint64_t work = 7;
    pool.reserve(3000);
    pool.limit(kMost, &work);
    const auto take = [&] { std::memset(pool.alloc(piece, 8), 0xA5, piece); };
    size_t taken = 0;
    while (work > 0) {
      EXPECT_LE(pool.held(), kMost) << piece;
      EXPECT_FALSE(pool.fits(kMost));
      taken += piece;
      take();
    }
    EXPECT_GE(taken + 3 * piece, kMost / (piece < 8 ? 8 : 1) * 9 / 10) << piece;
    for (int i = 0; i < 50000; ++i) take();
    EXPECT_LE(pool.held(), kMost + kSpill) << piece;
    EXPECT_FALSE(pool.fits(1));
    pool.limit(0, nullptr);
    EXPECT_TRUE(pool.fits(kMost));
    std::memset(pool.alloc(kMost, 1), 0xA5, kMost);
  }
}

}  // namespace
