// Memory that runs out: whichever block is the first that is not to be had, the library says so in
// one line and ends the process with status 1. Nothing that it runs then needs more, and what the
// host runs then meets no lock that is held.

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

// everything is done one after the other, and memory runs out at each block of it.
void everything() {
  Agent agent;
  const client::Cert cert;
  const client::Crl crl;
  const client::Key key;
  const host::SearchKey keys;
  const host::Search search;
  (void)client::set(cert, dsa);
  (void)client::all(cert);
  (void)client::set(cert, rich);  // what was shown of the one before is kept
  (void)client::all(cert);
  (void)client::set(client::Cert(), Bytes(rich).first(300));
  (void)client::set(crl, revoked);
  (void)KwPkiCrlReadFromFile(crl_file.c_str(), crl);
  client::read(crl_file.c_str(), 0);
  (void)KwPkiCertGetPublicKey(cert, key);
  const KwPkiStatus set[] = {
      KwPkiSearchKeySetDN("C=FI, CN=a + CN=b\\, c", 0, keys),
      KwPkiSearchKeySetDNDer(unhex("300c310a30080603550403130161").data(), 14, keys),
      KwPkiSearchKeySetDNS("a.test", 0, keys),
      KwPkiSearchKeySetIP(rich.data(), 4, keys),
      KwPkiSearchKeySetPublicKey(key, keys),
      KwPkiSearchSetKeys(keys, search),
      KwPkiSearchAsync(search, host::Validity(), Calls::on_list, nullptr, &agent),
  };
  EXPECT_THAT(set, testing::Each(KWPKI_OK));
  for (uint32_t type = 0; type < 8; ++type) host::post(type, nullptr, agent);
  for (int i = 0; i < 70; ++i) host::post(6, nullptr, agent);  // more than one leaf
  const Der element = wire::element(rich, {wire::key(3, {1}), wire::key(5, {2})});
  answer(2, wire::list(3, {element, wire::element(dsa), wire::element({})}, "text"));
  answer(0, {});
  answer(4, der::join({wire::u32(2), wire::str("CN=a"), wire::str("")}));
  answer(4, wire::u32(1), KWPKI_FAILED);
  answer(6, Der(100));
}

TEST(ApiOutOfMemoryTest, EndsTheProcessWithOneLine) {
  const auto line = testing::MatchesRegex(
      "ssh_x(malloc: out of memory \\(allocating [0-9]+|"
      "calloc: out of memory \\(allocating [0-9]+\\*[0-9]+|"
      "realloc: out of memory \\(new_size [0-9]+) bytes\\)\n");
  for (const bool onwards : {false, true}) {
    uint64_t n = 1;
    for (;; ++n) {
      const Ended ended = in_child([&] {
        std::atexit([] { (void)host::process(kUnknown); });
        ssh_mem_fail_at(n, onwards);
        everything();
      });
      if (ended.status == 0 && ended.out.empty()) break;
      ASSERT_EQ(ended.status, 1) << "block " << n << ": " << ended.out;
      ASSERT_THAT(ended.out, line) << "block " << n;
    }
    EXPECT_GT(n, 300u) << "that many blocks are allocated";
  }
}

}  // namespace
