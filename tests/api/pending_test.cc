// The pending table against a plain map, with identifiers from all over their range: those that
// share leaves, those that share branches, and those that share nothing.
#include "api/pending.h"

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
    const auto found = model.extract(id);
    ASSERT_EQ(pending_take(id, &taken), !found.empty()) << id;
    EXPECT_EQ(taken.context, found ? context(found.mapped()) : nullptr);
    EXPECT_EQ(taken.form, found ? KWPKI_FORM_DATA : KWPKI_FORM_NONE);
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
  const int64_t blocks = ssh_mem_blocks();
  for (uint32_t id = 0; id < 10000; ++id) {
    pending_add(id, {nullptr, context(id), KWPKI_FORM_DATA});
    model.emplace(id, id);
  }
  EXPECT_LT(ssh_mem_blocks() - blocks, 200) << "what nobody answers costs a slot each";
  while (!model.empty()) check_take(model.begin()->first);
}

}  // namespace
