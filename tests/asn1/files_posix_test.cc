// Reading what is no ordinary file: pipes and devices.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include "asn1/files_fixture.h"

using namespace files;

namespace {

class Pipes : public Files {
 protected:
  // through_fifo reads `content` as another thread writes it in odd pieces.
  std::optional<std::string> through_fifo(const std::string &content) {
    const std::string name = path("fifo");
    std::filesystem::remove(name);
    EXPECT_EQ(mkfifo(name.c_str(), 0600), 0);
    std::thread writer([&] {
      const int fd = open(name.c_str(), O_WRONLY);
      for (size_t at = 0; at < content.size();) {
        const ssize_t n =
            ::write(fd, content.data() + at, std::min<size_t>(content.size() - at, 3001));
        if (n < 0) break;
        at += static_cast<size_t>(n);
      }
      close(fd);
    });
    auto result = read(ssh_read_file, name.c_str());
    writer.join();
    return result;
  }
};

}  // namespace

TEST_F(Pipes, Contents) {
  Random random(1);
  for (const size_t size : {0u, 1u, 1023u, 1024u, 1025u, 2047u, 2048u, 4096u, 100001u, 1000000u}) {
    const std::string content = random.text(size, std::string_view("a-\r\n\0\xFF", 6));
    EXPECT_TRUE(through_fifo(content) == content) << size;
  }
}

TEST_F(Pipes, FilesThatDoNotTellTheirSize) {
  EXPECT_EQ(read(ssh_read_file, "/dev/null"), "");
  EXPECT_TRUE(read(ssh_read_file, "/proc/self/status").value_or("").starts_with("Name:"));
  EXPECT_FALSE(read(ssh_read_file, "/dev/zero"));  // never ends
}
