// The pending table against a plain map, with identifiers from all over their range: those that
// share leaves, those that share branches, and those that share nothing.
#include "api/pending.h"

#include <gmock/gmock.h>

#include <map>
#include <random>

#include "support/fatal.h"
#include "support/samples.h"

namespace {

using ApiPendingTest = sample::Balanced;

// context makes a pointer that tells one request from another.
void *context(uint32_t number) { return reinterpret_cast<void *>(uintptr_t{number}); }

TEST_F(ApiPendingTest, BehavesLikeAMap) {
  std::mt19937 random(1);
  std::map<uint32_t, uint32_t> model;
  const auto check_take = [&](uint32_t id) {
    PendingRequest taken;
    const auto found = model.find(id);
    const bool held = found != model.end();
    ASSERT_EQ(pending_take(id, &taken), held) << id;
    EXPECT_EQ(taken.context, held ? context(found->second) : nullptr);
    EXPECT_EQ(taken.form, held ? KWPKI_FORM_DATA : KWPKI_FORM_NONE);
    if (held) model.erase(found);
  };
  for (uint32_t step = 1; step <= 20000; ++step) {
    const auto id =
        static_cast<uint32_t>(random() % 4 * 0x3FFFFFFF + random() % 3 * 0x1000 + random() % 200);
    if (random() % 2) {
      pending_add(id, {nullptr, context(step), KWPKI_FORM_DATA});
      model.emplace(id, step);  // what is pending already stays
    } else {
      check_take(id);
    }
  }
  EXPECT_GT(model.size(), 100u);
  while (!model.empty()) check_take(model.begin()->first);
}

// Whichever of its nodes there is no memory for: what runs at the end finds the table as it was.
TEST_F(ApiPendingTest, RunningOutOfMemoryHoldsNoLock) {
  const auto take_at_exit = [] {
    PendingRequest taken;
    std::fputs(pending_take(1, &taken) && !pending_take(1u << 30, &taken) ? " taken" : " lost",
               stderr);
  };
  for (const uint64_t node : {1u, 2u, 5u}) {
    EXPECT_EXIT(
        {
          fatal_to_stderr();
          pending_add(1, {nullptr, nullptr, KWPKI_FORM_DATA});
          std::atexit(take_at_exit);
          ssh_mem_fail_at(node);
          pending_add(1u << 30, {nullptr, nullptr, KWPKI_FORM_DATA});
        },
        testing::ExitedWithCode(1), testing::ContainsRegex("out of memory .* taken"));
  }
}

}  // namespace
