// The parts of a certificate or CRL that is refused, each found by its place, so that each can be
// read for itself: by the decoders that would have read it (cert.cc, crl.cc). Nothing here decides
// about an input; it is for those who want to see what was refused.
#pragma once

#include "x509/decoder.h"
#include "x509/signature.h"

// SshX509Pieces walks over a list of elements that may be malformed or cut, as far as headers can
// be read; and not over more of them than any structure has.
//   while (pieces.next()) if (pieces.take(element, decoder)) read(element);
class SshX509Pieces {
 public:
  explicit SshX509Pieces(Bytes list = {}) : left_(list) {}

  [[nodiscard]] bool next();
  [[nodiscard]] uint8_t identifier() const { return identifier_; }
  [[nodiscard]] Bytes whole() const { return whole_; }      // empty where it is cut
  [[nodiscard]] Bytes content() const { return content_; }  // as far as it goes

  // take gives the element if it is whole and well-formed.
  [[nodiscard]] bool take(SshAsn1Unread &element, SshX509Decoder &decoder) const;

 private:
  static constexpr int kMost = 32;
  Bytes left_, whole_, content_;
  int count_ = 0;
  uint8_t identifier_ = 0;
};

// ssh_x509_keep enters a part into the record if it was read, and gives back whether it was.
template <class Record>
bool ssh_x509_keep(Record &record, bool read, SshX509Part part) {
  record.parts |= read ? part : 0u;
  return read;
}

// ssh_x509_keep_frame finds the lists that certificates and CRLs have alike: the outer one, behind
// its first element, and what is in that one. False if there is none.
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

// ssh_x509_keep_algorithm reads a signature's algorithm. The outer one comes last, and counts where
// it can be read.
template <class Record>
void ssh_x509_keep_algorithm(SshAsn1Unread &element, Record &record, SshX509Decoder &decoder) {
  SshX509SignatureAlgorithm algorithm;
  (void)ssh_x509_signature_algorithm(element, decoder, algorithm);
  if (!ssh_x509_keep(record, static_cast<bool>(algorithm.id), SSH_X509_PART_ALGORITHM)) return;
  record.algorithm = element.der();
  record.signature_key_type = algorithm.key_type();
  record.signature_scheme = algorithm.scheme();
}

// ssh_x509_keep_time reads a time; what is none leaves `out` alone.
[[nodiscard]] bool ssh_x509_keep_time(SshAsn1Unread &element, SshBerTime &out,
                                      SshX509Decoder &decoder);

// ssh_x509_decode_parts reads the parts of an input into an empty record: `read` gets the input.
// The record stays at version 0.
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
