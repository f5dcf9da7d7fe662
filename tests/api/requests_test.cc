// What requests look like on the wire, octet by octet, and what is refused before anything is sent.
#include <gmock/gmock.h>

#include "api/envelope.h"
#include "api/handles.h"
#include "api/host.h"

namespace {

using client::Cert;
using client::Crl;
using host::Agent;
using host::Calls;
using host::Search;
using host::SearchKey;
using host::Validity;
using ApiRequestsTest = sample::Balanced;

const Der kNoTime = wire::u32(0);

// constraints is what untouched constraints look like, but for what is given.
Der constraints(const std::vector<Der> &keys = {},
                const Der &times = wire::join({kNoTime, kNoTime}),
                const Der &values = unhex("ffffffff 00000000 00000000 00000000 00")) {
  return wire::join({times, wire::keys(keys), values, wire::keys({})});
}

const Der kNoValidity = wire::join({kNoTime, kNoTime});

// finish drops the request that was posted last.
void finish(const Der &message) {
  EXPECT_EQ(host::process(wire::envelope(host::id(message), ssh_load_be32(&message[8]), 0, {})),
            KWPKI_OK);
}

TEST_F(ApiRequestsTest, PayloadsOfEveryExport) {
  Agent agent;
  Calls calls;
  const Cert cert, no_cert;
  const Crl crl, no_crl;
  const Search search, untouched;
  const SearchKey keys;
  const Validity validity;
  const Der cert_der = sample::CertParts().build(), crl_der = sample::CrlParts().build();
  ASSERT_EQ(client::set(cert, cert_der), KWPKI_OK);
  ASSERT_EQ(client::set(crl, crl_der), KWPKI_OK);
  ASSERT_EQ(KwPkiSearchKeySetIP(unhex("c0000201").data(), 4, keys), KWPKI_OK);
  ASSERT_EQ(KwPkiSearchKeySetDNS("www.example.com", 0, keys), KWPKI_OK);
  ASSERT_EQ(KwPkiSearchKeySetDNS("www.example.com", 3, keys), KWPKI_OK);
  ASSERT_EQ(KwPkiSearchKeySetURI("u:", 0, keys), KWPKI_OK);
  ASSERT_EQ(KwPkiSearchKeySetEmail("A@b", 0, keys), KWPKI_OK);
  ASSERT_EQ(KwPkiSearchKeySetOID("1.2", 0, keys), KWPKI_OK);
  ASSERT_EQ(KwPkiSearchKeySetDN("CN=A  b", 77, keys), KWPKI_OK);
  ASSERT_EQ(KwPkiSearchSetKeys(keys, search), KWPKI_OK);
  ASSERT_EQ(KwPkiSearchKeySetIP(nullptr, 0, keys), KWPKI_OK);  // too late for the constraints
  ASSERT_EQ(KwPkiSearchSetKeys(keys, search), KWPKI_FAILED);
  ASSERT_EQ(KwPkiSearchSetUnixTime(0, 0xFFFFFFFF, search), KWPKI_OK);
  ASSERT_EQ(KwPkiSearchSetPathLength(5, search), KWPKI_OK);
  ASSERT_EQ(KwPkiSearchSetKeyUsage(0x80000001, search), KWPKI_OK);
  ASSERT_EQ(KwPkiSearchSetKeyType(2, search), KWPKI_OK);
  ASSERT_EQ(KwPkiSearchSetRule(3, search), KWPKI_OK);
  ASSERT_EQ(KwPkiSearchSetGroupModeOn(search), KWPKI_OK);
  const Der dn = unhex("300e310c300a06035504031303612062");
  const Der full = constraints(
      {wire::key(3, dn), wire::key(12, unhex("312e32")), wire::key(10, unhex("414062")),
       wire::key(6, unhex("753a")), wire::key(5, unhex("777777")),
       wire::key(5, unhex("7777772e6578616d706c652e636f6d")), wire::key(4, unhex("c0000201"))},
      wire::join(
          {wire::str("1970 Jan  1st, 00:00:00 GMT"), wire::str("2106 Feb  7th, 06:28:15 GMT")}),
      unhex("00000005 80000001 00000002 00000003 01"));
  const char *names[] = {"one", nullptr, "", "f\xC3\xB6ur"};
  const Der four = wire::join({wire::str("one"), kNoTime, kNoTime, wire::str("f\xC3\xB6ur")});
  const KwPkiBlock block = {cert_der.data(), 3};

  const auto status = Calls::on_status;
  const auto list = Calls::on_list;
  const struct {
    const char *why;
    uint32_t type;
    KwPkiStatus result;
    Der payload;
  } rows[] = {
      {"certificate", 0, KwPkiCertAddAsync(cert, status, &calls, 0xFE000001, &agent),
       wire::join({wire::u32(0xFE000001), wire::str(Bytes(cert_der))})},
      {"empty certificate", 0, KwPkiCertAddAsync(no_cert, status, &calls, 0, &agent),
       wire::join({wire::u32(0), wire::u32(0)})},
      {"CRL", 1, KwPkiCrlAddAsync(crl, status, &calls, &agent), wire::str(Bytes(crl_der))},
      {"empty CRL", 1, KwPkiCrlAddAsync(no_crl, status, &calls, &agent), wire::u32(0)},
      {"search", 2, KwPkiSearchAsync(search, validity, list, &calls, &agent),
       wire::join({full, kNoValidity})},
      {"search for anything", 2, KwPkiSearchAsync(untouched, nullptr, list, &calls, &agent),
       wire::join({constraints(), kNoValidity})},
      {"path", 3, KwPkiSearchPathAsync(untouched, search, nullptr, list, &calls, &agent),
       wire::join({constraints(), full, kNoValidity})},
      {"CA names", 4, KwPkiCaNamesAsync(Calls::on_names, &calls, &agent), {}},
      {"certificate request", 5,
       KwPkiCertRequestAsync(&block, names, "more", status, &calls, &agent),
       wire::join({wire::str(Bytes(block.data, 3)), four, wire::str("more")})},
      {"status", 6, KwPkiStatusAsync(Calls::on_data, &calls, &agent), {}},
      {"removal", 7, KwPkiCertRequestRemoveAsync(names, status, &calls, &agent), four},
  };
  ASSERT_EQ(agent.posted.size(), std::size(rows));
  const uint32_t first = host::id(agent.posted[0]);
  for (size_t i = 0; i < std::size(rows); ++i) {
    EXPECT_EQ(rows[i].result, KWPKI_OK) << rows[i].why;
    EXPECT_EQ(hex(agent.posted[i]), hex(wire::envelope(first + static_cast<uint32_t>(i),
                                                       rows[i].type, 999, rows[i].payload)))
        << rows[i].why;
    finish(agent.posted[i]);
  }
}

TEST_F(ApiRequestsTest, TimesOfAValidityAreSent) {
  const Validity validity;
  const Search search;
  Agent agent;
  Calls calls;
  ssh_ber_time_set_from_unix_time(&validity->not_before, 951782400);  // no export sets them
  ssh_ber_time_set_from_unix_time(&validity->not_after, 1);
  ASSERT_EQ(KwPkiSearchAsync(search, validity, Calls::on_list, &calls, &agent), KWPKI_OK);
  const Der payload = wire::join({constraints(), wire::str("2000 Feb 29th, 00:00:00 GMT"),
                                  wire::str("1970 Jan  1st, 00:00:01 GMT")});
  EXPECT_EQ(hex(agent.last()), hex(wire::envelope(host::id(agent.last()), 2, 999, payload)));
  finish(agent.last());
}

TEST_F(ApiRequestsTest, RefusedBeforeAnIdentifierIsTaken) {
  Agent agent;
  Calls calls;
  const char *names[4] = {};
  const uint8_t octet = 0;
  const KwPkiBlock huge = {&octet, 0xFFFFFFFF}, null_data = {nullptr, 1};
  const KwPkiBlock empty = {};
  const Search search;
  const uint32_t before = host::post(4, calls, agent);
  const KwPkiStatus results[] = {
      KwPkiCertAddAsync(nullptr, Calls::on_status, &calls, 0, &agent),
      KwPkiCrlAddAsync(nullptr, Calls::on_status, &calls, &agent),
      KwPkiSearchAsync(nullptr, nullptr, Calls::on_list, &calls, &agent),
      KwPkiSearchPathAsync(nullptr, search, nullptr, Calls::on_list, &calls, &agent),
      KwPkiSearchPathAsync(search, nullptr, nullptr, Calls::on_list, &calls, &agent),
      KwPkiCertRequestAsync(nullptr, names, nullptr, Calls::on_status, &calls, &agent),
      KwPkiCertRequestAsync(&empty, nullptr, nullptr, Calls::on_status, &calls, &agent),
      KwPkiCertRequestAsync(&null_data, names, nullptr, Calls::on_status, &calls, &agent),
      KwPkiCertRequestAsync(&huge, names, nullptr, Calls::on_status, &calls, &agent),
      KwPkiCertRequestRemoveAsync(nullptr, Calls::on_status, &calls, &agent),
  };
  EXPECT_THAT(results, testing::Each(KWPKI_NOT_POSTED));
  EXPECT_EQ(agent.posted.size(), 1u);
  EXPECT_EQ(host::post(4, calls, agent), before + 1);
  for (const Der &message : agent.posted) finish(message);
}

TEST_F(ApiRequestsTest, TheLongestPayload) {
  Agent agent;
  Calls calls;
  const char *names[4] = {};
  constexpr uint32_t kMost = 0x63FE000 - 6 * 4;  // six lengths
  const Der octets(kMost + 1, 0x5A);
  const KwPkiBlock fits = {octets.data(), kMost}, too_long = {octets.data(), kMost + 1};
  EXPECT_EQ(KwPkiCertRequestAsync(&too_long, names, nullptr, Calls::on_status, &calls, &agent),
            KWPKI_NOT_POSTED);
  ASSERT_EQ(KwPkiCertRequestAsync(&fits, names, nullptr, Calls::on_status, &calls, &agent),
            KWPKI_OK);
  ASSERT_EQ(agent.posted.size(), 1u);
  EXPECT_EQ(agent.last().size(), 24u + 0x63FE000);
  finish(agent.last());
}

TEST_F(ApiRequestsTest, KeysThatAreRefused) {
  const SearchKey keys;
  const Search search;
  const client::Key no_key;
  const KwPkiBlock bad_blob = {reinterpret_cast<const uint8_t *>("blob"), 4};
  const std::string long_name = "CN=" + std::string(1 << 20, 'x');
  const std::string long_text(0x63FE001, 'x');
  const KwPkiStatus failed[] = {
      KwPkiSearchKeySetDN("CN", 0, keys),
      KwPkiSearchKeySetDN(nullptr, 0, keys),
      KwPkiSearchKeySetDN(long_name.c_str(), 0, keys),
      KwPkiSearchKeySetDN("CN=a", 0, nullptr),
      KwPkiSearchKeySetDNDer(unhex("30").data(), 1, keys),
      KwPkiSearchKeySetDNDer(nullptr, 0, keys),
      KwPkiSearchKeySetDNDer(unhex("3000").data(), 2, nullptr),
      KwPkiSearchKeySetDNS(nullptr, 0, keys),
      KwPkiSearchKeySetDNS("a", 0, nullptr),
      KwPkiSearchKeySetDNS(long_text.c_str(), 0, keys),
      KwPkiSearchKeySetEmail(nullptr, 4, keys),
      KwPkiSearchKeySetURI(long_text.c_str(), 0x63FE001, keys),
      KwPkiSearchKeySetOID(nullptr, 0, keys),
      KwPkiSearchKeySetIP(nullptr, 4, keys),
      KwPkiSearchKeySetIP(nullptr, 0, nullptr),
      KwPkiSearchKeySetPublicKey(no_key, nullptr),
      KwPkiSearchSetKeys(nullptr, search),
      KwPkiSearchSetKeys(keys, nullptr),
  };
  EXPECT_THAT(failed, testing::Each(KWPKI_FAILED));
  EXPECT_EQ(KwPkiSearchKeySetPublicKey(no_key, keys), KWPKI_KEY_FAILED);
  EXPECT_EQ(KwPkiSearchKeySetPublicKey(nullptr, keys), KWPKI_KEY_FAILED);
  EXPECT_EQ(KwPkiSearchKeySetPublicKey(const_cast<KwPkiBlock *>(&bad_blob), keys),
            KWPKI_KEY_FAILED);
  EXPECT_EQ(KwPkiSearchSetKeys(keys, search), KWPKI_OK);
  EXPECT_EQ(KwPkiSearchSetKeys(keys, search), KWPKI_OK) << "no key was added: there is none yet";
}

TEST_F(ApiRequestsTest, IdentifiersStartAgainBelowTheTopBit) {
  std::atomic<uint32_t> counter{0x7FFFFFFD};
  for (const uint32_t expected : {0x7FFFFFFDu, 0x7FFFFFFEu, 0u, 1u}) {
    EXPECT_EQ(request_identifier_take(counter), expected);
  }
  uint32_t length = 0, identifier = 0x12345678;
  const SshBlock block = request_envelope_encode(&length, &identifier, 9, 8, 998, unhex("ab"));
  EXPECT_EQ(identifier, 0x12345678u) << "only the status 999 asks for a new one";
  EXPECT_EQ(hex({block.get(), length}),
            "0000000112345678"
            "00000009000003e6"
            "0000000800000001ab");
}

}  // namespace
