// What every decode of a certificate or CRL carries along, and the loop over extensions that both
// share. Inside of x509: nothing to the right includes this header.
#pragma once

#include <algorithm>
#include <cstddef>

#include "asn1/node.h"
#include "util/pool.h"
#include "x509/extensions.h"
#include "x509/memory.h"
#include "x509/oid_registry.h"
#include "x509/profile.h"

struct SshX509Cert;
struct SshX509Extension;

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

  // refuse notes a refusal unless an inner one was noted before, and gives false. `at` is null for
  // a missing part. Where the work is spent, that is the reason, whatever was being read.
  bool refuse(const char *structure, const uint8_t *at, SshOid identifier = {});

  // read reads a structure that has nothing to lose: classic passes over what the template does not
  // ask for, as its clients have always met it.
  template <SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read(SshAsn1Node node, SshAsn1Template<Text> text, Outputs... outputs) const {
    return read_as(rules.reads_whole ? SshAsn1Mode::kWhole : SshAsn1Mode::kSearch, node, text,
                   outputs...);
  }

  // read_known reads a structure with fields that can take something away: under both profiles they
  // are read or the input is refused. Fields that are not known pass under classic.
  template <SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read_known(SshAsn1Node node, SshAsn1Template<Text> text,
                                Outputs... outputs) const {
    return read_as(rules.reads_whole ? SshAsn1Mode::kWhole : SshAsn1Mode::kKnown, node, text,
                   outputs...);
  }

  // read_whole reads an element of which under both profiles nothing may be left over: an item of a
  // list whose items can take something away, or all of a constraint.
  template <SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read_whole(SshAsn1Node node, SshAsn1Template<Text> text,
                                Outputs... outputs) const {
    return read_as(SshAsn1Mode::kWhole, node, text, outputs...);
  }

  // read_whole_list does so with the elements from `list` on.
  template <SshAsn1Text Text, class... Outputs>
  [[nodiscard]] bool read_whole_list(SshAsn1Node list, SshAsn1Template<Text> text,
                                     Outputs... outputs) const {
    return ssh_asn1_read_node_as(SshAsn1Mode::kWhole, list, text, outputs...) == SSH_ASN1_OK;
  }

 private:
  template <SshAsn1Text Text, class... Outputs>
  [[nodiscard]] static bool read_as(SshAsn1Mode mode, SshAsn1Node node, SshAsn1Template<Text> text,
                                    Outputs... outputs) {
    // An element that is read whole is read where it stands, whatever follows it.
    const bool alone =
        mode == SshAsn1Mode::kWhole || (mode == SshAsn1Mode::kKnown && ssh_x509_is_sequence(node));
    const SshAsn1Node list = alone ? node.alone() : node;
    return ssh_asn1_read_node_as(mode, list, text, outputs...) == SSH_ASN1_OK;
  }
};

// ssh_x509_pool_size estimates the memory of a record from its input: a copy of the octets and what
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

// ssh_x509_decode_root parses an input; octets after the first good element are tolerated. `root`
// is the list of its elements, and `sequence` the one of them that is read: the first SEQUENCE.
[[nodiscard]] bool ssh_x509_decode_root(Bytes der, SshAsn1Node &root, SshAsn1Node &sequence,
                                        SshX509Decoder &decoder);

// ssh_x509_sequence_in gives the SEQUENCE that a template finds in a list, or the list's first
// element where it finds none.
[[nodiscard]] inline SshAsn1Node ssh_x509_sequence_in(SshAsn1Node list) {
  if (ssh_x509_is_sequence(list)) return list;
  const SshAsn1Node found = ssh_asn1_node_find(list, 0x30);
  return found ? found : list;
}

// ssh_x509_encoded_size gives the octets that the elements of a list take.
[[nodiscard]] size_t ssh_x509_encoded_size(SshAsn1Node list);

// ssh_x509_work_is_left refuses an input whose reading ran out of work: lists may have ended early.
[[nodiscard]] bool ssh_x509_work_is_left(SshX509Decoder &decoder);

// SshX509Extension is an Extension that is being decoded.
struct SshX509Extension : SshX509ExtensionView {
  const SshOidRow *row = nullptr;  // null: unknown
  bool repeated = false;           // a duplicate that is passed over
};

// ssh_x509_extension_read reads an Extension, looks it up and enters its kind in `set`. It refuses
// unknown critical extensions and duplicates, except of kinds that may repeat: the unknown ones
// and, in certificates, the subject directory attributes, whose duplicates are passed over.
//                                                                     RFC 5280, 4.2
[[nodiscard]] bool ssh_x509_extension_read(SshAsn1Node node, bool attributes_may_repeat,
                                           SshX509ExtensionSet &set, SshX509Extension &extension,
                                           SshX509Decoder &decoder);

// An extension decoder fills its part of a record from the root of the extension's value; false
// refuses.
template <class Record>
using SshX509ExtensionDecode = bool (*)(SshAsn1Node value, Record &record, SshX509Decoder &decoder);

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

// ssh_x509_extensions_decode reads Extensions and hands each value to its decoder, which is looked
// for in `table`, then in `further`.
//   Extensions ::= SEQUENCE SIZE (1..MAX) OF Extension
template <class Record>
[[nodiscard]] bool ssh_x509_extensions_decode(
    SshAsn1Node node, const SshX509ExtensionTable<Record> &table, bool attributes_may_repeat,
    Record &record, SshX509Decoder &decoder,
    const SshX509ExtensionTable<Record> *further = nullptr) {
  record.extensions.clear();
  SshAsn1Node list;
  if (!decoder.read_whole(node, "(sequence ()(any ()))"_asn1, &list))
    return decoder.refuse("Extensions", node.data);
  record.extension_list = list.list();
  for (; list; list = ssh_asn1_node_next(list)) {
    decoder.inside = list.data;
    SshX509Extension extension;
    if (!ssh_x509_extension_read(list, attributes_may_repeat, record.extensions, extension,
                                 decoder))
      return false;
    if (!extension.row || extension.repeated) continue;

    const uint32_t kind = extension.row->code;
    SshX509ExtensionDecode<Record> decode = table.decoder(kind, decoder.rules);
    if (!decode && further) decode = further->decoder(kind, decoder.rules);
    if (!decode && extension.critical) {
      return decoder.refuse("a critical extension that has no place here", list.data, extension.id);
    }
    if (!decode) continue;
    decoder.extension = &extension;
    SshAsn1Node root;
    (void)ssh_asn1_decode_in_place(extension.value, &decoder.work,
                                   &root);  // decoders see what is missing
    if (decoder.rules.one_value && root && root.der().size() != extension.value.size())
      return decoder.refuse("an extension with octets behind its value", list.data, extension.id);
    if (!decode(root, record, decoder)) {
      return decoder.refuse(extension.row->description, extension.value.data(), extension.id);
    }
  }
  return true;
}

// The extension decoders, by record part. Those for general name lists and identifiers serve
// several extensions.
[[nodiscard]] bool ssh_x509_decode_key_id(SshAsn1Node value, const SshX509KeyId **key_id,
                                          SshX509Decoder &decoder);
[[nodiscard]] bool ssh_x509_decode_policies(SshAsn1Node value, SshX509PolicyInfo **list,
                                            SshX509Decoder &decoder);
[[nodiscard]] bool ssh_x509_decode_points(SshAsn1Node value, const SshX509Name *issuer_names,
                                          SshX509DistributionPoint **list, SshX509Decoder &decoder);
[[nodiscard]] bool ssh_x509_decode_issuing_point(SshAsn1Node value, SshX509Name *issuer_names,
                                                 SshX509IssuingDistPoint &point,
                                                 SshX509Decoder &decoder);
[[nodiscard]] bool ssh_x509_decode_access(SshAsn1Node value, SshX509AccessDescription **list,
                                          SshX509Decoder &decoder);
[[nodiscard]] bool ssh_x509_decode_extra(SshAsn1Node value, SshX509Extra **list,
                                         SshX509Decoder &decoder);
[[nodiscard]] bool ssh_x509_decode_name_constraints(SshAsn1Node value, SshX509Cert &cert,
                                                    SshX509Decoder &decoder);
[[nodiscard]] bool ssh_x509_decode_policy_constraints(SshAsn1Node value, SshX509Cert &cert,
                                                      SshX509Decoder &decoder);

// ssh_x509_further_extensions are the decoders of a certificate's further extensions.
extern const SshX509ExtensionTable<SshX509Cert> ssh_x509_further_extensions;

// ssh_x509_bits_to_mask makes a mask of the first four octets of a BIT STRING: the first octet in
// bits 0 to 7.
[[nodiscard]] uint32_t ssh_x509_bits_to_mask(const SshAsn1Bits &bits);

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
