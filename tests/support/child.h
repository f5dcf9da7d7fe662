// Something done in a child process. Only tests named *_posix_test.cc can include this.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

// Ended is how a child ended and what it wrote to standard output. A signal is a status above 255.
struct Ended {
  int status;
  std::string out;
};

// in_child does something in a child, whose status is 0 unless it ends with another. One that hangs
// is ended by a signal.
template <class What>
Ended in_child(const What &what) {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    alarm(60);
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
    what();
    std::exit(0);
  }
  close(ends[1]);
  Ended ended = {};
  char block[4096];
  ssize_t got = 0;
  while ((got = read(ends[0], block, sizeof block)) > 0) {
    ended.out.append(block, static_cast<size_t>(got));
  }
  close(ends[0]);
  EXPECT_EQ(waitpid(child, &ended.status, 0), child);
  ended.status = WIFEXITED(ended.status) ? WEXITSTATUS(ended.status) : 256 + ended.status;
  return ended;
}
