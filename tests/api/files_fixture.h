// Files for the public interface to read, and the reading.
#pragma once

#include "api/client.h"
#include "support/folder.h"

namespace files {

// ApiFilesTest has an empty folder.
class ApiFilesTest : public sample::Balanced {
 protected:
  [[nodiscard]] std::string path(const std::string &name) const { return folder_.at(name); }
  [[nodiscard]] std::string write(const std::string &name, std::string_view content) const {
    return folder_.add(name, content);
  }

 private:
  Folder folder_;
};

// read reads a file; a failure must leave the out arguments as they are.
inline client::Result read(const char *path, uint32_t armoured) {
  uint8_t poison = 0, *data = &poison;
  uint32_t length = 77;
  const KwPkiStatus status = KwPkiReadFile(path, armoured, &data, &length);
  if (status != KWPKI_OK) {
    EXPECT_TRUE(data == &poison && length == 77);
    return {status, ""};
  }
  EXPECT_TRUE(data && data != &poison);
  client::Result result{status, {reinterpret_cast<char *>(data), length}};
  EXPECT_EQ(KwPkiStringFree(data), KWPKI_OK);
  return result;
}
inline client::Result read(const std::string &path, uint32_t armoured) {
  return read(path.c_str(), armoured);
}

inline const client::Result kUnreadable{KWPKI_FILE_UNREADABLE, ""};
inline constexpr char kArmoured[] =
    "before\n-----BEGIN IT-----\nQUJD\nREU=\n-----END IT-----\nafter\n";

}  // namespace files
