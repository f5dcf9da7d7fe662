// What the contents of primitive types mean: one case per type, used by both readers (read.cc and
// plain.h), so that they cannot differ.
#pragma once

#include "asn1/template.h"
#include "util/fatal.h"

// ssh_asn1_low32 gives the low 32 bits of an INTEGER.
[[nodiscard]] uint32_t ssh_asn1_low32(Bytes content);

// ssh_asn1_read_bits reads a BIT STRING; false if it has none of its own form.
[[nodiscard]] bool ssh_asn1_read_bits(Bytes content, SshAsn1Bits &bits);

// ssh_asn1_read_content decodes a primitive's content into the element's output, which is a value
// or a view; false if it is not of the type.
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
