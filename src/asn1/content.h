// What the content bytes of primitive types mean. Both readers (read.cc and plain.h) decode content
// through this header, so that they cannot differ in it. The function for all types is inlined: in
// the plain reader the type is known to the compiler, which keeps that one case. A new type is a
// case here and one in Builder::content (create.cc); docs/asn1_template.md lists the rest.
#pragma once

#include "asn1/template.h"
#include "util/fatal.h"

// ssh_asn1_low32 gives the low 32 bits of an INTEGER's content; higher ones are dropped.
[[nodiscard]] uint32_t ssh_asn1_low32(Bytes content);

// ssh_asn1_read_bits reads a BIT STRING's content. False if the first byte, the number of unused
// bits, is missing or is larger than the number of bits that follow.
[[nodiscard]] bool ssh_asn1_read_bits(Bytes content, SshAsn1Bits &bits);

// ssh_asn1_read_content decodes the content of an element of type `op.type` into `output`, which is
// a value or a view. False if the bytes are not of that type.
[[nodiscard, gnu::always_inline]] inline bool ssh_asn1_read_content(const SshAsn1Op &op,
                                                                    Bytes content, void *output) {
  switch (op.type) {
    case SSH_ASN1_BOOLEAN:
      if (content.size() != 1) return false;
      *static_cast<int *>(output) = content[0] ? 1 : 0;
      return true;
    case SSH_ASN1_INTEGER:
      if (op.second_form)
        *static_cast<Bytes *>(output) = content;
      else
        static_cast<SshMpInt *>(output)->set_twos_complement(content);
      return true;
    case SSH_ASN1_SHORT:
      *static_cast<uint32_t *>(output) = ssh_asn1_low32(content);
      return true;
    case SSH_ASN1_BITS:
      return ssh_asn1_read_bits(content, *static_cast<SshAsn1Bits *>(output));
    case SSH_ASN1_OCTETS:
      *static_cast<Bytes *>(output) = content.empty() ? Bytes() : content;
      return true;
    case SSH_ASN1_NULL:
      return content.empty();
    case SSH_ASN1_OID:
      *static_cast<SshOid *>(output) = {content};
      return ssh_ber_oid_is_valid(content);
    case SSH_ASN1_UTC_TIME:
      return ssh_ber_utc_time_decode(content, static_cast<SshBerTime *>(output));
    case SSH_ASN1_GENERALIZED_TIME:
      return ssh_ber_generalized_time_decode(content, static_cast<SshBerTime *>(output));
    default:
      ssh_fatal("ssh_asn1_read_node_recurse: command definition corrupted.");
  }
}
