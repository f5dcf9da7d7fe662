// Input and output that only some systems have: pipes, and names of any bytes.
#include <sys/stat.h>

#include "tools/inspect_samples.h"

namespace {

using namespace inspect_samples;
using nlohmann::json;

// Names of files hold what a terminal would act on, too.
TEST(Inspect, NothingFromDataActsOnTheTerminal) {
  const std::string hostile = "\x1b]0;x\x07\u202e\u2066\xc2\x9b\u200b\xff\r\n\x7f";
  const Folder directory;
  const Der names = der::seq({der::text(0x82, hostile), der::text(0x86, hostile),
                              der::text(0x87, hostile), der::text(0x81, "")});
  const std::string der =
      certificate(der::seq({der::set({der::attribute("2.5.4.3", der::text(12, hostile))})}),
                  {sample::extension("2.5.29.17", names),
                   sample::extension("1.2.3.4", der::text(12, hostile))});
  const std::string path = directory.add("a\x1b[31m\u202e\n.der", der);
  const std::string other =
      directory.add("b.pem", "-----BEGIN \x1b[2J\u202e-----\n" + pem("CERTIFICATE", der));
  const std::string cut = directory.add("c\x1b.der", der.substr(0, der.size() / 2));
  for (const bool as_json : {false, true}) {
    const Result result = run({"inspect", "--tree", as_json ? "--json" : "--tree", path, other, cut,
                               directory.at("\x1b missing")});
    EXPECT_EQ(result.code, kwpki::kExitUnreadable);
    for (const std::string *text : {&result.out, &result.err}) {
      std::istringstream lines(*text);
      for (std::string line; std::getline(lines, line);) EXPECT_EQ(kwpki::escape(line), line);
    }
    if (!as_json) continue;
    const auto objects = result.objects();
    ASSERT_EQ(objects.size(), 3u);
    EXPECT_EQ(objects[0]["file"], path);  // lossless: what was escaped for JSON comes back
    const json &dns = objects[0]["extensions"][0]["contents"][0];
    EXPECT_EQ(dns["text_hex"], kwpki::hex(ssh_text_bytes(hostile)));
  }
}

TEST(Inspect, NamedPipes) {
  const Folder directory;
  const std::string good = directory.add("good.der", certificate(der::common_name("A"), {}));
  const std::string fifo = directory.at("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  expect_told({}, {{{"inspect", fifo, good}, 3, "  Serial  ", "named pipe"}});
}

}  // namespace
