// Replies of every form, each cut at every place and changed in every octet: a documented result,
// at most one call, and nothing left over.
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
  const Der two = wire::list(3, {wire::element(b), unhex("00000001"), wire::element(a)});
  return {{0, 0xFFFFFFFF, unhex("0102")},
          {1, 1, {}},
          {5, 5, {}},
          {7, 7, {}},
          {2, 0, wire::list(0, {})},
          {2, 0, wire::list(1, {wire::element(a, keys)}, "text")},
          {2, 0, wire::list(2, {wire::element({}, keys), wire::element({})})},
          {3, 9, two},
          {3, 0, {}},
          {4, 0, wire::u32(0)},
          {4, 0, der::join({wire::u32(3), wire::str("CN=a"), wire::str(""), wire::str("b")})},
          {4, 1, wire::u32(7)},
          {6, 0, {}},
          {6, 7, Der(200, 0x33)}};
}

// give posts a request, processes what `spoil` makes of its reply and holds the result to the calls.
// A request that is still open afterwards must take its proper reply; `stays_open` says that it must
// be.
template <class Spoil>
void give(const Reply &reply, Agent &agent, bool stays_open, const Spoil &spoil) {
  Calls calls;
  agent.posted.clear();
  const uint32_t id = host::post(reply.type, &calls, agent);
  const Der proper = wire::envelope(id, reply.type, reply.status, reply.payload);
  Der spoilt = proper;
  spoil(spoilt);
  const KwPkiStatus result = host::process(Der(spoilt));  // in a block of exactly its size
  EXPECT_TRUE(result == KWPKI_OK || result == KWPKI_FAILED) << result;
  EXPECT_EQ(calls.count, result == KWPKI_OK);
  for (KwPkiCert cert = KwPkiCertListLast(calls.list); cert; cert = KwPkiCertListPrev(calls.list)) {
    client::all(cert);
  }

  const int before = calls.count;
  const KwPkiStatus again = host::process(proper);
  EXPECT_EQ(calls.count - before, again == KWPKI_OK);
  EXPECT_LE(calls.count, 1);
  EXPECT_TRUE(!stays_open || again == KWPKI_OK);
}

TEST_F(ApiBadRepliesTest, CutAndChanged) {
  Agent agent;
  for (const Reply &reply : replies()) {
    const size_t length = wire::envelope(0, 0, 0, reply.payload).size();
    for (size_t i = 0; i < length; ++i) {
      give(reply, agent, true, [=](Der &octets) { octets.resize(i); });
      for (const int change : {0x01, 0x80, 0xFF}) {
        give(reply, agent, false,
             [=](Der &octets) { octets[i] = static_cast<uint8_t>(octets[i] ^ change); });
      }
    }
  }
  EXPECT_EQ(KwPkiProcessAsyncResponce(nullptr, 0xFFFFFFFF), KWPKI_FAILED);
}

}  // namespace
