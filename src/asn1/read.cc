// Reading: the rarer steps, and the walk over the program of a template that comes at run time.
#include "asn1/node.h"
#include "util/fatal.h"

bool SshAsn1Reader::open_long(const uint8_t *p, const uint8_t *end, SshAsn1Place &place) {
  while (p != end && ssh_ber_is_end(p, end)) p += 2;
  SshBerElement element;
  if (p == end || work_->left == 0 || ssh_ber_open(p, end, element) != SSH_BER_OK) return false;
  --work_->left;
  const uint8_t *element_end = ssh_ber_element_end(element, end, work_->left);
  place = {ssh_asn1_identifier(element.cls, element.tag),
           element.constructed,
           element.indefinite,
           p,
           p + element.header_length,
           element_end};
  return element_end && work_->left;
}

// enter_wrapper opens the element inside an explicit tag, if it is the one that the template asks
// for.
bool SshAsn1Reader::enter_wrapper(const SshAsn1Op &op, const SshAsn1Place &wrapper,
                                  SshAsn1Place &inner) {
  if (!wrapper.constructed || !open(wrapper.content, wrapper.content_end(), inner)) return false;
  if (op.any_tag || op.type == SSH_ASN1_ANY) return true;
  return inner.identifier ==
         ssh_asn1_identifier(SSH_BER_UNIVERSAL, kSshAsn1Keywords[op.keyword].tag);
}

// locate_from looks for a template element from `p` to the end of the list. What stands behind
// others can be found again from each of them, so its octets are paid for: whoever reads it walks
// over them without an account.
bool SshAsn1Reader::locate_from(const SshAsn1Op &op, const uint8_t *p, SshAsn1Cursor &cursor,
                                SshAsn1Place &place) {
  SshAsn1Place inner;
  for (; open(p, cursor.end, place); p = place.end) {
    cursor.passed |= mark_of(place.identifier);
    if (!fits(op, place) || (op.is_explicit && !enter_wrapper(op, place, inner))) continue;
    work_->spend_again(static_cast<size_t>(place.end - p));
    return true;
  }
  return false;
}

bool SshAsn1Reader::read_other_content(const SshAsn1Op &op, Bytes content) {
  switch (op.type) {
    case SSH_ASN1_BOOLEAN:
      if (content.size() != 1) return false;
      out<int>(op) = content[0] ? 1 : 0;
      return true;
    case SSH_ASN1_INTEGER:
      if (op.owned)
        out<Bytes>(op) = content;
      else
        out<SshMpInt>(op).set_twos_complement(content);
      return true;
    case SSH_ASN1_SHORT: {
      SshMpInt value;
      value.set_twos_complement(content);
      out<uint32_t>(op) = value.low32();
      return true;
    }
    case SSH_ASN1_BITS:
      return read_bits(op, content);
    case SSH_ASN1_OCTETS:
      give_octets(op, content, content.size());
      return true;
    case SSH_ASN1_NULL:
      return content.empty();
    case SSH_ASN1_OID:
      return give_oid_text(op, content);
    case SSH_ASN1_UTC_TIME:
      return ssh_ber_utc_time_decode(content, &out<SshBerTime>(op));
    case SSH_ASN1_GENERALIZED_TIME:
      return ssh_ber_generalized_time_decode(content, &out<SshBerTime>(op));
    default:
      ssh_fatal("ssh_asn1_read_node_recurse: command definition corrupted.");
  }
}

bool SshAsn1Reader::give_oid_text(const SshAsn1Op &op, Bytes content) {
  char *text = ssh_ber_oid_text({content});
  if (!text) return false;
  ssh_ber_freelist_add(&freelist_, SSH_BER_FREELIST_TEXT, text);
  out<char *>(op) = text;
  return true;
}

bool SshAsn1Reader::read_bits(const SshAsn1Op &op, Bytes content) {
  if (content.empty()) return false;
  const size_t all = 8 * (content.size() - 1);
  if (content[0] > all) return false;  // more unused bits than there are
  const size_t bits = all - content[0];
  if (op.owned)
    give_octets(op, content.subspan(1), bits);
  else
    out<SshAsn1Bits>(op) = {content.subspan(1), bits};
  return true;
}

// give_octets hands out a copy of the octets and a length; no octets are null and 0.
void SshAsn1Reader::give_octets(const SshAsn1Op &op, Bytes octets, size_t length) {
  uint8_t *block =
      octets.empty() ? nullptr : static_cast<uint8_t *>(ssh_xmemdup(octets.data(), octets.size()));
  if (block) ssh_ber_freelist_add(&freelist_, SSH_BER_FREELIST_BLOCK, block);
  out<uint8_t *>(op) = block;
  out<size_t>(op, 1) = length;
}

void SshAsn1Reader::finish_blocks(SshAsn1Status status, const SshAsn1Op *ops, size_t count) {
  ssh_ber_freelist_free(freelist_, status != SSH_ASN1_OK);
  freelist_ = nullptr;
  if (status == SSH_ASN1_OK) return;
  for (size_t i = 0; i < count; ++i) {
    const SshAsn1Op &op = ops[i];
    if (op.owned && op.type == SSH_ASN1_OID) out<char *>(op) = nullptr;
    if (op.owned && (op.type == SSH_ASN1_OCTETS || op.type == SSH_ASN1_BITS))
      out<uint8_t *>(op) = nullptr;
  }
}

namespace {

// RunTimeRead is the walk over a program.
class RunTimeRead {
 public:
  RunTimeRead(SshAsn1Reader &reader, const SshAsn1Op *ops) : reader_(reader), ops_(ops) {}

  SshAsn1Status list(uint32_t op, uint32_t op_end, SshAsn1Cursor cursor, SshAsn1Order order) {
    for (; op != op_end; op = ops_[op].end) {
      bool found = false;
      const SshAsn1Status status = element(op, cursor, order, false, found);
      if (status != SSH_ASN1_OK) return status;
      if (!found) return reader_.missing(ops_[op], cursor);
    }
    return SSH_ASN1_OK;
  }

 private:
  SshAsn1Status element(uint32_t index, SshAsn1Cursor &cursor, SshAsn1Order order, bool optional,
                        bool &found) {
    const SshAsn1Op &op = ops_[index];
    if (op.type == SSH_ASN1_CHOICE) return choice(index, cursor, optional, found);
    if (op.type == SSH_ASN1_OPTIONAL) {
      bool inner = false;
      const SshAsn1Status status =
          op.children ? element(index + 1, cursor, order, true, inner) : SSH_ASN1_OK;
      reader_.set_flag(op, inner);
      found = true;
      return status;
    }
    return reader_.read_simple(
        op, cursor, order, optional, found, [this, &op, index](const SshAsn1Place &place) {
          return list(index + 1, op.end, {place.content, place.content_end()},
                      SshAsn1Reader::order_inside(op, place));
        });
  }

  SshAsn1Status choice(uint32_t index, SshAsn1Cursor &cursor, bool optional, bool &found) {
    const SshAsn1Op &op = ops_[index];
    SshAsn1Chosen chosen;
    if (!reader_.choice_begin(op, cursor, chosen)) return reader_.nothing_here();
    for (uint32_t i = index + 1; i != op.end; i = ops_[i].end) {
      const auto read = [this, i, optional](SshAsn1Cursor &tried, bool &matched) {
        return element(i, tried, SshAsn1Order::kChoice, optional, matched);
      };
      const SshAsn1Status status = reader_.choice_try(op, ops_[i], cursor, chosen, read);
      if (status != SSH_ASN1_OK) return status;
    }
    reader_.choice_end(chosen, cursor, found);
    return SSH_ASN1_OK;
  }

  SshAsn1Reader &reader_;
  const SshAsn1Op *ops_;
};

}  // namespace

SshAsn1Status ssh_asn1_run_read(SshAsn1Node node, const SshAsn1Op *ops, uint32_t count,
                                void *const *outputs) {
  SshAsn1Work none = {1};
  SshAsn1Reader reader(outputs, node.work ? node.work : &none);
  RunTimeRead read(reader, ops);
  const SshAsn1Status status = read.list(0, count, {node.data, node.end}, SshAsn1Order::kSequence);
  reader.finish(status, ops, count);
  return status;
}
