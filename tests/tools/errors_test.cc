// The codes that `kwpki error` tells.
#include "kwpki/values/errors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/tool.h"

namespace {

using testing::HasSubstr;

TEST(ErrorCommand, FindsCodesAndNames) {
  for (const char *code :
       {"0X84090005", "2215182341", "-2079784955", "84090005", "KWPKI_FAILED", "failed"}) {
    const Result result = run({"error", "--json", code});
    ASSERT_EQ(result.code, 0) << code << result.err;
    EXPECT_EQ(result.objects().at(0)["name"], "KWPKI_FAILED");
  }
  EXPECT_EQ(run({"error", "--json"}).objects().size(), kwpki::error_rows().size());
  const Result status = run({"error", "5"});  // of layers, each of which has its own
  for (const char *said : {"\"BER\": the bytes end", "\"ASN.1\": List empty", "\"objects\": a"})
    EXPECT_THAT(status.out, HasSubstr(said));
  for (const char *code : {"123456", "0x", "4294967296", "-1x", "0x-5", "KWPKI_"}) {
    const Result result = run({"error", code});
    EXPECT_EQ(result.code, 1) << code;
    EXPECT_THAT(result.err, HasSubstr("of the library: ")) << code;
  }
}

}  // namespace
