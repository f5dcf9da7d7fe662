// Reading the parts of a refused certificate or CRL, for people who want to see what was refused.
// Nothing here decides about an input.
//
// A decode ends at the first fault. So each part is found again, by its place among the elements of
// the outer structures, and read by itself with the decoder that would have read it in a whole
// decode. SshX509Pieces finds them, even if one is malformed; the functions ssh_x509_keep... read
// what certificates and CRLs have in common; cert.cc and crl.cc have the rest. A further part is a
// bit of SshX509Part and a step there.
#pragma once

#include "x509/decoder.h"
#include "x509/signature.h"

// SshX509Pieces walks over a list of elements that may be malformed, as far as their headers can be
// read. It stops after more elements than any structure here has, so that it needs no budget.
//   while (pieces.next()) if (pieces.take(element, decoder)) read(element);
class SshX509Pieces {
 public:
  explicit SshX509Pieces(Bytes list = {}) : left_(list) {}

  [[nodiscard]] bool next();
  [[nodiscard]] uint8_t identifier() const { return identifier_; }
  [[nodiscard]] Bytes whole() const { return whole_; }      // empty if the element's end is missing
  [[nodiscard]] Bytes content() const { return content_; }  // then as far as the bytes go

  // take gives the element if its end is there and all inside it is well-formed.
  [[nodiscard]] bool take(SshAsn1Unread &element, SshX509Decoder &decoder) const;

 private:
  static constexpr int kMost = 32;
  Bytes left_, whole_, content_;
  int count_ = 0;
  uint8_t identifier_ = 0;
};

// ssh_x509_keep notes in the record that a part was read, if `read` is true, and returns `read`.
template <class Record>
bool ssh_x509_keep(Record &record, bool read, SshX509Part part) {
  record.parts |= read ? part : 0u;
  return read;
}

// ssh_x509_keep_frame finds what certificates and CRLs have in common: a SEQUENCE whose first
// element is the signed SEQUENCE. `outer` then goes on behind that one, and `fields` walks over
// what is in it. False if there is no such thing.
template <class Record>
[[nodiscard]] bool ssh_x509_keep_frame(Record &record, SshX509Pieces &outer,
                                       SshX509Pieces &fields) {
  constexpr uint8_t kSequence = 0x30;
  SshX509Pieces input(record.der);
  if (!input.next() || input.identifier() != kSequence) return false;
  record.element = input.whole();
  outer = SshX509Pieces(input.content());
  if (!outer.next() || outer.identifier() != kSequence) return false;
  record.signed_data = outer.whole();
  fields = SshX509Pieces(outer.content());
  return true;
}

// ssh_x509_keep_algorithm reads a signature's algorithm. It is called for the inner one and then
// for the outer one, which replaces it if it can be read.
template <class Record>
void ssh_x509_keep_algorithm(SshAsn1Unread &element, Record &record, SshX509Decoder &decoder) {
  SshX509SignatureAlgorithm algorithm;
  (void)ssh_x509_signature_algorithm(element, decoder, algorithm);
  if (!ssh_x509_keep(record, static_cast<bool>(algorithm.id), SSH_X509_PART_ALGORITHM)) return;
  record.algorithm = element.der();
  record.signature_key_type = algorithm.key_type();
  record.signature_scheme = algorithm.scheme();
}

// ssh_x509_keep_time reads a time. False if it is none, which leaves `out` as it was.
[[nodiscard]] bool ssh_x509_keep_time(SshAsn1Unread &element, SshBerTime &out,
                                      SshX509Decoder &decoder);

// ssh_x509_decode_parts reads the parts of an input into an empty record: it copies the input, and
// calls `read` for the rest. The record stays at version 0.
template <class Record>
void ssh_x509_decode_parts(Bytes der, void (*read)(Record &record, SshX509Decoder &decoder),
                           Record *record) {
  if (der.size() > SSH_X509_INPUT_MAX) return;
  record->pool.reserve(ssh_x509_pool_size(der.size()));
  record->der = record->pool.copy(der);
  SshX509Decoder decoder{record->pool, nullptr, record->der.data(),
                         SshAsn1Work::for_input(der.size())};
  decoder.each_alone = true;
  record->pool.limit(ssh_x509_pool_most(der.size()), &decoder.work.left);
  read(*record, decoder);
  record->pool.limit(0, nullptr);
  record->version = 0;
}
