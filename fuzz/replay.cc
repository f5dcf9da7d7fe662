// Runs a fuzz entry point over stored inputs, without a fuzzer: every file of the directories named
// on the command line, each from a heap block of exactly its size so that AddressSanitizer sees a
// read past the end. A crash is the failure; an empty run is one too, as it would test nothing.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

void run_file(const std::filesystem::path &path) {
  std::ifstream file(path, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  const auto block = std::make_unique<uint8_t[]>(text.size());
  if (!text.empty()) std::memcpy(block.get(), text.data(), text.size());
  LLVMFuzzerTestOneInput(block.get(), text.size());
}

}  // namespace

int main(int argc, char **argv) {
  unsigned count = 0;
  LLVMFuzzerTestOneInput(nullptr, 0);
  for (int i = 1; i < argc; ++i) {
    std::error_code error;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(argv[i], error)) {
      if (!entry.is_regular_file()) continue;
      std::fprintf(stderr, "%s\n", entry.path().c_str());  // the last one named is the culprit
      run_file(entry.path());
      ++count;
    }
    if (error) std::fprintf(stderr, "%s: %s\n", argv[i], error.message().c_str());
  }
  std::printf("%u inputs\n", count);
  return count ? 0 : 1;
}
