// The pending table against a plain map, with identifiers from all over their range: those that
// share leaves, those that share branches, and those that share nothing.
#include "api/pending.h"

#include <map>
#include <random>

#include "support/samples.h"

namespace {

using ApiPendingTest = sample::Balanced;

// context makes a pointer that tells one request from another.
void *context(uint32_t number) { return reinterpret_cast<void *>(uintptr_t{number}); }

TEST_F(ApiPendingTest, BehavesLikeAMap) {
  std::mt19937 generator(1);
  const auto random = [&] { return static_cast<uint32_t>(generator()); };
  std::map<uint32_t, uint32_t> model;
  const auto identifier = [&] {
    const uint32_t base = random() % 4 * 0x3FFFFFFF + random() % 3 * 0x1000;
    return base + random() % 200;
  };
  for (uint32_t step = 1; step <= 20000; ++step) {
    const uint32_t id = identifier();
    if (random() % 2) {
      pending_add(id, {nullptr, context(step), KWPKI_FORM_DATA});
      model.emplace(id, step);  // what is pending already stays
      continue;
    }
    PendingRequest taken = {nullptr, context(0), KWPKI_FORM_NONE};
    const auto found = model.find(id);
    ASSERT_EQ(pending_take(id, &taken), found != model.end()) << id;
    EXPECT_EQ(taken.context, context(found == model.end() ? 0 : found->second));
    EXPECT_EQ(taken.form, found == model.end() ? KWPKI_FORM_NONE : KWPKI_FORM_DATA);
    if (found != model.end()) model.erase(found);
  }
  EXPECT_GT(model.size(), 100u);
  for (const auto &[id, step] : model) {
    PendingRequest taken;
    ASSERT_TRUE(pending_take(id, &taken));
    EXPECT_EQ(taken.context, context(step));
  }
}

}  // namespace
