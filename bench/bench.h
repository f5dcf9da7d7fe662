// The frame of the benchmarks: a topic is a table of cases that do the same work on the same input,
// ours, the peers' and the floor's; the summary puts each beside its floor. main.cc calls one
// function a topic file.
// A new topic is a *_bench.cc with such a table; a new peer is a row.
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>

#include "util/bytes.h"
#include "x509/profile.h"

constexpr char kBenchOurs[] = "kwpki";
constexpr char kBenchFloor[] = "floor";  // the case that the others of its topic are divided by

// SshBenchCase does a topic's work once, from the bytes to everything released; false if that
// failed.
struct SshBenchCase {
  const char *who;
  const char *undone;  // what it leaves undone that others of the topic do
  bool (*run)(Bytes input);
  SshX509Profile profile = SSH_X509_CLASSIC;  // set before the case runs
};

// ssh_bench_add registers a topic's cases. `input` is called when the first of them runs; `items`
// are what it holds (entries of a CRL): times are also given for one of them.
void ssh_bench_add(const std::string &topic, const std::function<Bytes()> &input, size_t items,
                   std::span<const SshBenchCase> cases);

// ssh_bench_add_each does so for a topic whose cases take one of many inputs at a time: a run takes
// all that every case of the topic accepts, and each case tells how many it accepts. Many different
// ones, as a processor learns a single one's branches by heart.
void ssh_bench_add_each(const std::string &topic,
                        const std::function<std::span<const Bytes>()> &inputs,
                        std::span<const SshBenchCase> cases);

// The topics.
void ssh_bench_add_cert();
void ssh_bench_add_crl();
void ssh_bench_add_dn();
void ssh_bench_add_asn1();
void ssh_bench_add_request();
void ssh_bench_add_mapping();
void ssh_bench_add_store();
void ssh_bench_add_hash();
void ssh_bench_add_cipher();
void ssh_bench_add_scheme();

// ssh_bench_floor and ssh_bench_crl_floor are what reading costs at least: a copy into a block that
// is there already, and a loop over every header that a decoder has to read, each compared with the
// end of the element around it. The headers inside the values of a certificate's extensions, of a
// CRL's entries and inside a key are among them.
[[nodiscard]] bool ssh_bench_floor(Bytes certificate);
[[nodiscard]] bool ssh_bench_crl_floor(Bytes crl);
