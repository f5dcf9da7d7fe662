// Files through the public interface: everything that a path may lead to.

#include <unistd.h>

#include <cstdio>

#include "api/files_fixture.h"
#include "util/mem.h"

namespace {

using client::Result;
using namespace files;

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
  std::filesystem::resize_file(huge, SSH_XMALLOC_MAX + 1);
  const std::string rows[] = {path("missing"), path(""), path("missing/below"), "", huge};
  for (const std::string &name : rows) {
    EXPECT_EQ(read(name, 0), kUnreadable) << name;
    EXPECT_EQ(read(name, 1), kUnreadable) << name;
  }
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
