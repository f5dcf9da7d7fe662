// Twenty replies, each cut at every place and changed in every octet: a documented result, at most
// one call, and nothing left over.
#include "api/host.h"

namespace {

using host::Agent;
using host::Calls;
using ApiBadRepliesTest = sample::Balanced;

struct Reply {
  uint32_t type;
  uint32_t status;
  Der payload;
};

std::vector<Reply> replies() {
  sample::CertParts rich;
  rich.extensions = {
      sample::extension("2.5.29.17", der::seq({der::text(0x82, "a"), der::text(0x81, "b@c")})),
      sample::extension("2.5.29.19", der::seq({der::boolean(true), der::integer(3)}), true)};
  const Der a = rich.build(), b = sample::CertParts().build();
  const std::vector<Der> keys = {wire::key(3, unhex("3000")), wire::key(13, Der(20, 1)),
                                 wire::key(20, {1})};
  std::vector<Reply> all;
  for (const uint32_t type : {0u, 1u, 5u, 7u}) all.push_back({type, type, {}});
  all.push_back({0, 0xFFFFFFFF, unhex("0102")});
  for (const uint32_t type : {2u, 3u}) {
    all.push_back({type, 0, wire::list(0, {})});
    all.push_back({type, 0, wire::list(1, {wire::element(a, keys)}, "text")});
    all.push_back(
        {type, 9, wire::list(3, {wire::element(b), unhex("00000001"), wire::element(a)})});
  }
  all.push_back({2, 0, wire::list(2, {wire::element({}, keys), wire::element({})})});
  all.push_back({3, 0, {}});
  all.push_back({4, 0, wire::u32(0)});
  all.push_back({4, 0, wire::join({wire::u32(1), wire::str("CN=a")})});
  all.push_back(
      {4, 0, wire::join({wire::u32(3), wire::str("CN=a"), wire::str(""), wire::str("b")})});
  all.push_back({4, 1, wire::u32(7)});
  all.push_back({6, 0, {}});
  all.push_back({6, 0, unhex("00112233")});
  all.push_back({6, 7, Der(200, 0x33)});
  return all;
}

// read asks a list's certificates for everything.
void read(KwPkiCertList list) {
  for (KwPkiCert cert = KwPkiCertListLast(list); cert; cert = KwPkiCertListPrev(list)) {
    client::all(cert);
  }
}

// give posts a request, processes what `spoil` makes of its reply and holds the result to the calls.
// A request that is still open afterwards must take its proper reply; `stays_open` says that it must
// be.
template <class Spoil>
void give(const Reply &reply, Agent &agent, bool stays_open, const Spoil &spoil) {
  Calls calls;
  agent.posted.clear();
  const uint32_t id = host::post(reply.type, calls, agent);
  const Der proper = wire::envelope(id, reply.type, reply.status, reply.payload);
  Der spoilt = proper;
  spoil(spoilt);
  const std::vector<uint8_t> exact(spoilt.begin(), spoilt.end());
  const KwPkiStatus result = host::process(exact);
  EXPECT_TRUE(result == KWPKI_OK || result == KWPKI_FAILED) << result;
  EXPECT_EQ(calls.count, result == KWPKI_OK);
  read(calls.list);

  const int before = calls.count;
  const KwPkiStatus again = host::process(proper);
  EXPECT_EQ(calls.count - before, again == KWPKI_OK);
  EXPECT_LE(calls.count, 1);
  EXPECT_TRUE(!stays_open || again == KWPKI_OK);
}

TEST_F(ApiBadRepliesTest, CutAndChanged) {
  Agent agent;
  const std::vector<Reply> all = replies();
  EXPECT_GE(all.size(), 20u);
  for (const Reply &reply : all) {
    const size_t length = wire::envelope(0, 0, 0, reply.payload).size();
    for (size_t i = 0; i < length; ++i) {
      give(reply, agent, true, [=](Der &octets) { octets.resize(i); });
      for (const int change : {0x01, 0x80, 0xFF}) {
        give(reply, agent, false,
             [=](Der &octets) { octets[i] = static_cast<uint8_t>(octets[i] ^ change); });
      }
    }
  }
}

TEST_F(ApiBadRepliesTest, NoMessageAtAll) {
  EXPECT_EQ(KwPkiProcessAsyncResponce(nullptr, 0), KWPKI_FAILED);
  EXPECT_EQ(KwPkiProcessAsyncResponce(nullptr, 0xFFFFFFFF), KWPKI_FAILED);
  EXPECT_EQ(host::process(wire::envelope(0xFFFFFFFF, 6, 0, {})), KWPKI_FAILED);
}

}  // namespace
