// The steps of reading: how an element of a template is looked for in a list, matched and decoded,
// and what becomes of elements that no part of the template takes (SshAsn1Mode).
// They are written once and run in two ways: read.cc walks over the program of a template that
// comes at run time, and SshAsn1CompiledRead, below, is the same walk unrolled by the compiler, in
// which every question about the template is answered beforehand. Recursion goes over the
// template's depth, which is bounded, never over the input's.
#pragma once

#include "asn1/template.h"
#include "asn1/view.h"
#include "util/fatal.h"

// How the elements of a list are looked for.
enum class SshAsn1Order : uint8_t { kSequence, kSet, kChoice };

// SshAsn1Mode tells what a read makes of elements that its template does not read where they stand.
enum class SshAsn1Mode : uint8_t {
  // They are passed over, also where they carry a tag that the template names; a primitive type in
  // constructed form is passed over too, and its outputs stay as they are.
  kSearch,
  // An element of a structure that carries the tag of a field is read or an error; so is a
  // primitive type in constructed form, and a second element under an explicit tag. Others are
  // passed over.
  kKnown,
  // Every element is read where it stands or an error; but fields that all have tags of their own
  // may change places. An "any" that is all of a list stands for the whole list.
  kWhole
};

// SshAsn1Place is an opened element.
struct SshAsn1Place {
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

// ssh_asn1_place_of describes an element of definite length whose tag takes one octet.
inline SshAsn1Place ssh_asn1_place_of(const uint8_t *p, const uint8_t *content, size_t length) {
  return {ssh_asn1_identifier_of(*p), (*p & 0x20) != 0, false, p, content, content + length};
}

// SshAsn1Cursor is a position in a list of elements.
struct SshAsn1Cursor {
  const uint8_t *first;
  const uint8_t *end;
  const uint8_t *at = first;
  uint64_t passed = 0;  // a mark for each element before `at`: without its mark, one is not there
};

// ssh_asn1_gives_block is true for elements that are decoded into a block or text of the caller's
// own.
constexpr bool ssh_asn1_gives_block(const SshAsn1Op &op) {
  return op.owned && op.type != SSH_ASN1_INTEGER;
}

// SshAsn1Chosen is what a choice has come to.
struct SshAsn1Chosen {
  SshAsn1Place here;
  const uint8_t *after;
  int position = 0;
  bool found = false;
};

// SshAsn1Reader is the steps. In a compiled read they are all inlined, and what is too rare for
// that is static and takes no reader: so a reader needs no memory, nor do the places and cursors.
class SshAsn1Reader {
 public:
  SshAsn1Reader(void *const *outputs, SshAsn1Work *work, SshAsn1Mode mode)
      : outputs_(outputs), work_(work), mode_(mode) {}

  // read_simple reads an ordinary element or an "any"; `children` reads what is inside a place.
  template <class Children>
  [[gnu::always_inline]] SshAsn1Status read_simple(const SshAsn1Op &op, SshAsn1Cursor &cursor,
                                                   SshAsn1Order order, bool optional, bool &found,
                                                   Children children) {
    SshAsn1Place place;
    if (!locate(op, cursor, order, place)) return nothing_found(op, order, optional, found);
    found = true;
    const uint8_t *const after = place.end;
    const uint8_t *list_end = cursor.end;
    if (op.is_explicit) {
      const SshAsn1Place wrapper = place;
      list_end = wrapper.content_end();
      if (!enter_wrapper(op, wrapper, place, work_)) return SSH_ASN1_BER_STEP_FAILED;
      if (place.end != list_end && mode_ != SshAsn1Mode::kSearch && !is_end(place.end, list_end))
        return SSH_ASN1_MATCH_NOT_FOUND;
    }
    const SshAsn1Status status = read_place(op, place, list_end, optional, found, children);
    if (found) cursor.at = after;
    return status;
  }

  // choice_begin opens the element that a choice is about; false if there is none.
  [[gnu::always_inline]] bool choice_begin(const SshAsn1Op &op, SshAsn1Cursor &cursor,
                                           SshAsn1Chosen &chosen) {
    out<int>(op) = -1;
    chosen.after = cursor.at;
    return open(cursor.at, cursor.end, chosen.here, work_);
  }

  // choice_try reads one alternative unless its header already tells that it does not fit; `read`
  // reads it.
  template <class Read>
  [[gnu::always_inline]] SshAsn1Status choice_try(const SshAsn1Op &op, const SshAsn1Op &alternative,
                                                  const SshAsn1Cursor &cursor,
                                                  SshAsn1Chosen &chosen, Read read) {
    const int position = chosen.position++;
    const bool simple = alternative.type < SSH_ASN1_CHOICE && !takes_anything(alternative);
    if (simple && !fits(alternative, chosen.here)) return SSH_ASN1_OK;
    SshAsn1Cursor tried = cursor;
    bool matched = false;
    const SshAsn1Status status = read(tried, matched);
    if (status != SSH_ASN1_OK || !matched) return status;
    if (chosen.found) return SSH_ASN1_TOO_MANY_MATCHES;
    chosen.found = true;
    chosen.after = tried.at;
    out<int>(op) = position;
    return SSH_ASN1_OK;
  }

  [[gnu::always_inline]] void choice_end(const SshAsn1Chosen &chosen, SshAsn1Cursor &cursor,
                                         bool &found) {
    cursor.at = chosen.after;
    cursor.passed |= mark_of(chosen.here.identifier);
    found = chosen.found;
  }

  // list_done ends the reading of a list: nearly always nothing is left of it.
  [[gnu::always_inline]] void list_done(const SshAsn1Cursor &cursor) {
    if (cursor.at != cursor.end && mode_ != SshAsn1Mode::kSearch)
      leftovers_ |= !is_end(cursor.at, cursor.end);
  }

  // verdict tells whether the mode allows what was not taken where it stood. `node` is what the
  // template of `count` elements has been read from.
  [[gnu::always_inline]] SshAsn1Status verdict(SshAsn1Node node, const SshAsn1Op *ops,
                                               size_t count) const {
    if (mode_ == SshAsn1Mode::kSearch || !leftovers_) return SSH_ASN1_OK;
    const bool good = fields_read(node.data, node.end, ops, count, mode_, work_);
    return good ? SSH_ASN1_OK : SSH_ASN1_MATCH_NOT_FOUND;
  }

  // is_list_of is true for elements that are a list of any: one "any" and nothing else.
  static constexpr bool is_list_of(const SshAsn1Op *ops, uint32_t first, uint32_t last) {
    const uint32_t only =
        ops[first].type == SSH_ASN1_OPTIONAL && first + 1 != last ? first + 1 : first;
    return ops[only].type == SSH_ASN1_ANY && !ops[only].tagged && ops[only].end == last;
  }

  // order_inside tells how the children of an element are looked for: as a set if it is one, or if
  // the template says so and an implicit tag hides what it is.
  static SshAsn1Order order_inside(const SshAsn1Op &op, const SshAsn1Place &place) {
    const uint32_t keyword = kSshAsn1Keywords[op.keyword].tag;
    const bool own_tag = op.is_explicit || !op.tagged;
    const uint32_t tag = op.any_tag ? ssh_asn1_tag_of(place.identifier)
                         : own_tag  ? keyword
                                    : op.tag;
    return tag == 17 || (tag != 16 && keyword == 17) ? SshAsn1Order::kSet : SshAsn1Order::kSequence;
  }

  // missing tells why a mandatory element was not found.
  [[gnu::always_inline]] SshAsn1Status missing(const SshAsn1Op &op,
                                               const SshAsn1Cursor &cursor) const {
    return missing(op, cursor.at, cursor.end, work_);
  }

  // nothing_here tells a list that has ended from one whose work is spent.
  [[nodiscard, gnu::always_inline]] SshAsn1Status nothing_here() const {
    return work_->left ? SSH_ASN1_OK : SSH_ASN1_BER_STEP_FAILED;
  }

  [[gnu::always_inline]] void set_flag(const SshAsn1Op &op, bool value) {
    out<int>(op) = value ? 1 : 0;
  }

  // finish closes the freelist: after a failure no block stays allocated and none stays visible.
  void finish(SshAsn1Status status, const SshAsn1Op *ops, size_t count) {
    if (freelist_) finish_blocks(status, ops, count);
  }

 private:
  static uint64_t mark_of(uint32_t identifier) {
    const uint32_t tag = ssh_asn1_tag_of(identifier);
    return uint64_t{1} << ((ssh_asn1_class_of(identifier) << 4 ^ tag >> 26 ^ tag) & 63);
  }

  // takes_anything is true for template elements that are content with whatever stands at the
  // cursor.
  static bool takes_anything(const SshAsn1Op &op) {
    return op.any_tag || (op.type == SSH_ASN1_ANY && !op.tagged);
  }

  static bool fits(const SshAsn1Op &op, const SshAsn1Place &place) {
    return place.identifier == op.identifier && place.indefinite == op.indefinite;
  }

  // open opens the element at `p`, stepping over end-of-contents octets; false at the end of the
  // list and when all work is spent.
  [[gnu::always_inline]] static bool open(const uint8_t *p, const uint8_t *end, SshAsn1Place &place,
                                          SshAsn1Work *work) {
    if (!ssh_ber_is_usual(p, end) || work->left <= 1) {
      SshAsn1Place opened;
      if (p == end || !open_long(p, end, opened, work)) return false;
      place = opened;
      return true;
    }
    place = ssh_asn1_place_of(p, p + 2, p[1]);
    --work->left;
    return true;
  }

  static bool open_long(const uint8_t *p, const uint8_t *end, SshAsn1Place &place,
                        SshAsn1Work *work);
  [[gnu::noinline]] static bool open_unusual(const uint8_t *p, const uint8_t *end,
                                             SshAsn1Place &place, SshAsn1Work *work);
  static bool enter_wrapper(const SshAsn1Op &op, const SshAsn1Place &wrapper, SshAsn1Place &inner,
                            SshAsn1Work *work);
  static SshAsn1Status missing(const SshAsn1Op &op, const uint8_t *p, const uint8_t *end,
                               SshAsn1Work *work);
  static bool is_end(const uint8_t *p, const uint8_t *end);

  static bool fields_read(const uint8_t *p, const uint8_t *end, const SshAsn1Op *ops, size_t count,
                          SshAsn1Mode mode, SshAsn1Work *work);

  struct Search {
    SshAsn1Place place;
    uint64_t passed;
    bool found;
  };
  static Search search(const SshAsn1Op &op, const uint8_t *p, const uint8_t *end,
                       SshAsn1Work *work);
  [[gnu::always_inline]] bool locate_from(const SshAsn1Op &op, const uint8_t *p,
                                          SshAsn1Cursor &cursor, SshAsn1Place &place) {
    if (p == cursor.end) return false;
    const Search result = search(op, p, cursor.end, work_);
    cursor.passed |= result.passed;
    leftovers_ |=
        result.found && result.place.data != cursor.at && !is_end(cursor.at, result.place.data);
    place = result.place;
    return result.found;
  }

  // locate looks for a template element: tagged ones among the whole list, so that they may stand
  // in any order, untagged ones from the cursor on; in a set every element among the whole set; in
  // a choice at the cursor only. Of an explicit element it finds the wrapper.
  [[gnu::always_inline]] bool locate(const SshAsn1Op &op, SshAsn1Cursor &cursor, SshAsn1Order order,
                                     SshAsn1Place &place) {
    const bool whole_list =
        order == SshAsn1Order::kSet || (op.tagged && order == SshAsn1Order::kSequence);
    const bool anything = takes_anything(op);
    if (whole_list && !anything && (cursor.passed & mark_of(op.identifier)))
      return locate_from(op, cursor.first, cursor, place);
    if (!open(cursor.at, cursor.end, place, work_)) return false;
    cursor.passed |= mark_of(place.identifier);
    SshAsn1Place inner;
    if ((anything || fits(op, place)) &&
        (!op.is_explicit || enter_wrapper(op, place, inner, work_)))
      return true;
    if (anything || order == SshAsn1Order::kChoice) return false;
    return locate_from(op, place.end, cursor, place);
  }

  [[gnu::always_inline]] SshAsn1Status nothing_found(const SshAsn1Op &op, SshAsn1Order order,
                                                     bool optional, bool &found) {
    const bool may_be_nothing =
        op.type == SSH_ASN1_ANY && !op.tagged && !optional && order != SshAsn1Order::kChoice;
    if (may_be_nothing && work_->left) {
      out<SshAsn1Node>(op) = {};
      found = true;
    }
    return nothing_here();
  }

  template <class Children>
  [[gnu::always_inline]] SshAsn1Status read_place(const SshAsn1Op &op, const SshAsn1Place &place,
                                                  const uint8_t *list_end, bool optional,
                                                  bool &found, Children children) {
    if (op.type == SSH_ASN1_ANY) {
      out<SshAsn1Node>(op) = {place.data, place.end, list_end, work_};
      return SSH_ASN1_OK;
    }
    if (op.children) return place.constructed ? children(place) : SSH_ASN1_CONSTRUCTED_ASSUMED;
    if (place.constructed || place.indefinite) {
      // A primitive type in constructed form is passed over without an error: its outputs stay as
      // they are, and as an optional element it counts as absent.
      if (mode_ != SshAsn1Mode::kSearch) return SSH_ASN1_DECODE_FAILED;
      if (optional) found = false;
      return SSH_ASN1_OK;
    }
    return read_content(op, place.bytes()) ? SSH_ASN1_OK : SSH_ASN1_DECODE_FAILED;
  }

  // read_content decodes a primitive's content.
  [[gnu::always_inline]] bool read_content(const SshAsn1Op &op, Bytes content) {
    if (ssh_asn1_gives_block(op)) return give_content(op, content);
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
      case SSH_ASN1_SHORT:
        out<uint32_t>(op) = low32(content);
        return true;
      case SSH_ASN1_BITS:
        return read_bits(content, out<SshAsn1Bits>(op));
      case SSH_ASN1_OCTETS:
        out<Bytes>(op) = content.empty() ? Bytes() : content;
        return true;
      case SSH_ASN1_NULL:
        return content.empty();
      case SSH_ASN1_OID:
        out<SshOid>(op) = {content};
        return ssh_ber_oid_is_valid(content);
      case SSH_ASN1_UTC_TIME:
        return ssh_ber_utc_time_decode(content, &out<SshBerTime>(op));
      case SSH_ASN1_GENERALIZED_TIME:
        return ssh_ber_generalized_time_decode(content, &out<SshBerTime>(op));
      default:
        ssh_fatal("ssh_asn1_read_node_recurse: command definition corrupted.");
    }
  }
  static uint32_t low32(Bytes content);
  static bool read_bits(Bytes content, SshAsn1Bits &bits);
  bool give_content(const SshAsn1Op &op, Bytes content);
  void give_octets(const SshAsn1Op &op, Bytes octets, size_t length);
  void finish_blocks(SshAsn1Status status, const SshAsn1Op *ops, size_t count);

  template <class T>
  [[gnu::always_inline]] T &out(const SshAsn1Op &op, uint32_t index = 0) {
    return *static_cast<T *>(outputs_[op.argument + index]);
  }

  void *const *outputs_;
  SshAsn1Work *work_;
  SshAsn1Mode mode_;
  bool leftovers_ = false;  // whether anything was passed over: in between or at the end of a list
  SshBerFreelist freelist_ = ssh_ber_freelist_alloc();
};

// SshAsn1CompiledRead is the walk over one compiled template, unrolled.
template <const auto &Ops>
struct SshAsn1CompiledRead {
  template <uint32_t First, uint32_t End, uint32_t I = First>
  [[gnu::always_inline]] static SshAsn1Status list(SshAsn1Reader &reader, SshAsn1Cursor &cursor,
                                                   SshAsn1Order order) {
    if constexpr (I == End) {
      if constexpr (First != End && !SshAsn1Reader::is_list_of(Ops.data(), First, End))
        reader.list_done(cursor);
      return SSH_ASN1_OK;
    } else {
      bool found = false;
      const SshAsn1Status status = element<I>(reader, cursor, order, false, found);
      if (status != SSH_ASN1_OK) return status;
      if (!found) return reader.missing(Ops[I], cursor);
      return list<First, End, Ops[I].end>(reader, cursor, order);
    }
  }

 private:
  template <uint32_t I>
  [[gnu::always_inline]] static SshAsn1Status element(SshAsn1Reader &reader, SshAsn1Cursor &cursor,
                                                      SshAsn1Order order, bool optional,
                                                      bool &found) {
    constexpr const SshAsn1Op &kOp = Ops[I];
    if constexpr (kOp.type == SSH_ASN1_OPTIONAL) {
      bool inner = false;
      const SshAsn1Status status = element<I + 1>(reader, cursor, order, true, inner);
      reader.set_flag(kOp, inner);
      found = true;
      return status;
    } else if constexpr (kOp.type == SSH_ASN1_CHOICE) {
      SshAsn1Chosen chosen;
      if (!reader.choice_begin(kOp, cursor, chosen)) return reader.nothing_here();
      const SshAsn1Status status = alternatives<I, I + 1>(reader, cursor, optional, chosen);
      if (status == SSH_ASN1_OK) reader.choice_end(chosen, cursor, found);
      return status;
    } else {
      return reader.read_simple(
          kOp, cursor, order, optional,
          found, [&reader](const SshAsn1Place &place) __attribute__((always_inline)) {
            SshAsn1Cursor inside = {place.content, place.content_end()};
            // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): the reader has set the place
            return list<I + 1, kOp.end>(reader, inside, SshAsn1Reader::order_inside(kOp, place));
          });
    }
  }

  template <uint32_t I, uint32_t Alternative>
  [[gnu::always_inline]] static SshAsn1Status alternatives(SshAsn1Reader &reader,
                                                           const SshAsn1Cursor &cursor,
                                                           bool optional, SshAsn1Chosen &chosen) {
    if constexpr (Alternative == Ops[I].end) {
      return SSH_ASN1_OK;
    } else {
      const auto read = [&reader, optional ](SshAsn1Cursor & tried, bool &matched)
          __attribute__((always_inline)) {
        return element<Alternative>(reader, tried, SshAsn1Order::kChoice, optional, matched);
      };
      const SshAsn1Status status =
          reader.choice_try(Ops[I], Ops[Alternative], cursor, chosen, read);
      if (status != SSH_ASN1_OK) return status;
      return alternatives<I, Ops[Alternative].end>(reader, cursor, optional, chosen);
    }
  }
};
