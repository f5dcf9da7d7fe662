// Callbacks and functions of the host that do not return, against convention 9: the library goes on
// working, and what is lost is what it says.
#include <csetjmp>

#include "api/host.h"
#include "support/child.h"

namespace {

using host::Agent;
using host::Calls;

enum Way { kJump, kThrow };
Way way = kJump;
std::jmp_buf outside;

[[noreturn]] void leave() {
  if (way == kThrow) throw 1;
  std::longjmp(outside, 1);
}

// left calls something and tells whether it was left without returning.
template <class What>
bool left(const What &what) {
  if (way == kJump && setjmp(outside) != 0) return true;
  try {
    what();
  } catch (int) {
    return true;
  }
  return false;
}

void KWPKI_CALL on_status(void *, uint32_t) { leave(); }
void KWPKI_CALL on_list(void *, uint32_t, KwPkiCertList list) {
  (void)KwPkiCertListFree(list);
  leave();
}
void KWPKI_CALL on_names(void *, uint32_t, const char *const *, const uint32_t *, uint32_t) {
  leave();
}
void KWPKI_CALL on_data(void *, uint32_t, uint8_t *data, uint32_t) {
  (void)KwPkiStringFree(data);
  leave();
}

// In a child that looks for no leaks, as there are some. It must say nothing.
template <class What>
void expect_in_child(const What &what) {
  for (const Way each : {kJump, kThrow}) {
    const Ended ended = in_child([&] {
      way = each;
      what();
      std::fflush(stdout);
      std::_Exit(testing::Test::HasFailure());
    });
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.out, "");
  }
}

Agent agent;

TEST(ApiLeavingTest, OutOfACallback) {
  constexpr struct {
    uint32_t type;
    KwPkiStatus (*ask)();
    int64_t lost;
  } rows[] = {
      {1, [] { return KwPkiCrlAddAsync(client::Crl(), on_status, nullptr, &agent); }, 0},
      {2, [] { return KwPkiSearchAsync(host::Search(), nullptr, on_list, nullptr, &agent); }, 0},
      {6, [] { return KwPkiStatusAsync(on_data, nullptr, &agent); }, 0},
      // The names, their lengths and the texts.
      {4, [] { return KwPkiCaNamesAsync(on_names, nullptr, &agent); }, 3},
  };
  expect_in_child([&] {
    static Calls calls;
    for (const auto &row : rows) {
      const int64_t blocks = ssh_mem_blocks();
      EXPECT_EQ(row.ask(), KWPKI_OK);
      const Der reply = wire::envelope(host::id(agent.last()), row.type, 0,
                                       row.type == 4 ? unhex("0000000100000000") : Der(16));
      EXPECT_TRUE(left([&] { (void)host::process(reply); })) << row.type;
      EXPECT_EQ(ssh_mem_blocks() - blocks, row.lost) << row.type;
      EXPECT_EQ(host::process(reply), KWPKI_FAILED) << row.type << " is over";
      EXPECT_EQ(host::answer(host::post(6, &calls, agent), 6), KWPKI_OK);
    }
    EXPECT_EQ(calls.count, 4);
  });
}

TEST(ApiLeavingTest, OutOfTheHost) {
  expect_in_child([] {
    static Calls calls;
    uint32_t id = host::post(4, nullptr, agent);
    for (const char *call : {"policy", "create", "set", "post", "close", "delete"}) {
      const int64_t blocks = ssh_mem_blocks();
      host::faults.leave_at = call;
      host::faults.leave = leave;
      EXPECT_TRUE(left([] { (void)KwPkiStatusAsync(Calls::on_data, &calls, &agent); })) << call;
      host::faults = {};
      EXPECT_EQ(host::answer(++id, 6), KWPKI_OK) << call << ": the request stays remembered";
      EXPECT_EQ(ssh_mem_blocks() - blocks, 1) << call << ": the message";
    }
    EXPECT_EQ(calls.count, 6);
  });
}

}  // namespace
