// What nearly every test needs: GoogleTest, what the standard library has for tables and texts,
// bytes as hexadecimal text, owners of what the library gives, and the end by the fatal routine.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "support/fatal.h"
#include "support/hex.h"
#include "util/mem.h"
#include "util/owner.h"

// Balanced is a test that must leave no block of the library behind, with its members gone.
class Balanced : public testing::Test {
 protected:
  ~Balanced() override { EXPECT_EQ(ssh_mem_blocks(), blocks_); }

 private:
  const int64_t blocks_ = ssh_mem_blocks();
};
