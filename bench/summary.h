// The last page of a run: every case beside the floor of its topic, and the targets with what was
// reached.
// It reads medians of processor time. A new target is a row in summary.cc.
#pragma once

#include <benchmark/benchmark.h>

#include <set>
#include <string>
#include <vector>

// SshBenchResult is one case of one topic.
struct SshBenchResult {
  int64_t place = 0;  // in the order of registration
  std::string topic, who, undone;
  double time = 0;  // nanoseconds a run
  double items = 1;
  double octets = 0, heap_calls = 0, heap_octets = 0, heap_peak = 0;
};

// SshBenchSummary prints results as they come and keeps them; print puts them beside each other.
class SshBenchSummary : public benchmark::ConsoleReporter {
 public:
  SshBenchSummary() : ConsoleReporter(OO_Tabular) {}
  void ReportRuns(const std::vector<Run> &runs) override;
  [[nodiscard]] bool print();  // false if a case failed

 private:
  [[nodiscard]] const SshBenchResult *find(const std::string &topic, const std::string &who) const;
  void print_results() const;

  std::vector<SshBenchResult> results_;
  std::set<std::string> failed_;
};
