// The bytes that the benchmarks work on. They are made when first asked for, by OpenSSL, from
// nothing random but one key, so that every run measures certificates and CRLs of the same shape. A
// new shape is a function here.
#pragma once

#include <cstddef>
#include <span>

#include "util/bytes.h"

// ssh_bench_certificates are many different certificates of about 1.2 KB: RSA, 1024 bits, ten
// extensions. ssh_bench_certificate is the first of them.
[[nodiscard]] std::span<const Bytes> ssh_bench_certificates();
[[nodiscard]] Bytes ssh_bench_certificate();

// ssh_bench_roots are the certificates of the system's authorities: none where there is no such
// file.
[[nodiscard]] std::span<const Bytes> ssh_bench_roots();

// ssh_bench_leafs_rsa and ssh_bench_leafs_ec are certificates of servers as public authorities
// issue them now, names in UTF-8, SHA-256, ten extensions with two timestamps among them: RSA of
// 2048 bits, and P-256 signed with P-256.
[[nodiscard]] std::span<const Bytes> ssh_bench_leafs_rsa();
[[nodiscard]] std::span<const Bytes> ssh_bench_leafs_ec();

// ssh_bench_crl is a CRL with so many entries: serial numbers of 16 bytes mostly, of 3, 9 and 20
// too, a reason code on every third entry. It stays in memory.
[[nodiscard]] Bytes ssh_bench_crl(size_t entries);

// ssh_bench_name is the text of the certificate's subject as the name parsers read it.
constexpr char kBenchName[] =
    "C=FI,ST=Uusimaa,L=Helsinki,O=Example Networks Oy,OU=Remote "
    "Access,OU=Gateways,CN=gateway-17.example.com";
[[nodiscard]] Bytes ssh_bench_name();
