// Runs a fuzz entry point over stored inputs, without a fuzzer: every file of the folder named on the
// command line, each from a heap block of exactly its size so that AddressSanitizer sees a read past
// the end. A crash is the failure; an empty run is one too, as it would test nothing.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int, char **argv) {
  bool any = false;
  LLVMFuzzerTestOneInput(nullptr, 0);
  for (const auto &entry : std::filesystem::directory_iterator(argv[1])) {
    std::fprintf(stderr, "%s\n", entry.path().c_str());  // the last one named is the culprit
    const size_t size = std::filesystem::file_size(entry);
    const auto block = std::make_unique<uint8_t[]>(size);
    std::ifstream(entry.path(), std::ios::binary)
        .read(reinterpret_cast<char *>(block.get()), static_cast<std::streamsize>(size));
    LLVMFuzzerTestOneInput(block.get(), size);
    any = true;
  }
  return any ? 0 : 1;
}
