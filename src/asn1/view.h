// What a node is: a view of encoded octets, and the work that reads of them may still spend.
// Include asn1/node.h to make and read nodes.
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

// SshAsn1Work is what reads of one decoded input may still spend on searching and on finding the
// ends of indefinite lengths. It is generous: no sane input meets it, but hostile input cannot make
// work that is not proportional to its size. Once `left` is 0 reads fail with
// SSH_ASN1_BER_STEP_FAILED and lists end early, so whoever walks over a list by hand looks at it
// afterwards.
struct SshAsn1Work {
  uint64_t left = 0;
  SshAsn1Fault fault = {};  // of the last read that failed

  static constexpr SshAsn1Work for_input(size_t length) { return {uint64_t{length} * 64 + 4096}; }

  // spend_again pays for octets that are read once more, eightfold, as the records made of them are
  // larger than they.
  void spend_again(size_t octets) {
    const uint64_t price = uint64_t{octets} * 8;
    left -= price < left ? price : left;
  }
};

// SshAsn1Node is an element together with the siblings after it. The default is the null node: an
// empty list. It lives as long as the octets and the work counter it refers to. Nodes are made by
// this module only.
struct SshAsn1Node {
  const uint8_t *data = nullptr;  // the element's identifier octet
  const uint8_t *next = nullptr;  // the end of the element
  const uint8_t *end = nullptr;   // the end of the list
  SshAsn1Work *work = nullptr;

  explicit operator bool() const { return data != nullptr; }
  [[nodiscard]] Bytes der() const { return {data, static_cast<size_t>(next - data)}; }
  [[nodiscard]] SshAsn1Node alone() const { return {data, next, next, work}; }
  [[nodiscard]] Bytes list() const { return {data, static_cast<size_t>(end - data)}; }
};
