// Callbacks and functions of the host that do not return, against convention 10: the library goes on
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

Agent somebody;

TEST(ApiLeavingTest, OutOfACallback) {
  expect_in_child([] {
    static Calls calls, others;
    calls.then = leave;
    for (const uint32_t type : {1u, 2u, 6u, 4u}) {
      const int64_t blocks = ssh_mem_blocks(), lost = type == 4 ? 3 : 0;  // names, lengths, texts
      const Der reply = wire::envelope(host::post(type, &calls, somebody), type, 0,
                                       type == 4 ? unhex("0000000100000000") : Der(16));
      EXPECT_TRUE(left([&] { (void)host::process(reply); })) << type;
      EXPECT_EQ(KwPkiCertListFree(std::exchange(calls.list, nullptr)), KWPKI_OK);
      EXPECT_EQ(ssh_mem_blocks() - blocks, lost) << type;
      EXPECT_EQ(host::process(reply), KWPKI_FAILED) << type << " is over";
      EXPECT_EQ(host::answer(host::post(6, &others, somebody), 6), KWPKI_OK);
    }
    EXPECT_EQ(others.count, 4);
  });
}

TEST(ApiLeavingTest, OutOfTheHost) {
  expect_in_child([] {
    static Calls calls;
    uint32_t id = host::post(4, nullptr, somebody);
    for (const char *call : {"policy", "create", "set", "post", "close", "delete"}) {
      const int64_t blocks = ssh_mem_blocks();
      host::faults.leave_at = call;
      host::faults.leave = leave;
      EXPECT_TRUE(left([] { (void)KwPkiStatusAsync(Calls::on_data, &calls, &somebody); })) << call;
      host::faults = {};
      EXPECT_EQ(host::answer(++id, 6), KWPKI_OK) << call << ": the request stays remembered";
      EXPECT_EQ(ssh_mem_blocks() - blocks, 1) << call << ": the message";
    }
    EXPECT_EQ(calls.count, 6);
  });
}

}  // namespace
