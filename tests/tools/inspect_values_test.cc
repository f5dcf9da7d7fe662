// What the tool shows of extensions that no record holds, in text and JSON.
#include "tools/inspect_samples.h"

namespace {

using namespace inspect_samples;
using nlohmann::json;
using testing::HasSubstr;

std::string with_extension(const char *oid, const Der &value) {
  return certificate(der::common_name("A"), {sample::extension(oid, value)});
}

// A TLS vector with two bytes of length.
Der counted(const Der &content) {
  return der::join(
      {{static_cast<uint8_t>(content.size() >> 8), static_cast<uint8_t>(content.size())}, content});
}

constexpr char kTimestamps[] = "1.3.6.1.4.1.11129.2.4.2";

// A timestamp of the log 0101..., 2023-11-14T22:13:20.123Z, signed in three bytes.
Der timestamp(uint8_t version, const Der &extensions) {
  return counted(der::join({{version},
                            Der(32, 1),
                            unhex("0000018bcfe5687b"),
                            counted(extensions),
                            {4, 3},
                            counted({7, 8, 9})}));
}
Der timestamps(const Der &list) { return der::octets(counted(list)); }

TEST(InspectValues, InWords) {
  const struct {
    const char *oid;
    Der value;
    std::vector<const char *> lines;
  } rows[] = {
      {kTimestamps,
       timestamps(der::join({timestamp(0, {}), timestamp(0, {0xAB})})),
       {"Count: 2\n", "Log identifier: 01:01:", "Time: 2023-11-14T22:13:20.123Z\n",
        "Signature: ecdsa with sha256\n", "Extensions: ab\n", "Signature value: 07:08:09\n"}},
      {kTimestamps, timestamps(timestamp(1, {})), {"Count: 1\n", "Version: 2\n"}},
      {"1.3.6.1.4.1.11129.2.4.3", der::null(), {"a precertificate, not to be relied upon\n"}},
      {"2.16.840.1.113730.1.1",
       der::bits({0xE5}),
       {"SSL client, SSL server, S/MIME, SSL CA, object signing CA\n"}},
      {"1.3.6.1.4.1.311.21.1", der::integer(0x20003), {"Certificate index: 3\n", "Key index: 2\n"}},
      // Prefixes, and ranges whose ends have the bits that differ from all zeros and all ones.
      {"1.3.6.1.5.5.7.1.7",
       der::seq({der::seq({der::octets(Der{0, 1}),
                           der::seq({der::bits({10}),
                                     der::seq({der::bits({10, 1}), der::bits({10, 2}, 1)})})}),
                 der::seq({der::octets(Der{0, 2}), der::null()})}),
       {"Blocks: 10.0.0.0/8, 10.1.0.0 to 10.3.255.255\n", "Family: IPv6\n", "Blocks: inherited\n"}},
      {"1.3.6.1.5.5.7.1.8",
       der::seq(
           {der::wrap(0, der::seq({der::integer(5), der::seq({der::integer(7), der::integer(9)})})),
            der::wrap(1, der::null())}),
       {"AS numbers: 5, 7 to 9\n", "Routing domains: inherited\n"}},
  };
  for (const auto &row : rows) {
    const std::string der = with_extension(row.oid, row.value);
    const Result text = run({"inspect", "--full"}, der);
    EXPECT_EQ(text.code, 0) << row.oid << text.out;
    EXPECT_THAT(text.out, testing::Not(HasSubstr("unknown extension"))) << row.oid;
    for (const char *line : row.lines) EXPECT_THAT(text.out, HasSubstr(line)) << row.oid;
    const json shown = run({"inspect", "--json"}, der).objects().at(0)["extensions"].at(0);
    EXPECT_TRUE(shown.contains("contents") || shown.contains("text")) << shown;
  }
}

// A value that is not of its form is shown as it stands, whatever part of it is missing.
TEST(InspectValues, BrokenTimestampsStayOctets) {
  const Der whole = timestamp(0, {0xAB});
  for (const Der &value : {der::octets(whole), der::octets(der::join({counted(whole), {0}})),
                           timestamps({0, 0}), timestamps({whole.begin(), whole.end() - 1}),
                           timestamps({whole.begin(), whole.begin() + 20})}) {
    const Result result = run({"inspect", "--json"}, with_extension(kTimestamps, value));
    const json shown = result.objects().at(0)["extensions"].at(0);
    EXPECT_FALSE(shown.contains("contents")) << shown;
  }
}

}  // namespace
