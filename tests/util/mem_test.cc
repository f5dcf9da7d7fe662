#include "util/mem.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "support/fatal.h"
#include "util/owner.h"
#include "util/pool.h"

namespace {

TEST(Mem, FatalTexts) {
  const struct {
    const char *why;
    std::function<void()> call;
    std::string text;
  } rows[] = {
      {"malloc above the limit", [] { (void)ssh_xmalloc(0x6400001); },
       "ssh_xmalloc: allocation too large (allocating 104857601 bytes)"},
      {"malloc, heap refuses", [] { ssh_mem_fail_at(1), (void)ssh_xmalloc(0, "tag"); },
       "ssh_xmalloc: out of memory (allocating 1 bytes)"},
      {"calloc above the limit names size first", [] { (void)ssh_xcalloc(2, 0x3200001); },
       "ssh_xcalloc: allocation too large (allocating 52428801*2 bytes)"},
      {"calloc, heap refuses, names count first",
       [] { ssh_mem_fail_at(1), (void)ssh_xcalloc(2, 3); },
       "ssh_xcalloc: out of memory (allocating 2*3 bytes)"},
      {"calloc of a product that is 2^32", [] { (void)ssh_xcalloc(0x10000, 0x10000); },
       "ssh_xcalloc: out of memory (allocating 65536*65536 bytes)"},
      {"calloc of a product just above 2^32", [] { (void)ssh_xcalloc(3, 0x55555556); },
       "ssh_xcalloc: out of memory (allocating 3*1431655766 bytes)"},
      {"realloc above the limit", [] { (void)ssh_xrealloc(ssh_xmalloc(1), 0x6400001, "tag"); },
       "ssh_xrealloc: allocation too large (allocating 104857601 bytes)"},
      {"realloc of nothing is malloc", [] { (void)ssh_xrealloc(nullptr, 0x6400001); },
       "ssh_xmalloc: allocation too large (allocating 104857601 bytes)"},
      {"realloc, heap refuses", [] { ssh_mem_fail_at(2), (void)ssh_xrealloc(ssh_xmalloc(9), 0); },
       "ssh_xrealloc: out of memory (new_size 1 bytes)"},
      {"memdup above the limit", [] { (void)ssh_xmemdup("", 0x6400001); },
       "ssh_xmemdup: allocation too large (allocating 104857601 bytes)"},
      {"memdup, heap refuses, asked for its terminator too",
       [] { ssh_mem_fail_at(1), (void)ssh_xmemdup("four", 4); },
       "ssh_xmalloc: out of memory (allocating 5 bytes)"},
      {"strdup, heap refuses", [] { ssh_mem_fail_at(1), (void)ssh_xstrdup("four"); },
       "ssh_xmalloc: out of memory (allocating 5 bytes)"},
      {"pool beyond the limit", [] { SshPool().reserve(SIZE_MAX); },
       "ssh_xmalloc: allocation too large (allocating " +
           std::to_string(0x6400000 + 2 * sizeof(void *)) + " bytes)"},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.why);
    EXPECT_FATAL(row.call(), row.text);
  }
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
  EXPECT_EQ(ssh_mem_blocks(), before + 3);
  ssh_xfree(nullptr, "tag");
  EXPECT_EQ(ssh_mem_blocks(), before + 3);
}

TEST(Mem, CopiesAreWholeAndTerminated) {
  for (const std::string text : {"", "x", "copied text"}) {
    const SshText text_copy(ssh_xstrdup(text.c_str()));
    EXPECT_EQ(text, text_copy.get());
    const SshBlock block(static_cast<uint8_t *>(ssh_xmemdup(text.data(), text.size())));
    EXPECT_TRUE(std::equal(text.begin(), text.end(), block.get()));
    EXPECT_EQ(block.get()[text.size()], 0);
  }
  std::vector<uint8_t> secret(100, 0x5A);
  ssh_wipe(secret.data() + 1, 98);
  EXPECT_EQ(std::accumulate(secret.begin(), secret.end(), 0), 2 * 0x5A);
}

// The n-th request from the call on fails, none before it and none after it.
TEST(Mem, FailAtIsExact) {
  for (uint64_t n = 1; n <= 4; ++n) {
    const auto requests = [n] {
      ssh_mem_fail_at(n);
      for (size_t size = 1; size <= 3; ++size) ssh_xfree(ssh_xmalloc(size));
    };
    if (n > 3) {
      requests();
      continue;
    }
    EXPECT_FATAL(requests(),
                 "ssh_xmalloc: out of memory (allocating " + std::to_string(n) + " bytes)");
  }
  ssh_mem_fail_at(0);
  ssh_xfree(ssh_xmalloc(1));
}

TEST(Fatal, PrintsToStandardOutputAndExits) {
  EXPECT_EXIT(
      {
        testing::internal::CaptureStdout();
        std::atexit([] { std::fputs(testing::internal::GetCapturedStdout().c_str(), stderr); });
        ssh_fatal("a %s and %d", "text", 7);
      },
      testing::ExitedWithCode(1), testing::Eq("a text and 7\n"));
}

TEST(Fatal, WarningReturnsAndIsCut) {
  const char *volatile nothing = nullptr;
  testing::internal::CaptureStdout();
  ssh_warning("[%s] %ld", nothing, 5L);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "[(null)] 5\n");

  std::string heard;
  const auto hear = [](void *context, const char *message) {
    *static_cast<std::string *>(context) += message;
  };
  ssh_fatal_register(nullptr, hear, &heard);
  ssh_warning("%s", std::string(600, 'w').c_str());
  ssh_fatal_register(nullptr, nullptr, nullptr);
  EXPECT_EQ(heard, std::string(511, 'w'));
}

TEST(Pool, OneBlockWhenReservedAndFewOtherwise) {
  const int64_t before = ssh_mem_blocks();
  SshPool pool;
  EXPECT_TRUE(pool.copy({}).empty());
  pool.reserve(1000);
  for (int i = 0; i < 100; ++i) (void)pool.alloc(10, 1);
  EXPECT_EQ(ssh_mem_blocks(), before + 1) << "1000 reserved octets in one block";
  for (int i = 0; i < 100000; ++i) (void)pool.alloc(10, 1);
  EXPECT_LE(ssh_mem_blocks(), before + 12) << "growth by doubling";
  pool.rewind();
  EXPECT_EQ(ssh_mem_blocks(), before + 1);
  pool.reserve(400000);
  EXPECT_EQ(ssh_mem_blocks(), before + 1) << "the newest block is the largest and is used again";
  pool.release();
  EXPECT_EQ(ssh_mem_blocks(), before);
}

TEST(Pool, PiecesAreAlignedAndApart) {
  SshPool pool;
  struct Piece {
    uint8_t *at;
    size_t size;
    uint8_t fill;
  };
  std::vector<Piece> pieces;
  for (size_t i = 0; i < 2000; ++i) {
    const size_t size = i * 7919 % 97 + (i % 500 == 0 ? 5000 : 0), alignment = size_t{1} << i % 4;
    auto *at = static_cast<uint8_t *>(pool.alloc(size, alignment));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(at) % alignment, 0U);
    std::fill_n(at, size, static_cast<uint8_t>(i));
    pieces.push_back({at, size, static_cast<uint8_t>(i)});
  }
  for (const Piece &piece : pieces) {
    EXPECT_EQ(std::count(piece.at, piece.at + piece.size, piece.fill),
              static_cast<std::ptrdiff_t>(piece.size));
  }
  const auto *made = pool.make<std::pair<int, const char *>>(4, "four");
  EXPECT_EQ(made->first, 4);
  EXPECT_EQ(ssh_bytes_text(pool.copy(ssh_text_bytes("copy"))), "copy");
}

}  // namespace
