// Files through the public interface: everything that a path may lead to.

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <thread>

#include "api/client.h"
#include "util/mem.h"

namespace {

using client::Result;

// Folder is an empty folder that goes with the test.
class ApiFilesTest : public sample::Balanced {
 protected:
  void SetUp() override {
    Balanced::SetUp();
    char name[] = "/tmp/kwpki-files-XXXXXX";
    ASSERT_TRUE(mkdtemp(name));
    folder_ = name;
  }
  void TearDown() override {
    std::filesystem::remove_all(folder_);
    Balanced::TearDown();
  }
  [[nodiscard]] std::string path(const std::string &name) const { return folder_ + "/" + name; }
  [[nodiscard]] std::string write(const std::string &name, std::string_view content) const {
    std::ofstream(path(name), std::ios::binary) << content;
    return path(name);
  }

 private:
  std::string folder_;
};

// read reads a file; a failure must leave the out arguments as they are.
Result read(const char *path, uint32_t armoured) {
  uint8_t poison = 0, *data = &poison;
  uint32_t length = 77;
  const KwPkiStatus status = KwPkiReadFile(path, armoured, &data, &length);
  if (status != KWPKI_OK) {
    EXPECT_TRUE(data == &poison && length == 77);
    return {status, ""};
  }
  EXPECT_TRUE(data && data != &poison);
  Result result{status, {reinterpret_cast<char *>(data), length}};
  EXPECT_EQ(KwPkiStringFree(data), KWPKI_OK);
  return result;
}
Result read(const std::string &path, uint32_t armoured) { return read(path.c_str(), armoured); }

const Result kUnreadable{KWPKI_FILE_UNREADABLE, ""};
constexpr char kArmoured[] = "before\n-----BEGIN IT-----\nQUJD\nREU=\n-----END IT-----\nafter\n";

TEST_F(ApiFilesTest, Contents) {
  const std::string thousand(1024, 'x'), many(100000, '\0');
  const struct {
    const char *what;
    std::string content;
    Result plain, armoured;
  } rows[] = {
      {"armour", kArmoured, {KWPKI_OK, kArmoured}, {KWPKI_OK, "ABCDE"}},
      {"the last of two",
       "-\nQUJD\n-\n-\nREVG\n-\n",
       {KWPKI_OK, "-\nQUJD\n-\n-\nREVG\n-\n"},
       {KWPKI_OK, "DEF"}},
      {"armour around a line end", "-\n\n\n-\n", {KWPKI_OK, "-\n\n\n-\n"}, {KWPKI_OK, ""}},
      {"armour around nothing", "-\n-\n", {KWPKI_OK, "-\n-\n"}, kUnreadable},
      {"armour that does not end", "-\nQUJD\n", {KWPKI_OK, "-\nQUJD\n"}, kUnreadable},
      {"no armour", "QUJD", {KWPKI_OK, "QUJD"}, kUnreadable},
      {"nothing", "", {KWPKI_OK, ""}, kUnreadable},
      {"one block of octets", thousand, {KWPKI_OK, thousand}, kUnreadable},
      {"many octets", many, {KWPKI_OK, many}, kUnreadable},
  };
  for (const auto &row : rows) {
    const std::string file = write("file", row.content);
    EXPECT_EQ(read(file, 0), row.plain) << row.what;
    EXPECT_EQ(read(file, 1), row.armoured) << row.what;
    EXPECT_EQ(read(file, 0x80000000), row.armoured) << row.what << ", any flag but 0";
  }
  EXPECT_EQ(read(client::example("crl-v1.der"), 1), kUnreadable) << "DER is no armour";
}

TEST_F(ApiFilesTest, WhatCannotBeRead) {
  const std::string huge = write("huge", "");
  ASSERT_EQ(truncate(huge.c_str(), SSH_XMALLOC_MAX + 1), 0);
  const std::string rows[] = {path("missing"), path(""), path("missing/below"), "", huge};
  for (const std::string &name : rows) {
    EXPECT_EQ(read(name, 0), kUnreadable) << name;
    EXPECT_EQ(read(name, 1), kUnreadable) << name;
  }
}

TEST_F(ApiFilesTest, Pipes) {
  const std::string fifo = path("fifo");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const auto feed = [&](const std::string &content, uint32_t armoured) {
    std::thread writer([&] { std::ofstream(fifo) << content; });
    const Result result = read(fifo, armoured);
    writer.join();
    return result;
  };
  const std::string much(300000, 'y');
  EXPECT_EQ(feed(much, 0), (Result{KWPKI_OK, much}));
  EXPECT_EQ(feed(kArmoured, 1), (Result{KWPKI_OK, "ABCDE"}));
  EXPECT_EQ(feed("", 0), (Result{KWPKI_OK, ""}));
}

TEST_F(ApiFilesTest, StandardInput) {
  const std::string file = write("input", kArmoured);
  const int terminal = dup(STDIN_FILENO);
  for (const char *name : {"-", static_cast<const char *>(nullptr)}) {
    for (const uint32_t armoured : {0u, 1u}) {
      ASSERT_TRUE(std::freopen(file.c_str(), "rb", stdin));
      EXPECT_EQ(read(name, armoured), (Result{KWPKI_OK, armoured ? "ABCDE" : kArmoured}));
      EXPECT_EQ(std::fgetc(stdin), EOF) << "it stays open";
    }
  }
  if (terminal >= 0) {
    dup2(terminal, STDIN_FILENO);
    close(terminal);
  }
  std::clearerr(stdin);
}

}  // namespace
