// The codes that `kwpki error` tells.
#include "kwpki/values/errors.h"

#include "tools/inspect_samples.h"

namespace {

using inspect_samples::expect_told;

TEST(ErrorCommand, FindsCodesAndNames) {
  for (const char *code :
       {"0X84090005", "2215182341", "-2079784955", "84090005", "KWPKI_FAILED", "failed"})
    expect_told({"error", "--json", code}, {{{}, 0, R"("name":"KWPKI_FAILED")"}});
  EXPECT_EQ(run({"error", "--json"}).objects().size(), kwpki::error_rows().size());
  for (const char *said :  // of layers, each of which has its own
       {"\"BER\": the bytes end", "\"ASN.1\": List empty", "\"objects\": a"})
    expect_told({"error", "5"}, {{{}, 0, said}});
  for (const char *code : {"123456", "0x", "4294967296", "-1x", "0x-5", "KWPKI_"})
    expect_told({"error", code}, {{{}, 1, "", "of the library: "}});
}

}  // namespace
