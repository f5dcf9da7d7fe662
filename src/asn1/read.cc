// The general reader: the one that decides what an input holds. It walks over the program of a
// template, looks for each element by the rules of docs/asn1_template.md, and decides what becomes
// of elements that no part of the template takes (SshAsn1Mode). It knows every form of BER; all
// bytes that it sees were checked before. It recurses over the depth of the template, which is
// bounded, never over that of the input.
//
// How it finds elements: each list has a cursor. An untagged element is searched for from the
// cursor to the end of the list, a tagged element in the whole list, and so is every member of a
// set. The cursor then moves behind what was found, even if that is backwards.
//
// How that stays cheap: the cursor keeps 64 marks. Each element that the reader looks at sets the
// mark of its identifier. If the mark of a wanted element is not set, it is not among the elements
// that were passed, and they need not be looked at again. (If it is set, another identifier may
// have set it; then the search finds nothing and only takes its time.) So elements that are all
// there and in order are looked at once. A missing optional element costs a walk to the end of its
// list, as it may come later; what hostile input makes of that is bounded by the budget of work
// (asn1/view.h).
#include "asn1/content.h"
#include "asn1/node.h"

namespace {

// Order is how the elements of a list are searched for, see the top of this file. In a choice, only
// the element at the cursor counts.
enum class Order : uint8_t { kSequence, kSet, kChoice };

// Place is an element that was opened, with its end.
struct Place {
  uint32_t identifier;  // as in SshAsn1Op
  bool constructed;
  bool indefinite;
  const uint8_t *data;
  const uint8_t *content;
  const uint8_t *end;

  [[nodiscard]] Bytes bytes() const { return {content, end}; }
  [[nodiscard]] bool empty() const { return content == end && !indefinite; }
  [[nodiscard]] const uint8_t *content_end() const {
    return constructed && indefinite ? end - 2 : end;
  }
};

// Cursor is a position in a list of elements.
struct Cursor {
  const uint8_t *first;
  const uint8_t *end;
  const uint8_t *at = first;
  uint64_t passed = 0;  // the marks of all elements that were looked at
};

// mark_of gives the mark of an identifier. Tag numbers below 16 have a mark of their own in each
// class; larger ones share them.
uint64_t mark_of(uint32_t identifier) {
  const uint32_t tag = ssh_asn1_tag_of(identifier);
  return uint64_t{1} << ((ssh_asn1_class_of(identifier) << 4 ^ tag >> 26 ^ tag) & 63);
}

bool fits(const SshAsn1Op &op, const Place &place) {
  return place.identifier == op.identifier && place.indefinite == op.indefinite;
}

// is_end is true where no element follows: end-of-contents bytes are none.
bool is_end(const uint8_t *p, const uint8_t *end) {
  while (ssh_ber_is_end(p, end)) p += 2;
  return p == end;
}

// order_inside tells how the children of an element are searched for. The tag decides: 17 is a set
// and 16 is a sequence. An implicit tag hides which of the two it is; then the keyword decides. For
// "*" it is the tag of the element that was found, else that of the template.
Order order_inside(const SshAsn1Op &op, const Place &place) {
  const uint32_t keyword = kSshAsn1Keywords[op.keyword].tag;
  const bool own_tag = op.is_explicit || !op.tagged;
  const uint32_t tag = op.any_tag ? ssh_asn1_tag_of(place.identifier) : own_tag ? keyword : op.tag;
  return tag == 17 || (tag != 16 && keyword == 17) ? Order::kSet : Order::kSequence;
}

// The rules that a fault tells people. kElementRules say which element belongs where another one
// stands, kContentRules what its content must be, in the order of SshAsn1Type.
constexpr char kNoField[] = "no field takes this element";
constexpr struct {
  std::string_view keyword;
  const char *rule;
} kElementRules[] = {
    {"boolean", "a BOOLEAN belongs there"},
    {"integer", "an INTEGER belongs there"},
    {"enum", "an ENUMERATED belongs there"},
    {"bit-string", "a BIT STRING belongs there"},
    {"octet-string", "an OCTET STRING belongs there"},
    {"null", "a NULL belongs there"},
    {"object-identifier", "an OBJECT IDENTIFIER belongs there"},
    {"ia5-string", "an IA5String belongs there"},
    {"utc-time", "a UTCTime belongs there"},
    {"generalized-time", "a GeneralizedTime belongs there"},
    {"sequence", "a SEQUENCE belongs there"},
    {"set", "a SET belongs there"},
};
constexpr const char *kContentRules[] = {
    "a BOOLEAN has one byte",
    "an INTEGER is a number",
    "an INTEGER is a number",
    "a BIT STRING begins with the number of its unused bits",
    "a string holds letters",
    "a NULL is empty",
    "an OBJECT IDENTIFIER has whole numbers of at most 28 bits",
    "a UTCTime is YYMMDDhhmmssZ",
    "a GeneralizedTime is YYYYMMDDhhmmssZ",
};

// rule_of gives the rule for an element that is missing. If it has a tag of its own, the rule
// speaks of that tag, which is what would be seen of the element.
const char *rule_of(const SshAsn1Op &op) {
  if (op.type == SSH_ASN1_CHOICE) return "that is none of the types that belong there";
  if (op.tagged) return "an element with a tag of its own belongs there";
  for (const auto &row : kElementRules) {
    if (row.keyword == kSshAsn1Keywords[op.keyword].text) return row.rule;
  }
  return "another element belongs there";
}

// Reader is one read of a template.
class Reader {
 public:
  Reader(SshAsn1Mode mode, SshAsn1Work *work, const SshAsn1Op *ops, uint32_t count,
         void *const *outputs)
      : mode_(mode), work_(work), ops_(ops), count_(count), outputs_(outputs) {}

  SshAsn1Status read(SshAsn1Node node) {
    SshAsn1Status status = list(0, count_, {node.data, node.end}, Order::kSequence);
    if (status == SSH_ASN1_OK && mode_ != SshAsn1Mode::kSearch && leftovers_)
      status = fields_read(node.data, node.end) ? SSH_ASN1_OK : SSH_ASN1_MATCH_NOT_FOUND;
    if (status != SSH_ASN1_OK) work_->fault = fault_;
    if (freelist_) finish_blocks(status);
    return status;
  }

 private:
  // The walk over the program. `index` is that of an op, `optional` tells whether it is inside an
  // optional, and `found` becomes true if the list has it.
  SshAsn1Status list(uint32_t first, uint32_t last, Cursor cursor, Order order);
  SshAsn1Status element(uint32_t index, Cursor &cursor, Order order, bool optional, bool &found);
  SshAsn1Status simple(uint32_t index, Cursor &cursor, Order order, bool optional, bool &found);
  SshAsn1Status choice(uint32_t index, Cursor &cursor, bool optional, bool &found);

  // Opening, searching and reading one element.
  bool open(const uint8_t *p, const uint8_t *end, Place &place);
  bool open_inside(const SshAsn1Op &op, const Place &wrapper, Place &inner);
  bool locate(const SshAsn1Op &op, Cursor &cursor, Order order, Place &place);
  bool locate_from(const SshAsn1Op &op, const uint8_t *p, Cursor &cursor, Place &place);
  bool search(const SshAsn1Op &op, const uint8_t *p, const uint8_t *end, Place &place,
              uint64_t &passed);
  SshAsn1Status nothing_found(const SshAsn1Op &op, Order order, bool optional, bool &found);
  SshAsn1Status missing(const SshAsn1Op &op, const Cursor &cursor);
  SshAsn1Status read_place(uint32_t index, const Place &place, const uint8_t *list_end,
                           bool optional, bool &found);
  [[nodiscard]] SshAsn1Status nothing_here() const {
    return work_->left ? SSH_ASN1_OK : SSH_ASN1_BER_STEP_FAILED;
  }
  bool fields_read(const uint8_t *p, const uint8_t *end);

  // Why the read fails. The first fault that is noted is the deepest one and stays: everything
  // around it fails only because of it.
  bool note(const char *rule, const uint8_t *at, bool is_missing = false);
  SshAsn1Status fail(SshAsn1Status status, const char *rule, const uint8_t *at) {
    (void)note(rule, at);
    return status;
  }

  // Contents that become blocks or text, which belong to the caller.
  bool give_content(const SshAsn1Op &op, Bytes content);
  void give_octets(const SshAsn1Op &op, Bytes octets, size_t length);
  void finish_blocks(SshAsn1Status status);

  template <class T>
  T &out(const SshAsn1Op &op, uint32_t index = 0) {
    return *static_cast<T *>(outputs_[op.argument + index]);
  }

  SshAsn1Mode mode_;
  SshAsn1Work *work_;
  const SshAsn1Op *ops_;
  uint32_t count_;
  void *const *outputs_;
  bool leftovers_ = false;  // whether any element was passed over, between others or at the end
  SshAsn1Fault fault_;
  SshBerFreelist freelist_ = ssh_ber_freelist_alloc();
};

// list reads the elements from op `first` to `last` out of one list of the input.
SshAsn1Status Reader::list(uint32_t first, uint32_t last, Cursor cursor, Order order) {
  for (uint32_t op = first; op != last; op = ops_[op].end) {
    bool found = false;
    const SshAsn1Status status = element(op, cursor, order, false, found);
    if (status != SSH_ASN1_OK) return status;
    if (!found) return missing(ops_[op], cursor);
  }
  if (first != last && !ssh_asn1_is_list(ops_, first, last))
    leftovers_ |= cursor.at != cursor.end && !is_end(cursor.at, cursor.end);
  return SSH_ASN1_OK;
}

// element reads one op, of any type. An optional op always counts as found: its flag tells.
SshAsn1Status Reader::element(uint32_t index, Cursor &cursor, Order order, bool optional,
                              bool &found) {
  const SshAsn1Op &op = ops_[index];
  if (op.type == SSH_ASN1_CHOICE) return choice(index, cursor, optional, found);
  if (op.type != SSH_ASN1_OPTIONAL) return simple(index, cursor, order, optional, found);
  bool inner = false;
  const SshAsn1Status status =
      op.children ? element(index + 1, cursor, order, true, inner) : SSH_ASN1_OK;
  out<int>(op) = inner ? 1 : 0;
  found = true;
  return status;
}

// simple reads an ordinary element or an "any": it finds the element, goes through the explicit tag
// if there is one, reads the content, and moves the cursor behind the whole element.
SshAsn1Status Reader::simple(uint32_t index, Cursor &cursor, Order order, bool optional,
                             bool &found) {
  const SshAsn1Op &op = ops_[index];
  Place place;
  if (!locate(op, cursor, order, place)) return nothing_found(op, order, optional, found);
  found = true;
  const uint8_t *const after = place.end;
  const uint8_t *list_end = cursor.end;
  if (op.is_explicit) {
    const Place wrapper = place;
    list_end = wrapper.content_end();
    if (!open_inside(op, wrapper, place)) return SSH_ASN1_BER_STEP_FAILED;
    if (place.end != list_end && mode_ != SshAsn1Mode::kSearch && !is_end(place.end, list_end))
      return fail(SSH_ASN1_MATCH_NOT_FOUND, kNoField, place.end);
  }
  const SshAsn1Status status = read_place(index, place, list_end, optional, found);
  if (found) cursor.at = after;
  return status;
}

// choice tries each alternative on the element at the cursor. The identifier tells of most of them
// that they do not fit, without a read. Two that fit are a fault. If none fits, the choice is not
// found, and the caller says whether that is a fault.
SshAsn1Status Reader::choice(uint32_t index, Cursor &cursor, bool optional, bool &found) {
  const SshAsn1Op &op = ops_[index];
  Place here;
  out<int>(op) = -1;
  const uint8_t *after = cursor.at;
  if (!open(cursor.at, cursor.end, here)) return nothing_here();
  int position = 0;
  for (uint32_t i = index + 1; i != op.end; i = ops_[i].end, ++position) {
    const SshAsn1Op &alternative = ops_[i];
    const bool told =
        alternative.type < SSH_ASN1_CHOICE && !ssh_asn1_takes_what_stands(alternative);
    if (told && !fits(alternative, here)) continue;
    Cursor tried = cursor;
    bool matched = false;
    const SshAsn1Status status = element(i, tried, Order::kChoice, optional, matched);
    if (status != SSH_ASN1_OK) return status;
    if (!matched) continue;
    if (found) return fail(SSH_ASN1_TOO_MANY_MATCHES, "more than one alternative fits", here.data);
    found = true;
    after = tried.at;
    out<int>(op) = position;
  }
  cursor.at = after;
  cursor.passed |= mark_of(here.identifier);
  return SSH_ASN1_OK;
}

// open opens the element at `p`, behind any end-of-contents bytes, and takes a step of the work.
// False at the end of the list, and when all work is spent.
bool Reader::open(const uint8_t *p, const uint8_t *end, Place &place) {
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

// open_inside opens the element inside an explicit tag. False if there is none, or if it is of
// another type than the template asks for; "any" and "*" take every type.
bool Reader::open_inside(const SshAsn1Op &op, const Place &wrapper, Place &inner) {
  if (!wrapper.constructed || !open(wrapper.content, wrapper.content_end(), inner)) return false;
  if (op.any_tag || op.type == SSH_ASN1_ANY) return true;
  return inner.identifier ==
         ssh_asn1_identifier(SSH_BER_UNIVERSAL, kSshAsn1Keywords[op.keyword].tag);
}

// locate finds the element for an op. It first looks at the cursor, where the element nearly always
// is, unless the marks say that the element may have been passed: then the whole list is searched.
// With an explicit tag it finds the element that has the tag, and looks inside to see whether the
// type fits.
bool Reader::locate(const SshAsn1Op &op, Cursor &cursor, Order order, Place &place) {
  const bool whole_list = order == Order::kSet || (op.tagged && order == Order::kSequence);
  const bool anything = ssh_asn1_takes_what_stands(op);
  if (whole_list && !anything && (cursor.passed & mark_of(op.identifier)))
    return locate_from(op, cursor.first, cursor, place);
  if (!open(cursor.at, cursor.end, place)) return false;
  cursor.passed |= mark_of(place.identifier);
  Place inner;
  if ((anything || fits(op, place)) && (!op.is_explicit || open_inside(op, place, inner)))
    return true;
  if (anything || order == Order::kChoice) return false;
  return locate_from(op, place.end, cursor, place);
}

// locate_from searches from `p` on, and notes whether elements between the cursor and the one that
// it finds are passed over.
bool Reader::locate_from(const SshAsn1Op &op, const uint8_t *p, Cursor &cursor, Place &place) {
  const bool found = search(op, p, cursor.end, place, cursor.passed);
  leftovers_ |= found && place.data != cursor.at && !is_end(cursor.at, place.data);
  return found;
}

// search looks for an element from `p` to the end of the list. Each element that it opens takes a
// step. The one that it finds takes more (spend_again): it is away from the cursor, so other reads
// can find the same element again, from other places, and those who then read its content do not
// count their steps. Without this price, one list could be read once for each of its elements.
bool Reader::search(const SshAsn1Op &op, const uint8_t *p, const uint8_t *end, Place &place,
                    uint64_t &passed) {
  Place inner;
  for (; open(p, end, place); p = place.end) {
    passed |= mark_of(place.identifier);
    if (!fits(op, place) || (op.is_explicit && !open_inside(op, place, inner))) continue;
    work_->spend_again(static_cast<size_t>(place.end - p));
    return true;
  }
  return false;
}

// nothing_found ends a search without a result. An untagged "any" then is the null node, the empty
// list, unless it is optional or an alternative.
SshAsn1Status Reader::nothing_found(const SshAsn1Op &op, Order order, bool optional, bool &found) {
  const bool may_be_nothing =
      op.type == SSH_ASN1_ANY && !op.tagged && !optional && order != Order::kChoice;
  if (may_be_nothing && work_->left) {
    out<SshAsn1Node>(op) = {};
    found = true;
  }
  return nothing_here();
}

// missing notes why a mandatory element was not found, and gives the status for it: whether the
// list has ended, or something else is there.
SshAsn1Status Reader::missing(const SshAsn1Op &op, const Cursor &cursor) {
  Place left;
  const bool ordinary = op.type <= SSH_ASN1_CONSTRUCTED;
  const bool ended = !open(cursor.at, cursor.end, left);
  (void)note(rule_of(op), ended ? cursor.end : left.data, ended);
  return ordinary && ended ? SSH_ASN1_NODE_NULL : SSH_ASN1_MATCH_NOT_FOUND;
}

// note keeps the first fault, and gives false.
bool Reader::note(const char *rule, const uint8_t *at, bool is_missing) {
  if (!fault_.rule) fault_ = {rule, at, is_missing};
  return false;
}

// read_place reads an element that was found: as a node, as a list of children, or as the content
// of a primitive type.
SshAsn1Status Reader::read_place(uint32_t index, const Place &place, const uint8_t *list_end,
                                 bool optional, bool &found) {
  const SshAsn1Op &op = ops_[index];
  if (op.type == SSH_ASN1_ANY) {
    out<SshAsn1Node>(op) = {place.data, place.end, list_end, work_};
    return SSH_ASN1_OK;
  }
  if (op.children) {
    if (!place.constructed) return fail(SSH_ASN1_CONSTRUCTED_ASSUMED, rule_of(op), place.data);
    return list(index + 1, op.end, {place.content, place.content_end()}, order_inside(op, place));
  }
  if (place.constructed || place.indefinite) {
    // By the rules of the language a primitive type in constructed form is no error, deliberately:
    // its outputs stay as they are, and an optional element counts as absent.
    if (mode_ != SshAsn1Mode::kSearch)
      return fail(SSH_ASN1_DECODE_FAILED, "DER has this type in primitive form", place.data);
    if (optional) found = false;
    return SSH_ASN1_OK;
  }
  void *const output = op.type == SSH_ASN1_NULL ? nullptr : outputs_[op.argument];
  const bool good = ssh_asn1_gives_block(op) ? give_content(op, place.bytes())
                                             : ssh_asn1_read_content(op, place.bytes(), output);
  return good ? SSH_ASN1_OK : fail(SSH_ASN1_DECODE_FAILED, kContentRules[op.type], place.data);
}

// fields_read decides about a read that passed over elements, in the modes kKnown and kWhole. The
// structure is the first element of the template, its fields the ops directly inside. The function
// goes over all elements of the structure. One that has the tag of a field must be what was read
// for that field: the first with that tag, in the form that the template gives. An element that no
// field has the tag of is a fault in kWhole. In kKnown it passes, as does any element without
// content: that holds nothing which could be lost.
bool Reader::fields_read(const uint8_t *p, const uint8_t *end) {
  const bool known_alone = mode_ == SshAsn1Mode::kKnown;
  Place structure, place, inner;
  uint64_t passed = 0;
  uint64_t seen = 0;  // a bit for each element of the template
  const bool found = search(ops_[0], p, end, structure, passed);
  if (!found || !ops_[0].children)
    return known_alone || note(kNoField, found && is_end(p, structure.data) ? structure.end : p);
  const bool alone = is_end(p, structure.data) && is_end(structure.end, end);
  if (!alone && !known_alone) return note(kNoField, is_end(p, structure.data) ? structure.end : p);
  end = structure.content_end();
  for (p = structure.content; open(p, end, place); p = place.end) {
    if (known_alone && place.empty()) continue;
    bool known = false;
    for (size_t i = 1; i < count_;) {
      const SshAsn1Op &op = ops_[i];
      const uint64_t bit = uint64_t{1} << i;
      // What is inside a choice or an optional is in the same list.
      i = op.type >= SSH_ASN1_CHOICE ? i + 1 : op.end;
      if (!op.tagged || op.identifier != place.identifier) continue;
      if ((seen & bit) || !fits(op, place) || (op.is_explicit && !open_inside(op, place, inner)))
        return note("a field stands once, in its own form", place.data);
      seen |= bit;
      known = true;
    }
    if (!known && !known_alone) return note(kNoField, place.data);
  }
  return true;
}

// give_content makes a block or text of an element's content: what SSH_ASN1_FORM_BLOCK and _TEXT
// stand for.
bool Reader::give_content(const SshAsn1Op &op, Bytes content) {
  if (op.type == SSH_ASN1_OCTETS) {
    give_octets(op, content, content.size());
    return true;
  }
  if (op.type == SSH_ASN1_BITS) {
    SshAsn1Bits bits;
    if (!ssh_asn1_read_bits(content, bits)) return false;
    give_octets(op, bits.octets, bits.bits);
    return true;
  }
  char *text = ssh_ber_oid_text({content});
  if (!text) return false;
  ssh_ber_freelist_add(&freelist_, SSH_BER_FREELIST_TEXT, text);
  out<char *>(op) = text;
  return true;
}

// give_octets stores a copy of the bytes and a length; null if there are no bytes.
void Reader::give_octets(const SshAsn1Op &op, Bytes octets, size_t length) {
  uint8_t *block =
      octets.empty() ? nullptr : static_cast<uint8_t *>(ssh_xmemdup(octets.data(), octets.size()));
  if (block) ssh_ber_freelist_add(&freelist_, SSH_BER_FREELIST_BLOCK, block);
  out<uint8_t *>(op) = block;
  out<size_t>(op, 1) = length;
}

// finish_blocks frees the list of blocks. After a failure it frees the blocks too, and the caller's
// pointers to them become null.
void Reader::finish_blocks(SshAsn1Status status) {
  ssh_ber_freelist_free(freelist_, status != SSH_ASN1_OK);
  if (status == SSH_ASN1_OK) return;
  for (size_t i = 0; i < count_; ++i) {
    const SshAsn1Op &op = ops_[i];
    if (op.second_form && op.type == SSH_ASN1_OID) out<char *>(op) = nullptr;
    if (op.second_form && (op.type == SSH_ASN1_OCTETS || op.type == SSH_ASN1_BITS))
      out<uint8_t *>(op) = nullptr;
  }
}

}  // namespace

uint32_t ssh_asn1_low32(Bytes content) {
  SshMpInt value;
  value.set_twos_complement(content);
  return value.low32();
}

bool ssh_asn1_read_bits(Bytes content, SshAsn1Bits &bits) {
  if (content.empty()) return false;
  const size_t all = 8 * (content.size() - 1);
  if (content[0] > all) return false;  // more unused bits than there are
  bits = {content.subspan(1), all - content[0]};
  return true;
}

SshAsn1Status ssh_asn1_run_read(SshAsn1Mode mode, SshAsn1Node node, const SshAsn1Op *ops,
                                uint32_t count, void *const *outputs) {
  SshAsn1Work none = {1};
  Reader reader(mode, node.work ? node.work : &none, ops, count, outputs);
  return reader.read(node);
}
