// The payload of search replies: certificates with what the service says of them, read into a
// database and a list of their own.
// A further type of element is read in reply_list.cc.
#pragma once

#include "kwpki.h"
#include "util/bytes.h"

// KWPKI_LIST_MEMORY_MAX is where a list becomes too large, in octets of what its elements hold, not
// counting what the heap adds: 100,000 certificates of a usual size take half of it, and a 32-bit
// process can still give it. It is looked at after each element.
constexpr size_t KWPKI_LIST_MEMORY_MAX = 0x30000000;

// reply_list_decode returns the list of a search reply, released with KwPkiCertListFree. Null if
// the state of the search cannot be read, or if the elements take more than `memory_max`.
// Reading ends without an error at the first element that cannot be read; a certificate that does
// not decode stays in the list, empty.
[[nodiscard]] KwPkiCertList reply_list_decode(Bytes payload,
                                              size_t memory_max = KWPKI_LIST_MEMORY_MAX);
