// Locked: a folder and a file in it that may only be read, also by a test that runs as root.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

// Root may write everywhere, so its rights are put aside while this lives.
class Locked {
 public:
  explicit Locked(const std::string &file, mode_t mode = 0444)
      : file_(file), folder_(std::filesystem::path(file).parent_path().string()) {
    set_modes(mode, 0555);
    if (root_) (void)seteuid(kNobody);
  }
  ~Locked() {
    if (root_) (void)seteuid(0);
    set_modes(0644, 0755);
  }
  Locked(const Locked &) = delete;
  Locked &operator=(const Locked &) = delete;

  // holds is false where the system does not let this be arranged.
  [[nodiscard]] bool holds() const {
    return eaccess(file_.c_str(), R_OK) == 0 && eaccess(folder_.c_str(), W_OK) != 0;
  }

 private:
  static constexpr uid_t kNobody = 65534;
  void set_modes(mode_t file, mode_t folder) const {
    (void)chmod(file_.c_str(), file);
    (void)chmod(folder_.c_str(), folder);
  }

  std::string file_, folder_;
  bool root_ = geteuid() == 0;
};
