// Files through the public interface: how they are asked for, and what is told of those that cannot
// be read.
#include <unistd.h>

#include <cstdio>

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
  const std::string many(100000, '\0'), two = "-\nQUJD\n-\n-\nREVG\n-\n";
  const struct {
    std::string content;
    Result armoured;
  } rows[] = {{two, {KWPKI_OK, "DEF"}}, {"-\n\n\n-\n", {KWPKI_OK, ""}},
              {"-\n-\n", kUnreadable},  {"QUJD", kUnreadable},
              {"", kUnreadable},        {many, kUnreadable}};
  for (const auto &row : rows) {
    const std::string file = folder.add("file", row.content);
    EXPECT_EQ(read(file.c_str(), 0), (Result{KWPKI_OK, row.content}));
    EXPECT_EQ(read(file.c_str(), 1), row.armoured) << row.content;
    EXPECT_EQ(read(file.c_str(), 0x80000000), row.armoured) << row.content << ", any flag but 0";
  }
  const std::string huge = folder.add("huge", "");
  std::filesystem::resize_file(huge, SSH_XMALLOC_MAX + 1);
  for (const std::string &name : {folder.at("missing"), folder.at(""), std::string(), huge}) {
    for (const uint32_t armoured : {0u, 1u}) EXPECT_EQ(read(name.c_str(), armoured), kUnreadable);
  }
}

TEST_F(ApiFilesTest, StandardInput) {
  const Folder folder;
  const std::string armour = "-\nQUJD\n-\n", file = folder.add("input", armour);
  const int terminal = dup(STDIN_FILENO);
  for (const char *name : {"-", static_cast<const char *>(nullptr)}) {
    for (const uint32_t armoured : {0u, 1u}) {
      ASSERT_TRUE(std::freopen(file.c_str(), "rb", stdin));
      EXPECT_EQ(read(name, armoured), (Result{KWPKI_OK, armoured ? "ABC" : armour}));
      EXPECT_EQ(std::fgetc(stdin), EOF) << "it stays open";
    }
  }
  if (terminal >= 0) {
    dup2(terminal, STDIN_FILENO);
    close(terminal);
  }
  std::clearerr(stdin);
}

TEST_F(ApiFilesTest, CrlsFromFiles) {
  const client::Crl crl;
  const std::pair<const char *, KwPkiStatus> rows[] = {{"crl-v2.pem", KWPKI_OK},
                                                       {"ca-root.pem", KWPKI_FAILED},
                                                       {"chain-bundle.pem", KWPKI_FAILED},
                                                       {"crl-v1.der", KWPKI_FILE_UNREADABLE},
                                                       {"none.pem", KWPKI_FILE_UNREADABLE}};
  for (const auto &[name, expected] : rows) {
    EXPECT_EQ(KwPkiCrlReadFromFile(example(name).c_str(), crl), expected) << name;
  }
  EXPECT_EQ(KwPkiCrlReadFromFile(example("crl-v2.pem").c_str(), nullptr), KWPKI_FAILED);
}

}  // namespace
