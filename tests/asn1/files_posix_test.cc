// Reading what is no ordinary file: pipes and devices.
#include <sys/stat.h>

#include <thread>

#include "asn1/files_fixture.h"

namespace {

TEST_F(Files, PipesAreReadToTheirEnd) {
  const std::string name = folder_.at("fifo");
  ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
  for (const std::string &content : contents()) {
    std::thread writer([&] { std::ofstream(name) << content; });
    EXPECT_TRUE(read(name.c_str(), ssh_read_file) == content) << content.size();
    writer.join();
  }
}

TEST_F(Files, DevicesDoNotTellTheirSize) {
  EXPECT_EQ(read("/dev/null", ssh_read_file), "");
  EXPECT_TRUE(read("/proc/self/status", ssh_read_file).value_or("").starts_with("Name:"));
  EXPECT_FALSE(read("/dev/zero", ssh_read_file)) << "it never ends";
}

}  // namespace
