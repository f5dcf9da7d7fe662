// Pipes through the public interface.
#include <sys/stat.h>

#include <thread>

#include "api/files_fixture.h"

namespace {

using client::Result;
using namespace files;

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

}  // namespace
