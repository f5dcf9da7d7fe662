// The state of a decode of a certificate or CRL, and what their decoders share: the frame around a
// decode, the loop over extensions, lists of records. Only files of x509 include this header.
//
// A decoder is a function that reads one structure with templates and fills its part of the record.
// The one of an extension gets the extension's value:
//
//   bool decode_key_usage(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
//     SshAsn1Bits bits;
//     if (!decoder.read(value, "(bit-string ())"_asn1, &bits)) return false;
//     cert.key_usage = ssh_x509_bits_to_mask(bits);
//     return true;
//   }
//
// It returns false to refuse the input. If it knows why, it says so first (`refuse`); otherwise the
// place where the template did not match is reported. Memory comes from decoder.pool. decoder.rules
// has the decisions of the profile, looked up once for each decode. The same decoders serve both
// readers (docs/architecture.md, "The two ways of reading"): a decoder need not know which one
// reads, as long as it reads by templates.
#pragma once

#include <algorithm>
#include <cstddef>
#include <new>

#include "asn1/plain.h"
#include "util/pool.h"
#include "x509/extensions.h"
#include "x509/memory.h"
#include "x509/oid_registry.h"
#include "x509/profile.h"

struct SshX509Cert;
struct SshX509Extension;

// The rules of refusals that several decoders share.
constexpr char SSH_X509_RULE_32_BITS[] = "is no number of 32 bits";
constexpr char SSH_X509_RULE_24_BITS[] = "has more than 24 bits";

// ssh_x509_is_sequence is true for a SEQUENCE of definite length.
[[nodiscard]] inline bool ssh_x509_is_sequence(SshAsn1Node node) {
  return node && node.data[0] == 0x30 && node.data[1] != 0x80;
}

// SshX509Decoder is the state of one decode: where records go, how much work is left, and why it
// failed.
struct SshX509Decoder {
  SshPool &pool;
  SshX509Refusal *refusal;  // null: nobody asks
  const uint8_t *base;      // the start of the input
  SshAsn1Work work;
  // The structure that is being read: the place to report for a part that is missing from it.
  const uint8_t *inside = base;
  const SshX509Rules &rules = ssh_x509_rules();
  const SshX509Extension *extension = nullptr;  // the one whose value is being decoded
  // The encoding inside a string (see `value`) that a plain decode is reading. The check of the
  // input's own nesting does not go into it.
  Bytes unchecked = {};
  bool unusual = false;  // whether a plain decode met what only the general reader can decide

  // refuse notes why the input is refused, unless an inner refusal was noted before, and gives
  // false. `at` is null for a part that is missing. If the work is spent, that is the reason,
  // whatever was being read. It is cold, so that the code of refusals stands apart from the code
  // that nearly all inputs run.
  [[gnu::cold]] bool refuse(const char *structure, const char *rule, const uint8_t *at,
                            SshOid identifier = {}, SshX509Found found = SSH_X509_FOUND_IT);
  [[gnu::cold]] bool refuse_value(const char *structure, const char *rule, const uint8_t *at) {
    return refuse(structure, rule, at, {}, SSH_X509_FOUND_VALUE);
  }

  // require refuses the input unless `holds`, and gives that.
  [[nodiscard]] bool require(bool holds, const char *structure, const char *rule, const uint8_t *at,
                             SshOid identifier = {}) {
    return holds || refuse(structure, rule, at, identifier);
  }

  // refuse_read does so for a structure that a template did not match. The general reader has noted
  // the rule and the deepest element that breaks it.
  [[gnu::cold]] bool refuse_read(const char *structure, Bytes octets, SshOid identifier = {});
  [[gnu::cold]] bool refuse_read(const char *structure, const SshAsn1Unread &element) {
    return refuse_read(structure, element.list());
  }

  // The reads below differ in what they do about elements that the template does not ask for: what
  // only adds something may be passed over under classic; what takes something away, such as a
  // constraint or a revocation, must not be. All of them read plain bytes if they can, and go on
  // with the general reader if not.

  // read is for a structure from which nothing can be lost. Under classic, elements that the
  // template does not ask for are passed over, as they always were.
  template <class Element, SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read(Element &element, SshAsn1Template<Text> text, Outputs... outputs) {
    return read_as(rules.reads_whole ? SshAsn1Mode::kWhole : SshAsn1Mode::kSearch, element, text,
                   outputs...);
  }

  // read_known is for a structure with fields that restrict something. Under both profiles they are
  // read or the input is refused. Under classic, fields that are not known are passed over.
  template <class Element, SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read_known(Element &element, SshAsn1Template<Text> text, Outputs... outputs) {
    return read_as(rules.reads_whole ? SshAsn1Mode::kWhole : SshAsn1Mode::kKnown, element, text,
                   outputs...);
  }

  // read_known_item does the same with one item of a list: it does not search the items behind it.
  template <SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read_known_item(SshAsn1Unread &item, SshAsn1Template<Text> text,
                                     Outputs... outputs) {
    const SshAsn1Mode mode = rules.reads_whole ? SshAsn1Mode::kWhole : SshAsn1Mode::kKnown;
    return read_alone(mode, item, text, outputs...);
  }

  // read_whole is for an element of which nothing may be passed over under either profile: a
  // constraint, or an item of a list whose items restrict something.
  template <class Element, SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read_whole(Element &element, SshAsn1Template<Text> text, Outputs... outputs) {
    return read_as(SshAsn1Mode::kWhole, element, text, outputs...);
  }

  // read_whole_list does the same with all elements from `list` on.
  template <SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read_whole_list(SshAsn1Unread &list, SshAsn1Template<Text> text,
                                     Outputs... outputs) {
    return read_plain(list, text, outputs...) ||
           (!list.is_plain() && ssh_asn1_read_node_as(SshAsn1Mode::kWhole, list.node(), text,
                                                      outputs...) == SSH_ASN1_OK);
  }

  // read_searching passes over elements that the template does not ask for, under both profiles.
  template <SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read_searching(SshAsn1Unread &element, SshAsn1Template<Text> text,
                                    Outputs... outputs) {
    return read_alone(SshAsn1Mode::kSearch, element, text, outputs...);
  }

  // time_passes refuses a time that is odd (SshBerTime) if the profile wants those of the standard;
  // times_pass does the same with two times among the elements of a structure.
  bool time_passes(const SshBerTime &time, const uint8_t *at) {
    return require(!time.odd || !rules.standard_times, "time",
                   "has hour 24, or a zone that is neither Z nor four digits", at);
  }
  bool times_pass(const SshBerTime &from, const SshBerTime &to, SshAsn1Unread &structure);

  // node gives an element to code that walks over it by itself, which only checked bytes allow. So
  // it checks bytes that were not. If they are not well-formed it gives the null node, and the
  // decode is left to the general reader.
  [[nodiscard]] SshAsn1Node node(SshAsn1Unread &element) {
    unusual |= element.is_plain() && !element.check();
    return element.is_plain() ? SshAsn1Node() : element.node();
  }

  // value prepares the encoding that is inside a string: an extension's value in its OCTET STRING,
  // a key in its BIT STRING. The check of the whole input sees the string only, so this encoding is
  // checked by itself: here, or in a plain decode while it is read. `root` becomes its elements, as
  // far as they are well-formed. False if not all are. The caller calls `value_read` when it was
  // read.
  bool value(Bytes octets, SshAsn1Unread &root) {
    if (!plain) return value_checked(octets, root);
    unchecked = octets;
    root.set(octets, &work);
    return true;
  }
  void value_read() { unchecked = {}; }
  bool plain = false;       // whether this is a plain decode: bytes are read before any check
  bool each_alone = false;  // whether the parts of a refused input are read, each by itself

 private:
  bool value_checked(Bytes octets, SshAsn1Unread &root);

  template <SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read_as(SshAsn1Mode mode, SshAsn1Unread &element, SshAsn1Template<Text> text,
                             Outputs... outputs) {
    return read_plain(element, text, outputs...) ||
           (!element.is_plain() && read_as(mode, element.node(), text, outputs...));
  }

  template <SshAsn1Text Text, class... Outputs>
  [[nodiscard]] static bool read_as(SshAsn1Mode mode, const SshAsn1Node &node,
                                    SshAsn1Template<Text> text, Outputs... outputs) {
    // An element that is read whole is read where it stands, and what follows it does not count.
    const bool alone =
        mode == SshAsn1Mode::kWhole || (mode == SshAsn1Mode::kKnown && ssh_x509_is_sequence(node));
    const SshAsn1Node list = alone ? node.alone() : node;
    return ssh_asn1_read_node_as(mode, list, text, outputs...) == SSH_ASN1_OK;
  }

  template <SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read_alone(SshAsn1Mode mode, SshAsn1Unread &element,
                                SshAsn1Template<Text> text, Outputs... outputs) {
    return read_plain(element, text, outputs...) ||
           (!element.is_plain() &&
            ssh_asn1_read_node_as(mode, element.node().alone(), text, outputs...) == SSH_ASN1_OK);
  }

  // read_plain reads bytes that nobody has checked. If they are not plain it checks them, so that
  // the caller can go on with the general reader. If they are not even well-formed the plain decode
  // is over: `unusual` makes it fail, and the general reader starts again from the beginning.
  template <SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read_plain(SshAsn1Unread &octets, SshAsn1Template<Text> text,
                                Outputs... outputs) {
    if (!octets.is_plain()) return false;
    if (octets.read(text, outputs...)) return true;
    unusual |= !octets.check();
    return false;
  }
};

// ssh_x509_pool_size estimates the memory of a record from its input, so that its pool is one
// block: the copy of the input, and beside it structs, which take about as much again. For a small
// input they can take half of its size more. Above 8 KiB only the copy grows: what makes an input
// so large are long values and the entries of a CRL, and neither has structs. If the estimate is
// too small, the pool takes a second block.
[[nodiscard]] constexpr size_t ssh_x509_pool_size(size_t input) {
  return input + std::min<size_t>(input, 8192) + std::min<size_t>(input / 2, 512);
}

// ssh_x509_pool_most is the part of ssh_x509_record_most that the pool may take. The rest is for
// what is outside of it: long integers, which have blocks of their own and together are no longer
// than the input; in a CRL the copy of the input, since the cursor over its entries has a pool of
// its own with the same limit; and, for a short time, the stack of the check of nesting.
[[nodiscard]] constexpr size_t ssh_x509_pool_most(size_t input) {
  constexpr size_t kCheck = 0x600000;
  return ssh_x509_record_most(input) - 2 * input - kCheck;
}

// ssh_x509_sequence_in gives the SEQUENCE that a template would find in a list, or the first
// element of the list if there is none.
[[nodiscard]] inline SshAsn1Node ssh_x509_sequence_in(SshAsn1Node list) {
  if (ssh_x509_is_sequence(list)) return list;
  const SshAsn1Node found = ssh_asn1_node_find(list, 0x30);
  return found ? found : list;
}

// ssh_x509_to_sequence moves on to that element of a list.
inline void ssh_x509_to_sequence(SshAsn1Unread &list, SshX509Decoder &decoder) {
  if (list.is_plain() && list && *list.data() == 0x30) return;
  list.set(ssh_x509_sequence_in(decoder.node(list)));
}

// ssh_x509_work_is_left refuses an input if the work is spent: lists may have ended early.
[[nodiscard]] bool ssh_x509_work_is_left(SshX509Decoder &decoder);

// SshX509Root is an input in which a certificate or CRL is looked for.
struct SshX509Root {
  SshAsn1Node elements;    // all top-level elements, if the input was checked
  SshAsn1Unread sequence;  // the one to decode
};

// ssh_x509_decode_root finds the element to decode. In a plain decode that is the whole input. Else
// the input is checked, and it is the first SEQUENCE among its well-formed elements; bytes after
// the first element that is well-formed are tolerated.
[[nodiscard]] bool ssh_x509_decode_root(Bytes der, SshX509Root &root, SshX509Decoder &decoder);

// ssh_x509_root_size gives the number of bytes that the top-level elements of an input take.
[[nodiscard]] size_t ssh_x509_root_size(Bytes der, const SshX509Root &root,
                                        const SshX509Decoder &decoder);

// ssh_x509_refusal_stands is true if the refusal of a plain decode is what the general reader would
// have given as well, so that there is no need to ask it. That is so if nothing unusual was met,
// the work is not spent, and the bytes that the decode did not come to are well-formed.
[[nodiscard]] bool ssh_x509_refusal_stands(Bytes der, const SshX509Decoder &decoder);

// SshX509Decode decodes a certificate or CRL from its SEQUENCE.
template <class Record>
using SshX509Decode = bool (*)(SshAsn1Unread &sequence, Record &record, SshX509Decoder &decoder);

// ssh_x509_decode_in decodes an input into an empty record, in a plain decode or by the general
// reader. `size` becomes what ssh_x509_decode_record returns. False if a plain decode could not
// decide, so that the general reader has to.
template <class Record>
[[nodiscard]] bool ssh_x509_decode_in(bool plain, Bytes der, SshX509Decode<Record> decode,
                                      Record &record, size_t &size) {
  record.pool.reserve(ssh_x509_pool_size(der.size()));
  record.der = record.pool.copy(der);
  SshX509Decoder decoder{record.pool, &record.refusal, record.der.data(),
                         SshAsn1Work::for_input(der.size())};
  decoder.plain = plain;
  // A plain decode does not count the elements that it looks at, which the general reader does. It
  // gets half of the work, so that it never accepts what would be too much for the other one: to
  // look at all elements of an input takes far less than the other half.
  if (plain) decoder.work.left /= 2;
  record.pool.limit(ssh_x509_pool_most(der.size()), &decoder.work.left);
  SshX509Root root;
  const bool decoded = ssh_x509_decode_root(record.der, root, decoder) &&
                       decode(root.sequence, record, decoder) && !decoder.unusual &&
                       ssh_x509_work_is_left(decoder);
  record.pool.limit(0, nullptr);
  if (decoded)
    record.pool.settle();
  else
    record.version = 0;
  size = decoded ? ssh_x509_root_size(record.der, root, decoder) : 0;
  return decoded || !plain || ssh_x509_refusal_stands(record.der, decoder);
}

// ssh_x509_decode_record decodes an input into an empty record. It returns the number of bytes that
// the input's elements take, or 0 if the input is refused. A plain decode comes first. It can hand
// single structures to the general reader. If it cannot decide even so (the input is not
// well-formed, or takes too much work), the record is emptied, and the general reader decides about
// the whole input from the start.
template <class Record>
[[nodiscard]] size_t ssh_x509_decode_record(bool plain, Bytes der, SshX509Decode<Record> decode,
                                            Record *record) {
  size_t size = 0;
  if (der.size() > SSH_X509_INPUT_MAX) {
    record->refusal = {"encoding", "is larger than 64 MiB"};
    return 0;
  }
  if (plain && ssh_x509_decode_in(true, der, decode, *record, size)) return size;
  if (plain) {
    // The general reader needs an empty record: a new one in the same place, with the same room.
    SshPool *const lender = record->pool.lender();
    const std::span<uint8_t> room = record->pool.own_room();
    record->~Record();
    new (record) Record;
    if (lender)
      record->pool.borrow(lender);
    else
      record->pool.begin_in(room);
  }
  (void)ssh_x509_decode_in(false, der, decode, *record, size);
  return size;
}

// SshX509Extension is an Extension that is being decoded.
struct SshX509Extension : SshX509ExtensionView {
  const SshOidRow *row = nullptr;  // null: unknown
  bool repeated = false;           // a duplicate that is passed over
};

// ssh_x509_extension_read reads an Extension, looks it up and adds its kind to `set`. It refuses
// critical extensions that are not known, and duplicates. Some kinds may repeat: those that are not
// known and, in certificates, the subject directory attributes, of which all but the first are
// passed over.                                                                  RFC 5280, 4.2
[[nodiscard]] bool ssh_x509_extension_read(SshAsn1Unread &item, bool attributes_may_repeat,
                                           SshX509ExtensionSet &set, SshX509Extension &extension,
                                           SshX509Decoder &decoder);

// SshX509ExtensionDecode is the decoder of an extension: it fills its part of a record from the
// extension's value, and gives false to refuse the input.
template <class Record>
using SshX509ExtensionDecode = bool (*)(SshAsn1Unread &value, Record &record,
                                        SshX509Decoder &decoder);

// SshX509ExtensionRow gives a kind of extension its decoder. An extension of a kind without a row
// is passed over, unless it is critical: then the input is refused.
template <class Record>
struct SshX509ExtensionRow {
  SshX509ExtensionKind kind = SSH_X509_EXT_UNKNOWN;
  SshX509ExtensionDecode<Record> decode = nullptr;
  bool SshX509Rules::*rule = nullptr;  // the decision that the row hangs on, if any
};

// Deliberately not constexpr: a call while a table is made is an error, and the compiler's message
// names the function.
namespace extension_table_error {
void a_kind_has_two_rows();
}

// SshX509ExtensionTable has a row for each kind, at the index of the kind. Rows that are not given
// are empty.
template <class Record>
struct SshX509ExtensionTable {
  SshX509ExtensionRow<Record> rows[SSH_X509_EXT_KINDS] = {};

  template <size_t N>
  consteval explicit SshX509ExtensionTable(const SshX509ExtensionRow<Record> (&given)[N]) {
    for (const auto &row : given) {
      if (rows[row.kind].decode) extension_table_error::a_kind_has_two_rows();
      rows[row.kind] = row;
    }
  }

  // decoder finds a kind's decoder, or null.
  [[nodiscard]] SshX509ExtensionDecode<Record> decoder(uint32_t kind,
                                                       const SshX509Rules &rules) const {
    const auto &row = rows[kind];
    return !row.rule || rules.*row.rule ? row.decode : nullptr;
  }
};

// ssh_x509_extension_decode decodes the value of an extension by its decoder, which is null if
// there is none. `at` is where the extension begins.
template <class Record>
[[nodiscard]] bool ssh_x509_extension_decode(const SshX509Extension &extension, const uint8_t *at,
                                             SshX509ExtensionDecode<Record> decode, Record &record,
                                             SshX509Decoder &decoder) {
  if (!decode) {
    return decoder.require(!extension.critical, "critical extension", "has no place here", at,
                           extension.id);
  }
  decoder.extension = &extension;
  SshAsn1Unread root;
  (void)decoder.value(extension.value, root);  // what is malformed is missing for the decoder
  const Bytes value = root.der();
  if (decoder.rules.one_value && root && value.size() != extension.value.size()) {
    return decoder.refuse("extension", "has bytes behind its value", value.data() + value.size(),
                          extension.id);
  }
  if (!decode(root, record, decoder))
    return decoder.refuse_read(extension.row->description, extension.value, extension.id);
  decoder.value_read();
  return true;
}

// ssh_x509_extensions_decode reads Extensions and decodes each value. The decoder comes from
// `table` or, if that has none, from `further`.
//   Extensions ::= SEQUENCE SIZE (1..MAX) OF Extension
template <class Record>
[[nodiscard]] bool ssh_x509_extensions_decode(
    SshAsn1Unread &extensions, const SshX509ExtensionTable<Record> &table,
    bool attributes_may_repeat, Record &record, SshX509Decoder &decoder,
    const SshX509ExtensionTable<Record> *further = nullptr) {
  record.extensions.clear();
  SshAsn1Unread list;
  if (!decoder.read_whole(extensions, "(sequence ()(any ()))"_asn1, &list))
    return decoder.refuse_read("Extensions", extensions);
  record.extension_list = list.list();
  for (; list; list.next()) {
    decoder.inside = list.data();
    SshX509Extension extension;
    const bool read =
        ssh_x509_extension_read(list, attributes_may_repeat, record.extensions, extension, decoder);
    if (!read && !decoder.each_alone) return false;
    if (!read || !extension.row || extension.repeated) continue;

    const uint32_t kind = extension.row->code;
    SshX509ExtensionDecode<Record> decode = table.decoder(kind, decoder.rules);
    if (!decode && further) decode = further->decoder(kind, decoder.rules);
    if (ssh_x509_extension_decode(extension, list.data(), decode, record, decoder)) continue;
    if (!decoder.each_alone) return false;
    record.extensions.drop(kind);  // what could not be read does not count as present
  }
  return true;
}

// SshX509Tail appends to a singly linked list. It finds the end once.
template <class T>
class SshX509Tail {
 public:
  explicit SshX509Tail(T **list) : at_(list) {
    while (*at_) at_ = &(*at_)->next;
  }
  void append(T *item) {
    *at_ = item;
    at_ = &item->next;
  }

 private:
  T **at_;
};

// ssh_x509_decode_items makes a record for each item, up to the end of their list, and appends it
// to `list`. read(item, record) fills it, or gives false to refuse the input.
template <class T, class Read>
[[nodiscard]] bool ssh_x509_decode_items(SshAsn1Unread &item, T **list, SshX509Decoder &decoder,
                                         Read read) {
  SshX509Tail tail(list);
  for (; item; item.next()) {
    auto *record = decoder.pool.make<T>();
    if (!read(item, *record)) return false;
    tail.append(record);
  }
  return true;
}

// ssh_x509_decode_list does the same with the items of a SEQUENCE OF.
template <class T, class Read>
[[nodiscard]] bool ssh_x509_decode_list(SshAsn1Unread &value, T **list, SshX509Decoder &decoder,
                                        Read read) {
  SshAsn1Unread item;
  return decoder.read(value, "(sequence ()(any ()))"_asn1, &item) &&
         ssh_x509_decode_items(item, list, decoder, read);
}

// The decoders of extensions that stand in other files than the table which leads to them, and
// those that serve several extensions.
[[nodiscard]] bool ssh_x509_decode_key_id(SshAsn1Unread &value, const SshX509KeyId **key_id,
                                          SshX509Decoder &decoder);
[[nodiscard]] bool ssh_x509_decode_policies(SshAsn1Unread &value, SshX509PolicyInfo **list,
                                            SshX509Decoder &decoder);
[[nodiscard]] bool ssh_x509_decode_points(SshAsn1Unread &value, const SshX509Name *issuer_names,
                                          SshX509DistributionPoint **list, SshX509Decoder &decoder);
[[nodiscard]] bool ssh_x509_decode_issuing_point(SshAsn1Unread &value, SshX509Name *issuer_names,
                                                 SshX509IssuingDistPoint &point,
                                                 SshX509Decoder &decoder);
[[nodiscard]] bool ssh_x509_decode_access(SshAsn1Unread &value, SshX509AccessDescription **list,
                                          SshX509Decoder &decoder);
[[nodiscard]] bool ssh_x509_decode_extra(SshAsn1Unread &value, SshX509Extra **list,
                                         SshX509Decoder &decoder);
[[nodiscard]] bool ssh_x509_decode_name_constraints(SshAsn1Unread &value, SshX509Cert &cert,
                                                    SshX509Decoder &decoder);
[[nodiscard]] bool ssh_x509_decode_policy_constraints(SshAsn1Unread &value, SshX509Cert &cert,
                                                      SshX509Decoder &decoder);

// ssh_x509_further_extensions are the decoders of a certificate's further extensions.
extern const SshX509ExtensionTable<SshX509Cert> ssh_x509_further_extensions;

// ssh_x509_bits_to_mask makes a mask of the first four bytes of a BIT STRING. The first byte is
// bits 0 to 7. Bits that are unused in the last byte are taken as they are.
[[nodiscard]] uint32_t ssh_x509_bits_to_mask(const SshAsn1Bits &bits);

// ssh_x509_named_bits_to_mask does the same without the unused bits, which mean nothing.
//                                                                           X.680, 22.7
[[nodiscard]] uint32_t ssh_x509_named_bits_to_mask(const SshAsn1Bits &bits);
