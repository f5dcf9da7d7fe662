// A file for what opens files by name.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "fuzz.h"

// MemoryFile is a file of the given bytes that has a name as long as it lives.
class MemoryFile {
 public:
  explicit MemoryFile(Bytes octets) : file_(memfd_create("fuzz", 0)) {
    require(file_ >= 0);
    require(octets.empty() ||
            write(file_, octets.data(), octets.size()) == static_cast<ssize_t>(octets.size()));
    name_ = "/proc/self/fd/" + std::to_string(file_);
  }
  MemoryFile(const MemoryFile &) = delete;
  MemoryFile &operator=(const MemoryFile &) = delete;
  ~MemoryFile() { close(file_); }
  [[nodiscard]] const char *name() const { return name_.c_str(); }

 private:
  int file_;
  std::string name_;
};
