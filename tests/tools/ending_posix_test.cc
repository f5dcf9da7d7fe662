// How the tool ends where its streams or memory fail: with the exit status of its manual page and,
// wherever there is a place for it, a word of why.
#include <fcntl.h>
#include <sys/resource.h>

#include <filesystem>

#include "support/child.h"
#include "tools/inspect_samples.h"

namespace {

using namespace inspect_samples;
using Arguments = std::vector<std::string>;

const std::string kExamples = KWPKI_SOURCE_DIR "/examples/";

// become_tool makes the process the tool as it is built.
[[noreturn]] void become_tool(const Arguments &arguments) {
  std::vector<char *> argv = {const_cast<char *>("kwpki")};
  for (const std::string &argument : arguments)
    argv.push_back(const_cast<char *>(argument.c_str()));
  argv.push_back(nullptr);
  execv(KWPKI_TOOL, argv.data());
  std::_Exit(126);
}

enum Stream { kOpen, kFull, kClosed, kBroken };

// become makes a file descriptor such a stream; `open` is what it is if it is open.
void become(int file, Stream stream, int open_file) {
  int ends[2] = {open_file, open_file};
  if (stream == kFull) ends[1] = open("/dev/full", O_RDWR);
  if (stream == kBroken && pipe(ends) == 0) close(ends[0]);
  dup2(ends[1], file);
  if (stream == kClosed) close(file);
}

TEST(Ending, EveryStateOfTheStandardStreams) {
  const Folder directory;
  const std::string good = directory.add("c.der", certificate(der::common_name("A"), {})),
                    bad = directory.add("bad.der", "\x30\x01"), other = directory.at("out"),
                    message = directory.add("m", R"({"request_type": 6, "request_id": 7})");
  const struct {
    Arguments arguments;
    int status;
    bool writes;
    bool reads = false;
  } commands[] = {
      {{"inspect", good}, 0, true},
      {{"inspect"}, 0, true, true},
      {{"inspect", bad}, 1, true},
      {{"message", "encode", message}, 0, true},
      {{"message", "encode", message, "--output", other}, 0, false},
      {{"message", "encode", message, "--output", "/dev/full"}, 3, false},
  };
  for (const auto &command : commands) {
    for (const Stream in : {kOpen, kClosed}) {
      if (in == kClosed && !command.reads) continue;
      for (const Stream out : {kOpen, kFull, kClosed, kBroken}) {
        for (const Stream err : {kOpen, kFull, kClosed}) {
          const Ended ended = in_child([&] {
            const int said = dup(STDOUT_FILENO), null = open("/dev/null", O_RDWR);
            become(STDIN_FILENO, in, open(good.c_str(), O_RDONLY));
            become(STDOUT_FILENO, out, null);
            become(STDERR_FILENO, err, said);
            become_tool(command.arguments);
          });
          const bool lost = command.writes && (out == kFull || out == kClosed);
          const int expected = in == kClosed || lost ? 3 : command.status;
          EXPECT_EQ(ended.status, expected)
              << testing::PrintToString(command.arguments) << in << out << err << ": " << ended.out;
          if (lost && in == kOpen && err == kOpen) {
            EXPECT_THAT(ended.out, testing::HasSubstr("kwpki: cannot write: "));
          }
        }
      }
    }
  }
  EXPECT_EQ(std::filesystem::file_size(other), 24u);
}

#ifdef KWPKI_SHIPPED  // the sanitizers take more than there is
// The process has too little room, from so little that the tool just starts.
TEST(Ending, TheProcessIsOutOfMemory) {
  constexpr rlim_t kCoarse = 0x100000, kFine = 0x10000;
  const Folder directory;
  const std::string store = directory.at("store");
  EXPECT_EQ(run({"add", kExamples + "chain-bundle.pem", "--store", store}).code, 0);
  const Arguments commands[] = {
      {"inspect", "--json", "--tree", kExamples + "v3-rich.der", kExamples + "crl-v2.pem"},
      {"search", "--dns", "www.example.com", "--store", store},
      {"add", kExamples + "ca-root.pem", "--store", store},
  };
  for (const Arguments &command : commands) {
    const auto run_within = [&](rlim_t limit) {
      return in_child([&] {
        const int null = open("/dev/null", O_WRONLY);
        dup2(STDOUT_FILENO, STDERR_FILENO);
        dup2(null, STDOUT_FILENO);
        const rlimit room = {limit, limit};
        if (setrlimit(RLIMIT_AS, &room) == 0) become_tool(command);
      });
    };
    constexpr int kNotStarted = 127;  // by the loader
    rlim_t limit = 8 * kCoarse;
    while (run_within(limit).status == kNotStarted) limit += kCoarse;
    limit -= kCoarse;
    int refused = 0;
    for (Ended ended = {1, ""}; ended.status != 0; limit += kFine) {
      ended = run_within(limit);
      if (ended.status == 0 || ended.status == kNotStarted) continue;
      ASSERT_EQ(ended.status, 3) << command[0] << " within " << limit << ": " << ended.out;
      ++refused;
    }
    EXPECT_GT(refused, 0) << command[0];
  }
}
#endif

}  // namespace
