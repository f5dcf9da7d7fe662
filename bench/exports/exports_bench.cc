// exports_bench FILE...: certificates in DER, decoded and freed through the exports, against the
// floor of the other benchmarks. It needs nothing but the library, so that it runs on Windows too,
// where the figure to look at is the ratio.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

#include "../bench.h"
#include "kwpki.h"

namespace {

using Octets = std::vector<uint8_t>;

bool decode(const Octets &der) {
  KwPkiCert cert = KwPkiCertAllocate();
  const bool good =
      KwPkiCertSetBer(der.data(), static_cast<uint32_t>(der.size()), cert) == KWPKI_OK;
  (void)KwPkiCertFree(cert);
  return good;
}

bool walk(const Octets &der) { return ssh_bench_floor(der); }

// time_of gives the nanoseconds of one certificate, the median of some rounds.
double time_of(const std::vector<Octets> &certificates, bool (*work)(const Octets &)) {
  constexpr int kRounds = 301;  // each short, so that few of them are interrupted
  std::vector<double> rounds;
  for (int round = 0; round < kRounds; ++round) {
    const auto start = std::chrono::steady_clock::now();
    for (const Octets &der : certificates) (void)work(der);
    const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
    rounds.push_back(taken.count() / static_cast<double>(certificates.size()));
  }
  std::sort(rounds.begin(), rounds.end());
  return rounds[kRounds / 2];
}

}  // namespace

int main(int argc, char **argv) {
  std::vector<Octets> certificates;
  for (int i = 1; i < argc; ++i) {
    std::ifstream file(argv[i], std::ios::binary);
    Octets der{std::istreambuf_iterator<char>(file), {}};
    if (decode(der) && walk(der)) certificates.push_back(std::move(der));
  }
  if (certificates.empty()) {
    std::fputs("exports_bench: none of the files is a certificate in DER\n", stderr);
    return 1;
  }
  const double floor = time_of(certificates, walk), ours = time_of(certificates, decode);
  std::printf("%zu certificates, %zu bits: floor %.0f ns, decode and free %.0f ns, ratio %.2f\n",
              certificates.size(), 8 * sizeof(void *), floor, ours, ours / floor);
  return 0;
}
