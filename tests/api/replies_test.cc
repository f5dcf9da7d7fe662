// Replies of every form: what reaches the callback, what does not, and what is left behind.
#include <gmock/gmock.h>

#include "api/handles.h"
#include "api/host.h"
#include "api/reply_list.h"

namespace {

using host::Agent;
using host::Calls;
using testing::ElementsAre;
using ApiRepliesTest = sample::Balanced;

constexpr char kForms[] = "ssllnsds";  // of the eight types

Der cert_named(std::string_view name) {
  sample::CertParts parts;
  parts.subject = der::common_name(name);
  return parts.build();
}

// subjects walks a list and gives the common names; "-" for an empty certificate.
std::vector<std::string> subjects(KwPkiCertList list) {
  std::vector<std::string> all;
  for (KwPkiCert cert = KwPkiCertListFirst(list); cert; cert = KwPkiCertListNext(list)) {
    const std::string name = client::subject(cert).value;
    all.push_back(name.empty() ? "-" : name.substr(3));
  }
  return all;
}

TEST_F(ApiRepliesTest, OnlyAReplyOfItsFormAnswersARequest) {
  Agent agent;
  for (uint32_t asked = 0; asked < 8; ++asked) {
    for (uint32_t answered = 0; answered < 12; ++answered) {
      Calls calls;
      const uint32_t id = host::post(asked, calls, agent);
      const Der reply = wire::envelope(id, answered, 0xFFFFFFFE, wire::list(0, {}), 77);
      const bool fits = answered < 8 && kForms[asked] == kForms[answered];
      EXPECT_EQ(host::process(reply), fits ? KWPKI_OK : KWPKI_FAILED) << asked << answered;
      EXPECT_EQ(calls.count, fits);
      EXPECT_EQ(calls.status, fits ? 0xFFFFFFFE : 0);
      EXPECT_EQ(host::process(reply), KWPKI_FAILED) << "no request waits any more";
      EXPECT_EQ(calls.count, fits);
    }
  }
}

TEST_F(ApiRepliesTest, ANullCallbackEndsItsRequest) {
  Agent agent;
  const host::Search search;
  const char *names[4] = {};
  const KwPkiBlock block = {};
  const client::Cert cert;
  const client::Crl crl;
  ASSERT_EQ(KwPkiCertAddAsync(cert, nullptr, nullptr, 0, &agent), KWPKI_OK);
  ASSERT_EQ(KwPkiCrlAddAsync(crl, nullptr, nullptr, &agent), KWPKI_OK);
  ASSERT_EQ(KwPkiSearchAsync(search, nullptr, nullptr, nullptr, &agent), KWPKI_OK);
  ASSERT_EQ(KwPkiSearchPathAsync(search, search, nullptr, nullptr, nullptr, &agent), KWPKI_OK);
  ASSERT_EQ(KwPkiCaNamesAsync(nullptr, nullptr, &agent), KWPKI_OK);
  ASSERT_EQ(KwPkiCertRequestAsync(&block, names, nullptr, nullptr, nullptr, &agent), KWPKI_OK);
  ASSERT_EQ(KwPkiStatusAsync(nullptr, nullptr, &agent), KWPKI_OK);
  ASSERT_EQ(KwPkiCertRequestRemoveAsync(names, nullptr, nullptr, &agent), KWPKI_OK);
  for (uint32_t type = 0; type < 8; ++type) {
    const Der reply = wire::envelope(host::id(agent.posted[type]), type, 0, wire::list(0, {}));
    EXPECT_EQ(host::process(reply), KWPKI_FAILED) << type;
  }
}

TEST_F(ApiRepliesTest, Names) {
  const struct {
    const char *why;
    uint32_t status;
    Der payload;
    KwPkiStatus result;
    std::vector<std::string> names;
  } rows[] = {
      {"two",
       0,
       wire::join({wire::u32(2), wire::str("one"), wire::str("two, 2")}),
       0,
       {"one", "two, 2"}},
      {"empty and last",
       0,
       wire::join(
           {wire::u32(3), wire::str(""), wire::str(std::string_view("\0x", 2)), wire::str("")}),
       0,
       {"", std::string("\0x", 2), ""}},
      {"octets behind the last",
       0,
       wire::join({wire::u32(1), wire::str("one"), unhex("ff")}),
       0,
       {"one"}},
      {"none", 0, wire::u32(0), 0, {}},
      {"no count", 0, unhex("000001"), 0, {}},
      {"a failure has no names", 1, wire::join({wire::u32(1), wire::str("one")}), 0, {}},
      {"cut in the second: reading stops there",
       0,
       wire::join({wire::u32(3), wire::str("one"), wire::u32(9), unhex("7478")}),
       0,
       {"one", "", ""}},
      {"a quarter of the octets",
       0,
       wire::join({wire::u32(2), wire::str("a"), unhex("000000")}),
       0,
       {"a", ""}},
      {"more than a quarter",
       0,
       wire::join({wire::u32(2), wire::str("a"), unhex("0000")}),
       KWPKI_FAILED,
       {}},
      {"far more", 0, wire::join({wire::u32(0xFFFFFFFF), wire::str("one")}), KWPKI_FAILED, {}},
      {"more empty ones than an array can be made for",
       0,
       wire::join({wire::u32(0xC80001), Der(0xC80001 * 4)}),
       KWPKI_FAILED,
       {}},
      {"enough to wrap around",
       0,
       wire::join({wire::u32(0x40000000), wire::str("one")}),
       KWPKI_FAILED,
       {}},
  };
  Agent agent;
  for (const auto &row : rows) {
    if (sizeof(void *) == 4 && row.payload.size() > 0x1000000) continue;  // an array can be made
    Calls calls;
    calls.names = {"not called"};
    const uint32_t id = host::post(4, calls, agent);
    EXPECT_EQ(host::process(wire::envelope(id, 4, row.status, row.payload)), row.result) << row.why;
    EXPECT_EQ(calls.count, row.result == 0) << row.why;
    if (row.result != 0) continue;
    EXPECT_EQ(calls.names, row.names) << row.why;
    EXPECT_EQ(calls.arrays, !row.names.empty()) << row.why;
    EXPECT_EQ(calls.status, row.status) << row.why;
  }
}

TEST_F(ApiRepliesTest, Data) {
  Agent agent;
  for (const char *data : {"", "00", "0123456789abcdef"}) {
    Calls calls;
    const uint32_t id = host::post(6, calls, agent);
    EXPECT_EQ(host::process(wire::envelope(id, 6, 4, unhex(data))), KWPKI_OK);
    EXPECT_EQ(calls.data, data);
    EXPECT_EQ(calls.status, 4u);
  }
}

TEST_F(ApiRepliesTest, Lists) {
  const Der a = cert_named("a"), b = cert_named("b");
  const Der cut_keys = wire::join({wire::u32(0), wire::str(Bytes(a)), wire::u32(1),
                                   wire::u32(0x40000000), wire::key(5, a), wire::u32(5)});
  const struct {
    const char *why;
    Der payload;
    std::vector<std::string> subjects;
  } rows[] = {
      {"none", wire::list(0, {}), {}},
      {"none announced", wire::list(0, {wire::element(a)}), {}},
      {"two", wire::list(2, {wire::element(a), wire::element(b)}), {"a", "b"}},
      {"fewer announced", wire::list(1, {wire::element(a), wire::element(b)}), {"a"}},
      {"more announced", wire::list(0xFFFFFFFF, {wire::element(a), wire::element(b)}), {"a", "b"}},
      {"one that does not decode",
       wire::list(2, {wire::element(unhex("3000")), wire::element(b)}),
       {"-", "b"}},
      {"an empty one", wire::list(1, {wire::element({})}), {"-"}},
      {"other types take four octets",
       wire::list(3, {unhex("00000001 ffffffff"), wire::element(a)}),
       {"a"}},
      {"keys cut short: the certificate is kept", wire::list(2, {cut_keys}), {"a"}},
      {"a certificate cut short",
       wire::list(2, {wire::element(a), unhex("00000000 0000000a 3000")}),
       {"a"}},
  };
  Agent agent;
  for (const auto &row : rows) {
    Calls calls;
    const uint32_t id = host::post(2, calls, agent);
    EXPECT_EQ(host::process(wire::envelope(id, 3, 1, row.payload)), KWPKI_OK) << row.why;
    ASSERT_NE(calls.list, nullptr) << row.why;
    EXPECT_EQ(subjects(calls.list), row.subjects) << row.why;
    EXPECT_EQ(KwPkiCertListIsEmpty(calls.list), row.subjects.empty()) << row.why;
  }
}

TEST_F(ApiRepliesTest, AListWithoutAStateIsNull) {
  Agent agent;
  for (size_t length = 0; length < 16; ++length) {
    Calls calls;
    const uint32_t id = host::post(2, calls, agent);
    Der payload = wire::list(0, {});
    payload.resize(length);
    EXPECT_EQ(host::process(wire::envelope(id, 2, 0, payload)), KWPKI_OK);
    EXPECT_EQ(calls.count, 1);
    EXPECT_EQ(calls.list, nullptr);
  }
}

TEST_F(ApiRepliesTest, WhatComesWithACertificate) {
  const std::vector<Der> keys = {wire::key(3, unhex("3000"), 0xFFFFFFFF), wire::key(15, {1}),
                                 wire::key(0, {1, 2}), wire::key(0xFFFFFFFF, {1}),
                                 wire::key(14, {}, 1)};
  const Der payload =
      wire::list(2, {wire::element(cert_named("a"), keys, 0x80000007), wire::element({})});
  KwPkiCertList list = reply_list_decode(payload);
  ASSERT_NE(list, nullptr);
  const SshCertDBEntry &entry = *list->list->head->entry;
  EXPECT_EQ(entry.object, kwpki_cert(KwPkiCertListFirst(list)));
  EXPECT_EQ(kwpki_cert(KwPkiCertListFirst(list))->entry, &entry);
  EXPECT_EQ(entry.tag, 0x80000007);
  EXPECT_EQ(entry.keep_until, 8);
  EXPECT_EQ(entry.aux_value, 9);
  EXPECT_EQ(entry.refcount, 1) << "the list's own";
  std::string seen;
  for (const SshCertDBKey *key = entry.keys; key; key = key->next) {
    seen += std::to_string(key->type) + ":" + hex(key->bytes()) + ":" + std::to_string(key->value) +
            " ";
  }
  EXPECT_EQ(seen, "3:3000:4294967295 0:0102:0 14::1 ");
  EXPECT_EQ(list->search_state->reserved, 2u);
  EXPECT_EQ(list->database->limits.max_entries, 1024u);
  EXPECT_EQ(list->database->limits.max_memory, 0x100000u);
  EXPECT_EQ(list->database->limits.default_keep_until, 5);
  EXPECT_EQ(KwPkiCertListFree(list), KWPKI_OK);
}

// What weighs most in a list is each in turn its certificates, its keys and the objects themselves.
TEST_F(ApiRepliesTest, AListMayNotTakeTooMuchMemory) {
  sample::CertParts large;
  large.extensions = {sample::extension("1.2.3", der::octets(Der(20000, 0x5A)))};
  const struct {
    const char *why;
    Der payload;
    size_t least;
  } rows[] = {
      {"certificates", wire::list(4, {4, wire::element(large.build())}), 80000},
      {"keys", wire::list(1, {wire::element({}, {4, wire::key(5, Der(20000, 0x5A))})}), 80000},
      {"objects", wire::list(200, std::vector<Der>(200, wire::element({}))), 80000},
  };
  for (const auto &row : rows) {
    EXPECT_EQ(reply_list_decode(row.payload, row.least), nullptr) << row.why;
    KwPkiCertList list = reply_list_decode(row.payload, row.least * 2);
    EXPECT_NE(list, nullptr) << row.why;
    EXPECT_EQ(KwPkiCertListFree(list), KWPKI_OK);
  }
}

TEST_F(ApiRepliesTest, WalkingAList) {
  const Der payload = wire::list(2, {wire::element(cert_named("a")), wire::element({})});
  KwPkiCertList list = reply_list_decode(payload);
  ASSERT_NE(list, nullptr);
  for (const auto step : {KwPkiCertListCurrent, KwPkiCertListNext, KwPkiCertListPrev}) {
    EXPECT_EQ(step(list), nullptr) << "before the first position";
  }
  const KwPkiCert a = KwPkiCertListFirst(list), b = KwPkiCertListLast(list);
  EXPECT_EQ(client::subject(a).value, "CN=a");
  EXPECT_NE(a, b);
  EXPECT_EQ(KwPkiCertListNext(list), nullptr);
  EXPECT_EQ(KwPkiCertListCurrent(list), b) << "a step beyond the end stays";
  EXPECT_EQ(KwPkiCertListPrev(list), a);
  EXPECT_EQ(KwPkiCertListPrev(list), nullptr);
  EXPECT_EQ(KwPkiCertListCurrent(list), a);
  EXPECT_EQ(KwPkiCertListNext(list), b);
  EXPECT_EQ(KwPkiCertListFree(list), KWPKI_OK);
}

TEST_F(ApiRepliesTest, SearchState) {
  char *const untouched = const_cast<char *>("untouched");
  for (const char *text : {"", "one more"}) {
    uint32_t state = 0;
    char *got = untouched;
    KwPkiCertList list = reply_list_decode(wire::list(0, {}, text, 0xFFFFFFF0));
    char *result = KwPkiGetSearchState(list, &state, &got);
    EXPECT_EQ(state, 0xFFFFFFF0);
    EXPECT_EQ(KwPkiGetSearchState(list, nullptr, &got), nullptr);
    EXPECT_EQ(KwPkiGetSearchState(list, &state, nullptr), nullptr);
    EXPECT_EQ(KwPkiCertListFree(list), KWPKI_OK);
    if (!*text) {
      EXPECT_EQ(result, nullptr);
      EXPECT_EQ(got, untouched);
    } else {
      EXPECT_EQ(result, got);
      EXPECT_STREQ(got, text);
      EXPECT_EQ(KwPkiStringFree(got), KWPKI_OK);
    }
  }
}

// A callback that does everything a callback may: it frees its list, starts a request and processes
// the reply, as often as it is told to.
struct Eager {
  Agent *agent;
  int left;
  int called = 0;
  static void KWPKI_CALL on_list(void *context, uint32_t, KwPkiCertList list) {
    auto &self = *static_cast<Eager *>(context);
    ++self.called;
    EXPECT_EQ(subjects(list), (std::vector<std::string>{"a"}));
    EXPECT_EQ(KwPkiCertListFree(list), KWPKI_OK);
    if (self.left-- > 0) self.ask();
  }
  void ask() {
    const host::Search search;
    ASSERT_EQ(KwPkiSearchAsync(search, nullptr, on_list, this, agent), KWPKI_OK);
    const Der payload = wire::list(1, {wire::element(cert_named("a"))});
    EXPECT_EQ(host::process(wire::envelope(host::id(agent->last()), 2, 0, payload)), KWPKI_OK);
  }
};

TEST_F(ApiRepliesTest, FromInsideACallback) {
  Agent agent;
  Eager eager = {&agent, 20};
  eager.ask();
  EXPECT_EQ(eager.called, 21);
}

TEST_F(ApiRepliesTest, OutOfOrder) {
  constexpr size_t kMany = 300;
  Agent agent;
  std::vector<std::unique_ptr<Calls>> calls;
  for (size_t i = 0; i < kMany; ++i) {
    calls.push_back(std::make_unique<Calls>());
    host::post(6, *calls.back(), agent);
  }
  for (size_t i = 0; i < kMany; ++i) {
    const size_t at = i * 77 % kMany;
    const uint32_t status = static_cast<uint32_t>(at);
    EXPECT_EQ(host::process(wire::envelope(host::id(agent.posted[at]), 6, status, {})), KWPKI_OK);
    EXPECT_EQ(calls[at]->count, 1);
    EXPECT_EQ(calls[at]->status, status);
  }
}

TEST_F(ApiRepliesTest, ALongPayloadKeepsTheRequest) {
  Agent agent;
  Calls calls;
  const uint32_t id = host::post(6, calls, agent);
  EXPECT_EQ(host::process(wire::envelope(id, 6, 0, Der(0x63FE001))), KWPKI_FAILED);
  EXPECT_EQ(calls.count, 0);
  EXPECT_EQ(host::process(wire::envelope(id, 6, 0, Der(0x63FE000))), KWPKI_OK);
  EXPECT_EQ(calls.count, 1);
}

TEST_F(ApiRepliesTest, AHundredThousandCertificates) {
  constexpr uint32_t kMany = 100000;
  const Der element = wire::element(cert_named("a"), {wire::key(5, {1, 2, 3})});
  Der payload = wire::list(kMany, {});
  for (uint32_t i = 0; i < kMany; ++i)
    payload.insert(payload.end(), element.begin(), element.end());
  const int64_t blocks = ssh_mem_blocks();
  KwPkiCertList list = reply_list_decode(payload);
  ASSERT_NE(list, nullptr);
  EXPECT_LE(ssh_mem_blocks() - blocks, 6 * kMany + 100);
  uint32_t count = 0;
  for (KwPkiCert cert = KwPkiCertListLast(list); cert; cert = KwPkiCertListPrev(list)) ++count;
  EXPECT_EQ(count, kMany);
  EXPECT_EQ(list->database->entries_allocated, kMany);
  EXPECT_EQ(KwPkiCertListFree(list), KWPKI_OK);
}

// Blocks that held request or reply data are wiped before they are freed: every free is looked at
// for a text that goes both ways.
constexpr std::string_view kSecret = "KwSecretText";
bool looking = false;
int unwiped = 0;

TEST_F(ApiRepliesTest, NothingIsLeftBehindInFreedMemory) {
  const std::string secret(kSecret);
  const char *names[4] = {secret.c_str(), secret.c_str(), nullptr, nullptr};
  sample::CertParts parts;
  parts.subject = der::common_name(kSecret);
  const client::Cert cert;  // its own encoding is no reply or request; it is freed unlooked-at
  ASSERT_EQ(client::set(cert, parts.build()), KWPKI_OK);
  Agent agent;
  Calls calls;
  const auto answer = [&](uint32_t type, const Der &payload) {
    EXPECT_EQ(host::process(wire::envelope(host::id(agent.last()), type, 0, payload)), KWPKI_OK);
  };
  ssh_xfree(ssh_xstrdup(secret.c_str()));
  EXPECT_EQ(unwiped, 0) << "nobody looks yet";
  looking = true;
  ssh_xfree(ssh_xstrdup(secret.c_str()));
  EXPECT_EQ(std::exchange(unwiped, 0), 1) << "the look at it works";
  {
    const host::SearchKey key;
    const host::Search search;
    for (int i = 0; i < 500; ++i) ASSERT_EQ(KwPkiSearchKeySetDNS(names[0], 0, key), KWPKI_OK);
    ASSERT_EQ(KwPkiSearchKeySetDN(("CN=" + secret + ", OU=" + secret).c_str(), 0, key), KWPKI_OK);
    ASSERT_EQ(KwPkiSearchKeySetDN(("CN=" + secret + ", x").c_str(), 0, key), KWPKI_FAILED);
    ASSERT_EQ(KwPkiSearchSetKeys(key, search), KWPKI_OK);
    ASSERT_EQ(KwPkiSearchAsync(search, nullptr, Calls::on_list, &calls, &agent), KWPKI_OK);
  }
  answer(2, wire::list(1, {wire::element({}, {wire::key(5, Der(kSecret.begin(), kSecret.end()))})},
                       std::string("a\0", 2) + secret));
  uint32_t state = 0;
  char *text = nullptr;
  EXPECT_NE(KwPkiGetSearchState(calls.list, &state, &text), nullptr);
  EXPECT_EQ(KwPkiStringFree(text), KWPKI_OK);
  EXPECT_EQ(KwPkiCertListFree(std::exchange(calls.list, nullptr)), KWPKI_OK);
  host::post(6, calls, agent);
  answer(6, Der(kSecret.begin(), kSecret.end()));
  ASSERT_EQ(KwPkiCertAddAsync(cert, Calls::on_status, &calls, 0, &agent), KWPKI_OK);
  answer(0, {});
  ASSERT_EQ(KwPkiCertRequestRemoveAsync(names, Calls::on_status, &calls, &agent), KWPKI_OK);
  answer(7, {});
  host::post(4, calls, agent);
  answer(4, wire::join({wire::u32(2), wire::str(kSecret), wire::str(kSecret)}));
  EXPECT_THAT(calls.names, ElementsAre(secret, secret));
  {
    SshBuffer buffer;  // with the secret in use and, further on, consumed
    ssh_buffer_append(buffer, ssh_text_bytes(secret));
    ssh_buffer_append(buffer, Der(9000));
    ssh_buffer_append(buffer, ssh_text_bytes(secret));
    ssh_buffer_consume(buffer, ssh_buffer_len(buffer));
    ssh_buffer_append(buffer, Der(30000));
  }
  looking = false;
  EXPECT_EQ(unwiped, 0);
}

}  // namespace

// The linker leads the library's calls of ssh_xmalloc and the others here (tests/CMakeLists.txt, which
// knows their names). Blocks start as zeros, so that nothing is found in them that others had left
// there.
#define JOIN(prefix, name) prefix##name
#define REAL(name) JOIN(__real_, name)
#define WRAPPED(name) JOIN(__wrap_, name)
extern "C" {
void *REAL(KWPKI_SYMBOL_XMALLOC)(size_t size, const char *tag);
void *WRAPPED(KWPKI_SYMBOL_XMALLOC)(size_t size, const char *tag) {
  void *block = REAL(KWPKI_SYMBOL_XMALLOC)(size, tag);
  if (looking) std::memset(block, 0, ssh_mem_block_size(block));
  return block;
}
void *REAL(KWPKI_SYMBOL_XREALLOC)(void *block, size_t size, const char *tag);
void *WRAPPED(KWPKI_SYMBOL_XREALLOC)(void *block, size_t size, const char *tag) {
  return block ? REAL(KWPKI_SYMBOL_XREALLOC)(block, size, tag) : ssh_xmalloc(size, tag);
}
void REAL(KWPKI_SYMBOL_XFREE)(void *block, const char *tag);
void WRAPPED(KWPKI_SYMBOL_XFREE)(void *block, const char *tag) {
  if (looking && block) {
    const std::string_view text(static_cast<char *>(block), ssh_mem_block_size(block));
    unwiped += text.find(kSecret) != std::string_view::npos;
  }
  REAL(KWPKI_SYMBOL_XFREE)(block, tag);
}
}
