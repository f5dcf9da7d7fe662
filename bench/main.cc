// Runs the benchmarks and prints, behind their figures, what they come to: ratios and targets.
#include <benchmark/benchmark.h>

#include <memory>
#include <optional>
#include <string>
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

// Common is the inputs of a topic that all of its cases accept, and how many each accepts.
struct Common {
  std::vector<Bytes> inputs;
  std::vector<size_t> accepted;
  size_t all = 0;

  Common(std::span<const Bytes> given, std::span<const SshBenchCase> cases)
      : accepted(cases.size()), all(given.size()) {
    for (const Bytes input : given) {
      bool by_all = true;
      for (size_t i = 0; i < cases.size(); ++i) {
        ssh_x509_set_profile(cases[i].profile);
        const bool good = cases[i].run(input);
        accepted[i] += good;
        by_all &= good;
      }
      if (by_all) inputs.push_back(input);
    }
  }
};

void measure_each(benchmark::State &state, const SshBenchCase &row, const Common &common,
                  size_t accepted) {
  ssh_x509_set_profile(row.profile);
  const auto run = [&] {
    bool good = !common.inputs.empty();
    for (const Bytes input : common.inputs) good = row.run(input) && good;
    return good;
  };
  bool good = run();
  ssh_bench_heap_start();
  good = run() && good;
  const SshBenchHeap heap = ssh_bench_heap_stop();
  for (auto _ : state) good = run() && good;

  if (!good) state.SkipWithError("failed at a later run");
  const auto items = static_cast<double>(common.inputs.size());
  size_t octets = 0;
  for (const Bytes input : common.inputs) octets += input.size();
  state.SetItemsProcessed(static_cast<int64_t>(common.inputs.size()) * state.iterations());
  state.SetLabel("accepts " + std::to_string(accepted) + " of " + std::to_string(common.all) +
                 (*row.undone ? "; " : "") + row.undone);
  state.counters["octets"] = static_cast<double>(octets);
  state.counters["heap_calls"] = static_cast<double>(heap.calls) / items;
  state.counters["heap_octets"] = static_cast<double>(heap.octets) / items;
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

void ssh_bench_add_each(const std::string &topic,
                        const std::function<std::span<const Bytes>()> &inputs,
                        std::span<const SshBenchCase> cases) {
  const auto common = std::make_shared<std::optional<Common>>();
  for (size_t i = 0; i < cases.size(); ++i) {
    const auto run = [&row = cases[i], i, inputs, cases, common](benchmark::State &state) {
      if (!*common) common->emplace(inputs(), cases);
      measure_each(state, row, **common, (*common)->accepted[i]);
    };
    benchmark::RegisterBenchmark((topic + "/" + cases[i].who).c_str(), run)
        ->Unit(benchmark::kMicrosecond);
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
