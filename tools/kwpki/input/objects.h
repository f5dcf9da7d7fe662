// The certificates and CRLs of files, directories and standard input, one after the other, for
// commands that look at each by itself. What cannot be read is reported, and reading goes on with
// the next.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "kwpki/input/input.h"
#include "kwpki/terminal/exit.h"
#include "kwpki/terminal/output.h"

namespace kwpki {

class Objects {
 public:
  using Take = std::function<void(const Place &place, Bytes octets)>;

  explicit Objects(const Streams &streams) : output(streams), streams_(streams) {}

  // read gives `take` the bytes of every object that the names stand for.
  void read(const std::vector<std::string> &names, const Take &take);

  // read_inputs does the same for the files of a command; none stand for standard input.
  void read_inputs(const std::vector<std::string> &names, const Take &take);

  // fail reports what is wrong with an input and raises the exit code; raise does the latter alone.
  // The largest exit code wins.
  void fail(const std::string &name, const std::string &why, int exit);
  void raise(int exit) { exit_ = exit > exit_ ? exit : exit_; }
  [[nodiscard]] int exit() const { return exit_; }

  Output output;

 private:
  void guard(const Place &place, const std::function<void()> &action);
  void read_file(const Source &source, const Take &take);
  void take_each(const Place &place, Bytes octets, const Take &take);
  void read_blocks(const Source &source, const std::vector<Block> &blocks, const Take &take);

  Streams streams_;
  int exit_ = kExitOk;
};

}  // namespace kwpki
