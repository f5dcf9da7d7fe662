// kwpki.hpp: who owns what, above all what a callback holds.
#include <gmock/gmock.h>

#include <kwpki.hpp>
#include <optional>

#include "api/host.h"

namespace {

using ApiCppTest = sample::Balanced;
using testing::ElementsAre;

// What a callback holds is freed when its reply came, or when it could not be posted; a reply that
// comes all the same finds nobody.
TEST_F(ApiCppTest, StateOfACallbackIsFreedOnce) {
  const Der one = wire::list(1, {wire::element(sample::CertParts().build())});
  const struct {
    const char *why;
    uint32_t agent_says;
    int replies, calls;
    bool posted;
  } rows[] = {
      {"answered twice", 0x4000000, 2, 1, true},
      {"not taken, and answered all the same", 7, 1, 0, false},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.why);
    host::Agent agent;
    const uint32_t before = host::post(0, nullptr, agent);  // the next identifier is one more
    EXPECT_EQ(host::answer(before, 0), KWPKI_FAILED);
    const kwpki::Search search;
    int calls = 0;
    auto held = std::make_unique<std::shared_ptr<int>>(std::make_shared<int>());
    const std::weak_ptr<int> state = *held;
    host::faults = {.post = row.agent_says};
    const kwpki::Outcome posted = search.post(
        &agent, [held = std::move(held), &calls](uint32_t status, kwpki::CertificateList list) {
          EXPECT_EQ(status, 5u);
          for (const kwpki::CertificateView cert : list) calls += cert.subject() ? 1 : 100;
        });
    host::faults = {};
    EXPECT_EQ(static_cast<bool>(posted), row.posted);
    EXPECT_EQ(posted.error() == kwpki::Error::NotPosted, !row.posted);
    EXPECT_EQ(state.expired(), !row.posted);
    for (int i = 0; i < row.replies; ++i) {
      const bool first = host::answer(before + 1, 2, one, 5) == KWPKI_OK;
      EXPECT_EQ(first, i == 0);
    }
    EXPECT_TRUE(state.expired());
    EXPECT_EQ(calls, row.calls);
  }
}

// Each form of callback, as something that holds state; a function is called without any. A callback
// may make requests.
TEST_F(ApiCppTest, FormsOfCallbacks) {
  host::Agent agent;
  std::vector<std::string> seen;
  const auto answer = [&](uint32_t type, const Der &payload) {
    EXPECT_EQ(host::answer(host::id(agent.last()), type, payload), KWPKI_OK);
  };
  EXPECT_TRUE(kwpki::post_ca_names(&agent, [&](uint32_t, kwpki::Names names) {
    for (const std::string_view name : names) seen.emplace_back(name);
    EXPECT_TRUE(kwpki::post_status(&agent, [&](uint32_t, kwpki::Block block) {
      seen.emplace_back(block.begin(), block.end());
    }));
  }));
  answer(4, der::join({wire::u32(2), wire::str("one"), wire::str("")}));
  answer(6, unhex("7570"));
  EXPECT_THAT(seen, ElementsAre("one", "", "up"));

  static uint32_t plain = 0;
  const auto add = [](uint32_t status) { plain += status; };
  EXPECT_TRUE(kwpki::post_request(std::string("req"), {}, nullptr, &agent, add));
  answer(5, {});
  EXPECT_TRUE(kwpki::post_remove_request({{"a", nullptr}}, &agent, add));
  EXPECT_EQ(host::answer(host::id(agent.last()), 7, {}, 3), KWPKI_OK);
  EXPECT_EQ(plain, 3u);
}

// What was moved from is as a null handle; what a Result holds outlives it.
TEST_F(ApiCppTest, HandlesMove) {
  const Der der = sample::CertParts().build();
  auto result = kwpki::Certificate::from_ber(der);
  kwpki::Certificate first = *std::move(result);
  const kwpki::Certificate second = std::move(first);
  EXPECT_EQ(first.subject().error(), kwpki::Error::Failed);  // NOLINT: that is the question
  EXPECT_EQ(hex(Bytes(second.ber()->begin(), second.ber()->size())), hex(der));
  EXPECT_THROW((void)kwpki::Certificate::from_ber(kwpki::Bytes()).value(), std::system_error);

  kwpki::Search search, other = std::move(search);
  search = std::move(other);
  kwpki::SearchKey keys;
  EXPECT_TRUE(keys.add_dns(std::string_view()));  // empty, and not the text from there on
  EXPECT_TRUE(keys.add_ip(std::vector<uint8_t>{192, 0, 2, 1}));
  EXPECT_TRUE(search.set_keys(keys));
  EXPECT_EQ(other.set_keys(keys).error(), kwpki::Error::Failed);                    // NOLINT
  EXPECT_EQ(other.post(nullptr, [](auto...) {}).error(), kwpki::Error::NotPosted);  // NOLINT
  EXPECT_EQ(kwpki::make_error_code(3).message(), "status 3 of the management agent");
}

}  // namespace
