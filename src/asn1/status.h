// The results of reading and creating ASN.1. Callers compare them with SSH_ASN1_OK; the texts are
// for people. Some statuses are never given; they keep their numbers and texts, which
// programs know. A new one is a line here and a row in status.cc.
#pragma once

#include <cstdint>

// clang-format off
enum [[nodiscard]] SshAsn1Status : uint32_t {
  SSH_ASN1_OK = 0,
  SSH_ASN1_OK_GARBAGE = 1,   // something after the last good top-level element cannot be opened
  SSH_ASN1_BAD_GARBAGE = 2,  // a later top-level element is broken inside
  SSH_ASN1_FAILED = 3,
  SSH_ASN1_CONSTRUCTED_ASSUMED = 4,
  SSH_ASN1_LIST_EMPTY = 5,
  SSH_ASN1_NO_CLOSING_MARKER = 6,
  SSH_ASN1_FORMAT_TOO_SHORT = 7,
  SSH_ASN1_UNKNOWN_COMMAND = 8,
  SSH_ASN1_FORMAT_ENDED = 9,
  SSH_ASN1_NODE_NULL = 10,
  SSH_ASN1_ALL_NULL = 11,
  SSH_ASN1_NO_CHILD = 12,
  SSH_ASN1_NO_PARENT = 13,
  SSH_ASN1_BER_OPEN_FAILED = 14,
  SSH_ASN1_BER_STEP_FAILED = 15,
  SSH_ASN1_BER_CLOSE_FAILED = 16,
  SSH_ASN1_DECODE_FAILED = 17,  // a primitive's content, on read
  SSH_ASN1_ENCODE_FAILED = 18,  // a primitive's content, on create; the text is 17's on purpose
  SSH_ASN1_BUFFER_OVERFLOW = 19,
  SSH_ASN1_BUFFER_TOO_SMALL = 20,
  SSH_ASN1_MATCH_NOT_FOUND = 21,
  SSH_ASN1_TOO_MANY_MATCHES = 22,
  SSH_ASN1_NOT_IMPLEMENTED = 23
};
// clang-format on

// ssh_asn1_status_text gives a status's text, or null for a number above 23.
[[nodiscard]] const char *ssh_asn1_status_text(uint32_t status);
