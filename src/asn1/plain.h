// The plain reader: it reads unchecked bytes with a template in one pass.
//
// Nearly all input is in a plain form: the elements stand in the order of the template, each has a
// definite length and a tag of one byte, and nothing is left over. For such input there is nothing
// to search for, so the compiler unrolls the template into straight code: compare the identifier,
// bound the length, take the content, go on. That is close to the speed of a walk over the headers.
//
// The plain reader answers "read" or "not plain", and nothing else. "Not plain" is no refusal: the
// bytes are then checked and read by the general reader (read.cc), which knows every legal form and
// is the only one to decide. This is safe because whatever the plain reader takes, the general
// reader would take with the same results, in every mode. fuzz/plain_fuzz.cc compares the two.
//
//   SshAsn1Unread value;
//   value.set(octets, &work);
//   if (value.read("(integer ())"_asn1, &number)) return true;  // it was plain
//   if (!value.check()) return false;                           // it is not even well-formed
//   return ssh_asn1_read_node(value.node(), "(integer ())"_asn1, &number) == SSH_ASN1_OK;
//
// It recurses over the depth of the template, never over that of the input. A new type of the
// language needs nothing here if it has a tag and content that content.h can decode.
#pragma once

#include <tuple>
#include <type_traits>

#include "asn1/content.h"
#include "asn1/node.h"

// Which templates can be read in this way
//
// The plain reader only looks at the element at the cursor. The general reader looks further: for
// an optional element that is missing at the cursor it searches behind the cursor, and for a tagged
// element also before it. So the two could take one element for different fields. An example is
//
//   "(optional(integer ()))(boolean ())(integer ())"      read from      BOOLEAN INTEGER
//
// The plain reader would find the optional integer missing and take the INTEGER for the last field.
// The general reader searches behind the BOOLEAN, finds the INTEGER, and takes it for the first
// one. An element that another field of the list would find in this way is said to stray. The
// functions below are answered by the compiler. They tell whether an element of a fixed tag could
// stray; then the template is left to the general reader altogether. An "any" has no fixed tag, so
// its identifier is compared while reading (SshAsn1PlainRead::strays).

// ssh_asn1_octet is the identifier byte of a plain element whose tag the template gives.
constexpr uint8_t ssh_asn1_octet(const SshAsn1Op &op) {
  const bool constructed = op.is_explicit || op.type == SSH_ASN1_CONSTRUCTED;
  return static_cast<uint8_t>(op.identifier | (constructed ? 0x20 : 0));
}

// ssh_asn1_carries is true if op `i`, or what is inside an optional or a choice, has this
// identifier. An element that takes anything has none.
constexpr bool ssh_asn1_carries(const SshAsn1Op *ops, uint32_t i, uint32_t identifier) {
  if (ops[i].type == SSH_ASN1_OPTIONAL) return ssh_asn1_carries(ops, i + 1, identifier);
  if (ops[i].type != SSH_ASN1_CHOICE)
    return !ssh_asn1_takes_what_stands(ops[i]) && ops[i].identifier == identifier;
  bool carries = false;
  for (uint32_t k = i + 1; k != ops[i].end; k = ops[k].end)
    carries |= ssh_asn1_carries(ops, k, identifier);
  return carries;
}

// ssh_asn1_looked_for is true for elements that the general reader searches for, _behind and
// _before for those that it searches for behind the cursor and before it.
constexpr bool ssh_asn1_looked_for(const SshAsn1Op &op) {
  return op.type < SSH_ASN1_CHOICE && !ssh_asn1_takes_what_stands(op);
}

constexpr bool ssh_asn1_looked_for_behind(const SshAsn1Op *ops, uint32_t i) {
  return ops[i].type == SSH_ASN1_OPTIONAL && ssh_asn1_looked_for(ops[i + 1]);
}

constexpr bool ssh_asn1_looked_for_before(const SshAsn1Op *ops, uint32_t i) {
  const SshAsn1Op &op = ops[i].type == SSH_ASN1_OPTIONAL ? ops[i + 1] : ops[i];
  return ssh_asn1_looked_for(op) && op.tagged;
}

// ssh_asn1_strays is true if an element with this identifier, standing at place `i` of a list,
// would be found for another element of the template: for an optional one before it, or for a
// tagged one after it. The optional element right before place `i` is left out, because it was
// compared with the element at the cursor, which is this one. (If place `i` is an "any", it is not
// left out.)
constexpr bool ssh_asn1_strays(const SshAsn1Op *ops, uint32_t first, uint32_t last, uint32_t i,
                               uint32_t identifier) {
  bool strays = false;
  for (uint32_t k = first; k != i; k = ops[k].end) {
    const bool next_to = ops[k].end == i && !ssh_asn1_takes_what_stands(ops[i]);
    strays |=
        !next_to && ssh_asn1_looked_for_behind(ops, k) && ssh_asn1_carries(ops, k, identifier);
  }
  for (uint32_t k = ops[i].end; k != last; k = ops[k].end)
    strays |= ssh_asn1_looked_for_before(ops, k) && ssh_asn1_carries(ops, k, identifier);
  return strays;
}

constexpr bool ssh_asn1_list_may_be_plain(const SshAsn1Op *ops, uint32_t first, uint32_t last);

// ssh_asn1_choice_may_be_plain is true if the identifier tells which alternative of a choice an
// element is.
constexpr bool ssh_asn1_choice_may_be_plain(const SshAsn1Op *ops, uint32_t i) {
  for (uint32_t k = i + 1; k != ops[i].end; k = ops[k].end) {
    if (!ssh_asn1_looked_for(ops[k])) return false;
    for (uint32_t other = ops[k].end; other != ops[i].end; other = ops[other].end)
      if (ops[other].identifier == ops[k].identifier) return false;
  }
  return ssh_asn1_list_may_be_plain(ops, i + 1, ops[i].end);
}

// ssh_asn1_may_be_plain is true if the plain reader knows the form of op `i`. It does not know
// indefinite lengths, tags of more than one byte, types whose content becomes a block or text of
// the caller's, and sets, whose members are in any order. A set whose template is one "any" is a
// list like any other.
constexpr bool ssh_asn1_may_be_plain(const SshAsn1Op *ops, uint32_t i) {
  const SshAsn1Op &op = ops[i];
  if (op.type == SSH_ASN1_OPTIONAL)
    return op.children && ops[i + 1].type != SSH_ASN1_OPTIONAL && !ops[i + 1].any_tag &&
           ssh_asn1_may_be_plain(ops, i + 1);
  if (op.type == SSH_ASN1_CHOICE) return ssh_asn1_choice_may_be_plain(ops, i);
  if (op.children != (op.type == SSH_ASN1_CONSTRUCTED) || op.indefinite) return false;
  if (op.any_tag) return op.children && !op.is_explicit && ssh_asn1_is_list(ops, i + 1, op.end);
  const bool short_tag = op.identifier != 0 && op.identifier < 0x100;
  if (op.type == SSH_ASN1_ANY) return !op.tagged || short_tag;
  if (!short_tag || (op.type < SSH_ASN1_CONSTRUCTED && ssh_asn1_gives_block(op))) return false;
  if (!op.children || ssh_asn1_is_list(ops, i + 1, op.end)) return true;
  const bool set = kSshAsn1Keywords[op.keyword].tag == 17 || op.tag == 17;
  return !set && ssh_asn1_list_may_be_plain(ops, i + 1, op.end);
}

// ssh_asn1_list_may_be_plain is true if each element of a list is of a form that the plain reader
// knows, and none of a fixed tag strays.
constexpr bool ssh_asn1_list_may_be_plain(const SshAsn1Op *ops, uint32_t first, uint32_t last) {
  for (uint32_t i = first; i != last; i = ops[i].end) {
    if (!ssh_asn1_may_be_plain(ops, i)) return false;
    for (uint32_t identifier = 1; identifier < 0x100; ++identifier) {
      if (ssh_asn1_carries(ops, i, identifier) && ssh_asn1_strays(ops, first, last, i, identifier))
        return false;
    }
  }
  return true;
}

// SshAsn1Unread is an element, or a list of elements, that may not have been checked. A node of
// bytes that nobody has checked would be dangerous, since whoever walks over it relies on the
// check. So this is a type of its own, and the only thing to do with it is to read it by a
// template, which compares every length with what is there. What a template reads as a node is
// checked at that moment. It can also hold elements that were checked, which the general reader
// then reads, so that a decoder has one form for both.
//
//   for (; item; item.next())
//     if (!decoder.read(item, "(object-identifier ())"_asn1, &id)) return false;
//
// It cannot be copied: where the next item begins is only known to the object that was read.
class SshAsn1Unread {
 public:
  SshAsn1Unread() = default;
  explicit SshAsn1Unread(SshAsn1Node node) : node_(node) {}
  SshAsn1Unread(const SshAsn1Unread &) = delete;
  SshAsn1Unread &operator=(const SshAsn1Unread &) = delete;

  // set gives it elements that were checked, or bytes that were not and that must be one element.
  void set(SshAsn1Node node) {
    node_ = node;
    checked_ = true;
  }
  void set(Bytes octets, SshAsn1Work *work) {
    const uint8_t *const end = octets.data() + octets.size();
    set_plain(octets.data(), end, end, work);
  }

  // set_list gives it bytes that were not checked and that must be a list of elements.
  void set_list(Bytes octets, SshAsn1Work *work) {
    set_plain(octets.data(), nullptr, octets.data() + octets.size(), work);
  }

  explicit operator bool() const { return node_.data != node_.end; }
  [[nodiscard]] bool is_plain() const { return !checked_; }
  [[nodiscard]] const uint8_t *data() const { return node_.data; }
  [[nodiscard]] const SshAsn1Node &node() const { return node_; }  // only if it was checked

  // der gives the bytes of the element. In a list that was not checked, the element must have been
  // read before: that finds its end.
  [[nodiscard]] Bytes der() const { return {node_.data, node_.next}; }

  // list gives the bytes from the element on to the end of its list.
  [[nodiscard]] Bytes list() const { return node_.list(); }

  // next goes on to the following element of the list. The one before it must have been read.
  void next() {
    if (checked_)
      node_ = ssh_asn1_node_next(node_);
    else if (node_.next == node_.end)
      node_ = {};
    else
      set_plain(node_.next, nullptr, node_.end, node_.work);
  }

  // read reads bytes that were not checked; false if they are not plain.
  template <SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read(SshAsn1Template<Text>, Outputs... outputs);

  // check checks the bytes from this element to the end of its list, and holds them as nodes from
  // then on, for the general reader. False if they are not well-formed, or if the element begins or
  // ends at another place than was thought (end-of-contents bytes can stand before it).
  [[nodiscard, gnu::cold]] bool check();

 private:
  template <const auto &Ops, class... Outputs>
  friend class SshAsn1PlainRead;
  friend void *ssh_asn1_output(SshAsn1Unread *output);

  void set_plain(const uint8_t *p, const uint8_t *next, const uint8_t *end, SshAsn1Work *work) {
    node_ = {p, next, end, work};
    checked_ = false;
  }

  SshAsn1Node node_;  // unchecked, in a list: `next` is null until the element was read
  bool checked_ = true;
};
// The general reader stores nodes into it, which are checked.
inline void *ssh_asn1_output(SshAsn1Unread *output) {
  output->set(SshAsn1Node());
  return &output->node_;
}

// ssh_asn1_is_well_formed checks bytes before they become a node.
[[nodiscard]] bool ssh_asn1_is_well_formed(Bytes octets);

// SshAsn1PlainRead is the walk over one template. Its functions take the index of an op as a
// template argument (`I`; `First` and `Last` bound the list that the op is in), so that the
// compiler makes one function of straight code for each template. `p` is the cursor. All functions
// are inlined, always, so that the cursor and the ends of lists stay in registers.
template <const auto &Ops, class... Outputs>
class SshAsn1PlainRead {
 public:
  static constexpr bool kPossible = ssh_asn1_list_may_be_plain(Ops.data(), 0, Ops.size());
  static constexpr bool kOneElement = Ops[0].end == Ops.size() && Ops[0].type != SSH_ASN1_OPTIONAL;

  [[gnu::always_inline]] explicit SshAsn1PlainRead(SshAsn1Work *work, Outputs... outputs)
      : work_(work), outputs_(outputs...) {}

  // list reads what the ops from `I` to `Last` ask for, one after the other. Then nothing may be
  // left.
  template <uint32_t First, uint32_t Last, uint32_t I = First>
  [[gnu::always_inline]] bool list(const uint8_t *p, const uint8_t *end) {
    if constexpr (I == First && ssh_asn1_is_list(Ops.data(), First, Last)) {
      return list_of_any<First>(p, end);
    } else if constexpr (I == Last) {
      return p == end;
    } else {
      return element<First, Last, I>(p, end) && list<First, Last, Ops[I].end>(p, end);
    }
  }

  // element reads what op `I` asks for if it stands at `p`, and moves `p` behind it. A missing
  // optional element is fine, unless an element with its identifier, in another form, is there.
  template <uint32_t First, uint32_t Last, uint32_t I>
  [[gnu::always_inline]] bool element(const uint8_t *&p, const uint8_t *end) {
    constexpr const SshAsn1Op &kOp = Ops[I];
    if constexpr (kOp.type == SSH_ASN1_OPTIONAL) {
      const bool present = p != end && is<I + 1>(*p);
      out<I>() = present ? 1 : 0;
      if (present) return found<First, Last, I, I + 1>(p, end);
      if constexpr (Ops[I + 1].type == SSH_ASN1_CHOICE) out<I + 1>() = -1;
      return p == end || !has_identifier<I + 1>(*p);
    } else {
      if (p != end) return is<I>(*p) && found<First, Last, I, I>(p, end);
      if constexpr (kOp.type == SSH_ASN1_ANY && !kOp.tagged) {
        put<I>(nullptr, nullptr, nullptr);
        return true;
      }
      return false;
    }
  }

 private:
  // is tells by the identifier byte whether an element is the one that op `I` asks for.
  template <uint32_t I>
  [[gnu::always_inline]] static bool is(uint8_t octet) {
    constexpr const SshAsn1Op &kOp = Ops[I];
    if constexpr (kOp.type == SSH_ASN1_CHOICE) {
      return is_one_of<I + 1, kOp.end>(octet);
    } else if constexpr (ssh_asn1_takes_what_stands(kOp)) {
      return kSshBerOneOctetTag[octet] && (kOp.type == SSH_ASN1_ANY || (octet & 0x20) != 0);
    } else if constexpr (kOp.type == SSH_ASN1_ANY && !kOp.is_explicit) {
      return ssh_asn1_identifier_of(octet) == kOp.identifier;
    } else {
      return octet == ssh_asn1_octet(kOp);
    }
  }

  // has_identifier is true for an element with the tag of op `I`, whether it is in primitive or in
  // constructed form. The general reader finds both.
  template <uint32_t I>
  [[gnu::always_inline]] static bool has_identifier(uint8_t octet) {
    constexpr const SshAsn1Op &kOp = Ops[I];
    if constexpr (kOp.type == SSH_ASN1_CHOICE) {
      return has_one_of<I + 1, kOp.end>(octet);
    } else {
      return !ssh_asn1_takes_what_stands(kOp) && ssh_asn1_identifier_of(octet) == kOp.identifier;
    }
  }

  template <uint32_t Alternative, uint32_t Last>
  [[gnu::always_inline]] static bool has_one_of(uint8_t octet) {
    if constexpr (Alternative == Last)
      return false;
    else
      return has_identifier<Alternative>(octet) || has_one_of<Ops[Alternative].end, Last>(octet);
  }

  template <uint32_t Alternative, uint32_t Last>
  [[gnu::always_inline]] static bool is_one_of(uint8_t octet) {
    if constexpr (Alternative == Last)
      return false;
    else
      return is<Alternative>(octet) || is_one_of<Ops[Alternative].end, Last>(octet);
  }

  // found reads the element at `p`, whose identifier byte fits op `I`. `Place` is where that op
  // stands in its list: the index of the optional if it is inside one, else `I`.
  template <uint32_t First, uint32_t Last, uint32_t Place, uint32_t I>
  [[gnu::always_inline]] bool found(const uint8_t *&p, const uint8_t *end) {
    constexpr const SshAsn1Op &kOp = Ops[I];
    if constexpr (kOp.type == SSH_ASN1_CHOICE) {
      return alternatives<I, I + 1, 0>(p, end);
    } else {
      if constexpr (ssh_asn1_takes_what_stands(kOp)) {
        if (strays<First, Last, First, Place>(*p)) return false;
      }
      const SshBerSpan span = ssh_ber_span(p, end);
      if (!span.content) return false;
      const uint8_t *const data = p;
      p = span.end;
      if constexpr (!kOp.is_explicit) {
        return content<I>(data, span, end);
      } else if constexpr (kOp.type == SSH_ASN1_ANY) {
        return put_explicit<I>(span);
      } else {
        constexpr uint8_t kInner = kSshAsn1Keywords[kOp.keyword].tag | (kOp.children ? 0x20 : 0);
        if (span.content == span.end || *span.content != kInner) return false;
        const SshBerSpan inner = ssh_ber_span(span.content, span.end);
        return inner.content && inner.end == span.end && content<I>(span.content, inner, span.end);
      }
    }
  }

  // strays compares the identifier byte of an "any" with every other op of the list for which the
  // general reader would find it (see the top of this file).
  template <uint32_t First, uint32_t Last, uint32_t K, uint32_t Place>
  [[gnu::always_inline]] static bool strays(uint8_t octet) {
    if constexpr (K == Last) {
      return false;
    } else {
      constexpr const SshAsn1Op &kOther = Ops[Ops[K].type == SSH_ASN1_OPTIONAL ? K + 1 : K];
      bool here = false;
      if constexpr (K != Place && ssh_asn1_looked_for(kOther)) {
        if constexpr (ssh_asn1_strays(Ops.data(), First, Last, Place, kOther.identifier))
          here = ssh_asn1_identifier_of(octet) == kOther.identifier;
      }
      return here || strays<First, Last, Ops[K].end, Place>(octet);
    }
  }

  // alternatives reads the alternative of a choice that the identifier byte belongs to.
  template <uint32_t I, uint32_t Alternative, int Position>
  [[gnu::always_inline]] bool alternatives(const uint8_t *&p, const uint8_t *end) {
    if constexpr (Alternative == Ops[I].end) {
      return false;
    } else {
      constexpr uint32_t kNext = Ops[Alternative].end;
      if (!is<Alternative>(*p)) return alternatives<I, kNext, Position + 1>(p, end);
      out<I>() = Position;
      return found<I + 1, Ops[I].end, Alternative, Alternative>(p, end);
    }
  }

  // content reads what is inside of an element: its children, or the value of its type.
  template <uint32_t I>
  [[gnu::always_inline]] bool content(const uint8_t *data, SshBerSpan span,
                                      const uint8_t *list_end) {
    constexpr const SshAsn1Op &kOp = Ops[I];
    if constexpr (kOp.type == SSH_ASN1_ANY) {
      return put<I>(data, span.end, list_end);
    } else if constexpr (kOp.children) {
      return list<I + 1, kOp.end>(span.content, span.end);
    } else if constexpr (kOp.type == SSH_ASN1_NULL) {
      return span.content == span.end;
    } else {
      return ssh_asn1_read_content(kOp, span.bytes(), &out<I>());
    }
  }

  // list_of_any hands out a whole list, without a look at its elements.
  template <uint32_t First>
  [[gnu::always_inline]] bool list_of_any(const uint8_t *p, const uint8_t *end) {
    constexpr bool kOptional = Ops[First].type == SSH_ASN1_OPTIONAL;
    if constexpr (kOptional) out<First>() = p != end ? 1 : 0;
    if (p == end) return kOptional || put<First + kOptional>(nullptr, nullptr, nullptr);
    return put<First + kOptional>(p, nullptr, end);
  }

  // put_explicit stores the element inside an explicit tag, which must be the only one there.
  template <uint32_t I>
  [[gnu::always_inline]] bool put_explicit(SshBerSpan span) {
    if (span.content == span.end || !kSshBerOneOctetTag[*span.content]) return false;
    return ssh_ber_span(span.content, span.end).end == span.end &&
           put<I>(span.content, span.end, span.end);
  }

  // put stores an "any": one element if `next` is given, else the list up to `end`. An output that
  // is a node gets bytes that are checked here, and ends with them, so that it never leads to bytes
  // that were not checked.
  template <uint32_t I>
  [[gnu::always_inline]] bool put(const uint8_t *p, const uint8_t *next, const uint8_t *end) {
    auto &any = out<I>();
    if constexpr (std::is_same_v<decltype(any), SshAsn1Unread &>) {
      any.set_plain(p, next, end, work_);
      return true;
    } else if (next) {
      any = {p, next, next, work_};
      return (*p & 0x20) == 0 || ssh_asn1_is_well_formed({p, next});
    } else {
      any = p ? ssh_asn1_list_of({p, end}, work_) : SshAsn1Node();
      return !p || ssh_asn1_is_well_formed({p, end});
    }
  }

  template <uint32_t I>
  [[gnu::always_inline]] auto &out() {
    return *std::get<Ops[I].argument>(outputs_);
  }

  SshAsn1Work *work_;
  std::tuple<Outputs...> outputs_;
};

template <SshAsn1Text Text, class... Outputs>
bool SshAsn1Unread::read(SshAsn1Template<Text>, Outputs... outputs) {
  constexpr auto &kOps = kSshAsn1Ops<Text, false, Outputs...>;
  using Read = SshAsn1PlainRead<kOps, Outputs...>;
  if constexpr (!Read::kPossible) {
    return false;
  } else {
    Read walk(node_.work, outputs...);
    if constexpr (!Read::kOneElement)
      return walk.template list<0, kOps.size()>(node_.data, node_.end);
    const uint8_t *p = node_.data;
    const uint8_t *const end = node_.next ? node_.next : node_.end;
    if (!walk.template element<0, kOps.size(), 0>(p, end)) return false;
    if (node_.next) return p == node_.next;
    node_.next = p;
    return true;
  }
}
