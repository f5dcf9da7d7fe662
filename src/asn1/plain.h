// The plain reader: it reads unchecked bytes with a template in one pass.
//
// Nearly all input is in a plain form: the elements stand in the order of the template, each has a
// definite length and a tag of one byte, and nothing is left over. For such input there is nothing
// to search for, so the compiler unrolls the template into straight code: compare the identifier,
// bound the length, take the content, go on. That is close to the speed of a walk over the headers.
//
// The plain reader answers "read" or "not plain", and nothing else. "Not plain" is no refusal: the
// input is then checked as a whole and read by the general reader (read.cc), which knows every
// legal form and is the only one to decide. For this to be safe, both must agree about everything
// that the plain reader reads: what it takes, the general reader takes with the same results, in
// every mode. The functions at the top of this file work out, while a template is compiled, for
// which elements that could fail (an optional element that the general reader would also find
// elsewhere), and leave those to the general reader. fuzz/plain_fuzz.cc holds the two against each
// other.
//
// It recurses over the depth of the template, never over that of the input.
#pragma once

#include <tuple>
#include <type_traits>

#include "asn1/content.h"
#include "asn1/node.h"

// The questions about a template that tell whether plain bytes of it can be read so.

// ssh_asn1_octet is the identifier byte that a plain element of a fixed tag has.
constexpr uint8_t ssh_asn1_octet(const SshAsn1Op &op) {
  const bool constructed = op.is_explicit || op.type == SSH_ASN1_CONSTRUCTED;
  return static_cast<uint8_t>(op.identifier | (constructed ? 0x20 : 0));
}

// ssh_asn1_carries is true if an element of the template may be one with this identifier.
constexpr bool ssh_asn1_carries(const SshAsn1Op *ops, uint32_t i, uint32_t identifier) {
  if (ops[i].type == SSH_ASN1_OPTIONAL) return ssh_asn1_carries(ops, i + 1, identifier);
  if (ops[i].type != SSH_ASN1_CHOICE)
    return !ssh_asn1_takes_what_stands(ops[i]) && ops[i].identifier == identifier;
  bool carries = false;
  for (uint32_t k = i + 1; k != ops[i].end; k = ops[k].end)
    carries |= ssh_asn1_carries(ops, k, identifier);
  return carries;
}

// ssh_asn1_looked_for is true for elements that the general reader looks for beyond the cursor:
// behind it if they are optional and missing there, and before it if they are tagged.
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
// would be found by another element of the template. Nobody asks about the one next to it: that one
// was held against the same element.
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

constexpr bool ssh_asn1_choice_may_be_plain(const SshAsn1Op *ops, uint32_t i) {
  for (uint32_t k = i + 1; k != ops[i].end; k = ops[k].end) {
    if (!ssh_asn1_looked_for(ops[k])) return false;
    for (uint32_t other = ops[k].end; other != ops[i].end; other = ops[other].end)
      if (ops[other].identifier == ops[k].identifier) return false;
  }
  return ssh_asn1_list_may_be_plain(ops, i + 1, ops[i].end);
}

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

// SshAsn1Unread is an element, or a list of them, that may not have been checked. So nothing can be
// done with it but to read it by a template, which is where a mistake cannot be made: what is read
// as a node (SshAsn1Node) is checked when it is taken. Elements that were checked can stand in one
// too; the general reader then reads them. It is not copied, as reading an item of a list finds its
// end.
class SshAsn1Unread {
 public:
  SshAsn1Unread() = default;
  explicit SshAsn1Unread(SshAsn1Node node) : node_(node) {}
  SshAsn1Unread(const SshAsn1Unread &) = delete;
  SshAsn1Unread &operator=(const SshAsn1Unread &) = delete;

  // set makes it checked elements, or bytes that nobody has checked and that are to be one
  // element.
  void set(SshAsn1Node node) {
    node_ = node;
    checked_ = true;
  }
  void set(Bytes octets, SshAsn1Work *work) {
    const uint8_t *const end = octets.data() + octets.size();
    set_plain(octets.data(), end, end, work);
  }

  // set_list makes it bytes that nobody has checked and that are to be a list.
  void set_list(Bytes octets, SshAsn1Work *work) {
    set_plain(octets.data(), nullptr, octets.data() + octets.size(), work);
  }

  explicit operator bool() const { return node_.data != node_.end; }
  [[nodiscard]] bool is_plain() const { return !checked_; }
  [[nodiscard]] const uint8_t *data() const { return node_.data; }
  [[nodiscard]] const SshAsn1Node &node() const { return node_; }  // of what was checked

  // der gives the bytes of the element: in a list of unchecked ones, of one that was read.
  [[nodiscard]] Bytes der() const { return {node_.data, node_.next}; }

  // list gives the bytes from the element on to the end of its list.
  [[nodiscard]] Bytes list() const { return node_.list(); }

  // next goes to the next element of the list, behind the one that was read.
  void next() {
    if (checked_)
      node_ = ssh_asn1_node_next(node_);
    else if (node_.next == node_.end)
      node_ = {};
    else
      set_plain(node_.next, nullptr, node_.end, node_.work);
  }

  // read reads unchecked bytes; false if they are not plain.
  template <SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read(SshAsn1Template<Text>, Outputs... outputs);

  // check makes checked elements of bytes that are not plain, from this one to the end of its
  // list: what the general reader would have seen. False if they are not well-formed, or the
  // element begins or ends elsewhere.
  [[nodiscard, gnu::cold]] bool check();

 private:
  template <const auto &Ops, class... Outputs>
  friend class SshAsn1PlainRead;
  friend void *ssh_asn1_output(SshAsn1Unread *output);

  void set_plain(const uint8_t *p, const uint8_t *next, const uint8_t *end, SshAsn1Work *work) {
    node_ = {p, next, end, work};
    checked_ = false;
  }

  SshAsn1Node node_;  // of unchecked ones in a list `next` is null until the first was read
  bool checked_ = true;
};
// The general reader stores checked elements.
inline void *ssh_asn1_output(SshAsn1Unread *output) {
  output->set(SshAsn1Node());
  return &output->node_;
}

// ssh_asn1_is_well_formed checks bytes that are kept as a node.
[[nodiscard]] bool ssh_asn1_is_well_formed(Bytes octets);

// SshAsn1PlainRead is the walk over one template. All of it is inlined into the read: so the cursor
// and the ends of lists need no memory.
template <const auto &Ops, class... Outputs>
class SshAsn1PlainRead {
 public:
  static constexpr bool kPossible = ssh_asn1_list_may_be_plain(Ops.data(), 0, Ops.size());
  static constexpr bool kOneElement = Ops[0].end == Ops.size() && Ops[0].type != SSH_ASN1_OPTIONAL;

  [[gnu::always_inline]] SshAsn1PlainRead(SshAsn1Work *work, Outputs... outputs)
      : work_(work), outputs_(outputs...) {}

  // list reads elements from `p` to the end of their list.
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

  // element reads what the template has at `p`, if it is there, and goes behind it.
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
  // is tells by the identifier byte whether an element is the one that the template has.
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

  // has_identifier tells whether it has the identifier that the template gives, be it in the other
  // form.
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

  // found reads the element at `p`, which is element `I` of the template at place `Place` of a
  // list.
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

  // strays compares the byte of an "any" with each identifier that another element of the list
  // has.
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

  template <uint32_t First>
  [[gnu::always_inline]] bool list_of_any(const uint8_t *p, const uint8_t *end) {
    constexpr bool kOptional = Ops[First].type == SSH_ASN1_OPTIONAL;
    if constexpr (kOptional) out<First>() = p != end ? 1 : 0;
    if (p == end) return kOptional || put<First + kOptional>(nullptr, nullptr, nullptr);
    return put<First + kOptional>(p, nullptr, end);
  }

  // put_explicit stores the element inside a wrapper, which is all that there is.
  template <uint32_t I>
  [[gnu::always_inline]] bool put_explicit(SshBerSpan span) {
    if (span.content == span.end || !kSshBerOneOctetTag[*span.content]) return false;
    return ssh_ber_span(span.content, span.end).end == span.end &&
           put<I>(span.content, span.end, span.end);
  }

  // put stores an "any": an element if `next` is given, else all that is left of a list. A node is
  // checked here, and nothing that was not can be reached from it.
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
