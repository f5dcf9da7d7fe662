// EXPECT_FATAL(statement, text): the statement ends the process with status 1 and exactly this
// message.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "util/fatal.h"

// fatal_to_stderr sends fatal messages to where death tests look for them.
inline void fatal_to_stderr() {
  ssh_fatal_register([](void *, const char *message) { std::fputs(message, stderr); }, nullptr,
                     nullptr);
}

#define EXPECT_FATAL(statement, text) \
  EXPECT_EXIT(                        \
      {                               \
        fatal_to_stderr();            \
        statement;                    \
      },                              \
      testing::ExitedWithCode(1), testing::Eq(std::string(text)))
