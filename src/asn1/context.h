// The inside of an ASN.1 context, shared by node.cc and create.cc. A context owns the memory of
// what is created: small encodings come from an arena, and those above the arena's limit have a
// block of their own, which the context keeps in a list. Both are freed with the context. Nothing
// outside this folder includes this header.
#pragma once

#include "asn1/node.h"

struct SshCmallocContext;

struct SshAsn1LargeBlock {
  SshAsn1LargeBlock *next;
  size_t size;  // unused: it makes the header as long as the alignment of the heap
};

struct SshAsn1Context {
  SshCmallocContext *arena;
  SshAsn1LargeBlock *large;
  SshAsn1Work work;  // for walks over the nodes that were created here
};

// ssh_asn1_context_octets returns `size` bytes that live as long as the context; null for 0. The
// context's work grows with them.
[[nodiscard]] uint8_t *ssh_asn1_context_octets(SshAsn1Context *context, size_t size);

// ssh_asn1_context_list gives the encodings of a node and its later siblings as one run of bytes.
// It is a view where they already follow each other. Where end-of-contents bytes lie between them,
// it is a copy in the context.
SshAsn1Status ssh_asn1_context_list(SshAsn1Context *context, SshAsn1Node node, Bytes *octets);
