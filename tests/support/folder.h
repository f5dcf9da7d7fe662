// Folder: an empty folder that goes with the test.
#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>

class Folder {
 public:
  Folder() {
    std::random_device random;
    do {
      path_ = std::filesystem::temp_directory_path() / ("kwpki-test-" + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_));
  }
  ~Folder() {
    std::error_code ignored;  // a file that is still open goes with the next cleaning
    std::filesystem::remove_all(path_, ignored);
  }
  Folder(const Folder &) = delete;
  Folder &operator=(const Folder &) = delete;

  // at names something in the folder; "" is the folder itself.
  [[nodiscard]] std::string at(const std::string &name) const {
    return name.empty() ? path_.string() : (path_ / name).string();
  }

  // add writes a file, in a folder below if its name says so.
  std::string add(const std::string &name, std::string_view octets) const {
    std::filesystem::create_directories(std::filesystem::path(at(name)).parent_path());
    std::ofstream(at(name), std::ios::binary) << octets;
    return at(name);
  }

 private:
  std::filesystem::path path_;
};
