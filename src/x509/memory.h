// How much memory a decode may take, in proportion to its input. The decoders keep to it, so code
// that decodes many inputs can plan for it.
#pragma once

#include <cstddef>

// SSH_X509_INPUT_MAX is the largest encoding that is decoded; above it a decode fails.
constexpr size_t SSH_X509_INPUT_MAX = 0x4000000;

// ssh_x509_record_most bounds what the decode of an input takes of the heap, and its record after
// it. Records of hostile input may be many times its size: two bytes are enough for a name. Beyond
// this bound the decode fails; what certificates and CRLs hold stays far below it.
[[nodiscard]] constexpr size_t ssh_x509_record_most(size_t input) { return input * 8 + 0x1000000; }
