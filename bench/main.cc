// Runs the benchmarks and prints, behind their figures, what they come to: ratios and targets.
#include <benchmark/benchmark.h>

#include <vector>

#include "bench.h"
#include "heap.h"
#include "summary.h"

namespace {

void measure(benchmark::State &state, const SshBenchCase &row, const std::function<Bytes()> &input,
             size_t items) {
  ssh_x509_set_profile(row.profile);
  const Bytes octets = input();
  if (!row.run(octets)) {  // also makes what a library makes once
    state.SkipWithError("refused its input");
    return;
  }
  ssh_bench_heap_start();
  bool good = row.run(octets);
  const SshBenchHeap heap = ssh_bench_heap_stop();
  for (auto _ : state) good = row.run(octets) && good;

  if (!good) state.SkipWithError("failed at a later run");
  state.SetItemsProcessed(static_cast<int64_t>(items) * state.iterations());
  state.SetLabel(row.undone);
  state.counters["octets"] = static_cast<double>(octets.size());
  state.counters["heap_calls"] = static_cast<double>(heap.calls);
  state.counters["heap_octets"] = static_cast<double>(heap.octets);
  state.counters["heap_peak"] = static_cast<double>(heap.peak);
}

// The defaults come first, so that arguments of the command line prevail.
std::vector<char *> with_defaults(int argc, char **argv) {
  static char defaults[][48] = {"--benchmark_repetitions=7", "--benchmark_min_time=0.05",
                                "--benchmark_enable_random_interleaving=true",
                                "--benchmark_report_aggregates_only=true"};
  std::vector<char *> arguments = {argv[0]};
  for (auto &argument : defaults) arguments.push_back(argument);
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  return arguments;
}

}  // namespace

void ssh_bench_add(const std::string &topic, const std::function<Bytes()> &input, size_t items,
                   std::span<const SshBenchCase> cases) {
  for (const SshBenchCase &row : cases) {
    benchmark::RegisterBenchmark((topic + "/" + row.who).c_str(), [&row, input,
                                                                   items](benchmark::State &state) {
      measure(state, row, input, items);
    })->Unit(items < 100000 ? benchmark::kNanosecond : benchmark::kMillisecond);
  }
}

int main(int argc, char **argv) {
  std::vector<char *> arguments = with_defaults(argc, argv);
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;
  ssh_bench_add_cert();
  ssh_bench_add_crl();
  ssh_bench_add_dn();
  ssh_bench_add_asn1();
  ssh_bench_add_request();
  ssh_bench_add_mapping();
  ssh_bench_add_store();
  ssh_bench_add_hash();
  ssh_bench_add_cipher();
  ssh_bench_add_scheme();
  SshBenchSummary summary;
  benchmark::RunSpecifiedBenchmarks(&summary);
  return summary.print() ? 0 : 1;
}
