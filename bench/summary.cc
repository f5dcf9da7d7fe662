#include "summary.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "bench.h"

namespace {

// Measure gives what a target is about, of one of our cases and the one it is measured against.
using Measure = double (*)(const SshBenchResult &ours, const SshBenchResult &other);

double ratio(const SshBenchResult &ours, const SshBenchResult &other) {
  return ours.time / other.time;
}
double calls(const SshBenchResult &ours, const SshBenchResult &) { return ours.heap_calls; }
double peak(const SshBenchResult &ours, const SshBenchResult &) {
  return ours.heap_peak / ours.octets;
}
double growth(const SshBenchResult &ours, const SshBenchResult &other) {
  return ours.time / ours.items / (other.time / other.items);
}

constexpr struct Target {
  const char *what;
  const char *topic, *who;
  const char *other_topic, *other;
  Measure measure;
  double at_most;
} kTargets[] = {
    {"certificate, modern / floor", "certificate", "kwpki-modern", "certificate", kBenchFloor,
     ratio, 3.0},
    {"certificate, classic / floor", "certificate", kBenchOurs, "certificate", kBenchFloor, ratio,
     2.8},
    {"certificate, heap calls", "certificate", kBenchOurs, "certificate", kBenchFloor, calls, 2},
    {"certificate with text, serial, blob / OpenSSL", "certificate+text+serial+blob", kBenchOurs,
     "certificate+text+serial+blob", "openssl", ratio, 0.016},
    {"roots / floor", "roots", kBenchOurs, "roots", kBenchFloor, ratio, 2.4},
    {"CRL of 100,000, decode / floor", "crl-100000", "kwpki-decode", "crl-100000", kBenchFloor,
     ratio, 0.8},
    {"CRL of 100,000, decode and walk / floor", "crl-100000", kBenchOurs, "crl-100000", kBenchFloor,
     ratio, 1.3},
    {"CRL of 100,000, heap / DER", "crl-100000", kBenchOurs, "crl-100000", kBenchFloor, peak, 2},
    {"search reply of 1,000 / bare decode", "search-reply-1000", kBenchOurs, "search-reply-1000",
     "decode", ratio, 1.2},
    {"search reply of 10,000 / bare decode", "search-reply-10000", kBenchOurs, "search-reply-10000",
     "decode", ratio, 1.4},
    {"search at 100,000 / at 100 certificates", "store-search-100000", kBenchOurs,
     "store-search-100", kBenchOurs, ratio, 2},
    {"RSA-2048 verify / OpenSSL", "rsa-2048-verify", kBenchOurs, "rsa-2048-verify", "openssl",
     ratio, 2},
    {"DSA-1024 verify / OpenSSL", "dsa-1024-verify", kBenchOurs, "dsa-1024-verify", "openssl",
     ratio, 2},
    {"DES in CBC / OpenSSL", "des-cbc", kBenchOurs, "des-cbc", "openssl", ratio, 1.67},
    {"triple DES in CBC / OpenSSL", "3des-cbc", kBenchOurs, "3des-cbc", "openssl", ratio, 1.67},
    {"Blowfish in CBC / OpenSSL", "blowfish-cbc", kBenchOurs, "blowfish-cbc", "openssl", ratio,
     1.67},
    {"CAST-128 in CBC / OpenSSL", "cast128-cbc", kBenchOurs, "cast128-cbc", "openssl", ratio, 1.67},
    {"CRL entry at 1,000,000 / at 1,000", "crl-1000000", kBenchOurs, "crl-1000", kBenchOurs, growth,
     1.5},
    {"MD5, an octet / OpenSSL", "md5", kBenchOurs, "md5", "openssl", ratio, 1 / 0.6},
    {"SHA-1, an octet / mbedTLS, as C", "sha1", kBenchOurs, "sha1", "mbedtls", ratio, 1 / 0.6},
    {"SHA-256, an octet / mbedTLS, as C", "sha256", kBenchOurs, "sha256", "mbedtls", ratio,
     1 / 0.6},
};

double counter(const benchmark::BenchmarkReporter::Run &run, const char *name) {
  const auto found = run.counters.find(name);
  return found == run.counters.end() ? 0 : found->second.value;
}

}  // namespace

void SshBenchSummary::ReportRuns(const std::vector<Run> &runs) {
  ConsoleReporter::ReportRuns(runs);
  for (const Run &run : runs) {
    const bool single = run.run_type == Run::RT_Iteration && run.repetitions <= 1;
    if (run.error_occurred) failed_.insert(run.run_name.function_name);
    if (run.error_occurred || (run.aggregate_name != "median" && !single)) continue;
    const std::string &name = run.run_name.function_name;
    const size_t slash = name.find('/');
    SshBenchResult result;
    result.place = run.family_index;
    result.topic = name.substr(0, slash);
    result.who = name.substr(slash + 1);
    result.undone = run.report_label;
    result.time = run.GetAdjustedCPUTime() * 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
    const double rate = counter(run, "items_per_second");
    if (rate > 0) result.items = std::max(1.0, std::round(rate * result.time * 1e-9));
    result.octets = counter(run, "octets");
    result.heap_calls = counter(run, "heap_calls");
    result.heap_octets = counter(run, "heap_octets");
    result.heap_peak = counter(run, "heap_peak");
    results_.push_back(result);
  }
}

const SshBenchResult *SshBenchSummary::find(const std::string &topic,
                                            const std::string &who) const {
  for (const SshBenchResult &result : results_) {
    if (result.topic == topic && result.who == who) return &result;
  }
  return nullptr;
}

void SshBenchSummary::print_results() const {
  std::printf("\n%-42s %12s %8s %10s %9s  %s\n", "one run", "ns an item", "/ floor", "heap calls",
              "peak/DER", "leaves undone");
  for (const SshBenchResult &result : results_) {
    const SshBenchResult *floor = find(result.topic, kBenchFloor);
    std::printf("%-42s %12.1f ", (result.topic + "/" + result.who).c_str(),
                result.time / result.items);
    if (floor)
      std::printf("%8.2f ", result.time / floor->time);
    else
      std::printf("%8s ", "-");
    std::printf("%10.0f %9.2f  %s\n", result.heap_calls,
                result.octets > 0 ? result.heap_peak / result.octets : 0, result.undone.c_str());
  }
}

bool SshBenchSummary::print() {
  // Interleaved repetitions end in any order.
  std::sort(results_.begin(), results_.end(),
            [](const auto &a, const auto &b) { return a.place < b.place; });
  print_results();
  std::printf("\n%-46s %8s %8s\n", "target", "reached", "at most");
  for (const Target &target : kTargets) {
    const SshBenchResult *ours = find(target.topic, target.who);
    const SshBenchResult *other = find(target.other_topic, target.other);
    if (!ours || !other) continue;  // not part of this run
    const double reached = target.measure(*ours, *other);
    std::printf("%-46s %8.2f %8.2f  %s\n", target.what, reached, target.at_most,
                reached <= target.at_most ? "met" : "missed");
  }
  for (const std::string &name : failed_) std::printf("failed: %s\n", name.c_str());
  return failed_.empty();
}
