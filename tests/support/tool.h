// The command line tool for tests: called as main() calls it, with files for its standard streams.
// Only tests of the tool can include this.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "kwpki/commands/command_line.h"
#include "kwpki/terminal/exit.h"
#include "support/folder.h"
#include "support/profile.h"
#include "util/owner.h"

using File = Owner<std::FILE, std::fclose>;  // closes itself

// contents gives what was written to a temporary file.
inline std::string contents(std::FILE *file) {
  std::string text(static_cast<size_t>(std::ftell(file)), '\0');
  std::rewind(file);
  EXPECT_EQ(std::fread(text.data(), 1, text.size(), file), text.size());
  return text;
}

// Result is what a run of the tool left.
struct Result {
  int code;
  std::string out, err;

  // The objects that were written, each without the contract that it keeps.
  [[nodiscard]] std::vector<nlohmann::json> objects() const {
    std::vector<nlohmann::json> list;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
      list.push_back(nlohmann::json::parse(line));
      EXPECT_EQ(list.back().at("schema"), "kwpki/1");
      list.back().erase("schema");
    }
    return list;
  }
};

// run calls the tool with arguments and what standard input holds. The profile that the tool
// chooses is left behind.
inline Result run(const std::vector<std::string> &arguments, const std::string &input = "") {
  const ProfileScope kept(ssh_x509_profile());
  const File in(std::tmpfile()), out(std::tmpfile()), err(std::tmpfile());
  std::fwrite(input.data(), 1, input.size(), in.get());
  std::rewind(in.get());
  std::vector<const char *> argv = {"kwpki"};
  for (const std::string &argument : arguments) argv.push_back(argument.c_str());
  const int code = kwpki::run_command_line(static_cast<int>(argv.size()), argv.data(),
                                           {in.get(), out.get(), err.get()});
  return {code, contents(out.get()), contents(err.get())};
}
