// Files through the public interface: how they are asked for, and what is told of those that cannot
// be read.
#include "api/client.h"
#include "support/folder.h"

namespace {

using client::example;
using client::read;
using client::Result;
using ApiFilesTest = sample::Balanced;

const Result kUnreadable{KWPKI_FILE_UNREADABLE, ""};

TEST_F(ApiFilesTest, Contents) {
  const Folder folder;
  const std::pair<std::string, Result> rows[] = {{"-\nQUJD\n-\n-\nREVG\n-\n", {KWPKI_OK, "DEF"}},
                                                 {"-\n\n\n-\n", {KWPKI_OK, ""}},
                                                 {"-\n-\n", kUnreadable},
                                                 {"", kUnreadable},
                                                 {std::string(100000, '\0'), kUnreadable}};
  for (const auto &[content, armoured] : rows) {
    const std::string file = folder.add("file", content);
    EXPECT_EQ(read(file.c_str(), 0), (Result{KWPKI_OK, content}));
    for (const uint32_t flag : {1u, 0x80000000u}) EXPECT_EQ(read(file.c_str(), flag), armoured);
  }
  const std::string huge = folder.add("huge", "");
  std::filesystem::resize_file(huge, SSH_XMALLOC_MAX + 1);
  for (const std::string &name : {folder.at("missing"), folder.at(""), std::string(), huge}) {
    for (const uint32_t armoured : {0u, 1u}) EXPECT_EQ(read(name.c_str(), armoured), kUnreadable);
  }
}

TEST_F(ApiFilesTest, CrlsFromFiles) {
  const client::Crl crl;
  const std::pair<const char *, KwPkiStatus> rows[] = {{"crl-v2.pem", KWPKI_OK},
                                                       {"ca-root.pem", KWPKI_FAILED},
                                                       {"crl-v1.der", KWPKI_FILE_UNREADABLE}};
  for (const auto &[name, expected] : rows) {
    EXPECT_EQ(KwPkiCrlReadFromFile(example(name).c_str(), crl), expected) << name;
  }
  EXPECT_EQ(KwPkiCrlReadFromFile(example("crl-v2.pem").c_str(), nullptr), KWPKI_FAILED);
}

}  // namespace
