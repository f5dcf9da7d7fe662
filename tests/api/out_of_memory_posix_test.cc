// Memory that runs out: whichever block is the first that is not to be had, the library says so in
// one line and ends the process with status 1. Nothing that it runs then needs more, and what the
// host runs then meets no lock that is held.
#include <gmock/gmock.h>

#include "api/host.h"
#include "support/child.h"

namespace {

using host::Agent;
using host::Calls;

// What the scenarios read, made while there is memory.
const Der rich = sample::example("v3-rich.der"), dsa = sample::example("v3-dsa.pem"),
          revoked = sample::example("crl-v2.pem");
const Der kUnknown = wire::envelope(0x7FFFFFFE, 0, 0, {});  // a reply that nobody waits for
const std::string crl_file = client::example("crl-v2.pem");

// search_for searches with one key and leaves the request open.
template <class Set, class... Arguments>
void search_for(Set set, Arguments... key) {
  Agent agent;
  const host::SearchKey keys;
  const host::Search search;
  const host::Validity validity;
  EXPECT_EQ(set(key..., keys), KWPKI_OK);
  EXPECT_EQ(KwPkiSearchSetKeys(keys, search), KWPKI_OK);
  EXPECT_EQ(KwPkiSearchAsync(search, validity, Calls::on_list, nullptr, &agent), KWPKI_OK);
}
void answer(uint32_t type, const Der &payload, KwPkiStatus expected = KWPKI_OK) {
  Agent agent;
  Calls calls;
  EXPECT_EQ(host::answer(host::post(type, &calls, agent), type, payload), expected);
  if (!calls.list) return;
  uint32_t state = 0;
  char *text = nullptr;
  EXPECT_NE(KwPkiGetSearchState(calls.list, &state, &text), nullptr);
  EXPECT_EQ(KwPkiStringFree(text), KWPKI_OK);
  for (KwPkiCert cert = KwPkiCertListFirst(calls.list); cert; cert = KwPkiCertListNext(calls.list))
    client::all(cert);
}

// Each does one thing after the other, and runs out of memory at each block of them.
const struct {
  const char *what;
  void (*run)();
} kScenarios[] = {
    {"certificates",
     [] {
       const client::Cert cert;
       (void)client::set(cert, rich);
       (void)client::all(cert);
       (void)client::set(cert, dsa);  // what was shown of the one before is kept
       (void)client::all(cert);
       (void)client::set(cert, Bytes(rich).first(300));
     }},
    {"a CRL", [] { client::set(client::Crl(), revoked); }},
    {"files",
     [] {
       (void)KwPkiCrlReadFromFile(crl_file.c_str(), client::Crl());
       client::read(crl_file.c_str(), 0);
     }},
    {"searches",
     [] {
       search_for(KwPkiSearchKeySetDN, "C=FI, CN=a + CN=b\\, c", 0u);
       search_for(KwPkiSearchKeySetDNDer, unhex("300c310a30080603550403130161").data(), 14u);
       search_for(KwPkiSearchKeySetDNS, "a.test", 0u);
       search_for(KwPkiSearchKeySetIP, reinterpret_cast<const uint8_t *>("abcd"), 4u);
       const client::Cert cert;
       const client::Key key;
       (void)client::set(cert, rich);
       (void)KwPkiCertGetPublicKey(cert, key);
       search_for(KwPkiSearchKeySetPublicKey, static_cast<KwPkiPublicKey>(key));
     }},
    {"requests",
     [] {
       Agent agent;
       for (uint32_t type = 0; type < 8; ++type) host::post(type, nullptr, agent);
       for (int i = 0; i < 70; ++i) host::post(6, nullptr, agent);  // more than one leaf
     }},
    {"list",
     [] {
       answer(2, wire::list(3,
                            {wire::element(rich, {wire::key(3, {1}), wire::key(5, {2})}),
                             wire::element(dsa), wire::element({})},
                            "text"));
     }},
    {"other replies",
     [] {
       answer(0, {});
       answer(4, der::join({wire::u32(2), wire::str("CN=a"), wire::str("")}));
       answer(4, wire::u32(1), KWPKI_FAILED);
       answer(6, Der(100));
     }},
};

TEST(ApiOutOfMemoryTest, EndsTheProcessWithOneLine) {
  const auto line = testing::MatchesRegex(
      "ssh_x(malloc: out of memory \\(allocating [0-9]+|"
      "calloc: out of memory \\(allocating [0-9]+\\*[0-9]+|"
      "realloc: out of memory \\(new_size [0-9]+) bytes\\)\n");
  for (const auto &scenario : kScenarios) {
    for (const bool onwards : {false, true}) {
      uint64_t n = 1;
      for (;; ++n) {
        const Ended ended = in_child([&] {
          std::atexit([] { (void)host::process(kUnknown); });
          ssh_mem_fail_at(n, onwards);
          scenario.run();
        });
        if (ended.status == 0 && ended.out.empty()) break;
        ASSERT_EQ(ended.status, 1) << scenario.what << ", block " << n << ": " << ended.out;
        ASSERT_THAT(ended.out, line) << scenario.what << ", block " << n;
      }
      EXPECT_GT(n, 1u) << scenario.what << " allocates";
    }
  }
}

}  // namespace
