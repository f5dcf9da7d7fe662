// Replies: what reaches the callback, and what is left behind. Which reply answers which request,
// the fuzz target of sessions holds.
#include "api/handles.h"
#include "api/host.h"
#include "api/reply_list.h"

namespace {

using host::Agent;
using host::Calls;
using ApiRepliesTest = sample::Balanced;

Der cert_named(std::string_view name) {
  sample::CertParts parts;
  parts.subject = der::common_name(name);
  return parts.build();
}

// subjects walks a list and gives the common names; "-" for an empty certificate.
std::string subjects(KwPkiCertList list) {
  std::string all;
  for (KwPkiCert cert = KwPkiCertListFirst(list); cert; cert = KwPkiCertListNext(list)) {
    const std::string name = client::subject(cert).value;
    all += name.empty() ? "-" : name.substr(3);
  }
  return all;
}

// Of what is cut, the names that were read stay. A callback that is not called is seen as "-".
TEST_F(ApiRepliesTest, Names) {
  const Der one = wire::str("one");
  const std::pair<Der, std::string_view> rows[] = {
      {der::join({wire::u32(3), Der(4), wire::str(std::string_view("\0x", 2)), Der(4)}),
       {"0 2\0x 0 ", 8}},
      {der::join({wire::u32(3), one, unhex("ff0000097478")}), "3one 0 0 "},
      {der::join({wire::u32(2), one}), "-"},                     // more than a quarter of the bytes
      {der::join({wire::u32(0xC80001), Der(0x3200004)}), "-"}};  // than an array can be made for
  Agent agent;
  for (const auto &[payload, wanted] : rows) {
    if (sizeof(void *) == 4 && payload.size() > 0x1000000) continue;  // an array can be made
    Calls calls;
    const uint32_t id = host::post(4, &calls, agent);
    EXPECT_EQ(host::answer(id, 4, payload) == KWPKI_OK, wanted != "-");
    std::string names = calls.count ? "" : "-";
    for (const std::string &name : calls.names) names += std::to_string(name.size()) + name + " ";
    EXPECT_EQ(names, wanted);
  }
}

TEST_F(ApiRepliesTest, Lists) {
  const Der a_der = cert_named("a"), a = wire::element(a_der), b = wire::element(cert_named("b"));
  const Der cut_keys = der::join({wire::u32(0), wire::str(Bytes(a_der)), wire::u32(1),
                                  wire::u32(0x40000000), wire::key(5, {1}), wire::u32(5)});
  const std::tuple<const char *, Der, const char *> rows[] = {
      {"more announced", wire::list(0xFFFFFFFF, {a, b}), "ab"},
      {"one that does not decode", wire::list(2, {wire::element(unhex("3000")), b}), "-b"},
      {"other types take four octets", wire::list(3, {unhex("00000001 ffffffff"), a}), "a"},
      {"keys cut short: the certificate is kept", wire::list(2, {cut_keys}), "a"},
  };
  Agent agent;
  for (const auto &[why, payload, names] : rows) {
    Calls calls;
    EXPECT_EQ(host::answer(host::post(2, &calls, agent), 3, payload, 1), KWPKI_OK) << why;
    ASSERT_NE(calls.list, nullptr) << why;
    EXPECT_EQ(subjects(calls.list), names) << why;
  }
  Calls calls;
  EXPECT_EQ(host::answer(host::post(2, &calls, agent), 2, Der(15)), KWPKI_OK);
  EXPECT_TRUE(calls.count == 1 && !calls.list) << "a list without a state is null";
}

TEST_F(ApiRepliesTest, WhatComesWithACertificate) {
  const std::vector<Der> keys = {wire::key(3, unhex("3000"), 0xFFFFFFFF), wire::key(15, {1}),
                                 wire::key(0, {1, 2}), wire::key(0xFFFFFFFF, {1}),
                                 wire::key(14, {}, 1)};
  KwPkiCertList list = reply_list_decode(
      wire::list(2, {wire::element(cert_named("a"), keys, 0x80000007), wire::element({})}));
  ASSERT_NE(list, nullptr);
  const SshCertDBEntry &entry = *list->list->head->entry;
  EXPECT_EQ(entry.object, kwpki_cert(KwPkiCertListFirst(list)));
  EXPECT_EQ(kwpki_cert(KwPkiCertListCurrent(list))->entry, &entry);
  std::string seen;
  for (const SshCertDBKey *key = entry.keys; key; key = key->next)
    seen += std::to_string(key->type) + ":" + hex(key->bytes()) + " ";
  EXPECT_EQ(seen, "3:3000 0:0102 14: ");
  const SshCertDBLimits &limits = list->database->limits;
  const int64_t numbers[] = {entry.tag,          entry.keep_until,  entry.aux_value,
                             entry.keys->value,  entry.refcount,    list->search_state->reserved,
                             limits.max_entries, limits.max_memory, limits.default_keep_until};
  EXPECT_THAT(numbers, testing::ElementsAre(0x80000007, 8, 9, 0xFFFFFFFF, 1, 2, 1024, 0x100000, 5));
  EXPECT_EQ(KwPkiCertListFree(list), KWPKI_OK);
}

TEST_F(ApiRepliesTest, ALongPayloadKeepsTheRequest) {
  Agent agent;
  Calls calls;
  const uint32_t id = host::post(6, &calls, agent);
  EXPECT_EQ(host::answer(id, 6, Der(0x63FE001)), KWPKI_FAILED);
  EXPECT_EQ(calls.count, 0);
  EXPECT_EQ(host::answer(id, 6, Der(0x63FE000)), KWPKI_OK);
  EXPECT_EQ(calls.count, 1);
}

// heap counts what lies on the heap at most above the start of a count, with the word or two that
// heaps keep beside each block. The linker leads allocations past it; see below.
struct Heap {
  bool counting = false;
  int64_t now = 0, peak = 0;

  void note(void *block, int sign) {
    if (!counting || !block) return;
    now += sign * static_cast<int64_t>(ssh_mem_block_size(block) + 8);
    peak = std::max(peak, now);
  }
} heap;

// peak_of gives the most that `work` has on the heap at once.
template <class Work>
size_t peak_of(const Work &work) {
  heap = {.counting = true};
  work();
  heap.counting = false;
  return static_cast<size_t>(heap.peak);
}

using der::repeat;

Der names(const Der &name, size_t count) {
  return sample::extension("2.5.29.17", der::seq({repeat(name, count)}));
}

Der cert_with(const std::vector<Der> &extensions) {
  sample::CertParts parts;
  parts.extensions = extensions;
  return parts.build();
}

// smallest is as small as a certificate gets that has a name.
Der smallest() {
  sample::CertParts parts;
  parts.version = {};
  parts.serial = der::integer(1);
  parts.inner_algorithm = parts.outer_algorithm = der::seq({der::oid("1.3.101.112")});
  parts.issuer = {0x30, 0};
  parts.validity = der::seq({der::text(0x17, "0102030405Z"), der::text(0x17, "0102030405Z")});
  parts.subject = der::common_name("");
  parts.key = der::seq({der::seq({der::oid("1.2")}), der::bits({})});
  parts.signature = der::bits({});
  return parts.build();
}

Der policies(const Der &qualifier, size_t count) {
  const Der qualifiers = der::seq({repeat(qualifier, count)});
  return sample::extension("2.5.29.32", der::seq({der::seq({der::oid("1.2"), qualifiers})}));
}

// Lists are proportional to their replies or refused, and refused before they have taken too much:
// beyond what its elements may keep there is one certificate's decode.
TEST_F(ApiRepliesTest, AListTakesMemoryInProportionToItsReply) {
  const ProfileScope modern(SSH_X509_MODERN);
  constexpr size_t kSize = 6000000;
  const Der empty_name = der::text(0x82, ""), bad = sample::extension("2.5.29.19", {1});
  const Der cps = der::seq({der::oid("1.3.6.1.5.5.7.2.1"), der::text(0x16, "")});
  const struct {
    const char *why;
    Der element;
    bool refused = false;
  } rows[] = {
      {"empty objects with many keys", wire::element({}, {1000, wire::key(5, {})})},
      {"small certificates", wire::element(smallest())},
      {"records that are refused late", wire::element(cert_with({names(empty_name, 3000), bad}))},
      {"a few empty names", wire::element(cert_with({names(empty_name, 100)})), true},
      {"qualifiers", wire::element(cert_with({policies(cps, 1000)})), sizeof(void *) == 8},
  };
  for (const auto &row : rows) {
    const auto count = static_cast<uint32_t>(kSize / row.element.size());
    const Der payload = der::join({wire::list(count, {}), repeat(row.element, count)});
    KwPkiCertList list = nullptr;
    const size_t peak = peak_of([&] { list = reply_list_decode(payload); });
    EXPECT_EQ(list ? list->database->entries_allocated : 0, row.refused ? 0 : count) << row.why;
    const size_t database = peak_of([] { (void)KwPkiCertListFree(reply_list_decode(Der(16))); });
    const size_t at_hand = 0x100000 + ssh_cm_cert_memory_most(row.element.size());
    EXPECT_LE(peak, payload.size() * 12 + database + (row.refused ? at_hand : 0)) << row.why;
    EXPECT_LE(peak, reply_list_memory_most(payload.size()) + database) << row.why;
    EXPECT_EQ(KwPkiCertListFree(list), KWPKI_OK);
  }
}

TEST_F(ApiRepliesTest, ARecordTakesMemoryInProportionToItsInput) {
  const Der long_number = der::tlv(2, Der(1000000, 1)), name = der::text(0x82, "");
  sample::CrlParts crl;  // an entry beside the copy
  crl.entries = {
      der::seq({long_number, der::text(0x17, "020304050607Z"),
                der::seq({sample::extension("2.5.29.29", der::seq({repeat(name, 1000000)}))})})};
  const Der deep = der::octets(der::join({repeat({0x30, 0x80}, 530000), Der(1060000, 0)}));
  for (const Der &octets :
       {cert_with({names(name, 1000000), sample::extension("1.2.3", deep)}), crl.build()}) {
    const client::Cert cert;
    const client::Crl list;
    const size_t most = octets.size() * 8 + 0x1000000;
    const size_t peak = peak_of([&] {
      EXPECT_NE(client::set(cert, octets), KWPKI_OK);
      EXPECT_NE(client::set(list, octets), KWPKI_OK);
    });
    EXPECT_TRUE(peak <= most && peak >= most / 2) << peak << ": too much, or too little for a test";
  }
}

// Two bytes of input are four in the array, so that input below its own limit asks for more than
// one request for memory can give.
TEST_F(ApiRepliesTest, AnArrayMayBeTooLargeForOneBlock) {
  const ProfileScope modern(SSH_X509_MODERN);
  const Der numbers = der::seq({repeat(der::null(), 27000000)});
  const Der notice = der::seq(
      {der::oid("1.3.6.1.5.5.7.2.2"), der::seq({der::seq({der::text(0x16, "o"), numbers})})});
  for (const Der &extension :
       {sample::extension("2.5.29.32", der::seq({der::seq({der::oid("1.2"), der::seq({notice})})})),
        sample::extension("1.3.6.1.5.5.7.1.24", numbers)}) {
    const client::Cert cert;
    EXPECT_NE(client::set(cert, cert_with({extension})), KWPKI_OK);
  }
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
  const Der secret_octets(kSecret.begin(), kSecret.end());
  Agent agent;
  Calls calls;
  const auto answer = [&](uint32_t type, const Der &payload) {
    EXPECT_EQ(host::answer(host::id(agent.last()), type, payload), KWPKI_OK);
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
  answer(2, wire::list(1, {wire::element({}, {wire::key(5, secret_octets)})},
                       std::string("a\0", 2) + secret));
  uint32_t state = 0;
  char *text = nullptr;
  EXPECT_NE(KwPkiGetSearchState(calls.list, &state, &text), nullptr);
  EXPECT_EQ(KwPkiStringFree(text), KWPKI_OK);
  EXPECT_EQ(KwPkiCertListFree(std::exchange(calls.list, nullptr)), KWPKI_OK);
  host::post(6, &calls, agent);
  answer(6, secret_octets);
  ASSERT_EQ(KwPkiCertAddAsync(cert, Calls::on_status, &calls, 0, &agent), KWPKI_OK);
  answer(0, {});
  ASSERT_EQ(KwPkiCertRequestRemoveAsync(names, Calls::on_status, &calls, &agent), KWPKI_OK);
  answer(7, {});
  host::post(4, &calls, agent);
  answer(4, der::join({wire::u32(2), wire::str(kSecret), wire::str(kSecret)}));
  EXPECT_EQ(calls.names, (std::vector<std::string>{secret, secret}));
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

// The linker leads the library's calls of ssh_xmalloc and the others here (tests/CMakeLists.txt,
// which knows their names). Blocks start as zeros, so that nothing is found in them that others had
// left there.
#define JOIN(prefix, name) prefix##name
#define REAL(name) JOIN(__real_, name)
#define WRAPPED(name) JOIN(__wrap_, name)
extern "C" {
void *REAL(KWPKI_SYMBOL_XMALLOC)(size_t size, const char *tag);
void *WRAPPED(KWPKI_SYMBOL_XMALLOC)(size_t size, const char *tag) {
  void *block = REAL(KWPKI_SYMBOL_XMALLOC)(size, tag);
  heap.note(block, 1);
  if (looking) std::memset(block, 0, ssh_mem_block_size(block));
  return block;
}
void *REAL(KWPKI_SYMBOL_XCALLOC)(size_t count, size_t size);
void *WRAPPED(KWPKI_SYMBOL_XCALLOC)(size_t count, size_t size) {
  void *block = REAL(KWPKI_SYMBOL_XCALLOC)(count, size);
  heap.note(block, 1);
  return block;
}
void *REAL(KWPKI_SYMBOL_XREALLOC)(void *block, size_t size, const char *tag);
void *WRAPPED(KWPKI_SYMBOL_XREALLOC)(void *block, size_t size, const char *tag) {
  if (!block) return ssh_xmalloc(size, tag);
  heap.note(block, -1);
  block = REAL(KWPKI_SYMBOL_XREALLOC)(block, size, tag);
  heap.note(block, 1);
  return block;
}
void REAL(KWPKI_SYMBOL_XFREE)(void *block, const char *tag);
void WRAPPED(KWPKI_SYMBOL_XFREE)(void *block, const char *tag) {
  heap.note(block, -1);
  if (looking && block) {
    const std::string_view text(static_cast<char *>(block), ssh_mem_block_size(block));
    unwiped += text.find(kSecret) != std::string_view::npos;
  }
  REAL(KWPKI_SYMBOL_XFREE)(block, tag);
}
}
