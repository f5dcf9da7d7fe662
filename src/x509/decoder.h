// The state of a decode of a certificate or CRL, and what their decoders share: the frame around a
// decode, the loop over extensions, lists of records. Only files of x509 include this header.
//
// A decoder of an extension is a function that gets the extension's value, reads it with templates
// and fills its part of the record:
//
//   bool decode_key_usage(SshAsn1Unread &value, SshX509Cert &cert, SshX509Decoder &decoder) {
//     SshAsn1Bits bits;
//     if (!decoder.read(value, "(bit-string ())"_asn1, &bits)) return false;
//     cert.key_usage = ssh_x509_bits_to_mask(bits);
//     return true;
//   }
//
// It returns false to refuse the input. If it knows why, it says so first (`refuse`); otherwise the
// place where the template stopped is reported. Memory comes from decoder.pool. Which decisions of
// the profile hold is in decoder.rules, looked up once per decode.
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

// The rules that several decoders share, in words for people.
constexpr char SSH_X509_RULE_32_BITS[] = "is no number of 32 bits";
constexpr char SSH_X509_RULE_24_BITS[] = "has more than 24 bits";

// ssh_x509_is_sequence is true for a SEQUENCE of definite length.
[[nodiscard]] inline bool ssh_x509_is_sequence(SshAsn1Node node) {
  return node && node.data[0] == 0x30 && node.data[1] != 0x80;
}

// SshX509Decoder is the state of one decode: where records go, what reads may still spend, and why
// it failed.
struct SshX509Decoder {
  SshPool &pool;
  SshX509Refusal *refusal;  // null: nobody asks
  const uint8_t *base;      // the start of the input
  SshAsn1Work work;
  const uint8_t *inside =
      base;  // the structure being read: the place of a part that is missing from it
  const SshX509Rules &rules = ssh_x509_rules();
  const SshX509Extension *extension = nullptr;  // the one whose value is being decoded
  Bytes unchecked = {};  // plain bytes that are being read and that the input's own nesting hides
  bool unusual = false;  // whether a plain decode met what it must leave to the general reader

  // refuse notes a refusal unless an inner one was noted before, and gives false. `at` is null for
  // a missing part. Where the work is spent, that is the reason, whatever was being read. Few
  // inputs are refused, so what leads there stands apart from the code of a decode.
  [[gnu::cold]] bool refuse(const char *structure, const char *rule, const uint8_t *at,
                            SshOid identifier = {}, SshX509Found found = SSH_X509_FOUND_IT);
  [[gnu::cold]] bool refuse_value(const char *structure, const char *rule, const uint8_t *at) {
    return refuse(structure, rule, at, {}, SSH_X509_FOUND_VALUE);
  }

  // refuse_read does so for a structure that no template has read, of which the reads have noted
  // the deepest element that is something else.
  [[gnu::cold]] bool refuse_read(const char *structure, Bytes octets, SshOid identifier = {});
  [[gnu::cold]] bool refuse_read(const char *structure, const SshAsn1Unread &element) {
    return refuse_read(structure, element.list());
  }

  // read reads a structure that has nothing to lose: classic passes over what the template does not
  // ask for, as its clients have always met it.
  template <class Element, SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read(Element &element, SshAsn1Template<Text> text, Outputs... outputs) {
    return read_as(rules.reads_whole ? SshAsn1Mode::kWhole : SshAsn1Mode::kSearch, element, text,
                   outputs...);
  }

  // read_known reads a structure with fields that can take something away: under both profiles they
  // are read or the input is refused. Fields that are not known pass under classic.
  template <class Element, SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read_known(Element &element, SshAsn1Template<Text> text, Outputs... outputs) {
    return read_as(rules.reads_whole ? SshAsn1Mode::kWhole : SshAsn1Mode::kKnown, element, text,
                   outputs...);
  }

  // read_known_item does so with an item of a list that must be of the template's form where it
  // stands.
  template <SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read_known_item(SshAsn1Unread &item, SshAsn1Template<Text> text,
                                     Outputs... outputs) {
    const SshAsn1Mode mode = rules.reads_whole ? SshAsn1Mode::kWhole : SshAsn1Mode::kKnown;
    return read_alone(mode, item, text, outputs...);
  }

  // read_whole reads an element of which under both profiles nothing may be left over: an item of a
  // list whose items can take something away, or all of a constraint.
  template <class Element, SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read_whole(Element &element, SshAsn1Template<Text> text, Outputs... outputs) {
    return read_as(SshAsn1Mode::kWhole, element, text, outputs...);
  }

  // read_whole_list does so with the elements from `list` on.
  template <SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read_whole_list(SshAsn1Unread &list, SshAsn1Template<Text> text,
                                     Outputs... outputs) {
    return read_plain(list, text, outputs...) ||
           (!list.is_plain() && ssh_asn1_read_node_as(SshAsn1Mode::kWhole, list.node(), text,
                                                      outputs...) == SSH_ASN1_OK);
  }

  // read_searching reads an element as classic does, under both profiles.
  template <SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read_searching(SshAsn1Unread &element, SshAsn1Template<Text> text,
                                    Outputs... outputs) {
    return read_alone(SshAsn1Mode::kSearch, element, text, outputs...);
  }

  // time_passes refuses a time that is odd, where the profile wants those of the standard;
  // times_pass does so for two times among the elements of a structure.
  bool time_passes(const SshBerTime &time, const uint8_t *at) {
    return !time.odd || !rules.standard_times ||
           refuse("time", "has hour 24, or a zone that is neither Z nor four digits", at);
  }
  bool times_pass(const SshBerTime &from, const SshBerTime &to, SshAsn1Unread &structure);

  // node checks what is to be looked at in another way than by a template. The null node stands for
  // what is not plain, too.
  [[nodiscard]] SshAsn1Node node(SshAsn1Unread &element) {
    unusual |= element.is_plain() && !element.check();
    return element.is_plain() ? SshAsn1Node() : element.node();
  }

  // value prepares bytes that hold an encoding and that the input's own nesting hides: in a decode
  // that reads plain bytes as they are, in others as the elements that are well-formed. False if
  // not all are. `value_read` tells that it was read.
  bool value(Bytes octets, SshAsn1Unread &root) {
    if (!plain) return value_checked(octets, root);
    unchecked = octets;
    root.set(octets, &work);
    return true;
  }
  void value_read() { unchecked = {}; }
  bool plain = false;       // whether it reads so
  bool each_alone = false;  // whether parts are read of what is refused, each for itself

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
    // An element that is read whole is read where it stands, whatever follows it.
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

  // read_plain reads what nobody has checked. What turns out not to be plain is checked instead,
  // and the general reader goes on with it; what is not well-formed ends the decode.
  template <SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read_plain(SshAsn1Unread &octets, SshAsn1Template<Text> text,
                                Outputs... outputs) {
    if (!octets.is_plain()) return false;
    if (octets.read(text, outputs...)) return true;
    unusual |= !octets.check();
    return false;
  }
};

// ssh_x509_pool_size estimates the memory of a record from its input: a copy of the bytes and what
// stands beside.
[[nodiscard]] constexpr size_t ssh_x509_pool_size(size_t input) {
  return input + std::min<size_t>(input, 8192) + std::min<size_t>(input / 2, 512);
}

// ssh_x509_pool_most is what the pool may take of ssh_x509_record_most. The rest is for what stands
// beside it: integers, which have blocks of their own and are no longer than the input; of a CRL
// the copy of the input, as its entries have a pool to themselves; and the stack of the check for
// nesting, which is not there for long.
[[nodiscard]] constexpr size_t ssh_x509_pool_most(size_t input) {
  constexpr size_t kCheck = 0x600000;
  return ssh_x509_record_most(input) - 2 * input - kCheck;
}

// ssh_x509_sequence_in gives the SEQUENCE that a template finds in a list, or the list's first
// element where it finds none.
[[nodiscard]] inline SshAsn1Node ssh_x509_sequence_in(SshAsn1Node list) {
  if (ssh_x509_is_sequence(list)) return list;
  const SshAsn1Node found = ssh_asn1_node_find(list, 0x30);
  return found ? found : list;
}

// ssh_x509_to_sequence goes to that element of a list.
inline void ssh_x509_to_sequence(SshAsn1Unread &list, SshX509Decoder &decoder) {
  if (list.is_plain() && list && *list.data() == 0x30) return;
  list.set(ssh_x509_sequence_in(decoder.node(list)));
}

// ssh_x509_work_is_left refuses an input whose reading ran out of work: lists may have ended early.
[[nodiscard]] bool ssh_x509_work_is_left(SshX509Decoder &decoder);

// SshX509Root is an input in which a certificate or CRL is looked for.
struct SshX509Root {
  SshAsn1Node elements;  // of an input that was checked
  SshAsn1Unread sequence;
};

// ssh_x509_decode_root prepares an input: for a plain decode as the one element that it is to be,
// else as what is well-formed of it. The first SEQUENCE is what is read; bytes after the first
// good element are tolerated.
[[nodiscard]] bool ssh_x509_decode_root(Bytes der, SshX509Root &root, SshX509Decoder &decoder);

// ssh_x509_root_size gives the bytes that the elements of an input take.
[[nodiscard]] size_t ssh_x509_root_size(Bytes der, const SshX509Root &root,
                                        const SshX509Decoder &decoder);

// ssh_x509_refusal_stands is true if a decode that read plain bytes was refused as one by the
// general reader would have been: nothing was unusual, and neither was what it did not come to.
[[nodiscard]] bool ssh_x509_refusal_stands(Bytes der, const SshX509Decoder &decoder);

template <class Record>
using SshX509Decode = bool (*)(SshAsn1Unread &sequence, Record &record, SshX509Decoder &decoder);

// ssh_x509_decode_in decodes an input into an empty record in one of the two ways of reading; false
// asks for the general one.
template <class Record>
[[nodiscard]] bool ssh_x509_decode_in(bool plain, Bytes der, SshX509Decode<Record> decode,
                                      Record &record, size_t &size) {
  record.pool.reserve(ssh_x509_pool_size(der.size()));
  record.der = record.pool.copy(der);
  SshX509Decoder decoder{record.pool, &record.refusal, record.der.data(),
                         SshAsn1Work::for_input(der.size())};
  decoder.plain = plain;
  // What the general reader would spend on looking at elements is less than half by far.
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

// ssh_x509_decode_record decodes an input into an empty record and returns the bytes of its
// elements, or 0 if it was refused. It is read as plain bytes; what is not well-formed, or takes
// too much work, is read again from the start, checked first, so that the general reader alone
// decides about it.
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
    SshPool *const lender = record->pool.lender();
    record->~Record();
    new (record) Record;
    record->pool.borrow(lender);
  }
  (void)ssh_x509_decode_in(false, der, decode, *record, size);
  return size;
}

// SshX509Extension is an Extension that is being decoded.
struct SshX509Extension : SshX509ExtensionView {
  const SshOidRow *row = nullptr;  // null: unknown
  bool repeated = false;           // a duplicate that is passed over
};

// ssh_x509_extension_read reads an Extension, looks it up and enters its kind in `set`. It refuses
// unknown critical extensions and duplicates, except of kinds that may repeat: the unknown ones
// and, in certificates, the subject directory attributes, whose duplicates are passed over.
//                                                                     RFC 5280, 4.2
[[nodiscard]] bool ssh_x509_extension_read(SshAsn1Unread &item, bool attributes_may_repeat,
                                           SshX509ExtensionSet &set, SshX509Extension &extension,
                                           SshX509Decoder &decoder);

// An extension decoder fills its part of a record from the root of the extension's value; false
// refuses.
template <class Record>
using SshX509ExtensionDecode = bool (*)(SshAsn1Unread &value, Record &record,
                                        SshX509Decoder &decoder);

// SshX509ExtensionRow gives a kind its decoder. Kinds without a row pass when not critical.
template <class Record>
struct SshX509ExtensionRow {
  SshX509ExtensionKind kind = SSH_X509_EXT_UNKNOWN;
  SshX509ExtensionDecode<Record> decode = nullptr;
  bool SshX509Rules::*rule = nullptr;  // the decision that the row hangs on, if any
};

// Deliberately not constexpr: a call while a table is made is the compiler's error message.
namespace extension_table_error {
void a_kind_has_two_rows();
}

// SshX509ExtensionTable has rows at the places of their kinds, and empty ones at the others.
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

// ssh_x509_extension_decode hands the value of an extension, which stands at `at`, to its decoder.
template <class Record>
[[nodiscard]] bool ssh_x509_extension_decode(const SshX509Extension &extension, const uint8_t *at,
                                             SshX509ExtensionDecode<Record> decode, Record &record,
                                             SshX509Decoder &decoder) {
  if (!decode) {
    return !extension.critical ||
           decoder.refuse("critical extension", "has no place here", at, extension.id);
  }
  decoder.extension = &extension;
  SshAsn1Unread root;
  (void)decoder.value(extension.value, root);  // decoders see what is missing
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

// ssh_x509_extensions_decode reads Extensions and hands each value to its decoder, which is looked
// for in `table`, then in `further`.
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
    record.extensions.drop(kind);
  }
  return true;
}

// SshX509Tail appends to a singly linked list in constant time.
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

// ssh_x509_decode_items makes a record of each of the elements that are left, and appends it to a
// list: read(item, record) fills it, and refuses by false.
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

// ssh_x509_decode_list does so with the elements of a SEQUENCE OF.
template <class T, class Read>
[[nodiscard]] bool ssh_x509_decode_list(SshAsn1Unread &value, T **list, SshX509Decoder &decoder,
                                        Read read) {
  SshAsn1Unread item;
  return decoder.read(value, "(sequence ()(any ()))"_asn1, &item) &&
         ssh_x509_decode_items(item, list, decoder, read);
}

// The extension decoders, by record part. Those for general name lists and identifiers serve
// several extensions.
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

// ssh_x509_bits_to_mask makes a mask of the first four bytes of a BIT STRING: the first byte in
// bits 0 to 7.
[[nodiscard]] uint32_t ssh_x509_bits_to_mask(const SshAsn1Bits &bits);

// ssh_x509_named_bits_to_mask does so with the bits that there are alone; the others are unused,
// whatever they are.                                                        X.680, 22.7
[[nodiscard]] uint32_t ssh_x509_named_bits_to_mask(const SshAsn1Bits &bits);
