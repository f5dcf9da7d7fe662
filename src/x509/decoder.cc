#include "x509/decoder.h"

namespace {

constexpr char kNotWellFormed[] = "its elements have a bad header or are cut";

}  // namespace

bool SshX509Decoder::refuse(const char *structure, const char *rule, const uint8_t *at,
                            SshOid identifier, SshX509Found found) {
  if (!refusal || *refusal) return false;
  const auto offset = static_cast<size_t>((at ? at : inside) - base);
  if (work.left)
    *refusal = {structure, rule, offset, identifier, found};
  else
    *refusal = {"encoding", "takes too much work", offset};
  return false;
}

// The fault that was noted last may be of another structure, if this one failed for another reason
// than its template. It counts only if it lies in these bytes.
bool SshX509Decoder::refuse_read(const char *structure, Bytes octets, SshOid identifier) {
  const SshAsn1Fault &fault = work.fault;
  const uint8_t *const end = octets.data() + octets.size();
  const bool known = fault.at && fault.at >= octets.data() && fault.at <= end;
  if (!known) {
    const char *const rule = octets.empty() ? "is missing or empty" : "is not of its form";
    return refuse(structure, rule, octets.data(), identifier);
  }
  return refuse(structure, fault.rule, fault.at, identifier,
                fault.missing ? SSH_X509_FOUND_END : SSH_X509_FOUND_INSIDE);
}

// The template that read the times does not tell where they are. So if one is odd, this looks for
// the element of the structure that is an odd time, to report its place.
bool SshX509Decoder::times_pass(const SshBerTime &from, const SshBerTime &to,
                                SshAsn1Unread &structure) {
  constexpr uint8_t kUtcTime = 23, kGeneralizedTime = 24, kTagged = 0x80;
  if (!rules.standard_times || !(from.odd || to.odd)) return true;
  SshAsn1Node element = ssh_asn1_node_child(node(structure));
  for (; element; element = ssh_asn1_node_next(element)) {
    const uint8_t identifier = *element.data;
    const Bytes content = ssh_asn1_node_open(element).content();
    SshBerTime time;
    const bool is_time = identifier == kUtcTime
                             ? ssh_ber_utc_time_decode(content, &time)
                             : (identifier == kGeneralizedTime || identifier >= kTagged) &&
                                   ssh_ber_generalized_time_decode(content, &time);
    if (is_time && time.odd) break;
  }
  return time_passes(from.odd ? from : to, element.data);
}

bool SshX509Decoder::value_checked(Bytes octets, SshAsn1Unread &root) {
  SshAsn1Node elements;
  const uint8_t *fault = nullptr;
  const SshAsn1Status status = ssh_asn1_decode_in_place(octets, &work, &elements, &fault);
  root.set(elements);
  if (status != SSH_ASN1_OK) work.fault = {kNotWellFormed, fault};
  return status == SSH_ASN1_OK;
}

bool ssh_x509_decode_root(Bytes der, SshX509Root &root, SshX509Decoder &decoder) {
  if (decoder.plain) {
    root.sequence.set(der, &decoder.work);
    return true;
  }
  const uint8_t *fault = nullptr;
  const SshAsn1Status status = ssh_asn1_decode_in_place(der, &decoder.work, &root.elements, &fault);
  if (status == SSH_ASN1_BER_OPEN_FAILED)
    return decoder.refuse("encoding", "is no BER: an element has a bad header or is cut", fault);
  if (!root.elements) return decoder.refuse("encoding", "holds nothing", der.data());
  root.sequence.set(ssh_x509_sequence_in(root.elements));
  return true;
}

size_t ssh_x509_root_size(Bytes der, const SshX509Root &root, const SshX509Decoder &decoder) {
  if (decoder.plain) return der.size();
  size_t size = 0;
  for (SshAsn1Node node = root.elements; node; node = ssh_asn1_node_next(node))
    size += node.der().size();
  return size;
}

bool ssh_x509_refusal_stands(Bytes der, const SshX509Decoder &decoder) {
  const auto one_element = [](Bytes octets) {
    const SshBerExtent extent = ssh_ber_check(octets);
    return !extent.fault && extent.elements == 1;
  };
  return !decoder.unusual && decoder.work.left != 0 && one_element(der) &&
         (decoder.unchecked.empty() || one_element(decoder.unchecked));
}

bool ssh_x509_work_is_left(SshX509Decoder &decoder) {
  return decoder.require(decoder.work.left != 0, nullptr, nullptr, decoder.base);
}

// A byte counts if at least one of its bits does.
uint32_t ssh_x509_bits_to_mask(const SshAsn1Bits &bits) {
  uint32_t mask = 0;
  for (uint32_t i = 0; i < 32 && i < bits.bits; i += 8) mask |= uint32_t{bits.octets[i / 8]} << i;
  return mask;
}

uint32_t ssh_x509_named_bits_to_mask(const SshAsn1Bits &bits) {
  const uint32_t mask = ssh_x509_bits_to_mask(bits);
  if (bits.bits >= 32) return mask;
  const uint32_t unused = 0xFFu >> bits.bits % 8;  // in the last byte
  return mask & ~(unused << (bits.bits / 8 * 8));
}
