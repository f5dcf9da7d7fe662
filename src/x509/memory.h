// How much memory a decode may take, in proportion to its input. Two bytes of hostile input are
// enough for a name, whose record takes 72, so that without a bound a message could use up all
// memory. The decoders keep to it (ssh_x509_pool_most), and code that decodes many inputs asks here
// before it begins: ssh_x509_record_most(der.size()) more bytes, or it does not decode this one.
#pragma once

#include <cstddef>

// SSH_X509_INPUT_MAX is the largest encoding that is decoded; above it a decode fails.
constexpr size_t SSH_X509_INPUT_MAX = 0x4000000;

// ssh_x509_record_most bounds what a decode takes of the heap, and the record that it leaves. A
// decode that needs more fails; real certificates and CRLs stay far below.
[[nodiscard]] constexpr size_t ssh_x509_record_most(size_t input) { return input * 8 + 0x1000000; }
