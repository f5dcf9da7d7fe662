// Counts what a piece of work asks of the heap: calls, bytes, and the most that lay on it at once.
// The program's own malloc family (heap.cc) counts for every library in the process, while a count
// runs; outside of counts it costs one test. To count work, put it between ssh_bench_heap_start and
// ssh_bench_heap_stop.
#pragma once

#include <cstddef>

// SshBenchHeap is what one count found. `peak` is measured in usable bytes above the start.
struct SshBenchHeap {
  size_t calls = 0;   // malloc, calloc, realloc and aligned allocations; not free
  size_t octets = 0;  // asked for, in all
  size_t peak = 0;
};

// ssh_bench_heap_start begins a count; ssh_bench_heap_stop ends it. One thread, one count at a
// time.
void ssh_bench_heap_start();
[[nodiscard]] SshBenchHeap ssh_bench_heap_stop();
