// EXPECT_FATAL(statement, text): the statement ends the process with status 1 and exactly this
// message, which goes to where death tests look for it.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "util/fatal.h"

#define EXPECT_FATAL(statement, text)                                                        \
  EXPECT_EXIT(                                                                               \
      {                                                                                      \
        ssh_fatal_register([](void *, const char *message) { std::fputs(message, stderr); }, \
                           nullptr, nullptr);                                                \
        statement;                                                                           \
      },                                                                                     \
      testing::ExitedWithCode(1), testing::Eq(std::string(text)))
