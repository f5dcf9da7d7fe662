// A node, which is a view of encoded bytes, and the work that reading may still spend.
// Include asn1/node.h to make and read nodes.
//
// Why there is a budget of work: a template can ask for an element that has to be searched for, and
// the end of an element of indefinite length has to be looked for by walking over it. Nested
// cleverly, a small input could make the same bytes be walked over again and again, and keep a
// process busy for hours. So every decode starts with an allowance in proportion to its input
// (SshAsn1Work::for_input), every step of a search takes from it, and when it is used up all reads
// fail. No real certificate spends more than a small part of it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/bytes.h"

// SshAsn1Fault is why the general reader did not read a template: what the template asks for, and
// the deepest element that is something else.
struct SshAsn1Fault {
  const char *rule = nullptr;   // static text
  const uint8_t *at = nullptr;  // that element, or the end of the list that it is missing from
  bool missing = false;
};

// SshAsn1Work is the work that the reads of one input may still spend. Once `left` is 0 reads fail
// with SSH_ASN1_BER_STEP_FAILED and lists end early, so code that walks over a list by itself must
// look at `left` afterwards.
struct SshAsn1Work {
  uint64_t left = 0;
  SshAsn1Fault fault = {};  // of the last read that failed

  static constexpr SshAsn1Work for_input(size_t length) { return {uint64_t{length} * 64 + 4096}; }

  // spend_again pays for bytes that are read once more, eightfold, as the records made of them are
  // larger than they.
  void spend_again(size_t octets) {
    const uint64_t price = uint64_t{octets} * 8;
    left -= price < left ? price : left;
  }
};

// SshAsn1Node is an element together with the siblings after it. The default is the null node: an
// empty list. It lives as long as the bytes and the work counter it refers to. Nodes are made by
// this module only.
struct SshAsn1Node {
  const uint8_t *data = nullptr;  // the element's identifier byte
  const uint8_t *next = nullptr;  // the end of the element
  const uint8_t *end = nullptr;   // the end of the list
  SshAsn1Work *work = nullptr;

  explicit operator bool() const { return data != nullptr; }
  [[nodiscard]] Bytes der() const { return {data, static_cast<size_t>(next - data)}; }
  [[nodiscard]] SshAsn1Node alone() const { return {data, next, next, work}; }
  [[nodiscard]] Bytes list() const { return {data, static_cast<size_t>(end - data)}; }
};
