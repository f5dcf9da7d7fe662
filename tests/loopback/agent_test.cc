// The host as the library meets it: the six functions and the pump, stores in files, several at
// once.
#include <signal.h>

#include "api/envelope.h"
#include "loopback/host.h"
#include "loopback/kwloopback.h"
#include "loopback/service.h"
#include "support/child.h"
#include "support/folder.h"
#include "support/locked.h"
#include "support/samples.h"
#include "support/wire.h"

namespace {

using testing::HasSubstr;

class AgentTest : public sample::Balanced {
 protected:
  [[nodiscard]] std::string path(const std::string &name = "store.db") const {
    return folder_.at(name);
  }
  const Folder folder_;
};

KwLoopbackAgent *open(const std::string &path) {
  KwLoopbackAgent *agent = nullptr;
  const char *fault = KwLoopbackOpen(path.empty() ? nullptr : path.c_str(), &agent);
  EXPECT_EQ(fault, nullptr) << fault;
  return agent;
}

uint32_t post(void *agent, const Der &body) {
  void *policy = nullptr, *message = KWMACreateMessage(KW_MESSAGE_KIND);
  EXPECT_EQ(ZrpCreatePolicyOID("1.2.3", &policy), KW_HOST_OK);
  EXPECT_EQ(KWMASetMessageData(message, body.data(), static_cast<uint32_t>(body.size())),
            KW_HOST_OK);
  const uint32_t status = KWMAPostMessage(agent, policy, message, 2000);
  EXPECT_EQ(KWMADeleteMessage(message), KW_HOST_OK);
  EXPECT_EQ(ZrpClose(policy), KW_HOST_OK);
  return status;
}

// receive gives a reply, or nothing.
Der receive(KwLoopbackAgent *agent) {
  uint8_t *data = nullptr;
  uint32_t length = 0;
  if (KwLoopbackReceive(agent, &data, &length) == 0) return {};
  const Der reply(data, data + length);
  KwLoopbackFree(data, length);
  return reply;
}

Der ask(KwLoopbackAgent *agent, const Der &body) {
  EXPECT_EQ(post(agent, body), KW_HOST_OK);
  return receive(agent);
}
uint32_t status(KwLoopbackAgent *agent, const Der &body) {
  return wire::number(ask(agent, body), wire::kStatus);
}

// add_of asks to add a certificate that no other number has.
Der add_of(uint32_t number) {
  sample::CertParts parts;
  parts.serial = der::integer(number);
  return wire::request(number, 0, der::join({wire::u32(0), wire::str(Bytes(parts.build()))}));
}

Der search(const wire::Ask &what = {}) {
  return wire::request(1, 2, der::join({what.build(), wire::validity()}));
}
// held counts what the store holds.
uint32_t held(KwLoopbackAgent *agent) { return ssh_load_be32(ask(agent, search()).data() + 24); }

TEST_F(AgentTest, FailuresOfTheHostFunctions) {
  KwLoopbackAgent *agent = open(""), *closed = open("");
  KwLoopbackClose(closed);
  void *policy = nullptr, *message = KWMACreateMessage(KW_MESSAGE_KIND);
  ASSERT_EQ(ZrpCreatePolicyOID("1.2.3", &policy), KW_HOST_OK);
  EXPECT_EQ(KWMACreateMessage(KW_MESSAGE_KIND + 1), nullptr);
  EXPECT_EQ(KWMAPostMessage(agent, policy, message, 0), KW_HOST_BAD_ARGUMENT) << "no data yet";
  static_assert(KW_MESSAGE_MAX == KWPKI_PAYLOAD_MAX + 24, "the library's longest request");
  const Der longest(KW_MESSAGE_MAX + 1);
  EXPECT_EQ(KWMASetMessageData(message, longest.data(), KW_MESSAGE_MAX + 1), KW_HOST_TOO_LARGE);
  EXPECT_EQ(KWMASetMessageData(message, longest.data(), KW_MESSAGE_MAX), KW_HOST_OK);
  const uint32_t bad[] = {ZrpCreatePolicyOID(nullptr, &policy),
                          KWMASetMessageData(message, nullptr, 1),
                          KWMASetMessageData(nullptr, "", 0),
                          KWMAPostMessage(agent, nullptr, message, 0),
                          KWMAPostMessage(agent, policy, nullptr, 0),
                          KWMADeleteMessage(nullptr),
                          ZrpClose(nullptr)};
  EXPECT_THAT(bad, testing::Each(KW_HOST_BAD_ARGUMENT));
  for (void *none : {static_cast<void *>(nullptr), static_cast<void *>(closed), message}) {
    EXPECT_EQ(KWMAPostMessage(none, policy, message, 0), KW_HOST_NO_AGENT);
  }
  EXPECT_EQ(receive(closed), Der());
  (void)KWMADeleteMessage(message);
  (void)ZrpClose(policy);
  KwLoopbackClose(agent);
}

void execute(const std::string &path, const char *statement) {
  sqlite3 *handle = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &handle), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(handle, statement, nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(handle);
}

TEST_F(AgentTest, TellsWhyAStoreCannotBeUsed) {
  folder_.add("text", std::string(5000, 'x'));
  execute(path("foreign"), "CREATE TABLE t (x)");
  KwLoopbackClose(open(path("newer")));
  execute(path("newer"), "PRAGMA user_version = 2");
  const std::pair<const char *, const char *> kRows[] = {{"text", "not a certificate store"},
                                                         {"foreign", "another program"},
                                                         {"newer", "newer version 2"},
                                                         {"no/such", "unable to open"}};
  for (const auto &[name, why] : kRows) {
    KwLoopbackAgent *agent = nullptr;
    const char *fault = KwLoopbackOpen(path(name).c_str(), &agent);
    ASSERT_TRUE(fault) << name;
    EXPECT_THAT(fault, testing::AllOf(HasSubstr(why), HasSubstr(path(name))));
    EXPECT_EQ(agent, nullptr);
  }
}

TEST_F(AgentTest, AFailingStoreIsAStatus) {
  KwLoopbackAgent *agent = open(path());
  execute(path(), "DROP TABLE search_key; DROP TABLE crl");
  for (const Der &body : {add_of(1), wire::request(1, 6), search({.keys = {wire::key(5, {})}})}) {
    EXPECT_EQ(status(agent, body), loopback::kStoreFailed);
  }
  EXPECT_EQ(held(agent), 0u) << "the add that failed left something behind";
  // What a store brings along neither looks about the process nor can be told to change itself.
  execute(path(), "CREATE VIEW crl AS SELECT file AS der FROM pragma_database_list");
  EXPECT_EQ(status(agent, wire::request(1, 6)), loopback::kStoreFailed);
  KwLoopbackClose(agent);
  loopback::Database database(path().c_str(), "", 1);
  EXPECT_THROW(database.run("PRAGMA writable_schema = ON; DELETE FROM sqlite_schema"),
               loopback::StoreError);
}

// A store that may only be read is read without locks. What its owner does meanwhile is noticed.
TEST_F(AgentTest, WhatMayOnlyBeReadIsReadAsItIs) {
  const std::string file = folder_.add("50% of #1?/store.db", "");
  const auto add = [&](uint32_t number) {
    KwLoopbackAgent *owner = open(file);
    EXPECT_EQ(status(owner, add_of(number)), loopback::kOk);
    KwLoopbackClose(owner);
  };
  KwLoopbackAgent *reader = nullptr;
  std::optional<loopback::Database> database;
  add(1);
  {
    const Locked locked(file);
    if (!locked.holds()) GTEST_SKIP() << "everybody may write here";
    reader = open(file);
    EXPECT_EQ(held(reader), 1u);
  }
  add(2);
  {
    const Locked locked(file);
    EXPECT_EQ(held(reader), 2u);
    EXPECT_EQ(status(reader, add_of(2)), loopback::kStoreReadOnly);
    database.emplace(file.c_str(), "", 1);
  }
  KwLoopbackClose(reader);

  loopback::Transaction read(*database, loopback::Transaction::kRead);
  std::filesystem::last_write_time(file, std::filesystem::file_time_type());
  EXPECT_THROW(read.commit(), loopback::StoreError);

  (void)folder_.add("50% of #1?/store.db-wal", "what was not taken in yet");
  const Locked locked(file);
  KwLoopbackAgent *none = nullptr;
  EXPECT_THAT(KwLoopbackOpen(file.c_str(), &none), HasSubstr("it was left open"));
}

TEST_F(AgentTest, WhatWasConfirmedSurvivesAKill) {
  const Ended child = in_child([this] {
    KwLoopbackAgent *agent = open(path());
    for (const uint32_t number : {1u, 2u}) EXPECT_EQ(status(agent, add_of(number)), loopback::kOk);
    (void)raise(SIGKILL);
  });
  EXPECT_EQ(child.status, 256 + SIGKILL);
  KwLoopbackAgent *agent = open(path());
  EXPECT_EQ(status(agent, add_of(3)), loopback::kOk);
  EXPECT_EQ(held(agent), 3u);
  KwLoopbackClose(agent);
}

}  // namespace
