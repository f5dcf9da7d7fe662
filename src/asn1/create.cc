// Creating: runs the program of a template over its arguments and encodes them. The header of an
// element has the length of its content, so the content comes first: elements are encoded from the
// inside out, each into new bytes of the context, which the element around it copies behind its
// header. A template is at most SSH_ASN1_DEPTH_MAX deep, so that no byte is copied often.
#include <algorithm>

#include "asn1/context.h"
#include "util/arena.h"

namespace {

constexpr uint32_t kTagSet = 17;
constexpr uint32_t kTagMax = 0xFFFFFFF;  // 28 bits: larger ones could be written but not read

// Builder encodes one template. A method that returns false has set the status.
class Builder {
 public:
  Builder(SshAsn1Context *context, const SshAsn1Op *ops, const SshAsn1Input *inputs)
      : context_(context), ops_(ops), inputs_(inputs) {}

  // list encodes the elements [op, op_end) one after the other.
  bool list(uint32_t op, uint32_t op_end, Bytes &out);
  // adopt replaces bytes by a copy in the context.
  bool adopt(Bytes &out);
  [[nodiscard]] SshAsn1Status status() const { return status_; }

 private:
  bool element(uint32_t op, Bytes &out);
  bool any(const SshAsn1Op &op, Bytes &out);
  bool primitive(const SshAsn1Op &op, Bytes &out);
  bool content(const SshAsn1Op &op, uint8_t *scratch, Bytes &out);
  bool bits(const SshAsn1Op &op, uint8_t *scratch, Bytes &out);
  bool wrap(SshBerElement header, Bytes content, Bytes &out);
  bool wrap_explicit(const SshAsn1Op &op, Bytes &out);
  bool sort_set(Bytes &children);

  bool fail(SshAsn1Status status) {
    status_ = status;
    return false;
  }
  // octets takes room in the context; false if it is more than one allocation may have.
  bool octets(size_t size, uint8_t **out) {
    if (size > SSH_XMALLOC_MAX / 2) return fail(SSH_ASN1_BUFFER_OVERFLOW);
    *out = ssh_asn1_context_octets(context_, size);
    return true;
  }

  SshAsn1Context *context_;
  const SshAsn1Op *ops_;
  const SshAsn1Input *inputs_;
  SshAsn1Status status_ = SSH_ASN1_OK;
};

// list encodes all elements first, to know how many bytes they take together, and then copies them.
// A single one need not be copied.
bool Builder::list(uint32_t op, uint32_t op_end, Bytes &out) {
  Bytes parts[SSH_ASN1_OPS_MAX];
  size_t count = 0;
  size_t total = 0;
  for (; op != op_end; op = ops_[op].end) {
    if (!element(op, parts[count])) return false;
    total += parts[count++].size();
  }
  if (count == 1) {
    out = parts[0];
    return true;
  }
  uint8_t *at = nullptr;
  if (!octets(total, &at)) return false;
  out = {at, total};
  for (size_t i = 0; i < count; ++i) {
    if (!parts[i].empty()) std::memcpy(at, parts[i].data(), parts[i].size());
    at += parts[i].size();
  }
  return true;
}

bool Builder::adopt(Bytes &out) {
  uint8_t *at = nullptr;
  if (!octets(out.size(), &at)) return false;
  if (!out.empty()) std::memcpy(at, out.data(), out.size());
  out = {at, out.size()};
  return true;
}

// element encodes one op: its content, the header of its type, and an explicit tag around that.
// "empty" has content of no bytes and no header either.
bool Builder::element(uint32_t index, Bytes &out) {
  const SshAsn1Op &op = ops_[index];
  if (op.type >= SSH_ASN1_CHOICE) return fail(SSH_ASN1_UNKNOWN_COMMAND);
  if (op.tag > kTagMax) return fail(SSH_ASN1_BER_CLOSE_FAILED);
  if (op.type == SSH_ASN1_ANY) return any(op, out);

  const SshAsn1Keyword &keyword = kSshAsn1Keywords[op.keyword];
  const bool empty = op.type == SSH_ASN1_NULL && keyword.tag == 0;
  Bytes content;
  SshBerElement own;
  own.cls = op.is_explicit || !op.tagged ? uint8_t{SSH_BER_UNIVERSAL} : op.cls;
  own.tag = op.is_explicit || !op.tagged ? keyword.tag : op.tag;
  own.constructed = op.children || op.type == SSH_ASN1_CONSTRUCTED;
  own.indefinite = own.constructed && op.indefinite;
  if (own.constructed) {
    if (!list(index + 1, op.end, content)) return false;
    if (keyword.tag == kTagSet && !sort_set(content)) return false;
  } else if (!primitive(op, content)) {
    return false;
  }
  if (empty) {
    out = {};
    return true;
  }
  return wrap(own, content, out) && (!op.is_explicit || wrap_explicit(op, out));
}

// any encodes the nodes that the caller gave: as they are, inside an explicit tag, or, under an
// implicit tag, with a new header for the first of them.
bool Builder::any(const SshAsn1Op &op, Bytes &out) {
  const SshAsn1Node node = inputs_[op.argument].node;
  out = {};
  if (!node) return true;
  const SshAsn1Status listed = ssh_asn1_context_list(context_, node, &out);
  if (listed != SSH_ASN1_OK) return fail(listed);
  if (!op.tagged) return true;
  if (op.is_explicit) return wrap_explicit(op, out);

  SshBerElement header = ssh_asn1_node_open(node);
  const Bytes rest = out.subspan(header.header_length);
  header.cls = op.cls;
  header.tag = op.tag;
  const size_t size = ssh_ber_compute_tag_length_size(header);
  uint8_t *at = nullptr;
  if (!octets(size + rest.size(), &at)) return false;
  (void)ssh_ber_set_tag_length(at, size, header);  // cannot fail: this is the header's size
  if (!rest.empty()) std::memcpy(at + size, rest.data(), rest.size());
  out = {at, size + rest.size()};
  return true;
}

// wrap puts a header in front of content, and the end-of-contents bytes behind it if the length is
// indefinite. `out` may be `content`.
bool Builder::wrap(SshBerElement header, Bytes content, Bytes &out) {
  header.content_length = static_cast<uint32_t>(content.size());
  const size_t size = ssh_ber_compute_tag_length_size(header);
  const size_t total = size + content.size() + (header.indefinite ? 2 : 0);
  uint8_t *at = nullptr;
  if (!octets(total, &at)) return false;
  (void)ssh_ber_set_tag_length(at, size, header);  // cannot fail: this is the header's size
  if (!content.empty()) std::memcpy(at + size, content.data(), content.size());
  if (header.indefinite) at[total - 2] = at[total - 1] = 0;
  out = {at, total};
  return true;
}

// wrap_explicit puts an op's explicit tag around an element.
bool Builder::wrap_explicit(const SshAsn1Op &op, Bytes &out) {
  SshBerElement wrapper;
  wrapper.cls = op.cls;
  wrapper.tag = op.tag;
  wrapper.constructed = true;
  wrapper.indefinite = op.indefinite;
  return wrap(wrapper, out, out);
}

// sort_set brings the elements of a set into DER order: by their bytes. No element begins with
// another one, so that two of different length differ within the shorter.
bool Builder::sort_set(Bytes &children) {
  context_->work.left += SshAsn1Work::for_input(children.size()).left;  // enough for both walks
  size_t count = 0;
  for (SshAsn1Node node = ssh_asn1_list_of(children, &context_->work); node;
       node = ssh_asn1_node_next(node))
    ++count;
  if (count < 2) return true;
  if (count > SSH_XMALLOC_MAX / sizeof(Bytes)) return fail(SSH_ASN1_BUFFER_OVERFLOW);

  auto *elements = static_cast<Bytes *>(ssh_xcalloc(count, sizeof(Bytes)));
  SshAsn1Node node = ssh_asn1_list_of(children, &context_->work);
  for (size_t i = 0; i < count && node; ++i, node = ssh_asn1_node_next(node))
    elements[i] = node.der();
  std::sort(elements, elements + count, [](Bytes a, Bytes b) {
    return std::memcmp(a.data(), b.data(), std::min(a.size(), b.size())) < 0;
  });
  uint8_t *const sorted = ssh_asn1_context_octets(context_, children.size());
  uint8_t *at = sorted;
  for (size_t i = 0; i < count; ++i) {
    std::memcpy(at, elements[i].data(), elements[i].size());
    at += elements[i].size();
  }
  children = {sorted, static_cast<size_t>(at - sorted)};
  ssh_xfree(elements);
  return true;
}

// primitive takes as much room as the content of the type can need, and encodes the content.
bool Builder::primitive(const SshAsn1Op &op, Bytes &out) {
  uint8_t *scratch = nullptr;
  const SshAsn1Input &input = inputs_[op.argument];
  size_t room = SSH_BER_TIME_TEXT_MAX;
  if (op.type == SSH_ASN1_INTEGER && !op.second_form) {
    room = static_cast<const SshMpInt *>(input.pointer)->twos_complement_length();
  } else if (op.type == SSH_ASN1_BITS) {
    room = (op.second_form ? inputs_[op.argument + 1].size : input.size) / 8 + 2;
  } else if (op.type == SSH_ASN1_OID && op.second_form) {
    room = SSH_OID_ENCODED_MAX(std::strlen(static_cast<const char *>(input.pointer)));
  }
  if (!octets(room, &scratch)) return false;
  if (!content(op, scratch, out)) return fail(SSH_ASN1_ENCODE_FAILED);
  return true;
}

// content encodes a value into `scratch`; bytes that the caller gave are taken as they are.
bool Builder::content(const SshAsn1Op &op, uint8_t *scratch, Bytes &out) {
  const SshAsn1Input &input = inputs_[op.argument];
  switch (op.type) {
    case SSH_ASN1_BOOLEAN:
      scratch[0] = input.number == 1 ? 0xFF : 0x00;  // exactly 1 is true, deliberately
      out = {scratch, 1};
      return true;
    case SSH_ASN1_INTEGER:
    case SSH_ASN1_SHORT: {
      if (op.second_form) {
        out = input.octets;
        return true;
      }
      const SshMpInt small(op.type == SSH_ASN1_SHORT ? int64_t{input.word} : 0);
      const SshMpInt *value =
          op.type == SSH_ASN1_SHORT ? &small : static_cast<const SshMpInt *>(input.pointer);
      value->write_twos_complement(scratch);
      out = {scratch, value->twos_complement_length()};
      return true;
    }
    case SSH_ASN1_BITS:
      return bits(op, scratch, out);
    case SSH_ASN1_OCTETS:
      out = op.second_form
                ? Bytes(static_cast<const uint8_t *>(input.pointer), inputs_[op.argument + 1].size)
                : input.octets;
      return true;
    case SSH_ASN1_OID:
      if (op.second_form)
        out = {scratch, ssh_ber_oid_from_text(static_cast<const char *>(input.pointer), scratch)};
      else
        out = input.octets;
      return !out.empty();
    case SSH_ASN1_UTC_TIME:
      out = {scratch,
             ssh_ber_utc_time_encode(static_cast<const SshBerTime *>(input.pointer), scratch)};
      return true;
    case SSH_ASN1_GENERALIZED_TIME:
      out = {scratch, ssh_ber_generalized_time_encode(
                          static_cast<const SshBerTime *>(input.pointer), scratch)};
      return true;
    default:
      out = {};
      return true;
  }
}

// bits encodes the number of unused bits and the bytes, with zeros as the unused bits.
bool Builder::bits(const SshAsn1Op &op, uint8_t *scratch, Bytes &out) {
  const SshAsn1Input &input = inputs_[op.argument];
  const size_t bit_count = op.second_form ? inputs_[op.argument + 1].size : input.size;
  const auto *data =
      op.second_form ? static_cast<const uint8_t *>(input.pointer) : input.octets.data();
  const size_t octet_count = (bit_count + 7) / 8;
  if (!op.second_form && octet_count > input.octets.size()) return false;
  const size_t unused = (8 - bit_count % 8) % 8;
  scratch[0] = static_cast<uint8_t>(unused);
  if (octet_count) {
    std::memcpy(scratch + 1, data, octet_count);
    scratch[octet_count] = static_cast<uint8_t>(scratch[octet_count] & (0xFF << unused));
  }
  out = {scratch, octet_count + 1};
  return true;
}

}  // namespace

SshAsn1Status ssh_asn1_run_create(SshAsn1Context *context, SshAsn1Node *node, const SshAsn1Op *ops,
                                  uint32_t count, const SshAsn1Input *inputs) {
  Builder builder(context, ops, inputs);
  Bytes encoding;
  if (!builder.list(0, count, encoding)) return builder.status();
  // An "any" that is alone still shows the caller's bytes, which may not live as long.
  const bool lone_any = count == 1 && ops[0].type == SSH_ASN1_ANY && !ops[0].tagged;
  if (lone_any && !builder.adopt(encoding)) return builder.status();
  *node = ssh_asn1_list_of(encoding, &context->work);
  return SSH_ASN1_OK;
}
