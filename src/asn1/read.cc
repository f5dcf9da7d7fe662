// Reading: the rarer steps, and the walk over the program of a template that comes at run time.
#include "asn1/node.h"

bool SshAsn1Reader::open_long(const uint8_t *p, const uint8_t *end, SshAsn1Place &place,
                              SshAsn1Work *work) {
  uint32_t length = 0;
  const uint8_t *const content = ssh_ber_find_long_content(p, end, length);
  if (!content || work->left <= 1) return open_unusual(p, end, place, work);
  place = ssh_asn1_place_of(p, content, length);
  --work->left;
  return true;
}

bool SshAsn1Reader::open_unusual(const uint8_t *p, const uint8_t *end, SshAsn1Place &place,
                                 SshAsn1Work *work) {
  while (p != end && ssh_ber_is_end(p, end)) p += 2;
  SshBerElement element;
  if (p == end || work->left == 0 || ssh_ber_open(p, end, element) != SSH_BER_OK) return false;
  --work->left;
  const uint8_t *element_end = ssh_ber_element_end(element, end, work->left);
  place = {ssh_asn1_identifier(element.cls, element.tag),
           element.constructed,
           element.indefinite,
           p,
           p + element.header_length,
           element_end};
  return element_end && work->left;
}

// enter_wrapper opens the element inside an explicit tag, if it is the one that the template asks
// for.
bool SshAsn1Reader::enter_wrapper(const SshAsn1Op &op, const SshAsn1Place &wrapper,
                                  SshAsn1Place &inner, SshAsn1Work *work) {
  if (!wrapper.constructed || !open(wrapper.content, wrapper.content_end(), inner, work))
    return false;
  if (op.any_tag || op.type == SSH_ASN1_ANY) return true;
  return inner.identifier ==
         ssh_asn1_identifier(SSH_BER_UNIVERSAL, kSshAsn1Keywords[op.keyword].tag);
}

// search looks for a template element from `p` to the end of the list. What stands behind others
// can be found again from each of them, so its octets are paid for: whoever reads it walks over
// them without an account.
SshAsn1Reader::Search SshAsn1Reader::search(const SshAsn1Op &op, const uint8_t *p,
                                            const uint8_t *end, SshAsn1Work *work) {
  Search search = {};
  SshAsn1Place inner;
  for (; open(p, end, search.place, work); p = search.place.end) {
    search.passed |= mark_of(search.place.identifier);
    if (!fits(op, search.place)) continue;
    if (op.is_explicit && !enter_wrapper(op, search.place, inner, work)) continue;
    work->spend_again(static_cast<size_t>(search.place.end - p));
    search.found = true;
    break;
  }
  return search;
}

// is_end is true where no element follows: end-of-contents octets are none.
bool SshAsn1Reader::is_end(const uint8_t *p, const uint8_t *end) {
  while (ssh_ber_is_end(p, end)) p += 2;
  return p == end;
}

// fields_read is true if the elements of a structure that carry a tag which the template gives are
// those that it has read: each is the first of its tag and as the template wants it. Others pass if
// the mode asks for what is known alone, as does an element without content: it holds nothing that
// could be lost. The structure is the template's first element.
bool SshAsn1Reader::fields_read(const uint8_t *p, const uint8_t *end, const SshAsn1Op *ops,
                                size_t count, SshAsn1Mode mode, SshAsn1Work *work) {
  const bool known_alone = mode == SshAsn1Mode::kKnown;
  const Search structure = search(ops[0], p, end, work);
  SshAsn1Place place, inner;
  uint64_t seen = 0;  // a bit for each element of the template
  if (!structure.found || !ops[0].children) return known_alone;
  const bool alone = is_end(p, structure.place.data) && is_end(structure.place.end, end);
  if (!alone && !known_alone) return false;
  end = structure.place.content_end();
  for (p = structure.place.content; open(p, end, place, work); p = place.end) {
    if (known_alone && place.empty()) continue;
    bool known = false;
    for (size_t i = 1; i < count;) {
      const SshAsn1Op &op = ops[i];
      const uint64_t bit = uint64_t{1} << i;
      i = op.type >= SSH_ASN1_CHOICE ? i + 1 : op.end;  // into what stands in the same list
      if (!op.tagged || op.identifier != place.identifier) continue;
      if ((seen & bit) || !fits(op, place)) return false;
      if (op.is_explicit && !enter_wrapper(op, place, inner, work)) return false;
      seen |= bit;
      known = true;
    }
    if (!known && !known_alone) return false;
  }
  return true;
}

SshAsn1Status SshAsn1Reader::missing(const SshAsn1Op &op, const uint8_t *p, const uint8_t *end,
                                     SshAsn1Work *work) {
  SshAsn1Place left;
  const bool ordinary = op.type <= SSH_ASN1_CONSTRUCTED;
  return ordinary && !open(p, end, left, work) ? SSH_ASN1_NODE_NULL : SSH_ASN1_MATCH_NOT_FOUND;
}

uint32_t SshAsn1Reader::low32(Bytes content) {
  SshMpInt value;
  value.set_twos_complement(content);
  return value.low32();
}

bool SshAsn1Reader::read_bits(Bytes content, SshAsn1Bits &bits) {
  if (content.empty()) return false;
  const size_t all = 8 * (content.size() - 1);
  if (content[0] > all) return false;  // more unused bits than there are
  bits = {content.subspan(1), all - content[0]};
  return true;
}

// give_content decodes into blocks or text of the caller's own.
bool SshAsn1Reader::give_content(const SshAsn1Op &op, Bytes content) {
  if (op.type == SSH_ASN1_OCTETS) {
    give_octets(op, content, content.size());
    return true;
  }
  if (op.type == SSH_ASN1_BITS) {
    SshAsn1Bits bits;
    if (!read_bits(content, bits)) return false;
    give_octets(op, bits.octets, bits.bits);
    return true;
  }
  char *text = ssh_ber_oid_text({content});
  if (!text) return false;
  ssh_ber_freelist_add(&freelist_, SSH_BER_FREELIST_TEXT, text);
  out<char *>(op) = text;
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

  SshAsn1Status list(uint32_t first, uint32_t last, SshAsn1Cursor cursor, SshAsn1Order order) {
    for (uint32_t op = first; op != last; op = ops_[op].end) {
      bool found = false;
      const SshAsn1Status status = element(op, cursor, order, false, found);
      if (status != SSH_ASN1_OK) return status;
      if (!found) return reader_.missing(ops_[op], cursor);
    }
    if (first != last && !SshAsn1Reader::is_list_of(ops_, first, last)) reader_.list_done(cursor);
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

SshAsn1Status ssh_asn1_run_read(SshAsn1Mode mode, SshAsn1Node node, const SshAsn1Op *ops,
                                uint32_t count, void *const *outputs) {
  SshAsn1Work none = {1};
  SshAsn1Reader reader(outputs, node.work ? node.work : &none, mode);
  RunTimeRead read(reader, ops);
  SshAsn1Status status = read.list(0, count, {node.data, node.end}, SshAsn1Order::kSequence);
  if (status == SSH_ASN1_OK) status = reader.verdict(node, ops, count);
  reader.finish(status, ops, count);
  return status;
}
