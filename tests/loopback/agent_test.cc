// The host as the library meets it: the six functions and the pump, stores in files, several at
// once.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <set>
#include <thread>

#include "api/envelope.h"
#include "loopback/host.h"
#include "loopback/kwloopback.h"
#include "support/folder.h"
#include "support/locked.h"
#include "support/samples.h"
#include "support/service_client.h"

namespace {

using client::Reply;
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

Reply receive(KwLoopbackAgent *agent) {
  uint8_t *data = nullptr;
  uint32_t length = 0;
  if (KwLoopbackReceive(agent, &data, &length) == 0) return {};
  const Reply reply(Bytes(data, length));
  KwLoopbackFree(data, length);
  return reply;
}

Reply ask(KwLoopbackAgent *agent, const Der &body) {
  EXPECT_EQ(post(agent, body), KW_HOST_OK);
  return receive(agent);
}

Der numbered(uint32_t number) {
  sample::CertParts parts;
  parts.serial = der::integer(number);
  parts.subject = der::common_name("Number " + std::to_string(number));
  return parts.build();
}

// serials lists the numbers of what the store holds.
std::vector<std::string> serials(KwLoopbackAgent *agent) {
  std::vector<std::string> all;
  for (const auto &found : client::List(ask(agent, client::search_request(1, {})).payload).found) {
    all.push_back(sample::decimal(sample::Cert(found.certificate)->serial));
  }
  return all;
}

TEST_F(AgentTest, FailuresOfTheHostFunctions) {
  KwLoopbackAgent *agent = open(""), *closed = open("");
  KwLoopbackClose(closed);
  void *policy = nullptr, *message = KWMACreateMessage(KW_MESSAGE_KIND);
  ASSERT_EQ(ZrpCreatePolicyOID("1.2.3", &policy), KW_HOST_OK);
  EXPECT_EQ(KWMACreateMessage(KW_MESSAGE_KIND + 1), nullptr);
  EXPECT_EQ(KWMAPostMessage(agent, policy, message, 0), KW_HOST_BAD_ARGUMENT) << "no data yet";
  EXPECT_EQ(KWMASetMessageData(message, "octets", 6), KW_HOST_OK);
  const uint32_t bad[] = {
      ZrpCreatePolicyOID(nullptr, &policy),
      KWMASetMessageData(message, nullptr, 1),
      KWMASetMessageData(nullptr, "", 0),
      KWMAPostMessage(agent, nullptr, message, 0),
      KWMAPostMessage(agent, policy, nullptr, 0),
      KWMADeleteMessage(nullptr),
      ZrpClose(nullptr),
  };
  EXPECT_THAT(bad, testing::Each(KW_HOST_BAD_ARGUMENT));
  EXPECT_EQ(KWMASetMessageData(message, "", KW_MESSAGE_MAX + 1), KW_HOST_TOO_LARGE);
  for (void *none : {static_cast<void *>(nullptr), static_cast<void *>(closed), message}) {
    EXPECT_EQ(KWMAPostMessage(none, policy, message, 0), KW_HOST_NO_AGENT);
  }
  EXPECT_FALSE(receive(agent).answered);
  EXPECT_FALSE(receive(closed).answered);
  (void)KWMADeleteMessage(message);
  (void)ZrpClose(policy);
  KwLoopbackClose(agent);
  KwLoopbackClose(nullptr);
}

TEST_F(AgentTest, AnswersInOrderAndNotBeforeItIsAsked) {
  KwLoopbackAgent *agent = open("");
  for (uint32_t id = 1; id <= 3; ++id) {
    EXPECT_EQ(post(agent, client::add_request(id, numbered(id))), KW_HOST_OK);
    EXPECT_EQ(post(agent, Der(19)), KW_HOST_OK);  // nobody to reply to
  }
  EXPECT_EQ(receive(agent).id, 1u);
  EXPECT_EQ(receive(agent).id, 2u);
  EXPECT_EQ(post(agent, client::request(4, 6, {})), KW_HOST_OK);
  EXPECT_EQ(receive(agent).id, 3u);
  EXPECT_EQ(receive(agent).id, 4u);
  EXPECT_FALSE(receive(agent).answered);
  EXPECT_EQ(post(agent, client::request(5, 6, {})), KW_HOST_OK);
  KwLoopbackClose(agent);  // with a request that nobody answered
}

// A certificate request whose payload is as long as the library lets it be.
TEST_F(AgentTest, TakesTheLongestRequest) {
  Der payload(KWPKI_PAYLOAD_MAX);
  ssh_store_be32(payload.data(), KWPKI_PAYLOAD_MAX - 24);  // it and five empty texts
  const Der body = client::request(1, 5, payload);
  EXPECT_EQ(body.size(), KW_MESSAGE_MAX) << "one octet more is refused";
  KwLoopbackAgent *agent = open("");
  const Reply reply = ask(agent, body);
  EXPECT_TRUE(reply.answered && reply.status == loopback::kOk);
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
                                                         {".", "unable to open"},
                                                         {"no/such", "unable to open"}};
  for (const auto &[name, why] : kRows) {
    KwLoopbackAgent *agent = nullptr;
    const char *fault = KwLoopbackOpen(path(name).c_str(), &agent);
    ASSERT_TRUE(fault) << name;
    EXPECT_THAT(fault, testing::AllOf(HasSubstr(why), HasSubstr(path(name))));
    EXPECT_EQ(agent, nullptr);
  }
  EXPECT_TRUE(KwLoopbackOpen("", nullptr));
}

TEST_F(AgentTest, AFailingStoreIsAStatus) {
  KwLoopbackAgent *agent = open(path());
  execute(path(), "DROP TABLE search_key; DROP TABLE crl");
  for (const Der &body : {client::add_request(1, numbered(1)), client::request(1, 6, {}),
                          client::search_request(1, client::Ask{.keys = {{5, {}}}})}) {
    EXPECT_EQ(ask(agent, body).status, loopback::kStoreFailed);
  }
  EXPECT_TRUE(serials(agent).empty());  // the add that failed left nothing behind
  // What a store brings along neither looks about the process nor can be told to change itself.
  execute(path(), "CREATE VIEW crl AS SELECT file AS der FROM pragma_database_list");
  EXPECT_EQ(ask(agent, client::request(1, 6, {})).status, loopback::kStoreFailed);
  KwLoopbackClose(agent);
  loopback::Database database(path().c_str(), "", 1);
  EXPECT_THROW(database.run("PRAGMA writable_schema = ON; DELETE FROM sqlite_schema"),
               loopback::StoreError);
}

// A store that may only be read is read without locks. What its owner does meanwhile is noticed.
TEST_F(AgentTest, WhatMayOnlyBeReadIsReadAsItIs) {
  const std::string file = folder_.add("shared/store.db", "");
  KwLoopbackAgent *owner = open(file), *reader = nullptr;
  EXPECT_EQ(ask(owner, client::add_request(1, numbered(1))).status, loopback::kOk);
  KwLoopbackClose(owner);
  {
    const Locked locked(file);
    if (!locked.holds()) GTEST_SKIP() << "everybody may write here";
    reader = open(file);
    EXPECT_EQ(serials(reader).size(), 1u);
  }
  owner = open(file);
  EXPECT_EQ(ask(owner, client::add_request(1, numbered(2))).status, loopback::kOk);
  KwLoopbackClose(owner);
  {
    const Locked locked(file);
    EXPECT_EQ(serials(reader).size(), 2u);
    EXPECT_EQ(ask(reader, client::add_request(1, numbered(2))).status, loopback::kStoreReadOnly);
  }
  KwLoopbackClose(reader);

  std::optional<loopback::Database> database;
  {
    const Locked locked(file);
    database.emplace(file.c_str(), "", 1);
  }
  loopback::Transaction read(*database, loopback::Transaction::kRead);
  std::filesystem::last_write_time(file, std::filesystem::file_time_type());
  EXPECT_THROW(read.commit(), loopback::StoreError);

  (void)folder_.add("shared/store.db-wal", "what was not taken in yet");
  const Locked locked(file);
  KwLoopbackAgent *none = nullptr;
  EXPECT_THAT(KwLoopbackOpen(file.c_str(), &none), HasSubstr("it was left open"));
}

// add_until_killed tells the number of each certificate after its add was confirmed.
[[noreturn]] void add_until_killed(const std::string &path, int confirmed) {
  KwLoopbackAgent *agent = nullptr;
  if (KwLoopbackOpen(path.c_str(), &agent)) _exit(1);
  for (uint32_t number = 1;; ++number) {
    if (ask(agent, client::add_request(number, numbered(number))).status != 0) _exit(2);
    if (write(confirmed, &number, sizeof number) != sizeof number) _exit(3);
  }
}

TEST_F(AgentTest, WhatWasConfirmedSurvivesAKill) {
  for (uint32_t wanted : {1u, 20u, 333u}) {
    const std::string file = path(std::to_string(wanted));
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) add_until_killed(file, ends[1]);
    close(ends[1]);
    uint32_t last = 0;
    while (last < wanted && read(ends[0], &last, sizeof last) == sizeof last) continue;
    EXPECT_EQ(kill(child, SIGKILL), 0);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status)) << status;
    while (read(ends[0], &last, sizeof last) == sizeof last) continue;
    close(ends[0]);
    EXPECT_GE(last, wanted);

    KwLoopbackAgent *agent = open(file);
    const auto kept = serials(agent);
    EXPECT_GE(kept.size(), last);
    EXPECT_LE(kept.size(), last + 1);
    for (size_t i = 0; i < kept.size(); ++i) EXPECT_EQ(kept[i], std::to_string(i + 1));
    EXPECT_EQ(ask(agent, client::add_request(1, numbered(last + 2))).status, loopback::kOk);
    KwLoopbackClose(agent);
    loopback::Database database(file.c_str(), "", 1);
    loopback::Query check(database, "PRAGMA integrity_check");
    ASSERT_TRUE(check.step());
    EXPECT_EQ(ssh_bytes_text(check.octets(0)), "ok");
  }
}

// Two agents on one file, each used by two threads; all add the same certificates.
TEST_F(AgentTest, AgentsInTwoThreadsShareAFile) {
  constexpr uint32_t kEach = 40;
  KwLoopbackAgent *agents[2] = {};
  std::thread other([&] { agents[1] = open(path()); });  // also made by two at once
  agents[0] = open(path());
  other.join();
  std::vector<std::thread> threads;
  std::atomic<uint32_t> added = 0;
  for (size_t t = 0; t < 4; ++t) {
    threads.emplace_back([&, agent = agents[t % 2]] {
      for (uint32_t i = 1; i <= kEach; ++i) {
        const Reply reply = ask(agent, client::add_request(i, numbered(i)));
        added += reply.answered && reply.status == loopback::kOk;
      }
    });
  }
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(added, 4 * kEach);
  for (KwLoopbackAgent *agent : agents) {
    const auto all = serials(agent);
    EXPECT_EQ(all.size(), kEach);
    EXPECT_EQ(std::set<std::string>(all.begin(), all.end()).size(), kEach);
    KwLoopbackClose(agent);
  }
}

}  // namespace
