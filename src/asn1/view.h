// A node, which is a view of encoded bytes, and the budget of work that reading may spend. Include
// asn1/node.h to make and read nodes; this header is enough for those who only hold them.
//
// Why there is a budget: a template can ask for an element that has to be searched for, and the end
// of an element of indefinite length is found only by walking over its content. In a nested input,
// the same bytes could be walked over again and again, so that a small file keeps a process busy
// for hours. So every decode starts with a number of steps in proportion to its input
// (SshAsn1Work::for_input), every step of a search takes one away, and when none is left all reads
// fail. No real certificate spends more than a small part of it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/bytes.h"

// SshAsn1Fault tells why the general reader could not read a template: which rule was broken, and
// the deepest element that breaks it.
struct SshAsn1Fault {
  const char *rule = nullptr;   // static text
  const uint8_t *at = nullptr;  // that element, or the end of the list in which one is missing
  bool missing = false;         // whether `at` is the end of a list
};

// SshAsn1Work is the number of steps that the reads of one input may still take. Once `left` is 0,
// reads fail with SSH_ASN1_BER_STEP_FAILED and lists end early. So code that walks over a list by
// itself must look at `left` afterwards: a list that ended early is not to be taken for a short
// one.
struct SshAsn1Work {
  uint64_t left = 0;
  SshAsn1Fault fault = {};  // of the last read that failed; the plain reader notes none

  static constexpr SshAsn1Work for_input(size_t length) { return {uint64_t{length} * 64 + 4096}; }

  // spend_again takes away the steps for bytes that are read a second time. It takes eight for each
  // byte, because the records that are made of bytes are several times larger than the bytes.
  void spend_again(size_t octets) {
    const uint64_t price = uint64_t{octets} * 8;
    left -= price < left ? price : left;
  }
};

// SshAsn1Node is an element together with the siblings after it, so it also stands for a list from
// that element on. All of these bytes were checked (ssh_ber_check). The default is the null node:
// an empty list. A node owns nothing and is valid as long as the bytes and the work counter that it
// refers to. Only this module makes nodes.
struct SshAsn1Node {
  const uint8_t *data = nullptr;  // the element's identifier byte
  const uint8_t *next = nullptr;  // the end of the element
  const uint8_t *end = nullptr;   // the end of the list
  SshAsn1Work *work = nullptr;

  explicit operator bool() const { return data != nullptr; }
  // der gives the bytes of the element, `list` those of the element and all later siblings; `alone`
  // gives the element without its siblings.
  [[nodiscard]] Bytes der() const { return {data, static_cast<size_t>(next - data)}; }
  [[nodiscard]] SshAsn1Node alone() const { return {data, next, next, work}; }
  [[nodiscard]] Bytes list() const { return {data, static_cast<size_t>(end - data)}; }
};
