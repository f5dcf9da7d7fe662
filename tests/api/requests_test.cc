// What requests look like on the wire, byte by byte, and what is refused before anything is sent.

#include "api/envelope.h"
#include "api/handles.h"
#include "api/host.h"
#include "support/peer.h"

namespace {

using host::Agent;
using host::Calls;
using host::Search;
using wire::Ask;
using ApiRequestsTest = sample::Balanced;

// finish answers a request, so that nothing of it is left.
void finish(const Der &message) {
  EXPECT_EQ(host::answer(host::id(message), wire::number(message, wire::kType)), KWPKI_OK);
}

TEST_F(ApiRequestsTest, PayloadsOfEveryExport) {
  Agent agent;
  Calls calls;
  const client::Cert cert, no_cert;
  const client::Crl crl;
  const client::Key key;
  const Search search, untouched;
  const host::SearchKey keys;
  const host::Validity validity;
  const Der cert_der = sample::CertParts().build(), crl_der = sample::CrlParts().build();
  const KwPkiStatus prepared[] = {
      client::set(cert, cert_der),
      client::set(crl, crl_der),
      KwPkiSearchKeySetIP(unhex("c0000201").data(), 4, keys),
      KwPkiSearchKeySetDNS("www.example.com", 3, keys),
      KwPkiSearchKeySetURI(" U: ", 0, keys),
      KwPkiSearchKeySetEmail("A@b", 0, keys),
      KwPkiSearchKeySetOID("1.2", 0, keys),
      KwPkiSearchKeySetDN("CN=A  b", 77, keys),
      KwPkiCertGetPublicKey(cert, key),
      KwPkiSearchKeySetPublicKey(key, keys),
      KwPkiSearchSetKeys(keys, search),
      KwPkiSearchKeySetIP(nullptr, 0, keys),  // too late for the constraints
      KwPkiSearchSetUnixTime(0, 0xFFFFFFFF, search),
      KwPkiSearchSetPathLength(5, search),
      KwPkiSearchSetKeyUsage(0x80000001, search),
      KwPkiSearchSetKeyType(2, search),
      KwPkiSearchSetRule(3, search),
      KwPkiSearchSetGroupModeOn(search),
  };
  ASSERT_THAT(prepared, testing::Each(KWPKI_OK));
  EXPECT_EQ(KwPkiSearchSetKeys(keys, search), KWPKI_FAILED) << "it has keys";
  ssh_ber_time_set_from_unix_time(&validity->not_before, 951782400);  // no export sets them
  ssh_ber_time_set_from_unix_time(&validity->not_after, 1);
  const Der times = wire::validity("2000 Feb 29th, 00:00:00 GMT", "1970 Jan  1st, 00:00:01 GMT");
  const Ask full = {.not_before = "1970 Jan  1st, 00:00:00 GMT",
                    .not_after = "2106 Feb  7th, 06:28:15 GMT",
                    .keys = {wire::key(13, unhex(peer_digest("sha1", {key->data, key->length}))),
                             wire::key(3, unhex("300e310c300a06035504031303612062")),
                             wire::key(12, unhex("312e32")), wire::key(10, unhex("414062")),
                             wire::key(6, unhex("20553a20")), wire::key(5, unhex("777777")),
                             wire::key(4, unhex("c0000201"))},
                    .path_length = 5,
                    .key_usage = 0x80000001,
                    .key_type = 2,
                    .rule = 3,
                    .group_mode = 1};
  const char *names[] = {"one", nullptr, "", "f\xC3\xB6ur"};
  const Der four = der::join({wire::str("one"), Der(8), wire::str("f\xC3\xB6ur")});
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
       der::join({wire::u32(0xFE000001), wire::str(Bytes(cert_der))})},
      {"empty certificate", 0, KwPkiCertAddAsync(no_cert, status, &calls, 0, &agent), Der(8)},
      {"CRL", 1, KwPkiCrlAddAsync(crl, status, &calls, &agent), wire::str(Bytes(crl_der))},
      {"search", 2, KwPkiSearchAsync(search, validity, list, &calls, &agent),
       der::join({full.build(), times})},
      {"path", 3, KwPkiSearchPathAsync(untouched, search, nullptr, list, &calls, &agent),
       der::join({Ask().build(), full.build(), wire::validity()})},
      {"CA names", 4, KwPkiCaNamesAsync(Calls::on_names, &calls, &agent), {}},
      {"certificate request", 5,
       KwPkiCertRequestAsync(&block, names, "more", status, &calls, &agent),
       der::join({wire::str(Bytes(block.data, 3)), four, wire::str("more")})},
      {"status", 6, KwPkiStatusAsync(Calls::on_data, &calls, &agent), {}},
      {"removal", 7, KwPkiCertRequestRemoveAsync(names, status, &calls, &agent), four},
  };
  ASSERT_EQ(agent.posted.size(), std::size(rows));
  const uint32_t first = host::id(agent.posted[0]);
  for (size_t i = 0; i < std::size(rows); ++i) {
    EXPECT_EQ(rows[i].result, KWPKI_OK) << rows[i].why;
    const Der expected =
        wire::request(first + static_cast<uint32_t>(i), rows[i].type, rows[i].payload);
    EXPECT_EQ(hex(agent.posted[i]), hex(expected)) << rows[i].why;
    finish(agent.posted[i]);
  }
}

TEST_F(ApiRequestsTest, RefusedBeforeAnIdentifierIsTaken) {
  Agent agent;
  Calls calls;
  const char *names[4] = {};
  constexpr uint32_t kMost = 0x63FE000 - 6 * 4;  // six lengths
  const Der octets(kMost, 0x5A);
  const KwPkiBlock fits = {octets.data(), kMost}, too_long = {octets.data(), kMost + 1};
  const auto status = Calls::on_status;
  const uint32_t before = host::post(4, &calls, agent);
  EXPECT_EQ(KwPkiCertRequestAsync(&too_long, names, nullptr, status, &calls, &agent),
            KWPKI_NOT_POSTED);
  EXPECT_EQ(KwPkiCertRequestAsync(&fits, names, nullptr, status, &calls, &agent), KWPKI_OK);
  EXPECT_EQ(host::id(agent.last()), before + 1);
  EXPECT_EQ(agent.last().size(), 24u + 0x63FE000);
  for (const Der &message : agent.posted) finish(message);
}

TEST_F(ApiRequestsTest, IdentifiersStartAgainBelowTheTopBit) {
  std::atomic<uint32_t> counter{0x7FFFFFFD};
  for (const uint32_t expected : {0x7FFFFFFDu, 0x7FFFFFFEu, 0u, 1u}) {
    EXPECT_EQ(request_identifier_take(counter), expected);
  }
  uint32_t length = 0, identifier = 0x12345678;
  const SshBlock block = request_envelope_encode(&length, &identifier, 9, 8, 998, unhex("ab"));
  EXPECT_EQ(identifier, 0x12345678u) << "only the status 999 asks for a new one";
  EXPECT_EQ(hex({block.get(), length}), "000000011234567800000009000003e60000000800000001ab");
}

}  // namespace
