// The parts of a certificate or CRL that is refused, each found by its place, so that each can be
// read for itself: by the decoders that would have read it (cert.cc, crl.cc). Nothing here decides
// about an input; it is for those who want to see what was refused.
#pragma once

#include "x509/decoder.h"

// SshX509Pieces walks over a list of elements that may be malformed or cut, as far as headers can
// be read; and not over more of them than any structure has.
//   while (pieces.next()) if (pieces.take(element, decoder)) read(element);
class SshX509Pieces {
 public:
  explicit SshX509Pieces(Bytes list) : left_(list) {}

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
