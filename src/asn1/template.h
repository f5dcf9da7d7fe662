// The template language. A template says in one line of text what a structure looks like, and which
// arguments its parts are read into or created from, as a format does for scanf and printf:
//
//   "(sequence ()(integer ())(optional(any (e 0))))"_asn1
//
// This file parses such text into a small program (SshAsn1Program), an array with one op for each
// element. For a literal the compiler does this, and compares the ops with the types of the
// arguments: a template costs nothing at run time, and what does not fit does not build. The same
// parser serves text that comes at run time (template.cc). read.cc and create.cc run the programs;
// plain.h turns those that the compiler knows into straight code. docs/asn1_template.md is the
// manual of the language, and tells how to add a type.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "asn1/ber.h"
#include "asn1/keywords.h"
#include "asn1/oid.h"
#include "asn1/status.h"
#include "asn1/time.h"
#include "util/ascii.h"
#include "util/mp_int.h"

struct SshAsn1Node;
class SshAsn1Unread;

// SshAsn1Bits is a view of a BIT STRING's bytes, with the number of bits that are used.
struct SshAsn1Bits {
  Bytes octets;
  size_t bits = 0;
};

// SshAsn1Form is a kind of C++ argument: a value, a view, or a block that belongs to the caller.
// The members are bits, so that an argument's type can fit several of them.
enum SshAsn1Form : uint16_t {
  SSH_ASN1_FORM_INT = 1 << 0,
  SSH_ASN1_FORM_UINT32 = 1 << 1,
  SSH_ASN1_FORM_MP_INT = 1 << 2,
  SSH_ASN1_FORM_BYTES = 1 << 3,
  SSH_ASN1_FORM_BITS = 1 << 4,
  SSH_ASN1_FORM_BLOCK = 1 << 5,  // uint8_t ** on read, const uint8_t * on create; SIZE follows
  SSH_ASN1_FORM_SIZE = 1 << 6,
  SSH_ASN1_FORM_TEXT = 1 << 7,
  SSH_ASN1_FORM_OID = 1 << 8,
  SSH_ASN1_FORM_TIME = 1 << 9,
  SSH_ASN1_FORM_NODE = 1 << 10
};

// SshAsn1Binding tells which arguments a type takes: either one of the form `view`, or one of the
// form `second_form`, which is followed by a SIZE if `sized` is set. No form: no argument.
struct SshAsn1Binding {
  uint16_t view = 0;
  uint16_t second_form = 0;
  bool sized = false;
};

constexpr SshAsn1Binding kSshAsn1Bindings[] = {
    {SSH_ASN1_FORM_INT},                               // boolean
    {SSH_ASN1_FORM_MP_INT, SSH_ASN1_FORM_BYTES},       // integer: the value, or its content bytes
    {SSH_ASN1_FORM_UINT32},                            // short
    {SSH_ASN1_FORM_BITS, SSH_ASN1_FORM_BLOCK, true},   // bits
    {SSH_ASN1_FORM_BYTES, SSH_ASN1_FORM_BLOCK, true},  // bytes
    {},                                                // null
    {SSH_ASN1_FORM_OID, SSH_ASN1_FORM_TEXT},           // object identifier
    {SSH_ASN1_FORM_TIME},                              // UTC time
    {SSH_ASN1_FORM_TIME},                              // generalized time
    {},                                                // constructed
    {SSH_ASN1_FORM_NODE},                              // any
    {SSH_ASN1_FORM_INT},                               // choice
    {SSH_ASN1_FORM_INT},                               // optional
};
static_assert(std::size(kSshAsn1Bindings) == SSH_ASN1_OPTIONAL + 1);

// ssh_asn1_identifier packs class and tag number into one word, so that elements are compared at
// once. If the number fits into an identifier byte, the word is that byte without its constructed
// bit. Otherwise kSshAsn1LongTag is set. Tag numbers that are read have at most 28 bits; a larger
// number of a template becomes kSshAsn1TagMask, which no input has.
constexpr uint32_t kSshAsn1LongTag = 1 << 29;
constexpr uint32_t kSshAsn1TagMask = kSshAsn1LongTag - 1;
constexpr uint32_t ssh_asn1_identifier(uint8_t cls, uint32_t tag) {
  if (tag < 0x1F) return uint32_t{cls} << 6 | tag;
  return uint32_t{cls} << 30 | kSshAsn1LongTag | (tag < kSshAsn1TagMask ? tag : kSshAsn1TagMask);
}
constexpr uint32_t ssh_asn1_identifier_of(uint8_t octet) { return octet & 0xDFu; }
constexpr uint32_t ssh_asn1_class_of(uint32_t identifier) {
  return identifier & kSshAsn1LongTag ? identifier >> 30 : identifier >> 6;
}
constexpr uint32_t ssh_asn1_tag_of(uint32_t identifier) {
  return identifier & (identifier & kSshAsn1LongTag ? kSshAsn1TagMask : 0x1F);
}

// SshAsn1Op is one element of a program. The ops are in the order of the text, so that the children
// of op `i` begin at `i + 1`. `end` is the index behind the last of them: a walk over the children
// goes from `i + 1` to `ops[k].end`, and stops at `ops[i].end`. No pointers are needed.
struct SshAsn1Op {
  uint32_t identifier = 0;  // class and tag, packed
  uint32_t tag = 0;
  uint8_t cls = SSH_BER_UNIVERSAL;
  SshAsn1Type type = SSH_ASN1_BOOLEAN;
  uint8_t keyword = 0;   // the slot in kSshAsn1Keywords
  uint8_t end = 0;       // index of the first op after this element and its children
  uint8_t argument = 0;  // index of its first argument
  bool tagged : 1 = false;
  bool is_explicit : 1 = false;
  bool indefinite : 1 = false;
  bool any_tag : 1 = false;
  bool children : 1 = false;
  bool second_form : 1 = false;  // its argument is of SshAsn1Binding's second form
};

// ssh_asn1_gives_block is true for elements that are read into a new block or text, which belongs
// to the caller.
constexpr bool ssh_asn1_gives_block(const SshAsn1Op &op) {
  return op.second_form && op.type != SSH_ASN1_INTEGER;
}

// ssh_asn1_takes_what_stands is true for elements that take the element at the cursor whatever its
// tag is.
constexpr bool ssh_asn1_takes_what_stands(const SshAsn1Op &op) {
  return op.any_tag || (op.type == SSH_ASN1_ANY && !op.tagged);
}

// ssh_asn1_is_list is true if the ops from `first` to `last` are one untagged "any", or an optional
// one, and nothing else. Such an "any" stands for all elements of the list.
constexpr bool ssh_asn1_is_list(const SshAsn1Op *ops, uint32_t first, uint32_t last) {
  if (first == last) return false;
  const uint32_t only =
      ops[first].type == SSH_ASN1_OPTIONAL && first + 1 != last ? first + 1 : first;
  return ops[only].type == SSH_ASN1_ANY && !ops[only].tagged && ops[only].end == last;
}

constexpr uint32_t SSH_ASN1_OPS_MAX = 64;
constexpr uint32_t SSH_ASN1_DEPTH_MAX = 16;

// SshAsn1TemplateFault is what can be wrong with a template. The first ones are statuses, which
// text that comes at run time can give; the others have no status and are errors for the compiler.
enum SshAsn1TemplateFault : uint32_t {
  SSH_ASN1_TEMPLATE_OK = 0,
  SSH_ASN1_TEMPLATE_TOO_SHORT = SSH_ASN1_FORMAT_TOO_SHORT,
  SSH_ASN1_TEMPLATE_UNKNOWN_COMMAND = SSH_ASN1_UNKNOWN_COMMAND,
  SSH_ASN1_TEMPLATE_TOO_LARGE = SSH_ASN1_BUFFER_OVERFLOW,
  SSH_ASN1_TEMPLATE_IMPLICATION = 100,  // neither "(" nor ")" after a tag: fatal at run time
  SSH_ASN1_TEMPLATE_UNBALANCED,         // a ")" too many: at run time it just ends the text
  SSH_ASN1_TEMPLATE_FEW_ARGUMENTS,
  SSH_ASN1_TEMPLATE_MANY_ARGUMENTS,
  SSH_ASN1_TEMPLATE_WRONG_TYPE
};

// SshAsn1Program is a parsed template.
struct SshAsn1Program {
  uint32_t fault = SSH_ASN1_TEMPLATE_OK;
  uint32_t count = 0;
  SshAsn1Op ops[SSH_ASN1_OPS_MAX] = {};
};

// SshAsn1Parser reads template text into a program, in one pass. "(" appends an op and puts its
// index onto the stack `open_`; ")" takes the innermost one off and sets its `end`. The first fault
// stays and ends the pass.
class SshAsn1Parser {
 public:
  constexpr SshAsn1Parser(const char *text, size_t length) : p_(text), end_(text + length) {}

  constexpr SshAsn1Program run() {
    skip_blanks();
    while (p_ != end_ && program_.fault == SSH_ASN1_TEMPLATE_OK) {
      if (*p_ == '(') {
        ++p_;
        open_element();
      } else if (*p_ == ')') {
        ++p_;
        if (!close_element()) break;
      } else {
        fail(after_tag() ? SSH_ASN1_TEMPLATE_IMPLICATION : SSH_ASN1_TEMPLATE_UNKNOWN_COMMAND);
      }
      skip_blanks();
    }
    if (depth_ > 0) fail(SSH_ASN1_TEMPLATE_TOO_SHORT);
    return program_;
  }

 private:
  constexpr void fail(SshAsn1TemplateFault fault) {
    if (program_.fault == SSH_ASN1_TEMPLATE_OK) program_.fault = fault;
  }

  constexpr void skip_blanks() {
    while (p_ != end_ && ssh_is_blank(*p_)) ++p_;
  }

  // after_tag is true between the parentheses of an element's tag and its first child or its end.
  [[nodiscard]] constexpr bool after_tag() const {
    return depth_ > 0 && !program_.ops[open_[depth_ - 1]].children;
  }

  // open_element reads the keyword behind "(" and the parentheses of the tag, if the keyword has
  // one. The element stays open for its children.
  constexpr void open_element() {
    if (program_.count == SSH_ASN1_OPS_MAX || depth_ == SSH_ASN1_DEPTH_MAX)
      return fail(SSH_ASN1_TEMPLATE_TOO_LARGE);
    skip_blanks();
    const char *word = p_;
    while (p_ != end_ && ((*p_ >= 'a' && *p_ <= 'z') || ssh_is_digit(*p_) || *p_ == '-')) ++p_;
    if (p_ == end_) return fail(SSH_ASN1_TEMPLATE_TOO_SHORT);
    const uint32_t slot = ssh_asn1_keyword_find({word, static_cast<size_t>(p_ - word)});
    if (slot == SSH_ASN1_KEYWORD_SLOTS) return fail(SSH_ASN1_TEMPLATE_UNKNOWN_COMMAND);

    if (depth_ > 0 && !adopt_child()) return;
    SshAsn1Op &op = program_.ops[program_.count];
    op.keyword = static_cast<uint8_t>(slot);
    op.type = kSshAsn1Keywords[slot].type;
    open_[depth_++] = program_.count++;
    if (op.type < SSH_ASN1_CHOICE) read_tag(op);
  }

  // adopt_child marks the innermost open element as one with children. It is a fault if that is
  // an "any", or an "optional" that has its one child already.
  constexpr bool adopt_child() {
    SshAsn1Op &parent = program_.ops[open_[depth_ - 1]];
    if (parent.type == SSH_ASN1_ANY || (parent.type == SSH_ASN1_OPTIONAL && parent.children)) {
      fail(SSH_ASN1_TEMPLATE_UNKNOWN_COMMAND);
      return false;
    }
    parent.children = true;
    return true;
  }

  // read_tag reads "(" flags number ")". Without anything inside, the tag is the keyword's own.
  constexpr void read_tag(SshAsn1Op &op) {
    skip_blanks();
    if (p_ == end_) return fail(SSH_ASN1_TEMPLATE_TOO_SHORT);
    if (*p_ != '(') return fail(SSH_ASN1_TEMPLATE_UNKNOWN_COMMAND);
    ++p_;
    op.cls = SSH_BER_CONTEXT;
    skip_blanks();
    while (p_ != end_ && !ssh_is_digit(*p_) && *p_ != ')') {
      if (!read_flag(op, *p_)) return fail(SSH_ASN1_TEMPLATE_UNKNOWN_COMMAND);
      ++p_;
      skip_blanks();
    }
    read_number(op);
    skip_blanks();
    if (p_ == end_) return fail(SSH_ASN1_TEMPLATE_TOO_SHORT);
    if (*p_ != ')') return fail(SSH_ASN1_TEMPLATE_UNKNOWN_COMMAND);
    ++p_;
    if (!op.tagged) {
      op.cls = SSH_BER_UNIVERSAL;
      op.tag = kSshAsn1Keywords[op.keyword].tag;
    }
    op.identifier = ssh_asn1_identifier(op.cls, op.tag);
  }

  static constexpr bool read_flag(SshAsn1Op &op, char flag) {
    constexpr char kClasses[] = "uacp";
    for (uint8_t cls = 0; cls < 4; ++cls) {
      if (flag != kClasses[cls]) continue;
      op.cls = cls;
      op.tagged = true;
      return true;
    }
    if (flag == 'e') op.is_explicit = op.tagged = true;
    if (flag == 'i') op.indefinite = true;
    if (flag == '*') op.any_tag = true;
    return flag == 'e' || flag == 'i' || flag == '*';
  }

  constexpr void read_number(SshAsn1Op &op) {
    for (uint64_t number = 0; p_ != end_ && ssh_is_digit(*p_); ++p_) {
      number = number * 10 + static_cast<uint64_t>(*p_ - '0');
      if (number > 0xFFFFFFFF) return fail(SSH_ASN1_TEMPLATE_UNKNOWN_COMMAND);
      op.tag = static_cast<uint32_t>(number);
      op.tagged = true;
    }
  }

  // close_element ends the innermost open element; false if none is open.
  constexpr bool close_element() {
    if (depth_ == 0) {
      fail(SSH_ASN1_TEMPLATE_UNBALANCED);
      return false;
    }
    program_.ops[open_[--depth_]].end = static_cast<uint8_t>(program_.count);
    return true;
  }

  const char *p_;
  const char *end_;
  uint32_t depth_ = 0;
  uint32_t open_[SSH_ASN1_DEPTH_MAX] = {};
  SshAsn1Program program_ = {};
};

// ssh_asn1_bind gives each element its arguments, in the order of the elements. `fits[i]` is the
// set of forms that argument `i` has. An element takes the argument in the form `view` if it can,
// else in the second form. A type with children of its own in the template has no value to store,
// so it takes none; "choice" and "optional" have children and take one all the same.
constexpr void ssh_asn1_bind(SshAsn1Program &program, const uint32_t *fits, size_t count) {
  size_t next = 0;
  for (uint32_t i = 0; i < program.count; ++i) {
    SshAsn1Op &op = program.ops[i];
    const SshAsn1Binding &binding = kSshAsn1Bindings[op.type];
    op.argument = static_cast<uint8_t>(next);
    if (binding.view == 0 || (op.children && op.type < SSH_ASN1_CONSTRUCTED)) continue;
    if (next == count) {
      program.fault = SSH_ASN1_TEMPLATE_FEW_ARGUMENTS;
      return;
    }
    op.second_form = (fits[next] & binding.view) == 0;
    const bool sized = op.second_form && binding.sized;
    if (op.second_form && (fits[next] & binding.second_form) == 0)
      program.fault = SSH_ASN1_TEMPLATE_WRONG_TYPE;
    if (sized && next + 1 == count) program.fault = SSH_ASN1_TEMPLATE_FEW_ARGUMENTS;
    if (program.fault != SSH_ASN1_TEMPLATE_OK) return;
    if (sized && (fits[next + 1] & SSH_ASN1_FORM_SIZE) == 0)
      program.fault = SSH_ASN1_TEMPLATE_WRONG_TYPE;
    next += sized ? 2 : 1;
  }
  if (next != count && program.fault == SSH_ASN1_TEMPLATE_OK)
    program.fault = SSH_ASN1_TEMPLATE_MANY_ARGUMENTS;
}

// ssh_asn1_form_if gives the set of one form, or the empty set.
constexpr uint32_t ssh_asn1_form_if(bool fits, uint32_t form) { return fits ? form : 0; }

// ssh_asn1_output_fits and ssh_asn1_input_fits give the set of forms that a C++ type has, as an
// argument of read and of create. They ask about each form in turn because one type can have
// several: size_t is uint32_t on 32-bit Windows.
template <class T>
constexpr uint32_t ssh_asn1_output_fits() {
  return ssh_asn1_form_if(std::is_same_v<T, int *>, SSH_ASN1_FORM_INT) |
         ssh_asn1_form_if(std::is_same_v<T, uint32_t *>, SSH_ASN1_FORM_UINT32) |
         ssh_asn1_form_if(std::is_same_v<T, SshMpInt *>, SSH_ASN1_FORM_MP_INT) |
         ssh_asn1_form_if(std::is_same_v<T, Bytes *>, SSH_ASN1_FORM_BYTES) |
         ssh_asn1_form_if(std::is_same_v<T, SshAsn1Bits *>, SSH_ASN1_FORM_BITS) |
         ssh_asn1_form_if(std::is_same_v<T, uint8_t **>, SSH_ASN1_FORM_BLOCK) |
         ssh_asn1_form_if(std::is_same_v<T, size_t *>, SSH_ASN1_FORM_SIZE) |
         ssh_asn1_form_if(std::is_same_v<T, char **>, SSH_ASN1_FORM_TEXT) |
         ssh_asn1_form_if(std::is_same_v<T, SshOid *>, SSH_ASN1_FORM_OID) |
         ssh_asn1_form_if(std::is_same_v<T, SshBerTime *>, SSH_ASN1_FORM_TIME) |
         ssh_asn1_form_if(std::is_same_v<T, SshAsn1Node *> || std::is_same_v<T, SshAsn1Unread *>,
                          SSH_ASN1_FORM_NODE);
}
template <class T>
constexpr uint32_t ssh_asn1_input_fits() {
  return ssh_asn1_form_if(std::is_same_v<T, int>, SSH_ASN1_FORM_INT) |
         ssh_asn1_form_if(std::is_same_v<T, uint32_t>, SSH_ASN1_FORM_UINT32) |
         ssh_asn1_form_if(std::is_convertible_v<T, const SshMpInt *>, SSH_ASN1_FORM_MP_INT) |
         ssh_asn1_form_if(std::is_same_v<T, Bytes>, SSH_ASN1_FORM_BYTES) |
         ssh_asn1_form_if(std::is_same_v<T, SshAsn1Bits>, SSH_ASN1_FORM_BITS) |
         ssh_asn1_form_if(std::is_convertible_v<T, const uint8_t *>, SSH_ASN1_FORM_BLOCK) |
         ssh_asn1_form_if(std::is_same_v<T, size_t>, SSH_ASN1_FORM_SIZE) |
         ssh_asn1_form_if(std::is_convertible_v<T, const char *>, SSH_ASN1_FORM_TEXT) |
         ssh_asn1_form_if(std::is_same_v<T, SshOid>, SSH_ASN1_FORM_OID) |
         ssh_asn1_form_if(std::is_convertible_v<T, const SshBerTime *>, SSH_ASN1_FORM_TIME) |
         ssh_asn1_form_if(std::is_same_v<T, SshAsn1Node>, SSH_ASN1_FORM_NODE);
}

// These functions are declared but not constexpr, deliberately. A call of one while a template is
// compiled is an error, and the compiler's message names the function, which names the fault.
namespace template_error {
void unknown_keyword_or_flag();
void missing_parenthesis();
void parenthesis_or_element_expected();
void template_too_large();
void closing_parenthesis_too_many();
void too_few_arguments();
void too_many_arguments();
void wrong_argument_type();
void sequence_or_set_without_children_cannot_be_read();
void choice_and_optional_cannot_be_created();
}  // namespace template_error

consteval void ssh_asn1_report(uint32_t fault) {
  if (fault == SSH_ASN1_TEMPLATE_UNKNOWN_COMMAND) template_error::unknown_keyword_or_flag();
  if (fault == SSH_ASN1_TEMPLATE_TOO_SHORT) template_error::missing_parenthesis();
  if (fault == SSH_ASN1_TEMPLATE_IMPLICATION) template_error::parenthesis_or_element_expected();
  if (fault == SSH_ASN1_TEMPLATE_TOO_LARGE) template_error::template_too_large();
  if (fault == SSH_ASN1_TEMPLATE_UNBALANCED) template_error::closing_parenthesis_too_many();
  if (fault == SSH_ASN1_TEMPLATE_FEW_ARGUMENTS) template_error::too_few_arguments();
  if (fault == SSH_ASN1_TEMPLATE_MANY_ARGUMENTS) template_error::too_many_arguments();
  if (fault == SSH_ASN1_TEMPLATE_WRONG_TYPE) template_error::wrong_argument_type();
}

// SshAsn1Text makes a literal an argument of a template, and so a part of the template's type.
template <size_t N>
struct SshAsn1Text {
  char text[N] = {};
  consteval SshAsn1Text(const char (&literal)[N]) {  // NOLINT: implicit for the literal operator
    for (size_t i = 0; i < N; ++i) text[i] = literal[i];
  }
};

// SshAsn1Template is a template known to the compiler; write it as "..."_asn1.
template <SshAsn1Text Text>
struct SshAsn1Template {
  static consteval SshAsn1Program parse() {
    return SshAsn1Parser(Text.text, sizeof(Text.text) - 1).run();
  }
};
// Not consteval: clang 14 treats a call of a consteval operator in a function template as one at
// run time, and refuses it.
template <SshAsn1Text Text>
constexpr SshAsn1Template<Text> operator""_asn1() {
  return {};
}

// ssh_asn1_compile parses a template, gives its elements their arguments, and checks that it can be
// read or created. Each fault is an error of the compiler.
template <SshAsn1Text Text, size_t N>
consteval SshAsn1Program ssh_asn1_compile(const std::array<uint32_t, N> &fits, size_t count,
                                          bool create) {
  SshAsn1Program program = SshAsn1Template<Text>::parse();
  ssh_asn1_report(program.fault);
  ssh_asn1_bind(program, fits.data(), count);
  ssh_asn1_report(program.fault);
  for (uint32_t i = 0; i < program.count; ++i) {
    const SshAsn1Op &op = program.ops[i];
    if (create && op.type >= SSH_ASN1_CHOICE)
      template_error::choice_and_optional_cannot_be_created();
    if (!create && op.type == SSH_ASN1_CONSTRUCTED && !op.children)
      template_error::sequence_or_set_without_children_cannot_be_read();
  }
  return program;
}

// ssh_asn1_trim keeps only the ops that are used, so that a program takes no more read-only data
// than it needs.
template <uint32_t Count>
consteval std::array<SshAsn1Op, Count> ssh_asn1_trim(const SshAsn1Program &program) {
  std::array<SshAsn1Op, Count> ops = {};
  for (uint32_t i = 0; i < Count; ++i) ops[i] = program.ops[i];
  return ops;
}

// kSshAsn1Program is the program of a template for one list of argument types; kSshAsn1Ops are its
// ops alone, which readers and creators use.
template <SshAsn1Text Text, bool Create, class... Args>
inline constexpr SshAsn1Program kSshAsn1Program = ssh_asn1_compile<Text>(
    std::array<uint32_t, sizeof...(Args) + 1>{
        (Create ? ssh_asn1_input_fits<Args>() : ssh_asn1_output_fits<Args>())..., 0},
    sizeof...(Args), Create);
template <SshAsn1Text Text, bool Create, class... Args>
inline constexpr auto kSshAsn1Ops = ssh_asn1_trim<kSshAsn1Program<Text, Create, Args...>.count>(
    kSshAsn1Program<Text, Create, Args...>);
