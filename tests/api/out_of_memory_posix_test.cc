// Memory that runs out: whichever block is the first that is not to be had, the library says so in
// one line and ends the process with status 1, and nothing that it runs then needs more.
#include <gmock/gmock.h>

#include "api/host.h"
#include "support/child.h"

namespace {

using host::Agent;
using host::Calls;

// What the scenarios read, made while there is memory.
const Der rich = client::example_der("v3-rich.der"), dsa = client::example_der("v3-dsa.pem"),
          crl = client::example_der("crl-v2.pem");
const std::string crl_file = client::example("crl-v2.pem");

client::Result told_of(const Der &encoding, client::Result (*get)(KwPkiCert)) {
  const client::Cert cert;
  (void)client::set(cert, encoding);
  return get(cert);
}
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
void leave_open(uint32_t type, int count) {
  Agent agent;
  for (; count > 0; --count) host::post(type, nullptr, agent);
}

const struct {
  const char *what;
  void (*run)();
} kScenarios[] = {
    {"certificate", [] { client::set(client::Cert(), rich); }},
    {"certificate, refused", [] { client::set(client::Cert(), Bytes(rich).first(300)); }},
    {"certificate, after one that was shown",
     [] {
       const client::Cert cert;
       (void)client::set(cert, rich);
       (void)client::ber(cert);
       (void)client::set(cert, dsa);
     }},
    {"subject", [] { told_of(rich, client::subject); }},
    {"subject in DER", [] { told_of(rich, client::subject_der); }},
    {"serial number", [] { told_of(rich, client::serial); }},
    {"RSA key", [] { told_of(rich, client::key); }},
    {"DSA key", [] { told_of(dsa, client::key); }},
    {"CRL", [] { client::set(client::Crl(), crl); }},
    {"CRL of a file", [] { (void)KwPkiCrlReadFromFile(crl_file.c_str(), client::Crl()); }},
    {"file", [] { client::read(crl_file.c_str(), 0); }},
    {"armour", [] { client::read(crl_file.c_str(), 1); }},
    {"search for a name", [] { search_for(KwPkiSearchKeySetDN, "C=FI, CN=a + CN=b\\, c", 0u); }},
    {"search for a name in DER",
     [] { search_for(KwPkiSearchKeySetDNDer, unhex("300c310a30080603550403130161").data(), 14u); }},
    {"search for a DNS name", [] { search_for(KwPkiSearchKeySetDNS, "a.test", 0u); }},
    {"search for an address",
     [] { search_for(KwPkiSearchKeySetIP, reinterpret_cast<const uint8_t *>("abcd"), 4u); }},
    {"search for a key",
     [] {
       const client::Cert cert;
       const client::Key key;
       (void)client::set(cert, rich);
       (void)KwPkiCertGetPublicKey(cert, key);
       search_for(KwPkiSearchKeySetPublicKey, static_cast<KwPkiPublicKey>(key));
     }},
    {"request to add a certificate", [] { leave_open(0, 1); }},
    {"request to add a CRL", [] { leave_open(1, 1); }},
    {"request for a path", [] { leave_open(3, 1); }},
    {"request for names", [] { leave_open(4, 1); }},
    {"request for a certificate", [] { leave_open(5, 1); }},
    {"request for the state", [] { leave_open(6, 1); }},
    {"request taken back", [] { leave_open(7, 1); }},
    {"requests of more than one leaf", [] { leave_open(6, 70); }},
    {"status", [] { answer(0, {}); }},
    {"list",
     [] {
       answer(2, wire::list(3,
                            {wire::element(rich, {wire::key(3, {1}), wire::key(5, {2})}),
                             wire::element(dsa), wire::element({})},
                            "text"));
     }},
    {"list without a state", [] { answer(3, Der(15)); }},
    {"names",
     [] {
       answer(4, der::join({wire::u32(2), wire::str("CN=a"), wire::str("")}));
     }},
    {"names that there are not", [] { answer(4, wire::u32(1), KWPKI_FAILED); }},
    {"data", [] { answer(6, Der(100)); }},
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
