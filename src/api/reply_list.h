// The payload of search replies: certificates with what the service says of them, read into a
// database and a list of their own.
// A further type of element is read in reply_list.cc.
#pragma once

#include "kwpki.h"
#include "util/bytes.h"

// KWPKI_LIST_MEMORY_MAX is what a list may take of the heap, in bytes: half of the 2 GiB that a
// 32-bit process has, so that a message of 100 MiB, a request and the program itself find room
// beside it. With pointers twice as wide it is twice as much.
constexpr size_t KWPKI_LIST_MEMORY_MAX = size_t{0x10000000} * sizeof(void *);

// reply_list_memory_most bounds what the list of a reply of that many bytes may take of the heap,
// beside its empty database: twelve times as much and 64 MiB, up to KWPKI_LIST_MEMORY_MAX. What
// stays takes 63 MiB less: they are for the decode of the certificate at hand.
[[nodiscard]] size_t reply_list_memory_most(size_t payload);

// reply_list_decode returns the list of a search reply, released with KwPkiCertListFree. Null if
// the state of the search cannot be read, or if an element takes more memory than is left.
// Reading ends without an error at the first element that cannot be read; a certificate that does
// not decode stays in the list, empty.
[[nodiscard]] KwPkiCertList reply_list_decode(Bytes payload);
