// The inside of an ASN.1 context, shared by node.cc and create.cc.
// Encodings up to the arena's limit come from the arena, larger ones from blocks that the context
// keeps itself. Nothing outside this folder includes this header.
#pragma once

#include "asn1/node.h"

struct SshCmallocContext;

struct SshAsn1LargeBlock {
  SshAsn1LargeBlock *next;
  size_t size;  // keeps the bytes behind the header aligned as the heap aligns
};

struct SshAsn1Context {
  SshCmallocContext *arena;
  SshAsn1LargeBlock *large;
  SshAsn1Work work;  // of nodes created here
};

// ssh_asn1_context_octets returns `size` bytes that live as long as the context; null for 0.
[[nodiscard]] uint8_t *ssh_asn1_context_octets(SshAsn1Context *context, size_t size);

// ssh_asn1_context_list gives the encodings of a node and its later siblings, one after the other:
// a view where they stand so already, else (end-of-contents bytes stand between them) a copy in
// the context.
SshAsn1Status ssh_asn1_context_list(SshAsn1Context *context, SshAsn1Node node, Bytes *octets);
